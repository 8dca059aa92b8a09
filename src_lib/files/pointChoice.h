// How points are chosen while a file is read, so that those that are left out take neither memory nor columns.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// The class of a point by its position in a list; empty where it isn't known.
using ClassOf = std::function<std::optional<double>(std::size_t)>;

/// Says which of the next points of a file are kept, by a number other than 0 in vKept, which has a 0 for each. May move the
/// points. classOf: empty where the file has no classes. Called with the next points in their order, one to all of them.
/// What it throws is taken for a fault of the file.
using ChoosePoints =
    std::function<void(std::span<Point3> points, const ClassOf& classOf, std::vector<unsigned char>& vKept)>;

}  // namespace TARN_KEL
