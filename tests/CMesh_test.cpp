#include "CMesh.h"

#include "HashIndex.h"
#include "freeFunctions.h"
#include "support/coarse.h"
#include "support/plain_coarse.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

// The mesh on map and multimap beside the real one: the same operations on both, triangles known by their numbers.
struct Pair {
    std::map<CCD, Bundle*> mBundle;
    CMesh mesh{nullptr, nullptr, mBundle};
    PlainMesh plain;
    std::vector<std::size_t> vAlive;
    std::map<const void*, std::size_t> mNumber;  // of the triangles of either

    void create(VCD a, VCD b, VCD c) {
        vAlive.push_back(mesh.vAllCT.size());
        mNumber[mesh.createT(a, b, c, a, 27)] = vAlive.back();
        mNumber[plain.createT(a, b, c, a, 27)] = vAlive.back();
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
        for (const void* pCT : vCT)
            v.push_back(mNumber.at(pCT));
        return v;
    }
    void compareEdges(int deg, const auto& isWanted) const {
        std::vector<std::tuple<VCD, VCD, std::vector<std::size_t>>> table, plainTable;
        for (const CEdge* pCE : listOf<CEdge*>([&](auto& v) { deg == 0 ? mesh.getCEdges(v) : mesh.getDegN(deg, v); }))
            table.emplace_back(pCE->v0, pCE->v1, numbers(pCE->vCT));
        for (const auto& [key, pCE] : plain.mEdges)
            if (isWanted(pCE->vCT.size())) plainTable.emplace_back(key.first, key.second, numbers(pCE->vCT));
        EXPECT_EQ(table, plainTable) << "deg " << deg;
    }

    void compareAt(VCD vcd, VCD other) const {
        std::vector<CTriangle*> vAdjT;
        std::vector<PlainTriangle*> vPlain, vPlainAdj;
        plain.getIncidentT(vcd, vPlain);
        EXPECT_EQ(numbers(incidentT(mesh, vcd)), numbers(vPlain));
        mesh.getAdjacentT(vcd, other, vAdjT);
        const auto holdsBoth = [&](const PlainTriangle* pT) { return std::count(pT->corners, pT->corners + 3, other) == 1; };
        std::copy_if(vPlain.begin(), vPlain.end(), std::back_inserter(vPlainAdj), holdsBoth);
        EXPECT_EQ(numbers(vAdjT), numbers(vPlainAdj));

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
                pair.compareEdges(0, [](std::size_t) { return true; });
                for (int deg = 1; deg < 4; ++deg)
                    pair.compareEdges(deg, [deg](std::size_t n) { return static_cast<int>(n) == deg; });
                pair.compareEdges(-1, [](std::size_t n) { return n > 2; });
                pair.compareEdges(-5, [](std::size_t n) { return n == 1 || n > 2; });
                pair.compareEdges(-99, [](std::size_t n) { return n > 0; });
            }
            EXPECT_EQ(numAlive(pair.mesh), pair.vAlive.size());
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

TEST(CMesh, failsOnWrongUseAndStaysAsItWas) {
    Sheet sheet(2, 2);
    CMesh& mesh = sheet.mesh;
    CTriangle* pCT = mesh.vAllCT[3];
    pCT->kill(&mesh);
    CTriangle stranger(1, 2, 3);
    expectFails("bAlive", [&] { pCT->kill(&mesh); });
    expectFails("numDelete==3", [&] { mesh.unregisterTriangle(pCT); });
    expectFails("numDelete==3", [&] { mesh.unregisterTriangle(&stranger); });
    expectFails("v0!=v1 && v1!=v2 && v0!=v2", [&] { mesh.createT(1, 2, 1, 0, 0); });
    expectFails("v0<v1", [] { CEdge(4, 4); });
    expectFails("q_it!=mCCDBundle.end()", [&] { mesh.getVtx(77); });
    reportOf([&] { pCT->pCE01->checkOut(pCT); });
    for (const int deg : {0, -2, -98})
        reportOf([&] { edges(mesh, deg); });
    EXPECT_EQ(mesh.getEdge(1, 2), nullptr);
    EXPECT_EQ(mesh.getEdge(sheet.at(0, 0), sheet.at(0, 0)), nullptr);
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
    EXPECT_EQ(sheet.mesh.getEdge(corner, sheet.at(1, 2)), nullptr);
    EXPECT_EQ(sheet.mesh.getVtx(corner), pVtx);
    EXPECT_EQ(firstFault(sheet.mesh), "");
    sheet.triangle(corner, sheet.at(1, 2), sheet.at(2, 2));
    EXPECT_EQ(firstFault(sheet.mesh), "");
    EXPECT_EQ(edges(sheet.mesh, 1).size(), 3);
}

TEST(CMesh, aSelfContainedCopyOutlivesAllThatTheOtherRefersTo) {
    const auto contentsOf = [](const CMesh& mesh) {
        std::vector<std::tuple<VCD, VCD, VCD, VCD, int>> vT;
        for (const CTriangle* pCT : aliveT(mesh))
            vT.emplace_back(pCT->c0, pCT->c1, pCT->c2, pCT->vcdCube, pCT->cfg);
        std::vector<std::pair<CCD, Point3>> vVtx;
        for (const auto& [ccd, pBundle] : mesh.mCCDBundle)
            vVtx.emplace_back(pBundle->ccd, *pBundle->pVtx);
        std::vector<CCD> vExtra;
        for (const Bundle* pBundle : mesh.vExtraBundles)
            vExtra.push_back(pBundle->ccd);
        return std::tuple(vT, vVtx, vExtra, mesh.sExtraVtx.size(), mesh.getSideLen());
    };
    std::unique_ptr<CMesh> pCopy;
    decltype(contentsOf(*pCopy)) expected;
    {
        Sheet sheet(3, 3);
        sheet.mesh.addBundle(sheet.at(1, 1), LARGEST, LARGEST, LARGEST);  // in place of the one of the sheet
        sheet.mesh.addBundle(cell(7, 7, 7), LARGEST, LARGEST, LARGEST);
        sheet.mesh.vAllCT[4]->kill(&sheet.mesh);
        expected = contentsOf(sheet.mesh);
        pCopy = std::make_unique<CMesh>(sheet.mesh, SELF_CONTAINED());
        for (auto& [ccd, pBundle] : sheet.mBundle)
            *pBundle->pVtx = Point3();
    }
    EXPECT_EQ(contentsOf(*pCopy), expected);
    EXPECT_EQ(firstFault(*pCopy), "");
    EXPECT_EQ(pCopy->sExtraVtx.count(pCopy->getVtx(cell(17, 17, 16))), 1U) << "the table and the list know one bundle";
}

TEST(CMesh, readsTheVertexTableAsItIsNow) {
    Sheet sheet(1, 1);
    CMesh local(nullptr, &sheet.calc, USE_LOCAL_CCD2BUNDLEMAP());
    for (const Point3& p : {Point3(1, 2, 3), Point3(4, 5, 6)}) {
        const VCD corner = sheet.put(sheet.at(0, 0), p);
        local.mLocalCCDBundle = sheet.mBundle;
        EXPECT_EQ(sheet.mesh.getAvgPoint(corner), p);
        EXPECT_EQ(local.getVtx(corner), sheet.mesh.getVtx(corner));
    }
}

TEST(CMesh, listsCornersAndPointsOfAliveTriangles) {
    Sheet sheet(3, 2);
    CMesh& mesh = sheet.mesh;
    EXPECT_NEAR(mesh.getArea(), 6.0, 1e-12);
    mesh.vAllCT[0]->kill(&mesh);
    EXPECT_NEAR(mesh.getArea(), 5.5, 1e-12);
    std::vector<VCD> vCorner, vExpected, vUsed;
    std::vector<Point3*> vPoint, vCornerPoint;
    for (std::size_t i = 1; i < 12; ++i)
        vExpected.insert(vExpected.end(), {mesh.vAllCT[i]->c0, mesh.vAllCT[i]->c1, mesh.vAllCT[i]->c2});
    mesh.getTriangleCorners(vCorner);
    EXPECT_EQ(vCorner, vExpected);
    mesh.getTriangleCorners(vCornerPoint);
    EXPECT_TRUE(std::ranges::equal(vCorner, vCornerPoint, {}, [&](VCD vcd) { return mesh.getVtx(vcd); }));
    mesh.getUsedCCD(vUsed);
    mesh.getPoints(vPoint);
    EXPECT_EQ(std::set(vUsed.begin(), vUsed.end()), std::set(vCorner.begin(), vCorner.end()));
    EXPECT_EQ(std::pair(vUsed.size(), vPoint.size()), std::pair(std::size_t{12}, std::size_t{12}));
}

TEST(CMesh, reportsWhatItHas) {
    Sheet sheet(2, 1);
    sheet.withFin(0, 1);
    sheet.mesh.vAllCT.back()->kill(&sheet.mesh);  // its edges are left over, its tip isn't used any more
    sheet.withFin(0, 0).withFin(0, 0);
    EXPECT_EQ(outputOf([&] { sheet.mesh.printStatistics("x"); }),
              "Statistics ( \"x\" ):\n  Vertices: 7\n  Triangles:  6\n"
              "  Edges with degree 1:\t5\n  Edges with degree 2:\t5\n  Edges with degree 3:\t1\n\n");

    const auto faults = [](const CMesh& mesh) {
        const CoutSilence silence;
        return std::string(mesh.checkNoDegenerate("") ? "" : "degenerate ") + (mesh.checkNoDups("") ? "" : "double ") +
               (mesh.checkNoAdjCoordDups("") ? "" : "points ") + (mesh.checkCCD("") ? "" : "codes ") +
               (mesh.hasNaN("") ? "nan " : "");
    };
    EXPECT_EQ(faults(sheet.mesh), "double ");
    sheet.mesh.vAllCT.back()->kill(&sheet.mesh);
    EXPECT_EQ(faults(sheet.mesh), "");
    sheet.put(sheet.at(0, 0), sheet.mesh.getAvgPoint(sheet.at(1, 0)));
    EXPECT_EQ(faults(sheet.mesh), "degenerate points codes ");
    sheet.put(sheet.at(0, 0), Point3(0.0, std::nan(""), 0.0));
    EXPECT_EQ(faults(sheet.mesh), "codes nan ");
    sheet.put(sheet.at(0, 0), sheet.calc.getMidPoint(sheet.at(0, 0)));
    EXPECT_EQ(faults(sheet.mesh), "");
    sheet.mBundle[sheet.at(0, 0)]->ccd = 1;
    EXPECT_EQ(faults(sheet.mesh), "codes ");

    CMesh empty(nullptr, nullptr, USE_LOCAL_CCD2BUNDLEMAP());
    Bundle hollow;
    for (Bundle* pBundle : {&hollow, static_cast<Bundle*>(nullptr)}) {
        empty.mLocalCCDBundle[0] = pBundle;
        EXPECT_EQ(faults(empty), "codes ");
        expectFails("pBundle!=__null && pBundle->pVtx!=__null", [&] { empty.getVtx(0); });
    }
}

TEST(CTriangle, namesCornersAndEdgesByOneIndex) {
    std::array<VCD, 3> aCode{5, 6, 7};
    do {
        std::map<CCD, Bundle*> mBundle;
        CMesh mesh(nullptr, nullptr, mBundle);
        const CTriangle& ct = *mesh.createT(aCode[0], aCode[1], aCode[2], 0, 0);
        for (int i = 0; i < 3; ++i) {
            const auto corner = [&](int k) { return aCode[static_cast<std::size_t>(k % 3)]; };
            const VCD own = corner(i), next = corner(i + 1), last = corner(i + 2);
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
    using Wrong = void (*)(const CTriangle&);
    for (const Wrong wrong : {Wrong([](auto& ct) { ct.getCorner(3); }), Wrong([](auto& ct) { ct.getCEdge(-1); }),
                              Wrong([](auto& ct) { ct.getICI(9); }), Wrong([](auto& ct) { ct.getThirdCCD(1, 9); }),
                              Wrong([](auto& ct) { ct.getThirdCCD(2, 2); })})
        reportOf([&] { wrong(alone); });
}

TEST(CTriangle, knowsItsNeighboursAndWhetherItAgreesWithThem) {
    Sheet sheet(2, 2);
    sheet.withFin(0, 1);
    CMesh& mesh = sheet.mesh;
    CEdge* pME = mesh.getEdge(sheet.at(0, 1), sheet.at(1, 1));
    for (CTriangle* pCT : pME->vCT) {
        std::vector<CTriangle*> vNeigs{pCT};
        pCT->getNeigs(pCT->getICI(pME->v0, pME->v1), vNeigs);
        EXPECT_EQ(std::set(vNeigs.begin(), vNeigs.end()), std::set(pME->vCT.begin(), pME->vCT.end()));
    }
    // 6 rim triangles and the fin; of the two inner ones one lost its edge to the fin.
    const auto hasBorder = [](const CTriangle* pCT) { return pCT->hasBorder(); };
    const auto isInner = [](const CTriangle* pCT) { return pCT->hasOnlyHalfEdges(); };
    EXPECT_EQ(std::count_if(mesh.vAllCT.begin(), mesh.vAllCT.end(), hasBorder), 7);
    EXPECT_EQ(std::count_if(mesh.vAllCT.begin(), mesh.vAllCT.end(), isInner), 1);

    CTriangle *pCT = mesh.vAllCT[0], *pNeig = mesh.vAllCT[1];
    EXPECT_FALSE(pCT->needFlip(pNeig));
    reportOf([&] { pCT->needFlip(mesh.vAllCT[7]); });  // no common edge
    pCT->flipNNV();
    EXPECT_TRUE(pCT->needFlip(pNeig) && pNeig->needFlip(pCT));
    EXPECT_EQ(firstFault(mesh), "");
    pCT->kill(&mesh);  // its places in the lists don't depend on the corner order
    EXPECT_EQ(firstFault(mesh), "");
}

TEST(CTriangle, measuresAtItsVertices) {
    CoarseWorld world;
    const VCD a = world.put(2, 2, 2), b = world.put(4, 2, 2), c = world.put(2, 4, 2);
    const CTriangle* pCT = world.triangle(a, b, c);
    const CMesh* pMesh = &world.mesh;
    bool ok = false;
    EXPECT_EQ((pCT->getRealNNV(pMesh, ok) - Vector3(0.0, 0.0, 1.0)).length(), 0.0);
    EXPECT_TRUE(ok);
    EXPECT_NEAR(pCT->getRealPlane(pMesh, ok).signedDistance(Point3(9.0, 9.0, 5.5)), 3.0, 1e-12);
    EXPECT_NEAR(pCT->getArea(pMesh), 2.0, 1e-12);
    EXPECT_NEAR(pCT->getDevIfRepl(pMesh, 0, Point3(2.5, 2.5, 2.5 + std::sqrt(2.0))), 45.0, 1e-6);
    EXPECT_EQ(pCT->getDevIfRepl(pMesh, 1, *pMesh->getVtx(a)), 360.0);

    world.put(a, Point3(0, 0, 0));
    for (const auto& [pb, pc, largest, bFlat] :
         std::vector<std::tuple<Point3, Point3, int, bool>>{{{3, 4, 0}, {5, 0, 0}, 2, false},  // c0-c1 and c2-c0 equal
                                                            {{4, 0, 0}, {2, 5, 0}, 0, false},  // c1-c2 and c2-c0 equal
                                                            {{5, 0, 0}, {-1, 0, 0}, 0, true},
                                                            {{2, 0, 0}, {4, 0, 0}, 1, true},
                                                            {{4, 0, 0}, {4, 0, 0}, 2, true},
                                                            {{0, 0, 0}, {1, 0, 0}, 0, true}}) {
        world.put(b, pb), world.put(c, pc);
        EXPECT_EQ(pCT->getLargestEdgeICI(pMesh), largest) << pb << ", " << pc;
        EXPECT_EQ(pCT->isDegenerate(pMesh), bFlat) << pb << ", " << pc;
        EXPECT_TRUE(!bFlat || pCT->getDevIfRepl(pMesh, 0, Point3(0, 1, 1)) == (pb == pc ? 360.0 : -1.0));
    }
    EXPECT_EQ(pCT->getCentroid(pMesh, VT_COARSE),
              barycenter(pMesh->getMidPoint(a), pMesh->getMidPoint(b), pMesh->getMidPoint(c)));
    EXPECT_EQ(pCT->getCentroid(pMesh, VT_REAL), Point3(1.0 / 3.0, 0, 0));
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

TEST(CEdge, handsOutItsTrianglesByTheirNumber) {
    CoarseWorld world;
    const VCD a = world.put(2, 2, 2), b = world.put(3, 2, 2);
    CTriangle* pFirst = world.triangle(a, b, world.put(2, 3, 2));
    CEdge* pCE = pFirst->pCE01;
    for (unsigned num = 1; num < 4; ++num) {
        CTriangle *pSecond = num > 1 ? pCE->vCT[1] : nullptr, *t0, *t1;
        EXPECT_EQ(pCE->getTwoTriangles(t0, t1, true), num == 2);
        EXPECT_EQ(pCE->getTwoTriangles(t0, t1, false), num >= 2);
        EXPECT_EQ(std::pair(t0, t1), std::pair(pFirst, pSecond));
        EXPECT_EQ(pCE->getUniqueOtherTriangle(pFirst), num == 2 ? pSecond : nullptr);
        EXPECT_EQ(pCE->getTriangle(true, num == 1), pFirst);
        if (num > 1) expectFails("pRet==__null", [pCE] { pCE->getTriangle(false, true); });
        EXPECT_EQ(pCE->hasAdjT(cell(2, 4, 2), b, a), num > 1);
        world.triangle(b, a, world.put(2, 3 + num, 2));
    }
    while (pCE->getDegree() > 0)
        pCE->vCT[0]->kill(&world.mesh);
    expectFails("pRet!=__null", [pCE] { pCE->getTriangle(true, true); });
    EXPECT_EQ(pCE->getTriangle(false, true), nullptr);
    EXPECT_EQ(pCE->getCenter(&world.mesh), Point3(3.0, 2.5, 2.5));
    reportOf([&] { pCE->getOtherVCD(1); });
    reportOf([&] { pCE->getSource(); });
    pCE->setDirection(ED_V1_V0);
    EXPECT_EQ(std::pair(pCE->getSource(), pCE->getTarget()), std::pair(pCE->getV1(), pCE->getV0()));
    pCE->setDirection(ED_V0_V1);
    EXPECT_EQ(std::pair(pCE->getSource(), pCE->getTarget()), std::pair(pCE->getV0(), pCE->getV1()));
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
    std::vector<CTriangle*> vAdj;
    pCE->getAdjInPatch(patch(2), vAdj);
    EXPECT_EQ(vAdj, (std::vector{vCT[0], vCT[3]}));
    EXPECT_EQ(pCE->getNumPatchTriangles(patch(2)), 2);
    EXPECT_EQ(pCE->getAdjInPatch(vCT[3]), vCT[0]);
    EXPECT_NE(outputOf([&] { EXPECT_EQ(pCE->getAdjInPatch(vCT[1]), nullptr); }), "");
    for (const unsigned number : {1U, 2U, 3U})
        EXPECT_EQ(pCE->getUniquePatchTriangle(patch(number)), number == 1 ? vCT[1] : nullptr);
    std::vector<CPatch*> vPatches;
    pCE->getAdjPatches(vPatches);
    EXPECT_EQ(vPatches, (std::vector{patch(2), patch(1)}));
}

TEST(HashIndex, agreesWithAMapUnderGoodAndBadHashes) {
    const std::pair<const char*, std::uint64_t (*)(std::uint64_t)> aHash[] = {
        {"mixed", mixHash},
        {"blocks", [](std::uint64_t key) { return localHash(key >> 3, key); }},
        {"all equal", [](std::uint64_t) { return ~std::uint64_t{0}; }},  // starts at the last slot and goes round
        {"end of the table", [](std::uint64_t key) { return ~(mixHash(key) >> 5); }}};
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
