// Passes that tidy the ragged borders of an extracted mesh. They kill triangles; only foldEar() may create some.
#pragma once

#include <vector>

namespace TARN_KEL {

class CEdge;
class CMesh;

/// Kills the border triangles whose two other edges are MEs. Returns the border edges of the others, in key order.
std::vector<CEdge*> killHangersGetBorder(CMesh& mesh);

/// Folds an ear, a triangle with two border edges whose third edge is an ME: the other triangles on the ME are split at its
/// tip (CEdge::trySplitNeigsKillT), and the ear is killed. Where they can't be split it is only killed, and so is a triangle
/// with three border edges. Other triangles are left alone, and so is an edge that doesn't have exactly one triangle.
void foldEar(CMesh& mesh, CEdge* pBorderCE);
/// The same for each of these edges in turn.
void foldEars(CMesh& mesh, const std::vector<CEdge*>& vBorderCE);

/// Kills patches of at most maxNumT triangles that have a long border for their size. Uses the marks on triangles.
/// Cost: O(n log n) for n border edges, and at most maxNumT triangles for each.
void killTinyPatches(CMesh& mesh, int maxNumT);

}  // namespace TARN_KEL
