#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "FitGuard.h"
#include "FitMesh.h"
#include "FitPoints.h"
#include "PointGrid.h"
#include "SheetFinder.h"

namespace TARN_KEL {

/// What a vertex was put on.
enum class VertexKind : unsigned char {
    AS_IT_WAS,
    ON_SHEET,
    ON_CREASE,
    ON_CORNER,
    HELD  ///< never moves: it belongs to a triangle at a hub
};

/// The other diagonal of two triangles.
struct EdgeFlip {
    FitQuad quad;
    int edge;  // of quad.t
};
/// A new vertex on an edge of two triangles.
struct EdgeSplit {
    FitQuad quad;
    int edge;  // of quad.t
    Vector3 at;
    SurfaceSide side;  // of the edge
};

/// A flip or a split that was performed, of the edge from a to b of the triangles (a, b, c) and (b, a, d).
struct EdgeChange {
    FitIndex a, b, c, d;
    FitIndex newVertex = NO_INDEX;  // of a split

    bool isSplit() const { return newVertex != NO_INDEX; }
};

/// A mesh on its way to the points, and what is known of its vertices and triangles. Its changes keep all lists in step, and
/// ask nothing: whether a change is good is for those to say who make it.
///
/// The unit of length is the spacing of the points.
struct FitState {
    /// Mesh and points are referred to. meshSides: of the vertices as they are. cellEdge: of the grid that the mesh was made
    /// on.
    FitState(FitMesh& fitMesh, const FitPoints& fitPoints, const VertexSides& meshSides, double cellEdge);
    FitState(const FitState&) = delete;
    FitState& operator=(const FitState&) = delete;

    bool isFree(FitIndex vertex) const {
        return vKind[vertex] == VertexKind::AS_IT_WAS || vKind[vertex] == VertexKind::ON_SHEET;
    }
    bool isOnCrease(FitIndex vertex) const {
        return vKind[vertex] == VertexKind::ON_CREASE || vKind[vertex] == VertexKind::ON_CORNER;
    }
    bool isRough(const FitSide& edge) const { return vRough[edge.first] != 0 || vRough[edge.second] != 0; }
    TrianglePlaces cornersOf(FitIndex a, FitIndex b, FitIndex c) const {
        return {mesh.place(a), mesh.place(b), mesh.place(c)};
    }
    /// How far the middle of an edge is off the points; -1.0 where none are near.
    double distanceOfEdge(const FitSide& edge) const;
    /// Where sheets near a vertex may be looked for: NUM_MEANS between it and the mean of its neighbours, then halfway to
    /// each of these.
    std::vector<Vector3> placesAround(FitIndex vertex) const;
    static constexpr std::size_t NUM_MEANS = 3;

    /// None where these ends have no edge of two triangles, or where the mesh forbids the change.
    std::optional<EdgeFlip> findFlip(const FitSide& ends) const;
    /// On the crease nearest to the middle of the edge. None, too, where it cuts no crease.
    std::optional<EdgeSplit> findSplit(const FitSide& ends);

    void moveVertex(FitIndex vertex, const Vector3& to);
    void markChanged(const FitQuad& quad) { vChanged[quad.t] = vChanged[quad.o] = 1; }
    void perform(const EdgeFlip& flip);
    void perform(const EdgeSplit& split);
    /// Take back what was performed last.
    void undo(const EdgeFlip& flip);
    void undo(const EdgeSplit& split);

    FitMesh& mesh;
    const FitPoints& points;
    const PointGrid grid;
    const double cell;
    VertexSides sides;                    // of the vertices
    std::vector<VertexKind> vKind;        // of the vertices
    std::vector<unsigned char> vRough;    // vertices where more than a move along the normal may be needed
    std::vector<unsigned char> vChanged;  // triangles that changed since their edges were judged
    std::vector<EdgeChange> vHistory;     // what was performed and not taken back
    const FitGuard guard;
    SheetFinder finder;
};

}  // namespace TARN_KEL
