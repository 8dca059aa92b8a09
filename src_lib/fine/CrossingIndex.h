#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "HashIndex.h"
#include "crossing.h"

namespace TARN_KEL {

/// Finds the triangles near a box, and counts what crosses there, while triangles come, go and change: for steps on a mesh
/// that must not make it cross itself.
///
/// It knows triangles by numbers that the caller chooses, best from 0 on without large gaps, and keeps a copy of their
/// corners. A triangle is in one cell of a grid: that of the lower corner of its box, in a grid whose cells are at least as
/// large as the box and less than four times as large. So there is a grid for each power of four in the sizes of boxes, and
/// a query looks into the cells of each grid that has triangles, from one cell below the box on.
///
///        +-------+-------+-------+
///        |       |   . . | . .   |      q: the box asked for. The triangle t is in the cell of its lower left corner, so a
///        |     . | .   +-|-+ t   |      query looks into the six cells that q or the dotted range below it touches.
///        |     . |   q +-|-+     |
///        +-----.-+-.-.-.-+-------+
///
/// Cost: O(1) for each operation where boxes are of similar sizes and no part of space has much more than a surface; a
/// forEachNear() with a box far larger than many triangles takes up to O(n). About 100 bytes per triangle.
///
/// The same calls in the same order give the same answers in the same order. Const operations are safe on several threads.
class CrossingIndex {
public:
    using Id = std::uint32_t;
    using Ids = std::vector<Id>;
    using Corners = std::vector<TriangleCorners>;
    using Bbox3 = TARN_LOCATE3::Bbox3;

    /// usualSize: about the longest side of most boxes; it counts for speed only. Must be finite and greater than 0.
    explicit CrossingIndex(double usualSize);

    /// Enters a triangle. Its number must not be in use, and its corners must be finite.
    void insert(Id id, const TriangleCorners& t);
    /// Removes a triangle; without one of that number nothing happens.
    void remove(Id id);
    /// Removes the triangle of that number, if there is one, and enters it with other corners.
    void change(Id id, const TriangleCorners& t) {
        remove(id);
        insert(id, t);
    }

    bool has(Id id) const { return id < vEntry.size() && vEntry[id].cell != NONE; }
    /// The corners of a triangle that is there.
    const TriangleCorners& cornersOf(Id id) const { return vEntry[id].corners; }
    std::size_t size() const { return numTriangles; }

    /// Calls visit(id) once for each triangle whose box meets the given one, touching included.
    template <typename Visit>
    void forEachNear(const Bbox3& box, Visit&& visit) const;

    // ---- Triangles that replace others ----
    //
    // Of k triangles with m in here near the box around all of them, a question costs O(k^2 + k m), and O(log k) for each of
    // the m. Triangles with a coordinate that isn't finite cross nothing.

    /// How many pairs cross of some triangles, which need not be in here, with each other and with those in here.
    /// vLeftOut: which of these don't count, sorted; they need not be in here either. Stops counting at enough.
    std::size_t numCrossings(const Corners& vT, const Ids& vLeftOut, std::size_t enough = ALL) const;
    /// By how many pairs more cross when triangles are replaced by others. vOld: as vLeftOut.
    std::ptrdiff_t changeBy(const Ids& vOld, const Corners& vNew) const;
    /// Whether no more pairs cross when triangles are replaced by others. vOld: as vLeftOut.
    bool allows(const Ids& vOld, const Corners& vNew) const;

private:
    static constexpr Id NONE = HashIndex::NONE;
    static constexpr std::size_t ALL = ~std::size_t{0};
    static constexpr int LEVEL_BITS = 2;  // by which the cells of a level are larger than those of the one below

    struct Entry {
        TriangleCorners corners;
        Id next = NONE, previous = NONE;  // in the cell
        std::uint32_t cell = NONE;
    };
    using Place = std::array<std::int64_t, 3>;
    struct Cell {
        Place place;
        int level;
        Id first = NONE;
    };
    struct Level {
        int level;
        std::size_t num;
    };

    double edgeOf(int level) const { return std::ldexp(1.0, usualExponent + LEVEL_BITS * level); }
    int levelOf(const Bbox3& box) const;
    /// The number of the cell along an axis. No triangle is beyond the limits, only a query may be.
    static std::int64_t step(double coordinate, double edge) {
        constexpr double MOST = 1e18;
        return static_cast<std::int64_t>(std::clamp(std::floor(coordinate / edge), -MOST, MOST));
    }
    static std::uint64_t hashOf(const Place& place, int level);
    std::uint32_t findCell(const Place& place, int level) const;
    void countLevel(int level, int change);
    Corners cornersOf(const Ids& vId) const;
    /// Calls visit(id) for the triangles of one cell whose box meets the given one.
    template <typename Visit>
    void visitCell(std::uint32_t cell, const Bbox3& box, Visit&& visit) const {
        for (Id id = vCell[cell].first; id != NONE; id = vEntry[id].next)
            if (boxOf(vEntry[id].corners).intersects(box)) visit(id);
    }

    const int usualExponent;  // the cells of level 0 have an edge of two to this power
    std::size_t numTriangles = 0;
    std::vector<Entry> vEntry;  // by number
    std::vector<Cell> vCell;    // an empty one is in vFree
    std::vector<std::uint32_t> vFree;
    HashIndex cells;             // place and level to the position in vCell
    std::vector<Level> vLevels;  // those with triangles, the finest first
};

template <typename Visit>
void CrossingIndex::forEachNear(const Bbox3& box, Visit&& visit) const {
    for (const Level& level : vLevels) {
        const double edge = edgeOf(level.level);
        // Counted as a double first: what is too large for a whole number is too large for a walk, too.
        const auto numSteps = [edge](double low, double high) {
            return std::floor(high / edge) - std::floor(low / edge) + 2.0;
        };
        const double numCells = numSteps(box.minX, box.maxX) * numSteps(box.minY, box.maxY) * numSteps(box.minZ, box.maxZ);
        if (!(numCells <= static_cast<double>(vCell.size()))) {
            for (std::uint32_t i = 0; i < vCell.size(); ++i)
                if (vCell[i].level == level.level) visitCell(i, box, visit);
            continue;
        }
        const Place low{step(box.minX, edge) - 1, step(box.minY, edge) - 1, step(box.minZ, edge) - 1};
        const Place high{step(box.maxX, edge), step(box.maxY, edge), step(box.maxZ, edge)};
        for (Place p = low; p[0] <= high[0]; ++p[0])
            for (p[1] = low[1]; p[1] <= high[1]; ++p[1])
                for (p[2] = low[2]; p[2] <= high[2]; ++p[2]) {
                    const std::uint32_t cell = findCell(p, level.level);
                    if (cell != NONE) visitCell(cell, box, visit);
                }
    }
}

}  // namespace TARN_KEL
