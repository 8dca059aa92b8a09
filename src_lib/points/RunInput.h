#pragma once

#include <optional>

#include "Calc.h"

namespace TARN_KEL {

/// What a run is asked for, beside its points. What is left at its default isn't asked for.
struct RunInput {
    /// The points are triangle corners, three per triangle; else they are a scan.
    bool bSoup = false;
    /// The edge of a grid cell; none: the estimated spacing of the points times spacingFactor.
    std::optional<double> spacing = std::nullopt;
    double spacingFactor = 1.0;

    // ---- Scans
    /// A grid to use as it is in place of a new one, whatever the spacing. All points lie on it, some cells off its sides.
    std::optional<Calc> grid = std::nullopt;
    /// Smoothing of noisy points.
    bool bLapTreatment = false;
    /// Growth steps of the gap closing, above 0; none: gaps stay open.
    std::optional<int> numGrowSteps = std::nullopt;

    // ---- Soups
    /// Degrees: edges that fold by more stay sharp; none: only borders do.
    std::optional<double> featureAngle = std::nullopt;
};

}  // namespace TARN_KEL
