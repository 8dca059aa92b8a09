// Even sampling: points added where a cloud is sampled more thinly than elsewhere.
//
// A grid of one cell size tears a cloud whose density varies. Before the grid is filled, points are added in gaps that are
// no wider than the spacing around them explains, and nowhere else: windows and rims stay what they are.
#pragma once

#include <cstddef>
#include <vector>

#include "CloudSample.h"
#include "kel.h"

namespace TARN_KEL {

/// The points to add to a cloud, and how they came about.
struct EvenSampling {
    std::vector<Point3> vAdded;     ///< by ascending packed cell; at most one in a cell, and none in an occupied one
    std::size_t numNodes = 0;       ///< occupied cells
    std::size_t numOpenNodes = 0;   ///< those that aren't surrounded by others, and were looked at closely
    std::size_t numCandidates = 0;  ///< triangles of nodes of one sheet around an empty disc of more than a cell's radius
    std::size_t numGaps = 0;        ///< those of them that the spacing around them explains
    bool bEvenCloud = false;        ///< so few gaps would tear the mesh that the cloud stays as it is
    bool bOverCap = false;          ///< the gaps need so many points that the spacing can't be meant: nothing is added
};

/// Finds the points that make the sampling even enough for a grid.
///
/// All added points lie within the bounds of the given ones, so the grid of both together is the same. The result depends
/// neither on the order of the points nor on the number of workers.
/// sample: of the cloud, on the grid of the run.
/// O(n log n); about a tenth of a run for even clouds, more the more gaps there are. Uses the pool. Progress: steps
/// "SC_around", "SC_planes", "SC_stars" and "SC_gaps".
EvenSampling evenOut(CloudSample& sample);

}  // namespace TARN_KEL
