// Outliers of synthetic scans.
#pragma once

#include "ScanChance.h"
#include "ScanShapes.h"

/// Appends the outliers that the request asks for. They depend only on the seed, the shape and its spacing.
/// first: where the scan begins in vPoints; it goes on to the end.
/// Returns the number of outliers.
std::size_t addOutliers(const ScanRequest& request, const Shape& shape, std::size_t first,
                        std::vector<TARN_KEL::Point3>& vPoints);
