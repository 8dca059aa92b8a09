// The reconstruction with options: each step has a switch, and says what it did.
#include <atomic>
#include <chrono>
#include <thread>

#include "RMesh.h"
#include "lookUp.h"
#include "meshFlaws.h"
#include "pieces.h"
#include "support/fine.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/run.h"
#include "thread_pool.h"

using namespace TARN_TEST;

namespace {

using Points = std::vector<Point3>;

ReconstructOptions bare() {
    ReconstructOptions options;
    options.bOutliers = options.bEven = options.bCarefulGrowth = options.bManifold = options.bFit = options.bNoCrossings =
        false;
    options.minPieceArea = 0.0;
    options.maxPinholeEdges = 0;
    return options;
}

/// The cells of a lattice that hold a vertex near the unit sphere.
std::set<std::array<long, 3>> cellsOfSphere(const MeshPtr& pMesh, const Point3& origin, double edge) {
    std::set<std::array<long, 3>> sCell;
    for (const Point3& p : cornersOf(pMesh)) {
        const Vector3 v = (p - origin) / edge;
        if ((p - Point3()).length() < 1.5)
            sCell.insert({std::lround(std::floor(v.x())), std::lround(std::floor(v.y())), std::lround(std::floor(v.z()))});
    }
    return sCell;
}

Points moved(Points v, double dx) {
    for (Point3& p : v)
        p = p + Vector3(dx, 0.0, 0.0);
    return v;
}

/// A sphere with a quarter of the density on one half.
Points sparseOnOneHalf() {
    Points vPoints = Scan(3).sphere(16000);
    for (std::size_t i = 0; i < vPoints.size(); ++i)
        if (vPoints[i].z() > 0.0 && i % 4 != 0) vPoints[i] = vPoints[i] - Vector3(0.0, 0.0, 2.0 * vPoints[i].z());
    return vPoints;
}

}  // namespace

// With enough points for several tasks a stage. A leak is for the sanitizers to find.
TEST(ScanRun, leavesNoWorkerBusyWhereverTheListenerThrows) {
    struct Thrower : ProgressBase {
        void update(const std::string&, double) override {
            if (++numCalls == last) throw std::runtime_error("enough");
        }
        int numCalls = 0, last = 0;
    } thrower;
    const CoutSilence silence;
    const Points vPoints = Scan(5).sphere(20000);
    ReconstructOptions options;
    options.pListener = &thrower;
    const Points vExpected = cornersOf(reconstruct(vPoints, options));
    struct Restless {  // each look between tasks, and each wait for them, is heard
        Restless() { setHeartbeatPeriod(0); }
        ~Restless() { setHeartbeatPeriod(50); }
    } restless;
    const auto& pool = ctpl::thread_pool::getLowLevelPool();
    int numThrown = 0;
    for (thrower.last = 1;; thrower.last += 1 + thrower.last / 4) {
        thrower.numCalls = 0;
        try {
            EXPECT_TRUE(cornersOf(reconstruct(vPoints, options)) == vExpected);
            break;
        } catch (const std::runtime_error&) {
            ++numThrown;
        }
        for (int i = 0; i < 1000 && pool.numIdle() != pool.size(); ++i)  // until they sleep
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(pool.numIdle(), pool.size()) << thrower.last;
    }
    EXPECT_GT(numThrown, 15);
}

TEST(ScanRun, isTheBareRoadWhenAllStepsAreOff) {
    const CoutSilence silence;
    for (const std::uint64_t seed : {1U, 2U}) {
        Points vPoints = Scan(seed, 0.004).torus(4000);
        for (const bool bLaplacian : {false, true}) {
            ReconstructOptions options = bare();
            options.bLaplacian = bLaplacian;
            options.numGrowSteps = bLaplacian ? 4 : 0;
            ReconstructReport report;
            EXPECT_EQ(cornersOf(reconstruct(vPoints, options, &report)),
                      cornersOf(reconstruct_auto(vPoints, bLaplacian, 1.1, options.numGrowSteps)));
            EXPECT_EQ(report.pointSpacing, estimateAvgSpacing(vPoints));
            options.spacing = 0.07;
            EXPECT_EQ(cornersOf(reconstruct(vPoints, options)),
                      cornersOf(reconstruct_abs(vPoints, bLaplacian, 0.07, options.numGrowSteps)));
        }
    }
}

TEST(ScanRun, withOneOriginHasOneLattice) {
    const CoutSilence silence;
    const Points vAlone = Scan(5).sphere(3000),
                 vFurther = joined(joined(moved(vAlone, 7.123), moved(vAlone, -9.321)), vAlone);
    ReconstructOptions options = bare();
    options.spacing = 0.1;
    const Point3 origin(0.03, -1e4, 0.5);
    const auto cellsOf = [&](const Points& v) { return cellsOfSphere(reconstruct(v, options), origin, options.spacing); };
    EXPECT_NE(cellsOf(vAlone), cellsOf(vFurther));
    options.origin = origin;
    EXPECT_GT(cellsOf(vAlone).size(), 1000U);
    EXPECT_EQ(cellsOf(vAlone), cellsOf(vFurther));
}

TEST(ScanRun, leavesAManifoldMeshAndSaysWhatWasDone) {
    const CoutSilence silence;
    Points vPoints = Scan(8, 0.02).torus(6000);
    vPoints[3] = Point3(NOT_A_NUMBER, 0.0, 0.0);
    vPoints[4] = Point3(0.0, INF, 0.0);
    ReconstructOptions options = bare();
    ReconstructReport report;
    const std::size_t numRaw = reconstruct(vPoints, options, &report)->getRMesh()->getNumT();
    EXPECT_EQ(report.numPoints, 6000U);
    EXPECT_EQ(report.numNotFinite, 2U);
    EXPECT_GT(report.before.numNonManifoldEdges, 0U);
    EXPECT_FALSE(report.after.isManifold());
    options.bManifold = true;
    const MeshPtr pMesh = reconstruct(vPoints, options, &report);
    EXPECT_FALSE(report.before.isManifold());
    EXPECT_TRUE(report.after.isManifold());
    EXPECT_EQ(numRaw - pMesh->getRMesh()->getNumT(), report.manifold.numFlat + report.manifold.numDuplicates +
                                                         report.manifold.numMembranes + report.manifold.numSplinters);
    EXPECT_GE(report.numCells, pMesh->getRMesh()->getNumT() / 3);
    EXPECT_GT(report.peakMemory, 1000000U);
    std::vector<std::string> vName;
    for (const auto& [name, seconds] : report.vSteps) {
        vName.push_back(name);
        EXPECT_GE(seconds, 0.0) << name;
    }
    EXPECT_EQ(vName, (std::vector<std::string>{"spacing", "surface", "flaws", "manifold", "flaws"}));
}

TEST(ScanRun, dropsTinyPiecesButNeverTheLargest) {
    const CoutSilence silence;
    const Points vLarge = Scan(1).sphere(4000), vTiny = moved(scaled(Scan(2).sphere(300), 0.1), 3.0);
    ReconstructOptions options = bare();
    options.spacing = 0.06;  // the tiny one has 35 squares of it
    ReconstructReport report;
    for (const auto& [minArea, numDropped] : {std::pair(30.0, 0U), {40.0, 1U}}) {
        options.minPieceArea = minArea;
        const MeshPtr pMesh = reconstruct(joined(vLarge, vTiny), options, &report);
        EXPECT_EQ(report.numPiecesDropped, numDropped);
        EXPECT_EQ(report.numTrianglesDropped > 0, numDropped > 0);
        const Points vCorners = cornersOf(pMesh);
        EXPECT_EQ(std::any_of(vCorners.begin(), vCorners.end(), [](const Point3& p) { return p.x() > 2.0; }),
                  numDropped == 0);
    }
    EXPECT_GT(reconstruct(vTiny, options, &report)->getRMesh()->getNumT(), 20U);
    EXPECT_EQ(report.numPiecesDropped, 0U);
}

TEST(Pieces, areDroppedByArea) {
    FineMesh mesh(sheet(3, 3));
    const auto addSquare = [&](double x, double size) {
        std::vector<Point3*> v;
        for (const auto& [dx, dy] : {std::pair(0, 0), {1, 0}, {1, 1}, {0, 1}})
            v.push_back(mesh->createVertex(x + dx * size, dy * size, 0.0, false));
        mesh->createT(v[0], v[1], v[2]);
        mesh->createT(v[0], v[2], v[3]);
    };
    addSquare(10.0, 1.0);
    addSquare(20.0, 2.0);
    const DroppedPieces dropped = dropSmallPieces(*mesh, 4.0);
    EXPECT_EQ(dropped.numPieces, 1U);
    EXPECT_EQ(dropped.numTriangles, 2U);
    EXPECT_EQ(mesh->getNumT(), 20U);
    EXPECT_EQ(dropSmallPieces(*mesh, INF).numPieces, 1U);
    EXPECT_DOUBLE_EQ(mesh->getArea(), 9.0);
    mesh->checkDataStructures("dropped");
}

TEST(Pinholes, areClosedButNoOuterBorderIs) {
    // A sheet with a hole of a square, whose outer border is short enough as well: only the hole is one.
    for (const HoleLimits& limits : {HoleLimits{12, 3}, HoleLimits{4, 0}, HoleLimits{3, 4}, HoleLimits{0, 4}}) {
        FineMesh mesh(sheet(3, 3));
        for (const int i : {8, 9})  // the square in the middle
            mesh.kill(i);
        EXPECT_EQ(closeHoles(*mesh, {3, 3}, true), 0);
        EXPECT_EQ(closeHoles(*mesh, limits, true), 1);
        EXPECT_EQ(countFlaws(*mesh).numBorderEdges, 12U);
    }

    // The ends of a short tube are its outer border, those of a long one are holes in it.
    for (const auto& [height, numClosed] : {std::pair(1.5, 0), {2.5, 2}}) {
        Soup tube = ring(Ring::FLAT, 8, 6);
        for (Point3& p : tube.vVtx) {
            const double r = std::hypot(p.x(), p.y());
            p = Point3(p.x() / r, p.y() / r, height * (r - 2.5));
        }
        FineMesh mesh(tube);
        EXPECT_EQ(closeHoles(*mesh, {.maxPinholeEdges = 8}, true), numClosed) << height;
    }

    FineMesh closed(torus(12, 8));
    closed.kill(0);
    EXPECT_EQ(closeHoles(*closed, {.maxPinholeEdges = 8}, true), 1);
    EXPECT_EQ(countFlaws(*closed).numBorderEdges, 0U);
}

TEST(Pinholes, areClosedBehindTheFoldsAroundThem) {
    for (const auto& [bKeepManifold, numClosed] : {std::pair(true, 1), {false, 0}}) {
        Soup soup = sheet(6, 6);
        const int middle = 42;
        // One corner goes across the other two, so that its triangles lie upon those beyond.
        const auto cornerOf = [&](std::size_t i) -> Point3& {
            return soup.vVtx[static_cast<std::size_t>(soup.vT[middle][i])];
        };
        const Point3 between = cornerOf(1) + (cornerOf(2) - cornerOf(1)) * 0.5;
        cornerOf(0) = between + (between - cornerOf(0)) * 0.7;
        FineMesh mesh(soup);
        mesh.kill(middle);
        ASSERT_EQ(countFlaws(*mesh).numBorderEdges, 27U);
        const double areaBefore = mesh->getArea();
        EXPECT_EQ(closeHoles(*mesh, {.maxPinholeEdges = 3}, bKeepManifold), numClosed);
        EXPECT_EQ(countFlaws(*mesh).numBorderEdges, numClosed == 1 ? 24U : 27U);
        EXPECT_TRUE(countFlaws(*mesh).isManifold());
        if (numClosed == 1)
            EXPECT_NEAR(mesh->getArea(), 36.0, 1e-9) << "no fold is left";
        else
            EXPECT_EQ(mesh->getArea(), areaBefore);
        mesh->checkDataStructures("closed");
    }
}

TEST(Pieces, withoutABorderAreTurnedOutward) {
    // What has a border stays as it is, until that is closed.
    const auto volumeOf = [](const RMesh& mesh) {
        double volume = 0.0;
        std::vector<RTriangle*> vRT;
        mesh.getAliveTriangles(vRT);
        for (const RTriangle* pRT : vRT)
            volume +=
                crossProduct(*pRT->getCorner(0) - Point3(), *pRT->getCorner(1) - Point3()) * (*pRT->getCorner(2) - Point3());
        return volume;
    };
    FineMesh outward(torus(12, 8));
    turnOutward(*outward);
    const double volume = volumeOf(*outward);
    EXPECT_GT(volume, 0.0);
    EXPECT_EQ(turnOutward(*outward), 0U);
    FineMesh inward(torus(12, 8));
    turnOutward(*inward);
    const std::size_t num = inward->getNumT();
    std::vector<RTriangle*> vRT;
    inward->getAliveTriangles(vRT);
    for (RTriangle* pRT : vRT)
        pRT->flipNNV();
    EXPECT_EQ(turnOutward(*inward), num);
    EXPECT_DOUBLE_EQ(volumeOf(*inward), volume);
    for (RTriangle* pRT : vRT)
        pRT->flipNNV();
    inward.kill(0);
    EXPECT_EQ(turnOutward(*inward), 0U);
    EXPECT_EQ(closeHoles(*inward, {.maxHoleEdges = 3}, true), 1);
    EXPECT_EQ(turnOutward(*inward), num);
    inward->checkDataStructures("turned");
}

TEST(Flaws, areCountedByKind) {
    EXPECT_TRUE(countFlaws(*FineMesh(torus(12, 8))).isManifold());
    FineMesh fan(sheet(1, 1));
    EXPECT_EQ(countFlaws(*fan).numBorderEdges, 4U);
    Point3* pTop = fan->createVertex(0.5, 0.5, 1.0, false);
    fan->createT(fan.vtx(1), fan.vtx(2), pTop);  // on the diagonal
    EXPECT_EQ(countFlaws(*fan).numNonManifoldEdges, 1U);
    Point3 *p = fan->createVertex(-1, 0, 0, false), *q = fan->createVertex(-1, -1, 0, false);
    RTriangle* pRT = fan->createT(fan.vtx(0), p, q);
    EXPECT_EQ(countFlaws(*fan).numPinchedVertices, 1U);
    EXPECT_EQ(countFlaws(*fan).numConflicts, 0U);
    fan->createT(q, p, fan->createVertex(-2, -1, 0, false));
    EXPECT_EQ(countFlaws(*fan).numConflicts, 0U);
    pRT->flipNNV();
    EXPECT_EQ(countFlaws(*fan).numConflicts, 1U);
}

TEST(ScanRun, saysWhetherTheMeshIsClosed) {
    const CoutSilence silence;
    int numClosedLater = 0;
    for (unsigned seed = 1; seed < 5; ++seed)
        for (const int maxEdges : {0, 6, 30}) {
            ReconstructOptions options = bare();
            options.bManifold = true;
            options.maxHoleEdges = maxEdges;
            ReconstructReport report;
            const MeshPtr pMesh = reconstruct(Scan(seed).sphere(4000), options, &report);
            EXPECT_EQ(report.manifold.bClosed, edges(*pMesh->getRMesh(), 1).empty());
            if (report.manifold.bClosed && report.numHolesClosed > 0) ++numClosedLater;
        }
    EXPECT_GT(numClosedLater, 0);
}

TEST(ScanRun, isHeardByItsOwnListenerAndStopsWhenAsked) {
    const CoutSilence silence;
    const Points vPoints = Scan(9).sphere(3000);
    Hearer ofThread, own;
    subscribe(&ofThread);
    ReconstructOptions options;
    options.pListener = &own;
    const Points vReference = cornersOf(reconstruct(vPoints, options));
    EXPECT_TRUE(ofThread.vName.empty());
    ASSERT_GT(own.vFraction.size(), 20U);
    EXPECT_TRUE(std::is_sorted(own.vFraction.begin(), own.vFraction.end()));
    EXPECT_EQ(own.vFraction.back(), 1.0);

    // The flag is heard with the next report; a run without it goes as if nothing had been.
    struct Stopper : ProgressBase {
        void update(const std::string&, double fraction) override { bStop = fraction > 0.3; }
        std::atomic<bool> bStop{false};
    } stopper;
    options.pListener = &stopper;
    options.pStop = &stopper.bStop;
    ReconstructReport report;
    EXPECT_THROW(reconstruct(vPoints, options, &report), KelStoppedException);
    EXPECT_FALSE(report.vSteps.empty());
    EXPECT_EQ(cornersOf(reconstruct(vPoints)), vReference);
    EXPECT_EQ(ofThread.vFraction.back(), 1.0);
    unsubscribe();
}

TEST(ScanRun, isHeardWithinEachOfItsLongSteps) {
    const CoutSilence silence;
    struct StepHearer : ProgressBase {
        void update(const std::string&, double) override { sStep.insert(report.vSteps.size()); }
        ReconstructReport report;
        std::set<std::size_t> sStep;  // those that were at work, by number
    } hearer;
    ReconstructOptions options;
    options.pListener = &hearer;
    reconstruct(sparseOnOneHalf(), options, &hearer.report);
    std::set<std::string> sHeard;
    for (const std::size_t i : hearer.sStep)
        if (i < hearer.report.vSteps.size()) sHeard.insert(hearer.report.vSteps[i].name);
    for (const std::string name : {"outliers", "spacing", "nodes", "strays", "even", "surface", "flaws", "manifold"})
        EXPECT_EQ(sHeard.count(name), 1U) << name;
}

TEST(ScanRun, refusesWhatIsNoSpacing) {
    ReconstructOptions options;
    options.factor = 0.0;
    expectFails("usedSpacing>0", [&] { reconstruct(Scan(1).plane(500), options); });
    options.factor = 1.1;
    for (const double spacing : {-1.0, NOT_A_NUMBER, INF}) {
        options.spacing = spacing;
        expectFails("usedSpacing>0", [&] { reconstruct(Scan(1).plane(500), options); });
    }
}

TEST(ScanRun, refusesAnOriginThatIsNoPlaceOrTooFarAwayAndAnAreaThatIsNone) {
    ReconstructOptions options;
    for (const double far : {NOT_A_NUMBER, INF, 1e15, LARGEST}) {
        options.origin = Point3(0.0, far, 0.0);
        expectFails("bOriginInReach", [&] { reconstruct(Scan(1).plane(500), options); });
    }
    options.origin = Point3(1e9, -1e9, 1e9);
    const CoutSilence silence;
    EXPECT_NE(reconstruct(Scan(1).plane(500), options), nullptr);
    for (const double area : {NOT_A_NUMBER, -1.0}) {
        options.minPieceArea = area;
        expectFails("options.minPieceArea>=0.0", [&] { reconstruct(Scan(1).plane(500), options); });
    }
}

TEST(ScanRun, saysWhenOutliersAreTooMany) {
    const Points vSphere = Scan(3).sphere(6000);
    const auto tell = [&](const Points& vOutliers, double spacing) {
        return outputOf([&] { reconstruct(joined(vSphere, vOutliers), {.spacing = spacing, .bFit = false}); });
    };
    const std::string kept = "are kept, for they are too many";
    EXPECT_EQ(countIn(tell(scaled(Scan(4).dust(4500), 2e7, -1e7), 1e5), kept), 1);
    EXPECT_EQ(countIn(tell(scaled(Scan(4).dust(2000), 4.0, -2.0), 0.05), kept), 1);
    EXPECT_EQ(countIn(tell(scaled(Scan(4).dust(200), 4.0, -2.0), 0.05), kept), 0);
}

TEST(ScanRun, keepsOutliersAwayFromTheSurface) {
    const CoutSilence silence;
    const Points vSphere = Scan(3).sphere(6000), vFar = scaled(Scan(4).dust(300), 1e7, 1e6);
    ReconstructReport report;
    const Points vReference = cornersOf(reconstruct(vSphere, {}, &report));
    EXPECT_EQ(report.numFarOutliers + report.numStrays, 0U);
    EXPECT_EQ(cornersOf(reconstruct(joined(vSphere, vFar), {}, &report)), vReference);
    EXPECT_EQ(report.numFarOutliers, 300U);
    EXPECT_EQ(report.numPoints, 6300U);
    expectText("Outliers left out: 300 of 6300 points", [&] { reconstruct(joined(vSphere, vFar)); });
}

// Each octant has three neighbours at the same distance; where their sides disagree in the first vote, some never join.
TEST(ScanRun, joinsTheOctantsOfASphere) {
    const CoutSilence silence;
    for (const double width : {2.5, 4.0}) {  // half of the gaps, in spacings
        const int num = 12000;
        Points vPoints;
        for (int i = 0; i < num; ++i) {
            const double z = 1.0 - (2.0 * i + 1.0) / num, r = std::sqrt(1.0 - z * z), turn = 2.399963229728653 * i;
            const Point3 p(r * std::cos(turn), r * std::sin(turn), z);
            const double spacing = 0.0323605;  // square root of the area that a point stands for
            if (std::min({std::fabs(p.x()), std::fabs(p.y()), std::fabs(p.z())}) > width * spacing) vPoints.push_back(p);
        }
        ReconstructReport report;
        reconstruct(vPoints, {.factor = 1.25, .bEven = false, .numGrowSteps = 12, .bFit = false}, &report);
        EXPECT_EQ(report.after.numBorderEdges, 0U) << width;
    }
}

TEST(ScanRun, addsPointsWhereTheSamplingIsSparse) {
    const CoutSilence silence;
    const Points vPoints = sparseOnOneHalf();
    ReconstructOptions options;
    options.maxPinholeEdges = 0;
    ReconstructReport report;
    reconstruct(vPoints, options, &report);
    EXPECT_GT(report.numAdded, 100U);
    EXPECT_EQ(report.after.numBorderEdges, 0U);
    options.bEven = false;
    reconstruct(vPoints, options, &report);
    EXPECT_EQ(report.numAdded, 0U);
    EXPECT_GT(report.after.numBorderEdges, 100U);
}

TEST(ScanRun, removesSelfIntersectionsOrLeavesThemAlone) {
    const CoutSilence silence;
    std::size_t numBefore = 0, numAfter = 0;
    for (unsigned seed = 1; seed < 6; ++seed) {
        const Points vPoints = Scan(seed, 0.04).torus(6000);
        ReconstructOptions options;
        options.bFit = false;  // it leaves few
        ReconstructReport report;
        const MeshPtr pMesh = reconstruct(vPoints, options, &report);
        EXPECT_EQ(report.numCrossingsLeft, countSelfIntersections(pMesh));
        EXPECT_TRUE(report.after.isManifold());
        options.bNoCrossings = false;
        options.maxPinholeEdges = 0;  // so that no hole stays open for their sake
        const std::size_t numKept = countSelfIntersections(reconstruct(vPoints, options, &report));
        EXPECT_EQ(report.numCrossings, 0U);
        options.bNoCrossings = true;
        reconstruct(vPoints, options, &report);
        EXPECT_EQ(report.numCrossings, numKept);
        numBefore += numKept;
        numAfter += report.numCrossingsLeft;
    }
    EXPECT_GT(numBefore, 50U);
    EXPECT_LT(10 * numAfter, numBefore);
}

TEST(ScanRun, makesTheSameMeshAtAnyScaleAndPlaceOfTheSamePointsInAnyOrder) {
    const CoutSilence silence;
    // With sparse places, strays and a point far off: each default step has work.
    Points vPoints = joined(sparseOnOneHalf(), scaled(Scan(8).dust(300), 1.3));
    vPoints.push_back(Point3(1e6, 0.0, 0.0));
    ReconstructReport report;
    const Points vCorners = cornersOf(reconstruct(vPoints, {}, &report));
    EXPECT_GT(report.numAdded, 0U);
    EXPECT_GT(report.numStrays, 0U);
    EXPECT_EQ(report.numFarOutliers, 1U);
    EXPECT_EQ(cornersOf(reconstruct(scaled(vPoints, 0x1p40))), scaled(vCorners, 0x1p40));
    // Elsewhere last bits differ, and with them a choice here and there.
    for (const auto& [scale, place] : {std::pair(1000.0, 0.0), {1.0, 1024.0}}) {
        ReconstructReport other;
        reconstruct(scaled(vPoints, scale, place), {}, &other);
        EXPECT_EQ(other.numCells, report.numCells);
        EXPECT_EQ(other.numStrays, report.numStrays);
        EXPECT_EQ(other.numAdded, report.numAdded);
        EXPECT_EQ(other.after.numBorderEdges, report.after.numBorderEdges);
    }
    // Steps that break ties between coordinates have a length in the unit of the points: here it is many cells.
    EXPECT_NE(reconstruct(scaled(vPoints, 0x1p-30)), nullptr);
    ReconstructOptions options;
    options.spacing = report.cellEdge;  // the estimate takes a sample of the points
    options.origin = Point3();
    const auto sCell = cellsOfSphere(reconstruct(vPoints, options, &report), Point3(), report.cellEdge);
    Scan(1).shuffle(vPoints);
    ReconstructReport shuffled;
    const auto sShuffled = cellsOfSphere(reconstruct(vPoints, options, &shuffled), Point3(), report.cellEdge);
    const auto numCommon =
        std::count_if(sShuffled.begin(), sShuffled.end(), [&](const auto& cell) { return sCell.contains(cell); });
    EXPECT_GT(static_cast<double>(numCommon), 0.99 * static_cast<double>(std::max(sCell.size(), sShuffled.size())));
    EXPECT_EQ(shuffled.numStrays, report.numStrays);
    EXPECT_EQ(shuffled.numAdded, report.numAdded);
}
