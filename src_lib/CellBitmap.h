#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

/// A set of cells, by interleaved code, for questions about neighbourhoods.
///
/// The lowest six bits of a code run through a block of 4x4x4 cells, the rest names the block: so a block of cells is one
/// word. A word that is 0 and a block that was never met are the same. Membership, insertion and removal take constant time
/// on average; 2 to 5 bytes a cell on a surface, at most 64 where each cell has a block to itself.
class CellBitmap {
public:
    using Word = std::uint64_t;

    static CCD blockOf(CCD ccd) { return ccd >> 6; }
    static Word bitOf(CCD ccd) { return Word{1} << (ccd & 63); }

    CellBitmap() : CellBitmap(VCCD()) {}
    /// In any order, but ascending is faster and takes less memory; repeats do no harm.
    explicit CellBitmap(const VCCD& vCells);

    bool contains(CCD ccd) const { return (getWord(blockOf(ccd)) & bitOf(ccd)) != 0; }
    void insert(CCD ccd) { add(blockOf(ccd), bitOf(ccd)); }
    void erase(CCD ccd) { vEntry[find(blockOf(ccd))].word &= ~bitOf(ccd); }

    /// The cells of a block, bit i for the cell that has i as the lowest six bits of its code; 0 for an unknown block.
    Word getWord(CCD block) const { return vEntry[find(block)].word; }

    /// Which positions of a 27-block are in the set, as bits. block: the 27 codes of Calc::completeArray27.
    std::uint32_t getMask27(const CCD* block) const;

private:
    struct Entry {
        CCD block = NO_BLOCK;
        Word word = 0;  // stays 0 in a free entry
    };
    static constexpr CCD NO_BLOCK = ~CCD{0};  // no code shifted by six has these bits

    std::size_t find(CCD block) const;
    void add(CCD block, Word word);
    void grow(std::size_t numBlocksToHold);

    std::vector<Entry> vEntry;  // a power of two, at least twice the blocks
    std::size_t numBlocks = 0;
    int shift = 0;  // 64 - log2(vEntry.size())
};

// ---- The innermost operations

/// The entry of the block, or the free one where it would go.
inline std::size_t CellBitmap::find(CCD block) const {
    // The high bits of the product depend on all bits of the name; the fold spreads names that differ in high bits only.
    std::size_t i = static_cast<std::size_t>(((block ^ (block >> 32)) * 0x9e3779b97f4a7c15ULL) >> shift);
    while (vEntry[i].block != block && vEntry[i].block != NO_BLOCK)
        i = (i + 1) & (vEntry.size() - 1);
    return i;
}

inline void CellBitmap::add(CCD block, Word word) {
    if (2 * (numBlocks + 1) > vEntry.size()) grow(2 * (numBlocks + 1));
    Entry& entry = vEntry[find(block)];
    if (entry.block == NO_BLOCK) {
        entry.block = block;
        ++numBlocks;
    }
    entry.word |= word;
}

}  // namespace TARN_KEL
