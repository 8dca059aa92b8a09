// Chooses points while a file is read, so that those that are left out take neither memory nor columns.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// The class of a point by its position in a list; empty where it isn't known.
using ClassOf = std::function<std::optional<double>(std::size_t)>;

/// Says which of the next points of a file are kept, by a number other than 0 in vKept, which has a 0 for each. May move the
/// points. classOf: empty where the file has no classes. Called with some thousands of points at a time, in their order.
using ChoosePoints =
    std::function<void(std::span<Point3> points, const ClassOf& classOf, std::vector<unsigned char>& vKept)>;

/// As readPointFile(), but only points that are kept are appended. Memory: in proportion to these, and, where the format is
/// read as a whole (PLY, OBJ, OFF, compressed PCD), to the file.
bool readChosenPoints(const std::string& filename, const ChoosePoints& choose, std::vector<Point3>& vPoints,
                      PointAttributes& attributes);

}  // namespace TARN_KEL
