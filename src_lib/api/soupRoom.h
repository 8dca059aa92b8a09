// Whether the cells that a soup touches fit into memory.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

constexpr double MESH_BYTES_PER_CELL = 1200.0;  ///< at the peak of melt() with options, as measured
constexpr double POINT_BYTES_PER_CELL = 250.0;  ///< at that of toCloud()

/// Why a soup has too many cells of that edge for the memory of this machine, as a sentence with the least edge that fits;
/// empty where it doesn't, and where that can't be told. The cells are estimated by the areas of the triangles: 1.5 for each
/// square. vCorners: three per triangle. Cost: O(n).
std::string soupRoomFault(const std::vector<Point3>& vCorners, double spacing, double bytesPerCell);

}  // namespace TARN_KEL
