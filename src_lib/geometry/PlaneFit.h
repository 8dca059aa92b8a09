#pragma once

#include <cstddef>

#include "Moments.h"
#include "kel.h"
#include "principalAxes.h"

namespace TARN_KEL {

/// The plane through a place and others around it, given by their offsets from that place. More may be added after a look
/// at the plane of those so far.
class PlaneFit {
public:
    void add(const Vector3& offset) {
        moments.add(offset);
        sum += offset;
        ++numAdded;
    }
    /// How many were added; the place itself isn't counted.
    std::size_t size() const { return numAdded; }
    /// How far all of them extend around their mean. O(1).
    PrincipalAxes axes() const {
        const Vector3 mean = sum / static_cast<double>(numAdded + 1);
        Moments m = moments;
        m.xx -= sum.x() * mean.x();
        m.xy -= sum.x() * mean.y();
        m.xz -= sum.x() * mean.z();
        m.yy -= sum.y() * mean.y();
        m.yz -= sum.y() * mean.z();
        m.zz -= sum.z() * mean.z();
        return principalAxes(m);
    }

private:
    Moments moments;
    Vector3 sum;
    std::size_t numAdded = 0;
};

}  // namespace TARN_KEL
