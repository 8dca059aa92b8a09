// From a triangle soup to cells.
#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "Calc.h"
#include "kel.h"

namespace TARN_KEL {

/// How a soup is rasterised.
struct SoupDrawing {
    /// Degrees: edges that fold by more stay sharp, from 9999.0 on not even borders do; none: borders alone.
    std::optional<double> featureAngle = std::nullopt;
    bool bComplete = false;  ///< adds the touched cells that edges and scan lines missed, see touchedCells()
    bool bBrief = false;     ///< one warning for all cells along needles, see Pixel::bCountUncut
};

/// What is known of a soup beside its cells.
struct SoupFigures {
    std::size_t numAdded = 0;  ///< the cells that SoupDrawing::bComplete added, the last ones of all
    bool bClosed = false;      ///< each edge of the soup has an even number of triangles
};

/// The result of rasterising a soup.
struct SoupCells {
    std::vector<Point3> vPoints;                 ///< one per cell that the surface touches
    std::vector<std::pair<CCD, CCD>> vFeatures;  ///< neighbouring cells on edges that stay sharp, borders among them
    std::vector<std::pair<CCD, CCD>> vBorders;   ///< those on borders alone
    SoupFigures figures;
};

/// Rasterises a soup. Corners with equal coordinates count as one. Uses the pool.
/// vCorners: three per triangle, on the grid, some cells away from its sides; not changed.
/// Returns empty lists, after a warning, for a soup of flat triangles only. Throws KelBugException when there are no corners
/// or not three per triangle. Cost: O(cells + n log n) for n triangles.
SoupCells rasteriseSoup(std::vector<Point3>& vCorners, Calc& grid, const SoupDrawing& drawing);

}  // namespace TARN_KEL
