// Simplification and flips: passes that look at the geometry of the coarse mesh, not at its topology.
//
// Short edges. All that are short wait in a queue, the shortest first, and are collapsed to the midpoint or onto an end as
// long as the surface around stays as it is. A collapse moves vertices, so keys go stale: an edge that comes up longer than
// its key goes back under its present length, and what is short at the moved vertex is entered again.
//
// Folds and caps. A flip can undo a sharp fold across an edge, and take out a triangle with an angle of nearly 180 degrees:
//
//         v1                 v1
//       / | \               /  \         alt0 is almost on the edge: the flip hands most of the area of the other
//    alt0 | alt1    ->  alt0----alt1     triangle over. Where it isn't possible the cap can be collapsed instead.
//       \ | /               \  /
//         v0                 v0
//
// Features. Where the caller knows which vertices lie on a feature line of the model, the diagonals between them should
// follow the line. A flip that joins two of them is made unless it breaks a better connection; the better one is that which
// more feature edges go on straight.
#include <algorithm>
#include <cfloat>
#include <functional>
#include <iterator>
#include <utility>

#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "EdgeEnergy.h"
#include "Top.h"
#include "edgeGeometry.h"
#include "flipEnergy.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_TURN = 5.0;        // degrees, of normals around a collapse
constexpr double MIN_GAIN = 0.01;       // of a flip
constexpr double MAX_NEW_FOLD = 120.0;  // degrees, of canFlip
constexpr double BAD_FOLD = 150.0;      // degrees
constexpr double MIN_FOLD_DROP = 5.0;   // degrees
constexpr double CAP_ANGLE = 179.0;     // degrees
constexpr double MAX_OFF_LINE = 0.2;    // degrees
constexpr double NO_FOLD = -1.0;        // of foldAngle: a normal is missing
constexpr int ENOUGH_COLLAPSES = 11;    // for another pass
constexpr int NUM_FEATURE_TURNS = 3;

using EdgeQueue = std::multimap<double, CEdge*>;

double sqLengthOf(const CMesh& mesh, const CEdge& edge) {
    return (*mesh.getVtx(edge.v1) - *mesh.getVtx(edge.v0)).sqLength();
}

/// The edges of a squared length below maxSq under it, shortest first; equal ones in order of creation.
std::vector<std::pair<double, CEdge*>> shortEdges(const CMesh& mesh, const std::vector<CEdge*>& vCE, double maxSq) {
    std::vector<std::pair<double, CEdge*>> vShort;
    for (CEdge* pCE : vCE) {
        const double sq = sqLengthOf(mesh, *pCE);
        if (sq < maxSq) vShort.emplace_back(sq, pCE);
    }
    sortMT(vShort.begin(), vShort.end());
    return vShort;
}

/// The ends of all edges of degree 1, sorted and unique.
std::vector<VCD> borderVertices(const CMesh& mesh) {
    std::vector<CEdge*> vBorderCE;
    mesh.getDegN(1, vBorderCE);
    std::vector<VCD> vBorderVCD;
    vBorderVCD.reserve(2 * vBorderCE.size());
    for (const CEdge* pCE : vBorderCE)
        vBorderVCD.insert(vBorderVCD.end(), {pCE->v0, pCE->v1});
    oneInstance(vBorderVCD);
    return vBorderVCD;
}

/// The largest key; of equal ones that which was entered first.
std::pair<double, CEdge*> takeLargest(EdgeQueue& q) {
    const auto it = q.lower_bound(std::prev(q.end())->first);
    const std::pair<double, CEdge*> largest = *it;
    q.erase(it);
    return largest;
}

struct LargestGainFirst {
    bool operator()(const EdgeEnergy& a, const EdgeEnergy& b) const { return a.improvement > b.improvement; }
};

/// The interior angle of the triangle at one of its corners in degrees.
double angleAt(const CMesh& mesh, const CTriangle& ct, VCD vcd) {
    VCD next, previous;
    ct.getOtherCCDs(vcd, next, previous);
    return angleAt(*mesh.getVtx(vcd), *mesh.getVtx(next), *mesh.getVtx(previous));
}

/// At most one step apart on each axis.
bool areNeighbourCells(const Calc& calc, CCD a, CCD b) {
    unsigned long long ax, ay, az, bx, by, bz;
    calc.extractIntCCD(a, ax, ay, az);
    calc.extractIntCCD(b, bx, by, bz);
    const auto distance = [](unsigned long long i, unsigned long long j) { return i < j ? j - i : i - j; };
    return (distance(ax, bx) | distance(ay, by) | distance(az, bz)) <= 1;
}

}  // namespace

void Top::simplifyAndSmooth() {
    killDegenerate();
    edgeFlips(0.1);
    edgeFlips(1.0);
    const double L = pCalc->getSideLen() * 1.5;
    simplify(0, L, SM_MID_THEN_SINGLE);
    out() << fatBar("lap deactivated");
    killTinyBorderPatches(5);
    simplify(0, L, SM_MID_THEN_SINGLE);
    for (int i = 0; i < 3; ++i)
        edgeFlips(0.1);
}

// ---- Collapses

bool Top::simplify(int passNo, double maxLen, SimplifyMode mode) {
    out() << fatBar("This is simplify(), passNo " + toString(passNo));
    const std::vector<VCD> vBorderVCD = borderVertices(*pCMesh);
    const auto touchesBorder = [&vBorderVCD](const CEdge* pCE) {
        return std::binary_search(vBorderVCD.begin(), vBorderVCD.end(), pCE->v0) ||
               std::binary_search(vBorderVCD.begin(), vBorderVCD.end(), pCE->v1);
    };
    const double maxSq = maxLen == DBL_MAX ? DBL_MAX : maxLen * maxLen;
    std::vector<CEdge*> vCE;
    pCMesh->getDegN(-99, vCE);
    std::erase_if(vCE, touchesBorder);
    const auto vShort = shortEdges(*pCMesh, vCE, maxSq);
    EdgeQueue prioq(vShort.begin(), vShort.end());

    int numKilled = 0;
    while (!prioq.empty()) {
        const auto [key, pCE] = *prioq.begin();
        prioq.erase(prioq.begin());
        if (pCE->getDegree() == 0 || touchesBorder(pCE)) continue;
        const double sq = sqLengthOf(*pCMesh, *pCE);
        if (sq <= key)
            numKilled += tryCollapse(pCE, mode, maxSq, prioq) ? 1 : 0;
        else if (sq < maxSq)
            prioq.emplace(sq, pCE);
    }
    out() << "passNo: " << passNo << ", numKilled: " << numKilled << "\n";
    out() << "killDups has killed " << pCMesh->killDups() << std::endl;
    const int num2 = pCMesh->killDups();
    ASSEX(num2==0);
    if (numKilled >= ENOUGH_COLLAPSES) return true;
    return numKilled > 0 && passNo == 0;
}

bool Top::tryCollapse(CEdge* pCE, SimplifyMode mode, double maxSq, EdgeQueue& prioq) {
    const bool bMid = mode == SM_MID_THEN_SINGLE || mode == SM_MID;
    const bool bSingle = mode == SM_MID_THEN_SINGLE || mode == SM_SINGLE;
    if (bMid && killMid(pCE, pCE->getCenter(pCMesh), maxSq, prioq)) return true;
    return bSingle && (killSingle(pCE, 0, maxSq, prioq) || killSingle(pCE, 1, maxSq, prioq));
}

bool Top::killSingle(CEdge* pCE, int iKill, double maxSq, EdgeQueue& prioq) {
    if (iKill != 0 && iKill != 1) ASSEX(false);
    const VCD src = iKill == 0 ? pCE->v0 : pCE->v1, trg = pCE->getOtherVCD(src);
    std::vector<CTriangle*> vCurTrgT;
    pCMesh->getIncidentT(trg, vCurTrgT);
    const bool bGentle = keepsNormals(src, trg, *pCMesh->getVtx(trg));
    ASSEX(!vCurTrgT.empty());
    if (!bGentle || !pCMesh->collapseEdgeToEndpoint(pCE, src, trg)) return false;
    enterShortEdgesAt(trg, maxSq, prioq);
    return true;
}

bool Top::killMid(CEdge* pCE, const Point3& M, double maxSq, EdgeQueue& prioq) {
    if (!keepsNormals(pCE->v0, pCE->v1, M) || !keepsNormals(pCE->v1, pCE->v0, M)) return false;
    if (pCE->getDegree() == 0) return false;
    enterShortEdgesAt(pCMesh->collapseEdgeToMidpoint(pCE), maxSq, prioq);
    return true;
}

// No triangle at vcd, but those that the collapse takes away, turns when vcd moves to target. Degenerate ones may turn.
bool Top::keepsNormals(VCD vcd, VCD otherEnd, const Point3& target) const {
    std::vector<CTriangle*> vIncT;
    pCMesh->getIncidentT(vcd, vIncT);
    ASSEX(!vIncT.empty());
    const Point3& p = *pCMesh->getVtx(vcd);
    return std::all_of(vIncT.begin(), vIncT.end(), [&](const CTriangle* pCT) {
        if (pCT->has(otherEnd)) return true;
        VCD next, previous;
        pCT->getOtherCCDs(vcd, next, previous);
        const Point3 &pNext = *pCMesh->getVtx(next), &pPrevious = *pCMesh->getVtx(previous);
        const Vector3 nOld = crossProduct(pNext - p, pPrevious - p);
        return nOld.isDegenerate() || isGentleTurn(nOld, crossProduct(pNext - target, pPrevious - target), MAX_TURN);
    });
}

void Top::enterShortEdgesAt(VCD vcd, double maxSq, EdgeQueue& prioq) const {
    std::vector<CEdge*> vIncCE;
    pCMesh->getIncidentCE(vcd, vIncCE);
    enterShortEdges(
        vIncCE, maxSq, [this](const CEdge& edge) { return sqLengthOf(*pCMesh, edge); }, prioq);
}

void Top::collapseSmallEdges() {
    const double L = pCMesh->getSideLen() / 3;
    std::vector<CEdge*> vCE;
    pCMesh->getDegN(-99, vCE);
    for (const auto& [sq, pCE] : shortEdges(*pCMesh, vCE, L * L))
        pCMesh->collapseEdgeToMidpoint(pCE);
    pCMesh->killDups();
}

// ---- Flips by energy

void Top::getEdgesForOptimization(double angleDeg, std::vector<CEdge*>& vE) {
    std::vector<CEdge*> vCE;
    pCMesh->getDegN(2, vCE);
    const auto normalOf = [this](const CTriangle& ct, bool& bOK) { return ct.getRealNNV(pCMesh, bOK); };
    const auto normalsOf = [&normalOf](const CEdge& edge, Vector3& normal0, Vector3& normal1) {
        CTriangle *pCT0, *pCT1;
        edge.getTwoTriangles(pCT0, pCT1, true);
        ASSEX(pCT0->isAlive() && pCT1->isAlive());
        return agreeingNormals<CTriangle>(edge, normalOf, normal0, normal1);
    };
    appendFolds(vCE, angleDeg, normalsOf, vE);
}

void Top::edgeFlips(double angleDeg) {
    std::vector<CEdge*> vE;
    getEdgesForOptimization(angleDeg, vE);
    std::multiset<EdgeEnergy, LargestGainFirst> queue;
    for (CEdge* pCE : vE) {
        EdgeEnergy ee(pCMesh, pCE);
        ee.compute();
        if (ee.improvement != EdgeEnergy::IMPOSSIBLE) queue.insert(ee);
    }
    while (!queue.empty()) {
        EdgeEnergy ee = *queue.begin();
        queue.erase(queue.begin());
        const double gainWhenQueued = ee.improvement;
        ee.compute();
        if (ee.improvement <= MIN_GAIN) continue;
        if (ee.improvement < gainWhenQueued) {
            queue.insert(ee);
            continue;
        }
        CEdge* pFlipEdge = ee.pCE;
        ASSEX(ee.improvement>0);
        ASSEX(pFlipEdge->getDegree()==2);
        pFlipEdge->flipEdge(pCMesh, nullptr, nullptr);
    }
}

// ---- Flips of folds

// Degrees between the normals of (v0, v1, a) and (v1, v0, b).
double Top::foldAngle(VCD v0, VCD v1, VCD a, VCD b) const {
    const Point3 &p0 = *pCMesh->getVtx(v0), &p1 = *pCMesh->getVtx(v1);
    bool bOK0 = false, bOK1 = false;
    const Vector3 n0 = getNormalVector(p0, p1, *pCMesh->getVtx(a), bOK0);
    const Vector3 n1 = getNormalVector(p1, p0, *pCMesh->getVtx(b), bOK1);
    return bOK0 && bOK1 ? getAngleDegree(n0, n1) : NO_FOLD;
}

void Top::buildPrioq(EdgeQueue& q, double minAngle) {
    std::vector<CEdge*> vCE;
    pCMesh->getCEdges(vCE);
    std::vector<std::pair<double, CEdge*>> vFolded;
    for (CEdge* pCE : vCE) {
        CTriangle *pCT0, *pCT1;
        if (!pCE->getTwoTriangles(pCT0, pCT1, true)) continue;
        const VCD v0 = pCE->v0, v1 = pCE->v1;
        const double angle = foldAngle(v0, v1, pCT0->getThirdCCD(v0, v1), pCT1->getThirdCCD(v0, v1));
        if (angle != NO_FOLD && angle > minAngle) vFolded.emplace_back(angle, pCE);
    }
    sortMT(vFolded.begin(), vFolded.end());
    q.insert(vFolded.begin(), vFolded.end());
}

void Top::flipBadAngles() {
    flipFolds(BAD_FOLD);
}

void Top::flipFolds(double minAngle) {
    EdgeQueue q;
    buildPrioq(q, minAngle);
    while (!q.empty()) {
        const auto [key, pCE] = takeLargest(q);
        CTriangle *pCT0, *pCT1;
        if (!pCE->getTwoTriangles(pCT0, pCT1, true)) continue;
        const VCD v0 = pCE->v0, v1 = pCE->v1;
        if (pCT0->getHEDirection2(v0, v1) == HE_SAME) std::swap(pCT0, pCT1);
        const double angle = foldAngle(v0, v1, pCT0->getThirdCCD(v0, v1), pCT1->getThirdCCD(v0, v1));
        if (angle == NO_FOLD || !(angle >= minAngle)) continue;
        if (key > angle)
            q.emplace(angle, pCE);
        else
            tryFlipFold(*pCE, angle, pCT0, pCT1);
    }
}

// The first triangle runs against v0 -> v1.
void Top::tryFlipFold(const CEdge& edge, double angle, CTriangle* pCT0, CTriangle* pCT1) {
    const VCD v0 = edge.v0, v1 = edge.v1;
    const VCD a = pCT0->getThirdCCD(v0, v1), b = pCT1->getThirdCCD(v0, v1);
    if (pCMesh->hasEdge(a, b)) return;
    const double newAngle = foldAngle(a, b, v0, v1);
    if (newAngle == NO_FOLD || newAngle > angle - MIN_FOLD_DROP) return;
    pCT0->kill(pCMesh);
    pCT1->kill(pCMesh);
    pCMesh->createT(a, b, v0, pCT0->vcdCube, 0);
    pCMesh->createT(b, a, v1, pCT0->vcdCube, 0);
}

// ---- Caps

int Top::flipExtremeCaps(bool bKill) {
    std::vector<CEdge*> vCE;
    pCMesh->getCEdges(vCE);
    int numChanges = 0;
    for (CEdge* pCE : vCE) {
        CTriangle *pCT0, *pCT1;
        if (!pCE->getTwoTriangles(pCT0, pCT1, true)) continue;
        ASSEX(pCT0!=pCT1 && pCT0!=NULL && pCT1!=NULL);
        ASSEX(pCT0->isAlive());
        ASSEX(pCT1->isAlive());
        const VCD altVCD0 = pCT0->getThirdCCD(pCE->v0, pCE->v1), altVCD1 = pCT1->getThirdCCD(pCE->v0, pCE->v1);
        ASSEX(altVCD0!=altVCD1);
        ASSEX(altVCD0!=pCE->v0 && altVCD0!=pCE->v1);
        ASSEX(altVCD1!=pCE->v0 && altVCD1!=pCE->v1);
        ASSEX(pCE->v0!=pCE->v1);
        const bool bCap0 = angleAt(*pCMesh, *pCT0, altVCD0) >= CAP_ANGLE,
                   bCap1 = angleAt(*pCMesh, *pCT1, altVCD1) >= CAP_ANGLE;
        if (!bCap0 && !bCap1) continue;
        if (canFlip(pCE->v0, pCE->v1, altVCD0, altVCD1)) {
            VCD nextCCD, prevCCD;
            pCT0->getOtherCCDs(altVCD0, nextCCD, prevCCD);
            if (nextCCD != pCE->v0) ASSEX(nextCCD==pCE->v1);
            pCE->flipEdge(pCMesh, pCT0, pCT1);
            ++numChanges;
        } else if (bKill) {
            if (bCap0 && collapseCap(pCT0, altVCD0)) ++numChanges;
            if (bCap1 && collapseCap(pCT1, altVCD1)) ++numChanges;
        }
    }
    return numChanges;
}

// Collapses one of the edges at the flat corner. The triangle may have gone with the other cap on its edge.
bool Top::collapseCap(CTriangle* pCT, VCD altVCD) {
    EdgeQueue scratch;
    const int i = pCT->getICI(altVCD);
    for (const int k : {1, 2}) {
        if (!pCT->isAlive()) return false;
        CEdge* pCE = pCT->getCEdge((i + k) % 3);
        if (killSingle(pCE, 0, DBL_MAX, scratch) || killSingle(pCE, 1, DBL_MAX, scratch)) return true;
    }
    return false;
}

// ---- Features

void Top::flipFeatures() {
    for (int turn = 1; turn <= NUM_FEATURE_TURNS; ++turn) {
        out() << fatBar("NEW FLIP TURN " + toString(turn));
        for (const CCD ccd : sFeatureCCD) {
            std::vector<CTriangle*> vIncT;
            pCMesh->getIncidentT(ccd, vIncT);
            for (CTriangle* pCT : vIncT)
                if (pCT->isAlive()) joinFeatureAt(pCT, ccd);
        }
    }
}

// Flips the edge opposite a feature vertex where that joins it with another one.
void Top::joinFeatureAt(CTriangle* pCT, VCD ccd0) {
    CEdge* pCE = pCT->getCEdge(pCT->getICI(ccd0));
    CTriangle* pNeigT = pCE->getUniqueOtherTriangle(pCT);
    if (pNeigT == nullptr) return;
    const VCD ccd1 = pNeigT->getThirdCCD(pCE->v0, pCE->v1);
    if (!areNeighbourCells(*pCalc, ccd0, ccd1) || sFeatureCCD.count(ccd1) == 0) return;
    if (!canFlip(pCE->v0, pCE->v1, ccd0, ccd1)) return;
    ASSEX(ccd0!=ccd1);
    ASSEX(ccd0!=pCE->v0);
    ASSEX(ccd0!=pCE->v1);
    ASSEX(ccd1!=pCE->v0);
    ASSEX(ccd1!=pCE->v1);
    const bool bJoinsFeatures = sFeatureCCD.count(pCE->v0) != 0 && sFeatureCCD.count(pCE->v1) != 0;
    if (bJoinsFeatures && countCollinearConnectors(pCE->v0, pCE->v1) >= countCollinearConnectors(ccd0, ccd1)) return;
    pCE->flipEdge(pCMesh, pCT, pNeigT);
}

bool Top::canFlip(VCD ccd0, VCD ccd1, VCD alt0, VCD alt1) {
    if (pCMesh->hasEdge(alt0, alt1)) return false;
    if (ccd0 == ccd1 || alt0 == alt1) return false;
    if (alt0 == ccd0 || alt0 == ccd1 || alt1 == ccd0 || alt1 == ccd1) return false;
    if (ccd0 >= ccd1) {
        warning(KEL_PLACE, "ccd0>=ccd1");
        return false;
    }
    if (sBorderCCD.count(alt0) != 0 || sBorderCCD.count(alt1) != 0) return false;
    return isGentleFlip(*pCMesh->getVtx(ccd0), *pCMesh->getVtx(ccd1), *pCMesh->getVtx(alt0), *pCMesh->getVtx(alt1),
                        MAX_NEW_FOLD);
}

int Top::countCollinearConnectors(VCD ccd0, VCD ccd1) {
    ASSEX(ccd0!=ccd1);
    ASSEX(sFeatureCCD.find(ccd0)!=sFeatureCCD.end());
    ASSEX(sFeatureCCD.find(ccd1)!=sFeatureCCD.end());
    return countCollinearAt(ccd0, ccd1) + countCollinearAt(ccd1, ccd0);
}

// Edges at A to feature vertices straight on the far side from B.
int Top::countCollinearAt(VCD ccdA, VCD ccdB) const {
    const Point3 *pVtxA = pCMesh->getVtx(ccdA), *pVtxB = pCMesh->getVtx(ccdB);
    ASSEX(*pVtxA!=*pVtxB);
    const Vector3 dir = normalize(*pVtxB - *pVtxA);
    std::vector<CEdge*> vIncCE;
    pCMesh->getIncidentCE(ccdA, vIncCE);
    int count = 0;
    for (const CEdge* pCE : vIncCE) {
        const VCD ccdC = pCE->getOtherVCD(ccdA);
        if (ccdC == ccdB || sFeatureCCD.count(ccdC) == 0) continue;
        const Point3* pOtherVtx = pCMesh->getVtx(ccdC);
        ASSEX(*pOtherVtx!=*pVtxA);
        const Vector3 dir2 = normalize(*pOtherVtx - *pVtxA);
        if (180.0 - getAngleDegree(dir, dir2) < MAX_OFF_LINE) ++count;
    }
    return count;
}

}  // namespace TARN_KEL
