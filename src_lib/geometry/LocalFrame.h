#pragma once

#include "kel.h"

namespace TARN_KEL {

/// Between the caller's unit and one that suits an algorithm: places are vectors from a low corner, in units of some length
/// of the cloud. Small numbers keep squares in range and the last bits for what matters, wherever the cloud lies.
struct LocalFrame {
    Point3 low;
    double unit = 1.0;  ///< in the caller's unit

    Vector3 toLocal(const Point3& p) const { return (p - low) / unit; }
    Point3 fromLocal(const Vector3& place) const { return low + place * unit; }
};

}  // namespace TARN_KEL
