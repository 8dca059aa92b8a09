// The raster cleaning: thresholds, what stays of sheets and slabs, and what no cleaning may join.
#include "Cloud.h"
#include "RemoveDecider_RCD.h"
#include "freeFunctions.h"
#include "support/packedCells.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using VRCDPoint = Cloud::VRCDPoint;

/// A cloud with no more than the unit grid.
struct GridCloud : Cloud {
    explicit GridCloud(int growSteps = -1) : Cloud("c", -1.0, 1.0, false, growSteps) { pCalc = new Calc(unitGrid()); }
};

VRCD rowOf(int num, int x = 500, int y = 500) {
    VRCD vRCD;
    for (int i = 0; i < num; ++i)
        vRCD.push_back(packedAt(x, y, 500 + i));
    return vRCD;
}

VRCD thinned(VRCD vRCD) {
    GridCloud cloud;
    VRCDPoint vRCDPoint = pointsIn(vRCD);
    VRCD vRemaining = {1};
    cloud.orgPruning(vRCDPoint, vRCD, vRemaining);
    return vRemaining;
}

TEST(getMedianWedge, isTheLargestAngleOfTheMiddleNeighbour) {
    GridCloud cloud;
    std::vector<Point3> vPoints;
    expectFails("!vAxPlusNeigs.empty()", [&] { cloud.getMedianWedge(vPoints); });
    vPoints = {{1, 1, 1}, {2, 1, 1}};
    EXPECT_EQ(cloud.getMedianWedge(vPoints), 0.0);
    // The neighbour in the middle of the row counts, with those before and behind it.
    for (const auto& [vDegrees, wedge] : {std::pair(std::vector{0.0, 30.0, 90.0}, 60.0),
                                          {{90.0, 0.0, 30.0}, 90.0},
                                          {{0.0, 60.0, 120.0, 150.0, -30.0}, 150.0}}) {
        vPoints.resize(1);
        for (const double degrees : vDegrees) {
            const double rad = degrees * std::acos(-1.0) / 180.0;
            vPoints.push_back(vPoints[0] + Vector3(std::cos(rad), std::sin(rad), 0.0) * (1.0 + degrees * degrees));
        }
        EXPECT_NEAR(cloud.getMedianWedge(vPoints), wedge, 1e-6);
    }
}

/// What stays of a row of seven cells whose points lie on a line with a bend of that angle at the middle cell.
VRCD keptOfBentRow(double angle, double& wedge) {
    GridCloud cloud;
    const double rad = angle * std::acos(-1.0) / 180.0;
    const Vector3 back(1.0, 0.0, 0.0), forth(std::cos(rad), std::sin(rad), 0.0);
    VRCD vRow = rowOf(7), vAlive;
    VRCDPoint vRCDPoint;
    for (int i = 0; i < 7; ++i)
        vRCDPoint.emplace_back(vRow[static_cast<std::size_t>(i)],
                               Point3() + (i < 3 ? back * static_cast<double>(3 - i) : forth * static_cast<double>(i - 3)));
    std::vector<Point3> vMiddle = {vRCDPoint[3].second, vRCDPoint[2].second, vRCDPoint[4].second};
    wedge = cloud.getMedianWedge(vMiddle);
    RemoveDecider_RCD decider(vRow, cloud.pCalc);
    cloud.postBorderPruning(decider, vRCDPoint);
    decider.getAliveRCD(vAlive);
    return vAlive;
}

TEST(postBorderPruning, aWedgeOf150DegreesIsFixedAndProtectsItsNeighbours) {
    // The ends of the row have one neighbour, so they are fixed, and the cells next to them stay.
    const VRCD vRow = rowOf(7), vEnds = {vRow[0], vRow[1], vRow[5], vRow[6]};
    bool bExact = false, bAbove = false;
    double angle = 149.999999999999, wedge = 0.0;
    for (; wedge < 150.0000000000005; angle = std::nextafter(angle, 180.0)) {
        const VRCD vKept = keptOfBentRow(angle, wedge);
        bExact = bExact || wedge == 150.0;
        bAbove = bAbove || wedge > 150.0;
        EXPECT_EQ(vKept, wedge > 150.0 ? vEnds : vRow) << wedge - 150.0;
    }
    EXPECT_TRUE(bExact && bAbove);
}

TEST(orgPruning, joinsNoTwoSidesOfALayer) {
    forSeeds(16, [](unsigned seed) {
        const VRCD vLayer = seed % 2 == 0 ? randomShell(10 + static_cast<int>(seed), seed) : randomPacked(16, 0.7, seed);
        const VRCD vKept = thinned(vLayer);
        EXPECT_EQ(countFreeRegions(vKept), countFreeRegions(vLayer));
        EXPECT_TRUE(std::includes(vLayer.begin(), vLayer.end(), vKept.begin(), vKept.end()));
        EXPECT_LT(vKept.size(), vLayer.size());
    });
}

// A row of proposed cells, all of them rim, and one rim cell of the old sheet beside its cell number iBeside: it shares
// corners with the cells iBeside - 1 to iBeside + 1.
TEST(pruneZeros, aPieceThatHangsOnTooLittleMayBeEatenFromItsRim) {
    for (const auto& [length, iBeside, score, bKept] :
         {std::tuple(10, 0, 0.2, false), {10, 1, 0.3, true}, {9, -3, 1.0, true}, {10, -3, 0.0, false}}) {
        SCOPED_TRACE(std::to_string(length) + " cells beside " + std::to_string(iBeside));
        GridCloud cloud;
        VRCD vZero = rowOf(length), vArea = {packedAt(700, 700, 700)}, vBorder = {packedAt(501, 500, 500 + iBeside)};
        std::vector<std::pair<double, VRCD>> vComponents;
        cloud.getZeroComponents(vZero, vBorder, vComponents);
        ASSERT_EQ(vComponents.size(), 1U);
        EXPECT_EQ(vComponents[0], std::make_pair(score, vZero));
        VRCDPoint vProposed = pointsIn(vZero), vAllRmg = pointsIn(vArea);
        std::reverse(vProposed.begin(), vProposed.end());
        vProposed.push_back(vProposed.front());
        cloud.pruneZeros(vArea, vBorder, vProposed, vAllRmg);
        EXPECT_EQ(vAllRmg.size(), 1U + (bKept ? vZero.size() : 0U));
        EXPECT_TRUE(vArea.empty() && vBorder.empty());
    }
}

TEST(pruneZeros, thinsWithinTheWholeSheetAndRefusesCellsOfTheOldOne) {
    GridCloud cloud;
    // A hole of 4 x 4 in a plane, filled by a plug two cells thick: one layer of it must stay, and no more than needed.
    const auto isHole = [](int i, int j) { return i >= 8 && i < 12 && j >= 8 && j < 12; };
    VRCD vSheet = packedWhere(20, [&](int i, int j, int k) { return k == 5 && !isHole(i, j); });
    VRCD vArea, vBorder;
    RemoveDecider_RCD(vSheet, cloud.pCalc).detectAreaAndBorder(vArea, vBorder);
    VRCDPoint vProposed = pointsIn(packedWhere(20, [&](int i, int j, int k) { return (k == 5 || k == 6) && isHole(i, j); }));
    VRCDPoint vAllRmg = pointsIn(vSheet);
    VRCD vAreaCopy = vArea, vBorderCopy = vBorder;
    cloud.pruneZeros(vAreaCopy, vBorderCopy, vProposed, vAllRmg);
    VRCD vAll = codesOf(vAllRmg);
    // A lid over the box above the sheet: closed exactly when the sheet has no hole.
    for (const RCD rcd :
         packedWhere(20, [](int i, int j, int k) { return k == 19 || (k > 5 && (i == 0 || j == 0 || i == 19 || j == 19)); }))
        vAll.push_back(rcd);
    std::sort(vAll.begin(), vAll.end());
    EXPECT_EQ(countFreeRegions(vAll), 2);

    vProposed = pointsIn({vArea.front()});
    expectFails("vLocalArea.size()+vLocalBorder.size()+vZeroRCD.size()==vArBorZer.size()",
                [&] { cloud.pruneZeros(vArea, vBorder, vProposed, vAllRmg); });
}

TEST(cleanPoints_RCD, givesOnePointToEachCellOfAClosedSheet) {
    std::vector<Point3> vPoints;
    for (const Point3& p : Scan(3, 0.02).sphere(60000))  // about 20 points a cell in a layer two or three cells thick
        vPoints.emplace_back(600.0 + 25.0 * p.x(), 600.0 + 25.0 * p.y(), 600.0 + 25.0 * p.z());
    GridCloud cloud, growing(3);
    VRCDPoint vRCDPoint;
    VRCD vAll, vKept;
    cloud.getRCD2Point(vPoints, vRCDPoint, vAll);
    EXPECT_EQ(codesOf(vRCDPoint), vAll);
    std::vector<std::pair<CCD, Point3>> vOut, vOutGrowing;
    cloud.cleanPoints_RCD(vPoints, vOut);
    for (const auto& [ccd, point] : vOut) {
        EXPECT_EQ(cloud.pCalc->getCCD(&point), ccd);
        EXPECT_EQ(std::ranges::count(vPoints, point), 1) << "one of the input";
        vKept.push_back(cloud.pCalc->ccd2rcd(ccd));
    }
    EXPECT_LT(vKept.size(), 3 * vAll.size() / 4);
    EXPECT_EQ(countFreeRegions(sorted(vKept)), countFreeRegions(vAll));
    growing.cleanPoints_RCD(vPoints, vOutGrowing);
    ASSERT_GE(vOutGrowing.size(), vOut.size());
    EXPECT_TRUE(std::equal(vOut.begin(), vOut.end(), vOutGrowing.begin())) << "what was there stays, in front";
}

}  // namespace
