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
/// What counts is the cost of all that changed, together: how far triangles and edges are off the points, their folds, and
/// slivers. No more triangles around may cross than before. The best of such trials is kept.
class SpotMender {
public:
    /// The state is referred to.
    explicit SpotMender(FitState& meshState);

    /// Looks for spots. Whether they are so few that they can be mended in good time: a rough scan is nothing but spots.
    bool hasFew();
    /// Mends those that were found. vCrossing: vertices of triangles that cross, which are spots as well.
    void mend(const std::vector<FitIndex>& vCrossing);
    std::size_t getNumSpots() const { return numSpots; }
    /// How often one was mended; one may be several times.
    std::size_t getNumMended() const { return numMended; }

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
    /// What was done, and by how much the cost changed.
    struct Trial {
        std::vector<Change> vDone;
        double cost = 0.0;
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
        double of(const FitTriangle& corners, const CostOf& costOf);

    private:
        struct Hash {
            std::size_t operator()(const FitTriangle& c) const;
        };
        using Costs = std::unordered_map<FitTriangle, double, Hash>;
        Costs mCost, mInTrial;  // without and with the vertex
        FitIndex trialVertex = NO_INDEX;
    };

    void findOff();
    std::vector<FitIndex> worstFirst();
    bool mendSpot(FitIndex centre);
    void markFresh(const std::vector<FitIndex>& vTriangle);
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

    std::size_t crossingsAmong(std::vector<FitIndex> vTriangle, std::size_t firstNew) const;

    double costOfBare(const Remedy& remedy) const;
    double costOfPlace(const Vector3& place, const SurfaceSide& side) const;
    double shapeOf(const FitTriangle& c) const;
    double costOfTriangle(FitIndex t);
    double costOfEdge(FitIndex t, int k);
    double costOfFold(FitIndex t, FitIndex o) const;
    template <typename Triangles>
    double costOf(const Triangles& vTriangle);

    FitState& state;
    FitMesh& fitMesh;
    const FitGuard& guard;
    KnownCosts known;
    std::vector<double> vOff;  // of the vertices, in the unit of costs; 0.0: no spot
    std::size_t numSpots = 0, numMended = 0;
    std::vector<unsigned char> vFresh;  // vertices near which something changed since spots were last found
};

}  // namespace TARN_KEL
