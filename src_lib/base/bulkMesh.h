// What both meshes do alike when they get many triangles at once: elements are written down in places that are known, and
// linked by shares of the vertices, so that workers can do it side by side.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "EdgeIndex.h"
#include "Incidence.h"
#include "TriangleEdges.h"
#include "sortMT.h"

namespace TARN_KEL {

/// func(i) for 0 .. num-1, on all workers.
template <typename Func>
void forNumbers_MT(std::size_t num, const Func& func) {
    forChunks_MT(
        num,
        [&func](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                func(i);
        },
        WORTH_A_TASK);
}

/// Enters all triangles of a mesh, in their order, in the lists of their vertices and edges.
/// access: to the links of vertices and corners, for Incidence.
/// listOf: listOf(triangle, k) gives the list of its edge 01, 12 or 02; elementOf: elementOf(triangle) what to enter there.
template <typename Access, typename ListOf, typename ElementOf>
void linkTriangles_MT(std::size_t numVertices, const std::vector<NumberTriple>& vCorner, const Access& access,
                      const ListOf& listOf, const ElementOf& elementOf) {
    const VertexShares shares(numVertices, vCorner);
    shares.forShares_MT([&](std::size_t i) {
        const VertexShares::Share& share = shares.getShares()[i];
        Access ownAccess = access;
        shares.forEachTriangleOf(share, [&](std::size_t t) {
            for (std::size_t k = 0; k < 3; ++k) {
                if (share.has(vCorner[t][k]))
                    Incidence::append(ownAccess, vCorner[t][k], static_cast<std::uint32_t>(3 * t + k));
                if (share.has(endsOfEdge(vCorner[t], k).low)) listOf(t, k).push_back(elementOf(t));
            }
        });
    });
}

/// Enters all edges of a mesh in its index, at their lower vertices; those of hubs, which are few, one by one.
/// pairOf: pairOf(edge) gives the ends, for EdgeIndex.
template <typename PairOf>
void enterEdges_MT(const TriangleEdges& edges, EdgeIndex& index, const PairOf& pairOf) {
    const std::vector<std::uint32_t>& vInOrder = edges.vInOrder;
    const auto lowerEnd = [&](std::size_t i) { return edges.vEdge[vInOrder[i]].low; };
    const auto isBefore = [&edges](std::uint32_t low, std::uint32_t edge) { return low < edges.vEdge[edge].low; };
    const auto atNextVertex = [&](std::size_t i) {  // a hub may have most edges
        if (i == 0 || i >= vInOrder.size()) return i;
        const auto it = vInOrder.begin() + static_cast<std::ptrdiff_t>(i);
        return static_cast<std::size_t>(std::upper_bound(it, vInOrder.end(), lowerEnd(i - 1), isBefore) - vInOrder.begin());
    };
    std::vector<char> vLeft(vInOrder.size(), 0);
    const auto enterChunk = [&](std::size_t begin, std::size_t end) {
        const std::size_t endOfLast = atNextVertex(end);
        for (std::size_t i = atNextVertex(begin); i < endOfLast; ++i)
            vLeft[i] = EdgeIndex::list(pairOf(vInOrder[i]), vInOrder[i]) ? 0 : 1;
    };
    forChunks_MT(vInOrder.size(), enterChunk, WORTH_A_TASK);
    std::size_t numListed = vInOrder.size();
    for (std::size_t i = 0; i < vInOrder.size(); ++i) {
        if (vLeft[i] == 0) continue;
        index.insert(pairOf(vInOrder[i]), vInOrder[i]);
        --numListed;
    }
    index.countListed(numListed);
}

}  // namespace TARN_KEL
