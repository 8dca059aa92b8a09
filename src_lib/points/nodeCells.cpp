// Chooses one node per cell, and the point of that cell.
#include "nodeCells.h"

#include <algorithm>
#include <cstddef>

#include "Smooth.h"
#include "sortMT.h"
#include "sortedCodes.h"

namespace TARN_KEL {

namespace {

const std::size_t FULL_RING = 8;  // links from which on a node counts as an inner one

}  // namespace

std::vector<std::pair<CCD, SNode*>> oneNodePerCell(const std::vector<SNode*>& vNodes, const Calc& grid) {
    std::vector<std::pair<CCD, SNode*>> vCellNode;
    transform_MT(vNodes, vCellNode, [&grid](SNode* pSN) { return std::make_pair(grid.getCCD(&pSN->smoothedPoint), pSN); });
    sortMT(vCellNode.begin(), vCellNode.end());
    dropRepeatsOfFirst(vCellNode);
    return vCellNode;
}

std::vector<Point3> deliveredPoints(const std::vector<std::pair<CCD, SNode*>>& vCellNode, const Calc& grid) {
    std::vector<Point3> vDelivered;
    vDelivered.reserve(vCellNode.size());
    for (const auto& [ccd, pSN] : vCellNode) {
        if (!pSN->bHasPlane) continue;
        const bool bOwnPosition = pSN->vLinkedNodes.size() < FULL_RING || pSN->bFeature;
        vDelivered.push_back(bOwnPosition ? pSN->smoothedPoint : pSN->plane.projection(grid.getMidPoint(ccd)));
    }
    return vDelivered;
}

}  // namespace TARN_KEL
