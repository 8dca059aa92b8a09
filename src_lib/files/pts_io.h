// Readers of the texts of scanners: PTS and PTX files.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class AttributeColumns;

/// Does the work of readPoints_PTS(). pAttributes: gets intensity and colour; null where nobody wants them.
bool readPts(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes = nullptr);
/// Does the work of readPoints_PTX(), with the same.
bool readPtx(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes = nullptr);

}  // namespace TARN_KEL
