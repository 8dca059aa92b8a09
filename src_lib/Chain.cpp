// Chains of edges: growing, orientation of the triangles along them, and the judgement of holes.
//
// Growing: take the edge that is left at the end, give it the direction that fits, step to its other end, until nothing is
// left there. Edges are found by the codes of their ends. An edge that was taken leaves the map under both, so a ring ends
// where it began.
//
// Orientation along a chain. A border edge has one triangle. When each of these runs against the chain, the strip of
// triangles along it is oriented, as far as the strip touches the border. In a strip with a half twist some two neighbours
// must then disagree: there the twist is cut. Exchanging the two ends of that edge in the triangles on one side of it, all
// around both ends, turns this side over:
//
//      a --- c            b --- c
//      | \   |            | \   |
//      |   \ |     ->     |   \ |        the side with c; the triangles on the other side of a-b are kept
//      d --- b            d --- a
//
// Is a ring an opening of the surface? The triangles along an opening lie more or less in the surface that it interrupts, so
// a line along their normals misses the ring. Round a thin part, or along a sharp border, they face into the ring, and the
// line passes through it. Flat places tell this best; the decision is a vote among them.
#include "Chain.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "CMesh.h"
#include "CTriangle.h"
#include "flood.h"
#include "geometryFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

std::atomic<int> Chain::seqNum{0};

namespace {

// The voters of isGoodHole.
constexpr std::size_t MAX_VOTERS = 50;
constexpr std::size_t MIN_VOTERS = 10;     // up to this number voters may be less flat than FLAT_VOTER_ANGLE
constexpr double FLAT_VOTER_ANGLE = 45.0;  // degrees

/// A triangle by the largest angle to a neighbour, in degrees.
using Flatness = std::pair<double, CTriangle*>;

CEdge* takeOnlyEdge(EdgesByEnd& mm, VCD end) {
    ASSEX(mm.count(end)==1);
    CEdge* pCE = mm.find(end)->second;
    eraseBothEntries(mm, pCE);
    return pCE;
}

using EdgeTest = std::function<bool(const CEdge*)>;

/// Two usable edges from one end to the other, over a vertex that isn't in vShunned (sorted): those with the smallest sum of
/// degrees, then with the oldest edge at the first end. Null when there are none. At most one edge leads from a vertex to
/// the other end, so each edge at the first end needs one look-up.
std::pair<CEdge*, CEdge*> cheapestPair(const CMesh* pCMesh, VCD endVCD0, VCD endVCD1, const EdgeTest& isUsable,
                                       const std::vector<VCD>& vShunned) {
    std::vector<CEdge*> vIncCE;
    pCMesh->getIncidentCE(endVCD0, vIncCE);
    std::pair<CEdge*, CEdge*> cheapest{nullptr, nullptr};
    int best = std::numeric_limits<int>::max();
    for (CEdge* pCE0 : vIncCE) {
        const VCD between = pCE0->getOtherVCD(endVCD0);
        if (!isUsable(pCE0) || std::binary_search(vShunned.begin(), vShunned.end(), between)) continue;
        CEdge* pCE1 = pCMesh->getEdge(between, endVCD1);
        if (!isUsable(pCE1)) continue;
        const int sum = pCE0->getDegree() + pCE1->getDegree();
        if (sum >= best) continue;
        best = sum;
        cheapest = {pCE0, pCE1};
    }
    return cheapest;
}

/// Both triangles run the same way over the edge.
bool disagree(const CEdge* pCE, const CTriangle* pCT, const CTriangle* pOther) {
    const int ownHED = pCT->getHEDirection2(pCE->v0, pCE->v1);
    ASSEX(ownHED!=HE_NONE);
    const int otherHED = pOther->getHEDirection2(pCE->v0, pCE->v1);
    ASSEX(otherHED!=HE_NONE);
    return ownHED == otherHED;
}

/// The triangles at the ends of the edge that are connected with one on the edge without crossing it. Each edge is crossed
/// once, however many triangles it has.
std::set<CTriangle*> fanBeside(const CEdge* pCE) {
    CTriangle* pStartCT = pCE->getTriangle(true, false);
    std::set<CTriangle*> sFan{pStartCT};
    std::set<const CEdge*> sCrossed{pCE};
    const auto forEachNeig = [&](const CTriangle* pCT, const auto& offer) {
        for (int i = 0; i < 3; ++i) {
            const CEdge* pSpoke = pCT->getCE(i);
            if (!pSpoke->has(pCE->v0) && !pSpoke->has(pCE->v1)) continue;
            if (!sCrossed.insert(pSpoke).second) continue;
            std::for_each(pSpoke->vCT.begin(), pSpoke->vCT.end(), offer);
        }
    };
    std::vector<CTriangle*> vStack{pStartCT};
    flood(vStack, forEachNeig, [&sFan](CTriangle* pCT) { return sFan.insert(pCT).second; });
    return sFan;
}

/// The largest angle to the neighbour across an edge of two triangles, in degrees; -1.0 when there is none with a normal.
double largestTurn(const CMesh* pCMesh, const CTriangle* pCT) {
    bool bOK = false;
    const Vector3 nnv = pCT->getRealNNV(pCMesh, bOK);
    if (!bOK) return -1.0;
    double maxDev = -1.0;
    for (int i = 0; i < 3; ++i) {
        const CTriangle* pNeigT = pCT->getCE(i)->getUniqueOtherTriangle(pCT);
        if (pNeigT == nullptr) continue;
        const Vector3 neigNNV = pNeigT->getRealNNV(pCMesh, bOK);
        if (bOK) maxDev = std::max(maxDev, getAngleDegree(nnv, neigNNV));
    }
    return maxDev;
}

/// The flattest triangles first, of equal ones the first along the chain.
std::vector<Flatness> sortedByFlatness(const CMesh* pCMesh, const std::list<CEdge*>& lMemberCE) {
    std::vector<Flatness> vFlat;
    for (const CEdge* pCE : lMemberCE) {
        CTriangle* pCT = pCE->getTriangle(false, false);
        ASSEX(pCT!=NULL);
        const double maxDev = largestTurn(pCMesh, pCT);
        if (maxDev >= 0.0) vFlat.emplace_back(maxDev, pCT);
    }
    sortByFirstMT(vFlat);
    return vFlat;
}

/// Evenly spread over a long list.
std::vector<const CTriangle*> pickVoters(const std::vector<Flatness>& vFlat) {
    std::vector<const CTriangle*> vPick;
    const std::size_t step = vFlat.size() < MAX_VOTERS ? 1 : vFlat.size() / MAX_VOTERS;
    for (std::size_t i = 0; i < vFlat.size(); i += step) {
        vPick.push_back(vFlat[i].second);
        if (vPick.size() == MAX_VOTERS) break;
        if (vPick.size() >= MIN_VOTERS && vFlat[i].first > FLAT_VOTER_ANGLE) break;
    }
    return vPick;
}

}  // namespace

void enterBothEnds(EdgesByEnd& mm, const std::vector<CEdge*>& vCE) {
    for (CEdge* pCE : vCE) {
        mm.emplace(pCE->v0, pCE);
        mm.emplace(pCE->v1, pCE);
    }
}

void eraseCertainEntry(EdgesByEnd& mm, VCD key, const CEdge* pCE) {
    const auto [it, itEnd] = mm.equal_range(key);
    const auto itEntry = std::find_if(it, itEnd, [pCE](const auto& entry) { return entry.second == pCE; });
    if (itEntry != itEnd) mm.erase(itEntry);
}

void eraseBothEntries(EdgesByEnd& mm, const CEdge* pCE) {
    eraseCertainEntry(mm, pCE->v0, pCE);
    eraseCertainEntry(mm, pCE->v1, pCE);
}

// ---- Growing ------------------------------------------------------------------------------------------------------------

Chain::Chain(CMesh* pMesh, EdgesByEnd& mmVCD2CE) : label(seqNum++), pCMesh(pMesh) {
    ASSEX(!mmVCD2CE.empty());
    CEdge* pCE = mmVCD2CE.begin()->second;
    pCE->setDirection(ED_V0_V1);
    lMemberCE.push_back(pCE);
    eraseBothEntries(mmVCD2CE, pCE);
    left = pCE->getSource();
    right = pCE->getTarget();
    takeEdgesFromMap(mmVCD2CE);
}

void Chain::takeEdgesFromMap(EdgesByEnd& mmVCD2CE) {
    while (mmVCD2CE.count(left) != 0) {
        CEdge* pCE = takeOnlyEdge(mmVCD2CE, left);
        pCE->setDirection(pCE->v1 == left ? ED_V0_V1 : ED_V1_V0);
        ASSEX(pCE->getTarget()==left);
        left = pCE->getSource();
        lMemberCE.push_front(pCE);
    }
    while (mmVCD2CE.count(right) != 0) {
        CEdge* pCE = takeOnlyEdge(mmVCD2CE, right);
        pCE->setDirection(pCE->v0 == right ? ED_V0_V1 : ED_V1_V0);
        ASSEX(pCE->getSource()==right);
        right = pCE->getTarget();
        lMemberCE.push_back(pCE);
    }
}

void Chain::assimilate(const std::vector<CEdge*>& vCE) {
    EdgesByEnd mmVCD2CE;
    enterBothEnds(mmVCD2CE, vCE);
    takeEdgesFromMap(mmVCD2CE);
    ASSEX(mmVCD2CE.empty());
}

// ---- Reading ------------------------------------------------------------------------------------------------------------

void Chain::getEndpoints(VCD& endVCD0, VCD& endVCD1) const {
    endVCD0 = left;
    endVCD1 = right;
}

void Chain::getEdges(std::vector<CEdge*>& vCE) const {
    vCE.insert(vCE.end(), lMemberCE.begin(), lMemberCE.end());
}

void Chain::getVCD(std::vector<VCD>& vVCD) const {
    for (const CEdge* pCE : lMemberCE)
        vVCD.insert(vVCD.end(), {pCE->v0, pCE->v1});
}

bool Chain::findClosingEdges(const std::function<bool(const CEdge*)>& mayUse, bool bOffChain,
                             std::vector<CEdge*>& vSolution) const {
    VCD endVCD0, endVCD1;
    getEndpoints(endVCD0, endVCD1);
    ASSEX(endVCD0!=endVCD1);
    std::vector<CEdge*> vMemberCE(lMemberCE.begin(), lMemberCE.end());
    std::sort(vMemberCE.begin(), vMemberCE.end());
    const EdgeTest isUsable = [&](const CEdge* pCE) {
        return pCE != nullptr && pCE->getDegree() > 0 && mayUse(pCE) &&
               !std::binary_search(vMemberCE.begin(), vMemberCE.end(), pCE);
    };
    CEdge* pDirectCE = pCMesh->getEdge(endVCD0, endVCD1);
    if (isUsable(pDirectCE)) {
        vSolution.push_back(pDirectCE);
        return true;
    }
    std::vector<VCD> vShunned;
    if (bOffChain) getVCD(vShunned);
    vShunned.push_back(endVCD1);
    std::sort(vShunned.begin(), vShunned.end());
    const auto [pSolutionCE0, pSolutionCE1] = cheapestPair(pCMesh, endVCD0, endVCD1, isUsable, vShunned);
    if (pSolutionCE0 == nullptr) return false;
    ASSEX(pSolutionCE1!=NULL);
    vSolution.insert(vSolution.end(), {pSolutionCE0, pSolutionCE1});
    return true;
}

void Chain::print() const {
    out() << "\nEdge::print() for label " << label << "\n";
    for (const CEdge* pCE : lMemberCE)
        out() << "  EDGE: " << pCE->v0 << " " << pCE->v1 << "\n";
    out() << "  left end: " << left << "\n";
    out() << "  right end: " << right << std::endl;
}

// ---- Triangles along a closed chain -------------------------------------------------------------------------------------

void Chain::getOriented(std::set<CTriangle*>& sOriented) {
    for (auto it = lMemberCE.begin(); it != lMemberCE.end(); ++it) {
        const auto itNext = std::next(it);
        const CEdge *pCE0 = *it, *pCE1 = itNext == lMemberCE.end() ? lMemberCE.front() : *itNext;
        if (pCE0->getTarget() != pCE1->getSource()) {
            out() << fatBar("BUG");
            print();
        }
        ASSEX(pCE0->getTarget()==pCE1->getSource());
    }
    for (const CEdge* pCE : lMemberCE) {
        if (pCE->getDegree() >= 2) continue;
        for (CTriangle* pCT : pCE->vCT)
            if (sOriented.insert(pCT).second && pCT->getHEDirection2(pCE->getSource(), pCE->getTarget()) != HE_OPPOSITE)
                pCT->flipNNV();
    }
}

bool Chain::hasMoebius() {
    std::set<CTriangle*> sOriented;
    getOriented(sOriented);
    for (const CTriangle* pCT : sOriented)
        for (int i = 0; i < 3; ++i) {
            CEdge* pCE = pCT->getCE(i);
            if (pCE->getDegree() >= 3) continue;
            for (CTriangle* pOther : pCE->vCT) {
                if (pOther <= pCT || sOriented.count(pOther) == 0) continue;  // each pair once
                if (disagree(pCE, pCT, pOther)) vMoebiusCE.push_back(pCE);
            }
        }
    return !vMoebiusCE.empty();
}

void Chain::fixMoebius() {
    ASSEX(!vMoebiusCE.empty());
    const CEdge* pCE = vMoebiusCE.front();
    const auto exchanged = [pCE](VCD vcd) { return pCE->has(vcd) ? pCE->getOtherVCD(vcd) : vcd; };
    for (CTriangle* pCT : fanBeside(pCE)) {
        pCT->kill(pCMesh);
        pCMesh->createT(exchanged(pCT->c0), exchanged(pCT->c1), exchanged(pCT->c2), 0, 0);
    }
}

bool Chain::isGoodHole() const {
    std::vector<Point3> vRing;
    for (const CEdge* pCE : lMemberCE) {
        vRing.push_back(pCMesh->getAvgPoint(pCE->v0));
        vRing.push_back(pCMesh->getAvgPoint(pCE->v1));
    }
    std::size_t numThrough = 0, numBeside = 0;
    for (const CTriangle* pCT : pickVoters(sortedByFlatness(pCMesh, lMemberCE))) {
        bool bOK = false;
        const Vector3 nnv = pCT->getRealNNV(pCMesh, bOK);  // a voter has one
        const Point3 baryc = pCT->getRealBaryc(pCMesh);
        ++(passThrough(baryc, baryc + nnv, vRing) ? numThrough : numBeside);
    }
    return numThrough < numBeside;
}

}  // namespace TARN_KEL
