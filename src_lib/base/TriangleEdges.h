#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "sortMT.h"

namespace TARN_KEL {

/// Three corners, as numbers of vertices; or its edges 01, 12, 02, as numbers of edges.
using NumberTriple = std::array<std::uint32_t, 3>;

/// The ends of an edge: low < high.
struct EdgeEnds {
    std::uint32_t low, high;
};

/// The corners behind the edges 01, 12, 02 of a triangle.
inline EdgeEnds endsOfEdge(const NumberTriple& corners, std::size_t k) {
    const std::uint32_t a = corners[k == 1 ? 1 : 0], b = corners[k == 0 ? 1 : 2];
    return {std::min(a, b), std::max(a, b)};
}

/// Shares the vertices of a list of triangles out among the workers: what is done at a vertex is done by one of them, in the
/// order of the triangles.
///
/// A worker doesn't look at all triangles. The list is cut into stretches, of which it is known between which numbers their
/// corners are; where triangles and vertices are numbered along the surface, a stretch concerns one or two shares.
class VertexShares {
public:
    /// vTriangle: must outlive this object. numVertices: above all corners. Cost: O(n).
    VertexShares(std::size_t numVertices, const std::vector<NumberTriple>& vTriangle);

    /// The vertices from begin on, before end.
    struct Share {
        std::uint32_t begin, end;
        bool has(std::uint32_t vertex) const { return begin <= vertex && vertex < end; }
    };
    const std::vector<Share>& getShares() const { return vShare; }
    /// visit(number) for the triangles that have a corner in the share, and for others, in their order.
    template <typename Visit>
    void forEachTriangleOf(const Share& share, const Visit& visit) const {
        for (std::size_t i = 0; i < vReach.size(); ++i) {
            if (vReach[i].high < share.begin || vReach[i].low >= share.end) continue;
            const std::size_t end = std::min((i + 1) * STRETCH, vTriangle.size());
            for (std::size_t t = i * STRETCH; t < end; ++t)
                visit(t);
        }
    }
    /// work(number of a share) for each share, on the workers.
    template <typename Work>
    void forShares_MT(const Work& work) const {
        forChunks_MT(vShare.size(), [&work](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                work(i);
        });
    }

private:
    static constexpr std::size_t STRETCH = 1024;

    const std::vector<NumberTriple>& vTriangle;
    std::vector<EdgeEnds> vReach;  // by stretch: its lowest and its highest corner
    std::vector<Share> vShare;
};

/// The edges of many triangles, found all at once and on all workers, where a table would be asked for one after the other.
///
/// The three edges of each triangle are entered at their lower ends. What a vertex has gets sorted by the higher ends, so
/// that the entries of an edge follow each other. The first of them, in the order of the triangles, numbers the edge.
struct TriangleEdges {
    /// shares: of the triangles, whose corners are three different vertices. Cost: O(n), and O(k log k) for a vertex of k
    /// edges.
    TriangleEdges(const VertexShares& shares, const std::vector<NumberTriple>& vTriangle);

    std::vector<EdgeEnds> vEdge;  ///< as triangle after triangle names them: edges 01, 12, 02 of the first one, ...
    std::vector<NumberTriple> vOfTriangle;  ///< the edges 01, 12, 02 of each triangle
    std::vector<std::uint32_t> vInOrder;    ///< all edges by ascending ends
    std::vector<char> vRepeated;            ///< 1 for a triangle whose corners an earlier one has, else 0
};

}  // namespace TARN_KEL
