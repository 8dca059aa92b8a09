#include "FitGuard.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "fitLimits.h"

namespace TARN_KEL {

namespace {

const double TURNED = 0.2;         // cosine of former and new normal; beyond it the points decide
const double COUNTED_FOLD = -0.3;  // the same for those that are smoothed out
const double AGREES = 0.5;         // cosine of the normals of a triangle and of a point near it
const double NEW_TURNED = 0.1;
const double BARE = 0.4, BARE_BY_NOISE = 3.0, BARER = 0.1;  // distance of a bare point; more than before

/// The nearest points on one side of the surface, nearest first.
template <std::size_t N>
struct NearestPoints {
    std::array<double, N> sqDistances;
    std::array<FitIndex, N> indices;

    NearestPoints(const FitPoints& points, const PointGrid& grid, const Vector3& place, const Vector3& side) {
        for (double radius = 1.2; radius < 3.0; radius *= 1.6) {
            sqDistances.fill(std::numeric_limits<double>::max());
            indices.fill(NO_INDEX);
            grid.visitWithin(place, radius, [&](FitIndex j, double sqDistance) {
                if (sqDistance < sqDistances.back() && points.vNormal[j] * side >= OTHER_SIDE) enter(j, sqDistance);
            });
            if (indices.back() != NO_INDEX) return;
        }
    }

private:
    void enter(FitIndex j, double sqDistance) {
        std::size_t k = N - 1;
        for (; k > 0 && sqDistances[k - 1] > sqDistance; --k) {
            sqDistances[k] = sqDistances[k - 1];
            indices[k] = indices[k - 1];
        }
        sqDistances[k] = sqDistance;
        indices[k] = j;
    }
};

double sqDistanceToSegment(const Vector3& p, const Vector3& a, const Vector3& b) {
    const Vector3 along = b - a;
    const double squares = along.sqLength();
    const double t = squares > 0.0 ? std::clamp((p - a) * along / squares, 0.0, 1.0) : 0.0;
    return (p - a - along * t).sqLength();
}

double sqDistanceToTriangle(const Vector3& p, const Vector3& a, const Vector3& b, const Vector3& c) {
    const Vector3 n = areaVector(a, b, c);
    const bool bInside = crossProduct(b - a, p - a) * n >= 0.0 && crossProduct(c - b, p - b) * n >= 0.0 &&
                         crossProduct(a - c, p - c) * n >= 0.0;
    if (n.sqLength() > 0.0 && bInside) {
        const double height = n * (p - a);
        return height * height / n.sqLength();
    }
    return std::min({sqDistanceToSegment(p, a, b), sqDistanceToSegment(p, b, c), sqDistanceToSegment(p, c, a)});
}

}  // namespace

double leastHeight(const Vector3& a, const Vector3& b, const Vector3& c) {
    const double longest = std::max({(b - a).sqLength(), (c - b).sqLength(), (a - c).sqLength()});
    return longest > 0.0 ? std::sqrt(areaVector(a, b, c).sqLength() / longest) : 0.0;
}

FitGuard::Corners FitGuard::cornersWith(FitIndex t, FitIndex vertex, const Vector3& there) const {
    const auto at = [&](FitIndex corner) -> const Vector3& { return corner == vertex ? there : fitMesh.place(corner); };
    const FitTriangle& c = fitMesh.corners(t);
    return {at(c[0]), at(c[1]), at(c[2])};
}

bool FitGuard::mayMove(FitIndex vertex, const Vector3& to) const {
    bool bMay = true;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) { bMay = bMay && staysUpright(t, vertex, to); });
    return bMay;
}

bool FitGuard::staysUpright(FitIndex t, FitIndex vertex, const Vector3& to) const {
    const Corners now = cornersWith(t, vertex, fitMesh.place(vertex)), then = cornersWith(t, vertex, to);
    const double heightNow = leastHeight(now.a, now.b, now.c), heightThen = leastHeight(then.a, then.b, then.c);
    if (heightThen < minHeight() && heightThen < heightNow) return false;
    const Vector3 former = areaVector(now.a, now.b, now.c), moved = areaVector(then.a, then.b, then.c);
    if (!(moved.sqLength() > 0.0)) return false;
    if (heightNow > minHeight() && cosineOf(former, moved) < TURNED &&
        !agreesWithPoints(then.a, then.b, then.c, vVertexNormal[vertex]))
        return false;
    return !foldsAnew(t, vertex, to, former, moved);
}

bool FitGuard::foldsAnew(FitIndex t, FitIndex vertex, const Vector3& to, const Vector3& former, const Vector3& moved) const {
    for (int k = 0; k < 3; ++k) {
        const FitIndex other = fitMesh.neighbour(t, k);
        if (other == NO_INDEX) continue;
        const Corners then = cornersWith(other, vertex, to);
        const double cosine = cosineOf(moved, areaVector(then.a, then.b, then.c));
        if (cosine < FOLD && cosine < cosineOf(former, fitMesh.areaVectorOf(other))) return true;
    }
    return false;
}

bool FitGuard::mayReplace(const Vector3& a, const Vector3& b, const Vector3& c, const Vector3& former,
                          const Vector3& side) const {
    return cosineOf(areaVector(a, b, c), former) >= NEW_TURNED || agreesWithPoints(a, b, c, side);
}

bool FitGuard::agreesWithPoints(const Vector3& a, const Vector3& b, const Vector3& c, const Vector3& side) const {
    const Vector3 n = areaVector(a, b, c);
    const double length = n.length();
    if (!(length > 0.0)) return false;
    const NearestPoints<4> nearest(fitPoints, pointGrid, (a + b + c) / 3.0, side);
    return std::any_of(nearest.indices.begin(), nearest.indices.end(),
                       [&](FitIndex j) { return j != NO_INDEX && fitPoints.vNormal[j] * n > AGREES * length; });
}

double FitGuard::distanceToPoints(const Vector3& place, const Vector3& side) const {
    double least = -1.0;
    for (const FitIndex j : NearestPoints<3>(fitPoints, pointGrid, place, side).indices) {
        if (j == NO_INDEX) continue;
        const double distance = std::fabs(fitPoints.vNormal[j] * (place - fitPoints.vFitted[j]));
        if (least < 0.0 || distance < least) least = distance;
    }
    return least;
}

int FitGuard::countBad(FitIndex vertex, const Vector3& there, const Vector3& normal) const {
    int count = 0;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        const Corners c = cornersWith(t, vertex, there);
        const Vector3 n = areaVector(c.a, c.b, c.c);
        if (n.sqLength() == 0.0 || cosineOf(n, normal) < TURNED)
            count += 2;
        else if (leastHeight(c.a, c.b, c.c) < minHeight())
            ++count;
    });
    return count;
}

bool FitGuard::isFold(FitIndex t, FitIndex other) const {
    return cosineOf(fitMesh.areaVectorOf(t), fitMesh.areaVectorOf(other)) < COUNTED_FOLD;
}

double FitGuard::countFolds(FitIndex vertex, const Vector3& there) const {
    double count = 0.0;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        const Corners c = cornersWith(t, vertex, there);
        const Vector3 n = areaVector(c.a, c.b, c.c);
        if (n.sqLength() == 0.0) {
            count += 3.0;
            return;
        }
        if (leastHeight(c.a, c.b, c.c) < minHeight()) count += 0.5;
        for (int k = 0; k < 3; ++k) {
            const FitIndex other = fitMesh.neighbour(t, k);
            if (other == NO_INDEX) continue;
            const Corners o = cornersWith(other, vertex, there);
            if (cosineOf(n, areaVector(o.a, o.b, o.c)) < COUNTED_FOLD) count += 1.0;
        }
    });
    return count;
}

bool FitGuard::leavesBare(FitIndex vertex, const Vector3& to) const {
    const Vector3 from = fitMesh.place(vertex);
    double sqReach = 0.0;
    std::vector<FitIndex> vAround;  // the triangles around the vertex and around its neighbours
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        for (const FitIndex corner : fitMesh.corners(t)) {
            sqReach = std::max(sqReach, (fitMesh.place(corner) - from).sqLength());
            fitMesh.visitTriangles(corner, [&](FitIndex other) { vAround.push_back(other); });
        }
    });
    std::sort(vAround.begin(), vAround.end());
    vAround.erase(std::unique(vAround.begin(), vAround.end()), vAround.end());
    const auto sqDistanceOf = [&](const Vector3& p, const Vector3& there) {
        double least = std::numeric_limits<double>::max();
        for (const FitIndex t : vAround) {
            const Corners c = cornersWith(t, vertex, there);
            least = std::min(least, sqDistanceToTriangle(p, c.a, c.b, c.c));
        }
        return std::sqrt(least);
    };
    bool bBare = false;
    pointGrid.visitWithin(from, std::min(std::sqrt(sqReach), 2.0 * cell), [&](FitIndex j, double) {
        if (bBare) return;
        const double now = sqDistanceOf(fitPoints.vFitted[j], from), then = sqDistanceOf(fitPoints.vFitted[j], to);
        bBare = then > now && then > std::max(BARE + BARE_BY_NOISE * fitPoints.noise, now + BARER);
    });
    return bBare;
}

}  // namespace TARN_KEL
