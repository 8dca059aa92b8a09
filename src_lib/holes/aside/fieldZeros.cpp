// Finds the lattice edges on which the field of a hole changes its sign, and the cells around them.
#include "fieldZeros.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "signedField.h"
#include "sortMT.h"

namespace TARN_KEL {

namespace {

constexpr int MARGIN = 3;  // cells around those of the chain

/// The lattice edges of a field that may be crossed (a lattice for forEachCrossing()).
class DenseEdges {
public:
    using Real = double;
    struct Edge {
        int source, axis;
        float srcVal, trgVal;
    };

    DenseEdges(const HoleRegion& region, const Field& theField, const Calc& theCalc)
        : field(theField),
          calc(theCalc),
          ranges{rangeInBox(region.xLow, region.xHigh, field.xLowExt), rangeInBox(region.yLow, region.yHigh, field.yLowExt),
                 rangeInBox(region.zLow, region.zHigh, field.zLowExt)} {}

    template <typename Visit>
    void forEachEdge(const Visit& visit) const {
        const std::array<int, 3> sizes = {field.rgx, field.rgy, field.rgz};
        for (const int source : field.vAddr) {
            const Box::Point at = field.toBox(source);
            if (!isNear(at)) continue;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                if (at[axis] + 1 >= sizes[axis]) continue;
                const MatrixEntry &srcEntry = field.pArray[source],
                                  &trgEntry = field.pArray[upperEnd(source, static_cast<int>(axis))];
                if (srcEntry.weight == WEIGHT_REL && trgEntry.weight == WEIGHT_REL) continue;
                if (trgEntry.val == FLT_UNDEF || trgEntry.val == 0) continue;
                visit(Edge{source, static_cast<int>(axis), srcEntry.val, trgEntry.val});
            }
        }
    }
    std::pair<Point3, Point3> placesOf(const Edge& edge) const {
        return {positionOf(edge.source), positionOf(upperEnd(edge.source, edge.axis))};
    }

private:
    using Range = std::pair<int, int>;  // ends included

    static Range rangeInBox(unsigned long long low, unsigned long long high, unsigned long long lowExt) {
        return {static_cast<int>(low - lowExt) - MARGIN, static_cast<int>(high - lowExt) + MARGIN};
    }
    bool isNear(const Box::Point& at) const {
        const auto isIn = [&](std::size_t axis) {
            return at[axis] >= ranges[axis].first && at[axis] <= ranges[axis].second;
        };
        return isIn(0) && isIn(1) && isIn(2);
    }
    int upperEnd(int source, int axis) const {
        return source + field.addressSteps()[2 * static_cast<std::size_t>(axis) + 1];
    }
    Point3 positionOf(int address) const { return calc.getRefPoint_RCC(field.addressToRCD(address)); }

    const Field& field;
    const Calc& calc;
    std::array<Range, 3> ranges;  // in the box
};

}  // namespace

std::vector<Crossing> crossingsNear(const HoleRegion& region, const Field& field, const Calc& calc) {
    std::vector<Crossing> vCrossing;
    forEachCrossing(DenseEdges(region, field, calc), [&](const auto& edge, const auto& ends, const Point3& zero) {
        vCrossing.push_back({edge.source, edge.axis, edge.srcVal, edge.trgVal, ends.first, ends.second, zero});
    });
    return vCrossing;
}

VRCD cellsAround(const Crossing& crossing, const Box& box, const Calc& calc) {
    constexpr std::array<RCD, 3> STEPS = {RCD_STEP_X, RCD_STEP_Y, RCD_STEP_Z};
    const auto [x, y, z] = box.toBox(crossing.source);
    const RCD source = box.addressToRCD(crossing.source);
    VRCD vAround;
    box.getCbsAroundEdge(source, source + STEPS[static_cast<std::size_t>(crossing.axis)], x, y, z, crossing.axis, vAround);
    const auto isOffGrid = [&calc](RCD rcd) {  // lattice points go one farther than cells
        return std::max({getX_RCD(rcd), getY_RCD(rcd), getZ_RCD(rcd)}) >= calc.numCells;
    };
    std::erase_if(vAround, isOffGrid);
    return vAround;
}

std::vector<std::pair<CCD, Point3>> pointsOfCells(std::vector<std::pair<RCD, Point3>> vNotes, const Calc& calc) {
    sortMT(vNotes.begin(), vNotes.end());
    std::vector<std::pair<CCD, Point3>> vCCDPoints;
    for (auto& [rcd, mean] : meansOfCells(vNotes)) {
        const CCD ccd = calc.rcd2ccd(rcd);
        calc.adaptPointToCCD(ccd, mean);
        vCCDPoints.emplace_back(ccd, mean);
    }
    std::sort(vCCDPoints.begin(), vCCDPoints.end());
    return vCCDPoints;
}

}  // namespace TARN_KEL
