// From a triangle soup to a clean mesh, or to points.
#pragma once

#include <kel/mesh.h>
#include <kel/points.h>

#include <vector>

namespace TARN_KEL {

/// Makes a clean mesh of a triangle soup: draws the triangles into a grid, sharp edges first, and meshes the occupied cells.
///
/// Orientations, holes, double walls and edges of many triangles in the input don't matter. Triangles of the mesh are about
/// as large as a cell, and parts of the input within a cell or two of each other merge. Triangles parallel to the grid fill
/// their cells without a gap. Others miss cells of which they cut off only a sliver: of a thousand edges a few may remain
/// borders (pinholes the size of a triangle) or have three or more triangles.
///
/// @param vPoints       triangle corners, three per triangle; corners with exactly equal coordinates are one vertex.
///                      Triangles that are degenerate or have a coordinate that isn't finite are skipped, with one warning
///                      that counts them
/// @param spacingAbs    edge length of a grid cell, greater than 0
/// @param featureAngle  edges stay sharp, and their ends in place, when the normals of their triangles differ by more than
///                      this many degrees; usually 20 to 40. Borders stay sharp as well. From 360 on only borders do, from
///                      9999 on nothing does
/// @return the mesh; null, after a warning, when no triangle is left
/// @throws KelBugException when spacingAbs isn't greater than 0, when the number of points isn't a multiple of three, or
///         where reconstruct_abs() does
/// @cost O(n log n) in the triangles and the cells that they touch
MeshPtr melt(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle);

/// Makes evenly spread points of a triangle soup: one for each cell that melt() would mesh.
///
/// @param vPoints       as for melt()
/// @param spacingAbs    as for melt()
/// @param featureAngle  as for melt()
/// @param[out] vOut     the points are appended; nothing, after a warning, when no triangle is left
/// @throws KelBugException as melt() does
/// @cost as for melt()
void toCloud(std::vector<Point3>& vPoints, double spacingAbs, double featureAngle, std::vector<Point3>& vOut);

}  // namespace TARN_KEL
