#include "RMesh.h"

#include "RPatch.h"
#include "freeFunctions.h"
#include "support/coarse_soup.h"
#include "support/fine.h"
#include "support/plain_fine.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// A mesh and its counterpart on ordered maps; elements of both are named by their numbers.
class Twins {
public:
    Twins(int numVtx, unsigned seed) : random(seed) {
        for (int i = 0; i < numVtx; ++i) {
            vVtx.push_back(mesh.createVertex(i, i * i % 7, 0.5 * (i % 3), true));
            vPlainVtx.push_back(plain.createVertex(*vVtx.back()));
        }
    }
    /// A third of the triangles hang on vertex 0, another third on the last: hubs as lower and as higher end.
    void makeTriangle() {
        std::vector<std::size_t> vPick;
        if (below(3) == 0) vPick.push_back(0);
        if (below(3) == 0) vPick.push_back(vVtx.size() - 1);
        while (vPick.size() < 3)
            if (const auto i = below(vVtx.size()); std::count(vPick.begin(), vPick.end(), i) == 0) vPick.push_back(i);
        std::shuffle(vPick.begin(), vPick.end(), random);
        mesh.createT(vVtx[vPick[0]], vVtx[vPick[1]], vVtx[vPick[2]]);
        plain.createT(vPlainVtx[vPick[0]], vPlainVtx[vPick[1]], vPlainVtx[vPick[2]]);
    }
    void killTriangle() {
        const std::size_t i = below(mesh.vRT.size());
        if (!mesh.vRT[i]->bAlive) return;
        mesh.vRT[i]->kill(&mesh);
        plain.kill(plain.vT[i]);
    }
    std::size_t below(std::size_t n) { return random() % n; }

    static std::vector<std::size_t> numbers(const auto& v, const auto& vAll) {
        std::vector<std::size_t> vOut;
        for (const auto* p : v)
            vOut.push_back(static_cast<std::size_t>(std::find(vAll.begin(), vAll.end(), p) - vAll.begin()));
        return vOut;
    }
    void compareVertices() const;
    void compareEdges() const;

    RMesh mesh{1.0};
    PlainFineMesh plain;
    std::vector<Point3*> vVtx, vPlainVtx;

private:
    std::mt19937 random;
};

void Twins::compareVertices() const {
    for (std::size_t i = 0; i < vVtx.size(); ++i) {
        std::vector<PlainFineMesh::Triangle*> vPlainT;
        plain.getIncidentT(vPlainVtx[i], vPlainT);
        const auto vIncT = listOf<RTriangle*>([&](auto& v) { mesh.getIncidentT(vVtx[i], v); });
        ASSERT_EQ(numbers(vIncT, mesh.vRT), numbers(vPlainT, plain.vT)) << "vertex " << i;

        std::set<REdge*> sIncRE;
        std::set<Point3*> sRing;
        std::vector<REdge*> vRingRE;
        for (const RTriangle* pRT : vIncT)
            for (REdge* pRE : {pRT->pRE01, pRT->pRE12, pRT->pRE02}) {
                if (pRE->has(vVtx[i])) {
                    sIncRE.insert(pRE);
                    sRing.insert(pRE->getOtherPoint(vVtx[i]));
                } else {
                    vRingRE.push_back(pRE);
                }
            }
        const auto vIncRE = listOf<REdge*>([&](auto& v) { mesh.getIncidentRE(vVtx[i], v); });
        ASSERT_EQ(vIncRE, std::vector<REdge*>(sIncRE.begin(), sIncRE.end()));
        ASSERT_EQ(listOf<REdge*>([&](auto& v) { mesh.getRingRE(vVtx[i], v); }), vRingRE);
        const auto vRing = listOf<Point3*>([&](auto& v) { mesh.getRingVtx(vVtx[i], v); });
        ASSERT_EQ(vRing, std::vector<Point3*>(sRing.begin(), sRing.end()));
    }
}

void Twins::compareEdges() const {
    std::map<int, std::vector<const REdge*>> mDegEdges;  // by getDegN's argument, in key order
    for (const auto& [key, pE] : plain.mE) {
        const std::size_t i = plain.poolVtx.indexOf(key.first), j = plain.poolVtx.indexOf(key.second);
        const REdge* pRE = mesh.getEdge(vVtx[j], vVtx[i]);
        ASSERT_NE(pRE, nullptr);
        ASSERT_EQ(numbers(pRE->vRT, mesh.vRT), numbers(pE->vT, plain.vT));
        ASSERT_EQ(mesh.hasAliveEdge(vVtx[i], vVtx[j]), !pE->vT.empty());
        const auto vAdjT = listOf<RTriangle*>([&](auto& v) { mesh.getAdjacentT(vVtx[i], vVtx[j], v); });
        ASSERT_EQ(numbers(vAdjT, mesh.vRT), numbers(pE->vT, plain.vT));
        const int degree = static_cast<int>(pE->vT.size());
        for (const int deg : std::set{degree, degree >= 1 ? -99 : 0, degree >= 3 ? -1 : degree})
            mDegEdges[deg].push_back(pRE);
    }
    ASSERT_EQ(mesh.getNumRE_all(), plain.mE.size());
    for (const auto& [deg, vExpected] : mDegEdges)
        ASSERT_TRUE(std::ranges::equal(edges(mesh, deg), vExpected)) << "degree " << deg;
}

TEST(RMesh, agreesWithOrderedMapsWhateverIsMadeAndKilled) {
    forSeeds(12, [](unsigned seed) {
        Twins twins(seed % 2 == 0 ? 9 : 60, seed);
        for (int round = 0; round < 8 && !HasFatalFailure(); ++round) {
            for (int i = 0; i < 40; ++i)
                twins.makeTriangle();
            for (int i = 0; i < 25; ++i)
                twins.killTriangle();
            twins.compareVertices();
            twins.compareEdges();
        }
        EXPECT_EQ(firstFault(twins.mesh), "");
        twins.mesh.checkDataStructures("twins");
    });
}

TEST(RMesh, hasAnAreaAndAMeanLength) {
    EXPECT_DOUBLE_EQ(FineMesh(tetrahedron())->getArea(), 2.0 * std::sqrt(3.0));
    EXPECT_NEAR(FineMesh(torus(200, 100))->getArea(), 12.0 * 9.8696044, 0.1);
    EXPECT_DOUBLE_EQ(FineMesh(tetrahedron())->getAvgLen(), std::sqrt(2.0));
    EXPECT_EQ(RMesh(1.0).getAvgLen(), -1.0);
}

TEST(RMesh, aHubOfManyTrianglesCostsNoMoreThanOtherVertices) {
    // Quadratic work on this many triangles would take hours.
    for (const bool bHubFirst : {true, false}) {
        FineMesh mesh(fan(300000, bHubFirst));
        for (const int numSpoke : {1, 150000, 299999})
            EXPECT_NE(mesh.edge(bHubFirst ? 0 : 300001, numSpoke), nullptr);
        for (int i = 0; i < 300000; i += 3)
            mesh.kill(299999 - i);
        EXPECT_EQ(edges(*mesh, -99).size(), 200000U + 300000U);
        mesh->checkDataStructures("fan");
    }
}

TEST(RMesh, aVertexIsFoundByItsCoordinates) {
    RMesh mesh(1.0);
    Point3* const p = mesh.createVertex(0.0, 1.0, 2.0, true);
    EXPECT_EQ(mesh.createVertex(Point3(-0.0, 1.0, 2.0), false), p) << "-0.0 equals 0.0";
    EXPECT_EQ(mesh.createVertex(0.0, 1.0, 2.0, true), nullptr);
    EXPECT_FALSE(mesh.hasVertex(Point3(0.0, 1.0, std::nextafter(2.0, 3.0))));
    EXPECT_NE(mesh.createVertex(NOT_A_NUMBER, 0, 0, false), mesh.createVertex(NOT_A_NUMBER, 0, 0, false)) << "NaN is no one";
    EXPECT_EQ(mesh.getNumVtx_all(), 3U);
}

/// 4 x 4 cells.
struct Conversion : ::testing::Test, CoarseSoup {
    Conversion() : CoarseSoup(sheet(3, 3), 4) {}
};

TEST_F(Conversion, keepsVerticesInCodeOrderAndTrianglesAsTheyAre) {
    const auto vCT = coarse.getTriRef();
    for (const std::size_t i : {0U, 1U, 2U, 7U})
        vCT[i]->kill(&coarse);
    const RMesh mesh(&coarse);
    ASSERT_EQ(mesh.getNumVtx_all(), 16U);
    std::size_t index = 0;
    for (const auto& [code, pBundle] : mBundle)
        EXPECT_EQ(*mesh.poolVtx.at(index++), *pBundle->pVtx);

    std::vector<Point3*> vCoarseCorners;
    std::vector<Point3> vCorners;
    coarse.getTriangleCorners(vCoarseCorners);
    mesh.getTriangleCorners(vCorners);
    EXPECT_TRUE(std::ranges::equal(vCorners, vCoarseCorners, {}, {}, [](const Point3* p) { return *p; }));
    EXPECT_EQ(listOf<Point3*>([&](auto& v) { mesh.getPoints(v); }).size(), 14U) << "two have lost their triangles";
    mesh.checkDataStructures("converted");
}

TEST_F(Conversion, ofCoincidingPointsTheFirstIsFoundAndAllAreVertices) {
    vPoint[5] = vPoint[6];
    RMesh mesh(&coarse);
    EXPECT_EQ(mesh.getNumVtx_all(), 16U);
    EXPECT_EQ(mesh.mVtx.size(), 15U);
    EXPECT_EQ(listOf<Point3*>([&](auto& v) { mesh.getPoints(v); }).size(), 16U);
    const auto first = std::distance(mBundle.begin(), mBundle.find(std::min(code(5), code(6))));
    EXPECT_EQ(mesh.createVertex(vPoint[5], false), mesh.poolVtx.at(static_cast<std::size_t>(first)));
    mesh.checkDataStructures("coinciding");
}

TEST_F(Conversion, emptyAndBrokenMeshesAreTold) {
    for (CTriangle* pCT : coarse.getTriRef())
        pCT->kill(&coarse);
    const RMesh mesh(&coarse);
    EXPECT_EQ(mesh.getNumT() + mesh.getNumRE_all(), 0U);
    EXPECT_EQ(mesh.getNumVtx_all(), 16U);

    for (const int i : {0, 1, 2})
        createT(i, 5, 10);  // three triangles on one edge: its list leaks if the end isn't clean
    vPoint[15] = Point3(std::nan(""), 0, 0);
    reportOf([&] { RMesh broken(&coarse); });
    vPoint[15] = Point3(9, 9, 9);
    mBundle.erase(code(2));
    reportOf([&] { RMesh broken(&coarse); });
    reportOf([&] { RMesh broken(static_cast<CMesh*>(nullptr)); });
}

TEST(RMesh, wrongUseIsToldByTheConditionAndLeavesTheMeshAlone) {
    FineMesh mesh(sheet(2, 1));
    mesh.createT(0, 1, 5);
    mesh.kill(2);
    Point3 foreign(0, 0, 0);
    Point3 *const p = mesh.vtx(0), *const q = mesh.vtx(1);
    RTriangle stranger(p, q, mesh.vtx(2));
    const std::pair<const char*, std::function<void()>> aCases[] = {
        {"pair0.first<pair0.second", [&] { mesh->createT(p, p, q); }},
        {"pair1.first<pair1.second", [&] { mesh->createT(p, q, q); }},
        {"pair2.first<pair2.second", [&] { mesh->createT(p, q, p); }},
        {"poolVtx.owns(p0) && poolVtx.owns(p1) && poolVtx.owns(p2)", [&] { mesh->createT(p, &foreign, q); }},
        {"poolVtx.owns(p0) && poolVtx.owns(p1) && poolVtx.owns(p2)", [&] { mesh->createT(nullptr, p, q); }},
        {"bAlive", [&] { mesh.kill(2); }},
        {"numDelete==3", [&] { mesh->unregisterTriangle(mesh.tri(2)); }},
        {"numDelete==3", [&] { mesh->unregisterTriangle(&stranger); }},
        {"q.first<q.second", [&] { listOf<RTriangle*>([&](auto& v) { mesh->getAdjacentT(p, p, v); }); }},
        {"false", [&] { edges(*mesh, -2); }},
        {"false", [&] { mesh.tri(0)->getICI(p, &foreign); }},
        {"false", [&] { mesh.tri(0)->needFlip(mesh.tri(3)); }},
        {"pRet==__null", [&] { mesh.edge(0, 1)->getTriangle(false, true); }},
        {"pRet!=__null", [&] { mesh.edge(1, 2)->getTriangle(true, false); }},
        {"pVtx0<pVtx1", [&] { REdge(q, p); }},
    };
    for (const auto& [condition, call] : aCases)
        EXPECT_EQ(countIn(reportOf(call), conditionFailed(condition)), 1) << condition;
    reportOf([&] { mesh.edge(2, 4)->checkOut(mesh.tri(2)); });
    EXPECT_EQ(mesh->getNumT(), 4U);
    EXPECT_EQ(firstFault(*mesh), "");
    EXPECT_TRUE(listOf<RTriangle*>([&](auto& v) { mesh->getIncidentT(&foreign, v); }).empty());
    EXPECT_EQ(mesh->getEdge(p, &foreign), nullptr);
    EXPECT_EQ(mesh->getEdge(nullptr, p), nullptr);
}

TEST(REdge, answersByTheNumberOfItsTriangles) {
    FineMesh mesh(sheet(1, 1));  // triangles 0-1-2, 1-3-2
    mesh.kill(1);
    const REdge* pRE = mesh.edge(1, 2);
    RTriangle *pFirst = mesh.tri(0), *pSecond = nullptr, *pT0, *pT1;
    for (std::size_t num = 1; num <= 3; ++num) {
        EXPECT_EQ(pRE->getTwoTriangles(pT0, pT1, true), num == 2);
        EXPECT_EQ(pRE->getTwoTriangles(pT0, pT1, false), num >= 2);
        EXPECT_EQ(std::pair(pT0, pT1), std::pair(pFirst, pSecond));
        EXPECT_EQ(pRE->getUniqueOtherTriangle(pFirst), num == 2 ? pSecond : nullptr);
        EXPECT_EQ(pRE->getTriangle(true, num == 1), pFirst);
        for (const int i : {0, 1, 2})
            EXPECT_EQ(listOf<RTriangle*>([&](auto& v) { pFirst->getNeigs(i, v); }).size(), i == 0 ? num - 1 : 0U);
        RTriangle* pNew = mesh.createT(3, 2, 1);
        if (num == 1) pSecond = pNew;
    }
    EXPECT_TRUE(pFirst->hasBorder() && !pSecond->hasBorder());
    EXPECT_EQ(pRE->getCenter(), Point3(0.5, 0.5, 0));
}

TEST(RTriangle, turnsOverWithItsEdgesAndNormal) {
    FineMesh mesh(torus(5, 4));
    bool bOK = false;
    for (int i = 0; i < 40; ++i) {
        RTriangle* pT = mesh.tri(i);
        for (int ici = 0; ici < 3; ++ici) {
            const auto vNeigs = listOf<RTriangle*>([&](auto& v) { pT->getNeigs(ici, v); });
            ASSERT_EQ(vNeigs.size(), 1U);
            EXPECT_FALSE(pT->needFlip(vNeigs[0]));
            const Vector3 normal = pT->getNNV(bOK);
            pT->flipNNV();
            EXPECT_TRUE(pT->needFlip(vNeigs[0]));
            EXPECT_TRUE(vNeigs[0]->needFlip(pT));
            EXPECT_EQ(firstFault(*mesh), "");
            EXPECT_EQ((pT->getNNV(bOK) + normal).length(), 0.0);
            pT->resetNNV();
            EXPECT_LT((pT->getNNV(bOK) + normal).length(), 1e-12) << "as computed anew";
            pT->flipNNV();
        }
        for (int ici = 0; ici < 3; ++ici)
            EXPECT_EQ(pT->getRTriOri(pT->aCorners[2], pT->getCorner(ici)), (ici + 1) % 3);
    }
}

TEST(RTriangle, measuresItself) {
    const auto make = [](Point3 a, Point3 b, Point3 c) { return FineMesh({{a, b, c}, {{0, 1, 2}}}); };
    const auto largest = [&](Point3 c) { return make({0, 0, 0}, {1, 0, 0}, c).tri(0)->getLargestEdgeICI(); };
    EXPECT_EQ(largest({0.5, std::sqrt(0.75), 0}), 2) << "all equal: the edge 0-1";
    EXPECT_EQ(largest({0.5, 2, 0}), 0) << "1-2 before 2-0";
    EXPECT_EQ(largest({2, 2, 0}), 1);

    FineMesh flat = make({0, 0, 0}, {2, 0, 0}, {0, 2, 0});
    RTriangle* pT = flat.tri(0);
    EXPECT_NEAR(pT->getDevIfRepl(2, {0, 0, 2}, false), 90.0, 1e-8);
    EXPECT_NEAR(pT->getDevIfRepl(2, {0, -1, 0}, true), 180.0, 1e-8);
    EXPECT_EQ(pT->getDevIfRepl(2, {5, 0, 0}, true), 360.0) << "on the line of the others";
    EXPECT_EQ(pT->getDevIfRepl(2, {2, 0, 0}, true), 0.0) << "on a corner";
    EXPECT_EQ(pT->getDevIfRepl(2, {2, 0, 0}, false), 360.0);
    bool bOK = false;
    EXPECT_DOUBLE_EQ(pT->getPlane(bOK).signedDistance({7, 7, 3}), 3.0);
    EXPECT_FALSE(pT->isDegenerate());
    EXPECT_EQ(pT->getCentroid(), Point3(2.0 / 3.0, 2.0 / 3.0, 0));

    FineMesh line = make({0, 0, 0}, {1, 1, 1}, {3, 3, 3});
    EXPECT_TRUE(line.tri(0)->isDegenerate() && line.tri(0)->getNNV(bOK).isDegenerate() && !bOK);
    EXPECT_EQ(line.tri(0)->getDevIfRepl(1, {1, 0, 0}, true), -1.0);
    EXPECT_FALSE(line.tri(0)->isCombinatoriallyDegenerate());
    line.tri(0)->setCorner(1, line.vtx(0));
    EXPECT_TRUE(line.tri(0)->isCombinatoriallyDegenerate());
    line.tri(0)->setCorner(1, line.vtx(1));
}

TEST(RPatch, knowsItsTrianglesAndTheirBoundary) {
    FineMesh mesh(sheet(6, 4));
    auto* pLeft = new RPatch(&*mesh);
    mesh->vPatches = {pLeft, new RPatch(&*mesh)};
    EXPECT_EQ(mesh->vPatches[1]->getLabel(), pLeft->getLabel() + 1);
    for (int round = 0; round < 2; ++round)  // adding again changes nothing
        for (int i = 47; i >= 0; --i)
            mesh->vPatches[i / 2 % 6 < 3 ? 0 : 1]->add(mesh.tri(i));

    EXPECT_EQ(pLeft->getSize(), 24U);
    EXPECT_TRUE(std::is_sorted(pLeft->getTriangleRef().begin(), pLeft->getTriangleRef().end()));
    pLeft->setBoundary();
    EXPECT_EQ(pLeft->getBounaryRef().size(), 14U) << "of 3 x 4 squares";
    EXPECT_EQ(listOf<REdge*>([&](auto& v) { pLeft->getAllRE(v); }).size(), 15U + 16U + 12U);
    mesh.kill(0);  // the corner: two border edges go, its inner edge becomes one
    pLeft->setBoundary();
    EXPECT_EQ(pLeft->getSize(), 23U);
    EXPECT_EQ(pLeft->getBounaryRef().size(), 13U);
    EXPECT_EQ(pLeft->getTriangleRef().size(), 24U) << "a dead one stays";

    EXPECT_EQ(mesh.tri(1)->getPatch(), pLeft);
    mesh->vPatches.erase(mesh->vPatches.begin());
    delete pLeft;
    EXPECT_EQ(mesh.tri(1)->getPatch(), nullptr);
    EXPECT_EQ(mesh.tri(47)->getPatch(), mesh->vPatches[0]) << "the mesh deletes it";
}

TEST(RMesh, reportsWhatItFinds) {
    FineMesh mesh(sheet(1, 1));
    EXPECT_EQ(outputOf([&] { mesh->printStatistics("x"); }),
              "\nRMesh::printStatistics(x)\n NumTriangles: 2\n Degree 1: 4\n Degree 2: 1\n");
    EXPECT_EQ(outputOf([&] { mesh->checkNoDups("x"); }), "RMesh::checkNoDups(x): survived\n");
    EXPECT_EQ(outputOf([&] { mesh->checkNoDegenerate("x"); }), "RMesh::checkNoDegenerate(x): survived\n");
    mesh.createT(2, 1, 0);  // turned over, but the same corners
    mesh->createT(mesh.vtx(0), mesh.vtx(1), mesh->createVertex(7, 0, 0, true));
    EXPECT_EQ(outputOf([&] { mesh->checkNoDups("x"); }), "RMesh::checkNoDups(x): has duplicate triangles\n");
    EXPECT_EQ(outputOf([&] { mesh->checkNoDegenerate("x"); }), "RMesh::checkNoDegenerate(x): has 1 degenerate triangles!\n");
}

TEST(RMesh, theCheckSeesWhatIsBroken) {
    const std::pair<const char*, std::function<void(FineMesh&)>> aBreaks[] = {
        {"pr.first==*pr.second", [](FineMesh& m) { *m.vtx(3) = Point3(9, 9, 9); }},
        {"pr.first==*pr.second", [](FineMesh& m) { *m.vtx(3) = *m.vtx(2); }},
        {"Condition [", [](FineMesh& m) { m.tri(1)->bAlive = false; }},
        {"Condition [", [](FineMesh& m) { m.edge(0, 1)->vRT.push_back(m.tri(7)); }},
        {"Condition [", [](FineMesh& m) { m.edge(0, 1)->checkOut(m.tri(0)); }},
        {"pRE->pVtx0<pRE->pVtx1", [](FineMesh& m) { std::swap(m.edge(0, 1)->pVtx0, m.edge(0, 1)->pVtx1); }},
        {"Condition [", [](FineMesh& m) { std::swap(m.tri(0)->pRE01, m.tri(0)->pRE12); }},
        {"Condition [", [](FineMesh& m) { m->unregisterTriangle(m.tri(0)); }},
        {"Condition [", [](FineMesh& m) { m.tri(0)->setCorner(0, m.vtx(7)); }},
    };
    for (const auto& [condition, breakIt] : aBreaks) {
        FineMesh mesh(sheet(3, 2));
        mesh->checkDataStructures("whole");
        breakIt(mesh);
        const std::string report = reportOf([&] { mesh->checkDataStructures("broken mesh"); });
        EXPECT_EQ(countIn(report, "broken mesh"), 1);
        EXPECT_EQ(countIn(report, condition), 1) << report;
    }
}

TEST(RMesh, queriesRunOnSeveralThreads) {
    const FineMesh mesh(torus(40, 30));
    std::vector<std::size_t> vSum(4);
    onThreads(4, [&](std::size_t i) {
        vSum[i] = edges(*mesh, 2).size() + mesh->getNumT();
        for (Point3* p : mesh.vVtx)
            vSum[i] += listOf<RTriangle*>([&](auto& v) { mesh->getIncidentT(p, v); }).size() +
                       listOf<REdge*>([&](auto& v) { mesh->getIncidentRE(p, v); }).size() + (mesh->hasVertex(*p) ? 1 : 0);
    });
    EXPECT_EQ(vSum, std::vector<std::size_t>(4, 1200 * (6 + 6 + 1) + 3600 + 2400));
}

}  // namespace
