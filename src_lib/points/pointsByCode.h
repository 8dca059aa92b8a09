#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"
#include "radixSort.h"
#include "sortMT.h"

namespace TARN_KEL {

/// The addresses of the points with their codes, by ascending code; points of one code in the order of the input.
/// codeOf(point): called from several threads.
/// O(n log n), 16 bytes per point; uses the pool.
template <typename Points, typename CodeOf>
auto pointsByCode(Points& vPoints, const CodeOf& codeOf) {
    std::vector<std::pair<decltype(codeOf(vPoints.front())), decltype(vPoints.data())>> vCodePoint(vPoints.size());
    forChunks_MT(vPoints.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vCodePoint[i] = {codeOf(vPoints[i]), &vPoints[i]};
    });
    radixSortByCode(vCodePoint);
    return vCodePoint;
}

/// The same by packed cell.
template <typename Points>
auto pointsByCell(Points& vPoints, const Calc& grid) {
    return pointsByCode(vPoints, [&grid](const Point3& p) { return grid.getRCD(&p); });
}

}  // namespace TARN_KEL
