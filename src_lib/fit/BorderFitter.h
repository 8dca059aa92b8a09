#pragma once

#include <vector>

#include "FitState.h"
#include "PointGrid.h"

namespace TARN_KEL {

/// Moves borders of a mesh out to the last points.
///
/// A border vertex goes out to the farthest point beside it, or to the line from a point on one side to a point on the other
/// one. So a straight rim becomes straight where its points end unevenly. No border goes over another one, or over another
/// part of itself.
class BorderFitter {
public:
    /// The state is referred to.
    explicit BorderFitter(FitState& meshState) : state(meshState), fitMesh(meshState.mesh) {}
    void reachLastPoints();

private:
    /// A vertex on one border, and its neighbours along it.
    struct BorderVertex {
        FitIndex vertex, next, previous;
    };

    void findBorder();
    bool findBorderNeighbours(FitIndex vertex, FitIndex& next, FitIndex& previous) const;
    double distanceToLastPoint(const BorderVertex& at, const Vector3& along, const Vector3& outward) const;
    bool overlaps(const BorderVertex& at, const Vector3& to, const Vector3& along, const Vector3& outward) const;

    FitState& state;
    FitMesh& fitMesh;
    std::vector<BorderVertex> vBorder;
    PointGrid grid;  // of their places when the round began
};

}  // namespace TARN_KEL
