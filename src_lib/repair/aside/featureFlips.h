// Diagonals along feature lines, beside the repair: no public function of the library reaches this.
#pragma once

#include <set>

#include "Calc.h"

namespace TARN_KEL {

class CMesh;

/// Three times: flips edges so that feature vertices in neighbouring cells are joined, unless the edge itself joins two of
/// them and continues a feature line straighter. Every corner must have a bundle.
/// sFeatureCCD: the vertices on feature lines.
/// sFixedCCD: as for canFlip().
/// Cost: O(n) for the triangles at feature vertices.
void flipOntoFeatures(CMesh& mesh, const std::set<CCD>& sFeatureCCD, const std::set<CCD>& sFixedCCD);

/// Returns how many edges to feature vertices continue the line of the two, straight within 0.2 degrees at either end.
/// Throws (assertion) when the two aren't feature vertices, and for such vertices at one place.
int countCollinearConnectors(const CMesh& mesh, const std::set<CCD>& sFeatureCCD, VCD ccd0, VCD ccd1);

}  // namespace TARN_KEL
