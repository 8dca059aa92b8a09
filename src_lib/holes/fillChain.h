// Filling the hole inside a closed chain. Ears are cut in a small copy of its surroundings, the border mesh, where triangles
// may be turned and ears tried out; the result is then created in the mesh itself.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Chain.h"
#include "Loop.h"

namespace TARN_KEL {

/// Enters the edges with one triangle under both their ends.
void enterBorder(const CMesh* pCMesh, EdgesByEnd& mmVCD2CE);

/// Copies the triangles with a corner on the chain into a mesh of their own, on the same bundles.
/// vBorderCE: the edges of the copy that are on the chain are appended, in the order of the chain.
/// Returns null when the chain has an edge without a triangle.
/// Throws (assertion) for an open chain, and for a corner without a bundle.
std::unique_ptr<CMesh> copyBorder(const Chain& chain, Calc* pCalc, std::vector<CEdge*>& vBorderCE);

/// The loop along these edges. Throws (assertion) when it doesn't take all of them.
std::unique_ptr<Loop> makeLoop(CMesh* pCMesh, Calc* pCalc, const std::vector<CEdge*>& vCE, LoopReach reach = LR_COMPONENT);

/// Cuts ears inside a closed chain if it is a good hole, and creates them in the chain's mesh.
/// vLoops: the loop is appended; it belongs to the owner of the list.
/// vFilledT: the new triangles are appended.
/// Returns true when there are any. Returns false also when the chain has an edge without a triangle, as may happen when the
/// twist of another chain was taken out.
/// Throws (assertion) for an open chain.
bool fillChain(const Chain& chain, Calc* pCalc, std::vector<Loop*>& vLoops, std::vector<CTriangle*>& vFilledT);

/// For debugging: draws the loops into a file, each in another colour.
void showLoops(const std::vector<Loop*>& vLoops, const Calc* pCalc, const std::string& filename);

}  // namespace TARN_KEL
