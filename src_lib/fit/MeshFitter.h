#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <variant>
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
/// change is judged by the guard. What is off the points then is mended by several changes at once. Finally borders go out
/// to the last points, smooth vertices are lifted by what the triangles cut off the curved sheet, and triangles that pass
/// through each other since are parted.
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

    /// A new vertex on an edge of two triangles.
    struct Split {
        FitQuad quad;
        int edge;  // of quad.t
        Vector3 at;
        SurfaceSide side;  // of the edge
    };
    /// What the triangles of the quad are replaced by: at the ends a and b of the edge, on the sides of c and d.
    struct SplitTriangles {
        TrianglePlaces ac, bc, ad, bd;
    };
    using Side = std::pair<FitIndex, FitIndex>;  // an edge by its ends
    /// Edge k of a triangle.
    struct Edge {
        FitIndex triangle;
        int k;
    };

    // Trials, see MeshFitter_spots.cpp.
    /// A vertex, a place and what the vertex is on there.
    struct Placed {
        FitIndex vertex;
        Vector3 place;
        Kind kind;
    };
    struct Flip {
        Side ends;
    };
    struct SplitOf {
        Side ends;
    };
    using Remedy = std::variant<Placed, Flip, SplitOf>;
    using Change = std::variant<Placed, FitQuad, Split>;  // a vertex as it was, a quad that was flipped, a split
    struct Cost {
        double sum = 0.0;
        int numBad = 0;  // folds, sharp ones twice, and slivers
        Cost& operator+=(const Cost& other) {
            sum += other.sum;
            numBad += other.numBad;
            return *this;
        }
        Cost operator-(const Cost& other) const { return {sum - other.sum, numBad - other.numBad}; }
    };
    /// What was done, and by how much the cost changed.
    struct Trial {
        std::vector<Change> vDone;
        Cost cost;
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
    bool tryFreeBy(FitIndex vertex, const Vector3& near);
    std::vector<Vector3> placesAround(FitIndex vertex) const;
    void flipTowardsPoints();
    std::size_t flipAt(FitIndex t, int k);
    bool mayFlip(const FitQuad& q) const;
    bool wantsFlip(const FitQuad& q) const;
    bool keepsShape(const FitQuad& q, double across) const;
    std::vector<Side> foldedSides(const FitQuad& q) const;
    TrianglePlaces cornersOf(FitIndex a, FitIndex b, FitIndex c) const;
    double cosineAcross(const FitQuad& q) const;
    std::optional<Edge> findEdge(const Side& ends) const;
    Side endsOf(FitIndex t, int k) const;
    bool mayDivide(const FitQuad& q) const;
    void moveVertex(FitIndex vertex, const Vector3& to);
    std::size_t splitAtCreases();
    std::size_t splitAt(const Side& ends);
    std::optional<Split> findSplit(const Side& ends);
    void perform(const Split& split);
    void undo(const Split& split);
    SplitTriangles trianglesOf(const Split& split) const;
    bool keepsShape(const Split& split, double across) const;
    std::vector<Side> foldedSides(const Split& split) const;
    void mendSpots();
    std::vector<FitIndex> findSpots() const;
    bool mendSpot(FitIndex centre);
    std::vector<FitIndex> trianglesAround(FitIndex vertex) const;
    std::vector<FitIndex> withNeighbours(const std::vector<FitIndex>& vTriangle) const;
    std::vector<Remedy> remediesAt(FitIndex centre, const std::vector<FitIndex>& vTriangle);
    void addMoves(FitIndex vertex, bool bCentre, std::vector<Remedy>& vRemedy);
    bool apply(const Remedy& remedy, Trial& trial);
    void tryMove(const Placed& placed, Trial& trial);
    bool tryFlip(const Side& ends, Trial& trial, double leastCost = 0.0);
    bool trySplit(const Side& ends, Trial& trial);
    void flipAround(std::vector<FitIndex> vTriangle, Trial& trial);
    void takeBack(Trial& trial);
    double costOfPlace(const Vector3& place, const SurfaceSide& side) const;
    Cost costOfTriangle(FitIndex t) const;
    Cost costOfEdge(FitIndex t, int k) const;
    std::size_t crossingsAmong(std::vector<FitIndex> vTriangle, std::size_t firstNew) const;
    Cost costOf(const std::vector<FitIndex>& vTriangle) const;
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

    static constexpr std::size_t NUM_MEANS = 3;  // of placesAround()

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
