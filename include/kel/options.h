// From points to a mesh in one call with options, and a report of what was done.
#pragma once

#include <kel/fit.h>
#include <kel/mesh.h>
#include <kel/points.h>
#include <kel/process.h>
#include <kel/progress.h>

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace TARN_KEL {

/// What reconstruct() is asked for. The defaults suit most scans.
struct ReconstructOptions {
    // ---- The grid

    /// Edge of a grid cell, in the unit of the points, greater than 0; 0 takes the estimated point spacing times factor.
    double spacing = 0.0;
    /// Cell edge as a multiple of the estimated point spacing, greater than 0. Used when spacing is 0.
    double factor = 1.1;
    /// A corner of a cell, with finite coordinates of less than 10^12 cells. Runs with the same spacing and the same origin
    /// have the same cells. Without one the grid starts at the points.
    std::optional<Point3> origin = std::nullopt;

    // ---- Steps before the mesh is made

    /// Leaves out points far from all others, in groups of fewer than 16 places or than one in 200 points, and strays near
    /// the surface. After a warning they are kept where they are too many: more than 36%; strays more than 15%, where what
    /// hovers over the surface counts by itself.
    bool bOutliers = true;
    bool bEven = true;        ///< Adds points where the sampling is sparser than the grid, in gaps that this explains.
    bool bLaplacian = false;  ///< Smooths noisy points before the grid is filled.
    int numGrowSteps = 0;     ///< Steps of gap closing, see reconstruct_auto(); 0 or less leaves gaps open.
    /// What gap closing adds must make the border much shorter, or is taken back: open borders grow no collar.
    bool bCarefulGrowth = true;

    // ---- Steps on the mesh

    bool bManifold = true;  ///< Makes the mesh manifold and oriented, see makeManifold(). Later steps keep it so.
    /// Pieces of a smaller area, in squares of the cell edge, are dropped; the largest stays. 0 or greater; 0 keeps all. In
    /// a mesh that isn't manifold, pieces with a common vertex are one.
    double minPieceArea = 30.0;
    int maxPinholeEdges = 8;  ///< Closes holes of at most that many edges, not the outer border of a piece; 0 or less: none.
    int maxHoleEdges = 0;     ///< Closes all holes of at most that many edges, see fillHoles(); 0 or less for none.
    /// Removes self-intersections, see removeSelfIntersections(), and lets the fit make none. A hole that something passes
    /// through stays open, unless these are only folds around it.
    bool bNoCrossings = true;

    /// Moves the mesh to where the points say that the surface is, with sharp creases and without noise, see fit().
    bool bFit = true;
    /// Where fit() finds noise of some quarter of the point spacing or more, makes the surface again, of the points as
    /// they'd be without it; up to four times, while each leaves half of the border edges or less. Each takes the time of
    /// the first, and one with more border than before isn't taken. Without bFit it does nothing.
    bool bDenoise = true;

    // ---- The run

    int numThreads = 0;                        ///< Calls setNumThreads() when greater than 0.
    ProgressBase* pListener = nullptr;         ///< Hears this run in place of the thread's listener. The caller's.
    const std::atomic<bool>* pStop = nullptr;  ///< Once true it ends the run with its next step or report. The caller's.
};

/// The faults of a mesh, and its borders.
struct MeshFlaws {
    std::size_t numBorderEdges = 0;       ///< Edges of one triangle; no fault where the surface ends.
    std::size_t numNonManifoldEdges = 0;  ///< Edges of three and more triangles.
    std::size_t numPinchedVertices = 0;   ///< Vertices with more than one fan of triangles.
    std::size_t numConflicts = 0;         ///< Edges of two triangles that don't agree in orientation.

    /// No fault.
    bool isManifold() const { return numNonManifoldEdges + numPinchedVertices + numConflicts == 0; }
};

/// A step of a run, and how long it took.
struct RunStep {
    std::string name;      ///< Such as "spacing", "even", "surface", "manifold".
    double seconds = 0.0;  ///< Of the clock on the wall.
};

/// What reconstruct() did.
struct ReconstructReport {
    using Step = RunStep;  ///< How long a step took.

    std::size_t numPoints = 0;       ///< Points that were passed.
    std::size_t numNotFinite = 0;    ///< Points left out because a coordinate isn't finite.
    std::size_t numFarOutliers = 0;  ///< Points left out because they are far from all others.
    std::size_t numStrays = 0;       ///< Points left out because they are alone off the surface.
    std::size_t numAdded = 0;        ///< Points added for even sampling.
    std::size_t numDenoised = 0;     ///< Points without noise that the surface is made of; 0 when it is made of those given.

    double pointSpacing = -1.0;  ///< The estimated spacing of the points; -1.0 when it wasn't estimated.
    double cellEdge = -1.0;      ///< Edge of a grid cell, as asked for; -1.0 without points.
    std::size_t numCells = 0;    ///< Cells that the mesh was made of.

    MeshFlaws before;                     ///< Of the mesh as the cells make it.
    MeshFlaws after;                      ///< Of the mesh that is returned.
    ManifoldReport manifold;              ///< What made the mesh manifold; bClosed is of the mesh that is returned.
    std::size_t numPiecesDropped = 0;     ///< Pieces dropped for their small area.
    std::size_t numTrianglesDropped = 0;  ///< Triangles of those.
    int numHolesClosed = 0;               ///< Pinholes and holes.
    FitReport fit;                        ///< What the fit to the points did.
    std::size_t numCrossings = 0;         ///< Self-intersections before they were removed; 0 when that isn't asked for.
    std::size_t numCrossingsLeft = 0;     ///< Those that couldn't be removed.

    std::vector<Step> vSteps;  ///< In their order.
    /// Bytes, of the process since its start; 0 where the system doesn't tell, or after a throw.
    std::size_t peakMemory = 0;
};

/// Reconstructs a mesh from points, with options.
///
/// The steps: Points that aren't finite, far from all others, or alone off the surface are left out. The spacing is
/// estimated, unless it is given. Points are added where the sampling is too sparse for the grid. The mesh is made as by
/// reconstruct_auto(), made manifold, freed of tiny pieces, its pinholes are closed, self-intersections are removed, and it
/// is fitted to the points that were passed, which makes none. Where the points are very noisy the steps from the sampling
/// on are taken again; the report tells of the surface that is taken, and of the seconds of all. Each step has a switch;
/// with all of them off the result is that of reconstruct_auto() or reconstruct_abs().
///
/// A listener hears this run as "Reconstruct".
///
/// @param vPoints  any order, repeats allowed; not changed
/// @param options  what to do
/// @param pReport  overwritten by what was done; may be null. When the call throws, it tells about the steps until then
/// @return the mesh; null, after a warning, when the points leave no cell; a mesh without triangles when the few cells left
///         form none
/// @throws KelBugException as reconstruct_auto() does; for an origin that isn't finite or is too far away, and for a
///         minPieceArea that isn't 0 or greater
/// @throws KelStoppedException when the stop flag ended the run
/// @cost O(n log n)
MeshPtr reconstruct(const std::vector<Point3>& vPoints, const ReconstructOptions& options = {},
                    ReconstructReport* pReport = nullptr);

}  // namespace TARN_KEL
