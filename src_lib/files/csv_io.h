// Reader of tables as text: CSV files with a header.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

/// Does the work of readPoints_CSV(). pAttributes: gets the other columns with numbers; null where nobody wants them.
bool readCsv(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes = nullptr);

}  // namespace TARN_KEL
