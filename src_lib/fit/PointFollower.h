#pragma once

#include <array>
#include <vector>

#include "FitState.h"

namespace TARN_KEL {

/// Moves smooth vertices along their normals so that the triangles lie on the points, not only the vertices themselves: a
/// vertex that is placed alone knows neither how flat triangles cut the relief beside it, nor what its own mean took away.
///
/// Each point pulls at the corners of the triangle nearest to it by what it is off the triangle, in proportion to how near
/// it is to each. A vertex follows the mean of its pulls, less where that may be noise; a few rounds of that come near to
/// the least sum of squares.
class PointFollower {
public:
    /// The state is referred to.
    explicit PointFollower(FitState& meshState) : state(meshState), fitMesh(meshState.mesh) {}

    /// vSmooth: for each vertex whether it may move. A move that the guard refuses isn't made. O(points + triangles),
    /// less than 1 us each.
    void follow(const std::vector<unsigned char>& vSmooth);

private:
    /// Where the mesh is nearest to a point.
    struct Foot {
        FitIndex triangle = NO_INDEX;   // none: the point pulls at nothing
        std::array<double, 3> aPart{};  // of each corner, together 1.0
    };

    /// Holds a triangle.
    struct Ball {
        Vector3 centre;
        double radius;
    };

    void findBalls();
    void findFeet();
    FitIndex nearestTriangle(FitIndex point, std::vector<FitIndex>& vAround) const;
    Foot footOn(FitIndex triangle, FitIndex point) const;
    void pull(const std::vector<unsigned char>& vSmooth);

    FitState& state;
    FitMesh& fitMesh;
    std::vector<Ball> vBall;        // of each triangle
    std::vector<Foot> vFoot;        // of each point
    std::vector<Vector3> vNormal;   // of each vertex, as of the beginning
    std::vector<double> vDistance;  // by which each vertex is to move along it
};

}  // namespace TARN_KEL
