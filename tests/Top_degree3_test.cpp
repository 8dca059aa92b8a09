// The repair of edges of degree three: each rule on small flaps of known fate, and the whole against the plain loop, which
// looks at every edge in every round.
#include "Top.h"
#include "support/coarse.h"
#include "support/prelude.h"
#include "support/random_coarse.h"

using namespace TARN_TEST;

namespace {

/// Which triangles are alive, by age.
std::vector<bool> survivors(const CMesh& mesh) {
    std::vector<bool> vAlive;
    for (const CTriangle* pCT : sorted(mesh.vAllCT))
        vAlive.push_back(pCT->isAlive());
    return vAlive;
}

std::size_t numDeg3(const CMesh& mesh) {
    return edges(mesh, 3).size();
}

/// A sheet with a wall on the row in the middle, from column first to column last: a line of edges of degree 3.
class Wall : public Sheet {
public:
    Wall(unsigned numX, unsigned first, unsigned last, unsigned height) : Sheet(numX, 4) {
        for (unsigned x = first; x < last; ++x)
            for (unsigned z = 0; z < height; ++z) {
                triangle(up(x, z), up(x + 1, z), up(x + 1, z + 1));
                triangle(up(x, z), up(x + 1, z + 1), up(x, z + 1));
            }
    }
    VCD up(unsigned x, unsigned z) { return put(16 + x, 18, 16 + z); }
};

/// The edge a-b with the triangles to c, d and e, of which each may be continued: over its edge at a and at b, by nothing,
/// by an ear, or by a triangle with a further neighbour.
enum Beyond { NOTHING, EAR, SHEET };
class ThreeAtAnEdge : public CoarseWorld {
public:
    explicit ThreeAtAnEdge(const std::array<std::array<Beyond, 2>, 3>& flaps) {
        for (unsigned i = 0; i < 3; ++i)
            vT.push_back(triangle(a, b, tip(i)));
        for (unsigned i = 0; i < 3; ++i)
            for (unsigned k = 0; k < 2; ++k) {
                if (flaps[i][k] == NOTHING) continue;
                const VCD beyond = put(110 + i, 110 + k, 100), end = k == 0 ? a : b;
                vBeyond.push_back(triangle(end, tip(i), beyond));
                if (flaps[i][k] == SHEET) triangle(end, beyond, put(120 + i, 120 + k, 100));
            }
    }
    VCD tip(unsigned i) { return put(100 + i, 101, 100 + i); }

    VCD a = put(100, 100, 100), b = put(101, 100, 100);
    std::vector<CTriangle*> vT, vBeyond;
};

}  // namespace

TEST(Degree3, rulesTellTheFlapFromTheSheets) {
    using Flap = std::array<Beyond, 2>;
    constexpr Flap WHOLE{SHEET, SHEET}, NONE{NOTHING, NOTHING};
    // The flaps; which of the three goes, -1 for none; which of the triangles beyond stay, in order.
    const std::vector<std::tuple<std::array<Flap, 3>, int, std::vector<bool>>> vCase{
        {{WHOLE, WHOLE, NONE}, 2, {true, true, true, true}},
        {{WHOLE, WHOLE, Flap{NOTHING, SHEET}}, 2, {true, true, true, true, true}},
        {{WHOLE, Flap{EAR, NOTHING}, NONE}, 1, {true, true, true}},                            // the first of two
        {{WHOLE, Flap{EAR, SHEET}, Flap{NOTHING, SHEET}}, 2, {true, true, true, true, true}},  // rule one, then rule two
        {{WHOLE, WHOLE, WHOLE}, -1, {true, true, true, true, true, true}},
        {{WHOLE, WHOLE, Flap{EAR, SHEET}}, 2, {true, true, true, true, false, true}},
        {{WHOLE, Flap{SHEET, EAR}, Flap{EAR, EAR}}, 1, {true, true, true, false, true, true}},
        {{WHOLE, WHOLE, Flap{EAR, EAR}}, 2, {true, true, true, true, false, true}},  // the edge at b comes first, a last
    };
    for (const auto& [flaps, killedT, beyondLeft] : vCase) {
        SCOPED_TRACE(&flaps - &std::get<0>(vCase[0]));
        ThreeAtAnEdge world(flaps);
        Top top(&world.mesh, &world.calc);
        EXPECT_EQ(top.tryRepairEvilDeg3(world.mesh.getEdge(world.a, world.b), world.vT), killedT >= 0);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(world.vT[static_cast<std::size_t>(i)]->isAlive(), i != killedT);
        EXPECT_TRUE(std::ranges::equal(world.vBeyond, beyondLeft, {}, &CTriangle::isAlive));
    }
}

TEST(Degree3, wallsAreEatenFromAnEndInTheSheet) {
    for (const unsigned first : {0U, 2U})
        for (const unsigned last : {6U, 8U}) {
            Wall wall(8, first, last, 3);
            ASSERT_EQ(numDeg3(wall.mesh), last - first);
            Top(&wall.mesh, &wall.calc).repairDeg3();
            // Where the wall ends at the rim of the sheet three border edges meet, so that nothing starts there.
            EXPECT_EQ(numDeg3(wall.mesh), first == 0 && last == 8 ? 8U : 0U) << first << ' ' << last;
            EXPECT_EQ(firstFault(wall.mesh), "");
        }
}

// Nothing that the rules would take is left, and nothing but edges of degree three loses triangles.
TEST(Degree3, nothingIsLeftForTheRules) {
    std::size_t numKilled = 0;
    forSeeds(600, [&](unsigned seed) {
        RandomCoarse world(seed, 6 + seed % 23, 8 + seed % 67);
        const std::size_t numBefore = numAlive(world.mesh);
        const std::vector<CEdge*> vDeg3 = edges(world.mesh, 3);
        Top top(&world.mesh, &world.calc);
        top.repairDeg3();
        const std::vector<bool> after = survivors(world.mesh);
        EXPECT_EQ(firstFault(world.mesh), "");
        EXPECT_TRUE(!vDeg3.empty() || numAlive(world.mesh) == numBefore);
        std::vector<CEdge*> vNext;
        for (CEdge* pCE : vDeg3)
            EXPECT_FALSE(top.deleteAroundEvilDeg3(pCE, vNext));
        EXPECT_EQ(survivors(world.mesh), after);
        numKilled += numBefore - numAlive(world.mesh);
    });
    EXPECT_EQ(numKilled, 550U) << "as it was";
}

TEST(Degree3, ringsAroundAPieceLoseIt) {
    for (const bool bOpen : {false, true}) {
        Sheet sheet(6, 6);
        const VCD apex = sheet.put(19, 19, 18);
        const std::array<VCD, 4> ring{sheet.at(2, 2), sheet.at(3, 2), sheet.at(3, 3), sheet.at(2, 3)};
        for (std::size_t i = 0; i < (bOpen ? 3U : 4U); ++i)
            sheet.triangle(ring[i], ring[(i + 1) % 4], apex);
        ASSERT_EQ(numDeg3(sheet.mesh), bOpen ? 3U : 4U);
        Top top(&sheet.mesh, &sheet.calc);
        top.completeDeg3ChainsAndRemoveT();
        EXPECT_EQ(numDeg3(sheet.mesh), 0U);
        EXPECT_EQ(std::ranges::count(survivors(sheet.mesh), false), 2) << "the square under the tent, the oldest piece";
    }
}

TEST(Degree3, floodsStopAtFencesAndAtTheirLimit) {
    Sheet sheet(3, 3);
    std::set<CEdge*> sFences;
    for (unsigned x = 0; x < 3; ++x)
        sFences.insert(sheet.mesh.getEdge(sheet.at(x, 1), sheet.at(x + 1, 1)));
    for (const std::size_t limit : {0U, 5U, 6U, 7U}) {
        std::vector<CTriangle*> vStack{sheet.mesh.vAllCT[6]}, vGroup;  // six on this side of the fences
        EXPECT_EQ(Top(&sheet.mesh, &sheet.calc).bfs(limit, vStack, sFences, vGroup), limit >= 6);
        EXPECT_EQ(vGroup.size(), limit >= 6 ? 6U : 0U);
    }
}
