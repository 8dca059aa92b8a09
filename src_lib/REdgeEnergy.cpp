// What a flip changes, with the names that are used below:
//
//            B                        B
//          / | \                    /   \         T0 = (opp0, A, B), T1 = (opp1, B, A)
//    N01 /   |   \ N12            / alt1  \       alt0 = (opp0, A, opp1), alt1 = (opp0, opp1, B)
//      /     |     \            /           \     .
//   opp0  T0 | T1  opp1  ->  opp0 --------- opp1
//      \     |     /            \           /
//    N02 \   |   / N11            \ alt0  /
//          \ | /                    \   /
//            A                        A
//
// The edge AB goes, the diagonal comes, and on each of the four sides the triangle behind it, if there is just one, meets
// another normal than before. Normals come from the cache of the triangles; where there is none it isn't filled, because
// workers look at the same triangles. For the same reason T1 is taken as if it agreed with T0, instead of turning it over.
//
// Most of the time goes into the ten powers. On flat ground their bases are exactly 0.
#include "REdgeEnergy.h"

#include <algorithm>
#include <cmath>

#include "REdge.h"
#include "RMesh.h"
#include "RTriangle.h"
#include "freeFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double EXPONENT = 0.335;
constexpr double COS_FLAT = -0.6427861415753421;       // 130 degrees: from here on an angle makes a cap
constexpr double COS_VERY_FLAT = -0.9396918140444841;  // 160 degrees
constexpr double MAX_FOLD = 1.984807753;               // 1 + cos 10 degrees: as good as folded back onto itself
constexpr double CLEAR_GAIN = 0.1;
constexpr double WEAK_CHARGE = 10.0;  // so often a charge counts again without a clear gain
constexpr double STEP_APART = 0.1;    // side lengths

double term(double length, double edgeFold) {
    const double base = length * edgeFold;
    return base == 0.0 ? 0.0 : std::pow(base, EXPONENT);
}

/// The cached normal, or the one that would be cached.
Vector3 normalOf(const RTriangle& rt, bool& bOK) {
    if (rt.nnv.isDegenerate()) return getNormalVector(*rt.aCorners[0], *rt.aCorners[1], *rt.aCorners[2], bOK);
    bOK = rt.nnv.isNV();
    return rt.nnv;
}

/// The normal of the triangle behind a side of rt, as if it agreed with rt or, with bTurned, with rt turned over. bOK false
/// when there isn't just one or it is degenerate.
Vector3 normalBehind(const RTriangle& rt, bool bTurned, const REdge& side, bool& bOK) {
    bOK = false;
    const RTriangle* pNeigT = side.getUniqueOtherTriangle(&rt);
    if (pNeigT == nullptr) return {};
    const Vector3 normal = normalOf(*pNeigT, bOK);
    return rt.needFlip(pNeigT) != bTurned ? -normal : normal;
}

}  // namespace

bool getAgreeingNormals(const REdge& edge, Vector3& normal0, Vector3& normal1) {
    RTriangle *pRT0, *pRT1;
    if (!edge.getTwoTriangles(pRT0, pRT1, true)) return false;
    bool bOK0 = false, bOK1 = false;
    const Vector3 n0 = normalOf(*pRT0, bOK0), n1 = normalOf(*pRT1, bOK1);
    if (!bOK0 || !bOK1) return false;
    normal0 = n0;
    normal1 = pRT0->needFlip(pRT1) ? -n1 : n1;
    return true;
}

FlipQuad::FlipQuad(const REdge& edge, RTriangle* pT0_, RTriangle* pT1_) : pT0(pT0_), pT1(pT1_) {
    const int i = pT0->getICI(edge.pVtx0, edge.pVtx1);
    pOppCorner0 = pT0->getCorner(i);
    pA = pT0->getCorner((i + 1) % 3);
    pB = pT0->getCorner((i + 2) % 3);
    pOppCorner1 = pT1->getThirdPoint(pA, pB);
}

const REdge& FlipQuad::side01() const {
    return *pT0->getRE(pT0->getICI(pA));
}

const REdge& FlipQuad::side02() const {
    return *pT0->getRE(pT0->getICI(pB));
}

const REdge& FlipQuad::side11() const {
    return *pT1->getRE(pT1->getICI(pB));
}

const REdge& FlipQuad::side12() const {
    return *pT1->getRE(pT1->getICI(pA));
}

/// The normals of the triangles before and after the flip.
struct REdgeEnergy::Normals {
    Vector3 vec0, vec1, altVec0, altVec1;
};

REdgeEnergy::REdgeEnergy(RMesh* pRMesh_, REdge* pRE_) : pRMesh(pRMesh_), pRE(pRE_) {
    ASSEX(pRMesh!=NULL);
    if (pRE != nullptr) compute();
}

void REdgeEnergy::compute() {
    RTriangle *pT0, *pT1;
    if (pRE->getTwoTriangles(pT0, pT1, true) && pT0->needFlip(pT1)) pT1->flipNNV();
    if (computeReadOnly()) return;
    moveApart(FlipQuad(*pRE, pT0, pT1));
    computeReadOnly();
}

void REdgeEnergy::tryCompute() {
    try {
        compute();
    } catch (const KelBugException&) {
        improvement = IMPOSSIBLE;
    }
}

bool REdgeEnergy::computeReadOnly() {
    improvement = IMPOSSIBLE;
    RTriangle *pT0, *pT1;
    if (!pRE->getTwoTriangles(pT0, pT1, true)) return true;
    const FlipQuad quad(*pRE, pT0, pT1);
    const Point3 *pOppCorner0 = quad.pOppCorner0, *pOppCorner1 = quad.pOppCorner1;
    if (pRMesh->hasAliveEdge(pOppCorner0, pOppCorner1)) return true;
    ASSEX(pOppCorner0!=pOppCorner1);
    if (*pOppCorner0 == *pOppCorner1) return false;
    improvement = gain(quad);
    return true;
}

void REdgeEnergy::moveApart(const FlipQuad& quad) {
    pRMesh->laplacianForOne(quad.pOppCorner0);
    pRMesh->laplacianForOne(quad.pOppCorner1);
    const Point3 &p0 = *quad.pOppCorner0, &px = *quad.pOppCorner1;
    if (p0 == px) {
        bool bOK = false;
        const Vector3 normal = quad.pT0->getNNV(bOK);
        pRMesh->updateVertex(quad.pOppCorner0, p0 + (bOK ? normal : Vector3(1, 0, 0)) * (STEP_APART * pRMesh->getSideLen()));
    }
    ASSEX(p0!=px);
}

double REdgeEnergy::getMinCosPhi(const Point3* p0, const Point3* p1, const Point3* p2) const {
    const Vector3 u = normalize(*p1 - *p0), v = normalize(*p2 - *p0), w = normalize(*p2 - *p1);
    if (!u.isNV() || !v.isNV() || !w.isNV()) return IMPOSSIBLE;
    return std::clamp(std::min({u * v, -u * w, w * v}), -1.0, 1.0);
}

/// What the flip is charged for a cap, before it is weighted. altCos: cosine of the largest angle of the new pair.
double REdgeEnergy::capCharge(const FlipQuad& quad, double altCos) const {
    if (!(COS_FLAT > altCos)) return 0.0;
    const double curInteriorCosPhi =
        std::min(getMinCosPhi(quad.pB, quad.pA, quad.pOppCorner1), getMinCosPhi(quad.pOppCorner0, quad.pA, quad.pB));
    ASSEX(curInteriorCosPhi>-double(1.79769313486231570814527423731704357e+308L));
    if (!(curInteriorCosPhi > altCos)) return 0.0;
    return COS_VERY_FLAT > altCos ? 1.0 : 0.1;
}

double REdgeEnergy::gain(const FlipQuad& quad) const {
    // First of all: where an edge has no length neither triangle has a normal, so no angle of theirs is asked for.
    Normals n;
    if (!getAgreeingNormals(*pRE, n.vec0, n.vec1)) return IMPOSSIBLE;
    const Vector3 &vec0 = n.vec0, &vec1 = n.vec1, &altVec0 = n.altVec0, &altVec1 = n.altVec1;
    ASSEX(vec0.isNV() && vec1.isNV());

    const double altCos = std::min(getMinCosPhi(quad.pOppCorner0, quad.pOppCorner1, quad.pB),
                                   getMinCosPhi(quad.pOppCorner0, quad.pA, quad.pOppCorner1));
    if (altCos == IMPOSSIBLE) return IMPOSSIBLE;
    const double charge = capCharge(quad, altCos);

    bool bOK0 = false, bOK1 = false;
    n.altVec0 = getNormalVector(*quad.pOppCorner0, *quad.pA, *quad.pOppCorner1, bOK0);
    n.altVec1 = getNormalVector(*quad.pOppCorner0, *quad.pOppCorner1, *quad.pB, bOK1);
    if (!bOK0 || !bOK1) return IMPOSSIBLE;
    ASSEX(altVec0.isNV() && altVec1.isNV());
    const double altFold = fold(altVec0 * altVec1);
    if (altFold > MAX_FOLD && altFold > fold(vec0 * vec1)) return IMPOSSIBLE;

    const double drop = energyDrop(quad, n) - charge;
    if (!std::isfinite(drop)) return IMPOSSIBLE;  // lengths near the largest double
    return CLEAR_GAIN > drop ? drop - WEAK_CHARGE * charge : drop;
}

/// The terms of the edge and the four sides now, less those after the flip.
double REdgeEnergy::energyDrop(const FlipQuad& quad, const Normals& n) const {
    const auto& [vec0, vec1, altVec0, altVec1] = n;
    double cur = term((*quad.pB - *quad.pA).length(), fold(vec0 * vec1));
    double alt = term((*quad.pOppCorner1 - *quad.pOppCorner0).length(), fold(altVec0 * altVec1));
    const auto addSide = [&cur, &alt](const REdge& side, double curDot, double altDot) {
        const double length = side.getLength();
        cur += term(length, fold(curDot));
        alt += term(length, fold(altDot));
    };
    const bool bTurned = quad.pT0->needFlip(quad.pT1);
    bool bOK = false;
    const Vector3 vecN01 = normalBehind(*quad.pT0, false, quad.side01(), bOK);
    if (bOK) {
        ASSEX(vecN01.isNV() && vec0.isNV() && altVec1.isNV());
        addSide(quad.side01(), vecN01 * vec0, vecN01 * altVec1);
    }
    const Vector3 vecN02 = normalBehind(*quad.pT0, false, quad.side02(), bOK);
    if (bOK) {
        ASSEX(vecN02.isNV() && vec0.isNV() && altVec0.isNV());
        addSide(quad.side02(), vecN02 * vec0, vecN02 * altVec0);
    }
    const Vector3 vecN11 = normalBehind(*quad.pT1, bTurned, quad.side11(), bOK);
    if (bOK) {
        ASSEX(vecN11.isNV() && vec1.isNV() && altVec0.isNV());
        addSide(quad.side11(), vecN11 * vec1, vecN11 * altVec0);
    }
    const Vector3 vecN12 = normalBehind(*quad.pT1, bTurned, quad.side12(), bOK);
    if (bOK) {
        ASSEX(vecN12.isNV() && vec1.isNV() && altVec1.isNV());
        addSide(quad.side12(), vecN12 * vec1, vecN12 * altVec1);
    }
    return cur - alt;
}

}  // namespace TARN_KEL
