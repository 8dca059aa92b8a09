#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class CTriangle;

/// Gives the order of the triangles on an edge in a turn around it, from a table.
///
/// The corners of an extracted triangle are cells at most one step apart, so up to a shift there are few edges and few third
/// corners. All of them are put in order once; a look-up then gives the place of a triangle around its edge without touching
/// a coordinate. The turn is right-handed about the edge in the direction that it has in the triangle of reference, so the
/// next triangle in the turn is the first one on the side to which the normal of that triangle points.
///
/// The table doesn't depend on the mesh. Building it takes a fraction of a millisecond.
class Rotx {
public:
    /// pCMesh: not owned.
    /// bDev: build the table; without it sortStar() and getIdx() throw (assertion).
    Rotx(CMesh* pCMesh, bool bDev);

    /// Sorts pCE->vCT: pRefCT, then the others in the order of the turn.
    /// pRefCT: must be alive and on the edge (assertion).
    /// Returns false, and prints a line, when two triangles lie in the same direction; these are in order of creation.
    /// Throws (assertion) when corners are more than a step apart. Cost: O(n log n) for n triangles on the edge.
    bool sortStar(CTriangle* pRefCT, CEdge* pCE);
    /// Returns the position of t in the turn about the direction from r0 to r1, counted from 0. Cells in the same direction
    /// have the same position. Cost: a look-up in a map.
    /// Throws (assertion) unless r0 and r1 are different cells of {1, 2} cubed and t is a neighbour of both.
    int getIdx(RCD r0, RCD r1, RCD t) const;

    // ---- Steps of building the table

    /// Replaces vThird by the cells that touch both r0 and r1, ascending.
    /// Throws (assertion) when the two share no corner.
    void createThirdRCDs(RCD r0, RCD r1, VRCD& vThird) const;
    /// Replaces vSorted by the cells of vThird with their angles in degrees, from 0 to below 360, ascending. The first cell
    /// of vThird has the angle 0.
    void sortThirdRCDs(RCD r0, RCD r1, const VRCD& vThird, std::vector<std::pair<double, RCD>>& vSorted) const;
    /// Replaces vRCC by the 8 corners of a cell, ascending.
    static void getSortedRCDCorners(RCD rcd, VRCC& vRCC);

    CMesh* pCMesh;  ///< not owned
    bool bDev;
    Calc* pCalc;                                       ///< of the mesh, not owned
    std::set<std::pair<RCD, RCD>> sEdges;              ///< all ordered pairs of different cells of {1, 2} cubed
    std::map<unsigned long long, int> mEncoded2Index;  ///< r0, r1 and t packed into one key, to the place

private:
    void createTable();
    int placeOf(const CTriangle& ct, VCD a, VCD b) const;
};

}  // namespace TARN_KEL
