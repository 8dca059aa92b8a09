// The dual cubes of a set of cells.
//
// The plain way is to write the eight keys of each cell and to sort 8n pairs. But an interleaved code sorts by blocks of
// 4x4x4 cells, so the keys of a block are consecutive, and within a block the order is that of the lowest six bits. So we go
// through the blocks that have a key, ascending. For each of the eight cells around a lattice point, say the one at -x, one
// word tells for all 64 keys of the block whether that cell is occupied: it is the block's occupancy moved by one step, with
// a slice of the neighbour block moved in.
//
//          block x-1   block x              key     1 2 3 4
//          . . . a     b c d e      ->      at -x   a b c d
//
// Eight such words name all cubes of the block; nothing is sorted but the list of blocks. Blocks don't depend on each other,
// so workers can take some each.
#include "KeyBlocks.h"

#include <algorithm>

#include "CellBitmap.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using BlockWord::Word;

// An offset is a cell's place below its key: bits 4, 2, 1 for one step down in x, y, z.
constexpr int NUM_OFFSETS = 8;

constexpr CCD axisBits(int axTriBit) {
    return CCD_Z_BITS * static_cast<CCD>(axTriBit);
}

/// One step up or down on one axis of a code or of a block's name. Down from 0 gives a name that no block has.
constexpr CCD stepUp(CCD code, int axTriBit) {
    return stepUpOnBits(code, axisBits(axTriBit));
}
constexpr CCD stepDown(CCD code, int axTriBit) {
    return stepDownOnBits(code, axisBits(axTriBit));
}

constexpr Word highSide(int axTriBit) {
    return axTriBit == 4 ? BlockWord::HIGH_SIDE<4> : axTriBit == 2 ? BlockWord::HIGH_SIDE<2> : BlockWord::HIGH_SIDE<1>;
}

constexpr Word moveUp(Word word, Word wordBelow, int axTriBit) {
    return axTriBit == 4   ? BlockWord::moveUp<4>(word, wordBelow)
           : axTriBit == 2 ? BlockWord::moveUp<2>(word, wordBelow)
                           : BlockWord::moveUp<1>(word, wordBelow);
}

/// Of an offset the axes on which a key with that number in its block has its cell in the block before.
int axesLeavingBlock(int local, int offset) {
    int axes = 0;
    for (int axTriBit : {4, 2, 1})
        if ((local & 9 * axTriBit) == 0) axes |= axTriBit;
    return axes & offset;
}

/// Appends the blocks in which cells of a block have keys.
void appendKeyBlocks(CCD block, Word cells, VCCD& vKeyBlock) {
    for (int offset = 0; offset < NUM_OFFSETS; ++offset) {
        CCD keyBlock = block;
        Word reaching = cells;  // the cells that have a key in that neighbour block
        for (int axTriBit : {4, 2, 1}) {
            if ((offset & axTriBit) == 0) continue;
            keyBlock = stepUp(keyBlock, axTriBit);
            reaching &= highSide(axTriBit);
        }
        if (reaching != 0) vKeyBlock.push_back(keyBlock);
    }
}

}  // namespace

KeyBlocks::KeyBlocks(const VCCD& vCells) : num(vCells.size()) {
    const auto blockOf = [](CCD ccd) { return CellBitmap::blockOf(ccd); };
    forEachRun(vCells.begin(), vCells.end(), blockOf, [&](auto first, auto end) {
        CellBlock cells{CellBitmap::blockOf(*first), 0, static_cast<CCD>(first - vCells.begin())};
        for (auto it = first; it != end; ++it)
            cells.word |= CellBitmap::bitOf(*it);
        vCellBlock.push_back(cells);
        appendKeyBlocks(cells.block, cells.word, vKeyBlock);
    });
    oneInstanceOfNumbers(vKeyBlock);
    index.reserve(vCellBlock.size());
    for (std::size_t i = 0; i < vCellBlock.size(); ++i)
        index.insert(mixHash(vCellBlock[i].block), static_cast<std::uint32_t>(i));
}

VCCD KeyBlocks::cells() const {
    VCCD vCells;
    vCells.reserve(num);
    for (const CellBlock& cells : vCellBlock)
        for (Word left = cells.word; left != 0; left &= left - 1)
            vCells.push_back(cells.block << 6 | static_cast<CCD>(std::countr_zero(left)));
    return vCells;
}

void KeyBlocks::appendPairs(std::vector<std::pair<VCD, CCD>>& vOut) const {
    for (const CCD block : vKeyBlock) {
        const Keys keys(*this, block);
        for (Word left = keys.all(); left != 0; left &= left - 1) {
            const VCD key = block << 6 | static_cast<VCD>(std::countr_zero(left));
            keys.forEachCell(std::countr_zero(left), [&](int, CCD cell, CCD) { vOut.emplace_back(key, cell); });
        }
    }
}

CellCube KeyBlocks::cubeOf(VCD key) const {
    return Keys(*this, CellBitmap::blockOf(key)).cubeOf(static_cast<int>(key & 63));
}

VCD KeyBlocks::lastKey() const {
    ASSEX(!vKeyBlock.empty());
    const int local = 63 - std::countl_zero(Keys(*this, vKeyBlock.back()).all());
    return vKeyBlock.back() << 6 | static_cast<VCD>(local);
}

const KeyBlocks::CellBlock& KeyBlocks::findBlock(CCD block) const {
    static constexpr CellBlock NO_CELLS{};
    const std::uint32_t found = index.find(mixHash(block), [&](std::uint32_t i) { return vCellBlock[i].block == block; });
    return found == HashIndex::NONE ? NO_CELLS : vCellBlock[found];
}

// ---- The keys of a block

KeyBlocks::Keys::Keys(const KeyBlocks& blocks, CCD theBlock) : block(theBlock) {
    for (std::size_t offset = 0; offset < occupied.size(); ++offset) {
        CCD lowered = block;
        for (int axTriBit : {4, 2, 1})
            if ((static_cast<int>(offset) & axTriBit) != 0) lowered = stepDown(lowered, axTriBit);
        aBlocks[offset] = blocks.findBlock(lowered);
        occupied[offset] = aBlocks[offset].word;
    }
    for (std::size_t axTriBit : {4U, 2U, 1U})
        for (std::size_t offset = 0; offset < occupied.size(); ++offset)
            if ((offset & axTriBit) != 0)
                occupied[offset] = moveUp(occupied[offset - axTriBit], occupied[offset], static_cast<int>(axTriBit));
}

BlockWord::Word KeyBlocks::Keys::all() const {
    Word keys = 0;
    for (Word word : occupied)
        keys |= word;
    return keys;
}

/// The axes by falling size of a step down from the key. A step is larger than all smaller ones together, because the
/// highest bit that it changes is higher: so whether a cell is lowered on the first axis decides its place among the eight,
/// then the second one.
std::array<KeyBlocks::Keys::Step, 3> KeyBlocks::Keys::stepsDown(VCD key) {
    std::array<Step, 3> steps{};
    for (std::size_t i = 0; i < 3; ++i) {
        const int axTriBit = 4 >> i;
        steps[i] = {key - stepDown(key, axTriBit), axTriBit};
    }
    if (steps[0].size < steps[1].size) std::swap(steps[0], steps[1]);
    if (steps[1].size < steps[2].size) std::swap(steps[1], steps[2]);
    if (steps[0].size < steps[1].size) std::swap(steps[0], steps[1]);
    return steps;
}

CCD KeyBlocks::Keys::placeOf(CCD cell, int local, int offset) const {
    const CellBlock& cells = aBlocks[static_cast<std::size_t>(axesLeavingBlock(local, offset))];
    return cells.firstPlace + static_cast<CCD>(std::popcount(cells.word & (CellBitmap::bitOf(cell) - 1)));
}

template <typename Visit>
void KeyBlocks::Keys::forEachCell(int local, const Visit& visit) const {
    const VCD key = block << 6 | static_cast<VCD>(local);
    const std::array<Step, 3> steps = stepsDown(key);
    for (int lowered = NUM_OFFSETS - 1; lowered >= 0; --lowered) {
        CCD cell = key;
        int offset = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            if ((lowered & 4 >> i) == 0) continue;
            cell -= steps[i].size;
            offset |= steps[i].axTriBit;
        }
        if ((occupied[static_cast<std::size_t>(offset)] >> local & 1) != 0)
            visit(BIT_OF_OFFSET[static_cast<std::size_t>(offset)], cell, placeOf(cell, local, offset));
    }
}

CellCube KeyBlocks::Keys::cubeOf(int local) const {
    CellCube cube;
    cube.key = block << 6 | static_cast<VCD>(local);
    forEachCell(local, [&cube](int bit, CCD cell, CCD place) {
        ++cube.numCells;
        cube.config |= 1 << bit;
        cube.cells[static_cast<std::size_t>(bit)] = cell;
        cube.places[static_cast<std::size_t>(bit)] = place;
    });
    return cube;
}

}  // namespace TARN_KEL
