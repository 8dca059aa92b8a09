// Weighted means over the neighbours of a point, four neighbours at a time in single precision. All is relative to the
// point, so that is as good as 1e-6 spacings anywhere in a cloud.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "FitPoints.h"
#include "Lanes.h"
#include "kel.h"

namespace TARN_KEL {

/// A vector in each lane.
struct LaneVector {
    Lanes x, y, z;

    void set(std::size_t lane, const Vector3& v) {
        x[lane] = static_cast<float>(v.x());
        y[lane] = static_cast<float>(v.y());
        z[lane] = static_cast<float>(v.z());
    }
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

/// Beyond all radii.
constexpr float FAR_LANE = 1e6F;

/// What is looked at of the neighbours of one point after the other. Four: a struct of lanes that can be filled.
template <typename Four>
class NearLanes {
public:
    /// fill(four, lane, position of a neighbour); lanes behind the last neighbour get the first one, and then leaveOut(four,
    /// lane). vNeighbour: at least one.
    template <typename Fill, typename LeaveOut>
    std::span<Four> gather(std::span<const FitIndex> vNeighbour, const Fill& fill, const LeaveOut& leaveOut) {
        const std::size_t num = vNeighbour.size(), numFours = (num + NUM_LANES - 1) / NUM_LANES;
        if (vFour.size() < numFours) vFour.resize(2 * numFours);
        for (std::size_t i = 0; i < numFours; ++i)
            for (std::size_t lane = 0; lane < NUM_LANES; ++lane) {
                const std::size_t k = NUM_LANES * i + lane;
                fill(vFour[i], lane, vNeighbour[k < num ? k : 0]);
            }
        for (std::size_t k = num; k < NUM_LANES * numFours; ++k)
            leaveOut(vFour[numFours - 1], k % NUM_LANES);
        return {vFour.data(), numFours};
    }

private:
    std::vector<Four> vFour;
};

/// As weightWithin(), with the inverse square of the radius.
inline Lanes weightWithin(Lanes sqDistance, float inverseSqRadius) {
    const Lanes t = largerOf(1.0F - sqDistance * inverseSqRadius, Lanes{});
    return t * t;
}

/// Nearly exp(-x) for x of at least 0, at a fraction of its cost; next to 0 from some hundred on.
inline Lanes fallOff(Lanes x) {
    const float nothing = 2000.0F;  // the power is still a normal number: others are slow
    Lanes t = 1.0F / (1.0F + smallerOf(x, allLanes(nothing)) * (1.0F / 16.0F));
    t *= t;
    t *= t;
    t *= t;
    return t * t;
}

}  // namespace TARN_KEL
