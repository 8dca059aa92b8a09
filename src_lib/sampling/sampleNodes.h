// The nodes of even sampling: the mean points of the occupied cells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Calc.h"
#include "LocalFrame.h"
#include "kel.h"

namespace TARN_KEL {

/// Position of a node in the list of all.
using NodeId = std::uint32_t;
constexpr NodeId NO_NODE = ~NodeId{0};

/// The occupied cells, by ascending packed code, and the mean point of each, in cells.
struct SampleNodes {
    VRCD vCell;
    std::vector<Vector3> vPlace;

    std::size_t size() const { return vCell.size(); }
};

/// The nodes whose flag is as asked, ascending.
template <typename Flag>
std::vector<NodeId> nodesWhere(const std::vector<Flag>& vFlag, bool bSet = true) {
    std::vector<NodeId> vNode;
    for (std::size_t i = 0; i < vFlag.size(); ++i)
        if ((vFlag[i] != 0) == bSet) vNode.push_back(static_cast<NodeId>(i));
    return vNode;
}

/// The points of a cell are added up in the order of their coordinates, so the order of the input leaves no trace. All
/// points are finite and lie on the grid; fewer than 2^32 of them. The unit of the frame is the edge of a cell. O(n log n);
/// uses the pool. Progress: step "SC_nodes".
SampleNodes makeSampleNodes(const std::vector<Point3>& vPoints, const Calc& grid, const LocalFrame& frame);

}  // namespace TARN_KEL
