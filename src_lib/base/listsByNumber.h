#pragma once

#include <cstddef>
#include <numeric>
#include <vector>

namespace TARN_KEL {

/// Lists with numbers from 0 on, one behind the other.
template <typename Entry, typename Position = std::size_t>
struct ListsByNumber {
    std::vector<Position> vBegin;  ///< of each list, its first entry; one more for the end
    std::vector<Entry> vEntry;

    std::size_t size() const { return vBegin.empty() ? 0 : vBegin.size() - 1; }
    Entry* begin(std::size_t number) { return vEntry.data() + vBegin[number]; }
    Entry* end(std::size_t number) { return vEntry.data() + vBegin[number + 1]; }
    const Entry* begin(std::size_t number) const { return vEntry.data() + vBegin[number]; }
    const Entry* end(std::size_t number) const { return vEntry.data() + vBegin[number + 1]; }
};

/// Sorts entries into numLists lists, where they keep their order. forEach: calls what it is given with the number, below
/// numLists, and the entry for each of them; it is called twice, and must do the same. Cost: O(n) for lists and entries.
template <typename Entry, typename Position = std::size_t, typename ForEach>
ListsByNumber<Entry, Position> listsByNumber(std::size_t numLists, ForEach&& forEach) {
    ListsByNumber<Entry, Position> lists;
    lists.vBegin.assign(numLists + 1, 0);
    forEach([&lists](std::size_t number, const Entry&) { ++lists.vBegin[number + 1]; });
    std::partial_sum(lists.vBegin.begin(), lists.vBegin.end(), lists.vBegin.begin());
    lists.vEntry.resize(lists.vBegin.back());
    std::vector<Position> vEnd(lists.vBegin.begin(), lists.vBegin.end() - 1);
    forEach([&](std::size_t number, const Entry& entry) { lists.vEntry[vEnd[number]++] = entry; });
    return lists;
}

}  // namespace TARN_KEL
