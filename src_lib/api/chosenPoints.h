// Reads some points of a file.
#pragma once

#include <string>
#include <vector>

#include "kel.h"
#include "pointChoice.h"

namespace TARN_KEL {

/// As readPointFile(), but only points that are kept are appended. pAttributes: gets their rows; null where nobody wants
/// them, which are then neither read nor warned of. Memory: in proportion to these points, and, where the format is read as
/// a whole (PLY, OBJ, OFF, compressed PCD), to the file.
bool readChosenPoints(const std::string& filename, const ChoosePoints& choose, std::vector<Point3>& vPoints,
                      PointAttributes* pAttributes);

}  // namespace TARN_KEL
