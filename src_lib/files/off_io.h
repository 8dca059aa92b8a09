// Reader of OFF files.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// The same as readObj() for an OFF file.
bool readOff(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices);

}  // namespace TARN_KEL
