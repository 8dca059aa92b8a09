// Filling the hole inside a closed chain: ears are cut in a small mesh of its surroundings, the border mesh, where turning
// triangles and trying out costs nothing; what comes out is made in the mesh itself.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Chain.h"
#include "Loop.h"

namespace TARN_KEL {

/// Enters the edges with one triangle under both their ends.
void enterBorder(const CMesh* pCMesh, EdgesByEnd& mmVCD2CE);

/// A copy of the triangles with a corner on the chain, on the same bundles. vBorderCE: its edges of the chain, in the order
/// of the chain, are appended. Null when the chain has an edge without a triangle. An open chain is an assertion, and so is
/// a corner without a bundle.
std::unique_ptr<CMesh> copyBorder(const Chain& chain, Calc* pCalc, std::vector<CEdge*>& vBorderCE);

/// The border that these edges make; edges beside it are an assertion.
std::unique_ptr<Loop> makeLoop(CMesh* pCMesh, Calc* pCalc, const std::vector<CEdge*>& vCE, LoopReach reach = LR_COMPONENT);

/// Cuts ears inside a closed chain (assertion) that is a good hole, and makes them in the chain's mesh. The loop goes to
/// vLoops, the new triangles are appended to vFilledT. True when there are any. False also when the chain has an edge
/// without a triangle, which mending a twist of another chain may have taken.
bool fillChain(const Chain& chain, Calc* pCalc, std::vector<Loop*>& vLoops, std::vector<CTriangle*>& vFilledT);

/// For debugging: draws the loops into a file, each in another colour.
void showLoops(const std::vector<Loop*>& vLoops, const Calc* pCalc, const std::string& filename);

}  // namespace TARN_KEL
