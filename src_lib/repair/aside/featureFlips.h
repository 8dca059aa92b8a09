// Diagonals along feature lines, beside the repair: no public function of the library reaches this.
#pragma once

#include <set>

#include "Calc.h"

namespace TARN_KEL {

class CMesh;

/// Flips edges so that feature vertices in neighbouring cells are connected, unless the edge itself connects two of them and
/// continues a feature line straighter. Does so three times. Every corner must have a bundle.
/// sFeatureCCD: the vertices on feature lines.
/// sFixedCCD: as for canFlip().
/// Cost: O(n) for the triangles at feature vertices.
void flipOntoFeatures(CMesh& mesh, const std::set<CCD>& sFeatureCCD, const std::set<CCD>& sFixedCCD);

/// Returns how many edges to feature vertices continue the line through the two vertices, straight within 0.2 degrees, at
/// either end. Throws (assertion) unless both are feature vertices, and when such vertices are at the same place.
int countCollinearConnectors(const CMesh& mesh, const std::set<CCD>& sFeatureCCD, VCD ccd0, VCD ccd1);

}  // namespace TARN_KEL
