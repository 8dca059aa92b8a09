// Counting touched corners, 64 cells at a time.
//
// A lattice point has the code of the cell above it, so the eight corners of a cell are the cell itself and the codes one
// step higher on any subset of the axes. A corner is touched if one of the eight cells around it is occupied. Both are
// computed for whole blocks of 4x4x4 cells at once, the 64 bits of a word:
//
//   touched corners   =  the occupied cells, spread one step up along x, then y, then z
//   count at a cell   =  the touched corners, added to themselves one step down along z, then y, then x; the sums are kept
//                        in bit planes: ones, twos, fours, eights
//
// A step moves bits within the word, and bits at the block's side come from the next block. So the 27 words around a block
// are all that its cells depend on.
#include "gapCells.h"

#include <array>
#include <bit>
#include <cstddef>

#include "BlockWord.h"
#include "CellBitmap.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

using BlockWord::placesWhere;
using BlockWord::Word;

/// 64 counters of four bits.
struct Counters {
    Word ones = 0, twos = 0, fours = 0, eights = 0;
};

/// Adds a, each counter below 8, and b moved one cell down; `above` is what follows b in the next block.
template <unsigned AXIS>
Counters addStepDown(const Counters& a, const Counters& above) {
    const auto majority = [](Word x, Word y, Word z) { return (x & y) | (z & (x | y)); };
    const Counters b = {BlockWord::moveDown<AXIS>(a.ones, above.ones), BlockWord::moveDown<AXIS>(a.twos, above.twos),
                        BlockWord::moveDown<AXIS>(a.fours, above.fours), 0};
    const Word carry1 = a.ones & b.ones;
    const Word carry2 = majority(a.twos, b.twos, carry1);
    return {a.ones ^ b.ones, a.twos ^ b.twos ^ carry1, a.fours ^ b.fours ^ carry2, majority(a.fours, b.fours, carry2)};
}

/// words: 27 blocks, x fastest. Adds to each word its bits moved one step up, with those from the block below.
template <unsigned AXIS>
void spreadUp(std::array<Word, 27>& words, std::size_t stride) {
    for (std::size_t i = 27; i-- > 0;)  // downwards, so that the block below hasn't been spread yet
        if (i / stride % 3 != 0) words[i] |= BlockWord::moveUp<AXIS>(words[i], words[i - stride]);
}

/// words: the occupied cells of the 27 blocks around a block. The free cells of the block with six touched corners or more.
Word gapsOfBlock(std::array<Word, 27> words) {
    const Word occupied = words[13];
    spreadUp<4>(words, 1);
    spreadUp<2>(words, 3);
    spreadUp<1>(words, 9);
    std::array<Counters, 8> counters;  // of the block (0) and the ones behind it along x (4), y (2), z (1)
    for (std::size_t i = 0; i < 8; ++i)
        counters[i].ones = words[13 + (i >> 2 & 1) + 3 * (i >> 1 & 1) + 9 * (i & 1)];
    for (std::size_t i = 0; i < 8; i += 2)
        counters[i] = addStepDown<1>(counters[i], counters[i + 1]);
    for (std::size_t i = 0; i < 8; i += 4)
        counters[i] = addStepDown<2>(counters[i], counters[i + 2]);
    const Counters sum = addStepDown<4>(counters[0], counters[4]);
    return (sum.eights | (sum.fours & sum.twos)) & ~occupied;
}

/// For each position of a 27-block of blocks: the places of the middle one that have a neighbour there.
constexpr std::array<Word, 27> makeReach() {
    const auto towards = [](unsigned axis, std::size_t step) {
        return step == 1 ? ~Word{0} : placesWhere(9 * axis, step == 0 ? 0 : 9 * axis);
    };
    std::array<Word, 27> reach{};
    for (std::size_t i = 0; i < 27; ++i)
        reach[i] = towards(4, i % 3) & towards(2, i / 3 % 3) & towards(1, i / 9);
    return reach;
}

/// The blocks that hold an occupied cell or a neighbour of one, sorted. A block's code is that of a cell of a coarser grid.
VCCD getBlocksToSearch(const VCCD& vSortedCells, const CellBitmap& occupied, const Calc& calc) {
    static constexpr std::array<Word, 27> REACH = makeReach();
    VCCD vBlocks;
    for (std::size_t i = 0; i < vSortedCells.size(); ++i) {
        const CCD block = CellBitmap::blockOf(vSortedCells[i]);
        if (i > 0 && block == CellBitmap::blockOf(vSortedCells[i - 1])) continue;
        const Word word = occupied.getWord(block);
        CCD around[27];
        calc.completeArray27(block, around);
        for (std::size_t pos = 0; pos < 27; ++pos)
            if ((word & REACH[pos]) != 0) vBlocks.push_back(around[pos]);
    }
    oneInstanceOfNumbers(vBlocks);
    return vBlocks;
}

}  // namespace

void getGapCells(const VCCD& vSortedCells, const Calc& calc, VCCD& vOut) {
    const CellBitmap occupied(vSortedCells);
    const VCCD vBlocks = getBlocksToSearch(vSortedCells, occupied, calc);
    std::vector<Word> vGaps;
    transform_MT(vBlocks, vGaps, [&](CCD block) {
        CCD around[27];
        calc.completeArray27(block, around);
        std::array<Word, 27> words;
        for (std::size_t pos = 0; pos < 27; ++pos)
            words[pos] = occupied.getWord(around[pos]);
        return gapsOfBlock(words);
    });
    for (std::size_t i = 0; i < vBlocks.size(); ++i)
        for (Word gaps = vGaps[i]; gaps != 0; gaps &= gaps - 1)
            vOut.push_back(vBlocks[i] << 6 | static_cast<CCD>(std::countr_zero(gaps)));
}

}  // namespace TARN_KEL
