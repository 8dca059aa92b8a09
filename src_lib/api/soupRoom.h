// Whether the cells that a soup touches fit into memory.
#pragma once

#include <string>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

// At the peak, less than was measured even along the grid, where a square has one cell: what would fit must not be refused.
constexpr double MESH_BYTES_PER_CELL = 330.0;  ///< of melt() with options
constexpr double POINT_BYTES_PER_CELL = 70.0;  ///< of toCloud()

/// Why a soup has too many cells of that edge for the memory that this machine has, as a sentence with an edge that
/// may fit; empty where it doesn't, and where that can't be told. No limit for the process is known, such as that of a
/// container. The cells are estimated by the areas of the triangles: 1.5 for each square. Triangles of the same three
/// corners count once; others that cover each other count each, though they share cells, up to all cells of their box.
/// vCorners: three per triangle. Cost: O(n); O(n log n) where the memory isn't enough for all of them.
std::string soupRoomFault(const std::vector<Point3>& vCorners, double spacing, double bytesPerCell);

}  // namespace TARN_KEL
