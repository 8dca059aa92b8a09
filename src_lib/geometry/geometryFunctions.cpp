// Normals, areas, angles, volumes and other geometry of points.
#include "geometryFunctions.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <utility>

#include "Moments.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double LARGEST = std::numeric_limits<double>::max();

std::ostream& printTriple(std::ostream& out, double x, double y, double z) {
    return out << x << " " << y << " " << z;
}

}  // namespace

// ---- The value types of the public header -------------------------------------------------------------------------------

double Vector3::getCartesian(int i) const {
    if (i == 0) return x_;
    if (i == 1) return y_;
    if (i == 2) return z_;
    out() << "getCartesian for i=" + toString(i) + "\n" << std::flush;
    return LARGEST;
}

double Vector3::getMaxAbsComponent() const {
    return std::max({std::fabs(x_), std::fabs(y_), std::fabs(z_)});
}

int Vector3::getMaxAbsIndex() const {
    const double x = std::fabs(x_), y = std::fabs(y_), z = std::fabs(z_);
    if (!(x < y) && !(x < z)) return 0;
    return !(y < z) ? 1 : 2;
}

bool Vector3::isNV() const {
    return std::fabs(sqLength() - 1.0) < 0.03;
}

std::ostream& operator<<(std::ostream& out, const Vector3& v) {
    return printTriple(out, v.x(), v.y(), v.z());
}

std::ostream& operator<<(std::ostream& out, const Point3& p) {
    return printTriple(out, p.x(), p.y(), p.z());
}

const char* KelBugException::what() const noexcept {
    return "KEL Exception - Bug *OR* wrong usage. Report a bug and it will be fixed quickly bugs@kel.example";
}

const char* KelStoppedException::what() const noexcept {
    return "KEL: the run was stopped";
}

// ---- Normals and the least-squares plane --------------------------------------------------------------------------------

Vector3 getNormalVector(const Point3& p0, const Point3& p1, const Point3& p2, bool& bOK) {
    bOK = false;
    const Vector3 a = p1 - p0, b = p2 - p0;
    if (a.isDegenerate() || b.isDegenerate()) return {};
    const Vector3 c = crossProduct(normalize(a), normalize(b));
    if (c.length() == 0.0) return c;
    bOK = true;
    return normalize(c);
}

double normalTurn(const Point3& p, const Point3& next, const Point3& previous, const Point3& newP) {
    bool bOK = false;
    const Vector3 newNNV = getNormalVector(newP, next, previous, bOK);
    if (!bOK) return 360.0;
    const Vector3 oldNNV = getNormalVector(p, next, previous, bOK);
    return bOK ? getAngleDegree(oldNNV, newNNV) : -1.0;
}

namespace {

// Summed as offsets from the first point: the mean of copies of one point is that point exactly, and a cloud far from the
// origin loses no digits.
Point3 meanOf(const std::vector<Point3*>& vPoints) {
    const Point3& origin = *vPoints[0];
    Vector3 sum;
    for (const Point3* p : vPoints)
        sum += *p - origin;
    return origin + sum / static_cast<double>(vPoints.size());
}

}  // namespace

bool estimateNNV(const std::vector<Point3*>& vPoints, Vector3& nv, Point3& centroid) {
    if (vPoints.size() < 3) return false;
    const Point3 mean = meanOf(vPoints);
    Moments moments;
    for (const Point3* p : vPoints)
        moments.add(*p - mean);
    const Vector3 raw = moments.getNormal();
    if (raw.isDegenerate()) return false;
    nv = normalize(raw);
    centroid = mean;
    return true;
}

// ---- Areas, angles, volumes ---------------------------------------------------------------------------------------------

double getArea(const Point3* p0, const Point3* p1, const Point3* p2) {
    return crossProduct(*p1 - *p0, *p2 - *p0).length() * 0.5;
}

double computeArea(double len0, double len1, double len2) {
    const double s = (len0 + len1 + len2) * 0.5;
    const double v = (s - len0) * s * (s - len1) * (s - len2);
    if (tools_isnan(v)) {
        warning("computeArea()", "invalid value, no area for this triangle");
        out() << "ownHalfCircf=" + toString(s) + "\nlen0=" + toString(len0) + "\nlen1=" + toString(len1) +
                     "\nlen2=" + toString(len2) + "\n"
              << std::flush;
        ASSEX(false);
    }
    return v > 0.0 ? std::sqrt(v) : 0.0;
}

double getArea25D(const Point3* p0, const Point3* p1, const Point3* p2) {
    return computeArea((*p1 - *p0).length(), (*p2 - *p1).length(), (*p0 - *p2).length());
}

double getAngleDegree(const Vector3& a, const Vector3& b) {
    const double dot = a * b;
    if (dot > 1.0) return 0.0;
    if (dot < -1.0) return 180.0;
    return DEGREES_PER_RADIAN * std::acos(dot);
}

double getAngleRad(const Vector3& a, const Vector3& b) {
    const double dot = a * b;
    if (dot > 1.0) return 0.0;
    if (dot < -1.0) return HALF_TURN;
    return std::acos(dot);
}

double getMinInteriorAngle(const Point3& p0, const Point3& p1, const Point3& p2) {
    const Vector3 e01 = normalize(p1 - p0), e12 = normalize(p2 - p1), e20 = normalize(p0 - p2);
    return std::min({getAngleDegree(e01, -e20), getAngleDegree(e12, -e01), getAngleDegree(e20, -e12)});
}

double orientation3(const Point3& a, const Point3& b, const Point3& c, const Point3& d) {
    return (a - d) * crossProduct(b - d, c - d);
}

// Cones from the first corner r to the triangles; those that leave the solid count negative.
double computeVolume(const std::vector<Point3*>& vCorners) {
    if (vCorners.empty()) return 0.0;
    const Point3& r = *vCorners[0];
    double sum = 0.0;
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3) {
        const Point3 &t0 = *vCorners[i], &t1 = *vCorners[i + 1], &t2 = *vCorners[i + 2];
        bool bOK = false;  // a degenerate triangle has a zero normal and adds 0
        const Vector3 n = getNormalVector(t0, t1, t2, bOK);
        sum += getArea25D(&t0, &t1, &t2) * ((t0 - r) * n) / 3.0;
    }
    return sum;
}

double computeVolume(std::vector<Point3>& vCorners) {
    std::vector<Point3*> vPointers;
    vPointers.reserve(vCorners.size());
    for (Point3& p : vCorners)
        vPointers.push_back(&p);
    return computeVolume(vPointers);
}

// ---- Points, lines, planes ----------------------------------------------------------------------------------------------

Point3 barycenter(const Point3& p0, const Point3& p1, const Point3& p2) {
    return {(p0.x() + p1.x() + p2.x()) / 3.0, (p0.y() + p1.y() + p2.y()) / 3.0, (p0.z() + p1.z() + p2.z()) / 3.0};
}

Point3 midpoint(const Point3& p, const Point3& q) {
    return {(p.x() + q.x()) / 2.0, (p.y() + q.y()) / 2.0, (p.z() + q.z()) / 2.0};
}

bool isFlatTriangle(const Point3& p0, const Point3& p1, const Point3& p2) {
    const Vector3 a = p1 - p0, b = p2 - p0;
    return a.isDegenerate() || b.isDegenerate() || crossProduct(a, b).sqLength() == 0.0;
}

int largestEdgeICI(const Point3& p0, const Point3& p1, const Point3& p2) {
    const double len01 = (p1 - p0).sqLength(), len12 = (p2 - p1).sqLength(), len20 = (p0 - p2).sqLength();
    if (len01 >= len12 && len01 >= len20) return 2;
    return len12 >= len20 ? 0 : 1;
}

bool samePoint(const Point3& p, const Point3& q) {
    return p == q;
}

Point3 get3DCircumCenter(const Point3* p0, const Point3* p1, const Point3* p2) {
    const Vector3 a = *p2 - *p0, b = *p1 - *p0;
    const Vector3 c = crossProduct(b, a);
    const double sqLen = c.sqLength();
    if (sqLen == 0.0) return {LARGEST, LARGEST, LARGEST};
    const Vector3 e = crossProduct(c, b), f = crossProduct(a, c);
    return *p0 + (e * a.sqLength() + f * b.sqLength()) / (2.0 * sqLen);
}

Point3 getFootPoint3D(const Point3& p0, const Point3& p1, const Point3& q) {
    ASSEX(p0.x()!=p1.x() || p0.y()!=p1.y() || p0.z()!=p1.z());
    const Vector3 u = p1 - p0;
    const double len = u.length();
    if (len < 1e-10) return p0;
    const Vector3 unit = u / len;
    return p0 + unit * ((q - p0) * unit);
}

double getPointSegDist(const Point3& p0, const Point3& p1, const Point3& q) {
    const Point3 foot = getFootPoint3D(p0, p1, q);
    return std::sqrt(std::min({(q - p0).sqLength(), (q - p1).sqLength(), (q - foot).sqLength()}));
}

Point3 project2D(const Point3& p, int skipIndex) {
    if (skipIndex == 0) return {p.y(), p.z(), 0.0};
    if (skipIndex == 1) return {p.x(), p.z(), 0.0};
    if (skipIndex != 2) {
        warning(KEL_PLACE, "wrong skipIndex");
        ASSEX(false);
    }
    return {p.x(), p.y(), 0.0};
}

// ---- Boxes, ranges, bits ------------------------------------------------------------------------------------------------

TARN_LOCATE3::Bbox3 getBbox(const Point3& a, double eps) {
    return getBbox(a, a, a, eps);
}

TARN_LOCATE3::Bbox3 getBbox(const Point3& a, const Point3& b, double eps) {
    return getBbox(a, b, b, eps);
}

TARN_LOCATE3::Bbox3 getBbox(const Point3& a, const Point3& b, const Point3& c, double eps) {
    TARN_LOCATE3::Bbox3 box(a.x(), a.y(), a.z(), a.x(), a.y(), a.z());
    box.widen(b.x(), b.y(), b.z());
    box.widen(c.x(), c.y(), c.z());
    return {box.minX - eps, box.minY - eps, box.minZ - eps, box.maxX + eps, box.maxY + eps, box.maxZ + eps};
}

void commonRange(double a0, double a1, double b0, double b1, double& lo, double& hi) {
    if (a0 > a1) std::swap(a0, a1);
    if (b0 > b1) std::swap(b0, b1);
    if (a0 > b1 || b0 > a1) {
        warning("commonRange()", "empty range, unexpected, returning +DBL_MAX,-DBL_MAX");
        lo = LARGEST;
        hi = -LARGEST;
        return;
    }
    lo = std::max(a0, b0);
    hi = std::min(a1, b1);
}

void unionRange(double a0, double a1, double b0, double b1, double& lo, double& hi) {
    lo = std::min({a0, a1, b0, b1});
    hi = std::max({a0, a1, b0, b1});
}

namespace {

constexpr std::uint64_t EXPONENT_BITS = 0x7ff0000000000000;
constexpr std::uint64_t MANTISSA_BITS = 0x000fffffffffffff;

}  // namespace

bool tools_isnan(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    return (bits & EXPONENT_BITS) == EXPONENT_BITS && (bits & MANTISSA_BITS) != 0;
}

bool tools_isinf(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    return (bits & EXPONENT_BITS) == EXPONENT_BITS && (bits & MANTISSA_BITS) == 0;
}

}  // namespace TARN_KEL
