// The cubic grid of a run and the arithmetic on its two 64-bit cell codes.
//
// All surface extraction happens on one regular grid of 2^L cells along every axis. The library passes cells around by
// value, as codes in sorted vectors, in one of two layouts:
//
//     CCD  interleaved: bit k of x at bit 3k+2, of y at 3k+1, of z at 3k. Ascending order is the Morton order, which keeps
//          the neighbours of a cell near. The three bits of a level form a tribit xyz; level 0 (lowest) is the finest.
//     RCD  packed: x << 42 | y << 21 | z. In ascending order z runs fastest. A step along an axis is one addition.
//
// Bit 63 is never set. The same layouts name other things of the lattice: RCC is packed and means the low corner of the cell
// with that number; VCD is interleaved and means a cell that serves as a mesh vertex, or the dual cube around the low corner
// of that cell, which is the cube between the midpoints of the eight cells around the corner.
//
// In operations on interleaved codes an axis is named by its tribit, axTriBit: 4 for x, 2 for y, 1 for z, nothing else
// unless stated. These operations read only the levels below L and pass the bits above through. Steps on packed codes are
// plain additions without a check.
#pragma once

#include <array>
#include <iosfwd>
#include <string>
#include <vector>

#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

class CEdge;
class CTriangle;
class Visualizer3;

using CCD = unsigned long long;  ///< interleaved, a cell
using VCD = unsigned long long;  ///< interleaved, a cell as mesh vertex or as key of a dual cube
using RCD = unsigned long long;  ///< packed, a cell
using RCC = unsigned long long;  ///< packed, a lattice point

using VCCD = std::vector<CCD>;
using VVCD = std::vector<VCD>;
using VRCD = std::vector<RCD>;
using VRCC = std::vector<RCC>;

/// The most levels that three fields of 21 bits can hold.
constexpr int MAXLEVELS = 21;

// The bits of one axis in an interleaved code.
constexpr CCD CCD_X_BITS = 0x4924924924924924;
constexpr CCD CCD_Y_BITS = 0x2492492492492492;
constexpr CCD CCD_Z_BITS = 0x1249249249249249;

// The fields of a packed code and one step along each axis.
constexpr RCD RCD_X_FIELD = 0x7ffffc0000000000;
constexpr RCD RCD_Y_FIELD = 0x3ffffe00000;
constexpr RCD RCD_Z_FIELD = 0x1fffff;
constexpr RCD RCD_STEP_X = 0x40000000000;
constexpr RCD RCD_STEP_Y = 0x200000;
constexpr RCD RCD_STEP_Z = 1;
/// The numbers to add to a packed code for its face neighbours: -x, +x, -y, +y, -z, +z. Sums wrap as needed.
constexpr std::array<RCD, 6> RCD_FACE_STEPS{0 - RCD_STEP_X, RCD_STEP_X,     0 - RCD_STEP_Y,
                                            RCD_STEP_Y,     0 - RCD_STEP_Z, RCD_STEP_Z};

/// The packed code of a cell. Coordinates must be below 2^21.
constexpr RCD packRCD(unsigned long long x, unsigned long long y, unsigned long long z) {
    return x << 42 | y << 21 | z;
}
// The coordinates of a packed code.
constexpr unsigned long long getX_RCD(RCD rcd) {
    return (rcd & RCD_X_FIELD) >> 42;
}
constexpr unsigned long long getY_RCD(RCD rcd) {
    return (rcd & RCD_Y_FIELD) >> 21;
}
constexpr unsigned long long getZ_RCD(RCD rcd) {
    return rcd & RCD_Z_FIELD;
}

/// Spreads the low 21 bits of a number: bit k goes to bit 3k. Higher bits are dropped.
constexpr CCD spreadBits(unsigned long long number) {
    number &= 0x1fffff;
    number = (number | number << 32) & 0x001f00000000ffff;
    number = (number | number << 16) & 0x001f0000ff0000ff;
    number = (number | number << 8) & 0x100f00f00f00f00f;
    number = (number | number << 4) & 0x10c30c30c30c30c3;
    return (number | number << 2) & CCD_Z_BITS;
}
/// The inverse of spreadBits(): bit 3k goes to bit k, the bits between are ignored.
constexpr unsigned long long compressBits(CCD ccd) {
    ccd &= CCD_Z_BITS;
    ccd = (ccd | ccd >> 2) & 0x10c30c30c30c30c3;
    ccd = (ccd | ccd >> 4) & 0x100f00f00f00f00f;
    ccd = (ccd | ccd >> 8) & 0x001f0000ff0000ff;
    ccd = (ccd | ccd >> 16) & 0x001f00000000ffff;
    return (ccd | ccd >> 32) & 0x1fffff;
}

/// A code moved one step up or down on one axis; the other axes aren't changed. axisBits: all bits of that axis in the code.
/// The step wraps round: up from all ones gives 0, down from 0 gives all ones.
constexpr CCD stepUpOnBits(CCD code, CCD axisBits) {
    // With ones in all other places the carry runs straight from one bit of the axis to the next.
    return (((code | ~axisBits) + 1) & axisBits) | (code & ~axisBits);
}
constexpr CCD stepDownOnBits(CCD code, CCD axisBits) {
    return (((code & axisBits) - 1) & axisBits) | (code & ~axisBits);
}

/// How two neighbouring cells touch.
enum NeigTyp { NT_NONE = 1, NT_FACE = 2, NT_EDGE = 3, NT_VERTEX = 4 };

/// The grid: a plain value. Only offsetRange() changes it, so any thread may read it without a lock.
///
/// Failures are assertions, unless an operation says otherwise. Only the operations on lists allocate memory. Every
/// operation takes constant time, a few nanoseconds; extractDoubleCCD and the operations based on it add up the set bits.
class Calc {
public:
    /// Low corner (x0, y0, z0) and edge lengths of the whole grid in the cloud's unit; 2^numLevels cells along every axis,
    /// 0 <= numLevels <= MAXLEVELS. The lengths may differ.
    Calc(double x0, double y0, double z0, double lenX, double lenY, double lenZ, int numLevels);
    Calc(const Calc&) = default;
    Calc& operator=(const Calc&) = default;
    ~Calc() = default;

    /// Moves the origin.
    void offsetRange(double dx, double dy, double dz);
    /// The cell edge along x.
    double getSideLen() const { return steps[0]; }
    int getNumLevels() const { return numLevels; }
    /// The cell edges along x, y, z.
    void getSteps(double& x, double& y, double& z) const;
    void getBaseSteps(double& x, double& y, double& z) const { getSteps(x, y, z); }

    // ---- Points to codes and back

    /// The cell that contains the point: trunc((x - origin) * inverse step) on each axis. The point must lie on the grid or
    /// less than a cell above its top side, else an assertion fails (as with a NaN). On the top side and above it the
    /// coordinate is 2^L. That is no cell: operations that read only the levels below L take it for 0, but its code differs
    /// from that of any cell. With 21 levels there is no room for it in a code, and a point on the top side isn't on the
    /// grid.
    CCD getCCD(const Point3* p) const;
    /// Whether the point is in that cell; false for a point that isn't on the grid.
    bool isInCell(const Point3* p, CCD ccd) const;
    /// The same for the point moved by eps along all three axes.
    CCD getCCDPlus(const Point3* p, double eps) const;
    RCD getRCD(const Point3* p) const;
    // Conversions read only the levels below L.
    RCD ccd2rcd(CCD ccd) const;
    CCD rcd2ccd(RCD rcd) const;
    /// The integer coordinates.
    void extractIntCCD(CCD ccd, unsigned long long& x, unsigned long long& y, unsigned long long& z) const;
    /// The low corner of the cell.
    void extractDoubleCCD(CCD ccd, double& x, double& y, double& z) const;
    Point3 getRefPoint(CCD ccd) const;  ///< the low corner
    Point3 getMidPoint(CCD ccd) const;  ///< the low corner and half a step on each axis
    /// The same for lists: one point for each code is appended, in order.
    void getRefPoints(const VCCD& vCCD, std::vector<Point3>& vOut) const;
    void getMidPoints(const VCCD& vCCD, std::vector<Point3>& vOut) const;
    /// The low corner of a cell by its packed code: coordinate / inverse step + origin. Its last bits may differ from those
    /// of getRefPoint(), which sums the levels.
    Point3 getRefPoint_RCD(RCD rcd) const;
    /// The midpoint of a cell by its packed code: (coordinate + 0.5) * step + origin. Its last bits may differ from those of
    /// getMidPoint(), which sums the levels.
    Point3 getMidPoint_RCD(RCD rcd) const;
    /// The lattice point of a packed code: coordinate / inverse step + origin. Its last bits may differ from getRefPoint().
    Point3 getRefPoint_RCC(RCC rcc) const;

    /// Moves a point into a cell along the line to the cell's midpoint, no farther than needed: by 2^-10 of the way, or by
    /// the next larger power of two that is enough. Returns false, with p unchanged, when p is in the cell already. An
    /// assertion fails when not even the midpoint is in the cell, as happens with codes off the grid.
    bool adaptPointToCCD(CCD ccd, Point3& p) const;
    bool adaptPointToRCD(RCD rcd, Point3& p) const;

    // ---- Arithmetic on interleaved codes

    /// The coordinate on that axis. With several axes in axTriBit (below 8), the OR of their coordinates.
    CCD sparseToNumber(CCD ccd, CCD axTriBit) const;
    /// The low L bits of the number spread to the bits of that axis, or of each of several axes; no other bit is set.
    CCD numberToSparse(CCD number, CCD axTriBit) const;
    /// One step up or down on that axis. The other bits are passed through, so the code may be masked. A step off the grid
    /// is an assertion.
    CCD incSparse(CCD ccd, CCD axTriBit) const;
    CCD decSparse(CCD ccd, CCD axTriBit) const;
    /// The same in place; returns true. For a step off the grid it prints a report, sets the code to all ones and returns
    /// false.
    bool manipOneAxis(CCD& ccd, bool bIncrease, CCD axTribit) const;
    /// The code moved by value steps on that axis. Off the grid it prints a report and throws KelBugException.
    CCD getOffVal(CCD ccd, int value, CCD axTriBit) const;
    /// The two other axes: 4 gives 2, 1; 2 gives 4, 1; 1 gives 4, 2. Anything else is an assertion.
    static void getOrthoTribs(CCD axTribit, CCD& a, CCD& b);

    /// How two neighbouring cells touch; they must differ (assertion). That they are neighbours isn't checked: only the
    /// number of axes counts in which they differ.
    NeigTyp getNeigType(CCD a, CCD b) const;
    /// The number of axes in which the codes aren't all equal.
    int getNumDifferent_CCD(CCD a, CCD b) const { return countAxes_CCD(a ^ b); }
    int getNumDifferent_CCD(CCD a, CCD b, CCD c) const { return countAxes_CCD((a ^ b) | (a ^ c) | (b ^ c)); }
    int getNumDifferent_CCD(CCD a, CCD b, CCD c, CCD d) const { return countAxes_CCD((a ^ b) | (a ^ c) | (a ^ d)); }
    int getNumDifferent_RCD(RCD a, RCD b) const;
    /// 0, 1, 2 for x, y, z: the axis in which the codes differ, when it is exactly one. Else -1.
    int getUniqueDifferentComponent(VCD a, VCD b) const;
    /// 0, 1, 2 for x, y, z: the axis in which the codes are all equal, when they differ in exactly two. Else -1.
    int getUniqueSameComponent(VCD a, VCD b) const;
    int getUniqueSameComponent(VCD a, VCD b, VCD c) const;
    /// The number of set bits of a value from 0 to 255.
    static int getNumSet8(int val);

    // ---- Neighbourhoods: case tables index into these arrays, so their orders are fixed

    // The operations on interleaved codes fail an assertion at the ends of the grid. Those on packed codes just add and
    // subtract, and depend on the margin around occupied cells.

    /// 27 codes, (dx+1) + 3*(dy+1) + 9*(dz+1): x fastest, the cell itself at 13.
    void completeArray27(CCD ccd, CCD* array) const;
    void completeArray27_RCD(RCD rcd, RCD* array) const;
    /// 26 ascending codes without the cell itself: z fastest, x slowest. No coordinate may be 0 (assertion).
    void completeArray26_RCD(RCD rcd, RCD* array) const;
    /// Eight codes, array[0] given: the cells one step higher on any subset of the axes, in the order
    /// self, x, xz, z, y, xy, xyz, yz.
    void completeArrayPlus(CCD* array) const;
    /// Eight codes, array[5] given: the cells around its low corner, one step lower on any subset of the axes, in the order
    /// -xy, -y, -yz, -xyz, -x, self, -z, -xz. Position i is bit i of the configuration of a dual cube.
    void completeArraySym(CCD* array) const;
    /// The eight cells around the code in the plane across that axis, as a ring:
    /// (-a,-b) (0,-b) (+a,-b) (+a,0) (+a,+b) (0,+b) (-a,+b) (-a,0), where (a, b) is (y, z) in the plane across x, (x, z)
    /// across y, (y, x) across z.
    void getXPlaneCCD8(CCD ccd, CCD* array) const;
    void getYPlaneCCD8(CCD ccd, CCD* array) const;
    void getZPlaneCCD8(CCD ccd, CCD* array) const;
    /// 0, 1, 2 selects one of the three rings. Another index prints a line and fails an assertion.
    void getPlaneCCD8(CCD ccd, int planeIndex, CCD* array) const;
    /// Appends the four cells around the lattice edge between two neighbouring lattice points, given in either order: the
    /// cell of the lower point, lower on the first other axis, on the second, on both. Other pairs fail an assertion. The
    /// coordinates on the two other axes must not be 0.
    void getCbsAroundEdge(RCC a, RCC b, VRCD& vOut) const;

    // ---- Drawings of cells of this grid, whatever grid the visualizer has; each is one object of the list

    /// Cells as boxes.
    void writeCb(Visualizer3* pVisualizer, CCD ccd, const std::string& color) const;
    void writeCbs(Visualizer3* pVisualizer, const VCCD& vCCD, const std::string& color) const;
    /// Low corners and midpoints as dots; size: in pixels.
    void writeRefPoint(Visualizer3* pVisualizer, CCD ccd, unsigned size, const std::string& color) const;
    void writeRefPoints(Visualizer3* pVisualizer, const VCCD& vCCD, unsigned size, const std::string& color) const;
    void writeMidPoints(Visualizer3* pVisualizer, const VCCD& vCCD, unsigned size, const std::string& color) const;
    /// Edges and triangles of the coarse mesh between the midpoints of their cells.
    void writeCEdge(Visualizer3* pVisualizer, CEdge* pCE, const std::string& color) const;
    void writeCEdges(Visualizer3* pVisualizer, const std::vector<CEdge*>& vCE, const std::string& color) const;
    void writeTriangle(Visualizer3* pVisualizer, CTriangle* pCT, const std::string& color) const;
    void writeTriangles(Visualizer3* pVisualizer, const std::vector<CTriangle*>& vCT, const std::string& color) const;

private:
    std::array<double, 3> origin;
    std::array<double, 3> lengths;

public:
    int numLevels;                    ///< L; fixed by the constructor
    unsigned long long numCells = 0;  ///< 2^L: cells along every axis

private:
    std::array<double, 3> steps{};         // cell edges
    std::array<double, 3> inverseSteps{};  // cells per unit
    double coordinateEnd = 0.0;            // scaled coordinates of points on the grid are in [0, coordinateEnd)

    struct Coordinates {
        unsigned long long x, y, z;
    };
    Coordinates locate(double x, double y, double z) const;
    bool isOnGrid(double cx, double cy, double cz) const;
    // The bits of an axis (or of several) on the levels below L.
    CCD getAxisBits(CCD axTriBit) const { return (CCD_Z_BITS >> 3 * (MAXLEVELS - numLevels)) * axTriBit; }
    void fillRing(CCD ccd, CCD axisA, CCD axisB, CCD* array) const;
    bool reportStepOffGrid(CCD& ccd, bool bIncrease, CCD axTribit) const;
    static int countAxes_CCD(CCD differing);
    friend std::ostream& operator<<(std::ostream& out, const Calc& calc);
};

/// Origin, lengths and levels in one line, for reports.
std::ostream& operator<<(std::ostream& out, const Calc& calc);

// ---- The innermost operations

inline bool Calc::isOnGrid(double cx, double cy, double cz) const {
    return cx >= 0.0 && cy >= 0.0 && cz >= 0.0 && cx < coordinateEnd && cy < coordinateEnd && cz < coordinateEnd;
}

inline Calc::Coordinates Calc::locate(double x, double y, double z) const {
    const double cx = (x - origin[0]) * inverseSteps[0];
    const double cy = (y - origin[1]) * inverseSteps[1];
    const double cz = (z - origin[2]) * inverseSteps[2];
    const bool bOnGrid = isOnGrid(cx, cy, cz);
    ASSEX(bOnGrid);
    // Through int: that conversion is one instruction, the one to an unsigned 64-bit number isn't.
    return {static_cast<unsigned>(static_cast<int>(cx)), static_cast<unsigned>(static_cast<int>(cy)),
            static_cast<unsigned>(static_cast<int>(cz))};
}

inline CCD Calc::getCCD(const Point3* p) const {
    const Coordinates cell = locate(p->x(), p->y(), p->z());
    return spreadBits(cell.x) << 2 | spreadBits(cell.y) << 1 | spreadBits(cell.z);
}

inline RCD Calc::getRCD(const Point3* p) const {
    const Coordinates cell = locate(p->x(), p->y(), p->z());
    return packRCD(cell.x, cell.y, cell.z);
}

inline void Calc::extractIntCCD(CCD ccd, unsigned long long& x, unsigned long long& y, unsigned long long& z) const {
    const CCD onGrid = ccd & getAxisBits(7);
    x = compressBits(onGrid >> 2);
    y = compressBits(onGrid >> 1);
    z = compressBits(onGrid);
}

inline RCD Calc::ccd2rcd(CCD ccd) const {
    unsigned long long x, y, z;
    extractIntCCD(ccd, x, y, z);
    return packRCD(x, y, z);
}

inline CCD Calc::rcd2ccd(RCD rcd) const {
    return (spreadBits(getX_RCD(rcd)) << 2 | spreadBits(getY_RCD(rcd)) << 1 | spreadBits(getZ_RCD(rcd))) & getAxisBits(7);
}

inline CCD Calc::sparseToNumber(CCD ccd, CCD axTriBit) const {
    ASSEX(axTriBit<8);
    const CCD axisBits = ccd & getAxisBits(axTriBit);
    return compressBits(axisBits | axisBits >> 1 | axisBits >> 2);
}

inline CCD Calc::numberToSparse(CCD number, CCD axTriBit) const {
    ASSEX(axTriBit<8);
    return spreadBits(number & (numCells - 1)) * axTriBit;
}

inline CCD Calc::incSparse(CCD ccd, CCD axTriBit) const {
    const CCD axisBits = getAxisBits(axTriBit);
    ASSEX_AS("false", (ccd & axisBits) != axisBits);  // it is the last cell of the axis
    return stepUpOnBits(ccd, axisBits);
}

inline CCD Calc::decSparse(CCD ccd, CCD axTriBit) const {
    const CCD axisBits = getAxisBits(axTriBit);
    ASSEX_AS("false", (ccd & axisBits) != 0);  // it is the first cell of the axis
    return stepDownOnBits(ccd, axisBits);
}

inline bool Calc::manipOneAxis(CCD& ccd, bool bIncrease, CCD axTribit) const {
    const CCD axisBits = getAxisBits(axTribit);
    if ((ccd & axisBits) == (bIncrease ? axisBits : 0)) return reportStepOffGrid(ccd, bIncrease, axTribit);
    ccd = bIncrease ? incSparse(ccd, axTribit) : decSparse(ccd, axTribit);
    return true;
}

inline int Calc::countAxes_CCD(CCD differing) {
    return ((differing & CCD_X_BITS) != 0) + ((differing & CCD_Y_BITS) != 0) + ((differing & CCD_Z_BITS) != 0);
}

inline int Calc::getNumDifferent_RCD(RCD a, RCD b) const {
    const RCD differing = a ^ b;
    return ((differing & RCD_X_FIELD) != 0) + ((differing & RCD_Y_FIELD) != 0) + ((differing & RCD_Z_FIELD) != 0);
}

inline NeigTyp Calc::getNeigType(CCD a, CCD b) const {
    const CCD result_xor = a ^ b;
    ASSEX(result_xor);
    return static_cast<NeigTyp>(countAxes_CCD(result_xor) + 1);
}

}  // namespace TARN_KEL
