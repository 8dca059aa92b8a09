// Nodes that hover over a sheet: strays too near to it to be alone.
#pragma once

#include <vector>

#include "kel.h"
#include "sampleNodes.h"

namespace TARN_KEL {

/// Whether a place hovers: what is around it is one sheet, the place is off that by more than its noise explains, with nodes
/// of the sheet below it and hardly another at its own height. So rims, folds, thin walls, tips and wires don't hover.
/// vAround: the offsets of the nodes around the place, in cells; reordered.
bool hoversOver(std::vector<Vector3>& vAround);

/// The nodes that hover over what is within four cells, ascending. O(n), about a microsecond per node; uses the pool.
/// Progress: step "SC_hover".
std::vector<NodeId> hoveringNodes(const SampleNodes& nodes);

}  // namespace TARN_KEL
