// Reader of LAS files.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

inline constexpr std::string_view LAS_SIGNATURE = "LASF";  ///< the first bytes of each file

using LasClasses = std::array<bool, 256>;  ///< by the number of the class

/// Does the work of readPoints_LAS().
bool readLas(const std::string& filename, std::vector<Point3>& vPoints);
/// The same for points of some classes. numOthers: how many have another one; unchanged on failure.
bool readLas(const std::string& filename, const LasClasses& aWanted, std::vector<Point3>& vPoints, std::size_t& numOthers);

}  // namespace TARN_KEL
