#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class RMesh;

using IndexTriple = std::array<std::uint32_t, 3>;
/// Two triangles by their positions, the smaller one first.
using CrossingPair = std::pair<std::uint32_t, std::uint32_t>;

/// Counts the pairs of triangles that cross, see crossing.h. Triangles with a coordinate that isn't finite cross nothing.
/// vPoints, vTriangles: three positions in vPoints per triangle.
/// pPairs: if not null, overwritten by the pairs, sorted.
/// Uses the pool. Cost: O(n log n) plus the pairs whose boxes meet, which are k^2 / 2 for a vertex of k triangles; some 150
/// bytes per triangle.
std::size_t countCrossings(const std::vector<Point3>& vPoints, const std::vector<IndexTriple>& vTriangles,
                           std::vector<CrossingPair>* pPairs = nullptr);

/// The same for the alive triangles of a fine mesh, by their positions among these.
std::size_t countCrossings(const RMesh& mesh, std::vector<CrossingPair>* pPairs = nullptr);

}  // namespace TARN_KEL
