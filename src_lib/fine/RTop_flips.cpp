// Flips and collapses of single edges, and the loops that apply them to a whole mesh.
//
// The greedy descent keeps its candidates in a queue by their gain when they were judged last. A flip changes the gains of
// the edges around it, but these aren't looked for: each is judged again when it comes up, and put back under its current
// gain when that is lower. So no relation from flips to queue entries is needed.
//
// The annealing repeats sweeps with falling temperature. A sweep takes all flips that gain and, at random, some that lose,
// judged on the mesh as it is at the start, and applies them in random order, each if it is still possible, whatever it
// costs by then. So the surface can leave states in which each single flip would lose; the descent after the last sweep
// reverts the flips that didn't pay.
#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <tuple>

#include "Progress.h"
#include "REdge.h"
#include "REdgeEnergy.h"
#include "RMesh.h"
#include "RTop.h"
#include "RTriangle.h"
#include "Random.h"
#include "StepWatch.h"
#include "edgeGeometry.h"
#include "geometryFunctions.h"
#include "lazyQueue.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MIN_GAIN = 0.005;         // below it an edge whose gain has fallen is given up
constexpr double CAP_ANGLE = 170.0;        // degrees
constexpr double MAX_FOLD_GROWTH = 2.0;    // degrees
constexpr double MAX_FOLD_OF_FLIP = 90.0;  // degrees

/// Replaces the triangles of a quad by those on the other diagonal.
void replaceTriangles(const REdge* pRE, const FlipQuad& quad, RMesh* pRMesh) {
    Point3 *pAltVtx0 = quad.pOppCorner0, *pAltVtx1 = quad.pOppCorner1;
    const Point3* pNextVtx = quad.pA;
    ASSEX(pRE->getVtx0()!=pRE->getVtx1());
    ASSEX(pAltVtx1!=pRE->getVtx0() && pAltVtx1!=pRE->getVtx1());
    if (pNextVtx != pRE->getVtx0()) ASSEX(pNextVtx==pRE->getVtx1());
    quad.pT0->kill(pRMesh);
    quad.pT1->kill(pRMesh);
    pRMesh->createT(pAltVtx0, pAltVtx1, quad.pB);
    pRMesh->createT(pAltVtx1, pAltVtx0, quad.pA);
}

/// When the corner moves the normal turns by at most maxDevDeg degrees. A degenerate triangle gives a line of output, and
/// may turn.
bool keepsNormal(const RTriangle& rt, const Point3* pMoving, const Point3& newPos, double maxDevDeg) {
    const int i = rt.getICI(pMoving);
    const Point3 &a = *rt.getCorner((i + 1) % 3), &b = *rt.getCorner((i + 2) % 3);
    const Vector3 e = a - b;
    const Vector3 nOld = crossProduct(e, *pMoving - b);
    if (nOld.isDegenerate()) {
        out() << "current triangle is degenerate" << std::endl;
        return true;
    }
    return isGentleTurn(nOld, crossProduct(e, newPos - b), maxDevDeg);
}

/// The triangles at p that aren't at q as well.
std::vector<RTriangle*> trianglesBeside(const RMesh& rmesh, const Point3* p, const Point3* q) {
    std::vector<RTriangle*> vIncT;
    rmesh.getIncidentT(p, vIncT);
    std::erase_if(vIncT, [q](const RTriangle* pRT) { return pRT->has(q); });
    return vIncT;
}

void enterShortEdges(const RMesh& rmesh, const Point3* p, double maxSqLen, std::multimap<double, REdge*>& mmEdges) {
    std::vector<REdge*> vIncRE;
    rmesh.getIncidentRE(p, vIncRE);
    const auto sqLengthOf = [](const REdge& edge) { return (*edge.pVtx1 - *edge.pVtx0).sqLength(); };
    enterShortEdges(vIncRE, maxSqLen, sqLengthOf, mmEdges);
}

/// False for a flip that would make the mesh cross itself, when somebody watches that.
bool mayFlip(const REdge& edge, const RMesh& mesh) {
    return mesh.pWatch == nullptr || mesh.pWatch->allowsFlip(edge);
}

void markDone(const std::string& stepName) {
    ProgressStep(stepName, 1).finish();
}

}  // namespace

// ---- Greedy descent -----------------------------------------------------------------------------------------------------

void RTop::flipBestFirst(bool bCountSteps) {
    const std::vector<REdge*> vRE = pRMesh->getREdgesRef();  // a copy: flips add edges
    std::vector<RMesh::FlipCandidate> vCand;
    pRMesh->getEdgeFlipCandidates_MT(vRE, MIN_GAIN, 0.0, vCand);
    std::multimap<double, REdge*, std::greater<>> mmCand(vCand.begin(), vCand.end());
    ProgressStep progress = bCountSteps ? ProgressStep("efLoop", 3 * vRE.size()) : ProgressStep();
    REdgeEnergy ee(pRMesh, nullptr);
    const auto judge = [&ee](REdge* pRE, double savedImprovement) -> std::optional<double> {
        ASSEX_AS("savedImprovement>-double(1.79769313486231570814527423731704357e+308L)", savedImprovement > -DBL_MAX);
        ASSEX(pRE!=NULL);
        ee.pRE = pRE;
        ee.tryCompute();
        if (savedImprovement > ee.improvement && !(ee.improvement > MIN_GAIN)) return std::nullopt;
        return ee.improvement;
    };
    const auto flip = [&](REdge* pRE, double freshImprovement) {
        progress.advance();
        ASSEX(freshImprovement>=0);
        ASSEX(pRE->getDegree()==2);
        if (mayFlip(*pRE, *pRMesh)) pRE->tryFlipEdge(pRMesh, nullptr, nullptr);
    };
    runLazily(mmCand, judge, flip);
    progress.finish();
}

void RTop::edgeFlips() {
    flipBestFirst(false);
    markDone("RM_gEfCandMT");
    markDone("RM_kdeg");
}

void RTop::edgeFlipsKillDeg(bool bKeepManifold) {
    flipBestFirst(true);
    clearDegenerate(bKeepManifold);
}

// ---- Annealing ----------------------------------------------------------------------------------------------------------

void edgeFlipsSimA(RMesh* pRMesh, double temperature) {
    std::vector<RMesh::FlipCandidate> vCand;
    pRMesh->getEdgeFlipCandidates_MT(pRMesh->getREdgesRef(), 0.0, temperature, vCand);
    Random random(std::bit_cast<std::uint64_t>(temperature));
    for (std::size_t i = 1; i < vCand.size(); ++i)
        std::swap(vCand[i], vCand[static_cast<std::size_t>(random.next()) % (i + 1)]);
    REdgeEnergy ee(pRMesh, nullptr);
    for (const auto& [gainAtStart, pRE] : vCand) {
        if (pRE->getDegree() != 2) continue;
        ee.pRE = pRE;
        ee.tryCompute();
        if (ee.improvement != REdgeEnergy::IMPOSSIBLE && mayFlip(*pRE, *pRMesh)) pRE->tryFlipEdge(pRMesh, nullptr, nullptr);
    }
}

std::vector<double> annealingTemperatures() {
    constexpr double START = 0.02, FACTOR = 0.9, END = 0.001;
    std::vector<double> vTemperature;
    double temperature = START;
    do {
        temperature = FACTOR * temperature;
        vTemperature.push_back(temperature);
    } while (temperature > END);
    return vTemperature;
}

void RTop::edgeFlipsSimA(double temperature) {
    TARN_KEL::edgeFlipsSimA(pRMesh, temperature);
}

void RTop::edgeFlipsSimACtrl() {
    edgeFlips();
    for (const double temperature : annealingTemperatures())
        edgeFlipsSimA(temperature);
    edgeFlips();
}

// ---- Caps ---------------------------------------------------------------------------------------------------------------

double RTop::getFlipPenalty(REdge* pRE, double& maxOldAngle, double& maxNewAngle, double& curDihedral, double& altDihedral) {
    RTriangle *pRT0, *pRT1;
    if (!pRE->getTwoTriangles(pRT0, pRT1, true)) return DBL_MAX;
    ASSEX(pRT0!=pRT1 && pRT0!=NULL && pRT1!=NULL);
    const auto& [pT0, pT1, pOpp0, pOpp1, pA, pB] = FlipQuad(*pRE, pRT0, pRT1);
    maxOldAngle = std::max(angleAt(*pOpp0, *pA, *pB), angleAt(*pOpp1, *pA, *pB));
    maxNewAngle = std::max(angleAt(*pB, *pOpp1, *pOpp0), angleAt(*pA, *pOpp1, *pOpp0));
    bool bOK0 = false, bOK1 = false;
    const Vector3 &nnv0 = pRT0->getNNV(bOK0), &nnv1 = pRT1->getNNV(bOK1);
    curDihedral = bOK0 && bOK1 ? getAngleDegree(nnv0, nnv1) : 360.0;

    const Vector3 n0 = getNormalVector(*pOpp0, *pOpp1, *pB, bOK0), n1 = getNormalVector(*pOpp0, *pA, *pOpp1, bOK1);
    if (!bOK0 || !bOK1) return DBL_MAX;
    altDihedral = getAngleDegree(normalize(n1), normalize(n0));
    if (CAP_ANGLE > maxOldAngle) return DBL_MAX;
    if (maxNewAngle - maxOldAngle > 0.0) return DBL_MAX;
    if (altDihedral - curDihedral > MAX_FOLD_GROWTH) return DBL_MAX;
    return (maxNewAngle - maxOldAngle) + (altDihedral - curDihedral);
}

bool RTop::canFlip(Point3* p0, Point3* p1, Point3* pAlt0, Point3* pAlt1, double maxAngle) {
    const REdge* pRE = pRMesh->getEdge(p0, p1);
    if (pRE == nullptr || pRE->getDegree() != 2) return false;
    if (pRMesh->hasAliveEdge(pAlt0, pAlt1)) return false;
    if (pAlt0 == pAlt1 || pRE->has(pAlt0) || pRE->has(pAlt1)) return false;
    if (p0 >= p1) {
        warning(KEL_PLACE, "ccd0>=ccd1");
        return false;
    }
    return isGentleFlip(*p0, *p1, *pAlt0, *pAlt1, maxAngle);
}

int RTop::flipExtremeCaps() {
    double maxOldAngle, maxNewAngle, curDihedral, altDihedral;
    const auto judge = [&](REdge* pRE) -> std::optional<double> {
        const double penalty = getFlipPenalty(pRE, maxOldAngle, maxNewAngle, curDihedral, altDihedral);
        if (penalty < DBL_MAX) return penalty;
        return std::nullopt;
    };
    std::multimap<double, REdge*> mmCap;
    for (REdge* pRE : pRMesh->getREdgesRef())
        if (const auto penalty = judge(pRE)) mmCap.emplace(*penalty, pRE);
    int numFlips = 0;
    runLazily(mmCap, judge, [&](const REdge* pRE, double) {
        RTriangle *pRT0, *pRT1;
        if (!pRE->getTwoTriangles(pRT0, pRT1, true)) return;
        const FlipQuad quad(*pRE, pRT0, pRT1);
        if (!canFlip(pRE->pVtx0, pRE->pVtx1, quad.pOppCorner0, quad.pOppCorner1, MAX_FOLD_OF_FLIP)) return;
        replaceTriangles(pRE, quad, pRMesh);
        ++numFlips;
    });
    return numFlips;
}

void RTop::getEdgesForOptimization(double angle, std::vector<REdge*>& vOut) {
    std::vector<REdge*> vRE;
    pRMesh->getDegN(2, vRE);
    appendFolds(vRE, angle, getAgreeingNormals, vOut);
}

// ---- Collapses ----------------------------------------------------------------------------------------------------------

bool RTop::tryCollapseEnd(REdge* pRE, int iDir, double maxSqLen, double maxDevDeg, std::multimap<double, REdge*>& mmEdges) {
    if (iDir != 0 && iDir != 1) ASSEX(false);
    Point3 *pSrc = pRE->getVertex(iDir), *pTrg = pRE->getVertex(1 - iDir);
    std::vector<RTriangle*> vSrcT, vTrgT;
    pRMesh->getIncidentT(pSrc, vSrcT);
    pRMesh->getIncidentT(pTrg, vTrgT);
    ASSEX(!vSrcT.empty());
    ASSEX(!vTrgT.empty());
    for (const RTriangle* pRT : vSrcT)
        if (!pRT->has(pTrg) && !keepsNormal(*pRT, pSrc, *pTrg, maxDevDeg)) return false;
    if (!pRMesh->canCollapseWithoutDups(pSrc, pTrg)) return false;
    pRMesh->exchangeCorner(pSrc, pTrg);
    enterShortEdges(*pRMesh, pTrg, maxSqLen, mmEdges);
    return true;
}

bool RTop::tryCollapseMid(REdge* pRE, const Point3& midPoint, double maxSqLen, double maxDevDeg,
                          std::multimap<double, REdge*>& mmEdges) {
    Point3 *pVtx0 = pRE->pVtx0, *pVtx1 = pRE->pVtx1;  // the first collapse changes the edge
    std::set<const REdge*> sRing;
    for (Point3* p : {pVtx0, pVtx1})
        for (const RTriangle* pRT : trianglesBeside(*pRMesh, p, pRE->getOtherPoint(p))) {
            if (!sRing.insert(pRT->getRE(pRT->getICI(p))).second) return false;
            if (!keepsNormal(*pRT, p, midPoint, maxDevDeg)) return false;
        }
    Point3* pNew = pRMesh->createVertex(midPoint, true);
    if (pNew == nullptr) return false;
    pRMesh->exchangeCorner(pVtx0, pNew);
    pRMesh->exchangeCorner(pVtx1, pNew);
    enterShortEdges(*pRMesh, pNew, maxSqLen, mmEdges);
    return true;
}

}  // namespace TARN_KEL
