// The surface around a hole. No public function reaches it: it belongs to Hole.
#pragma once

#include <array>
#include <set>
#include <vector>

#include "Box.h"
#include "CTriangle.h"
#include "Calc.h"

namespace TARN_KEL {

class CEdge;
class CMesh;

/// The chain around a hole and the triangles of the surface that take part in closing it. Edges and triangles aren't owned.
struct HoleRegion {
    std::vector<CEdge*> vCE;     ///< of the chain
    VCCD vCCD;                   ///< codes of the chain, sorted, each once
    std::vector<CTriangle*> vT;  ///< the triangles that take part, ascending by pointer
    // The range of the chain's cells in coordinates of the grid, ends included.
    unsigned long long xLow = 0, yLow = 0, zLow = 0, xHigh = 0, yHigh = 0, zHigh = 0;
    std::set<CTriangle*> sBoundaryT;  ///< at the chain's vertices
    std::set<CTriangle*> sUnrelT;     ///< of these and their neighbours: at a crease, or without a normal
    std::set<VCD> sRimVCD;            ///< corners of all triangles at the boundary of vT
};

/// The codes of both ends of these edges, sorted, each once. Throws (assertion) without edges.
VCCD endsOf(const std::vector<CEdge*>& vCE);
/// The ranges of these cells' coordinates along x, y, z.
std::array<CoordinateRange, 3> rangesOf(const VCCD& vCCD, const Calc& calc);

/// Whether each corner lies inside the box and not on its sides.
bool isInside(const Box& box, const Calc& calc, const CTriangle& triangle);
/// The triangles on these edges, and those that a walk over edges with two triangles reaches from them without leaving the
/// box; ascending by pointer. Cost: O(n log n).
std::vector<CTriangle*> trianglesInside(const Box& box, const Calc& calc, const std::vector<CEdge*>& vCE);
/// The corners of all triangles on the boundary edges of the list, those with exactly one of its triangles. Cost: O(n log
/// n).
std::set<VCD> cornersAtRim(const std::vector<CTriangle*>& vT);
/// The triangles that have one of these corners.
std::set<CTriangle*> trianglesAt(const VCCD& vCorners, const CMesh& mesh);
/// Those of the triangles, and of their neighbours, that have no normal or whose normals differ by more than 10 degrees
/// across an edge.
std::set<CTriangle*> creasedAmong(const std::set<CTriangle*>& sT, const CMesh& mesh);

/// The corners of alive triangles, sorted, each once.
VCCD cornersOf(const std::vector<CTriangle*>& vT, const CMesh& mesh);
/// The corners of the region's triangles without those at the boundary, sorted.
VCCD innerCorners(const HoleRegion& region, const CMesh& mesh);
/// The third corners of triangles on those of the edges whose ends differ in all three coordinates. An inner edge, over
/// which a chain was closed, gives two.
VCCD thirdCorners(const std::vector<CEdge*>& vCE, const Calc& calc);

}  // namespace TARN_KEL
