// Synthetic scans: points on surfaces whose topology and area are known.
#pragma once

#include <kel.h>

#include <cstdint>
#include <string>
#include <vector>

/// What is known of the surface that a scan samples.
struct ScanTruth {
    double area = 0.0;  ///< square units of the surface without its missing patches
    /// Square root of the area that a point stands for. Where the density varies it is that of the mean density: at a place
    /// of k times the mean density the points are spacing / sqrt(k) apart.
    double spacing = 0.0;
    int numComponents = 1;
    int numBorderLoops = 0;
    int eulerCharacteristic = 0;
    std::size_t numOutliers = 0;  ///< the last points of the scan; they belong to no surface
};

/// One scan. The same request gives the same points, except for last digits with another mathematical library.
struct ScanRequest {
    std::string shape;  ///< one of scanShapes()
    std::size_t numPoints = 0;
    double noise = 0.0;  ///< standard deviation along the surface normal, in spacings
    std::uint64_t seed = 0;
    std::string pattern = "even";  ///< how the points lie on the surface, one of scanPatterns()
    double ratio = 0.0;            ///< how uneven the pattern is, see scanPatterns(); 0: its own value
    /// Round windows, one in the middle of each piece of the surface (12 on a sphere, 3 on a torus, 6 on a cube), so many
    /// local spacings wide; 0: none. They must not reach each other, nor an edge of the surface.
    double windowWidth = 0.0;
    double outlierShare = 0.0;  ///< 0 to 100: outliers behind the points of the surface, as a share of these
    std::string outlierKind = "far";
    double outlierDistance = 0.0;  ///< in spacings, see outlierKinds(); 0: the kind's own value
};

/// The names of the shapes: sphere, torus, plane, cube, block, wall (two sheets), patches (a sphere with six holes), hall (a
/// room of 12 x 8 x 4 in which a ball hangs).
std::vector<std::string> scanShapes();

/// The names of the patterns:
/// - even;
/// - random: independent points;
/// - varying: the density falls smoothly along x, to 1/ratio (16) of the largest; ratios from 1 on;
/// - lines: the distance of lines is ratio (8) times that of the points on them;
/// - overlap: in six round places, a quarter of the area, a second scan doubles the density;
/// - sparse: in such places the density is 1/ratio (16); ratios from 1 on;
/// - misfit: a scan of half the points, and another one moved by ratio (1) spacings;
/// - lidar: the hall from inside by a rotating scanner whose view ends 60 degrees above and below the horizon; its lines are
///   ratio (2) times as far apart, as angles, as the points on them. What lies behind the ball isn't seen.
std::vector<std::string> scanPatterns();

/// The kinds of outliers, with their distances in spacings:
/// - far: single points in all directions, from outlierDistance (a million) to twice that away from the surface;
/// - clumps: the same with five points within a spacing each time;
/// - near: single points beside the surface, between outlierDistance (5) and twice that along the normal;
/// - dust: single points anywhere in the bounding box of the surface, widened by outlierDistance (0) on all sides.
std::vector<std::string> outlierKinds();

/// Samples the shape, other points of it for another seed, moves each point along the normal, and adds the outliers. Appends
/// numPoints points (lines that cross missing patches: about as many) and the outliers. Throws std::invalid_argument on an
/// unknown name, and where a pattern doesn't fit the shape.
ScanTruth makeScan(const ScanRequest& request, std::vector<TARN_KEL::Point3>& vPoints);
