#pragma once

#include "kel.h"

namespace TARN_KEL {

class RMesh;

/// How a component without a border is to face: outward, or as most of its triangles do.
enum class Facing { OUTWARD, AS_MOST };

/// Makes a fine mesh manifold and oriented, in place: what makeManifold() promises.
///
/// Components, fans and borders are told by vertices, not by their places: where sheets part, new vertices stand at the
/// place of the old one. Nothing is changed in a mesh that is in order. O(n log n) for edges of few triangles; an edge of k
/// triangles costs O(k log k).
/// A component with a border faces as most of its triangles do.
ManifoldReport makeManifold(RMesh& mesh, Facing facing = Facing::OUTWARD);

/// Takes the flat triangles out of a mesh that is manifold but for them, so that it stays manifold and oriented.
///
/// As a rule by steps that leave the surface what it is; where there is none, because the surface is as thin as the triangle
/// there, the whole mesh is made manifold: then a tube parts where it was pinched. A mesh that wasn't manifold comes
/// out in order only if that happens. A run must be open. O(n), and what makeManifold() costs where it has to.
void removeFlatFromManifold(RMesh& mesh);

}  // namespace TARN_KEL
