// Judges flips on the coarse mesh. flipEnergy.h tells how, with a drawing. Special here: the mesh has no stored normals, its
// triangles need not agree, and its vertices may coincide; then they are moved apart at once.
#include "EdgeEnergy.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double EXPONENT = 0.3;
constexpr double STEP_APART = 0.1;  // side lengths

/// Of a flip that leaves a flat triangle: the new pair lies in one plane (2 degrees) or folded back (20 degrees).
bool isExtremeFold(double dot) {
    return fold(dot) < 0.000609173 || fold(dot) > 1.939692621;
}

/// The normal of the triangle behind a side of ct, as if it agreed with ct. bOK false when there isn't just one or it has
/// none.
Vector3 normalBehind(const CMesh* pCMesh, const CTriangle& ct, const CEdge& sideCE, bool& bOK) {
    bOK = false;
    const CTriangle* pNeigT = sideCE.getUniqueOtherTriangle(&ct);
    if (pNeigT == nullptr) return {};
    const Vector3 normal = pNeigT->getRealNNV(pCMesh, bOK);
    return ct.needFlip(pNeigT) ? -normal : normal;
}

std::ostream& operator<<(std::ostream& out, const CTriangle& ct) {
    return out << "(" << ct.c0 << " " << ct.c1 << " " << ct.c2 << ")";
}

}  // namespace

/// The two triangles on the edge AB and their corners opposite it. T0 is (opp0, A, B).
struct EdgeEnergy::Quad {
    Quad(const CEdge& edge, const CTriangle& t0, const CTriangle& t1) : ct0(t0), ct1(t1) {
        const int i = ct0.getICI(edge.v0, edge.v1);
        opp0 = ct0.getCorner(i);
        ct0.getEdgeCCDs(i, a, b);
        opp1 = ct1.getThirdCCD(a, b);
    }
    FlipCorners cornersIn(const CMesh& mesh) const {
        return {*mesh.getVtx(opp0), *mesh.getVtx(opp1), *mesh.getVtx(a), *mesh.getVtx(b)};
    }
    /// The triangle of the pair that has the side, and the side.
    std::pair<const CTriangle&, const CEdge&> at(FlipSide side) const {
        const bool bFirst = side == FlipSide::N01 || side == FlipSide::N02;
        const bool bAtB = side == FlipSide::N01 || side == FlipSide::N12;
        const CTriangle& ct = bFirst ? ct0 : ct1;
        return {ct, *ct.getCEdge(ct.getICI(bAtB ? a : b))};
    }

    const CTriangle &ct0, &ct1;
    VCD opp0, opp1, a, b;
};

void EdgeEnergy::compute() {
    improvement = IMPOSSIBLE;
    if (pCE->getDegree() != 2) return;
    CTriangle *pT0, *pT1;
    const bool bTwoTriangles = pCE->getTwoTriangles(pT0, pT1, true);
    ASSEX(bTwoTriangles);
    if (pT0->needFlip(pT1)) pT1->flipNNV();
    const Quad quad(*pCE, *pT0, *pT1);
    if (pCMesh->hasEdge(quad.opp0, quad.opp1)) return;
    if (samePoint(*pCMesh->getVtx(quad.opp0), *pCMesh->getVtx(quad.opp1))) moveApart(quad);
    improvement = gain(quad);
}

void EdgeEnergy::moveApart(const Quad& quad) {
    Point3 &p0 = *pCMesh->getVtx(quad.opp0), &px = *pCMesh->getVtx(quad.opp1);
    out() << "EDGE ENERGY, p0==px\npT0=" << quad.ct0 << "\npT1=" << quad.ct1 << "\np0=" << p0 << " = px=" << px
          << "\noppCorner0=" << quad.opp0 << "\noppCorner1=" << quad.opp1 << std::endl;
    pCMesh->laplacianForOne(quad.opp0);
    pCMesh->laplacianForOne(quad.opp1);
    if (p0 == px) {
        bool bOK = false;
        const Vector3 normal = quad.ct0.getRealNNV(pCMesh, bOK);
        p0 = p0 + (bOK ? normal : Vector3(1, 0, 0)) * (STEP_APART * pCMesh->getSideLen());
    }
    ASSEX(p0!=px);
    out() << "corrected" << std::endl;
}

double EdgeEnergy::getMinCosPhi(const Point3* p0, const Point3* p1, const Point3* p2) const {
    const SideDirections sides(*p0, *p1, *p2);
    const auto& [vec01, vec02, vec12] = sides;
    if (!vec01.isNV() || !vec02.isNV() || !vec12.isNV()) {
        pCMesh->checkNoDegenerate("EdgeEnergy");
        pCMesh->checkNoDups("EdgeEnergy");
        pCMesh->checkNoAdjCoordDups("EdgeEnergy");
    }
    ASSEX(vec01.isNV() && vec02.isNV() && vec12.isNV());
    return sides.minCosPhi();
}

double EdgeEnergy::gain(const Quad& quad) const {
    const FlipCorners c = quad.cornersIn(*pCMesh);
    const Point3 *p0 = &c.opp0, *px = &c.opp1, *p1 = &c.a, *p2 = &c.b;
    const FlipCap cap = capOfFlip(std::min(getMinCosPhi(p0, px, p2), getMinCosPhi(p0, p1, px)),
                                  [&] { return std::min(getMinCosPhi(p2, p1, px), getMinCosPhi(p0, p1, p2)); });
    if (cap == FlipCap::VERY_FLAT) return IMPOSSIBLE;

    FlipNormals n;
    if (!n.setAlt(c)) return IMPOSSIBLE;
    const double altDot = n.altVec0 * n.altVec1;
    if (cap == FlipCap::FLAT && isExtremeFold(altDot)) return IMPOSSIBLE;

    bool bOKvec0 = false, bOKvec1 = false;
    n.vec0 = quad.ct0.getRealNNV(pCMesh, bOKvec0);
    n.vec1 = quad.ct1.getRealNNV(pCMesh, bOKvec1);
    const Vector3 &vec0 = n.vec0, &vec1 = n.vec1;
    ASSEX(bOKvec0 && bOKvec1);
    ASSEX(vec0.isNV() && vec1.isNV());
    if (isFoldedBack(fold(altDot)) && fold(altDot) > fold(vec0 * vec1)) return IMPOSSIBLE;

    const double drop = flipEnergyDrop(c, n, EXPONENT, [&](FlipSide side, bool& bOK) {
        const auto& [ct, sideCE] = quad.at(side);
        return normalBehind(pCMesh, ct, sideCE, bOK);
    });
    return std::isfinite(drop) ? drop : IMPOSSIBLE;  // lengths near the largest double
}

}  // namespace TARN_KEL
