// Facets and the colours of sheets: the surface is closed, both sides are found, and the fast colouring is the plain one.
#include "Component.h"

#include "Filler.h"
#include "support/packedCells.h"
#include "support/plain_sheet.h"
#include "support/prelude.h"
#include "support/sheets.h"

namespace {

using namespace TARN_TEST;

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
std::vector<Facet*> pointersTo(std::vector<Facet>& vFacets, const std::vector<std::size_t>& vPlace) {
    std::vector<Facet*> vPointer;
    for (const std::size_t i : vPlace)
        vPointer.push_back(&vFacets[i]);
    return vPointer;
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
                // The neighbour has this facet across the very same lattice edge, walked the same way or back.
                EdgePair own, back;
                vFacets[i].fetchEdge(edge, own);
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

TEST(Facet, cornersAndAxesLieOnItsSide) {
    const RCD cell = packedAt(500, 500, 500);
    for (int idx = 0; idx < 6; ++idx) {
        Point3 sum;
        for (int edge = 0; edge < 4; ++edge) {
            EdgePair ends, next;
            Facet(cell, idx, -1, -1).fetchEdge(edge, ends);
            Facet(cell, idx, -1, -1).fetchEdge((edge + 1) % 4, next);
            EXPECT_EQ(ends.second, next.first);
            sum = sum + (unitGrid().getRefPoint(unitGrid().rcd2ccd(ends.first)) - Point3()) * 0.25;
        }
        const Vector3 out = (sum - unitGrid().getMidPoint_RCD(cell)) * 2.0;
        EXPECT_EQ(out.x(), Facet::axes[idx].x());
        EXPECT_EQ(out.y(), Facet::axes[idx].y());
        EXPECT_EQ(out.z(), Facet::axes[idx].z());
    }
}

TEST(Component, aFlatSheetHasTwoSidesTheUpperOneUp) {
    for (const int num : {4, 5, 12}) {
        const SheetCase sheet(flatSheet(num));
        int numInner = 0;
        for (const Facet& facet : sheet.pSheet->vVisibleFacets) {
            if (facet.state != FACET_STATE_AREA) continue;
            ++numInner;
            EXPECT_EQ(facet.color, facet.idx == 5 ? 1 : 0) << num;
        }
        EXPECT_EQ(numInner, 2 * (num - 2) * (num - 2));
        // Round the rim the two sides don't touch, but no facet with only one side around it is left bare.
        PlainSheet plain(*sheet.pSheet);
        plain.vFacets = sheet.pSheet->vVisibleFacets;
        for (const Facet& facet : plain.vFacets)
            for (const Facet* pNeig : plain.neigs(facet))
                EXPECT_FALSE(facet.color + pNeig->color == 1 && facet.color != -1 && pNeig->color != -1);
    }
}

TEST(Component, aBentAndASphericalSheetHaveTwoSides) {
    // {a facet of the upper side, a facet of the lower one}
    const auto expectSides = [](const SheetCase& sheet, const auto& isUpper, const auto& isLower) {
        int numSeen[2] = {0, 0};
        for (const Facet& facet : sheet.pSheet->vVisibleFacets) {
            const int expected = isUpper(facet) ? 1 : isLower(facet) ? 0 : -1;
            if (facet.color == -1 || expected == -1) continue;
            EXPECT_EQ(facet.color, expected);
            ++numSeen[expected];
        }
        EXPECT_GT(numSeen[0], 100);
        EXPECT_GT(numSeen[1], 100);
    };
    expectSides(
        SheetCase(bentSheet(24)), [](const Facet& facet) { return facet.idx == 5 && facet.state == FACET_STATE_AREA; },
        [](const Facet& facet) { return facet.idx == 4 && facet.state == FACET_STATE_AREA; });
    // Of a sphere the outer side has more facets that look up.
    const auto outward = [](const Facet& facet) {
        const Vector3 radial = unitGrid().getMidPoint_RCD(facet.rcd) - Point3(1009.5, 1009.5, 1009.5);
        return radial * Facet::axes[facet.idx];
    };
    expectSides(
        SheetCase(toPacked(sphereShell(9))), [&](const Facet& facet) { return outward(facet) > 3.0; },
        [&](const Facet& facet) { return outward(facet) < -3.0; });
}

TEST(Component, withoutTwoSidesNothingIsColoured) {
    for (const VRCD& vCells :
         {VRCD{}, VRCD{packedAt(500, 500, 500)}, flatSheet(3), packedWhere(6, [](int, int, int) { return true; })}) {
        const SheetCase sheet(vCells);
        bool bResult = true;
        const std::string output = outputOf([&] { bResult = sheet.pSheet->stage1_createFacetCCs(); });
        EXPECT_FALSE(bResult);
        EXPECT_EQ(countIn(output, ", numRCD=" + std::to_string(vCells.size())), 1);
        EXPECT_EQ(countIn(output, "vCountGroup.size()="), 1);
        for (const Facet& facet : sheet.pSheet->vVisibleFacets)
            EXPECT_EQ(facet.color, -1);
    }
}

TEST(Component, colouringAgreesWithThePlainForm) {
    int numTwoSided = 0, number = 0;
    for (const VRCD& vCells : manyShapes()) {
        const SheetCase sheet(vCells, 7 + static_cast<unsigned>(number));
        PlainSheet plain(*sheet.pSheet);
        numTwoSided += plain.colorize() ? 1 : 0;
        EXPECT_EQ(sheet.pSheet->vVisibleFacets, plain.vFacets);
        EXPECT_EQ(colorsOf(sheet.pSheet->vVisibleFacets), colorsOf(plain.vFacets)) << "shape " << number;
        ++number;
    }
    EXPECT_GT(numTwoSided, number / 2);
}

TEST(Component, eachStepOfTheColouringAgreesWithThePlainForm) {
    unsigned number = 0;
    for (const VRCD& vCells : manyShapes())
        for (const unsigned seed : {1 + number / 2 % 4, 1 + (number / 2 + 1) % 4}) {
            const SheetCase sheet(vCells, seed);
            PlainSheet plain(*sheet.pSheet);
            // Random colors in spots, few or many.
            std::mt19937 random(seed);
            std::vector<std::size_t> vPlace;
            for (std::size_t i = 0; i < plain.vFacets.size(); ++i) {
                const auto dice = random() % (3 * seed * seed);
                plain.vFacets[i].color = dice == 0 ? 4 : dice == 1 ? 3 : dice == 2 ? 7 : dice == 3 ? -5 : -1;
                if (random() % 8 != 0) vPlace.push_back(i);
            }
            auto& vFacets = sheet.pSheet->vVisibleFacets;
            for (std::size_t i = 0; i < vFacets.size(); ++i)
                vFacets[i].color = plain.vFacets[i].color;
            auto vList = pointersTo(vFacets, vPlace), vPlainList = pointersTo(plain.vFacets, vPlace);
            const auto expectAgreement = [&](const std::string& step) {
                EXPECT_EQ(colorsOf(vFacets), colorsOf(plain.vFacets)) << step << " " << number;
                ASSERT_EQ(vList.size(), vPlainList.size()) << step << " " << number;
                for (std::size_t i = 0; i < vList.size(); ++i)
                    ASSERT_EQ(vList[i] - vFacets.data(), vPlainList[i] - plain.vFacets.data()) << step << " " << number;
            };
            for (const auto& [minCount, bAllowTie] : {std::pair(5, false), std::pair(2, false), std::pair(3, true)}) {
                sheet.pSheet->cc_colorize_27(vList, 3, 4, minCount, bAllowTie);
                plain.colorize27(vPlainList, 3, 4, minCount, bAllowTie);
                expectAgreement("by blocks");
            }
            for (std::size_t i = 0; i < vFacets.size(); ++i)
                EXPECT_EQ(sheet.pSheet->cc_getWeight(&vFacets[i], 3, 4), plain.weight(plain.vFacets[i], 3, 4));
            const std::size_t half = vList.size() / 2;  // the order of the list decides where weights are equal
            std::rotate(vList.begin(), vList.begin() + static_cast<std::ptrdiff_t>(half), vList.end());
            std::rotate(vPlainList.begin(), vPlainList.begin() + static_cast<std::ptrdiff_t>(half), vPlainList.end());
            for (const double minWeight : {20.0, 2.0, 1.0}) {
                const int num = sheet.pSheet->cc_colorize_w(vList, 3, 4, minWeight);
                EXPECT_EQ(num, plain.colorizeW(vPlainList, 3, 4, minWeight));
                expectAgreement("by weight");
            }
            vList = pointersTo(vFacets, vPlace), vPlainList = pointersTo(plain.vFacets, vPlace);
            EXPECT_EQ(sheet.pSheet->getThinBorderWeight(vList.front()), plain.seamWeight(*vPlainList.front()));
            sheet.pSheet->cc_makeThinBorder(vList);
            plain.makeThinBorder(vPlainList);
            expectAgreement("seam");
            ++number;
        }
}

TEST(Component, theFloodLeavesNoInnerFacetUntouchedAndCountsItself) {
    const SheetCase sheet(flatSheet(9));
    sheet.pSheet->cc_createVisibleFacets();
    EXPECT_EQ(sheet.pSheet->cc_createFacetComponents(), 1);
    for (const Facet& facet : sheet.pSheet->vVisibleFacets)
        EXPECT_EQ(facet.color >= 2, facet.state == FACET_STATE_AREA);
    const SheetCase lone({packedAt(500, 500, 500)});
    lone.pSheet->cc_createVisibleFacets();
    EXPECT_EQ(lone.pSheet->cc_createFacetComponents(), -1);
}

/// Steps from the open cells over facets of the same color, by relaxation.
TEST(Component, theStripIsABandAlongTheSeam) {
    for (const VRCD& vCells : {flatSheet(20), raggedSheet(20, 3)})
        for (const int numLayers : {0, 1, 5}) {
            const SheetCase sheet(vCells, 5);
            auto& vFacets = sheet.pSheet->vVisibleFacets;
            for (const Facet& facet : vFacets)
                if (facet.color < 0) sheet.pSheet->vOpenCells.push_back(facet.rcd);
            sheet.pSheet->vOpenCells.erase(std::unique(sheet.pSheet->vOpenCells.begin(), sheet.pSheet->vOpenCells.end()),
                                           sheet.pSheet->vOpenCells.end());
            std::vector<Facet*> vUpper, vStrip;
            std::map<Facet*, int> mSteps;
            for (Facet& facet : vFacets) {
                if (facet.color == 1) vUpper.push_back(&facet);
                if (facet.color == 1 && PlainSheet::isIn(sheet.pSheet->vOpenCells, facet.rcd)) mSteps[&facet] = 0;
            }
            for (int layer = 0; layer < numLayers; ++layer)
                for (const auto& [pFacet, steps] : std::map<Facet*, int>(mSteps))
                    for (int edge = 0; edge < 4; ++edge) {
                        Facet* pNeig = pFacet->fetchNeigPtr(vCells, vFacets, edge);
                        if (pNeig->color == 1) mSteps.emplace(pNeig, layer + 1);
                    }
            std::vector<Facet*> vExpected;
            for (const auto& [pFacet, steps] : mSteps)
                vExpected.push_back(pFacet);
            sheet.pSheet->getBorderStrip(vUpper, vStrip, numLayers);
            EXPECT_EQ(vStrip, vExpected);
            EXPECT_LT(vStrip.size(), vUpper.size());
        }
}

TEST(Component, countsTheFacetsAroundACell) {
    for (const VRCD& vCells : {flatSheet(9), raggedSheet(20, 3)}) {
        const SheetCase sheet(vCells, 5);
        for (const RCD centre : vCells) {
            std::array<int, 6> a0, a1, b0{}, b1{};
            sheet.pSheet->getOrientationCount(centre, a0.data(), a1.data());
            for (const Facet& facet : sheet.pSheet->vVisibleFacets) {
                const auto isNear = [&](auto coordinate) {
                    return std::llabs(static_cast<long long>(coordinate(facet.rcd) - coordinate(centre))) <= 1;
                };
                if (!isNear(getX_RCD) || !isNear(getY_RCD) || !isNear(getZ_RCD) || facet.color == -1) continue;
                ++(facet.color == 0 ? b0 : b1)[static_cast<std::size_t>(facet.idx)];
            }
            ASSERT_EQ(a0, b0);
            ASSERT_EQ(a1, b1);
        }
        sheet.pSheet->vVisibleFacets.front().color = 2;
        int a0[6], a1[6];
        expectFails("false", [&] { sheet.pSheet->getOrientationCount(vCells.front(), a0, a1); });
    }
}

TEST(Component, flippingSwapsSidesAndNegatesVotes) {
    const SheetCase sheet(flatSheet(9)), other(flatSheet(5));
    std::array<ConnectionStruct, 3> votes{};
    double score = 0.5;
    for (ConnectionStruct& vote : votes) {
        vote.pComponent0 = sheet.pSheet.get();
        vote.pComponent1 = other.pSheet.get();
        vote.score = score *= -3.0;
        sheet.pSheet->registerConnectionStruct(&vote);
    }
    sheet.pSheet->registerConnectionStruct(&votes[0]);  // a repeat is negated once
    const std::vector<int> vBefore = colorsOf(sheet.pSheet->vVisibleFacets);
    sheet.pSheet->flip();
    EXPECT_EQ(sheet.pSheet->vConnectionStructs.size(), votes.size());
    EXPECT_EQ(sheet.pSheet->getScore(), 1.5 - 4.5 + 13.5);
    for (std::size_t i = 0; i < vBefore.size(); ++i)
        EXPECT_EQ(sheet.pSheet->vVisibleFacets[i].color, vBefore[i] < 0 ? vBefore[i] : 1 - vBefore[i]);
    EXPECT_EQ(other.pSheet->getScore(), 0.0);
}

}  // namespace
