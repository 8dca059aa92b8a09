#include "gapPoints.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "CellBitmap.h"
#include "radixSort.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double STEP = 0.5;   // cells between samples: no cell that a triangle crosses is missed
const double PULL = 0.75;  // of the way to the planes of the corners: these overshoot where the surface is curved

struct Sample {
    RCD cell;
    Vector3 place;  // in cells
};

Point3 clampTo(const PointBounds& bounds, const Point3& p) {
    return {std::clamp(p.x(), bounds.low[0], bounds.high[0]), std::clamp(p.y(), bounds.low[1], bounds.high[1]),
            std::clamp(p.z(), bounds.low[2], bounds.high[2])};
}

/// Samples of triangles.
class GapSampler {
public:
    GapSampler(const SampleNodes& nodes_, const NodePlanes& planes_, const Calc& grid_, const CellFrame& frame_,
               const PointBounds& bounds_)
        : nodes(nodes_), planes(planes_), grid(grid_), frame(frame_), bounds(bounds_), occupied(nodes_.vCell) {}

    /// Appends the samples of a triangle that fall into empty cells.
    void append(const GapTriangle& triangle, std::vector<Sample>& vSample) const {
        const int numSteps = static_cast<int>(std::ceil(longestSideOf(triangle, nodes) / STEP));
        for (int i = 0; i <= numSteps; ++i)
            for (int j = 0; i + j <= numSteps; ++j) {
                const double a = static_cast<double>(i) / numSteps, b = static_cast<double>(j) / numSteps;
                const Point3 p = clampTo(bounds, frame.fromCells(placeIn(triangle, {a, b, 1.0 - a - b})));
                if (const RCD cell = grid.getRCD(&p); !occupied.contains(cell)) vSample.push_back({cell, frame.toCells(p)});
            }
    }
    /// The mean of the samples of a cell, appended unless rounding takes it out of the cell.
    template <typename Iterator>
    void appendMean(Iterator first, Iterator end, std::vector<Point3>& vPoints) const {
        Vector3 sum;
        for (Iterator it = first; it != end; ++it)
            sum += it->place;
        const Point3 p = clampTo(bounds, frame.fromCells(sum / static_cast<double>(end - first)));
        if (grid.getRCD(&p) == first->cell) vPoints.push_back(p);
    }

private:
    Vector3 placeIn(const GapTriangle& triangle, const std::array<double, 3>& weights) const {
        Vector3 place, pull;
        for (std::size_t i = 0; i < 3; ++i)
            place += nodes.vPlace[triangle.corners[i]] * weights[i];
        for (std::size_t i = 0; i < 3; ++i) {
            const Vector3& normal = planes.vNormal[triangle.corners[i]];
            pull += normal * (weights[i] * (normal * (nodes.vPlace[triangle.corners[i]] - place)));
        }
        return place + pull * PULL;
    }

    const SampleNodes& nodes;
    const NodePlanes& planes;
    const Calc& grid;
    const CellFrame& frame;
    const PointBounds& bounds;
    CellBitmap_RCD occupied;
};

}  // namespace

std::vector<Point3> pointsInGaps(const std::vector<GapTriangle>& vTriangle, const SampleNodes& nodes,
                                 const NodePlanes& planes, const Calc& grid, const CellFrame& frame,
                                 const PointBounds& bounds) {
    const GapSampler sampler(nodes, planes, grid, frame, bounds);
    std::vector<Sample> vSample;
    for (const GapTriangle& triangle : vTriangle)
        sampler.append(triangle, vSample);
    radixSortOnThreads(
        vSample.data(), vSample.size(), [](const Sample& sample) { return sample.cell; }, numProcessors());
    std::vector<Point3> vPoints;
    forEachRun(
        vSample.begin(), vSample.end(), [](const Sample& sample) { return sample.cell; },
        [&](auto first, auto end) { sampler.appendMean(first, end, vPoints); });
    return vPoints;
}

}  // namespace TARN_KEL
