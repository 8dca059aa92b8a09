// The spacing of an unordered cloud, and the grid that follows from it.
//
// No neighbours are searched. The points get interleaved codes on a fine grid of 2^20 cells along the longest side, and the
// codes are sorted. Two neighbours of the sorted list are near each other in space, and the highest level at which their
// codes differ tells how near. The median of these levels, and two more to be on the safe side, is the edge of a block in
// which a surface has several points but no hole:
//
//     levels of the differences       .  2 3 3 4 4 4 5 7 11  ->  median 4, blocks of 2^6 fine cells
//
// The number of occupied blocks times the area of a block's face is then a measure of the surface (a surface that lies
// askew occupies more blocks than its area says: 1.307025), and that area shared out among the points gives the spacing
// (with the room that a cell needs so as not to be empty by chance: 1.5396).
//
// The grid is a cube of 2^L cells of exactly this spacing, the least L that leaves room for a margin of 5000 cells on all
// sides. Thanks to the margin nobody has to ask whether a neighbour of an occupied cell exists.
#include "Cloud.h"

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <utility>

#include "Progress.h"
#include "Smooth.h"
#include "freeFunctions.h"
#include "radixSort.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const int FINE_LEVELS = 20;           // of the grid of the estimate
const double MARGIN_CELLS = 5000.0;   // between the points and each side of the grid
const double LARGEST_LEVEL = 1025.0;  // what the largest double asks for; an overflow counts as much

/// A length that the caller gave or that came out of a product counts only if it is a positive number.
bool isLength(double length) {
    return length > 0.0 && std::isfinite(length);
}

/// Whether the fine cells of a cloud of this extent have an edge that can be divided by.
bool canBeCoded(double extent) {
    return isLength(extent) && std::isfinite(std::ldexp(1.0, FINE_LEVELS) / extent);
}

/// The level that half of the sorted code's steps don't exceed; -1 when there is no step above level 1.
int getMedianLevel(const VCCD& vSortedCodes) {
    std::array<std::size_t, FINE_LEVELS + 1> aCount{};
    std::size_t numLevels = 0;
    for (std::size_t i = 1; i < vSortedCodes.size(); ++i) {
        const CCD difference = vSortedCodes[i] ^ vSortedCodes[i - 1];
        if (difference < 64) continue;  // equal, or different on the two finest levels only
        ++aCount[static_cast<std::size_t>(std::bit_width(difference) - 1) / 3];
        ++numLevels;
    }
    if (numLevels == 0) return -1;
    std::size_t level = 0;
    for (std::size_t numBelow = aCount[0]; numBelow <= numLevels / 2; numBelow += aCount[level])
        ++level;
    return static_cast<int>(level);
}

/// The number of occupied blocks of 2^level cells along each axis.
std::size_t countBlocks(const VCCD& vSortedCodes, int level) {
    const auto blockOf = [level](CCD code) { return 3 * level < 64 ? code >> 3 * level : 0; };
    std::size_t numBlocks = vSortedCodes.empty() ? 0 : 1;
    for (std::size_t i = 1; i < vSortedCodes.size(); ++i)
        if (blockOf(vSortedCodes[i]) != blockOf(vSortedCodes[i - 1])) ++numBlocks;
    return numBlocks;
}

}  // namespace

Cloud::Cloud(const std::string& cloudName, double absoluteSpacing, double factor, bool bSoup, int growSteps)
    : numGrowSteps(growSteps),
      name(cloudName),
      spacingAbs(std::isfinite(absoluteSpacing) ? absoluteSpacing : -1.0),
      spacingFactor(factor),
      bMelt(bSoup) {}

Cloud::~Cloud() {
    delete pCalc;
}

// ---- Input --------------------------------------------------------------------------------------------------------------

void Cloud::setInputPoints(std::vector<Point3>& vInput) {
    vPoints = vInput;
    dropNonFinitePoints();
    numInputPoints = vPoints.size();
    if (!vPoints.empty()) setBounds(vPoints);
}

void Cloud::dropNonFinitePoints() {
    if (bMelt) {
        flattenNonFiniteTriangles();
        return;
    }
    const std::size_t numPoints = vPoints.size();
    vPoints.erase(std::remove_if(vPoints.begin(), vPoints.end(), [](const Point3& p) { return !isFinitePoint(p); }),
                  vPoints.end());
    const std::size_t numBad = numPoints - vPoints.size();
    if (numBad > 0) warning(KEL_PLACE, "Points with coordinates that aren't finite, left out: " + toString(numBad));
}

// The rasteriser leaves flat triangles out and counts them. The place is one of the soup, so that the bounds stay those of
// what is good.
void Cloud::flattenNonFiniteTriangles() {
    const auto triangleEnd = [this](std::size_t i) { return std::min(i + 3, vPoints.size()); };
    const auto isFiniteTriangle = [&](std::size_t i) {
        return std::all_of(&vPoints[i], vPoints.data() + triangleEnd(i), isFinitePoint);
    };
    Point3 place;
    for (std::size_t i = vPoints.size() / 3; i > 0; --i)
        if (isFiniteTriangle(3 * i - 3)) place = vPoints[3 * i - 3];
    for (std::size_t i = 0; i < vPoints.size(); i += 3)
        if (!isFiniteTriangle(i)) std::fill(&vPoints[i], vPoints.data() + triangleEnd(i), place);
}

void Cloud::setBounds(std::vector<Point3>& vOfPoints) {
    ASSEX(!vOfPoints.empty());
    const Point3& first = vOfPoints.front();
    bounds = {{first.x(), first.y(), first.z()}, {first.x(), first.y(), first.z()}};
    for (const Point3& p : vOfPoints) {
        const double coordinates[3] = {p.x(), p.y(), p.z()};
        for (int i = 0; i < 3; ++i) {
            bounds.min[i] = std::min(bounds.min[i], coordinates[i]);
            bounds.max[i] = std::max(bounds.max[i], coordinates[i]);
        }
    }
}

bool Cloud::load() {
    const auto start = std::chrono::system_clock::now();
    const bool bRead = readPoints(name, vPoints);
    const auto duration = std::chrono::system_clock::now() - start;
    inputIOTime = static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count()) / 1e9;
    if (!bRead) vPoints.clear();  // what came before the fault is no cloud
    dropNonFinitePoints();
    numInputPoints = vPoints.size();
    if (!vPoints.empty()) setBounds(vPoints);
    return bRead;
}

bool Cloud::readPoints(const std::string& filename, std::vector<Point3>& vOut) {
    bool bRead = false;
    switch (getFileType(filename)) {
    case FT_STL:
        if (!bMelt) {
            out() << "\n Input file is of type STL, use --fmelt (-m) instead" << std::endl;
            ASSEX(bMelt);
        }
        if (!(spacingAbs > 0)) {
            out() << "\nFor an STL provide also the -a option please\n" << std::endl;
            ASSEX(spacingAbs>0);
        }
        bRead = readSTL_ASCII(filename.c_str(), vOut);
        break;
    case FT_PLY:
        bRead = readPly(filename.c_str(), true, vOut);
        break;
    case FT_ASCII:
        bRead = readPoints_ASCII(filename.c_str(), vOut);
        break;
    case FT_BIN:
        bRead = readPoints_BIN(filename.c_str(), vOut);
        break;
    default:
        out() << "Unknown file format" << std::endl;
    }
    if (!bRead)
        out() << "void Cloud::readPoints(), Error reading file: " << filename << std::endl;
    else if (vOut.empty())
        out() << "void Cloud::readPoints(), Empty file: " << filename << std::endl;
    else
        numInputPoints = vOut.size();
    return bRead;
}

// ---- The roads to bundles -----------------------------------------------------------------------------------------------

void Cloud::prepareScanPoints(bool bLapTreatment, Calc* pGivenCalc) {
    ASSEX(!bMelt);
    if (vPoints.empty()) {
        warning(KEL_PLACE, "Nothing to do for cloud " + name);
        return;
    }
    if (pGivenCalc != nullptr) {
        delete std::exchange(pCalc, nullptr);
        pCalc = new Calc(*pGivenCalc);
        usedSpacing = pCalc->getSideLen();
    } else {
        estimateRes2();
        createCalc();
    }
    Smooth smooth(vPoints, pCalc);
    smooth.run(bLapTreatment);
    createBundles(&smooth);
}

// ---- Spacing and grid ---------------------------------------------------------------------------------------------------

double Cloud::getLargestExtent() const {
    return std::max({bounds.max[0] - bounds.min[0], bounds.max[1] - bounds.min[1], bounds.max[2] - bounds.min[2]});
}

void Cloud::estimateRes2() {
    if (spacingAbs > 0.0) {
        usedSpacing = spacingAbs;
        return;
    }
    ProgressStep progress("CL_eres", 6);
    progress.advance();
    const double extent = getLargestExtent();
    detectedSpacing = -1.0;
    if (canBeCoded(extent)) detectedSpacing = detectByBlocks(extent, progress);
    // No two points that are more than a few fine cells apart: there is no surface, and any spacing will do.
    if (detectedSpacing == -1.0) detectedSpacing = extent > 0.0 ? extent : 1.0;
    usedSpacing = spacingFactor * detectedSpacing;
    progress.finish();
}

double Cloud::detectByBlocks(double extent, ProgressStep progress) const {
    const Calc fineGrid(bounds.min[0], bounds.min[1], bounds.min[2], extent, extent, extent, FINE_LEVELS);
    VCCD vCodes(vPoints.size());
    forChunks_MT(vPoints.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vCodes[i] = fineGrid.getCCD(&vPoints[i]);
    });
    progress.advance();
    radixSort(vCodes);
    progress.advance();
    const int medianLevel = getMedianLevel(vCodes);
    progress.advance();
    if (medianLevel < 0) return -1.0;
    const int level = medianLevel + 2;
    progress.advance();
    const double numBlocks = static_cast<double>(countBlocks(vCodes, level));
    progress.advance();
    const double blockEdge = std::ldexp(1.0, level) * (extent / std::ldexp(1.0, FINE_LEVELS));
    return std::sqrt((numBlocks * (blockEdge * blockEdge) / 1.307025) / static_cast<double>(numInputPoints) * 1.5396);
}

void Cloud::createCalc() {
    if (!std::isfinite(usedSpacing)) usedSpacing = -1.0;  // no length, and to be reported like one that isn't positive
    ASSEX(usedSpacing>0);
    const double numReqC = std::ceil(getLargestExtent() / usedSpacing) + 2.0 * MARGIN_CELLS;
    int baseLevel = static_cast<int>(std::fmin(std::trunc(std::log2(numReqC)) + 1.0, LARGEST_LEVEL));
    if (baseLevel > MAXLEVELS) {
        warning(KEL_PLACE, "BaseLevel out of range: " + toString(baseLevel));
        baseLevel = MAXLEVELS;
    }
    const double numCReal = std::ldexp(1.0, baseLevel);
    const Bounds ofPoints = bounds;
    const double margin = usedSpacing * MARGIN_CELLS;
    for (int i = 0; i < 3; ++i) {
        bounds.min[i] -= margin;
        bounds.max[i] += margin;
    }
    ASSEX(numCReal>=numReqC);
    checkMargin(ofPoints, numCReal);
    const double s = usedSpacing * numCReal;
    delete std::exchange(pCalc, nullptr);
    pCalc = new Calc(bounds.min[0], bounds.min[1], bounds.min[2], s, s, s, baseLevel);
}

// Far from the origin doubles are coarse. When they can't tell one cell from the next, rounding eats the margin, and steps
// to neighbours would leave the grid. Half of the margin is plenty and leaves room for the rounding of ordinary clouds.
void Cloud::checkMargin(const Bounds& ofPoints, double numCells) const {
    for (int i = 0; i < 3; ++i) {
        const double low = (ofPoints.min[i] - bounds.min[i]) / usedSpacing;
        const double high = (ofPoints.max[i] - bounds.min[i]) / usedSpacing;
        const bool bHasMargin = low >= MARGIN_CELLS / 2.0 && high <= numCells - MARGIN_CELLS / 2.0;
        if (!bHasMargin) warning(KEL_PLACE, "The coordinates can't resolve the spacing " + toString(usedSpacing));
        ASSEX(bHasMargin);
    }
}

void Cloud::printStatistics() const {
    out() << "\nCloud::printStatistics( " << name << " )\n" << std::string(60, '-') << '\n';
    out() << "Input points: " << numInputPoints << '\n';
    if (spacingAbs > 0.0)
        out() << "Spacing is user defined: " << spacingAbs << std::endl;
    else
        out() << "\nSpacing factor:     " << spacingFactor << "\nDetected spacing:       " << detectedSpacing << std::endl;
}

}  // namespace TARN_KEL
