#include "pointPlanes.h"

#include <algorithm>
#include <span>

#include "Moments.h"
#include "fitLimits.h"
#include "principalAxes.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const std::size_t MIN_NEIGHBOURS = 4;  // of a plane, the point included
// Second over third eigenvalue of a plane. Less is a scan line: what is least across it is anything but the surface's
// normal.
const double MIN_WIDTH = 0.1;
const double NO_PLANE = 1e3;  // spread of the plane of a point whose neighbours are too few or on a line

PointPlane planeOf(const FitPoints& points, std::span<const FitIndex> vNear, double radius, FitIndex i) {
    const Vector3& p = points.vPlace[i];
    Vector3 sum;
    double sumOfWeights = 0.0;
    std::size_t count = 0;
    Moments moments;
    for (const FitIndex j : vNear) {
        const Vector3 offset = points.vPlace[j] - p;
        const double weight = weightWithin(offset.sqLength(), 1.0001 * radius);
        if (weight == 0.0) continue;
        ++count;
        sum += offset * weight;
        sumOfWeights += weight;
        moments.add(offset, weight);
    }
    const Vector3 mean = sum / sumOfWeights;
    if (count < MIN_NEIGHBOURS) return {points.vSide[i], p + mean, NO_PLANE};
    const Moments central{moments.xx / sumOfWeights - square(mean.x()),    moments.xy / sumOfWeights - mean.x() * mean.y(),
                          moments.xz / sumOfWeights - mean.x() * mean.z(), moments.yy / sumOfWeights - square(mean.y()),
                          moments.yz / sumOfWeights - mean.y() * mean.z(), moments.zz / sumOfWeights - square(mean.z())};
    const PrincipalAxes axes = principalAxes(central);
    if (axes.middle < MIN_WIDTH * axes.largest) return {points.vSide[i], p + mean, NO_PLANE};
    const Vector3 normal = axes.normal.isDegenerate() ? points.vSide[i] : axes.normal;
    return {normal * points.vSide[i] < 0.0 ? -normal : normal, p + mean, std::max(0.0, axes.least)};
}

}  // namespace

std::vector<PointPlane> planesOf(const FitPoints& points, const Neighbourhoods& near, double radius) {
    std::vector<PointPlane> vPlane(points.size());
    forChunks_MT(near.numPoints(), [&](std::size_t begin, std::size_t end) {
        near.visitPoints(
            begin, end, [&](FitIndex i, std::span<const FitIndex> vNear) { vPlane[i] = planeOf(points, vNear, radius, i); });
    });
    return vPlane;
}

}  // namespace TARN_KEL
