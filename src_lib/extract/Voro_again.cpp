// Extracting again with a few cells more and a few less.
//
// At borders of the mesh and where four triangles share an edge the cells are often crowded: they fill a dual cube but for
// one or two cells. Its triangles then run round a corner of the cube, two layers close to each other, and no choice of
// triangles makes one sheet of them. So the cube is completed; a full cube has no triangles, and the surface goes past it.
// The sheet is thicker there by now, and the cells opposite to the new ones may have become superfluous.
//
//        # #          # #          . #
//        # .    ->    # +    ->    # +       + added, opposite cell taken out
//
// A cell goes only if RemoveDecider finds that it closes nothing by itself. The order of the candidates is their code's:
// each cell that went weakens its neighbours.
//
// The extraction as a whole is made again. The list of (key, cell) is made in linear time, in a small part of the time that
// the triangles need, so it isn't mended in place.
#include "Voro.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <limits>
#include <utility>

#include "CMesh.h"
#include "Progress.h"
#include "RemoveDecider.h"
#include "cubeTriangles.h"
#include "drawings.h"
#include "looseTriangles.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int KEY_POSITION = 5;  // of the key's own cell in a dual cube

/// Six of the eight rotations of the flat corner, base row 27.
constexpr std::array<int, 6> LATE_FLAT_CORNERS = {78, 114, 141, 177, 216, 228};

void appendCells(const std::array<CCD, 8>& cube, int mask, VCCD& vOut) {
    for (std::size_t bit = 0; bit < cube.size(); ++bit)
        if ((mask >> bit & 1) != 0) vOut.push_back(cube[bit]);
}

}  // namespace

CMesh* Voro::meshAgain(std::vector<CCD>& vKeys) {
    VCCD vExtra, vRemove;
    createExtraCCDs_borderFix(vKeys, vExtra, vRemove);
    addCells(vExtra);
    removeRemovable(vRemove, vExtra);
    setVCD2CCD();
    fatExtractTriangles();

    constexpr double MISSING = std::numeric_limits<double>::max();
    for (const CCD ccd : vExtra)
        pCMesh->addBundle(ccd, MISSING, MISSING, MISSING);
    pCMesh->integrateAdditionalBundles();
    pCMesh->averageBundles();
    return pCMesh;
}

void Voro::createExtraCCDs_borderFix(std::vector<CCD>& vKeys, std::vector<CCD>& vExtra, std::vector<CCD>& vRemove) {
    std::vector<CCD> vCells;
    for (const VCD key : vKeys) {
        auto q_it = std::lower_bound(vStaticVCD2CCD.cbegin(), vStaticVCD2CCD.cend(), std::pair<VCD, CCD>(key, 0));
        ASSEX(q_it!=vStaticVCD2CCD.end());
        vCells.clear();
        for (; q_it != vStaticVCD2CCD.cend() && q_it->first == key; ++q_it)
            vCells.push_back(q_it->second);
        if (!makesTriangles(std::ssize(vCells))) continue;
        const int config = getConfig(key, vCells);
        const int extra = casx.getExtraCbs(config);
        if (extra <= 0) continue;
        std::array<CCD, 8> cube{};
        cube[KEY_POSITION] = key;
        pCalc->completeArraySym(cube.data());
        appendCells(cube, extra, vExtra);
        appendCells(cube, casx.getRemoveCbs(config), vRemove);
    }
    oneInstance(vExtra);
    oneInstance(vRemove);
}

/// vExtra is ascending, as vCCD is and stays.
void Voro::addCells(const VCCD& vExtra) {
    const auto numBefore = static_cast<std::ptrdiff_t>(vCCD.size());
    vCCD.insert(vCCD.end(), vExtra.begin(), vExtra.end());
    std::inplace_merge(vCCD.begin(), vCCD.begin() + numBefore, vCCD.end());
    dropRepeats(vCCD);
}

void Voro::removeRemovable(std::vector<CCD>& vRemove, std::vector<CCD>& vExtra) {
    std::sort(vExtra.begin(), vExtra.end());
    RemoveDecider decider(vCCD, pCalc);
    for (const CCD ccd : vRemove)
        if (!std::binary_search(vExtra.begin(), vExtra.end(), ccd) && decider.isRemovable(ccd)) decider.registerDoomed(ccd);
    vCCD.erase(std::remove_if(vCCD.begin(), vCCD.end(), [&decider](CCD ccd) { return decider.isDoomed(ccd); }), vCCD.end());
}

void Voro::thinNewExtractTriangles() {
    out() << "This is thinNewExtractTriangles" << std::endl;
    if (!bHandedOut) vFormerMeshes.emplace_back(pCMesh);
    bHandedOut = false;
    pCMesh = nullptr;  // in case that the next one can't be made
    pCMesh = new CMesh(this, pCalc, mCCD2Bundle);
    std::vector<CCD> vAmbiguousT;
    createTrianglesOfCubes(pCMesh, casx, vStaticVCD2CCD, {}, vAmbiguousT);
    solveAmbiguousT(vAmbiguousT);
    pruneCase27();
}

void Voro::pruneCase27() {
    ASSEX(pCMesh!=NULL);
    drawOnTheWay([&] { pCMesh->debugShow(globalPrefix() + "beforePruneCase27.list", VT_REAL, CGREEN); });
    pCMesh->printStatistics("before pruneCase27()");
    killLooseTriangles(pCMesh, LATE_FLAT_CORNERS);
}

}  // namespace TARN_KEL
