#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "RMesh.h"
#include "radixSort.h"
#include "runs.h"
#include "sortMT.h"

namespace TARN_KEL {

/// A collapse that waits for its turn. Small, because a reduction keeps several for each edge.
struct Waiting {
    double penalty;
    std::uint32_t collapse;      ///< twice the number of the edge, and iDir; a mesh has fewer than 2^31 edges
    std::uint32_t numCollapses;  ///< how many collapses of the run were done when the penalty was computed
};

/// A queue of collapses by ascending penalty; of equal ones the one that was entered first. Penalties are finite.
///
/// Collapses are mostly entered in large lots, few of them one by one. So the queue is a short list of sorted lots, with a
/// heap for what was entered one by one since the last lot. Nearly every removal is then a step along an array.
class CandidateQueue {
public:
    bool empty() const { return numEntries == 0; }
    std::size_t size() const { return numEntries; }
    /// The lowest penalty; there must be one.
    double firstPenalty() const { return first().penalty; }

    Waiting pop() {
        const Waiting candidate = first();
        --numEntries;
        pComingUp = nullptr;
        if (pFirstLot != nullptr) {
            ++pFirstLot->next;
            pComingUp = pFirstLot->comingUp();
            if (!pFirstLot->empty() && pFirstLot->head().penalty < secondPenalty) return candidate;
        } else {
            std::pop_heap(vHeap.begin(), vHeap.end(), isLater);
            vHeap.pop_back();
        }
        findFirst();
        return candidate;
    }
    /// An entry that will be popped some 32 pops from now or later, for prefetching; null when none is known. Valid until
    /// the next change.
    const Waiting* comingUp() const { return pComingUp; }
    /// O(log n).
    void push(const Waiting& candidate) {
        ++numEntries;
        vHeap.push_back({candidate, numPushed++});
        std::push_heap(vHeap.begin(), vHeap.end(), isLater);
        findFirst();
    }
    /// Same as push(toWaiting(candidate)) for each candidate in turn. Amortised O(log n) per candidate.
    template <typename ToWaiting>
    void pushAll(const std::vector<RECandidate>& vCandidates, const ToWaiting& toWaiting) {
        numEntries += vCandidates.size();
        std::erase_if(vLot, [](const Lot& lot) { return lot.empty(); });
        addLot(takeHeap());
        addLot(sorted(vCandidates, toWaiting));
        findFirst();
    }

private:
    struct Lot {
        std::vector<Waiting> vSorted;
        std::size_t next = 0;  // the entries before were popped

        bool empty() const { return next == vSorted.size(); }
        std::size_t size() const { return vSorted.size() - next; }
        const Waiting& head() const { return vSorted[next]; }
        auto begin() const { return vSorted.begin() + static_cast<std::ptrdiff_t>(next); }
        auto end() const { return vSorted.end(); }
        const Waiting* comingUp() const { return size() > AHEAD ? &vSorted[next + AHEAD] : nullptr; }
    };
    struct Single {
        Waiting candidate;
        std::size_t number;
    };
    static bool isLater(const Single& a, const Single& b) {
        return std::pair(b.candidate.penalty, b.number) < std::pair(a.candidate.penalty, a.number);
    }
    static bool isCheaper(const Waiting& a, const Waiting& b) { return a.penalty < b.penalty; }

    const Waiting& first() const { return pFirstLot != nullptr ? pFirstLot->head() : vHeap.front().candidate; }
    /// Sets pFirstLot and secondPenalty. There are about log n lots.
    void findFirst() {
        constexpr double NONE = std::numeric_limits<double>::infinity();
        pFirstLot = nullptr;
        secondPenalty = NONE;
        double firstPenalty = NONE;
        for (Lot& lot : vLot) {
            if (lot.empty()) continue;
            const double penalty = lot.head().penalty;
            if (penalty < firstPenalty) {
                secondPenalty = std::exchange(firstPenalty, penalty);
                pFirstLot = &lot;
            } else {
                secondPenalty = std::min(secondPenalty, penalty);
            }
        }
        if (vHeap.empty()) return;
        const double penalty = vHeap.front().candidate.penalty;
        secondPenalty = std::min(secondPenalty, penalty);
        if (penalty < firstPenalty) pFirstLot = nullptr;  // on a tie the lot wins: the heap is younger than all lots
    }
    /// Stable. The upper half of a penalty tells nearly all candidates apart. So keys of this half and the position are
    /// sorted, in half as many passes over a third of the memory; runs with the same upper half are sorted afterwards.
    template <typename ToWaiting>
    static std::vector<Waiting> sorted(const std::vector<RECandidate>& vCandidates, const ToWaiting& toWaiting) {
        std::vector<std::uint64_t> vKey(vCandidates.size());
        for (std::size_t i = 0; i < vKey.size(); ++i)
            vKey[i] = (radixCode(vCandidates[i].penalty) & UPPER_HALF) | i;
        radixSortOnThreads(
            vKey.data(), vKey.size(), [](std::uint64_t key) { return key & UPPER_HALF; }, numProcessors());

        std::vector<Waiting> vSorted;
        transform_MT(vKey, vSorted, [&](std::uint64_t key) { return toWaiting(vCandidates[key & ~UPPER_HALF]); });
        const auto upperHalf = [](std::uint64_t key) { return key & UPPER_HALF; };
        forEachRun(vKey.begin(), vKey.end(), upperHalf, [&](auto it, auto itEnd) {
            if (itEnd - it > 1)
                std::stable_sort(vSorted.begin() + (it - vKey.begin()), vSorted.begin() + (itEnd - vKey.begin()), isCheaper);
        });
        return vSorted;
    }
    /// Empties the heap and returns what was in it, in order.
    std::vector<Waiting> takeHeap() {
        std::sort_heap(vHeap.begin(), vHeap.end(), isLater);
        std::vector<Waiting> vSorted(vHeap.size());
        std::transform(vHeap.rbegin(), vHeap.rend(), vSorted.begin(), [](const Single& s) { return s.candidate; });
        vHeap.clear();
        return vSorted;
    }
    /// Appends a lot and merges it with the lots before it until the one before is more than twice as large. So there are
    /// few lots, and merging is cheap on average.
    void addLot(std::vector<Waiting>&& vSorted) {
        if (vSorted.empty()) return;
        vLot.push_back({std::move(vSorted)});
        while (vLot.size() > 1 && vLot[vLot.size() - 2].size() <= 2 * vLot.back().size()) {
            const Lot younger = std::move(vLot.back());
            vLot.pop_back();
            const Lot& older = vLot.back();
            Lot merged{std::vector<Waiting>(older.size() + younger.size())};
            std::merge(older.begin(), older.end(), younger.begin(), younger.end(), merged.vSorted.begin(), isCheaper);
            vLot.back() = std::move(merged);
        }
    }

    static constexpr std::size_t AHEAD = 32;  // of comingUp: enough time for a dozen fetches in turn
    static constexpr std::uint64_t UPPER_HALF = 0xffffffff00000000U;

    std::vector<Lot> vLot;      // the oldest first
    std::vector<Single> vHeap;  // the next one to pop at the front
    std::size_t numPushed = 0;
    std::size_t numEntries = 0;
    Lot* pFirstLot = nullptr;    // the oldest lot with the lowest head; null: the heap has a lower one, or all is empty
    double secondPenalty = 0.0;  // the lowest of the other heads: as long as its head is below, pFirstLot stays the first
    const Waiting* pComingUp = nullptr;
};

}  // namespace TARN_KEL
