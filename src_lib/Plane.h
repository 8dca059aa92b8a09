#pragma once

#include <cmath>

#include "kel.h"

namespace TARN_KEL {

/// The points p with normal * p = d, the normal of unit length. A plain value.
///
/// The default value has a zero normal and d = 0: it is no plane, and every signed distance to it is 0. The normal of a
/// plane through p0, p1, p2 points to the side from which these run counterclockwise.
class Plane {
public:
    Plane() = default;
    /// Through p, at right angles to nv, which may have any length. A zero nv gives a zero normal and d = 0.
    Plane(const Point3& p, const Vector3& nv);
    /// Through three points. bOK is false, and the plane is the default one, when they span none. Throws KelBugException
    /// when a coordinate is infinite.
    Plane(const Point3& p0, const Point3& p1, const Point3& p2, bool& bOK);
    /// Through three points that must span a plane: throws KelBugException, after a warning with the points, when they
    /// don't.
    Plane(const Point3& p0, const Point3& p1, const Point3& p2);

    /// True when three points span a plane.
    static bool canConstruct(const Point3& p0, const Point3& p1, const Point3& p2);

    const Vector3& getNormal() const { return normal; }
    double getD() const { return d; }

    /// A length, positive on the side to which the normal points.
    double signedDistance(const Point3& p) const { return dotNormal(p) - d; }
    double distance(const Point3& p) const { return std::fabs(signedDistance(p)); }
    bool hasOnPositiveSide(const Point3& p) const { return signedDistance(p) > 0.0; }
    bool hasOnNegativeSide(const Point3& p) const { return signedDistance(p) < 0.0; }

    /// Where the infinite line through p0 and p1 meets the plane; p0 with bOK false when it runs exactly parallel.
    Point3 intersectLine(const Point3& p0, const Point3& p1, bool& bOK) const;
    /// The foot of the perpendicular from p.
    Point3 projection(const Point3& p) const { return p - normal * signedDistance(p); }

private:
    double dotNormal(const Point3& p) const { return normal.x() * p.x() + normal.y() * p.y() + normal.z() * p.z(); }

    Vector3 normal;
    double d = 0.0;
};

}  // namespace TARN_KEL
