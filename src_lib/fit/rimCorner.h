#pragma once

#include <optional>
#include <vector>

namespace TARN_KEL {

/// A place in the plane of a sheet near its border: along the border, and outward from the sheet. In spacings.
struct RimPlace {
    double along, outward;
};

/// Where two rims meet, and how far that is from what is known.
struct RimCorner {
    RimPlace place;
    double empty;  ///< the area between the corner and the points, in squares of a spacing; a small one makes it sure
};

constexpr double RIM_REACH = 6.0;  // spacings from a corner along both of its rims

/// Where two straight rims of a sheet meet, beyond the last points: no point lies at a corner itself. None where the outline
/// may as well be round.
///
/// vPoint: the points within some RIM_REACH of the border at 0. turn: the angle by which the border turns there, to the
/// right as it runs along; half of it before and half of it after 0. O(n log n).
std::optional<RimCorner> findRimCorner(std::vector<RimPlace> vPoint, double turn);

}  // namespace TARN_KEL
