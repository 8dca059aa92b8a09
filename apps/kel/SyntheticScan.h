// Synthetic scans: points on surfaces whose topology and area are known.
#pragma once

#include <kel.h>

#include <cstdint>
#include <string>
#include <vector>

/// What is known of the surface that a scan samples.
struct ScanTruth {
    double area = 0.0;     ///< square units of the surface without its missing patches
    double spacing = 0.0;  ///< square root of the area that a point stands for
    int numComponents = 1;
    int numBorderLoops = 0;
    int eulerCharacteristic = 0;
};

/// One scan. The same request gives the same points, except for last digits with another mathematical library.
struct ScanRequest {
    std::string shape;  ///< one of scanShapes()
    std::size_t numPoints = 0;
    double noise = 0.0;  ///< standard deviation along the surface normal, in spacings
    std::uint64_t seed = 0;
};

/// The names of the shapes.
std::vector<std::string> scanShapes();

/// Samples the shape evenly, other points of it for another seed, and moves each point along the normal. Appends numPoints
/// points. Throws std::invalid_argument on an unknown shape.
ScanTruth makeScan(const ScanRequest& request, std::vector<TARN_KEL::Point3>& vPoints);
