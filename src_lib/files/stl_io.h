// Readers of STL files.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// What readSTL_ASCII() does. bTrianglesOnly: a loop of a text that hasn't three corners or no end is a failure as well.
bool readStl(const std::string& filename, bool bTrianglesOnly, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
