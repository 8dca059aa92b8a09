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
#include "kel.h"

namespace TARN_KEL {

class CMesh;
class Chain;
class Segment3;
class Visualizer3;

/// Closes one hole of a coarse mesh by volume: the surface round the hole gives a signed distance field on a dense box of
/// lattice points, the field grows across the gap, and the cells where its sign changes are the missing ones.
///
/// A Hole is three values and the operations that lead from one to the next: the region of the mesh round the hole
/// (HoleRegion), a box of lattice points, which is the cell range of the chain and 7 cells more on each side (Box), and the
/// field on it (Field). What works on one of them alone is declared there.
///
/// run() ends the process. A caller who wants the result takes its steps: makeField(), then getZeroCbs() for the cells, or
/// grow() or createCMesh() for triangles. The steps of makeField() need each other's results in the order in which they are
/// listed. No public function reaches this class.
///
/// Only refers to the mesh and the chain, which must outlive it. The mesh must not change before the field is made. Failed
/// conditions throw KelBugException. Works on the calling thread but for sorting and createCMesh(), which use the pool.
class Hole : public HoleRegion, public Field {
public:
    using VCCDPoint = std::vector<std::pair<CCD, Point3>>;
    using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

    /// pChain: closed; of border edges, and inner ones where it was closed over them. The work is left to the operations.
    Hole(CMesh* pCMesh, Chain* pChain);
    Hole(const Hole&) = delete;
    Hole& operator=(const Hole&) = delete;

    int getLabel() const { return label; }
    /// The label and the number of edges on standard output.
    void print() const;

    /// makeField() and getZeroCbs(); the process ends, with exit status 0. vCCD2Zero stays as it is.
    [[noreturn]] void run(std::vector<std::pair<VCD, Point3>>& vCCD2Zero);

    // ---- Region and first values

    /// All steps from setRanges() to inflate(), with ringFactor (at least 1, an assertion) times the numGrowSteps that
    /// setRanges() finds. As many as those only just meet in the middle of a gap. Where that is wider than some 20 cells
    /// they leave lattice points free near the surface: the sheet of new cells leaks there, and the thinning eats it up from
    /// the leak. Twice as many held in flat scans with gaps of up to 120 cells, and make the membrane over a curved one
    /// flatter.
    void makeField(int ringFactor = 1);
    /// Takes the edges of the chain and measures its cells: ranges, box and numGrowSteps. A chain without edges and a box
    /// with more points than an int can count are assertions.
    void setRanges();
    /// vT: what a walk over edges with two triangles reaches from the chain without leaving the box. sRimVCD: where the
    /// walk ended, the chain included. O(n log n).
    void determineTriangles();
    /// sBoundaryT and sUnrelT. A crease is an edge at which normals differ by more than 10 degrees.
    void setBoundaryAndUnrelT();
    /// Makes the matrix, seeds it by the planes of vT and carries the seeds on to free lattice points next to them.
    void initializeFirstRow();
    /// A step of it: seeds the lattice points round which the triangle stands with their distances to its plane. The
    /// smallest distance and the first weight stay. Points outside the box are skipped.
    void initializeFirstRow_T(CTriangle* pCT);
    /// A step of it: carries values along the lattice edges at the outside of the cells of vT, to points without a value. A
    /// point that would get both signs stays free.
    void completeInitCbs();

    // ---- With the field made: inflate() and its steps are those of Field

    /// Does nothing.
    void extractStrategy() {}
    /// The cells where the field changes its sign, those of vT left out, thinned by the removal test next to the cells of
    /// vT; ascending, each with the mean of the zeros on its edges. Empty where the sign doesn't change. O(n log n).
    VCCDPoint getZeroCbs();

    // ---- Cells to triangles

    /// The new cells, sorted, and their points in the same order; cells that triangles stand on are left out. Adds the third
    /// corners of diagonal chain edges to vCCD.
    void extractAndCleanHole(VCCD& vHoleCCDs, VCCDPoint& vCCDPoints);
    /// Adds the new cells to the mesh and makes the triangles over them and the chain. What stood in the mesh stays, and no
    /// triangle is made twice. Along the chain gaps of mostly three edges may be left, and edges of three triangles: a cube
    /// sees the cells of the chain, none behind it. The new triangles aren't oriented. A cell with the last coordinate of
    /// the grid is an assertion, which leaves the mesh as it was. O(n log n).
    void grow();
    /// The configuration of the dual cube of that key: bits in the order of Calc::completeArraySym. A cell that isn't one of
    /// its eight is an assertion. No cells give 0.
    int getConfig(VCD key, VCCD& vCells);
    /// Makes the two triangles of each flat cube in the mesh, on the diagonal that suits what is there. Records of eight:
    /// the cells of both triangles, key, configuration.
    void solveAmbiguousT(VCCD& vAmbiguousT);
    /// Whether a code is in both lists, which may hold repeats.
    bool shareAnEntry(VCCD a, VCCD b);
    /// Appends the triangles that n steps over vertices reach from the chain, then sorts the whole of vOut, each once.
    void getNTriangleRows(int n, std::vector<CTriangle*>& vOut);
    /// A mesh of its own from these points and one row of triangles round the hole, repaired and oriented: the caller's and
    /// self-contained, it outlives this mesh. On the grid of this mesh, which must hold the points with some cells to spare.
    /// Null when no cell is left; without triangles where the repair has taken a tiny piece for a ragged one. Opens a run
    /// unless one is open on the thread.
    CMesh* createCMesh(VCCDPoint& vCCD2Point);

    // ---- The mesh in the box; more on addresses in Box

    /// Each corner lies inside the box and not on its sides.
    bool inRange(const CTriangle* pCT) const;
    /// Coordinates inside the box. Beyond its high sides is an assertion, below its low ones they are negative.
    void getNormedIntFromVCD(VCD vcd, int& x, int& y, int& z) const;
    /// -1, after a line, outside the box.
    int getAddressFromVCD(VCD vcd) const;

    // ---- Drawings for debugging: an assertion when these aren't let through

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

private:
    VRCDPoint noteZeros();
    void drawZeros(const std::vector<Segment3>& vSeg, const std::vector<Point3>& vNegative,
                   const std::vector<Point3>& vPositive) const;
    void drawNotes(const VRCDPoint& vNotes) const;
    void writeBySign(Visualizer3& visualizer, const std::vector<int>& vAddresses) const;
    void thinSheet(VCCD& vExisting, VCCD& vHoleCCDs);
};

}  // namespace TARN_KEL
