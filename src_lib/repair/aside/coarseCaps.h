// Flat corners of the coarse mesh, beside the repair: no public function of the library reaches this.
#pragma once

#include <set>

#include "Calc.h"

namespace TARN_KEL {

class CMesh;

/// Flips the edges opposite angles of 179 degrees and more where canFlip() allows it.
/// bKill: where it doesn't, one of the other two edges is collapsed onto an end.
/// sFixedCCD: as for canFlip().
/// Returns the number of changes. Cost: O(n).
int flipCaps(CMesh& mesh, bool bKill, const std::set<CCD>& sFixedCCD);

}  // namespace TARN_KEL
