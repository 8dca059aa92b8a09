// From segments and triangles to cells.
//
// A segment is walked from grid plane to grid plane. The middle of each piece between two crossings tells the cell, so a
// crossing that rounding puts an ulp to either side doesn't matter:
//
//        g          g + side
//        |     mid  |                   cur, next: crossings; one of them is the last point so far
//     ---cur----x---next------          g: on each axis the plane ahead
//        |          |
//
// The inside of a triangle is sampled by lines parallel to one of its sides, 0.577 cells apart, with samples that advance by
// 0.577 cells on the axis of the largest component. A sample only chooses a cell. The point of the cell is the foot of its
// midpoint on the plane where that is in the cell, so points don't depend on where the samples fall, and make a smooth
// pattern.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "Pixel.h"
#include "freeFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double STRIDE = 0.577;         // cells between scan lines, and between samples on the main axis
constexpr double MIN_ANGLE = 1e-5;       // degrees at the ends of the first scan line
constexpr double PI = 3.14159;           // these six digits
constexpr double MAX_STEPS = 8388608.0;  // above the longest diagonal of a grid in strides
constexpr double UNSET = std::numeric_limits<double>::max();

/// A length in steps, rounded up; steps that can't be counted are as many as a grid has room for.
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

    /// Goes to the next crossing and returns the middle of the way there.
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
    /// Whether a point of the segment's line lies behind its end. On another axis than that of the largest component, where
    /// the segment may stand still, rounding could say so too early.
    bool isBeyondEnd(const Point3& mid) const {
        const double m = mainAxis == 0 ? mid.x() : mainAxis == 1 ? mid.y() : mid.z();
        return dir[mainAxis] > 0.0 ? m > end[mainAxis] : m < end[mainAxis];
    }

private:
    /// The part of the segment's length from here to the plane ahead on that axis; UNSET when it runs parallel.
    double factorToPlane(std::size_t i) {
        if (dir[i] > 0.0) {
            if (cur[i] >= plane[i]) plane[i] += side;
        } else if (plane[i] >= cur[i]) {
            plane[i] -= side;
        }
        if (dir[i] == 0.0) return UNSET;
        const double factor = std::fabs((plane[i] - cur[i]) / dir[i]);
        // On the plane, or nearer to it than can be divided: on to the one behind it.
        if (!(factor > 0.0)) return std::min(std::fabs(side / dir[i]), FAR_BEYOND);
        return std::min(factor, FAR_BEYOND);
    }

    // From twice the length on the middle of the way is behind the end. More would only lead off the grid.
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
    // A plane takes more than one step when the first one ends before it: by an ulp, or, where the plane is at 0.0 and ulps
    // become ever smaller, by 1e-16 of the way, time and again. Where coordinates are so large that a cell is less than an
    // ulp, the walk would stand still.
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
    // Scan lines run from side BC to side AC, parallel to AB, which is the first of them.
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

Point3 Pixel::getMidOfCutPlane(RCD rcd, const Plane& plane, bool& bOK) const {
    const Point3 low = pCalc->getRefPoint_RCD(rcd);
    std::array<Point3, 8> aCorner;  // bit 4 of the index: high on x, bit 2: on y, bit 1: on z
    for (unsigned i = 0; i < 8; ++i)
        aCorner[i] =
            low + Vector3((i & 4) != 0 ? spacingAbs : 0.0, (i & 2) != 0 ? spacingAbs : 0.0, (i & 1) != 0 ? spacingAbs : 0.0);
    Vector3 sum;
    int numCuts = 0;
    bool aBools = true;
    for (unsigned i = 0; i < 8; ++i)
        for (const unsigned axis : {4U, 2U, 1U}) {
            const Point3 &p = aCorner[i], &q = aCorner[i | axis];
            if ((i & axis) != 0 || plane.hasOnPositiveSide(p) == plane.hasOnPositiveSide(q)) continue;
            bool bCut = false;
            sum += plane.intersectLine(p, q, bCut) - Point3();
            aBools = aBools && bCut;
            ++numCuts;
        }
    bOK = aBools && numCuts >= 3;
    if (bOK) return Point3() + sum / static_cast<double>(numCuts);
    if (!aBools) {
        warning(KEL_PLACE, "!aBools");
    } else {
        warning(KEL_PLACE, "Not enough intersections");
        out() << "numCuts: " << numCuts << std::endl;
    }
    return {};
}

}  // namespace TARN_KEL
