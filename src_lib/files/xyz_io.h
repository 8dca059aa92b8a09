// Reader of points as text without a header.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

/// Does the work of readPoints_ASCII(). pAttributes: gets the colours or normals of points with six columns, where it is
/// plain that they are that; null where nobody wants them.
bool readXyz(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes = nullptr);

}  // namespace TARN_KEL
