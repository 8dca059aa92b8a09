// From a triangle soup to a clean mesh, or to points.
#pragma once

#include <kel/mesh.h>
#include <kel/options.h>
#include <kel/points.h>

#include <atomic>
#include <cstddef>
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

/// What melt() with options is asked for. Only the spacing has no default.
struct MeltOptions {
    double spacing = 0.0;        ///< Edge of a grid cell, in the unit of the points, greater than 0.
    double featureAngle = 10.0;  ///< In degrees, see melt(). Usually 10 to 40.

    /// Adds the cells of which triangles cut off only a sliver, which melt() of a spacing and an angle misses.
    bool bComplete = true;
    bool bManifold = true;    ///< Manifold and oriented, see makeManifold(), without crumbs at rims. Later steps keep it so.
    int maxPinholeEdges = 8;  ///< Closes holes of so many edges or, if manifold, two cells, no outer borders; 0: none.
    int maxHoleEdges = 0;     ///< Closes all holes of at most that many edges, see fillHoles(); 0 for none.

    // ---- The run

    int numThreads = 0;                        ///< Calls setNumThreads() when greater than 0.
    ProgressBase* pListener = nullptr;         ///< Hears this run in place of the thread's listener. The caller's.
    const std::atomic<bool>* pStop = nullptr;  ///< Once true it ends the run with its next step or report. The caller's.
};

/// What melt() with options did.
struct MeltReport {
    std::size_t numTriangles = 0;  ///< Triangles that were passed.
    std::size_t numCells = 0;      ///< Cells that the mesh was made of.
    std::size_t numAdded = 0;      ///< Those of them that bComplete added.

    MeshFlaws before;         ///< Of the mesh as the cells make it.
    MeshFlaws after;          ///< Of the mesh that is returned.
    ManifoldReport manifold;  ///< What made the mesh manifold; bClosed is of the mesh that is returned.
    int numHolesClosed = 0;   ///< Pinholes and holes.

    std::vector<RunStep> vSteps;  ///< In their order: "cells", "surface", "flaws", "manifold", "holes", "turn", "flaws".
    /// Bytes, of the process since its start; 0 where the system doesn't tell, or after a throw.
    std::size_t peakMemory = 0;
};

/// Makes a clean mesh of a triangle soup, with options.
///
/// Does what melt() of a spacing and an angle does, without its pinholes: cells of which triangles cut off only a sliver are
/// meshed as well, the mesh is made manifold, and pinholes and slits are closed. Where two sheets are closer than a
/// cell, as around the lines where parts pass through each other, the cells make one strip of both; it is removed, and the
/// sheets are joined along its sides; closed bodies that touch by a face are joined as well. Strips stay where more than
/// 2000 of them are connected by their lines. Each step has a switch; with all of them off the result is that of melt() of a
/// spacing and an angle. Where that warns for each cell along a needle, this warns once.
///
/// A listener hears this run as "Melt".
///
/// @param vPoints  as for melt(); not changed
/// @param options  what to do
/// @param pReport  overwritten by what was done; may be null. When the call throws, it tells about the steps until then
/// @return the mesh; null, after a warning, when no triangle is left
/// @throws KelBugException as melt() does, and when by their area the triangles have more cells than the memory can hold
/// @throws KelStoppedException when the stop flag ended the run
/// @cost O(n log n) in the triangles and the cells that they touch
MeshPtr melt(const std::vector<Point3>& vPoints, const MeltOptions& options, MeltReport* pReport = nullptr);

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
