// Bubbles: an inner wall goes, the queue decides as it did, what hangs in the air finds the surface.
#include "VolSolver.h"
#include "CPatch.h"
#include "Visualizer3.h"
#include "support/TempFolder.h"
#include "support/coarse_soup.h"
#include "support/hash.h"
#include "support/holes.h"
#include "support/prelude.h"

using namespace TARN_TEST;

// The first lid closes the opening, the second comes too late.
TEST(VolSolver, killsTheWallInsideAndTheSecondLid) {
    Soup soup = without(sphere(4, 15), {60});               // rows of 4 vertices, the poles are 60 and 61
    soup.vT.insert(soup.vT.end(), {{0, 1, 2}, {0, 2, 3}});  // lid
    const auto numKept = static_cast<std::ptrdiff_t>(soup.vT.size());
    soup.vT.insert(soup.vT.end(), {{0, 1, 3}, {1, 2, 3}, {28, 29, 30}, {28, 30, 31}, {5, 6, 62}});  // lid, wall, fin
    soup.vVtx.emplace_back(0, 0, 0);
    CoarsePlaces places(soup);
    VolSolver solver(&places.mesh, &places.calc, nullptr);
    outputOf([&] { solver.findBubbles(), solver.integrateDanglingAndKill(); });
    EXPECT_EQ(solver.vDanglingVCD, std::vector<VCD>{places.code(62)});
    solver.killBubbles();
    EXPECT_EQ(aliveT(places.mesh), std::vector<CTriangle*>(places.vT.begin(), places.vT.begin() + numKept));
}

// Without an opening no wall can be told from the surface. Only the second run may draw.
TEST(VolSolver, leavesWhatItCannotTell) {
    const WorkingFolder folder;
    Soup closed = sphere(4, 15);
    closed.vT.insert(closed.vT.end(), {{28, 29, 30}, {28, 30, 31}});
    for (const auto& [soup, line] : {std::pair{sheet(3, 1), "VolSolver::solveBubbles(), sStrongPatches.size()=0, returning"},
                                     {closed, "sCurrentBorders.size()=0"}}) {
        CoarsePlaces places(soup);
        expectText(line, [&] { VolSolver(&places.mesh, &places.calc, nullptr).presolveBubbles(); });
        EXPECT_EQ(numAlive(places.mesh), soup.vT.size());
        EXPECT_EQ(folder.numFiles(), Visualizer3::bDebugAuthorized ? 2U : 0U);
        Visualizer3::bDebugAuthorized = !Visualizer3::bDebugAuthorized;
    }
}

TEST(VolSolver, killsWhatItKilledBefore) {
    std::vector<std::size_t> vNumbers;
    forSeeds(100, [&](unsigned seed) {
        const CoutSilence silence;
        Random random(seed);
        Soup soup = sphere(10, 8);
        punch(soup, 5, seed);
        for (unsigned num = 5 + seed % 40; num > 0; --num) {
            const auto t = soup.vT[pick(random, soup.vT.size())];
            const int apex = static_cast<int>(pick(random, 80));
            if (apex != t[0] && apex != t[1]) soup.vT.push_back({t[1], apex, t[0]});
        }
        CoarsePlaces places(soup);
        const std::vector<CPatch*> vOfMesh = cut(places.mesh);
        VolSolver solver(&places.mesh, &places.calc, nullptr);
        solver.findBubbles();
        EXPECT_EQ(places.mesh.vPatches, vOfMesh);
        for (CPatch* pPatch : solver.vKillPatches) {
            EXPECT_EQ(pPatch->getNumInnerVtx(), 0);
            for (std::size_t i = 0; i < places.vT.size(); ++i)
                if (places.vT[i]->getPatch() == pPatch) vNumbers.push_back(seed * 1000 + i);
        }
    });
    EXPECT_EQ(std::pair(vNumbers.size(), hashOf(sorted(vNumbers))),
              std::pair(std::size_t{1991}, std::uint64_t{14281296955223044187U}));
}

// Triangle 0 hangs on triangle 1, which has 2 and 3 beyond its other edges.
TEST(VolSolver, tiesAVertexToTheNearestEdgeOfTheSurface) {
    CoarsePlaces places({{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {1, -1, 0}, {5, 5, 0}, {-5, 1, 0}, {5, -1, 0}},
                         {{1, 0, 3}, {0, 1, 2}, {2, 1, 4}, {0, 2, 5}}});
    CEdge *const p01 = places.edge(0, 1), *const p12 = places.edge(1, 2), *const p20 = places.edge(2, 0);
    using Case = std::tuple<std::vector<int>, int, CEdge*, double>;  // strong triangles, vertex, result; -7: left as it was
    for (const auto& [vStrong, vertex, pExpected, expectedDist] :
         {Case{{1, 2, 3}, 3, p01, 1.0}, Case{{2}, 3, p12, -7}, Case{{3}, 6, p20, -7}, Case{{1}, 3, p01, 1.0},
          Case{{}, 3, nullptr, -7}, Case{{2, 3}, 3, p20, 1.0}, Case{{2, 3}, 6, p12, 0.0}, Case{{2, 3}, 2, p20, 0.0}}) {
        VolSolver solver(&places.mesh, &places.calc, nullptr);
        CPatch strong(&places.mesh, &places.calc);
        for (const int i : vStrong)
            strong.add(places.vT.at(static_cast<std::size_t>(i)));
        solver.sStrongPatches = {&strong};
        double dist = -7;
        EXPECT_EQ(solver.adaptCE(places.code(vertex), places.vT[0], 2, dist), pExpected);
        EXPECT_NEAR(dist, expectedDist, 1e-12);
    }
}
