#pragma once

#include <algorithm>
#include <optional>

#include "kel.h"

namespace TARN_KEL {

/// A sum of weighted squared distances to planes, as a function of a place: x A x + 2 b x + c with a symmetric A.
class Quadric {
public:
    Quadric() = default;
    /// The squared distance to the plane through p with that unit normal, times the weight.
    Quadric(const Vector3& unitNormal, const Vector3& p, double weight);

    Quadric& operator+=(const Quadric& q);

    /// Never below 0.0.
    double at(const Vector3& x) const;
    /// The sum of the weights.
    double weight() const { return xx + yy + zz; }
    /// The place with the least value, held back towards a place where planes say little: the sum with softness * weight() *
    /// (squared distance to that place) is least there. Nothing when the sum has no clear minimum.
    /// softness: above 0; a straight fold keeps a place on it exactly on it.
    std::optional<Vector3> lowestNear(const Vector3& place, double softness) const;

private:
    Vector3 gradient(const Vector3& x) const {  // half of it
        return {xx * x.x() + xy * x.y() + xz * x.z() + bx, xy * x.x() + yy * x.y() + yz * x.z() + by,
                xz * x.x() + yz * x.y() + zz * x.z() + bz};
    }

    double xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0;
    double bx = 0.0, by = 0.0, bz = 0.0, c = 0.0;
};

inline Quadric::Quadric(const Vector3& n, const Vector3& p, double weight) {
    const double d = -(n * p);
    const Vector3 wn = n * weight;
    xx = wn.x() * n.x();
    xy = wn.x() * n.y();
    xz = wn.x() * n.z();
    yy = wn.y() * n.y();
    yz = wn.y() * n.z();
    zz = wn.z() * n.z();
    bx = wn.x() * d;
    by = wn.y() * d;
    bz = wn.z() * d;
    c = weight * d * d;
}

inline Quadric& Quadric::operator+=(const Quadric& q) {
    xx += q.xx;
    xy += q.xy;
    xz += q.xz;
    yy += q.yy;
    yz += q.yz;
    zz += q.zz;
    bx += q.bx;
    by += q.by;
    bz += q.bz;
    c += q.c;
    return *this;
}

inline double Quadric::at(const Vector3& x) const {
    const Vector3 b(bx, by, bz);
    return std::max(0.0, x * (gradient(x) + b) + c);
}

inline std::optional<Vector3> Quadric::lowestNear(const Vector3& place, double softness) const {
    const double soft = softness * weight();
    const Vector3 g = gradient(place);
    // Cholesky of A + soft * unit matrix; its pivots are at least soft, but for rounding.
    const double d0 = xx + soft;
    if (!(d0 > 0.5 * soft)) return std::nullopt;
    const double l10 = xy / d0, l20 = xz / d0;
    const double d1 = yy + soft - l10 * xy;
    if (!(d1 > 0.5 * soft)) return std::nullopt;
    const double e21 = yz - l20 * xy, l21 = e21 / d1;
    const double d2 = zz + soft - l20 * xz - l21 * e21;
    if (!(d2 > 0.5 * soft)) return std::nullopt;
    const double y0 = -g.x(), y1 = -g.y() - l10 * y0, y2 = -g.z() - l20 * y0 - l21 * y1;
    const double s2 = y2 / d2, s1 = y1 / d1 - l21 * s2, s0 = y0 / d0 - l10 * s1 - l20 * s2;
    return place + Vector3(s0, s1, s2);
}

}  // namespace TARN_KEL
