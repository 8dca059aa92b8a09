#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "NeighbourWalk.h"
#include "gapLimits.h"
#include "sampleNodes.h"
#include "tarn_locate3/Bbox3.h"

namespace TARN_KEL {

/// A node and the square of its distance in cells, rounded to a float: one number, so that sorting is fast. Ordered by
/// distance, equal distances by node.
class NearNode {
public:
    NearNode(double sqDistance, NodeId node)
        : key(std::uint64_t{std::bit_cast<std::uint32_t>(static_cast<float>(sqDistance))} << 32 | node) {}

    float sqDistance() const { return std::bit_cast<float>(static_cast<std::uint32_t>(key >> 32)); }
    NodeId node() const { return static_cast<NodeId>(key); }
    friend auto operator<=>(const NearNode&, const NearNode&) = default;

private:
    std::uint64_t key;  // the bits of a float that isn't negative are in the order of its values
};

/// Finds the nodes nearest to a node, however far apart they are.
///
/// The nodes stand along the Morton order of their cells, in which neighbours in space are near each other. Every GROUP
/// consecutive nodes have a bounding box, every GROUP consecutive boxes again, up to a single one: a tree without pointers,
/// made in one pass. Safe to ask from several threads at once.
class NearestNodes {
public:
    /// Copies the places. O(n log n), 40 bytes per node.
    explicit NearestNodes(const SampleNodes& nodes);

    /// Replaces vOut by the `count` nodes nearest to the node, itself left out, nearest first; all others where there are
    /// fewer. O(log n) per node found; O(n) where nearly all are as far away as the last one found, as from the centre of a
    /// sphere. Only a few nodes have such a place, for with more of them there each would have nearer ones.
    /// reach: a distance within which so many are known to be; the nearer to that of the last one found, the faster.
    void find(NodeId node, std::size_t count, std::vector<NearNode>& vOut,
              double reach = std::numeric_limits<double>::infinity()) const;

private:
    static constexpr std::size_t GROUP = 16;

    using Bbox3 = TARN_LOCATE3::Bbox3;

    struct Place {
        Vector3 place;
        NodeId node;
    };
    struct Search;

    void offerGroup(std::size_t group, Search& search) const;

    std::vector<Place> vPlace;                // in Morton order
    std::vector<NodeId> vRank;                // of each node in that order
    std::vector<std::vector<Bbox3>> vLevels;  // boxes of groups of places first; the last has one box; none without nodes
};

/// The same for nodes in ascending order, several times as fast on sheets: the cells around a node come first, and the tree
/// is asked only where they hold too few. For one thread.
class NearestWalk {
public:
    /// Both are referred to.
    NearestWalk(const NearestNodes& nearest, const SampleNodes& nodes);

    /// Replaces vOut by the nodes within RADIUS of the node, itself left out, in any order; where these are fewer than
    /// NUM_NEAR by the NUM_FAR nearest. Returns the distance within which no node is missing. No node may come before the
    /// one of the call before.
    double gather(NodeId node, std::vector<NearNode>& vOut);
    /// Replaces vOut by the NUM_FAR nearest, and returns the distance of the farthest.
    double gatherFar(NodeId node, std::vector<NearNode>& vOut);

private:
    static constexpr int RADIUS = 3;  // cells; three rings of an even sheet are 28 nodes
    static constexpr std::size_t NUM_EARLIER = 8;

    /// An answer of gatherFar(): NUM_FAR nodes and the asking one are within the reach of its place.
    struct Earlier {
        Vector3 place;
        double reach = std::numeric_limits<double>::infinity();
    };

    double likelyReach(const Vector3& place) const;
    double knownReach(const Vector3& place) const;

    const NearestNodes& nearest;
    const SampleNodes& nodes;
    NeighbourWalk<RCD, RADIUS> walk;
    std::array<Earlier, NUM_EARLIER> aEarlier;  // the last ones; on a closed sheet columns of cells come in twos
    std::size_t nextEarlier = 0;
};

/// What walks have found near some nodes, so that nobody searches there again.
class NearLists {
public:
    /// vTheNodes: ascending; referred to. 208 bytes per node.
    explicit NearLists(const std::vector<NodeId>& vTheNodes) : vNode(vTheNodes), vList(vTheNodes.size()) {}

    /// Keeps what NearestWalk::gather() has found at one of the nodes, unless it is more than NUM_FAR nodes. Threads may
    /// write at different positions at once.
    void keep(std::size_t position, const std::vector<NearNode>& vNear, double reach);
    /// Replaces vOut by what was kept for a node, if anything, and returns the reach.
    double recall(NodeId node, const SampleNodes& nodes, std::vector<NearNode>& vOut) const;

private:
    struct List {
        double reach = 0.0;
        std::uint32_t size = 0;
        std::array<NodeId, NUM_FAR> nodes;
    };

    const std::vector<NodeId>& vNode;
    std::vector<List> vList;
};

}  // namespace TARN_KEL
