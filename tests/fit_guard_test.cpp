// What the guard of a fit refuses: for each of its rules changes on either side of the limit, which no other rule refuses.
#include <cmath>
#include <tuple>
#include <vector>

#include "FitGuard.h"
#include "geometryFunctions.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// A place or direction by x and an angle around the axis of x; lengths in cells, angles in degrees.
Vector3 around(double x, double radius, double degrees) {
    const double angle = degrees / DEGREES_PER_RADIAN;
    return {x, radius * std::cos(angle), radius * std::sin(angle)};
}

/// A mesh in the middle of the room, all of one piece that faces up, and points near it.
class Guarded {
public:
    Guarded(std::vector<Vector3> vPlace, const std::vector<FitTriangle>& vTriangle) {
        for (Vector3& place : vPlace)
            place += MIDDLE;
        mesh = FitMesh(vPlace, vTriangle);
        sides = {std::vector<Vector3>(vPlace.size(), {0.0, 0.0, 1.0}), std::vector<FitIndex>(vPlace.size(), 0)};
    }
    void add(const Vector3& place, const Vector3& normal, FitIndex piece = 0) {
        points.vFitted.push_back(place + MIDDLE);
        points.vNormal.push_back(normal);
        points.vPiece.push_back(piece);
    }
    bool mayMove(FitIndex vertex, const Vector3& to) const {
        const PointGrid grid(points.vFitted, FIT_GRID_EDGE);
        return FitGuard(mesh, points, grid, sides, 1.0).mayMove(vertex, to + MIDDLE);
    }
    bool leavesBare(FitIndex vertex, const Vector3& to) const {
        const PointGrid grid(points.vFitted, FIT_GRID_EDGE);
        return FitGuard(mesh, points, grid, sides, 1.0).leavesBare(vertex, to + MIDDLE);
    }

    FitPoints points;

private:
    const Vector3 MIDDLE{10.0, 10.0, 10.0};
    FitMesh mesh;
    VertexSides sides;
};

/// A triangle that leans around its side along x by so many degrees.
Guarded leaning(double degrees) {
    return {{{-1.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, around(0.0, 1.0, degrees)}, {{0, 1, 2}}};
}
/// The same with a flat one at the other side of it.
Guarded folded(double degrees) {
    return {{{-1.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, around(0.0, 1.0, degrees), {0.0, -1.0, 0.0}}, {{0, 1, 2}, {1, 0, 3}}};
}
/// Its normal.
Vector3 normalAt(double degrees) {
    return around(0.0, 1.0, degrees + 90.0);
}

/// Four sides up to a tip.
Guarded tip() {
    return {{{0.0, 0.0, 1.0}, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {-1.0, 0.0, 0.0}, {0.0, -1.0, 0.0}},
            {{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 4, 1}}};
}

}  // namespace

TEST(FitGuard, makesNoTriangleLowerThanAFifthOfACellUnlessItWasLower) {
    const auto mayBecome = [](double from, double to) {
        const Guarded low({{-1.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, from, 0.0}}, {{0, 1, 2}});
        return low.mayMove(2, {0.0, to, 0.0});
    };
    EXPECT_TRUE(mayBecome(1.0, 0.201));
    EXPECT_FALSE(mayBecome(1.0, 0.199));
    EXPECT_TRUE(mayBecome(0.1, 0.11));
    EXPECT_FALSE(mayBecome(0.1, 0.09));
    EXPECT_FALSE(mayBecome(0.0, 0.0));
}

TEST(FitGuard, turnsNoTriangleFarUnlessPointsAgree) {
    EXPECT_TRUE(leaning(0.0).mayMove(2, around(0.0, 1.0, 78.0)));
    EXPECT_FALSE(leaning(0.0).mayMove(2, around(0.0, 1.0, 79.0)));
    for (const auto& [degrees, piece, bMay] :
         {std::tuple(59.0, 0U, true), std::tuple(61.0, 0U, false), std::tuple(59.0, 1U, false)}) {
        Guarded guarded = leaning(0.0);
        guarded.add({0.0, 0.0, 0.3}, normalAt(90.0 - degrees), piece);
        EXPECT_EQ(guarded.mayMove(2, around(0.0, 1.0, 90.0)), bMay) << degrees;
    }
}

TEST(FitGuard, makesNoFoldAndNoneSharper) {
    const auto mayLean = [](double from, double to) {
        Guarded guarded = folded(from);
        guarded.add({0.0, 0.0, 0.3}, normalAt(100.0));  // agrees with what leans by 40 to 160 degrees
        return guarded.mayMove(2, around(0.0, 1.0, to));
    };
    EXPECT_TRUE(mayLean(0.0, 119.0));
    EXPECT_FALSE(mayLean(0.0, 121.0));
    EXPECT_TRUE(mayLean(130.0, 125.0));
    EXPECT_FALSE(mayLean(125.0, 130.0));
}

TEST(FitGuard, leavesNoPointBareThatTheTrianglesReached) {
    const auto leavesBare = [](double pointAbove, double noise, double down, FitIndex piece = 0) {
        Guarded guarded = tip();
        guarded.add({0.0, 0.0, 1.0 + pointAbove}, {0.0, 0.0, 1.0}, piece);
        guarded.points.noise = noise;
        const Vector3 to{0.0, 0.0, 1.0 - down};
        EXPECT_TRUE(guarded.mayMove(0, to));
        return guarded.leavesBare(0, to);
    };
    EXPECT_FALSE(leavesBare(0.0, 0.0, 0.39));
    EXPECT_TRUE(leavesBare(0.0, 0.0, 0.41));
    EXPECT_FALSE(leavesBare(0.0, 0.1, 0.69));
    EXPECT_TRUE(leavesBare(0.0, 0.1, 0.71));
    EXPECT_FALSE(leavesBare(0.5, 0.0, 0.09)) << "it was bare";
    EXPECT_TRUE(leavesBare(0.5, 0.0, 0.11));
    EXPECT_FALSE(leavesBare(0.0, 0.0, 0.41, 1)) << "a point of another piece";
}
