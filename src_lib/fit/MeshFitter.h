#pragma once

#include <cstddef>
#include <vector>

#include "FitGuard.h"
#include "FitMesh.h"
#include "FitPoints.h"
#include "PointGrid.h"
#include "SheetFinder.h"

namespace TARN_KEL {

/// What a fit did.
struct FitCounts {
    std::size_t numCorners = 0, numOnCreases = 0;  // vertices put there
    std::size_t numFlips = 0, numSplits = 0;
    std::size_t numUnfolded = 0;   // vertices moved to smooth folds
    std::size_t numUntangled = 0;  // vertices moved because triangles passed through each other
};

/// Moves the vertices of a mesh to where the points say that the surface is, and brings its edges onto creases.
///
/// Three rounds: all vertices go to their nearest sheet; then the nearest vertex to each corner there, then vertices onto
/// creases, then edges are flipped towards the points. In the last one edges that still cut a crease are split on it. Every
/// change is judged by the guard. Finally borders go out to the last points, smooth vertices are lifted by what the
/// triangles cut off the curved sheet, and triangles that pass through each other since are parted.
///
/// The unit of length is the spacing of the points.
class MeshFitter {
public:
    /// Mesh and points are referred to. meshSides: of the vertices as they are. cellEdge: of the grid that the mesh was made
    /// on.
    MeshFitter(FitMesh& mesh, const FitPoints& points, const VertexSides& meshSides, double cellEdge);
    FitCounts fit();

private:
    enum class Kind : unsigned char {
        AS_IT_WAS,
        ON_SHEET,
        ON_CREASE,
        ON_CORNER,
        HELD  ///< never moves: it belongs to a triangle at a hub
    };

    void holdHubs();
    void findPlaces();
    void markRough();
    void markRough(FitIndex vertex) { vRough[vertex] = 1; }
    void smoothFolds();
    void moveToSheets();
    void turnBadUpright();
    void moveToCorners();
    void moveToCreases();
    void freeStuck();
    bool tryFree(FitIndex vertex);
    void flipTowardsPoints();
    bool tryFlip(FitIndex t, int k);
    bool mayFlip(const FitQuad& q) const;
    bool mayDivide(const FitQuad& q) const;
    bool maySplit(const FitQuad& q, const Vector3& at) const;
    void moveVertex(FitIndex vertex, const Vector3& to);
    std::size_t splitAtCreases();
    bool trySplit(FitIndex a, FitIndex b);
    void reachLastPoints();
    bool findBorderNeighbours(FitIndex vertex, FitIndex& next, FitIndex& previous) const;
    double distanceToLastPoint(FitIndex vertex, const Vector3& along, const Vector3& outward) const;
    std::vector<FitIndex> touchedVertices() const;
    void liftByChords();

    bool tryUnfold(FitIndex vertex);
    bool tryTurnUpright(FitIndex vertex);
    double distanceOfEdge(FitIndex a, FitIndex b) const;
    bool isOnCrease(FitIndex vertex) const { return vKind[vertex] == Kind::ON_CREASE || vKind[vertex] == Kind::ON_CORNER; }
    bool isFree(FitIndex vertex) const { return vKind[vertex] == Kind::AS_IT_WAS || vKind[vertex] == Kind::ON_SHEET; }

    FitMesh& fitMesh;
    const FitPoints& fitPoints;
    const PointGrid pointGrid;
    const double cell;
    const std::vector<Vector3> vStart;  // where the vertices were
    const std::vector<FitTriangle> vStartTriangle;
    VertexSides sides;                    // of the vertices
    std::vector<Kind> vKind;              // of the vertices
    std::vector<unsigned char> vRough;    // vertices where more than a move along the normal may be needed
    std::vector<unsigned char> vSettled;  // vertices that another look would hardly move
    std::vector<unsigned char> vChanged;  // triangles that changed since their edges were judged
    std::vector<VertexPlace> vFound;      // for each vertex, as of the last look
    FitGuard guard;
    SheetFinder finder;
    FitCounts counts;
};

}  // namespace TARN_KEL
