#pragma once

#include <iterator>

namespace TARN_KEL {

/// Calls visit(first, end) for each run of neighbours with equal keys in a range, in their order; keyOf(element) gives the
/// key. O(n).
template <typename Iterator, typename KeyOf, typename Visit>
void forEachRun(Iterator first, Iterator last, KeyOf&& keyOf, Visit&& visit) {
    while (first != last) {
        Iterator end = std::next(first);
        while (end != last && keyOf(*end) == keyOf(*first))
            ++end;
        visit(first, end);
        first = end;
    }
}

}  // namespace TARN_KEL
