// Patch pairs: doubles of a sheet, and bubbles.
//
// A wall one cell too thick comes out of the extraction as two sheets that meet all around, so that every edge where they
// end is an ME. Cut at all MEs the mesh falls into patches, and such a double is two patches with the same boundary. One of
// them is killed, if they are small. A bubble on the surface is one patch that meets itself in MEs, or itself only; it is
// split, or killed.
//
//      ______        The patches A and B have one boundary. Without B it is manifold, and A continues what was beside B.
//     /  A   \       So each solved pair joins patches to larger ones, and the mesh is cut anew and solved again until
//  --*--------*--    nothing changes.
//     \__B___/
//
// Passes end: what counts as a change kills triangles, and only the passes before it make new ones. In a chain of three
// patches on a boundary a patch that the first pair has killed may be chosen again by the second. That counts as a change as
// well, but it can't come first.
#include "patchPairs.h"

#include <algorithm>
#include <cstddef>
#include <map>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "Progress.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_SMALL_PATCH = 20;  // triangles of a patch that goes whatever its area
constexpr double MAX_AREA_SHARE = 0.1;       // of the mesh, for a pair with a larger patch
constexpr std::size_t MAX_TINY_CLOSED = 6;   // triangles of a closed patch that may go as a whole

bool hasOnlyManifoldEdges(const CPatch& patch) {
    std::vector<CEdge*> vCE;
    patch.getAllCE(vCE);
    return std::all_of(vCE.begin(), vCE.end(), [](const CEdge* pCE) { return pCE->getDegree() == 2; });
}

}  // namespace

std::vector<CPatch*> cutIntoPatches(CMesh& mesh, std::set<CEdge*>* pFences) {
    std::vector<CPatch*> vPatches;
    std::map<VCD, CPatch*> mVCD2Patch;
    std::vector<CEdge*> vMECE;
    mesh.createPatches(pFences, vPatches, mVCD2Patch, vMECE);
    return vPatches;
}

bool solvePatchPairsOnce(CMesh& mesh, bool bCareful) {
    ProgressStep step("TP_pps", 100);
    std::vector<CPatch*> vPatches = cutIntoPatches(mesh, nullptr);
    step.advance();
    PatchPairs pairs = pairPatches(vPatches);
    step.advance();
    bool bChanged = solvePatchPairs(mesh, pairs.vPairs);
    step.advance();
    if (simplifyClosedPatches(pairs.vClosed, bCareful)) bChanged = true;
    step.advance();
    step.finish();
    return bChanged;
}

PatchPairs pairPatches(std::vector<CPatch*>& vPatches) {
    for (CPatch* pPatch : vPatches)
        if (pPatch->isAlive()) pPatch->setOuterBoundary();
    std::sort(vPatches.begin(), vPatches.end(), [](const CPatch* pPatch0, const CPatch* pPatch1) {
        if (pPatch0->vPatchBoundaryCE != pPatch1->vPatchBoundaryCE)
            return pPatch0->vPatchBoundaryCE < pPatch1->vPatchBoundaryCE;
        return CPatchOrder()(pPatch0, pPatch1);
    });
    PatchPairs pairs;
    for (std::size_t i = 0; i < vPatches.size(); ++i) {
        CPatch* pPatch = vPatches[i];
        if (!pPatch->isAlive()) continue;
        CPatch* pNext = i + 1 < vPatches.size() ? vPatches[i + 1] : nullptr;
        if (pPatch->vPatchBoundaryCE.empty()) {
            pairs.vClosed.push_back(pPatch);
        } else if (pNext != nullptr && pNext->vPatchBoundaryCE == pPatch->vPatchBoundaryCE) {
            if (pNext->isAlive()) pairs.vPairs.emplace_back(pPatch, pNext);
        } else {
            pairs.vOpen.push_back(pPatch);
        }
    }
    return pairs;
}

bool solvePatchPairs(const CMesh& mesh, const std::vector<std::pair<CPatch*, CPatch*>>& vPairs) {
    const double meshArea = mesh.getArea();
    bool bChanged = false;
    for (const auto& [pPatch0, pPatch1] : vPairs)
        if (solvePatchPair(pPatch0, pPatch1, meshArea)) bChanged = true;
    return bChanged;
}

bool solvePatchPair(CPatch* pPatch0, CPatch* pPatch1, double meshArea) {
    const bool bSmall = pPatch0->getSize() <= MAX_SMALL_PATCH && pPatch1->getSize() <= MAX_SMALL_PATCH;
    if (!bSmall && (pPatch0->getArea() + pPatch1->getArea()) / meshArea > MAX_AREA_SHARE) return false;
    CPatch* pSmaller = pPatch0->getSize() < pPatch1->getSize() ? pPatch0 : pPatch1;
    pSmaller->killPatchAndMembers();
    return true;
}

bool simplifyClosedPatches(std::vector<CPatch*>& vClosedPatches, bool bCareful) {
    std::stable_sort(vClosedPatches.begin(), vClosedPatches.end(),
                     [](const CPatch* pPatch0, const CPatch* pPatch1) { return pPatch0->getSize() < pPatch1->getSize(); });
    bool bChanged = false;
    for (CPatch* pPatch : vClosedPatches) {
        if (!pPatch->isAlive() || !pPatch->isClosed()) continue;
        if (pPatch->getSize() <= MAX_TINY_CLOSED && hasOnlyManifoldEdges(*pPatch))
            pPatch->killPatchAndMembers();
        else if (pPatch->splitClosedPatchKill(bCareful))
            bChanged = true;
    }
    return bChanged;
}

}  // namespace TARN_KEL
