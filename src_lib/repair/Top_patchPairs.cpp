// Patch pairs: doubles of a sheet, and bubbles.
//
// A wall one cell too thick comes out of the extraction as two sheets that meet along their whole rim, so that every edge of
// the rim is an ME. Cut at all MEs the mesh falls into patches, and such a double is two patches with the same outer
// boundary. One of them goes, if they are small. A bubble on the surface is one patch that meets itself in MEs, or itself
// only; it is split, or killed.
//
//      ______        The patches A and B have one rim. Without B the rim is manifold, and A continues what was beside B.
//     /  A   \       So each solved pair joins patches to larger ones, and the mesh is cut anew and solved again until
//  --*--------*--    nothing changes.
//     \__B___/
//
// Passes end: what counts as a change kills triangles, and only the passes before it make new ones. In a chain of three
// patches on a rim a patch that the first pair has killed may be chosen again by the second. That counts as a change as
// well, but it can't come first.
//
// Where other sheets cut the double into pieces no two patches have the same boundary. The other solver (frac) looks for two
// groups of patches in place of two patches. The boundary of a group is what an odd number of its patches have for boundary.
// Two groups without a common patch have equal boundaries exactly if each edge is in the boundaries of an even number of
// patches of both together: if their union has no boundary. So it is enough to know which groups are closed; and since
// edges held by the same patches behave alike, each combination of patches is looked at once, however long the rims are.
#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <unordered_map>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "Progress.h"
#include "Top.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_SMALL_PATCH = 20;  // triangles of a patch that goes whatever its area
constexpr double MAX_AREA_SHARE = 0.1;       // of the mesh, for a pair with a larger patch
constexpr std::size_t MAX_TINY_CLOSED = 6;   // triangles of a closed patch that may go as a whole
constexpr std::size_t MAX_CLUSTER = 12;      // patches: the search for two groups takes 3^n steps

using PatchBits = std::uint32_t;  // a set of patches of a cluster, by their positions

bool hasOnlyManifoldEdges(const CPatch& patch) {
    std::vector<CEdge*> vCE;
    patch.getAllCE(vCE);
    return std::all_of(vCE.begin(), vCE.end(), [](const CEdge* pCE) { return pCE->getDegree() == 2; });
}

/// Of the patches on an edge but one, the largest with a member; of equal ones the one whose triangle is first on the edge.
/// Null when there is none.
CPatch* largestOther(const std::vector<CPatch*>& vAdjPatches, const CPatch* pExcluded) {
    CPatch* pLargest = nullptr;
    for (CPatch* pPatch : vAdjPatches) {
        if (pPatch == pExcluded || pPatch->getSize() == 0) continue;
        if (pLargest == nullptr || pPatch->getSize() > pLargest->getSize()) pLargest = pPatch;
    }
    return pLargest;
}

/// Appends the start patch and what hangs on it, but the largest sheet at each edge. Stops above maxSize patches.
void growCluster(CPatch* pStartPatch, std::size_t maxSize, std::vector<CPatch*>& vCluster) {
    std::set<const CPatch*> sKnown;
    std::vector<CEdge*> vStack;
    std::size_t numTaken = 0;
    const auto take = [&](CPatch* pPatch) {
        if (!pPatch->isAlive() || !sKnown.insert(pPatch).second) return;
        vCluster.push_back(pPatch);
        ++numTaken;
        pPatch->setOuterBoundary();
        pPatch->getPatchBoundaryCE(vStack);
    };
    take(pStartPatch);
    std::vector<CPatch*> vAdjPatches;
    while (!vStack.empty() && numTaken <= maxSize) {
        const CEdge* pCE = vStack.back();
        vStack.pop_back();
        vAdjPatches.clear();
        pCE->getAdjPatches(vAdjPatches);
        const CPatch* pBig = largestOther(vAdjPatches, pStartPatch);
        if (pBig != nullptr) out() << "BIG: " << pBig->getLabel() << "\n";
        for (CPatch* pPatch : vAdjPatches)
            if (pPatch != pBig) take(pPatch);
    }
    out() << "Have made a cluster: ";
    for (const CPatch* pPatch : vCluster)
        out() << " " << pPatch->getLabel();
    out() << "\n";
}

/// The different sets of patches that have an edge in common in their boundaries.
std::vector<PatchBits> holdersOfEdges(const std::vector<CPatch*>& vCluster) {
    std::unordered_map<const CEdge*, PatchBits> mHolders;  // the order of the walk doesn't matter: the result is sorted
    for (std::size_t i = 0; i < vCluster.size(); ++i)
        for (const CEdge* pCE : vCluster[i]->vPatchBoundaryCE)
            mHolders[pCE] ^= PatchBits{1} << i;
    std::vector<PatchBits> vHolders;
    vHolders.reserve(mHolders.size());
    for (const auto& [pCE, holders] : mHolders)
        vHolders.push_back(holders);
    oneInstance(vHolders);
    return vHolders;
}

/// Looks for two disjoint groups whose union is closed; of several the pair with the lowest bits0, then the lowest bits1.
/// bits1 is above bits0: a pair the other way round would have been found before.
bool findMatch(const std::vector<CPatch*>& vCluster, PatchBits& bits0, PatchBits& bits1) {
    const PatchBits all = (PatchBits{1} << vCluster.size()) - 1;
    const std::vector<PatchBits> vHolders = holdersOfEdges(vCluster);
    std::vector<char> vClosed(all + 1);
    for (PatchBits group = 1; group <= all; ++group)
        vClosed[group] = std::none_of(vHolders.begin(), vHolders.end(),
                                      [group](PatchBits holders) { return __builtin_popcount(holders & group) % 2 != 0; });
    for (bits0 = 1; bits0 <= all; ++bits0) {
        const PatchBits rest = all & ~bits0;
        // The subtraction runs through the groups of the rest in ascending order, and from the last one to the empty group.
        for (bits1 = (0 - rest) & rest; bits1 != 0; bits1 = (bits1 - rest) & rest)
            if (vClosed[bits0 | bits1] != 0) return true;
    }
    return false;
}

/// Merges the patches of a group into its first one, which is returned with its boundary set.
CPatch* mergeGroup(const std::vector<CPatch*>& vCluster, PatchBits group) {
    CPatch* pFirst = nullptr;
    for (std::size_t i = 0; i < vCluster.size(); ++i) {
        if ((group >> i & 1) == 0) continue;
        if (pFirst == nullptr)
            pFirst = vCluster[i];
        else
            pFirst->assimilate(vCluster[i], false);
    }
    pFirst->setOuterBoundary();
    return pFirst;
}

/// The patch beyond a manifold edge of the boundary of this one; null when there is none, and at other edges.
CPatch* patchBeyond(const CEdge* pCE, const CPatch* pPatch) {
    CTriangle *pCT0 = nullptr, *pCT1 = nullptr;
    if (!pCE->getTwoTriangles(pCT0, pCT1, true)) return nullptr;
    CPatch* pOther = pCT0->getPatch() == pPatch ? pCT1->getPatch() : pCT0->getPatch();
    return pOther != pPatch ? pOther : nullptr;
}

/// Patches, the smallest first, of equal ones the one entered first. What has grown meanwhile goes back to its new place.
class PatchQueue {
public:
    /// Unless it has no members, or is there with its present size.
    void enter(CPatch* pPatch) {
        std::size_t& enteredSize = mEnteredSize[pPatch];
        if (enteredSize == pPatch->getSize()) return;
        enteredSize = pPatch->getSize();
        mmPatches.emplace(enteredSize, pPatch);
    }
    /// Takes out the first one that is alive; null when there is none left.
    CPatch* next() {
        while (!mmPatches.empty()) {
            const auto [size, pPatch] = *mmPatches.begin();
            mmPatches.erase(mmPatches.begin());
            if (!pPatch->isAlive()) continue;
            if (size == pPatch->getSize()) return pPatch;
            enter(pPatch);
        }
        return nullptr;
    }

private:
    std::multimap<std::size_t, CPatch*> mmPatches;
    std::unordered_map<const CPatch*, std::size_t> mEnteredSize;  // at the last time; no walk goes over it
};

/// Joins what has become one sheet with the patch, and enters the patch anew.
void assimilateNeighbours(CPatch* pPatch, PatchQueue& queue) {
    std::vector<CEdge*> vBoundaryCE;  // assimilating clears the patch's own list
    pPatch->getPatchBoundaryCE(vBoundaryCE);
    for (const CEdge* pCE : vBoundaryCE) {
        CPatch* pOther = patchBeyond(pCE, pPatch);
        if (pOther == nullptr) continue;
        pPatch->assimilate(pOther, false);
        out() << "+++++ Have assimilated a patch +++++, new size=" << pPatch->getSize() << "\n";
        queue.enter(pPatch);
    }
}

}  // namespace

bool Top::patchPairSolving(bool bCareful) {
    ProgressStep step("TP_pps", 100);
    std::vector<CPatch*> vPatches, vClosedPatches, vOpenPatches;
    std::map<VCD, CPatch*> mVCD2Patch;
    std::vector<CEdge*> vMECE;
    std::vector<std::pair<CPatch*, CPatch*>> vPatchPairs;

    pCMesh->createPatches(nullptr, vPatches, mVCD2Patch, vMECE);
    step.advance();
    getPatchPairs(vPatches, vPatchPairs, vClosedPatches, vOpenPatches);
    step.advance();
    bool bChanged = solvePatchPairs(vPatchPairs);
    step.advance();
    if (simplifyClosedPatches(vClosedPatches, bCareful)) bChanged = true;
    step.advance();
    step.finish();
    return bChanged;
}

void Top::getPatchPairs(std::vector<CPatch*>& vPatches, std::vector<std::pair<CPatch*, CPatch*>>& vPatchPairs,
                        std::vector<CPatch*>& vClosedPatches, std::vector<CPatch*>& vOpenPatches) {
    for (CPatch* pPatch : vPatches)
        if (pPatch->isAlive()) pPatch->setOuterBoundary();
    std::sort(vPatches.begin(), vPatches.end(), [](const CPatch* pPatch0, const CPatch* pPatch1) {
        if (pPatch0->vPatchBoundaryCE != pPatch1->vPatchBoundaryCE)
            return pPatch0->vPatchBoundaryCE < pPatch1->vPatchBoundaryCE;
        return CPatchOrder()(pPatch0, pPatch1);
    });
    for (std::size_t i = 0; i < vPatches.size(); ++i) {
        CPatch* pPatch = vPatches[i];
        if (!pPatch->isAlive()) continue;
        CPatch* pNext = i + 1 < vPatches.size() ? vPatches[i + 1] : nullptr;
        if (pPatch->vPatchBoundaryCE.empty()) {
            vClosedPatches.push_back(pPatch);
        } else if (pNext != nullptr && pNext->vPatchBoundaryCE == pPatch->vPatchBoundaryCE) {
            if (pNext->isAlive()) vPatchPairs.emplace_back(pPatch, pNext);
        } else {
            vOpenPatches.push_back(pPatch);
        }
    }
}

bool Top::solvePatchPairs(const std::vector<std::pair<CPatch*, CPatch*>>& vPatchPairs) {
    const double meshArea = pCMesh->getArea();
    bool bChanged = false;
    for (const auto& [pPatch0, pPatch1] : vPatchPairs)
        if (solveOnePatchPair(pPatch0, pPatch1, meshArea)) bChanged = true;
    return bChanged;
}

bool Top::solveOnePatchPair(CPatch* pPatch0, CPatch* pPatch1, double meshArea) {
    const bool bSmall = pPatch0->getSize() <= MAX_SMALL_PATCH && pPatch1->getSize() <= MAX_SMALL_PATCH;
    if (!bSmall && (pPatch0->getArea() + pPatch1->getArea()) / meshArea > MAX_AREA_SHARE) return false;
    CPatch* pSmaller = pPatch0->getSize() < pPatch1->getSize() ? pPatch0 : pPatch1;
    pSmaller->killPatchAndMembers();
    return true;
}

bool Top::simplifyClosedPatches(std::vector<CPatch*>& vClosedPatches, bool bCareful) {
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

void Top::killBoundaryPatches(std::vector<CPatch*>& vPatches) {
    for (CPatch* pPatch : vPatches) {
        std::vector<CEdge*> vBorderCE;
        pPatch->getGlobalDegNEdges(1, vBorderCE);
        if (vBorderCE.empty()) continue;
        warning(KEL_PLACE, "Killing a patch");
        pPatch->killPatchAndMembers();
    }
}

// ---- Groups of patches

// A cluster is grown no further than the search for groups takes it.
void Top::solvePatchPairsFrac(std::vector<CPatch*>& vPatches) {
    const double meshArea = pCMesh->getArea();
    out() << "SolvePatchPairsFrac: meshArea=" << meshArea << "\n";
    PatchQueue queue;
    for (CPatch* pPatch : vPatches)
        if (pPatch->isAlive()) queue.enter(pPatch);
    while (CPatch* pPatch = queue.next()) {
        std::vector<CPatch*> vCluster;
        growCluster(pPatch, MAX_CLUSTER, vCluster);
        if (!frac_solvePatchCluster(vCluster, meshArea)) continue;
        for (CPatch* pMember : vCluster)
            if (pMember->isAlive()) assimilateNeighbours(pMember, queue);
    }
}

bool Top::frac_createCluster(CPatch* pStartPatch, std::vector<CPatch*>& vCluster) {
    ASSEX(pStartPatch!=NULL && pStartPatch->isAlive());
    growCluster(pStartPatch, ~std::size_t{0}, vCluster);
    return true;
}

bool Top::frac_solvePatchCluster(std::vector<CPatch*>& vCluster, double meshArea) {
    const std::vector<CPatch*>* pvPatches = &vCluster;
    ASSEX(!pvPatches->empty());
    const auto isDead = [](const CPatch* pPatch) { return !pPatch->isAlive(); };
    const bool bLarge = vCluster.size() > MAX_CLUSTER;
    if (!bLarge && std::any_of(vCluster.begin(), vCluster.end(), isDead)) return false;
    PatchBits bits0 = 0, bits1 = 0;
    if (bLarge || !findMatch(vCluster, bits0, bits1)) {
        out() << "--- FAILED ----, by end-of-loops\n";
        return false;
    }
    out() << "FOUND A REAL MATCH, vPatches0.size()=" << __builtin_popcount(bits0)
          << ", vPatches1.size()=" << __builtin_popcount(bits1) << "\n";
    CPatch* pPatch0 = mergeGroup(vCluster, bits0);
    CPatch* pPatch1 = mergeGroup(vCluster, bits1);
    if (pPatch0->getPatchBoundarySize() != pPatch1->getPatchBoundarySize()) {
        out() << "FAILED due to different boundary size: " << pPatch0->getPatchBoundarySize() << " "
              << pPatch1->getPatchBoundarySize() << "\n";
        return false;
    }
    const bool bSolved = solveOnePatchPair(pPatch0, pPatch1, meshArea);
    out() << (bSolved ? "*** SUCCESS ***\n" : "--- FAILED ----, by solvePatchPairs\n");
    return bSolved;
}

}  // namespace TARN_KEL
