// What the smoothing of the fine and of the coarse mesh have in common: the neighbours of each vertex that may move, found
// once, and their means, taken anew in each round.
//
// A pair stands for "the vertex depends on the neighbour". Pairs are sorted, so the neighbours of a vertex stand together
// and are added up in the order of their addresses: in meshes that keep their vertices in pools, the order of creation,
// which makes the sums the same in every run.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "kel.h"
#include "sortMT.h"

namespace TARN_KEL {

/// A vertex and one of its neighbours.
using NeighbourPair = std::pair<Point3*, Point3*>;

/// The sorted pairs of these edges: an edge with ends a, b gives (a, b) unless a is pinned, and (b, a) unless b is.
/// endsOf(edge): a NeighbourPair. countStep: called once for each edge.
template <typename Edge, typename EndsOf, typename IsPinned, typename CountStep>
std::vector<NeighbourPair> neighbourPairs(const std::vector<Edge*>& vEdge, EndsOf&& endsOf, IsPinned&& isPinned,
                                          CountStep&& countStep) {
    std::vector<NeighbourPair> vPairs;
    vPairs.reserve(2 * vEdge.size());
    for (const Edge* pEdge : vEdge) {
        const auto [a, b] = endsOf(*pEdge);
        if (!isPinned(a)) vPairs.emplace_back(a, b);
        if (!isPinned(b)) vPairs.emplace_back(b, a);
        countStep();
    }
    sortMT(vPairs.begin(), vPairs.end());
    return vPairs;
}

/// Puts into vMoves each vertex of the sorted pairs with the mean of its neighbours. countStep: called once for each pair.
template <typename CountStep>
void computeMeans(const std::vector<NeighbourPair>& vPairs, std::vector<std::pair<Point3*, Point3>>& vMoves,
                  CountStep&& countStep) {
    vMoves.clear();
    for (std::size_t i = 0; i < vPairs.size();) {
        Point3* const pVtx = vPairs[i].first;
        const std::size_t begin = i;
        Vector3 sum;
        for (; i < vPairs.size() && vPairs[i].first == pVtx; ++i) {
            sum += *vPairs[i].second - Point3();
            countStep();
        }
        vMoves.emplace_back(pVtx, Point3() + sum / static_cast<double>(i - begin));
    }
}

}  // namespace TARN_KEL
