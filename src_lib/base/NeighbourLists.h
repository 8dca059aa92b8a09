#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "kel.h"
#include "sortMT.h"

namespace TARN_KEL {

/// A vertex and its new place.
using VertexMove = std::pair<Point3*, Point3>;

/// What the smoothing of the fine and of the coarse mesh have in common: the neighbours of each vertex that may move, found
/// once, and their means, computed in each round.
///
/// All lists are in one vector, one after the other. The neighbours of a vertex are in the order of their addresses, so that
/// they are added up in the same order whatever the order of the edges; in meshes that keep their vertices in pools this is
/// the order of creation. A neighbour is listed once for each edge to it.
class NeighbourLists {
public:
    /// vVtx: the vertices, ascending by address.
    /// vPinned: by position in vVtx; a vertex whose entry isn't 0 gets no list.
    /// numbersOf: numbersOf(edge) gives the positions of its two ends in vVtx, as a pair.
    /// countStep: called once for each edge.
    /// Cost: O(n) when no vertex has a large part of the edges, else O(n log n).
    template <typename Edge, typename NumbersOf, typename CountStep>
    NeighbourLists(const std::vector<Edge*>& vEdge, std::vector<Point3*> vVtx, const std::vector<char>& vPinned,
                   NumbersOf&& numbersOf, CountStep&& countStep);

    /// The number of pairs of a vertex and a neighbour: twice the number of edges when nothing is pinned.
    std::size_t numPairs() const { return vNeighbour.size(); }
    /// The number of vertices with a list.
    std::size_t numLists() const { return vVtx.size(); }
    /// The number of neighbours in a list.
    std::size_t length(std::size_t list) const { return vBegin[list + 1] - vBegin[list]; }
    /// Replaces vMoves by every vertex with a list and the mean of its neighbours, ascending by address. Uses the pool.
    /// Cost: O(n).
    void computeMeans(std::vector<VertexMove>& vMoves) const;

private:
    void dropEmpty();

    std::vector<Point3*> vVtx;        // not owned
    std::vector<std::size_t> vBegin;  // where the list of each vertex begins in vNeighbour; one more at the end
    std::vector<Point3*> vNeighbour;  // not owned
};

template <typename Edge, typename NumbersOf, typename CountStep>
NeighbourLists::NeighbourLists(const std::vector<Edge*>& vEdge, std::vector<Point3*> vVertices,
                               const std::vector<char>& vPinned, NumbersOf&& numbersOf, CountStep&& countStep)
    : vVtx(std::move(vVertices)), vBegin(vVtx.size() + 1, 0) {
    for (const Edge* pEdge : vEdge) {
        const auto [a, b] = numbersOf(*pEdge);
        vBegin[a + 1] += vPinned[a] == 0;
        vBegin[b + 1] += vPinned[b] == 0;
    }
    for (std::size_t i = 1; i < vBegin.size(); ++i)
        vBegin[i] += vBegin[i - 1];

    vNeighbour.resize(vBegin.back());
    std::vector<std::size_t> vEnd(vBegin.begin(), vBegin.end() - 1);
    for (const Edge* pEdge : vEdge) {
        const auto [a, b] = numbersOf(*pEdge);
        if (vPinned[a] == 0) vNeighbour[vEnd[a]++] = vVtx[b];
        if (vPinned[b] == 0) vNeighbour[vEnd[b]++] = vVtx[a];
        countStep();
    }
    for (std::size_t i = 0; i < vVtx.size(); ++i)
        std::sort(vNeighbour.data() + vBegin[i], vNeighbour.data() + vBegin[i + 1]);
    dropEmpty();
}

inline void NeighbourLists::dropEmpty() {
    std::size_t numKept = 0;
    for (std::size_t i = 0; i < vVtx.size(); ++i) {
        if (vBegin[i] == vBegin[i + 1]) continue;
        vVtx[numKept] = vVtx[i];
        vBegin[numKept++] = vBegin[i];
    }
    vVtx.resize(numKept);
    vBegin[numKept] = vNeighbour.size();
    vBegin.resize(numKept + 1);
}

inline void NeighbourLists::computeMeans(std::vector<VertexMove>& vMoves) const {
    vMoves.resize(vVtx.size());
    forChunks_MT(vVtx.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            Vector3 sum;
            for (std::size_t k = vBegin[i]; k < vBegin[i + 1]; ++k)
                sum += *vNeighbour[k] - Point3();
            vMoves[i] = {vVtx[i], Point3() + sum / static_cast<double>(length(i))};
        }
    });
}

}  // namespace TARN_KEL
