// Short edges collapsed, by the geometry at the vertices, beside the repair: no public function of the library reaches it.
// Every corner must have a bundle. The topology must be sound: no two triangles on the same corners.
#pragma once

#include <map>

#include "kel.h"

namespace TARN_KEL {

class CEdge;
class CMesh;

/// What simplifyCoarse() tries on an edge: a collapse to its midpoint and, if that fails, onto one of its ends; or only one
/// of the two.
enum SimplifyMode { SM_MID_THEN_SINGLE = 0, SM_SINGLE = 1, SM_MID = 2 };

/// Makes the mesh smoother: flips, collapses of short edges, flips.
void simplifyAndFlip(CMesh& mesh);

/// Collapses edges shorter than maxLen, the shortest first, where no normal around turns by more than 5 degrees. Vertices of
/// border edges aren't moved. Prints the number of collapses.
/// passNo: the number of the pass, from 0.
/// maxLen: in the cloud's unit; DBL_MAX for edges of any length.
/// Returns whether another pass is worth it: after more than 10 collapses, in pass 0 after any. Cost: O(n log n).
bool simplifyCoarse(CMesh& mesh, int passNo, double maxLen, SimplifyMode mode);

/// Collapses the edge onto one of its ends.
/// iKill: 0 removes v0, 1 removes v1.
/// prioq: gets the edges at the remaining end whose squared length is below maxSq, with that squared length as key.
/// Returns false, with nothing changed, when a normal would turn by more than 5 degrees or a duplicate would arise.
/// Throws (assertion) for another iKill, and for an end without triangles.
bool collapseOntoEnd(CMesh& mesh, CEdge* pCE, int iKill, double maxSq, std::multimap<double, CEdge*>& prioq);

/// The same to the middle of the edge, which is M. Duplicates may arise (see CMesh::killDups).
bool collapseToMiddle(CMesh& mesh, CEdge* pCE, const Point3& M, double maxSq, std::multimap<double, CEdge*>& prioq);

/// Collapses all edges shorter than a third of a cell edge to their midpoints, however much normals turn.
void collapseSmallEdges(CMesh& mesh);

}  // namespace TARN_KEL
