#pragma once

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "Calc.h"
#include "FeatureMgr.h"
#include "Plane.h"
#include "codes.h"
#include "kel.h"

namespace TARN_KEL {

/// One triangle of a soup that spans a plane. Its corners are vertices: corners of equal coordinates are one pointer.
class Tri {
public:
    /// The corners must be ascending by address (assertion).
    Tri(Point3* p0, Point3* p1, Point3* p2);

    /// The unit normal, with its sign given by the edge from pA to pB: seen from the tip of the normal, the triangle lies to
    /// the left of the edge. So it doesn't depend on the orientation in the soup. Throws (assertion) when the two aren't an
    /// edge.
    Vector3 getNNV(Point3* pA, Point3* pB);

    Point3 *pVtx0, *pVtx1, *pVtx2;

private:
    Vector3 normal;  // of pVtx0, pVtx1, pVtx2; zero until first asked for
};

/// Turns a triangle soup into cells, with one point each, in such a way that sharp edges survive all later stages.
///
/// The point of a cell is the first one that claims it: first the ends of feature edges, which so keep their exact places,
/// then feature edges cell by cell, then other edges, then the insides of triangles. Feature edges are borders and folds of
/// more than the feature angle; they claim cells chain by chain, those of the sharpest chain first. Elsewhere the point of a
/// cell lies on a triangle's plane, as near as possible to the cell's midpoint.
///
/// Each point lies in its cell, and no cell has two. Insides are sampled by scan lines 0.577 cells apart, so a cell may be
/// missed if a triangle only cuts a sliver off it.
///
/// The order of the corners' addresses decides the direction of edges, so the same soup must always give the same order. All
/// else is independent of addresses, and of the number of processors.
class Pixel {
public:
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;
    using AngleEdge = FeatureMgr::AngleEdge;

    /// Triangles with a corner that isn't finite and those that span no plane are left out, with one warning that counts
    /// them.
    /// vTriangleCorners: three per triangle, not empty; equal corners are one pointer. Points and grid aren't owned and must
    /// outlive this object.
    /// Cost: O(n log n).
    Pixel(std::vector<Point3*>& vTriangleCorners, Calc* pCalc);
    Pixel(const Pixel&) = delete;
    Pixel& operator=(const Pixel&) = delete;

    /// Rasterises the soup.
    /// vOut: one point per cell is appended: those of edges in the order of claiming, then those of insides by ascending
    /// code.
    /// vFeatures, vBorders: the pairs of neighbouring cells along feature edges, and along those that are borders, are
    /// appended, lower code first; a pair may be there twice.
    /// featureAngle: in degrees; from 360 on only borders are features, from 9999 on nothing is.
    /// Cost: time and memory linear in the number of cells and triangles, and what sorting them takes.
    void pixelTriangles(std::vector<Point3>& vOut, std::vector<std::pair<CCD, CCD>>& vFeatures,
                        std::vector<std::pair<CCD, CCD>>& vBorders, double featureAngle);

    // ---- Its steps
    /// Creates triangles, behind those that are there, and sorts the table of all edges; triangles without a plane are
    /// dropped, with one warning.
    void linkEdge2T(std::vector<Point3*>& vTriangleCorners);
    /// Puts the triangles in breadth-first order over shared edges, piece by piece. Cost: O(n).
    void bfsSort();
    /// Appends the pixels of all edges, one per cell.
    void pixelAllEdges(double featureAngle, VRCDPoint& vPixels, std::vector<std::pair<CCD, CCD>>& vFeatures,
                       std::vector<std::pair<CCD, CCD>>& vBorders);
    /// Brings the feature edges, given in ascending order, into the order and direction of their chains (FeatureMgr).
    void reorderFeatureEdges(std::vector<AngleEdge>& vFeatureEdges);
    /// Appends the cells that a segment passes through, in order: the first with a, the last with b, those between with the
    /// middle of the part of the segment in them. None for a segment in one cell. Takes a few steps per cell for any two
    /// points on the grid.
    void rasterizeEdge(const Point3& a, const Point3& b, VRCDPoint& vEdgeRaster) const;
    /// Appends the pixels of the inside of a triangle, most cells several times. The corners must span a plane.
    void convertOneT(Point3* c0, Point3* c1, Point3* c2, VRCDPoint& vOut) const;
    /// One scan line of convertOneT, from a to b, both on the plane; the cell of a is left out at the start.
    void rasterizePlane(const Plane& plane, const Point3& a, const Point3& b, VRCDPoint& vOut) const;
    /// The mean of the points in which a plane cuts the edges of a cell. With fewer than three of them, or when a cut can't
    /// be computed, as may happen with the plane of a needle, it warns and sets bOK to false.
    Point3 getMidOfCutPlane(RCD rcd, const Plane& plane, bool& bOK) const;

    using EdgeTri = std::pair<std::pair<Point3*, Point3*>, Tri*>;

    Calc* pCalc;                     ///< not owned
    double spacingAbs;               ///< the edge of a cell
    std::vector<Tri*> vTri;          ///< breadth first over shared edges, piece by piece; owned
    std::vector<EdgeTri> vEdge2Tri;  ///< the three edges of each triangle, lower pointer first; sorted
    /// pixelAllEdges() counts the cells in which a plane's cut has no middle, and ends with one warning; else each of them
    /// has a warning of its own.
    bool bCountUncut = false;

private:
    class PixelSet;
    struct InsideBlock;
    struct FlatEdge {
        Point3 *p, *q;
        Plane plane;
    };

    /// A group is the entries of one edge, which follow each other in vEdge2Tri.
    using GroupsOfTri = std::array<std::size_t, 3>;  // of the edges opposite corners 0, 1, 2: where the group begins

    void sortEdgeTable();
    /// Counts the triangles in order of creation. One of another object fails an assertion.
    std::size_t numberOf(const Tri* pTri) const;
    std::size_t numCreated() const;
    std::vector<GroupsOfTri> findGroups() const;
    std::vector<Tri*> breadthFirst(const std::vector<GroupsOfTri>& vGroups) const;
    void sortOutEdges(double featureAngle, std::vector<AngleEdge>& vFeatureEdges, std::vector<FlatEdge>& vFlatEdges) const;
    void claimFeatureEnds(const std::vector<AngleEdge>& vFeatureEdges, PixelSet& pixelSet) const;
    void claimFeatureEdges(const std::vector<AngleEdge>& vFeatureEdges, PixelSet& pixelSet,
                           std::vector<std::pair<CCD, CCD>>& vFeatures, std::vector<std::pair<CCD, CCD>>& vBorders) const;
    void claimFlatEdges(const std::vector<FlatEdge>& vFlatEdges, PixelSet& pixelSet);
    void pixelAllInsides(VRCDPoint& vTriPixels) const;
    void cutBlocks(std::size_t begin, std::vector<InsideBlock>& vBlocks) const;
    Point3 placeOnPlane(Packed cell, const Plane& plane, const Point3& own);
    /// What a plane cuts out of a cell.
    struct Cut {
        Point3 mid;             // mean of the points in which the plane cuts edges of the cell; only with isOK()
        int numCuts = 0;        // those edges
        bool bAllMade = false;  // all cuts could be computed

        bool isOK() const { return bAllMade && numCuts >= 3; }
    };
    Cut cutCell(Packed cell, const Plane& plane) const;
    /// False for a point off the grid as well, as may happen with the plane of a needle.
    bool isIn(Packed cell, const Point3& p) const { return pCalc->isInCell(&p, pCalc->rcd2ccd(cell.code())); }

    std::size_t numUncut = 0;                 // counted for bCountUncut
    std::vector<std::vector<Tri>> vTriStore;  // one per call of linkEdge2T; none ever grows, so that pointers stay valid
};

}  // namespace TARN_KEL
