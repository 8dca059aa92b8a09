// The operations of a coarse triangle that need its edges or its mesh.
#include <cstring>

#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "geometryFunctions.h"
#include "meshCore.h"

namespace TARN_KEL {

namespace {

/// NaN is equal to itself, and 0 isn't to -0.
bool isBitwiseEqual(const Point3& p, const Point3& q) {
    return std::memcmp(&p, &q, sizeof(Point3)) == 0;  // NOLINT(bugprone-suspicious-memory-comparison)
}

}  // namespace

bool CTriangle::hasOnlyHalfEdges() const {
    return countEdges(2, 2) == 3;
}

bool CTriangle::hasBorder() const {
    return countEdges(1, 1) > 0;
}

int CTriangle::countEdges(int minDegree, int maxDegree) const {
    int count = 0;
    for (const CEdge* pCE : {pCE01, pCE12, pCE02})
        count += pCE->getDegree() >= minDegree && pCE->getDegree() <= maxDegree ? 1 : 0;
    return count;
}

void CTriangle::getNeigs(int i, std::vector<CTriangle*>& vNeigs) const {
    for (CTriangle* pCT : getCEdge(i)->vCT)
        if (pCT != this) vNeigs.push_back(pCT);
}

void CTriangle::kill(CMesh* pCMesh) {
    killTriangle(this, pCMesh);
}

CTriangle::CornerPoints CTriangle::pointsOf(const CMesh* pCMesh) const {
    if (aVertex[0] == NO_VERTEX) return {*pCMesh->getVtx(c0), *pCMesh->getVtx(c1), *pCMesh->getVtx(c2)};
    return {*pCMesh->getVtxAt(aVertex[0]), *pCMesh->getVtxAt(aVertex[1]), *pCMesh->getVtxAt(aVertex[2])};
}

Vector3 CTriangle::getRealNNV(const CMesh* pCMesh, bool& ok) const {
    const auto [p0, p1, p2] = pointsOf(pCMesh);
    return getNormalVector(p0, p1, p2, ok);
}

Plane CTriangle::getRealPlane(const CMesh* pCMesh, bool& ok) const {
    const Vector3 nnv = getRealNNV(pCMesh, ok);
    return {*pCMesh->getVtx(c0), nnv};
}

Point3 CTriangle::getRealBaryc(const CMesh* pCMesh) const {
    const auto [p0, p1, p2] = pointsOf(pCMesh);
    return barycenter(p0, p1, p2);
}

Point3 CTriangle::getCentroid(const CMesh* pCMesh, VisType visType) const {
    if (visType == VT_REAL) return getRealBaryc(pCMesh);
    return barycenter(pCMesh->getMidPoint(c0), pCMesh->getMidPoint(c1), pCMesh->getMidPoint(c2));
}

double CTriangle::getArea(const CMesh* pCMesh) const {
    const auto [p0, p1, p2] = pointsOf(pCMesh);
    return TARN_KEL::getArea(&p0, &p1, &p2);
}

bool CTriangle::isDegenerate(const CMesh* pCMesh) const {
    const auto [p0, p1, p2] = pointsOf(pCMesh);
    if (isBitwiseEqual(p0, p1) || isBitwiseEqual(p1, p2) || isBitwiseEqual(p0, p2)) return true;
    return isFlatTriangle(p0, p1, p2);
}

int CTriangle::getLargestEdgeICI(const CMesh* pCMesh) const {
    const auto [p0, p1, p2] = pointsOf(pCMesh);
    return largestEdgeICI(p0, p1, p2);
}

double CTriangle::getDevIfRepl(const CMesh* pCMesh, int i, const Point3& p) const {
    VCD next, previous;
    getEdgeCCDs(i, next, previous);
    return normalTurn(*pCMesh->getVtx(getCorner(i)), *pCMesh->getVtx(next), *pCMesh->getVtx(previous), p);
}

}  // namespace TARN_KEL
