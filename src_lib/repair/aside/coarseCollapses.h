// Short edges collapsed, by the geometry at the vertices, beside the repair: no public function of the library reaches it.
// Every corner must have a bundle. The topology must be sound: no two triangles on the same corners.
#pragma once

#include <map>

#include "kel.h"

namespace TARN_KEL {

class CEdge;
class CMesh;

/// What simplifyCoarse() tries on an edge: to collapse it to its midpoint, or else onto one of its ends; one of these alone.
enum SimplifyMode { SM_MID_THEN_SINGLE = 0, SM_SINGLE = 1, SM_MID = 2 };

/// The whole recipe for a smoother mesh: flips, short edges collapsed, flips.
void simplifyAndFlip(CMesh& mesh);

/// Collapses edges shorter than maxLen, the shortest first, where no normal around turns by more than 5 degrees. Vertices of
/// border edges stay where they are. Prints how many.
/// passNo: the number of the pass, from 0.
/// maxLen: in the cloud's unit; DBL_MAX for edges of any length.
/// Returns whether another pass is worth it: after more than 10 collapses, in pass 0 after any. Cost: O(n log n).
bool simplifyCoarse(CMesh& mesh, int passNo, double maxLen, SimplifyMode mode);

/// Collapses the edge onto one of its ends and enters the edges at the end that is left under their squared length where
/// that is below maxSq. iKill: 0 removes v0, 1 removes v1. Returns false, and changes nothing, when a normal would turn by
/// more than 5 degrees or triangles would be there twice. Throws (assertion) for another iKill and an end without triangles.
bool collapseOntoEnd(CMesh& mesh, CEdge* pCE, int iKill, double maxSq, std::multimap<double, CEdge*>& prioq);

/// The same to the middle of the edge, which is M. Triangles may be there twice afterwards (CMesh::killDups).
bool collapseToMiddle(CMesh& mesh, CEdge* pCE, const Point3& M, double maxSq, std::multimap<double, CEdge*>& prioq);

/// Collapses all edges shorter than a third of a cell edge to their midpoints, whatever turns.
void collapseSmallEdges(CMesh& mesh);

}  // namespace TARN_KEL
