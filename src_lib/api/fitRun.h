// The fit of a mesh to points, for runs that have the mesh in hand.
#pragma once

#include <kel/fit.h>

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "RMesh.h"
#include "fitSurface.h"
#include "kel.h"

namespace TARN_KEL {

/// A fit inside the caller's run, in two steps, see SurfaceFit. It leaves the mesh alone.
class FitRun {
public:
    /// Looks at the points. A mesh with a vertex that isn't finite gives a warning, and isn't fitted.
    FitRun(const RMesh& mesh, std::span<const Point3> points, const FitOptions& options);

    /// Of the points, in their spacings.
    double noise() const { return surfaceFit ? surfaceFit->noise() : 0.0; }
    std::vector<Point3> pointsWithoutNoise() const { return surfaceFit->pointsWithoutNoise(); }
    /// Whether fittedMesh() makes a mesh. Then the given one isn't needed for it.
    bool hasMesh() const { return surfaceFit.has_value(); }
    /// The fitted mesh; null when the mesh isn't to be changed. report: overwritten. To be called once.
    std::unique_ptr<RMesh> fittedMesh(FitReport& report);
    /// How many pairs of triangles of the fitted mesh cross. None where that wasn't counted: without a fit, and where it may
    /// make some.
    std::optional<std::size_t> numCrossingsThen() const { return numCrossings; }

private:
    const double sideLen;
    const bool bNoCrossings;
    std::optional<std::size_t> numCrossings;
    std::vector<Point3> vStart;
    std::optional<SurfaceFit> surfaceFit;  // none when a vertex isn't finite
};

}  // namespace TARN_KEL
