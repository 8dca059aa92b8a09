#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "CTriangle.h"
#include "Calc.h"
#include "Casx.h"
#include "kel.h"

namespace TARN_KEL {

class CEdge;
class CMesh;
class Chain;
class Segment3;
class Visualizer3;

/// The value of a lattice point that has none: the largest float.
constexpr float FLT_UNDEF = 3.40282346638528859811704183484516925e+38F;
// Weights of seeded values. They are compared exactly: an entry with one of them is fixed.
constexpr float WEIGHT_REL = 1.002F;    ///< by a triangle on smooth surface
constexpr float WEIGHT_REL_LOW = 0.3F;  ///< by a triangle at a crease or without a normal

/// A lattice point of the field.
struct MatrixEntry {
    float val = FLT_UNDEF;  ///< signed distance to the surface, in the cloud's unit; negative behind the triangles
    float weight = 1.0F;    ///< confidence of the value in averages, and the mark of seeded entries
};

/// Lattice points by address.
class Matrix {
public:
    Matrix() = default;
    explicit Matrix(int size) : pEntries(std::make_unique<MatrixEntry[]>(static_cast<std::size_t>(size))) {}
    MatrixEntry& operator[](int address) { return pEntries[static_cast<std::size_t>(address)]; }
    const MatrixEntry& operator[](int address) const { return pEntries[static_cast<std::size_t>(address)]; }

private:
    std::unique_ptr<MatrixEntry[]> pEntries;
};

/// Closes one hole of a coarse mesh by volume: the surface round the hole gives a signed distance field on a dense box of
/// lattice points, the field grows across the gap, and the cells where its sign changes are the missing ones.
///
/// The box is the cell range of the hole's chain and 7 cells more on each side. An address is an index into the matrix:
/// x + y * rgx + z * rgxy, with x, y, z counted from the low corner of the box. A lattice point is named by the code of the
/// cell of which it is the low corner.
///
/// run() ends the process. A caller who wants the result takes its steps: makeField(), then getZeroCbs() for the cells, or
/// grow() or createCMesh() for triangles. The steps of makeField() lean on each other in the order in which they are listed.
///
/// Only refers to the mesh and the chain, which must outlive it. The mesh must not change before the field is made. Failed
/// conditions throw KelBugException. One thread but for sorting. The box takes 8 bytes a point, whatever there is in it.
class Hole {
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

    // ---- Field growth

    /// numGrowSteps rings, each smoothed, then a long smoothing. vAddr becomes sorted, each address once.
    void inflate();
    /// One ring: gives a value to each free neighbour of the points of vAddrIn whose value isn't 0 and wasn't seeded
    /// at a crease. A new point is a cell edge farther off than the nearest of those that reach it; of equal ones
    /// the first in vAddrIn decides. Appends the new addresses to vAddr and, ascending, to vNextAddr, which must come in
    /// empty (assertion). step isn't used. O(n log n).
    void inflateOneStep(int step, std::vector<int>& vAddrIn, std::vector<int>& vNextAddr);
    /// Sorts the list and makes each of its points that isn't fixed the mean of itself and its neighbours with a value, in
    /// rounds that work from the round before (Jacobi). bUseWeights: means by weight; else plain ones, after which their
    /// weights are 1. A mean of 0 becomes the smallest normal float, so that every point that isn't fixed has a sign.
    void lowPassFor(std::vector<int>& vAddr, int numIter, bool bUseWeights);
    /// Does nothing.
    void extractStrategy() {}
    /// The cells where the field changes its sign, those of vT left out, thinned by the removal test next to the cells of
    /// vT; ascending, each with the mean of the zeros on its edges. Empty where the sign doesn't change. O(n log n).
    VCCDPoint getZeroCbs();
    /// Appends the cells round the lattice edge from a, which has the coordinates x, y, z in the box, one step along the
    /// axis (0, 1, 2 for x, y, z) to b: a, lower on the first other axis, on the second, on both. Lower cells that would
    /// have the coordinate 0 on that axis are left out.
    void getCbsAroundEdge(RCD a, RCD b, int x, int y, int z, int axis, VRCD& vOut) const;

    // ---- Cells to triangles, with the field made

    /// The new cells, sorted, and their points in the same order; cells that triangles stand on are left out. Adds the third
    /// corners of diagonal chain edges to vCCD.
    void extractAndCleanHole(VCCD& vHoleCCDs, VCCDPoint& vCCDPoints);
    /// Adds the new cells to the mesh and makes the triangles over them and the chain. What stood in the mesh stays, and no
    /// triangle is made twice. Along the chain gaps of mostly three edges may be left, and edges of three triangles: a cube
    /// sees the cells of the chain, none behind it. The new triangles aren't oriented. O(n log n).
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

    // ---- Addresses

    /// Each corner lies inside the box and not on its sides.
    bool inRange(const CTriangle* pCT) const;
    /// Inside the box, its sides included; else it prints a line.
    bool isValidRCD(RCD rcd) const;
    /// Coordinates inside the box. Beyond its high sides is an assertion, below its low ones they are negative.
    void getNormedIntFromVCD(VCD vcd, int& x, int& y, int& z) const;
    // Outside the box is an assertion, and so is an address that isn't one of the matrix.
    int getAddress(int x, int y, int z) const;
    int getAddress(RCD rcd) const;
    /// -1, after a line, outside the box.
    int getAddressFromVCD(VCD vcd) const;
    RCD addressToRCD(int address) const;

    // ---- Steps of initializeFirstRow()

    /// Seeds the lattice points round which the triangle stands with their distances to its plane. The smallest distance
    /// and the first weight stay. Points outside the box are skipped.
    void initializeFirstRow_T(CTriangle* pCT);
    /// Carries values along the lattice edges at the outside of the cells of vT, to points without a value. A point that
    /// would get both signs stays free.
    void completeInitCbs();

    // ---- For debugging

    /// Prints, and all values at addresses in use must be numbers (assertion).
    void checkIntegrity(const std::string& text) const;
    // Drawings: an assertion when drawings for debugging aren't let through.
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
    std::string name;            ///< prefix of debug files
    CMesh* pCMesh;               ///< not owned
    Calc* pCalc;                 ///< the mesh's
    Chain* pChain;               ///< not owned
    std::vector<CEdge*> vCE;     ///< of the chain
    std::vector<CTriangle*> vT;  ///< the triangles that take part, ascending by pointer
    // The cells of the chain, and the same extended: the box. Grid coordinates, ends included.
    unsigned long long xLow = 0, yLow = 0, zLow = 0, xHigh = 0, yHigh = 0, zHigh = 0;
    unsigned long long xLowExt = 0, yLowExt = 0, zLowExt = 0, xHighExt = 0, yHighExt = 0, zHighExt = 0;
    int rgx = 0, rgy = 0, rgz = 0;    ///< points along each axis
    int rgxy = 0;                     ///< points of a layer
    int numGrowSteps = 0;             ///< rings
    Matrix pArray;                    ///< x runs fastest, then y, then z
    int arrSiz = 0;                   ///< its entries
    float sideLen;                    ///< cell edge
    std::set<CTriangle*> sBoundaryT;  ///< at the chain's vertices
    std::set<CTriangle*> sUnrelT;     ///< of these and their neighbours: at a crease, or without a normal
    std::set<VCD> sRimVCD;            ///< corners of the triangles at the rim of the region
    std::vector<int> vAddr;           ///< the addresses with a value, but for carried ones, in order until inflate()
    Casx casx;
    VCCD vCCD;  ///< codes of the chain, sorted, each once

private:
    /// Coordinates inside the box, and outside as well.
    using BoxPoint = std::array<int, 3>;
    /// A lattice edge on which the field changes its sign: from its lower end, the source, one step along the axis.
    struct Crossing {
        int source;  // address
        int axis;    // 0, 1, 2 for x, y, z
        float srcVal, trgVal;
        Point3 src, trg, zero;  // the ends, and where the value is 0 between them
    };

    void takeChain();
    void sizeMatrix();
    BoxPoint toBox(VCD vcd) const;
    BoxPoint toBox(int address) const;
    bool isInBox(const BoxPoint& p) const;
    void seed(int address, double distance, bool bReliable);
    std::vector<std::pair<int, int>> outerEdges() const;
    void writeBySign(Visualizer3& visualizer, const std::vector<int>& vAddresses) const;
    VCCD cornersOfRegion() const;

    void liftZeros();
    std::vector<Crossing> findCrossings() const;
    void addCrossing(int source, int axis, std::vector<Crossing>& vCrossing) const;
    int upperEnd(int source, int axis) const;
    VRCD cellsAround(const Crossing& crossing) const;
    VCCDPoint meansOfCells(VRCDPoint vNotes) const;
    void addThirdCorners(VCCD& vCells) const;
    VRCDPoint noteZeros();
    void drawZeros(const std::vector<Segment3>& vSeg, const std::vector<Point3>& vNegative,
                   const std::vector<Point3>& vPositive) const;
    void drawNotes(const VRCDPoint& vNotes) const;
    void thinSheet(VCCD& vExisting, VCCD& vHoleCCDs);
};

// ---- Helpers of the seeding

/// The keys of the dual cubes that hold all three corners: at most two. Returns how many; a holds the first, b the second.
int getGeneratingVCDs(Calc* pCalc, CTriangle* pCT, VCD& a, VCD& b);
/// The lattice points on both sides of the one key of a triangle: a step against and along its normal on the grid.
void singleToDualGenerators(Calc* pCalc, CTriangle* pCT, VCD gen, VCD& a, VCD& b);
/// Appends (min, max) unless one is negative.
void pushAddress(int a, int b, std::vector<std::pair<int, int>>& v);

}  // namespace TARN_KEL
