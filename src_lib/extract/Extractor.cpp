// From cells to triangles.
//
// The dual cubes are found block by block (KeyBlocks), and their triangles, see cubeTriangles, are created all at once:
// those of cubes whose triangles are certain, then those of flat ones.
//
// Extracting again. At borders of the mesh and where four triangles share an edge the cells are often crowded: they fill a
// dual cube but for one or two cells. Its triangles then run around a corner of the cube, two layers close to each other,
// and no choice of triangles makes one sheet of them. So the cube is completed; a full cube has no triangles, and the
// surface passes beside it. The sheet is thicker there now, and the cells opposite to the new ones may have become
// superfluous.
//
//        # #          # #          . #
//        # .    ->    # +    ->    # +       + added, opposite cell taken out
//
// A cell is removed only if RemoveDecider finds that it closes nothing by itself. The candidates are tested in the order of
// their codes, since each removal changes the answers for its neighbours. Then everything is extracted again. Finding the
// cubes takes little time compared with the triangles, so they aren't updated in place.
#include "Extractor.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <limits>

#include "CMesh.h"
#include "Progress.h"
#include "RemoveDecider.h"
#include "cubeTriangles.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t NUM_KEYS = 8;  // of a cell
constexpr int KEY_POSITION = 5;      // of the key's own cell in a dual cube

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
    findCubes();
}

void Extractor::findCubes() {
    if (!std::is_sorted(vCCD.begin(), vCCD.end())) std::sort(vCCD.begin(), vCCD.end());
    dropRepeats(vCCD);
    for (CCD ccd : vCCD)
        for (CCD axTriBit : {CCD{4}, CCD{2}, CCD{1}})
            pCalc->incSparse(ccd, axTriBit);  // fails for a cell on the high side of the grid: it lacks keys
    cubes = KeyBlocks(vCCD);
}

// ---- Triangles

std::unique_ptr<CMesh> Extractor::extract() const {
    auto pMesh = std::make_unique<CMesh>(nullptr, pCalc, mCCD2Bundle);
    fill(*pMesh);
    return pMesh;
}

void Extractor::fill(CMesh& mesh) const {
    const ProgressStep step("VO_ftx", NUM_KEYS * cubes.numCells());
    // A step that an earlier extraction has completed stays complete: each cube would report the same to the listener again.
    const ProgressStep counted = step.isComplete() ? ProgressStep() : step;
    mesh.fill(cubes.cells(), findTrianglesOfCubes(cubes, casx, counted));
    step.finish();
    ProgressStep("VO_amb", 2).finish();
}

// ---- Extracting again

void Extractor::extractAgain(CMesh& mesh, const VCCD& vKeys) {
    const CrowdedCells crowded = findCrowded(vKeys);
    addCells(crowded.vExtra);
    removeCells(crowded);
    findCubes();
    mesh.reset();
    fill(mesh);
    placeExtraCells(mesh, crowded.vExtra);
}

Extractor::CrowdedCells Extractor::findCrowded(const VCCD& vKeys) const {
    CrowdedCells crowded;
    for (const VCD key : vKeys) {
        ASSEX_AS("q_it!=vStaticVCD2CCD.end()", cubes.numCells() > 0 && key <= cubes.lastKey());
        const CellCube occupied = cubes.cubeOf(key);
        if (!makesTriangles(occupied.numCells)) continue;
        const int extra = casx.getExtraCbs(occupied.config);
        if (extra <= 0) continue;
        std::array<CCD, 8> cube{};
        cube[KEY_POSITION] = key;
        pCalc->completeArraySym(cube.data());
        appendCells(cube, extra, crowded.vExtra);
        appendCells(cube, casx.getRemoveCbs(occupied.config), crowded.vRemove);
    }
    oneInstance(crowded.vExtra);
    oneInstance(crowded.vRemove);
    return crowded;
}

// Both lists are ascending.
void Extractor::addCells(const VCCD& vExtra) {
    const auto numBefore = static_cast<std::ptrdiff_t>(vCCD.size());
    vCCD.reserve(vCCD.size() + vExtra.size());  // exactly: growth by itself would take twice the memory
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
