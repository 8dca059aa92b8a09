// Binary points.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

/// Does the work of readPoints_BIN(). pColumns: null, or what chooses among the points.
bool readBin(const std::string& name, std::vector<Point3>& vPoints, AttributeColumns* pColumns);
/// Does the work of writePoints_BIN().
bool writeBin(const std::string& name, const std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
