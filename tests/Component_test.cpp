// Facets and the colours of sheets: the surface is closed, both sides are found, and each pass of the colouring leaves
// nothing that it should have coloured.
#include "Component.h"

#include "Filler.h"
#include "RemoveDecider_RCD.h"
#include "freeFunctions.h"
#include "support/packedCells.h"
#include "support/prelude.h"

namespace {

using namespace TARN_TEST;

/// A sheet, its grid and the points of its cells.
struct SheetCase {
    explicit SheetCase(const VRCD& vCells, unsigned seed = 0) : vAll(vCells), vRCDPoint(pointsIn(vCells, seed)) {
        RemoveDecider_RCD(vAll, &calc).detectAreaAndBorder(vArea, vBorder);
        const CoutSilence silence;
        pSheet = std::make_unique<Component>(vAll, vBorder, vRCDPoint, &calc);
    }

    Calc calc = unitGrid();
    VRCD vAll, vArea, vBorder;
    Component::VRCDPoint vRCDPoint;
    std::unique_ptr<Component> pSheet;
};

VRCD flatSheet(int num) {
    return packedWhere(num, [num](int, int, int k) { return k == num / 2; });
}
/// A sheet that goes up like a roof, steep on one side.
VRCD bentSheet(int num) {
    return packedWhere(num, [num](int i, int, int k) { return k == (i < num / 2 ? i : num - 1 - i); });
}
/// A piece of a sheet that is one to three cells thick and has holes.
VRCD raggedSheet(int num, unsigned seed) {
    std::mt19937 random(seed);
    return packedWhere(num, [&](int i, int j, int k) {
        const double d = k - num / 2.0 - 2.0 * std::sin(0.4 * i + seed) * std::cos(0.3 * j);
        const bool bHole = (i - 4) * (i - 4) + (j - 9) * (j - 9) < 9;
        return !bHole && d >= 0.0 && (d < 1.0 || (d < 2.0 && random() % 4 == 0));
    });
}
/// Random cells of every density, layers, shells, and shapes without two sides.
std::vector<VRCD> manyShapes() {
    std::vector<VRCD> vShape = {{packedAt(500, 500, 500)},
                                flatSheet(2),
                                flatSheet(9),
                                bentSheet(16),
                                moebius(7),
                                packedWhere(6, [](int, int, int) { return true; }),
                                toPacked(sphereShell(6))};
    for (unsigned seed = 1; seed <= 12; ++seed) {
        vShape.push_back(randomPacked(7, 0.08 * seed, seed));
        vShape.push_back(raggedSheet(12 + static_cast<int>(seed), seed));
    }
    for (unsigned seed = 1; seed <= 3; ++seed)
        vShape.push_back(randomShell(6, seed));
    return vShape;
}

std::vector<int> colorsOf(const std::vector<Facet>& vFacets) {
    std::vector<int> vColor;
    for (const Facet& facet : vFacets)
        vColor.push_back(facet.color);
    return vColor;
}
std::vector<Facet*> neigsOf(const SheetCase& sheet, const Facet& facet) {
    std::vector<Facet*> v;
    for (int edge = 0; edge < 4; ++edge)
        v.push_back(facet.fetchNeigPtr(sheet.vAll, sheet.pSheet->vVisibleFacets, edge));
    return v;
}
/// The facets of the two colours on the same side of the 26 cells around.
std::array<int, 2> countAround(const SheetCase& sheet, const Facet& facet, int lower, int upper) {
    std::array<int, 2> count{};
    VRCD vAround;
    getRCDPositionsAround(facet.rcd, 1, vAround);
    const auto& vFacets = sheet.pSheet->vVisibleFacets;
    for (const RCD rcd : vAround)
        if (const auto it = std::ranges::lower_bound(vFacets, Facet(rcd, facet.idx, -1, -1));
            it != vFacets.end() && *it == Facet(rcd, facet.idx, -1, -1) && (it->color == lower || it->color == upper))
            ++count[it->color == upper ? 1 : 0];
    return count;
}
/// No two facets of different colours touch.
void expectSeam(const SheetCase& sheet) {
    for (const Facet& facet : sheet.pSheet->vVisibleFacets)
        for (const Facet* pNeig : neigsOf(sheet, facet))
            EXPECT_FALSE(facet.color + pNeig->color == 1 && facet.color >= 0 && pNeig->color >= 0);
}

TEST(Facet, theWalkIsClosedOnAnySetOfCells) {
    for (const VRCD& vCells : manyShapes()) {
        SheetCase sheet(vCells);
        auto& vFacets = sheet.pSheet->vVisibleFacets;
        EXPECT_TRUE(std::is_sorted(vFacets.begin(), vFacets.end()));
        const FacetLinks links(vCells, vFacets);
        for (std::size_t i = 0; i < vFacets.size(); ++i)
            for (int edge = 0; edge < 4; ++edge) {
                const Facet* pNeig = vFacets[i].fetchNeigPtr(vCells, vFacets, edge);
                EXPECT_EQ(links[i][static_cast<std::size_t>(edge)], pNeig - vFacets.data());
                EdgePair own, next, back;
                vFacets[i].fetchEdge(edge, own);
                vFacets[i].fetchEdge((edge + 1) % 4, next);
                EXPECT_EQ(own.second, next.first);
                // The neighbour has this facet across the very same lattice edge, walked the same way or back.
                int numBack = 0;
                for (int e = 0; e < 4; ++e) {
                    pNeig->fetchEdge(e, back);
                    const bool bSameEdge = back == own || back == EdgePair(own.second, own.first);
                    numBack += bSameEdge && pNeig->fetchNeigPtr(vCells, vFacets, e) == &vFacets[i] ? 1 : 0;
                }
                ASSERT_EQ(numBack, 1) << showRCD(vFacets[i].rcd) << " " << vFacets[i].idx << " " << edge;
            }
    }
}

TEST(Component, flatSheetsRoofsAndSpheresHaveTwoSidesTheUpperOneUp) {
    const auto expectSides = [](const SheetCase& sheet, int least, const auto& height) {
        int numSeen[2] = {0, 0};
        for (const Facet& facet : sheet.pSheet->vVisibleFacets) {
            if (facet.color == -1 || std::fabs(height(facet)) <= 3.0) continue;
            EXPECT_EQ(facet.color, height(facet) > 0.0 ? 1 : 0);
            ++numSeen[facet.color];
        }
        EXPECT_GE(std::min(numSeen[0], numSeen[1]), least);
    };
    const auto up = [](const Facet& f) { return f.state == FACET_STATE_AREA ? 4.0 * Facet::axes[f.idx].z() : 0.0; };
    for (const int num : {4, 5, 12}) {
        const SheetCase sheet(flatSheet(num));
        expectSides(sheet, (num - 2) * (num - 2), up);
        expectSeam(sheet);
        for (const Facet& facet : sheet.pSheet->vVisibleFacets)  // what stands upright at the rim loses its colour first
            EXPECT_TRUE(facet.idx < 4 || facet.color == facet.idx - 4);
    }
    expectSides(SheetCase(bentSheet(24)), 100, up);
    // Of a sphere the outer side has more facets that look up.
    expectSides(SheetCase(toPacked(sphereShell(9))), 100, [](const Facet& facet) {
        return (unitGrid().getMidPoint_RCD(facet.rcd) - Point3(1009.5, 1009.5, 1009.5)) * Facet::axes[facet.idx];
    });
    for (const VRCD& vCells : {VRCD{}, flatSheet(3), packedWhere(6, [](int, int, int) { return true; })}) {
        const SheetCase sheet(vCells);  // without two sides
        EXPECT_FALSE(sheet.pSheet->stage1_createFacetCCs());
        EXPECT_TRUE(std::ranges::all_of(sheet.pSheet->vVisibleFacets, [](const Facet& f) { return f.color == -1; }));
    }
}

TEST(Component, countsAndFlipsItsSides) {
    const VRCD vCells = raggedSheet(20, 3);
    const SheetCase sheet(vCells, 5), other(flatSheet(5));
    using Counts = std::array<std::array<int, 6>, 2>;
    const auto countNear = [&sheet](RCD centre) {
        Counts counts{};
        sheet.pSheet->getOrientationCount(centre, counts[0].data(), counts[1].data());
        return counts;
    };
    std::vector<Counts> vCounts;
    for (const RCD centre : vCells) {
        vCounts.push_back(countNear(centre));
        Counts expected{};
        VRCD vAround{centre};
        getRCDPositionsAround(centre, 1, vAround);
        for (const Facet& facet : sheet.pSheet->vVisibleFacets)
            if (facet.color >= 0 && std::ranges::count(vAround, facet.rcd) > 0)
                ++expected[static_cast<std::size_t>(facet.color)][static_cast<std::size_t>(facet.idx)];
        ASSERT_EQ(vCounts.back(), expected);
    }
    ConnectionStruct vote;
    vote.pComponent0 = sheet.pSheet.get();
    vote.pComponent1 = other.pSheet.get();
    vote.score = 2.5;
    for (int i = 0; i < 2; ++i)  // a repeat is negated once
        sheet.pSheet->registerConnectionStruct(&vote);
    sheet.pSheet->flip();
    EXPECT_EQ(sheet.pSheet->getScore(), -2.5);
    for (std::size_t i = 0; i < vCells.size(); ++i)
        ASSERT_EQ(countNear(vCells[i]), (Counts{vCounts[i][1], vCounts[i][0]}));
    sheet.pSheet->vVisibleFacets.front().color = 2;
    expectFails("false", [&] { countNear(vCells.front()); });
}

/// Colours 3 and 4 strewn over the shapes, few or many, and some others.
template <typename Check>
void forStrewnColors(const Check& check) {
    unsigned number = 0;
    for (const VRCD& vCells : manyShapes()) {
        const unsigned seed = 1 + number++ % 4;
        const SheetCase sheet(vCells, seed);
        std::mt19937 random(seed);
        std::vector<Facet*> vList;
        for (Facet& facet : sheet.pSheet->vVisibleFacets) {
            const auto dice = random() % (3 * seed * seed);
            facet.color = dice == 0 ? 4 : dice == 1 ? 3 : dice == 2 ? 7 : dice == 3 ? -5 : -1;
            if (random() % 8 != 0) vList.push_back(&facet);
        }
        SCOPED_TRACE("shape " + std::to_string(number));
        check(sheet, vList);
    }
}

TEST(Component, aPassByBlocksLeavesNoFacetThatItsBlockWouldColour) {
    forStrewnColors([](const SheetCase& sheet, std::vector<Facet*> vList) {
        for (const auto& [minCount, bAllowTie] : {std::pair(5, false), std::pair(2, false), std::pair(3, true)}) {
            const std::vector<int> vBefore = colorsOf(sheet.pSheet->vVisibleFacets);
            const std::vector<Facet*> vListBefore = vList;
            sheet.pSheet->cc_colorize_27(vList, 3, 4, minCount, bAllowTie);
            const std::set<const Facet*> sLeft(vList.begin(), vList.end());
            for (const Facet* pFacet : vListBefore) {
                const auto before = vBefore[static_cast<std::size_t>(pFacet - sheet.pSheet->vVisibleFacets.data())];
                const auto [numLower, numUpper] = countAround(sheet, *pFacet, 3, 4);
                const bool bColored = pFacet->color == 3 || pFacet->color == 4;
                ASSERT_EQ(sLeft.contains(pFacet), !bColored);
                if (bColored && before != pFacet->color) {
                    const auto vNeigs = neigsOf(sheet, *pFacet);
                    ASSERT_TRUE((pFacet->color == 4 ? numUpper : numLower) >= minCount ||
                                std::ranges::count(vNeigs, pFacet->color, &Facet::color) > 0);
                }
                if (bColored) continue;
                ASSERT_EQ(pFacet->color, before);
                const bool bBoth = numLower > 0 && numUpper > 0;
                ASSERT_FALSE(std::max(numLower, numUpper) >= minCount && (!bBoth || bAllowTie));
                ASSERT_FALSE(pFacet->color == -1 &&
                             sheet.pSheet->cc_getWeight(const_cast<Facet*>(pFacet), 3, 4).second >= 10.0);
            }
        }
    });
}

TEST(Component, aPassByWeightLeavesNoFacetThatIsHeavyEnough) {
    forStrewnColors([](const SheetCase& sheet, std::vector<Facet*> vList) {
        for (const double minWeight : {20.0, 2.0, 1.0}) {
            for (std::size_t numColored = 1; numColored > 0;) {  // what became heavy too late is coloured by another call
                const std::size_t numBefore = vList.size();
                numColored = static_cast<std::size_t>(sheet.pSheet->cc_colorize_w(vList, 3, 4, minWeight));
                ASSERT_EQ(vList.size(), numBefore - numColored);
            }
            ASSERT_TRUE(std::ranges::is_sorted(vList));
            for (Facet* pFacet : vList) {
                const auto [color, weight] = sheet.pSheet->cc_getWeight(pFacet, 3, 4);
                ASSERT_TRUE(pFacet->color != -1 || weight < minWeight);
                // Heavy neighbours count ten, those around an edge of the rim one: only the heavier colour may win.
                std::array<int, 2> sum{};
                for (const Facet* pNeig : neigsOf(sheet, *pFacet))
                    if ((pNeig->color == 3 || pNeig->color == 4) && pNeig->rcd != pFacet->rcd)
                        sum[pNeig->color == 4 ? 1 : 0] +=
                            pNeig->idx == pFacet->idx || pNeig->state == FACET_STATE_AREA ? 10 : 1;
                ASSERT_TRUE(color == -99 || (color == (sum[1] > sum[0] ? 4 : 3) && weight == std::max(sum[0], sum[1])));
            }
        }
    });
}

TEST(Component, theSeamTakesColoursWhereTwoTouchAndOnlyThere) {
    forStrewnColors([](const SheetCase& sheet, std::vector<Facet*> vList) {
        const std::vector<int> vBefore = colorsOf(sheet.pSheet->vVisibleFacets);
        sheet.pSheet->cc_makeThinBorder(vList);
        const std::set<const Facet*> sListed(vList.begin(), vList.end());
        for (std::size_t i = 0; i < vBefore.size(); ++i) {
            Facet& facet = sheet.pSheet->vVisibleFacets[i];
            ASSERT_TRUE(!sListed.contains(&facet) || sheet.pSheet->getThinBorderWeight(&facet) == 0.0);
            const bool bTaken = facet.color != vBefore[i];
            ASSERT_TRUE(!bTaken || (facet.color == -1 && sListed.contains(&facet)));
            const auto vNeigs = neigsOf(sheet, facet);
            const auto differs = [&](const Facet* pNeig) {
                const int color = vBefore[static_cast<std::size_t>(pNeig - sheet.pSheet->vVisibleFacets.data())];
                return color >= 0 && color != vBefore[i];
            };
            ASSERT_TRUE(!bTaken || (vBefore[i] >= 0 && std::ranges::any_of(vNeigs, differs)));
        }
    });
    // On a flat sheet a facet upright in it weighs five, one that lies in it nothing.
    SheetCase flat(flatSheet(9));
    for (Facet& facet : flat.pSheet->vVisibleFacets)
        facet.color = facet.idx % 2;
    for (Facet& facet : flat.pSheet->vVisibleFacets) {
        const double weight = flat.pSheet->getThinBorderWeight(&facet);
        EXPECT_NEAR(weight, facet.idx < 4 && weight > 0.0 ? 5.0 : 0.0, 1e-9);
    }
}

TEST(Component, floodsPartOnlyAtFacetsThatLieAcrossTheSheet) {
    for (const VRCD& vCells : manyShapes()) {
        SheetCase sheet(vCells);
        sheet.pSheet->cc_createVisibleFacets();
        sheet.pSheet->cc_createFacetComponents();
        auto& vFacets = sheet.pSheet->vVisibleFacets;
        RemoveDecider_RCD decider(sheet.vAll, &sheet.calc);
        for (const Facet& facet : vFacets)
            for (const Facet* pNeig : neigsOf(sheet, facet)) {
                if (facet.color < 2 || pNeig->color <= facet.color) continue;  // the neighbour's flood came later
                const auto it = std::ranges::lower_bound(vFacets, Facet(pNeig->rcd, pNeig->idx ^ 1, -1, -1));
                ASSERT_TRUE(it != vFacets.end() && it->rcd == pNeig->rcd && it->idx == (pNeig->idx ^ 1));
                EXPECT_EQ(it->color, facet.color);
                EXPECT_EQ(decider.getOppState(pNeig->rcd, pNeig->idx), OPP_SEPARATED);
            }
    }
}

TEST(Component, findsNeighboursAmongTheFacetsOfTheMoment) {
    const VRCD vCells = raggedSheet(16, 2);
    VRCD vTurned;
    for (const RCD rcd : vCells)
        vTurned.push_back(packRCD(getY_RCD(rcd), getX_RCD(rcd), getZ_RCD(rcd)));
    std::sort(vTurned.begin(), vTurned.end());
    const SheetCase sheet(vCells), turned(vTurned);
    auto& vFacets = sheet.pSheet->vVisibleFacets;
    sheet.pSheet->vCells = turned.pSheet->vCells;
    vFacets = turned.pSheet->vVisibleFacets;  // as many as before
    for (std::size_t i = 0; i < vFacets.size(); ++i)
        ASSERT_EQ(sheet.pSheet->cc_getWeight(&vFacets[i], 0, 1),
                  turned.pSheet->cc_getWeight(&turned.pSheet->vVisibleFacets[i], 0, 1));
    sheet.pSheet->eliminateBorderIslands();
    turned.pSheet->eliminateBorderIslands();
    EXPECT_EQ(colorsOf(vFacets), colorsOf(turned.pSheet->vVisibleFacets));
    vFacets.erase(vFacets.begin() + 7);
    expectFails("*q_it==neigFacet", [&] { sheet.pSheet->eliminateBorderIslands(); });
    vFacets.pop_back();
    expectFails("q_it!=vVisibleFacets.end()", [&] { sheet.pSheet->cc_getWeight(&vFacets.back(), 0, 1); });
}

}  // namespace
