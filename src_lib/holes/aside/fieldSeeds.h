// The first values of a hole's field, from the triangles round it. No public function reaches them: they belong to Hole.
//
// A triangle stands in the dual cubes round one or two lattice points. Two of them lie on either side of it; one alone lies
// in it or next to it, and the two points a step along the normal of the grid join in. Each of these points gets its
// distance to the plane of the triangle. Where no triangle lies round a corner of an old cell, the value of the next corner
// is carried on to it, so that the cells of the surface have values all round:
//
//      +1.2  +1.0  +0.9    0                  the surface, -----, between two layers of lattice points
//      ---------------- chain      gap
//      -0.1  -0.2  -0.3
//
// Triangles at the chain that meet at a crease are trusted less: what they seed is fixed, too, but doesn't spread.
#pragma once

#include <utility>
#include <vector>

#include "CTriangle.h"
#include "Field.h"

namespace TARN_KEL {

class CMesh;

/// The keys of the dual cubes that hold all three corners: at most two. Returns how many; a holds the first, b the second.
int getGeneratingVCDs(Calc* pCalc, CTriangle* pCT, VCD& a, VCD& b);
/// The lattice points on both sides of the one key of a triangle: a step against and along its normal on the grid.
void singleToDualGenerators(Calc* pCalc, CTriangle* pCT, VCD gen, VCD& a, VCD& b);
/// Appends (min, max) unless one is negative.
void pushAddress(int a, int b, std::vector<std::pair<int, int>>& v);

/// A lattice point beside a triangle, and its distance to the triangle's plane.
struct PlaneDistance {
    VCD vcd;
    double distance;
};
/// The lattice points round which the triangle stands; empty for a triangle without a plane.
std::vector<PlaneDistance> distancesToPlane(CTriangle* pCT, const CMesh& mesh, Calc* pCalc);

/// The lattice edges, as pairs of addresses, that only one of these cells has. Prints how many there are. O(n log n).
std::vector<std::pair<int, int>> outerEdges(const VCCD& vCells, const Box& box, const Calc& calc);
/// Carries values along these edges to points without a value. A point that would get both signs stays free. The new
/// addresses aren't entered in the field's list.
void carryValues(const std::vector<std::pair<int, int>>& vEdges, Field& field);

}  // namespace TARN_KEL
