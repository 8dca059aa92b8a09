// Finds and kills bubbles: sheets inside the surface.
//
// Where a wall inside a body meets the surface, three sheets meet along its boundary. The mesh is cut into patches at such
// edges. Most of the outer surface is in large patches; what fills the space between them is strips, whose vertices all lie
// on the boundary. So the strips have to prove themselves: each is queued by the share of its boundary at which the surface
// is still open, and the one with the largest share joins first.
//
//      ____A____         A and B are strong, a, b and c weak. The surface is open at * and o. The strip a closes both and
//     /         \        joins; from then on b finds nothing open at its ends, and neither does c, which was inside all
//    |           *       along. Both are bubbles.
//    |---c---|   a) b
//    |           o
//     \____B____/
//
// The surface is open at an edge that exactly one of its patches has. A patch that joins closes such edges, and opens those
// that none had. Only these two changes matter to the shares, so each edge updates the weak patches on it at most twice,
// however often it is counted, and a share is known whenever the queue asks. Keys in the queue become stale: a patch whose
// key is too high is put back under its current share when it comes up. One whose key is too low is left where it is.
#include "VolSolver.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <unordered_map>
#include <utility>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "drawings.h"
#include "geometryFunctions.h"
#include "lazyQueue.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

struct WeakPatch {
    /// The share of the boundary at which the surface is open. The boundary must not be empty.
    double share() const { return static_cast<double>(numOpen) / static_cast<double>(pPatch->getPatchBoundarySize()); }

    CPatch* pPatch;
    std::size_t numOpen = 0;  // edges of the boundary at which exactly one patch of the surface is
};

/// The boundary edges of the surface's patches, and the weak patches on them.
class OpenEdges {
public:
    /// The patches stay the caller's, where they are.
    explicit OpenEdges(std::vector<WeakPatch>& vWeak) {
        for (WeakPatch& weak : vWeak)
            for (CEdge* pCE : weak.pPatch->vPatchBoundaryCE)
                vHolder.emplace_back(pCE, &weak);
        sortByFirstMT(vHolder);
    }
    /// Notes that one more patch of the surface has this edge.
    void count(CEdge* pCE) {
        const int numPatches = ++mEdgeCount[pCE];
        if (numPatches > 2) return;
        const auto before = [](const Holder& holder, const CEdge* pEdge) { return holder.first < pEdge; };
        for (auto it = std::lower_bound(vHolder.begin(), vHolder.end(), pCE, before);
             it != vHolder.end() && it->first == pCE; ++it) {
            if (numPatches == 1)
                ++it->second->numOpen;
            else
                --it->second->numOpen;
        }
    }

private:
    using Holder = std::pair<CEdge*, WeakPatch*>;

    std::vector<Holder> vHolder;                       // sorted by edge
    std::unordered_map<const CEdge*, int> mEdgeCount;  // never iterated over
};

using WeakQueue = std::multimap<double, WeakPatch*, std::greater<>>;

/// The patches that have a boundary.
std::vector<WeakPatch> withBoundary(const std::vector<CPatch*>& vWeakPatches) {
    std::vector<WeakPatch> vWeak;
    vWeak.reserve(vWeakPatches.size());
    for (CPatch* pPatch : vWeakPatches) {
        if (pPatch->getPatchBoundarySize() == 0)
            warning(KEL_PLACE, "sCE.emtpy()");
        else
            vWeak.push_back({pPatch});
    }
    return vWeak;
}

}  // namespace

VolSolver::VolSolver(CMesh* mesh, Calc* calc, Voro* voro) : pCMesh(mesh), pCalc(calc), pVoro(voro) {}

VolSolver::~VolSolver() {
    deletePatches();
}

void VolSolver::deletePatches() {
    for (; !vPatches.empty(); vPatches.pop_back())
        delete vPatches.back();
}

// ---- Patches

void VolSolver::init() {
    sStrongPatches.clear();
    vKillPatches.clear();
    vDanglingVCD.clear();
    deletePatches();
    std::map<VCD, CPatch*> mVCD2Patch;
    std::vector<CEdge*> vMECE;
    createPatches(nullptr, vPatches, mVCD2Patch, vMECE);
}

void VolSolver::createPatches(std::set<CEdge*>* pFences, std::vector<CPatch*>& vOwnerPatches,
                              std::map<VCD, CPatch*>& mVCD2Patch, std::vector<CEdge*>& vMECE) {
    pCMesh->resetVisited();
    pCMesh->cutUnvisited(pFences, vOwnerPatches, mVCD2Patch, vMECE);
}

// Returns the weak patches; the strong ones go into sStrongPatches.
std::vector<CPatch*> VolSolver::sortByStrength() {
    std::vector<CPatch*> vWeakPatches;
    for (CPatch* pPatch : vPatches) {
        pPatch->setOuterBoundary();
        pPatch->setNumInnerVtx();
        if (pPatch->getNumInnerVtx() != 0)
            sStrongPatches.insert(pPatch);
        else
            vWeakPatches.push_back(pPatch);
    }
    return vWeakPatches;
}

// ---- Bubbles

void VolSolver::presolveBubbles() {
    findBubbles();
    killBubbles();
}

void VolSolver::findBubbles() {
    out() << fatBar("PreSolve Bubbles...");
    init();
    const std::vector<CPatch*> vWeakPatches = sortByStrength();
    drawOnTheWay([this] { drawPatchGroups(pCalc, vPatches, sStrongPatches); });
    out() << "NumPatches: " << vPatches.size() << "\nsStrongPatches: " << sStrongPatches.size()
          << "\nvWeakPatches: " << vWeakPatches.size() << std::endl;
    if (sStrongPatches.empty()) {
        out() << "VolSolver::solveBubbles(), sStrongPatches.size()=0, returning" << std::endl;
        return;
    }
    const std::set<CEdge*> sCurrentBorders = findCurrentBorders();
    out() << "sCurrentBorders.size()=" << sCurrentBorders.size() << std::endl;
    joinWeakPatches(vWeakPatches, sCurrentBorders);
}

// The edges on which there is exactly one strong patch, with one triangle: where a patch meets itself it isn't open.
std::set<CEdge*> VolSolver::findCurrentBorders() const {
    std::vector<CEdge*> vCE;
    for (const CPatch* pPatch : sStrongPatches)
        pPatch->getPatchBoundaryCE(vCE);
    sortMT(vCE.begin(), vCE.end());
    std::vector<CEdge*> vSingle;
    filterN(vCE, 1, vSingle);
    std::set<CEdge*> sCurrentBorders;
    std::vector<CPatch*> vAdjPatches;
    for (CEdge* pCE : vSingle) {
        vAdjPatches.clear();
        pCE->getAdjPatches(vAdjPatches);
        const auto isStrong = [this](CPatch* pPatch) { return sStrongPatches.count(pPatch) != 0; };
        if (std::count_if(vAdjPatches.begin(), vAdjPatches.end(), isStrong) == 1)
            sCurrentBorders.insert(sCurrentBorders.end(), pCE);
    }
    return sCurrentBorders;
}

void VolSolver::joinWeakPatches(const std::vector<CPatch*>& vWeakPatches, const std::set<CEdge*>& sCurrentBorders) {
    std::vector<WeakPatch> vWeak = withBoundary(vWeakPatches);
    if (sCurrentBorders.empty()) return;  // the surface is open nowhere, so nothing tells which patches are bubbles
    OpenEdges openEdges(vWeak);
    for (CEdge* pCE : sCurrentBorders)
        openEdges.count(pCE);
    WeakQueue queue;  // equal keys in order of insertion
    for (WeakPatch& weak : vWeak)
        queue.emplace(weak.share(), &weak);
    const auto judge = [](const WeakPatch* pWeak) { return std::optional(pWeak->share()); };
    runLazily(queue, judge, [&](const WeakPatch* pWeak, double share) {
        if (share == 0.0) {
            vKillPatches.push_back(pWeak->pPatch);
            return;
        }
        sStrongPatches.insert(pWeak->pPatch);
        for (CEdge* pCE : pWeak->pPatch->vPatchBoundaryCE)
            openEdges.count(pCE);
    });
}

void VolSolver::killBubbles() {
    for (CPatch* pPatch : vKillPatches)
        pPatch->killPatchAndMembers();
}

// ---- Dangling vertices

void VolSolver::integrateDanglingAndKill() {
    std::vector<CEdge*> vBorderCE, vDeg3CE, vDeg4CE;
    for (const CPatch* pPatch : vKillPatches)
        for (CEdge* pCE : pPatch->vPatchBoundaryCE) {
            const int degree = pCE->getDegree();
            if (degree == 3)
                vDeg3CE.push_back(pCE);
            else if (degree == 4)
                vDeg4CE.push_back(pCE);
            else if (degree == 1)
                vBorderCE.push_back(pCE);
            else
                warning(KEL_PLACE, "Uh, degree is " + toString(degree));
        }
    out() << "vBorderCE=" << vBorderCE.size() << "\nvDeg3CE=" << vDeg3CE.size() << "\nvDeg4CE=" << vDeg4CE.size()
          << std::endl;
    vDanglingVCD.clear();
    for (const CEdge* pCE : vBorderCE)
        vDanglingVCD.insert(vDanglingVCD.end(), {pCE->getV0(), pCE->getV1()});
    oneInstance(vDanglingVCD);
    const auto isHeld = [this](VCD vcd) { return isVCDOfStrong(vcd); };
    vDanglingVCD.erase(std::remove_if(vDanglingVCD.begin(), vDanglingVCD.end(), isHeld), vDanglingVCD.end());
    drawOnTheWay([this] { pCMesh->debugShow("dangSolved_real.list", VT_REAL, CGREEN); });
}

bool VolSolver::isVCDOfStrong(VCD vcd) const {
    std::vector<CTriangle*> vIncT;
    pCMesh->getIncidentT(vcd, vIncT);
    return std::any_of(vIncT.begin(), vIncT.end(),
                       [this](const CTriangle* pCT) { return sStrongPatches.count(pCT->getPatch()) != 0; });
}

bool VolSolver::isEdgeOfStrong(CEdge* pCE) const {
    std::vector<CPatch*> vAdjPatches;
    pCE->getAdjPatches(vAdjPatches);
    return std::any_of(vAdjPatches.begin(), vAdjPatches.end(),
                       [this](CPatch* pPatch) { return sStrongPatches.count(pPatch) != 0; });
}

double VolSolver::distanceTo(const CEdge& edge, VCD vcd) const {
    return getPointSegDist(*pCMesh->getVtx(edge.getV0()), *pCMesh->getVtx(edge.getV1()), *pCMesh->getVtx(vcd));
}

CEdge* VolSolver::adaptCE(VCD v, CTriangle* pCT, int i, double& dist) {
    CEdge* pCE = pCT->getCE(i);
    if (isEdgeOfStrong(pCE)) {
        dist = distanceTo(*pCE, v);
        return pCE;
    }
    const CTriangle* pNeigT = pCE->getUniqueOtherTriangle(pCT);
    if (pNeigT == nullptr) return nullptr;
    const int third = pNeigT->getICI(pCE->getV0(), pCE->getV1());
    CEdge* pCE1 = pNeigT->getCE((third + 1) % 3);
    CEdge* pCE2 = pNeigT->getCE((third + 2) % 3);
    const bool bStrong1 = isEdgeOfStrong(pCE1), bStrong2 = isEdgeOfStrong(pCE2);
    if (!bStrong1 && !bStrong2) return nullptr;
    if (bStrong1 != bStrong2) return bStrong1 ? pCE1 : pCE2;
    ASSEX(bStrong1 && bStrong2);
    const double dist1 = distanceTo(*pCE1, v), dist2 = distanceTo(*pCE2, v);
    dist = std::min(dist1, dist2);
    return dist2 > dist1 ? pCE1 : pCE2;
}

}  // namespace TARN_KEL
