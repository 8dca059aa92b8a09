#pragma once

#include <deque>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class FeatureChain;
class Visualizer3;

constexpr double BORDER_ANGLE = 9999.0;   ///< in place of the angle of a fold: the edge is a border
constexpr double ABOVE_ANY_FOLD = 360.0;  ///< degrees; angles above it mark borders

/// An edge of a triangle soup that shall stay sharp.
struct FeatureEdge {
    Point3* pSrc;          ///< where its chain enters it
    Point3* pTrg;          ///< where its chain leaves it
    FeatureChain* pChain;  ///< the chain that took it up by growing; null until then, and for the seed of a chain
    double angle;          ///< degrees of the fold; BORDER_ANGLE for a border
};

/// The feature edges at each vertex, in the order in which they were handed in.
class FeatureEdgeMap {
public:
    using Entry = std::pair<Point3*, FeatureEdge*>;
    /// Enters each edge under both its ends. The edges stay the caller's. O(n log n).
    explicit FeatureEdgeMap(std::vector<FeatureEdge>& vEdges);
    /// What the map holds, which needn't be all.
    FeatureEdgeMap(const std::multimap<Point3*, FeatureEdge*>& mmEdges);
    ~FeatureEdgeMap();
    FeatureEdgeMap(const FeatureEdgeMap&) = delete;  // the fans point into it
    FeatureEdgeMap& operator=(const FeatureEdgeMap&) = delete;

    /// Of the edges at pJunction the one that continues pEdge, which arrives there in direction dir, a unit vector: of its
    /// kind, with the smallest turn and none above 60 degrees; of equals the first. Null when there is none. O(log n), but
    /// linear in the number of edges there that go the same way.
    FeatureEdge* straightestNext(const FeatureEdge* pEdge, const Point3* pJunction, const Vector3& dir) const;

private:
    class Fan;
    void findFans();

    std::vector<Entry> vEntry;  // by vertex
    std::vector<Fan> vFans;     // of the vertices with many edges, ascending
};

/// A run of feature edges of one kind (borders, or folds) that continue each other without a turn of more than 60 degrees.
class FeatureChain {
public:
    /// Grows a chain from its seed, at the end first. The edges stay the caller's; some are turned.
    FeatureChain(FeatureEdge* pSeed, const FeatureEdgeMap& mEdges);

    /// Adds the edge that goes on straightest behind the last one (or in front of the first one). False when there is none,
    /// when the straightest is in a chain, and when the chain has closed: then it has no business growing on.
    bool growBack(const FeatureEdgeMap& mEdges);
    bool growFront(const FeatureEdgeMap& mEdges);

    /// The mean angle of the edges, degrees.
    double getAngle() const { return angle; }
    /// From the front: pTrg of an edge is pSrc of the next. A chain that meets its own seed again has it twice, turned the
    /// way it was met last.
    const std::list<FeatureEdge*>& getEdges() const { return lEdges; }
    /// Debug drawing of the edges.
    void show(Visualizer3* pVisualizer, const std::string& color) const;

private:
    std::list<FeatureEdge*> lEdges;
    double angle = 0.0;
};

/// Strings the feature edges of a soup into chains, so that cells are claimed along the lines of the object and not in the
/// order of an angle sort.
///
/// Edges seed chains from the last entry of the list to the first. A chain marks the edges that it takes up by growing but
/// not its seed, so a later chain may take up that seed once more: each edge is in a chain once or twice.
class FeatureMgr {
public:
    using AngleEdge = std::pair<double, std::pair<Point3*, Point3*>>;

    /// (angle, ends), sorted ascending for chains from the sharpest edge on. Read in here only. O(n log n), but where many
    /// edges at a vertex go the same way each chain that goes that way looks at all of them.
    explicit FeatureMgr(std::vector<AngleEdge>& vAngleEdges);
    FeatureMgr(const FeatureMgr&) = delete;
    FeatureMgr& operator=(const FeatureMgr&) = delete;

    /// Appends the edges chain by chain, those of the highest mean angle last, of equal ones in the order of making; each
    /// edge with its own angle and in the direction of its chain.
    void getOrderedPairs(std::vector<AngleEdge>& vOut) const;
    /// Debug drawing, each chain in the next colour.
    void show(Visualizer3* pVisualizer) const;

private:
    std::vector<FeatureEdge> vEdges;  // one for each entry, in its order; never grows, so that pointers stay valid
    std::deque<FeatureChain> dChains;
};

}  // namespace TARN_KEL
