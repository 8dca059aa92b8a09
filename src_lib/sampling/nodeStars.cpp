// A star is made of the near nodes first. A disc of more than half of their reach might hold a node beyond it, so the cell
// is cut again with nodes from afar, and a disc that is still too wide to be sure of counts as open.
#include "nodeStars.h"

#include <algorithm>
#include <cmath>

#include "Progress.h"
#include "gapLimits.h"
#include "heardChunks.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double COS_OTHER_SHEET = 0.5;     // of 60 degrees between two planes
const double OTHER_SHEET_HEIGHT = 0.5;  // cells above the plane; nearer nodes count whatever their plane
const double FAR_CORNERS = 100.0;       // how far the corners of an unbounded cell are set, in reaches
const double TRUSTED_REACH = 0.5;       // radius over reach up to which the near nodes suffice
const double KNOWN_REACH = 0.75;        // the same up to which a disc counts: that much of it was looked at

/// Makes stars; holds what one star after another needs to work.
class StarMaker {
public:
    StarMaker(const SampleNodes& nodes_, const NodePlanes& planes_, const NearestNodes& nearest_, const NearLists* pKnown_)
        : nodes(nodes_), planes(planes_), nearest(nearest_, nodes_), pKnown(pKnown_) {}

    NodeStar make(NodeId node) {
        double reach = gather(node);
        cutCell(node, reach);
        if (widestRadius(vDisc) > TRUSTED_REACH * reach && vNear.size() < NUM_FAR) {
            reach = nearest.gatherFar(node, vNear);
            cutCell(node, reach);
        }
        NodeStar star;
        star.usualRadius = lowerThirdRadius();
        star.ring.fill(NO_NODE);
        std::size_t numRing = 0;
        for (const EmptyDisc& disc : vDisc) {
            if (disc.first != NO_NODE && numRing < NodeStar::MAX_RING) star.ring[numRing++] = disc.first;
            star.bRim = star.bRim || !(disc.radius <= std::min(MAX_RADIUS, KNOWN_REACH * reach));
            if (disc.radius > GAP_RADIUS && disc.radius <= KNOWN_REACH * reach) star.vWide.push_back(disc);
        }
        return star;
    }

private:
    /// Fills vNear. Returns the distance within which no node is missing.
    double gather(NodeId node) {
        if (pKnown != nullptr) {
            const double reach = pKnown->recall(node, nodes, vNear);
            if (!vNear.empty()) return reach;
        }
        return nearest.gather(node, vNear);
    }
    /// Fills vDisc from vNear.
    void cutCell(NodeId node, double reach) {
        vNeighbour.clear();
        const PlaneFrame frame(planes.vNormal[node]);
        for (const NearNode& near : vNear) {
            const NodeId other = near.node();
            const PlanePlace place = frame(nodes.vPlace[other] - nodes.vPlace[node]);
            if (place.isOfSheet() && !isOfOtherSheet(node, other, place.height))
                vNeighbour.push_back({place.x, place.y, other});
        }
        cell.cut(vNeighbour, FAR_CORNERS * reach);
        cell.getDiscs(vDisc);
    }
    bool isOfOtherSheet(NodeId node, NodeId other, double height) const {
        return height > OTHER_SHEET_HEIGHT && planes.hasPlane(other) &&
               std::fabs(planes.vNormal[node] * planes.vNormal[other]) < COS_OTHER_SHEET;
    }
    /// At the rim of a small hole more than half of the discs may be wide, in a sparse place all of them are.
    double lowerThirdRadius() {
        vRadius.clear();
        for (const EmptyDisc& disc : vDisc)
            vRadius.push_back(disc.radius);
        std::sort(vRadius.begin(), vRadius.end());
        const double third = vRadius[(vRadius.size() - 1) / 3];
        if (std::isfinite(third)) return third;
        return std::isfinite(vRadius.front()) ? vRadius.front() : 0.0;
    }

    const SampleNodes& nodes;
    const NodePlanes& planes;
    NearestWalk nearest;
    const NearLists* pKnown;
    VoronoiCell cell;
    std::vector<NearNode> vNear;
    std::vector<PlaneNeighbour> vNeighbour;
    std::vector<EmptyDisc> vDisc;
    std::vector<double> vRadius;
};

}  // namespace

NodeStars::NodeStars(const SampleNodes& nodes_, const NodePlanes& planes_, const NearestNodes& nearest_)
    : nodes(nodes_), planes(planes_), nearest(nearest_), vPosition(nodes_.size(), NO_NODE) {}

void NodeStars::make(std::vector<NodeId> vNode, const NearLists* pKnown) {
    oneInstanceOfNumbers(vNode);
    std::erase_if(vNode, [&](NodeId node) { return vPosition[node] != NO_NODE || !planes.hasPlane(node); });
    const ProgressStep progress("SC_stars", 2 * vNode.size());  // more are asked for later, but fewer
    const std::size_t numBefore = vStar.size();
    vStar.resize(numBefore + vNode.size());
    forHeardChunks_MT(vNode.size(), progress, [&](std::size_t begin, std::size_t end) {
        StarMaker maker(nodes, planes, nearest, pKnown);
        for (std::size_t i = begin; i < end; ++i) {
            vPosition[vNode[i]] = static_cast<NodeId>(numBefore + i);
            vStar[numBefore + i] = maker.make(vNode[i]);
        }
    });
}

const NodeStar* NodeStars::find(NodeId node) const {
    return vPosition[node] == NO_NODE ? nullptr : &vStar[vPosition[node]];
}

double NodeStars::usualRadiusAround(NodeId node) const {
    const NodeStar* pStar = find(node);
    if (pStar == nullptr) return 0.0;
    std::array<double, NodeStar::MAX_RING + 1> radii{pStar->usualRadius};
    std::ptrdiff_t num = 1;
    for (const NodeId other : pStar->ring) {
        const NodeStar* pOther = other == NO_NODE ? nullptr : find(other);
        if (pOther != nullptr && pOther->usualRadius > 0.0) radii[static_cast<std::size_t>(num++)] = pOther->usualRadius;
    }
    std::nth_element(radii.begin(), radii.begin() + (num - 1) / 2, radii.begin() + num);
    return radii[static_cast<std::size_t>((num - 1) / 2)];
}

}  // namespace TARN_KEL
