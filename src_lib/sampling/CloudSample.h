// A cloud on the grid of its run, as the steps before the run look at it.
#pragma once

#include <optional>
#include <vector>

#include "Calc.h"
#include "NearestNodes.h"
#include "inputPoints.h"
#include "kel.h"
#include "sampleNodes.h"

namespace TARN_KEL {

/// The nodes of a cloud, and who is near whom. Steps that change nothing share it.
class CloudSample {
public:
    /// vPoints: at least one, all finite and on the grid, fewer than 2^32; not kept. grid: cubic cells; copied.
    /// O(n log n), 32 bytes per node; uses the pool.
    CloudSample(const std::vector<Point3>& vPoints, const Calc& theGrid)
        : bounds(boundsOf(vPoints)),
          grid(theGrid),
          frame{{bounds.low[0], bounds.low[1], bounds.low[2]}, theGrid.getSideLen()},
          nodes(makeSampleNodes(vPoints, grid, frame)) {}
    CloudSample(const CloudSample&) = delete;
    CloudSample& operator=(const CloudSample&) = delete;

    /// Made when first asked for, as well-sampled clouds can do without. For the leading thread.
    const NearestNodes& getNearest() {
        if (!nearest) nearest.emplace(nodes);
        return *nearest;
    }

    const PointBounds bounds;  ///< of the points
    const Calc grid;
    const LocalFrame frame;  ///< in edges of cells
    const SampleNodes nodes;

private:
    std::optional<NearestNodes> nearest;
};

}  // namespace TARN_KEL
