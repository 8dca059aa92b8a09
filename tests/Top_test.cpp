// The passes of the repair at their limits, against slow ones on wild meshes, and the whole sequences.
#include "Top.h"

#include "CMesh.h"
#include "CPatch.h"
#include "Progress.h"
#include "support/coarse.h"
#include "support/extraction.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

using Triangles = std::vector<CTriangle*>;
using Edges = std::vector<CEdge*>;

/// Random cells extracted, with points that often lie on one line or plane, and what repairs the mesh.
struct Wild {
    explicit Wild(unsigned seed, int num = 7)
        : world(randomCells(num, 0.2 + 0.02 * (seed % 20), seed)), top(&world.mesh(), &world.calc) {
        world.withScatteredPoints(seed, 2);
    }
    Extraction world;
    Top top;
};

/// The passes report to a run, and say much.
struct TopPasses : ::testing::Test, OpenRun {
    CoutSilence silence;
};

/// A strip of numT triangles with numBorder border edges; each other edge of its rim is an ME by a tetrahedron on it.
struct Strip : CoarseWorld {
    Strip(int numT, int numBorder) {
        const auto at = [this](int i) {
            return put(16 + static_cast<unsigned>(i) / 2, 16 + static_cast<unsigned>(i) % 2, 16);
        };
        for (int i = 0; i < numT; ++i)
            vStripT.push_back(triangle(at(i), at(i + 1), at(i + 2)));
        unsigned z = 20;
        Edges vRim = edges(mesh, 1);
        for (auto it = vRim.begin() + numBorder; it != vRim.end(); ++it, ++z) {
            const VCD a = (*it)->v0, b = (*it)->v1, c = put(16, 16, z), d = put(17, 16, z);
            triangle(a, b, c), triangle(a, b, d), triangle(a, c, d), triangle(b, c, d);
        }
    }
    bool isWhole() const { return vStripT[0]->isAlive(); }

    Triangles vStripT;
};

/// killTinyBorderPatches without marks and short cuts.
void slowKillTiny(CMesh& mesh, int maxNumT) {
    std::set<CEdge*> sBorderCE;
    for (CEdge* pCE : edges(mesh, 1)) {
        const std::size_t numBefore = sBorderCE.size();
        if (!sBorderCE.insert(pCE).second || pCE->getDegree() == 0) continue;
        std::set<CTriangle*> sPiece{pCE->vCT[0]};
        Triangles vStack{pCE->vCT[0]};
        while (!vStack.empty()) {
            const CTriangle* pCT = vStack.back();
            vStack.pop_back();
            for (int i = 0; i < 3; ++i) {
                if (pCT->getCE(i)->getDegree() == 1) sBorderCE.insert(pCT->getCE(i));
                if (pCT->getCE(i)->getDegree() != 2) continue;
                CTriangle* pNeigT = pCT->getCE(i)->getUniqueOtherTriangle(pCT);
                if (sPiece.insert(pNeigT).second) vStack.push_back(pNeigT);
            }
        }
        const std::size_t numT = sPiece.size(), numBorder = sBorderCE.size() - numBefore;
        if (numT > static_cast<std::size_t>(maxNumT)) continue;
        if (5 * numBorder > numT || (numT <= 24 && numBorder >= 2) || (numT <= 6 && numBorder == 1))
            for (CTriangle* pCT : sPiece)
                pCT->kill(&mesh);
    }
}

/// What the finalisers do, pass by pass.
void runPasses(Wild& wild, bool bMelted) {
    Top& top = wild.top;
    CMesh& mesh = wild.world.mesh();
    const auto solvePairs = [&](bool bCareful) {
        while (top.patchPairSolving(bCareful)) {
        }
    };
    const auto tidyBorders = [&](int maxNumT) {
        Edges vBorderCE;
        top.getBordersKillDeg1nn(vBorderCE);
        for (CEdge* pCE : vBorderCE)
            top.integrateCCD(pCE);
        top.killTinyBorderPatches(maxNumT);
    };
    top.unifyDiagonals();
    if (bMelted) {
        top.cbsComplete(wild.world.pVoro.get());
        tidyBorders(8), solvePairs(true), top.killTinyBorderPatches(8);
        mesh.averageBundles(), mesh.treatDegenerateT(), top.oneCoordTriplePerCCD();
        return;
    }
    top.killDegenerate(), solvePairs(true);
    top.cbsComplete(wild.world.pVoro.get()), top.killDegenerate();
    tidyBorders(40), solvePairs(false), top.killTinyBorderPatches(100);
    cut(mesh);
    top.orient(), top.repairDeg3();
}

/// A square of cells across an axis with the corners p, q on one diagonal and r, s on the other, r moved up by lift, and a
/// cell far from it. Triangles are named by the letters of their corners.
struct Square : CoarseWorld {
    explicit Square(std::size_t axis, const std::string& triangles = "", unsigned lift = 0) {
        const auto at = [&](unsigned i, unsigned j, unsigned up) {
            std::array<unsigned, 3> xyz{};
            xyz[axis] = 16 + up, xyz[(axis + 1) % 3] = 17 + i, xyz[(axis + 2) % 3] = 17 + j;
            return put(xyz[0], xyz[1], xyz[2]);
        };
        p = at(0, 0, 0), q = at(1, 1, 0), r = at(1, 0, lift), s = at(0, 1, 0);
        std::map<char, VCD> mCorner{{'p', p}, {'q', q}, {'r', r}, {'s', s}, {'*', put(60, 60, 60)}};
        for (std::size_t i = 0; i < triangles.size(); i += 4)
            triangle(mCorner[triangles[i]], mCorner[triangles[i + 1]], mCorner[triangles[i + 2]]);
    }
    void unifyAndExpect(int numPQ, int numRS, const std::string& name) {
        const auto degree = [this](VCD a, VCD b) {
            return mesh.getEdge(a, b) == nullptr ? 0 : mesh.getEdge(a, b)->getDegree();
        };
        Top(&mesh, &calc).unifyDiagonals();
        EXPECT_EQ(std::pair(degree(p, q), degree(r, s)), std::pair(numPQ, numRS)) << name;
        EXPECT_EQ(firstFault(mesh), "") << name;
    }
    VCD p, q, r, s;
};

}  // namespace

// ---- Diagonals and flat triangles

TEST_F(TopPasses, aSquareKeepsOneDiagonal) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Square one(axis, "pqr qps"), other(axis, "pqr rsp srq"), both(axis, "rsp rsq pqr pqs pq*");
        one.unifyAndExpect(2, 0, "one diagonal");
        EXPECT_EQ(one.mesh.vAllCT.size(), 2U) << "left as it was";
        one.triangle(one.r, one.s, one.p), one.triangle(one.s, one.r, one.q);
        one.unifyAndExpect(2, 0, "each gives way when its turn comes, and p-q, the first, is made again");
        other.mesh.vAllCT[0]->kill(&other.mesh);
        other.unifyAndExpect(2, 0, "the other one is left over");
        EXPECT_EQ(other.mesh.vAllCT.back()->cfg, 0);
        EXPECT_EQ(other.mesh.vAllCT.back()->vcdCube, other.r) << "of the first of the two";
        both.unifyAndExpect(3, 0, "the other one has its triangles");
        Square(axis, "pqr pqr rs*").unifyAndExpect(2, 1, "two triangles on the same corners");
        Square(axis, "pqr pqs rs*", 1).unifyAndExpect(2, 1, "not in one plane");
    }
}

TEST_F(TopPasses, aNewTriangleWithoutAreaIsTreatedAtOnce) {
    Square square(2, "pqr pqs");  // p lies on the line from r to s
    square.put(square.p, Point3(17.75, 17.75, 16.5)), square.put(square.q, Point3(18.75, 18.75, 16.5));
    square.put(square.r, Point3(18.25, 17.25, 16.5)), square.put(square.s, Point3(17.25, 18.25, 16.5));
    for (const unsigned x : {17U, 18U})
        square.triangle(square.r, square.s, square.put(x, 18, 17));
    square.unifyAndExpect(2, 0, "the three other triangles on r-s are cut at p");
    EXPECT_EQ(numAlive(square.mesh), 6U);
}

TEST_F(TopPasses, flatTrianglesGoOrAreWarnedOf) {
    forSeeds(40, [](unsigned seed) {
        Wild wild(seed);
        const std::string said = outputOf([&] {
            wild.top.unifyDiagonals();
            wild.top.killDegenerate();
        });
        const Triangles vT = aliveT(wild.world.mesh());
        const auto isFlat = [&](const CTriangle* pCT) { return pCT->isDegenerate(&wild.world.mesh()); };
        EXPECT_EQ(firstFault(wild.world.mesh()), "");
        EXPECT_TRUE(std::none_of(vT.begin(), vT.end(), isFlat) ||
                    countIn(said, "trySplitNeigsKillT() and laplacianForOne()") > 0);
    });
}

// ---- Borders

TEST_F(TopPasses, piecesGoByTheirBorder) {
    for (const auto& [numT, numBorder, maxNumT, bStays] : std::vector<std::tuple<int, int, int, bool>>{{10, 3, 8, true},
                                                                                                       {10, 3, 9, true},
                                                                                                       {10, 3, 10, false},
                                                                                                       {10, 3, 40, false},
                                                                                                       {30, 6, 40, true},
                                                                                                       {30, 7, 40, false},
                                                                                                       {24, 2, 40, false},
                                                                                                       {25, 2, 40, true},
                                                                                                       {24, 1, 40, true},
                                                                                                       {6, 1, 40, false},
                                                                                                       {7, 1, 40, true},
                                                                                                       {6, 1, 5, true},
                                                                                                       {4, 1, 40, false},
                                                                                                       {35, 7, 40, true},
                                                                                                       {41, 40, 40, true}}) {
        Strip strip(numT, numBorder);
        const std::size_t numBefore = numAlive(strip.mesh);
        Top(&strip.mesh, &strip.calc).killTinyBorderPatches(maxNumT);
        EXPECT_EQ(strip.isWhole(), bStays) << numT << " triangles, " << numBorder << " border edges, limit " << maxNumT;
        EXPECT_EQ(numAlive(strip.mesh), numBefore - (bStays ? 0 : strip.vStripT.size())) << "all or none, nothing else";
    }
}

TEST_F(TopPasses, piecesGoAsTheSlowPassSays) {
    for (unsigned seed = 0; seed < 60; ++seed)
        for (const int maxNumT : {1, 8, 40, 100}) {
            Wild fast(seed), slow(seed);
            fast.top.killTinyBorderPatches(maxNumT);
            slowKillTiny(slow.world.mesh(), maxNumT);
            EXPECT_EQ(fast.world.triangles(), slow.world.triangles()) << "seed " << seed << ", limit " << maxNumT;
        }
}

TEST_F(TopPasses, bordersAreListedAndHangingTrianglesGo) {
    forSeeds(40, [](unsigned seed) {
        Wild wild(seed);
        Edges vExpected = edges(wild.world.mesh(), 1), vBorderCE;
        wild.top.getBordersKillDeg1nn(vBorderCE);
        std::erase_if(vExpected, [](const CEdge* pCE) { return pCE->getDegree() != 1; });
        EXPECT_EQ(vBorderCE, vExpected) << "what is still a border of those that were";
        for (CEdge* pCE : vBorderCE)
            wild.top.integrateCCD(pCE);
        EXPECT_EQ(firstFault(wild.world.mesh()), "");
    });
    CoarseWorld world;
    const VCD a = world.put(16, 16, 16), b = world.put(17, 16, 16), tip = world.put(16, 17, 16);
    CTriangle* pHangingT = world.triangle(a, b, tip);
    for (const unsigned z : {18U, 19U})
        world.triangle(a, tip, world.put(16, 16, z)), world.triangle(b, tip, world.put(16, 16, z));
    Edges vBorderCE;
    Top(&world.mesh, &world.calc).getBordersKillDeg1nn(vBorderCE);
    EXPECT_FALSE(pHangingT->isAlive());
    EXPECT_EQ(vBorderCE, edges(world.mesh, 1)) << "the MEs became manifold, no border is new";
    EXPECT_EQ(numAlive(world.mesh), 4U);
}

TEST_F(TopPasses, earsAreFoldedIn) {
    const auto integrateAll = [](CoarseWorld& world) {
        for (CEdge* pCE : edges(world.mesh, 1))
            Top(&world.mesh, &world.calc).integrateCCD(pCE);
    };
    CoarseWorld single;
    single.triangle(single.put(16, 16, 16), single.put(17, 16, 16), single.put(16, 17, 16));
    integrateAll(single);
    EXPECT_EQ(numAlive(single.mesh), 0U);

    Sheet plain(3, 3), withEar(3, 3), withSteepEar(3, 3);
    integrateAll(plain);
    EXPECT_EQ(numAlive(plain.mesh), 18U) << "its ears hang on manifold edges";
    withEar.withFin(1, 1);
    withEar.put(cell(17, 17, 17), Point3(18.1, 17.6, 17.0));  // above the edge, so the halves hardly turn
    integrateAll(withEar);
    EXPECT_EQ(numAlive(withEar.mesh), 20U) << "both neighbours in two, the ear is gone";
    EXPECT_TRUE(edges(withEar.mesh, 3).empty());
    withSteepEar.withFin(1, 1);
    withSteepEar.put(cell(17, 17, 17), Point3(18.0, 30.0, 17.0));  // one neighbour would be turned over
    integrateAll(withSteepEar);
    EXPECT_EQ(numAlive(withSteepEar.mesh), 18U) << "the ear is gone, and nothing else has changed";
}

// ---- Extracting again

TEST_F(TopPasses, cubesAtBordersAndCrossingsAreExtractedAgain) {
    forSeeds(40, [&](unsigned seed) {
        Wild wild(seed), slow(seed);
        wild.top.cbsComplete(wild.world.pVoro.get());

        // The same by sets: a cube is taken when all corners of a border triangle or of an edge of degree 4 are among its
        // cells.
        CMesh& mesh = slow.world.mesh();
        Edges vBorderCE;
        slow.top.getBordersKillDeg1nn(vBorderCE);
        std::vector<std::set<VCD>> vCells;
        for (const CEdge* pCE : vBorderCE)
            vCells.push_back({pCE->vCT[0]->c0, pCE->vCT[0]->c1, pCE->vCT[0]->c2});
        for (const CEdge* pCE : edges(mesh, 4))
            vCells.push_back({pCE->v0, pCE->v1});
        std::vector<VCD> vCubes;
        for (const VCD key : slow.world.allKeys()) {
            CCD cube[8] = {0, 0, 0, 0, 0, key};
            slow.world.calc.completeArraySym(cube);
            const std::set<VCD> sCube(cube, cube + 8);
            if (std::any_of(vCells.begin(), vCells.end(), [&](const std::set<VCD>& sCell) {
                    return std::includes(sCube.begin(), sCube.end(), sCell.begin(), sCell.end());
                }))
                vCubes.push_back(key);
        }
        slow.world.pVoro->meshAgain(vCubes);
        mesh.averageBundles();
        slow.top.unifyDiagonals();
        EXPECT_EQ(wild.world.triangles(), slow.world.triangles());
    });
    Extraction sphere(sphereShell(6));
    const auto before = sphere.triangles();
    Top(&sphere.mesh(), &sphere.calc).cbsComplete(sphere.pVoro.get());
    EXPECT_EQ(sphere.triangles(), before) << "no border, no edge of degree 4";
}

// ---- Vertices

TEST_F(TopPasses, verticesAtOnePlaceAreMovedApart) {
    CoarseWorld world;
    const Point3 p(20.5, 20.5, 20.5), far(1e18, 1e18, 1e18);
    std::vector<VCD> vSame;
    for (unsigned x = 0; x < 50; ++x)
        vSame.push_back(world.put(cell(x, 5, 5), p));
    world.put(cell(70, 5, 5), Point3(20.5, 20.5, 20.25));
    world.put(cell(71, 5, 5), Point3(20.5, std::nan(""), 20.5));  // nowhere, and in no one's way
    const std::string said = outputOf([&] { Top(&world.mesh, &world.calc).oneCoordTriplePerCCD(); });
    EXPECT_EQ(countIn(said, "WARNING"), 0);
    std::set<std::tuple<double, double, double>> sPlace;
    for (const VCD vcd : vSame) {
        const Vector3 shift = *world.mesh.getVtx(vcd) - p;
        for (const double d : {shift.x(), shift.y(), shift.z()})
            EXPECT_TRUE(d >= 0.0 && d < 0.01);
        sPlace.emplace(shift.x(), shift.y(), shift.z());
    }
    EXPECT_EQ(sPlace.size(), vSame.size());
    EXPECT_EQ((*world.mesh.getVtx(vSame[0]) - p).length(), 0.0) << "the first one keeps its place";
    EXPECT_EQ(world.mesh.getVtx(cell(70, 5, 5))->z(), 20.25);

    for (unsigned x = 0; x < 2; ++x)  // a step is less than the last digit of these
        world.put(cell(x, 6, 6), far);
    EXPECT_EQ(countIn(outputOf([&] { Top(&world.mesh, &world.calc).oneCoordTriplePerCCD(); }), "WARNING"), 1);
}

// ---- Beside the sequences

TEST_F(TopPasses, thePassesBesideTheSequences) {
    Sheet sheet(4, 4);
    sheet.withFin(1, 1).withFin(2, 2);
    std::vector<CPatch*> vPatches = cut(sheet.mesh);
    Top top(&sheet.mesh, &sheet.calc);
    EXPECT_EQ(top.removeTinyBorderPatches(vPatches), 2) << "the fins: two border edges, one ME, one triangle";
    EXPECT_EQ(numAlive(sheet.mesh), 32U);

    Triangles vFin;  // on an edge with one more triangle, which has no other border; two must go
    for (const double height : {0.75, 0.25, 0.5})
        vFin.push_back(sheet.triangle(
            sheet.at(0, 0), sheet.at(1, 0),
            sheet.put(cell(9, 9, 100 - static_cast<unsigned>(vFin.size())), Point3(16.5, 16.5, 16.5 + height))));
    top.removeBorderTrianglesAtME();
    EXPECT_TRUE(vFin[0]->isAlive() && !vFin[1]->isAlive() && !vFin[2]->isAlive()) << "the two smaller ones";
    EXPECT_EQ(numAlive(sheet.mesh), 33U);

    const std::set<int> flatCorners = {27, 39, 78, 114, 141, 177, 216, 228};
    CoarseWorld cases;
    for (int cfg = -1; cfg < 256; ++cfg) {
        const auto x = static_cast<unsigned>(cfg + 1);
        cases.mesh.createT(cases.put(x, 1, 1), cases.put(x, 2, 1), cases.put(x, 1, 2), 0, cfg);
    }
    Top(&cases.mesh, &cases.calc).pruneCases();
    for (const CTriangle* pCT : cases.mesh.vAllCT)
        EXPECT_EQ(pCT->isAlive(), flatCorners.count(pCT->cfg) == 0) << pCT->cfg;
}

// ---- The sequences

TEST_F(TopPasses, sequencesAreTheirPassesInOrder) {
    for (const auto finalize : {&Top::finalizeReconstructedMesh, &Top::finalizeHoleMesh, &Top::finalizeOneMelted})
        forSeeds(60, [&](unsigned seed) {
            Wild wild(seed, 7 + seed % 4), byHand(seed, 7 + seed % 4);
            (wild.top.*finalize)(wild.world.pVoro.get());
            runPasses(byHand, finalize == &Top::finalizeOneMelted);
            EXPECT_EQ(firstFault(wild.world.mesh()), "");
            EXPECT_EQ(wild.world.triangles(), byHand.world.triangles());
            for (const auto& [ccd, pBundle] : wild.world.mBundle)
                EXPECT_EQ((*pBundle->pVtx - *byHand.world.mBundle[ccd]->pVtx).length(), 0.0);
        });
}

TEST_F(TopPasses, sequencesFinishTheStepsThatTheyOpen) {
    const auto stepsOf = [](auto finalize) {
        Wild wild(11);
        const Progress* pRoot = plantProgress("Test", {});  // nothing but what the sequence opens
        (wild.top.*finalize)(wild.world.pVoro.get());
        std::map<std::string, double> mStep;
        for (const auto& [name, pStep] : pRoot->mNameKids)
            if (name.starts_with("TP_")) mStep[name] = pStep->getFrac();
        return mStep;
    };
    using Steps = std::map<std::string, double>;
    Steps mStep = {{"TP_cbcpl", 1.0}, {"TP_fin", 1.0}, {"TP_itr", 1.0}, {"TP_pps", 1.0}, {"TP_unif", 1.0}};
    EXPECT_EQ(stepsOf(&Top::finalizeReconstructedMesh), mStep);
    mStep.erase("TP_unif");
    EXPECT_EQ(stepsOf(&Top::finalizeHoleMesh), mStep);
}

TEST_F(TopPasses, aSphereWithASpurAndADoubleComesOutClean) {
    VCCD vCells = sphereShell(8);
    for (int i = 0; i < 2; ++i)  // two cells thick at the pole, and a spur at the side
        for (int j = 0; j < 2; ++j)
            vCells.push_back(cellAt(1007 + i, 1007 + j, 1016));
    vCells.push_back(cellAt(1016, 1008, 1008)), vCells.push_back(cellAt(1017, 1008, 1008));
    std::sort(vCells.begin(), vCells.end());
    vCells.erase(std::unique(vCells.begin(), vCells.end()), vCells.end());
    Extraction world(vCells);
    Top top(&world.mesh(), &world.calc);
    top.finalizeReconstructedMesh(world.pVoro.get());
    Edges vCE = edges(world.mesh(), -99);
    EXPECT_EQ(vCE.size(), edges(world.mesh(), 2).size()) << "closed and manifold";
    EXPECT_TRUE(std::none_of(vCE.begin(), vCE.end(), [](CEdge* pCE) { return pCE->vCT[0]->needFlip(pCE->vCT[1]); }));
    std::vector<CCD> vUsed;
    world.mesh().getUsedCCD(vUsed);
    EXPECT_EQ(vUsed.size() + numAlive(world.mesh()), vCE.size() + 2) << "one sphere";
}
