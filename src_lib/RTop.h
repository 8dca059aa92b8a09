#pragma once

#include <map>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

class REdge;
class RMesh;

/// Passes over a whole fine mesh: the clean-up after its construction, smoothing, hole filling, flips.
class RTop {
public:
    /// pRMesh: not owned.
    explicit RTop(RMesh* pRMesh);

    /// Removes duplicates, orients the triangles by patch and collapses degenerate ones. Cost: about O(n).
    void finalizeBase();
    /// Collapses degenerate triangles (RMesh::killDegenerate): the end of most operations.
    /// bKeepManifold: use removeFlatFromManifold instead; thin triangles that only other collapses would remove may stay.
    /// Cost: about O(n).
    void clearDegenerate(bool bKeepManifold);
    /// Moves every vertex that isn't at the border to the mean of its neighbours, then collapses degenerate triangles. In
    /// each round all means are taken before a vertex moves; a move onto the place of another vertex is skipped in that
    /// round. Edges of degree 0 count too.
    /// numIterations: number of rounds; below 1 none.
    /// Cost: O(n log n), a round O(n).
    void laplacianSmoothingKillDeg(int numIterations);
    /// The same, counting under the steps "border", "list", "it%0", "it%1" and so on. Ends with clearDegenerate.
    /// bNoCrossings: in each round those vertices stay that would make triangles cross (FreeMoves), and so do
    /// degenerate triangles at the end. The mesh must have no watch.
    void laplacianSmoothing(int numIterations, bool bKeepManifold = false, bool bNoCrossings = false);
    /// Closes holes by cutting ears (Loop). New triangles agree with their neighbours. A border loop stays open when it
    /// touches itself or another one in a vertex, when the triangles along it don't all face one way, and when ears don't
    /// close it or would make an edge of three triangles. Counts under the step "RT_fill"; when the listener throws, the
    /// holes closed so far stay closed.
    /// maxEdges: a border loop with more edges stays open.
    /// bKeepManifold: end with removeFlatFromManifold.
    /// Returns the number of closed holes.
    /// Cost: O(n log n).
    int fillHoles(int maxEdges, bool bKeepManifold = false);
    /// A place for checks while debugging; does nothing.
    void initialDebug() {}

    // ---- Flips: energy and gain are those of REdgeEnergy

    /// Flips edges where that doesn't raise the energy, largest gain first. Only edges that qualify at the start are
    /// flipped, each as long as its gain holds or stays above 0.005. Marks "RM_gEfCandMT" and "RM_kdeg" as done. Cost: O(n
    /// log n).
    void edgeFlips();
    /// The same, counting under the step "efLoop"; then clearDegenerate.
    void edgeFlipsKillDeg(bool bKeepManifold = false);
    /// One sweep of annealing: in random order all flips that gain, and losing ones with probability
    /// exp(gain / temperature), both judged on the mesh as it is at the start.
    /// temperature: in the unit of the energy.
    /// Cost: O(n log n).
    void edgeFlipsSimA(double temperature);
    /// edgeFlips, a sweep for each of annealingTemperatures(), edgeFlips.
    void edgeFlipsSimACtrl();

    /// Flips edges opposite angles of 170 degrees or more, where that angle doesn't grow, the fold at the edge grows by at
    /// most 2 degrees, and the two new normals differ by less than 90 degrees.
    /// Returns the number of flips.
    /// Cost: O(n log n).
    int flipExtremeCaps();
    /// The penalty of a flip for flipExtremeCaps: the growth of the largest angle opposite the edge plus the growth of the
    /// angle between the two normals. All angles are in degrees.
    /// maxOldAngle, maxNewAngle: largest angle opposite the edge now, and opposite the new edge after the flip.
    /// curDihedral, altDihedral: angle between the normals now and after the flip; 360 without a normal now. None of the
    /// four is set without two triangles; altDihedral isn't when a new triangle would have no normal.
    /// Returns DBL_MAX for a flip that isn't wanted: no two triangles, no angle of 170 degrees, an angle that would grow,
    /// normals that would turn apart by more than 2 degrees.
    double getFlipPenalty(REdge* pRE, double& maxOldAngle, double& maxNewAngle, double& curDihedral, double& altDihedral);
    /// Whether the edge p0-p1 has two triangles, the four vertices are different, pAlt0-pAlt1 is no alive edge, and the
    /// normals of (pAlt0, pAlt1, p1) and (pAlt1, pAlt0, p0) exist and differ by less than maxAngle degrees. With p0 >= p1 it
    /// warns and returns false.
    bool canFlip(Point3* p0, Point3* p1, Point3* pAlt0, Point3* pAlt1, double maxAngle);
    /// Appends, in key order, the edges with two triangles whose normals differ by at least that angle in degrees. Those
    /// with a degenerate triangle are skipped with a warning. Cost: O(n).
    void getEdgesForOptimization(double angle, std::vector<REdge*>& vOut);

    // ---- Collapses of one edge. They return false, with nothing changed, when a normal would turn by more than maxDevDeg
    // ---- degrees or a duplicate would arise. mmEdges: gets the edges at the remaining vertex whose squared length is below
    // ---- maxSqLen, with that squared length as key

    /// Collapses one end point, which must have triangles, onto the other one.
    /// iDir: 0: the lower onto the higher one, 1: the reverse; any other value is an assertion.
    bool tryCollapseEnd(REdge* pRE, int iDir, double maxSqLen, double maxDevDeg, std::multimap<double, REdge*>& mmEdges);
    /// Collapses both end points onto a new vertex at midPoint. Returns false, too, if there is a vertex already.
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
