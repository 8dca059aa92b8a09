// Planes through points, and the test whether a line passes through a ring.
#include "Plane.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

// The cross product of the two unit edges at p0. Unit edges keep its length, the sine of the angle at p0, free of the scale.
Vector3 cornerCross(const Point3& p0, const Point3& p1, const Point3& p2) {
    return crossProduct(normalize(p1 - p0), normalize(p2 - p0));
}

}  // namespace

Plane::Plane(const Point3& p, const Vector3& nv) : normal(normalize(nv)), d(dotNormal(p)) {}

Plane::Plane(const Point3& p0, const Point3& p1, const Point3& p2, bool& bOK) {
    const Vector3 c = cornerCross(p0, p1, p2);
    const double sine = c.length();
    bOK = sine != 0.0;
    if (!bOK) return;
    normal = c / sine;
    const double cLen = normal.length();
    // Fails for NaN, and for a sine whose square is too small for a full double. The report has a shorter text.
    ASSEX_AS("cLen<1.0", cLen > 0.99 && cLen < 1.01);
    d = dotNormal(p0);
}

Plane::Plane(const Point3& p0, const Point3& p1, const Point3& p2) {
    const Vector3 c = cornerCross(p0, p1, p2);
    const double sine = c.length();
    if (sine == 0.0) {
        warning(KEL_PLACE, "Degenerate plane (" + toString(p0) + ") (" + toString(p1) + ") (" + toString(p2) + ")");
        ASSEX(false);
    }
    normal = c / sine;
    const double vecLen = normal.length();
    ASSEX(vecLen>.99 && vecLen<1.01);
    d = dotNormal(p0);
}

bool Plane::canConstruct(const Point3& p0, const Point3& p1, const Point3& p2) {
    return cornerCross(p0, p1, p2).length() > 0.0;
}

Point3 Plane::intersectLine(const Point3& p0, const Point3& p1, bool& bOK) const {
    const Vector3 v = p1 - p0;
    const double s = normal * v;
    bOK = s != 0.0;
    return bOK ? p0 + v * ((d - dotNormal(p0)) / s) : p0;
}

Plane getEdgePlane(const Point3* p0, const Point3* p1, const Point3* p2, int idx) {
    ASSEX(p0!=p1);
    ASSEX(p1!=p2);
    ASSEX(p2!=p0);
    if (idx < 0 || idx > 2) {
        error(KEL_PLACE, "wrong idx=" + toString(idx));
        ASSEX(false);
    }
    const Point3* const corners[] = {p0, p1, p2};
    const Point3 &A = *corners[idx], &B = *corners[(idx + 1) % 3], &C = *corners[(idx + 2) % 3];
    const Vector3 vecAB = normalize(B - A), vecAC = normalize(C - A);
    ASSEX(!vecAB.isDegenerate());
    ASSEX(!vecAC.isDegenerate());
    const Vector3 nv = normalize(crossProduct(vecAB, vecAC));
    ASSEX(!nv.isDegenerate());
    return {B, B + nv, C};
}

// Each edge of the ring turns around the line by the angle between the planes through the line and its two ends. The turns
// of a ring that the line threads add up to a full one, those of any other ring to nothing.
bool passThrough(const Point3& p0, const Point3& p1, const std::vector<Point3>& vRing) {
    double sum = 0.0;
    for (std::size_t i = 0; i < vRing.size(); ++i) {
        const Point3 &a = vRing[i], &b = vRing[(i + 1) % vRing.size()];
        bool bOkP = false, bOkQ = false;
        const Plane P(p0, p1, a, bOkP), Q(p1, p0, b, bOkQ);  // the swapped line turns the normal round: equal planes give -1
        if (!bOkP || !bOkQ) continue;
        const double t = std::clamp(P.getNormal() * Q.getNormal(), -1.0, 1.0);
        const double angle = (HALF_TURN - std::acos(t)) / HALF_TURN * 180.0;
        sum += orientation3(p0, p1, a, b) < 0.0 ? -angle : angle;
    }
    const double s = std::fabs(sum);
    if (std::fabs(s - 360.0) < 1.0) return true;
    if (s < 1.0) return false;
    return s > 180.0;
}

}  // namespace TARN_KEL
