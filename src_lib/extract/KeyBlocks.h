#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "BlockWord.h"
#include "Calc.h"
#include "HashIndex.h"

namespace TARN_KEL {

/// The bit of a cell in the configuration, by the axes in which its code differs from the key's: 4, 2, 1 for x, y, z.
constexpr std::array<int, 8> BIT_OF_OFFSET = {5, 6, 1, 2, 4, 7, 0, 3};

/// A dual cube with cells: what is needed to make its triangles.
struct CellCube {
    VCD key = 0;
    int numCells = 0;
    int config = 0;               ///< the sum of the masks of its cells
    std::array<CCD, 8> cells{};   ///< by bit of the configuration; only those with a bit are valid
    std::array<CCD, 8> places{};  ///< of these in the list of all cells
};

/// All dual cubes of a set of cells, by blocks of 4x4x4 keys. Memory: some 3 bytes per cell.
class KeyBlocks {
public:
    using Word = BlockWord::Word;

    KeyBlocks() = default;
    /// vCells: ascending, each once; not referred to. Cost: O(n), apart from a sort of their 4x4x4 blocks.
    explicit KeyBlocks(const VCCD& vCells);

    std::size_t numCells() const { return num; }
    /// The cells, ascending.
    VCCD cells() const;
    /// The number of blocks that have a key.
    std::size_t size() const { return vKeyBlock.size(); }
    /// visit(cube) for the cubes in the blocks from begin on, before end, by ascending keys.
    template <typename Visit>
    void forEachCube(std::size_t begin, std::size_t end, const Visit& visit) const;
    /// Appends the pairs (key, cell) of all cubes, sorted.
    void appendPairs(std::vector<std::pair<VCD, CCD>>& vOut) const;
    /// The cube of a key, of no cells for a key that is none.
    CellCube cubeOf(VCD key) const;
    /// The highest key of all cells; there must be one.
    VCD lastKey() const;

private:
    struct CellBlock {
        CCD block = 0;
        Word word = 0;
        CCD firstPlace = 0;
    };
    class Keys;

    const CellBlock& findBlock(CCD block) const;

    std::size_t num = 0;
    std::vector<CellBlock> vCellBlock;  // ascending
    HashIndex index;                    // from the name of a block to its place in vCellBlock
    VCCD vKeyBlock;                     // ascending
};

/// The keys of one block.
class KeyBlocks::Keys {
public:
    Keys(const KeyBlocks& blocks, CCD theBlock);

    /// A bit for each key that has a cell.
    Word all() const;
    /// visit(bit of the configuration, cell, place) for the cells of a key, ascending. local: the key's number in the block.
    template <typename Visit>
    void forEachCell(int local, const Visit& visit) const;
    CellCube cubeOf(int local) const;

private:
    struct Step {
        CCD size;  // as a plain difference of codes
        int axTriBit;
    };
    static std::array<Step, 3> stepsDown(VCD key);
    CCD placeOf(CCD cell, int local, int offset) const;

    CCD block;
    std::array<Word, 8> occupied{};      // by offset; bit k: that cell of key k is occupied
    std::array<CellBlock, 8> aBlocks{};  // by offset: the block one step down there
};

// ---- The innermost operations

template <typename Visit>
void KeyBlocks::forEachCube(std::size_t begin, std::size_t end, const Visit& visit) const {
    for (std::size_t i = begin; i < end; ++i) {
        const Keys keys(*this, vKeyBlock[i]);
        for (Word left = keys.all(); left != 0; left &= left - 1)
            visit(keys.cubeOf(std::countr_zero(left)));
    }
}

}  // namespace TARN_KEL
