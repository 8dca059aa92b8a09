// The rims are the longest edges of the convex hull of the points on either side of the corner: with even points the hull is
// as near to a straight rim as a fraction of the spacing. A round outline has such edges as well, but no point beyond the
// arc through both. Between the points and a corner there is room for a point or two, not for more.
#include "rimCorner.h"

#include <algorithm>
#include <cmath>

namespace TARN_KEL {

namespace {

const double MAX_TILT = 0.44;    // radians between a rim and the border before or after the corner
const double MIN_LENGTH = 2.2;   // of the edge of the hull that tells a rim
const double MIN_SINE = 0.7;     // of the angle of both rims
const double MAX_EMPTY = 3.0;    // between both rims and the hull
const double BEYOND_ARC = 0.65;  // of a point that lies beyond a round outline

/// Twice the area of a triangle; positive where its corners turn left.
double cross(const RimPlace& a, const RimPlace& b, const RimPlace& c) {
    return (b.along - a.along) * (c.outward - a.outward) - (b.outward - a.outward) * (c.along - a.along);
}

double distance(const RimPlace& a, const RimPlace& b) {
    return std::hypot(a.along - b.along, a.outward - b.outward);
}

/// Of the hull.
struct RimEdge {
    RimPlace from, to;

    double length() const { return distance(from, to); }
    RimPlace middle() const { return {0.5 * (from.along + to.along), 0.5 * (from.outward + to.outward)}; }
    RimPlace direction() const { return {(to.along - from.along) / length(), (to.outward - from.outward) / length()}; }
};

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

/// The longest edge in about a direction.
std::optional<RimEdge> longestEdge(const std::vector<RimPlace>& vHull, double angle) {
    std::optional<RimEdge> longest;
    double length = MIN_LENGTH;
    for (std::size_t i = 1; i < vHull.size(); ++i) {
        const RimEdge edge{vHull[i - 1], vHull[i]};
        const RimPlace direction = edge.direction();
        if (std::fabs(std::atan2(direction.outward, direction.along) - angle) > MAX_TILT || edge.length() <= length)
            continue;
        longest = edge;
        length = edge.length();
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

/// Whether the hull reaches beyond the arc that joins both rims without a corner, from the middle of one edge to that of the
/// other.
bool reachesBeyondArc(const std::vector<RimPlace>& vHull, const RimEdge& before, const RimEdge& after,
                      const RimPlace& corner) {
    const RimPlace u = before.direction(), w = after.direction();
    const double turn = std::acos(std::clamp(u.along * w.along + u.outward * w.outward, -1.0, 1.0));
    const double reach = 0.5 * (distance(before.middle(), corner) + distance(after.middle(), corner));
    const double radius = reach / std::tan(0.5 * turn);
    const RimPlace centre{corner.along - reach * u.along + radius * u.outward,
                          corner.outward - reach * u.outward - radius * u.along};
    return std::any_of(vHull.begin(), vHull.end(), [&](const RimPlace& p) {
        const double x = p.along - corner.along, y = p.outward - corner.outward;
        const bool bBetween = x * u.along + y * u.outward > -reach && x * w.along + y * w.outward < reach;
        return bBetween && distance(p, centre) > radius + BEYOND_ARC;
    });
}

}  // namespace

std::optional<RimCorner> findRimCorner(std::vector<RimPlace> vPoint, double turn) {
    const std::vector<RimPlace> vHull = outerHull(vPoint);
    const std::optional<RimEdge> before = longestEdge(vHull, 0.5 * turn), after = longestEdge(vHull, -0.5 * turn);
    if (!before || !after) return std::nullopt;
    const double far = cross(after->from, after->to, before->from), near = cross(after->from, after->to, before->to);
    if (std::fabs(far - near) < MIN_SINE * before->length() * after->length()) return std::nullopt;
    const double part = far / (far - near);
    const RimPlace corner{before->from.along + part * (before->to.along - before->from.along),
                          before->from.outward + part * (before->to.outward - before->from.outward)};
    const double empty = emptyArea(vHull, corner);
    if (empty > MAX_EMPTY || !reachesBeyondArc(vHull, *before, *after, corner)) return std::nullopt;
    return RimCorner{corner, empty};
}

}  // namespace TARN_KEL
