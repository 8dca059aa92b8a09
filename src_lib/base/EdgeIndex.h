#pragma once

#include <cstddef>
#include <cstdint>

#include "HashIndex.h"

namespace TARN_KEL {

/// What EdgeIndex keeps with each vertex: the edges of which it is the lower end.
struct EdgeStar {
    std::uint32_t first = HashIndex::NONE;  ///< of the listed ones
    std::uint16_t numListed = 0;
    bool bBeyond = false;  ///< there are or were more than the list takes
};

/// Finds the edge of two vertices; both meshes keep their edges by it.
///
/// Every edge belongs to its lower vertex, which lists its first few edges; what a hub has beyond these is in a hash table.
/// In a surface a vertex is the lower one of three edges on average, made one after the other and lying together, so a
/// look-up is a short walk through memory at hand where a hash table alone would go to a far place each time. The list's
/// bound keeps it O(1) at a hub of a million edges too. A link of 4 bytes an edge and 8 bytes a vertex.
///
/// Edges are named by dense 32-bit numbers. Links and ends live with the elements, so the caller brings a pair of vertices
/// that knows where:
///     EdgeStar& star() const;                         // of the lower vertex
///     std::uint32_t& next(std::uint32_t edge) const;  // the link kept with an edge
///     bool matches(std::uint32_t edge) const;         // the edge has these two ends
///     std::uint64_t hash() const;                     // of the two ends
/// An edge is taken out under the pair under which it was entered, before its ends are changed. Looking up changes nothing
/// and may run on several threads.
class EdgeIndex {
public:
    static constexpr std::uint32_t NONE = HashIndex::NONE;

    /// The edge of the pair, else NONE.
    template <typename Pair>
    std::uint32_t find(const Pair& pair) const {
        const EdgeStar& star = pair.star();
        for (std::uint32_t edge = star.first; edge != NONE; edge = pair.next(edge))
            if (pair.matches(edge)) return edge;
        return star.bBeyond ? beyondList.find(pair.hash(), matching(pair)) : NONE;
    }

    /// Enters an edge that isn't in under any pair; there must be none of this pair yet.
    template <typename Pair>
    void insert(const Pair& pair, std::uint32_t edge) {
        EdgeStar& star = pair.star();
        if (star.numListed < MAX_LISTED) {
            pair.next(edge) = star.first;
            star.first = edge;
            ++star.numListed;
        } else {
            beyondList.insert(pair.hash(), edge);
            star.bBeyond = true;
        }
        ++numEntries;
    }

    /// Takes the edge of the pair out and returns it, else NONE. It may be entered again, under this pair or another one.
    template <typename Pair>
    std::uint32_t erase(const Pair& pair) {
        EdgeStar& star = pair.star();
        for (std::uint32_t* pLink = &star.first; *pLink != NONE; pLink = &pair.next(*pLink)) {
            const std::uint32_t edge = *pLink;
            if (!pair.matches(edge)) continue;
            *pLink = pair.next(edge);
            --star.numListed;
            --numEntries;
            return edge;
        }
        const std::uint32_t edge = star.bBeyond ? beyondList.find(pair.hash(), matching(pair)) : NONE;
        if (edge == NONE) return NONE;
        beyondList.erase(pair.hash(), edge);
        --numEntries;
        return edge;
    }

    /// The number of edges that can be found.
    std::size_t size() const { return numEntries; }
    /// Forgets all edges; the stars are the caller's to start anew.
    void clear() { *this = EdgeIndex(); }

private:
    static constexpr std::uint16_t MAX_LISTED = 16;

    template <typename Pair>
    static auto matching(const Pair& pair) {
        return [&pair](std::uint32_t edge) { return pair.matches(edge); };
    }

    HashIndex beyondList;
    std::size_t numEntries = 0;
};

}  // namespace TARN_KEL
