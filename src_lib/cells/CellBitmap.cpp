// A set of cells as bits, for questions about neighbourhoods.
//
// The 64 cells of a block of 4x4x4 are the bits of one word. The words lie in a hash table with linear probing. A surface
// keeps some ten cells in a block, which makes the table small, and a whole 27-block of a cell lies in one to eight words:
// one search per word, not one per cell. The table is never iterated over, so nothing depends on its order.
//
//        y                      Seen along z: a cell (*) at the corner of its block takes words of four blocks here,
//     +------+------+          eight in space; a cell in the middle of its block takes one.
//     |      |      |
//     |      |*     |
//     +------+------+
//     |      |      |
//     +------+------+  x
//
// The 27 bits are put together from these words. With interleaved codes the cells of the 27-block lie scattered in a word: a
// table gives word and bit of each. With packed codes a step along x, y or z is a step of 1, 4 or 16 bits, so one shift and
// one mask move the part of a word that lies in the 27-block to its place:
//
//     window    bit 16(dz+1) + 4(dy+1) + (dx+1): a place for each position, with gaps; 27-block: the same without gaps
#include "CellBitmap.h"

#include <array>
#include <bit>

#include "runs.h"

namespace TARN_KEL {

namespace {

/// Whether the 27-block of a cell with that local coordinate, 0 to 3, reaches over a side of the cell's block.
constexpr bool isCrossing(std::size_t coordinate) {
    return coordinate == 0 || coordinate == 3;
}

/// Whether the neighbour at step -1, 0, +1 lies in the upper one of the two blocks that the three share.
constexpr bool isUpper(std::size_t coordinate, int step) {
    return coordinate == 0 ? step >= 0 : coordinate == 3 && step > 0;
}

using Local = std::array<std::size_t, 3>;  // x, y, z in the block

constexpr std::uint8_t makeCrossing(const Local& local) {
    return static_cast<std::uint8_t>((isCrossing(local[0]) ? 1 : 0) | (isCrossing(local[1]) ? 2 : 0) |
                                     (isCrossing(local[2]) ? 4 : 0));
}

// ---- Interleaved codes

constexpr Local interleavedLocal(std::size_t local) {
    const auto coordinate = [local](std::size_t axTriBit) -> std::size_t {
        return ((local & axTriBit) != 0 ? 1U : 0U) + ((local & axTriBit << 3) != 0 ? 2U : 0U);
    };
    return {coordinate(4), coordinate(2), coordinate(1)};
}
constexpr std::size_t interleave(std::size_t x, std::size_t y, std::size_t z) {
    return (x & 1) << 2 | (x & 2) << 4 | (y & 1) << 1 | (y & 2) << 3 | (z & 1) | (z & 2) << 2;
}

/// For a centre with that local code: on which axes the 27-block crosses a side of the block, and where each of its
/// positions lies: in the word of which corner (bits 0, 1, 2: the upper block in x, y, z), and at which bit.
struct Gather {
    std::array<std::uint8_t, 27> corner{};
    std::array<std::uint8_t, 27> bit{};
    std::uint8_t crossing = 0;
};

constexpr std::array<Gather, 64> makeGather() {
    std::array<Gather, 64> table{};
    for (std::size_t local = 0; local < 64; ++local) {
        const auto [x, y, z] = interleavedLocal(local);
        Gather& gather = table[local];
        gather.crossing = makeCrossing({x, y, z});
        for (std::size_t pos = 0; pos < 27; ++pos) {
            const std::size_t dx = pos % 3, dy = pos / 3 % 3, dz = pos / 9;
            gather.corner[pos] = static_cast<std::uint8_t>((isUpper(x, static_cast<int>(dx) - 1) ? 1 : 0) |
                                                           (isUpper(y, static_cast<int>(dy) - 1) ? 2 : 0) |
                                                           (isUpper(z, static_cast<int>(dz) - 1) ? 4 : 0));
            gather.bit[pos] = static_cast<std::uint8_t>(interleave((x + dx + 3) & 3, (y + dy + 3) & 3, (z + dz + 3) & 3));
        }
    }
    return table;
}

constexpr std::array<Gather, 64> GATHER = makeGather();

// ---- Packed codes

constexpr Local packedLocal(std::size_t local) {
    return {local & 3, local >> 2 & 3, local >> 4 & 3};
}

/// For a centre with that local code and the word of a corner: how far to shift the word to the right (to the left when
/// negative) for the window, and which bits of the window then come from this word.
struct Part {
    std::uint64_t mask = 0;
    int shift = 0;
};
struct Window {
    std::array<Part, 8> part{};
    std::uint8_t crossing = 0;
};

constexpr Part makePart(const Local& local, std::size_t corner) {
    Part part;
    std::array<std::size_t, 3> low{};  // the first coordinate of the 27-block, counted in the lower block
    for (std::size_t axis = 0; axis < 3; ++axis) {
        low[axis] = local[axis] == 0 ? 3 : local[axis] - 1;
        const int ofCorner = (corner >> axis & 1) != 0 ? 4 : 0;
        part.shift += (static_cast<int>(low[axis]) - ofCorner) * (1 << 2 * axis);
    }
    for (std::size_t pos = 0; pos < 27; ++pos) {
        const std::size_t d[3] = {pos % 3, pos / 3 % 3, pos / 9};
        std::size_t itsCorner = 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            itsCorner |= (low[axis] + d[axis]) / 4 << axis;
        if (itsCorner == corner) part.mask |= std::uint64_t{1} << (16 * d[2] + 4 * d[1] + d[0]);
    }
    return part;
}

constexpr std::array<Window, 64> makeWindows() {
    std::array<Window, 64> table{};
    for (std::size_t local = 0; local < 64; ++local) {
        table[local].crossing = makeCrossing(packedLocal(local));
        for (std::size_t corner = 0; corner < 8; ++corner)
            table[local].part[corner] = makePart(packedLocal(local), corner);
    }
    return table;
}

constexpr std::array<Window, 64> WINDOW = makeWindows();

/// A window without its gaps: first rows of four become rows of three, then layers of sixteen become layers of nine.
constexpr std::uint32_t closeGaps(std::uint64_t window) {
    constexpr std::uint64_t ROW = 0x000700070007;  // the first row of each layer
    const std::uint64_t layers = (window & ROW) | (window >> 1 & ROW << 3) | (window >> 2 & ROW << 6);
    return static_cast<std::uint32_t>((layers & 0x1ff) | (layers >> 7 & 0x1ff << 9) | (layers >> 14 & 0x1ff << 18));
}

}  // namespace

std::size_t InterleavedBlocks::crossing(std::size_t local) {
    return GATHER[local].crossing;
}

std::uint32_t InterleavedBlocks::toMask27(const std::uint64_t* words, std::size_t local) {
    const Gather& gather = GATHER[local];
    std::uint32_t mask = 0;
    for (std::size_t pos = 0; pos < 27; ++pos)
        mask |= static_cast<std::uint32_t>(words[gather.corner[pos]] >> gather.bit[pos] & 1U) << pos;
    return mask;
}

std::size_t PackedBlocks::crossing(std::size_t local) {
    return WINDOW[local].crossing;
}

std::uint32_t PackedBlocks::toMask27(const std::uint64_t* words, std::size_t local) {
    const std::size_t crossed = crossing(local);
    std::uint64_t window = 0;
    for (std::size_t corner = crossed;; corner = (corner - 1) & crossed) {
        const Part& part = WINDOW[local].part[corner];
        window |= std::rotr(words[corner], part.shift) & part.mask;
        if (corner == 0) return closeGaps(window);
    }
}

template <typename Blocks>
BlockBitmap<Blocks>::BlockBitmap(const std::vector<Code>& vCells) {
    std::size_t numRuns = 0;
    Code last = NO_BLOCK;
    for (Code code : vCells) {
        if (blockOf(code) != last) ++numRuns;
        last = blockOf(code);
    }
    grow(numRuns / Blocks::RUNS_A_BLOCK);
    forEachRun(vCells.begin(), vCells.end(), blockOf, [this](auto first, auto end) {
        Word word = 0;
        for (auto it = first; it != end; ++it)
            word |= bitOf(*it);
        add(blockOf(*first), word);
    });
}

template <typename Blocks>
void BlockBitmap<Blocks>::grow(std::size_t numBlocksToHold) {
    std::vector<Entry> vOld;
    vOld.swap(vEntry);
    std::size_t size = 16;
    for (shift = 60; size < 2 * (numBlocksToHold + 1); size *= 2)
        --shift;
    vEntry.resize(size);
    for (const Entry& entry : vOld)
        if (entry.block != NO_BLOCK) vEntry[find(entry.block)] = entry;
}

template class BlockBitmap<InterleavedBlocks>;
template class BlockBitmap<PackedBlocks>;

}  // namespace TARN_KEL
