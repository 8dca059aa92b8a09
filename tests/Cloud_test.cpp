// The cloud and its manager: spacing, grid, bundles, and what becomes of bad input.
#include "Cloud.h"

#include "CloudMgr.h"
#include "Progress.h"
#include "Smooth.h"
#include "support/TempFolder.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// A cloud of the points up to the spacing; a detected one is of no use to the grid.
std::unique_ptr<Cloud> cloudOf(std::vector<Point3> vPoints, double spacingAbs) {
    progressForReco();
    auto pCloud = std::make_unique<Cloud>("c", spacingAbs, -1.0, false, -1);
    pCloud->setInputPoints(vPoints);
    pCloud->estimateRes2();
    return pCloud;
}
double detectedSpacing(const std::vector<Point3>& vPoints) {
    return cloudOf(vPoints, -1.0)->getDetectedSpacing();
}

/// The bundles of the points, as a run makes them.
struct Prepared {
    explicit Prepared(std::vector<Point3> vPoints) {
        progressForReco();
        cloudMgr.setInputPoints(vPoints, -1.0, 1.0, false, 361.0, false, nullptr, -1);
        cloudMgr.getBundles(vBundles, pCalc);
    }
    CloudMgr cloudMgr;
    Calc* pCalc = nullptr;
    std::vector<Bundle*> vBundles;
};

std::vector<std::vector<Point3>> scans() {
    std::vector<Point3> vTwins = Scan(7).plane(500);  // most steps between codes are too fine to count
    for (std::size_t i = 0; i < 500; ++i)
        for (double d = 1e-6; d < 4e-6; d += 1e-6)
            vTwins.emplace_back(vTwins[i].x() + d, vTwins[i].y(), 0.0);
    return {vTwins,
            Scan(2).plane(5000),
            Scan(3, 0.02).torus(10000),
            Scan(4).dust(3000),
            Scan(5).plane(2),
            scaled(Scan(6).sphere(10), 3),
            {{0, 0, 0}, {0, 0, 1e-9}, {0, 0, 1}},
            {{0, 0, 0}, {1, 1, 1}, {1, 1, 1}}};
}

// The spacing is that of an even triangular lattice with as many points an area, whatever the shape.
TEST(estimateRes2, followsTheDensityAtAnyScaleInAnyOrder) {
    const double pi = std::acos(-1.0);
    for (const auto& [vPoints, area] : {std::pair{Scan(1).sphere(20000), 4.0 * pi},
                                        {Scan(2).plane(80000), 1.0},
                                        {scaled(Scan(5).sphere(3000), 3.0), 36.0 * pi}}) {
        const double spacing = std::sqrt(2.0 / std::sqrt(3.0) * area / static_cast<double>(vPoints.size()));
        EXPECT_NEAR(detectedSpacing(vPoints) / spacing, 1.1, 0.1) << vPoints.size();
    }
    for (auto vPoints : scans()) {
        const double spacing = detectedSpacing(vPoints);
        EXPECT_EQ(detectedSpacing(scaled(vPoints, 1024.0)), 1024.0 * spacing);
        for (const double f : {10.0, 1e-6, 1e9})
            EXPECT_NEAR(detectedSpacing(scaled(vPoints, f)) / f, spacing, 1e-2 * spacing);
        Scan(9).shuffle(vPoints);
        EXPECT_EQ(detectedSpacing(vPoints), spacing);
    }
    const auto vPlane = Scan(2).plane(5000);
    EXPECT_NEAR(detectedSpacing(scaled(vPlane, 1.0, 1e7)), detectedSpacing(vPlane), 1e-2 * detectedSpacing(vPlane));
}

TEST(estimateRes2, takesTheExtentWherePointsAllButCoincide) {
    EXPECT_EQ(detectedSpacing({{5, 5, 5}, {5, 5, 5}}), 1.0);
    EXPECT_EQ(detectedSpacing({{0, 0, 0}, {1e-310, 0, 0}}), 1e-310);  // too small to be divided by
    EXPECT_EQ(detectedSpacing({{-LARGEST, 0, 0}, {LARGEST, 0, 0}}), INF);
}

/// A cloud of the given extent with a spacing set by the caller, up to its grid.
std::unique_ptr<Cloud> cloudWithGrid(double extent, double spacing, double offset = 0.0) {
    auto pCloud = cloudOf({{offset, offset, offset}, {offset + extent, offset, offset}}, spacing);
    pCloud->createCalc();
    return pCloud;
}

TEST(createCalc, takesTheLeastLevelWithAMarginOfFiveThousandCells) {
    for (const auto& [extent, level] :
         std::vector<std::pair<double, int>>{{0, 14}, {1000, 14}, {6383, 14}, {6384, 15}, {(1 << 21) - 10000.0, 21}}) {
        std::unique_ptr<Cloud> pCloud;
        const std::string text = outputOf([&, e = extent] { pCloud = cloudWithGrid(0.25 * e, 0.25); });
        EXPECT_EQ(pCloud->getCalc()->getNumLevels(), level) << extent;
        EXPECT_EQ(pCloud->getCalc()->getSideLen(), 0.25);
        EXPECT_EQ(pCloud->getDetectedSpacing(), -1.0);
        EXPECT_EQ(countIn(text, "BaseLevel out of range: 22"), extent > 1e6 ? 1 : 0);
        const Point3 low(0, 0, 0), high(0.25 * extent, 0, 0);
        EXPECT_EQ(getX_RCD(pCloud->getCalc()->getRCD(&low)), 5000U);
        EXPECT_EQ(getX_RCD(pCloud->getCalc()->getRCD(&high)), 5000U + static_cast<unsigned>(extent));
    }
}

TEST(createCalc, refusesWhatCannotBeAGrid) {
    const std::tuple<double, double, double, const char*> table[] = {{1.0, 0.0, 0, "usedSpacing>0"},
                                                                     {1.0, NOT_A_NUMBER, 0, "usedSpacing>0"},
                                                                     {1.0, INF, 0, "usedSpacing>0"},
                                                                     {1.0, 1e-300, 0, "BaseLevel out of range: 997"},
                                                                     {LARGEST, 1e-300, 0, "BaseLevel out of range: 1025"},
                                                                     {1.0, 4.7e-7, 0, "numCReal>=numReqC"},
                                                                     {1.0, LARGEST, 0, "bHasMargin"},
                                                                     {0.0, 1e-300, 1.0, "can't resolve the spacing 1e-300"},
                                                                     {1e-9, 1e-14, 1e7, "bHasMargin"}};
    for (const auto& [extent, spacing, offset, reported] : table) {
        const std::string text = reportOf([&, e = extent, s = spacing, o = offset] { cloudWithGrid(e, s, o); });
        EXPECT_GT(countIn(text, reported), 0) << extent << " at " << spacing << ":\n" << text;
    }
}

TEST(setInputPoints, leavesOutWhatIsNotFiniteAndCountsIt) {
    std::vector<Point3> vPoints = {{0, 0, 0}, {NOT_A_NUMBER, 0, 0}, {1, 0, 0}, {0, INF, 0}, {2, 0, -INF}, {3, 3, 3}};
    Cloud cloud("c", 1.0, -1.0, false, -1);
    const std::string text = outputOf([&] { cloud.setInputPoints(vPoints); });
    EXPECT_EQ(cloud.vPoints, (std::vector<Point3>{{0, 0, 0}, {1, 0, 0}, {3, 3, 3}}));
    EXPECT_EQ(cloud.numInputPoints, 3U);
    EXPECT_EQ(countIn(text, "aren't finite, left out: 3"), 1) << text;
}

TEST(Cloud, takesTheFootOfTheMidpointOnFlatPiecesAndTheNodeItselfElsewhere) {
    std::vector<Point3> vFold = Scan(5).fold(6000);
    Cloud cloud("c", 0.03, -1.0, false, -1);
    progressForReco();
    cloud.setInputPoints(vFold);
    cloud.prepareScanPoints(false, nullptr);
    std::size_t num[2] = {0, 0};
    for (const Bundle* pBundle : cloud.vBundles) {
        EXPECT_EQ(cloud.pCalc->getCCD(pBundle->pVtx), pBundle->ccd);
        EXPECT_EQ(*pBundle->pVtx, pBundle->deliveredPoint);
        const Vector3 off = pBundle->deliveredPoint - cloud.pCalc->getMidPoint(pBundle->ccd);
        const bool bFoot = std::min(std::hypot(off.x(), off.y()), std::hypot(off.x(), off.z())) < 1e-9;
        const bool bAtFold = std::max(pBundle->deliveredPoint.y(), pBundle->deliveredPoint.z()) < 0.03;
        EXPECT_TRUE(!bFoot || !bAtFold) << pBundle->deliveredPoint;
        ++num[bFoot ? 1 : 0];
    }
    EXPECT_GT(num[1], 4 * num[0]);
    EXPECT_GT(num[0], 30U);

    std::vector<std::pair<CCD, Bundle*>> vOrdered;
    cloud.getOrderedBundles(3, -2, 0, 2, vOrdered);
    EXPECT_TRUE(std::ranges::is_sorted(vOrdered) && vOrdered.size() == cloud.vBundles.size());
    for (const auto& [block, pBundle] : vOrdered) {
        const RCD moved = cloud.pCalc->ccd2rcd(pBundle->ccd) + 3 * RCD_STEP_X - 2 * RCD_STEP_Y;
        EXPECT_EQ(block, cloud.pCalc->rcd2ccd(moved) >> 6) << "in blocks of 4 x 4 x 4";
    }
}

TEST(Cloud, keepsTheFirstPointOfEachCell) {
    auto vPoints = Scan(4).dust(5000);
    const auto pCloud = cloudWithGrid(1.0, 0.07);
    std::map<RCD, Point3> mFirst;
    for (const Point3& p : vPoints)
        mFirst.emplace(pCloud->pCalc->getRCD(&p), p);
    std::vector<std::pair<RCD, Point3>> vRCDPoint;
    VRCD vAllRCD;
    pCloud->getRCD2Point(vPoints, vRCDPoint, vAllRCD);
    EXPECT_EQ(vRCDPoint, Cloud::VRCDPoint(mFirst.begin(), mFirst.end()));
    EXPECT_TRUE(std::ranges::equal(vAllRCD, vRCDPoint, {}, {}, &Cloud::VRCDPoint::value_type::first));
}

TEST(CloudMgr, readsAFileAsItTakesPoints) {
    const TempFolder folder;
    auto vPoints = Scan(3, 0.01).sphere(2000);
    const std::string name = folder.path("scan.bin");
    ASSERT_TRUE(writePoints_BIN(name.c_str(), vPoints));
    const Prepared fromMemory(vPoints);
    EXPECT_TRUE(std::ranges::is_sorted(fromMemory.vBundles, std::less_equal<>(), &Bundle::ccd));
    double sumDeviation = 0.0;
    for (const Bundle* pBundle : fromMemory.vBundles)
        sumDeviation += std::fabs((*pBundle->pVtx - Point3()).length() - 1.0);
    EXPECT_LT(sumDeviation / static_cast<double>(fromMemory.vBundles.size()), 0.007);
    CloudMgr fromFile;
    Calc* pCalc = nullptr;
    std::vector<Bundle*> vBundles;
    progressForReco();
    fromFile.readFiles({name}, -1.0, 1.0, false, false, -1);
    fromFile.getBundles(vBundles, pCalc);
    EXPECT_GT(fromFile.getSumTimeInputIO(), 0.0);
    EXPECT_TRUE(std::ranges::equal(vBundles, fromMemory.vBundles,
                                   [](const Bundle* a, const Bundle* b) { return *a->pVtx == *b->pVtx; }));
}

TEST(Cloud, saysWhatIsWrongWithAFile) {
    const TempFolder folder;
    const std::string bin = folder.path("empty.bin"), missing = folder.path("missing.xyz");
    std::vector<Point3> vPoints;
    ASSERT_TRUE(writePoints_BIN(bin.c_str(), vPoints));
    const auto read = [&](const std::string& name, bool bSoup, double spacing = -1.0) {
        return Cloud(name, spacing, 1.0, bSoup, -1).readPoints(name, vPoints);
    };
    for (const std::string& empty : {bin, folder.write("empty.xyz", "# nothing\n"), folder.write("empty.stl", "solid\n")})
        EXPECT_EQ(outputOf([&] { EXPECT_TRUE(read(empty, true, 1.0)); }),
                  "void Cloud::readPoints(), Empty file: " + empty + "\n");
    EXPECT_EQ(countIn(outputOf([&] { EXPECT_FALSE(read(missing, false)); }), "Error reading file: " + missing), 1);
    for (const char* other : {"a.what", "a.las"})
        EXPECT_EQ(countIn(outputOf([&] { EXPECT_FALSE(read(other, false)); }), "Unknown file format"), 1);
    EXPECT_EQ(countIn(reportOf([&] { read("a.stl", false); }), "use --fmelt (-m) instead"), 1);
    EXPECT_EQ(countIn(reportOf([&] { read("a.stl", true); }), "spacingAbs>0"), 1);
    CloudMgr cloudMgr;
    const std::string text = outputOf([&] { cloudMgr.readFiles({missing}, -1.0, 1.0, false, false, -1); });
    EXPECT_EQ(countIn(text, "Nothing to do for cloud " + missing), 1);
    reportOf([&] { cloudMgr.readFiles({missing, missing}, 1.0, 1.0, false, false, -1); });  // one input only
}

}  // namespace
