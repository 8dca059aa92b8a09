#pragma once

#include "Lanes.h"
#include "fitLimits.h"
#include "kel.h"

namespace TARN_KEL {

/// A vector in each lane.
struct LaneVector {
    Lanes x, y, z;
    Lanes w{};  ///< a number beside it, which no operation takes along

    LaneVector& operator+=(const LaneVector& v) {
        x += v.x;
        y += v.y;
        z += v.z;
        return *this;
    }
    LaneVector operator+(const LaneVector& v) const { return {x + v.x, y + v.y, z + v.z}; }
    LaneVector operator-(const LaneVector& v) const { return {x - v.x, y - v.y, z - v.z}; }
    LaneVector operator*(Lanes factor) const { return {x * factor, y * factor, z * factor}; }
    Lanes operator*(const LaneVector& v) const { return x * v.x + y * v.y + z * v.z; }
    Lanes sqLength() const { return *this * *this; }
    Vector3 sum() const {
        return {static_cast<double>(sumOf(x)), static_cast<double>(sumOf(y)), static_cast<double>(sumOf(z))};
    }
};

/// In all lanes.
inline LaneVector allLanes(const Vector3& v) {
    return {allLanes(static_cast<float>(v.x())), allLanes(static_cast<float>(v.y())), allLanes(static_cast<float>(v.z()))};
}

/// A coordinate beyond all radii.
constexpr double FAR_AWAY = 1e6;

/// For weightWithin(): so that the farthest neighbours count, if only a little.
inline float inverseSquareOf(double radius) {
    return static_cast<float>(1.0 / square(1.0001 * radius));
}

/// As that of numbers, with the inverse square of the radius.
inline Lanes weightWithin(Lanes sqDistance, float inverseSqRadius) {
    const Lanes t = largerOf(1.0F - sqDistance * inverseSqRadius, Lanes{});
    return t * t;
}

}  // namespace TARN_KEL
