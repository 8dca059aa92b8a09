// A triangle is cut into slices one cell thick along one axis, and each slice into columns along a second one. The third
// axis is that of the largest component of the normal, so what is in a column passes through three of its cells at most:
//
//      slices          columns of a slice
//     /|\               ___
//    / | \             |\  |\.
//   /__|__\            |_\_|_\.
//
// Each cut leaves a convex polygon. So whether it comes to a cell is told by its range on the third axis alone, and the test
// is exact but for rounding.
#include "touchedCells.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "Pixel.h"
#include "Plane.h"
#include "codes.h"
#include "sortMT.h"
#include "sortedCodes.h"

namespace TARN_KEL {

namespace {

/// In cells from the corner of the grid.
struct CellPlace {
    double on(Axis axis) const { return coords[numberOf(axis)]; }
    double& on(Axis axis) { return coords[numberOf(axis)]; }

    std::array<double, 3> coords;
};

/// A convex polygon: what six planes leave of a triangle.
struct CutTriangle {
    std::array<CellPlace, 9> corners;
    std::size_t num = 0;

    std::pair<double, double> rangeOn(Axis axis) const {
        double lo = corners[0].on(axis), hi = lo;
        for (std::size_t i = 1; i < num; ++i) {
            lo = std::min(lo, corners[i].on(axis));
            hi = std::max(hi, corners[i].on(axis));
        }
        return {lo, hi};
    }
    CellPlace middle() const {
        CellPlace sum{};
        for (std::size_t i = 0; i < num; ++i)
            for (const Axis axis : AXES)
                sum.on(axis) += corners[i].on(axis) / static_cast<double>(num);
        return sum;
    }
};

/// What is left on one side of a plane across that axis: below the limit for side 1.0, above it for side -1.0.
CutTriangle cutOff(const CutTriangle& polygon, Axis axis, double limit, double side) {
    CutTriangle rest;
    for (std::size_t i = 0; i < polygon.num; ++i) {
        const CellPlace &p = polygon.corners[i], &q = polygon.corners[i + 1 == polygon.num ? 0 : i + 1];
        const double pBeyond = (p.on(axis) - limit) * side, qBeyond = (q.on(axis) - limit) * side;
        if (pBeyond <= 0.0) rest.corners[rest.num++] = p;
        if (pBeyond * qBeyond >= 0.0) continue;
        CellPlace& cut = rest.corners[rest.num++];
        for (const Axis each : AXES)
            cut.on(each) = p.on(each) + (q.on(each) - p.on(each)) * (pBeyond / (pBeyond - qBeyond));
        cut.on(axis) = limit;
    }
    return rest;
}

CutTriangle cutBetween(const CutTriangle& polygon, Axis axis, double low, double high) {
    const auto [lo, hi] = polygon.rangeOn(axis);
    const CutTriangle rest = lo < low ? cutOff(polygon, axis, low, -1.0) : polygon;
    return hi > high ? cutOff(rest, axis, high, 1.0) : rest;
}

/// The cells on that axis to which a polygon comes: visit(cell).
template <typename Visit>
void forEachCellOn(const CutTriangle& polygon, Axis axis, const Visit& visit) {
    const auto [lo, hi] = polygon.rangeOn(axis);
    for (double cell = std::floor(lo); cell <= hi; cell += 1.0)
        if (hi >= cell + TOUCH_SLIVER && lo <= cell + 1.0 - TOUCH_SLIVER) visit(cell);
}
/// The same, with the part of the polygon between the sides of the cell: visit(cell, part).
template <typename Visit>
void forEachSliceOn(const CutTriangle& polygon, Axis axis, const Visit& visit) {
    forEachCellOn(polygon, axis, [&](double cell) {
        const CutTriangle part = cutBetween(polygon, axis, cell + TOUCH_SLIVER, cell + 1.0 - TOUCH_SLIVER);
        if (part.num > 0) visit(cell, part);
    });
}

/// The cells of some triangles.
class TouchWalk {
public:
    TouchWalk(const Calc& theGrid, CellPoints& vOfCells)
        : grid(theGrid), corner(grid.getRefPoint_RCD(0)), side(grid.getSideLen()), vCells(vOfCells) {}

    void add(Tri& tri) {
        CutTriangle whole;
        for (const Point3* p : {tri.pVtx0, tri.pVtx1, tri.pVtx2}) {
            const Vector3 d = (*p - corner) / side;
            whole.corners[whole.num++] = {{d.x(), d.y(), d.z()}};
        }
        const Vector3 normal = tri.getNNV(tri.pVtx0, tri.pVtx1);
        const Plane plane(*tri.pVtx0, normal);
        const Axis w = AXES[static_cast<std::size_t>(normal.getMaxAbsIndex())];
        const Axis u = otherAxes(w)[0], v = otherAxes(w)[1];
        forEachSliceOn(whole, u, [&](double onU, const CutTriangle& slice) {
            forEachSliceOn(slice, v, [&](double onV, const CutTriangle& column) {
                forEachCellOn(column, w, [&](double onW) {
                    const RCD rcd =
                        Packed(0).moved(u, std::llround(onU)).moved(v, std::llround(onV)).moved(w, std::llround(onW)).code();
                    vCells.emplace_back(rcd, placeIn(rcd, plane, column, w, onW));
                });
            });
        });
    }

private:
    Point3 placeIn(RCD rcd, const Plane& plane, const CutTriangle& column, Axis w, double onW) const {
        const Point3 foot = plane.projection(grid.getMidPoint_RCD(rcd));
        if (grid.isInCell(&foot, grid.rcd2ccd(rcd))) return foot;
        const CellPlace mid = cutBetween(column, w, onW + TOUCH_SLIVER, onW + 1.0 - TOUCH_SLIVER).middle();
        Point3 place = corner + Vector3(mid.on(Axis::X), mid.on(Axis::Y), mid.on(Axis::Z)) * side;
        grid.adaptPointToRCD(rcd, place);  // rounding may have put it outside
        return place;
    }

    const Calc& grid;
    const Point3 corner;
    const double side;
    CellPoints& vCells;
};

/// A stretch of the triangles and its cells.
struct TouchBlock {
    std::size_t begin, end;
    CellPoints vCells;
};

}  // namespace

CellPoints touchedCells(const std::vector<Tri*>& vTri, const Calc& grid) {
    constexpr std::size_t TRIANGLES_OF_A_BLOCK = 500;
    std::vector<TouchBlock> vBlocks;
    for (std::size_t begin = 0; begin < vTri.size(); begin += TRIANGLES_OF_A_BLOCK)
        vBlocks.push_back({begin, std::min(begin + TRIANGLES_OF_A_BLOCK, vTri.size()), {}});
    forEach_MT(vBlocks, [&](TouchBlock& block) {
        TouchWalk walk(grid, block.vCells);
        for (std::size_t i = block.begin; i < block.end; ++i)
            walk.add(*vTri[i]);
        std::stable_sort(block.vCells.begin(), block.vCells.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        dropRepeatsOfFirst(block.vCells);
    });
    CellPoints vCells;
    for (TouchBlock& block : vBlocks) {
        vCells.insert(vCells.end(), block.vCells.begin(), block.vCells.end());
        CellPoints().swap(block.vCells);
    }
    sortByFirstMT(vCells);  // stable, so that the first triangle of a cell stays the first
    dropRepeatsOfFirst(vCells);
    return vCells;
}

}  // namespace TARN_KEL
