#pragma once

#include <cstddef>
#include <cstdint>

#include "HashIndex.h"
#include "SimplePool.h"

namespace TARN_KEL {

/// Finds the edge of two vertices, all of them named by dense 32-bit numbers.
///
/// Every edge belongs to its lower vertex, which lists its first few edges; what a hub has beyond these is in a hash table.
/// In a surface a vertex is the lower one of three edges on average, made one after the other and lying together, so a
/// look-up is a short walk through memory at hand where a hash table alone would go to a far place each time. The list's
/// bound keeps it O(1) at a hub of a million edges too. 4 bytes an edge and 8 a vertex.
///
/// The ends of an edge aren't kept here: the caller brings a test "is edge i the one?". Looking up changes nothing and may
/// run on several threads.
class EdgeIndex {
public:
    static constexpr std::uint32_t NONE = HashIndex::NONE;

    EdgeIndex() {
        poolStar.init(3, -1);
        poolNext.init(3, -1);
    }

    /// Knows one vertex more; it gets the next number.
    void addVertex() { *poolStar.nextElement() = {NONE, 0}; }
    /// Enters the next edge, which takes the next number; there must be no edge of the pair yet.
    void addEdge(std::uint32_t lower, std::uint32_t higher) {
        std::uint32_t* pNext = poolNext.nextElement();
        const auto edge = static_cast<std::uint32_t>(poolNext.indexOf(pNext));
        Star& star = *poolStar.at(lower);
        *pNext = NONE;
        if (star.numEdges++ < MAX_LISTED) {
            *pNext = star.first;
            star.first = edge;
        } else {
            beyondList.insert(hashOf(lower, higher), edge);
        }
        ++numEntries;
    }
    /// The edge that isEqual(edge) accepts, else NONE.
    template <typename IsEqual>
    std::uint32_t find(std::uint32_t lower, std::uint32_t higher, IsEqual&& isEqual) const {
        const Star& star = *poolStar.at(lower);
        for (std::uint32_t edge = star.first; edge != NONE; edge = *poolNext.at(edge))
            if (isEqual(edge)) return edge;
        return star.numEdges <= MAX_LISTED ? NONE : beyondList.find(hashOf(lower, higher), isEqual);
    }

    /// The number of edges that can be found.
    std::size_t size() const { return numEntries; }

private:
    static constexpr std::uint32_t MAX_LISTED = 16;

    struct Star {
        std::uint32_t first;     ///< of the list
        std::uint32_t numEdges;  ///< ever entered, in the list and beyond
    };

    static std::uint64_t hashOf(std::uint32_t lower, std::uint32_t higher) {
        return mixHash(std::uint64_t{lower} << 32 | higher);
    }

    TARN_TOOLS::SimplePool<Star> poolStar;
    TARN_TOOLS::SimplePool<std::uint32_t> poolNext;  // behind each edge the next one of the list
    HashIndex beyondList;
    std::size_t numEntries = 0;
};

}  // namespace TARN_KEL
