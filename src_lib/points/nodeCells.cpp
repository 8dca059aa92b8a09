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
    std::vector<Point3> vDelivered(vCellNode.size());
    std::vector<char> vHasPlane(vCellNode.size());
    forChunks_MT(vCellNode.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto& [ccd, pSN] = vCellNode[i];
            vHasPlane[i] = pSN->bHasPlane ? 1 : 0;
            if (!pSN->bHasPlane) continue;
            const bool bOwnPlace = pSN->vLinkedNodes.size() < FULL_RING || pSN->bFeature;
            vDelivered[i] = bOwnPlace ? pSN->smoothedPoint : pSN->plane.projection(grid.getMidPoint(ccd));
        }
    });
    std::size_t numKept = 0;
    for (std::size_t i = 0; i < vDelivered.size(); ++i)
        if (vHasPlane[i] != 0) vDelivered[numKept++] = vDelivered[i];
    vDelivered.resize(numKept);
    return vDelivered;
}

}  // namespace TARN_KEL
