// Outliers of synthetic scans.
#pragma once

#include "ScanChance.h"
#include "ScanShapes.h"

/// Adds the outliers that the request asks for and returns their number. [first, end of vPoints): the scan. The points
/// themselves depend on the seed, the shape and the spacing alone.
std::size_t addOutliers(const ScanRequest& request, const Shape& shape, std::size_t first,
                        std::vector<TARN_KEL::Point3>& vPoints);
