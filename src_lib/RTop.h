#pragma once

#include <map>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class REdge;
class RMesh;

/// The clean-up that every fine mesh goes through once after its construction, and passes over the whole of it.
class RTop {
public:
    /// pRMesh: not owned.
    explicit RTop(RMesh* pRMesh);

    /// Removes duplicates, orients the triangles by patch and collapses degenerate ones. A run must be open. About O(n).
    void finalizeBase();
    /// What ends most operations: collapses degenerate triangles (RMesh::killDegenerate). bKeepManifold: as
    /// removeFlatFromManifold says, and thin triangles that only a collapse beyond that would clear may stay. A run must be
    /// open. About O(n).
    void clearDegenerate(bool bKeepManifold);
    /// Moves every vertex that isn't at the end of a border edge to the mean of its neighbours, numIterations times (below
    /// 1: never), then collapses degenerate triangles. Within a round all means are taken before a vertex moves; a move onto
    /// the place of another vertex is left out for that round. Edges of degree 0 count as neighbours too. Without progress
    /// but for that of killDegenerate, so a run must be open. O(n log n), a round O(n).
    void laplacianSmoothingKillDeg(int numIterations);
    /// The same, counting under the steps "border", "list", and "it%0" and so on. At the end clearDegenerate.
    void laplacianSmoothing(int numIterations, bool bKeepManifold = false);
    /// Closes the holes with a border of at most maxEdges edges by cutting ears (Loop) and returns how many. A border that
    /// touches another one or itself in a vertex, that has a twist, whose triangles don't face one way, or whose ears don't
    /// close it or would make an edge of three triangles, stays as it is. The new triangles agree with their neighbours.
    /// Counts under the step "RT_fill", so a run must be open; when the listener throws, the holes closed so far stay
    /// closed. O(n log n).
    /// bKeepManifold: ends with removeFlatFromManifold.
    int fillHoles(int maxEdges, bool bKeepManifold = false);
    /// A place for checks while debugging; does nothing.
    void initialDebug() {}

    // ---- Flips: the energy and what a flip gains are those of REdgeEnergy. A run must be open

    /// Flips edges where that doesn't raise the energy, the largest gain first: those that qualified at the start, each
    /// while its gain holds or stays above 0.005. Others, and edges that come by a flip, wait for another call. Marks
    /// "RM_gEfCandMT" and "RM_kdeg" as done. O(n log n).
    void edgeFlips();
    /// The same, counting under the step "efLoop"; then clearDegenerate.
    void edgeFlipsKillDeg(bool bKeepManifold = false);
    /// One sweep at that temperature: all flips that gain, and each that loses with probability exp(gain / temperature),
    /// both as the mesh is at the start, in random order. The temperature has the unit of the energy. O(n log n).
    void edgeFlipsSimA(double temperature);
    /// edgeFlips, a sweep for each of annealingTemperatures(), edgeFlips.
    void edgeFlipsSimACtrl();

    /// Flips the edges opposite angles of 170 degrees and more where that angle doesn't grow, the fold at the edge doesn't
    /// by more than 2 degrees, and where the two new normals differ by less than 90 degrees. Returns the number of flips.
    /// O(n log n).
    int flipExtremeCaps();
    /// What flipExtremeCaps goes by, in degrees, negative for a gain: what the largest of the angles opposite the edge would
    /// grow by, and the angle of the two normals on top. DBL_MAX: no two triangles, no cap of 170 degrees, an angle that
    /// would grow, normals that would turn apart by more than 2 degrees. All in degrees: maxOldAngle and maxNewAngle are
    /// opposite the edge now and after the flip, curDihedral and altDihedral between the normals, 360 when one is missing.
    /// They aren't set without two triangles, altDihedral isn't when the flip would leave a triangle without a normal.
    double getFlipPenalty(REdge* pRE, double& maxOldAngle, double& maxNewAngle, double& curDihedral, double& altDihedral);
    /// The edge p0-p1 has two triangles, the four vertices are different, pAlt0-pAlt1 is no edge, and the normals of
    /// (pAlt0, pAlt1, p1) and (pAlt1, pAlt0, p0) exist and differ by less than maxAngle degrees. p0 >= p1 is a warning and
    /// false.
    bool canFlip(Point3* p0, Point3* p1, Point3* pAlt0, Point3* pAlt1, double maxAngle);
    /// Appends the edges with two triangles whose normals differ by at least that angle in degrees, in key order; after a
    /// warning those with a degenerate triangle are left out. O(n).
    void getEdgesForOptimization(double angle, std::vector<REdge*>& vOut);

    // ---- Collapses of one edge. They refuse when a normal around would turn by more than maxDevDeg degrees, and change
    // nothing then. The edges at the vertex that is left and shorter than the root of maxSqLen go into mmEdges under their
    // squared length

    /// Onto one of its end points. iDir 0: the lower one goes, 1: the higher one; another one is an assertion, and so is an
    /// end point without triangles. Refuses what would make duplicates.
    bool tryCollapseEnd(REdge* pRE, int iDir, double maxSqLen, double maxDevDeg, std::multimap<double, REdge*>& mmEdges);
    /// To a new vertex at midPoint. Refuses when there is a vertex, and what would make duplicates.
    bool tryCollapseMid(REdge* pRE, const Point3& midPoint, double maxSqLen, double maxDevDeg,
                        std::multimap<double, REdge*>& mmEdges);

    RMesh* pRMesh;

private:
    void flipBestFirst(bool bCountSteps);
};

/// RTop::edgeFlipsSimA on that mesh.
void edgeFlipsSimA(RMesh* pRMesh, double temperature);

/// The 29 temperatures of the annealing schedule, falling by a tenth from 0.018 to the first at or below 0.001.
std::vector<double> annealingTemperatures();

}  // namespace TARN_KEL
