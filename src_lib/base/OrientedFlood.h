#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "FloodTable.h"
#include "flood.h"
#include "sortMT.h"

namespace TARN_KEL {

/// Floods over the triangles of a mesh, across edges of two triangles, that turn each to agree with the one through which it
/// was reached first. Both meshes use it.
///
/// Which neighbours disagree is found beforehand, like the neighbours themselves. Whether two agree later on follows from
/// which of them the flood turned. The triangles don't change before apply().
template <typename Triangle>
class OrientedFlood {
public:
    /// Dead triangles and those marked visited aren't entered. The pool must outlive this object. Cost: O(n).
    explicit OrientedFlood(const TARN_TOOLS::SimplePool<Triangle>& pool) : table(pool, neighbourOf) {}
    std::vector<Triangle*> elements(const std::vector<std::uint32_t>& vNumber) const { return table.elements(vNumber); }
    bool isTaken(const Triangle* pT) const { return table.has(table.numberOf(pT), Table::TAKEN); }

    /// Takes what can be reached from a triangle, breadth first.
    /// bRaggedLast: triangles that lack a neighbour wait until nothing else is left.
    /// onVisit: onVisit() is called for each; it may throw.
    /// Returns their numbers in the order of the visits.
    template <typename OnVisit>
    std::vector<std::uint32_t> takeAllFrom(const Triangle* pStart, bool bRaggedLast, const OnVisit& onVisit);
    /// Turns those of the triangles that the flood turned, marks all visited and gives them to the patch, which may be null.
    template <typename Patch>
    void apply(const std::vector<std::uint32_t>& vNumber, Patch* pPatch) const;

private:
    using Table = FloodTable<Triangle>;
    static constexpr unsigned DISAGREES = 1;  // and the next two bits: with the neighbour across that edge
    static constexpr unsigned TURNED = 8;

    static const Triangle* neighbourOf(const Triangle* pT, int i, unsigned& bits) {
        const Triangle* const pNext = edgeOpposite(*pT, i)->getUniqueOtherTriangle(pT);
        if (pNext != nullptr && pT->needFlip(pNext)) bits |= DISAGREES << i;
        return pNext;
    }
    bool isRagged(std::uint32_t number) const {
        return table.next(number, 0) == Table::NONE || table.next(number, 1) == Table::NONE ||
               table.next(number, 2) == Table::NONE;
    }
    /// Takes the neighbours of a triangle and offers them in the order of its edges.
    template <typename Offer>
    void offerNext(std::uint32_t number, const Offer& offer) {
        constexpr std::array<std::array<std::size_t, 3>, 2> ORDER = {{{0, 1, 2}, {1, 0, 2}}};  // turning swaps two corners
        const bool bTurned = table.has(number, TURNED);
        for (const std::size_t i : ORDER[bTurned ? 1 : 0]) {
            const std::uint32_t next = table.next(number, i);
            if (next == Table::NONE || table.has(next, Table::TAKEN)) continue;
            table.set(next, table.has(number, DISAGREES << i) != bTurned ? Table::TAKEN | TURNED : Table::TAKEN);
            offer(next);
        }
    }

    Table table;
};

template <typename Triangle>
template <typename OnVisit>
std::vector<std::uint32_t> OrientedFlood<Triangle>::takeAllFrom(const Triangle* pStart, bool bRaggedLast,
                                                                const OnVisit& onVisit) {
    std::vector<std::uint32_t> vReached, vWaiting{table.numberOf(pStart)};
    table.set(vWaiting[0], Table::TAKEN);
    const auto forEachNext = [&](std::uint32_t number, const auto& offer) {
        onVisit();
        offerNext(number, offer);
    };
    const auto claim = [&](std::uint32_t number) {
        if (!bRaggedLast || !isRagged(number)) return true;
        vWaiting.push_back(number);
        return false;
    };
    for (std::size_t numVisited = 0; !vWaiting.empty(); numVisited = vReached.size()) {
        vReached.insert(vReached.end(), vWaiting.begin(), vWaiting.end());
        vWaiting.clear();
        floodInOrder(vReached, forEachNext, claim, numVisited);
    }
    return vReached;
}

template <typename Triangle>
template <typename Patch>
void OrientedFlood<Triangle>::apply(const std::vector<std::uint32_t>& vNumber, Patch* pPatch) const {
    const auto applyTo = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Triangle* const pT = table.at(vNumber[i]);
            if (table.has(vNumber[i], TURNED)) pT->flipNNV();
            pT->bVisited = true;
            pT->setPatch(pPatch);
        }
    };
    forChunks_MT(vNumber.size(), applyTo, WORTH_A_TASK);
}

}  // namespace TARN_KEL
