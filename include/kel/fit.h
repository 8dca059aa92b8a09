// A mesh fitted to the points that it was made of.
#pragma once

#include <kel/mesh.h>
#include <kel/points.h>

#include <cstddef>
#include <vector>

namespace TARN_KEL {

/// What fit() is asked for. The defaults suit any scan.
struct FitOptions {
    /// Edge of the cells of the grid that the mesh was made on, in the unit of the points; 0 estimates it by the edges of
    /// the mesh.
    double cellEdge = 0.0;
    /// Takes noise out: each vertex follows many points, as many as the noise asks for and detail allows. Otherwise all that
    /// the points show is detail.
    bool bNoise = true;
    /// No pair of triangles passes through each other that doesn't before, see countSelfIntersections(): around those that
    /// would, the mesh stays as it is. Where there are such pairs, takes some times as long as that function.
    bool bNoCrossings = true;
};

/// What fit() did; what bNoCrossings took back counts, but for splits and moves. Lengths are in the unit of the points.
struct FitReport {
    std::size_t numPoints = 0;     ///< Points near the mesh, which took part; dense ones are averaged first.
    double pointSpacing = 0.0;     ///< Median of their mean distance to the six nearest; 0.0 when too few took part.
    double noise = 0.0;            ///< Standard deviation of the points from the surface, as far as it isn't detail.
    double radius = 0.0;           ///< Points so far away had a say in where the surface is.
    std::size_t numCorners = 0;    ///< Vertices put onto corners, where three sheets meet.
    std::size_t numOnCreases = 0;  ///< Vertices put onto creases, where two sheets meet.
    std::size_t numFlips = 0;      ///< Edges flipped.
    std::size_t numSplits = 0;     ///< Edges split on a crease; each adds a vertex and two triangles.
    std::size_t numUnfolded = 0;   ///< Vertices moved to smooth folds.
    std::size_t numUntangled = 0;  ///< Vertices moved since triangles passed through each other.
    double meanMove = 0.0;         ///< Of the vertices that were there before.
    double maxMove = 0.0;          ///< The largest of their moves.
};

/// Moves a mesh to where the points say that the surface is, with sharp creases and corners and without noise.
///
/// A reconstruction has a vertex for each cell of its grid. It cuts edges and corners off, lies a little inside of curved
/// places, and each vertex has the noise of a few points. This step looks at all points around a vertex instead: it finds
/// how much of what they show is noise, how many sheets they form, and puts the vertex onto its sheet, their crease or their
/// corner. Edges are flipped and, on creases, split. No triangle is removed, and nothing else about the topology changes: a
/// manifold mesh stays manifold, borders stay borders. Where no points are near the mesh stays as it is.
///
/// Any mesh will do, of any program, if its triangles aren't much larger than the spacing of the points. Points farther from
/// it than two cells don't take part, nor do those that aren't finite. A mesh whose vertices aren't finite isn't changed,
/// after a warning. Points returned by the mesh before are invalid afterwards. A listener hears this run as "Fit" when it
/// isn't part of another one; when it throws, the mesh is as before.
///
/// @param pMesh    the mesh
/// @param vPoints  in any order: it doesn't count, nor does the number of workers
/// @param options  what to do
/// @return what was done
/// @throws KelBugException for a null mesh and for a cell edge that is negative or not finite
/// @cost O(n log n); some 0.7 s for 100,000 points on one core, up to 4 s under strong noise
FitReport fit(MeshPtr pMesh, const std::vector<Point3>& vPoints, const FitOptions& options = {});

}  // namespace TARN_KEL
