// The queries of an edge: ends, triangles, dihedral angle, patches. What changes the mesh is in coarse/CEdge_operators.cpp.
#include "CEdge.h"

#include <set>

#include "CTriangle.h"
#include "edgeTriangles.h"
#include "geometryFunctions.h"
#include "meshCore.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

// What getDihedralAngle returns where there is no angle.
constexpr double MANY_TRIANGLES = 362.0;
constexpr double FEW_TRIANGLES = 363.0;
constexpr double NO_NORMAL = 364.0;

/// pointOf(vcd): where a corner lies.
template <typename PointOf>
double dihedralAngle(const CEdge& edge, PointOf&& pointOf) {
    if (edge.getDegree() > 2) return MANY_TRIANGLES;
    if (edge.getDegree() < 2) return FEW_TRIANGLES;
    Vector3 aNormal[2];
    for (std::size_t i = 0; i < 2; ++i) {
        const CTriangle& ct = *edge.vCT[i];
        bool ok = false;
        aNormal[i] = getNormalVector(pointOf(ct.c0), pointOf(ct.c1), pointOf(ct.c2), ok);
        if (!ok) return NO_NORMAL;
    }
    return 180.0 - getAngleDegree(aNormal[0], aNormal[1]);
}

}  // namespace

CEdge::CEdge(VCD end0, VCD end1) : v0(end0), v1(end1) {
    ASSEX(v0<v1);
}

VCD CEdge::getOtherVCD(VCD vcd) const {
    if (vcd == v0) return v1;
    ASSEX(vcd==v1);
    return v0;
}

VCD CEdge::getSource() const {
    ASSEX(edgeDir!=ED_NONE);
    return edgeDir == ED_V0_V1 ? v0 : v1;
}

VCD CEdge::getTarget() const {
    ASSEX(edgeDir!=ED_NONE);
    return edgeDir == ED_V0_V1 ? v1 : v0;
}

void CEdge::getAliveTriangles(std::vector<CTriangle*>& vAlive) const {
    vAlive.insert(vAlive.end(), vCT.begin(), vCT.end());
}

bool CEdge::getTwoTriangles(CTriangle*& t0, CTriangle*& t1, bool bExactlyTwo) const {
    return firstTwoTriangles(vCT, t0, t1, bExactlyTwo);
}

CTriangle* CEdge::getUniqueOtherTriangle(const CTriangle* pCT) const {
    return uniqueOtherTriangle(vCT, pCT);
}

CTriangle* CEdge::getTriangle(bool bRequire, bool bUnique) const {
    return firstTriangle(vCT, bRequire, bUnique);
}

bool CEdge::hasAdjT(VCD a, VCD b, VCD c) const {
    if (a == b || b == c || a == c) return false;
    for (const CTriangle* pCT : vCT)
        if (pCT->has(a, b) && pCT->has(c)) return true;
    return false;
}

void CEdge::checkOut(const CTriangle* pCT) {
    takeOffEdge(vCT, pCT, "CEdge::checkOut, triangle live state: ");
}

double CEdge::getDihedralAngle(const Calc* pCalc) const {
    return dihedralAngle(*this, [pCalc](VCD vcd) { return pCalc->getRefPoint(vcd); });
}

double CEdge::getDihedralAngle(const std::map<VCD, Point3>& mPoints) const {
    return dihedralAngle(*this, [&mPoints](VCD vcd) {
        const auto q_it = mPoints.find(vcd);
        ASSEX(q_it!=mPoints.end());
        return q_it->second;
    });
}

void CEdge::getAdjInPatch(const CPatch* pPatch, std::vector<CTriangle*>& vAdjT) const {
    for (CTriangle* pCT : vCT)
        if (pCT->getPatch() == pPatch) vAdjT.push_back(pCT);
}

int CEdge::getNumPatchTriangles(const CPatch* pPatch) const {
    int num = 0;
    for (const CTriangle* pCT : vCT)
        num += pCT->getPatch() == pPatch ? 1 : 0;
    return num;
}

CTriangle* CEdge::getUniquePatchTriangle(const CPatch* pPatch) const {
    CTriangle* pUnique = nullptr;
    for (CTriangle* pCT : vCT) {
        if (pCT->getPatch() != pPatch) continue;
        if (pUnique != nullptr) return nullptr;
        pUnique = pCT;
    }
    return pUnique;
}

CTriangle* CEdge::getAdjInPatch(const CTriangle* pCT) const {
    for (CTriangle* pOther : vCT)
        if (pOther != pCT && pOther->getPatch() == pCT->getPatch()) return pOther;
    warning(KEL_PLACE, "no adjacent triangle");
    return nullptr;
}

void CEdge::getAdjPatches(std::vector<CPatch*>& vAdjPatches) const {
    std::set<CPatch*> sSeen;
    for (const CTriangle* pCT : vCT) {
        CPatch* pPatch = pCT->getPatch();
        if (pPatch != nullptr && sSeen.insert(pPatch).second) vAdjPatches.push_back(pPatch);
    }
}

}  // namespace TARN_KEL
