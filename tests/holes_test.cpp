// Filling of holes on both meshes: punched spheres, tori and plates must be left without a border but the outer one, as
// good as before they were punched; what must stay open stays.

#include "support/holes.h"
#include "HoleFiller.h"
#include "HoleToCCD.h"
#include "Holex.h"
#include "Visualizer3.h"
#include "support/TempFolder.h"
#include "support/coarse_soup.h"
#include "support/figures.h"
#include "support/prelude.h"
#include "support/random_coarse.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

/// Every surface with some holes, and what it should be afterwards.
template <typename Check>
void forEachPunched(Check&& check) {
    for (const Soup& soup : {sphere(24, 15), torus(30, 12), sheet(14, 12)})
        forSeeds(25, [&](unsigned seed) {
            Soup punched = soup;
            const int numHoles = punch(punched, 1 + static_cast<int>(seed) % 9, seed);
            ASSERT_GT(numHoles, 0);
            check(punched, numHoles, figuresOf(soup.vT));
        });
}

int closeHoles(const std::shared_ptr<Mesh>& pMesh, int maxEdges) {
    const CoutSilence silence;
    return fillHoles(pMesh, maxEdges);
}

}  // namespace

// ---- The coarse mesh

TEST(HoleToCCD, leavesNoBorderButTheOuterOne) {
    forEachPunched([](const Soup& punched, int numHoles, const Figures& expected) {
        const CoutSilence silence;
        CoarsePlaces copy(punched);
        HoleToCCD filler(&copy.mesh, &copy.calc);
        std::vector<Point3> vOut;
        EXPECT_TRUE(filler.run(vOut));
        Figures figures = figuresOf(copy.mesh);
        figures.numConflicts = 0;  // the new triangles may face either way
        EXPECT_EQ(figures, expected);
        EXPECT_EQ(filler.vLoops.size(), static_cast<std::size_t>(numHoles));
        EXPECT_EQ(vOut.size(), 3 * filler.vFilledT.size());
        EXPECT_EQ(copy.mesh.vAllCT.size(), punched.vT.size() + filler.vFilledT.size());
        for (const Loop* pLoop : filler.vLoops) {  // they live in the mesh now
            const auto vRing = listOf<CEdge*>([&](auto& v) { pLoop->getVecCE(v); });
            for (std::size_t i = 0; i < vRing.size(); ++i)
                EXPECT_EQ(vRing[i]->getTarget(), vRing[(i + 1) % vRing.size()]->getSource());
            EXPECT_TRUE(listOf<CEdge*>([&](auto& v) { pLoop->getRemainingBorders(v), pLoop->getOpenFillCE(v); }).empty());
        }
        EXPECT_EQ(firstFault(copy.mesh), "");
    });
}

TEST(HoleFiller, leavesNoBorderButTheOuterOne) {
    forEachPunched([](const Soup& punched, int, const Figures& expected) {
        for (const bool bTurned : {false, true}) {
            CoarsePlaces copy(punched);
            Random random(1);
            for (CTriangle* pCT : copy.mesh.vAllCT)
                if (bTurned && random.next() % 2 == 0) pCT->flipNNV();
            HoleFiller filler(&copy.mesh, &copy.calc);
            EXPECT_EQ(outputOf([&] { filler.run(); }), "");
            EXPECT_EQ(figuresOf(copy.mesh), expected);
            EXPECT_EQ(firstFault(copy.mesh), "");
        }
    });
}

TEST(HoleFiller, separatesHolesThatTouch) {
    // Squares (3, 3) and (4, 4) touch in the vertex (4, 4); a third one in a row (5, 5) touches the second.
    for (const unsigned numHoles : {2U, 3U, 20U}) {
        Sheet sheet(numHoles + 4, numHoles + 4);
        for (unsigned i = 2; i < numHoles + 2; ++i)
            for (unsigned k : {0U, 1U})
                sheet.mesh.vAllCT[2 * (i * (numHoles + 4) + i) + k]->kill(&sheet.mesh);
        EXPECT_EQ(outputOf([&] { HoleFiller(&sheet.mesh, &sheet.calc).run(); }), "");
        EXPECT_EQ(figuresOf(sheet.mesh), (Figures{static_cast<int>(4 * (numHoles + 4)), 0, 0, 1, 0}));
        EXPECT_EQ(firstFault(sheet.mesh), "");
    }
}

TEST(HoleFiller, leavesOtherVerticesOfManyBordersAfterAWarning) {
    CoarseWorld world;
    const VCD hub = world.put(5, 5, 5);
    for (unsigned i = 0; i < 3; ++i)
        world.triangle(hub, world.put(7, 5 + 3 * i, 5), world.put(7, 6 + 3 * i, 5));
    EdgesByEnd mm = byEnds(edges(world.mesh, 1));
    HoleFiller filler(&world.mesh, &world.calc);
    expectText("Distance is 6", [&] { filler.solveMultiVCD(hub, mm); });
    expectText("vGroup0=1, vGroup1=0", [&] { filler.solveMultiVCD(world.put(7, 5, 5), mm); });
    EXPECT_EQ(std::pair(world.mesh.vAllCT.size(), mm.size()), std::pair(std::size_t{3}, std::size_t{18}));
}

TEST(HoleFiller, bridgesTheNearerGapOfTwoFans) {
    // Two fans of one triangle each, with the far ends 0, 1 and 2, 3 round v, in degrees.
    struct Round {
        std::array<double, 4> at;
        std::size_t first, second;  // what is bridged; equal: nothing
        int numConflicts;           // the new triangle agrees with the second fan
    };
    for (const auto& [at, first, second, numConflicts] :
         {Round{{30, 150, -20, -160}, 0, 2, 1}, Round{{30, 150, -160, -20}, 0, 3, 0}, Round{{10, 160, -100, -80}, 0, 2, 1},
          Round{{30, 150, -20, -30}, 0, 0, 0}}) {
        CoarseWorld world;
        const VCD v = world.put(500, 500, 500);
        std::vector<VCD> vFar;
        for (unsigned i = 0; i < 4; ++i) {
            const double a = at[i] * M_PI / 180;
            vFar.push_back(world.put(cell(i, 0, 0), world.calc.getMidPoint(v) + Vector3(std::cos(a), std::sin(a), 0)));
        }
        world.triangle(v, vFar[0], vFar[1]);
        world.triangle(v, vFar[2], vFar[3]);
        EdgesByEnd mm;
        for (const VCD far : vFar)
            enterBothEnds(mm, {world.mesh.getEdge(v, far)});
        HoleFiller(&world.mesh, &world.calc).solveMultiVCD(v, mm);
        ASSERT_EQ(world.mesh.vAllCT.size(), first == second ? 2U : 3U);
        EXPECT_EQ(figuresOf(world.mesh).numConflicts, numConflicts);
        if (first == second) continue;
        EXPECT_TRUE(world.mesh.vAllCT[2]->has(v) && world.mesh.vAllCT[2]->has(vFar[first], vFar[second])) << at[2];
        EXPECT_EQ(mm.count(v), 2U);
        EXPECT_EQ(mm.find(vFar[first])->second, world.mesh.getEdge(vFar[first], vFar[second]));
    }
}

TEST(holeFilling, survivesRandomMeshes) {
    forSeeds(300, [](unsigned seed) {
        const CoutSilence silence;
        const std::size_t numCells = 5 + seed % 23, numTriangles = 4 + seed % 37;
        RandomCoarse first(seed, numCells, numTriangles), second(seed, numCells, numTriangles);
        const MeshPtr pMesh = std::make_shared<Mesh>(new RMesh(&first.mesh));
        const Figures before = figuresOf(*pMesh->getRMesh());
        closeHoles(pMesh, 100);
        const Figures after = figuresOf(*pMesh->getRMesh());
        EXPECT_EQ(std::pair(after.numME, after.numConflicts), std::pair(before.numME, before.numConflicts));
        std::vector<Point3> vOut;
        HoleFiller(&first.mesh, &first.calc).run();
        HoleToCCD(&second.mesh, &second.calc).run(vOut);
        EXPECT_EQ(firstFault(first.mesh) + firstFault(second.mesh) + firstFault(*pMesh->getRMesh()), "");
    });
}

TEST(holeFilling, mendsMothEatenSurfaces) {
    int numClosed = 0;
    forSeeds(80, [&](unsigned seed) {
        Random random(seed);
        Soup soup = seed % 2 == 0 ? sphere(18, 9) : torus(18, 9);
        std::erase_if(soup.vT, [&](const auto&) { return random.next() % 100 < 3 + static_cast<int>(seed % 30); });
        const MeshPtr pMesh = meshOf(soup);
        const Figures before = figuresOf(soup.vT);
        const int num = closeHoles(pMesh, 30);
        const Figures after = figuresOf(*pMesh->getRMesh());
        EXPECT_EQ(after.numME + after.numConflicts + after.numDoubles, 0);
        EXPECT_LE(after.numBorder, before.numBorder - 3 * num);
        EXPECT_EQ(after.euler, before.euler + num) << "each hole is closed by a disc";
        numClosed += num;
        CoarsePlaces coarse(soup);
        const CoutSilence silence;
        HoleFiller(&coarse.mesh, &coarse.calc).run();
        EXPECT_LT(figuresOf(coarse.mesh).numBorder, before.numBorder);
        EXPECT_EQ(firstFault(coarse.mesh) + firstFault(*pMesh->getRMesh()), "");
    });
    EXPECT_GT(numClosed, 150);
}

TEST(Holex, endsTheProcessBehindItsStepsAndDrawsWhenItMay) {
    Sheet sheet(7, 7);
    for (const std::size_t i : {48U, 49U})
        sheet.mesh.vAllCT[i]->kill(&sheet.mesh);
    const TempFolder folder;
    std::vector<Point3> vOut;
    for (const bool bAuthorized : {false, true}) {
        EXPECT_EXIT(loudly([&] {
                        std::filesystem::current_path(folder.path(""));
                        Visualizer3::bDebugAuthorized = bAuthorized;
                        globalPrefixCtr = 0;
                        Holex(&sheet.mesh, &sheet.calc).run(vOut);
                    }),
                    testing::ExitedWithCode(0),
                    "Hole::run.. does not use vCCD2Zero currently(.|\n)*vRemoveCandidates final: (.|\n)*deliberateExit\\( "
                    "\\*\\* .*Hole::run");
        EXPECT_EQ(folder.numFiles(), bAuthorized ? 7U : 0U);
    }
    const CoutSilence silence;
    Holex holex(&sheet.mesh, &sheet.calc);
    holex.chainBorder();
    for (std::size_t i = 0; i < holex.pChainMgr->getSize(); ++i) {
        Chain* pChain = holex.pChainMgr->getChain(i);
        EXPECT_EQ(holex.examine(i), pChain->getSize() == 4);
        EXPECT_EQ(holex.fill(pChain), pChain->getSize() == 4);
    }
    EXPECT_EQ(figuresOf(sheet.mesh).numBorder, 28);
}

// ---- The fine mesh

TEST(fillHoles, makesPunchedSurfacesWhole) {
    forEachPunched([](const Soup& punched, int numHoles, const Figures& expected) {
        const MeshPtr pMesh = meshOf(punched);
        EXPECT_EQ(closeHoles(pMesh, 12), numHoles);
        EXPECT_EQ(figuresOf(*pMesh->getRMesh()), expected);
        EXPECT_EQ(firstFault(*pMesh->getRMesh()), "");
        EXPECT_EQ(pMesh->getRMesh()->getNumVtx_all(), punched.vVtx.size());
        EXPECT_EQ(closeHoles(pMesh, 12), 0);
    });
}

TEST(fillHoles, keepsToTheNumberOfEdges) {
    Soup soup = without(sheet(12, 12), {43, 94, 95});  // holes of 6 and 8 edges, then of 4
    std::erase_if(soup.vT, [](const auto& t) { return std::ranges::count(t, 16) + std::ranges::count(t, 28) == 2; });
    for (const auto& [maxEdges, num] : {std::pair(-1, 0), {3, 0}, {4, 1}, {5, 1}, {6, 2}, {7, 2}, {8, 3}, {2147483647, 3}})
        EXPECT_EQ(closeHoles(meshOf(soup), maxEdges), num) << maxEdges;
    const MeshPtr pMesh = meshOf(soup);
    closeHoles(pMesh, 2147483647);
    EXPECT_EQ(figuresOf(*pMesh->getRMesh()).numBorder, 48) << "the outer border of a flat sheet turns outwards";
    EXPECT_NEAR(pMesh->getRMesh()->getArea(), 144.0, 1e-9);

    for (const auto& [numRows, num] : {std::pair(4, 0), {6, 1}}) {  // a bowl, and a vase that narrows towards its rim
        std::set<int> sGone{24 * 9 + 1};
        for (int i = 24 * numRows; i < 24 * 9; ++i)
            sGone.insert(i);
        const MeshPtr pBowl = meshOf(without(sphere(24, 9), sGone));
        EXPECT_EQ(closeHoles(pBowl, 24), num);
        EXPECT_EQ(figuresOf(*pBowl->getRMesh()).numBorder, 24 - 24 * num);
        EXPECT_EQ(figuresOf(*pBowl->getRMesh()).numConflicts, 0);
    }
}

TEST(fillHoles, leavesWhatTouchesTwistsOrWouldMakeAnEdgeOfThree) {
    Soup touching = sheet(8, 8);  // squares (2, 2), (3, 3) and, alone, (6, 6); their triangles come in pairs
    for (const std::ptrdiff_t square : {6 * 8 + 6, 3 * 8 + 3, 2 * 8 + 2})
        touching.vT.erase(touching.vT.begin() + 2 * square, touching.vT.begin() + 2 * square + 2);
    const MeshPtr pTouching = meshOf(touching);
    EXPECT_EQ(closeHoles(pTouching, 10), 1);
    EXPECT_EQ(figuresOf(*pTouching->getRMesh()).numBorder, 32 + 8);

    for (const int num : {3, 4, 5, 6, 13}) {
        const Soup strip = ring(Ring::MOEBIUS, num, 1);
        EXPECT_EQ(closeHoles(meshOf(strip), 100), 0) << num;
        EXPECT_EQ(closeHoles(meshOf(turned(strip, 1, 2)), 100), 0)
            << num << ": all run along the border, and disagree inside";
    }

    // A square hole; then closed pockets stand on both of its diagonals.
    Soup blocked = sheet(3, 3);
    std::erase_if(blocked.vT, [](const auto& t) {
        return std::all_of(t.begin(), t.end(), [](int i) { return i == 5 || i == 6 || i == 9 || i == 10; });
    });
    EXPECT_EQ(closeHoles(meshOf(blocked), 4), 1);
    for (const double z : {3.0, -3.0, 4.0, -4.0})
        blocked.vVtx.emplace_back(1.5, 1.5, z);
    for (const auto& [a, b, apex] : {std::array{5, 10, 16}, {6, 9, 17}})
        for (const auto& t : {std::array{a, b, apex}, {b, a, apex + 2}, {a, apex, apex + 2}, {apex, b, apex + 2}})
            blocked.vT.push_back(t);
    const MeshPtr pBlocked = meshOf(blocked);
    EXPECT_EQ(closeHoles(pBlocked, 4), 0);
    EXPECT_EQ(figuresOf(*pBlocked->getRMesh()), figuresOf(blocked.vT));
}

TEST(fillHoles, followsTheNeighboursWhicheverWayTheyFace) {
    Soup inward = turned(sphere(12, 7)), mixed = without(sheet(4, 4), {12});
    punch(inward, 3, 5);
    const MeshPtr pMesh = meshOf(inward);
    EXPECT_GT(closeHoles(pMesh, 20), 0);
    EXPECT_EQ(figuresOf(*pMesh->getRMesh()).numConflicts, 0);
    EXPECT_EQ(cornersOf(pMesh)[0], cornersOf(inward)[0]) << "not turned";
    // With a triangle at the hole that faces down there is no way to agree with all.
    ASSERT_EQ(closeHoles(meshOf(mixed), 10), 1);
    for (auto& t : mixed.vT)
        if (std::count(t.begin(), t.end(), 7) + std::count(t.begin(), t.end(), 6) == 2) std::swap(t[0], t[1]);
    EXPECT_EQ(closeHoles(meshOf(mixed), 10), 0);
}
