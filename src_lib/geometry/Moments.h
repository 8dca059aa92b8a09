#pragma once

#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

/// The second moments of offsets from a point: the upper half of a symmetric 3x3 matrix, from which the least-squares plane
/// through that point follows. No check on scale: squares may overflow and underflow.
struct Moments {
    double xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0;

    void add(const Vector3& offset) { addProducts(offset, offset); }
    void add(const Vector3& offset, double weight) { addProducts(offset * weight, offset); }

    /// The direction of least extent, not normalised; zero when the offsets span no plane. Throws KelBugException for NaN.
    ///
    /// Its component along the axis of the largest determinant is set to 1 and the two equations of the other axes are
    /// solved, all times the determinant. The largest one makes that system well conditioned.
    Vector3 getNormal() const {
        const double detX = yy * zz - yz * yz;
        const double detY = xx * zz - xz * xz;
        const double detZ = xx * yy - xy * xy;
        if (detX >= detY && detX >= detZ) return {detX, xz * yz - xy * zz, xy * yz - xz * yy};
        if (detY >= detX && detY >= detZ) return {xz * yz - xy * zz, detY, xy * xz - xx * yz};
        if (!(detZ >= detX && detZ >= detY))
            out() << "detX=" + toString(detX) + " detY=" + toString(detY) + " detZ=" + toString(detZ) + "\n" << std::flush;
        ASSEX(detZ>=detX && detZ>=detY);
        return {xy * yz - xz * yy, xy * xz - xx * yz, detZ};
    }

private:
    void addProducts(const Vector3& weighted, const Vector3& offset) {
        xx += weighted.x() * offset.x();
        xy += weighted.x() * offset.y();
        xz += weighted.x() * offset.z();
        yy += weighted.y() * offset.y();
        yz += weighted.y() * offset.z();
        zz += weighted.z() * offset.z();
    }
};

}  // namespace TARN_KEL
