// The stars of nodes: their Voronoi cells in their planes.
//
// A corner of such a cell is the centre of a disc that touches the node and two neighbours and holds no node of the sheet.
// Its radius is the width of the place in a number; three nodes around a gap share a wide one.
//
//            o                      o  nodes
//        .-------.                  The disc of radius R about + is empty and touches three of them. Small discs are what a
//       /         \                 sheet consists of; a disc over one cell is a gap that the grid won't bridge by itself.
//      o     +     |   o
//       \         /
//        '-----o-'
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "NearestNodes.h"
#include "nodePlanes.h"
#include "sampleNodes.h"
#include "voronoiCell.h"

namespace TARN_KEL {

struct NodeStar {
    static constexpr std::size_t MAX_RING = 6;  // a node of an even sheet has six neighbours

    double usualRadius = 0.0;           ///< a third of the discs are at most so wide, in cells; 0: unknown
    std::array<NodeId, MAX_RING> ring;  ///< neighbours, NO_NODE behind the last
    bool bRim = false;                  ///< some disc is wider than any gap, or open
    std::vector<EmptyDisc> vWide;       ///< the discs of more than a cell that are known to be empty
};

/// The stars that were asked for.
class NodeStars {
public:
    /// All are referred to.
    NodeStars(const SampleNodes& nodes, const NodePlanes& planes, const NearestNodes& nearest);

    /// Makes the stars of those of the nodes that have a plane and no star yet. vNode: in any order, with repeats.
    /// pKnown: what is near some of them; null for nothing. O(log n) per node; uses the pool.
    void make(std::vector<NodeId> vNode, const NearLists* pKnown = nullptr);
    /// Null without one.
    const NodeStar* find(NodeId node) const;
    /// The median of a node's usual radius and those of its ring that have a star; 0 without a star.
    double usualRadiusAround(NodeId node) const;

private:
    const SampleNodes& nodes;
    const NodePlanes& planes;
    const NearestNodes& nearest;
    std::vector<NodeId> vPosition;  // of the star of each node, or NO_NODE
    std::vector<NodeStar> vStar;
};

}  // namespace TARN_KEL
