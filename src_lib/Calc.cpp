// The arithmetic of the grid: points to codes and back, steps on codes, neighbourhoods.
#include "Calc.h"

#include <algorithm>

#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr CCD AX_X = 4;
constexpr CCD AX_Y = 2;
constexpr CCD AX_Z = 1;

// One step down, none, one step up on packed codes; unsigned sums wrap as needed.
constexpr std::array<RCD, 3> OFFSETS_X{0 - RCD_STEP_X, 0, RCD_STEP_X};
constexpr std::array<RCD, 3> OFFSETS_Y{0 - RCD_STEP_Y, 0, RCD_STEP_Y};
constexpr std::array<RCD, 3> OFFSETS_Z{0 - RCD_STEP_Z, 0, RCD_STEP_Z};

// The sum of origin and powers of two times the step, finest first: the rounding of this very order is what all low corners
// agree on, so it isn't number * step + origin.
double addLevels(double origin, double step, unsigned long long number) {
    double sum = origin;
    for (; number != 0; number &= number - 1)
        sum += step * static_cast<double>(number & (~number + 1));
    return sum;
}

// Moves p towards target by 2^-10 of the way, then by twice that and so on, to the first place where isInside holds. An
// assertion fails when it holds nowhere.
template <typename Inside>
void pullInside(const Point3& target, Point3& p, const Inside& isInside) {
    const Vector3 way = target - p;
    for (double f = 1.0 / 1024.0; f <= 1.0; f *= 2.0) {
        const Point3 q = p + way * f;
        if (!isInside(q)) continue;
        p = q;
        return;
    }
    ASSEX(false);  // a midpoint is in its cell, unless the code is off the grid
}

// The bits of one axis of a code and of its neighbours there; axes are joined by OR.
struct AxisSteps {
    CCD down, self, up;
    CCD operator[](int d) const { return d < 0 ? down : d == 0 ? self : up; }
};

AxisSteps makeAxisSteps(const Calc& calc, CCD ccd, CCD axTriBit) {
    const CCD self = ccd & CCD_Z_BITS * axTriBit;
    return {calc.decSparse(self, axTriBit), self, calc.incSparse(self, axTriBit)};
}

// The axis of the one mask that tells its axis apart from the two others.
template <typename Chosen>
int findAxis(const Chosen& isChosen) {
    if (isChosen(CCD_X_BITS)) return 0;
    if (isChosen(CCD_Y_BITS)) return 1;
    if (isChosen(CCD_Z_BITS)) return 2;
    warning(KEL_PLACE, "Bug");
    ASSEX(false);  // the caller has counted that one axis is chosen
}

}  // namespace

Calc::Calc(double x0, double y0, double z0, double lenX, double lenY, double lenZ, int numLevels_)
    : origin{x0, y0, z0}, lengths{lenX, lenY, lenZ}, numLevels(numLevels_) {
    ASSEX(numLevels<=MAXLEVELS);
    ASSEX(numLevels>=0);
    numCells = 1ULL << numLevels;
    const double cells = static_cast<double>(numCells);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        steps[axis] = lengths[axis] / cells;
        inverseSteps[axis] = cells / lengths[axis];
    }
    // A point on the top side has coordinate 2^L, which is also the one number above the cells that a field can hold.
    coordinateEnd = std::min(cells + 1.0, static_cast<double>(1ULL << MAXLEVELS));
}

void Calc::offsetRange(double dx, double dy, double dz) {
    origin[0] += dx;
    origin[1] += dy;
    origin[2] += dz;
}

void Calc::getSteps(double& x, double& y, double& z) const {
    x = steps[0];
    y = steps[1];
    z = steps[2];
}

std::ostream& operator<<(std::ostream& out, const Calc& calc) {
    const auto& [x0, y0, z0] = calc.origin;
    const auto& [lenX, lenY, lenZ] = calc.lengths;
    return out << "Calc(origin " << x0 << " " << y0 << " " << z0 << ", lengths " << lenX << " " << lenY << " " << lenZ
               << ", levels " << calc.numLevels << ")";
}

// ---- Points to codes

bool Calc::isInCell(const Point3* p, CCD ccd) const {
    const bool bOnGrid = isOnGrid((p->x() - origin[0]) * inverseSteps[0], (p->y() - origin[1]) * inverseSteps[1],
                                  (p->z() - origin[2]) * inverseSteps[2]);
    return bOnGrid && getCCD(p) == ccd;
}

// ---- Codes to points

CCD Calc::getCCDPlus(const Point3* p, double eps) const {
    const Point3 moved = *p + Vector3(eps, eps, eps);
    return getCCD(&moved);
}

void Calc::extractDoubleCCD(CCD ccd, double& x, double& y, double& z) const {
    unsigned long long ix, iy, iz;
    extractIntCCD(ccd, ix, iy, iz);
    x = addLevels(origin[0], steps[0], ix);
    y = addLevels(origin[1], steps[1], iy);
    z = addLevels(origin[2], steps[2], iz);
}

Point3 Calc::getRefPoint(CCD ccd) const {
    double x, y, z;
    extractDoubleCCD(ccd, x, y, z);
    return {x, y, z};
}

Point3 Calc::getMidPoint(CCD ccd) const {
    return getRefPoint(ccd) + Vector3(0.5 * steps[0], 0.5 * steps[1], 0.5 * steps[2]);
}

Point3 Calc::getRefPoint_RCD(RCD rcd) const {
    return {static_cast<double>(getX_RCD(rcd)) / inverseSteps[0] + origin[0],
            static_cast<double>(getY_RCD(rcd)) / inverseSteps[1] + origin[1],
            static_cast<double>(getZ_RCD(rcd)) / inverseSteps[2] + origin[2]};
}

Point3 Calc::getMidPoint_RCD(RCD rcd) const {
    return {(static_cast<double>(getX_RCD(rcd)) + 0.5) * steps[0] + origin[0],
            (static_cast<double>(getY_RCD(rcd)) + 0.5) * steps[1] + origin[1],
            (static_cast<double>(getZ_RCD(rcd)) + 0.5) * steps[2] + origin[2]};
}

Point3 Calc::getRefPoint_RCC(RCC rcc) const {
    return {static_cast<double>(getX_RCD(rcc)) / inverseSteps[0] + origin[0],
            static_cast<double>(getY_RCD(rcc)) / inverseSteps[1] + origin[1],
            static_cast<double>(getZ_RCD(rcc)) / inverseSteps[2] + origin[2]};
}

void Calc::getRefPoints(const VCCD& vCCD, std::vector<Point3>& vOut) const {
    for (const CCD ccd : vCCD)
        vOut.push_back(getRefPoint(ccd));
}

void Calc::getMidPoints(const VCCD& vCCD, std::vector<Point3>& vOut) const {
    for (const CCD ccd : vCCD)
        vOut.push_back(getMidPoint(ccd));
}

bool Calc::adaptPointToCCD(CCD ccd, Point3& p) const {
    const auto isInside = [&](const Point3& q) { return getCCD(&q) == ccd; };
    if (isInside(p)) return false;
    pullInside(getMidPoint(ccd), p, isInside);
    return true;
}

bool Calc::adaptPointToRCD(RCD rcd, Point3& p) const {
    const auto isInside = [&](const Point3& q) { return getRCD(&q) == rcd; };
    if (isInside(p)) return false;
    pullInside(getMidPoint_RCD(rcd), p, isInside);
    return true;
}

// ---- Arithmetic on interleaved codes

bool Calc::reportStepOffGrid(CCD& ccd, bool bIncrease, CCD axTribit) const {
    out() << "ERROR, out of range, bIncrease=" << bIncrease << ", axTribit=" << axTribit << "this is " << *this
          << ", numLevels=" << numLevels << std::endl;
    warning(KEL_PLACE, "End not found");
    ccd = ~0ULL;
    return false;
}

CCD Calc::getOffVal(CCD ccd, int value, CCD axTriBit) const {
    const auto component = static_cast<long long>(sparseToNumber(ccd, axTriBit));
    const auto maxVal = static_cast<long long>(numCells);
    const long long moved = component + value;
    if (moved < 0 || moved >= maxVal) {
        errorMsg(KEL_PLACE, "out of range");
        if (moved < 0)
            out() << "value=" << value << " component=" << component << std::endl;
        else
            out() << "value=" << value << " new component=" << moved << " maxVal=" << maxVal << std::endl;
        goToHell("Calc::getOffVal");
    }
    return (ccd & ~getAxisBits(axTriBit)) | numberToSparse(static_cast<CCD>(moved), axTriBit);
}

void Calc::getOrthoTribs(CCD axTribit, CCD& a, CCD& b) {
    switch (axTribit) {
    case AX_X:
        a = AX_Y;
        b = AX_Z;
        return;
    case AX_Y:
        a = AX_X;
        b = AX_Z;
        return;
    case AX_Z:
        a = AX_X;
        b = AX_Y;
        return;
    default:
        ASSEX(false);  // not one axis
    }
}

int Calc::getUniqueDifferentComponent(VCD a, VCD b) const {
    const CCD differing = a ^ b;
    if (countAxes_CCD(differing) != 1) return -1;
    return findAxis([differing](CCD axisBits) { return (differing & axisBits) != 0; });
}

int Calc::getUniqueSameComponent(VCD a, VCD b) const {
    return getUniqueSameComponent(a, b, b);
}

int Calc::getUniqueSameComponent(VCD a, VCD b, VCD c) const {
    const CCD differing = (a ^ b) | (a ^ c);
    if (countAxes_CCD(differing) != 2) return -1;
    return findAxis([differing](CCD axisBits) { return (differing & axisBits) == 0; });
}

int Calc::getNumSet8(int val) {
    static constexpr std::array<int, 16> numSetOfNibble{0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
    ASSEX(val<256);
    ASSEX(val>=0);
    return numSetOfNibble[static_cast<std::size_t>(val & 15)] + numSetOfNibble[static_cast<std::size_t>(val >> 4)];
}

// ---- Neighbourhoods

void Calc::completeArray27(CCD ccd, CCD* array) const {
    const AxisSteps x = makeAxisSteps(*this, ccd, AX_X);
    const AxisSteps y = makeAxisSteps(*this, ccd, AX_Y);
    const AxisSteps z = makeAxisSteps(*this, ccd, AX_Z);
    for (const CCD iz : {z.down, z.self, z.up})
        for (const CCD iy : {y.down, y.self, y.up})
            for (const CCD ix : {x.down, x.self, x.up})
                *array++ = ix | iy | iz;
}

void Calc::completeArray27_RCD(RCD rcd, RCD* array) const {
    for (const RCD dz : OFFSETS_Z)
        for (const RCD dy : OFFSETS_Y)
            for (const RCD dx : OFFSETS_X)
                *array++ = rcd + dx + dy + dz;
}

void Calc::completeArray26_RCD(RCD rcd, RCD* array) const {
    const RCD x = getX_RCD(rcd);
    const RCD y = getY_RCD(rcd);
    const RCD z = getZ_RCD(rcd);
    ASSEX(x>0 && y>0 && z>0);
    for (const RCD dx : OFFSETS_X)
        for (const RCD dy : OFFSETS_Y)
            for (const RCD dz : OFFSETS_Z) {
                const RCD offset = dx + dy + dz;
                if (offset != 0) *array++ = rcd + offset;
            }
}

void Calc::completeArrayPlus(CCD* array) const {
    const CCD x = array[0] & CCD_X_BITS;
    const CCD y = array[0] & CCD_Y_BITS;
    const CCD z = array[0] & CCD_Z_BITS;
    const CCD xUp = incSparse(x, AX_X);
    const CCD yUp = incSparse(y, AX_Y);
    const CCD zUp = incSparse(z, AX_Z);
    array[1] = xUp | y | z;
    array[2] = xUp | y | zUp;
    array[3] = x | y | zUp;
    array[4] = x | yUp | z;
    array[5] = xUp | yUp | z;
    array[6] = xUp | yUp | zUp;
    array[7] = x | yUp | zUp;
}

void Calc::completeArraySym(CCD* array) const {
    const CCD x = array[5] & CCD_X_BITS;
    const CCD y = array[5] & CCD_Y_BITS;
    const CCD z = array[5] & CCD_Z_BITS;
    const CCD xDown = decSparse(x, AX_X);
    const CCD yDown = decSparse(y, AX_Y);
    const CCD zDown = decSparse(z, AX_Z);
    array[0] = xDown | yDown | z;
    array[1] = x | yDown | z;
    array[2] = x | yDown | zDown;
    array[3] = xDown | yDown | zDown;
    array[4] = xDown | y | z;
    array[6] = x | y | zDown;
    array[7] = xDown | y | zDown;
}

void Calc::fillRing(CCD ccd, CCD axisA, CCD axisB, CCD* array) const {
    static constexpr int ring[8][2] = {{-1, -1}, {0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}};
    const CCD across = ccd & CCD_Z_BITS * (7 - axisA - axisB);
    const AxisSteps a = makeAxisSteps(*this, ccd, axisA);
    const AxisSteps b = makeAxisSteps(*this, ccd, axisB);
    for (const auto& [da, db] : ring)
        *array++ = across | a[da] | b[db];
}

void Calc::getXPlaneCCD8(CCD ccd, CCD* array) const {
    fillRing(ccd, AX_Y, AX_Z, array);
}
void Calc::getYPlaneCCD8(CCD ccd, CCD* array) const {
    fillRing(ccd, AX_X, AX_Z, array);
}
void Calc::getZPlaneCCD8(CCD ccd, CCD* array) const {
    fillRing(ccd, AX_Y, AX_X, array);
}

void Calc::getPlaneCCD8(CCD ccd, int planeIndex, CCD* array) const {
    switch (planeIndex) {
    case 0:
        return getXPlaneCCD8(ccd, array);
    case 1:
        return getYPlaneCCD8(ccd, array);
    case 2:
        return getZPlaneCCD8(ccd, array);
    default:
        break;
    }
    out() << "Bug, planeIndex=" << planeIndex << std::endl;
    ASSEX(false);
}

void Calc::getCbsAroundEdge(RCC a, RCC b, VRCD& vOut) const {
    const auto [low, high] = std::minmax(a, b);
    const RCC xdiff = getX_RCD(high) - getX_RCD(low);
    const RCC ydiff = getY_RCD(high) - getY_RCD(low);
    const RCC zdiff = getZ_RCD(high) - getZ_RCD(low);
    ASSEX(xdiff==0 || xdiff==1);
    ASSEX(ydiff==0 || ydiff==1);
    ASSEX(zdiff==0 || zdiff==1);
    ASSEX(xdiff+ydiff+zdiff==1);
    const RCD first = xdiff == 1 ? RCD_STEP_Y : RCD_STEP_X;
    const RCD second = zdiff == 1 ? RCD_STEP_Y : RCD_STEP_Z;
    vOut.insert(vOut.end(), {low, low - first, low - second, low - first - second});
}

}  // namespace TARN_KEL
