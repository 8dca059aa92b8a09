// The operators against their description as sets of corner triples, on soups where anything goes, and on surfaces whose
// properties must survive.
#include "RMesh.h"
#include "RPatch.h"
#include "freeFunctions.h"
#include "support/figures.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

using Triple = std::array<std::size_t, 3>;
using Triples = std::multiset<Triple>;

/// From the lowest number on: the orientation stays.
Triple turned(Triple t) {
    std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    return t;
}
Triple tripleOf(const RMesh& mesh, const Point3* a, const Point3* b, const Point3* c) {
    return turned({mesh.getVtxIndex(a), mesh.getVtxIndex(b), mesh.getVtxIndex(c)});
}

/// The triangle, or what becomes of it when pOld is replaced.
Triple tripleOf(const RMesh& mesh, const RTriangle* pRT, const Point3* pOld = nullptr, const Point3* pNew = nullptr) {
    const Point3* a[3];
    std::replace_copy(pRT->aCorners, pRT->aCorners + 3, a, const_cast<Point3*>(pOld), const_cast<Point3*>(pNew));
    return tripleOf(mesh, a[0], a[1], a[2]);
}

Triples triplesOf(const RMesh& mesh) {
    Triples s;
    for (const Triple& t : indicesOf(mesh))
        s.insert(turned(t));
    return s;
}

std::set<std::set<std::size_t>> groupsOf(const Triples& triples) {
    std::set<std::set<std::size_t>> s;
    for (const Triple& t : triples)
        s.insert({t[0], t[1], t[2]});
    return s;
}

std::vector<RTriangle*> incident(const RMesh& mesh, const Point3* p) {
    return listOf<RTriangle*>([&](auto& v) { mesh.getIncidentT(p, v); });
}

/// Runs the call within a run of the library.
template <typename Call>
auto inRun(Call&& call) {
    const OpenRun run;
    return call();
}

/// Random triangles, of which some share all corners.
struct RandomSoup : std::mt19937, FineMesh {
    RandomSoup(unsigned seed, int numVtx, int numT) : std::mt19937(seed), FineMesh(Soup()) {
        while (vVtx.size() < static_cast<std::size_t>(numVtx))
            vVtx.push_back((*this)->createVertex(coordinate(), coordinate(), coordinate(), true));
        for (int i = 0; i < numT; ++i)
            addTriangle();
    }
    double coordinate() { return std::uniform_real_distribution<double>(0.0, 2.0)(*this); }
    std::size_t below(std::size_t n) { return (*this)() % n; }
    Point3* any() { return vVtx[below(vVtx.size())]; }
    void addTriangle() {
        Point3 *a = any(), *b = any(), *c = any();
        if (a != b && b != c && a != c) (*this)->createT(a, b, c);
    }
};

void collapseAndCompare(RandomSoup& soup) {
    RMesh& mesh = *soup;
    Point3 *pSrc = soup.any(), *pTrg = soup.any();
    const REdge* pRE = mesh.getEdge(pSrc, pTrg);
    if (pSrc == pTrg) return;
    if (pRE != nullptr && !pRE->isAlive()) {
        expectFails("pKillEdge==__null || pKillEdge->isAlive()", [&] { mesh.exchangeCorner(pSrc, pTrg); });
        return;
    }
    Triples expected;
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive() && !pRT->has(pSrc, pTrg)) expected.insert(tripleOf(mesh, pRT, pSrc, pTrg));
    bool bShared = false;
    for (const RTriangle* pRT : incident(mesh, pSrc))
        for (const RTriangle* pOtherT : incident(mesh, pTrg))
            bShared |= pRT->getRE(pRT->getICI(pSrc)) == pOtherT->getRE(pOtherT->getICI(pTrg));
    std::vector<RTriangle*> vExpectedT;
    for (const Point3* p : {pTrg, pSrc})
        for (RTriangle* pRT : incident(mesh, p))
            if (!pRT->has(pSrc, pTrg)) vExpectedT.push_back(pRT);

    EXPECT_EQ(mesh.canCollapseWithoutDups(pSrc, pTrg), !bShared);
    mesh.exchangeCorner(pSrc, pTrg);
    EXPECT_EQ(triplesOf(mesh), expected);
    EXPECT_EQ(incident(mesh, pTrg), vExpectedT);
    EXPECT_TRUE(incident(mesh, pSrc).empty() && mesh.hasVertex(*pSrc));
}

void flipAndCompare(RandomSoup& soup) {
    RMesh& mesh = *soup;
    REdge* pRE = mesh.vRE[soup.below(mesh.vRE.size())];
    Triples expected = triplesOf(mesh);
    const RTriangle *pRT0 = pRE->vRT[0], *pRT1 = pRE->vRT[1];  // null where there is none
    const Point3 *v0 = pRE->pVtx0, *v1 = pRE->pVtx1, *pA = nullptr, *pB = nullptr;
    const bool bTwo = pRE->getDegree() == 2;
    if (bTwo) pA = pRT0->getThirdPoint(v0, v1), pB = pRT1->getThirdPoint(v0, v1);
    if (bTwo && pA == pB) return;  // duplicates
    const bool bFlips = bTwo && !mesh.hasAliveEdge(pA, pB);
    if (bFlips) {
        for (const RTriangle* pRT : {pRT0, pRT1})
            expected.erase(expected.find(tripleOf(mesh, pRT)));
        if (pRT0->getRTriOri(pA, v0) == 2) std::swap(v0, v1);
        expected.insert({tripleOf(mesh, pA, v0, pB), tripleOf(mesh, pB, v1, pA)});
    }
    const REdge* pNewRE = pRE->tryFlipEdge(&mesh, nullptr, nullptr);
    EXPECT_EQ(pNewRE, bFlips ? mesh.getEdge(pA, pB) : nullptr);
    EXPECT_EQ(triplesOf(mesh), expected);
}

void splitAndCompare(RandomSoup& soup) {
    RMesh& mesh = *soup;
    REdge* pRE = mesh.vRE[soup.below(mesh.vRE.size())];
    if (!pRE->isAlive()) return;
    Point3* pNew = mesh.createVertex(soup.coordinate(), soup.coordinate(), 3.0, true);
    Triples expected = triplesOf(mesh);
    for (const RTriangle* pRT : pRE->vRT) {
        expected.erase(expected.find(tripleOf(mesh, pRT)));
        expected.insert({tripleOf(mesh, pRT, pRE->pVtx0, pNew), tripleOf(mesh, pRT, pRE->pVtx1, pNew)});
    }
    pRE->split(pNew, &mesh);
    EXPECT_EQ(triplesOf(mesh), expected);
    soup.vVtx.push_back(pNew);
}

/// The lists at each vertex and on each edge from the triangles there, and those of all edges of a degree.
void compareLists(const RMesh& mesh, const std::vector<Point3*>& vVtx) {
    for (Point3* pVtx : vVtx) {
        std::set<REdge*> sIncRE;
        std::set<Point3*> sRing;
        for (const RTriangle* pRT : incident(mesh, pVtx))
            for (REdge* pRE : {pRT->pRE01, pRT->pRE12, pRT->pRE02})
                if (pRE->has(pVtx)) sIncRE.insert(pRE), sRing.insert(pRE->getOtherPoint(pVtx));
        ASSERT_TRUE(std::ranges::equal(listOf<REdge*>([&](auto& v) { mesh.getIncidentRE(pVtx, v); }), sIncRE));
        for (const REdge* pRE : listOf<REdge*>([&](auto& v) { mesh.getRingRE(pVtx, v); }))
            ASSERT_TRUE(sRing.contains(pRE->pVtx0) && sRing.contains(pRE->pVtx1));
        ASSERT_TRUE(std::ranges::equal(listOf<Point3*>([&](auto& v) { mesh.getRingVtx(pVtx, v); }), sRing));
    }
    for (const REdge* pRE : mesh.vRE) {
        if (mesh.getEdge(pRE->pVtx0, pRE->pVtx1) != pRE) continue;  // a dead one, whose ends have another edge by now
        const auto vAdjT = listOf<RTriangle*>([&](auto& v) { mesh.getAdjacentT(pRE->pVtx0, pRE->pVtx1, v); });
        ASSERT_TRUE(std::ranges::is_permutation(vAdjT, pRE->vRT));
        ASSERT_EQ(mesh.hasAliveEdge(pRE->pVtx0, pRE->pVtx1), !vAdjT.empty());
    }
    for (const int deg : {1, 2, -1, -99}) {
        std::vector<REdge*> vExpected = mesh.vRE;
        std::erase_if(vExpected, [deg](const REdge* pRE) {
            return deg > 0 ? pRE->getDegree() != deg : pRE->getDegree() <= (deg == -1 ? 2 : 0);
        });
        std::ranges::sort(vExpected, {}, [](const REdge* pRE) { return std::pair(pRE->pVtx0, pRE->pVtx1); });
        ASSERT_EQ(edges(mesh, deg), vExpected) << "degree " << deg;
    }
}

TEST(RMeshOperators, doOnSoupsWhatTheySay) {
    forSeeds(60, [](unsigned seed) {
        RandomSoup soup(seed, 30, seed % 3 == 0 ? 200 : 40);
        for (int i = 0; i < 60; ++i) {
            const std::size_t kind = soup.below(8);
            if (kind < 2) collapseAndCompare(soup);
            if (kind < 5 && kind >= 2) flipAndCompare(soup);
            if (kind == 5) splitAndCompare(soup);
            if (kind == 6) soup.addTriangle();
            RTriangle* pRT = soup->vRT[soup.below(soup->vRT.size())];
            if (kind == 7 && pRT->isAlive()) pRT->kill(&*soup);
            ASSERT_EQ(firstFault(*soup), "");
        }
        compareLists(*soup, soup.vVtx);
        soup->checkDataStructures("soup");
        // Of each group one is left; each edge counted what stood behind its like.
        const std::size_t numT = soup->getNumT(), numGroups = groupsOf(triplesOf(*soup)).size();
        EXPECT_EQ(soup->removeDups(), 3 * (numT - numGroups));
        EXPECT_EQ(soup->getNumT(), numGroups);
        EXPECT_EQ(groupsOf(triplesOf(*soup)).size(), numGroups);
        EXPECT_EQ(firstFault(*soup), "");
    });
}

TEST(RMeshOperators, lookForThinTrianglesAtTheFirstCornerOnly) {
    for (const auto& [degrees, bFair] : {std::pair(0.009, false), {0.011, true}, {179.989, true}, {179.991, false}}) {
        // A at the origin, B along x, v1 so that B-A-v1 is the angle. Seen from B small angles at A are fair.
        const Point3 a(0, 0, 0), b(2, 0, 0),
            v1 = Point3() + Vector3(2, 0, 0) * std::cos(degrees / DEGREES_PER_RADIAN) +
                 Vector3(0, 2, 0) * std::sin(degrees / DEGREES_PER_RADIAN);
        const Soup soup{{a, b, {1, -1, 0}, v1}, {{0, 2, 3}, {1, 3, 2}}};
        FineMesh mesh(soup), fromB(soup);
        EXPECT_EQ(mesh.edge(2, 3)->tryFlipEdge(&*mesh, mesh.tri(0), mesh.tri(1)) != nullptr, bFair) << degrees;
        EXPECT_EQ(fromB.edge(2, 3)->tryFlipEdge(&*fromB, fromB.tri(1), fromB.tri(0)) != nullptr, degrees < 90.0) << degrees;
        FineMesh atA(Soup{{a, b, v1}, {{0, 1, 2}}}), atB(Soup{{a, b, v1}, {{1, 2, 0}}});
        for (FineMesh* pMesh : {&atA, &atB})
            inRun([pMesh] { (*pMesh)->killDegenerate(); });
        EXPECT_EQ(atA->getNumT(), bFair ? 1U : 0U) << degrees;
        EXPECT_EQ(atB->getNumT(), degrees < 90.0 ? 1U : 0U) << degrees;
    }
    FineMesh twins(Soup{sheet(1, 1).vVtx, {{0, 1, 2}, {0, 2, 1}}});
    reportOf([&] { twins.edge(0, 1)->tryFlipEdge(&*twins, nullptr, nullptr); });
}

/// Every alive triangle is in the one patch that it names, and only there.
void expectPartition(const RMesh& mesh, std::size_t maxSize = 1000000) {
    std::size_t numEntries = 0;
    for (RPatch* pPatch : mesh.vPatches) {
        for (const RTriangle* pRT : pPatch->getTriangleRef())
            EXPECT_EQ(pRT->getPatch(), pPatch);
        EXPECT_LE(pPatch->getSize(), maxSize);
        numEntries += pPatch->getTriangleRef().size();
    }
    EXPECT_EQ(numEntries, mesh.getNumT());
}

TEST(CreatePatches, orientsByTheOldestTriangle) {
    const std::vector<Point3> five{{0, 0, 0}, {0, 0, 1}, {1, 0, 0}, {0, 1, 0}, {-1, -1, 0}};
    const Soup moebius{five, {{0, 1, 2}, {1, 2, 3}, {2, 3, 4}, {3, 4, 0}, {4, 0, 1}}};
    const Soup pages{five, {{0, 1, 2}, {0, 1, 3}, {0, 1, 4}}};
    for (const auto& [soup, numPatches, bOneSided] :
         {std::tuple(torus(12, 9), 1U, false), {sheet(5, 4), 1U, false}, {moebius, 1U, true}, {pages, 3U, false}})
        for (unsigned seed = 0; seed < 10; ++seed) {
            FineMesh mesh(scrambled(soup, seed)), right(soup);
            EXPECT_EQ(inRun([&] { return mesh->createPatchesOrient(); }), numPatches);
            expectPartition(*mesh);
            EXPECT_EQ(figuresOf(*mesh).numConflicts > 0, bOneSided);
            EXPECT_TRUE(numPatches > 1 || bOneSided || triplesOf(*mesh) == triplesOf(*right));
            EXPECT_EQ(firstFault(*mesh), "");
            EXPECT_EQ(inRun([&] { return mesh->createPatchesOrient(); }), numPatches);  // the former ones are gone
            EXPECT_EQ(mesh->vPatches.size(), numPatches);
            right->createPatches(20);
            expectPartition(*right, 19);
        }
}

TEST(CreatePatches, orientsAsAPlainWalkDoes) {
    forSeeds(20, [](unsigned seed) {
        const Soup soup = scrambled(ring(Ring::MOEBIUS, 9, 3), seed);  // where the fronts meet depends on the order of edges
        FineMesh mesh(soup), plain(soup);
        std::vector<RTriangle*> vReached{plain.tri(0)};
        vReached[0]->bVisited = true;
        for (std::size_t k = 0; k < vReached.size(); ++k)
            for (int i = 0; i < 3; ++i) {
                RTriangle* pNext = vReached[k]->getRE(i)->getUniqueOtherTriangle(vReached[k]);
                if (pNext == nullptr || std::exchange(pNext->bVisited, true)) continue;
                if (pNext->needFlip(vReached[k])) pNext->flipNNV();
                vReached.push_back(pNext);
            }
        EXPECT_EQ(inRun([&] { return mesh->createPatchesOrient(); }), 1U);
        EXPECT_EQ(indicesOf(*mesh), indicesOf(*plain));
    });
}

TEST(UpdateVertex, testsThePlaceFirst) {
    FineMesh mesh(tetrahedron());
    Point3* p = mesh.vtx(0);
    bool bOK = false;
    const Vector3 before = mesh.tri(0)->getNNV(bOK);
    Point3 foreign(9, 9, 9);
    expectFails("*pVtx!=newPoint", [&] { mesh->updateVertex(p, *p); });
    expectFails("numErased==1", [&] { mesh->updateVertex(&foreign, {8, 8, 8}); });
    for (const Point3& taken : {*mesh.vtx(1), Point3(NOT_A_NUMBER, 0, 0)})
        expectFails("bOK", [&] { mesh->updateVertex(p, taken); });
    mesh->updateVertex(p, {0.1, 0.2, 0.1});
    EXPECT_FALSE(mesh->hasVertex({0, 0, 0}));
    EXPECT_EQ(firstFault(*mesh), "");
    EXPECT_GT((mesh.tri(0)->getNNV(bOK) - before).length(), 0.01);
    // Two at one place: the entry stays with its owner while the other one moves.
    FineMesh twins(tetrahedron());
    *twins.vtx(0) = *twins.vtx(1);
    twins->updateVertex(twins.vtx(0), {5, 5, 5});
    EXPECT_TRUE(twins->hasVertex(*twins.vtx(0)) && twins->hasVertex(*twins.vtx(1)));
}

TEST(LaplacianForOne, movesByATenthAtMost) {
    const CoutSilence silence;
    FineMesh mesh(sheet(2, 2));
    Point3* p = mesh.vtx(4);
    for (const auto& [z, moved] : {std::pair(0.05, 0.0), {10.0, 9.9}, {-0.3, -0.2}}) {
        mesh->updateVertex(p, {1, 1, z});
        EXPECT_TRUE(mesh->laplacianForOne(p));
        EXPECT_NEAR((*p - Point3(1, 1, moved)).length(), 0.0, 1e-12);
    }
    mesh->createVertex(1, 1, 0, true);  // takes the mean: a step aside
    mesh->updateVertex(p, {1, 1, 0.001});
    EXPECT_TRUE(mesh->laplacianForOne(p));
    EXPECT_NEAR((*p - Point3(1, 1, 0)).length(), 0.05, 0.05 - 1e-6);
    EXPECT_EQ(firstFault(*mesh), "");
    for (const double badLen : {0.0, NOT_A_NUMBER}) {
        mesh->sideLen = badLen;
        EXPECT_FALSE(mesh->laplacianForOne(p)) << badLen;
    }
    // Over the far side of its triangle the normal would turn round.
    FineMesh single(Soup{{{0, 0, 0}, {1, 0, 0}, {0.5, 0.02, 0}, {0.5, -9, 0}, {0.5, -9, 1}}, {{0, 1, 2}, {2, 3, 4}}});
    single->sideLen = 1e3;
    expectText("devAngle would be 176", [&] { EXPECT_FALSE(single->laplacianForOne(single.vtx(2))); });
    EXPECT_EQ(*single.vtx(2), Point3(0.5, 0.02, 0));
}

TEST(TrySplitNeigsKillT, closesTheGapOfASliver) {
    // Triangle (0,1,2) with 2 nearly on 0-1; (1,0,3) beyond that edge, and a second one with bBranch.
    for (const bool bBranch : {false, true})
        for (const auto& [y3, bTied, bDone] : {std::tuple(-1.0, false, true), {-1.0, true, false}, {1.0, false, false}}) {
            Soup soup{{{0, 0, 0}, {2, 0, 0}, {1, bDone ? 1e-6 : -1e-6, 0}, {1, y3, 0.2}, {1, -0.1, 1}, {1, 1, -3}},
                      {{0, 1, 2}, {1, 0, 3}}};
            if (y3 > 0) soup.vVtx[2] = {-1, 1e-6, 0};  // the foot lies outside: a half would turn over
            if (bBranch) soup.vT.push_back({0, 1, 4});
            if (bTied) soup.vT.push_back({2, 3, 5});  // joins 2 and 3 already
            FineMesh mesh(soup);
            const Triples before = triplesOf(*mesh);
            std::vector<RTriangle*> vNewT;
            EXPECT_EQ(mesh.edge(0, 1)->trySplitNeigsKillT(&*mesh, mesh.tri(0), 2, vNewT), bDone);
            EXPECT_EQ(vNewT.size(), bDone ? (bBranch ? 4U : 2U) : 0U);
            Triples expected{{0, 3, 2}, {1, 2, 3}};
            if (bBranch) expected.insert({{0, 2, 4}, {1, 4, 2}});
            EXPECT_EQ(triplesOf(*mesh), bDone ? expected : before);
            EXPECT_EQ(firstFault(*mesh), "");
        }
}

}  // namespace
