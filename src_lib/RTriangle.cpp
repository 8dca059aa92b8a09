// A triangle of the fine mesh by itself: corners, orientation, normal, geometry.
#include "RTriangle.h"

#include <utility>

#include "geometryFunctions.h"
#include "meshCore.h"
#include "tools.h"

namespace TARN_KEL {

RTriangle::RTriangle(Point3* p0, Point3* p1, Point3* p2) : aCorners{p0, p1, p2} {}

int RTriangle::getICI(const Point3* p, const Point3* q) const {
    if (p != q && has(p, q))
        for (int i = 0; i < 3; ++i)
            if (aCorners[i] != p && aCorners[i] != q) return i;
    ASSEX(false);
    return -1;
}

Point3* RTriangle::getThirdPoint(const Point3* p, const Point3* q) const {
    return aCorners[getICI(p, q)];
}

void RTriangle::get3RE(std::vector<REdge*>& vRE) const {
    vRE.insert(vRE.end(), {pRE01, pRE12, pRE02});
}

int RTriangle::getLargestEdgeICI() const {
    return largestEdgeICI(*aCorners[0], *aCorners[1], *aCorners[2]);
}

int RTriangle::getRTriOri(const Point3* a, const Point3* b) const {
    return halfEdgeDirection(*this, a, b);
}

bool RTriangle::needFlip(const RTriangle* pOther) const {
    return disagreesWith(*this, *pOther);
}

void RTriangle::flipNNV() {
    std::swap(aCorners[0], aCorners[1]);
    std::swap(pRE12, pRE02);
    nnv = -nnv;
}

const Vector3& RTriangle::getNNV(bool& bOK) {
    if (nnv.isDegenerate())
        nnv = getNormalVector(*aCorners[0], *aCorners[1], *aCorners[2], bOK);
    else
        bOK = true;
    return nnv;
}

double RTriangle::getDevIfRepl(int i, const Point3& newPos, bool bCheckCoincide) const {
    ASSEX(i>=0 && i<=2);
    if (bCheckCoincide && (newPos == *aCorners[0] || newPos == *aCorners[1] || newPos == *aCorners[2])) return 0.0;
    return normalTurn(*aCorners[i], *aCorners[(i + 1) % 3], *aCorners[(i + 2) % 3], newPos);
}

bool RTriangle::isCombinatoriallyDegenerate() const {
    return aCorners[0] == aCorners[1] || aCorners[1] == aCorners[2] || aCorners[0] == aCorners[2];
}

bool RTriangle::isDegenerate() const {
    return isFlatTriangle(*aCorners[0], *aCorners[1], *aCorners[2]);
}

Plane RTriangle::getPlane(bool& bOK) const {
    const Vector3 normal = getNormalVector(*aCorners[0], *aCorners[1], *aCorners[2], bOK);
    return {*aCorners[0], normal};
}

Point3 RTriangle::getCentroid() const {
    return barycenter(*aCorners[0], *aCorners[1], *aCorners[2]);
}

double RTriangle::getArea() const {
    return TARN_KEL::getArea(aCorners[0], aCorners[1], aCorners[2]);
}

}  // namespace TARN_KEL
