#pragma once

#include "Facing.h"
#include "kel.h"

namespace TARN_KEL {

class RMesh;

/// What becomes of strips between edges of an odd number of triangles.
enum class Strips {
    SEPARATE,         ///< they stay with a sheet, from which the others are cut
    REMOVE,           ///< as removeOddStrips() does: in a mesh of cells they stand for two sheets closer than a cell
    REMOVE_OF_CLOSED  ///< the same for a mesh of a closed soup, in which wide patches may stand for two sheets as well
};

/// Makes a fine mesh manifold and oriented, in place: what makeManifold() promises.
///
/// Components, fans and borders are defined by vertices, not by places: where sheets are separated, new vertices are created
/// at the place of the old one. A mesh that is in order isn't changed.
/// facing: for components without a border; one with a border faces as most of its triangles do.
/// Cost: O(n log n) for edges of few triangles; an edge of k triangles costs O(k log k).
ManifoldReport makeManifold(RMesh& mesh, Facing facing = Facing::OUTWARD, Strips strips = Strips::SEPARATE);

/// Removes the flat triangles from a mesh that is manifold but for them, so that it is manifold and oriented afterwards.
///
/// Usually each step keeps the surface connected as it is. Where no such step exists, because the surface is as thin as the
/// triangle there, the whole mesh is made manifold, which separates a tube where it is pinched. A mesh that isn't manifold
/// is put in order only if that happens. Cost: O(n), plus that of makeManifold() where it is needed.
void removeFlatFromManifold(RMesh& mesh);

}  // namespace TARN_KEL
