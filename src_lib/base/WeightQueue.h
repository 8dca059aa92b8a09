#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <queue>
#include <utility>
#include <vector>

#include "radixSort.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

/// A queue of numbers by weight, the smallest first, among equal weights the one with the earlier turn: the order of a
/// multimap.
///
/// Entries known at the start are sorted once and then only read; a heap has the later ones, 16 bytes each. Numbers that
/// can't matter yet may be left out at first: pushAsAtStart() enters one at the place where it would have been from the
/// start.
class WeightQueue {
public:
    /// vAtStart: pairs of weight and number, by ascending number; the number is also the turn.
    /// firstTurn: the turn of the first entry by push(); turns count up from there, to below 2^32.
    WeightQueue(std::vector<std::pair<double, std::uint32_t>> vAtStart, std::size_t firstTurn)
        : vStart(std::move(vAtStart)), nextTurn(firstTurn) {
        sortByFirstMT(vStart);
    }
    bool empty() const { return iStart == vStart.size() && later.empty(); }
    /// Removes the first entry and returns its weight and number.
    std::pair<double, std::uint32_t> takeFirst() {
        const Entry entry = takeEntry();
        return {doubleOfRadixCode(entry.weightCode), entry.number};
    }
    /// The same, but returns the number only.
    std::uint32_t pop() { return takeEntry().number; }
    /// Enters a number after all others of that weight.
    void push(double weight, std::uint32_t number) {
        ASSEX(nextTurn<MAX_TURN);
        later.push({radixCode(weight), static_cast<std::uint32_t>(nextTurn++), number});
    }
    /// Enters a number at the place where it would have been from the start; does nothing when the queue is past that place.
    void pushAsAtStart(double weight, std::uint32_t number) {
        const Entry entry{radixCode(weight), number, number};
        if (entry > farthest) later.push(entry);
    }
    /// The order of the weights.
    std::less<double> key_comp() const { return {}; }

private:
    static constexpr std::size_t MAX_TURN = ~std::uint32_t{0};

    /// A number at its place in the queue. 16 bytes: where much is pushed, the heap has most of a pass's memory traffic.
    struct Entry {
        std::uint64_t weightCode;  // in the order of the weights
        std::uint32_t turn;
        std::uint32_t number;

        bool operator>(const Entry& other) const {
            return weightCode != other.weightCode ? weightCode > other.weightCode : turn > other.turn;
        }
    };
    Entry atStart() const { return {radixCode(vStart[iStart].first), vStart[iStart].second, vStart[iStart].second}; }
    Entry takeEntry() {
        const bool bFromStart = later.empty() || (iStart < vStart.size() && later.top() > atStart());
        const Entry entry = bFromStart ? atStart() : later.top();
        if (bFromStart)
            ++iStart;
        else
            later.pop();
        if (entry > farthest) farthest = entry;
        return entry;
    }

    std::vector<std::pair<double, std::uint32_t>> vStart;
    std::size_t iStart = 0;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> later;
    std::size_t nextTurn;
    Entry farthest{0, 0, 0};  // of those removed so far: entries of the start before that place have all been removed
};

}  // namespace TARN_KEL
