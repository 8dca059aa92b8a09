// Queries on the whole fine mesh.
//
// Edges are put in key order by each query: bucketed by the lower vertex, each bucket sorted by the higher one. On a surface
// the buckets are small, so this costs no more than looking at all edges; a hub's bucket of k edges costs k log k. Collapses
// change the ends of edges, so it would be of little use to keep the order from call to call.
#include <algorithm>

#include "RMesh.h"
#include "listsByNumber.h"
#include "meshCore.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

/// True when the edge is found by its end points, as every edge is except those that a collapse left over.
bool RMesh::isKeyed(const REdge* pRE) const {
    return getEdge(pRE->pVtx0, pRE->pVtx1) == pRE;
}

void RMesh::getDegN(int deg, std::vector<REdge*>& vDegN) const {
    if (deg < 0 && deg != DEG_MANY && deg != DEG_ANY) {
        out() << "deg=" << deg << std::endl;
        ASSEX(false);
    }
    const auto isWanted = [this, deg](const REdge* pRE) {
        const int degree = pRE->getDegree();
        return isWantedDegree(deg, degree) && (degree > 0 || isKeyed(pRE));
    };
    appendInKeyOrder(filter_MT(vRE, isWanted), vDegN);
}

/// Appends the edges ordered by lower, then by higher vertex.
void RMesh::appendInKeyOrder(const std::vector<REdge*>& vSelected, std::vector<REdge*>& vOut) const {
    auto edges = listsByNumber<REdge*>(poolVtx.size(), [&](const auto& add) {
        for (REdge* pRE : vSelected)
            add(poolVtx.indexOf(pRE->pVtx0), pRE);
    });
    for (std::size_t i = 0; i < edges.size(); ++i)
        std::sort(edges.begin(i), edges.end(i),
                  [](const REdge* pRE0, const REdge* pRE1) { return pRE0->pVtx1 < pRE1->pVtx1; });
    if (vOut.empty())
        vOut = std::move(edges.vEntry);
    else
        vOut.insert(vOut.end(), edges.vEntry.begin(), edges.vEntry.end());
}

std::size_t RMesh::getNumT() const {
    return countAlive(vRT);
}

double RMesh::getAvgLen() const {
    double sumLen = 0.0;
    std::size_t numAlive = 0;
    for (const REdge* pRE : vRE) {
        if (!pRE->isAlive()) continue;
        sumLen += pRE->getLength();
        ++numAlive;
    }
    return numAlive == 0 ? -1.0 : sumLen / static_cast<double>(numAlive);
}

double RMesh::getArea() const {
    return sumOfAreas(vRT, [](const RTriangle& rt) { return rt.getArea(); });
}

void RMesh::getREdges(std::vector<REdge*>& vOut) const {
    vOut.insert(vOut.end(), vRE.begin(), vRE.end());
}

void RMesh::getAllTriangles(std::vector<RTriangle*>& vOut) const {
    vOut.insert(vOut.end(), vRT.begin(), vRT.end());
}

void RMesh::getAliveTriangles(std::vector<RTriangle*>& vOut) const {
    appendAlive(vRT, vOut);
}

void RMesh::getPoints(std::vector<Point3*>& vPoints) const {
    ASSEX(vPoints.empty());
    std::vector<char> vUsed(poolVtx.size(), 0);
    for (const RTriangle* pRT : vRT)
        if (pRT->bAlive)
            for (const Point3* pVtx : pRT->aCorners)
                vUsed[poolVtx.indexOf(pVtx)] = 1;
    for (std::size_t i = 0; i < vUsed.size(); ++i)
        if (vUsed[i] != 0) vPoints.push_back(poolVtx.at(i));
}

void RMesh::getTriangleCorners(std::vector<Point3*>& vCorners) const {
    for (const RTriangle* pRT : vRT)
        if (pRT->bAlive) vCorners.insert(vCorners.end(), pRT->aCorners, pRT->aCorners + 3);
}

void RMesh::getTriangleCorners(std::vector<Point3>& vCorners) const {
    for (const RTriangle* pRT : vRT)
        if (pRT->bAlive)
            for (const Point3* pVtx : pRT->aCorners)
                vCorners.push_back(*pVtx);
}

void RMesh::getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices) const {
    getPoints(vVertices);
    std::vector<int> vPosition(poolVtx.size(), -1);
    for (std::size_t i = 0; i < vVertices.size(); ++i)
        vPosition[poolVtx.indexOf(vVertices[i])] = static_cast<int>(i);
    for (const RTriangle* pRT : vRT)
        if (pRT->bAlive)
            for (const Point3* pVtx : pRT->aCorners)
                vIndices.push_back(vPosition[poolVtx.indexOf(pVtx)]);
}

void RMesh::resetVisited() {
    clearVisited_MT(vRT);
}

}  // namespace TARN_KEL
