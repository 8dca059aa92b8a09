// Unit of work is the node, the mean of the points of a cell, so that what several points do together within a spacing
// counts once. Strays are nodes that hover over a sheet (hovering.h), and nodes that are alone. These are found in three
// looks, each at what the one before left over:
//
//  1. A node with four others in the 26 cells around it has company, as half a sheet gives it. So have nearly all.
//  2. The others stay when they are connected to such a node through neighbouring cells, or to eleven more of their kind:
//     rims, wires, scan lines.
//  3. What is left is lonely: strays and sparse regions. A lonely node stays when one that isn't lonely is within three
//     cells. Otherwise it needs support. A lonely node that lies in a plane or on a line with its eight nearest supports
//     those of them that are little farther away than the second. Neighbours on a sheet support each other, at any density.
//     A sheet doesn't support a stray near it, as its nodes have nearer ones, and strays rarely lie in a plane. Nodes that
//     support each other form groups. A group with a node near others stays, and so does one of at least twelve, and what
//     they support.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <utility>

#include "CloudSample.h"
#include "Forest.h"
#include "NearestNodes.h"
#include "NeighbourWalk.h"
#include "PlaneFit.h"
#include "Progress.h"
#include "heardChunks.h"
#include "hovering.h"
#include "outliers.h"
#include "sampleNodes.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t COMPANY = 4;        // other nodes in the 26 cells around; half a sheet has five
constexpr int NEAR_CELLS = 3;             // noise and folds reach so far from a sheet
constexpr std::size_t NUM_COUNTED = 8;    // nearest nodes; the ring around a node of a sheet
constexpr double REACH = 2.5;             // of the distance to the second nearest node; a ring of a sheet is within
constexpr double SHEET_FLATNESS = 0.07;   // first over second eigenvalue of a plane; twenty random places have one half
constexpr std::size_t MIN_GROUP = 12;     // nodes; fewer random ones are in a plane by chance
constexpr double MAX_STRAY_SHARE = 0.15;  // of all points; where more are alone, the spacing says nothing about them

/// Groups of nodes that stay or go together. Positions are those in a list of nodes.
class NodeGroups {
public:
    explicit NodeGroups(const std::vector<NodeId>& vNode_)
        : vNode(vNode_), groups(vNode_.size()), vWeight(vNode_.size(), 1) {}

    /// NO_NODE for a node that isn't in the list.
    NodeId positionOf(NodeId node) const {
        const auto it = std::lower_bound(vNode.begin(), vNode.end(), node);
        return it != vNode.end() && *it == node ? static_cast<NodeId>(it - vNode.begin()) : NO_NODE;
    }
    void join(NodeId a, NodeId b) { groups.join(a, b); }
    /// The group of the node at this position stays, whatever its size.
    void keep(NodeId position) { vWeight[position] = MIN_GROUP; }
    /// By position: 1 for the nodes of groups that stay.
    std::vector<char> staying() {
        std::vector<std::size_t> vSum(vNode.size());
        for (std::size_t i = 0; i < vNode.size(); ++i)
            vSum[groups.findRoot(static_cast<NodeId>(i))] += vWeight[i];
        std::vector<char> vStays(vNode.size());
        for (std::size_t i = 0; i < vNode.size(); ++i)
            vStays[i] = vSum[groups.findRoot(static_cast<NodeId>(i))] >= MIN_GROUP ? 1 : 0;
        return vStays;
    }
    /// The nodes at positions with a 0, ascending.
    std::vector<NodeId> without(const std::vector<char>& vStays) const {
        std::vector<NodeId> vGo;
        for (std::size_t i = 0; i < vNode.size(); ++i)
            if (vStays[i] == 0) vGo.push_back(vNode[i]);
        return vGo;
    }

private:
    const std::vector<NodeId>& vNode;  // ascending
    Forest groups;
    std::vector<std::size_t> vWeight;
};

/// The nodes without company, ascending.
std::vector<NodeId> nodesWithoutCompany(const SampleNodes& nodes) {
    std::vector<char> vAlone(nodes.size());
    const ProgressStep progress("SC_stray", 2 * nodes.size());  // half is left for a second look
    forHeardChunks_MT(nodes.size(), progress, [&](std::size_t begin, std::size_t end) {
        NeighbourWalk<RCD> walk(nodes.vCell);
        for (std::size_t i = begin; i < end; ++i) {
            std::size_t numCells = 0;
            walk.visitBlock(nodes.vCell[i], [&](int, std::size_t) { ++numCells; });
            vAlone[i] = numCells - 1 < COMPANY ? 1 : 0;
        }
    });
    return nodesWhere(vAlone);
}

/// Those connected to too few others, ascending.
std::vector<NodeId> lonelyNodes(const std::vector<NodeId>& vWithoutCompany, const SampleNodes& nodes) {
    NodeGroups groups(vWithoutCompany);
    NeighbourWalk<RCD> walk(nodes.vCell);
    for (std::size_t i = 0; i < vWithoutCompany.size(); ++i)
        walk.visitBlock(nodes.vCell[vWithoutCompany[i]], [&](int, std::size_t other) {
            const NodeId position = groups.positionOf(static_cast<NodeId>(other));
            if (position == NO_NODE)
                groups.keep(static_cast<NodeId>(i));
            else
                groups.join(static_cast<NodeId>(i), position);
        });
    return groups.without(groups.staying());
}

/// Whether a node lies with others in a plane or on a line.
bool isInSheetOrLine(NodeId node, const std::vector<NearNode>& vNear, const SampleNodes& nodes) {
    PlaneFit fit;
    for (const NearNode& near : vNear)
        fit.add(nodes.vPlace[near.node()] - nodes.vPlace[node]);
    const PrincipalAxes axes = fit.axes();
    return axes.isLine() || axes.least <= SHEET_FLATNESS * axes.middle;
}

/// What a lonely node says of those near it.
struct Testimony {
    std::array<NodeId, NUM_COUNTED> vSupported = {};  // positions of lonely nodes; NO_NODE for none

    bool supports(NodeId position) const {
        return std::find(vSupported.begin(), vSupported.end(), position) != vSupported.end();
    }
};

Testimony testimonyOf(NodeId node, const NodeGroups& lonely, const NearestNodes& nearest, const SampleNodes& nodes) {
    Testimony testimony;
    testimony.vSupported.fill(NO_NODE);
    std::vector<NearNode> vNear;
    nearest.find(node, NUM_COUNTED, vNear);
    const bool bInSheet = isInSheetOrLine(node, vNear, nodes);
    const double sqReach = vNear.size() < 2 ? 0.0 : REACH * REACH * vNear[1].sqDistance();
    for (std::size_t i = 0; i < vNear.size(); ++i) {
        const NodeId position = lonely.positionOf(vNear[i].node());
        if (bInSheet && vNear[i].sqDistance() <= sqReach) testimony.vSupported[i] = position;
    }
    return testimony;
}

/// By position: 1 for lonely nodes near one that isn't.
std::vector<char> nearOthers(const std::vector<NodeId>& vLonely, const NodeGroups& lonely, const SampleNodes& nodes) {
    std::vector<char> vNear(vLonely.size());
    forChunks_MT(vLonely.size(), [&](std::size_t begin, std::size_t end) {
        NeighbourWalk<RCD, NEAR_CELLS> walk(nodes.vCell);
        for (std::size_t i = begin; i < end; ++i) {
            const Vector3& place = nodes.vPlace[vLonely[i]];
            walk.visitBlock(nodes.vCell[vLonely[i]], [&](int, std::size_t other) {
                if ((nodes.vPlace[other] - place).sqLength() <= NEAR_CELLS * NEAR_CELLS &&
                    lonely.positionOf(static_cast<NodeId>(other)) == NO_NODE)
                    vNear[i] = 1;
            });
        }
    });
    return vNear;
}

/// Of groups only nodes stay that support each other; nodes on edges and corners stay with them, though they lie in no
/// plane.
std::vector<char> withSupported(const std::vector<char>& vStays, const std::vector<Testimony>& vTestimony) {
    std::vector<char> vStaysToo = vStays;
    for (std::size_t i = 0; i < vTestimony.size(); ++i)
        for (const NodeId other : vTestimony[i].vSupported)
            if (vStays[i] != 0 && other != NO_NODE) vStaysToo[other] = 1;
    return vStaysToo;
}

std::vector<NodeId> lonelyStrays(CloudSample& sample) {
    const SampleNodes& nodes = sample.nodes;
    const std::vector<NodeId> vLonely = lonelyNodes(nodesWithoutCompany(nodes), nodes);
    if (vLonely.empty() || vLonely.size() == nodes.size()) return {};
    NodeGroups groups(vLonely);
    const NearestNodes& nearest = sample.getNearest();
    std::vector<Testimony> vTestimony;
    transform_MT(vLonely, vTestimony, [&](NodeId node) { return testimonyOf(node, groups, nearest, nodes); });
    const std::vector<char> vNear = nearOthers(vLonely, groups, nodes);
    for (std::size_t i = 0; i < vLonely.size(); ++i) {
        const auto self = static_cast<NodeId>(i);
        if (vNear[i] != 0) groups.keep(self);
        for (const NodeId other : vTestimony[i].vSupported)
            if (other != NO_NODE && vTestimony[other].supports(self)) groups.join(self, other);
    }
    return groups.without(withSupported(groups.staying(), vTestimony));
}

/// The points in the cells of these nodes, ascending.
std::vector<std::size_t> pointsOf(const std::vector<NodeId>& vNode, const SampleNodes& nodes,
                                  const std::vector<Point3>& vPoints, const Calc& grid) {
    if (vNode.empty()) return {};
    std::vector<char> vFound(vPoints.size());
    forChunks_MT(vPoints.size(), [&](std::size_t begin, std::size_t end) {
        const auto cellBefore = [&](NodeId node, RCD rcd) { return nodes.vCell[node] < rcd; };
        for (std::size_t i = begin; i < end; ++i) {
            const RCD rcd = grid.getRCD(&vPoints[i]);
            const auto it = std::lower_bound(vNode.begin(), vNode.end(), rcd, cellBefore);
            vFound[i] = it != vNode.end() && nodes.vCell[*it] == rcd ? 1 : 0;
        }
    });
    std::vector<std::size_t> vPosition;
    for (std::size_t i = 0; i < vPoints.size(); ++i)
        if (vFound[i] != 0) vPosition.push_back(i);
    return vPosition;
}

/// Warns if so.
bool areTooMany(const std::vector<std::size_t>& vStrays, const std::vector<Point3>& vPoints) {
    if (static_cast<double>(vStrays.size()) <= MAX_STRAY_SHARE * static_cast<double>(vPoints.size())) return false;
    warning(KEL_PLACE, "Points that look like outliers are kept, for they are too many: " + toString(vStrays.size()) +
                           " of " + toString(vPoints.size()));
    return true;
}

}  // namespace

std::vector<std::size_t> findStrays(const std::vector<Point3>& vPoints, CloudSample& sample) {
    const SampleNodes& nodes = sample.nodes;
    const auto pointsIn = [&](const std::vector<NodeId>& vNode) { return pointsOf(vNode, nodes, vPoints, sample.grid); };
    std::vector<std::size_t> vLonely = pointsIn(lonelyStrays(sample));
    if (areTooMany(vLonely, vPoints)) return {};  // the spacing is wrong, and what hovers is a matter of the spacing, too
    const std::vector<std::size_t> vHovering = pointsIn(hoveringNodes(nodes));
    if (areTooMany(vHovering, vPoints)) return vLonely;
    std::vector<std::size_t> vStrays;
    std::set_union(vLonely.begin(), vLonely.end(), vHovering.begin(), vHovering.end(), std::back_inserter(vStrays));
    return vStrays;
}

}  // namespace TARN_KEL
