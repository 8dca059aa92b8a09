#pragma once

#include <optional>

#include "Calc.h"
#include "cleanCells.h"

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
    /// How gaps are closed; none: they stay open.
    std::optional<GapClosing> gapClosing = std::nullopt;

    // ---- Soups
    /// Degrees: edges that fold by more stay sharp; none: only borders do.
    std::optional<double> featureAngle = std::nullopt;
    /// See SoupDrawing.
    bool bCompleteSoup = false;
    bool bBriefSoup = false;
};

// From parameters in which a number that isn't above 0 stands for one that isn't given. Behind these nothing does.

std::optional<GapClosing> gapClosingOf(int numSteps, bool bCareful = false);
/// spacing: one that isn't finite doesn't count either.
RunInput runInputOf(double spacing, double spacingFactor, bool bSoup, int numGrowSteps);

}  // namespace TARN_KEL
