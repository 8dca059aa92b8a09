// Collapses and flips of the coarse mesh: the gain of a flip against the energy of the whole surface, the limits of each
// operation from both sides, and what whole passes do to meshes of chance.
#include <bit>
#include <cfloat>

#include "CMesh.h"
#include "EdgeEnergy.h"
#include "Progress.h"
#include "Top.h"
#include "support/coarse_soup.h"
#include "support/extraction.h"
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

enum Verdict { OPEN, CAP, STRICT, REFUSED_STRICT, REFUSED_CAP };

double plainGain(const CMesh& mesh, const CEdge& edge, Verdict& verdict) {
    const auto flip = plainFlip(placesOf(mesh), *mesh.getVtx(edge.v0), *mesh.getVtx(edge.v1), 0.3);
    verdict = OPEN;
    if (!flip) return IMPOSSIBLE;
    if (flip->newAngle > 130.0) verdict = CAP;
    if (flip->newAngle > 130.0 && flip->newAngle > flip->oldAngle)
        verdict = flip->newAngle > 160.0                                 ? REFUSED_CAP
                  : flip->foldDegrees < 2.0 || flip->foldDegrees > 160.0 ? REFUSED_STRICT
                                                                         : STRICT;
    return verdict == REFUSED_CAP || verdict == REFUSED_STRICT ? IMPOSSIBLE : flip->drop;
}

/// Each edge of two triangles is run through in both directions.
bool isOriented(const CMesh& mesh) {
    const std::vector<CEdge*> v = edges(mesh, 2);
    return std::none_of(v.begin(), v.end(), [](const CEdge* pCE) { return pCE->vCT[0]->needFlip(pCE->vCT[1]); });
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

class TopSimplify : public ::testing::Test {
protected:
    CoutSilence silence;
};

}  // namespace

// ---- Energy -------------------------------------------------------------------------------------------------------------

TEST(EdgeEnergy, isWhatTheWholeSurfaceLoses) {
    for (unsigned seed = 0; seed < 3; ++seed) {
        CoarsePlaces world(withNoise(torus(12, 7), 0.3, seed));
        for (int i = 0; i < 4; ++i)
            world.vT[static_cast<std::size_t>(11 * i)]->kill(&world.mesh);  // some borders
        world.vT[60]->flipNNV();
        for (CEdge* pCE : edges(world.mesh, -99)) {
            Verdict verdict;
            const double expected = plainGain(world.mesh, *pCE, verdict);
            EXPECT_NEAR(gainOf(world.mesh, pCE), expected, 1e-9) << "seed " << seed;
            EXPECT_FALSE(pCE->getDegree() == 2 && pCE->vCT[0]->needFlip(pCE->vCT[1]));
        }
    }
}

TEST(EdgeEnergy, refusesCapsAndFoldsOfRandomPairs) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::map<Verdict, int> mCount;
    for (int i = 0; i < 3000; ++i) {
        const double height = i % 2 == 0 ? 0.02 : 1.0;
        Soup soup{{}, {{0, 1, 2}, {1, 0, 3}}};
        for (int j = 0; j < 4; ++j)
            soup.vVtx.push_back(Point3{uniform(random), uniform(random), height * uniform(random)});
        CoarsePlaces world(soup);
        Verdict verdict;
        const double expected = plainGain(world.mesh, *world.edge(0, 1), verdict);
        EXPECT_NEAR(gainOf(world.mesh, world.edge(0, 1)), expected, 1e-8) << i;
        ++mCount[verdict];
    }
    for (const Verdict verdict : {OPEN, CAP, STRICT, REFUSED_STRICT, REFUSED_CAP})
        EXPECT_GT(mCount[verdict], 5) << verdict;
}

TEST(EdgeEnergy, knowsSpecialPairs) {
    CoarsePlaces flat(kites(1, 1.0)), closed(tetrahedron());
    EXPECT_EQ(gainOf(flat.mesh, flat.edge(0, 1)), 0.0);
    flat.triangle(flat.code(0), flat.code(1), flat.put(9, 9, 9));
    EXPECT_EQ(gainOf(flat.mesh, flat.edge(0, 1)), IMPOSSIBLE);  // three triangles
    EXPECT_EQ(gainOf(closed.mesh, closed.edge(0, 1)), IMPOSSIBLE);
    const Point3 a(0, 0, 0), b(4, 0, 0);
    const std::string report = reportOf([&] { EdgeEnergy(&closed.mesh, nullptr).getMinCosPhi(&a, &b, &b); });
    for (const std::string part : {"checkNoDegenerate(EdgeEnergy)", "checkNoDups(EdgeEnergy)",
                                   "checkNoAdjCoordDups(EdgeEnergy)", "vec01.isNV() && vec02.isNV() && vec12.isNV()"})
        EXPECT_NE(report.find(part), std::string::npos) << part;
    CoarsePlaces dup(pair({5, 5, 0}, {5, -5, 0}));
    dup.vT[1]->kill(&dup.mesh);
    dup.triangle(dup.code(1), dup.code(0), dup.code(2));
    expectFails("p0!=px", [&] { gainOf(dup.mesh, dup.edge(0, 1)); });
}

// Where smoothing would leave no normal the first one is lifted off its triangle by a tenth of a cell edge.
TEST(EdgeEnergy, movesOppositeCornersApart) {
    CoarsePlaces world(sheet(3, 3)), low(pair({5, 0.05, 0}, {5, 0.05, 0}));
    world.vtx(10) = world.vtx(5);
    for (const char* part : {"EDGE ENERGY, p0==px", "pT0=", " = px=", "oppCorner0=", "oppCorner1=", "corrected"}) {
        const std::string said = outputOf([&] { gainOf(low.mesh, low.edge(0, 1)); });
        EXPECT_NE(said.find(part), std::string::npos) << part;
        EXPECT_EQ(std::pair(low.vtx(2), low.vtx(3)), std::pair(Point3(5, 0.05, 0.1), Point3(5, 0.05, 0)));
        low.vtx(2) = low.vtx(3);
    }
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

TEST_F(TopSimplify, collapsesTurnNormalsByFiveDegreesAtMost) {
    // A flat fan round vertex 0 but for vertex 2, which lies higher. What turns most is the triangle 0-3-4.
    const auto fan = [](double height) {
        return Soup{{{1, 0.5, 0}, {0, 0, 0}, {1, 0, height}, {2, 0.5, 0}, {1, 1, 0}, {0, 1, 0}},
                    {{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 4, 5}, {0, 5, 1}}};
    };
    constexpr double MAX_SQ = 1.44;  // of the four other vertices one is farther away
    for (const auto& [angle, bPossible] : {std::pair(4.9, true), {5.1, false}}) {
        const double slope = std::tan(degrees(angle));
        CoarsePlaces single(fan(2.0 / std::sqrt(5.0) * slope)), mid(fan(3.0 / std::sqrt(5.0) * slope));
        EdgeQueue qSingle, qMid;
        EXPECT_EQ(Top(&single.mesh, &single.calc).killSingle(single.edge(0, 2), 0, MAX_SQ, qSingle), bPossible) << angle;
        CEdge* pMidCE = mid.edge(0, 2);
        EXPECT_EQ(Top(&mid.mesh, &mid.calc).killMid(pMidCE, pMidCE->getCenter(&mid.mesh), MAX_SQ, qMid), bPossible) << angle;
        for (const auto& [q, num] : {std::pair(qSingle, numAlive(single.mesh)), {qMid, numAlive(mid.mesh)}}) {
            EXPECT_EQ(q.size(), bPossible ? 3U : 0U);
            EXPECT_EQ(num, bPossible ? 3U : 5U);
        }
        if (!bPossible) continue;
        expectFails("!vIncT.empty()", [&] { Top(&mid.mesh, &mid.calc).killMid(pMidCE, {}, MAX_SQ, qMid); });
    }
    CoarsePlaces world(sheet(2, 2));
    Top top(&world.mesh, &world.calc);
    EdgeQueue q;
    expectFails("false", [&] { top.killSingle(world.edge(0, 1), 2, 1.0, q); });
}

// ---- Flips --------------------------------------------------------------------------------------------------------------

TEST_F(TopSimplify, flipsLowerTheEnergyOfNoise) {
    for (unsigned seed = 0; seed < 3; ++seed) {
        CoarsePlaces world(withNoise(torus(30, 12), 0.2, seed));
        Top top(&world.mesh, &world.calc);
        const double energy = energyAndAngle(placesOf(world.mesh), 0.3).first;
        for (int i = 0; i < 20; ++i)
            top.edgeFlips(0.1);
        EXPECT_LT(energyAndAngle(placesOf(world.mesh), 0.3).first, 0.9 * energy);
        EXPECT_EQ(numAlive(world.mesh), 720U);
        EXPECT_EQ(firstFault(world.mesh), "");
        EXPECT_TRUE(isOriented(world.mesh));
        std::vector<CEdge*> vCE;
        top.getEdgesForOptimization(0.1, vCE);
        for (CEdge* pCE : vCE)
            EXPECT_LE(gainOf(world.mesh, pCE), 0.01);
    }
}

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
    CoarsePlaces flat(pair({5, 0, 0}, {5, 5, 0}));
    std::vector<CEdge*> vCE;
    expectText("No NNV, skipped edge", [&] { Top(&flat.mesh, &flat.calc).getEdgesForOptimization(0.0, vCE); });
    EXPECT_TRUE(vCE.empty());
}

TEST_F(TopSimplify, canFlipAsFarAsTheNewNormalsAgree) {
    for (const auto& [angle, bCan] : {std::pair(119.9, true), {120.1, false}}) {
        // The new edge runs along y; the ends 0 and 1 of the old one hang to both sides of it.
        const double x = std::sin(degrees(90 - angle / 2)), z = -std::cos(degrees(90 - angle / 2));
        CoarsePlaces world({{{-x, 0, z}, {x, 0, z}, {0, 1, 0}, {0, -1, 0}}, {{0, 1, 2}, {1, 0, 3}}});
        Top top(&world.mesh, &world.calc);
        const VCD v0 = std::min(world.code(0), world.code(1)), v1 = std::max(world.code(0), world.code(1));
        EXPECT_EQ(top.canFlip(v0, v1, world.code(2), world.code(3)), bCan) << angle;
        EXPECT_FALSE(top.canFlip(v0, v1, world.code(2), world.code(2)));
        EXPECT_FALSE(top.canFlip(v0, v1, v0, world.code(3)));
        EXPECT_FALSE(top.canFlip(v0, world.code(2), v1, world.code(3)));  // v1 - 3 is an edge
        expectText("ccd0>=ccd1", [&] { EXPECT_FALSE(top.canFlip(v1, v0, world.code(2), world.code(3))); });
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
        EXPECT_TRUE(isOriented(sheet.mesh));
        EXPECT_EQ(numAlive(sheet.mesh), 200U);
    }

    // Two cells apart: no line.
    CoarseWorld wide;
    const VCD a = wide.put(10, 10, 10), b = wide.put(12, 10, 10), c = wide.put(12, 12, 10), d = wide.put(10, 12, 10);
    wide.triangle(a, b, c);
    wide.triangle(a, c, d);
    Top top(&wide.mesh, &wide.calc);
    top.sFeatureCCD = {b, d};
    top.flipFeatures();
    EXPECT_FALSE(wide.mesh.hasEdge(b, d));
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
        EXPECT_TRUE(isOriented(world.mesh)) << name;
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

TEST_F(TopSimplify, saysWhatItRefuses) {
    const Soup soup{{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2 + std::cos(degrees(0.1)), std::sin(degrees(0.1)), 0}, {1, 1, 0}},
                    {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}}};
    CoarsePlaces world(soup);  // the line 0-1-2-3 along x turns a little at 2; 4 is off it
    Top top(&world.mesh, &world.calc);
    for (int i = 1; i < 5; ++i)
        top.sFeatureCCD.insert(world.code(i));
    const auto count = [&](int i, int j) { return top.countCollinearConnectors(world.code(i), world.code(j)); };
    EXPECT_EQ(count(1, 2), 1);
    expectFails("sFeatureCCD.find(ccd0)!=sFeatureCCD.end()", [&] { count(0, 1); });
    expectFails("sFeatureCCD.find(ccd1)!=sFeatureCCD.end()", [&] { count(1, 0); });
    top.sFeatureCCD.insert(world.code(0));
    EXPECT_EQ(std::pair(count(1, 2), count(2, 1)), std::pair(2, 2));
    expectFails("ccd0!=ccd1", [&] { count(1, 1); });
    world.vtx(3) = Point3(2 + std::cos(degrees(0.3)), std::sin(degrees(0.3)), 0);
    EXPECT_EQ(count(1, 2), 1);
    world.vtx(4) = world.vtx(2);
    expectFails("*pOtherVtx!=*pVtxA", [&] { count(1, 2); });
    world.vtx(1) = world.vtx(2);
    expectFails("*pVtxA!=*pVtxB", [&] { count(1, 2); });
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
    const std::size_t numBefore = numAlive(mesh);
    const double energy = energyAndAngle(placesOf(mesh), 0.3).first;
    expectText("lap deactivated", [&top] { top.simplifyAndSmooth(); });
    EXPECT_LT(energyAndAngle(placesOf(mesh), 0.3).first, 0.9 * energy);
    EXPECT_LE(numAlive(mesh), numBefore);
    EXPECT_TRUE(edges(mesh, -5).empty());
    std::size_t numVertices, numTriangles;
    mesh.getStatistics(numVertices, numTriangles);
    EXPECT_EQ(2 * numVertices, numTriangles + 4);
    EXPECT_EQ(firstFault(mesh), "");
}
