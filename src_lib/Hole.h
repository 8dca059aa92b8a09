#pragma once

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "CTriangle.h"
#include "Calc.h"
#include "Casx.h"
#include "Field.h"
#include "HoleRegion.h"
#include "fieldSeeds.h"
#include "holeCells.h"
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class Chain;

/// Closes one hole of a coarse mesh by volume: the surface around the hole gives a signed distance field on a dense box of
/// lattice points, the field grows across the gap, and the cells where its sign changes are the missing ones.
///
/// A Hole consists of three values and the operations that lead from one to the next: the region of the mesh around the hole
/// (HoleRegion), a box of lattice points (Box), which is the cell range of the chain and 7 cells more on each side, and the
/// field on it (Field). Operations on one of them alone are declared there. The steps that need several of them are
/// functions of their own (fieldSeeds.h, fieldZeros.h, holeCells.h, holeTriangles.h), which the operations here call.
///
/// run() ends the process. A caller who wants the result calls its steps: makeField(), then getZeroCbs() for the cells, or
/// grow() or createCMesh() for triangles. The steps of makeField() need each other's results, in the order in which they are
/// listed. No public function reaches this class.
///
/// The mesh and the chain aren't owned and must outlive this object. The mesh must not change before the field is made.
/// Failed conditions throw KelBugException. Sorting and createCMesh() use the pool; all else runs on the calling thread.
class Hole : public HoleRegion, public Field {
public:
    using VCCDPoint = HoleCells;

    /// pChain: closed; of border edges, and of inner edges where it was closed over them. Computes nothing yet.
    Hole(CMesh* pCMesh, Chain* pChain);
    Hole(const Hole&) = delete;
    Hole& operator=(const Hole&) = delete;

    int getLabel() const { return label; }
    /// The label and the number of edges on standard output.
    void print() const;

    /// Calls makeField() and getZeroCbs(); then the process ends, with exit status 0. vCCD2Zero isn't changed.
    [[noreturn]] void run(std::vector<std::pair<VCD, Point3>>& vCCD2Zero);

    // ---- Region and first values

    /// All steps from setRanges() to inflate().
    /// ringFactor: multiplies the numGrowSteps that setRanges() finds; at least 1 (assertion). With 1 the rings only just
    /// meet in the middle of a gap. In gaps wider than some 20 cells lattice points near the surface are then left free: the
    /// sheet of new cells has holes there, from which the thinning removes all of it. A factor of 2 was enough in flat scans
    /// with gaps of up to 120 cells; over a curved gap it makes the membrane flatter.
    void makeField(int ringFactor = 1);
    /// Takes the edges of the chain and finds the ranges of its cells, the box and numGrowSteps. Throws (assertion) for a
    /// chain without edges, and for a box with more points than an int can count.
    void setRanges();
    /// Sets vT: the triangles that a walk over edges with two triangles reaches from the chain without leaving the box. Sets
    /// sRimVCD: the corners of all triangles at the boundary of vT, the chain included. Cost: O(n log n).
    void determineTriangles();
    /// Sets sBoundaryT and sUnrelT. A crease is an edge at which normals differ by more than 10 degrees.
    void setBoundaryAndUnrelT();
    /// Creates the matrix, seeds it by the planes of vT and carries the seeds on to free lattice points next to them.
    void initializeFirstRow();
    /// A step of it: seeds the lattice points around the triangle with their distances to its plane. Of several seeds at a
    /// point the smallest distance and the first weight count. Points outside the box are skipped.
    void initializeFirstRow_T(CTriangle* pCT);
    /// A step of it: carries values along the lattice edges at the outside of the cells of vT, to points without a value. A
    /// point that would get both signs is left free.
    void completeInitCbs();

    // ---- Once the field is made (inflate() and its steps are those of Field)

    /// Does nothing.
    void extractStrategy() {}
    /// The cells where the field changes its sign, thinned by thinBesideRegion(). Empty where the sign doesn't change.
    VCCDPoint getZeroCbs();

    // ---- Cells to triangles

    /// Finds the new cells by thinBetweenChain(). Adds the third corners of diagonal chain edges to vCCD.
    /// vHoleCCDs: replaced by the new cells, sorted.
    /// vCCDPoints: replaced by these cells with their points, in the same order.
    void extractAndCleanHole(VCCD& vHoleCCDs, VCCDPoint& vCCDPoints);
    /// Adds the new cells to the mesh and creates the triangles over them and the chain. Triangles of the mesh are kept, and
    /// none is created twice. Along the chain gaps of mostly three edges and edges of three triangles may be left, since
    /// dual cubes see the cells of the chain but none behind it. The new triangles aren't oriented.
    /// Throws (assertion), with the mesh unchanged, for a cell with the last coordinate of the grid. Cost: O(n log n).
    void grow();
    /// The configuration of the dual cube of that key: bits in the order of Calc::completeArraySym. 0 without cells. Throws
    /// (assertion) for a cell that isn't one of its eight.
    int getConfig(VCD key, VCCD& vCells);
    /// Creates the two triangles of each flat cube in the mesh, on the diagonal that suits what is there.
    /// vAmbiguousT: records of eight: the cells of both triangles, key, configuration.
    void solveAmbiguousT(VCCD& vAmbiguousT);
    /// Whether a code is in both lists, which may hold repeats.
    bool shareAnEntry(VCCD a, VCCD b);
    /// Appends the triangles within n steps over vertices from the chain, then sorts the whole of vOut, each triangle once.
    void getNTriangleRows(int n, std::vector<CTriangle*>& vOut);
    /// Reconstructs a mesh from these points and the vertices of one row of triangles around the hole, on the grid of this
    /// mesh, which must hold the points with some cells to spare. The mesh is repaired and oriented.
    /// Returns a self-contained mesh that belongs to the caller and may outlive this one. Null when no cell is left; without
    /// triangles when the repair has removed a tiny piece as ragged.
    CMesh* createCMesh(VCCDPoint& vCCD2Point);

    // ---- The mesh in the box; more on addresses in Box

    /// Each corner lies inside the box and not on its sides.
    bool inRange(const CTriangle* pCT) const;
    /// Coordinates inside the box; negative below its low sides. Throws (assertion) beyond its high sides.
    void getNormedIntFromVCD(VCD vcd, int& x, int& y, int& z) const;
    /// The address of a point of the box. Outside the box it prints a line and returns -1.
    int getAddressFromVCD(VCD vcd) const;

    // ---- Drawings for debugging. They throw (assertion) unless such drawings are enabled.

    /// The triangles that take part, those of the boundary and at creases apart, and the chain.
    void show(const std::string& filename, VisType visType) const;
    /// The lattice points with seeds, by sign, and the triangles.
    void showInit(const std::string& filename) const;
    /// All lattice points with a value, by sign; prints how many there are.
    void showArray(const std::string& filename) const;
    /// The lattice points of these cells that have a value, by sign.
    void showCornerVals(const std::string& filename, const VCCD& vCells) const;

    static std::atomic<int> seqNum;  ///< the next label; over all meshes of the process

    int label;
    std::string name;  ///< prefix of debug files
    CMesh* pCMesh;     ///< not owned
    Calc* pCalc;       ///< the mesh's
    Chain* pChain;     ///< not owned
    Casx casx;
};

}  // namespace TARN_KEL
