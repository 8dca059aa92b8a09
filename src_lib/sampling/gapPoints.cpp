#include "gapPoints.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "CellBitmap.h"
#include "Progress.h"
#include "heardChunks.h"
#include "radixSort.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const double STEP = 0.5;   // cells between samples: no cell that a triangle crosses is missed
const double PULL = 0.75;  // of the way to the planes of the corners: these overshoot where the surface is curved

const std::size_t BLOCK = 256;  // triangles

/// Samples of a triangle in a cell.
struct CellSamples {
    RCD cell;
    Vector3 sum;  // of their places, in cells
    double count;
};

Point3 clampTo(const PointBounds& bounds, const Point3& p) {
    return {std::clamp(p.x(), bounds.low[0], bounds.high[0]), std::clamp(p.y(), bounds.low[1], bounds.high[1]),
            std::clamp(p.z(), bounds.low[2], bounds.high[2])};
}

/// Samples of triangles.
class GapSampler {
public:
    GapSampler(const NodePlanes& planes_, const CloudSample& sample)
        : nodes(sample.nodes),
          planes(planes_),
          grid(sample.grid),
          frame(sample.frame),
          bounds(sample.bounds),
          occupied(sample.nodes.vCell) {}

    /// Appends the samples of a triangle that fall into empty cells, those of a cell as one.
    void append(const GapTriangle& triangle, std::vector<CellSamples>& vSamples) const {
        const std::size_t first = vSamples.size();
        const int numSteps = static_cast<int>(std::ceil(longestSideOf(triangle, nodes) / STEP));
        for (int i = 0; i <= numSteps; ++i)
            for (int j = 0; i + j <= numSteps; ++j) {
                const double a = static_cast<double>(i) / numSteps, b = static_cast<double>(j) / numSteps;
                const Point3 p = clampTo(bounds, frame.fromCells(placeIn(triangle, {a, b, 1.0 - a - b})));
                const RCD cell = grid.getRCD(&p);
                if (!occupied.contains(cell)) addTo(vSamples, first, {cell, frame.toCells(p), 1.0});
            }
    }
    /// The mean of the samples of a cell, appended unless rounding takes it out of the cell.
    template <typename Iterator>
    void appendMean(Iterator first, Iterator end, std::vector<Point3>& vPoints) const {
        CellSamples all = *first;
        for (Iterator it = first + 1; it != end; ++it) {
            all.sum += it->sum;
            all.count += it->count;
        }
        const Point3 p = clampTo(bounds, frame.fromCells(all.sum / all.count));
        if (grid.getRCD(&p) == all.cell) vPoints.push_back(p);
    }

private:
    /// To the entry of the same cell behind `first`, which is among the last ones as a rule.
    static void addTo(std::vector<CellSamples>& vSamples, std::size_t first, const CellSamples& sample) {
        const auto itEnd = vSamples.rend() - static_cast<std::ptrdiff_t>(first);
        const auto it =
            std::find_if(vSamples.rbegin(), itEnd, [&](const CellSamples& other) { return other.cell == sample.cell; });
        if (it == itEnd) {
            vSamples.push_back(sample);
            return;
        }
        it->sum += sample.sum;
        it->count += sample.count;
    }
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

std::vector<Point3> pointsInGaps(const std::vector<GapTriangle>& vTriangle, const NodePlanes& planes,
                                 const CloudSample& sample) {
    const GapSampler sampler(planes, sample);
    // Blocks of triangles have their own lists; joined in order they are the same for any number of workers.
    std::vector<std::vector<CellSamples>> vBlock((vTriangle.size() + BLOCK - 1) / BLOCK);
    forHeardChunks_MT(vBlock.size(), ProgressStep("SC_gaps", vBlock.size()), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin * BLOCK; i < std::min(end * BLOCK, vTriangle.size()); ++i)
            sampler.append(vTriangle[i], vBlock[i / BLOCK]);
    });
    std::vector<CellSamples> vSamples;
    for (std::vector<CellSamples>& block : vBlock) {
        vSamples.insert(vSamples.end(), block.begin(), block.end());
        std::vector<CellSamples>().swap(block);
    }
    const auto cellOf = [](const CellSamples& samples) { return samples.cell; };
    radixSortOnThreads(vSamples.data(), vSamples.size(), cellOf, numProcessors());
    std::vector<Point3> vPoints;
    forEachRun(vSamples.begin(), vSamples.end(), cellOf,
               [&](auto first, auto end) { sampler.appendMean(first, end, vPoints); });
    return vPoints;
}

}  // namespace TARN_KEL
