#pragma once

#include <cstddef>
#include <cstdint>

#include "HashIndex.h"

namespace TARN_KEL {

/// What EdgeIndex keeps with each vertex: the edges of which it is the lower end.
struct EdgeStar {
    std::uint32_t first = HashIndex::NONE;  ///< the first listed edge
    std::uint16_t numListed = 0;
    bool bBeyond = false;  ///< the hash table has, or had, further edges of this vertex
};

/// Finds the edge between two vertices. Both meshes use it.
///
/// Every edge belongs to its lower vertex. A vertex lists its first 16 edges; further ones are in a hash table. On a surface
/// a vertex is the lower one of three edges on average. These were created one after the other and lie together in memory,
/// so a look-up is a short walk through memory in the cache, where a hash table alone would cause a cache miss each time.
/// Since the list is bounded, a look-up takes O(1) at a hub of a million edges too. Memory: 4 bytes per edge for a link, 8
/// bytes per vertex.
///
/// Edges are named by dense 32-bit numbers. Links and ends are stored with the elements, so the caller passes a pair of
/// vertices that gives access to them:
///     EdgeStar& star() const;                         // of the lower vertex
///     std::uint32_t& next(std::uint32_t edge) const;  // the link kept with an edge
///     bool matches(std::uint32_t edge) const;         // the edge has these two ends
///     std::uint64_t hash() const;                     // of the two ends
/// Remove an edge under the pair under which it was entered, before its ends change. Looking up changes nothing and may run
/// on several threads.
class EdgeIndex {
public:
    static constexpr std::uint32_t NONE = HashIndex::NONE;

    /// The edge of the pair; NONE when there is none.
    template <typename Pair>
    std::uint32_t find(const Pair& pair) const {
        const EdgeStar& star = pair.star();
        for (std::uint32_t edge = star.first; edge != NONE; edge = pair.next(edge))
            if (pair.matches(edge)) return edge;
        return star.bBeyond ? beyondList.find(pair.hash(), matching(pair)) : NONE;
    }

    /// The part of insert() that concerns the lower vertex alone, so that several threads may enter edges of different lower
    /// vertices at once. Returns false, with nothing changed, when the vertex has its list full and insert() is to be
    /// called. Edges that are entered by this must be counted by countListed().
    template <typename Pair>
    static bool list(const Pair& pair, std::uint32_t edge) {
        EdgeStar& star = pair.star();
        if (star.numListed >= MAX_LISTED) return false;
        pair.next(edge) = star.first;
        star.first = edge;
        ++star.numListed;
        return true;
    }
    void countListed(std::size_t numEdges) { numEntries += numEdges; }
    /// Enters an edge. It must not be in the index under any pair, and the pair must not have an edge yet.
    template <typename Pair>
    void insert(const Pair& pair, std::uint32_t edge) {
        if (!list(pair, edge)) {
            beyondList.insert(pair.hash(), edge);
            pair.star().bBeyond = true;
        }
        ++numEntries;
    }

    /// Removes the edge of the pair. It may be entered again, under this pair or another one.
    /// Returns the edge; NONE when there is none.
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
    /// Forgets all edges. The caller must reset the stars.
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
