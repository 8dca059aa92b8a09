// The characteristic polynomial of a symmetric 3x3 matrix A has three real roots. With the mean of the diagonal as q and the
// deviation B = (A - q) / p of unit size, they are q + 2 p cos(phi), q + 2 p cos(phi + 2 pi / 3) and the rest of the trace,
// where cos(3 phi) = det(B) / 2. The eigenvector of the least one is at right angles to all rows of A - least; the longest
// cross product of two rows is the best conditioned.
#include "principalAxes.h"

#include <algorithm>
#include <cmath>

namespace TARN_KEL {

namespace {

double determinant(const Moments& m) {
    return m.xx * (m.yy * m.zz - m.yz * m.yz) - m.xy * (m.xy * m.zz - m.yz * m.xz) + m.xz * (m.xy * m.yz - m.yy * m.xz);
}

Vector3 nullDirection(const Moments& m) {
    const Vector3 rowX(m.xx, m.xy, m.xz), rowY(m.xy, m.yy, m.yz), rowZ(m.xz, m.yz, m.zz);
    Vector3 best;
    for (const Vector3& cross : {crossProduct(rowX, rowY), crossProduct(rowX, rowZ), crossProduct(rowY, rowZ)})
        if (cross.sqLength() > best.sqLength()) best = cross;
    const double length = best.length();
    return length > 0.0 ? best / length : Vector3();
}

Moments shifted(const Moments& m, double shift, double scale) {
    return {(m.xx - shift) * scale, m.xy * scale, m.xz * scale,
            (m.yy - shift) * scale, m.yz * scale, (m.zz - shift) * scale};
}

}  // namespace

PrincipalAxes principalAxes(const Moments& m) {
    const double third = 2.09439510239319549;  // of a turn, in radians
    const double q = (m.xx + m.yy + m.zz) / 3.0;
    const Moments deviation = shifted(m, q, 1.0);
    const double squares = deviation.xx * deviation.xx + deviation.yy * deviation.yy + deviation.zz * deviation.zz +
                           2.0 * (m.xy * m.xy + m.xz * m.xz + m.yz * m.yz);
    const double p = std::sqrt(squares / 6.0);
    if (!(p > 0.0)) return {q, q, q, Vector3()};
    const double phi = std::acos(std::clamp(determinant(shifted(m, q, 1.0 / p)) / 2.0, -1.0, 1.0)) / 3.0;
    const double largest = q + 2.0 * p * std::cos(phi);
    const double least = q + 2.0 * p * std::cos(phi + third);
    return {least, 3.0 * q - largest - least, largest, nullDirection(shifted(m, least, 1.0 / p))};
}

}  // namespace TARN_KEL
