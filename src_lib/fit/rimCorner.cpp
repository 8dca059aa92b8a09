// The rims are the longest edges of the convex hull of the points on either side of the corner: with even points the hull is
// as near to a straight rim as a fraction of the spacing. A round outline has such edges as well, but a circle holds it
// better than two lines do. Between the points and a corner there is room for a point or two, not for more.
#include "rimCorner.h"

#include <algorithm>
#include <cmath>

namespace TARN_KEL {

namespace {

const double MAX_TILT = 0.44;      // radians between a rim and the border before or after the corner
const double MIN_LENGTH = 2.2;     // of the edge of the hull that tells a rim
const double MIN_SINE = 0.7;       // of the angle of both rims
const double MAX_EMPTY = 3.0;      // between both rims and the hull
const double OUTLINE_REACH = 7.0;  // from the corner; a circle differs the more from two lines the longer they are
const double OUTLINE_STEP = 0.5;

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

/// Evenly along the hull, around a corner.
std::vector<RimPlace> outlineAround(const std::vector<RimPlace>& vHull, const RimPlace& corner) {
    std::vector<RimPlace> vPlace;
    for (std::size_t i = 1; i < vHull.size(); ++i) {
        const RimPlace &from = vHull[i - 1], &to = vHull[i];
        const int numSteps = static_cast<int>(std::ceil(distance(from, to) / OUTLINE_STEP));
        for (int k = 0; k < numSteps; ++k) {
            const double part = (k + 0.5) / numSteps;
            const RimPlace place{from.along + part * (to.along - from.along),
                                 from.outward + part * (to.outward - from.outward)};
            if (distance(place, corner) <= OUTLINE_REACH) vPlace.push_back(place);
        }
    }
    return vPlace;
}

/// The sum of the squares of the distances of places from the nearer of two lines.
double sqOffLines(const std::vector<RimPlace>& vPlace, const RimEdge& a, const RimEdge& b) {
    double sum = 0.0;
    for (const RimPlace& p : vPlace) {
        const double off =
            std::min(std::fabs(cross(a.from, a.to, p)) / a.length(), std::fabs(cross(b.from, b.to, p)) / b.length());
        sum += off * off;
    }
    return sum;
}

/// The same for the circle that holds them best: of all x^2 + y^2 = 2 a x + 2 b y + c, which is a linear system. Not a
/// number where they lie on one line.
double sqOffCircle(const std::vector<RimPlace>& vPlace) {
    const auto num = static_cast<double>(vPlace.size());
    RimPlace mean{0.0, 0.0};
    for (const RimPlace& p : vPlace)
        mean = {mean.along + p.along / num, mean.outward + p.outward / num};
    double xx = 0.0, xy = 0.0, yy = 0.0, xs = 0.0, ys = 0.0;
    for (const RimPlace& p : vPlace) {
        const double x = p.along - mean.along, y = p.outward - mean.outward, square = x * x + y * y;
        xx += x * x;
        xy += x * y;
        yy += y * y;
        xs += x * square;
        ys += y * square;
    }
    const double determinant = 2.0 * (xx * yy - xy * xy);
    const double a = (xs * yy - ys * xy) / determinant, b = (ys * xx - xs * xy) / determinant;
    const RimPlace centre{mean.along + a, mean.outward + b};
    const double radius = std::sqrt((xx + yy) / num + a * a + b * b);
    double sum = 0.0;
    for (const RimPlace& p : vPlace) {
        const double off = distance(p, centre) - radius;
        sum += off * off;
    }
    return sum;
}

/// Whether both rims hold the outline better than any circle does.
bool isCorner(const std::vector<RimPlace>& vHull, const RimEdge& before, const RimEdge& after, const RimPlace& corner) {
    const std::vector<RimPlace> vPlace = outlineAround(vHull, corner);
    return sqOffLines(vPlace, before, after) < sqOffCircle(vPlace);
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
    if (empty > MAX_EMPTY || !isCorner(vHull, *before, *after, corner)) return std::nullopt;
    return RimCorner{corner, empty};
}

}  // namespace TARN_KEL
