#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "Calc.h"
#include "SimplePool.h"
#include "kel.h"

namespace TARN_KEL {

/// The bundles of a run and the points created for them. Addresses ascend with creation and are valid until the store is
/// destroyed.
class BundleStore {
public:
    /// Creates one bundle per cell, each with a point of its own. To be called once per store, and not together with
    /// makeBundlesAt(). Cost: O(n).
    std::vector<Bundle*> makeBundles(const std::vector<std::pair<CCD, Point3>>& vCells);
    /// Creates one bundle per point, for the cell that contains it. The bundles refer to the points, which aren't copied. To
    /// be called once per store. Cost: O(n).
    std::vector<Bundle*> makeBundlesAt(std::vector<Point3>& vPoints, const Calc& grid);

private:
    Bundle* addBundle(CCD ccd, Point3* pVtx);

    TARN_TOOLS::SimplePool<Bundle> bundlePool;
    TARN_TOOLS::SimplePool<Point3> pointPool;
};

}  // namespace TARN_KEL
