// Reduction and smoothing that keep the shape. A null MeshPtr throws KelBugException.
//
// Beside reduce() and laplacianSmoothing() of process.h, which are simpler and work on any mesh, these work on manifold
// meshes and measure what they do against the surface.
#pragma once

#include <kel/mesh.h>

#include <cstddef>

namespace TARN_KEL {

// ---- Reduction ----------------------------------------------------------------------------------------------------------

/// What reduce() is asked for: a number of triangles, a distance, or both. With both it stops at the first one.
struct ReduceOptions {
    std::size_t numTriangles = 0;  ///< Stops at this number or one below; 0: as far as the distance allows.
    /// No place of the result is farther than this from the original surface, and none of that from the result, up to
    /// rounding: 1e-14 of the size of the mesh. In the unit of the mesh; 0: no limit.
    double maxDistance = 0.0;
    bool bMoveVertices = true;   ///< Vertices may move to where they fit best; with false all that remain stay in place.
    bool bKeepBorders = false;   ///< Border vertices stay as they are; with false they are reduced along the border.
    bool bKeepFeatures = false;  ///< Folds above featureAngle stay: they are only reduced along themselves.
    double featureAngle = 40.0;  ///< Degrees between the normals of two triangles, from 0 to 180.
    /// No collapse makes more triangles pass through each other, see countSelfIntersections(): a manifold mesh without
    /// self-intersections gets none. Another mesh is made manifold with bNoCrossings, too. Takes up to ten times as long.
    bool bNoCrossings = false;
    /// At the end vertices move once more to where they fit best on the whole; with bMoveVertices false they are exchanged
    /// for other vertices of the mesh. The mean distance is mostly 5 to 15% less. Takes up to six times as long.
    bool bFit = false;
};

/// What reduce() did.
struct ReduceReport {
    std::size_t numBefore = 0;   ///< Triangles before.
    std::size_t numAfter = 0;    ///< Triangles afterwards.
    bool bMadeManifold = false;  ///< The mesh wasn't manifold, and makeManifold() came first.
    /// Proved up to rounding, as for maxDistance: no place of either surface is farther from the other one. At most
    /// maxDistance; -1.0 without that limit. The original surface is that after makeManifold().
    double distance = -1.0;
};

/// Reduces the number of triangles and keeps the shape: edges collapse, those first that change the surface least.
///
/// The change is measured as area times squared distance to the planes of the triangles around. A new vertex is put where
/// that is least. Manifold meshes stay manifold, with the same pieces, tunnels and borders; no triangle turns over, and
/// slivers and sharp folds arise only where there were worse ones. A target that can't be reached this way is missed. The
/// mesh is replaced as a whole: pointers to its points are void, and so is what getRMesh() returned. When the listener
/// throws, it is as before, or as makeManifold() left it. A mesh that has no more triangles than asked for isn't touched.
///
/// A mesh that isn't manifold is made manifold first, see makeManifold(). A listener hears this run as "Reduce".
///
/// @param pMesh    the mesh; the same mesh always gives the same result
/// @param options  the targets; without any, with one that is no number or below 0, and with a coordinate in the mesh that
///                 isn't finite, there is a warning and nothing is done
/// @return what was done
/// @cost O(n log n); with maxDistance up to thirty times as long. Some 155 bytes for each triangle while it runs, 310 when
///       most of them remain; 250 with maxDistance or bNoCrossings, 350 with bFit, and up to 470 with all three
ReduceReport reduce(MeshPtr pMesh, const ReduceOptions& options);

// ---- Smoothing ----------------------------------------------------------------------------------------------------------

/// A way of smoothing.
enum class SmoothMethod {
    TAUBIN,    ///< Round shapes: removes noise in two steps a round, in and out again, so that the mesh doesn't shrink.
    BILATERAL  ///< Edged shapes: smooths normals, except across folds, and moves vertices after them.
};

/// What smooth() is asked for.
struct SmoothOptions {
    SmoothMethod method = SmoothMethod::TAUBIN;  ///< Which way.
    int numRounds = 10;                          ///< Below 1 nothing is done.
    bool bKeepBorders = true;                    ///< Border vertices stay; with false they are smoothed along the border.
    /// TAUBIN: waves longer than some 4.5 / sqrt(passBand) edges stay; above 0, at most 0.3.
    /// The higher, the more bumps remain, and the more does a coarse mesh swell with the rounds.
    double passBand = 0.01;
    /// BILATERAL: folds of more than twice this are edges and stay sharp; degrees, above 0, at most 180.
    double edgeAngle = 25.0;
    /// No round makes more triangles pass through each other, see countSelfIntersections(): vertices that would do so wait.
    /// A mesh that isn't manifold is made so with bNoCrossings, too. Takes up to ten times as long.
    bool bNoCrossings = false;
};

/// What smooth() did.
struct SmoothReport {
    bool bMadeManifold = false;  ///< The mesh wasn't manifold, and makeManifold() came first.
    double meanMove = 0.0;       ///< Mean distance between a vertex and its old place.
    /// How often a vertex wasn't moved in a round, as a triangle would have turned over or, with bNoCrossings, crossed
    /// another.
    std::size_t numHeld = 0;
};

/// Smooths a mesh without shrinking it. Triangles and their order stay, vertices move.
///
/// No round turns a triangle by more than 90 degrees or makes it flat: vertices that would do so wait. A mesh that isn't
/// manifold is made manifold first, see makeManifold(). A listener hears this run as "Smoothing".
///
/// @param pMesh    the mesh; the same mesh always gives the same result. It is replaced as a whole: see reduce()
/// @param options  what to do; with numbers out of their ranges there is a warning and nothing is done
/// @return what was done
/// @cost O(n) for each round; with bNoCrossings O(n log n), again each time that some had to wait: mostly once or twice
SmoothReport smooth(MeshPtr pMesh, const SmoothOptions& options = {});

}  // namespace TARN_KEL
