// The runs on points wherever they lie, which the public functions have for vectors.
#pragma once

#include <span>

#include "kel.h"

namespace TARN_KEL {

/// As reconstruct() with options.
MeshPtr reconstructSpan(std::span<const Point3> points, const ReconstructOptions& options, ReconstructReport* pReport);

/// As fit().
FitReport fitSpan(const MeshPtr& pMesh, std::span<const Point3> points, const FitOptions& options);

}  // namespace TARN_KEL
