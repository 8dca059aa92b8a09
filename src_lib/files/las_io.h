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

class AttributeColumns;

inline constexpr std::string_view LAS_SIGNATURE = "LASF";  ///< the first bytes of each file

using LasClasses = std::array<bool, 256>;  ///< by the number of the class

/// Does the work of readPoints_LAS(). pAttributes: gets what the points carry, here and below; null where nobody wants it.
bool readLas(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes = nullptr);
/// The same for points of some classes. numOthers: how many have another one; unchanged on failure.
bool readLas(const std::string& filename, const LasClasses& aWanted, std::vector<Point3>& vPoints, std::size_t& numOthers,
             AttributeColumns* pAttributes = nullptr);

/// Does the work of writePoints_LAS(). Returns an empty text or, for a failure, a predicate such as "can't be written".
std::string writeLas(const std::string& filename, std::span<const Point3> points, const PointAttributes& attributes = {});

}  // namespace TARN_KEL
