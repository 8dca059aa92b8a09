// Makes the input of a run from single parameters.
#include "RunInput.h"

#include <cmath>

namespace TARN_KEL {

std::optional<GapClosing> gapClosingOf(int numSteps, bool bCareful) {
    return numSteps > 0 ? std::optional(GapClosing{numSteps, bCareful}) : std::nullopt;
}

RunInput runInputOf(double spacing, double spacingFactor, bool bSoup, int numGrowSteps) {
    RunInput input{.bSoup = bSoup, .spacingFactor = spacingFactor, .gapClosing = gapClosingOf(numGrowSteps)};
    if (spacing > 0.0 && std::isfinite(spacing)) input.spacing = spacing;
    return input;
}

}  // namespace TARN_KEL
