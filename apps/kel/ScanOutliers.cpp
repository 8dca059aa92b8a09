#include "ScanOutliers.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

#include "ScanPatterns.h"

using TARN_KEL::Point3;
using TARN_KEL::Vector3;

namespace {

/// What the places of outliers depend on. Lengths are in the unit of the points.
struct Surroundings {
    Point3 low, high;  // corners of the surface's bounding box
    const Shape& shape;
    double spacing;
    double distance;
    Chance& chance;

    Point3 centre() const { return low + (high - low) * 0.5; }
    double radius() const { return 0.5 * (high - low).length(); }
    /// A random length between distance and twice that.
    double someDistance() const { return distance * (1.0 + chance.uniform()); }
    double between(double from, double to) const { return from + (to - from) * chance.uniform(); }
};

Point3 farPoint(const Surroundings& s) {
    return s.centre() + s.chance.direction() * (s.radius() + s.someDistance());
}

Point3 nearPoint(const Surroundings& s) {
    const Sample sample = randomSample(s.shape, s.chance);
    const double side = s.chance.uniform() < 0.5 ? -1.0 : 1.0;
    return sample.point + sample.normal * (side * s.someDistance());
}

Point3 dustPoint(const Surroundings& s) {
    const Vector3 margin(s.distance, s.distance, s.distance);
    const Point3 from = s.low - margin;
    const Point3 to = s.high + margin;
    return {s.between(from.x(), to.x()), s.between(from.y(), to.y()), s.between(from.z(), to.z())};
}

struct OutlierKind {
    const char* name;
    double distance;  // in spacings, unless the request has one
    int groupSize;    // points within a spacing
    Point3 (*place)(const Surroundings&);
};
const OutlierKind KINDS[] = {
    {"far", 1e6, 1, farPoint}, {"clumps", 1e6, 5, farPoint}, {"near", 5.0, 1, nearPoint}, {"dust", 0.0, 1, dustPoint}};

const OutlierKind& kindNamed(const std::string& name) {
    const auto* const it = std::ranges::find(KINDS, name, &OutlierKind::name);
    if (it == std::end(KINDS)) throw std::invalid_argument("There is no kind of outliers '" + name + "'");
    return *it;
}

void boundsOf(const std::vector<Point3>& vPoints, std::size_t first, Surroundings& s) {
    for (std::size_t i = first; i < vPoints.size(); ++i) {
        const Point3& p = vPoints[i];
        s.low = {std::min(s.low.x(), p.x()), std::min(s.low.y(), p.y()), std::min(s.low.z(), p.z())};
        s.high = {std::max(s.high.x(), p.x()), std::max(s.high.y(), p.y()), std::max(s.high.z(), p.z())};
    }
}

}  // namespace

std::vector<std::string> outlierKinds() {
    std::vector<std::string> vNames;
    for (const OutlierKind& kind : KINDS)
        vNames.emplace_back(kind.name);
    return vNames;
}

std::size_t addOutliers(const ScanRequest& request, const Shape& shape, std::size_t first, std::vector<Point3>& vPoints) {
    const OutlierKind& kind = kindNamed(request.outlierKind);
    const std::size_t numPoints = vPoints.size() - first;
    const auto numOutliers = static_cast<std::size_t>(std::lround(request.outlierShare * static_cast<double>(numPoints)));
    if (numOutliers == 0) return 0;
    Chance chance(~request.seed);  // another one than the scan's
    const double spacing = shape.truth.spacing;
    const double distance = spacing * (request.outlierDistance > 0.0 ? request.outlierDistance : kind.distance);
    Surroundings surroundings{vPoints[first], vPoints[first], shape, spacing, distance, chance};
    boundsOf(vPoints, first, surroundings);
    Point3 place;
    for (std::size_t i = 0; i < numOutliers; ++i) {
        const bool bFirst = i % static_cast<std::size_t>(kind.groupSize) == 0;
        if (bFirst) place = kind.place(surroundings);
        vPoints.push_back(bFirst ? place : place + chance.direction() * (0.5 * spacing));
    }
    return numOutliers;
}
