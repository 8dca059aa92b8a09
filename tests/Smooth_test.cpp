// Every step of the smoothing against a plain form of it, on scans small enough for that form.
#include "Smooth.h"

#include <span>

#include "Progress.h"
#include "RemoveDecider.h"
#include "freeFunctions.h"
#include "gapCells.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// Points on a grid of 1024^3 cells around the origin, and the smoothing over them.
struct Stage {
    Stage(std::vector<Point3> vTheirPoints, double theSide)
        : side(theSide),
          calc(-512.0 * side, -512.0 * side, -512.0 * side, 1024.0 * side, 1024.0 * side, 1024.0 * side, 10),
          vPoints(std::move(vTheirPoints)),
          smooth(vPoints, &calc) {}

    std::vector<SNode*>& nodes() { return smooth.getNodesRef(); }
    void createLinkedNodes() {
        smooth.createNodes(true);
        smooth.densifyNeigs();
        smooth.relinkNodes();
    }

    double side;
    Calc calc;
    std::vector<Point3> vPoints;
    Smooth smooth;
};

/// Scans of all kinds: smooth, noisy, sparse, dense (far more than 64 points a cell), without any surface, on a lattice of
/// halves, where distances equal limits exactly.
template <typename Check>
void forScans(const Check& check) {
    std::vector<Point3> vLattice, vTwin = Scan(7).plane(60);
    for (int i = 0; i < 3000; ++i)
        vLattice.emplace_back(0.5 * (i % 50), 0.5 * (i / 50), 0.0);
    vTwin.insert(vTwin.end(), vTwin.begin(), vTwin.end());
    // Name, points, edge of a cell.
    const std::tuple<const char*, std::vector<Point3>, double> table[] = {{"sphere", Scan(1).sphere(4000), 0.06},
                                                                          {"noisy torus", Scan(2, 0.05).torus(6000), 0.08},
                                                                          {"sparse plane", Scan(3).plane(500), 0.03},
                                                                          {"dense plane", Scan(4, 0.01).plane(5000), 0.2},
                                                                          {"dust", Scan(5).dust(12000), 0.05},
                                                                          {"lattice", vLattice, 0.5},
                                                                          {"every point twice", vTwin, 0.1},
                                                                          {"one point", Scan(6).plane(1), 0.1},
                                                                          {"nothing", {}, 0.1}};
    for (const auto& [name, vPoints, side] : table) {
        SCOPED_TRACE(name);
        Stage stage(vPoints, side);
        check(stage);
    }
}

std::vector<Point3> smoothedPoints(Stage& stage) {
    std::vector<Point3> vOut;
    for (const SNode* pSN : stage.nodes())
        vOut.push_back(pSN->smoothedPoint);
    return vOut;
}

// In a row of points closer than two cells each is joined with the next; in a cell of many points 64 of them pair up,
// evenly chosen.
TEST(densifyLap, addsOnePointACellOnTheWayToWhatIsNear) {
    forScans([](Stage& stage) {
        const std::vector<Point3> vBefore = stage.vPoints;
        stage.smooth.densifyLap();
        ASSERT_GE(stage.vPoints.size(), vBefore.size());
        EXPECT_TRUE(std::equal(vBefore.begin(), vBefore.end(), stage.vPoints.begin())) << "what was there stays in front";
        RCD last = 0;
        for (std::size_t i = vBefore.size(); i < stage.vPoints.size(); ++i) {
            const Point3& p = stage.vPoints[i];
            EXPECT_LT(std::exchange(last, stage.calc.getRCD(&p)), stage.calc.getRCD(&p)) << "one a cell, in order";
            const auto isOneCellOff = [&](const Point3& q) {
                return std::fabs((p - q).length() - stage.side) < 1e-6 * stage.side;
            };
            EXPECT_TRUE(i % 16 != 0 || std::ranges::any_of(vBefore, isOneCellOff));
        }
    });
    for (const double start : {1.5, 2.5, 3.5, 3.8}) {  // two clusters find each other wherever in a block of cells they lie
        std::vector<Point3> vTwo;
        for (int i = 0; i < 80; ++i)
            vTwo.emplace_back(start + (i < 40 ? 0.0 : 1.9) + 0.0005 * (i % 40), 0.5, 0.5 + 0.0003 * (i % 40));
        Stage stage(vTwo, 1.0);
        stage.smooth.densifyLap();
        EXPECT_EQ(stage.vPoints.size(), 81U) << start;
    }
    for (const auto& [distance, numAdded] : {std::pair{0.9, 0U}, {1.1, 1U}, {1.9, 1U}, {2.1, 0U}}) {
        Stage stage({Point3(0.5, 0.5, 0.5), Point3(0.5, 0.5, 0.5 + distance)}, 1.0);
        stage.smooth.densifyLap();
        EXPECT_EQ(stage.vPoints.size(), 2U + numAdded) << distance;
    }
    std::vector<Point3> vCrowd(128, Point3(0.25, 0.5, 0.5));  // the first half too far from the lone point, the second near
    std::fill(vCrowd.begin() + 64, vCrowd.end(), Point3(0.75, 0.5, 0.5));
    vCrowd.emplace_back(2.5, 0.5, 0.5);
    Stage crowd(vCrowd, 1.0);
    crowd.smooth.densifyLap();
    EXPECT_EQ(crowd.vPoints.size(), vCrowd.size() + 1);

    // The points are worked on in groups of 4096: the last two of the first one propose 1.95 for a cell, the next one 1.1.
    std::vector<Point3> vTwoGroups;
    for (int i = 0; i < 4094; ++i)
        vTwoGroups.emplace_back(-3.5 - 3 * (i % 16), -3.5 - 3 * (i / 16 % 16), -3.5 - 3 * (i / 256));
    for (const double x : {0.95, 2.1, 0.5})
        vTwoGroups.emplace_back(x, 0.5, 0.5);
    Stage twoGroups(vTwoGroups, 1.0);
    twoGroups.smooth.densifyLap();
    ASSERT_EQ(twoGroups.vPoints.size(), vTwoGroups.size() + 1);
    EXPECT_NEAR(twoGroups.vPoints.back().x(), 1.1, 1e-9) << "the least of all that are proposed";
}

/// The free cells of which at least six corners are corners of cells.
VCCD gapsByCounting(const VCCD& vCells, const Calc& calc) {
    VRCD vRCD;
    std::set<RCD> sAround;
    for (const CCD ccd : vCells) {
        vRCD.push_back(calc.ccd2rcd(ccd));
        VRCD vAround;
        getRCDPositionsAround(vRCD.back(), 1, vAround);
        sAround.insert(vAround.begin(), vAround.end());
    }
    VRCC vCorners, vOwn;
    getRCC8(vRCD, true, vCorners);
    VCCD vGaps;
    for (const RCD rcd : sAround) {
        vOwn.clear();
        getRCC8({rcd}, false, vOwn);
        const auto isCorner = [&](RCC rcc) { return std::ranges::binary_search(vCorners, rcc); };
        if (std::ranges::count_if(vOwn, isCorner) >= 6 && std::ranges::count(vRCD, rcd) == 0)
            vGaps.push_back(calc.rcd2ccd(rcd));
    }
    return sorted(vGaps);
}

/// The mean of the points that the map holds for any of the cells.
Point3 meanOf(const std::multimap<CCD, Point3>& mPoints, std::span<const CCD> cells) {
    Vector3 sum;
    double count = 0.0;
    for (const CCD ccd : cells)
        for (auto [it, itEnd] = mPoints.equal_range(ccd); it != itEnd; ++it, count += 1.0)
            sum += it->second - Point3();
    return Point3() + sum / count;
}

TEST(densifyNeigs, addsMeansOfMeansWhereTheCellTestKeepsAGap) {
    std::size_t numFilled = 0;
    forScans([&](Stage& stage) {
        std::multimap<CCD, Point3> mPoints, mMeans;
        for (const Point3& p : stage.vPoints)
            mPoints.emplace(stage.calc.getCCD(&p), p);
        VCCD vCells, vGaps, vKept, vDoomed;
        for (auto it = mPoints.begin(); it != mPoints.end(); it = mPoints.upper_bound(it->first))
            mMeans.emplace(vCells.emplace_back(it->first), meanOf(mPoints, {&it->first, 1}));
        getGapCells(vCells, stage.calc, vGaps);
        EXPECT_EQ(vGaps, gapsByCounting(vCells, stage.calc));
        VCCD vAll = vCells;
        vAll.insert(vAll.end(), vGaps.begin(), vGaps.end());
        RemoveDecider(vAll, &stage.calc).pruneStrong(vGaps, vKept, vDoomed);

        stage.smooth.createNodes(true);
        stage.smooth.densifyNeigs();
        ASSERT_EQ(stage.nodes().size(), vCells.size() + vKept.size());
        for (const SNode* pSN : stage.nodes()) {
            const CCD ccd = stage.calc.rcd2ccd(pSN->rcd);
            CCD block[27];
            stage.calc.completeArray27(ccd, block);
            const auto numPoints = mPoints.count(ccd);
            EXPECT_EQ(static_cast<std::size_t>(pSN->numPoints), numPoints);
            EXPECT_TRUE(numPoints > 0 || std::ranges::count(vKept, ccd) == 1);
            const Point3 mean = numPoints > 0 ? meanOf(mPoints, {&ccd, 1}) : meanOf(mMeans, block);
            EXPECT_LT((pSN->smoothedPoint - mean).length(), 1e-12);
        }
        numFilled += vKept.size();
    });
    EXPECT_GT(numFilled, 50U);
}

TEST(createNodes, withoutAverageWantsOnePointACell) {
    Stage stage({Point3(0.5, 0.5, 0.5), Point3(3.5, 0.5, 0.5)}, 1.0), crowded(std::vector<Point3>(2), 1.0);
    stage.smooth.createNodes(false);
    EXPECT_EQ(stage.nodes()[1]->pPoint, &stage.vPoints[1]);
    EXPECT_EQ(countIn(reportOf([&] { crowded.smooth.createNodes(false); }), conditionFailed("it->second==__null")), 1);
}

TEST(relinkNodes, linksAllNodesOfAdjoiningCellsOnceAndBothWays) {
    const std::pair<const char*, void (Smooth::*)()> steps[] = {
        {"addresses that don't ascend with the cells", &Smooth::densifyNeigs},
        {"cells with several nodes", &Smooth::lapTreatment},
        {"nodes sorted", &Smooth::setNNVs}};
    forScans([&](Stage& stage) {
        stage.smooth.createNodes(true);
        stage.smooth.relinkNodes();
        for (const auto& [what, step] : steps) {
            (stage.smooth.*step)();
            stage.smooth.relinkNodes();
            std::multimap<RCD, SNode*> mNode;
            for (SNode* pSN : stage.nodes())
                mNode.emplace(pSN->rcd, pSN);
            for (const SNode* pSN : stage.nodes()) {
                VRCD vAround{pSN->rcd};
                getRCDPositionsAround(pSN->rcd, 1, vAround);
                std::vector<SNode*> vExpected;
                for (const RCD rcd : vAround)
                    for (auto [it, itEnd] = mNode.equal_range(rcd); it != itEnd; ++it)
                        if (it->second != pSN) vExpected.push_back(it->second);
                ASSERT_EQ(sorted(std::vector<SNode*>(pSN->vLinkedNodes.begin(), pSN->vLinkedNodes.end())), sorted(vExpected))
                    << what;
            }
        }
    });
}

TEST(lapTreatment, takesMeansAndAddsNodesWhereTheCorrectionLeadsElsewhere) {
    std::size_t numAdded = 0;
    forScans([&](Stage& stage) {
        stage.createLinkedNodes();
        std::vector<Point3> vMean;
        for (const SNode* pSN : stage.nodes()) {
            Vector3 sum;
            double num = 0.0;
            for (const SNode* pLinked : pSN->vLinkedNodes)
                if (pLinked->numPoints != 0) sum += pLinked->smoothedPoint - Point3(), num += 1.0;
            vMean.push_back(num > 0.0 ? Point3() + sum / num : pSN->smoothedPoint);
        }
        stage.smooth.lapTreatment();
        std::vector<Point3> vAfter = smoothedPoints(stage);
        numAdded += vAfter.size() - vMean.size();
        for (std::size_t i = vMean.size(); i < vAfter.size(); ++i) {
            const SNode* pSN = stage.nodes()[i];
            EXPECT_TRUE(pSN->numPoints == -1 && pSN->rcd == stage.calc.getRCD(&vAfter[i]));
            EXPECT_TRUE(std::ranges::any_of(vMean, [&](const Point3& p) {
                return (p - vAfter[i]).getMaxAbsComponent() < stage.side && p != vAfter[i];
            }));
        }
        vAfter.resize(vMean.size());
        EXPECT_EQ(vAfter, vMean);
    });
    EXPECT_GT(numAdded, 100U);
}

TEST(setNNVs, findsThePlanesOfASphere) {
    for (const double scale : {1.0, 1e-6, 1e6}) {
        Stage stage(scaled(Scan(1).sphere(20000), scale), 0.03 * scale);
        progressForReco();
        stage.smooth.run(false);
        const auto isGood = [](const SNode* pSN) {
            const Vector3 radial = normalize(pSN->smoothedPoint - Point3());
            return pSN->bHasPlane && pSN->area == SNode::RELIABLE && std::fabs(pSN->getNNV() * radial) > 0.99;
        };
        EXPECT_GT(std::ranges::count_if(stage.nodes(), isGood), std::ssize(stage.nodes()) * 98 / 100) << scale;
        EXPECT_TRUE(std::ranges::none_of(stage.nodes(), &SNode::bFeature));
        EXPECT_TRUE(std::ranges::is_sorted(stage.nodes(), {}, &SNode::rcd));
    }
}

/// A node at the origin with links around it, all with planes of their own.
struct Star {
    explicit Star(const std::vector<double>& vAngles) : points(vAngles.size() + 1) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double phi = 2.0 * static_cast<double>(i), tilt = i == 0 ? 0.0 : vAngles[i - 1] / 57.295779513;
            if (i > 0) points[i] = Point3(std::cos(phi), std::sin(phi), 0.0);
            nodes.emplace_back(0, &points[i]);
            nodes[i].plane = Plane(points[i], Vector3(0.0, std::sin(tilt), std::cos(tilt)));
            nodes[i].bHasPlane = true;
            nodes[i].area = i == 0 ? 1.0 : SNode::RELIABLE;
        }
        for (std::size_t i = 1; i < nodes.size(); ++i)
            links.push_back(&nodes[i]);
        nodes[0].vLinkedNodes = links;
    }
    SNode* centre() { return &nodes[0]; }

    std::vector<Point3> points;
    std::vector<SNode> nodes;
    std::vector<SNode*> links;
};

TEST(Smooth, judgesANodeByThePlanesOfItsLinks) {
    const std::tuple<std::vector<double>, bool, bool, std::set<std::size_t>> table[] = {
        // The angles; is it reliable, has it a mean; who is on a fold: the centre is 0, the first fold ends the search.
        {{10.0, 10.0, 12.0}, false, false, {}},
        {{10.0, 10.0, 12.0, 12.0}, true, true, {}},
        {{0.0, 0.0, 30.0, 30.0, 30.0}, false, true, {0, 3}},  // all within 20 degrees of their mean
        {{0.0, 0.0, 0.0, 0.0, 30.0}, true, false, {0, 5}},    // 24 degrees off the mean
        {{0.0, 0.0, 0.0, 0.0, 30.0, 30.0}, false, false, {0, 5}},
        {{0.0, 0.0, 0.0, 180.0}, false, false, {}},  // joins the mean, but is opposite to it
        {{180.0, 180.0, 180.0, 180.0}, false, true, {}},
        {{19.9, 0.0, 160.1, 180.0}, false, false, {}},
        {{0.0, 20.1, 90.0}, false, false, {0, 2}},
        {{159.9}, false, false, {0, 1}}};
    for (const auto& [vAngles, bReliable, bHasMean, sOnFold] : table) {
        SCOPED_TRACE(::testing::PrintToString(vAngles));
        Star star(vAngles);
        Stage stage({}, 0.5);
        stage.nodes().push_back(star.centre());
        EXPECT_EQ(stage.smooth.isReliable(star.centre(), 15.0), bReliable);
        stage.smooth.detectFeatures(20.0);
        for (std::size_t i = 0; i < star.nodes.size(); ++i)
            EXPECT_EQ(star.nodes[i].bFeature, sOnFold.count(i) == 1) << i;
        EXPECT_EQ(stage.smooth.makeReliableAverage(star.centre()), bHasMean);
        EXPECT_EQ(star.centre()->area == SNode::RELIABLE, bHasMean);
    }
    Star unsure({10.0, 10.0, 10.0, 10.0});
    unsure.nodes[4].area = 1.0;
    EXPECT_FALSE(Stage({}, 0.5).smooth.makeReliableAverage(unsure.centre()));
}

TEST(estimateNNVatCentroid, wantsAFanOfAFifthOfACellEdgeSquared) {
    Stage stage({Point3()}, 0.5);
    Star star({0.0, 0.0});
    const Vector3 a = star.points[1] - Point3(), b = star.points[2] - Point3();
    for (const double factor : {0.99, 1.01}) {
        const double scale = std::sqrt(factor * 0.1 * 0.1 / (0.5 * crossProduct(a, b).length()));
        star.nodes[1].smoothedPoint = Point3() + a * scale;
        star.nodes[2].smoothedPoint = Point3() + b * scale;
        EXPECT_EQ(stage.smooth.estimateNNVatCentroid(star.centre()), factor > 1.0);
    }
}

TEST(makeReliableSearch, looksTwoCellsFar) {
    for (const int pitch : {2, 3}) {  // no node has a link
        std::vector<Point3> vPoints;
        for (int i = 0; i < 100; ++i)
            vPoints.emplace_back(0.125 * (i % 10), pitch * (i % 10) + 0.5, pitch * (i / 10) + 0.5);
        Stage stage(vPoints, 1.0);
        stage.smooth.createNodes(true);
        stage.smooth.relinkNodes();
        stage.smooth.setNNVs();
        const Vector3 slope = normalize(Vector3(1.0, -0.0625, 0.0));
        for (const SNode* pSN : stage.nodes()) {
            EXPECT_TRUE(pSN->vLinkedNodes.empty());
            EXPECT_EQ(pSN->bHasPlane && pSN->area == SNode::RELIABLE, pitch == 2);
            EXPECT_TRUE(pitch != 2 || std::fabs(pSN->getNNV() * slope) > 1.0 - 1e-9);
        }
    }
}

}  // namespace
