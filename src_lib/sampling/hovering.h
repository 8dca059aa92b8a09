// Nodes that hover over a sheet: strays too near to it to be alone.
#pragma once

#include <vector>

#include "kel.h"
#include "sampleNodes.h"

namespace TARN_KEL {

/// The nodes that hover, ascending: what is within four cells is one flat sheet, the node is off that by .8 cells or more,
/// and by more than its noise explains, with nodes of the sheet below it. Tips, wires and thin walls don't hover: they have
/// others off the sheet beside them, in a row, or at most three cells away at the same height. What is so sparse over a
/// sheet that it has none of these counts as stray.
///
/// O(n), about a microsecond per node; uses the pool. Progress: step "SC_hover".
std::vector<NodeId> hoveringNodes(const SampleNodes& nodes);

}  // namespace TARN_KEL
