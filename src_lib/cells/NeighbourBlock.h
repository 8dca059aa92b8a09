// Floods in the 27-block of a cell as operations on one word.
//
// A block is the 3x3x3 cells around a cell. Position 9(dz+1) + 3(dy+1) + (dx+1) is the number of a bit in a mask; the centre
// is 13. In that order a step along x, y or z is a shift by 1, 3 or 9; positions from which it would leave the block
// sideways are masked off first. One ring of a flood costs six shifts, however wide its front is.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace TARN_KEL::NeighbourBlock {

using Mask = std::uint32_t;

constexpr int NUM_POSITIONS = 27;
constexpr int CENTRE = 13;
constexpr Mask ALL = (Mask{1} << NUM_POSITIONS) - 1;

constexpr Mask bit(int pos) {
    return Mask{1} << pos;
}

/// The positions that share a face with the centre: z-1, y-1, x-1, x+1, y+1, z+1.
constexpr Mask FACES = bit(4) | bit(10) | bit(12) | bit(14) | bit(16) | bit(22);

/// The positions that share only a corner with the centre, and those that share an edge but no face.
constexpr Mask CORNERS = bit(0) | bit(2) | bit(6) | bit(8) | bit(18) | bit(20) | bit(24) | bit(26);
constexpr Mask EDGES = ALL & ~(FACES | CORNERS | bit(CENTRE));

/// The position one step away from the centre on all axes: up on x, y, z where bit 0, 1, 2 of corner is set, else down.
constexpr std::size_t cornerPosition(std::size_t corner) {
    return 2 * (corner & 1) + 6 * (corner >> 1 & 1) + 18 * (corner >> 2 & 1);
}

/// The order in which faces are tried to find the first free one, from which a flood starts.
constexpr int FACE_SCAN[6] = {14, 12, 16, 10, 22, 4};

constexpr Mask X_LOW = 0x1249249;                   ///< the positions with dx = -1
constexpr Mask X_HIGH = X_LOW << 2;                 ///< dx = +1
constexpr Mask Y_LOW = 0x7 | 0x7 << 9 | 0x7 << 18;  ///< dy = -1
constexpr Mask Y_HIGH = Y_LOW << 6;                 ///< dy = +1

/// All positions that share a face with one of the given ones and lie in the block.
constexpr Mask faceNeighbours(Mask positions) {
    const Mask alongX = (positions & ~X_HIGH) << 1 | (positions & ~X_LOW) >> 1;
    const Mask alongY = (positions & ~Y_HIGH) << 3 | (positions & ~Y_LOW) >> 3;
    const Mask alongZ = positions << 9 | positions >> 9;
    return (alongX | alongY | alongZ) & ALL;
}

/// The positions that a flood from the given ones covers in at most maxSteps steps through passable ones. The start counts
/// as covered, passable or not.
constexpr Mask flood(Mask start, Mask passable, int maxSteps) {
    Mask covered = start;
    Mask front = start;
    for (int step = 0; step < maxSteps && front != 0; ++step) {
        front = faceNeighbours(front) & passable & ~covered;
        covered |= front;
    }
    return covered;
}

/// All positions that can be reached from the given ones through passable ones. The start counts as reached, passable or
/// not. Goes along one axis after the other, and so needs fewer rounds than a flood ring by ring.
constexpr Mask fill(Mask start, Mask passable) {
    Mask reached = start;
    for (Mask before = 0; reached != before;) {
        before = reached;
        reached |= ((reached & ~X_HIGH) << 1 | (reached & ~X_LOW) >> 1) & passable;
        reached |= ((reached & ~Y_HIGH) << 3 | (reached & ~Y_LOW) >> 3) & passable;
        reached |= (reached << 9 | reached >> 9) & passable;
    }
    return reached;
}

/// The first face in scan order that is among the given positions, as a mask; 0 when there is none.
constexpr Mask firstFace(Mask positions) {
    for (int pos : FACE_SCAN)
        if ((positions & bit(pos)) != 0) return bit(pos);
    return 0;
}

/// Appends the positions that share a face with the position, in the order +1, -1, +3, -3, +9, -9. None for a number that
/// isn't a position.
inline void appendFaceNeighbours(int pos, std::vector<int>& vOut) {
    if (pos < 0 || pos >= NUM_POSITIONS) return;
    const Mask neighbours = faceNeighbours(bit(pos));
    for (const int step : {1, -1, 3, -3, 9, -9})
        if (pos + step >= 0 && pos + step < NUM_POSITIONS && (neighbours & bit(pos + step)) != 0) vOut.push_back(pos + step);
}

/// A set of positions as bits, with the reading interface of a standard set: in ascending order.
struct PositionSet {
    class Iterator {
    public:
        explicit Iterator(Mask positionsLeft) : left(positionsLeft) {}
        int operator*() const { return std::countr_zero(left); }
        Iterator& operator++() {
            left &= left - 1;
            return *this;
        }
        bool operator==(const Iterator&) const = default;

    private:
        Mask left;
    };

    Iterator begin() const { return Iterator(mask); }
    Iterator end() const { return Iterator(0); }
    std::size_t size() const { return static_cast<std::size_t>(std::popcount(mask)); }
    bool empty() const { return mask == 0; }
    std::size_t count(int pos) const { return mask >> pos & 1U; }

    Mask mask = 0;
};

}  // namespace TARN_KEL::NeighbourBlock
