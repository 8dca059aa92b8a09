// A triangle is run over in rows along its longest side. A cell collects the samples of all triangles that run through it,
// and gets their mean: where triangles overlap the point lies between them.
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

const double STEP = 0.5;   // cells between samples and between rows of them
const double PULL = 0.75;  // of the way to the planes of the corners: these overshoot where the surface is curved

const std::size_t BLOCK = 256;  // triangles

using Corners = std::array<NodeId, 3>;

/// Samples of a triangle in a cell.
struct CellSamples {
    RCD cell;
    Vector3 sum;  // of their places, in cells
    double count;
};

using SamplesOfCell = std::pair<RCD, const CellSamples*>;

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

    /// Appends the samples of a triangle that fall into empty cells, those of a cell as one: rows along its longest side,
    /// for a sliver has few.
    void append(const GapTriangle& triangle, std::vector<CellSamples>& vSamples) const {
        const std::size_t first = vSamples.size();
        const double longest = longestSideOf(triangle, nodes);
        const Corners corners = fromLongestSide(triangle);
        const int numRows = numStepsOver(2.0 * areaOf(triangle, nodes) / longest);
        for (int row = 0; row <= numRows; ++row) {
            const double toTip = static_cast<double>(row) / numRows;
            const int numSteps = numStepsOver((1.0 - toTip) * longest);
            for (int i = 0; i <= numSteps; ++i) {
                const double along = static_cast<double>(i) / numSteps * (1.0 - toTip);
                const Point3 p = clampTo(bounds, frame.fromLocal(placeIn(corners, {1.0 - toTip - along, along, toTip})));
                const RCD cell = grid.getRCD(&p);
                if (!occupied.contains(cell)) addTo(vSamples, first, {cell, frame.toLocal(p), 1.0});
            }
        }
    }
    /// The mean of the samples of a cell, appended unless rounding takes it out of the cell.
    template <typename Iterator>
    void appendMean(Iterator first, Iterator end, std::vector<Point3>& vPoints) const {
        CellSamples all = *first->second;
        for (Iterator it = first + 1; it != end; ++it) {
            all.sum += it->second->sum;
            all.count += it->second->count;
        }
        const Point3 p = clampTo(bounds, frame.fromLocal(all.sum / all.count));
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
    static int numStepsOver(double length) { return std::max(1, static_cast<int>(std::ceil(length / STEP))); }
    /// The ends of the longest side, and the tip over it.
    Corners fromLongestSide(const GapTriangle& triangle) const {
        Corners corners = triangle.corners;
        const auto sqSide = [&](std::size_t i) {
            return (nodes.vPlace[corners[(i + 1) % 3]] - nodes.vPlace[corners[i]]).sqLength();
        };
        std::size_t longest = 0;
        for (std::size_t i = 1; i < 3; ++i)
            if (sqSide(i) > sqSide(longest)) longest = i;
        std::rotate(corners.begin(), corners.begin() + static_cast<std::ptrdiff_t>(longest), corners.end());
        return corners;
    }
    Vector3 placeIn(const Corners& corners, const std::array<double, 3>& weights) const {
        Vector3 place, pull;
        for (std::size_t i = 0; i < 3; ++i)
            place += nodes.vPlace[corners[i]] * weights[i];
        for (std::size_t i = 0; i < 3; ++i) {
            const Vector3& normal = planes.vNormal[corners[i]];
            pull += normal * (weights[i] * (normal * (nodes.vPlace[corners[i]] - place)));
        }
        return place + pull * PULL;
    }

    const SampleNodes& nodes;
    const NodePlanes& planes;
    const Calc& grid;
    const LocalFrame& frame;
    const PointBounds& bounds;
    CellBitmap_RCD occupied;
};

/// The samples of the blocks by ascending cell, those of a cell in the order of the blocks.
std::vector<SamplesOfCell> inCellOrder(const std::vector<std::vector<CellSamples>>& vBlock) {
    std::size_t numSamples = 0;
    for (const std::vector<CellSamples>& block : vBlock)
        numSamples += block.size();
    std::vector<SamplesOfCell> vSorted;
    vSorted.reserve(numSamples);
    for (const std::vector<CellSamples>& block : vBlock)
        for (const CellSamples& samples : block)
            vSorted.emplace_back(samples.cell, &samples);
    radixSortByCode(vSorted);
    return vSorted;
}

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
    const std::vector<SamplesOfCell> vSamples = inCellOrder(vBlock);
    std::vector<Point3> vPoints;
    forEachRun(
        vSamples.begin(), vSamples.end(), [](const SamplesOfCell& samples) { return samples.first; },
        [&](auto first, auto end) { sampler.appendMean(first, end, vPoints); });
    return vPoints;
}

}  // namespace TARN_KEL
