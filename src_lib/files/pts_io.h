// Readers of the texts of scanners: PTS and PTX files.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Does the work of readPoints_PTS().
bool readPts(const std::string& filename, std::vector<Point3>& vPoints);
/// Does the work of readPoints_PTX().
bool readPtx(const std::string& filename, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
