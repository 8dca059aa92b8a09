#pragma once

#include <optional>
#include <vector>

#include "TriangleTree.h"

namespace TARN_KEL {

/// Proves that every place of some triangles is within a limit of other ones.
///
/// Returns a distance that no place exceeds, at most limit; nothing when a place is farther away, or when the proof would
/// need very small pieces. The bound is near the largest distance itself where that is more than an eighth of the limit.
/// Cost: O(n log n) where the two are alike. Uses the pool.
std::optional<double> distanceBound(const std::vector<TrianglePlaces>& vFrom, const TriangleTree& to, double limit);

}  // namespace TARN_KEL
