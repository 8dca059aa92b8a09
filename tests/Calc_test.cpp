// The grid against slow and obvious versions that look at one bit at a time, and its neighbourhoods against their tables.
#include "Calc.h"

#include <bit>

#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Cell = std::array<int, 3>;

// Every level with some random cells, the corners of the grid among them.
template <typename Check>
void forRandomCells(int minLevels, const Check& check) {
    std::mt19937_64 random(4711);
    for (int numLevels = minLevels; numLevels <= MAXLEVELS; ++numLevels) {
        const Calc calc(-3.25, 0.1, 1e3, 7.7, 5.0, 1.0 / 3.0, numLevels);
        const int last = (1 << numLevels) - 1;
        std::uniform_int_distribution<int> anywhere(0, last);
        const auto coordinate = [&](int i, int axis) { return i < 8 ? (i >> axis & 1) * last : anywhere(random); };
        for (int i = 0; i < 60; ++i) {
            const Cell cell{coordinate(i, 0), coordinate(i, 1), coordinate(i, 2)};
            SCOPED_TRACE(std::to_string(numLevels) + " levels, cell " + ::testing::PrintToString(cell));
            check(calc, cell);
        }
    }
}

CCD interleave(const Cell& cell) {
    CCD ccd = 0;
    for (int level = 0; level < MAXLEVELS; ++level)
        for (int axis = 0; axis < 3; ++axis)
            if (cell[static_cast<std::size_t>(axis)] >> level & 1) ccd |= 1ULL << (3 * level + 2 - axis);
    return ccd;
}
RCD pack(const Cell& cell) {
    RCD rcd = 0;
    for (const int coordinate : cell)
        rcd = rcd * (1ULL << 21) + static_cast<RCD>(coordinate);
    return rcd;
}
Cell moved(const Cell& cell, const Cell& by) {
    return {cell[0] + by[0], cell[1] + by[1], cell[2] + by[2]};
}
CCD tribitOf(std::size_t axis) {
    return 4ULL >> axis;
}

const Calc grid(0, 0, 0, 1024, 1024, 1024, 10);  // cells of edge 1

}  // namespace

TEST(Calc, codesAndCoordinatesGoRoundAtEveryLevel) {
    forRandomCells(0, [](const Calc& calc, const Cell& cell) {
        const CCD ccd = interleave(cell);
        const RCD rcd = pack(cell);
        const Point3 mid = calc.getMidPoint(ccd);
        EXPECT_EQ(calc.getCCD(&mid), ccd);
        EXPECT_EQ(calc.getRCD(&mid), rcd);
        EXPECT_EQ(std::pair(calc.ccd2rcd(ccd), calc.rcd2ccd(rcd)), std::pair(rcd, ccd));
        std::array<unsigned long long, 3> xyz{};
        calc.extractIntCCD(ccd, xyz[0], xyz[1], xyz[2]);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(xyz[axis], static_cast<unsigned long long>(cell[axis]));
            EXPECT_EQ(calc.sparseToNumber(ccd, tribitOf(axis)), xyz[axis]);
            Cell alone{};
            alone[axis] = cell[axis];
            EXPECT_EQ(calc.numberToSparse(xyz[axis], tribitOf(axis)), interleave(alone));
        }
        EXPECT_EQ(calc.sparseToNumber(ccd, 7), xyz[0] | xyz[1] | xyz[2]);
    });
}

TEST(Calc, cornersAreWholeStepsFromTheOrigin) {
    forRandomCells(1, [](const Calc& calc, const Cell& cell) {
        double sx, sy, sz, x, y, z;
        calc.getSteps(sx, sy, sz);
        calc.extractDoubleCCD(interleave(cell), x, y, z);
        EXPECT_NEAR(x, -3.25 + sx * cell[0], 1e-14 * 7.7);
        EXPECT_NEAR(y, 0.1 + sy * cell[1], 1e-14 * 5.0);
        EXPECT_NEAR(z, 1e3 + sz * cell[2], 1e-14 * 1e3);

        const VCCD vCCD{interleave(cell)};
        EXPECT_EQ(listOf<Point3>([&](auto& v) { calc.getRefPoints(vCCD, v); }), std::vector{Point3(x, y, z)});
        EXPECT_EQ(listOf<Point3>([&](auto& v) { calc.getMidPoints(vCCD, v); }),
                  std::vector{Point3(x, y, z) + Vector3(sx, sy, sz) * 0.5});
    });
}

TEST(Calc, conversionsSeeTheLevelsOfTheGridOnly) {
    expectFails("numLevels<=MAXLEVELS", [] { Calc(0, 0, 0, 1, 1, 1, 22); });
    expectFails("numLevels>=0", [] { Calc(0, 0, 0, 1, 1, 1, -1); });
    Calc calc(1, 2, 3, 8, 16, 32, 3);
    EXPECT_EQ(calc.ccd2rcd(interleave({8 + 1, 16 + 2, 3})), pack({1, 2, 3}));
    EXPECT_EQ(calc.rcd2ccd(pack({8 + 1, 16 + 2, 3})), interleave({1, 2, 3}));
    EXPECT_EQ(calc.numberToSparse(8 + 5, 7), interleave({5, 5, 5}));
    EXPECT_EQ(calc.incSparse(interleave({8 + 3, 0, 0}), 4), interleave({8 + 4, 0, 0}));
    calc.offsetRange(10, 20, 30);
    EXPECT_EQ(calc.getRefPoint(interleave({1, 1, 1})), Point3(12, 24, 37));
}

TEST(Calc, aPointOnTheTopSideHasItsOwnCodeAndOneOffTheGridHasNone) {
    const Point3 below(1020.5, 1020.5, 1020.5);
    EXPECT_EQ(grid.getCCDPlus(&below, 3.0), interleave({1023, 1023, 1023}));
    const Point3 top(1024, 1024, 1024);
    EXPECT_EQ(grid.getCCD(&top), interleave({1024, 1024, 1024}));
    EXPECT_EQ(grid.getRCD(&top), pack({1024, 1024, 1024}));

    const Calc finest(0, 0, 0, 1, 1, 1, MAXLEVELS);
    for (const double bad : {-1e-9, 1.0, 1e300, NOT_A_NUMBER})
        for (const Point3& p : {Point3(bad, 0, 0), Point3(0, bad, 0), Point3(0, 0, bad)}) {
            SCOPED_TRACE(bad);
            expectFails("bOnGrid", [&] { finest.getCCD(&p); });
            expectFails("bOnGrid", [&] { finest.getRCD(&p); });
        }
}

TEST(Calc, stepsMoveOneAxisByOneAndEndAtTheSides) {
    forRandomCells(1, [](const Calc& calc, const Cell& cell) {
        const CCD ccd = interleave(cell);
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (const int step : {-1, 1}) {
                CCD inPlace = ccd;
                const auto byCode = [&] {
                    return step > 0 ? calc.incSparse(ccd, tribitOf(axis)) : calc.decSparse(ccd, tribitOf(axis));
                };
                if (cell[axis] == (step > 0 ? static_cast<int>(calc.numCells) - 1 : 0)) {
                    expectFails("false", byCode);
                    expectText("out of range", [&] { EXPECT_FALSE(calc.manipOneAxis(inPlace, step > 0, tribitOf(axis))); });
                    EXPECT_EQ(inPlace, ~0ULL);
                    continue;
                }
                Cell by{};
                by[axis] = step;
                EXPECT_EQ(byCode(), interleave(moved(cell, by)));
                EXPECT_TRUE(calc.manipOneAxis(inPlace, step > 0, tribitOf(axis)) && inPlace == byCode());
            }
    });
}

TEST(Calc, getOffValMovesWithinTheGridAndEndsTheRunBeyond) {
    const CCD ccd = interleave({5, 6, 7});
    for (const int value : {-6, -1, 0, 1, 1017})
        EXPECT_EQ(grid.getOffVal(ccd, value, 2), interleave({5, 6 + value, 7}));
    for (const int value : {-7, std::numeric_limits<int>::min(), 1018, std::numeric_limits<int>::max()})
        EXPECT_EQ(countIn(reportOf([&] { grid.getOffVal(ccd, value, 2); }), "value=" + std::to_string(value)), 1);
}

TEST(Calc, comparesCodesAxisByAxis) {
    constexpr NeigTyp TYPES[] = {NT_NONE, NT_FACE, NT_EDGE, NT_VERTEX};
    for (unsigned second = 0; second < 8; ++second)
        for (unsigned third = 0; third < 8; ++third) {  // bit a: another coordinate on axis a
            const auto at = [](unsigned mask) {
                return Cell{3000 + 1000 * static_cast<int>(mask & 1), 4000 - 1000 * static_cast<int>(mask >> 1 & 1),
                            3000 + 2000 * static_cast<int>(mask >> 2)};
            };
            const auto onlyAxisOf = [](unsigned mask) { return std::popcount(mask) == 1 ? std::countr_zero(mask) : -1; };
            const CCD a = interleave(at(0)), b = interleave(at(second)), c = interleave(at(third));
            const unsigned either = second | third;
            EXPECT_EQ(grid.getNumDifferent_CCD(a, a, b, c), std::popcount(either));
            EXPECT_EQ(grid.getNumDifferent_RCD(pack(at(0)), pack(at(second))), std::popcount(second));
            EXPECT_EQ(grid.getUniqueDifferentComponent(a, b), onlyAxisOf(second));
            EXPECT_EQ(grid.getUniqueSameComponent(a, b, c), onlyAxisOf(7 ^ either));
            EXPECT_TRUE(second == 0 || grid.getNeigType(a, b) == TYPES[std::popcount(second)]);
        }
    expectFails("result_xor", [] { grid.getNeigType(5, 5); });
    CCD a = 0, b = 0;
    for (const CCD axis : {4U, 2U, 1U}) {
        Calc::getOrthoTribs(axis, a, b);
        EXPECT_TRUE(a > b && (a | b) == 7 - axis) << axis;
    }
}

TEST(Calc, pullsAPointIntoACellJustAsFarAsNeeded) {
    const CCD ccd = interleave({5, 5, 5});
    for (const bool bPacked : {false, true}) {
        const auto pull = [&](Point3& p) {
            return bPacked ? grid.adaptPointToRCD(pack({5, 5, 5}), p) : grid.adaptPointToCCD(ccd, p);
        };
        for (const auto& [x, f] : {std::pair(4.9999, 1.0 / 1024), {4.9, 256.0 / 1024}, {900.0, 1.0}}) {
            Point3 p(x, 5.5, 5.5);
            EXPECT_TRUE(pull(p));
            EXPECT_EQ(p, Point3(x + (5.5 - x) * f, 5.5, 5.5)) << x;
            EXPECT_EQ(grid.getCCD(&p), ccd);
            EXPECT_FALSE(pull(p)) << "it is there";
        }
    }
    Point3 p(1, 1, 1);  // the code lies above the levels of the grid, its midpoint in cell (0, 0, 0)
    expectFails("false", [&] { grid.adaptPointToCCD(interleave({1024, 0, 0}), p); });
}

namespace {

constexpr std::array<Cell, 8> PLUS{{{0, 0, 0}, {1, 0, 0}, {1, 0, 1}, {0, 0, 1}, {0, 1, 0}, {1, 1, 0}, {1, 1, 1}, {0, 1, 1}}};
/// Around a cell in a plane, in steps along its two axes, which are these in each plane.
constexpr std::array<std::array<int, 2>, 8> RING{{{-1, -1}, {0, -1}, {1, -1}, {1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}}};
constexpr std::array<std::array<std::size_t, 2>, 3> AXES{{{1, 2}, {0, 2}, {1, 0}}};
const std::array<Cell, 3> CENTRES{{{1, 1, 1}, {15, 16, 31}, {512, 511, 1022}}};

}  // namespace

TEST(CalcNeighbourhoods, ringsAndCubesKeepTheirOrders) {
    for (const Cell& cell : CENTRES) {
        std::array<CCD, 8> plus{interleave(cell)}, sym{}, ring{};
        sym[5] = plus[0];
        grid.completeArrayPlus(plus.data());
        grid.completeArraySym(sym.data());
        for (std::size_t i = 0; i < 8; ++i) {
            EXPECT_EQ(plus[i], interleave(moved(cell, PLUS[i]))) << i;
            EXPECT_EQ(sym[i], interleave(moved(cell, {PLUS[i][0] - 1, PLUS[i][1] - 1, -PLUS[i][2]}))) << "mirrored " << i;
            for (std::size_t plane = 0; plane < 3; ++plane) {
                grid.getPlaneCCD8(interleave(cell), static_cast<int>(plane), ring.data());
                Cell by{};
                for (const std::size_t k : {0U, 1U})
                    by[AXES[plane][k]] = RING[i][k];
                EXPECT_EQ(ring[i], interleave(moved(cell, by))) << plane << " " << i;
            }
        }
    }
    std::array<CCD, 8> array{interleave({1, 1, 1023})};
    array[5] = interleave({0, 1, 1});
    expectFails("false", [&] { grid.completeArraySym(array.data()); });
    expectFails("false", [&] { grid.completeArrayPlus(array.data()); });
    expectFails("false", [&] { grid.getXPlaneCCD8(interleave({1, 0, 1}), array.data()); });
    expectFails("false", [&] { grid.getPlaneCCD8(7, 3, array.data()); });
}

TEST(CalcNeighbourhoods, blocksKeepTheirOrders) {
    for (const Cell& cell : CENTRES) {
        std::array<CCD, 27> interleaved{};
        std::array<RCD, 27> packed{};
        grid.completeArray27(interleave(cell), interleaved.data());
        grid.completeArray27_RCD(pack(cell), packed.data());
        VRCD vAscending;
        for (int i = 0; i < 27; ++i) {
            const Cell neig = moved(cell, {i % 3 - 1, i / 3 % 3 - 1, i / 9 - 1});
            EXPECT_EQ(interleaved[static_cast<std::size_t>(i)], interleave(neig)) << i;
            EXPECT_EQ(packed[static_cast<std::size_t>(i)], pack(neig)) << i;
            if (neig != cell) vAscending.push_back(pack(neig));
        }
        std::sort(vAscending.begin(), vAscending.end());
        VRCD vOut(26);
        grid.completeArray26_RCD(pack(cell), vOut.data());
        EXPECT_EQ(vOut, vAscending);
    }
    VRCD vOut(26);
    for (const Cell& cell : {Cell{0, 1, 1}, {1, 0, 1}, {1, 1, 0}})
        expectFails("x>0 && y>0 && z>0", [&] { grid.completeArray26_RCD(pack(cell), vOut.data()); });
}

TEST(CalcNeighbourhoods, fourCellsStandAroundALatticeEdge) {
    const Cell low{3, 4, 5};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Cell by{}, a{}, b{};
        by[axis] = 1;
        a[axis == 0 ? 1 : 0] = b[axis == 2 ? 1 : 2] = -1;  // the two other axes
        const VRCD vExpected{pack(low), pack(moved(low, a)), pack(moved(low, b)), pack(moved(moved(low, a), b))};
        for (const auto& [from, to] : {std::pair(low, moved(low, by)), {moved(low, by), low}})
            EXPECT_EQ(listOf<RCD>([p = pack(from), q = pack(to)](auto& v) { grid.getCbsAroundEdge(p, q, v); }), vExpected);
    }
    VRCD vOut;
    for (const Cell& other : {Cell{5, 4, 5}, {4, 3, 5}, {3, 4, 8}, low})
        reportOf([&] { grid.getCbsAroundEdge(pack(low), pack(other), vOut); });
}
