#pragma once

#include <limits>

#include "kel.h"

namespace TARN_KEL {

/// A piece of a line with a direction, from source to target. A plain value.
///
/// The default value has all six coordinates equal to the lowest double, which no segment of a run has.
class Segment3 {
public:
    Segment3() = default;
    Segment3(const Point3& src, const Point3& trg) : source(src), target(trg) {}

    const Point3& getSrc() const { return source; }
    const Point3& getTrg() const { return target; }
    void swapSrcTrg();
    /// The squared length over all three coordinates.
    double getSqLen25D() const;
    /// True when the end points agree exactly, in the same order or swapped.
    bool operator==(const Segment3& other) const;

private:
    static constexpr double UNSET = std::numeric_limits<double>::lowest();
    Point3 source{UNSET, UNSET, UNSET};
    Point3 target{UNSET, UNSET, UNSET};
};

}  // namespace TARN_KEL
