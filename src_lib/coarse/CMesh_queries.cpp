// Queries on the whole coarse mesh: its edges in key order, lists of triangles and corners, reports.
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "CMesh.h"
#include "geometryFunctions.h"
#include "meshCore.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

bool isBefore(const CEdge* p, const CEdge* q) {
    return p->v0 != q->v0 ? p->v0 < q->v0 : p->v1 < q->v1;
}

// Prints the result of a check.
bool report(const std::string& check, const std::string& name, std::size_t numFaults, const std::string& fault) {
    out() << "CMesh::" << check << "(" << name << "): ";
    if (numFaults == 0)
        out() << "survived" << std::endl;
    else
        out() << "has " << numFaults << " " << fault << "!" << std::endl;
    return numFaults == 0;
}

}  // namespace

// Edges are mostly asked for many times between changes, so the list is kept, and new edges are merged into it.
const std::vector<CEdge*>& CMesh::edgesInKeyOrder() const {
    keyOrder.bringUpToDate([this] { sortNewEdges(); });
    return vSortedCE;
}

void CMesh::sortNewEdges() const {
    const std::size_t numSorted = vSortedCE.size();
    // Sorting the bare pointers would jump through memory at every comparison.
    std::vector<std::pair<VCD, CEdge*>> vNew;
    vNew.reserve(poolCE->size() - numSorted);
    for (std::size_t i = numSorted; i < poolCE->size(); ++i)
        vNew.emplace_back(poolCE->at(i)->v0, poolCE->at(i));
    sortByFirstMT(vNew);
    vSortedCE.reserve(poolCE->size());
    for (const auto& [v0, pCE] : vNew)
        vSortedCE.push_back(pCE);

    const auto itNew = vSortedCE.begin() + static_cast<std::ptrdiff_t>(numSorted);
    if (itNew == vSortedCE.end()) return;
    const auto lowerEnd = [](const CEdge* pCE) { return pCE->v0; };
    forEachRun(itNew, vSortedCE.end(), lowerEnd, [](auto first, auto end) { std::sort(first, end, isBefore); });
    std::inplace_merge(std::upper_bound(vSortedCE.begin(), itNew, *itNew, isBefore), itNew, vSortedCE.end(), isBefore);
}

void CMesh::getCEdges(std::vector<CEdge*>& vOut) const {
    const std::vector<CEdge*>& vAllCE = edgesInKeyOrder();
    vOut.insert(vOut.end(), vAllCE.begin(), vAllCE.end());
}

void CMesh::getDegN(int deg, std::vector<CEdge*>& vOut) const {
    if (deg <= 0 && deg != DEG_MANY && deg != DEG_BORDER_OR_MANY && deg != DEG_ANY) {
        warning(KEL_PLACE, "deg=" + toString(deg));
        ASSEX(false);
    }
    const auto isWanted = [deg](const CEdge* pCE) { return isWantedDegree(deg, pCE->getDegree()); };
    const std::vector<CEdge*> vWanted = filter_MT(edgesInKeyOrder(), isWanted);
    vOut.insert(vOut.end(), vWanted.begin(), vWanted.end());
}

void CMesh::getAllTriangles(std::vector<CTriangle*>& vOut) const {
    vOut.insert(vOut.end(), vAllCT.begin(), vAllCT.end());
}

void CMesh::getAliveTriangles(std::vector<CTriangle*>& vOut) const {
    vOut.reserve(vOut.size() + vAllCT.size());
    appendAlive(vAllCT, vOut);
}

void CMesh::getTriangleCorners(std::vector<VCD>& vOut) const {
    extractAliveVCD(vAllCT, vOut);
}

void CMesh::getTriangleCorners(std::vector<Point3*>& vOut) const {
    for (const CTriangle* pCT : vAllCT)
        if (pCT->isAlive()) vOut.insert(vOut.end(), {getVtx(pCT->c0), getVtx(pCT->c1), getVtx(pCT->c2)});
}

void CMesh::extractAliveVCD(const std::vector<CTriangle*>& vCT, std::vector<VCD>& vOut) const {
    for (const CTriangle* pCT : vCT)
        if (pCT->isAlive()) vOut.insert(vOut.end(), {pCT->c0, pCT->c1, pCT->c2});
}

void CMesh::getUsedCCD(std::vector<CCD>& vOut) const {
    for (std::size_t i = 0; i < poolVertex->size(); ++i)
        if (!Incidence::isEmpty(poolVertex->at(i)->link)) vOut.push_back(poolVertex->at(i)->vcd);
    oneInstance(vOut);
}

void CMesh::getPoints(std::vector<Point3*>& vOut) const {
    std::vector<CCD> vUsed;
    getUsedCCD(vUsed);
    for (const CCD ccd : vUsed)
        vOut.push_back(getVtx(ccd));
    oneInstance(vOut);
}

double CMesh::getArea() const {
    return sumOfAreas(vAllCT, [this](const CTriangle& ct) { return ct.getArea(this); });
}

// ---- Reports

void CMesh::getStatistics(std::size_t& numVertices, std::size_t& numTriangles) const {
    std::vector<CCD> vUsed;
    getUsedCCD(vUsed);
    numVertices = vUsed.size();
    numTriangles = countAlive(vAllCT);
}

void CMesh::printStatistics(const std::string& name) const {
    std::size_t numVertices = 0;
    std::size_t numTriangles = 0;
    getStatistics(numVertices, numTriangles);
    out() << "Statistics ( \"" << name << "\" ):\n"
          << "  Vertices: " << numVertices << "\n"
          << "  Triangles:  " << numTriangles << "\n";
    for (const auto& [degree, count] : countByDegree([this](auto&& visit) { forEachEdge(visit); }))
        out() << "  Edges with degree " << degree << ":\t" << count << "\n";
    out() << std::endl;
}

bool CMesh::checkNoDegenerate(const std::string& name) const {
    const std::size_t num = countAlive(vAllCT, [this](const CTriangle& ct) { return ct.isDegenerate(this); });
    return report("checkNoDegenerate", name, num, "degenerate triangles");
}

bool CMesh::checkNoDups(const std::string& name) const {
    std::vector<std::array<VCD, 3>> vCorners;
    for (const CTriangle* pCT : vAllCT) {
        if (!pCT->isAlive()) continue;
        std::array<VCD, 3>& corners = vCorners.emplace_back();
        pCT->getSortedCorners(corners[0], corners[1], corners[2]);
    }
    const std::size_t numAll = vCorners.size();
    oneInstance(vCorners);
    return report("checkNoDups", name, numAll - vCorners.size(), "duplicate triangles");
}

bool CMesh::checkNoAdjCoordDups(const std::string& name) const {
    std::size_t num = 0;
    forEachEdge([&](const CEdge& edge) {
        if (edge.getDegree() > 0 && samePoint(*getVtx(edge.v0), *getVtx(edge.v1))) ++num;
    });
    return report("checkNoAdjCoordDups", name, num, "edges with both ends at one point");
}

bool CMesh::checkCCD(const std::string& name) const {
    std::size_t num = 0;
    for (const auto& [ccd, pBundle] : mCCDBundle) {
        const bool bComplete = pBundle != nullptr && pBundle->pVtx != nullptr && pBundle->ccd == ccd;
        if (!bComplete || !pCalc->isInCell(pBundle->pVtx, ccd)) ++num;
    }
    std::vector<CCD> vUsed;
    getUsedCCD(vUsed);
    for (const CCD ccd : vUsed)
        if (!hasBundle(ccd)) ++num;
    return report("checkCCD", name, num, "cells without a proper bundle");
}

bool CMesh::hasNaN(const std::string& name) const {
    std::size_t num = 0;
    for (const auto& [ccd, pBundle] : mCCDBundle)
        if (pBundle != nullptr && pBundle->pVtx != nullptr && TARN_KEL::hasNaN(*pBundle->pVtx)) ++num;
    return !report("hasNaN", name, num, "vertices with NaN");
}

}  // namespace TARN_KEL
