#pragma once

#include <cstddef>

#include "NeighbourWalk.h"
#include "sampleNodes.h"

namespace TARN_KEL {

/// Nodes within RADIUS cells, of the blocks of cells around a node.
template <int RADIUS>
class Surroundings {
public:
    explicit Surroundings(const SampleNodes& nodes_) : nodes(nodes_), walk(nodes_.vCell) {}

    /// visit(offset from the node, number) for each other node near one. No node may come before the one of the call before.
    template <typename Visit>
    void forEach(NodeId node, Visit&& visit) {
        walk.visitBlock(nodes.vCell[node], [&](int, std::size_t i) {
            const Vector3 offset = nodes.vPlace[i] - nodes.vPlace[node];
            if (i != node && offset.sqLength() < RADIUS * RADIUS) visit(offset, static_cast<NodeId>(i));
        });
    }

private:
    const SampleNodes& nodes;
    NeighbourWalk<RCD, RADIUS> walk;
};

}  // namespace TARN_KEL
