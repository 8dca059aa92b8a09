// What the points say of the surface: how much of their spread is noise, where it has which normal, where each would lie
// without noise.
#pragma once

#include "FitPoints.h"

namespace TARN_KEL {

/// Finds noise, normals and fitted places of the points. The unit of length is their spacing. bNoise: false takes all that
/// is seen for detail.
///
/// O(n log n) for n points; memory 4 bytes for each pair of neighbours, 15 to 130 a point by the noise. Uses the pool; the
/// result doesn't depend on the number of workers.
void findPointSheets(FitPoints& points, bool bNoise);

}  // namespace TARN_KEL
