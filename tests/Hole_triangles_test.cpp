// From the field of a hole to triangles: the cells of a field by chance against a plain recomputation, rows of triangles
// against a search, and both roads to triangles on flat sheets, where it can be told what comes out, and on punched scans.
#include "ChainMgr.h"
#include "Hole.h"
#include "RemoveDecider.h"
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

/// A bumpy sheet near the low corner of the grid with a hole of one place, and a field by chance in the hole's box: values
/// of both signs and 0, weights of all kinds, and values whose addresses aren't in the list.
class ScatteredField : public CoarseWorld {
public:
    explicit ScatteredField(unsigned seed) : random(seed) {
        makeSheet(*this, 4, seed % 2 == 0, {{2, 2}}, [this](Place p) {
            if (mZ.emplace(p, 0U).second) mZ[p] = 1 + static_cast<unsigned>(random.next() % 2);
            return put(1 + p.first, 1 + p.second, mZ[p]);
        });
        pChainMgr = chainsOf(mesh);
        pHole = std::make_unique<Hole>(&mesh, shortestChain(*pChainMgr));
        pHole->setRanges();
        pHole->pArray = Matrix(pHole->arrSiz);
        for (int address = 0; address < pHole->arrSiz; ++address) {
            const auto p = coordinates(address);
            if (p[0] * p[1] * p[2] == 0 || random.next() % 4 == 0) continue;  // cells need neighbours on all sides
            entryAt(p).val = static_cast<float>(random.next() % 15 - 7) / 8.0F;
            entryAt(p).weight = std::array{1.0F, 0.97F, WEIGHT_REL, WEIGHT_REL, WEIGHT_REL_LOW}[pick(random, 5)];
            if (random.next() % 8 != 0) pHole->vAddr.push_back(address);
        }
    }

    /// For each cell off the mesh the zeros on its lattice edges. Values of 0 in the list must be positive by now.
    std::map<CCD, std::vector<Point3>> zeros() {
        std::map<CCD, std::vector<Point3>> mZeros;
        for (const int address : pHole->vAddr)
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const std::array<unsigned, 3> p = coordinates(address);
                std::array<unsigned, 3> q = p;
                ++q[axis];
                if (p[0] > pHole->xHigh + 3 || p[1] > pHole->yHigh + 3 || p[2] > pHole->zHigh + 3) continue;
                const MatrixEntry a = entryAt(p), b = entryAt(q);
                if (a.weight == WEIGHT_REL && b.weight == WEIGHT_REL) continue;
                if (b.val == FLT_UNDEF || (a.val > 0 ? b.val >= 0 : b.val <= 0)) continue;
                std::array<double, 3> zero{static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
                zero[axis] += a.val / (static_cast<double>(a.val) - b.val);
                for (unsigned lowered = 0; lowered < 4; ++lowered) {
                    std::array<unsigned, 3> c = p;
                    c[(axis + 1) % 3] -= lowered & 1;
                    c[(axis + 2) % 3] -= lowered >> 1;
                    const CCD ccd = cell(c[0], c[1], c[2]);
                    if (c[0] * c[1] * c[2] > 0 && incidentT(mesh, ccd).empty())
                        mZeros[ccd].emplace_back(zero[0], zero[1], zero[2]);
                }
            }
        return mZeros;
    }

    Random random;
    std::unique_ptr<ChainMgr> pChainMgr;
    std::unique_ptr<Hole> pHole;

private:
    std::array<unsigned, 3> coordinates(int address) const {  // the box starts at the low corner of the grid
        const auto a = static_cast<unsigned>(address), x = static_cast<unsigned>(pHole->rgx);
        return {a % x, a / x % static_cast<unsigned>(pHole->rgy), a / x / static_cast<unsigned>(pHole->rgy)};
    }
    MatrixEntry& entryAt(const std::array<unsigned, 3>& p) {
        const auto x = static_cast<int>(p[0]), y = static_cast<int>(p[1]), z = static_cast<int>(p[2]);
        return pHole->pArray[x + pHole->rgx * (y + pHole->rgy * z)];
    }

    std::map<Place, unsigned> mZ;
};

}  // namespace

TEST(HoleTriangles, theCellsAreThoseOfTheZerosThinnedAlongTheChain) {
    int numThirdCorners = 0;
    forSeeds(30, [&](unsigned seed) {
        const CoutCapture capture;
        ScatteredField world(seed);
        Hole& hole = *world.pHole;
        VCCD vFound, vExisting = hole.vCCD, vKept, vDoomed, vHoleCCDs;
        Hole::VCCDPoint vCCDPoints;
        hole.extractAndCleanHole(vHoleCCDs, vCCDPoints);

        const auto mZeros = world.zeros();
        for (const auto& [ccd, vZero] : mZeros)
            vFound.push_back(ccd);
        for (const CEdge* pCE : hole.vCE)
            if (world.calc.getNeigType(pCE->v0, pCE->v1) == NT_VERTEX) {
                vExisting.push_back(pCE->vCT.front()->getThirdCCD(pCE->v0, pCE->v1));
                ++numThirdCorners;
            }
        const std::set<CCD> sBorder(vExisting.begin(), vExisting.end());
        vExisting.insert(vExisting.end(), vFound.begin(), vFound.end());
        RemoveDecider(vExisting, &world.calc).pruneStrong(vFound, vKept, vDoomed);
        EXPECT_EQ(vHoleCCDs, sorted(vKept));
        EXPECT_EQ(hole.vCCD, VCCD(sBorder.begin(), sBorder.end()));
        ASSERT_EQ(vCCDPoints.size(), vHoleCCDs.size());
        for (std::size_t i = 0; i < vHoleCCDs.size(); ++i) {
            const auto& [ccd, point] = vCCDPoints[i];
            EXPECT_EQ(ccd, vHoleCCDs[i]);
            EXPECT_TRUE(world.calc.isInCell(&point, ccd));
            Vector3 sum;
            for (const Point3& zero : mZeros.at(ccd))
                sum += zero - Point3();
            const Point3 mean = Point3() + sum / static_cast<double>(mZeros.at(ccd).size());
            EXPECT_LT((point - mean).length(), 2e-3) << "a mean on a side of the cell is pulled in by a thousandth";
        }
        EXPECT_GT(countIn(capture.text(), "\n--\n"), 0) << "edges near the low side of the grid lack cells";
    });
    EXPECT_GT(numThirdCorners, 0);
}

TEST(HoleTriangles, rowsAndSharedEntriesAreWhatAPlainSearchFinds) {
    forSeeds(30, [](unsigned seed) {
        const CoutSilence silence;
        ScatteredField world(seed);
        for (Chain* pChain : world.pChainMgr->vChains)
            for (int n = 0; n < 4; ++n) {
                world.pHole->pChain = pChain;
                const auto vEnds = listOf<VCD>([&](auto& v) { pChain->getVCD(v); });
                std::set<VCD> sReached(vEnds.begin(), vEnds.end());
                std::set<CTriangle*> sExpected;
                for (int i = 0; i < n; ++i) {
                    std::set<VCD> sNext;
                    for (CTriangle* pCT : aliveT(world.mesh))
                        if (sReached.contains(pCT->c0) || sReached.contains(pCT->c1) || sReached.contains(pCT->c2)) {
                            sExpected.insert(pCT);
                            sNext.insert({pCT->c0, pCT->c1, pCT->c2});
                        }
                    sReached.merge(sNext);
                }
                EXPECT_EQ(listOf<CTriangle*>([&](auto& v) { world.pHole->getNTriangleRows(n, v); }),
                          std::vector<CTriangle*>(sExpected.begin(), sExpected.end()));
            }
        VCCD a(pick(world.random, 6)), b(pick(world.random, 6)), vBoth;
        for (VCCD* pList : {&a, &b})
            for (CCD& ccd : *pList)
                ccd = pick(world.random, 12);
        const VCCD sortedA = sorted(a), sortedB = sorted(b);
        std::set_intersection(sortedA.begin(), sortedA.end(), sortedB.begin(), sortedB.end(), std::back_inserter(vBoth));
        EXPECT_EQ(world.pHole->shareAnEntry(a, b), !vBoth.empty());
    });
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

TEST(HoleTriangles, drawsOnTheWayOnlyWhenAuthorized) {
    const CoutSilence silence;
    for (const bool bAuthorized : {false, true}) {
        const TempFolder folder;
        PunchedScan scan(false, 0);
        Hole hole(scan.pMesh.get(), scan.pHoleChain);
        hole.makeField(2);
        hole.name = folder.path("hole_");
        Hole::VCCDPoint vNone;
        Visualizer3::bDebugAuthorized = bAuthorized;
        const std::unique_ptr<CMesh> pOwnMesh(hole.createCMesh(vNone));
        hole.grow();
        Visualizer3::bDebugAuthorized = false;
        EXPECT_EQ(folder.numFiles(), bAuthorized ? 11U : 0U);
    }
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
