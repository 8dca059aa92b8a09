// Which triangles of nodes are gaps that the spacing around them explains.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "nodePlanes.h"
#include "nodeStars.h"
#include "sampleNodes.h"

namespace TARN_KEL {

/// Three nodes that touch one empty disc.
struct GapTriangle {
    std::array<NodeId, 3> corners;  ///< ascending
    double radius;                  ///< of the disc, in cells; the smallest that a corner finds
};

/// The triangles of the wide discs of those of the nodes that have a star, each once, by ascending corners, whose corners
/// lie on one smooth sheet and are wide enough apart for the grid to leave a gap. O(n log n).
std::vector<GapTriangle> gapCandidates(const SampleNodes& nodes, const NodePlanes& planes, const NodeStars& stars);

/// Keeps the triangles that are no wider than what is usual around them explains. The stars of the corners and of their
/// rings must be there. O(n).
void keepExplained(const NodeStars& stars, std::vector<GapTriangle>& vTriangle);

/// The area of a triangle, in faces of a cell.
double areaOf(const GapTriangle& triangle, const SampleNodes& nodes);
/// The length of its longest side, in cells.
double longestSideOf(const GapTriangle& triangle, const SampleNodes& nodes);

}  // namespace TARN_KEL
