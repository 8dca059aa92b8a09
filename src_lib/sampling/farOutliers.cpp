// The bulk is measured by order statistics: on each axis, the range that the middle 28% of the coordinates span. When a
// third of the points are outliers, all on one side, this range still lies within the bulk. Points beyond 64 such ranges
// are suspects; clouds have none, as a rule, and are done.
//
// Suspects may be a second scan, or the sparse surroundings of an object, so they are put into groups. Seen from the middle
// of the bulk, a suspect has a direction and a distance, and two suspects are near each other when both are alike: when
// they are in the same or neighbouring cells of direction and logarithm of distance, which are as wide as they are far
// away. So one pass serves all distances from 10 to 10^300. The cells are so small that random points at distances of one
// magnitude rarely have a neighbour, which a sheet of as many points has. A group of few places is an outlier.
//
// A dense detail may hold the middle of all coordinates; then the range says nothing about the surface around it. But the
// points of a surface become more from one doubling of the distance to the next, where outliers begin behind a void.
//
// All distances are computed on quarters of the coordinates, so that none overflows.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "Forest.h"
#include "Progress.h"
#include "outliers.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MIN_POINTS = 64;      // fewer have no bulk to speak of
constexpr double SUSPECT_RANGES = 64.0;     // 20 extents of a sphere: what is nearer does no harm to spacing and grid
constexpr std::size_t SHEET_PLACES = 16;    // a sheet of its own has at least 4 by 4
constexpr std::size_t SHEET_SHARE = 200;    // and one in so many of all points, or it isn't worth a grid that reaches it
constexpr std::ptrdiff_t MIN_SURFACE = 16;  // points in a doubling of the distance that can be a surface's
constexpr double MAX_SHARE = 0.36;          // a third, and some slack
// Below the middle range: with a third of all on one side, it ends within the bulk. The others are for clouds in which so
// many coordinates are equal on each axis that it has no width.
constexpr std::array<double, 4> LOW_SHARES = {0.36, 0.2, 0.1, 0.0};

using Axes = std::array<double, 3>;
using Suspect = std::uint32_t;

Axes quarterOf(const Point3& p) {
    return {0.25 * p.x(), 0.25 * p.y(), 0.25 * p.z()};
}

/// In quarters of the coordinates.
struct Bulk {
    Axes centre;
    double range;  // the largest of the three axes

    Axes offsetOf(const Point3& p) const {
        const Axes place = quarterOf(p);
        return {place[0] - centre[0], place[1] - centre[1], place[2] - centre[2]};
    }
};

double largestOf(const Axes& offset) {
    return std::max({std::abs(offset[0]), std::abs(offset[1]), std::abs(offset[2])});
}

/// The middle value of an axis, and the width of the middle range. Reorders the values, of which there is at least one.
std::pair<double, double> middleOf(std::vector<double>& vValue, double lowShare) {
    const auto last = static_cast<double>(vValue.size() - 1);
    const auto at = [&](double position) { return vValue.begin() + static_cast<std::ptrdiff_t>(position); };
    const auto itLow = at(std::floor(lowShare * last)), itMiddle = at(std::floor(0.5 * last)),
               itHigh = at(std::ceil((1.0 - lowShare) * last));
    std::nth_element(vValue.begin(), itLow, vValue.end());
    std::nth_element(itLow, itMiddle, vValue.end());
    std::nth_element(itMiddle, itHigh, vValue.end());
    return {*itMiddle, *itHigh - *itLow};
}

/// vPoints without those at the place left out, if any.
Bulk measureBulk(const std::vector<Point3>& vPoints, const std::optional<Axes>& leftOut, double lowShare) {
    std::array<std::vector<double>, 3> vValues;
    for (const Point3& p : vPoints) {
        const Axes place = quarterOf(p);
        if (leftOut && place == *leftOut) continue;
        for (std::size_t axis = 0; axis < 3; ++axis)
            vValues[axis].push_back(place[axis]);
    }
    if (vValues[0].empty()) return {*leftOut, 0.0};
    std::array<std::pair<double, double>, 3> middle;
    forChunks_MT(3, [&](std::size_t begin, std::size_t end) {
        for (std::size_t axis = begin; axis < end; ++axis)
            middle[axis] = middleOf(vValues[axis], lowShare);
    });
    return {{middle[0].first, middle[1].first, middle[2].first},
            std::max({middle[0].second, middle[1].second, middle[2].second})};
}

/// A third and more of the points may be at one place, as returns that a scanner couldn't measure are.
Bulk findBulk(const std::vector<Point3>& vPoints) {
    Bulk bulk{};
    for (const double lowShare : LOW_SHARES) {
        bulk = measureBulk(vPoints, std::nullopt, lowShare);
        if (!(bulk.range > 0.0)) bulk = measureBulk(vPoints, bulk.centre, lowShare);
        if (bulk.range > 0.0) break;
    }
    return bulk;
}

// ---- Groups

/// The cells of suspects: three coordinates of the direction and one of the distance, in fields of a code.
///
/// Random places between a distance and twice that fill seven eighths of a ball. With this width they have a fifth of a
/// neighbour each; groups of many would need three.
class ViewGrid {
public:
    ViewGrid(const Bulk& bulk_, std::size_t numSuspects)
        : bulk(bulk_), width(std::clamp(std::cbrt(0.2 / static_cast<double>(numSuspects)), 1.0 / 1024.0, 1.0 / 16.0)) {}

    std::uint64_t codeOf(const Point3& p) const {
        const Axes offset = bulk.offsetOf(p);
        const double distance = largestOf(offset);
        std::uint64_t code = field((std::log(distance) - std::log(bulk.range)) / width);
        for (const double component : offset)
            code = code << DIRECTION_BITS | field((component / distance + 1.0) / width);
        return code;
    }
    /// The steps to the neighbours with higher codes.
    static std::vector<std::uint64_t> stepsUp() {
        std::vector<std::uint64_t> vStep;
        for (int i = 81 / 2 + 1; i < 81; ++i) {
            std::int64_t step = 0;
            for (int power = 27; power > 0; power /= 3)
                step = step * (std::int64_t{1} << DIRECTION_BITS) + i / power % 3 - 1;
            vStep.push_back(static_cast<std::uint64_t>(step));
        }
        return vStep;
    }

private:
    static constexpr int DIRECTION_BITS = 13;                                                   // 2 / width and the margin
    static std::uint64_t field(double value) { return static_cast<std::uint64_t>(value) + 1; }  // room for a step down

    const Bulk& bulk;
    double width;
};

/// A suspect, or a point of the bulk's rim that one may be connected to.
struct Entry {
    std::uint64_t code;
    Suspect position;
    bool bSuspect;
};

/// A run of entries in one cell.
struct ViewCell {
    std::uint64_t code;
    std::size_t begin, end;
    std::size_t numPlaces;  // enough of them when a point is no suspect
};

std::vector<ViewCell> cellsOf(const std::vector<Entry>& vEntry, const std::vector<Point3>& vPoints, std::size_t minPlaces) {
    std::vector<ViewCell> vCell;
    const auto codeOf = [](const Entry& entry) { return entry.code; };
    forEachRun(vEntry.begin(), vEntry.end(), codeOf, [&](auto first, auto end) {
        std::size_t numPlaces = 0;
        for (auto it = first; it != end; ++it) {
            if (!it->bSuspect) numPlaces += minPlaces;
            if (it == first || vPoints[it->position] != vPoints[(it - 1)->position]) ++numPlaces;
        }
        vCell.push_back({first->code, static_cast<std::size_t>(first - vEntry.begin()),
                         static_cast<std::size_t>(end - vEntry.begin()), numPlaces});
    });
    return vCell;
}

Forest groupsOf(const std::vector<ViewCell>& vCell) {
    Forest groups(vCell.size());
    for (const std::uint64_t step : ViewGrid::stepsUp()) {
        std::size_t other = 0;  // both codes ascend
        for (std::size_t i = 0; i < vCell.size(); ++i) {
            while (other < vCell.size() && vCell[other].code < vCell[i].code + step)
                ++other;
            if (other < vCell.size() && vCell[other].code == vCell[i].code + step)
                groups.join(static_cast<Suspect>(i), static_cast<Suspect>(other));
        }
    }
    return groups;
}

/// The distance from which on points are suspects.
double leastDistance(const std::vector<Point3>& vPoints, const Bulk& bulk) {
    double least = SUSPECT_RANGES * bulk.range;
    const auto countBetween = [&](double low, double high) {
        return std::count_if(vPoints.begin(), vPoints.end(), [&](const Point3& p) {
            const double distance = largestOf(bulk.offsetOf(p));
            return distance > low && distance <= high;
        });
    };
    while (std::isfinite(4.0 * least)) {
        const auto numNear = countBetween(least, 2.0 * least);
        if (numNear < MIN_SURFACE || countBetween(2.0 * least, 4.0 * least) < 2 * numNear) break;
        least *= SUSPECT_RANGES;
    }
    return least;
}

/// The suspects, and the points from half of their least distance on, by cell and place.
std::vector<Entry> collectEntries(const std::vector<Point3>& vPoints, const Bulk& bulk) {
    const double least = leastDistance(vPoints, bulk);
    std::vector<Entry> vEntry;
    std::size_t numSuspects = 0;
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        const double distance = largestOf(bulk.offsetOf(vPoints[i]));
        if (!(distance > 0.5 * least)) continue;
        vEntry.push_back({0, static_cast<Suspect>(i), distance > least});
        numSuspects += distance > least ? 1 : 0;
    }
    if (numSuspects == 0) return {};
    const ViewGrid grid(bulk, numSuspects);
    for (Entry& entry : vEntry)
        entry.code = grid.codeOf(vPoints[entry.position]);
    const auto byPlace = [&](const Entry& a, const Entry& b) {
        return a.code != b.code ? a.code < b.code : vPoints[a.position] < vPoints[b.position];
    };
    sortMT(vEntry.begin(), vEntry.end(), byPlace);
    return vEntry;
}

/// The suspects in groups of few places, ascending.
std::vector<std::size_t> entriesInSmallGroups(const std::vector<Entry>& vEntry, const std::vector<Point3>& vPoints) {
    const std::size_t minPlaces = std::max(SHEET_PLACES, vPoints.size() / SHEET_SHARE);
    const std::vector<ViewCell> vCell = cellsOf(vEntry, vPoints, minPlaces);
    Forest groups = groupsOf(vCell);
    std::vector<std::size_t> vNumPlaces(vCell.size());
    for (std::size_t i = 0; i < vCell.size(); ++i)
        vNumPlaces[groups.findRoot(static_cast<Suspect>(i))] += vCell[i].numPlaces;
    std::vector<std::size_t> vFar;
    for (std::size_t i = 0; i < vCell.size(); ++i)
        if (vNumPlaces[groups.findRoot(static_cast<Suspect>(i))] < minPlaces)
            for (std::size_t j = vCell[i].begin; j < vCell[i].end; ++j)
                vFar.push_back(vEntry[j].position);
    std::sort(vFar.begin(), vFar.end());
    return vFar;
}

}  // namespace

std::vector<std::size_t> findFarOutliers(const std::vector<Point3>& vPoints) {
    if (vPoints.size() < MIN_POINTS) return {};
    const ProgressStep progress("SC_far", 3);
    const Bulk bulk = findBulk(vPoints);
    if (!(bulk.range > 0.0)) return {};
    progress.advance();
    const std::vector<Entry> vEntry = collectEntries(vPoints, bulk);
    progress.advance();
    std::vector<std::size_t> vFar = entriesInSmallGroups(vEntry, vPoints);
    progress.finish();
    if (static_cast<double>(vFar.size()) <= MAX_SHARE * static_cast<double>(vPoints.size())) return vFar;
    warning(KEL_PLACE, "Points far from all others are kept, for they are too many: " + toString(vFar.size()) + " of " +
                           toString(vPoints.size()));
    return {};
}

void removePoints(const std::vector<std::size_t>& vPositions, std::vector<Point3>& vPoints) {
    if (vPositions.empty()) return;
    std::size_t next = 0;
    std::size_t numKept = 0;
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        if (next < vPositions.size() && vPositions[next] == i)
            ++next;
        else
            vPoints[numKept++] = vPoints[i];
    }
    vPoints.resize(numKept);
}

}  // namespace TARN_KEL
