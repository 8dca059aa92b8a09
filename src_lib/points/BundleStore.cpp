// Creates the bundles of a run.
#include "BundleStore.h"

#include <algorithm>
#include <limits>

namespace TARN_KEL {

namespace {

/// Block sizes of a pool: n elements at once, a fifth of that more at a time.
template <typename T>
void initPool(TARN_TOOLS::SimplePool<T>& pool, std::size_t n) {
    const int first = static_cast<int>(std::min<std::size_t>(n, std::numeric_limits<int>::max()));
    pool.init(first, std::max(100, static_cast<int>(0.2 * first)));
}

}  // namespace

std::vector<Bundle*> BundleStore::makeBundles(const std::vector<std::pair<CCD, Point3>>& vCells) {
    initPool(pointPool, vCells.size());
    initPool(bundlePool, vCells.size());
    std::vector<Bundle*> vBundles;
    vBundles.reserve(vCells.size());
    for (const auto& [ccd, point] : vCells)
        vBundles.push_back(addBundle(ccd, new (pointPool.nextElement()) Point3(point)));
    return vBundles;
}

std::vector<Bundle*> BundleStore::makeBundlesAt(std::vector<Point3>& vPoints, const Calc& grid) {
    initPool(bundlePool, vPoints.size());
    std::vector<Bundle*> vBundles;
    vBundles.reserve(vPoints.size());
    for (Point3& point : vPoints)
        vBundles.push_back(addBundle(grid.getCCD(&point), &point));
    return vBundles;
}

Bundle* BundleStore::addBundle(CCD ccd, Point3* pVtx) {
    auto* pBundle = new (bundlePool.nextElement()) Bundle();
    pBundle->pVtx = pVtx;
    pBundle->ccd = ccd;
    pBundle->deliveredPoint = *pVtx;
    return pBundle;
}

}  // namespace TARN_KEL
