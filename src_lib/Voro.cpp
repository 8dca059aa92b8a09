// From cells to triangles.
//
// 1. The list of (key, cell). The plain way is to write the eight keys of each cell and to sort 8n pairs. But an interleaved
//    code sorts by blocks of 4x4x4 cells, so the pairs of a block of keys stand together, and within a block the order is
//    that of the lowest six bits. So we go through the blocks that hold a key, ascending. For each of the eight cells round
//    a lattice point, say the one at -x, one word tells for all 64 keys of the block whether that cell is occupied: it is
//    the block's occupancy moved by one step, with a slice of the neighbour block moved in.
//
//          block x-1   block x              key     1 2 3 4
//          . . . a     b c d e      ->      at -x   a b c d
//
//    Eight such words name all pairs of the block; they are written in order and nothing is sorted but the list of blocks.
//
// 2. Two passes over the list, see cubeTriangles: the cubes whose triangles are certain, then the flat ones.
#include "Voro.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "BlockWord.h"
#include "CMesh.h"
#include "CellBitmap.h"
#include "Progress.h"
#include "cubeTriangles.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using BlockWord::Word;

// ---- Blocks of keys. An offset is a cell's place below its key: bits 4, 2, 1 for one step down in x, y, z.

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

/// The blocks that hold a key of some cell, ascending. vCells is ascending.
VCCD findKeyBlocks(const VCCD& vCells) {
    VCCD vBlock;
    for (std::size_t i = 0; i < vCells.size();) {
        const CCD block = CellBitmap::blockOf(vCells[i]);
        Word word = 0;
        for (; i < vCells.size() && CellBitmap::blockOf(vCells[i]) == block; ++i)
            word |= CellBitmap::bitOf(vCells[i]);
        for (int offset = 0; offset < NUM_OFFSETS; ++offset) {
            CCD keyBlock = block;
            Word reaching = word;  // the cells that have a key in that neighbour block
            for (int axTriBit : {4, 2, 1}) {
                if ((offset & axTriBit) == 0) continue;
                keyBlock = stepUp(keyBlock, axTriBit);
                reaching &= highSide(axTriBit);
            }
            if (reaching != 0) vBlock.push_back(keyBlock);
        }
    }
    oneInstance(vBlock);
    return vBlock;
}

/// The pairs of 64 keys that share a block.
class KeyBlock {
public:
    KeyBlock(const CellBitmap& cells, CCD theBlock) : block(theBlock) {
        for (int offset = 0; offset < NUM_OFFSETS; ++offset) {
            CCD lowered = block;
            for (int axTriBit : {4, 2, 1})
                if ((offset & axTriBit) != 0) lowered = stepDown(lowered, axTriBit);
            at(offset) = cells.getWord(lowered);
        }
        for (int axTriBit : {4, 2, 1})
            for (int offset = 0; offset < NUM_OFFSETS; ++offset)
                if ((offset & axTriBit) != 0) at(offset) = moveUp(at(offset - axTriBit), at(offset), axTriBit);
    }

    void appendPairs(std::vector<std::pair<VCD, CCD>>& vOut) const {
        Word keys = 0;
        for (Word word : occupied)
            keys |= word;
        for (; keys != 0; keys &= keys - 1)
            appendPairsOfKey(std::countr_zero(keys), vOut);
    }

private:
    struct Step {
        CCD size;  // as a plain difference of codes
        int axTriBit;
    };

    /// The axes by falling size of a step down from the key. A step is larger than all smaller ones together, because the
    /// highest bit that it changes is higher: so whether a cell is lowered on the first axis decides its place among the
    /// eight, then the second one.
    static std::array<Step, 3> stepsDown(VCD key) {
        std::array<Step, 3> steps{};
        for (int i = 0; i < 3; ++i) {
            const int axTriBit = 4 >> i;
            steps[static_cast<std::size_t>(i)] = {key - stepDown(key, axTriBit), axTriBit};
        }
        if (steps[0].size < steps[1].size) std::swap(steps[0], steps[1]);
        if (steps[1].size < steps[2].size) std::swap(steps[1], steps[2]);
        if (steps[0].size < steps[1].size) std::swap(steps[0], steps[1]);
        return steps;
    }

    void appendPairsOfKey(int local, std::vector<std::pair<VCD, CCD>>& vOut) const {
        const VCD key = block << 6 | static_cast<VCD>(local);
        const std::array<Step, 3> steps = stepsDown(key);
        for (int lowered = NUM_OFFSETS - 1; lowered >= 0; --lowered) {
            CCD cell = key;
            int offset = 0;
            for (int i = 0; i < 3; ++i) {
                if ((lowered & 4 >> i) == 0) continue;
                cell -= steps[static_cast<std::size_t>(i)].size;
                offset |= steps[static_cast<std::size_t>(i)].axTriBit;
            }
            if ((at(offset) >> local & 1) != 0) vOut.emplace_back(key, cell);
        }
    }

    Word& at(int offset) { return occupied[static_cast<std::size_t>(offset)]; }
    Word at(int offset) const { return occupied[static_cast<std::size_t>(offset)]; }

    CCD block;
    std::array<Word, NUM_OFFSETS> occupied{};  // by offset; bit k: that cell of key k is occupied
};

}  // namespace

Voro::Voro(Calc* pCalc_, std::map<CCD, Bundle*>& mCCD2Bundle_, TRIMODE mode)
    : pCalc(pCalc_), mCCD2Bundle(mCCD2Bundle_), casx(mode, false) {
    vCCD.reserve(mCCD2Bundle.size());
    for (const auto& [ccd, pBundle] : mCCD2Bundle)
        vCCD.push_back(ccd);
    setVCD2CCD();
}

Voro::~Voro() {
    if (!bHandedOut) delete pCMesh;
}

void Voro::setVCD2CCD() {
    if (!std::is_sorted(vCCD.begin(), vCCD.end())) std::sort(vCCD.begin(), vCCD.end());
    dropRepeats(vCCD);
    for (CCD ccd : vCCD)
        for (CCD axTriBit : {CCD{4}, CCD{2}, CCD{1}})
            pCalc->incSparse(ccd, axTriBit);  // fails for a cell on the high side of the grid: it lacks keys

    const CellBitmap cells(vCCD);
    vStaticVCD2CCD.clear();
    vStaticVCD2CCD.reserve(vCCD.size() * NUM_OFFSETS);
    for (CCD block : findKeyBlocks(vCCD))
        KeyBlock(cells, block).appendPairs(vStaticVCD2CCD);
}

int Voro::getConfig(VCD key, std::vector<CCD>& vCells) const {
    return configOfCube(key, vCells);
}

CMesh* Voro::getCMesh() const {
    bHandedOut = pCMesh != nullptr;
    return pCMesh;
}

void Voro::fatExtractTriangles() {
    if (pCMesh == nullptr)
        pCMesh = new CMesh(this, pCalc, mCCD2Bundle);
    else
        pCMesh->reset();

    ProgressStep cubes("VO_ftx", vStaticVCD2CCD.size());
    std::vector<CCD> vAmbiguousT;
    // A step that an earlier extraction filled stays full: each cube would tell the listener the same once more.
    const ProgressStep counted = cubes.isComplete() ? ProgressStep() : cubes;
    createTrianglesOfCubes(pCMesh, casx, vStaticVCD2CCD, counted, vAmbiguousT);
    cubes.finish();

    ProgressStep ambiguous("VO_amb", 2);
    solveAmbiguousT(vAmbiguousT);
    ambiguous.finish();
}

void Voro::solveAmbiguousT(std::vector<CCD>& vAmbiguousT) {
    ASSEX(pCMesh!=NULL);
    createTrianglesOfFlatCubes(pCMesh, vAmbiguousT);
}

}  // namespace TARN_KEL
