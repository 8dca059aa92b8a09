#include "sampleNodes.h"

#include <algorithm>
#include <span>
#include <utility>

#include "Progress.h"
#include "pointsByCode.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using CellPoint = std::pair<RCD, const Point3*>;

/// Reorders the points of one cell.
Vector3 meanPlace(std::span<CellPoint> cell, const LocalFrame& frame) {
    if (cell.size() > 1)
        std::sort(cell.begin(), cell.end(), [](const CellPoint& a, const CellPoint& b) { return *a.second < *b.second; });
    Vector3 sum;
    for (const CellPoint& entry : cell)
        sum += frame.toLocal(*entry.second);
    return sum / static_cast<double>(cell.size());
}

}  // namespace

SampleNodes makeSampleNodes(const std::vector<Point3>& vPoints, const Calc& grid, const LocalFrame& frame) {
    ASSEX(vPoints.size()<NO_NODE);
    const ProgressStep progress("SC_nodes", 5);  // a run may make them three times
    std::vector<CellPoint> vSorted = pointsByCell(vPoints, grid);
    progress.advance();
    SampleNodes nodes;
    std::vector<std::span<CellPoint>> vRun;
    const auto cellOf = [](const CellPoint& entry) { return entry.first; };
    forEachRun(vSorted.begin(), vSorted.end(), cellOf, [&](auto first, auto end) {
        nodes.vCell.push_back(first->first);
        vRun.emplace_back(first, end);
    });
    transform_MT(vRun, nodes.vPlace, [&](std::span<CellPoint> cell) { return meanPlace(cell, frame); });
    progress.advance();
    return nodes;
}

}  // namespace TARN_KEL
