// Removes doubles of a sheet, and bubbles.
//
// A wall one cell too thick is extracted as two sheets that meet all around, so that every edge where they end is an ME. Cut
// at all MEs the mesh falls into patches, and such a double is two patches with the same boundary. One of them is killed, if
// they are small. A bubble on the surface is a closed patch, which may meet itself in MEs; it is split, or killed.
//
//      ______        The patches A and B have the same boundary. Without B that is manifold, and A continues the patches
//     /  A   \       beside it. So each solved pair joins patches to larger ones, and the mesh is cut and solved again until
//  --*--------*--    nothing changes.
//     \__B___/
//
// The passes come to an end: a pass that reports a change has killed triangles, and none creates any. Of three patches on
// one boundary the second pair may choose the patch that the first pair has killed. That counts as a change too, but never
// without the first.
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

constexpr std::size_t MAX_SMALL_PATCH = 20;  // triangles of a patch in a pair that is solved whatever its area
constexpr double MAX_AREA_SHARE = 0.1;       // of the mesh, for a pair with a larger patch
constexpr std::size_t MAX_TINY_CLOSED = 6;   // triangles of a closed patch that may be killed as a whole

bool hasOnlyManifoldEdges(const CPatch& patch) {
    std::vector<CEdge*> vCE;
    patch.getAllCE(vCE);
    return std::all_of(vCE.begin(), vCE.end(), [](const CEdge* pCE) { return pCE->getDegree() == 2; });
}

bool areSmall(const CPatch* pPatch0, const CPatch* pPatch1) {
    return pPatch0->getSize() <= MAX_SMALL_PATCH && pPatch1->getSize() <= MAX_SMALL_PATCH;
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
    // The area is that before the first kill. None is asked for it where all are small, and they can't get larger.
    const bool bAllSmall =
        std::all_of(vPairs.begin(), vPairs.end(), [](const auto& pair) { return areSmall(pair.first, pair.second); });
    const double meshArea = bAllSmall ? 0.0 : mesh.getArea();
    bool bChanged = false;
    for (const auto& [pPatch0, pPatch1] : vPairs)
        if (solvePatchPair(pPatch0, pPatch1, meshArea)) bChanged = true;
    return bChanged;
}

bool solvePatchPair(CPatch* pPatch0, CPatch* pPatch1, double meshArea) {
    if (!areSmall(pPatch0, pPatch1) && (pPatch0->getArea() + pPatch1->getArea()) / meshArea > MAX_AREA_SHARE) return false;
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
