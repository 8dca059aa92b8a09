// Collapses and flips of the coarse mesh: the gain of a flip against the energy of the whole surface, the limits of each
// operation from both sides, and what whole passes do to random meshes.
#include <bit>
#include <cfloat>

#include "CMesh.h"
#include "EdgeEnergy.h"
#include "Progress.h"
#include "Top.h"
#include "support/coarse_soup.h"
#include "support/extraction.h"
#include "support/figures.h"
#include "support/hash.h"
#include "support/plain_energy.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

constexpr double IMPOSSIBLE = EdgeEnergy::IMPOSSIBLE;
using EdgeQueue = std::multimap<double, CEdge*>;

std::vector<Places> placesOf(const CMesh& mesh) {
    std::vector<Places> v;
    for (const CTriangle* pCT : mesh.vAllCT)
        if (pCT->isAlive()) v.push_back({*mesh.getVtx(pCT->c0), *mesh.getVtx(pCT->c1), *mesh.getVtx(pCT->c2)});
    return v;
}

double gainOf(CMesh& mesh, CEdge* pCE) {
    EdgeEnergy ee(&mesh, pCE);
    EXPECT_EQ(ee.improvement, IMPOSSIBLE);
    ee.compute();
    return ee.improvement;
}

/// Two triangles in the plane z = 0 and the edge 0-1 from (0, 0) to (10, 0), that stands on its own.
Soup pair(const Point3& tip0, const Point3& tip1) {
    return {{{0, 0, 0}, {10, 0, 0}, tip0, tip1}, {{0, 1, 2}, {1, 0, 3}}};
}

double degrees(double angle) {
    return angle / 57.29577951308232;
}

/// Flat squares of length 1 in which pairs of inner neighbours, far from each other, are close: num edges of length 0.1.
Soup sheetWithShortEdges(int num) {
    Soup soup = sheet(4 * num, 4);
    for (int i = 0; i < num; ++i)
        soup.vVtx[static_cast<std::size_t>(2 * (4 * num + 1) + 4 * i + 1)] = Point3(4 * i + 1.9, 2, 0);
    return soup;
}

struct TopSimplify : SilentTest {};

}  // namespace

// ---- Energy -------------------------------------------------------------------------------------------------------------

// A cap is a new angle above 130 degrees and above the old ones; it is refused above 160, or when the pair is flat or
// folded.
TEST(EdgeEnergy, isWhatTheWholeSurfaceLosesUnlessThereIsACap) {
    std::map<std::string, int> mCount;
    forSeeds(6, [&](unsigned seed) {
        CoarsePlaces world(withNoise(torus(12, 7), 0.2 + 0.1 * seed, seed));
        for (int i = 0; i < 4; ++i)
            world.vT[static_cast<std::size_t>(11 * i)]->kill(&world.mesh);  // some borders
        world.vT[60]->flipNNV();
        const std::vector<Places> vTriangle = placesOf(world.mesh);
        for (CEdge* pCE : edges(world.mesh, -99)) {
            const auto flip = plainFlip(vTriangle, *world.mesh.getVtx(pCE->v0), *world.mesh.getVtx(pCE->v1), 0.3);
            const bool bCap = flip && flip->newAngle > 130.0 && flip->newAngle > flip->oldAngle;
            const bool bRefused = bCap && (flip->newAngle > 160.0 || flip->foldDegrees < 2.0 || flip->foldDegrees > 160.0);
            EXPECT_NEAR(gainOf(world.mesh, pCE), !flip || bRefused ? IMPOSSIBLE : flip->drop, 1e-8);
            EXPECT_FALSE(pCE->getDegree() == 2 && pCE->vCT[0]->needFlip(pCE->vCT[1]));
            ++mCount[!flip ? "none" : bRefused ? "refused" : bCap ? "cap" : "flip"];
        }
    });
    for (const char* kind : {"none", "refused", "cap", "flip"})
        EXPECT_GT(mCount[kind], 5) << kind;
}

TEST(EdgeEnergy, knowsSpecialPairs) {
    CoarsePlaces flat(kites(1, 1.0)), flatCap(kites(1, 0.4)), closed(tetrahedron());
    EXPECT_EQ(gainOf(flat.mesh, flat.edge(0, 1)), 0.0);
    EXPECT_EQ(gainOf(flatCap.mesh, flatCap.edge(0, 1)), IMPOSSIBLE);
    flat.triangle(flat.code(0), flat.code(1), flat.put(9, 9, 9));
    EXPECT_EQ(gainOf(flat.mesh, flat.edge(0, 1)), IMPOSSIBLE);  // three triangles
    EXPECT_EQ(gainOf(closed.mesh, closed.edge(0, 1)), IMPOSSIBLE);
    const Point3 a(0, 0, 0), b(4, 0, 0);
    expectFails("vec01.isNV() && vec02.isNV() && vec12.isNV()",
                [&] { EdgeEnergy(&closed.mesh, nullptr).getMinCosPhi(&a, &b, &b); });
}

// Where smoothing would leave no normal the first one is lifted off its triangle by a tenth of a cell edge.
TEST(EdgeEnergy, movesOppositeCornersApart) {
    CoarsePlaces world(sheet(3, 3)), low(pair({5, 0.05, 0}, {5, 0.05, 0}));
    world.vtx(10) = world.vtx(5);
    expectText("EDGE ENERGY, p0==px", [&] { gainOf(low.mesh, low.edge(0, 1)); });
    EXPECT_EQ(std::pair(low.vtx(2), low.vtx(3)), std::pair(Point3(5, 0.05, 0.1), Point3(5, 0.05, 0)));
    outputOf([&] { gainOf(world.mesh, world.edge(6, 9)); });
    EXPECT_NE(world.vtx(10), world.vtx(5));
}

// ---- Collapses ----------------------------------------------------------------------------------------------------------

TEST_F(TopSimplify, wantsAnotherPassByTheNumberOfCollapses) {
    for (const int num : {0, 1, 10, 11})
        for (const int passNo : {0, 1}) {
            CoarsePlaces world(sheetWithShortEdges(num == 0 ? 1 : num));
            const std::size_t numBefore = numAlive(world.mesh);
            const double area = world.mesh.getArea();
            Top top(&world.mesh, &world.calc);
            EXPECT_EQ(top.simplify(passNo, num == 0 ? 0.09 : 0.11, SM_MID_THEN_SINGLE),
                      num > 10 || (num > 0 && passNo == 0));
            EXPECT_EQ(numAlive(world.mesh), numBefore - 2 * static_cast<std::size_t>(num));
            EXPECT_NEAR(world.mesh.getArea(), area, 1e-12 * area);
            EXPECT_EQ(firstFault(world.mesh), "");
        }
}

TEST_F(TopSimplify, leavesTheBorderAndTheShapeOfAnyMesh) {
    for (const SimplifyMode mode : {SM_MID_THEN_SINGLE, SM_SINGLE, SM_MID}) {
        Soup soup = sheet(20, 20);
        std::mt19937 random(5);
        std::uniform_real_distribution<double> step(-0.3, 0.3);
        for (Point3& p : soup.vVtx)
            p = p + Vector3{step(random), step(random), 0.0};
        CoarsePlaces world(soup);
        const double area = world.mesh.getArea();
        std::set<std::pair<VCD, VCD>> sBorder, sBorderAfter;
        std::map<VCD, Point3> mBorderPoint;
        for (const CEdge* pCE : edges(world.mesh, 1)) {
            sBorder.emplace(pCE->v0, pCE->v1);
            mBorderPoint[pCE->v0] = world.mesh.getAvgPoint(pCE->v0);
        }
        EXPECT_TRUE(Top(&world.mesh, &world.calc).simplify(0, DBL_MAX, mode));
        EXPECT_LT(numAlive(world.mesh), 140U) << mode;  // 78 with no inner vertex left
        EXPECT_NEAR(world.mesh.getArea(), area, 1e-9);
        for (const CEdge* pCE : edges(world.mesh, 1))
            sBorderAfter.emplace(pCE->v0, pCE->v1);
        EXPECT_EQ(sBorderAfter, sBorder);
        for (const auto& [vcd, p] : mBorderPoint)
            EXPECT_EQ(world.mesh.getAvgPoint(vcd), p);
        EXPECT_EQ(firstFault(world.mesh), "");
    }
}

// ---- Flips --------------------------------------------------------------------------------------------------------------

TEST_F(TopSimplify, selectsFoldsByTheirAngle) {
    for (const bool bTurned : {false, true}) {
        CoarsePlaces world(pair({5, 5, 0}, {5, -5 * std::cos(degrees(30)), 5 * std::sin(degrees(30))}));
        if (bTurned) world.vT[1]->flipNNV();
        Top top(&world.mesh, &world.calc);
        for (const auto& [angle, num] : {std::pair(29.9, 1U), {30.1, 0U}}) {
            std::vector<CEdge*> vCE;
            top.getEdgesForOptimization(angle, vCE);
            EXPECT_EQ(vCE.size(), num);
            EdgeQueue q;
            top.buildPrioq(q, angle);
            ASSERT_EQ(q.size(), num);
            EXPECT_TRUE(num == 0 || std::abs(q.begin()->first - 30.0) < 1e-9);
        }
    }
}

TEST_F(TopSimplify, canFlipAsFarAsTheNewNormalsAgree) {
    for (const auto& [angle, bCan] : {std::pair(119.9, true), {120.1, false}}) {
        // The new edge runs along y; the ends 0 and 1 of the old one hang to both sides of it.
        const double x = std::sin(degrees(90 - angle / 2)), z = -std::cos(degrees(90 - angle / 2));
        CoarsePlaces world({{{-x, 0, z}, {x, 0, z}, {0, 1, 0}, {0, -1, 0}}, {{0, 1, 2}, {1, 0, 3}}});
        Top top(&world.mesh, &world.calc);
        const VCD v0 = std::min(world.code(0), world.code(1)), v1 = std::max(world.code(0), world.code(1));
        EXPECT_EQ(top.canFlip(v0, v1, world.code(2), world.code(3)), bCan) << angle;
        top.sBorderCCD = {world.code(3)};
        EXPECT_FALSE(top.canFlip(v0, v1, world.code(2), world.code(3)));
    }
}

// ---- Features -----------------------------------------------------------------------------------------------------------

TEST_F(TopSimplify, flipsFeaturesOntoTheirLine) {
    const auto numJoined = [](Sheet& sheet) {
        unsigned num = 0;
        for (unsigned i = 0; i < 10; ++i)
            num += sheet.mesh.hasEdge(sheet.at(i, 10 - i), sheet.at(i + 1, 9 - i)) ? 1U : 0U;
        return num;
    };
    using Range = std::pair<unsigned, unsigned>;
    const Range all{0, 10}, none{1, 0};
    for (const auto& [line, diagonal, bBorder, num] :
         {std::tuple(all, none, false, 10U),
          {all, Range(5, 6), false, 10U},         // the line goes on, the diagonal doesn't
          {Range(5, 6), Range(3, 8), false, 0U},  // the other way round
          {all, none, true, 8U}}) {
        Sheet sheet(10, 10);
        EXPECT_EQ(numJoined(sheet), 0U);
        Top top(&sheet.mesh, &sheet.calc);
        for (unsigned i = line.first; i <= line.second; ++i)
            top.sFeatureCCD.insert(sheet.at(i, 10 - i));
        for (unsigned i = diagonal.first; i <= diagonal.second; ++i)  // crosses the line from (5, 5) to (6, 4)
            top.sFeatureCCD.insert(sheet.at(i, i - 1));
        if (bBorder) top.sBorderCCD = {sheet.at(5, 5)};
        EXPECT_EQ(countIn(outputOf([&top] { top.flipFeatures(); }), "NEW FLIP TURN "), 3);
        EXPECT_EQ(numJoined(sheet), num);
        EXPECT_EQ(figuresOf(sheet.mesh).numConflicts, 0);
        EXPECT_EQ(numAlive(sheet.mesh), 200U);
    }
}

// ---- The passes

// A failure prints the new hash.
TEST_F(TopSimplify, passesLeaveWhatTheyLeftBefore) {
    struct Pass {
        const char* name;
        double noise;
        std::uint64_t hash;
        std::function<void(Top&)> run;
    };
    const Pass aPasses[] = {
        {"mid or single", 0.15, 18105587417454103630U, [](Top& top) { top.simplify(0, 0.5, SM_MID_THEN_SINGLE); }},
        {"mid", 0.15, 6895410088657112187U, [](Top& top) { top.simplify(0, 0.5, SM_MID); }},
        {"single", 0.15, 13361978961045786287U, [](Top& top) { top.simplify(0, 0.5, SM_SINGLE); }},
        {"no mode", 0.15, 14551834490280086061U, [](Top& top) { top.simplify(0, 0.5, static_cast<SimplifyMode>(3)); }},
        {"small edges", 0.15, 1375016045259170755U, [](Top& top) { top.collapseSmallEdges(); }},
        {"bad angles", 0.6, 16817812684430991942U, [](Top& top) { top.flipBadAngles(); }},
        {"flips", 0.15, 6845672009478864412U, [](Top& top) { top.edgeFlips(0.1); }},
        {"caps", 0.02, 312853289440184168U, [](Top& top) { top.flipExtremeCaps(true); }}};
    for (const auto& [name, noise, hash, pass] : aPasses) {
        Soup soup = withNoise(torus(40, 16), noise, 3);
        for (std::size_t i = 0; i < soup.vT.size(); i += 50) {  // caps
            const auto at = [&](std::size_t k) -> Point3& { return soup.vVtx[static_cast<std::size_t>(soup.vT[i][k])]; };
            at(2) = at(0) + (at(1) - at(0)) * 0.5 + (at(2) - at(0)) * 0.004;
        }
        CoarsePlaces world(soup);
        Top top(&world.mesh, &world.calc);
        pass(top);
        EXPECT_EQ(firstFault(world.mesh), "") << name;
        EXPECT_EQ(figuresOf(world.mesh).numConflicts, 0) << name;
        std::vector<std::uint64_t> vNumbers;
        for (const CTriangle* pCT : aliveT(world.mesh))
            for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2}) {
                vNumbers.push_back(vcd);
                for (const double d : {world.mesh.getVtx(vcd)->x(), world.mesh.getVtx(vcd)->y()})
                    vNumbers.push_back(std::bit_cast<std::uint64_t>(d));
            }
        EXPECT_EQ(hashOf(vNumbers), hash) << name;
    }
}

TEST_F(TopSimplify, featuresGoOnWhereTheyTurnByAFifthOfADegreeAtMost) {
    for (const auto& [angle, num] : {std::pair(0.1, 2), {0.3, 1}}) {  // the line 0-1-2-3 along x turns by it at 2
        CoarsePlaces world(
            {{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2 + std::cos(degrees(angle)), std::sin(degrees(angle)), 0}, {1, 1, 0}},
             {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}}});
        Top top(&world.mesh, &world.calc);
        for (int i = 0; i < 5; ++i)
            top.sFeatureCCD.insert(world.code(i));
        EXPECT_EQ(top.countCollinearConnectors(world.code(1), world.code(2)), num);
    }
}

// ---- The recipe ---------------------------------------------------------------------------------------------------------

TEST_F(TopSimplify, recipeKeepsTheTopologyOfASphere) {
    progressForReco();
    Extraction extraction(sphereShell(9));
    extraction.withScatteredPoints(1, 7);
    Top top(&extraction.mesh(), &extraction.calc);
    top.finalizeReconstructedMesh(extraction.pVoro.get());
    closeProgress();
    CMesh& mesh = *top.pCMesh;
    const double energy = energyAndAngle(placesOf(mesh), 0.3).first;
    expectText("lap deactivated", [&top] { top.simplifyAndSmooth(); });
    EXPECT_LT(energyAndAngle(placesOf(mesh), 0.3).first, 0.9 * energy);
    EXPECT_EQ(figuresOf(mesh), (Figures{0, 0, 0, 2, 0}));
    EXPECT_EQ(firstFault(mesh), "");
}
