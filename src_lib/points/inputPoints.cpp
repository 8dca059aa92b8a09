// Computes bounds, and treats coordinates that aren't finite.
#include "inputPoints.h"

#include <algorithm>

#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

double PointBounds::largestExtent() const {
    return std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
}

PointBounds PointBounds::widened(double margin) const {
    PointBounds wide = *this;
    for (std::size_t i = 0; i < 3; ++i) {
        wide.low[i] -= margin;
        wide.high[i] += margin;
    }
    return wide;
}

PointBounds boundsOf(const std::vector<Point3>& vPoints) {
    ASSEX(!vPoints.empty());
    const Point3& first = vPoints.front();
    PointBounds bounds{{first.x(), first.y(), first.z()}, {first.x(), first.y(), first.z()}};
    for (const Point3& p : vPoints) {
        const std::array<double, 3> coordinates{p.x(), p.y(), p.z()};
        for (std::size_t i = 0; i < 3; ++i) {
            bounds.low[i] = std::min(bounds.low[i], coordinates[i]);
            bounds.high[i] = std::max(bounds.high[i], coordinates[i]);
        }
    }
    return bounds;
}

std::size_t dropNonFinitePoints(std::vector<Point3>& vPoints) {
    return std::erase_if(vPoints, [](const Point3& p) { return !isFinitePoint(p); });
}

// The place is one of the soup, so that the bounds stay those of what is good.
void flattenNonFiniteTriangles(std::vector<Point3>& vCorners) {
    const auto triangleEnd = [&](std::size_t i) { return std::min(i + 3, vCorners.size()); };
    const auto isFiniteTriangle = [&](std::size_t i) {
        return std::all_of(&vCorners[i], vCorners.data() + triangleEnd(i), isFinitePoint);
    };
    Point3 place;
    for (std::size_t i = vCorners.size() / 3; i > 0; --i)
        if (isFiniteTriangle(3 * i - 3)) place = vCorners[3 * i - 3];
    for (std::size_t i = 0; i < vCorners.size(); i += 3)
        if (!isFiniteTriangle(i)) std::fill(&vCorners[i], vCorners.data() + triangleEnd(i), place);
}

}  // namespace TARN_KEL
