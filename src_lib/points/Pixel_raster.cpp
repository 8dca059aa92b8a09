// From segments and triangles to cells.
//
// A segment is walked from one grid plane to the next. The midpoint between two crossings determines the cell, so it doesn't
// matter when rounding puts a crossing an ulp to either side of its plane:
//
//        g          g + side
//        |     mid  |                   cur: the last crossing; next: the one that the walk goes to
//     ---cur----x---next------          g: a grid plane across one of the axes
//        |          |
//
// The inside of a triangle is sampled along lines parallel to one of its sides, 0.577 cells apart. Samples on a line advance
// by 0.577 cells on the axis of its largest component. A sample only selects a cell. The point of the cell is the projection
// of its midpoint onto the plane of the triangle, if that lies in the cell. So points don't depend on where the samples
// fall, and they form a smooth pattern.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "Pixel.h"
#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double STRIDE = 0.577;         // cells between scan lines, and between samples on the main axis
constexpr double MIN_ANGLE = 1e-5;       // degrees at the ends of the first scan line
constexpr double PI = 3.14159;           // these six digits
constexpr double MAX_STEPS = 8388608.0;  // more than the longest diagonal of a grid has strides
constexpr double UNSET = std::numeric_limits<double>::max();

/// A length in steps, rounded up; at most MAX_STEPS, also when the quotient isn't a number.
std::int64_t countSteps(double length, double step) {
    return static_cast<std::int64_t>(std::fmin(std::ceil(length / step), MAX_STEPS));
}

/// A walk along a segment from one crossing of a grid plane to the next.
class PlaneWalk {
public:
    PlaneWalk(const Point3& a, const Point3& b, const Point3& lowCorner, double cellEdge)
        : side(cellEdge),
          cur{a.x(), a.y(), a.z()},
          end{b.x(), b.y(), b.z()},
          dir{end[0] - cur[0], end[1] - cur[1], end[2] - cur[2]},
          plane{lowCorner.x(), lowCorner.y(), lowCorner.z()},
          mainAxis(static_cast<std::size_t>((b - a).getMaxAbsIndex())) {}

    /// Goes to the next crossing. Returns the midpoint between the last crossing and this one.
    Point3 step() {
        double minFactor = UNSET;
        for (std::size_t i = 0; i < 3; ++i)
            minFactor = std::min(minFactor, factorToPlane(i));
        ASSEX_AS("minFactor!=double(1.79769313486231570814527423731704357e+308L) && minFactor>0",
                 minFactor != UNSET && minFactor > 0);
        std::array<double, 3> mid;
        for (std::size_t i = 0; i < 3; ++i) {
            const double next = cur[i] + dir[i] * minFactor;
            mid[i] = (cur[i] + next) / 2.0;
            cur[i] = next;
        }
        return {mid[0], mid[1], mid[2]};
    }
    /// Whether a point on the line of the segment lies beyond its end. Only the axis of the largest component is compared:
    /// on the others the segment may hardly move, so that rounding would report the end too early.
    bool isBeyondEnd(const Point3& mid) const {
        const double m = mainAxis == 0 ? mid.x() : mainAxis == 1 ? mid.y() : mid.z();
        return dir[mainAxis] > 0.0 ? m > end[mainAxis] : m < end[mainAxis];
    }

private:
    /// The distance to the plane ahead on that axis, as a share of the length of the segment; UNSET when they are parallel.
    double factorToPlane(std::size_t i) {
        if (dir[i] > 0.0) {
            if (cur[i] >= plane[i]) plane[i] += side;
        } else if (plane[i] >= cur[i]) {
            plane[i] -= side;
        }
        if (dir[i] == 0.0) return UNSET;
        const double factor = std::fabs((plane[i] - cur[i]) / dir[i]);
        // On the plane, or too near for a quotient above 0: take the plane after it.
        if (!(factor > 0.0)) return std::min(std::fabs(side / dir[i]), FAR_BEYOND);
        return std::min(factor, FAR_BEYOND);
    }

    // From a factor of 2 on the midpoint is beyond the end. Larger steps would only leave the grid.
    static constexpr double FAR_BEYOND = 4.0;

    double side;
    std::array<double, 3> cur, end, dir;
    std::array<double, 3> plane;  // ahead, on each axis
    std::size_t mainAxis;
};

/// The number of grid planes between two cells.
std::int64_t numPlanesBetween(Packed a, Packed b) {
    std::int64_t sum = 0;
    for (const Axis axis : AXES)
        sum += std::abs(static_cast<std::int64_t>(a.on(axis)) - static_cast<std::int64_t>(b.on(axis)));
    return sum;
}

}  // namespace

void Pixel::rasterizeEdge(const Point3& a, const Point3& b, VRCDPoint& vEdgeRaster) const {
    ASSEX(spacingAbs>0);
    const RCD startRCD = pCalc->getRCD(&a), stopRCD = pCalc->getRCD(&b);
    if (startRCD == stopRCD) return;
    vEdgeRaster.emplace_back(startRCD, a);
    PlaneWalk walk(a, b, pCalc->getRefPoint_RCD(startRCD), spacingAbs);
    // The number of steps is limited. To reach a plane may take several: rounding can end a step an ulp before it, and near
    // a plane at 0.0, where ulps get ever smaller, that happens again and again. And where coordinates are so large that a
    // cell is smaller than an ulp, the walk would never end.
    for (std::int64_t stepsLeft = 3 * numPlanesBetween(Packed(startRCD), Packed(stopRCD)) + 100; stepsLeft > 0;
         --stepsLeft) {
        const Point3 mid = walk.step();
        const RCD rcd = pCalc->getRCD(&mid);
        if (rcd == startRCD) continue;
        if (rcd == stopRCD || walk.isBeyondEnd(mid)) break;
        if (vEdgeRaster.back().first != rcd) vEdgeRaster.emplace_back(rcd, mid);
    }
    ASSEX(vEdgeRaster.back().first!=stopRCD);
    vEdgeRaster.emplace_back(stopRCD, b);
}

void Pixel::convertOneT(Point3* c0, Point3* c1, Point3* c2, VRCDPoint& vOut) const {
    const Plane plane(*c0, *c1, *c2);
    const double e01 = (*c0 - *c1).length(), e02 = (*c2 - *c0).length(), e12 = (*c2 - *c1).length();
    const Point3 *pA = c0, *pB = c1, *pC = c2;
    double len = e12;
    if (e02 > e12) {
        pA = c1;
        pB = c0;
        len = e02;
    }
    if (!(e01 > len)) {
        pC = pA;
        pA = c2;
        len = e01;
    }
    // Scan lines run from side BC to side AC, parallel to AB, the longest side. AB itself is the first line.
    const Vector3 u0 = normalize(*pC - *pB), u1 = normalize(*pC - *pA), u2 = normalize(*pA - *pB);
    const double angleB = getAngleDegree(u2, u0), angleA = getAngleDegree(-u2, u1);
    if (!(angleB >= MIN_ANGLE && angleA >= MIN_ANGLE)) return;
    const double stepB = STRIDE * spacingAbs / std::sin(angleB * PI / 180.0);
    const double stepA = STRIDE * spacingAbs / std::sin(angleA * PI / 180.0);
    const std::int64_t n = countSteps(len, stepB);
    for (std::int64_t i = 0; i < n; ++i) {
        const auto line = static_cast<double>(i);
        rasterizePlane(plane, *pB + u0 * stepB * line, *pA + u1 * stepA * line, vOut);
    }
}

void Pixel::rasterizePlane(const Plane& plane, const Point3& a, const Point3& b, VRCDPoint& vOut) const {
    const Vector3 diff = b - a;
    const double length = diff.length();
    if (length == 0.0) return;
    const double maxComponent = diff.getMaxAbsComponent();
    ASSEX(maxComponent!=0);
    const Vector3 s = diff * (STRIDE * spacingAbs / maxComponent);
    const std::int64_t n = countSteps(length, s.length());
    RCD last = pCalc->getRCD(&a);
    for (std::int64_t i = 0; i < n; ++i) {
        const Point3 p = a + s * static_cast<double>(i);
        const RCD rcd = pCalc->getRCD(&p);
        if (rcd == last) continue;
        const Point3 foot = plane.projection(pCalc->getMidPoint_RCD(rcd));
        const Point3& q = isIn(Packed(rcd), foot) ? foot : p;
        if (i + 1 >= n && (q - a).length() > length) return;
        vOut.emplace_back(rcd, q);
        last = rcd;
    }
}

Pixel::Cut Pixel::cutCell(Packed cell, const Plane& plane) const {
    const Point3 low = pCalc->getRefPoint_RCD(cell.code());
    std::array<Point3, 8> aCorner;  // index & 4: high on x, index & 2: on y, index & 1: on z
    for (unsigned i = 0; i < 8; ++i)
        aCorner[i] =
            low + Vector3((i & 4) != 0 ? spacingAbs : 0.0, (i & 2) != 0 ? spacingAbs : 0.0, (i & 1) != 0 ? spacingAbs : 0.0);
    Cut cellCut;
    cellCut.bAllMade = true;
    Vector3 sum;
    for (unsigned i = 0; i < 8; ++i)
        for (const unsigned axis : {4U, 2U, 1U}) {
            const Point3 &p = aCorner[i], &q = aCorner[i | axis];
            if ((i & axis) != 0 || plane.hasOnPositiveSide(p) == plane.hasOnPositiveSide(q)) continue;
            bool bCut = false;
            sum += plane.intersectLine(p, q, bCut) - Point3();
            cellCut.bAllMade = cellCut.bAllMade && bCut;
            ++cellCut.numCuts;
        }
    if (cellCut.isOK()) cellCut.mid = Point3() + sum / static_cast<double>(cellCut.numCuts);
    return cellCut;
}

Point3 Pixel::getMidOfCutPlane(RCD rcd, const Plane& plane, bool& bOK) const {
    const Cut cellCut = cutCell(Packed(rcd), plane);
    bOK = cellCut.isOK();
    if (bOK) return cellCut.mid;
    if (!cellCut.bAllMade) {
        warning(KEL_PLACE, "!aBools");
    } else {
        warning(KEL_PLACE, "Not enough intersections");
        out() << "numCuts: " << cellCut.numCuts << std::endl;
    }
    return {};
}

}  // namespace TARN_KEL
