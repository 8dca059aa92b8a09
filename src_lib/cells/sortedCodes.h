// Look-up of cells in a list sorted by their codes, interleaved or packed: of codes alone, or of pairs of a code and data of
// the cell.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

inline CCD codeOf(CCD code) {
    return code;
}
template <typename T>
CCD codeOf(const std::pair<CCD, T>& cell) {
    return cell.first;
}

/// The first cell of a sorted range whose code isn't below the given one; itEnd when there is none. O(log n).
template <typename Iterator>
Iterator findFirstFrom(Iterator itBegin, Iterator itEnd, CCD code) {
    return std::lower_bound(itBegin, itEnd, code, [](const auto& cell, CCD other) { return codeOf(cell) < other; });
}

/// The same, but O(log d) when the result is d cells after itBegin: the reach of the search doubles until it is enough.
template <typename Iterator>
Iterator findFirstNear(Iterator itBegin, Iterator itEnd, CCD code) {
    std::ptrdiff_t reach = 1;
    for (; reach < itEnd - itBegin && codeOf(itBegin[reach]) < code; reach *= 2)
        itBegin += reach;
    return findFirstFrom(itBegin, itBegin + std::min(reach, itEnd - itBegin), code);
}

/// The first cell of a sorted range with that code; itEnd when there is none. O(log n).
template <typename Iterator>
Iterator findCell(Iterator itBegin, Iterator itEnd, CCD code) {
    const Iterator it = findFirstFrom(itBegin, itEnd, code);
    return it != itEnd && codeOf(*it) == code ? it : itEnd;
}

}  // namespace TARN_KEL
