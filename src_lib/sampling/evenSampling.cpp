// The unit of work is the node, the mean point of a cell; lengths are in cells.
//
//     nodes       the mean point of each occupied cell
//     planes      a plane for each node whose neighbours lie in one; nodes with neighbours all around them are done with
//     stars       the empty discs that touch an open node and two neighbours in its plane
//     triangles   three nodes around a disc that is wide, but not wider than the discs around explain
//     points      in these triangles, one for each empty cell
//
// What is usual around a node follows from the radii of its discs and those of its neighbours, the smaller ones of each, so
// no direction is needed: at the rim of a hole some discs are wide, in a sparse place all of them are.
//
// Whether to add at all is decided for the cloud as a whole. Even scans have a few gaps that are hardly wider than the grid
// bridges, and the rims of sheets and holes always have notches; neither says that the cloud is sampled unevenly. What
// counts are gaps away from rims that would tear the mesh.
#include "evenSampling.h"

#include <algorithm>
#include <iterator>

#include "gapPoints.h"
#include "gapTriangles.h"
#include "nodePlanes.h"
#include "nodeStars.h"

namespace TARN_KEL {

namespace {

// Even scans of spheres, tori, planes, cubes and walls, with noise up to the spacing, have at most one such gap in 1000
// nodes, a scan that tears in ten places at 100,000 points four, random points 90.
const double TEARING_RADIUS = 1.1;    // cells
const double NODES_PER_TEAR = 500.0;  // an even cloud has fewer tearing gaps than one in so many nodes
const std::size_t FEW_TEARS = 10;     // what small even clouds have by chance
// Scan lines at a spacing of 1:16 need four; a spacing of a third of the points' own needs nine.
const double MAX_FACES_PER_NODE = 6.0;  // faces of cells that the gaps may cover

std::vector<NodeId> cornersOf(const std::vector<GapTriangle>& vTriangle) {
    std::vector<NodeId> vCorner;
    for (const GapTriangle& triangle : vTriangle)
        vCorner.insert(vCorner.end(), triangle.corners.begin(), triangle.corners.end());
    return vCorner;
}

std::vector<NodeId> ringsOf(const std::vector<NodeId>& vNode, const NodeStars& stars) {
    std::vector<NodeId> vRing;
    for (const NodeId node : vNode)
        if (const NodeStar* pStar = stars.find(node))
            std::copy_if(pStar->ring.begin(), pStar->ring.end(), std::back_inserter(vRing),
                         [](NodeId other) { return other != NO_NODE; });
    return vRing;
}

std::vector<GapTriangle> explainedGaps(const SampleNodes& nodes, const NodePlanes& planes, NodeStars& stars,
                                       std::size_t& numCandidates) {
    std::vector<GapTriangle> vGap = gapCandidates(nodes, planes, stars);
    numCandidates = vGap.size();
    const std::vector<NodeId> vCorner = cornersOf(vGap);
    stars.make(vCorner);
    stars.make(ringsOf(vCorner, stars));
    keepExplained(stars, vGap);
    return vGap;
}

bool isEven(const std::vector<GapTriangle>& vGap, const NodeStars& stars, std::size_t numNodes) {
    const auto isTear = [&](const GapTriangle& gap) {
        return gap.radius > TEARING_RADIUS &&
               std::none_of(gap.corners.begin(), gap.corners.end(), [&](NodeId node) { return stars.find(node)->bRim; });
    };
    const auto numTears = static_cast<std::size_t>(std::count_if(vGap.begin(), vGap.end(), isTear));
    return numTears <= FEW_TEARS || static_cast<double>(numTears) * NODES_PER_TEAR < static_cast<double>(numNodes);
}

bool isOverCap(const std::vector<GapTriangle>& vGap, const SampleNodes& nodes) {
    double area = 0.0;
    for (const GapTriangle& gap : vGap)
        area += areaOf(gap, nodes);
    return area > MAX_FACES_PER_NODE * static_cast<double>(nodes.size());
}

}  // namespace

EvenSampling evenOut(CloudSample& sample) {
    EvenSampling result;
    const SampleNodes& nodes = sample.nodes;
    NodePlanes planes = lookAround(nodes);
    result.numNodes = nodes.size();
    result.numOpenNodes = planes.vOpen.size();

    NodeStars stars(nodes, planes, sample.getNearest());
    {
        const NearLists known = fitOpenNodes(nodes, sample.getNearest(), planes);
        stars.make(planes.vOpen, &known);
    }
    const std::vector<GapTriangle> vGap = explainedGaps(nodes, planes, stars, result.numCandidates);
    result.numGaps = vGap.size();

    result.bEvenCloud = isEven(vGap, stars, nodes.size());
    result.bOverCap = isOverCap(vGap, nodes);
    if (!result.bEvenCloud && !result.bOverCap) result.vAdded = pointsInGaps(vGap, planes, sample);
    return result;
}

}  // namespace TARN_KEL
