// Reader of tables as text: CSV files with a header.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Does the work of readPoints_CSV().
bool readCsv(const std::string& filename, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
