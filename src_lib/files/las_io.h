// Reader and writer of LAS files.
#pragma once

#include <array>
#include <cstddef>
#include <span>
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

/// Does the work of writePoints_LAS(). Returns an empty text or, for a failure, a predicate such as "can't be written".
std::string writeLas(const std::string& filename, std::span<const Point3> points);

}  // namespace TARN_KEL
