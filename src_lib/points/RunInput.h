#pragma once

#include <optional>

#include "Calc.h"

namespace TARN_KEL {

/// The input of a run, apart from its points.
struct RunInput {
    /// The points are triangle corners, three per triangle; else they are a scan.
    bool bSoup = false;
    /// The edge of a grid cell; none: the estimated spacing of the points times spacingFactor.
    std::optional<double> spacing = std::nullopt;
    double spacingFactor = 1.0;

    // ---- Scans
    /// A grid to use unchanged in place of a new one, whatever the spacing. All points must lie on it, some cells away from
    /// its sides.
    std::optional<Calc> grid = std::nullopt;
    /// Smoothing of noisy points.
    bool bLapTreatment = false;
    /// Growth steps of the gap closing, above 0; none: gaps stay open.
    std::optional<int> numGrowSteps = std::nullopt;
    /// See GapClosing::bCareful.
    bool bCarefulGrowth = false;

    // ---- Soups
    /// Degrees: edges that fold by more stay sharp; none: only borders do.
    std::optional<double> featureAngle = std::nullopt;
    /// See SoupDrawing.
    bool bCompleteSoup = false;
    bool bBriefSoup = false;
};

}  // namespace TARN_KEL
