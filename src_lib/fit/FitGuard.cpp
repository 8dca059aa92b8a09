// A change is refused when a triangle gets lower than a fifth of a cell and lower than it was, when it turns away from its
// former normal and the points don't agree, or when it folds over a neighbour anew. What was bad before may stay bad, or
// meshes with faults could never be mended.
#include "FitGuard.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "fitLimits.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double TURNED = 0.2;         // cosine of former and new normal; beyond it the points decide
const double COUNTED_FOLD = -0.3;  // the same for those that are smoothed out
const double AGREES = 0.5;         // cosine of the normals of a triangle and of a point near it
const double NEW_TURNED = 0.1;
const double BARE_BY_NOISE = 3.0, BARER = 0.1;  // distance of a bare point, in noise; more than before

/// Whether the cosine of two vectors is below TURNED, or one has no length. No root: nearly all are asked in vain.
bool isTurned(const Vector3& a, const Vector3& b) {
    const double product = a * b;
    return !(product > 0.0 && square(product) >= square(TURNED) * a.sqLength() * b.sqLength());
}

bool isCountedFold(const Vector3& a, const Vector3& b) {
    return a * b < 0.0 && cosineOf(a, b) < COUNTED_FOLD;
}

/// The nearest points on one side of the surface, nearest first.
template <std::size_t N>
struct NearestPoints {
    std::array<double, N> sqDistances;
    std::array<FitIndex, N> indices;

    NearestPoints(const FitPoints& points, const PointGrid& grid, const Vector3& place, const SurfaceSide& side) {
        for (double radius = 1.2; radius < 3.0; radius *= 1.6) {
            sqDistances.fill(std::numeric_limits<double>::max());
            indices.fill(NO_INDEX);
            grid.visitWithin(place, radius, [&](FitIndex j, double sqDistance) {
                if (sqDistance < sqDistances.back() && points.isSeenFrom(side, j)) enter(j, sqDistance);
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

}  // namespace

double sqLeastHeight(const TrianglePlaces& t, const Vector3& area) {
    const double longest = std::max({(t[1] - t[0]).sqLength(), (t[2] - t[1]).sqLength(), (t[0] - t[2]).sqLength()});
    return longest > 0.0 ? area.sqLength() / longest : 0.0;
}

TrianglePlaces FitGuard::cornersWith(FitIndex t, FitIndex vertex, const Vector3& there) const {
    const auto at = [&](FitIndex corner) -> const Vector3& { return corner == vertex ? there : fitMesh.place(corner); };
    const FitTriangle& c = fitMesh.corners(t);
    return {at(c[0]), at(c[1]), at(c[2])};
}

// Nearly all moves are harmless, so each area is found once, and roots are avoided.
bool FitGuard::mayMove(FitIndex vertex, const Vector3& to) const {
    std::vector<MovedTriangle> vStar;
    vStar.reserve(8);
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        const TrianglePlaces then = cornersWith(t, vertex, to);
        vStar.push_back({t, then, fitMesh.areaVectorOf(t), areaVector(then)});
    });
    const auto isHarmless = [&](const MovedTriangle& t) { return staysUpright(t) && !foldsAnew(t, vStar); };
    return std::all_of(vStar.begin(), vStar.end(), isHarmless) &&
           std::all_of(vStar.begin(), vStar.end(), [&](const MovedTriangle& t) { return facesAsBefore(t, vertex); });
}

bool FitGuard::staysUpright(const MovedTriangle& t) const {
    const double sqHeight = sqLeastHeight(t.then, t.moved);
    return sqHeight > 0.0 && (sqHeight >= square(minHeight()) || sqHeight >= sqLeastHeight(cornersOf(t.triangle), t.former));
}

bool FitGuard::facesAsBefore(const MovedTriangle& t, FitIndex vertex) const {
    return !isTurned(t.former, t.moved) || sqLeastHeight(cornersOf(t.triangle), t.former) <= square(minHeight()) ||
           agreesWithPoints(t.then, vertexSides.of(vertex));
}

/// Over a neighbour that moves as well, or one that doesn't.
bool FitGuard::foldsAnew(const MovedTriangle& t, const std::vector<MovedTriangle>& vStar) const {
    for (int k = 0; k < 3; ++k) {
        const FitIndex other = fitMesh.neighbour(t.triangle, k);
        if (other == NO_INDEX) continue;
        const auto it =
            std::find_if(vStar.begin(), vStar.end(), [&](const MovedTriangle& o) { return o.triangle == other; });
        const Vector3 former = it != vStar.end() ? it->former : fitMesh.areaVectorOf(other);
        const Vector3 moved = it != vStar.end() ? it->moved : former;
        if (t.moved * moved < 0.0 && isNewFold(cosineOf(t.moved, moved), cosineOf(t.former, former))) return true;
    }
    return false;
}

bool FitGuard::mayReplace(const TrianglePlaces& t, const Vector3& former, const SurfaceSide& side) const {
    return cosineOf(areaVector(t), former) >= NEW_TURNED || agreesWithPoints(t, side);
}

bool FitGuard::foldsOver(FitIndex neighbour, const Vector3& areaNow, const Vector3& areaThen) const {
    if (neighbour == NO_INDEX) return false;
    const Vector3 over = fitMesh.areaVectorOf(neighbour);
    return isNewFold(cosineOf(over, areaNow), cosineOf(over, areaThen));
}

bool FitGuard::agreesWithPoints(const TrianglePlaces& t, const SurfaceSide& side) const {
    const Vector3 n = areaVector(t);
    const double length = n.length();
    if (!(length > 0.0)) return false;
    const NearestPoints<4> nearest(fitPoints, pointGrid, (t[0] + t[1] + t[2]) / 3.0, side);
    return std::any_of(nearest.indices.begin(), nearest.indices.end(),
                       [&](FitIndex j) { return j != NO_INDEX && fitPoints.vNormal[j] * n > AGREES * length; });
}

double FitGuard::distanceToPoints(const Vector3& place, const SurfaceSide& side) const {
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
        const TrianglePlaces c = cornersWith(t, vertex, there);
        const Vector3 n = areaVector(c);
        if (isTurned(n, normal))
            count += 2;
        else if (sqLeastHeight(c, n) < square(minHeight()))
            ++count;
    });
    return count;
}

bool FitGuard::isFold(FitIndex t, FitIndex other) const {
    return isCountedFold(fitMesh.areaVectorOf(t), fitMesh.areaVectorOf(other));
}

double FitGuard::countFolds(FitIndex vertex, const Vector3& there) const {
    double count = 0.0;
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        const TrianglePlaces c = cornersWith(t, vertex, there);
        const Vector3 n = areaVector(c);
        if (n.sqLength() == 0.0) {
            count += 3.0;
            return;
        }
        if (sqLeastHeight(c, n) < square(minHeight())) count += 0.5;
        for (int k = 0; k < 3; ++k) {
            const FitIndex other = fitMesh.neighbour(t, k);
            if (other == NO_INDEX) continue;
            if (isCountedFold(n, areaVector(cornersWith(other, vertex, there)))) count += 1.0;
        }
    });
    return count;
}

bool FitGuard::leavesBare(FitIndex vertex, const Vector3& to, double distance) const {
    const Vector3 from = fitMesh.place(vertex);
    double sqReach = 0.0;
    std::vector<FitIndex> vAround;  // the triangles around the vertex and around its neighbours
    fitMesh.visitTriangles(vertex, [&](FitIndex t) {
        for (const FitIndex corner : fitMesh.corners(t)) {
            sqReach = std::max(sqReach, (fitMesh.place(corner) - from).sqLength());
            fitMesh.visitTriangles(corner, [&](FitIndex other) { vAround.push_back(other); });
        }
    });
    oneInstance(vAround);
    const auto distanceOf = [&](const Vector3& p, const Vector3& there) {
        double least = std::numeric_limits<double>::max();
        for (const FitIndex t : vAround)
            least = std::min(least, sqDistance(p, cornersWith(t, vertex, there)));
        return std::sqrt(least);
    };
    bool bBare = false;
    pointGrid.visitWithin(from, std::min(std::sqrt(sqReach), 2.0 * cell), [&](FitIndex j, double) {
        if (bBare || fitPoints.vPiece[j] != vertexSides.vPiece[vertex]) return;
        const double now = distanceOf(fitPoints.vFitted[j], from), then = distanceOf(fitPoints.vFitted[j], to);
        bBare = then > now && then > std::max(distance + BARE_BY_NOISE * fitPoints.noise, now + BARER);
    });
    return bBare;
}

}  // namespace TARN_KEL
