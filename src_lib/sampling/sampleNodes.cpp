#include "sampleNodes.h"

#include <algorithm>
#include <span>
#include <utility>

#include "radixSort.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using CellOfPoint = std::pair<RCD, NodeId>;  // the cell of a point, and the point's position in the input

std::vector<CellOfPoint> pointsByCell(const std::vector<Point3>& vPoints, const Calc& grid) {
    std::vector<CellOfPoint> vSorted(vPoints.size());
    forChunks_MT(vPoints.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vSorted[i] = {grid.getRCD(&vPoints[i]), static_cast<NodeId>(i)};
    });
    radixSortByCode(vSorted);
    return vSorted;
}

/// Reorders the points of one cell.
Vector3 meanPlace(std::span<CellOfPoint> cell, const std::vector<Point3>& vPoints, const CellFrame& frame) {
    if (cell.size() > 1)
        std::sort(cell.begin(), cell.end(),
                  [&](const CellOfPoint& a, const CellOfPoint& b) { return vPoints[a.second] < vPoints[b.second]; });
    Vector3 sum;
    for (const CellOfPoint& entry : cell)
        sum += frame.toCells(vPoints[entry.second]);
    return sum / static_cast<double>(cell.size());
}

}  // namespace

SampleNodes makeSampleNodes(const std::vector<Point3>& vPoints, const Calc& grid, const CellFrame& frame) {
    ASSEX(vPoints.size()<NO_NODE);
    std::vector<CellOfPoint> vSorted = pointsByCell(vPoints, grid);
    SampleNodes nodes;
    std::vector<std::span<CellOfPoint>> vRun;
    const auto cellOf = [](const CellOfPoint& entry) { return entry.first; };
    forEachRun(vSorted.begin(), vSorted.end(), cellOf, [&](auto first, auto end) {
        nodes.vCell.push_back(first->first);
        vRun.emplace_back(first, end);
    });
    transform_MT(vRun, nodes.vPlace, [&](std::span<CellOfPoint> cell) { return meanPlace(cell, vPoints, frame); });
    return nodes;
}

}  // namespace TARN_KEL
