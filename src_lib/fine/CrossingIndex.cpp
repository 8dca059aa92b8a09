// Triangles in the cells of grids, one grid for each power of four in their sizes.
#include "CrossingIndex.h"

#include <algorithm>

#include "tools.h"

namespace TARN_KEL {

// With cells of more than twice the usual size most boxes are in the middle of level 0.
CrossingIndex::CrossingIndex(double usualSize) : usualExponent(std::ilogb(usualSize) + 2) {
    ASSEX(usualSize>0.0 && std::isfinite(usualSize));
}

void CrossingIndex::insert(Id id, const TriangleCorners& t) {
    ASSEX(id!=NONE && !has(id));
    const Bbox3 box = boxOf(t);
    const int level = levelOf(box);
    const double edge = edgeOf(level);
    const Place place{step(box.minX, edge), step(box.minY, edge), step(box.minZ, edge)};
    std::uint32_t cell = findCell(place, level);
    if (cell == NONE) {
        if (vFree.empty()) {
            vFree.push_back(static_cast<std::uint32_t>(vCell.size()));
            vCell.emplace_back();
        }
        cell = vFree.back();
        vFree.pop_back();
        vCell[cell] = {place, level, NONE};
        cells.insert(hashOf(place, level), cell);
    }
    if (id >= vEntry.size()) vEntry.resize(id + std::size_t{1});
    Id& first = vCell[cell].first;
    vEntry[id] = {t, first, NONE, cell};
    if (first != NONE) vEntry[first].previous = id;
    first = id;
    countLevel(level, 1);
    ++numTriangles;
}

void CrossingIndex::remove(Id id) {
    if (!has(id)) return;
    Entry& entry = vEntry[id];
    Cell& cell = vCell[entry.cell];
    (entry.previous == NONE ? cell.first : vEntry[entry.previous].next) = entry.next;
    if (entry.next != NONE) vEntry[entry.next].previous = entry.previous;
    if (cell.first == NONE) {
        cells.erase(hashOf(cell.place, cell.level), entry.cell);
        vFree.push_back(entry.cell);
    }
    countLevel(cell.level, -1);
    entry.cell = NONE;
    --numTriangles;
}

std::size_t CrossingIndex::numCrossings(const Corners& vT, const Ids& vLeftOut, std::size_t enough) const {
    std::vector<Bbox3> vBox(vT.size());  // an empty one meets nothing
    Bbox3 around;
    std::size_t num = 0;
    for (std::size_t i = 0; i < vT.size(); ++i) {
        if (!isFinite(vT[i])) continue;
        vBox[i] = boxOf(vT[i]);
        around.widen(vBox[i]);
        for (std::size_t j = 0; j < i && num < enough; ++j)
            if (vBox[i].intersects(vBox[j]) && areCrossing(vT[i], vT[j])) ++num;
    }
    if (num >= enough || around.minX > around.maxX) return num;
    forEachNear(around, [&](Id id) {
        if (num >= enough || std::binary_search(vLeftOut.begin(), vLeftOut.end(), id)) return;
        const TriangleCorners& other = vEntry[id].corners;
        const Bbox3 box = boxOf(other);
        for (std::size_t i = 0; i < vT.size(); ++i)
            if (vBox[i].intersects(box) && areCrossing(vT[i], other)) ++num;
    });
    return num;
}

CrossingIndex::Corners CrossingIndex::cornersOf(const Ids& vId) const {
    Corners vT;
    for (const Id id : vId)
        if (has(id)) vT.push_back(vEntry[id].corners);
    return vT;
}

std::ptrdiff_t CrossingIndex::changeBy(const Ids& vOld, const Corners& vNew) const {
    return static_cast<std::ptrdiff_t>(numCrossings(vNew, vOld)) -
           static_cast<std::ptrdiff_t>(numCrossings(cornersOf(vOld), vOld));
}

bool CrossingIndex::allows(const Ids& vOld, const Corners& vNew) const {
    if (numCrossings(vNew, vOld, 1) == 0) return true;
    const std::size_t numOld = numCrossings(cornersOf(vOld), vOld);
    return numCrossings(vNew, vOld, numOld + 1) <= numOld;
}

/// The finest level whose cells are no smaller than the box. Cells are large enough, too, for their numbers to be exact
/// where a box is small and far from the origin, and above zero for a box that is a point.
int CrossingIndex::levelOf(const Bbox3& box) const {
    constexpr double LEAST_PART = 1e-14;  // of a coordinate
    constexpr int LEAST_EXPONENT = -1000;
    // Halves, as the difference of two large coordinates may overflow.
    const double half = std::max({box.maxX / 2 - box.minX / 2, box.maxY / 2 - box.minY / 2, box.maxZ / 2 - box.minZ / 2});
    const double farthest = std::max({std::abs(box.minX), std::abs(box.minY), std::abs(box.minZ), std::abs(box.maxX),
                                      std::abs(box.maxY), std::abs(box.maxZ)});
    const double wanted = std::max(half, LEAST_PART / 2 * farthest);
    ASSEX(std::isfinite(wanted));
    const int exponent = (wanted > 0.0 ? std::max(std::ilogb(wanted) + 2, LEAST_EXPONENT) : LEAST_EXPONENT) - usualExponent;
    return exponent > 0 ? (exponent + LEVEL_BITS - 1) / LEVEL_BITS : -(-exponent / LEVEL_BITS);
}

std::uint64_t CrossingIndex::hashOf(const Place& place, int level) {
    const auto half = [&](std::size_t i) { return static_cast<std::uint64_t>(place[i] >> 1); };
    const std::uint64_t block = half(0) * 0x9E3779B97F4A7C15U + half(1) * 0xC2B2AE3D27D4EB4FU +
                                half(2) * 0x165667B19E3779F9U + static_cast<std::uint64_t>(level) * 0xD6E8FEB86659FD93U;
    return localHash(block, static_cast<std::uint64_t>((place[0] & 1) | (place[1] & 1) << 1 | (place[2] & 1) << 2));
}

std::uint32_t CrossingIndex::findCell(const Place& place, int level) const {
    return cells.find(hashOf(place, level),
                      [&](std::uint32_t i) { return vCell[i].place == place && vCell[i].level == level; });
}

void CrossingIndex::countLevel(int level, int change) {
    const auto isFiner = [](const Level& a, int b) { return a.level < b; };
    auto it = std::lower_bound(vLevels.begin(), vLevels.end(), level, isFiner);
    if (it == vLevels.end() || it->level != level) it = vLevels.insert(it, {level, 0});
    if (change > 0)
        ++it->num;
    else if (--it->num == 0)
        vLevels.erase(it);
}

}  // namespace TARN_KEL
