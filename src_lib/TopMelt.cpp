// Finishing a melted mesh: doubled sheets removed, the outer sheet kept, spikes flattened.
//
// Pairs of patches on the same boundary are solved twice: first with the mesh cut at MEs, then cut at fences as well. In
// between, the spanning tree (strategyMST) orients all triangles as far as they can agree. An edge where two still disagree
// joins sheets that face opposite ways, so it bounds a double although it is manifold.
#include "TopMelt.h"

#include "CMesh.h"
#include "CPatch.h"
#include "coarseFlips.h"
#include "drawings.h"
#include "floodTriangles.h"
#include "outwardWalk.h"
#include "patchPairs.h"
#include "sortMT.h"
#include "spikes.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double SPIKE_FOLD = 140.0;  // degrees

void printDashes() {
    out() << repstr("-", 60) << "\n";
}

void drawIfAsked(const CMesh& mesh, const std::string& filename, const std::vector<CEdge*>& vHighlightCE = {}) {
    drawOnTheWay([&] { drawMesh(filename, mesh, vHighlightCE); });
}

}  // namespace

// ---- Doubles

void TopMelt::finalize2(const std::vector<std::pair<VCD, VCD>>& vFeatures) {
    takeFeatures(vFeatures);
    solvePairs();
    solveFencedPairs();
    deliberateExit(KEL_PLACE);
}

void TopMelt::takeFeatures(const std::vector<std::pair<VCD, VCD>>& vFeatures) {
    unifyDiagonals();
    drawIfAsked(*pCMesh, "unifiedDiagonals.list");
    std::vector<VCD> vVCD;
    vVCD.reserve(2 * vFeatures.size());
    for (const auto& [vcd0, vcd1] : vFeatures)
        vVCD.insert(vVCD.end(), {vcd0, vcd1});
    oneInstance(vVCD);
    sFeatureCCD.insert(vVCD.begin(), vVCD.end());
    flipFeatures();
}

void TopMelt::solvePairs() {
    std::vector<CPatch*> vPatches = cutIntoPatches(*pCMesh, nullptr);
    solvePatchPairs(*pCMesh, pairPatches(vPatches).vPairs);
}

void TopMelt::solveFencedPairs() {
    printDashes();
    out() << "Calling strategyMST()..." << std::endl;
    std::set<CEdge*> sFences;
    strategyMST(sFences);
    drawIfAsked(*pCMesh, "afterMST.list", {sFences.begin(), sFences.end()});

    std::vector<CPatch*> vPatches = cutIntoPatches(*pCMesh, &sFences);
    const PatchPairs pairs = pairPatches(vPatches);
    out() << "Showing the patches.." << std::endl;
    drawOnTheWay([&vPatches] { drawPatches(vPatches); });
    printDashes();
    out() << "sumPatches=" << vPatches.size() << "\nvClosedPatches.size()=" << pairs.vClosed.size()
          << "\nvOpenPatches.size()=" << pairs.vOpen.size() << "\nvPatchPairs.size()=" << pairs.vPairs.size() << "\n";
    printDashes();
    pCMesh->printStatistics("beforeSolvePatches2");
    drawIfAsked(*pCMesh, "beforeSolvePatches2.list");
    solvePatchPairs(*pCMesh, pairs.vPairs);
    pCMesh->printStatistics("afterSolvePatches2");
    drawIfAsked(*pCMesh, "afterSolvePatches2.list");
}

// ---- The outer sheet

void TopMelt::meshGrowing(std::vector<CTriangle*>& vT) {
    OutwardWalk(*pCMesh, rotx, sBorderCCD).keepReached(vT);
}

CTriangle* TopMelt::findFlippedNeig(CTriangle* pCT, int i) {
    return OutwardWalk(*pCMesh, rotx, sBorderCCD).next(pCT, i);
}

CTriangle* TopMelt::getFlippedMaxT_for_closed_melt(std::vector<CTriangle*>& vT) {
    return OutwardWalk(*pCMesh, rotx, sBorderCCD).start(vT);
}

CTriangle* TopMelt::getFlippedMaxT_for_open_melt(std::vector<CTriangle*>& vT) {
    return OutwardWalk(*pCMesh, rotx, sBorderCCD).borderStart(vT);
}

void TopMelt::getCC(std::vector<std::vector<CTriangle*>>& vvT) {
    std::vector<CTriangle*> vAllCT, vStack;
    pCMesh->getAllTriangles(vAllCT);
    resetVisited(vAllCT);
    AnyEdge cross;
    for (CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive() || pCT->bVisited) continue;
        std::vector<CTriangle*>& vT = vvT.emplace_back();
        floodTriangles(pCT, vStack, cross, [&vT](CTriangle* pReachedT) { vT.push_back(pReachedT); });
    }
}

// ---- Spikes

void TopMelt::flip180new() {
    flipFolds(*pCMesh, SPIKE_FOLD);
}

void TopMelt::replaceRemaining180() {
    removeSpikes(*pCMesh, SPIKE_FOLD);
}

bool TopMelt::tryRemoveCCD(CCD killCCD, std::vector<CEdge*>& vE, double minAngle) {
    return removeVertex(*pCMesh, killCCD, vE, minAngle);
}

}  // namespace TARN_KEL
