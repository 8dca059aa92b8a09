#include "RMesh.h"

#include <random>

#include "CoarseSurface.h"
#include "RPatch.h"
#include "freeFunctions.h"
#include "support/coarse_soup.h"
#include "support/fine.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// By order of creation: edges of triangles; ends and triangles of edges; triangles of vertices.
std::vector<std::vector<std::size_t>> tablesOf(const RMesh& mesh) {
    std::vector<std::vector<std::size_t>> v;
    const auto append = [&](const auto& triangles) {
        for (const RTriangle* pRT : triangles)
            v.back().push_back(mesh.poolRT.indexOf(pRT));
    };
    for (const RTriangle* pRT : mesh.vRT) {
        v.emplace_back();
        for (const REdge* pRE : {pRT->pRE01, pRT->pRE12, pRT->pRE02})
            v.back().push_back(mesh.poolRE.indexOf(pRE));
    }
    for (const REdge* pRE : mesh.vRE) {
        v.push_back({mesh.getVtxIndex(pRE->pVtx0), mesh.getVtxIndex(pRE->pVtx1)});
        append(pRE->vRT);
        EXPECT_EQ(mesh.getEdge(pRE->pVtx0, pRE->pVtx1), pRE);
    }
    for (std::size_t i = 0; i < mesh.getNumVtx_all(); ++i) {
        v.emplace_back();
        append(listOf<RTriangle*>([&](auto& vIncT) { mesh.getIncidentT(mesh.getVtx(i), vIncT); }));
    }
    return v;
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
        const auto vIncT = listOf<RTriangle*>([&](auto& v) { mesh->getIncidentT(mesh.vtx(bHubFirst ? 0 : 300001), v); });
        EXPECT_TRUE(std::ranges::is_sorted(vIncT, {}, [&](RTriangle* p) { return mesh->poolRT.indexOf(p); })) << "by age";
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

TEST(RMesh, keepsVerticesOfACoarseMeshInCodeOrderAndTrianglesAsTheyAre) {
    CoarsePlaces coarse(sheet(3, 3));
    for (const std::size_t i : {0U, 1U, 2U, 7U})
        coarse.vT[i]->kill(&coarse.mesh);
    coarse.vtx(5) = coarse.vtx(6);  // coinciding, but two vertices
    RMesh mesh(&coarse.mesh);
    ASSERT_EQ(mesh.getNumVtx_all(), 16U);
    EXPECT_EQ(mesh.mVtx.size(), 15U);
    std::size_t index = 0;
    for (const auto& [code, place] : coarse.places())
        EXPECT_EQ(*mesh.poolVtx.at(index++), place);
    EXPECT_EQ(mesh.createVertex(coarse.vtx(5), false), mesh.poolVtx.at(5));
    const auto vCoarseCorners = listOf<Point3*>([&](auto& v) { coarse.mesh.getTriangleCorners(v); });
    const auto vCorners = listOf<Point3>([&](auto& v) { mesh.getTriangleCorners(v); });
    EXPECT_TRUE(std::ranges::equal(vCorners, vCoarseCorners, {}, {}, [](const Point3* p) { return *p; }));
    EXPECT_EQ(listOf<Point3*>([&](auto& v) { mesh.getPoints(v); }).size(), 14U) << "two have lost their triangles";
}

TEST(RMesh, isTheSameMadeAtOnceOrTriangleByTriangle) {
    for (const std::uint32_t numVertices : {40U, 20000U}) {  // few: hubs, doubles, edges of many triangles
        std::mt19937 random(numVertices);
        CoarseSurface surface;
        for (std::uint32_t i = 0; i < numVertices; ++i)
            surface.vVertex.emplace_back(i, random() % 7, 0);
        for (std::uint32_t i = 0; i < 2 * numVertices; ++i) {
            const std::uint32_t a = static_cast<std::uint32_t>(random()) % (numVertices - 5);
            const auto near = [&] { return a + static_cast<std::uint32_t>(random() % 5); };
            surface.vTriangle.push_back({near(), a, i % 3 == 0 ? numVertices - 1 : near()});
        }
        std::erase_if(surface.vTriangle, [](const auto& t) { return t[0] == t[1] || t[1] == t[2] || t[0] == t[2]; });
        const RMesh atOnce(surface);
        RMesh oneByOne(surface.sideLen);
        for (const Point3& p : surface.vVertex)
            oneByOne.createVertexApart(p);
        for (const auto& [a, b, c] : surface.vTriangle)
            oneByOne.createT(oneByOne.poolVtx.at(a), oneByOne.poolVtx.at(b), oneByOne.poolVtx.at(c));
        atOnce.checkDataStructures("at once");
        EXPECT_EQ(tablesOf(atOnce), tablesOf(oneByOne)) << numVertices;
    }
}

TEST(RMesh, tellsOfABrokenCoarseMesh) {
    CoarsePlaces coarse(sheet(3, 3));
    for (const int i : {0, 1, 2})  // three triangles on one edge: its list leaks if the end isn't clean
        coarse.triangle(coarse.code(i), coarse.code(5), coarse.code(10));
    coarse.vtx(15) = Point3(NOT_A_NUMBER, 0, 0);
    reportOf([&] { RMesh broken(&coarse.mesh); });
    coarse.vtx(15) = Point3(9, 9, 9);
    coarse.mBundle.erase(coarse.code(2));
    reportOf([&] { RMesh broken(&coarse.mesh); });
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
        {"bAlive", [&] { mesh.kill(2); }},
        {"numDelete==3", [&] { mesh->unregisterTriangle(mesh.tri(2)); }},
        {"numDelete==3", [&] { mesh->unregisterTriangle(&stranger); }},
        {"q.first<q.second", [&] { listOf<RTriangle*>([&](auto& v) { mesh->getAdjacentT(p, p, v); }); }},
        {"false", [&] { edges(*mesh, -2); }},
        {"false", [&] { mesh.tri(0)->getICI(p, &foreign); }},
        {"false", [&] { mesh.tri(0)->needFlip(mesh.tri(3)); }},
        {"pVtx0<pVtx1", [&] { REdge(q, p); }},
    };
    for (const auto& [condition, call] : aCases)
        expectFails(condition, call);
    reportOf([&] { mesh.edge(2, 4)->checkOut(mesh.tri(2)); });
    EXPECT_EQ(mesh->getNumT(), 4U);
    EXPECT_EQ(firstFault(*mesh), "");
    EXPECT_TRUE(listOf<RTriangle*>([&](auto& v) { mesh->getIncidentT(&foreign, v); }).empty());
    EXPECT_EQ(mesh->getEdge(p, &foreign), nullptr);
}

TEST(RTriangle, turnsOverWithItsNormal) {
    FineMesh mesh(torus(5, 4));
    bool bOK = false;
    for (RTriangle* pT : mesh.vT) {
        RTriangle* pNeig = pT->getRE(1)->getUniqueOtherTriangle(pT);
        const Vector3 normal = pT->getNNV(bOK);
        EXPECT_FALSE(pT->needFlip(pNeig));
        pT->flipNNV();
        EXPECT_TRUE(pT->needFlip(pNeig) && pNeig->needFlip(pT));
        EXPECT_EQ((pT->getNNV(bOK) + normal).length(), 0.0);
        pT->resetNNV();
        EXPECT_LT((pT->getNNV(bOK) + normal).length(), 1e-12) << "as computed anew";
        pT->flipNNV();
    }
}

TEST(RTriangle, measuresItself) {
    const auto make = [](Point3 a, Point3 b, Point3 c) { return FineMesh({{a, b, c}, {{0, 1, 2}}}); };
    const auto largest = [&](Point3 c) { return make({0, 0, 0}, {1, 0, 0}, c).tri(0)->getLargestEdgeICI(); };
    EXPECT_EQ(largest({0.5, std::sqrt(0.75), 0}), 2) << "all equal: the edge 0-1";
    EXPECT_EQ(largest({0.5, 2, 0}), 0) << "1-2 before 2-0";
    EXPECT_EQ(largest({2, 2, 0}), 1);
    FineMesh flat = make({0, 0, 0}, {2, 0, 0}, {0, 2, 0}), line = make({0, 0, 0}, {1, 1, 1}, {3, 3, 3});
    RTriangle* pT = flat.tri(0);
    for (const auto& [p, bOnCorner, expected] : {std::tuple(Point3(0, 0, 2), false, 90.0),
                                                 {Point3(5, 0, 0), true, 360.0},  // on the line of the others
                                                 {Point3(2, 0, 0), true, 0.0}})   // on a corner
        EXPECT_NEAR(pT->getDevIfRepl(2, p, bOnCorner), expected, 1e-8) << p;
    bool bOK = false;
    EXPECT_DOUBLE_EQ(pT->getPlane(bOK).signedDistance({7, 7, 3}), 3.0);
    EXPECT_EQ(pT->getCentroid(), Point3(2.0 / 3.0, 2.0 / 3.0, 0));
    EXPECT_NEAR(FineMesh(torus(200, 100))->getArea(), 12.0 * 9.8696044, 0.1);
    EXPECT_DOUBLE_EQ(FineMesh(tetrahedron())->getAvgLen(), std::sqrt(2.0));
    EXPECT_EQ(RMesh(1.0).getAvgLen(), -1.0);
    EXPECT_TRUE(line.tri(0)->isDegenerate() && line.tri(0)->getNNV(bOK).isDegenerate() && !bOK && !pT->isDegenerate());
    EXPECT_EQ(line.tri(0)->getDevIfRepl(1, {1, 0, 0}, true), -1.0);
}

TEST(RPatch, knowsItsTrianglesAndTheirBoundary) {
    FineMesh mesh(sheet(6, 4));
    {
        RPatch left(&*mesh);
        for (int round = 0; round < 2; ++round)  // adding again changes nothing
            for (int i = 47; i >= 0; --i)
                if (i / 2 % 6 < 3) left.add(mesh.tri(i));
        const auto sizes = [&left] {
            left.setBoundary();
            return std::array{left.getSize(), left.getBounaryRef().size(), left.getTriangleRef().size()};
        };
        EXPECT_EQ(sizes(), (std::array<std::size_t, 3>{24, 14, 24})) << "of 3 x 4 squares";
        EXPECT_TRUE(std::ranges::is_sorted(left.getTriangleRef()));
        EXPECT_EQ(listOf<REdge*>([&](auto& v) { left.getAllRE(v); }).size(), 15U + 16U + 12U);
        mesh.kill(0);  // the corner: two border edges go, its inner edge becomes one; a dead one stays in the list
        EXPECT_EQ(sizes(), (std::array<std::size_t, 3>{23, 13, 24}));
        EXPECT_EQ(mesh.tri(1)->getPatch(), &left);
    }
    EXPECT_EQ(mesh.tri(1)->getPatch(), nullptr);
}

TEST(RMesh, reportsWhatItFinds) {
    FineMesh mesh(sheet(1, 1));
    EXPECT_EQ(outputOf([&] { mesh->printStatistics("x"); }),
              "\nRMesh::printStatistics(x)\n NumTriangles: 2\n Degree 1: 4\n Degree 2: 1\n");
    const auto check = [&] { mesh->checkNoDups("x"), mesh->checkNoDegenerate("x"); };
    EXPECT_EQ(outputOf(check), "RMesh::checkNoDups(x): survived\nRMesh::checkNoDegenerate(x): survived\n");
    mesh.createT(2, 1, 0);  // turned over, but the same corners
    mesh->createT(mesh.vtx(0), mesh.vtx(1), mesh->createVertex(7, 0, 0, true));
    EXPECT_EQ(outputOf(check),
              "RMesh::checkNoDups(x): has duplicate triangles\n"
              "RMesh::checkNoDegenerate(x): has 1 degenerate triangles!\n");
}

TEST(RMesh, theCheckSeesWhatIsBroken) {
    const std::pair<const char*, std::function<void(FineMesh&)>> aBreaks[] = {
        {"pr.first==*pr.second", [](FineMesh& m) { *m.vtx(3) = Point3(9, 9, 9); }},
        {"Condition [", [](FineMesh& m) { m.tri(1)->bAlive = false; }},
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

}  // namespace
