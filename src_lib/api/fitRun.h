// The fit of a mesh to points, for runs that have the mesh in hand.
#pragma once

#include <kel/fit.h>

#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// As fit(), inside the caller's run. The mesh gets a fine mesh of its own in place of the former one, which is deleted.
FitReport fitMesh(Mesh& mesh, const std::vector<Point3>& vPoints, const FitOptions& options);

}  // namespace TARN_KEL
