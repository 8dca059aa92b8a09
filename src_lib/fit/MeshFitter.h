#pragma once

#include <cstddef>
#include <vector>

#include "BorderFitter.h"
#include "EdgeFitter.h"
#include "FitState.h"
#include "countCrossings.h"

namespace TARN_KEL {

/// What a fit did.
struct FitCounts {
    std::size_t numCorners = 0, numOnCreases = 0;  // vertices put there
    std::size_t numFlips = 0;
    std::size_t numSplits = 0;                // those that stay, counted at the end by SurfaceFit
    std::size_t numPairs = 0;                 // of these, two at a time
    std::size_t numSpots = 0, numMended = 0;  // off the points or folded; what was mended of that
    std::size_t numUnfolded = 0;              // vertices moved to smooth folds
    std::size_t numUntangled = 0;             // vertices moved because triangles passed through each other
};

/// Moves the vertices of a mesh to where the points say that the surface is, and brings its edges onto creases.
///
/// Three rounds: all vertices go to their nearest sheet; then the nearest vertex to each corner there, then vertices onto
/// creases, then edges are flipped towards the points. In the last one edges that still cut a crease are split on it. Every
/// change is judged by the guard. Then borders go out to the last points. What is off the points or folded then is mended by
/// several changes at once. Finally smooth vertices are lifted by what the triangles cut off the curved sheet, and follow
/// the points (PointFollower). untangle() parts triangles that pass through each other then.
///
/// The unit of length is the spacing of the points.
class MeshFitter {
public:
    /// Mesh and points are referred to. meshSides: of the vertices as they are. cellEdge: of the grid that the mesh was made
    /// on.
    MeshFitter(FitMesh& mesh, const FitPoints& points, const VertexSides& meshSides, double cellEdge);
    FitCounts fit();
    /// Moves vertices so that the pairs, which cross now, don't. Returns how many moved.
    std::size_t untangle(std::vector<CrossingPair> vPair);
    /// The flips and splits of the fit, in their order.
    const std::vector<EdgeChange>& history() const { return state.vHistory; }

private:
    void holdHubs();
    void findPlaces();
    void markRough();
    void smoothFolds();
    void moveToSheets();
    void turnBadUpright(bool bAll);
    void moveToCorners();
    void moveToCreases();
    void freeStuck();
    bool tryFree(FitIndex vertex);
    bool tryFreeBy(FitIndex vertex, const Vector3& near);
    void flipEdges();
    bool splitEdges();
    void mendSpots();
    std::vector<FitIndex> touchedVertices() const;
    std::vector<FitIndex> roughTriangles() const;
    bool isSmooth(FitIndex vertex) const;
    bool isSettled(FitIndex vertex) const { return vSettled[vertex] != 0 && state.vRough[vertex] == 0; }
    void liftByChords();
    void followPoints();

    bool tryUnfold(FitIndex vertex);
    bool tryTurnUpright(FitIndex vertex);

    FitState state;
    FitMesh& fitMesh;
    const FitGuard& guard;
    EdgeFitter edges;
    BorderFitter borders;
    const std::vector<Vector3> vStart;  // where the vertices were
    const std::vector<FitTriangle> vStartTriangle;
    std::vector<unsigned char> vSettled;  // vertices that another look would hardly move
    std::vector<VertexPlace> vFound;      // for each vertex, as of the last look
    FitCounts counts;
};

}  // namespace TARN_KEL
