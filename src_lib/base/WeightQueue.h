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

/// A queue of numbers by weight, the smallest first, among equal weights the one with the earlier turn: the order of a
/// multimap.
///
/// Entries known at the start are sorted once and then only read; a heap has the later ones. Numbers that can't matter yet
/// may be left out at first: pushAsAtStart() enters one at the place where it would have been from the start.
class WeightQueue {
public:
    /// vAtStart: pairs of weight and number, by ascending number; the number is also the turn.
    /// firstTurn: the turn of the first entry by push(); turns count up from there.
    WeightQueue(std::vector<std::pair<double, std::uint32_t>> vAtStart, std::size_t firstTurn)
        : vStart(std::move(vAtStart)), nextTurn(firstTurn) {
        sortByFirstMT(vStart);
    }
    bool empty() const { return iStart == vStart.size() && later.empty(); }
    /// Removes the first entry and returns its weight and number.
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
    /// The same, but returns the number only.
    std::uint32_t pop() { return takeFirst().second; }
    /// Enters a number after all others of that weight.
    void push(double weight, std::uint32_t number) { later.push({Rank{radixCode(weight), nextTurn++}, weight, number}); }
    /// Enters a number at the place where it would have been from the start; does nothing when the queue is past that place.
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
    Rank farthest{0, 0};  // the highest rank removed so far: entries of the start with lower ranks have all been removed
};

}  // namespace TARN_KEL
