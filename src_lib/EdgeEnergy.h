#pragma once

#include "flipEnergy.h"
#include "kel.h"

namespace TARN_KEL {

class CEdge;
class CMesh;

/// Judges the flip of one edge of the coarse mesh: by how much it lowers the energy of the surface at its vertices.
///
/// The energy is the sum of (length * fold)^0.3 over the edges with two triangles, lengths in the cloud's unit; it favours a
/// few sharp creases over many soft ones. A flip changes five terms: that of the edge and those of the four sides around its
/// triangles. A flip is impossible when the largest angle grows and is above 160 degrees afterwards; when it grows and is
/// above 130 degrees, the flip is impossible if the new pair lies flat, within 2 degrees, or is folded back, within 20. On
/// the fine mesh REdgeEnergy subtracts a charge from the gain of such flips instead.
class EdgeEnergy {
public:
    static constexpr double IMPOSSIBLE = FLIP_IMPOSSIBLE;

    /// Neither is owned. Computes nothing yet.
    EdgeEnergy(CMesh* pCMesh_, CEdge* pCE_) : pCMesh(pCMesh_), pCE(pCE_) {}

    /// Sets the improvement: IMPOSSIBLE unless the edge has exactly two triangles and the diagonal is no edge. May change
    /// the mesh: the second triangle is turned over when it disagrees with the first, and the corners opposite the edge are
    /// moved apart, after a report, when they are at the same place.
    /// Throws on two triangles with the same corners, on a triangle without a normal, and when such corners find no other
    /// place. Cost: O(1) but for moves.
    void compute();
    /// The cosine of the largest angle of the triangle. For a side without direction it checks the whole mesh for the cause
    /// and throws (assertion).
    double getMinCosPhi(const Point3* p0, const Point3* p1, const Point3* p2) const;

    CMesh* pCMesh;                    ///< not owned
    CEdge* pCE;                       ///< not owned
    double improvement = IMPOSSIBLE;  ///< what the flip gains, or IMPOSSIBLE

private:
    struct Quad;
    void moveApart(const Quad& quad);
    double gain(const Quad& quad) const;
};

}  // namespace TARN_KEL
