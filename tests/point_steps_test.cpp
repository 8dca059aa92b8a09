// The point stages as functions of their own, and codes as types of their own.
#include "Cloud.h"
#include "CloudMgr.h"
#include "Smooth.h"
#include "cleanCells.h"
#include "codes.h"
#include "inputPoints.h"
#include "nodeCells.h"
#include "runGrid.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

// What RunInput asks for in words, the eight arguments ask for with special values.
TEST(RunInput, givesTheSameBundlesAsArgumentsInARow) {
    const auto vScan = Scan(3, 0.01).sphere(5000);
    const Calc fixed(-10.0, -10.0, -10.0, 25.6, 25.6, 25.6, 9);
    const auto bundles = [&](auto&& takeInput) {
        CloudMgr cloudMgr;
        std::vector<Bundle*> vBundles;
        std::vector<std::pair<CCD, Point3>> vOut;
        Calc* pCalc = nullptr;
        takeInput(cloudMgr);
        cloudMgr.getBundles(vBundles, pCalc);
        for (const Bundle* pBundle : vBundles)
            vOut.emplace_back(pBundle->ccd, *pBundle->pVtx);
        return vOut;
    };
    struct Case {
        RunInput input;
        double spacing, factor;
        bool bLapTreatment, bFixed;
        int numGrowSteps;
    };
    for (const auto& [input, spacing, factor, bLapTreatment, bFixed, numGrowSteps] :
         {Case{{.spacingFactor = 1.3}, -1.0, 1.3, false, false, 0},
          Case{{.spacing = 0.07, .bLapTreatment = true}, 0.07, -1.0, true, false, -1},
          Case{{.spacing = 0.07, .spacingFactor = 2.0, .gapClosing = GapClosing{3}}, 0.07, 5.0, false, false, 3},
          Case{{.grid = fixed}, NOT_A_NUMBER, 1.0, false, true, -7}}) {
        auto vPoints = vScan;
        Calc grid = fixed;
        const auto vByRunInput = bundles([&, &asked = input](CloudMgr& cloudMgr) { cloudMgr.setInput(vPoints, asked); });
        const auto vInARow =
            bundles([&, s = spacing, f = factor, lap = bLapTreatment, own = bFixed, n = numGrowSteps](CloudMgr& cloudMgr) {
                cloudMgr.setInputPoints(vPoints, s, f, false, 361.0, lap, own ? &grid : nullptr, n);
            });
        EXPECT_GT(vByRunInput.size(), 500U);
        EXPECT_EQ(vByRunInput, vInARow);
    }
    CloudMgr cloudMgr;
    EXPECT_GT(countIn(reportOf([&] { cloudMgr.setInput(vScan, {.spacing = -0.1}); }), "usedSpacing>0"), 0);
}

// A caller needs no cloud, and points on one grid don't care how they came.
TEST(PointSteps, makeTheCellsOfACloudOneByOne) {
    auto vPoints = Scan(5, 0.005).fold(6000);
    Cloud cloud("c", -1.0, 1.2, false, -1);
    cloud.setInputPoints(vPoints);
    cloud.prepareScanPoints(false, nullptr);

    EXPECT_EQ(dropNonFinitePoints(vPoints), 0U);
    const PointBounds bounds = boundsOf(vPoints);
    const double detected = estimateSpacing(vPoints, bounds, vPoints.size());
    EXPECT_EQ(detected, cloud.getDetectedSpacing());
    Calc grid = makeGrid(bounds, 1.2 * detected);
    Smooth smooth(vPoints, &grid);
    smooth.run(false);
    const auto vNodePoints = deliveredPoints(oneNodePerCell(smooth.getNodesRef(), grid), grid);
    const CellPoints cells = cleanCells(vNodePoints, grid, std::nullopt);
    ASSERT_EQ(cells.size(), cloud.vBundles.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        EXPECT_EQ(cloud.pCalc->ccd2rcd(cloud.vBundles[i]->ccd), cells[i].first);
        EXPECT_EQ(cloud.vBundles[i]->deliveredPoint, cells[i].second);
    }
}

TEST(Codes, convertAndMoveAlongTheirAxesOnly) {
    std::mt19937_64 random(8);
    for (int i = 0; i < 1000; ++i) {
        const auto coordinate = [&random] { return random() % ((1U << 21) - 20) + 10; };
        const std::array<unsigned long long, 3> cell{coordinate(), coordinate(), coordinate()};
        const Packed packed(cell[0], cell[1], cell[2]);
        const Morton morton(packed);
        EXPECT_EQ(Packed(morton), packed);
        for (const Axis axis : AXES) {
            EXPECT_EQ(packed.on(axis), cell[numberOf(axis)]);
            EXPECT_EQ(morton.on(axis), cell[numberOf(axis)]);
            EXPECT_EQ(morton.block(3).on(axis), cell[numberOf(axis)] / 8);
            const long long numSteps = static_cast<long long>(random() % 21) - 10;
            const Packed moved = packed.moved(axis, numSteps);
            EXPECT_EQ(static_cast<long long>(moved.on(axis)), static_cast<long long>(packed.on(axis)) + numSteps);
            for (const Axis other : otherAxes(axis))
                EXPECT_EQ(moved.on(other), packed.on(other));
        }
    }
    EXPECT_EQ(Morton(~CCD{0} >> 1).block(21).code(), 0U);
}

}  // namespace
