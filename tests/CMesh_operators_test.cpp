// The operators against their description as sets of corner triples, on meshes where anything goes, and on small meshes
// whose result is known.
#include "CMesh.h"
#include "CPatch.h"
#include "support/coarse.h"
#include "support/prelude.h"
#include "support/random_coarse.h"

using namespace TARN_TEST;

namespace {

using Triple = std::array<VCD, 3>;
using Triples = std::multiset<Triple>;
using Soup = RandomCoarse;

/// From the lowest corner on: the orientation stays.
Triple turned(Triple t) {
    std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    return t;
}

Triple sortedTriple(Triple t) {
    std::sort(t.begin(), t.end());
    return t;
}

Triples triplesOf(const CMesh& mesh) {
    Triples s;
    for (const CTriangle* pCT : mesh.vAllCT)
        if (pCT->isAlive()) s.insert(turned({pCT->c0, pCT->c1, pCT->c2}));
    return s;
}

/// What is left when every src becomes trg.
Triples substituted(const Triples& triples, VCD src, VCD trg) {
    Triples s;
    for (Triple t : triples) {
        std::replace(t.begin(), t.end(), src, trg);
        if (t[0] != t[1] && t[1] != t[2] && t[0] != t[2]) s.insert(turned(t));
    }
    return s;
}

bool hasDoubles(const Triples& triples) {
    std::set<Triple> s;
    return !std::ranges::all_of(triples, [&s](const Triple& t) { return s.insert(sortedTriple(t)).second; });
}

/// How often each directed edge occurs, those along the pair left out.
std::multiset<std::pair<VCD, VCD>> halfEdges(const std::vector<CTriangle*>& vCT, VCD a, VCD b) {
    std::multiset<std::pair<VCD, VCD>> s;
    for (const CTriangle* pCT : vCT)
        for (int i = 0; i < 3; ++i) {
            VCD from, to;
            pCT->getEdgeCCDs(i, from, to);
            if (std::minmax(from, to) != std::minmax(a, b)) s.emplace(from, to);
        }
    return s;
}

void collapseAndCompare(Soup& soup, CEdge* pCE, bool bToMidpoint) {
    CMesh& mesh = soup.mesh;
    const bool bDown = !bToMidpoint && pick(soup.random, 2) == 0;
    const VCD src = bDown ? pCE->v1 : pCE->v0, trg = pCE->getOtherVCD(src);
    const Triples before = triplesOf(mesh), hung = substituted(before, src, trg);
    const bool bPossible = pCE->getDegree() > 0, bDups = hasDoubles(hung);
    EXPECT_TRUE(!bPossible || mesh.canCollapseWithoutDups(src, trg) == !bDups);
    if (!bToMidpoint) {
        EXPECT_EQ(mesh.collapseEdgeToEndpoint(pCE, src, trg), bPossible && !bDups);
        EXPECT_EQ(triplesOf(mesh), bPossible && !bDups ? hung : before);
        return;
    }
    const Point3 middle = pCE->getCenter(&mesh);
    EXPECT_EQ(mesh.collapseEdgeToMidpoint(pCE), bPossible ? pCE->v1 : ~CCD{0});
    EXPECT_EQ(triplesOf(mesh), bPossible ? hung : before);
    EXPECT_TRUE(!bPossible || mesh.getAvgPoint(trg) == middle);
}

void flipAndCompare(Soup& soup, CEdge* pCE) {
    if (pCE->getDegree() != 2) {
        expectText("Edge not flipped, !getTwoTriangles()",
                   [&] { EXPECT_EQ(pCE->flipEdge(&soup.mesh, nullptr, nullptr), nullptr); });
        return;
    }
    CTriangle *pCT0 = pCE->vCT[1], *pCT1 = pCE->vCT[0];
    const VCD ccd0 = pCT0->getThirdCCD(pCE->v0, pCE->v1), ccd1 = pCT1->getThirdCCD(pCE->v0, pCE->v1);
    if (pCT0->needFlip(pCT1)) pCT1->flipNNV();
    const auto rim = halfEdges({pCT0, pCT1}, pCE->v0, pCE->v1);
    const std::size_t numBefore = soup.mesh.vAllCT.size();
    CEdge* pNewCE =
        pick(soup.random, 2) == 0 ? pCE->flipEdge(&soup.mesh, pCT0, pCT1) : pCE->flipEdge(&soup.mesh, nullptr, nullptr);
    EXPECT_EQ(pNewCE, soup.mesh.getEdge(ccd0, ccd1));
    EXPECT_EQ(pCE->getDegree(), 0);
    ASSERT_EQ(soup.mesh.vAllCT.size(), numBefore + 2);
    EXPECT_EQ(halfEdges({soup.mesh.vAllCT.end() - 2, soup.mesh.vAllCT.end()}, ccd0, ccd1), rim);
}

void killDupsAndCompare(CMesh& mesh) {
    std::map<Triple, const CTriangle*> mOldest;
    for (const CTriangle* pCT : aliveT(mesh)) {
        const auto [it, bNew] = mOldest.emplace(sortedTriple({pCT->c0, pCT->c1, pCT->c2}), pCT);
        it->second = std::min(it->second, pCT);
    }
    const std::size_t numBefore = numAlive(mesh);
    EXPECT_EQ(static_cast<std::size_t>(mesh.killDups()), numBefore - mOldest.size());
    EXPECT_EQ(numAlive(mesh), mOldest.size());
    for (const auto& [triple, pCT] : mOldest)
        EXPECT_TRUE(pCT->isAlive());
}

}  // namespace

TEST(CMeshOperators, agreeWithSetsOfTriplesOnAnyMesh) {
    for (const auto& [numCells, numTriangles] : {std::pair(5U, 10U), std::pair(9U, 30U), std::pair(27U, 300U)})
        for (unsigned seed = 0; seed < 12; ++seed) {
            SCOPED_TRACE(std::to_string(numCells) + " cells, seed " + std::to_string(seed));
            Soup soup(seed, numCells, numTriangles);
            for (int step = 0; step < 120 && !HasFailure(); ++step) {
                CEdge* pCE = soup.pickEdge();
                const std::size_t what = pick(soup.random, 8);
                if (what < 4) flipAndCompare(soup, pCE);
                if (what == 4) collapseAndCompare(soup, pCE, true);
                if (what > 4) collapseAndCompare(soup, pCE, false);
                EXPECT_TRUE(step % 10 != 0 || firstFault(soup.mesh).empty());
                if (pick(soup.random, 2) == 0) soup.addTriangle();
                killDupsAndCompare(soup.mesh);  // the others start without duplicates
            }
        }
}

TEST(CMeshOperators, refuseWhatWouldBreakTheMesh) {
    CoarseWorld world;
    CMesh& mesh = world.mesh;
    const VCD a = world.put(3, 3, 3), b = world.put(4, 3, 3), c = world.put(3, 4, 3), d = world.put(3, 3, 4);
    for (const Triple& t : {Triple{a, b, c}, Triple{a, c, d}, Triple{a, d, b}, Triple{b, d, c}})
        world.triangle(t[0], t[1], t[2]);
    CEdge* pCE = mesh.getEdge(a, b);
    CTriangle *pCT0 = pCE->vCT[0], *pCT1 = pCE->vCT[1];
    EXPECT_FALSE(mesh.collapseEdgeToEndpoint(pCE, a, b)) << "a tetrahedron";
    expectFails("(src==pCE->v0 && trg==pCE->v1) || (src==pCE->v1 && trg==pCE->v0)",
                [&] { mesh.collapseEdgeToEndpoint(pCE, a, c); });
    expectFails("pCT1==__null", [&] { pCE->flipEdge(&mesh, nullptr, pCT1); });
    reportOf([&] { pCE->flipEdge(&mesh, pCT0, pCT0); });
    EXPECT_EQ(numAlive(mesh), 4U);
    pCT0->kill(&mesh);
    expectText("pCT0 or pCT1 not alive", [&] { EXPECT_EQ(pCE->flipEdge(&mesh, pCT0, pCT1), nullptr); });
    std::vector<CTriangle*> vNewT;
    expectFails("pKillCT->isAlive()", [&] { pCE->trySplitNeigsKillT(&mesh, pCT0, 1, vNewT); });
}

TEST(CMeshOperators, aFlatTriangleIsSplitIntoItsNeighbours) {
    // m lies on the edge a-b, or is pulled beyond the first neighbour of it, so that a half of that one would turn over.
    for (const int numNeigs : {0, 1, 2, 3})
        for (const bool bPulled : {false, true}) {
            SCOPED_TRACE(std::to_string(numNeigs) + (bPulled ? ", pulled" : ""));
            CoarseWorld world;
            CMesh& mesh = world.mesh;
            const VCD a = world.put(4, 4, 4), b = world.put(8, 4, 4), m = cell(6, 4, 4);
            world.put(m, bPulled ? Point3(6.5, 0.0, 4.5) : Point3(6.5, 4.5, 4.5));
            CTriangle* pKillCT = world.triangle(a, m, b);
            CPatch patch(&mesh, &world.calc);
            for (const VCD off : {world.put(6, 2, 4), world.put(6, 6, 4), world.put(6, 4, 6)})
                if (static_cast<int>(mesh.vAllCT.size()) <= numNeigs) patch.add(world.triangle(b, a, off));
            const Triples before = triplesOf(mesh);
            std::vector<CTriangle*> vNewT;
            const bool bDone = mesh.getEdge(a, b)->trySplitNeigsKillT(&mesh, pKillCT, pKillCT->getICI(m), vNewT);
            ASSERT_EQ(bDone, !bPulled || numNeigs == 0);
            EXPECT_EQ(firstFault(mesh), "");
            if (!bDone) {
                EXPECT_EQ(triplesOf(mesh), before);
                continue;
            }
            EXPECT_EQ(vNewT.size(), static_cast<std::size_t>(2 * numNeigs));
            EXPECT_EQ(triplesOf(mesh).size(), vNewT.size());
            EXPECT_NEAR(mesh.getArea(), 4.0 * numNeigs, 1e-9);
            for (const CTriangle* pCT : vNewT) {
                EXPECT_EQ(pCT->getPatch(), &patch);
                EXPECT_TRUE(pCT->getHEDirection2(m, a) == HE_SAME || pCT->getHEDirection2(b, m) == HE_SAME);
            }
        }
}

TEST(CMeshOperators, degenerateTrianglesGoWhereNeighboursCanBeSplit) {
    Sheet sheet(5, 5);
    CMesh& mesh = sheet.mesh;
    for (const unsigned y : {1U, 3U})  // onto the middle of the edge to their right
        sheet.put(sheet.at(1, y), Point3(18.5, 17.0 + y, 16.5));
    sheet.triangle(sheet.put(40, 16, 16), sheet.put(41, 16, 16), sheet.put(42, 16, 16));
    EXPECT_EQ(countIn(outputOf([&] { mesh.treatDegenerateT(); }), "Not able"), 0);
    EXPECT_EQ(triplesOf(mesh).size(), 50) << "of 51, three went and two neighbours are two each";
    outputOf([&] { EXPECT_TRUE(mesh.checkNoDegenerate("")); });

    // A vertex on its neighbour: no edge can be split there, it is pushed off instead.
    sheet.put(sheet.at(4, 4), mesh.getAvgPoint(sheet.at(3, 3)));
    EXPECT_GE(countIn(outputOf([&] { mesh.treatDegenerateT(); }), "\n Not able to split: "), 1);
    EXPECT_NEAR((mesh.getAvgPoint(sheet.at(4, 4)) - mesh.getAvgPoint(sheet.at(3, 3))).length(), 0.1, 0.02);
    outputOf([&] { EXPECT_TRUE(mesh.checkNoDegenerate("")); });
    EXPECT_EQ(firstFault(mesh), "");
}

TEST(CMeshOperators, aVertexMovesToTheMeanOfItsNeighboursInShortSteps) {
    const Point3 mean(17.5, 17.5, 16.5);
    for (const double away : {0.05, 0.3, 5.0}) {
        Sheet sheet(2, 2);
        sheet.put(sheet.at(1, 1), mean + Vector3(0.0, 0.0, away));
        expectText("devAngle would be ", [&] { EXPECT_TRUE(sheet.mesh.laplacianForOne(sheet.at(1, 1))); });
        const Point3 p = sheet.mesh.getAvgPoint(sheet.at(1, 1));
        EXPECT_NEAR((p - mean - Vector3(0.0, 0.0, std::max(0.0, away - 0.1))).length(), 0.0, 1e-12);
    }
    Sheet sheet(2, 2);  // beyond the rim of its ring the way back turns a triangle over
    sheet.put(sheet.at(1, 1), Point3(18.55, 17.5, 16.5));
    outputOf([&] { EXPECT_FALSE(sheet.mesh.laplacianForOne(sheet.at(1, 1))); });
    EXPECT_EQ(sheet.mesh.getAvgPoint(sheet.at(1, 1)), Point3(18.55, 17.5, 16.5));
    EXPECT_FALSE(sheet.mesh.laplacianForOne(cell(1, 1, 1)));
}

TEST(CMeshOperators, anAddedVertexStaysWhereItIsPutWithoutEdges) {
    CoarseWorld world;
    const CCD ccd = cell(7, 7, 7);
    world.mesh.addBundle(ccd, 7.25, 7.5, 7.0);
    EXPECT_EQ(world.mesh.getAvgPoint(ccd), Point3(7.25, 7.5, 7.0));
    expectFails("pCalc->getCCD(pVtx)==ccd", [&] { world.mesh.addBundle(ccd, 8.0, 7.5, 7.5); });
}
