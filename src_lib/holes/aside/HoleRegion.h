// The surface round a hole. No public function reaches it: it belongs to Hole.
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

/// The chain round a hole and the triangles of the surface that take part in closing it. Only refers to their mesh.
struct HoleRegion {
    std::vector<CEdge*> vCE;     ///< of the chain
    VCCD vCCD;                   ///< codes of the chain, sorted, each once
    std::vector<CTriangle*> vT;  ///< the triangles that take part, ascending by pointer
    // The cells of the chain. Grid coordinates, ends included.
    unsigned long long xLow = 0, yLow = 0, zLow = 0, xHigh = 0, yHigh = 0, zHigh = 0;
    std::set<CTriangle*> sBoundaryT;  ///< at the chain's vertices
    std::set<CTriangle*> sUnrelT;     ///< of these and their neighbours: at a crease, or without a normal
    std::set<VCD> sRimVCD;            ///< corners of the triangles at the rim of the region
};

/// The codes of both ends of these edges, sorted, each once. No edge at all is an assertion.
VCCD endsOf(const std::vector<CEdge*>& vCE);
/// The coordinates of these cells along x, y, z.
std::array<CoordinateRange, 3> rangesOf(const VCCD& vCCD, const Calc& calc);

/// Whether each corner lies inside the box and not on its sides.
bool isInside(const Box& box, const Calc& calc, const CTriangle& triangle);
/// What a walk over edges with two triangles reaches from these edges without leaving the box; ascending by pointer.
/// O(n log n).
std::vector<CTriangle*> trianglesInside(const Box& box, const Calc& calc, const std::vector<CEdge*>& vCE);
/// The corners of all triangles on edges that only one triangle of the list has. O(n log n).
std::set<VCD> cornersAtRim(const std::vector<CTriangle*>& vT);
/// Those of the triangles, and of their neighbours, that have no normal or whose normals differ by more than 10 degrees
/// across an edge.
std::set<CTriangle*> creasedAmong(const std::set<CTriangle*>& sT, const CMesh& mesh);

/// The corners of alive triangles, sorted, each once.
VCCD cornersOf(const std::vector<CTriangle*>& vT, const CMesh& mesh);
/// The third corners of triangles on those edges that run through the inside of a dual cube. A chain that was closed over an
/// inner edge has two there.
VCCD thirdCorners(const std::vector<CEdge*>& vCE, const Calc& calc);

}  // namespace TARN_KEL
