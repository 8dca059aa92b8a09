// Finds out which members of a patch belong to one sheet.
//
// A patch that grew over the manifold edges of a melted mesh can contain more than one sheet: it is bad when it meets itself
// at an edge. One member is known to be good, and the good part grows from it, breadth first; triangles are turned to agree
// on the way. A map of opposites stops it at the other sheet: two corners of members in one dual cube belong to one sheet if
// edges within the cube connect them, else they are opposites.
//
//        o---o---o---o        The lower sheet grows from T. Where the sheets come within one cube of each other, each
//                  \ |        vertex of the one forbids its opposites on the other, so the way round the bend on the right
//      T-o---o---o---o        ends there.
//
// The rest is removed from the patch. This cuts off too much: parts that lie smoothly against what was kept are given back,
// if the folds between are nowhere sharp and small on average.
//
// The walk to a known border needs no map: it takes all that manifold edges connect and ends at the border's vertices.
#include "Inspector.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "drawings.h"
#include "flood.h"
#include "geometryFunctions.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using OppositeMap = std::multimap<VCD, VCD>;

constexpr std::size_t MAX_PLAIN_ENTRIES = 4;  // dual cubes with no more corners of members aren't looked into
constexpr double SHARPEST_FOLD = 160.0;       // degrees, at one edge
constexpr double SHARP_FOLD = 120.0;          // degrees, on average over the edges between two parts

/// The members without vKept, sorted as both lists are afterwards.
std::vector<CTriangle*> membersWithout(CPatch& patch, std::vector<CTriangle*>& vKept) {
    sortMT(patch.vMemberCT.begin(), patch.vMemberCT.end());
    sortMT(vKept.begin(), vKept.end());
    std::vector<CTriangle*> vRest;
    std::set_difference(patch.vMemberCT.begin(), patch.vMemberCT.end(), vKept.begin(), vKept.end(),
                        std::back_inserter(vRest));
    return vRest;
}

/// Leaves the patch with vKept; vRest are the members without these.
void cutDownTo(const std::vector<CTriangle*>& vKept, CPatch& patch, const std::vector<CTriangle*>& vRest) {
    if (vRest.empty()) return;
    out() << "split: REMOVING " << vRest.size() << " triangles from pTestPatch" << std::endl;
    for (CTriangle* pCT : vRest)
        pCT->setPatch(nullptr);
    patch.vMemberCT = vKept;
}

void markOnly(const CPatch& patch, CTriangle* pGoodT) {
    for (CTriangle* pCT : patch.vMemberCT)
        pCT->bVisited = false;
    pGoodT->bVisited = true;
}

/// The triangle over a manifold edge of pCT; null over any other edge.
CTriangle* neighbourOver(const CEdge* pCE, const CTriangle* pCT) {
    CTriangle* pNeigT = pCE->getUniqueOtherTriangle(pCT);
    if (pNeigT != nullptr) ASSEX(pCE->getDegree()==2);
    return pNeigT;
}

/// A corner of members in a dual cube.
struct CubeEntry {
    VCD cube;
    VCD vcd;
    std::size_t numMembers;  // that have this corner

    bool operator<(const CubeEntry& other) const { return std::pair(cube, vcd) < std::pair(other.cube, other.vcd); }
};

/// Sorted; a cell takes part in the 8 cubes that hold it.
std::vector<CubeEntry> cubeEntriesOf(const CPatch& patch, const Calc& calc) {
    std::vector<VCD> vVCD;
    patch.getAllVCD(vVCD);
    sortMT(vVCD.begin(), vVCD.end());
    std::vector<CubeEntry> vEntry;
    forEachRun(vVCD.begin(), vVCD.end(), std::identity(), [&](auto first, auto end) {
        CCD aCube[8] = {*first};
        calc.completeArrayPlus(aCube);
        for (const CCD cube : aCube)
            vEntry.push_back({cube, *first, static_cast<std::size_t>(end - first)});
    });
    sortMT(vEntry.begin(), vEntry.end());
    return vEntry;
}

/// Moves the vertices of a cube that edges among them connect with the last one to the back. Returns the number of the
/// others, which are in front. At most 8 vertices.
std::size_t separateFromLast(std::vector<VCD>& vCubeVCD, const CMesh& mesh) {
    std::size_t numRest = vCubeVCD.size() - 1;
    for (std::size_t next = vCubeVCD.size(); next-- > numRest;)
        for (std::size_t i = numRest; i-- > 0;)
            if (mesh.hasEdge(vCubeVCD[i], vCubeVCD[next])) std::swap(vCubeVCD[i], vCubeVCD[--numRest]);
    return numRest;
}

}  // namespace

Inspector::Inspector(CMesh* mesh, std::vector<CPatch*>& vPatches)
    : pCMesh(mesh), pCalc(mesh->getCalc()), pvPatches(&vPatches), rotx(mesh, true) {}

bool Inspector::isBad(CPatch* pTestPatch) const {
    std::vector<CEdge*> vSharedCE;
    pTestPatch->getDegNWithRespectToOwn(-99, vSharedCE);
    return !vSharedCE.empty();
}

void Inspector::keepGoodPart(CPatch* pTestPatch, CTriangle* pGoodT) {
    if (!isBad(pTestPatch)) return;
    OppositeMap mmOpposite;
    getOppositeMap(mmOpposite, pTestPatch);
    splitFromT(mmOpposite, pTestPatch, pGoodT);
}

void Inspector::getOppositeMap(OppositeMap& mmOpposite, const CPatch* pTestPatch) const {
    const std::vector<CubeEntry> vEntry = cubeEntriesOf(*pTestPatch, *pCalc);
    std::vector<std::pair<VCD, VCD>> vPair;
    std::vector<VCD> vCubeVCD;
    forEachRun(vEntry.begin(), vEntry.end(), std::mem_fn(&CubeEntry::cube), [&](auto first, auto end) {
        vCubeVCD.clear();
        std::size_t numEntries = 0;
        for (auto it = first; it != end; ++it) {
            vCubeVCD.push_back(it->vcd);
            numEntries += it->numMembers;
        }
        if (numEntries <= MAX_PLAIN_ENTRIES) return;
        const std::size_t numRest = separateFromLast(vCubeVCD, *pCMesh);
        for (std::size_t i = 0; i < numRest; ++i)
            for (std::size_t j = numRest; j < vCubeVCD.size(); ++j)
                vPair.insert(vPair.end(), {{vCubeVCD[i], vCubeVCD[j]}, {vCubeVCD[j], vCubeVCD[i]}});
    });
    sortMT(vPair.begin(), vPair.end());
    mmOpposite.insert(vPair.begin(), vPair.end());
}

void Inspector::splitFromT(const OppositeMap& mmOpposite, CPatch* pTestPatch, CTriangle* pGoodT) {
    std::unordered_set<VCD> sForbidden;
    const auto forbidOppositesOf = [&](const CTriangle& ct) {
        for (const VCD vcd : {ct.c0, ct.c1, ct.c2})
            for (auto [it, itEnd] = mmOpposite.equal_range(vcd); it != itEnd; ++it)
                sForbidden.insert(it->second);
    };
    const auto isForbidden = [&](const CTriangle& ct) {
        return sForbidden.count(ct.c0) != 0 || sForbidden.count(ct.c1) != 0 || sForbidden.count(ct.c2) != 0;
    };

    markOnly(*pTestPatch, pGoodT);
    forbidOppositesOf(*pGoodT);
    std::vector<CTriangle*> vGroupA{pGoodT};
    const CTriangle* pFromT = nullptr;
    const auto forEachNext = [&pFromT](const CTriangle* pCT, const auto& offer) {
        pFromT = pCT;
        for (int k = 0; k < 3; ++k)
            offer(neighbourOver(pCT->getCE(k), pCT));
    };
    floodInOrder(vGroupA, forEachNext, [&](CTriangle* pCT) {
        if (pCT == nullptr || std::exchange(pCT->bVisited, true) || isForbidden(*pCT)) return false;
        if (pCT->needFlip(pFromT)) pCT->flipNNV();
        forbidOppositesOf(*pCT);
        return true;
    });
    std::vector<CTriangle*> vGroupB = membersWithout(*pTestPatch, vGroupA);
    ASSEX(vGroupA.size()+vGroupB.size()==pTestPatch->vMemberCT.size());
    if (!vGroupB.empty()) {
        drawOnTheWay([&] {
            drawTriangles("groups_ownDegree.list", pCalc, vGroupA, CGREEN, nullptr);
            drawTriangles("groups_otherDegree.list", pCalc, vGroupB, CRED, nullptr);
        });
    }
    cutDownTo(vGroupA, *pTestPatch, vGroupB);
    giveBack(vGroupB, pTestPatch);
    vRemovedT.insert(vRemovedT.end(), vGroupB.begin(), vGroupB.end());
}

void Inspector::keepGoodPartForKnownBorder(CPatch* pTestPatch, CTriangle* pGoodT, const std::set<VCD>& sBorder) {
    markOnly(*pTestPatch, pGoodT);
    std::vector<CTriangle*> vResult;
    std::vector<CTriangle*> vStack{pGoodT};
    workThrough(vStack, [&](CTriangle* pCT) {
        vResult.push_back(pCT);
        for (int i = 0; i < 3; ++i) {
            const CEdge* pCE = pCT->getCE(i);
            const std::size_t borderCount = sBorder.count(pCE->v0) + sBorder.count(pCE->v1);
            if (borderCount == 2) {
                out() << "BorderCount=2, continue" << std::endl;
                continue;
            }
            CTriangle* pNeigT = neighbourOver(pCE, pCT);
            if (pNeigT == nullptr || std::exchange(pNeigT->bVisited, true)) continue;
            ASSEX(pNeigT->getPatch()==pTestPatch);
            if (pCT->needFlip(pNeigT)) pNeigT->flipNNV();
            if (borderCount == 0) vStack.push_back(pNeigT);
        }
    });
    const std::vector<CTriangle*> vGroupB = membersWithout(*pTestPatch, vResult);
    ASSEX(vResult.size()+vGroupB.size()==pTestPatch->vMemberCT.size());
    cutDownTo(vResult, *pTestPatch, vGroupB);
    vRemovedT.insert(vRemovedT.end(), vGroupB.begin(), vGroupB.end());
}

void Inspector::giveBack(std::vector<CTriangle*>& vT, CPatch* pTestPatch) const {
    std::vector<std::vector<CTriangle*>> vvC;
    getConnectedComponents_HE(vT, vvC);
    std::vector<CTriangle*> vBack;  // added to the patch at the end, so that all parts are judged against what was kept
    for (std::vector<CTriangle*>& vC : vvC) {
        sortMT(vC.begin(), vC.end());
        if (liesSmoothly(vC, pTestPatch)) vBack.insert(vBack.end(), vC.begin(), vC.end());
    }
    for (CTriangle* pCT : vBack)
        pTestPatch->add(pCT);
    sortMT(vBack.begin(), vBack.end());
    sortMT(vT.begin(), vT.end());
    std::vector<CTriangle*> vRest;
    std::set_difference(vT.begin(), vT.end(), vBack.begin(), vBack.end(), std::back_inserter(vRest));
    vT = std::move(vRest);
}

/// vPiece: sorted.
bool Inspector::liesSmoothly(const std::vector<CTriangle*>& vPiece, const CPatch* pTestPatch) const {
    const auto isOfPiece = [&](const CTriangle* pCT) {
        return pCT->getPatch() == nullptr && std::binary_search(vPiece.begin(), vPiece.end(), pCT);
    };
    const auto isOfPatch = [&](const CTriangle* pCT) { return pCT->getPatch() == pTestPatch; };
    std::vector<CEdge*> vBorder;
    getEdgesWithDegree(1, vPiece, vBorder);
    double sum = 0.0;
    for (const CEdge* pCE : vBorder) {
        const auto itR = std::find_if(pCE->vCT.begin(), pCE->vCT.end(), isOfPiece);
        const auto itO = std::find_if(pCE->vCT.begin(), pCE->vCT.end(), isOfPatch);
        if (itR == pCE->vCT.end() || itO == pCE->vCT.end()) return false;
        bool bOK0 = false;
        bool bOK1 = false;
        const Vector3 nnvR = (*itR)->getRealNNV(pCMesh, bOK0);
        const Vector3 nnvO = (*itO)->getRealNNV(pCMesh, bOK1);
        if (!bOK0 || !bOK1) continue;
        const double angle = getAngleDegree(nnvR, (*itR)->needFlip(*itO) ? -nnvO : nnvO);
        if (angle > SHARPEST_FOLD) return false;
        sum += angle;
    }
    return vBorder.empty() || sum / static_cast<double>(vBorder.size()) <= SHARP_FOLD;
}

void Inspector::killRemovedT() {
    oneInstance(vRemovedT);
    for (CTriangle* pCT : vRemovedT)
        if (pCT->isAlive()) pCT->kill(pCMesh);
}

}  // namespace TARN_KEL
