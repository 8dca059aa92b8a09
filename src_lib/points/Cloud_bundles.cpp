// From smoothed nodes, or from a triangle soup, to bundles.
//
// Nodes: a point from each cell, the cleaning, and a bundle for each cell that stays.
// A node with a full ring of links on a flat piece delivers the foot of its cell's midpoint on its plane, so that the point
// doesn't depend on where in the cell the samples fell. On rims and folds, where the plane says less, it delivers its own
// position. A foot may lie in the next cell; the cleaning files each point under the cell that holds it.
//
// A soup needs neither smoothing nor cleaning: corners of equal coordinates become one, the rasteriser makes one point a
// cell, and the soup is gone.
#include <algorithm>
#include <limits>

#include "Cloud.h"
#include "HashIndex.h"
#include "Pixel.h"
#include "Progress.h"
#include "Smooth.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const std::size_t FULL_RING = 8;  // links from which on a node counts as an inner one

/// (cell of the smoothed position, node), by ascending code; one node a cell, the one made first.
std::vector<std::pair<CCD, SNode*>> getCellNodes(const std::vector<SNode*>& vNodes, const Calc& calc) {
    std::vector<std::pair<CCD, SNode*>> vCellNode;
    transform_MT(vNodes, vCellNode, [&calc](SNode* pSN) { return std::make_pair(calc.getCCD(&pSN->smoothedPoint), pSN); });
    sortMT(vCellNode.begin(), vCellNode.end());
    vCellNode.erase(
        std::unique(vCellNode.begin(), vCellNode.end(), [](const auto& a, const auto& b) { return a.first == b.first; }),
        vCellNode.end());
    return vCellNode;
}

std::vector<Point3> getDeliveredPoints(const std::vector<std::pair<CCD, SNode*>>& vCellNode, const Calc& calc) {
    std::vector<Point3> vDelivered;
    vDelivered.reserve(vCellNode.size());
    for (const auto& [ccd, pSN] : vCellNode) {
        if (!pSN->bHasPlane) continue;
        const bool bOwnPosition = pSN->vLinkedNodes.size() < FULL_RING || pSN->bFeature;
        vDelivered.push_back(bOwnPosition ? pSN->smoothedPoint : pSN->plane.projection(calc.getMidPoint(ccd)));
    }
    return vDelivered;
}

/// For each point the first one of the same coordinates.
std::vector<Point3*> unifyCorners(std::vector<Point3>& vPoints) {
    ASSEX(vPoints.size()<HashIndex::NONE);
    HashIndex index;
    std::vector<Point3*> vCorners;
    vCorners.reserve(vPoints.size());
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        const std::uint64_t hash = placeHash(vPoints[i]);
        std::uint32_t first = index.find(hash, [&](std::uint32_t j) { return vPoints[j] == vPoints[i]; });
        if (first == HashIndex::NONE) {
            first = static_cast<std::uint32_t>(i);
            index.insert(hash, first);
        }
        vCorners.push_back(&vPoints[first]);
    }
    return vCorners;
}

/// Block sizes of a pool: n elements at once, a fifth of that more at a time.
template <typename T>
void initPool(TARN_TOOLS::SimplePool<T>& pool, std::size_t n) {
    const int first = static_cast<int>(std::min<std::size_t>(n, std::numeric_limits<int>::max()));
    pool.init(first, std::max(100, static_cast<int>(0.2 * first)));
}

}  // namespace

void Cloud::createBundles(Smooth* pSmooth) {
    ProgressStep progress("CL_creb", 6);
    const std::vector<SNode*>& vNodes = pSmooth->getNodesRef();
    progress.advance();
    auto vCellNode = getCellNodes(vNodes, *pCalc);  // codes, sorting and choice in one
    progress.advance();
    progress.advance();
    std::vector<Point3> vNodePoints = getDeliveredPoints(vCellNode, *pCalc);
    std::vector<std::pair<CCD, SNode*>>().swap(vCellNode);
    progress.advance();
    std::vector<std::pair<CCD, Point3>> vCells;
    cleanPoints_RCD(vNodePoints, vCells);
    progress.advance();
    makeBundles(vCells);
    progress.advance();
    progress.finish();
}

void Cloud::makeBundles(const std::vector<std::pair<CCD, Point3>>& vCells) {
    initPool(pointPool, vCells.size());
    initPool(bundlePool, vCells.size());
    vBundlePoints.reserve(vCells.size());
    vBundles.reserve(vCells.size());
    for (const auto& [ccd, point] : vCells) {
        vBundlePoints.push_back(new (pointPool.nextElement()) Point3(point));
        addBundle(ccd, vBundlePoints.back());
    }
}

void Cloud::addBundle(CCD ccd, Point3* pVtx) {
    auto* pBundle = new (bundlePool.nextElement()) Bundle();
    pBundle->pVtx = pVtx;
    pBundle->ccd = ccd;
    pBundle->deliveredPoint = *pVtx;
    vBundles.push_back(pBundle);
}

void Cloud::preparePixelsAndFeatures(double featureAngle) {
    ASSEX(bMelt);
    if (vPoints.empty()) {
        warning(KEL_PLACE, "Nothing to do for cloud " + name);
        return;
    }
    estimateRes2();
    createCalc();
    std::vector<Point3> vPixelPoints;
    {
        std::vector<Point3*> vCorners = unifyCorners(vPoints);
        Pixel pixel(vCorners, pCalc);
        pixel.pixelTriangles(vPixelPoints, vFeatures, vBorders, featureAngle);
    }
    vPoints.swap(vPixelPoints);
    initPool(bundlePool, vPoints.size());
    vBundles.reserve(vPoints.size());
    for (Point3& point : vPoints)
        addBundle(pCalc->getCCD(&point), &point);
}

// ---- Results ------------------------------------------------------------------------------------------------------------

void Cloud::getBundles3(std::vector<std::pair<CCD, Bundle*>>& vOut) {
    vOut.reserve(vOut.size() + vBundles.size());
    for (Bundle* pBundle : vBundles)
        vOut.emplace_back(pBundle->ccd, pBundle);
}

void Cloud::getOrderedBundles(int dx, int dy, int dz, int level, std::vector<std::pair<CCD, Bundle*>>& vOut) {
    vOut.clear();
    getBundles3(vOut);
    const std::pair<int, CCD> aMove[] = {{dx, 4}, {dy, 2}, {dz, 1}};
    for (auto& [key, pBundle] : vOut) {
        for (const auto& [numCells, axTriBit] : aMove)
            if (numCells != 0) key = pCalc->getOffVal(key, numCells, axTriBit);
        key = 3 * level < 64 ? key >> 3 * level : 0;
    }
    sortMT(vOut.begin(), vOut.end());
}

void Cloud::getFeatures(std::vector<std::pair<CCD, CCD>>& vOut) const {
    vOut.insert(vOut.end(), vFeatures.begin(), vFeatures.end());
}

void Cloud::getBorders(std::vector<std::pair<CCD, CCD>>& vOut) const {
    vOut.insert(vOut.end(), vBorders.begin(), vBorders.end());
}

}  // namespace TARN_KEL
