// Reader of PCD files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

inline constexpr std::string_view PCD_SIGNATURE = "# .PCD";  ///< the first bytes of most files

/// Does the work of readPoints_PCD(). pAttributes: gets the other fields; null where nobody wants them.
bool readPcd(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes = nullptr);

}  // namespace TARN_KEL
