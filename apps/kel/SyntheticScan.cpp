#include "SyntheticScan.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "ScanOutliers.h"
#include "ScanPatterns.h"

using TARN_KEL::Point3;

namespace {

/// One in the middle of each piece, as wide as the request says where the points are as dense as there.
std::vector<Window> windowsOf(const ScanRequest& request, const Shape& shape, const Density& density) {
    const double perPoint = shape.truth.area / static_cast<double>(request.numPoints);
    const double mean = meanDensity(shape, density);
    std::vector<Window> vWindows;
    for (const Piece& piece : shape.vPieces) {
        const Point3 centre = piece.at(0.5, 0.5).point;
        vWindows.push_back({centre, 0.5 * request.windowWidth * std::sqrt(perPoint * mean / density(centre))});
    }
    return vWindows;
}

/// Whether a piece keeps something of a grid of places. Sampling wouldn't end on one that doesn't.
bool keepsPlaces(const Piece& piece) {
    constexpr int SIDE = 32;
    for (int row = 0; row < SIDE; ++row)
        for (int column = 0; column < SIDE; ++column)
            if (piece.accepts(piece.at((column + 0.5) / SIDE, (row + 0.5) / SIDE).point)) return true;
    return false;
}

void addWindows(const ScanRequest& request, const Density& density, Shape& shape) {
    cutWindows(windowsOf(request, shape, density), shape);
    if (!(shape.truth.area > 0.0) || !std::all_of(shape.vPieces.begin(), shape.vPieces.end(), keepsPlaces))
        throw std::invalid_argument("The windows leave nothing of a piece of the surface");
}

}  // namespace

std::vector<std::string> scanPatterns() {
    std::vector<std::string> vNames;
    for (const ScanPattern& pattern : allPatterns())
        vNames.emplace_back(pattern.name);
    return vNames;
}

ScanTruth makeScan(const ScanRequest& request, std::vector<Point3>& vPoints) {
    Shape shape = makeShape(request.shape, request.numPoints);
    const ScanPattern& pattern = patternNamed(request.pattern);
    const double ratio = request.ratio > 0.0 ? request.ratio : pattern.ratio;
    if (ratio < pattern.leastRatio)
        throw std::invalid_argument("The pattern '" + request.pattern + "' needs a ratio of 1 or more");
    if (request.pattern == "lidar" && request.windowWidth > 0.0)
        throw std::invalid_argument("The pattern 'lidar' makes no windows");
    const std::size_t first = vPoints.size();
    vPoints.reserve(first + request.numPoints);
    Chance chance(request.seed);
    const Density density = pattern.makeDensity(shape, ratio, chance);
    if (request.windowWidth > 0.0) addWindows(request, density, shape);
    shape.truth.spacing = std::sqrt(shape.truth.area / static_cast<double>(request.numPoints));
    Sampling run{shape, request.numPoints, ratio, request.noise, density, chance, vPoints, {}};
    pattern.sample(run);
    shape.truth.numOutliers = addOutliers(request, shape, first, vPoints);
    return shape.truth;
}
