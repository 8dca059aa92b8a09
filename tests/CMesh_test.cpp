#include "CMesh.h"

#include "HashIndex.h"
#include "freeFunctions.h"
#include "support/coarse.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// Triangles made and killed, and the answers of the mesh against looks at all.
struct Changing {
    std::map<CCD, Bundle*> mBundle;
    CMesh mesh{nullptr, nullptr, mBundle};
    std::vector<CTriangle*> vAlive;

    void create(VCD a, VCD b, VCD c) { vAlive.push_back(mesh.createT(a, b, c, a, 27)); }
    void kill(std::size_t position) {
        vAlive[position]->kill(&mesh);
        vAlive[position] = vAlive.back();
        vAlive.pop_back();
    }
    void compareEdges() const {
        const auto vCE = listOf<CEdge*>([&](auto& v) { mesh.getCEdges(v); });  // in key order, as firstFault() sees
        for (const int deg : {1, 2, 3, -1, -5, -99}) {
            std::vector<CEdge*> vExpected;
            std::ranges::copy_if(vCE, std::back_inserter(vExpected), [deg](const CEdge* pCE) {
                const int degree = pCE->getDegree();
                return deg > 0 ? degree == deg : deg == -99 ? degree > 0 : degree > 2 || (deg == -5 && degree == 1);
            });
            EXPECT_EQ(edges(mesh, deg), vExpected) << "deg " << deg;
        }
    }
    void compareAt(VCD vcd, VCD other) const {
        std::vector<CTriangle*> vExpected;
        std::set<CEdge*> sEdge;
        for (CTriangle* pCT : incidentT(mesh, vcd)) {
            if (pCT->has(other)) vExpected.push_back(pCT);
            for (int i = 0; i < 3; ++i)
                if (pCT->getCE(i)->has(vcd)) sEdge.insert(pCT->getCE(i));
        }
        EXPECT_EQ(listOf<CTriangle*>([&](auto& v) { mesh.getAdjacentT(vcd, other, v); }), vExpected);
        EXPECT_TRUE(std::ranges::equal(listOf<CEdge*>([&](auto& v) { mesh.getIncidentCE(vcd, v); }), sEdge));
    }
};

}  // namespace

// ---- The mesh as a whole

TEST(CMesh, keepsItsListsWhateverIsMadeAndKilled) {
    // 5 cells: everything is a duplicate; 60: vertices with far more edges than a list takes; 2000: few triangles meet.
    for (const std::size_t numCells : {5U, 60U, 2000U})
        forSeeds(3, [numCells](unsigned seed) {
            Random random(seed);
            Changing changing;
            const auto any = [&] {
                const std::size_t i = pick(random, numCells);
                return seed % 2 == 0 ? VCD{i} : mixHash(i) >> 1;
            };
            for (int step = 1; step <= 2000; ++step) {
                const VCD a = any(), b = any(), c = any();
                // Phases of growth and of decay, so that most edges pass through degree 0.
                if (random.next() % 8 < (step / 500 % 2 == 0 ? 6 : 3) || changing.vAlive.empty()) {
                    if (a != b && b != c && a != c) changing.create(a, b, c);
                } else {
                    changing.kill(pick(random, changing.vAlive.size()));
                }
                if (step % 20 == 0 && a != b) changing.compareAt(a, b);
                if (step % 250 != 0) continue;
                ASSERT_EQ(firstFault(changing.mesh), "");
                changing.compareEdges();
            }
            EXPECT_EQ(numAlive(changing.mesh), changing.vAlive.size());
        });
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
    expectFails("q_it!=mCCDBundle.end()", [&] { mesh.getVtx(77); });
    reportOf([&] { pCT->pCE01->checkOut(pCT); });
    reportOf([&] { edges(mesh, -2); });
    EXPECT_EQ(mesh.getEdge(1, 2), nullptr);
    EXPECT_EQ(firstFault(mesh), "");
}

TEST(CMesh, aSelfContainedCopyOutlivesAllThatTheOtherRefersTo) {
    std::unique_ptr<CMesh> pCopy;
    std::vector<std::tuple<VCD, VCD, VCD, VCD, int>> vT;
    const auto all = [](const CTriangle* p) {
        return std::tuple(p->c0, p->c1, p->c2, p->vcdCube, static_cast<int>(p->cfg));
    };
    {
        Sheet sheet(3, 3);
        for (const CCD ccd : {sheet.at(1, 1), cell(7, 7, 7)})  // one in place of the sheet's
            sheet.mesh.addBundle(ccd, LARGEST, LARGEST, LARGEST);
        sheet.mesh.vAllCT[4]->kill(&sheet.mesh);
        std::ranges::transform(aliveT(sheet.mesh), std::back_inserter(vT), all);
        pCopy = std::make_unique<CMesh>(sheet.mesh, SELF_CONTAINED());
        EXPECT_EQ(pCopy->getSideLen(), sheet.mesh.getSideLen());
        for (auto& [ccd, pBundle] : sheet.mBundle)
            *pBundle->pVtx = Point3();
    }
    const Calc calc(0, 0, 0, 1024, 1024, 1024, 10);
    EXPECT_TRUE(std::ranges::equal(aliveT(*pCopy), vT, {}, all));
    for (const auto& [ccd, pBundle] : pCopy->mCCDBundle)
        EXPECT_TRUE(pBundle->ccd == ccd && calc.isInCell(pBundle->pVtx, ccd));
    EXPECT_EQ(std::pair(pCopy->vExtraBundles.size(), pCopy->sExtraVtx.size()), std::pair(std::size_t{2}, std::size_t{2}));
    EXPECT_EQ(pCopy->sExtraVtx.count(pCopy->getVtx(cell(17, 17, 16))), 1U) << "the table and the list know one bundle";
    EXPECT_EQ(firstFault(*pCopy), "");
}

TEST(CMesh, constOperationsAgreeOnSeveralThreads) {
    const auto ask = [](const CMesh& mesh) {
        return std::tuple(edges(mesh, -99), listOf<Point3*>([&](auto& v) { mesh.getPoints(v); }), mesh.getArea());
    };
    for (unsigned size = 1; size < 30; ++size) {
        Sheet sheet(size, size);  // edges to be sorted, vertices to be looked up: all at the first question
        for (const bool bMore : {false, true}) {
            if (bMore) sheet.withFin(0, 0);
            std::vector<decltype(ask(sheet.mesh))> vAnswer(4);
            onThreads(4, [&](std::size_t i) { vAnswer[i] = ask(sheet.mesh); });
            EXPECT_EQ(vAnswer, decltype(vAnswer)(4, ask(sheet.mesh)));
            EXPECT_EQ(std::get<0>(vAnswer[0]).size(), size * (3 * size + 2) + (bMore ? 2 : 0));
        }
    }
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
    for (const auto& [p, expected] : {std::pair(sheet.mesh.getAvgPoint(sheet.at(1, 0)), "degenerate points codes "),
                                      {Point3(0.0, std::nan(""), 0.0), "codes nan "}}) {
        sheet.put(sheet.at(0, 0), p);
        EXPECT_EQ(faults(sheet.mesh), expected);
    }
}

TEST(CTriangle, namesCornersAndEdgesByOneIndex) {
    std::array<VCD, 3> aCode{5, 6, 7};
    do {
        CoarseWorld world;
        const CTriangle& ct = *world.triangle(aCode[0], aCode[1], aCode[2]);
        for (std::size_t k = 0; k < 3; ++k) {
            const VCD own = aCode[k], next = aCode[(k + 1) % 3], last = aCode[(k + 2) % 3];
            const int i = static_cast<int>(k);
            VCD a, b, c, d;
            ct.getEdgeCCDs(i, a, b);
            ct.getOtherCCDs(own, c, d);
            EXPECT_EQ((std::array{a, b, c, d}), (std::array{next, last, next, last}));
            EXPECT_EQ(ct.getCE(i), world.mesh.getEdge(next, last));
            EXPECT_EQ((std::array{ct.getICI(own), ct.getICI(last, next)}), (std::array{i, i}));
            EXPECT_EQ(ct.getThirdCCD(next, last), own);
            EXPECT_TRUE(ct.getHEDirection2(own, next) == HE_SAME && ct.getHEDirection2(next, own) == HE_OPPOSITE);
            EXPECT_EQ(ct.getHEDirection2(own, 9), HE_NONE);
        }
    } while (std::next_permutation(aCode.begin(), aCode.end()));
    for (const auto& [a, b] : {std::pair<VCD, VCD>(1, 9), {2, 2}})
        reportOf([v = a, w = b] { CTriangle(1, 2, 3).getThirdCCD(v, w); });
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
    EXPECT_EQ(std::ranges::count_if(mesh.vAllCT, &CTriangle::hasBorder), 7);
    EXPECT_EQ(std::ranges::count_if(mesh.vAllCT, &CTriangle::hasOnlyHalfEdges), 1);
    CTriangle *pCT = mesh.vAllCT[0], *pNeig = mesh.vAllCT[1];
    EXPECT_FALSE(pCT->needFlip(pNeig));
    pCT->flipNNV();
    EXPECT_TRUE(pCT->needFlip(pNeig) && pNeig->needFlip(pCT));
}

TEST(CTriangle, measuresAtItsVertices) {
    CoarseWorld world;
    const VCD a = world.put(2, 2, 2), b = world.put(4, 2, 2), c = world.put(2, 4, 2);
    const CTriangle* pCT = world.triangle(a, b, c);
    const CMesh* pMesh = &world.mesh;
    bool ok = false;
    EXPECT_NEAR(pCT->getRealPlane(pMesh, ok).signedDistance(Point3(9.0, 9.0, 5.5)), 3.0, 1e-12);
    EXPECT_NEAR(pCT->getArea(pMesh), 2.0, 1e-12);
    EXPECT_NEAR(pCT->getDevIfRepl(pMesh, 0, Point3(2.5, 2.5, 2.5 + std::sqrt(2.0))), 45.0, 1e-6);
    EXPECT_EQ(pCT->getDevIfRepl(pMesh, 1, *pMesh->getVtx(a)), 360.0);
    EXPECT_TRUE(pCT->getLargestEdgeICI(pMesh) == 0 && !pCT->isDegenerate(pMesh));
    world.put(a, Point3(0, 0, 0)), world.put(b, Point3(2, 0, 0)), world.put(c, Point3(4, 0, 0));
    EXPECT_TRUE(pCT->getLargestEdgeICI(pMesh) == 1 && pCT->isDegenerate(pMesh));
    EXPECT_EQ(pCT->getDevIfRepl(pMesh, 0, Point3(0, 1, 1)), -1.0);
    EXPECT_EQ(pCT->getCentroid(pMesh, VT_REAL), Point3(2.0, 0, 0));
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
        if (num > 1) expectFails("pRet==__null", [pCE] { pCE->getTriangle(false, true); });
        EXPECT_EQ(pCE->hasAdjT(cell(2, 4, 2), b, a), num > 1);
        world.triangle(b, a, world.put(2, 3 + num, 2));
    }
    while (pCE->getDegree() > 0)
        pCE->vCT[0]->kill(&world.mesh);
    expectFails("pRet!=__null", [pCE] { pCE->getTriangle(true, true); });
    reportOf([&] { pCE->getOtherVCD(1); });
    reportOf([&] { pCE->getSource(); });
}

TEST(CEdge, measuresItsAngleOrSaysWhyNot) {
    Sheet sheet(1, 1);
    sheet.withFin(0, 0);
    const CEdge* pFlat = sheet.mesh.getEdge(sheet.at(0, 0), sheet.at(1, 1));
    const CEdge* pRight = sheet.mesh.getEdge(sheet.at(0, 0), sheet.at(1, 0));
    EXPECT_EQ(pFlat->getDihedralAngle(&sheet.calc), 180.0);
    EXPECT_NEAR(pRight->getDihedralAngle(&sheet.calc), 90.0, 1e-6);
    EXPECT_EQ(sheet.mesh.getEdge(sheet.at(1, 0), sheet.at(1, 1))->getDihedralAngle(&sheet.calc), 363.0);

    std::map<VCD, Point3> mPoints = sheet.places();
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
    EXPECT_EQ(listOf<CTriangle*>([&](auto& v) { pCE->getAdjInPatch(patch(2), v); }), (std::vector{vCT[0], vCT[3]}));
    EXPECT_EQ(pCE->getAdjInPatch(vCT[3]), vCT[0]);
    for (const unsigned number : {1U, 2U, 3U})
        EXPECT_EQ(pCE->getUniquePatchTriangle(patch(number)), number == 1 ? vCT[1] : nullptr);
}

TEST(HashIndex, agreesWithAMapUnderGoodAndBadHashes) {
    using Hash = std::uint64_t (*)(std::uint64_t);
    for (const Hash hash : {Hash(mixHash), Hash([](std::uint64_t key) { return localHash(key >> 3, key); }),
                            Hash([](std::uint64_t) { return ~std::uint64_t{0}; })}) {  // from the last slot round
        Random random(7);
        HashIndex index;
        std::vector<std::uint64_t> vKey;           // of element i
        std::map<std::uint64_t, unsigned> mEntry;  // key to element
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
    }
}
