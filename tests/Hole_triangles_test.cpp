// From the field of a hole to triangles: rows of triangles against a search, and both roads to triangles on flat sheets,
// where it can be told what comes out, and on punched scans.
#include "ChainMgr.h"
#include "Hole.h"
#include "Visualizer3.h"
#include "support/TempFolder.h"
#include "support/coarse.h"
#include "support/figures.h"
#include "support/prelude.h"
#include "support/punched_scan.h"

using namespace TARN_TEST;

namespace {

using Place = std::pair<unsigned, unsigned>;

std::unique_ptr<ChainMgr> chainsOf(CMesh& mesh) {
    EdgesByEnd mm;
    enterBothEnds(mm, edges(mesh, 1));
    return std::make_unique<ChainMgr>(&mesh, mm, false);
}

/// The closed chain with the fewest members: a hole has fewer than the rim.
Chain* shortestChain(const ChainMgr& mgr) {
    Chain* pShortest = nullptr;
    for (Chain* pChain : mgr.vChains)
        if (!pChain->empty() && pChain->isClosed() && (pShortest == nullptr || pChain->getSize() < pShortest->getSize()))
            pShortest = pChain;
    return pShortest;
}

/// Squares of two triangles each, size of them along both sides, without the triangles at the places of the hole.
template <typename Cell>
void makeSheet(CoarseWorld& world, unsigned size, bool bRising, const std::set<Place>& sHole, const Cell& cellAt) {
    const auto add = [&](Place a, Place b, Place c) {
        if (!sHole.contains(a) && !sHole.contains(b) && !sHole.contains(c)) world.triangle(cellAt(a), cellAt(b), cellAt(c));
    };
    for (unsigned x = 0; x < size; ++x)
        for (unsigned y = 0; y < size; ++y) {
            add({x, y}, {x + 1, y}, {x + (bRising ? 1U : 0U), y + 1});
            add({x + (bRising ? 0U : 1U), y}, {x + 1, y + 1}, {x, y + 1});
        }
}

}  // namespace

TEST(HoleTriangles, rowsAreWhatAPlainSearchFinds) {
    const CoutSilence silence;
    CoarseWorld world;
    makeSheet(world, 9, true, {{4, 4}, {4, 5}}, [&](Place p) { return world.put(40 + p.first, 40 + p.second, 40); });
    const auto pChainMgr = chainsOf(world.mesh);
    Hole hole(&world.mesh, shortestChain(*pChainMgr));
    for (int n = 0; n < 4; ++n) {
        const auto vEnds = listOf<VCD>([&](auto& v) { hole.pChain->getVCD(v); });
        std::set<VCD> sReached(vEnds.begin(), vEnds.end());
        std::set<CTriangle*> sExpected;
        for (int i = 0; i < n; ++i)
            for (const VCD vcd : std::set<VCD>(sReached))
                for (CTriangle* pCT : incidentT(world.mesh, vcd)) {
                    sExpected.insert(pCT);
                    sReached.insert({pCT->c0, pCT->c1, pCT->c2});
                }
        EXPECT_TRUE(std::ranges::equal(listOf<CTriangle*>([&](auto& v) { hole.getNTriangleRows(n, v); }), sExpected));
    }
    EXPECT_TRUE(hole.shareAnEntry({3, 1, 2}, {5, 2}) && !hole.shareAnEntry({3, 1}, {2, 5}) && !hole.shareAnEntry({}, {2}));
}

// A square of four cells that are new or on the chain is filled, one of three makes no triangle.
TEST(HoleTriangles, growFillsTheSquaresOfAFlatSheet) {
    forSeeds(60, [](unsigned seed) {
        const CoutSilence silence;
        Random random(seed);
        std::set<Place> sHole{{12, 12}};
        for (std::size_t numSteps = pick(random, 40); numSteps > 0; --numSteps) {
            auto [x, y] = *std::next(sHole.begin(), static_cast<std::ptrdiff_t>(pick(random, sHole.size())));
            (random.next() % 2 == 0 ? x : y) += random.next() % 2 == 0 ? 1U : ~0U;
            sHole.insert({x, y});
        }
        CoarseWorld world;
        const auto cellAt = [&](Place p) {
            std::array<unsigned, 3> c{100 + p.first, 100 + p.second, 100};
            std::rotate(c.begin(), c.begin() + seed % 3, c.end());
            return world.put(c[0], c[1], c[2]);
        };
        makeSheet(world, 24, seed / 3 % 2 == 0, sHole, cellAt);
        const auto pChainMgr = chainsOf(world.mesh);
        ASSERT_EQ(std::count_if(pChainMgr->vChains.begin(), pChainMgr->vChains.end(), [](auto* p) { return !p->empty(); }),
                  2);
        Hole hole(&world.mesh, shortestChain(*pChainMgr));
        hole.makeField(2);
        for (unsigned x = 0; x <= 24; ++x)
            for (unsigned y = 0; y <= 24; ++y)  // places that have lost their last triangle as well
                if (incidentT(world.mesh, cellAt({x, y})).empty()) sHole.insert({x, y});
        std::set<CCD> sCell(hole.vCCD.begin(), hole.vCCD.end());
        for (const Place& p : sHole)
            sCell.insert(cellAt(p));
        std::size_t expected = 2 * 24 * 24;
        for (unsigned x = 0; x < 24; ++x)
            for (unsigned y = 0; y < 24; ++y) {
                int numCells = 0, numNew = 0;
                for (const Place& p : {Place(x, y), Place(x + 1, y), Place(x, y + 1), Place(x + 1, y + 1)}) {
                    numCells += sCell.contains(cellAt(p)) ? 1 : 0;
                    numNew += sHole.contains(p) ? 1 : 0;
                }
                if (numCells == 3 && numNew > 0) --expected;
            }
        hole.grow();
        EXPECT_EQ(numAlive(world.mesh), expected);
        EXPECT_EQ(std::pair(figuresOf(world.mesh).numME, figuresOf(world.mesh).numDoubles), std::pair(0, 0));
        EXPECT_EQ(firstFault(world.mesh), "");
    });
}

TEST(HoleTriangles, bothRoadsCloseHolesOfScans) {
    double numChainEdges = 0, numBorder = 0, numME = 0;
    for (const bool bSphere : {false, true})
        forSeeds(6, [&](unsigned seed) {
            const CoutSilence silence;
            std::unique_ptr<CMesh> pOwnMesh;
            Hole::VCCDPoint vCCDPoints;
            std::size_t size = 0;
            {
                PunchedScan scan(bSphere, seed);
                Hole hole(scan.pMesh.get(), scan.pHoleChain);
                hole.makeField(2);
                size = hole.vCE.size();
                VCCD vHoleCCDs;
                hole.extractAndCleanHole(vHoleCCDs, vCCDPoints);
                pOwnMesh.reset(hole.createCMesh(vCCDPoints));

                const Figures before = figuresOf(*scan.pMesh);
                const std::vector<CTriangle*> vOldT = aliveT(*scan.pMesh);
                std::map<VCD, Point3> mOldPoint;
                for (const VCD vcd : listOf<VCD>([&](auto& v) { scan.pMesh->getUsedCCD(v); }))
                    mOldPoint[vcd] = scan.pMesh->getAvgPoint(vcd);
                hole.grow();
                EXPECT_EQ(firstFault(*scan.pMesh), "");
                EXPECT_TRUE(std::all_of(vOldT.begin(), vOldT.end(), [](auto* pCT) { return pCT->isAlive(); }));
                for (const auto& [vcd, point] : mOldPoint)
                    EXPECT_EQ(scan.pMesh->getAvgPoint(vcd), point);
                const Figures after = figuresOf(*scan.pMesh);
                EXPECT_EQ(after.numDoubles, before.numDoubles);
                numChainEdges += static_cast<double>(size);
                numBorder += static_cast<double>(size) + after.numBorder - before.numBorder;
                numME += after.numME - before.numME;
            }
            // The separate mesh is a disc over all new cells, or the repair took it for a scrap. It has outlived the scan.
            ASSERT_NE(pOwnMesh, nullptr);
            EXPECT_TRUE(pOwnMesh->checkCCD("own"));
            if (size < 30 && numAlive(*pOwnMesh) == 0) return;
            const Figures f = figuresOf(*pOwnMesh);
            EXPECT_EQ(std::tuple(f.numME, f.numConflicts, f.euler, f.numDoubles), std::tuple(0, 0, 1, 0));
            const auto vPoint = listOf<Point3*>([&](auto& v) { pOwnMesh->getPoints(v); });
            for (const auto& cellPoint : vCCDPoints) {
                const auto isNear = [&](const Point3* p) { return (*p - cellPoint.second).length() < 1.5; };
                EXPECT_TRUE(std::any_of(vPoint.begin(), vPoint.end(), isNear));
            }
        });
    // What grow leaves are gaps of three edges and some more along the chain.
    EXPECT_LT(numBorder, 0.25 * numChainEdges);
    EXPECT_LT(numME, 0.25 * numChainEdges);
    RecordProperty("left",
                   std::to_string(numBorder) + " of " + std::to_string(numChainEdges) + ", " + std::to_string(numME));
}

// Beyond the last coordinate of the grid no dual cube can be named.
TEST(HoleTriangles, growLeavesTheMeshAloneWhereACellHasNoCubes) {
    const CoutSilence silence;
    CoarseWorld world;
    const unsigned last = static_cast<unsigned>(world.calc.numCells) - 1;
    makeSheet(world, 6, true, {{3, 3}}, [&](Place p) { return world.put(100 + p.first, 100 + p.second, last); });
    const auto pChainMgr = chainsOf(world.mesh);
    Hole hole(&world.mesh, shortestChain(*pChainMgr));
    hole.setRanges();
    hole.pArray = Matrix(hole.arrSiz);
    const int below = hole.getAddress(packRCD(103, 103, last - 1)), above = below + hole.rgxy;
    hole.pArray[below].val = 1.0F;
    hole.pArray[above].val = -1.0F;
    hole.vAddr = {below};
    VCCD vHoleCCDs;
    Hole::VCCDPoint vCCDPoints;
    hole.extractAndCleanHole(vHoleCCDs, vCCDPoints);
    ASSERT_FALSE(vHoleCCDs.empty());
    const std::size_t numBundles = world.mesh.getRefToBundleMap().size(), numT = numAlive(world.mesh);
    EXPECT_THROW(hole.grow(), KelBugException);
    EXPECT_EQ(world.mesh.getRefToBundleMap().size(), numBundles);
    EXPECT_EQ(numAlive(world.mesh), numT);
}

TEST(HoleTriangles, drawsNothingOfAFieldThatIsNotThere) {
    const CoutCapture capture;
    const TempFolder folder;
    PunchedScan scan(false, 0);
    Hole hole(scan.pMesh.get(), scan.pHoleChain);
    hole.setRanges();
    Visualizer3::bDebugAuthorized = true;
    hole.showCornerVals(folder.path("corners.list"), hole.vCCD);
    hole.showArray(folder.path("array.list"));
    Visualizer3::bDebugAuthorized = false;
    EXPECT_EQ(folder.numFiles(), 2U);
    EXPECT_EQ(countIn(capture.text(), "Array: vPos=0, vNeg=0"), 1);
}
