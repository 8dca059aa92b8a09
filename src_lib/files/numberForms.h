// How files round coordinates, and whether a shape survives that.
#pragma once

#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// How a file holds a coordinate.
struct NumberForm {
    bool bSingle;   ///< rounded to single precision
    int numDigits;  ///< then to a text of so many significant digits; 0: kept as bytes
};

inline constexpr int EXACT_DIGITS = 17;       ///< a text of so many digits reads back as the same double
inline constexpr double MAX_ROUNDING = 1e-3;  ///< by rounding, as a share of the mean distance of neighbours
inline constexpr NumberForm SINGLE_BYTES{true, 0};
inline constexpr NumberForm SINGLE_TEXT{true, 6};
inline constexpr NumberForm SHORT_TEXT{false, 6};
inline constexpr NumberForm LONG_TEXT{false, 10};

/// The coordinate that a reader gets back.
double inForm(double value, const NumberForm& form);
Point3 inForm(const Point3& point, const NumberForm& form);

/// Whether rounding joins two different places, or moves a point by more than a thousandth of a length. Points with a
/// coordinate that isn't finite don't count. True for more than 2^31 points.
///
/// @param vPoints  null nowhere
/// @param form     the rounding
/// @param length   the mean distance of neighbours; 0 or less allows no move at all
/// @cost O(n); 11 to 22 bytes per point where rounding moves anything
bool losesShape(const std::vector<const Point3*>& vPoints, const NumberForm& form, double length);

/// A length of about the mean distance of neighbours on a surface, from the quartiles of the coordinates, so that outliers
/// don't matter. 0.0 for no points. Cost: O(n) on average.
double surfaceSpacing(const std::vector<const Point3*>& vPoints);

}  // namespace TARN_KEL
