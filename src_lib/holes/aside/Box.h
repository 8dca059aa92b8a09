// A dense box of lattice points. No public function reaches it: it belongs to Hole.
#pragma once

#include <array>

#include "Calc.h"

namespace TARN_KEL {

/// Numbers from low to high, both included.
struct CoordinateRange {
    unsigned long long low = ~0ULL, high = 0;

    void take(unsigned long long coordinate) {
        low = coordinate < low ? coordinate : low;
        high = coordinate > high ? coordinate : high;
    }
};

/// A box of lattice points on the grid, and the address of each of them in an array: x + y * rgx + z * rgxy, with x, y, z
/// counted from the low corner of the box. A lattice point is named by the code of the cell of which it is the low corner.
struct Box {
    /// Coordinates counted from the low corner of the box; the point may lie outside.
    using Point = std::array<int, 3>;

    Box() = default;
    /// ranges: of the grid's coordinates along x, y, z. Throws (assertion) for more points than an int can count.
    explicit Box(const std::array<CoordinateRange, 3>& ranges);

    Point toBox(const Calc& calc, VCD vcd) const;
    Point toBox(int address) const { return {address % rgx, address / rgx % rgy, address / rgxy}; }
    bool isInBox(const Point& p) const {
        return p[0] >= 0 && p[0] < rgx && p[1] >= 0 && p[1] < rgy && p[2] >= 0 && p[2] < rgz;
    }

    /// Whether a point lies in the box, its sides included. Prints a line when it doesn't.
    bool isValidRCD(RCD rcd) const;
    // These throw (assertion) for a point outside the box and for an address that isn't one of it.
    int getAddress(int x, int y, int z) const;
    int getAddress(RCD rcd) const;
    /// The address of any lattice point. For one outside the box it prints a line and returns -1.
    int getAddress(const Calc& calc, VCD vcd) const;
    RCD addressToRCD(int address) const;

    /// Appends the cells around a lattice edge: a, then the cell lower on the first other axis, on the second, on both.
    /// Lower cells that would have the coordinate 0 on that axis are left out. a, b: the ends of the edge; b is one step
    /// along the axis from a (assertion). x, y, z: the coordinates of a in the box. axis: 0, 1, 2 for x, y, z.
    void getCbsAroundEdge(RCD a, RCD b, int x, int y, int z, int axis, VRCD& vOut) const;

    /// The differences from an address to those of its six neighbours: -x, +x, -y, +y, -z, +z.
    std::array<int, 6> addressSteps() const { return {-1, 1, -rgx, rgx, -rgxy, rgxy}; }
    /// Calls visit(slot, address) for the neighbours inside the box; slots are in the order of addressSteps().
    template <typename Visit>
    void forEachNeig(int address, const Visit& visit) const;

    // The lowest and the highest coordinates of the box on the grid, both included.
    unsigned long long xLowExt = 0, yLowExt = 0, zLowExt = 0, xHighExt = 0, yHighExt = 0, zHighExt = 0;
    int rgx = 0, rgy = 0, rgz = 0;  ///< points along each axis
    int rgxy = 0;                   ///< points of a layer
    int arrSiz = 0;                 ///< points
};

template <typename Visit>
void Box::forEachNeig(int address, const Visit& visit) const {
    const int layerRow = address / rgx, x = address - layerRow * rgx, z = layerRow / rgy, y = layerRow - z * rgy;
    if (x > 0) visit(0U, address - 1);
    if (x + 1 < rgx) visit(1U, address + 1);
    if (y > 0) visit(2U, address - rgx);
    if (y + 1 < rgy) visit(3U, address + rgx);
    if (z > 0) visit(4U, address - rgxy);
    if (z + 1 < rgz) visit(5U, address + rgxy);
}

}  // namespace TARN_KEL
