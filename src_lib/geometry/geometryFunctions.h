// Free functions on geometry.
//
// Plain double arithmetic: no exact predicates, no common tolerance. A tolerance is a literal of the function that has it.
// Lengths are in the unit of the points. Pointers to points are only read, never kept, and must not be null. Degenerate
// input is reported by a bool where a function has one; otherwise by the stated value, or by KelBugException.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "kel.h"
#include "tarn_locate3/Bbox3.h"

namespace TARN_KEL {

class Plane;

/// Half a turn in radians, used wherever angles are summed or clamped.
constexpr double HALF_TURN = 3.14159265359;
/// The factor from radians to degrees, used wherever angles are converted.
constexpr double DEGREES_PER_RADIAN = 57.295779513;

/// The vector divided by its length; the zero vector when the length isn't above 0.0 (a NaN component, squares that
/// underflow).
inline Vector3 normalize(const Vector3& v) {
    const double length = v.length();
    return length > 0.0 ? v / length : Vector3();
}

/// The unit normal of a triangle. bOK is false for a degenerate one: then the result is the zero vector when a corner
/// coincides with the first, else the cross product of length 0.0.
Vector3 getNormalVector(const Point3& p0, const Point3& p1, const Point3& p2, bool& bOK);
/// Degrees by which the normal of the triangle (p, next, previous) turns when p moves to newP; 360.0 when there is no new
/// normal, -1.0 when there is no old one.
double normalTurn(const Point3& p, const Point3& next, const Point3& previous, const Point3& newP);
/// The least-squares plane of at least 3 points: unit normal and mean. False, with both left alone, for fewer points and
/// when they span no plane. Throws KelBugException for NaN. O(n).
bool estimateNNV(const std::vector<Point3*>& vPoints, Vector3& nv, Point3& centroid);

/// The area of a triangle by the cross product of two edges.
double getArea(const Point3* p0, const Point3* p1, const Point3* p2);
/// The area of a triangle from its three edge lengths (Heron); 0.0 where these form no triangle. Throws KelBugException,
/// after a warning, when it isn't a number.
double computeArea(double len0, double len1, double len2);
/// The area of a triangle by computeArea() on its edge lengths.
double getArea25D(const Point3* p0, const Point3* p1, const Point3* p2);

/// The angle of two unit vectors in degrees, 0 to 180.
double getAngleDegree(const Vector3& a, const Vector3& b);
/// The angle of two unit vectors in radians, 0 to pi.
double getAngleRad(const Vector3& a, const Vector3& b);
/// The smallest interior angle of a triangle in degrees.
double getMinInteriorAngle(const Point3& p0, const Point3& p1, const Point3& p2);

/// The mean of three points.
Point3 barycenter(const Point3& p0, const Point3& p1, const Point3& p2);
/// The mean of two points.
Point3 midpoint(const Point3& p, const Point3& q);
/// Whether a corner coincides with the first one, or the three lie on a line: exactly, without a tolerance.
bool isFlatTriangle(const Point3& p0, const Point3& p1, const Point3& p2);
/// The index of the corner opposite the longest edge. Of equally long edges p0-p1 counts first, then p1-p2, then p2-p0.
int largestEdgeICI(const Point3& p0, const Point3& p1, const Point3& p2);
/// Exact equality of all coordinates.
bool samePoint(const Point3& p, const Point3& q);
/// Six times the signed volume of the tetrahedron; positive when a, b, c run counterclockwise as seen from the side opposite
/// to d. No filter on the sign.
double orientation3(const Point3& a, const Point3& b, const Point3& c, const Point3& d);
/// The centre of the circle through three points; the largest double in all coordinates when they lie on one line.
Point3 get3DCircumCenter(const Point3* p0, const Point3* p1, const Point3* p2);

/// The foot of q on the infinite line through p0 and p1; p0 when these are closer than 1e-10. Throws KelBugException when
/// they are equal.
Point3 getFootPoint3D(const Point3& p0, const Point3& p1, const Point3& q);
/// The smallest of the distances from q to p0, to p1 and to its foot on the infinite line through both. Throws
/// KelBugException when p0 and p1 are equal.
double getPointSegDist(const Point3& p0, const Point3& p1, const Point3& q);
/// Drops coordinate skipIndex, 0 to 2, and moves the others down; z becomes 0. Throws KelBugException for another index.
Point3 project2D(const Point3& p, int skipIndex);
/// The plane through one edge of a triangle at right angles to it. idx: 0 to 2, the corner opposite to the edge. Throws
/// KelBugException for another index and for a degenerate triangle.
Plane getEdgePlane(const Point3* p0, const Point3* p1, const Point3* p2, int idx);

/// The signed volume that triangles enclose, positive when they run counterclockwise as seen from outside; 0.0 for no
/// triangles. Cost: O(n).
/// vCorners: three per triangle; an incomplete triangle at the end isn't read.
double computeVolume(const std::vector<Point3*>& vCorners);
double computeVolume(std::vector<Point3>& vCorners);

/// The box of one, two or three points, each side moved outward by eps.
TARN_LOCATE3::Bbox3 getBbox(const Point3& a, double eps);
TARN_LOCATE3::Bbox3 getBbox(const Point3& a, const Point3& b, double eps);
TARN_LOCATE3::Bbox3 getBbox(const Point3& a, const Point3& b, const Point3& c, double eps);

/// The range that two ranges share, each given by its ends in any order. Without one: a warning, lo the largest double, hi
/// the lowest.
void commonRange(double a0, double a1, double b0, double b1, double& lo, double& hi);
/// The range from the smallest to the largest of four values.
void unionRange(double a0, double a1, double b0, double b1, double& lo, double& hi);

/// Whether the infinite line through p0 and p1 passes through the closed ring of points, in either direction. Cost: O(n).
bool passThrough(const Point3& p0, const Point3& p1, const std::vector<Point3>& vRing);

/// Tests on the bits of the double, which no compiler option can optimise away.
bool tools_isnan(double value);
bool tools_isinf(double value);
/// Whether the value is neither of these.
inline bool tools_isVal(double value) {
    return !tools_isnan(value) && !tools_isinf(value);
}

/// Whether a coordinate isn't a number.
inline bool hasNaN(const Point3& p) {
    return std::isnan(p.x()) || std::isnan(p.y()) || std::isnan(p.z());
}

}  // namespace TARN_KEL
