// The grid against slow and obvious versions that look at one bit at a time, and its neighbourhoods against their tables.
#include "Calc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <string>

#include "support/capture.h"

using namespace TARN_KEL;
using TARN_TEST::conditionFailed;
using TARN_TEST::outputOf;
using TARN_TEST::reportOf;

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

void expectContains(const std::string& text, const std::vector<std::string>& vText) {
    for (const std::string& expected : vText)
        EXPECT_NE(text.find(expected), std::string::npos) << expected;
}
template <typename Call>
void expectFailure(const std::string& condition, const Call& call) {
    expectContains(reportOf(call), {conditionFailed(condition)});
}

bool sameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// The coordinate of a low corner, one level after the other.
double lowCorner(double origin, double step, int coordinate, int numLevels) {
    double sum = origin;
    for (int level = 0; level < numLevels; ++level, step *= 2.0)
        if (coordinate >> level & 1) sum += step;
    return sum;
}

const Calc unitGrid(0, 0, 0, 1024, 1024, 1024, 10);  // cells of edge 1

}  // namespace

TEST(Calc, numbersKnownCells) {
    const auto ccdAt = [](double x, double y, double z) {
        const Point3 p(x, y, z);
        return unitGrid.getCCD(&p);
    };
    EXPECT_EQ(ccdAt(1.5, 0, 0.9), 4U);
    EXPECT_EQ(ccdAt(0, 1, 0), 2U);
    EXPECT_EQ(ccdAt(0.9, 0, 1), 1U);
    EXPECT_EQ(ccdAt(1, 1, 1), 7U);
    EXPECT_EQ(ccdAt(2, 0, 0), 32U);
    const Point3 p(1.1, 2.2, 3.3);
    EXPECT_EQ(unitGrid.getRCD(&p), 0x40000400003U);
    EXPECT_EQ(unitGrid.getCCDPlus(&p, 1.0), ccdAt(2.1, 3.2, 4.3));
}

TEST(Calc, codesAndCoordinatesGoRoundAtEveryLevel) {
    forRandomCells(0, [](const Calc& calc, const Cell& cell) {
        const CCD ccd = interleave(cell);
        const RCD rcd = pack(cell);
        const Point3 mid = calc.getMidPoint(ccd);
        EXPECT_EQ(calc.getCCD(&mid), ccd);
        EXPECT_EQ(calc.getRCD(&mid), rcd);
        EXPECT_EQ(calc.ccd2rcd(ccd), rcd);
        EXPECT_EQ(calc.rcd2ccd(rcd), ccd);
        std::array<unsigned long long, 3> xyz{};
        calc.extractIntCCD(ccd, xyz[0], xyz[1], xyz[2]);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto coordinate = static_cast<unsigned long long>(cell[axis]);
            EXPECT_EQ(xyz[axis], coordinate);
            EXPECT_EQ(calc.sparseToNumber(ccd, tribitOf(axis)), coordinate);
            Cell alone{};
            alone[axis] = cell[axis];
            EXPECT_EQ(calc.numberToSparse(coordinate, tribitOf(axis)), interleave(alone));
        }
        EXPECT_EQ(calc.sparseToNumber(ccd, 7), xyz[0] | xyz[1] | xyz[2]);
    });
}

TEST(Calc, cornersAreTheSumOfTheLevelsToTheLastBit) {
    forRandomCells(1, [](const Calc& calc, const Cell& cell) {
        double sx, sy, sz, x, y, z;
        calc.getSteps(sx, sy, sz);
        calc.extractDoubleCCD(interleave(cell), x, y, z);
        EXPECT_TRUE(sameBits(x, lowCorner(-3.25, sx, cell[0], calc.getNumLevels())));
        EXPECT_TRUE(sameBits(y, lowCorner(0.1, sy, cell[1], calc.getNumLevels())));
        EXPECT_TRUE(sameBits(z, lowCorner(1e3, sz, cell[2], calc.getNumLevels())));

        std::vector<Point3> vRef, vMid;
        calc.getRefPoints({interleave(cell)}, vRef);
        calc.getMidPoints({interleave(cell)}, vMid);
        EXPECT_EQ(vRef, std::vector<Point3>{Point3(x, y, z)});
        EXPECT_EQ(vMid, std::vector<Point3>{Point3(x + sx / 2, y + sy / 2, z + sz / 2)});
    });
}

TEST(Calc, conversionsSeeTheLevelsOfTheGridOnly) {
    const Calc calc(0, 0, 0, 8, 8, 8, 3);
    EXPECT_EQ(calc.ccd2rcd(interleave({8 + 1, 16 + 2, 3})), pack({1, 2, 3}));
    EXPECT_EQ(calc.rcd2ccd(pack({8 + 1, 16 + 2, 3})), interleave({1, 2, 3}));
    EXPECT_EQ(calc.numberToSparse(8 + 5, 7), interleave({5, 5, 5}));
    EXPECT_EQ(calc.incSparse(interleave({8 + 3, 0, 0}), 4), interleave({8 + 4, 0, 0}));
}

TEST(Calc, aPointOnTheTopSideHasItsOwnCodeAndOneOffTheGridHasNone) {
    const Point3 top(1024, 1024, 1024);
    EXPECT_EQ(unitGrid.getCCD(&top), interleave({1024, 1024, 1024}));
    EXPECT_EQ(unitGrid.getRCD(&top), pack({1024, 1024, 1024}));

    const Calc finest(0, 0, 0, 1, 1, 1, MAXLEVELS);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const double bad : {-1e-9, 1.0, 1.5, 1e300, inf, -inf, nan})
        for (const Point3& p : {Point3(bad, 0, 0), Point3(0, bad, 0), Point3(0, 0, bad)}) {
            SCOPED_TRACE(bad);
            expectFailure("bOnGrid", [&] { finest.getCCD(&p); });
            expectFailure("bOnGrid", [&] { finest.getRCD(&p); });
        }
}

TEST(Calc, theConstructorGuardsTheLevels) {
    expectFailure("numLevels<=MAXLEVELS", [] { Calc(0, 0, 0, 1, 1, 1, 22); });
    expectFailure("numLevels>=0", [] { Calc(0, 0, 0, 1, 1, 1, -1); });
    Calc calc(1, 2, 3, 8, 16, 32, 3);
    calc.offsetRange(10, 20, 30);
    EXPECT_EQ(calc.getRefPoint(interleave({1, 1, 1})), Point3(12, 24, 37));
    EXPECT_EQ(calc.numCells, 8U);
    EXPECT_EQ(calc.getSideLen(), 1.0);
}

TEST(Calc, stepsMoveOneAxisByOneAndEndAtTheSides) {
    forRandomCells(1, [](const Calc& calc, const Cell& cell) {
        const CCD ccd = interleave(cell);
        const int last = static_cast<int>(calc.numCells) - 1;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const CCD axTriBit = tribitOf(axis);
            for (const bool bIncrease : {false, true}) {
                const auto step = [&](CCD code) {
                    return bIncrease ? calc.incSparse(code, axTriBit) : calc.decSparse(code, axTriBit);
                };
                CCD inPlace = ccd;
                if (cell[axis] == (bIncrease ? last : 0)) {
                    expectFailure("false", [&] { step(ccd); });
                    bool bMoved = true;
                    const std::string text = outputOf([&] { bMoved = calc.manipOneAxis(inPlace, bIncrease, axTriBit); });
                    EXPECT_FALSE(bMoved);
                    EXPECT_EQ(inPlace, ~0ULL);
                    expectContains(text, {"ERROR, out of range, bIncrease=" + std::to_string(bIncrease) +
                                              ", axTribit=" + std::to_string(axTriBit) + "this is ",
                                          ", numLevels=" + std::to_string(calc.numLevels), "End not found"});
                    continue;
                }
                Cell by{};
                by[axis] = bIncrease ? 1 : -1;
                EXPECT_EQ(step(ccd), interleave(moved(cell, by)));
                EXPECT_TRUE(calc.manipOneAxis(inPlace, bIncrease, axTriBit));
                EXPECT_EQ(inPlace, step(ccd));
            }
        }
    });
}

TEST(Calc, getOffValMovesWithinTheGridAndEndsTheRunBeyond) {
    const CCD ccd = interleave({5, 6, 7});
    for (const int value : {-6, -1, 0, 1, 1017})
        EXPECT_EQ(unitGrid.getOffVal(ccd, value, 2), interleave({5, 6 + value, 7}));
    for (const int value : {-7, std::numeric_limits<int>::min()}) {
        const std::string report = reportOf([&] { unitGrid.getOffVal(ccd, value, 2); });
        expectContains(report, {"out of range", "value=" + std::to_string(value), "component=6", "goToHell(): "});
    }
    for (const int value : {1018, std::numeric_limits<int>::max()}) {
        const std::string report = reportOf([&] { unitGrid.getOffVal(ccd, value, 2); });
        expectContains(report,
                       {"value=" + std::to_string(value), "new component=" + std::to_string(value + 6LL), "maxVal=1024"});
    }
}

TEST(Calc, comparesCodesAxisByAxis) {
    std::mt19937 random(12);
    std::uniform_int_distribution<int> small(3, 5);
    for (int i = 0; i < 3000; ++i) {
        std::array<Cell, 4> cells{};
        for (Cell& cell : cells)
            for (int& coordinate : cell)
                coordinate = small(random) * 1000;
        std::array<CCD, 4> c{};
        for (std::size_t k = 0; k < 4; ++k)
            c[k] = interleave(cells[k]);

        // For the first k cells: how many axes vary, the last one that does, and the last one that doesn't.
        std::array<int, 5> numVary{}, vary{}, same{};
        for (std::size_t k = 2; k <= 4; ++k)
            for (std::size_t axis = 0; axis < 3; ++axis) {
                std::set<int> sValue;
                for (std::size_t j = 0; j < k; ++j)
                    sValue.insert(cells[j][axis]);
                numVary[k] += sValue.size() > 1;
                (sValue.size() > 1 ? vary : same)[k] = static_cast<int>(axis);
            }
        EXPECT_EQ(unitGrid.getNumDifferent_CCD(c[0], c[1]), numVary[2]);
        EXPECT_EQ(unitGrid.getNumDifferent_CCD(c[0], c[1], c[2]), numVary[3]);
        EXPECT_EQ(unitGrid.getNumDifferent_CCD(c[0], c[1], c[2], c[3]), numVary[4]);
        EXPECT_EQ(unitGrid.getNumDifferent_RCD(pack(cells[0]), pack(cells[1])), numVary[2]);
        EXPECT_EQ(unitGrid.getUniqueDifferentComponent(c[0], c[1]), numVary[2] == 1 ? vary[2] : -1);
        EXPECT_EQ(unitGrid.getUniqueSameComponent(c[0], c[1]), numVary[2] == 2 ? same[2] : -1);
        EXPECT_EQ(unitGrid.getUniqueSameComponent(c[0], c[1], c[2]), numVary[3] == 2 ? same[3] : -1);
        if (numVary[2] > 0) {
            constexpr NeigTyp types[] = {NT_NONE, NT_FACE, NT_EDGE, NT_VERTEX};
            EXPECT_EQ(unitGrid.getNeigType(c[0], c[1]), types[numVary[2]]);
        }
    }
    expectFailure("result_xor", [] { unitGrid.getNeigType(5, 5); });
}

TEST(Calc, smallOperationsKeepTheirTablesAndGuards) {
    for (int value = 0; value < 256; ++value)
        EXPECT_EQ(Calc::getNumSet8(value), __builtin_popcount(static_cast<unsigned>(value)));
    expectFailure("val<256", [] { Calc::getNumSet8(256); });
    expectFailure("axTriBit<8", [] { unitGrid.sparseToNumber(1, 8); });
    expectFailure("axTriBit<8", [] { unitGrid.numberToSparse(1, 8); });
    CCD a = 0, b = 0;
    for (const auto& [axis, first, second] : {std::array<CCD, 3>{4, 2, 1}, {2, 4, 1}, {1, 4, 2}}) {
        Calc::getOrthoTribs(axis, a, b);
        EXPECT_TRUE(a == first && b == second) << axis;
    }
    expectFailure("false", [&] { Calc::getOrthoTribs(3, a, b); });
}

TEST(Calc, pullsAPointIntoACellJustAsFarAsNeeded) {
    const Cell cell{5, 5, 5};
    const auto pull = [&](bool bPacked, Point3& p) {
        return bPacked ? unitGrid.adaptPointToRCD(pack(cell), p) : unitGrid.adaptPointToCCD(interleave(cell), p);
    };
    for (const bool bPacked : {false, true}) {
        for (const auto& [x, f] : {std::pair(4.9999, 1.0 / 1024), {4.9, 256.0 / 1024}, {4.0, 1.0}, {4.45, 1.0}}) {
            Point3 p(x, 5.5, 5.5);
            EXPECT_TRUE(pull(bPacked, p));
            EXPECT_EQ(p, Point3(x + (5.5 - x) * f, 5.5, 5.5)) << x;
            const Point3 before = p;
            EXPECT_FALSE(pull(bPacked, p));
            EXPECT_EQ(p, before);
        }
        Point3 p(900, 2, 3);
        EXPECT_TRUE(pull(bPacked, p));
        EXPECT_EQ(unitGrid.getRCD(&p), pack(cell));
    }
    Point3 p(1, 1, 1);  // the code lies above the levels of the grid, its midpoint in cell (0, 0, 0)
    expectFailure("false", [&] { unitGrid.adaptPointToCCD(interleave({1024, 0, 0}), p); });
}

// ---- Neighbourhoods: the tables are typed out as offsets

namespace {

void expectOffsets(const CCD* array, const Cell& cell, const std::vector<Cell>& vOffset, const std::string& name) {
    for (std::size_t i = 0; i < vOffset.size(); ++i)
        EXPECT_EQ(array[i], interleave(moved(cell, vOffset[i]))) << name << " at " << i;
}

const std::vector<Cell> vPlus{{0, 0, 0}, {1, 0, 0}, {1, 0, 1}, {0, 0, 1}, {0, 1, 0}, {1, 1, 0}, {1, 1, 1}, {0, 1, 1}};
const std::vector<Cell> vSym{{-1, -1, 0}, {0, -1, 0}, {0, -1, -1}, {-1, -1, -1},
                             {-1, 0, 0},  {0, 0, 0},  {0, 0, -1},  {-1, 0, -1}};
const std::vector<std::vector<Cell>> vvRing{
    {{0, -1, -1}, {0, 0, -1}, {0, 1, -1}, {0, 1, 0}, {0, 1, 1}, {0, 0, 1}, {0, -1, 1}, {0, -1, 0}},
    {{-1, 0, -1}, {0, 0, -1}, {1, 0, -1}, {1, 0, 0}, {1, 0, 1}, {0, 0, 1}, {-1, 0, 1}, {-1, 0, 0}},
    {{-1, -1, 0}, {-1, 0, 0}, {-1, 1, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}, {1, -1, 0}, {0, -1, 0}}};

}  // namespace

TEST(CalcNeighbourhoods, ringsAndCubesKeepTheirOrders) {
    for (const Cell& cell : {Cell{1, 1, 1}, {15, 16, 31}, {512, 511, 1022}}) {
        std::array<CCD, 8> array{interleave(cell)};
        unitGrid.completeArrayPlus(array.data());
        expectOffsets(array.data(), cell, vPlus, "plus");
        const std::set<CCD> sPlus(array.begin(), array.end());
        array[5] = array[6];
        unitGrid.completeArraySym(array.data());
        EXPECT_EQ(std::set<CCD>(array.begin(), array.end()), sPlus);
        array[5] = interleave(cell);
        unitGrid.completeArraySym(array.data());
        expectOffsets(array.data(), cell, vSym, "sym");
        for (int plane = 0; plane < 3; ++plane) {
            unitGrid.getPlaneCCD8(interleave(cell), plane, array.data());
            expectOffsets(array.data(), cell, vvRing[static_cast<std::size_t>(plane)], "plane " + std::to_string(plane));
        }
    }
    std::array<CCD, 8> array{};
    const std::string report = reportOf([&] { unitGrid.getPlaneCCD8(7, 3, array.data()); });
    expectContains(report, {"Bug, planeIndex=3", conditionFailed("false")});
    array[5] = interleave({0, 1, 1});
    expectFailure("false", [&] { unitGrid.completeArraySym(array.data()); });
    array[0] = interleave({1, 1, 1023});
    expectFailure("false", [&] { unitGrid.completeArrayPlus(array.data()); });
    expectFailure("false", [&] { unitGrid.getXPlaneCCD8(interleave({1, 0, 1}), array.data()); });
}

TEST(CalcNeighbourhoods, blocksKeepTheirOrders) {
    for (const Cell& cell : {Cell{1, 1, 1}, {15, 16, 31}, {512, 511, 1022}}) {
        std::array<CCD, 27> interleaved{};
        std::array<RCD, 27> packed{};
        unitGrid.completeArray27(interleave(cell), interleaved.data());
        unitGrid.completeArray27_RCD(pack(cell), packed.data());
        VRCD vAscending;
        for (int i = 0; i < 27; ++i) {
            const Cell neig = moved(cell, {i % 3 - 1, i / 3 % 3 - 1, i / 9 - 1});
            EXPECT_EQ(interleaved[static_cast<std::size_t>(i)], interleave(neig)) << i;
            EXPECT_EQ(packed[static_cast<std::size_t>(i)], pack(neig)) << i;
            if (neig != cell) vAscending.push_back(pack(neig));
        }
        std::sort(vAscending.begin(), vAscending.end());
        VRCD vOut(26);
        unitGrid.completeArray26_RCD(pack(cell), vOut.data());
        EXPECT_EQ(vOut, vAscending);
    }
    VRCD vOut(26);
    for (const Cell& cell : {Cell{0, 1, 1}, {1, 0, 1}, {1, 1, 0}})
        expectFailure("x>0 && y>0 && z>0", [&] { unitGrid.completeArray26_RCD(pack(cell), vOut.data()); });
}

TEST(CalcNeighbourhoods, fourCellsStandAroundALatticeEdge) {
    const Cell low{3, 4, 5};
    const std::vector<std::vector<Cell>> vvOffset{{{0, 0, 0}, {0, -1, 0}, {0, 0, -1}, {0, -1, -1}},
                                                  {{0, 0, 0}, {-1, 0, 0}, {0, 0, -1}, {-1, 0, -1}},
                                                  {{0, 0, 0}, {-1, 0, 0}, {0, -1, 0}, {-1, -1, 0}}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Cell by{};
        by[axis] = 1;
        const RCC a = pack(low), b = pack(moved(low, by));
        VRCD vExpected{99}, vOut{99}, vOutOfReversed{99};
        for (const Cell& offset : vvOffset[axis])
            vExpected.push_back(pack(moved(low, offset)));
        unitGrid.getCbsAroundEdge(a, b, vOut);
        unitGrid.getCbsAroundEdge(b, a, vOutOfReversed);
        EXPECT_EQ(vOut, vExpected);
        EXPECT_EQ(vOutOfReversed, vExpected);
    }
    VRCD vOut;
    const auto expectFailureFor = [&](const std::string& condition, const Cell& other) {
        expectFailure(condition, [&] { unitGrid.getCbsAroundEdge(pack(low), pack(other), vOut); });
    };
    expectFailureFor("xdiff==0 || xdiff==1", {5, 4, 5});
    expectFailureFor("ydiff==0 || ydiff==1", {4, 3, 5});
    expectFailureFor("zdiff==0 || zdiff==1", {3, 4, 8});
    expectFailureFor("xdiff+ydiff+zdiff==1", {4, 5, 5});
    expectFailureFor("xdiff+ydiff+zdiff==1", low);
    EXPECT_TRUE(vOut.empty());
}
