// Where other sheets cut a double into several patches, no two of these have the same boundary. This solver looks for two
// groups of patches instead of two patches. The boundary of a group consists of the edges that are in the boundaries of an
// odd number of its patches. Two groups without a common patch have equal boundaries exactly if each edge is in the
// boundaries of an even number of patches of both together: if their union has no boundary. So it is enough to know which
// groups are closed. Edges on the same patches behave alike, so each combination of patches is looked at once, however long
// the boundaries are.
#include "patchGroups.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "flood.h"
#include "lazyQueue.h"
#include "patchPairs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MAX_CLUSTER = 12;  // patches: the search for two groups takes 3^n steps

using PatchBits = std::uint32_t;  // a set of patches of a cluster, by their positions

/// The largest of the patches on an edge, other than a given one and those without members; of equal ones the one whose
/// triangle is first on the edge. Null when there is none.
CPatch* largestOther(const std::vector<CPatch*>& vAdjPatches, const CPatch* pExcluded) {
    CPatch* pLargest = nullptr;
    for (CPatch* pPatch : vAdjPatches) {
        if (pPatch == pExcluded || pPatch->getSize() == 0) continue;
        if (pLargest == nullptr || pPatch->getSize() > pLargest->getSize()) pLargest = pPatch;
    }
    return pLargest;
}

/// Appends the start patch and those connected with it, except for the largest patch at each edge. Stops above maxSize
/// patches.
void growCluster(CPatch* pStartPatch, std::size_t maxSize, std::vector<CPatch*>& vCluster) {
    std::set<const CPatch*> sKnown;
    std::size_t numTaken = 0;
    std::vector<CEdge*> vStack;  // boundary edges, one entry for each patch taken there
    const auto take = [&](CPatch* pPatch) {
        if (!pPatch->isAlive() || !sKnown.insert(pPatch).second) return;
        vCluster.push_back(pPatch);
        ++numTaken;
        pPatch->setOuterBoundary();
        vStack.insert(vStack.end(), pPatch->vPatchBoundaryCE.begin(), pPatch->vPatchBoundaryCE.end());
    };
    take(pStartPatch);
    std::vector<CPatch*> vAdjPatches;
    workThrough(vStack, [&](const CEdge* pCE) {
        if (numTaken > maxSize) return;
        vAdjPatches.clear();
        pCE->getAdjPatches(vAdjPatches);
        const CPatch* pBig = largestOther(vAdjPatches, pStartPatch);
        if (pBig != nullptr) out() << "BIG: " << pBig->getLabel() << "\n";
        for (CPatch* pPatch : vAdjPatches)
            if (pPatch != pBig) take(pPatch);
    });
    out() << "Have made a cluster: ";
    for (const CPatch* pPatch : vCluster)
        out() << " " << pPatch->getLabel();
    out() << "\n";
}

/// The different sets of patches that have an edge in common in their boundaries.
std::vector<PatchBits> holdersOfEdges(const std::vector<CPatch*>& vCluster) {
    std::unordered_map<const CEdge*, PatchBits> mHolders;  // its order doesn't matter: the result is sorted
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
                                      [group](PatchBits holders) { return __builtin_popcount(holders & group) % 2 != 0; })
                             ? 1
                             : 0;
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

/// A queue of patches, the smallest first, of equal ones the one entered first. A patch that has grown meanwhile is put back
/// at its new place.
class PatchQueue {
public:
    /// Enters a patch, unless it has no members or is entered with its current size.
    void enter(CPatch* pPatch) {
        std::size_t& enteredSize = mEnteredSize[pPatch];
        if (enteredSize == pPatch->getSize()) return;
        enteredSize = pPatch->getSize();
        mmPatches.emplace(enteredSize, pPatch);
    }
    /// Takes out the first one that is alive; null when there is none left.
    CPatch* next() {
        const auto judge = [this](const CPatch* pPatch, std::size_t queuedSize) -> std::optional<std::size_t> {
            const std::size_t size = pPatch->getSize();
            const bool bEnteredAgain = queuedSize != size && mEnteredSize[pPatch] == size;
            if (!pPatch->isAlive() || bEnteredAgain) return std::nullopt;
            return mEnteredSize[pPatch] = size;
        };
        const auto first = takeLazily(mmPatches, judge);
        return first ? first->second : nullptr;
    }

private:
    std::multimap<std::size_t, CPatch*> mmPatches;
    std::unordered_map<const CPatch*, std::size_t> mEnteredSize;  // when entered last; never iterated over
};

/// Joins the patch with those that manifold edges connect with it now, and enters it again.
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

// A cluster is grown only up to the size that the search for groups accepts.
void solvePatchGroups(const CMesh& mesh, const std::vector<CPatch*>& vPatches) {
    const double meshArea = mesh.getArea();
    out() << "SolvePatchPairsFrac: meshArea=" << meshArea << "\n";
    PatchQueue queue;
    for (CPatch* pPatch : vPatches)
        if (pPatch->isAlive()) queue.enter(pPatch);
    while (CPatch* pPatch = queue.next()) {
        std::vector<CPatch*> vCluster;
        growCluster(pPatch, MAX_CLUSTER, vCluster);
        if (!solvePatchCluster(vCluster, meshArea)) continue;
        for (CPatch* pMember : vCluster)
            if (pMember->isAlive()) assimilateNeighbours(pMember, queue);
    }
}

void growWholeCluster(CPatch* pStartPatch, std::vector<CPatch*>& vCluster) {
    ASSEX(pStartPatch!=NULL && pStartPatch->isAlive());
    growCluster(pStartPatch, ~std::size_t{0}, vCluster);
}

bool solvePatchCluster(const std::vector<CPatch*>& vCluster, double meshArea) {
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
    const bool bSolved = solvePatchPair(pPatch0, pPatch1, meshArea);
    out() << (bSolved ? "*** SUCCESS ***\n" : "--- FAILED ----, by solvePatchPairs\n");
    return bSolved;
}

}  // namespace TARN_KEL
