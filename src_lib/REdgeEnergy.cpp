// How a flip is judged is told in flipEnergy.h. What the fine mesh adds: normals come from the cache of the triangles, and
// where there is none it isn't filled, because workers look at the same triangles. For the same reason T1 is taken as if it
// agreed with T0, instead of turning it over.
#include "REdgeEnergy.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "REdge.h"
#include "RMesh.h"
#include "RTriangle.h"
#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double EXPONENT = 0.335;
constexpr double CLEAR_GAIN = 0.1;
constexpr double WEAK_CHARGE = 10.0;  // how many times a charge counts in addition without a clear gain
constexpr double STEP_APART = 0.1;    // side lengths

/// The cached normal, or the one that would be cached.
Vector3 unitNormalOf(const RTriangle& rt, bool& bOK) {
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
    const Vector3 normal = unitNormalOf(*pNeigT, bOK);
    return rt.needFlip(pNeigT) != bTurned ? -normal : normal;
}

}  // namespace

bool getAgreeingNormals(const REdge& edge, Vector3& normal0, Vector3& normal1) {
    return agreeingNormals<RTriangle>(edge, unitNormalOf, normal0, normal1);
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

REdgeEnergy::REdgeEnergy(RMesh* pRMesh_, REdge* pRE_) : pRMesh(pRMesh_), pRE(pRE_) {
    ASSEX(pRMesh!=NULL);
    if (pRE != nullptr) compute();
}

void REdgeEnergy::compute() {
    RTriangle *pT0, *pT1;
    if (pRE->getTwoTriangles(pT0, pT1, true) && pT0->needFlip(pT1)) pT1->flipNNV();
    if (computeReadOnly()) return;
    if (pRMesh->pWatch != nullptr) return;  // where a fold is closed, each move may go through what is beside it
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
    const SideDirections sides(*p0, *p1, *p2);
    return sides.vec01.isNV() && sides.vec02.isNV() && sides.vec12.isNV() ? sides.minCosPhi() : IMPOSSIBLE;
}

/// The charge of the flip for a cap, before it is weighted. altCos: cosine of the largest angle of the new pair.
double REdgeEnergy::capCharge(const FlipQuad& quad, double altCos) const {
    const FlipCap cap = capOfFlip(altCos, [&] {
        const double curInteriorCosPhi =
            std::min(getMinCosPhi(quad.pB, quad.pA, quad.pOppCorner1), getMinCosPhi(quad.pOppCorner0, quad.pA, quad.pB));
        ASSEX_AS("curInteriorCosPhi>-double(1.79769313486231570814527423731704357e+308L)", curInteriorCosPhi > -DBL_MAX);
        return curInteriorCosPhi;
    });
    if (cap == FlipCap::NONE) return 0.0;
    return cap == FlipCap::VERY_FLAT ? 1.0 : 0.1;
}

double REdgeEnergy::gain(const FlipQuad& quad) const {
    // First of all: where an edge has no length neither triangle has a normal, so no angle of theirs is asked for.
    FlipNormals n;
    if (!getAgreeingNormals(*pRE, n.vec0, n.vec1)) return IMPOSSIBLE;
    const Vector3 &vec0 = n.vec0, &vec1 = n.vec1;
    ASSEX(vec0.isNV() && vec1.isNV());

    const double altCos = std::min(getMinCosPhi(quad.pOppCorner0, quad.pOppCorner1, quad.pB),
                                   getMinCosPhi(quad.pOppCorner0, quad.pA, quad.pOppCorner1));
    if (altCos == IMPOSSIBLE) return IMPOSSIBLE;
    const double charge = capCharge(quad, altCos);

    if (!n.setAlt(quad.corners())) return IMPOSSIBLE;
    const double altFold = fold(n.altVec0 * n.altVec1);
    if (isFoldedBack(altFold) && altFold > fold(vec0 * vec1)) return IMPOSSIBLE;

    const double drop = energyDrop(quad, n) - charge;
    if (!std::isfinite(drop)) return IMPOSSIBLE;  // lengths near the largest double
    return CLEAR_GAIN > drop ? drop - WEAK_CHARGE * charge : drop;
}

double REdgeEnergy::energyDrop(const FlipQuad& quad, const FlipNormals& n) const {
    const bool bTurned = quad.pT0->needFlip(quad.pT1);
    return flipEnergyDrop(quad.corners(), n, EXPONENT, [&](FlipSide side, bool& bOK) {
        switch (side) {
        case FlipSide::N01:
            return normalBehind(*quad.pT0, false, quad.side01(), bOK);
        case FlipSide::N02:
            return normalBehind(*quad.pT0, false, quad.side02(), bOK);
        case FlipSide::N11:
            return normalBehind(*quad.pT1, bTurned, quad.side11(), bOK);
        default:
            return normalBehind(*quad.pT1, bTurned, quad.side12(), bOK);
        }
    });
}

}  // namespace TARN_KEL
