// Collapses of the fine mesh with a choice: which are allowed, and which is best.
#pragma once

#include "kel.h"

namespace TARN_KEL {

class RMesh;
class RTriangle;

/// The vertex is the end of an edge of one triangle.
bool isAtBorder(const RMesh& mesh, const Point3* p);

/// Whether a collapse of pSrc onto pTrg leaves manifold surfaces manifold: the two have an edge, their only common
/// neighbours are the corners opposite that edge, they have no ring edge in common, and an inner edge doesn't connect two
/// border vertices. A single triangle may vanish. Cost: O(k log k) for k triangles at both.
bool canCollapseManifold(const RMesh& mesh, const Point3* pSrc, const Point3* pTrg);

/// Of the edges at the corners of a triangle, collapses the one that turns the normals around the corner least.
/// bKeepManifold: only a collapse that canCollapseManifold allows. Nor does one happen that the mesh's watch forbids.
/// With either, a corner of more than 64 triangles doesn't move.
/// Returns the vertex that remains; null, with nothing changed, when none is allowed.
/// Cost: O(k^2) at worst for k triangles at the corners; O(k log k) where no corner of many may move.
Point3* collapseCheapest(RMesh& mesh, const RTriangle& rt, bool bKeepManifold);

}  // namespace TARN_KEL
