// The fit of a mesh to points, for runs that have the mesh in hand.
#pragma once

#include <kel/fit.h>

#include <memory>
#include <vector>

#include "RMesh.h"
#include "kel.h"

namespace TARN_KEL {

/// As fit(), inside the caller's run, but leaves the mesh alone and returns a fitted one; null, after a warning, when a
/// vertex isn't finite. report: overwritten.
std::unique_ptr<RMesh> fittedMesh(const RMesh& mesh, const std::vector<Point3>& vPoints, const FitOptions& options,
                                  FitReport& report);

}  // namespace TARN_KEL
