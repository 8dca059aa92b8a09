// Reader of LAS files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

inline constexpr std::string_view LAS_SIGNATURE = "LASF";  ///< the first bytes of each file

/// Does the work of readPoints_LAS().
bool readLas(const std::string& filename, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
