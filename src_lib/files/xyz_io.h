// Reader of points as text without a header.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

/// Does the work of readPoints_ASCII(): numbers as a stream takes them, lines that end with '\n'.
bool readXyz(const std::string& filename, std::vector<Point3>& vPoints);

/// The same for readPointFile(): lines of any end, a byte order mark skipped, coordinates that may be "nan" and "inf", and a
/// warning with the number of other lines behind the first point. pAttributes: gets the colours or normals of points with
/// six columns, where it is plain that they are that; null where nobody wants them.
bool readXyzFile(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes);

}  // namespace TARN_KEL
