#pragma once

#include "kel.h"

namespace TARN_KEL {

class RMesh;

/// Makes a fine mesh manifold and oriented, in place: what makeManifold() promises.
///
/// Components, fans and borders are told by vertices, not by their places: where sheets part, new vertices stand at the
/// place of the old one. Nothing is changed in a mesh that is in order. O(n log n) for edges of few triangles; an edge of k
/// triangles costs O(k log k).
ManifoldReport makeManifold(RMesh& mesh);

}  // namespace TARN_KEL
