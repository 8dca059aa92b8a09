// From cells to triangles.
//
// 1. The list of (key, cell). The plain way is to write the eight keys of each cell and to sort 8n pairs. But an interleaved
//    code sorts by blocks of 4x4x4 cells, so the pairs of a block of keys are consecutive, and within a block the order is
//    that of the lowest six bits. So we go through the blocks that have a key, ascending. For each of the eight cells round
//    a lattice point, say the one at -x, one word tells for all 64 keys of the block whether that cell is occupied: it is
//    the block's occupancy moved by one step, with a slice of the neighbour block moved in.
//
//          block x-1   block x              key     1 2 3 4
//          . . . a     b c d e      ->      at -x   a b c d
//
//    Eight such words name all pairs of the block; they are written in order and nothing is sorted but the list of blocks.
//
// 2. Two passes over the list, see cubeTriangles: the cubes whose triangles are certain, then the flat ones.
//
// Extracting again. At borders of the mesh and where four triangles share an edge the cells are often crowded: they fill a
// dual cube but for one or two cells. Its triangles then run round a corner of the cube, two layers close to each other, and
// no choice of triangles makes one sheet of them. So the cube is completed; a full cube has no triangles, and the surface
// passes beside it. The sheet is thicker there now, and the cells opposite to the new ones may have become superfluous.
//
//        # #          # #          . #
//        # .    ->    # +    ->    # +       + added, opposite cell taken out
//
// A cell is removed only if RemoveDecider finds that it closes nothing by itself. The candidates are tested in the order of
// their codes, since each removal changes the answers for its neighbours. Then everything is extracted again. Building the
// list of (key, cell) takes little time compared with the triangles, so it isn't updated in place.
#include "Extractor.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

#include "BlockWord.h"
#include "CMesh.h"
#include "CellBitmap.h"
#include "Progress.h"
#include "RemoveDecider.h"
#include "cubeTriangles.h"
#include "runs.h"
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
    const auto blockOf = [](CCD ccd) { return CellBitmap::blockOf(ccd); };
    forEachRun(vCells.begin(), vCells.end(), blockOf, [&](auto first, auto end) {
        const CCD block = CellBitmap::blockOf(*first);
        Word word = 0;
        for (auto it = first; it != end; ++it)
            word |= CellBitmap::bitOf(*it);
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
    });
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

// ---- Extracting again

constexpr int KEY_POSITION = 5;  // of the key's own cell in a dual cube

void appendCells(const std::array<CCD, 8>& cube, int mask, VCCD& vOut) {
    for (std::size_t bit = 0; bit < cube.size(); ++bit)
        if ((mask >> bit & 1) != 0) vOut.push_back(cube[bit]);
}

/// Vertices of cells that had no points.
void placeExtraCells(CMesh& mesh, const VCCD& vExtra) {
    constexpr double MISSING = std::numeric_limits<double>::max();
    for (const CCD ccd : vExtra)
        mesh.addBundle(ccd, MISSING, MISSING, MISSING);
    mesh.integrateAdditionalBundles();
    mesh.averageBundles();
}

}  // namespace

Extractor::Extractor(Calc* pCalc_, std::map<CCD, Bundle*>& mCCD2Bundle_, TRIMODE mode)
    : pCalc(pCalc_), mCCD2Bundle(mCCD2Bundle_), casx(mode, false) {
    vCCD.reserve(mCCD2Bundle.size());
    for (const auto& [ccd, pBundle] : mCCD2Bundle)
        vCCD.push_back(ccd);
    setVCD2CCD();
}

void Extractor::setVCD2CCD() {
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

void Extractor::forgetKeys() {
    std::vector<std::pair<VCD, CCD>>().swap(vStaticVCD2CCD);
}

// ---- Triangles

std::unique_ptr<CMesh> Extractor::extract() const {
    auto pMesh = std::make_unique<CMesh>(nullptr, pCalc, mCCD2Bundle);
    fill(*pMesh);
    return pMesh;
}

void Extractor::fill(CMesh& mesh) const {
    const ProgressStep cubes("VO_ftx", vStaticVCD2CCD.size());
    std::vector<CCD> vAmbiguousT;
    // A step that an earlier extraction has completed stays complete: each cube would report the same to the listener again.
    const ProgressStep counted = cubes.isComplete() ? ProgressStep() : cubes;
    createTrianglesOfCubes(&mesh, casx, vStaticVCD2CCD, counted, vAmbiguousT);
    cubes.finish();

    const ProgressStep ambiguous("VO_amb", 2);
    createTrianglesOfFlatCubes(&mesh, vAmbiguousT);
    ambiguous.finish();
}

// ---- Extracting again

void Extractor::extractAgain(CMesh& mesh, const VCCD& vKeys) {
    if (vStaticVCD2CCD.empty() && !vKeys.empty()) setVCD2CCD();
    const CrowdedCells crowded = findCrowded(vKeys);
    addCells(crowded.vExtra);
    removeCells(crowded);
    setVCD2CCD();
    mesh.reset();
    fill(mesh);
    placeExtraCells(mesh, crowded.vExtra);
}

Extractor::CrowdedCells Extractor::findCrowded(const VCCD& vKeys) const {
    CrowdedCells crowded;
    std::vector<CCD> vCells;
    for (const VCD key : vKeys) {
        auto q_it = std::lower_bound(vStaticVCD2CCD.cbegin(), vStaticVCD2CCD.cend(), std::pair<VCD, CCD>(key, 0));
        ASSEX(q_it!=vStaticVCD2CCD.end());
        vCells.clear();
        for (; q_it != vStaticVCD2CCD.cend() && q_it->first == key; ++q_it)
            vCells.push_back(q_it->second);
        if (!makesTriangles(std::ssize(vCells))) continue;
        const int config = configOfCube(key, vCells);
        const int extra = casx.getExtraCbs(config);
        if (extra <= 0) continue;
        std::array<CCD, 8> cube{};
        cube[KEY_POSITION] = key;
        pCalc->completeArraySym(cube.data());
        appendCells(cube, extra, crowded.vExtra);
        appendCells(cube, casx.getRemoveCbs(config), crowded.vRemove);
    }
    oneInstance(crowded.vExtra);
    oneInstance(crowded.vRemove);
    return crowded;
}

// Both lists are ascending.
void Extractor::addCells(const VCCD& vExtra) {
    const auto numBefore = static_cast<std::ptrdiff_t>(vCCD.size());
    vCCD.insert(vCCD.end(), vExtra.begin(), vExtra.end());
    std::inplace_merge(vCCD.begin(), vCCD.begin() + numBefore, vCCD.end());
    dropRepeats(vCCD);
}

void Extractor::removeCells(const CrowdedCells& crowded) {
    const VCCD& vExtra = crowded.vExtra;
    RemoveDecider decider(vCCD, pCalc);
    for (const CCD ccd : crowded.vRemove)
        if (!std::binary_search(vExtra.begin(), vExtra.end(), ccd) && decider.isRemovable(ccd)) decider.registerDoomed(ccd);
    std::erase_if(vCCD, [&decider](CCD ccd) { return decider.isDoomed(ccd); });
}

}  // namespace TARN_KEL
