#include "CMesh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "EdgeIndex.h"
#include "HashIndex.h"
#include "Random.h"
#include "SmallPtrList.h"
#include "freeFunctions.h"
#include "support/capture.h"
#include "support/coarse.h"
#include "support/plain_coarse.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

std::size_t pick(Random& random, std::size_t n) {
    return static_cast<std::size_t>(random.next()) % n;
}

void expectFails(const std::string& condition, const auto& call) {
    const std::string report = reportOf(call);
    EXPECT_NE(report.find(conditionFailed(condition)), std::string::npos) << condition << "\n" << report;
}

std::vector<CEdge*> degN(const CMesh& mesh, int deg) {
    std::vector<CEdge*> v;
    mesh.getDegN(deg, v);
    return v;
}

// The mesh on map and multimap beside the real one: the same operations on both, triangles known by their numbers.
struct Pair {
    std::map<CCD, Bundle*> mBundle;
    CMesh mesh{nullptr, nullptr, mBundle};
    PlainMesh plain;
    std::vector<std::size_t> vAlive;
    std::map<const CTriangle*, std::size_t> mNumber;
    std::map<const PlainTriangle*, std::size_t> mPlainNumber;

    void create(VCD a, VCD b, VCD c) {
        vAlive.push_back(mesh.vAllCT.size());
        mNumber[mesh.createT(a, b, c, a, 27)] = vAlive.back();
        mPlainNumber[plain.createT(a, b, c, a, 27)] = vAlive.back();
    }
    void kill(std::size_t position) {
        const std::size_t number = vAlive[position];
        mesh.vAllCT[number]->kill(&mesh);
        plain.kill(plain.vAllCT[number].get());
        vAlive[position] = vAlive.back();
        vAlive.pop_back();
    }

    std::vector<std::size_t> numbers(const auto& vCT) const {
        std::vector<std::size_t> v;
        for (const CTriangle* pCT : vCT)
            v.push_back(mNumber.at(pCT));
        return v;
    }
    std::vector<std::size_t> plainNumbers(const std::vector<PlainTriangle*>& vT) const {
        std::vector<std::size_t> v;
        for (const PlainTriangle* pT : vT)
            v.push_back(mPlainNumber.at(pT));
        return v;
    }

    using EdgeTable = std::vector<std::tuple<VCD, VCD, std::vector<std::size_t>>>;
    EdgeTable edges(int deg, const auto& isWanted) const {
        std::vector<CEdge*> vCE;
        deg == 0 ? mesh.getCEdges(vCE) : mesh.getDegN(deg, vCE);
        EdgeTable table, plainTable;
        for (const CEdge* pCE : vCE)
            table.emplace_back(pCE->v0, pCE->v1, numbers(pCE->vCT));
        for (const auto& [key, pCE] : plain.mEdges)
            if (isWanted(pCE->vCT.size())) plainTable.emplace_back(key.first, key.second, plainNumbers(pCE->vCT));
        EXPECT_EQ(table, plainTable) << "deg " << deg;
        return table;
    }

    void compareAt(VCD vcd, VCD other) const {
        std::vector<CTriangle*> vIncT, vAdjT;
        std::vector<PlainTriangle*> vPlain, vPlainAdj;
        mesh.getIncidentT(vcd, vIncT);
        plain.getIncidentT(vcd, vPlain);
        EXPECT_EQ(numbers(vIncT), plainNumbers(vPlain));
        mesh.getAdjacentT(vcd, other, vAdjT);
        const auto holdsBoth = [&](const PlainTriangle* pT) { return std::count(pT->corners, pT->corners + 3, other) == 1; };
        std::copy_if(vPlain.begin(), vPlain.end(), std::back_inserter(vPlainAdj), holdsBoth);
        EXPECT_EQ(numbers(vAdjT), plainNumbers(vPlainAdj));

        std::set<std::pair<VCD, VCD>> sExpected, sFound;
        for (const PlainTriangle* pT : vPlain)
            for (const PlainEdge* pCE : pT->edges)
                if (pCE->v0 == vcd || pCE->v1 == vcd) sExpected.emplace(pCE->v0, pCE->v1);
        std::vector<CEdge*> vIncCE;
        mesh.getIncidentCE(vcd, vIncCE);
        EXPECT_TRUE(std::is_sorted(vIncCE.begin(), vIncCE.end()));
        for (const CEdge* pCE : vIncCE)
            EXPECT_TRUE(sFound.emplace(pCE->v0, pCE->v1).second);
        EXPECT_EQ(sFound, sExpected);
    }
};

}  // namespace

// ---- The mesh as a whole

TEST(CMesh, agreesWithTheMeshOnMapAndMultimap) {
    // 5 cells: everything is a duplicate; 60: vertices with far more edges than a list takes; 2000: few triangles meet.
    for (const std::size_t numCells : {5U, 60U, 2000U})
        for (unsigned seed = 0; seed < 4; ++seed) {
            SCOPED_TRACE("cells " + std::to_string(numCells) + ", seed " + std::to_string(seed));
            Random random(seed);
            Pair pair;
            std::vector<VCD> vCell;
            for (std::size_t i = 0; i < numCells; ++i)
                vCell.push_back(seed % 2 == 0 ? i : mixHash(i) >> 1);
            for (int step = 1; step <= 3000; ++step) {
                const VCD a = vCell[pick(random, numCells)], b = vCell[pick(random, numCells)],
                          c = vCell[pick(random, numCells)];
                // Phases of growth and of decay, so that most edges pass through degree 0.
                if (random.next() % 8 < (step / 500 % 2 == 0 ? 6 : 3) || pair.vAlive.empty()) {
                    if (a != b && b != c && a != c) pair.create(a, b, c);
                } else {
                    pair.kill(pick(random, pair.vAlive.size()));
                }
                if (step % 20 == 0) pair.compareAt(a, b);
                if (step % 250 != 0) continue;
                EXPECT_EQ(firstFault(pair.mesh), "");
                pair.edges(0, [](std::size_t) { return true; });
                for (int deg = 1; deg < 4; ++deg)
                    pair.edges(deg, [deg](std::size_t n) { return static_cast<int>(n) == deg; });
                pair.edges(-1, [](std::size_t n) { return n > 2; });
                pair.edges(-5, [](std::size_t n) { return n == 1 || n > 2; });
                pair.edges(-99, [](std::size_t n) { return n > 0; });
            }
            std::vector<CTriangle*> vAlive;
            pair.mesh.getAliveTriangles(vAlive);
            EXPECT_EQ(vAlive.size(), pair.vAlive.size());
            if (HasFailure()) return;
        }
}

TEST(CMesh, aHubCostsNoMoreThanAnotherVertex) {
    // Quadratic work on these numbers would take minutes.
    constexpr VCD NUM = 100000;
    for (const VCD hub : {VCD{0}, 2 * NUM}) {  // the lower end of all its edges, the higher end
        std::map<CCD, Bundle*> mBundle;
        CMesh mesh(nullptr, nullptr, mBundle);
        for (VCD i = 1; i < NUM; ++i)
            mesh.createT(hub, i, i + 1, 0, 0);
        for (VCD i = 1; i < NUM; i += 2)
            mesh.vAllCT[i - 1]->kill(&mesh);
        std::vector<CTriangle*> vAdjT;
        for (VCD i = 1; i < NUM; ++i)
            mesh.getAdjacentT(hub, i, vAdjT);
        EXPECT_EQ(vAdjT.size(), NUM - 2);
        EXPECT_EQ(firstFault(mesh), "");
    }
}

TEST(CMesh, keepsEdgesThroughDegreeZero) {
    CoarseWorld world;
    const VCD a = world.put(9, 9, 9), b = world.put(9, 9, 10), c = world.put(9, 10, 9);
    CTriangle* pFirst = world.triangle(c, b, a);
    EXPECT_EQ(std::pair(pFirst->vcdCube, pFirst->cfg), std::pair(c, 27));
    const std::array<CEdge*, 3> aEdge{pFirst->pCE01, pFirst->pCE12, pFirst->pCE02};
    pFirst->kill(&world.mesh);
    EXPECT_FALSE(pFirst->isAlive());
    EXPECT_EQ(pFirst->getC0(), c);  // still readable
    EXPECT_EQ(world.mesh.getEdge(a, b), aEdge[1]);
    EXPECT_FALSE(world.mesh.hasEdge(b, a));
    EXPECT_TRUE(degN(world.mesh, -99).empty());

    CTriangle* pSecond = world.triangle(c, b, a);
    EXPECT_EQ((std::array<CEdge*, 3>{pSecond->pCE01, pSecond->pCE12, pSecond->pCE02}), aEdge);
    world.triangle(a, c, b);
    EXPECT_EQ(aEdge[0]->getDegree(), 2);  // a folded surface
    EXPECT_TRUE(aEdge[0]->hasAdjT(a, b, c));
    EXPECT_FALSE(aEdge[0]->hasAdjT(b, b, c));
    EXPECT_EQ(world.mesh.getEdge(a, a), nullptr);
    EXPECT_EQ(world.mesh.getEdge(a, cell(3, 3, 3)), nullptr);
    EXPECT_EQ(firstFault(world.mesh), "");
}

TEST(CMesh, failsOnWrongUseAndStaysAsItWas) {
    Sheet sheet(2, 2);
    CMesh& mesh = sheet.mesh;
    CTriangle* pCT = mesh.vAllCT[3];
    pCT->kill(&mesh);
    expectFails("bAlive", [&] { pCT->kill(&mesh); });
    expectFails("numDelete==3", [&] { mesh.unregisterTriangle(pCT); });
    CTriangle stranger(1, 2, 3);
    expectFails("numDelete==3", [&] { mesh.unregisterTriangle(&stranger); });
    expectFails("v0!=v1 && v1!=v2 && v0!=v2", [&] { mesh.createT(1, 2, 1, 0, 0); });
    expectFails("v0<v1", [] { CEdge(4, 4); });
    expectFails("q_it!=mCCDBundle.end()", [&] { mesh.getVtx(77); });
    expectFails("q_it!=mCCDBundle.end()", [&] { mesh.getAvgPoint(77); });
    EXPECT_NE(reportOf([&] { pCT->pCE01->checkOut(pCT); }).find("CEdge::checkOut, triangle live state: 0"),
              std::string::npos);
    for (const int deg : {0, -2, -98}) {
        std::vector<CEdge*> v;
        EXPECT_NE(reportOf([&] { mesh.getDegN(deg, v); }).find("WARNING: deg=" + std::to_string(deg)), std::string::npos);
    }
    EXPECT_EQ(firstFault(mesh), "");
}

TEST(CMesh, resetKeepsBundlesAndStartsAnew) {
    Sheet sheet(3, 3);
    for (unsigned x = 0; x < 3; ++x)
        sheet.withFin(x, 1).withFin(x, 1);  // edges with memory of their own
    const VCD corner = sheet.at(1, 1);
    const Point3* pVtx = sheet.mesh.getVtx(corner);
    EXPECT_EQ(firstFault(sheet.mesh), "");  // and lets the mesh make its lists
    sheet.mesh.reset();
    EXPECT_TRUE(sheet.mesh.getTriRef().empty() && sheet.mesh.getEdge(corner, sheet.at(1, 2)) == nullptr);
    std::vector<CEdge*> vCE;
    sheet.mesh.getCEdges(vCE);
    EXPECT_TRUE(vCE.empty());
    EXPECT_EQ(sheet.mesh.getVtx(corner), pVtx);
    sheet.triangle(corner, sheet.at(1, 2), sheet.at(2, 2));
    EXPECT_EQ(firstFault(sheet.mesh), "");
    EXPECT_EQ(degN(sheet.mesh, 1).size(), 3);
}

TEST(CMesh, readsTheVertexTableAsItIsNow) {
    Sheet sheet(1, 1);
    const VCD corner = sheet.at(0, 0);
    const Point3* pBefore = sheet.mesh.getVtx(corner);
    EXPECT_EQ(*pBefore, sheet.mesh.getMidPoint(corner));
    sheet.put(corner, Point3(1.0, 2.0, 3.0));
    EXPECT_EQ(sheet.mesh.getAvgPoint(corner), Point3(1.0, 2.0, 3.0));
    EXPECT_NE(sheet.mesh.getBundleVtx(corner), pBefore);
    EXPECT_TRUE(sheet.mesh.hasBundle(corner) && !sheet.mesh.hasBundle(1));

    CMesh local(nullptr, &sheet.calc, USE_LOCAL_CCD2BUNDLEMAP());
    EXPECT_EQ(&local.getRefToBundleMap(), &local.mLocalCCDBundle);
    local.mLocalCCDBundle = sheet.mBundle;
    EXPECT_EQ(local.getVtx(corner), sheet.mesh.getVtx(corner));
}

TEST(CMesh, listsCornersAndPointsOfAliveTriangles) {
    Sheet sheet(3, 2);
    CMesh& mesh = sheet.mesh;
    EXPECT_NEAR(mesh.getArea(), 6.0, 1e-12);
    EXPECT_EQ(mesh.getSideLen(), 1.0);
    mesh.vAllCT[0]->kill(&mesh);
    std::vector<CTriangle*> vAlive, vAll;
    mesh.getAliveTriangles(vAlive);
    mesh.getAllTriangles(vAll);
    EXPECT_EQ(std::pair(vAlive.size(), vAll.size()), std::pair(std::size_t{11}, std::size_t{12}));
    std::vector<VCD> vCorner, vSame, vUsed;
    std::vector<Point3*> vPoint, vCornerPoint;
    mesh.getTriangleCorners(vCorner);
    mesh.extractAliveVCD(vAll, vSame);
    mesh.getUsedCCD(vUsed);
    mesh.getPoints(vPoint);
    mesh.getTriangleCorners(vCornerPoint);
    EXPECT_EQ(vCorner, vSame);
    ASSERT_EQ(vCornerPoint.size(), vCorner.size());
    for (std::size_t i = 0; i < vCorner.size(); ++i)
        EXPECT_EQ(vCornerPoint[i], mesh.getVtx(vCorner[i]));
    EXPECT_EQ(vUsed.size(), 12);
    EXPECT_EQ(vPoint.size(), 12);
    EXPECT_NEAR(mesh.getArea(), 5.5, 1e-12);
    for (CTriangle* pCT : vAll)
        pCT->bVisited = true;
    mesh.resetVisited();
    EXPECT_TRUE(std::none_of(vAll.begin(), vAll.end(), [](const CTriangle* pCT) { return pCT->bVisited; }));
}

TEST(CMesh, reportsWhatItHas) {
    Sheet sheet(2, 1);
    sheet.withFin(0, 1);
    sheet.mesh.vAllCT.back()->kill(&sheet.mesh);  // its edges are left over, its tip isn't used any more
    sheet.withFin(0, 0).withFin(0, 0);
    EXPECT_EQ(outputOf([&] { sheet.mesh.printStatistics("x"); }),
              "Statistics ( \"x\" ):\n  Vertices: 7\n  Triangles:  6\n"
              "  Edges with degree 1:\t5\n  Edges with degree 2:\t5\n  Edges with degree 3:\t1\n\n");

    const auto verdicts = [&sheet] {
        const CoutSilence silence;
        const CMesh& mesh = sheet.mesh;
        return std::array{mesh.checkNoDegenerate(""), mesh.checkNoDups(""), mesh.checkNoAdjCoordDups(""), mesh.checkCCD(""),
                          !mesh.hasNaN("")};
    };
    using Verdicts = std::array<bool, 5>;
    EXPECT_EQ(verdicts(), (Verdicts{true, false, true, true, true}));  // the fin is there twice
    sheet.mesh.vAllCT.back()->kill(&sheet.mesh);
    EXPECT_EQ(verdicts(), (Verdicts{true, true, true, true, true}));
    sheet.put(sheet.at(0, 0), sheet.mesh.getAvgPoint(sheet.at(1, 0)));
    EXPECT_EQ(verdicts(), (Verdicts{false, true, false, true, true}));
    sheet.put(sheet.at(0, 0), Point3(0.0, std::nan(""), 0.0));
    EXPECT_EQ(verdicts(), (Verdicts{true, true, true, true, false}));
    sheet.mBundle[sheet.at(0, 0)]->ccd = 1;
    EXPECT_EQ(verdicts(), (Verdicts{true, true, true, false, false}));

    CMesh empty(nullptr, nullptr, USE_LOCAL_CCD2BUNDLEMAP());
    Bundle hollow;
    for (Bundle* pBundle : {&hollow, static_cast<Bundle*>(nullptr)}) {
        empty.mLocalCCDBundle[0] = pBundle;
        outputOf([&] { EXPECT_TRUE(!empty.hasNaN("") && !empty.checkCCD("")); });
        expectFails("pBundle!=__null && pBundle->pVtx!=__null", [&] { empty.getVtx(0); });
    }
}

// ---- Triangles

TEST(CTriangle, namesCornersAndEdgesByOneIndex) {
    std::array<VCD, 3> aCode{5, 7, 6};
    std::sort(aCode.begin(), aCode.end());
    do {
        std::map<CCD, Bundle*> mBundle;
        CMesh mesh(nullptr, nullptr, mBundle);
        const CTriangle& ct = *mesh.createT(aCode[0], aCode[1], aCode[2], 0, 0);
        for (int i = 0; i < 3; ++i) {
            const VCD own = aCode[static_cast<std::size_t>(i)];
            const VCD next = aCode[static_cast<std::size_t>((i + 1) % 3)],
                      last = aCode[static_cast<std::size_t>((i + 2) % 3)];
            VCD a, b;
            ct.getEdgeCCDs(i, a, b);
            EXPECT_EQ(std::pair(a, b), std::pair(next, last));
            ct.getOtherCCDs(own, a, b);
            EXPECT_EQ(std::pair(a, b), std::pair(next, last));
            EXPECT_EQ(ct.getCE(i), mesh.getEdge(next, last));
            EXPECT_EQ(std::pair(ct.getICI(own), ct.getICI(last, next)), std::pair(i, i));
            EXPECT_EQ(ct.getThirdCCD(next, last), own);
            EXPECT_EQ(ct.getHEDirection2(own, next), HE_SAME);
            EXPECT_EQ(ct.getHEDirection2(next, own), HE_OPPOSITE);
            EXPECT_EQ(ct.getHEDirection2(own, own), HE_NONE);
            EXPECT_EQ(ct.getHEDirection2(own, 9), HE_NONE);
        }
        VCD c0, c1, c2;
        ct.getSortedCorners(c0, c1, c2);
        EXPECT_EQ((std::array{c0, c1, c2}), (std::array<VCD, 3>{5, 6, 7}));
    } while (std::next_permutation(aCode.begin(), aCode.end()));

    const CTriangle alone(1, 2, 3);
    EXPECT_EQ(alone.vcdCube, ~VCD{0});
    EXPECT_EQ(alone.cfg, -1);
    EXPECT_TRUE(alone.isAlive() && alone.pCE01 == nullptr && alone.getPatch() == nullptr);
    for (const auto& wrong : {+[](const CTriangle& ct) { ct.getCorner(3); }, +[](const CTriangle& ct) { ct.getCEdge(-1); },
                              +[](const CTriangle& ct) { ct.getICI(9); }, +[](const CTriangle& ct) { ct.getThirdCCD(1, 9); },
                              +[](const CTriangle& ct) { ct.getThirdCCD(2, 2); }})
        reportOf([&] { wrong(alone); });
}

TEST(CTriangle, turnsOverAndStaysConsistent) {
    Sheet sheet(2, 2);
    CTriangle *pCT = sheet.mesh.vAllCT[0], *pNeig = sheet.mesh.vAllCT[1];
    EXPECT_FALSE(pCT->needFlip(pNeig));
    const Vector3 before = pCT->computeNNVcoarse();
    pCT->flipNNV();
    EXPECT_TRUE(pCT->needFlip(pNeig) && pNeig->needFlip(pCT));
    EXPECT_EQ(before * pCT->computeNNVcoarse(), -1.0);
    EXPECT_EQ(firstFault(sheet.mesh), "");
    pCT->kill(&sheet.mesh);  // its places in the lists don't depend on the corner order
    EXPECT_EQ(firstFault(sheet.mesh), "");
    reportOf([&] { sheet.mesh.vAllCT[0]->needFlip(sheet.mesh.vAllCT[7]); });  // no common edge
}

TEST(CTriangle, knowsItsNeighbours) {
    Sheet sheet(2, 2);
    sheet.withFin(0, 1);
    CEdge* pME = sheet.mesh.getEdge(sheet.at(0, 1), sheet.at(1, 1));
    EXPECT_EQ(degN(sheet.mesh, 3), std::vector<CEdge*>{pME});
    for (CTriangle* pCT : pME->vCT) {
        std::vector<CTriangle*> vNeigs;
        pCT->getNeigs(pCT->getICI(pME->v0, pME->v1), vNeigs);
        EXPECT_EQ(vNeigs.size(), 2);
        EXPECT_EQ(std::count(vNeigs.begin(), vNeigs.end(), pCT), 0);
        EXPECT_FALSE(pCT->hasOnlyHalfEdges());
        EXPECT_EQ(pME->getUniqueOtherTriangle(pCT), nullptr);
    }
    int numBorder = 0, numInner = 0;
    for (const CTriangle* pCT : sheet.mesh.vAllCT) {
        numBorder += pCT->hasBorder() ? 1 : 0;
        numInner += pCT->hasOnlyHalfEdges() ? 1 : 0;
    }
    EXPECT_EQ(std::pair(numBorder, numInner),
              std::pair(7, 1));  // 6 rim triangles and the fin; one of two lost its edge to it
}

TEST(CTriangle, measuresAtItsVertices) {
    CoarseWorld world;
    const VCD a = world.put(2, 2, 2), b = world.put(4, 2, 2), c = world.put(2, 4, 2);
    const auto at = [&world](VCD vcd, double x, double y, double z) { world.put(vcd, Point3(x, y, z)); };
    const CTriangle* pCT = world.triangle(a, b, c);
    const CMesh* pMesh = &world.mesh;
    bool ok = false;
    EXPECT_EQ((pCT->getRealNNV(pMesh, ok) - Vector3(0.0, 0.0, 1.0)).length(), 0.0);
    EXPECT_TRUE(ok);
    EXPECT_NEAR(pCT->getRealPlane(pMesh, ok).signedDistance(Point3(9.0, 9.0, 5.5)), 3.0, 1e-12);
    EXPECT_NEAR((pCT->getRealBaryc(pMesh) - Point3(2.5 + 2.0 / 3.0, 2.5 + 2.0 / 3.0, 2.5)).length(), 0.0, 1e-12);
    EXPECT_NEAR(pCT->getArea(pMesh), 2.0, 1e-12);
    EXPECT_NEAR(pCT->getDevIfRepl(pMesh, 0, Point3(2.5, 2.5, 2.5 + std::sqrt(2.0))), 45.0, 1e-6);
    EXPECT_EQ(pCT->getDevIfRepl(pMesh, 1, *pMesh->getVtx(a)), 360.0);

    EXPECT_EQ(pCT->getLargestEdgeICI(pMesh), 0);
    EXPECT_FALSE(pCT->isDegenerate(pMesh));
    struct Case {
        double bx, by, cx, cy;
        int largest;
        bool bFlat;
    };
    const Case aCase[] = {
        {3.0, 4.0, 5.0, 0.0, 2, false},                                  // c0-c1 and c2-c0 equal
        {5.0, 0.0, -1.0, 0.0, 0, true}, {4.0, 0.0, 2.0, 5.0, 0, false},  // c1-c2 and c2-c0 equal
        {2.0, 0.0, 4.0, 0.0, 1, true},  {4.0, 0.0, 4.0, 0.0, 2, true},  {0.0, 0.0, 1.0, 0.0, 0, true},
    };
    at(a, 0.0, 0.0, 0.0);
    for (const Case& k : aCase) {
        at(b, k.bx, k.by, 0.0);
        at(c, k.cx, k.cy, 0.0);
        EXPECT_EQ(pCT->getLargestEdgeICI(pMesh), k.largest) << k.bx << " " << k.cx;
        EXPECT_EQ(pCT->isDegenerate(pMesh), k.bFlat) << k.bx << " " << k.cx;
        if (!k.bFlat) continue;
        EXPECT_EQ(pCT->getDevIfRepl(pMesh, 0, Point3(0.0, 1.0, 1.0)), k.bx == k.cx ? 360.0 : -1.0);
    }
    EXPECT_EQ(pCT->getCentroid(pMesh, VT_COARSE),
              barycenter(pMesh->getMidPoint(a), pMesh->getMidPoint(b), pMesh->getMidPoint(c)));
    EXPECT_EQ(pCT->getCentroid(pMesh, VT_REAL), pCT->getRealBaryc(pMesh));
}

TEST(CTriangle, coarseNormalIsTheRealOneWhereTheSignsTellIt) {
    // In a 2x2x2 block the differences are their own signs.
    for (unsigned code = 0; code < 512; ++code) {
        const unsigned a = code & 7U, b = code >> 3 & 7U, c = code >> 6;
        const auto point = [](unsigned v) { return Point3(v >> 2, v >> 1 & 1U, v & 1U); };
        bool ok = false;
        const Vector3 expected = getNormalVector(point(a), point(b), point(c), ok);
        EXPECT_NEAR((CTriangle(a + 448, b + 448, c + 448).computeNNVcoarse() - expected).length(), 0.0, 1e-12) << code;
    }
}

// ---- Edges

TEST(CEdge, handsOutItsTriangles) {
    CoarseWorld world;
    const VCD a = world.put(2, 2, 2), b = world.put(3, 2, 2);
    std::vector<CTriangle*> vCT;
    for (unsigned i = 0; i < 4; ++i) {
        CTriangle *t0, *t1;
        if (i > 0) {
            const CEdge* pCE = vCT[0]->pCE01;
            EXPECT_EQ(pCE->getTwoTriangles(t0, t1, true), i == 2);
            EXPECT_EQ(pCE->getTwoTriangles(t0, t1, false), i >= 2);
            EXPECT_EQ(std::pair(t0, t1), std::pair(vCT[0], i >= 2 ? vCT[1] : nullptr));
            EXPECT_EQ(pCE->getUniqueOtherTriangle(vCT[0]), i == 2 ? vCT[1] : nullptr);
            EXPECT_EQ(pCE->getTriangle(true, false), vCT[0]);
            if (i > 1)
                expectFails("pRet==__null", [pCE] { pCE->getTriangle(false, true); });
            else
                EXPECT_EQ(pCE->getTriangle(true, true), vCT[0]);
        }
        vCT.push_back(world.triangle(a, b, world.put(2, 3 + i, 2)));
    }
    CEdge* pCE = vCT[0]->pCE01;
    vCT[1]->kill(&world.mesh);  // the last one takes the place
    std::vector<CTriangle*> vAlive;
    pCE->getAliveTriangles(vAlive);
    EXPECT_EQ(vAlive, (std::vector{vCT[0], vCT[3], vCT[2]}));
    EXPECT_EQ(pCE->getCenter(&world.mesh), Point3(3.0, 2.5, 2.5));
    EXPECT_EQ(std::pair(pCE->getOtherVCD(a), pCE->getOtherVCD(b)), std::pair(b, a));
    reportOf([&] { pCE->getOtherVCD(1); });
    reportOf([&] { pCE->getSource(); });
    pCE->setDirection(ED_V1_V0);
    EXPECT_EQ(std::pair(pCE->getSource(), pCE->getTarget()), std::pair(pCE->getV1(), pCE->getV0()));
    pCE->setDirection(ED_V0_V1);
    EXPECT_EQ(std::pair(pCE->getSource(), pCE->getTarget()), std::pair(pCE->getV0(), pCE->getV1()));
    for (CTriangle* pCT : vAlive)
        pCT->kill(&world.mesh);
    CTriangle *t0, *t1;
    EXPECT_FALSE(pCE->getTwoTriangles(t0, t1, false));
    EXPECT_TRUE(t0 == nullptr && t1 == nullptr);
    expectFails("pRet!=__null", [pCE] { pCE->getTriangle(true, true); });
    EXPECT_EQ(pCE->getTriangle(false, true), nullptr);
}

TEST(CEdge, measuresItsAngleOrSaysWhyNot) {
    Sheet sheet(1, 1);
    sheet.withFin(0, 0);
    const CEdge* pFlat = sheet.mesh.getEdge(sheet.at(0, 0), sheet.at(1, 1));
    const CEdge* pRight = sheet.mesh.getEdge(sheet.at(0, 0), sheet.at(1, 0));
    EXPECT_EQ(pFlat->getDihedralAngle(&sheet.calc), 180.0);
    EXPECT_NEAR(pRight->getDihedralAngle(&sheet.calc), 90.0, 1e-6);
    EXPECT_EQ(sheet.mesh.getEdge(sheet.at(1, 0), sheet.at(1, 1))->getDihedralAngle(&sheet.calc), 363.0);

    std::map<VCD, Point3> mPoints;
    for (const auto& [vcd, pBundle] : sheet.mBundle)
        mPoints[vcd] = *pBundle->pVtx;
    EXPECT_NEAR(pRight->getDihedralAngle(mPoints), 90.0, 1e-6);
    mPoints[sheet.at(0, 1)] = mPoints[sheet.at(0, 0)];
    EXPECT_EQ(pFlat->getDihedralAngle(mPoints), 364.0);
    sheet.withFin(0, 0);
    EXPECT_EQ(pRight->getDihedralAngle(&sheet.calc), 362.0);
}

TEST(CEdge, sortsItsTrianglesByPatch) {
    CoarseWorld world;
    const auto patch = [](std::uintptr_t number) { return reinterpret_cast<CPatch*>(64 * number); };  // compared only
    std::vector<CTriangle*> vCT;
    for (const unsigned number : {2U, 1U, 0U, 2U}) {
        vCT.push_back(world.triangle(1, 2, 10 + static_cast<VCD>(vCT.size())));
        vCT.back()->setPatch(patch(number));
    }
    const CEdge* pCE = vCT[0]->pCE01;
    EXPECT_EQ(pCE->getNumPatchTriangles(patch(2)), 2);
    EXPECT_EQ(pCE->getUniquePatchTriangle(patch(2)), nullptr);
    EXPECT_EQ(pCE->getUniquePatchTriangle(patch(1)), vCT[1]);
    EXPECT_EQ(pCE->getUniquePatchTriangle(patch(3)), nullptr);
    EXPECT_EQ(pCE->getAdjInPatch(vCT[3]), vCT[0]);
    EXPECT_NE(outputOf([&] { EXPECT_EQ(pCE->getAdjInPatch(vCT[1]), nullptr); }).find("no adjacent triangle"),
              std::string::npos);
    std::vector<CTriangle*> vAdj;
    pCE->getAdjInPatch(patch(2), vAdj);
    EXPECT_EQ(vAdj, (std::vector{vCT[0], vCT[3]}));
    std::vector<CPatch*> vPatches;
    pCE->getAdjPatches(vPatches);
    EXPECT_EQ(vPatches, (std::vector{patch(2), patch(1)}));
}

// ---- The containers below

TEST(HashIndex, agreesWithAMapUnderGoodAndBadHashes) {
    const std::pair<const char*, std::uint64_t (*)(std::uint64_t)> aHash[] = {
        {"mixed", mixHash},
        {"blocks", [](std::uint64_t key) { return localHash(key >> 3, key); }},
        {"all equal", [](std::uint64_t) { return ~std::uint64_t{0}; }},  // starts at the last slot and goes round
        {"end of the table", [](std::uint64_t key) { return ~(mixHash(key) >> 5); }},
    };
    for (const auto& [name, hash] : aHash) {
        SCOPED_TRACE(name);
        Random random(7);
        HashIndex index;
        std::vector<std::uint64_t> vKey;           // of element i
        std::map<std::uint64_t, unsigned> mEntry;  // key to element
        index.reserve(20);
        for (int step = 0; step < 20000; ++step) {
            const std::uint64_t key = pick(random, 300);
            const auto found = index.find(hash(key), [&](unsigned i) { return vKey[i] == key; });
            const auto it = mEntry.find(key);
            ASSERT_EQ(found, it == mEntry.end() ? HashIndex::NONE : it->second) << "step " << step;
            ASSERT_EQ(index.size(), mEntry.size());
            if (found == HashIndex::NONE) {
                EXPECT_FALSE(index.erase(hash(key), static_cast<unsigned>(vKey.size())));
                mEntry[key] = static_cast<unsigned>(vKey.size());
                index.insert(hash(key), mEntry[key]);
                vKey.push_back(key);
            } else if (random.next() % 4 != 0) {
                EXPECT_TRUE(index.erase(hash(key), found));
                mEntry.erase(key);
            }
        }
        index.clear();
        EXPECT_EQ(index.find(hash(1), [](unsigned) { return true; }), HashIndex::NONE);
    }
}

/// Vertices and edges that are but numbers.
struct Ends {
    using Key = std::pair<std::uint32_t, std::uint32_t>;
    std::vector<EdgeStar> vStar;
    std::vector<std::uint32_t> vNext;
    std::vector<Key> vKey;  // of edge i
    std::uint64_t (*hashOf)(Key);

    struct Pair {
        Ends& ends;
        Key key;
        EdgeStar& star() const { return ends.vStar[key.first]; }
        std::uint32_t& next(std::uint32_t edge) const { return ends.vNext[edge]; }
        bool matches(std::uint32_t edge) const { return ends.vKey[edge] == key; }
        std::uint64_t hash() const { return ends.hashOf(key); }
    };
};

TEST(EdgeIndex, agreesWithAMapWhileEdgesComeGoAndChangeTheirEnds) {
    constexpr std::uint32_t NUM_VTX = 50, NUM_EDGES = 200;  // lists that overflow, shrink, and fill again
    for (const auto hashOf : {+[](Ends::Key key) { return mixHash(std::uint64_t{key.first} << 32 | key.second); },
                              +[](Ends::Key) { return std::uint64_t{7}; }}) {
        Random random(11);
        Ends ends{std::vector<EdgeStar>(4), std::vector<std::uint32_t>(NUM_EDGES), std::vector<Ends::Key>(NUM_EDGES),
                  hashOf};
        EdgeIndex index;
        std::map<Ends::Key, std::uint32_t> mEdge;
        std::vector<std::uint32_t> vFree(NUM_EDGES);
        std::iota(vFree.begin(), vFree.end(), 0U);
        for (int step = 0; step < 20000; ++step) {
            const Ends::Pair pair{
                ends, {static_cast<std::uint32_t>(pick(random, 4)), static_cast<std::uint32_t>(4 + pick(random, NUM_VTX))}};
            const auto it = mEdge.find(pair.key);
            ASSERT_EQ(index.find(pair), it == mEdge.end() ? EdgeIndex::NONE : it->second) << "step " << step;
            ASSERT_EQ(index.size(), mEdge.size());
            const bool bGrow = step / 700 % 2 == 0 || random.next() % 4 == 0;
            if (it != mEdge.end() && !bGrow) {
                vFree.push_back(it->second);
                EXPECT_EQ(index.erase(pair), it->second);
                mEdge.erase(it);
            } else if (it == mEdge.end() && bGrow) {
                EXPECT_EQ(index.erase(pair), EdgeIndex::NONE);
                const std::uint32_t edge = vFree.back();
                vFree.pop_back();
                ends.vKey[edge] = pair.key;
                index.insert(pair, edge);
                mEdge[pair.key] = edge;
            }
        }
    }
}

TEST(SmallPtrList, readsLikeAVector) {
    Random random(3);
    std::array<int, 6> aTarget{};
    for (int round = 0; round < 50; ++round) {
        SmallPtrList<int> list;
        std::vector<int*> v;
        for (int step = 0; step < 100; ++step) {
            int* p = &aTarget[pick(random, aTarget.size())];
            if (random.next() % 5 < 3) {
                list.push_back(p);
                v.push_back(p);
            } else {
                const auto it = std::find(v.begin(), v.end(), p);
                ASSERT_EQ(list.removeByLast(p), it != v.end());
                if (it != v.end()) {
                    *it = v.back();
                    v.pop_back();
                }
            }
            ASSERT_EQ(std::vector<int*>(list.begin(), list.end()), v);
        }
    }
}
