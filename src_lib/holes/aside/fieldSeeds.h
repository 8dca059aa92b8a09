// The first values of a hole's field, from the triangles around it. No public function reaches them: they belong to Hole.
//
// A triangle belongs to the dual cubes around one or two lattice points. If there are two, one lies on either side of it.
// One alone lies in it or next to it; then the points one step along its normal on the grid, to both sides, are taken as
// well. Each of these points gets its distance to the plane of the triangle. A corner of an old cell that gets no value this
// way takes over the value of the next corner, so that the cells of the surface have values all round:
//
//      +1.2  +1.0  +0.9    0                  the surface, -----, between two layers of lattice points
//      ---------------- chain      gap
//      -0.1  -0.2  -0.3
//
// Triangles at the chain that meet at a crease are trusted less: what they seed is fixed as well, but doesn't spread.
#pragma once

#include <utility>
#include <vector>

#include "CTriangle.h"
#include "Field.h"

namespace TARN_KEL {

class CMesh;

/// Finds the dual cubes that have all three corners among their cells: at most two.
/// a, b: set to the first and the second key, as far as there are any.
/// Returns how many there are.
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
/// The lattice points around the triangle, as told above; empty for a triangle without a plane or without a dual cube.
std::vector<PlaneDistance> distancesToPlane(CTriangle* pCT, const CMesh& mesh, Calc* pCalc);
/// Seeds those of these points that lie in the field's box.
void seedByPlane(CTriangle* pCT, const CMesh& mesh, Calc* pCalc, bool bReliable, Field& field);

/// The lattice edges inside the box, as pairs of addresses, that belong to only one of these cells. Prints how many there
/// are. Cost: O(n log n).
std::vector<std::pair<int, int>> outerEdges(const VCCD& vCells, const Box& box, const Calc& calc);
/// Carries values along these edges to points without a value. A point that would get both signs is left free. The new
/// addresses aren't added to the field's list.
void carryValues(const std::vector<std::pair<int, int>>& vEdges, Field& field);

}  // namespace TARN_KEL
