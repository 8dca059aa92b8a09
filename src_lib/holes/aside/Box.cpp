// Addresses and cells of a box of lattice points.
#include "Box.h"

#include <limits>

#include "tools.h"

namespace TARN_KEL {

Box::Box(const std::array<CoordinateRange, 3>& ranges)
    : xLowExt(ranges[0].low),
      yLowExt(ranges[1].low),
      zLowExt(ranges[2].low),
      xHighExt(ranges[0].high),
      yHighExt(ranges[1].high),
      zHighExt(ranges[2].high) {
    const unsigned long long numX = xHighExt + 1 - xLowExt, numY = yHighExt + 1 - yLowExt, numZ = zHighExt + 1 - zLowExt;
    constexpr unsigned long long MAX_ENTRIES = std::numeric_limits<int>::max();  // addresses are ints
    const unsigned long long numEntries = numX * numY * numZ;  // 64 bits do: no side has much more than 2^21 points
    ASSEX(numEntries<=MAX_ENTRIES);
    rgx = static_cast<int>(numX);
    rgy = static_cast<int>(numY);
    rgz = static_cast<int>(numZ);
    rgxy = rgx * rgy;
    arrSiz = static_cast<int>(numEntries);
}

Box::Point Box::toBox(const Calc& calc, VCD vcd) const {
    unsigned long long x, y, z;
    calc.extractIntCCD(vcd, x, y, z);
    const auto fromLow = [](unsigned long long coordinate, unsigned long long low) {
        return static_cast<int>(static_cast<long long>(coordinate) - static_cast<long long>(low));
    };
    return {fromLow(x, xLowExt), fromLow(y, yLowExt), fromLow(z, zLowExt)};
}

bool Box::isValidRCD(RCD rcd) const {
    const unsigned long long x = getX_RCD(rcd), y = getY_RCD(rcd), z = getZ_RCD(rcd);
    if (x >= xLowExt && x <= xHighExt && y >= yLowExt && y <= yHighExt && z >= zLowExt && z <= zHighExt) return true;
    out() << "\n WRONG RCD: " << rcd << " rcdx=" << x << " rcdy=" << y << " rcdz=" << z << " bounds: " << xLowExt << " - "
          << xHighExt << ", " << yLowExt << " - " << yHighExt << ", " << zLowExt << " - " << zHighExt << std::endl;
    return false;
}

int Box::getAddress(int x, int y, int z) const {
    const long long address = x + static_cast<long long>(y) * rgx + static_cast<long long>(z) * rgxy;
    ASSEX(address<arrSiz);
    ASSEX(isInBox({x,y,z}));
    return static_cast<int>(address);
}

int Box::getAddress(RCD rcd) const {
    ASSEX(isValidRCD(rcd));
    return getAddress(static_cast<int>(getX_RCD(rcd) - xLowExt), static_cast<int>(getY_RCD(rcd) - yLowExt),
                      static_cast<int>(getZ_RCD(rcd) - zLowExt));
}

int Box::getAddress(const Calc& calc, VCD vcd) const {
    const Point p = toBox(calc, vcd);
    if (isInBox(p)) return getAddress(p[0], p[1], p[2]);
    out() << "getAddressFromVCD, bad range, x=" << p[0] << ", y=" << p[1] << ", z=" << p[2] << std::endl;
    return -1;
}

RCD Box::addressToRCD(int address) const {
    const auto [x, y, z] = toBox(address);
    ASSEX(address==getAddress(x,y,z));
    return packRCD(xLowExt + static_cast<unsigned>(x), yLowExt + static_cast<unsigned>(y),
                   zLowExt + static_cast<unsigned>(z));
}

void Box::getCbsAroundEdge(RCD a, RCD b, int x, int y, int z, int axis, VRCD& vOut) const {
    constexpr std::array<std::array<std::size_t, 2>, 3> OTHER_AXES = {{{1, 2}, {0, 2}, {0, 1}}};
    ASSEX(axis>=0 && axis<3);
    const std::array<RCD, 3> steps = {RCD_STEP_X, RCD_STEP_Y, RCD_STEP_Z};
    const auto axisIndex = static_cast<std::size_t>(axis);
    ASSEX(b==a+steps[axisIndex]);
    const std::size_t first = OTHER_AXES[axisIndex][0], second = OTHER_AXES[axisIndex][1];
    const Point at = {x, y, z};
    const bool bLowerOnFirst = at[first] > 1, bLowerOnSecond = at[second] > 1;
    const auto append = [&](int onFirst, int onSecond) {
        Point p = at;
        p[first] -= onFirst;
        p[second] -= onSecond;
        vOut.push_back(addressToRCD(getAddress(p[0], p[1], p[2])));
    };
    append(0, 0);
    if (bLowerOnFirst) append(1, 0);
    if (bLowerOnSecond) append(0, 1);
    if (bLowerOnFirst && bLowerOnSecond) append(1, 1);
}

}  // namespace TARN_KEL
