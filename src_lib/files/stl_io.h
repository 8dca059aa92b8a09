// Readers of STL files.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Does the work of readSTL_ASCII().
/// bTrianglesOnly: fail also for a loop in a text that doesn't have three corners, or has no end.
bool readStl(const std::string& filename, bool bTrianglesOnly, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
