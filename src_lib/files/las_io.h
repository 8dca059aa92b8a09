// Reader of LAS files.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Does the work of readPoints_LAS().
bool readLas(const std::string& filename, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
