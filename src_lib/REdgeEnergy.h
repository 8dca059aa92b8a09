#pragma once

#include "flipEnergy.h"
#include "kel.h"

namespace TARN_KEL {

class REdge;
class RMesh;
class RTriangle;

/// The two triangles on an edge AB and their corners opposite it: T0 is (opp0, A, B). The flip replaces AB by opp0-opp1.
/// Pointers into the mesh.
struct FlipQuad {
    FlipQuad(const REdge& edge, RTriangle* pT0, RTriangle* pT1);
    /// The sides opp0-B, opp0-A, opp1-A, opp1-B.
    const REdge& side01() const;
    const REdge& side02() const;
    const REdge& side11() const;
    const REdge& side12() const;
    FlipCorners corners() const { return {*pOppCorner0, *pOppCorner1, *pA, *pB}; }

    RTriangle *pT0, *pT1;
    Point3 *pOppCorner0, *pOppCorner1, *pA, *pB;
};

/// Sets the normals of the two triangles on an edge, the second one as if it agreed with the first. Returns false, with the
/// vectors unchanged, unless the edge has just two triangles and neither is degenerate. Doesn't change the mesh.
bool getAgreeingNormals(const REdge& edge, Vector3& normal0, Vector3& normal1);

/// Judges the flip of one edge: by how much it lowers the energy of the surface.
///
/// The energy is the sum of (length * fold)^0.335 over the edges with two triangles, lengths in the unit of the points. A
/// small root of each term makes many slight folds cost nearly as much as one strong fold, so it favours a few sharp creases
/// over many soft ones. A flip changes five terms: that of the edge and those of the four sides around its triangles.
///
/// A flip that makes a flat triangle is charged: when the largest angle grows and is above 130 degrees afterwards, 0.1;
/// above 160 degrees, 1. The charge counts eleven times unless the flip still gains 0.1.
class REdgeEnergy {
public:
    static constexpr double IMPOSSIBLE = FLIP_IMPOSSIBLE;

    /// Neither is owned. pRE may be null; else it is judged at once by compute().
    REdgeEnergy(RMesh* pRMesh, REdge* pRE);

    /// Sets the improvement for pRE, which must not be null: IMPOSSIBLE unless the edge has exactly two triangles and the
    /// diagonal is no edge. May change the mesh: the second triangle is turned over when it disagrees with the first, and
    /// the corners opposite the edge are moved apart when they are at the same place. Throws on two triangles with the same
    /// corners, and when such corners find no other place. Cost: O(1) but for moves.
    void compute();
    /// The same, but an assertion makes the flip IMPOSSIBLE.
    void tryCompute();
    /// compute() without changing the mesh, for several threads at a time: a flip between corners at the same place is
    /// IMPOSSIBLE. Returns false for those flips only. Fast when the triangles have cached normals.
    bool computeReadOnly();
    /// The cosine of the largest angle of the triangle; IMPOSSIBLE when one of its sides has no direction.
    double getMinCosPhi(const Point3* p0, const Point3* p1, const Point3* p2) const;

    RMesh* pRMesh;                    ///< not owned
    REdge* pRE;                       ///< not owned; to be set before compute
    double improvement = IMPOSSIBLE;  ///< what the flip gains, or IMPOSSIBLE

private:
    double gain(const FlipQuad& quad) const;
    double capCharge(const FlipQuad& quad, double altCos) const;
    double energyDrop(const FlipQuad& quad, const FlipNormals& n) const;
    void moveApart(const FlipQuad& quad);
};

}  // namespace TARN_KEL
