// Estimates the memory that a melt takes.
#include "soupRoom.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "geometryFunctions.h"
#include "tarn_locate3/Bbox3.h"
#include "textNumbers.h"

namespace TARN_KEL {

namespace {

using Corners = std::array<Point3, 3>;

/// 0.0 where it isn't finite.
double areaOf(const Corners& corners) {
    const double area = getArea(&corners[0], &corners[1], &corners[2]);
    return std::isfinite(area) ? area : 0.0;
}

double soupArea(const std::vector<Point3>& vCorners) {
    double area = 0.0;
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3)
        area += areaOf({vCorners[i], vCorners[i + 1], vCorners[i + 2]});
    return area;
}

/// The same with triangles of the same three corners once. O(n log n), and memory for all triangles.
double areaWithoutRepeats(const std::vector<Point3>& vCorners) {
    std::vector<Corners> vTriangle;
    vTriangle.reserve(vCorners.size() / 3);
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3) {
        Corners corners{vCorners[i], vCorners[i + 1], vCorners[i + 2]};
        if (areaOf(corners) == 0.0) continue;  // nor is any corner left that can't be compared
        std::sort(corners.begin(), corners.end());
        vTriangle.push_back(corners);
    }
    std::sort(vTriangle.begin(), vTriangle.end());
    const auto end = std::unique(vTriangle.begin(), vTriangle.end());
    double area = 0.0;
    for (auto it = vTriangle.begin(); it != end; ++it)
        area += areaOf(*it);
    return area;
}

/// What tells how many cells a soup has.
struct SoupSize {
    static constexpr double PER_SQUARE = 1.5;  // cells of a square of the surface, the mean at all angles to the grid

    double area = 0.0;
    TARN_LOCATE3::Bbox3 box;

    double cellsOfArea(double spacing) const { return PER_SQUARE * area / (spacing * spacing); }
    /// Of the area, but no more than the box has.
    double cells(double spacing) const {
        constexpr double AT_SIDES = 2.0;  // of a row of cells along an axis, beyond the length of the box
        const auto numAlong = [spacing](double low, double high) { return std::max(high - low, 0.0) / spacing + AT_SIDES; };
        return std::min(cellsOfArea(spacing),
                        numAlong(box.minX, box.maxX) * numAlong(box.minY, box.maxY) * numAlong(box.minZ, box.maxZ));
    }
};

TARN_LOCATE3::Bbox3 boxOf(const std::vector<Point3>& vCorners) {
    TARN_LOCATE3::Bbox3 box;
    for (const Point3& p : vCorners)
        if (isFinitePoint(p)) box.widen(p.x(), p.y(), p.z());
    return box;
}

/// About the least spacing with at most so many cells. spacing: one with more.
double leastSpacing(const SoupSize& size, double spacing, double maxCells) {
    constexpr int NUM_STEPS = 64;  // as far as doubles go
    double tooSmall = spacing, enough = std::sqrt(SoupSize::PER_SQUARE * size.area / maxCells);
    for (int i = 0; i < NUM_STEPS; ++i) {
        const double middle = std::sqrt(tooSmall) * std::sqrt(enough);
        (size.cells(middle) > maxCells ? tooSmall : enough) = middle;
    }
    return enough;
}

std::string shortNumber(double value) {
    std::string text;
    appendNumber(text, value, 2);
    return text;
}

}  // namespace

std::string soupRoomFault(const std::vector<Point3>& vCorners, double spacing, double bytesPerCell) {
    constexpr double GIGABYTE = 1e9, ROUNDED_UP = 1.05;
    const double memory = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGE_SIZE));
    if (!(memory > 0.0) || !(spacing > 0.0)) return {};
    const double maxCells = memory / bytesPerCell;
    SoupSize size{soupArea(vCorners), {}};
    if (!(size.cellsOfArea(spacing) > maxCells)) return {};
    size = {areaWithoutRepeats(vCorners), boxOf(vCorners)};
    const double numCells = size.cells(spacing);
    if (!(numCells > maxCells)) return {};
    const double fitting = ROUNDED_UP * leastSpacing(size, spacing, maxCells);
    return "A spacing of " + shortNumber(spacing) + " makes up to " + shortNumber(numCells) +
           " cells of the triangles, which take at least " + shortNumber(numCells * bytesPerCell / GIGABYTE) +
           " GB of memory, and the machine has " + shortNumber(memory / GIGABYTE) + ": take at least " +
           shortNumber(fitting);
}

}  // namespace TARN_KEL
