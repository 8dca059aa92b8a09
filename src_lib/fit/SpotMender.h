#pragma once

#include <cstddef>
#include <optional>
#include <unordered_map>
#include <variant>
#include <vector>

#include "FitState.h"
#include "crossing.h"

namespace TARN_KEL {

/// Mends the spots where a mesh is off the points and no single change may help: a vertex whose way to its sheet leads
/// through a fold until an edge beside it is flipped, an edge over a crease whose flip makes a sliver until a vertex moves.
///
/// There a step is made on trial whatever it does to the shape, then edges around it are flipped while that makes it better.
/// What counts is the cost of all that changed, together: how far triangles and edges are off the points, and their folds
/// and slivers, of which there may not be more than before. No triangles around may cross. The best of such trials is kept.
class SpotMender {
public:
    /// The state is referred to.
    explicit SpotMender(FitState& meshState) : state(meshState), fitMesh(meshState.mesh), guard(meshState.guard) {}

    /// Nothing where there are too many spots.
    void mend();

private:
    /// A vertex, a place and what the vertex is on there.
    struct Placed {
        FitIndex vertex;
        Vector3 place;
        VertexKind kind;
    };
    struct FlipOf {
        FitSide ends;
    };
    struct SplitOf {
        FitSide ends;
    };
    using Remedy = std::variant<Placed, FlipOf, SplitOf>;
    using Change = std::variant<Placed, EdgeFlip, EdgeSplit>;  // a vertex as it was, what was performed
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
    /// What triangles and edges cost by their places, asked for once.
    class KnownCosts {
    public:
        /// From here to endTrial() the vertex is elsewhere, or is one that wasn't there.
        void beginTrial(FitIndex vertex) { trialVertex = vertex; }
        void endTrial();
        /// Where the mesh has changed for good.
        void forget();
        /// corners: of a triangle; an edge has one end twice.
        template <typename CostOf>
        Cost of(const FitTriangle& corners, const CostOf& costOf);

    private:
        struct Hash {
            std::size_t operator()(const FitTriangle& c) const;
        };
        using Costs = std::unordered_map<FitTriangle, Cost, Hash>;
        Costs mCost, mInTrial;  // without and with the vertex
        FitIndex trialVertex = NO_INDEX;
    };

    std::vector<FitIndex> findSpots() const;
    bool mendSpot(FitIndex centre);
    std::vector<FitIndex> trianglesAround(FitIndex vertex) const;
    std::vector<FitIndex> withNeighbours(const std::vector<FitIndex>& vTriangle) const;

    std::vector<Remedy> remediesAt(FitIndex centre, const std::vector<FitIndex>& vTriangle);
    void addMoves(FitIndex vertex, bool bCentre, std::vector<Remedy>& vRemedy);

    bool apply(const Remedy& remedy, Trial& trial);
    void tryMove(const Placed& placed, Trial& trial);
    bool tryFlip(const FitSide& ends, Trial& trial, double leastCost = 0.0);
    bool trySplit(const FitSide& ends, Trial& trial);
    void flipAround(std::vector<FitIndex> vTriangle, Trial& trial);
    void undo(Trial& trial);
    void takeBack(Trial& trial);

    bool anyCross(std::vector<FitIndex> vTriangle, std::size_t firstNew) const;

    double costOfPlace(const Vector3& place, const SurfaceSide& side) const;
    Cost shapeOf(const FitTriangle& c) const;
    Cost costOfTriangle(FitIndex t);
    Cost costOfEdge(FitIndex t, int k);
    template <typename Triangles>
    Cost costOf(const Triangles& vTriangle);

    FitState& state;
    FitMesh& fitMesh;
    const FitGuard& guard;
    KnownCosts known;
};

}  // namespace TARN_KEL
