#include "Plane.h"

#include "freeFunctions.h"
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
    if (!(cLen > 0.99 && cLen < 1.01)) assertionFailed("cLen<1.0", __FILE__, __LINE__, __PRETTY_FUNCTION__);
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

}  // namespace TARN_KEL
