// Constants that steps of even sampling share. Lengths are in cells.
#pragma once

#include <cstddef>

namespace TARN_KEL {

/// Nodes looked at for a plane and a star: two rings of an even sheet.
constexpr std::size_t NUM_NEAR = 16;
/// The same where these don't suffice: a scan line and its neighbours at 1:16.
constexpr std::size_t NUM_FAR = 48;

/// The radius of an empty disc from which on there is a gap: the grid bridges gaps of two cells itself.
constexpr double GAP_RADIUS = 1.0;
/// The same up to which a gap can be a matter of sampling, whatever is usual around it.
constexpr double MAX_RADIUS = 8.0;

}  // namespace TARN_KEL
