// A set of cells as bits, for questions about neighbourhoods.
//
// In an interleaved code the lowest six bits run through a block of 4x4x4 cells. So the rest of the code names the block,
// and the 64 cells of a block are the bits of one word. The words lie in a hash table with linear probing. A surface keeps
// some ten cells in a block, which makes the table small, and a whole 27-block of a cell lies in one to eight words: one
// search a word, not one a cell. The table is asked by name only and never walked, so nothing hangs on its order.
//
//        y                      Seen along z: a cell (*) at the corner of its block takes words of four blocks here,
//     +------+------+          eight in space; a cell in the middle of its block takes one.
//     |      |      |
//     |      |*     |
//     +------+------+
//     |      |      |
//     +------+------+  x
#include "CellBitmap.h"

#include <array>

namespace TARN_KEL {

namespace {

/// For a centre with local code i (its lowest six bits): which of the eight corners of the 27-block each position shares
/// the 4x4x4 block with (bits 1, 2, 4: the high side in x, y, z), and on which axes the 27-block crosses a side at all.
struct Gather {
    std::array<std::uint8_t, 27> corner{};
    std::uint8_t crossing = 0;
};

/// axTriBit: 4, 2, 1 for x, y, z. Local coordinate 0 to 3 of a local code.
constexpr int localCoordinate(int local, int axTriBit) {
    return ((local & axTriBit) != 0 ? 1 : 0) + ((local & axTriBit << 3) != 0 ? 2 : 0);
}

/// Whether the neighbour at step -1, 0, +1 lies in the upper one of the two blocks that the three share.
constexpr bool isUpper(int coordinate, int step) {
    return step > 0 || (step == 0 && coordinate == 0);
}

constexpr std::array<Gather, 64> makeGather() {
    std::array<Gather, 64> table{};
    for (int local = 0; local < 64; ++local) {
        const int x = localCoordinate(local, 4), y = localCoordinate(local, 2), z = localCoordinate(local, 1);
        const auto crosses = [](int c) { return c == 0 || c == 3 ? 1 : 0; };
        Gather& gather = table[static_cast<std::size_t>(local)];
        gather.crossing = static_cast<std::uint8_t>(crosses(x) | crosses(y) << 1 | crosses(z) << 2);
        for (int pos = 0; pos < 27; ++pos)
            gather.corner[static_cast<std::size_t>(pos)] =
                static_cast<std::uint8_t>((isUpper(x, pos % 3 - 1) ? 1 : 0) | (isUpper(y, pos / 3 % 3 - 1) ? 2 : 0) |
                                          (isUpper(z, pos / 9 - 1) ? 4 : 0));
    }
    return table;
}

constexpr std::array<Gather, 64> GATHER = makeGather();
constexpr std::array<int, 8> CORNER_POSITION = {0, 2, 6, 8, 18, 20, 24, 26};

}  // namespace

CellBitmap::CellBitmap(const VCCD& vCells) {
    std::size_t numRuns = 0;
    CCD last = NO_BLOCK;
    for (CCD ccd : vCells) {
        if (blockOf(ccd) != last) ++numRuns;
        last = blockOf(ccd);
    }
    grow(numRuns);
    for (std::size_t i = 0; i < vCells.size();) {
        const CCD block = blockOf(vCells[i]);
        Word word = 0;
        for (; i < vCells.size() && blockOf(vCells[i]) == block; ++i)
            word |= bitOf(vCells[i]);
        add(block, word);
    }
}

void CellBitmap::grow(std::size_t numBlocksToHold) {
    std::vector<Entry> vOld;
    vOld.swap(vEntry);
    std::size_t size = 16;
    for (shift = 60; size < 2 * (numBlocksToHold + 1); size *= 2)
        --shift;
    vEntry.resize(size);
    for (const Entry& entry : vOld)
        if (entry.block != NO_BLOCK) vEntry[find(entry.block)] = entry;
}

std::uint32_t CellBitmap::getMask27(const CCD* block) const {
    const Gather& gather = GATHER[block[13] & 63];
    Word words[8];
    for (std::size_t corner = 0; corner < 8; ++corner) {
        const std::size_t same = corner & gather.crossing;  // the lowest corner that lies in the same 4x4x4 block
        words[corner] = same == corner ? getWord(blockOf(block[CORNER_POSITION[corner]])) : words[same];
    }
    std::uint32_t mask = 0;
    for (std::size_t pos = 0; pos < 27; ++pos)
        mask |= static_cast<std::uint32_t>(words[gather.corner[pos]] >> (block[pos] & 63) & 1U) << pos;
    return mask;
}

}  // namespace TARN_KEL
