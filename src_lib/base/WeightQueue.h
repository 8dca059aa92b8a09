#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <queue>
#include <utility>
#include <vector>

#include "radixSort.h"
#include "sortMT.h"

namespace TARN_KEL {

/// Numbers by weight, the smallest first, among equal weights the one of the earlier turn: the order of a multimap.
///
/// What is known at the start is sorted once and then only read; a heap holds what comes later. Numbers that can't matter
/// yet may stay outside at first: pushAsAtStart() brings one in at the place where it would have waited all the time.
class WeightQueue {
public:
    /// vAtStart: (weight, number) by ascending number; the number is the turn as well. Later turns begin at firstTurn.
    WeightQueue(std::vector<std::pair<double, std::uint32_t>> vAtStart, std::size_t firstTurn)
        : vStart(std::move(vAtStart)), nextTurn(firstTurn) {
        sortByFirstMT(vStart);
    }
    bool empty() const { return iStart == vStart.size() && later.empty(); }
    /// The first weight and number, which leave the queue.
    std::pair<double, std::uint32_t> takeFirst() {
        const bool bFromStart = later.empty() || (iStart < vStart.size() && startRank() < later.top().rank);
        const Entry entry = bFromStart ? Entry{startRank(), vStart[iStart].first, vStart[iStart].second} : later.top();
        if (bFromStart)
            ++iStart;
        else
            later.pop();
        farthest = std::max(farthest, entry.rank);
        return {entry.weight, entry.number};
    }
    /// The number alone.
    std::uint32_t pop() { return takeFirst().second; }
    /// Behind all of that weight.
    void push(double weight, std::uint32_t number) { later.push({Rank{radixCode(weight), nextTurn++}, weight, number}); }
    /// Where it would have been from the start, if the queue isn't beyond that place.
    void pushAsAtStart(double weight, std::uint32_t number) {
        const Rank rank{radixCode(weight), number};
        if (farthest < rank) later.push({rank, weight, number});
    }
    /// The order of the weights.
    std::less<double> key_comp() const { return {}; }

private:
    /// A place in the queue.
    struct Rank {
        std::uint64_t weightCode;  // in the order of the weights
        std::uint64_t turn;
        auto operator<=>(const Rank&) const = default;
    };
    Rank startRank() const { return {radixCode(vStart[iStart].first), vStart[iStart].second}; }

    struct Entry {
        Rank rank;
        double weight;
        std::uint32_t number;
        bool operator>(const Entry& other) const { return rank > other.rank; }
    };
    std::vector<std::pair<double, std::uint32_t>> vStart;
    std::size_t iStart = 0;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> later;
    std::uint64_t nextTurn;
    Rank farthest{0, 0};  // all that was in the queue from the start and ranks lower has come out
};

}  // namespace TARN_KEL
