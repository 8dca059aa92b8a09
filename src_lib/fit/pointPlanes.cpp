#include "pointPlanes.h"

#include <algorithm>
#include <span>

#include "NearLanes.h"
#include "fitLimits.h"
#include "principalAxes.h"

namespace TARN_KEL {

namespace {

const float MIN_NEIGHBOURS = 4.0F;  // of a plane, the point included
// Second over third eigenvalue of a plane. Less is a scan line: what is least across it is anything but the surface's
// normal.
const double MIN_WIDTH = 0.1;
const double NO_PLANE = 1e3;  // spread of the plane of a point whose neighbours are too few or on a line

/// vNear: the neighbours of the i-th point, relative to `own`, its place among them.
PointPlane planeOf(const FitPoints& points, FitIndex i, std::span<NearLanes<1>::Four> vNear, const LaneVector& own,
                   double radius) {
    const float inverseSqRadius = inverseSquareOf(radius);
    Lanes weights{}, count{}, xx{}, xy{}, xz{}, yy{}, yz{}, zz{};
    LaneVector sum{};
    for (const auto& [place] : vNear) {
        const LaneVector offset = place - own;
        const Lanes weight = weightWithin(offset.sqLength(), inverseSqRadius);
        const LaneVector weighted = offset * weight;
        count += weight > 0.0F ? allLanes(1.0F) : Lanes{};
        weights += weight;
        sum += weighted;
        xx += weighted.x * offset.x;
        xy += weighted.x * offset.y;
        xz += weighted.x * offset.z;
        yy += weighted.y * offset.y;
        yz += weighted.y * offset.z;
        zz += weighted.z * offset.z;
    }
    const auto meanOf = [sumOfWeights = static_cast<double>(sumOf(weights))](Lanes lanes) {
        return static_cast<double>(sumOf(lanes)) / sumOfWeights;
    };
    const Vector3 mean(meanOf(sum.x), meanOf(sum.y), meanOf(sum.z)), centre = points.vPlace[i] + mean;
    if (sumOf(count) < MIN_NEIGHBOURS) return {points.vSide[i], centre, NO_PLANE};
    const PrincipalAxes axes =
        principalAxes({meanOf(xx) - square(mean.x()), meanOf(xy) - mean.x() * mean.y(), meanOf(xz) - mean.x() * mean.z(),
                       meanOf(yy) - square(mean.y()), meanOf(yz) - mean.y() * mean.z(), meanOf(zz) - square(mean.z())});
    if (axes.middle < MIN_WIDTH * axes.largest) return {points.vSide[i], centre, NO_PLANE};
    const Vector3 normal = axes.normal.isDegenerate() ? points.vSide[i] : axes.normal;
    return {normal * points.vSide[i] < 0.0 ? -normal : normal, centre, std::max(0.0, axes.least)};
}

}  // namespace

std::vector<PointPlane> planesOf(const FitPoints& points, const Neighbourhoods& near, double radius) {
    std::vector<PointPlane> vPlane(points.size());
    forPoints_MT<1>(
        points, near, NearShare::ALL, {farPlace()},
        [&](FitIndex j, const Vector3& origin) { return NearLanes<1>::Packed{packed(points.vPlace[j] - origin)}; },
        [&](FitIndex i, const Vector3& origin, std::span<NearLanes<1>::Four> vNear) {
            vPlane[i] = planeOf(points, i, vNear, allLanes(points.vPlace[i] - origin), radius);
        });
    return vPlane;
}

}  // namespace TARN_KEL
