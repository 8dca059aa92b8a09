// Cuts polygons into triangles.
//
// The normals of a fan's triangles add up to the normal of the polygon, whose length is twice the area. A triangle whose
// normal points the other way lies outside the polygon, and others cover it twice. Such a polygon is turned into the plane,
// where it runs counterclockwise, and loses one ear after the other: a convex corner with no other corner in the triangle
// that it makes with its neighbours.
#include "polygons.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double ROUNDED = 1e-12;  // of the square of the diameter: an area that may be rounding alone
constexpr double FLAT = 1e-3;      // of the diameter: how far a corner may be from the plane

/// A corner in the plane.
struct Place {
    double x, y;
    bool operator==(const Place&) const = default;
};

/// Twice the area of a triangle, negative when it runs clockwise.
double twiceArea(const Place& a, const Place& b, const Place& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

/// Cuts ears off one polygon.
class EarCutter {
public:
    /// vPlace_: the corners, counterclockwise; must outlive this object. leastArea_: twice that of an ear.
    EarCutter(const std::vector<Place>& vPlace_, double leastArea_)
        : vPlace(vPlace_), leastArea(leastArea_), vPrev(vPlace.size()), vNext(vPlace.size()) {
        for (std::size_t i = 0; i < vPlace.size(); ++i) {
            vNext[i] = (i + 1) % vPlace.size();
            vPrev[vNext[i]] = i;
        }
    }

    /// Three corners a triangle; empty when some corners are left that have no ear.
    std::vector<std::size_t> cut() {
        std::vector<std::size_t> vCorner;
        std::size_t numLeft = vPlace.size(), numTried = 0, i = 0;
        while (numLeft > 3 && numTried < numLeft) {
            if (!isEar(i)) {
                i = vNext[i];
                ++numTried;
                continue;
            }
            vCorner.insert(vCorner.end(), {vPrev[i], i, vNext[i]});
            vNext[vPrev[i]] = vNext[i];
            vPrev[vNext[i]] = vPrev[i];
            i = vNext[vNext[i]];  // not its neighbour, which would make a fan of slivers
            --numLeft;
            numTried = 0;
        }
        if (numLeft > 3) return {};
        vCorner.insert(vCorner.end(), {vPrev[i], i, vNext[i]});
        return vCorner;
    }

private:
    bool isConvex(std::size_t i) const { return twiceArea(vPlace[vPrev[i]], vPlace[i], vPlace[vNext[i]]) > leastArea; }

    bool isEar(std::size_t i) const {
        if (!isConvex(i)) return false;
        const Place &a = vPlace[vPrev[i]], &b = vPlace[i], &c = vPlace[vNext[i]];
        for (std::size_t k = vNext[vNext[i]]; k != vPrev[i]; k = vNext[k]) {
            const Place& p = vPlace[k];
            if (p == a || p == b || p == c) continue;  // the edge that joins a hole to the outline is listed twice
            const bool bInside = twiceArea(a, b, p) > 0.0 && twiceArea(b, c, p) > 0.0 && twiceArea(c, a, p) >= 0.0;
            if (bInside && !isConvex(k)) return false;
        }
        return true;
    }

    const std::vector<Place>& vPlace;
    const double leastArea;
    std::vector<std::size_t> vPrev, vNext;
};

/// What matters of a polygon in space. All coordinates must be finite.
class Outline {
public:
    explicit Outline(std::vector<Point3> vCorner_) : vCorner(std::move(vCorner_)) {
        for (const Point3& p : vCorner)
            diameter = std::max(diameter, (p - vCorner[0]).length());
        for (std::size_t i = 2; i < vCorner.size(); ++i)
            normal = normal + fanNormal(i);
    }

    /// Whether a triangle of its fan points the other way.
    bool isFolded() const {
        const double rounded = ROUNDED * diameter * diameter * normal.length();
        for (std::size_t i = 2; i < vCorner.size(); ++i)
            if (fanNormal(i) * normal < -rounded) return true;
        return false;
    }
    bool isFlat() const {
        const double length = normal.length();
        return length > ROUNDED * diameter * diameter && std::all_of(vCorner.begin(), vCorner.end(), [&](const Point3& p) {
                   return std::abs((p - vCorner[0]) * normal) <= FLAT * diameter * length;
               });
    }
    /// Three corners a triangle, by their numbers; empty where that can't be. It must be flat.
    std::vector<std::size_t> ears() const {
        if (vCorner.size() > PolygonCutter::MAX_EARS) return {};
        const bool bX = std::abs(normal.x()) < 0.6 * normal.length();  // an axis that isn't near the normal
        const Vector3 u = crossProduct(normal, bX ? Vector3(1, 0, 0) : Vector3(0, 1, 0));
        const Vector3 unitU = u * (1.0 / u.length());
        const Vector3 unitV = crossProduct(normal * (1.0 / normal.length()), unitU);
        std::vector<Place> vPlace;
        vPlace.reserve(vCorner.size());
        for (const Point3& p : vCorner)
            vPlace.push_back({(p - vCorner[0]) * unitU, (p - vCorner[0]) * unitV});
        return EarCutter(vPlace, ROUNDED * diameter * diameter).cut();
    }

private:
    Vector3 fanNormal(std::size_t i) const { return crossProduct(vCorner[i - 1] - vCorner[0], vCorner[i] - vCorner[0]); }

    std::vector<Point3> vCorner;
    Vector3 normal{0, 0, 0};
    double diameter = 0.0;
};

}  // namespace

void PolygonCutter::endPolygon() {
    if (numCorners < 3) ++numTooSmall;
    if (numCorners > 3) vFan.push_back({vIndices.size() - 3 * (numCorners - 2), numCorners});
    numCorners = 0;
}

std::vector<int> PolygonCutter::cornersOf(const Fan& fan) const {
    std::vector<int> vCorner{vIndices[fan.firstIndex], vIndices[fan.firstIndex + 1]};
    for (std::size_t i = 2; i < fan.numCorners; ++i)
        vCorner.push_back(vIndices[fan.firstIndex + 3 * (i - 2) + 2]);
    return vCorner;
}

void PolygonCutter::finish(const std::vector<Point3>& vVertices, std::size_t numOlder) {
    for (const Fan& fan : vFan) {
        const std::vector<int> vCorner = cornersOf(fan);
        std::vector<Point3> vPlace;
        vPlace.reserve(vCorner.size());
        for (const int corner : vCorner)
            vPlace.push_back(vVertices[numOlder + static_cast<std::size_t>(corner)]);
        if (!std::all_of(vPlace.begin(), vPlace.end(), isFinitePoint)) continue;
        const Outline outline(std::move(vPlace));
        if (!outline.isFolded() || !outline.isFlat()) continue;
        const std::vector<std::size_t> vEar = outline.ears();
        if (vEar.empty()) ++numFolded;
        std::transform(vEar.begin(), vEar.end(), vIndices.begin() + static_cast<std::ptrdiff_t>(fan.firstIndex),
                       [&vCorner](std::size_t i) { return vCorner[i]; });
    }
    vFan.clear();
}

void PolygonCutter::warn(const std::string& filename) const {
    if (numTooSmall > 0)
        warning("readTriangles_auto",
                filename + ": left out " + toString(numTooSmall) + " faces of fewer than three corners");
    if (numFolded > 0)
        warning("readTriangles_auto", filename + ": the triangles of " + toString(numFolded) +
                                          " faces lie on each other, as they have too many corners or cross themselves");
}

}  // namespace TARN_KEL
