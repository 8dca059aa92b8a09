#include "PointGrid.h"

#include <bit>
#include <iterator>

#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

const std::size_t MIN_PARALLEL_PLACES = 2000;  // places

struct Keyed {
    std::uint64_t row;
    std::int64_t x;
    FitIndex index;
};

}  // namespace

PointGrid::PointGrid(const std::vector<Vector3>& vPlace, double cellEdge, const std::vector<unsigned char>& vUse)
    : inverseEdge(1.0 / cellEdge) {
    std::vector<Keyed> vKeyed(vPlace.size());
    const auto enterPlaces = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            const Vector3& p = vPlace[i];
            vKeyed[i] = {rowKey(cellOf(p.y()), cellOf(p.z())), cellOf(p.x()), static_cast<FitIndex>(i)};
        }
    };
    forChunks_MT(vPlace.size(), enterPlaces, MIN_PARALLEL_PLACES);
    if (!vUse.empty()) std::erase_if(vKeyed, [&](const Keyed& keyed) { return vUse[keyed.index] == 0; });
    // Stable, so that places of a cell stay in the order of their positions.
    const int numThreads = numProcessors();
    radixSortOnThreads(
        vKeyed.data(), vKeyed.size(), [](const Keyed& keyed) { return radixCode(keyed.x); }, numThreads);
    const auto rowOf = [](const Keyed& keyed) { return keyed.row; };
    radixSortOnThreads(vKeyed.data(), vKeyed.size(), rowOf, numThreads);

    std::size_t numRows = 0;
    const auto xOf = [](const Keyed& keyed) { return keyed.x; };
    forEachRun(vKeyed.cbegin(), vKeyed.cend(), rowOf, [&](auto firstOfRow, auto endOfRow) {
        ++numRows;
        forEachRun(firstOfRow, endOfRow, xOf, [&](auto first, auto) {
            vCell.push_back({first->x, static_cast<FitIndex>(first - vKeyed.cbegin())});
        });
    });
    const auto entryOf = [&](const Keyed& keyed) { return Entry{vPlace[keyed.index], keyed.index}; };
    transform_MT(vKeyed, vEntry, entryOf, MIN_PARALLEL_PLACES);
    vCell.push_back({0, static_cast<FitIndex>(vKeyed.size())});

    const int bits = static_cast<int>(std::bit_width(2 * numRows + 1));
    vRow.resize(std::size_t{1} << bits);
    shift = 64 - bits;
    const auto rowOfCell = [&](const Cell& cell) { return vKeyed[cell.begin].row; };
    forEachRun(vCell.cbegin(), std::prev(vCell.cend()), rowOfCell, [&](auto first, auto end) {
        const auto positionOf = [this](auto it) { return static_cast<FitIndex>(it - vCell.cbegin()); };
        vRow[slotOf(rowOfCell(*first))] = {rowOfCell(*first), positionOf(first), positionOf(end)};
    });
}

std::vector<FitIndex> PointGrid::order() const {
    std::vector<FitIndex> vOrder;
    vOrder.reserve(vEntry.size());
    for (const Entry& entry : vEntry)
        vOrder.push_back(entry.index);
    return vOrder;
}

}  // namespace TARN_KEL
