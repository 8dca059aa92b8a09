#include "PointGrid.h"

#include <bit>
#include <iterator>

#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

struct Keyed {
    std::uint64_t row;
    std::int64_t x;
    FitIndex index;
    bool operator<(const Keyed& other) const {
        if (row != other.row) return row < other.row;
        return x != other.x ? x < other.x : index < other.index;
    }
};

}  // namespace

PointGrid::PointGrid(const std::vector<Vector3>& vPlace, double cellEdge, const std::vector<unsigned char>& vUse)
    : inverseEdge(1.0 / cellEdge) {
    std::vector<Keyed> vKeyed;
    vKeyed.reserve(vPlace.size());
    for (std::size_t i = 0; i < vPlace.size(); ++i) {
        if (!vUse.empty() && vUse[i] == 0) continue;
        const Vector3& p = vPlace[i];
        vKeyed.push_back({rowKey(cellOf(p.y()), cellOf(p.z())), cellOf(p.x()), static_cast<FitIndex>(i)});
    }
    sortMT(vKeyed.begin(), vKeyed.end());

    std::size_t numRows = 0;
    vEntry.reserve(vKeyed.size());
    for (std::size_t i = 0; i < vKeyed.size(); ++i) {
        const bool bNewRow = i == 0 || vKeyed[i].row != vKeyed[i - 1].row;
        if (bNewRow || vKeyed[i].x != vKeyed[i - 1].x) vCell.push_back({vKeyed[i].x, static_cast<FitIndex>(i)});
        numRows += bNewRow ? 1 : 0;
        vEntry.push_back({vPlace[vKeyed[i].index], vKeyed[i].index});
    }
    vCell.push_back({0, static_cast<FitIndex>(vKeyed.size())});

    const int bits = static_cast<int>(std::bit_width(2 * numRows + 1));
    vRow.resize(std::size_t{1} << bits);
    shift = 64 - bits;
    const auto rowOf = [&](const Cell& cell) { return vKeyed[cell.begin].row; };
    forEachRun(vCell.cbegin(), std::prev(vCell.cend()), rowOf, [&](auto first, auto end) {
        const auto positionOf = [this](auto it) { return static_cast<FitIndex>(it - vCell.cbegin()); };
        vRow[slotOf(rowOf(*first))] = {rowOf(*first), positionOf(first), positionOf(end)};
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
