// Estimates the spacing, without a search for neighbours. The points get interleaved codes on a fine grid of 2^20 cells
// along the longest side, and the codes are sorted. Two neighbours in the sorted list are near each other in space, and the
// highest level at which their codes differ tells how near. The median of these levels, and two more to be on the safe side,
// is the edge of a block in which a surface has several points but no hole:
//
//     levels of the differences       .  2 3 3 4 4 4 5 7 11  ->  median 4, blocks of 2^6 fine cells
//
// The number of occupied blocks times the area of a block's face is then a measure of the surface (a surface that lies
// askew occupies more blocks than its area says: 1.307025), and that area shared out among the points gives the spacing
// (with the room that a cell needs so as not to be empty by chance: 1.5396).
//
// The grid is a cube of 2^L cells of exactly this spacing, with the least L that leaves room for a margin of 5000 cells on
// all sides. Because of the margin, a neighbour of an occupied cell always exists.
#include "runGrid.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "Progress.h"
#include "codes.h"
#include "radixSort.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const double FINEST_RESOLUTION = 1e12;  // coordinates over spacing; beyond, the last bits of a cell are lost
const int FINE_LEVELS = 20;             // of the grid of the estimate
const double LARGEST_LEVEL = 1025.0;    // what the largest double asks for; an overflow counts as much

/// A length that the caller gave or that came out of a product counts only if it is a positive number.
bool isLength(double length) {
    return length > 0.0 && std::isfinite(length);
}

/// Whether the fine cells of a cloud of this extent have an edge that can be divided by.
bool canBeCoded(double extent) {
    return isLength(extent) && std::isfinite(std::ldexp(1.0, FINE_LEVELS) / extent);
}

/// The level that half of the sorted codes' steps don't exceed; none when there is no step above level 1.
std::optional<int> getMedianLevel(const VCCD& vSortedCodes) {
    std::array<std::size_t, FINE_LEVELS + 1> aCount{};
    std::size_t numLevels = 0;
    for (std::size_t i = 1; i < vSortedCodes.size(); ++i) {
        const CCD difference = vSortedCodes[i] ^ vSortedCodes[i - 1];
        if (difference < 64) continue;  // equal, or different on the two finest levels only
        ++aCount[static_cast<std::size_t>(std::bit_width(difference) - 1) / 3];
        ++numLevels;
    }
    if (numLevels == 0) return std::nullopt;
    std::size_t level = 0;
    for (std::size_t numBelow = aCount[0]; numBelow <= numLevels / 2; numBelow += aCount[level])
        ++level;
    return static_cast<int>(level);
}

/// The number of occupied blocks of 2^level cells along each axis.
std::size_t countBlocks(const VCCD& vSortedCodes, int level) {
    const auto blockOf = [level](CCD code) { return Morton(code).block(level); };
    std::size_t numBlocks = vSortedCodes.empty() ? 0 : 1;
    for (std::size_t i = 1; i < vSortedCodes.size(); ++i)
        if (blockOf(vSortedCodes[i]) != blockOf(vSortedCodes[i - 1])) ++numBlocks;
    return numBlocks;
}

std::optional<double> measureByBlocks(const std::vector<Point3>& vPoints, const PointBounds& bounds, double extent,
                                      const ProgressStep& progress) {
    const Calc fineGrid(bounds.low[0], bounds.low[1], bounds.low[2], extent, extent, extent, FINE_LEVELS);
    VCCD vCodes(vPoints.size());
    forChunks_MT(vPoints.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vCodes[i] = fineGrid.getCCD(&vPoints[i]);
    });
    progress.advance();
    radixSort(vCodes);
    progress.advance();
    const std::optional<int> medianLevel = getMedianLevel(vCodes);
    progress.advance();
    if (!medianLevel) return std::nullopt;
    const int level = *medianLevel + 2;
    progress.advance();
    const double numBlocks = static_cast<double>(countBlocks(vCodes, level));
    progress.advance();
    const double blockEdge = std::ldexp(1.0, level) * (extent / std::ldexp(1.0, FINE_LEVELS));
    return numBlocks * (blockEdge * blockEdge) / 1.307025;
}

// Far from the origin doubles are coarse. When they can't tell one cell from the next, rounding takes up the margin, and
// steps to neighbours would leave the grid. Half of the margin is enough, and leaves room for the rounding of ordinary
// clouds.
void checkMargin(const PointBounds& ofPoints, const PointBounds& ofGrid, double spacing, double numCells) {
    for (std::size_t i = 0; i < 3; ++i) {
        const double low = (ofPoints.low[i] - ofGrid.low[i]) / spacing;
        const double high = (ofPoints.high[i] - ofGrid.low[i]) / spacing;
        const bool bHasMargin = low >= MARGIN_CELLS / 2.0 && high <= numCells - MARGIN_CELLS / 2.0;
        if (!bHasMargin) warning(KEL_PLACE, "The coordinates can't resolve the spacing " + toString(spacing));
        ASSEX(bHasMargin);
    }
}

// Farther away doubles can't tell the corners of cells from what lies between, and grids of one origin would differ.
bool isNearEnough(const Point3& origin, double usedSpacing) {
    const double largest = std::max({std::abs(origin.x()), std::abs(origin.y()), std::abs(origin.z())});
    return isFinitePoint(origin) && largest < FINEST_RESOLUTION * usedSpacing;
}

}  // namespace

std::optional<double> measureArea(const std::vector<Point3>& vPoints, const PointBounds& bounds) {
    const ProgressStep progress("CL_eres", 6);
    progress.advance();
    const double extent = bounds.largestExtent();
    std::optional<double> area;
    if (canBeCoded(extent)) area = measureByBlocks(vPoints, bounds, extent, progress);
    progress.finish();
    return area;
}

double spacingForArea(double area, std::size_t numPoints) {
    return std::sqrt(area / static_cast<double>(numPoints) * 1.5396);
}

double estimateSpacing(const std::vector<Point3>& vPoints, const PointBounds& bounds, std::size_t numSharing) {
    if (const std::optional<double> area = measureArea(vPoints, bounds)) return spacingForArea(*area, numSharing);
    const double extent = bounds.largestExtent();
    return extent > 0.0 ? extent : 1.0;
}

RunSpacing chooseSpacing(const std::vector<Point3>& vPoints, const PointBounds& bounds, std::size_t numSharing,
                         const RunInput& input) {
    if (input.spacing) return {std::nullopt, *input.spacing};
    const double detected = estimateSpacing(vPoints, bounds, numSharing);
    return {detected, input.spacingFactor * detected};
}

bool canBeGridded(const PointBounds& bounds, double spacing) {
    if (!(spacing > 0.0) || !std::isfinite(std::ldexp(spacing, MAXLEVELS))) return false;
    double largest = 0.0;
    for (std::size_t i = 0; i < 3; ++i)
        largest = std::max({largest, std::abs(bounds.low[i]), std::abs(bounds.high[i])});
    const double maxCells = std::ldexp(1.0, MAXLEVELS) - 2.0 * MARGIN_CELLS;
    return largest / spacing < FINEST_RESOLUTION && bounds.largestExtent() / spacing < maxCells;
}

Calc makeGrid(const PointBounds& bounds, double usedSpacing) {
    ASSEX_AS("usedSpacing>0", usedSpacing > 0 && std::isfinite(usedSpacing));
    const double numReqC = std::ceil(bounds.largestExtent() / usedSpacing) + 2.0 * MARGIN_CELLS;
    int baseLevel = static_cast<int>(std::fmin(std::trunc(std::log2(numReqC)) + 1.0, LARGEST_LEVEL));
    if (baseLevel > MAXLEVELS) {
        warning(KEL_PLACE, "BaseLevel out of range: " + toString(baseLevel));
        baseLevel = MAXLEVELS;
    }
    const double numCReal = std::ldexp(1.0, baseLevel);
    ASSEX(numCReal>=numReqC);
    const PointBounds ofGrid = bounds.widened(usedSpacing * MARGIN_CELLS);
    checkMargin(bounds, ofGrid, usedSpacing, numCReal);
    const double s = usedSpacing * numCReal;
    return {ofGrid.low[0], ofGrid.low[1], ofGrid.low[2], s, s, s, baseLevel};
}

Calc makeGridAt(const Point3& origin, const PointBounds& bounds, double usedSpacing) {
    if (!(usedSpacing > 0.0)) return makeGrid(bounds, usedSpacing);  // which refuses it
    const bool bOriginInReach = isNearEnough(origin, usedSpacing);
    if (!bOriginInReach)
        warning(KEL_PLACE, "The origin is no place, or too far away for the spacing " + toString(usedSpacing));
    ASSEX(bOriginInReach);
    PointBounds onLattice = bounds;  // down to the next corner: less than a cell, for which the margin has room
    const std::array<double, 3> aOrigin{origin.x(), origin.y(), origin.z()};
    for (std::size_t i = 0; i < 3; ++i)
        onLattice.low[i] = aOrigin[i] + std::floor((bounds.low[i] - aOrigin[i]) / usedSpacing) * usedSpacing;
    return makeGrid(onLattice, usedSpacing);
}

}  // namespace TARN_KEL
