// The queries of an edge of the fine mesh. Operations that change the mesh are in fine/REdge_operators.cpp.
#include "REdge.h"

#include <algorithm>
#include <iterator>

#include "RTriangle.h"
#include "edgeTriangles.h"
#include "geometryFunctions.h"
#include "meshCore.h"
#include "tools.h"

namespace TARN_KEL {

REdge::REdge(Point3* p0, Point3* p1) : pVtx0(p0), pVtx1(p1) {
    ASSEX(pVtx0<pVtx1);
}

Point3* REdge::getVertex(int i) const {
    if (i == 0) return pVtx0;
    if (i == 1) return pVtx1;
    ASSEX(false);
    return nullptr;
}

Point3 REdge::getCenter() const {
    return midpoint(*pVtx0, *pVtx1);
}

void REdge::getAliveTriangles(std::vector<RTriangle*>& vAlive) const {
    for (RTriangle* pRT : vRT)
        if (pRT->bAlive) vAlive.push_back(pRT);
}

bool REdge::getTwoTriangles(RTriangle*& pRT0, RTriangle*& pRT1, bool bExactlyTwo) const {
    return firstTwoTriangles(vRT, pRT0, pRT1, bExactlyTwo);
}

RTriangle* REdge::getUniqueOtherTriangle(const RTriangle* pRT) const {
    return uniqueOtherTriangle(vRT, pRT);
}

RTriangle* REdge::getTriangle(bool bRequire, bool bUnique) const {
    return firstTriangle(vRT, bRequire, bUnique);
}

bool REdge::hasDups() const {
    if (vRT.size() < 2) return false;
    const auto third = [this](const RTriangle* pRT) { return pRT->getThirdPoint(pVtx0, pVtx1); };
    if (vRT.size() == 2) return third(vRT[0]) == third(vRT[1]);
    std::vector<Point3*> vThird;
    std::transform(vRT.begin(), vRT.end(), std::back_inserter(vThird), third);
    std::sort(vThird.begin(), vThird.end());
    return std::adjacent_find(vThird.begin(), vThird.end()) != vThird.end();
}

void REdge::checkOut(const RTriangle* pRT) {
    takeOffEdge(vRT, pRT, "REdge::checkOut, triangle live state: ");
}

}  // namespace TARN_KEL
