// Flips of the fine mesh: what one gains against the energy of the whole surface before and after, which ones a search
// finds, what the loops do to noisy surfaces; caps and collapses of single edges.
#include <cfloat>

#include "Progress.h"
#include "REdgeEnergy.h"
#include "RTop.h"
#include "support/fine.h"
#include "support/plain_energy.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

constexpr double IMPOSSIBLE = REdgeEnergy::IMPOSSIBLE;
using Candidates = std::vector<RMesh::FlipCandidate>;

/// The places of the corners of all alive triangles.
std::vector<Places> placesOf(const RMesh& mesh) {
    std::vector<Places> v;
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->bAlive) v.push_back({*pRT->aCorners[0], *pRT->aCorners[1], *pRT->aCorners[2]});
    return v;
}

Candidates candidatesOf(RMesh& mesh, double temperature) {
    const OpenRun run;
    Candidates v;
    mesh.getEdgeFlipCandidates_MT(mesh.getREdgesRef(), 0.005, temperature, v);
    return v;
}

}  // namespace

// A cap is a new angle above 130 degrees and above the old ones; it is charged once for a clear gain, else eleven times.
TEST(REdgeEnergy, isWhatTheWholeSurfaceLosesLessTheChargeForCaps) {
    std::map<double, int> mCount;
    forSeeds(6, [&](unsigned seed) {
        FineMesh mesh(withNoise(torus(12, 7), 0.2 + 0.1 * seed, seed));
        for (int i = 0; i < 4; ++i)
            mesh.kill(11 * i);  // some borders
        mesh.tri(60)->flipNNV();
        const auto vTriangle = placesOf(*mesh);
        for (REdge* pRE : edges(*mesh, -99)) {
            const auto flip = plainFlip(vTriangle, *pRE->pVtx0, *pRE->pVtx1, 0.335);
            const bool bCap = flip && flip->newAngle > 130.0 && flip->newAngle > flip->oldAngle;
            const double charge = !bCap                    ? 0.0
                                  : flip->newAngle > 160.0 ? 1.0
                                                           : 0.1,
                         gain = flip ? flip->drop - charge : IMPOSSIBLE;
            const double expected = gain < 0.1 ? gain - 10.0 * charge : gain;
            REdgeEnergy ee(&*mesh, nullptr);
            ee.pRE = pRE;
            EXPECT_TRUE(ee.computeReadOnly());
            EXPECT_NEAR(ee.improvement, expected, 1e-8);
            ++mCount[flip ? (gain < 0.1 ? -charge : charge) : IMPOSSIBLE];
        }
    });
    for (const double kind : {IMPOSSIBLE, 0.0, 0.1, 1.0, -0.1, -1.0})
        EXPECT_GT(mCount[kind], 0) << kind;
}

TEST(REdgeEnergy, knowsFlatPairs) {
    for (const auto& [height, expected] : {std::pair(1.0, 0.0), {0.4, -1.1}, {0.125, -11.0}, {-0.4, IMPOSSIBLE}}) {
        const FineMesh mesh(kites(1, height));
        EXPECT_NEAR(REdgeEnergy(&*mesh, mesh.edge(0, 1)).improvement, expected, 1e-14) << height;
    }
    FineMesh three(kites(1, 1.0)), closed(tetrahedron());
    three.createT(0, 1, 3);
    EXPECT_EQ(REdgeEnergy(&*three, three.edge(0, 1)).improvement, IMPOSSIBLE);
    EXPECT_EQ(REdgeEnergy(&*closed, closed.edge(0, 1)).improvement, IMPOSSIBLE);
    const Point3 a(0, 0, 0), b(4, 0, 0), c(0, 3, 0);
    const REdgeEnergy ee(&*closed, nullptr);
    EXPECT_DOUBLE_EQ(ee.getMinCosPhi(&a, &b, &c), 0.0);
    EXPECT_EQ(ee.getMinCosPhi(&a, &b, &b), IMPOSSIBLE);
    expectFails("pRMesh!=__null", [] { REdgeEnergy(nullptr, nullptr); });
}

TEST(REdgeEnergy, movesOppositeCornersApart) {
    const CoutSilence silence;
    FineMesh mesh(sheet(3, 3)), low({{{0, 0, 0}, {1, 0, 0}, {0.5, 0.05, 0}, {9, 9, 9}}, {{0, 1, 2}, {1, 0, 3}}});
    *mesh.vtx(10) = *mesh.vtx(5);
    REdgeEnergy ee(&*mesh, nullptr);
    ee.pRE = mesh.edge(6, 9);
    EXPECT_FALSE(ee.computeReadOnly());
    EXPECT_EQ(*mesh.vtx(10), *mesh.vtx(5));
    candidatesOf(*mesh, 0.0);  // after the search
    EXPECT_NE(*mesh.vtx(10), *mesh.vtx(5));
    EXPECT_TRUE(ee.computeReadOnly());
    // Smoothing would leave no normal, so the first one is lifted off its triangle.
    *low.vtx(3) = *low.vtx(2);
    REdgeEnergy(&*low, low.edge(0, 1));
    EXPECT_EQ(std::pair(*low.vtx(2), *low.vtx(3)), std::pair(Point3(0.5, 0.05, 0.1), Point3(0.5, 0.05, 0)));
}

TEST(FlipCandidates, areAllGainsTheSmallestFirst) {
    FineMesh mesh(withNoise(torus(30, 12), 0.2, 7));
    const Candidates vFound = candidatesOf(*mesh, 0.0);
    EXPECT_TRUE(std::ranges::is_sorted(vFound, {}, &RMesh::FlipCandidate::first));
    const auto isGain = [&](REdge* pRE) { return REdgeEnergy(&*mesh, pRE).improvement >= 0.0; };
    EXPECT_EQ(std::ranges::count_if(mesh->getREdgesRef(), isGain), std::ssize(vFound));
    for (const auto& [gain, pRE] : vFound)
        EXPECT_NEAR(REdgeEnergy(&*mesh, pRE).improvement, gain, 1e-12);
    Candidates vFull(1);
    expectFails("vImpRE.empty()", [&] { mesh->getEdgeFlipCandidates_MT(mesh->getREdgesRef(), 0.0, 0.0, vFull); });
}

TEST(FlipCandidates, takeLossesByChance) {
    constexpr int NUM = 4000;
    FineMesh mesh(kites(NUM, 0.4));  // each flip of an inner edge loses 1.1
    std::set<REdge*> sHot, sCool;
    for (const auto& [temperature, pFound] : {std::pair(1.1, &sHot), {0.99, &sCool}}) {
        for (const auto& [gain, pRE] : candidatesOf(*mesh, temperature))
            pFound->insert(pRE);
        const double p = std::exp(-1.1 / temperature);
        EXPECT_NEAR(static_cast<double>(pFound->size()), NUM * p, 4.0 * std::sqrt(NUM * p * (1.0 - p)));
    }
    EXPECT_FALSE(std::includes(sHot.begin(), sHot.end(), sCool.begin(), sCool.end()));
    EXPECT_TRUE(candidatesOf(*mesh, 0.0).empty());
}

TEST(EdgeFlips, makeNoisySurfacesSmoother) {
    const std::vector<std::pair<std::string, void (*)(MeshPtr)>> aWays = {
        {"public", edgeFlips},
        {"public annealing", edgeFlipsSimA},
        {"descent", [](MeshPtr pMesh) { RTop(pMesh->getRMesh()).edgeFlips(); }},
        {"annealing", [](MeshPtr pMesh) { RTop(pMesh->getRMesh()).edgeFlipsSimACtrl(); }}};
    std::map<std::string, double> mEnergy;
    for (const auto& [name, flip] : aWays) {
        const MeshPtr pMesh = meshOf(withNoise(torus(40, 16), 0.1, 11));
        RMesh& mesh = *pMesh->getRMesh();
        const auto [energy, angle] = energyAndAngle(placesOf(mesh));
        {
            const OpenRun run;
            flip(pMesh);
        }
        const auto [newEnergy, newAngle] = energyAndAngle(placesOf(mesh));
        EXPECT_TRUE(newEnergy < 0.95 * energy && newAngle < angle) << name;
        EXPECT_EQ(firstFault(mesh), "") << name;
        EXPECT_EQ(std::pair(mesh.getNumT(), edges(mesh, 2).size()), std::pair(std::size_t{1280}, std::size_t{1920})) << name;
        mEnergy[name] = newEnergy;
    }
    EXPECT_LT(mEnergy["public annealing"], mEnergy["public"]);
    EXPECT_LT(mEnergy["annealing"], mEnergy["descent"]);
}

TEST(FlipPenalty, aimsAtCapsAlone) {
    // The apex over a base of length 2 at the height that makes that angle there; its base is flipped.
    for (const auto& [angle, bTarget] : {std::pair(169.9, false), {170.1, true}, {178.0, true}}) {
        const double height = 1.0 / std::tan(angle / 2.0 / 57.29577951308232);
        const FineMesh mesh({{{-1, 0, 0}, {1, 0, 0}, {0, height, 0}, {0, -1, 0}}, {{0, 1, 2}, {1, 0, 3}}});
        double maxOldAngle, maxNewAngle, curDihedral, altDihedral;
        const double penalty =
            RTop(&*mesh).getFlipPenalty(mesh.edge(0, 1), maxOldAngle, maxNewAngle, curDihedral, altDihedral);
        EXPECT_NEAR(maxOldAngle, angle, 1e-6);
        EXPECT_NEAR(maxNewAngle, 45.0 + 90.0 - angle / 2.0, 1e-6);
        EXPECT_NEAR(curDihedral + altDihedral, 0.0, 1e-6);
        EXPECT_NEAR(penalty, bTarget ? maxNewAngle - maxOldAngle : DBL_MAX, 1e-6);
        EXPECT_EQ(RTop(&*mesh).flipExtremeCaps(), bTarget ? 1 : 0);
        EXPECT_EQ(mesh->hasAliveEdge(mesh.vtx(2), mesh.vtx(3)), bTarget);
        EXPECT_EQ(firstFault(*mesh), "");
        bool bOK;
        for (RTriangle* pRT : listOf<RTriangle*>([&](auto& v) { mesh->getAliveTriangles(v); }))
            EXPECT_GT(pRT->getNNV(bOK).z(), 0.9);
    }
    // On an arc that bends by 9 degrees and then by 5: the flip would leave 175 degrees for 171.
    const auto bend = [](double degrees) {
        return Vector3(std::cos(degrees / 57.29577951308232), -std::sin(degrees / 57.29577951308232), 0);
    };
    const Point3 b(0, 0, 0), cap(1, 0, 0), a = cap + bend(9.0);
    const FineMesh arc({{b, a, cap, a + bend(14.0)}, {{0, 1, 2}, {1, 0, 3}}});
    EXPECT_EQ(RTop(&*arc).flipExtremeCaps(), 0);
}

TEST(CanFlip, looksAtEdgesAndNormals) {
    const FineMesh mesh(kites(1, 1.0));
    RTop top(&*mesh);
    Point3 *a = mesh.vtx(0), *b = mesh.vtx(1), *left = mesh.vtx(2), *right = mesh.vtx(3);
    EXPECT_TRUE(top.canFlip(a, b, left, right, 90.0));
    EXPECT_FALSE(top.canFlip(a, b, left, right, 0.0));
    EXPECT_FALSE(top.canFlip(a, left, b, right, 90.0));  // a border
    EXPECT_FALSE(top.canFlip(a, b, left, left, 90.0));
    EXPECT_FALSE(top.canFlip(a, b, left, a, 90.0));
    EXPECT_FALSE(top.canFlip(left, right, a, b, 90.0));  // no edge
    expectText("ccd0>=ccd1", [&] { EXPECT_FALSE(top.canFlip(b, a, left, right, 90.0)); });
    const FineMesh dented(kites(1, -0.4));
    EXPECT_FALSE(RTop(&*dented).canFlip(dented.vtx(0), dented.vtx(1), dented.vtx(2), dented.vtx(3), 90.0));
    const FineMesh closed(tetrahedron());
    EXPECT_FALSE(RTop(&*closed).canFlip(closed.vtx(0), closed.vtx(1), closed.vtx(2), closed.vtx(3), 200.0));
}

TEST(FoldedEdges, areListedAndCounted) {
    FineMesh mesh(sheet(2, 1));  // folded by 45 degrees along the middle, one triangle turned over
    for (const int i : {2, 5})
        mesh->updateVertex(mesh.vtx(i), *mesh.vtx(i) + Vector3(0, 0, 1));
    mesh.tri(2)->flipNNV();
    const auto folded = [&](double angle) {
        return listOf<REdge*>([&](auto& v) { RTop(&*mesh).getEdgesForOptimization(angle, v); }).size();
    };
    EXPECT_EQ((std::array{folded(44.9), folded(45.1), folded(0.0)}), (std::array<std::size_t, 3>{1, 0, 3}));
    const std::string out = outputOf([&] { EXPECT_NEAR(mesh->printEnergy("sheet"), 15.0, 1e-6); });
    for (const char* part : {"DIHEDRAL ANGLES (sheet) (avg=15 , min=0, max=45):\n  min - 10: 2", "\n40 - 50: 1\n",
                             "\n170 -   max: 0\navg. energy (sheet)=15\n"})
        EXPECT_EQ(countIn(out, part), 1) << out;
    *mesh.vtx(4) = *mesh.vtx(1);  // two triangles without area
    EXPECT_EQ(countIn(outputOf([&] { folded(0.0); }), "No NNV, skipped edge"), 3);
    const FineMesh single({{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}});
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(single->printEnergy("t"), DBL_MAX); }), "Empty histogram [ DIHEDRAL ANGLES (t) ]\n");
}

TEST(CollapseOfAnEdge, keepsNormalsOrRefuses) {
    for (const int iDir : {0, 1, 2})  // 2: to the middle
        for (const double height : {0.0, 1.0}) {
            FineMesh mesh(sheet(4, 4));
            if (height > 0.0) mesh->updateVertex(mesh.vtx(11), *mesh.vtx(11) + Vector3(0, 0, height));
            if (height > 0.0) mesh->updateVertex(mesh.vtx(12), *mesh.vtx(12) - Vector3(0, 0, height));
            REdge* pRE = mesh.edge(11, 12);
            const auto before = indicesOf(*mesh);
            std::multimap<double, REdge*> mmShort;
            RTop top(&*mesh);
            const bool bDone = iDir == 2 ? top.tryCollapseMid(pRE, pRE->getCenter(), 2.1, 20.0, mmShort)
                                         : top.tryCollapseEnd(pRE, iDir, 2.1, 20.0, mmShort);
            EXPECT_EQ(firstFault(*mesh), "");
            EXPECT_EQ(bDone, height == 0.0) << iDir;
            EXPECT_EQ(mesh->getNumT(), bDone ? 30U : 32U);
            EXPECT_TRUE(bDone || (indicesOf(*mesh) == before && mmShort.empty()));
            if (!bDone) continue;
            Point3* pLeft = iDir == 2 ? mesh->poolVtx.at(25) : mesh.vtx(iDir == 0 ? 12 : 11);
            std::multimap<double, REdge*> mmExpected;
            for (REdge* p : listOf<REdge*>([&](auto& v) { mesh->getIncidentRE(pLeft, v); }))
                if (p->getLength() < 1.449) mmExpected.emplace((*p->pVtx1 - *p->pVtx0).sqLength(), p);
            EXPECT_TRUE(std::ranges::is_permutation(mmShort, mmExpected));
        }
}

TEST(CollapseOfAnEdge, refusesDuplicatesAndTakenPlaces) {
    FineMesh closed(tetrahedron());
    RTop top(&*closed);
    std::multimap<double, REdge*> mmShort;
    EXPECT_FALSE(top.tryCollapseEnd(closed.edge(0, 1), 0, 9.0, 200.0, mmShort));
    EXPECT_FALSE(top.tryCollapseMid(closed.edge(0, 1), {0.5, 0.5, 0}, 9.0, 200.0, mmShort));
    FineMesh flat(sheet(4, 4));
    EXPECT_FALSE(RTop(&*flat).tryCollapseMid(flat.edge(11, 12), *flat.vtx(12), 9.0, 200.0, mmShort));
    EXPECT_TRUE(mmShort.empty());
    EXPECT_EQ(closed->getNumT() + flat->getNumT(), 36U);
    expectFails("false", [&] { top.tryCollapseEnd(closed.edge(0, 1), 2, 9.0, 200.0, mmShort); });
    *flat.vtx(6) = *flat.vtx(7);  // a triangle at 12 without area is said and may turn
    expectText("current triangle is degenerate",
               [&] { RTop(&*flat).tryCollapseEnd(flat.edge(11, 12), 0, 9.0, 20.0, mmShort); });
}
