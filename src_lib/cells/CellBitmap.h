#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

/// How interleaved codes name the 4x4x4 blocks and the 64 cells of each: the lowest six bits of a code are the number of the
/// cell in its block, the others name the block.
struct InterleavedBlocks {
    static constexpr std::size_t RUNS_A_BLOCK = 1;  // in an ascending list the cells of a block follow each other
    static CCD blockOf(CCD ccd) { return ccd >> 6; }
    static std::size_t localOf(CCD ccd) { return ccd & 63; }
    static std::uint32_t toMask27(const std::uint64_t* words, std::size_t local);
    static std::size_t crossing(std::size_t local);
};

/// The same for packed codes: the lowest two bits of each field give the number of the cell, 16z + 4y + x; the code without
/// them names the block.
struct PackedBlocks {
    static constexpr std::size_t RUNS_A_BLOCK = 16;  // at most: one for each row along z
    static constexpr RCD LOCAL_BITS = packRCD(3, 3, 3);
    static RCD blockOf(RCD rcd) { return rcd & ~LOCAL_BITS; }
    static std::size_t localOf(RCD rcd) { return (rcd & 3) << 4 | (rcd >> 19 & 12) | (rcd >> 42 & 3); }
    static std::uint32_t toMask27(const std::uint64_t* words, std::size_t local);
    static std::size_t crossing(std::size_t local);
};

/// A set of cells that answers questions about neighbourhoods, for one of the two layouts of codes.
///
/// A block of 4x4x4 cells is one word. A block without a word is empty, like one whose word is 0. Membership, insertion and
/// removal take constant time on average. Memory: 2 to 5 bytes per cell on a surface; at most 64 when each cell is alone in
/// its block.
template <typename Blocks>
class BlockBitmap {
public:
    using Word = std::uint64_t;
    using Code = unsigned long long;

    static Code blockOf(Code code) { return Blocks::blockOf(code); }
    static Word bitOf(Code code) { return Word{1} << Blocks::localOf(code); }

    BlockBitmap() : BlockBitmap(std::vector<Code>()) {}
    /// vCells: in any order, with or without repeats; ascending order is faster and takes less memory.
    explicit BlockBitmap(const std::vector<Code>& vCells);

    bool contains(Code code) const { return (getWord(blockOf(code)) & bitOf(code)) != 0; }
    void insert(Code code) { add(blockOf(code), bitOf(code)); }
    void erase(Code code) { vEntry[find(blockOf(code))].word &= ~bitOf(code); }

    /// The cells of a block: bit i for the cell with number i; 0 for an unknown block.
    Word getWord(Code block) const { return vEntry[find(block)].word; }

    /// Which positions of the 27-block of a cell are in the set, as bits.
    /// cornerCode: cornerCode(i) gives the cell one step away on all three axes: up on x, y, z where bit 0, 1, 2 of i is
    /// set, else down.
    template <typename CornerCode>
    std::uint32_t getMask27(Code centre, const CornerCode& cornerCode) const;

private:
    struct Entry {
        Code block = NO_BLOCK;
        Word word = 0;  // stays 0 in a free entry
    };
    static constexpr Code NO_BLOCK = ~Code{0};  // no name of a block

    std::size_t find(Code block) const;
    void add(Code block, Word word);
    /// Grows to the smallest table for more than that many blocks.
    void grow(std::size_t numBlocksToHold);

    std::vector<Entry> vEntry;  // a power of two, at least twice the blocks
    std::size_t numBlocks = 0;
    int shift = 0;  // 64 - log2(vEntry.size())
};

/// Cells by interleaved code.
using CellBitmap = BlockBitmap<InterleavedBlocks>;
/// Cells by packed code.
using CellBitmap_RCD = BlockBitmap<PackedBlocks>;

// ---- The innermost operations

/// The entry of the block, or the free entry where it would be put.
template <typename Blocks>
std::size_t BlockBitmap<Blocks>::find(Code block) const {
    // The high bits of the product depend on all bits of the name; the fold spreads names that differ in high bits only.
    std::size_t i = static_cast<std::size_t>(((block ^ (block >> 32)) * 0x9e3779b97f4a7c15ULL) >> shift);
    while (vEntry[i].block != block && vEntry[i].block != NO_BLOCK)
        i = (i + 1) & (vEntry.size() - 1);
    return i;
}

template <typename Blocks>
void BlockBitmap<Blocks>::add(Code block, Word word) {
    if (2 * (numBlocks + 1) > vEntry.size()) grow(vEntry.size() / 2);
    Entry& entry = vEntry[find(block)];
    if (entry.block == NO_BLOCK) {
        entry.block = block;
        ++numBlocks;
    }
    entry.word |= word;
}

template <typename Blocks>
template <typename CornerCode>
std::uint32_t BlockBitmap<Blocks>::getMask27(Code centre, const CornerCode& cornerCode) const {
    const std::size_t local = Blocks::localOf(centre), crossing = Blocks::crossing(local);
    Word words[8];
    for (std::size_t corner = crossing;; corner = (corner - 1) & crossing) {  // all subsets of the axes that are crossed
        words[corner] = getWord(blockOf(cornerCode(corner)));
        if (corner == 0) return Blocks::toMask27(words, local);
    }
}

}  // namespace TARN_KEL
