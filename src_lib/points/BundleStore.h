#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "Calc.h"
#include "SimplePool.h"
#include "kel.h"

namespace TARN_KEL {

/// The bundles of a run and the points that were made for them. Addresses ascend with creation and stay as they are until
/// the store ends.
class BundleStore {
public:
    /// One bundle per cell, each with a point of its own. Once per store, and not beside makeBundlesAt(). O(n).
    std::vector<Bundle*> makeBundles(const std::vector<std::pair<CCD, Point3>>& vCells);
    /// One bundle per point, which stays the caller's, with the cell that holds it. Once per store. O(n).
    std::vector<Bundle*> makeBundlesAt(std::vector<Point3>& vPoints, const Calc& grid);

private:
    Bundle* addBundle(CCD ccd, Point3* pVtx);

    TARN_TOOLS::SimplePool<Bundle> bundlePool;
    TARN_TOOLS::SimplePool<Point3> pointPool;
};

}  // namespace TARN_KEL
