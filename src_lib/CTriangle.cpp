#include "CTriangle.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "CEdge.h"
#include "CMesh.h"
#include "freeFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

bool isBitwiseEqual(const Point3& p, const Point3& q) {
    return std::memcmp(&p, &q, sizeof(Point3)) == 0;
}

double sign(VCD from, VCD to, VCD axisBits) {
    const VCD a = from & axisBits;
    const VCD b = to & axisBits;
    if (a == b) return 0.0;
    return a < b ? 1.0 : -1.0;
}

Vector3 signVector(VCD from, VCD to) {
    return {sign(from, to, CCD_X_BITS), sign(from, to, CCD_Y_BITS), sign(from, to, CCD_Z_BITS)};
}

}  // namespace

VCD CTriangle::getCorner(int i) const {
    if (i == 0) return c0;
    if (i == 1) return c1;
    ASSEX(i==2);
    return c2;
}

int CTriangle::getICI(VCD v) const {
    if (v == c0) return 0;
    if (v == c1) return 1;
    ASSEX(v==c2);
    return 2;
}

int CTriangle::getICI(VCD a, VCD b) const {
    const int sum = getICI(a) + getICI(b);
    ASSEX(a!=b);
    return 3 - sum;
}

void CTriangle::getOtherCCDs(VCD v, VCD& a, VCD& b) const {
    getEdgeCCDs(getICI(v), a, b);
}

void CTriangle::getSortedCorners(VCD& c0_, VCD& c1_, VCD& c2_) const {
    c0_ = c0;
    c1_ = c1;
    c2_ = c2;
    if (c0_ > c1_) std::swap(c0_, c1_);
    if (c1_ > c2_) std::swap(c1_, c2_);
    if (c0_ > c1_) std::swap(c0_, c1_);
    ASSEX(c0_<c1_ && c1_<c2_);
}

CEdge* CTriangle::getCEdge(int i) const {
    if (i == 0) return pCE12;
    if (i == 1) return pCE02;
    ASSEX(i==2);
    return pCE01;
}

void CTriangle::getEdgeCCDs(int i, VCD& a, VCD& b) const {
    ASSEX(i>=0 && i<3);
    a = getCorner((i + 1) % 3);
    b = getCorner((i + 2) % 3);
}

int CTriangle::getHEDirection2(VCD a, VCD b) const {
    const auto isHalfEdge = [this](VCD from, VCD to) {
        return (from == c0 && to == c1) || (from == c1 && to == c2) || (from == c2 && to == c0);
    };
    if (isHalfEdge(a, b)) return HE_SAME;
    return isHalfEdge(b, a) ? HE_OPPOSITE : HE_NONE;
}

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

bool CTriangle::needFlip(const CTriangle* pOther) const {
    for (const auto& [from, to] : {std::pair{c0, c1}, std::pair{c1, c2}, std::pair{c2, c0}}) {
        const int direction = pOther->getHEDirection2(from, to);
        if (direction != HE_NONE) return direction == HE_SAME;
    }
    ASSEX(false);  // no common edge
    return false;
}

void CTriangle::kill(CMesh* pCMesh) {
    ASSEX(bAlive);
    for (int i = 0; i < 3; ++i)
        getCE(i)->checkOut(this);
    pCMesh->unregisterTriangle(this);
    bAlive = false;
}

void CTriangle::flipNNV() {
    std::swap(c0, c1);
    std::swap(pCE12, pCE02);
    std::swap(aVertex[0], aVertex[1]);
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

Vector3 CTriangle::computeNNVcoarse() const {
    return normalize(crossProduct(signVector(c0, c1), signVector(c0, c2)));
}

}  // namespace TARN_KEL
