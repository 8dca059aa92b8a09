#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "CEdge.h"

namespace TARN_KEL {

/// An ordered list of edges that are visited in rounds; each round visits the edges that are due, in this order.
///
/// All are due at first. An edge is due again when something has changed at one of its ends since its visit: in the same
/// round when its turn is still to come, else in the next one. Edges inserted before the visited one have their first turn
/// in the next round. The order is kept as places, numbers with gaps; when a gap is used up, all edges get new places.
class RoundList {
public:
    explicit RoundList(const std::vector<CEdge*>& vCE) {
        for (CEdge* pCE : vCE) {
            last = append(pCE, last);
            sDue.insert(last);
        }
    }
    RoundList(const RoundList&) = delete;  // the sets refer to it
    RoundList& operator=(const RoundList&) = delete;

    /// Starts the next visit and returns its edge; null when no edge is due any more.
    CEdge* next() {
        if (sDue.empty()) sDue.swap(sNextRound);
        if (sDue.empty()) return nullptr;
        current = *sDue.begin();
        sDue.erase(sDue.begin());
        return vEntry[current].pCE;
    }
    void insertBeforeVisited(CEdge* pCE) {
        const std::size_t added = append(pCE, vEntry[current].previous);
        vEntry[current].previous = added;
        const auto gap = [&] { return vEntry[current].place - placeBefore(added); };
        if (gap() < 2)
            spread();
        else
            vEntry[added].place = placeBefore(added) + gap() / 2;
        sNextRound.insert(added);
    }
    void changedAt(VCD vcd) {
        const auto it = mEntriesAt.find(vcd);
        if (it == mEntriesAt.end()) return;
        for (const std::size_t entry : it->second)
            if (entry != current) (isBefore(current, entry) ? sDue : sNextRound).insert(entry);
    }

private:
    static constexpr std::size_t NONE = ~std::size_t{0};
    static constexpr std::uint64_t GAP = std::uint64_t{1} << 32;

    struct Entry {
        CEdge* pCE;
        std::size_t previous;  // in the order; NONE for the first one
        std::uint64_t place;
    };
    struct ByPlace {
        const RoundList* pList;
        bool operator()(std::size_t a, std::size_t b) const { return pList->isBefore(a, b); }
    };

    bool isBefore(std::size_t a, std::size_t b) const { return vEntry[a].place < vEntry[b].place; }
    std::uint64_t placeBefore(std::size_t entry) const {
        return vEntry[entry].previous == NONE ? 0 : vEntry[vEntry[entry].previous].place;
    }
    std::size_t append(CEdge* pCE, std::size_t previous) {
        vEntry.push_back({pCE, previous, GAP * (vEntry.size() + 1)});
        mEntriesAt[pCE->v0].push_back(vEntry.size() - 1);
        mEntriesAt[pCE->v1].push_back(vEntry.size() - 1);
        return vEntry.size() - 1;
    }
    // Keeps the order, so that the sets stay as they are.
    void spread() {
        std::uint64_t place = GAP * (vEntry.size() + 1);
        for (std::size_t entry = last; entry != NONE; entry = vEntry[entry].previous)
            vEntry[entry].place = place -= GAP;
    }

    std::vector<Entry> vEntry;
    std::map<VCD, std::vector<std::size_t>> mEntriesAt;
    std::set<std::size_t, ByPlace> sDue{ByPlace{this}}, sNextRound{ByPlace{this}};
    std::size_t last = NONE;
    std::size_t current = NONE;
};

}  // namespace TARN_KEL
