// Changing a mesh in place: manifold, reduction, flips, smoothing, holes. A null MeshPtr throws KelBugException.
#pragma once

#include <kel/mesh.h>

#include <cstddef>

namespace TARN_KEL {

// ---- Manifold meshes ----------------------------------------------------------------------------------------------------

/// What makeManifold() did.
struct ManifoldReport {
    std::size_t numFlat = 0;         ///< Triangles found whose height is at most a millionth of their longest side.
    std::size_t numDuplicates = 0;   ///< Triangles removed because others have the same corners.
    std::size_t numMembranes = 0;    ///< Triangles removed as parts of inner walls, flaps and, by melt(), strips.
    std::size_t numSplinters = 0;    ///< Triangles removed as parts of small pieces that came off, and of strips.
    std::size_t numTurned = 0;       ///< Triangles whose orientation was reversed.
    std::size_t numNewVertices = 0;  ///< Vertices created at the place of another one, or about in the middle of an edge.
    std::size_t numCuts = 0;         ///< Sides of triangles that had a neighbour and are borders now.
    bool bClosed = false;            ///< True when no edge of the mesh is a border.
};

/// Makes a mesh manifold and oriented.
///
/// Afterwards each edge has one or two triangles, each vertex has one fan of triangles, neighbours agree in orientation,
/// pieces without a border face outward, and no triangle is flat (a height of at most a millionth of its longest side) or
/// there twice. A mesh that meets all this isn't changed.
///
/// The steps: Walls inside a body and flaps that hang on an edge are removed, up to 100 triangles each. Sheets that cross or
/// touch are separated; those that are next to each other around an edge stay connected, and new vertices appear at the
/// place of old ones. Pieces of at most 20 triangles that came off a larger one are removed. A sheet with only one side is
/// cut open, and a narrow strip that results is removed. A closed surface stays closed where that is possible.
///
/// Files that tell vertices apart by their places alone (STL) bring the contacts back. A listener hears this run as
/// "Manifold" when it isn't part of another one. When the listener throws, the mesh is valid, but perhaps not yet manifold.
///
/// @param pMesh  the mesh; the same mesh always gives the same result
/// @return what was done
/// @cost O(n log n)
ManifoldReport makeManifold(MeshPtr pMesh);

/// The same; with bNoCrossings no flat triangle is removed by a step that makes triangles pass through each other. Such a
/// triangle leaves a slit.
ManifoldReport makeManifold(MeshPtr pMesh, bool bNoCrossings);

/// @page keep_manifold Keeping a mesh manifold
///
/// Functions that change a mesh have a form with the argument bKeepManifold. With true, a mesh that is manifold as
/// makeManifold() leaves it, is manifold afterwards and faces as before. Two vertices may then be at one place.
///
/// Degenerate triangles are removed only by steps that keep the surface whole. Thin ones without such a step remain as long
/// as their height exceeds a millionth of their longest side. Flatter ones are always removed, in the last resort by
/// makeManifold(), which parts the surface where it was pinched. Nothing is promised for a mesh that wasn't manifold.
///
/// It costs a few percent at most, apart from the last resort. With false these forms do what the shorter ones do.

/// What a step that changes a mesh keeps.
struct KeepOptions {
    bool bManifold = true;  ///< As bKeepManifold, see @ref keep_manifold.
    /// No step makes triangles pass through each other, see countSelfIntersections(): that number doesn't grow, and a mesh
    /// without self-intersections gets none. Collapses, flips, moves and fills that would are left out. Where that is the
    /// only way, a flat triangle stays, or leaves a slit. Takes up to 200 bytes per triangle.
    bool bNoCrossings = true;
};

/// Lowers the number of self-intersections, see countSelfIntersections(): where triangles pass through each other, edges are
/// flipped, vertices moved towards the mean of their neighbours, alone or all around, or collapsed. Mostly nearly all go.
///
/// A mesh without any isn't changed. A manifold mesh stays manifold, border vertices stay where they are, and no step makes
/// a thin triangle.
///
/// @param pMesh  the mesh
/// @return the number of those that are left
/// @cost as countSelfIntersections(); where there are any, about half as much again, and some 0.2 to 10 ms for each; O(k^2)
///       at a vertex of k triangles
std::size_t removeSelfIntersections(MeshPtr pMesh);

// ---- Fewer triangles, better triangles ----------------------------------------------------------------------------------

/// Reduces the number of triangles: collapses vertices onto neighbours, cheapest first, until no queued collapse is within
/// the limits.
///
/// Flat places are the cheapest, and there short edges. Vertices that remain don't move. Both limits apply to each collapse
/// against the mesh as it is at that time, so changes of normals add up over many collapses; maxEdgeLength bounds the
/// coarsening. A few vertices whose surroundings changed last aren't queued again. Border vertices collapse only where the
/// border is straight within 10 degrees. Collapses keep a closed manifold mesh closed and manifold, and create no triangle
/// of less than 5e-11 in area, in the squared unit of the caller, from larger ones. At the end degenerate triangles are
/// removed, whatever the limits are.
///
/// @param pMesh          the mesh
/// @param maxEdgeLength  a vertex collapses onto a neighbour at most this far away
/// @param maxAngle       no normal around the vertex may turn by more than this many degrees
/// @return the number of triangles that collapses removed; 0, after a warning, when a limit isn't a number: then nothing is
///         done
/// @cost O(n log n) where few triangles meet at each vertex; a vertex with k triangles costs O(k^2)
int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle);

/// The same; with bKeepManifold a manifold mesh stays manifold, see @ref keep_manifold.
int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle, bool bKeepManifold);

/// The same, with options.
int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle, const KeepOptions& keep);

/// Flips edges where that makes the surface smoother, largest gain first, also within flat quads.
///
/// An edge is considered when it qualifies at the start, and flipped if it still does at its turn. Smoothness is the sum of
/// (edge length * (1 - cosine of the angle between the two normals))^0.335 over all edges with two triangles: a few sharp
/// creases are better than many slight folds. The sum never rises. At the end degenerate triangles are removed. Vertices
/// don't move, and none is removed except with degenerate triangles and where two vertices opposite an edge are at one
/// place.
///
/// @param pMesh  the mesh; the same mesh always gives the same result
/// @cost O(n log n)
void edgeFlips(MeshPtr pMesh);

/// The same; with bKeepManifold a manifold mesh stays manifold, see @ref keep_manifold.
void edgeFlips(MeshPtr pMesh, bool bKeepManifold);

/// The same, with options.
void edgeFlips(MeshPtr pMesh, const KeepOptions& keep);

/// Flips edges by simulated annealing, which leaves local minima: edgeFlips(), 29 rounds of flips some of which make it
/// worse at random, edgeFlips().
///
/// The sum that edgeFlips() lowers may be higher afterwards. Temperatures are absolute, so the result depends on the unit of
/// length.
///
/// @param pMesh  the mesh; the same mesh always gives the same result
/// @cost about thirty times as much as edgeFlips()
void edgeFlipsSimA(MeshPtr pMesh);

/// The same; with bKeepManifold a manifold mesh stays manifold, see @ref keep_manifold.
void edgeFlipsSimA(MeshPtr pMesh, bool bKeepManifold);

/// The same, with options.
void edgeFlipsSimA(MeshPtr pMesh, const KeepOptions& keep);

/// Laplacian smoothing: in each iteration every vertex that isn't on a border moves to the mean of its neighbours, as they
/// were before the iteration.
///
/// A vertex whose mean is the place of another vertex waits for the next iteration. Edges that flips and collapses left
/// without a triangle still count as connections: write and read the mesh to get rid of them. At the end degenerate
/// triangles are removed, and vertices with them.
///
/// @param pMesh          the mesh
/// @param numIterations  below 1 no vertex moves
/// @cost O(n log n), each iteration O(n). Each iteration is a step of the progress, which takes about 400 bytes
void laplacianSmoothing(MeshPtr pMesh, int numIterations);

/// The same; with bKeepManifold a manifold mesh stays manifold, see @ref keep_manifold.
void laplacianSmoothing(MeshPtr pMesh, int numIterations, bool bKeepManifold);

/// The same, with options.
void laplacianSmoothing(MeshPtr pMesh, int numIterations, const KeepOptions& keep);

// ---- Holes --------------------------------------------------------------------------------------------------------------

/// Closes small holes: fills each border loop of at most maxEdges edges with triangles between its vertices, narrowest
/// corner first.
///
/// A loop of n edges gets n - 2 triangles, oriented as their neighbours are. No vertex is created and no other triangle
/// changes. Some loops are left open and not counted: those that touch another loop or themselves in a vertex, those with a
/// twist or with neighbours that don't agree in orientation, and those that can't be filled without an edge of three
/// triangles or because of the shape of their corners.
///
/// The outer border of a sheet is a loop like any other. That of a vase, which narrows towards it, is closed; that of a flat
/// sheet or a bowl isn't. Triangles may overlap in a winding hole, so keep maxEdges to holes that are small compared to the
/// shape around them. A listener hears this run as "FillHoles".
///
/// @param pMesh     the mesh
/// @param maxEdges  the longest loop that is filled; below 3 nothing is done
/// @return the number of holes closed
/// @cost O(n log n)
int fillHoles(MeshPtr pMesh, int maxEdges);

/// The same; with bKeepManifold flat triangles are removed again. A hole without area, which gets them, becomes a seam.
int fillHoles(MeshPtr pMesh, int maxEdges, bool bKeepManifold);

/// The same, with options.
int fillHoles(MeshPtr pMesh, int maxEdges, const KeepOptions& keep);

}  // namespace TARN_KEL
