// The rims are the longest edges of the convex hull of the points on either side of the corner: with even points the hull is
// as near to a straight rim as a fraction of the spacing. How much room between the points and the corner is empty tells a
// corner from an arc: random points leave an area empty with a probability that falls by e for each point that it should
// have.
#include "rimCorner.h"

#include <algorithm>
#include <cmath>

namespace TARN_KEL {

namespace {

const double MAX_TILT = 0.44;   // radians between a rim and the border before or after the corner
const double MIN_LENGTH = 1.5;  // of the edge of the hull that tells a rim
const double MIN_SINE = 0.5;    // of the angle of both rims
const double MAX_EMPTY = 4.0;   // between both rims and the hull

/// Twice the area of a triangle; positive where its corners turn left.
double cross(const RimPlace& a, const RimPlace& b, const RimPlace& c) {
    return (b.along - a.along) * (c.outward - a.outward) - (b.outward - a.outward) * (c.along - a.along);
}

double distance(const RimPlace& a, const RimPlace& b) {
    return std::hypot(a.along - b.along, a.outward - b.outward);
}

/// The outward half of the convex hull, along the border.
std::vector<RimPlace> outerHull(std::vector<RimPlace>& vPoint) {
    std::sort(vPoint.begin(), vPoint.end(), [](const RimPlace& a, const RimPlace& b) {
        return a.along != b.along ? a.along < b.along : a.outward < b.outward;
    });
    std::vector<RimPlace> vHull;
    for (const RimPlace& p : vPoint) {
        while (vHull.size() > 1 && cross(vHull[vHull.size() - 2], vHull.back(), p) >= 0.0)
            vHull.pop_back();
        vHull.push_back(p);
    }
    return vHull;
}

/// The end of the longest edge in about a direction; 0 where there is none.
std::size_t longestEdge(const std::vector<RimPlace>& vHull, double angle) {
    std::size_t longest = 0;
    double length = MIN_LENGTH;
    for (std::size_t i = 1; i < vHull.size(); ++i) {
        const RimPlace &a = vHull[i - 1], &b = vHull[i];
        if (std::fabs(std::atan2(b.outward - a.outward, b.along - a.along) - angle) > MAX_TILT || distance(a, b) <= length)
            continue;
        longest = i;
        length = distance(a, b);
    }
    return longest;
}

/// Between the hull and both rims, as far as they reach from the corner.
double emptyArea(const std::vector<RimPlace>& vHull, const RimPlace& corner) {
    double area = 0.0;
    const RimPlace* pFormer = nullptr;
    for (const RimPlace& p : vHull) {
        if (distance(p, corner) > RIM_REACH) continue;
        if (pFormer != nullptr) area += 0.5 * std::fabs(cross(corner, *pFormer, p));
        pFormer = &p;
    }
    return area;
}

}  // namespace

std::optional<RimCorner> findRimCorner(std::vector<RimPlace> vPoint, double turn) {
    const std::vector<RimPlace> vHull = outerHull(vPoint);
    const std::size_t before = longestEdge(vHull, 0.5 * turn), after = longestEdge(vHull, -0.5 * turn);
    if (before == 0 || after == 0 || before == after) return std::nullopt;
    const RimPlace &a = vHull[before - 1], &b = vHull[before], &c = vHull[after - 1], &d = vHull[after];
    const double far = cross(c, d, a), near = cross(c, d, b);
    const double sine = (far - near) / (distance(a, b) * distance(c, d));
    if (std::fabs(sine) < MIN_SINE) return std::nullopt;
    const double part = far / (far - near);
    const RimPlace corner{a.along + part * (b.along - a.along), a.outward + part * (b.outward - a.outward)};
    const double empty = emptyArea(vHull, corner);
    if (empty > MAX_EMPTY) return std::nullopt;
    return RimCorner{corner, empty};
}

}  // namespace TARN_KEL
