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

/// An edge of a triangle soup that must stay sharp.
struct FeatureEdge {
    Point3* pSrc;          ///< where its chain enters it
    Point3* pTrg;          ///< where its chain leaves it
    FeatureChain* pChain;  ///< the chain that took it while growing; null until then, and for the seed of a chain
    double angle;          ///< degrees of the fold; BORDER_ANGLE for a border
};

/// The feature edges at each vertex, in the order in which they were given.
class FeatureEdgeMap {
public:
    using Entry = std::pair<Point3*, FeatureEdge*>;
    /// Enters each edge under both its ends. The edges aren't owned. Cost: O(n log n).
    explicit FeatureEdgeMap(std::vector<FeatureEdge>& vEdges);
    /// Enters the entries of the map, which needn't have all edges.
    FeatureEdgeMap(const std::multimap<Point3*, FeatureEdge*>& mmEdges);
    ~FeatureEdgeMap();
    FeatureEdgeMap(const FeatureEdgeMap&) = delete;  // the fans point into it
    FeatureEdgeMap& operator=(const FeatureEdgeMap&) = delete;

    /// The edge at pJunction that continues pEdge best: one of the same kind, with the smallest turn, at most 60 degrees; of
    /// equal ones the first.
    /// dir: the unit direction in which pEdge arrives at pJunction.
    /// Returns null when there is none. Cost: O(log n), but linear in the number of different directions of edges there that
    /// are within 1e-7 of the best one.
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
    /// Grows a chain from its seed, at the end first. The edges aren't owned; some are turned.
    FeatureChain(FeatureEdge* pSeed, const FeatureEdgeMap& mEdges);

    /// Adds the edge that continues the last one (or the first one, backwards) straightest. Returns false when there is
    /// none, when that edge is in a chain already, and when the chain has closed.
    bool growBack(const FeatureEdgeMap& mEdges);
    bool growFront(const FeatureEdgeMap& mEdges);

    /// The mean angle of the edges, degrees.
    double getAngle() const { return angle; }
    /// The edges from the front: pTrg of an edge is pSrc of the next. A chain that comes to its own seed again has it twice,
    /// in the direction in which it came to it last.
    const std::list<FeatureEdge*>& getEdges() const { return lEdges; }
    /// Debug drawing of the edges.
    void show(Visualizer3* pVisualizer, const std::string& color) const;

private:
    std::list<FeatureEdge*> lEdges;
    double angle = 0.0;
};

/// Joins the feature edges of a soup into chains, so that cells are claimed along the lines of the object and not in the
/// order of the angles.
///
/// Edges seed chains from the last entry of the list to the first. A chain marks the edges that it takes while growing, but
/// not its seed, so a later chain may take that seed again: each edge is in one or two chains.
class FeatureMgr {
public:
    using AngleEdge = std::pair<double, std::pair<Point3*, Point3*>>;

    /// vAngleEdges: pairs (angle, ends); sorted ascending if the sharpest edges are to seed chains first. Only read by the
    /// constructor.
    /// Cost: O(n log n); but where edges at a vertex have many directions that differ by less than 1e-7, each chain in that
    /// direction looks at all of these.
    explicit FeatureMgr(std::vector<AngleEdge>& vAngleEdges);
    FeatureMgr(const FeatureMgr&) = delete;
    FeatureMgr& operator=(const FeatureMgr&) = delete;

    /// Appends the edges chain by chain, the chain with the highest mean angle last, equal ones in order of creation; each
    /// edge with its own angle and in the direction of its chain.
    void getOrderedPairs(std::vector<AngleEdge>& vOut) const;
    /// Debug drawing, each chain in the next colour.
    void show(Visualizer3* pVisualizer) const;

private:
    std::vector<FeatureEdge> vEdges;  // one for each entry, in its order; never grows, so that pointers stay valid
    std::deque<FeatureChain> dChains;
};

}  // namespace TARN_KEL
