#include "CPatch.h"

#include "CMesh.h"
#include "support/coarse.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Triangles = std::vector<CTriangle*>;
using Edges = std::vector<CEdge*>;

/// The result of a cut, with names.
struct Cut {
    std::vector<CPatch*> vPatches;
    std::map<VCD, CPatch*> mVCD2Patch;
    Edges vMECE;

    explicit Cut(CMesh& mesh, std::set<CEdge*>* pFences = nullptr) {
        mesh.createPatches(pFences, vPatches, mVCD2Patch, vMECE);
    }
    CPatch* largest() const {
        return *std::max_element(vPatches.begin(), vPatches.end(),
                                 [](const CPatch* p, const CPatch* q) { return p->getSize() < q->getSize(); });
    }
};

/// A sheet with triangles across it and holes: borders, MEs, duplicates and dead triangles, in a random order.
struct Wreck : Sheet {
    std::mt19937 random;
    explicit Wreck(unsigned seed) : Sheet(6, 6), random(seed) {
        std::vector<VCD> vCorner;
        for (const auto& [vcd, pBundle] : mBundle)
            vCorner.push_back(vcd);
        for (int i = 0; i < 12; ++i) {
            const VCD a = vCorner[random() % 49], b = vCorner[random() % 49], c = vCorner[random() % 49];
            if (a != b && b != c && a != c) triangle(a, b, c);
        }
        std::shuffle(mesh.vAllCT.begin(), mesh.vAllCT.end(), random);
        for (int i = 0; i < 10; ++i)
            if (CTriangle* pCT = any(); pCT->isAlive()) pCT->kill(&mesh);
    }
    CTriangle* any() { return mesh.vAllCT[random() % mesh.vAllCT.size()]; }
};

std::set<CEdge*> someEdges(const CMesh& mesh, std::mt19937& random) {
    const Edges vAll = listOf<CEdge*>([&](auto& v) { mesh.getCEdges(v); });
    std::set<CEdge*> sSome;
    std::sample(vAll.begin(), vAll.end(), std::inserter(sSome, sSome.end()), vAll.size() / 3, random);
    return sSome;
}

/// The components of the alive triangles of a list over the edges that isCrossed selects: any two triangles on such an edge
/// merge theirs.
std::vector<Triangles> slowComponents(const Triangles& vT, const auto& isCrossed) {
    Triangles vCT;
    for (CTriangle* pCT : vT)
        if (pCT->isAlive() && std::count(vCT.begin(), vCT.end(), pCT) == 0) vCT.push_back(pCT);
    const auto vLabel = labels(vCT.size(), [&](std::size_t i, std::size_t j) {
        const auto edgesOf = [&](std::size_t k) { return std::set{vCT[k]->pCE01, vCT[k]->pCE12, vCT[k]->pCE02}; };
        return std::ranges::any_of(edgesOf(i), [&](CEdge* pCE) { return edgesOf(j).count(pCE) != 0 && isCrossed(pCE); });
    });
    std::map<std::size_t, Triangles> mComponent;
    for (std::size_t i = 0; i < vCT.size(); ++i)
        mComponent[vLabel[i]].push_back(vCT[i]);
    std::vector<Triangles> vOut;
    for (const auto& [label, vComponent] : mComponent)
        vOut.push_back(sorted(vComponent));
    return vOut;
}

std::vector<Triangles> membersOf(const std::vector<CPatch*>& vPatches) {
    std::vector<Triangles> vOut;
    for (CPatch* pPatch : vPatches)
        vOut.push_back(sorted(pPatch->getTriangleRef()));
    return vOut;
}

/// How many alive triangles of the list stand on each edge.
std::map<CEdge*, int> countEdges(const Triangles& vCT) {
    std::map<CEdge*, int> mCount;
    for (CTriangle* pCT : vCT)
        for (int i = 0; pCT->isAlive() && i < 3; ++i)
            ++mCount[pCT->getCE(i)];
    return mCount;
}

Edges edgesWhere(const std::map<CEdge*, int>& mCount, const auto& isWanted) {
    Edges vOut;
    for (const auto& [pCE, num] : mCount)
        if (isWanted(pCE, num)) vOut.push_back(pCE);
    return vOut;
}

TEST(createPatches, agreesWithSlowComponentsOnWrecks) {
    forSeeds(40, [](unsigned seed) {
        Wreck w(seed);
        std::set<CEdge*> sFences = someEdges(w.mesh, w.random);
        for (std::set<CEdge*>* pFences : {static_cast<std::set<CEdge*>*>(nullptr), &sFences}) {
            const Cut cut(w.mesh, pFences);
            const auto isCrossed = [&](CEdge* pCE) {
                return pCE->getDegree() == 2 && (pFences == nullptr || pFences->count(pCE) == 0);
            };
            EXPECT_EQ(membersOf(cut.vPatches), slowComponents(w.mesh.vAllCT, isCrossed));
            EXPECT_EQ(cut.vPatches, w.mesh.vPatches);
            EXPECT_TRUE(std::is_sorted(cut.vPatches.begin(), cut.vPatches.end(), CPatchOrder()));
            EXPECT_EQ(cut.vMECE, edgesWhere(countEdges(w.mesh.vAllCT), [](CEdge*, int num) { return num > 2; }));

            std::map<VCD, CPatch*> mLast;
            for (CPatch* pPatch : cut.vPatches)
                for (CTriangle* pCT : pPatch->getTriangleRef()) {
                    EXPECT_EQ(pCT->getPatch(), pPatch);
                    for (int i = 0; i < 3; ++i)
                        if (pCT->getCE(i)->getDegree() > 2) mLast[pCT->getCorner(i)] = pPatch;
                }
            EXPECT_EQ(cut.mVCD2Patch, mLast);
        }
        w.mesh.createCCPatches();
        EXPECT_EQ(membersOf(w.mesh.vPatches), slowComponents(w.mesh.vAllCT, [](CEdge*) { return true; }));
    });
}

TEST(createPatches, noTriangleKnowsAPatchThatIsGone) {
    Sheet sheet(3, 3);
    sheet.withFin(1, 1);
    CPatch* pLargest = Cut(sheet.mesh).largest();
    CTriangle* pFin = sheet.mesh.vAllCT.back();
    CPatch(&sheet.mesh, &sheet.calc).add(pFin);
    EXPECT_EQ(pFin->getPatch(), nullptr);
    pLargest->killPatchAndMembers();
    expectFails("isAlive()", [&] { pLargest->setOuterBoundary(); });
    EXPECT_EQ(sheet.mesh.vAllCT.front()->getPatch(), nullptr);
    sheet.mesh.createCCPatches();  // address sanitizer: what the dead point to
    EXPECT_EQ(membersOf(sheet.mesh.vPatches), std::vector<Triangles>{{pFin}});
}

TEST(createCCPatches, staysLinearAtAnEdgeOfManyTriangles) {
    CoarseWorld world;
    const VCD a = cell(5, 5, 5), b = cell(5, 5, 6);
    for (unsigned i = 0; i < 300000; ++i)  // each asked for all others: 9e10 looks
        world.mesh.createT(a, b, cell(10 + i % 1000, 10 + i / 1000, 7), 0, 0);
    world.mesh.createCCPatches();
    ASSERT_EQ(world.mesh.vPatches.size(), 1U);
    EXPECT_EQ(world.mesh.vPatches[0]->getSize(), 300000U);
}

TEST(CPatch, listsAgreeWithCountsOnWrecks) {
    forSeeds(40, [](unsigned seed) {
        Wreck w(seed);
        for (CPatch* pPatch : Cut(w.mesh).vPatches) {
            for (std::size_t i = 0; i < pPatch->getSize(); i += 9)
                pPatch->vMemberCT[i]->kill(&w.mesh);  // dead members stay in the list; their edges don't count
            const std::map<CEdge*, int> mCount = countEdges(pPatch->vMemberCT);
            const auto expect = [&](const Edges& vFound, const auto& isWanted) {
                EXPECT_EQ(vFound, edgesWhere(mCount, isWanted));
            };
            const auto list = [pPatch](auto query, auto... args) {
                return listOf<CEdge*>([&](auto& v) { (pPatch->*query)(args..., v); });
            };
            pPatch->setOuterBoundary();
            expect(pPatch->vPatchBoundaryCE, [](CEdge*, int num) { return num == 1; });
            pPatch->setDegNot2CE();
            expect(pPatch->vDegNot2CE, [](CEdge* pCE, int) { return pCE->getDegree() != 2; });
            expect(list(&CPatch::getAllCE), [](CEdge*, int) { return true; });
            for (const int deg : {1, 2, 3, -1})
                expect(list(&CPatch::getGlobalDegNEdges, deg),
                       [deg](CEdge* pCE, int) { return deg > 0 ? pCE->getDegree() == deg : pCE->getDegree() > 2; });
            for (const int deg : {1, 2, 3, -99})
                expect(list(&CPatch::getDegNWithRespectToOwn, deg),
                       [deg](CEdge*, int num) { return deg > 0 ? num == deg : num > 2; });
            for (const int deg : {1, -3}) {
                Edges vOut{nullptr};
                getEdgesWithDegree(deg, pPatch->vMemberCT, vOut);
                expect(vOut, [deg](CEdge*, int num) { return deg > 0 ? num == deg : num >= -deg; });
            }
            const auto vVCD = listOf<VCD>([&](auto& v) { pPatch->getAllVCD(v); });
            std::set<VCD> sRim{cell(900, 0, 0)};
            for (const CEdge* pCE : pPatch->vPatchBoundaryCE)
                sRim.insert({pCE->v0, pCE->v1});
            pPatch->setNumInnerVtx();
            EXPECT_EQ(static_cast<std::size_t>(pPatch->getNumInnerVtx()) + sRim.size(),
                      std::set(vVCD.begin(), vVCD.end()).size() + 1);
            EXPECT_EQ(pPatch->countFeatureCCD(sRim), sRim.size() - 1);
        }
    });
}

TEST(CPatch, assimilatesPieceByPieceToTheRimOfTheWhole) {
    forSeeds(20, [](unsigned seed) {
        Sheet sheet(8, 8);
        std::mt19937 random(seed);
        std::set<CEdge*> sFences = someEdges(sheet.mesh, random);
        Cut cut(sheet.mesh, &sFences);
        for (CPatch* pPatch : cut.vPatches)
            pPatch->setOuterBoundary();
        std::shuffle(cut.vPatches.begin(), cut.vPatches.end(), random);
        CPatch* pWhole = cut.vPatches[0];
        for (std::size_t i = 1; i < cut.vPatches.size(); ++i) {
            pWhole->assimilate(cut.vPatches[i], true);
            const Edges vJoined = pWhole->vPatchBoundaryCE;
            pWhole->setOuterBoundary();
            ASSERT_EQ(vJoined, pWhole->vPatchBoundaryCE) << "piece " << i;
        }
        EXPECT_EQ(pWhole->getSize(), 128U);
        for (const CTriangle* pCT : sheet.mesh.vAllCT)
            EXPECT_TRUE(pCT->isAlive() && pCT->getPatch() == pWhole);
    });
}

TEST(CPatch, closedSurfacesComeOutFacingOutward) {
    for (unsigned flips = 0; flips < 16; ++flips) {
        SCOPED_TRACE(flips);
        CoarseWorld world;
        CMesh& mesh = world.mesh;
        const VCD a = world.put(0, 0, 0), b = world.put(1, 1, 0), c = world.put(1, 0, 1), d = world.put(0, 1, 1);
        world.triangle(a, b, c), world.triangle(a, d, b), world.triangle(a, c, d), world.triangle(b, d, c);
        for (unsigned i = 0; i < 4; ++i)
            if (flips >> i & 1U) mesh.vAllCT[i]->flipNNV();
        CPatch part(&mesh, &world.calc);
        for (const std::size_t i : {0U, 0U, 0U, 1U})  // none has a border edge
            part.add(mesh.vAllCT[i]);
        EXPECT_FALSE(part.isClosed());
        CPatch* pPatch = Cut(mesh).largest();
        for (int round = 0; round < 2; ++round) {
            EXPECT_TRUE(pPatch->isClosed());
            EXPECT_FALSE(pPatch->splitClosedPatchKill(false));  // orients, but has no ME to start from
            EXPECT_TRUE(std::ranges::none_of(mesh.vAllCT, &CTriangle::bVisited));
            EXPECT_NEAR(pPatch->computeOrientedVolume(), 1.0 / 3.0, 1e-12);
            pPatch->flipPatch();
        }
        EXPECT_NEAR(pPatch->getArea(), 2.0 * std::sqrt(3.0), 1e-12);
    }
}

struct PillowShape {
    unsigned numX, numY;
    int splitUpper, splitLower;  ///< triangles cut in three: two triangles more each
    int pinched;                 ///< bit 0: the upper sheet, bit 1: the lower one
    double scale = 1.0;          ///< of the vertices, not of the cells
};

/// Two sheets over the same squares that share their rim: 4 * numX * numY triangles, flat and lightly crumpled. Flanges on
/// all of the rim but one edge make MEs of it; only that edge keeps the sheets in one patch. A pinched sheet touches itself
/// in an edge, on which a fin stands.
struct Pillow : CoarseWorld {
    explicit Pillow(const PillowShape& shape_) : shape(shape_) {
        for (const bool bUpper : {true, false})
            for (unsigned x = 0; x < shape.numX; ++x)
                for (unsigned y = 0; y < shape.numY; ++y)
                    square(x, y, bUpper);
        for (int i = 0; i < shape.splitUpper; ++i)
            split(vUpper);
        for (int i = 0; i < shape.splitLower; ++i)
            split(vLower);
        const Edges vCE = listOf<CEdge*>([this](auto& v) { mesh.getCEdges(v); });
        bool bBeforeFirst = true;
        for (const CEdge* pCE : vCE) {
            const bool bRim = sRim.count(pCE->v0) != 0 && sRim.count(pCE->v1) != 0;
            if (pCE->getDegree() == 4 || (bRim && !std::exchange(bBeforeFirst, false)))
                triangle(pCE->v0, pCE->v1, put(100, static_cast<unsigned>(mesh.vAllCT.size()), 5));
        }
    }

    VCD at(unsigned x, unsigned y, bool bUpper) {
        const bool bRim = x == 0 || y == 0 || x == shape.numX || y == shape.numY;
        const bool bPinch = (shape.pinched & (bUpper ? 1 : 2)) != 0 && (x == 2 || x == 5) && (y == 1 || y == 2);
        const VCD vcd = cell(16 + (bPinch ? 2 : x), 16 + y, bUpper && !bRim ? 17 : 16);
        const auto crumpled = [this](double d) { return shape.scale * (16.0 + d + jitter(random)); };
        if (bRim) sRim.insert(vcd);
        const double z = bRim ? 0.0 : bUpper ? 0.15 : -0.15;
        return put(vcd, Point3(crumpled(bPinch ? 3.5 : x), crumpled(y), crumpled(z)), false);
    }
    void square(unsigned x, unsigned y, bool bUpper) {
        VCD aCorner[4] = {at(x, y, bUpper), at(x + 1, y, bUpper), at(x + 1, y + 1, bUpper), at(x, y + 1, bUpper)};
        // A diagonal from rim to rim across a corner would belong to both sheets.
        if ((2 * x < shape.numX) != (2 * y < shape.numY)) std::rotate(aCorner, aCorner + 1, aCorner + 4);
        const auto [a, b, c, d] = aCorner;
        for (const auto& [u, v] : {std::pair{b, c}, std::pair{c, d}})
            (bUpper ? vUpper : vLower).push_back(bUpper ? triangle(a, u, v) : triangle(u, a, v));
    }
    /// Cuts the first triangle of a sheet that is whole.
    void split(Triangles& vCT) {
        CTriangle* pCT = vCT.front();
        vCT.erase(vCT.begin());
        pCT->kill(&mesh);
        const Point3 centre = pCT->getRealBaryc(&mesh);
        const VCD e = put(cell(100, static_cast<unsigned>(mesh.vAllCT.size()), 16), centre + Vector3(0, 0, 1e-3));
        for (int i = 0; i < 3; ++i)
            vCT.push_back(triangle(pCT->getCorner(i), pCT->getCorner((i + 1) % 3), e));
    }
    CPatch* patch() { return Cut(mesh).largest(); }

    PillowShape shape;
    std::set<VCD> sRim;
    std::mt19937 random;
    std::uniform_real_distribution<> jitter{0.0, 0.01};
    Triangles vUpper, vLower;
};

TEST(splitClosedPatchKill, killsTheSmallerSideOrSparesTheOneThatOthersHangOn) {
    // Squares, triangles cut in the upper and the lower sheet, which are pinched (1: upper, 2: lower), thickness as a mean
    // in cells, careful, what stays. Limits: 18, 20, 98, 100 triangles.
    const double aCases[][9] = {
        {2, 2, 0, 1, 0, 5.0, 1, 0, 1},   {2, 2, 0, 2, 0, 1.01, 1, 1, 1}, {2, 2, 0, 2, 0, 0.99, 1, 0, 1},
        {2, 2, 2, 0, 0, 0.99, 1, 1, 0},  {4, 6, 0, 1, 0, 0.99, 1, 0, 1}, {5, 5, 0, 0, 0, 0.99, 1, 1, 1},
        {5, 5, 0, 0, 0, 0.41, 1, 1, 1},  {5, 5, 0, 0, 0, 0.39, 1, 1, 0},  // goes: second on the first ME
        {40, 30, 1, 0, 0, 0.2, 1, 1, 0}, {8, 5, 0, 1, 1, 0.3, 1, 1, 0},  {8, 5, 1, 0, 2, 0.3, 1, 0, 1},
        {8, 5, 1, 0, 3, 0.3, 1, 1, 1},   {8, 5, 1, 0, 3, 0.3, 0, 1, 0},  {8, 5, 0, 1, 3, 0.3, 0, 0, 1}};
    for (const auto& [x, y, up, low, pinched, thickness, careful, upper, lower] : aCases) {
        PillowShape shape{static_cast<unsigned>(x), static_cast<unsigned>(y), static_cast<int>(up), static_cast<int>(low),
                          static_cast<int>(pinched)};
        const bool bCareful = careful == 1, bUpperStays = upper == 1, bLowerStays = lower == 1;
        SCOPED_TRACE(::testing::PrintToString(shape.numX) + " wide, thickness " + std::to_string(thickness));
        Pillow unscaled(shape);
        CPatch* pUnscaled = unscaled.patch();
        pUnscaled->intraOrientation();
        shape.scale = thickness * pUnscaled->getArea() / 2.0 / pUnscaled->computeOrientedVolume();
        Pillow pillow(shape);
        CPatch* pPatch = pillow.patch();
        EXPECT_EQ(pPatch->getSize(), pillow.vUpper.size() + pillow.vLower.size());
        for (std::size_t i = 0; i < pPatch->getSize(); i += 3)
            pPatch->vMemberCT[i]->flipNNV();
        EXPECT_EQ(pPatch->splitClosedPatchKill(bCareful), !bUpperStays || !bLowerStays);
        for (const auto& [pSide, bStays] : {std::pair{&pillow.vUpper, bUpperStays}, std::pair{&pillow.vLower, bLowerStays}})
            for (const CTriangle* pCT : *pSide)
                EXPECT_EQ(pCT->isAlive(), bStays);
    }
}

/// A crumpled sheet, so that edges have all three lengths, with two walls on it.
struct Crumpled : Sheet {
    explicit Crumpled(unsigned seed) : Sheet(12, 9) {
        std::mt19937 random(seed);
        std::uniform_real_distribution<> spread(0.0, 2.5);
        for (auto& [vcd, place] : mPoints = places())
            place = Point3(place.x(), place.y(), spread(random));
        for (const unsigned x : {2U, 3U, 4U})
            withFin(x, 3).withFin(x + 6, 6);
        pPatch = Cut(mesh).largest();
    }
    double weight(const CEdge& ce) const {
        const double angle = ce.getDihedralAngle(mPoints);
        return angle < 50.0 ? 0.3 : angle > 95.0 ? 1.5 : 1.0;
    }
    std::map<VCD, Point3> mPoints;
    CPatch* pPatch;
};

TEST(findPartitioningPath, joinsTheOpenEndsInPairsByShortWaysRoundTheWalls) {
    double total = 0.0;
    forSeeds(20, [&total](unsigned seed) {
        Crumpled sheet(seed);
        Edges vPath;
        sheet.pPatch->findPartitioningPath(vPath, sheet.mPoints);
        std::map<VCD, int> mNumEnds;
        for (const CEdge* pCE : vPath) {
            ++mNumEnds[pCE->v0], ++mNumEnds[pCE->v1];
            total += sheet.weight(*pCE);
        }
        std::set<VCD> sOpen;
        for (const auto& [vcd, num] : mNumEnds)
            if (num % 2 == 1) sOpen.insert(vcd);
        const std::set<VCD> sExpected{sheet.at(2, 3), sheet.at(5, 3), sheet.at(8, 6), sheet.at(11, 6)};
        EXPECT_EQ(sOpen, sExpected);
    });
    EXPECT_NEAR(total, 221.1, 1e-9) << "the shortest, as they were";
}

TEST(setPartnerCertainty, countsPartnersOneCellAway) {
    CoarseWorld world;
    for (const auto& [x, z] : {std::pair{17U, 17U}, {17U, 16U}, {13U, 19U}})  // three sheets on one rim
        for (unsigned y = 0; y < 501; ++y) {
            const VCD a = world.put(16, y, 16), c = world.put(x, y + 1, z);
            world.triangle(a, world.put(x, y, z), c);
            world.triangle(a, c, world.put(16, y + 1, 16));
        }
    const Cut cut(world.mesh);
    CPatch* pUpper = cut.vPatches[0];
    pUpper->setDegNot2CE();
    for (const double before : {0.0, 0.1, 0.2}) {  // a low result on a long list stands
        pUpper->partnerCertainty = before;
        pUpper->setPartnerCertainty(cut.mVCD2Patch);
        EXPECT_EQ(pUpper->getPartnerCertainty(), before == 0.1 ? before : 500.0 / 501.0);
    }
    EXPECT_EQ(pUpper->sPartnerPatches.size(), 2U);
}

}  // namespace
