#pragma once

#include <optional>
#include <vector>

#include "FitState.h"
#include "PointGrid.h"

namespace TARN_KEL {

/// Moves borders of a mesh out to the last points.
///
/// Where two straight rims meet, the nearest border vertex goes to their corner, and stays there.
/// A border vertex goes out to the farthest point beside it, or to the line from a point on one side to a point on the other
/// one. So a straight rim becomes straight where its points end unevenly. No border goes over another one, or over another
/// part of itself.
class BorderFitter {
public:
    /// The state is referred to.
    explicit BorderFitter(FitState& meshState) : state(meshState), fitMesh(meshState.mesh) {}
    void reachRims();

private:
    /// A vertex on one border, and its neighbours along it.
    struct BorderVertex {
        FitIndex vertex, next, previous;
    };

    /// A corner of the points as it looks from a vertex of the border.
    struct Corner {
        FitIndex at;   // in vBorder
        double empty;  // see RimCorner
        Vector3 place, along, outward;
    };

    /// How a border turns at a vertex.
    struct Turn {
        Vector3 along, outward;
        double angle;
    };

    void reachCorners();
    void reachLastPoints();
    void findBorder();
    std::vector<FitIndex> walk(const BorderVertex& at, FitIndex BorderVertex::*towards) const;
    std::optional<Turn> turnAt(const BorderVertex& at, std::vector<FitIndex>& vWalk) const;
    std::optional<Corner> findCorner(FitIndex position);
    bool tryMoveTo(const Corner& corner, const Vector3& place);
    bool findBorderNeighbours(FitIndex vertex, FitIndex& next, FitIndex& previous) const;
    bool isAt(FitIndex vertex, FitIndex nearest) const;
    template <typename Visit>
    void visitBeside(FitIndex vertex, const Vector3& along, const Vector3& outward, double radius, const Visit& visit) const;
    double distanceToLastPoint(const BorderVertex& at, const Vector3& along, const Vector3& outward) const;
    bool overlaps(const BorderVertex& at, const Vector3& to, const Vector3& along, const Vector3& outward) const;

    FitState& state;
    FitMesh& fitMesh;
    std::vector<BorderVertex> vBorder;
    std::vector<FitIndex> vPosition;  // of each vertex in vBorder
    PointGrid grid;                   // of their places when the round began
};

}  // namespace TARN_KEL
