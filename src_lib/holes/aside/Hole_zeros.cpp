// Where the field of a hole changes its sign, for both operations that take cells from it.
//
// The surface crosses the lattice edges between points of unlike signs. Each such edge lies between four cells, and each of
// them is noted with the zero on the edge; the mean of its zeros is the point of a cell:
//
//        + | + | -              a section: lattice points with their signs, the zero between + and - and the cells at
//       ---+---*---             that edge, of which two can be seen
//        + | + | -
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "CEdge.h"
#include "Hole.h"
#include "signedField.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

// A value of exactly 0 would have no sign.
void Hole::liftZeros() {
    for (const int address : vAddr)
        if (pArray[address].val == 0.0F) pArray[address].val = std::numeric_limits<float>::min();
}

std::vector<Hole::Crossing> Hole::findCrossings() const {
    constexpr int MARGIN = 3;  // cells round those of the chain
    const auto axisRange = [](auto low, auto high, auto lowExt) {
        return std::pair(static_cast<int>(low - lowExt) - MARGIN, static_cast<int>(high - lowExt) + MARGIN);
    };
    const std::array<std::pair<int, int>, 3> aRange = {axisRange(xLow, xHigh, xLowExt), axisRange(yLow, yHigh, yLowExt),
                                                       axisRange(zLow, zHigh, zLowExt)};
    const std::array<int, 3> sizes = {rgx, rgy, rgz};
    std::vector<Crossing> vCrossing;
    for (const int source : vAddr) {
        const BoxPoint at = toBox(source);
        const auto isOutside = [](int coordinate, const auto& range) {
            return coordinate < range.first || coordinate > range.second;
        };
        if (isOutside(at[0], aRange[0]) || isOutside(at[1], aRange[1]) || isOutside(at[2], aRange[2])) continue;
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (at[axis] + 1 < sizes[axis]) addCrossing(source, static_cast<int>(axis), vCrossing);
    }
    return vCrossing;
}

// Appends the lattice edge if the sign changes on it. Between two seeds of smooth surface it is the old surface that does.
void Hole::addCrossing(int source, int axis, std::vector<Crossing>& vCrossing) const {
    const int target = upperEnd(source, axis);
    const MatrixEntry &srcEntry = pArray[source], &trgEntry = pArray[target];
    if (srcEntry.weight == WEIGHT_REL && trgEntry.weight == WEIGHT_REL) return;
    const float srcVal = srcEntry.val, trgVal = trgEntry.val;
    if (trgVal == FLT_UNDEF || trgVal == 0) return;
    ASSEX(srcVal!=0 && trgVal!=0);
    if ((srcVal < 0) == (trgVal < 0)) return;
    ASSEX((srcVal<0 && trgVal>0) || (srcVal>0 && trgVal<0));
    const Point3 src = pCalc->getRefPoint_RCC(addressToRCD(source));
    const Point3 trg = pCalc->getRefPoint_RCC(addressToRCD(target));
    const Point3 zero = zeroBetween<double>(src, std::fabs(srcVal), trg, std::fabs(trgVal));
    vCrossing.push_back({source, axis, srcVal, trgVal, src, trg, zero});
}

int Hole::upperEnd(int source, int axis) const {
    return source + (axis == 0 ? 1 : axis == 1 ? rgx : rgxy);
}

VRCD Hole::cellsAround(const Crossing& crossing) const {
    const auto [x, y, z] = toBox(crossing.source);
    const RCD target = addressToRCD(upperEnd(crossing.source, crossing.axis));
    VRCD vAround;
    getCbsAroundEdge(addressToRCD(crossing.source), target, x, y, z, crossing.axis, vAround);
    const auto isOffGrid = [this](RCD rcd) {  // lattice points go one farther than cells
        return std::max({getX_RCD(rcd), getY_RCD(rcd), getZ_RCD(rcd)}) >= pCalc->numCells;
    };
    std::erase_if(vAround, isOffGrid);
    return vAround;
}

// For each cell the mean of its points, moved into the cell; ascending.
Hole::VCCDPoint Hole::meansOfCells(VRCDPoint vNotes) const {
    sortMT(vNotes.begin(), vNotes.end());
    VCCDPoint vCCDPoints;
    for (auto itRun = vNotes.begin(); itRun != vNotes.end();) {
        const RCD rcd = itRun->first;
        Vector3 sum;
        double count = 0.0;
        for (; itRun != vNotes.end() && itRun->first == rcd; ++itRun, count += 1.0)
            sum += itRun->second - Point3();
        const CCD ccd = pCalc->rcd2ccd(rcd);
        Point3 mean = Point3() + sum / count;
        pCalc->adaptPointToCCD(ccd, mean);
        vCCDPoints.emplace_back(ccd, mean);
    }
    std::sort(vCCDPoints.begin(), vCCDPoints.end());
    return vCCDPoints;
}

// Those of the triangles on the chain's edges that run through the inside of a dual cube. A chain that was closed over an
// inner edge has two there.
void Hole::addThirdCorners(VCCD& vCells) const {
    for (const CEdge* pCE : vCE) {
        if (pCalc->getNumDifferent_CCD(pCE->v0, pCE->v1) != 3) continue;
        for (const CTriangle* pCT : pCE->vCT)
            vCells.push_back(pCT->getCorner(pCT->getICI(pCE->v0, pCE->v1)));
    }
    oneInstance(vCells);
}

}  // namespace TARN_KEL
