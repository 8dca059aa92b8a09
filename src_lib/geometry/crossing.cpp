// Decides whether triangles cross, by the signs of determinants alone.
//
// Where the planes differ, let L be the line in which they meet. Each triangle has a corner p that is alone on its side of
// the other plane; L cuts the two sides from p, and the interior between the two cuts. With p1 above the plane of the other
// triangle, p2 above that of the first, and both counterclockwise as seen from above, the cuts lie on L like this:
//
//       first     r1 ======== q1
//       second         q2 ======== r2
//
// So the two have a stretch in common when q2 comes before q1, and r1 before r2. Which of two cuts comes first is the sign
// of the volume between the two sides that L cuts.
#include "crossing.h"

#include <algorithm>
#include <utility>

#include "ExactNumber.h"

namespace TARN_KEL {

namespace {

using Signs = std::array<int, 3>;

struct ExactPoint {
    ExactPoint(const Point3& p, int exponent) : x(p.x(), exponent), y(p.y(), exponent), z(p.z(), exponent) {}
    ExactNumber x, y, z;
};

Vector3 absProducts(const Vector3& u, const Vector3& v) {
    const auto sum = [](double a, double b) { return std::abs(a) + std::abs(b); };
    return {sum(u.y() * v.z(), u.z() * v.y()), sum(u.z() * v.x(), u.x() * v.z()), sum(u.x() * v.y(), u.y() * v.x())};
}

Signs sidesOf(const TriangleCorners& t, const ExactPlane& plane) {
    return {plane.sideOf(t[0]), plane.sideOf(t[1]), plane.sideOf(t[2])};
}

bool areOnBothSides(const Signs& signs) {
    const auto [lowest, highest] = std::minmax({signs[0], signs[1], signs[2]});
    return lowest < 0 && highest > 0;
}

/// The corner that has no other one on its side.
std::size_t aloneCorner(const Signs& signs) {
    for (std::size_t i = 0; i < 2; ++i)
        if (signs[i] != 0 && signs[i] != signs[(i + 1) % 3] && signs[i] != signs[(i + 2) % 3]) return i;
    return 2;
}

bool haveCommonStretch(const TriangleCorners& s, const Signs& sSigns, const TriangleCorners& t, const Signs& tSigns) {
    const std::size_t i = aloneCorner(sSigns), j = aloneCorner(tSigns);
    const Point3 &p1 = s[i], &p2 = t[j];
    const Point3 *q1 = &s[(i + 1) % 3], *r1 = &s[(i + 2) % 3], *q2 = &t[(j + 1) % 3], *r2 = &t[(j + 2) % 3];
    if (sSigns[i] < 0) std::swap(q2, r2);
    if (tSigns[j] < 0) std::swap(q1, r1);
    return ExactPlane(p1, *q1, p2).sideOf(*q2) < 0 && ExactPlane(p1, *r1, p2).sideOf(*r2) > 0;
}

// ---- In one plane: the triangles are seen along an axis -----------------------------------------------------------------

struct Flat {
    double x, y;
    bool operator==(const Flat& other) const { return x == other.x && y == other.y; }
};
using FlatTriangle = std::array<Flat, 3>;

Flat seenAlong(const Point3& p, int axis) {
    if (axis == 0) return {p.y(), p.z()};
    return axis == 1 ? Flat{p.z(), p.x()} : Flat{p.x(), p.y()};
}

int exactTurn(const Flat& a, const Flat& b, const Flat& c) {
    const int exponent = ExactNumber::lowestBit({a.x, a.y, b.x, b.y, c.x, c.y});
    const auto whole = [exponent](double value) { return ExactNumber(value, exponent); };
    const ExactNumber ax = whole(a.x), ay = whole(a.y);
    return ((whole(b.x) - ax) * (whole(c.y) - ay) - (whole(b.y) - ay) * (whole(c.x) - ax)).sign();
}

/// 1 when a, b, c turn left, -1 when they turn right, 0 on a line; nothing where rounding might decide.
std::optional<int> quickTurn(const Flat& a, const Flat& b, const Flat& c) {
    constexpr double ERROR = 4e-16, TINY = 1e-300;  // 3.4e-16 times the sum of the products is the most
    const double left = (b.x - a.x) * (c.y - a.y), right = (b.y - a.y) * (c.x - a.x);
    const double bound = ERROR * (std::abs(left) + std::abs(right)) + TINY;
    if (left - right > bound) return 1;
    if (right - left > bound) return -1;
    if (c == a || c == b) return 0;
    return std::nullopt;
}

int turn(const Flat& a, const Flat& b, const Flat& c) {
    const std::optional<int> quick = quickTurn(a, b, c);
    return quick ? *quick : exactTurn(a, b, c);
}

FlatTriangle seenAlong(const TriangleCorners& t, int axis) {
    return {seenAlong(t[0], axis), seenAlong(t[1], axis), seenAlong(t[2], axis)};
}

/// The axis along which a triangle looks largest.
int steepestAxis(const TriangleCorners& t) {
    const Vector3 n = crossProduct(t[1] - t[0], t[2] - t[0]);
    return std::max({0, 1, 2}, [&n](int i, int j) { return std::abs(n.getCartesian(i)) < std::abs(n.getCartesian(j)); });
}

/// Makes it counterclockwise. False for a triangle without area; with quickTurn() also where that isn't sure.
template <typename Turn>
bool turnLeft(FlatTriangle& t, const Turn& turnOf) {
    const std::optional<int> sign = turnOf(t[0], t[1], t[2]);
    if (sign == -1) std::swap(t[1], t[2]);
    return sign && *sign != 0;
}

/// A side of s, which is counterclockwise, has all of t on its right or on itself; with quickTurn() only where that is sure.
template <typename Turn>
bool isSeparatedBySideOf(const FlatTriangle& s, const FlatTriangle& t, const Turn& turnOf) {
    for (std::size_t i = 0; i < 3; ++i) {
        const auto isBeyond = [&](const Flat& p) {
            const std::optional<int> sign = turnOf(s[i], s[(i + 1) % 3], p);
            return sign && *sign <= 0;
        };
        if (std::all_of(t.begin(), t.end(), isBeyond)) return true;
    }
    return false;
}

/// Whether a plane that is upright along an axis parts the triangles, as it does nearly always when they lie beside each
/// other in one plane; where no rounding can hide it. Then they don't cross, whether they lie in one plane or not.
bool areClearlyApart(const TriangleCorners& s, const TriangleCorners& t) {
    const int axis = steepestAxis(s);
    FlatTriangle flatS = seenAlong(s, axis), flatT = seenAlong(t, axis);
    return (turnLeft(flatS, quickTurn) && isSeparatedBySideOf(flatS, flatT, quickTurn)) ||
           (turnLeft(flatT, quickTurn) && isSeparatedBySideOf(flatT, flatS, quickTurn));
}

/// The triangles lie in one plane, or one of them is flat.
bool areOverlapping(const TriangleCorners& s, const TriangleCorners& t) {
    const int steepest = steepestAxis(s);
    for (int i = 0; i < 3; ++i) {
        const int axis = (steepest + i) % 3;
        FlatTriangle flatS = seenAlong(s, axis), flatT = seenAlong(t, axis);
        if (!turnLeft(flatS, turn)) continue;  // upright along this axis, or rounding chose a wrong one
        return turnLeft(flatT, turn) && !isSeparatedBySideOf(flatS, flatT, turn) && !isSeparatedBySideOf(flatT, flatS, turn);
    }
    return false;
}

}  // namespace

ExactPlane::ExactPlane(const Point3& a_, const Point3& b_, const Point3& c_) : a(a_), b(b_), c(c_) {
    const Vector3 u = b - a, v = c - a;
    n = crossProduct(u, v);
    size = absProducts(u, v);
}

int ExactPlane::exactSideOf(const Point3& p) const {
    const int exponent =
        ExactNumber::lowestBit({a.x(), a.y(), a.z(), b.x(), b.y(), b.z(), c.x(), c.y(), c.z(), p.x(), p.y(), p.z()});
    const ExactPoint from(a, exponent);
    const auto difference = [&](const Point3& to) {
        ExactPoint d(to, exponent);
        d.x = d.x - from.x;
        d.y = d.y - from.y;
        d.z = d.z - from.z;
        return d;
    };
    const ExactPoint u = difference(b), v = difference(c), w = difference(p);
    return (w.x * (u.y * v.z - u.z * v.y) + w.y * (u.z * v.x - u.x * v.z) + w.z * (u.x * v.y - u.y * v.x)).sign();
}

bool areCrossing(const TriangleCorners& s, const TriangleCorners& t) {
    const ExactPlane plane(s);
    const auto isDoubtful = [&](const Point3& p) { return !plane.quickSideOf(p); };
    if (std::any_of(t.begin(), t.end(), isDoubtful) && areClearlyApart(s, t)) return false;
    const Signs tSigns = sidesOf(t, plane);
    if (tSigns == Signs{0, 0, 0}) return areOverlapping(s, t);
    if (!areOnBothSides(tSigns)) return false;
    const Signs sSigns = sidesOf(s, ExactPlane(t));
    return areOnBothSides(sSigns) && haveCommonStretch(s, sSigns, t, tSigns);
}

}  // namespace TARN_KEL
