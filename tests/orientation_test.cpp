#include <array>
#include <deque>

#include "CPatch.h"
#include "Inspector.h"
#include "Rotx.h"
#include "Top.h"
#include "support/coarse_soup.h"
#include "support/columns.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// What createPatchesOrient() makes of the triangles; deletes the patches.
struct Oriented {
    Oriented(Top& top, Triangles vT) { top.createPatchesOrient(vT, vPatches); }
    ~Oriented() {
        for (CPatch* pPatch : vPatches)
            delete pPatch;
    }
    std::vector<CPatch*> vPatches;
};

}  // namespace

TEST(Orientation, sheetsBetweenNonManifoldEdgesAgreeWithTheirFirstTriangle) {
    forSeeds(40, [](unsigned seed) {
        Columns world(seed, 2, {40, 50});
        const Triangles vT = aliveT(world.mesh);
        std::map<CTriangle*, VCD> mC0;
        for (CTriangle* pCT : vT)
            mC0[pCT] = pCT->c0;
        Top top(&world.mesh, &world.calc);
        const Oriented oriented(top, vT);
        EXPECT_TRUE(conflicts(world.mesh).empty());
        std::vector<Triangles> vMembers, vExpected;
        for (const CPatch* pPatch : oriented.vPatches) {
            EXPECT_EQ(pPatch->vMemberCT[0]->c0, mC0[pPatch->vMemberCT[0]]);
            vMembers.push_back(sorted(pPatch->vMemberCT));
        }
        for (const CPatch* pPatch : cut(world.mesh))
            vExpected.push_back(sorted(pPatch->vMemberCT));
        EXPECT_EQ(vMembers, vExpected);
        EXPECT_EQ(firstFault(world.mesh), "");
    });
}

// Where the fronts meet on a band with one side depends on every step of the order.
TEST(Orientation, goesBreadthFirstAndLeavesRaggedTrianglesForLast) {
    forSeeds(20, [](unsigned seed) {
        const Soup band = scrambled(ring(Ring::MOEBIUS, 9, 4), seed);
        CoarsePlaces world(band), plain(band);
        const auto neighbour = [](CTriangle* pCT, int i) { return edgeOpposite(*pCT, i)->getUniqueOtherTriangle(pCT); };
        std::set<CTriangle*> sRagged, sTaken{plain.mesh.vAllCT[0]};
        for (CTriangle* pCT : plain.mesh.vAllCT)
            for (int i = 0; i < 3; ++i)
                if (neighbour(pCT, i) == nullptr) sRagged.insert(pCT);
        ASSERT_LT(sRagged.size(), plain.mesh.vAllCT.size());
        std::deque<CTriangle*> front{plain.mesh.vAllCT[0]}, waiting;
        Triangles vWalk;
        while (!front.empty() || !waiting.empty()) {
            if (front.empty()) front.swap(waiting);
            CTriangle* pCT = front.front();
            front.pop_front();
            vWalk.push_back(pCT);
            for (int i = 0; i < 3; ++i) {
                CTriangle* pNext = neighbour(pCT, i);
                if (pNext == nullptr || !sTaken.insert(pNext).second) continue;
                if (pNext->needFlip(pCT)) pNext->flipNNV();
                (sRagged.count(pNext) != 0 ? waiting : front).push_back(pNext);
            }
        }
        Top top(&world.mesh, &world.calc);
        const Oriented oriented(top, aliveT(world.mesh));
        ASSERT_EQ(oriented.vPatches.size(), 1U);
        const auto cornersOf = [](const Triangles& vT) {
            std::vector<std::array<VCD, 3>> vCorners;
            for (const CTriangle* pCT : vT)
                vCorners.push_back({pCT->c0, pCT->c1, pCT->c2});
            return vCorners;
        };
        EXPECT_EQ(cornersOf(oriented.vPatches[0]->vMemberCT), cornersOf(vWalk));
    });
}

TEST(Orientation, aMoebiusBandKeepsOneConflictAtItsSharpestBend) {
    Soup band = ring(Ring::MOEBIUS, 40, 1);
    Point3& dent = band.vVtx[26];
    dent = dent + (Point3() - dent) * 0.1;
    CoarsePlaces world(band);
    Top top(&world.mesh, &world.calc);
    top.orient();
    EXPECT_EQ(conflicts(world.mesh).size(), 1U);
    std::set<CEdge*> sFences;
    expectText("Fences: 1\n", [&] { top.strategyMST(sFences); });
    EXPECT_EQ(sFences, conflicts(world.mesh));
    const auto turn = [&](CEdge* pCE) {
        bool bOK = false;
        const Vector3 n0 = pCE->vCT[0]->getRealNNV(&world.mesh, bOK), n1 = pCE->vCT[1]->getRealNNV(&world.mesh, bOK);
        return (pCE->vCT[0]->needFlip(pCE->vCT[1]) ? -1.0 : 1.0) * (n0 * n1);  // falls as the turn grows
    };
    EXPECT_EQ(*sFences.begin(), std::ranges::min(edges(world.mesh, 2), {}, turn));
}

TEST(Orientation, smallTurnsOrientASkinAcrossTouchingEdges) {
    forSeeds(40, [&](unsigned seed) {
        Columns world(seed, 1, {40});
        Top top(&world.mesh, &world.calc);
        std::set<CEdge*> sFences;
        const CoutSilence silence;
        top.strategyMST(sFences);
        EXPECT_TRUE(sFences.empty() && top.mmQueue.empty());
        const Triangles vSkin = world.skin();
        for (CTriangle* pCT : vSkin)
            ASSERT_EQ(world.isOutward(pCT), world.isOutward(vSkin[0]));
    });
}

TEST(Orientation, stepsEndAtBordersFlatTrianglesAndTies) {
    Sheet world(1, 1);
    Top top(&world.mesh, &world.calc);
    const Triangles vT = aliveT(world.mesh);
    CPatch patch(&world.mesh, &world.calc);
    patch.add(vT[0]);
    top.enqueue(vT[0], 0);
    EXPECT_TRUE(top.mmQueue.empty());
    world.put(world.at(0, 1), world.calc.getMidPoint(world.at(0, 0)));
    expectText("NO NNV1 (a)", [&] { top.enqueue(vT[0], 1); });
    world.triangle(world.at(0, 0), world.at(1, 1), world.at(0, 1));
    expectText("Rotx failed!", [&] { top.enqueue(vT[0], 1); });
    EXPECT_TRUE(top.mmQueue.empty());
}

TEST(Orientation, theOuterSkinGrowsAroundInnerWalls) {
    forSeeds(60, [&](unsigned seed) {
        Columns world(seed, 3, {40});
        Top top(&world.mesh, &world.calc);
        const Oriented oriented(top, aliveT(world.mesh));
        std::vector<CPatch*> vPatches = oriented.vPatches;
        const CoutSilence silence;
        CPatch* pSkin = top.patchGrowing(vPatches);
        ASSERT_NE(pSkin, nullptr);
        EXPECT_EQ(sorted(pSkin->vMemberCT), world.skin());
        for (CTriangle* pCT : world.skin())
            ASSERT_TRUE(world.isOutward(pCT));
        EXPECT_TRUE(pSkin->vPatchBoundaryCE.empty());
    });
}

TEST(Rotx, agreesWithASortByAngle) {
    Random random(7);
    const auto stepFrom = [&](Place p) {
        for (int& coordinate : p)
            coordinate += static_cast<int>(pick(random, 3)) - 1;
        return p;
    };
    const auto vectorTo = [](const Place& p, const Place& q) { return Vector3(q[0] - p[0], q[1] - p[1], q[2] - p[2]); };
    for (int turn = 0; turn < 3000; ++turn) {
        CoarseWorld world;
        const Place a{30 + static_cast<int>(pick(random, 9)), 50, 63 + static_cast<int>(pick(random, 2))};
        const Place b = stepFrom(a);
        std::map<CTriangle*, Place> mThird;
        for (int i = 0; i < 7; ++i) {
            const Place c = stepFrom(a);
            const Vector3 d = vectorTo(b, c);
            if (a == b || c == a || c == b || d.getMaxAbsComponent() > 1.0) continue;
            CTriangle* pCT = world.triangle(cellAt(a), cellAt(b), cellAt(c));
            mThird[pCT] = c;
            if (random.next() % 2 == 0) pCT->flipNNV();
        }
        if (mThird.empty()) continue;
        CTriangle* pRefCT = world.mesh.vAllCT[pick(random, mThird.size())];
        const Vector3 u = pRefCT->getHEDirection2(cellAt(a), cellAt(b)) == HE_SAME ? vectorTo(a, b) : vectorTo(b, a);
        const Vector3 ref = crossProduct(u, vectorTo(a, mThird[pRefCT]));
        std::vector<std::pair<double, CTriangle*>> vSlow;
        for (const auto& [pCT, c] : mThird) {
            const Vector3 n = crossProduct(u, vectorTo(a, c));
            const double angle = std::atan2(crossProduct(ref, n) * u, (ref * n) * u.length());
            vSlow.emplace_back(angle < 0.0 ? angle + 6.283185307179586 : angle, pCT);
        }
        std::sort(vSlow.begin(), vSlow.end());
        const bool bTie =
            std::ranges::adjacent_find(vSlow, [](auto& p, auto& q) { return q.first - p.first < 1e-9; }) != vSlow.end();

        Rotx rotx(&world.mesh, true);
        CEdge* pCE = world.mesh.getEdge(cellAt(a), cellAt(b));
        const std::string text = outputOf([&] { ASSERT_EQ(rotx.sortStar(pRefCT, pCE), !bTie); });
        ASSERT_EQ(text, bTie ? "ROTX-BUG: \n" : "");
        ASSERT_EQ(pCE->vCT[0], pRefCT);
        ASSERT_EQ(firstFault(world.mesh), "");
        for (std::size_t i = 0; i < vSlow.size() && !bTie; ++i)
            ASSERT_EQ(pCE->vCT[i], vSlow[i].second);
    }
}

namespace {

/// All alive triangles of a mesh as a patch, and an inspector.
struct Inspection {
    CPatch patch;
    std::vector<CPatch*> vPatches{&patch};
    Inspector inspector;

    explicit Inspection(CoarseWorld& world) : patch(&world.mesh, &world.calc), inspector(&world.mesh, vPatches) {
        for (CTriangle* pCT : aliveT(world.mesh))
            patch.add(pCT);
    }
};

/// A triangle and three flaps, which run against it, turned down at its sides by these degrees.
struct Flaps : CoarseWorld {
    explicit Flaps(const std::array<double, 3>& degrees) {
        std::array<Point3, 3> p;
        for (std::size_t i = 0; i < 3; ++i) {
            const double a = 2.0943951023931953 * static_cast<double>(i);
            p[i] = {50.0 + std::cos(a), 50.0 + std::sin(a), 50.0};
            put(cell(static_cast<unsigned>(i), 0, 0), p[i]);
        }
        triangle(cell(0, 0, 0), cell(1, 0, 0), cell(2, 0, 0));
        for (unsigned i = 0; i < 3; ++i) {
            const double a = 2.0943951023931953 * (i + 0.5), turn = degrees[i] / 57.29577951308232;
            const double r = 0.5 + std::cos(turn);
            put(cell(i, 1, 0), {50.0 + r * std::cos(a), 50.0 + r * std::sin(a), 50.0 - std::sin(turn)});
            triangle(cell(i, 0, 0), cell((i + 1) % 3, 0, 0), cell(i, 1, 0));
        }
    }
};

}  // namespace

TEST(Inspector, cutsABentSheetWhereItFacesItself) {
    constexpr unsigned SIZE = 6;
    CoarseWorld world;
    Triangles vGood, vBad;
    const auto squareAt = [&](Triangles& vT, VCD a, VCD b, VCD c, VCD d) {
        vT.insert(vT.end(), {world.triangle(a, b, c), world.triangle(a, c, d)});
    };
    for (unsigned y = 20; y < 20 + SIZE; ++y)
        for (unsigned x = 20; x < 20 + SIZE; ++x) {
            for (const unsigned z : {20U, 21U})
                squareAt(z == 20 ? vGood : vBad, world.put(x, y, z), world.put(x + 1, y, z), world.put(x + 1, y + 1, z),
                         world.put(x, y + 1, z));
            if (x + 1 < 20 + SIZE) continue;
            squareAt(vGood, cell(x + 1, y, 20), cell(x + 1, y, 21), cell(x + 1, y + 1, 21), cell(x + 1, y + 1, 20));
        }
    Inspection whole(world);
    whole.inspector.keepGoodPart(&whole.patch, vGood[0]);
    EXPECT_EQ(whole.patch.getSize(), vGood.size() + vBad.size()) << "a patch that isn't bad stays";

    vBad.push_back(world.triangle(cell(22, 22, 20), cell(23, 22, 20), world.put(22, 22, 19)));
    Inspection it(world);
    EXPECT_TRUE(it.inspector.isBad(&it.patch));
    const std::string text = outputOf([&] { it.inspector.keepGoodPart(&it.patch, vGood[0]); });
    EXPECT_EQ(text, "split: REMOVING 73 triangles from pTestPatch\n");
    EXPECT_EQ(it.patch.vMemberCT, sorted(vGood));
    EXPECT_EQ(it.inspector.vRemovedT, sorted(vBad));
}

TEST(Inspector, givesBackWhatLiesSmoothly) {
    const double aCases[][4] = {{0, 0, 0, 1},   {119, 119, 119, 1}, {121, 121, 120, 0}, {0, 159, 0, 1},
                                {0, 161, 0, 0}, {159, 159, 41, 1},  {159, 159, 43, 0}};
    for (const auto& [a, b, c, back] : aCases) {
        Flaps world({a, b, c});
        Inspection it(world);
        Triangles vT{it.patch.vMemberCT[0]};
        it.patch.vMemberCT.erase(it.patch.vMemberCT.begin());
        vT[0]->setPatch(nullptr);
        it.inspector.giveBack(vT, &it.patch);
        EXPECT_EQ(vT.empty(), back == 1.0) << a << " " << b << " " << c;
        EXPECT_EQ(it.patch.getSize(), back == 1.0 ? 4U : 3U);
    }
}
