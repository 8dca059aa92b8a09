// From points to a mesh.
#pragma once

#include <kel/mesh.h>
#include <kel/points.h>

#include <vector>

namespace TARN_KEL {

/// Reconstructs a mesh from points, on a grid whose spacing is the estimated spacing of the points times spacingFactor.
///
/// The spacing of the grid is the edge length of its cells; triangles are about that size. No two triangles have the same
/// corners. Triangles that share an edge with no third one agree in orientation, except where a sheet has only one side.
/// Closed pieces usually face outward, but this isn't enforced. Border edges remain where the points end or leave gaps wider
/// than a cell. A few edges of three or more triangles remain where sheets meet, touch or cross: see makeManifold().
///
/// Gap closing finds the missing surface of bodies with an inside and an outside, without normals. N steps close a gap of
/// about N - 3 cells' radius by a surface that spans it like a soap film. Existing points and cells stay as they are, and a
/// closed surface stays unchanged. Don't use it for surfaces that end in the open: their outer rims would grow as well.
///
/// @param vPoints        any order, repeats allowed; copied, not changed. Points with a coordinate that isn't finite are
///                       skipped, with one warning that counts them
/// @param bLapTreatment  true smooths noisy points before the grid is filled
/// @param spacingFactor  greater than 0, usually from 1 to 2; more gives fewer triangles and bridges sparse places
/// @param numGrowSteps   steps of gap closing; 0 or less leaves gaps open
/// @return the mesh; null, after a warning, when the points leave no cell: there are none, too few, or the spacing far
///         exceeds the size of the cloud. A mesh without triangles when the few cells left form none
/// @throws KelBugException when there are points and spacingFactor isn't greater than 0, when the cloud needs more than
///         about two million cells along an axis, or when its coordinates are too large to resolve the spacing
/// @cost O(n log n)
MeshPtr reconstruct_auto(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingFactor, int numGrowSteps);

/// Reconstructs a mesh from points, on a grid of a given spacing. Otherwise the same as reconstruct_auto().
///
/// @param vPoints        as for reconstruct_auto()
/// @param bLapTreatment  as for reconstruct_auto()
/// @param spacingAbs     edge length of a grid cell, greater than 0; the spacing of the points isn't estimated
/// @param numGrowSteps   as for reconstruct_auto()
/// @return as for reconstruct_auto()
/// @throws KelBugException as reconstruct_auto() does
/// @cost O(n log n)
MeshPtr reconstruct_abs(std::vector<Point3>& vPoints, bool bLapTreatment, double spacingAbs, int numGrowSteps);

/// Estimates the average spacing of points. It prepares them as reconstruct_auto() with a factor of 1.0 does.
///
/// The progress of this run stays open: a listener hears post-processing that follows on the thread under the name "Density
/// Estimation" until the next run starts.
///
/// @param vPoints  as for reconstruct_auto()
/// @return a length; 1.0 when all points are at one place; -1.0, after a warning, when there are no points
/// @throws KelBugException as reconstruct_auto() does
/// @cost O(n log n), as much as the first stage of a run
double estimateAvgSpacing(std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
