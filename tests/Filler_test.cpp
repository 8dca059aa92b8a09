// From cells to oriented sheets: who faces whom across gaps, votes, flips, groups.
#include "Filler.h"

#include "PartnerSearch.h"
#include "RemoveDecider_RCD.h"
#include "support/packedCells.h"
#include "support/points.h"
#include "support/prelude.h"

namespace {

using namespace TARN_TEST;
using AffiPair = Filler::AffiPair;

/// A Filler on a set of cells, with all that it refers to.
struct FillerCase {
    explicit FillerCase(VRCD vCells, int growSteps = 3, double sideLen = 1.0)
        : calc(0.0, 0.0, 0.0, 4096.0 * sideLen, 4096.0 * sideLen, 4096.0 * sideLen, 12),
          vRCDPoint(pointsIn(sorted(vCells), 0, calc)) {
        std::sort(vCells.begin(), vCells.end());
        RemoveDecider_RCD(vCells, &calc).detectAreaAndBorder(vArea, vBorder);
        const CoutSilence silence;
        pFiller = std::make_unique<Filler>(growSteps, vBorder, vArea, vRCDPoint, &calc);
        pFiller->createComponents();
    }
    std::vector<AffiPair> pairs(int maxDist = 150) {
        std::vector<AffiPair> vPairs;
        pFiller->determineAffiliation(maxDist, vPairs);
        return vPairs;
    }
    void orient() {
        std::vector<AffiPair> vPairs = pairs();
        pFiller->orient(vPairs);
    }

    Calc calc;
    VRCD vArea, vBorder;
    Component::VRCDPoint vRCDPoint;
    std::unique_ptr<Filler> pFiller;
};

/// A flat sheet of so many cells a side with its low corner there.
VRCD plate(int num, int x, int y, int z) {
    VRCD vRCD;
    for (int i = 0; i < num; ++i)
        for (int j = 0; j < num; ++j)
            vRCD.push_back(packedAt(x + i, y + j, z));
    return vRCD;
}
/// A shell cut across x, y and z where asked for, by slots of so many cells.
VRCD cutShell(int radius, int slot, std::array<bool, 3> across) {
    VRCD vRCD;
    for (const RCD rcd : toPacked(sphereShell(radius))) {
        const auto isInSlot = [&](auto coordinate) {
            const int c = static_cast<int>(coordinate(rcd)) - 1000 - radius;
            return c >= -slot / 2 && c < slot - slot / 2;
        };
        if (!(across[0] && isInSlot(getX_RCD)) && !(across[1] && isInSlot(getY_RCD)) && !(across[2] && isInSlot(getZ_RCD)))
            vRCD.push_back(rcd);
    }
    return vRCD;
}
/// Single cells, rows, and plates strewn over a cube.
VRCD strewn(int range, int numPieces, unsigned seed) {
    std::mt19937 random(seed);
    std::set<RCD> sRCD;
    for (int piece = 0; piece < numPieces; ++piece) {
        int at[3];
        for (int& c : at)
            c = 1000 + static_cast<int>(random() % static_cast<unsigned>(range));
        const int size = 1 + static_cast<int>(random() % 4), axis = static_cast<int>(random() % 3);
        const bool bRow = random() % 2 == 0;
        for (int i = 0; i < size * size; ++i) {
            const int u = bRow ? i : i / size, v = bRow ? 0 : i % size;
            std::array<int, 3> step{u, v, 0};
            std::rotate(step.begin(), step.begin() + axis, step.end());
            sRCD.insert(packedAt(at[0] + step[0], at[1] + step[1], at[2] + step[2]));
        }
    }
    return {sRCD.begin(), sRCD.end()};
}

std::int64_t sqDistOf(const AffiData* pA, const AffiData* pB) {
    std::int64_t sum = 0;
    for (const auto& coordinate : {getX_RCD, getY_RCD, getZ_RCD}) {
        const auto d = static_cast<std::int64_t>(coordinate(pA->rcd)) - static_cast<std::int64_t>(coordinate(pB->rcd));
        sum += d * d;
    }
    return sum;
}

/// The squared distance to the nearest rim cell of another sheet; a sheet of up to four cells counts within five cell edges.
/// Infinite when there is none within 10, 15, 20 and so on below maxDist.
double nearestByAllPairs(const Filler& filler, const AffiData* pA, int maxDist) {
    double best = INF;
    const int reach = maxDist < 11 ? 0 : 10 + (maxDist - 11) / 5 * 5;
    for (const AffiData* pB : filler.vAffi) {
        const auto sqDist = static_cast<double>(sqDistOf(pA, pB));
        const bool bSmall = pB->pComponent->getSize() <= 4 && std::sqrt(sqDist) >= 5.0 * filler.pCalc->getSideLen();
        if (pB->pComponent != pA->pComponent && !bSmall && sqDist <= reach * reach) best = std::min(best, sqDist);
    }
    return best;
}

// Which of several nearest cells is the partner isn't said here: all of them are as far.
TEST(Filler, partnersAreTheNearestThatMayBe) {
    std::size_t numPairs = 0;
    const auto expectAgreement = [&numPairs](const VRCD& vCells, double sideLen) {
        FillerCase c(vCells, 3, sideLen);
        for (const int maxDist : {10, 11, 16, 40, 150}) {
            for (AffiData* pAffi : c.pFiller->vAffi)
                pAffi->dist = FLT_MAX;
            const std::vector<AffiPair> vPairs = c.pairs(maxDist);
            std::map<const AffiData*, double> mNearest;
            for (const AffiData* pAffi : c.pFiller->vAffi) {
                mNearest[pAffi] = nearestByAllPairs(*c.pFiller, pAffi, maxDist);
                EXPECT_TRUE(mNearest[pAffi] == INF || pAffi->dist <= static_cast<float>(std::sqrt(mNearest[pAffi])));
            }
            for (const auto& [pA, pB] : vPairs) {
                const auto sqDist = static_cast<double>(sqDistOf(pA, pB));
                EXPECT_TRUE(pA < pB && (sqDist == mNearest[pA] || sqDist == mNearest[pB]));
                EXPECT_LT(std::sqrt(sqDist) - 3.0, static_cast<double>(std::min(pA->dist, pB->dist)));
            }
            EXPECT_EQ(vPairs.empty(), std::ranges::all_of(mNearest, [](const auto& entry) { return entry.second == INF; }));
            numPairs += vPairs.size();
        }
    };
    for (unsigned seed = 1; seed <= 6; ++seed)
        for (const double sideLen : {0.3, 1.0, 1000.0})
            expectAgreement(strewn(20 + 15 * static_cast<int>(seed * seed), 12 * static_cast<int>(seed), seed), sideLen);
    EXPECT_GT(numPairs, 1000U);
}

TEST(Filler, partnersReachOneHundredAndFortyFiveCells) {
    for (const auto& [distance, numMasters] : {std::pair(145, 1U), std::pair(146, 2U)}) {
        FillerCase c(joined(plate(6, 500, 500, 500), plate(6, 505 + distance, 500, 500)));
        c.orient();
        c.pFiller->createMasterComponents();
        EXPECT_EQ(c.pFiller->vMasterComponents.size(), numMasters) << distance;
    }
}

TEST(Filler, aConnectionIsLessThanThreeCellsLongerThanTheNearest) {
    for (const auto& [nearest, numConnections] : {std::pair(5, 0), std::pair(6, 2)}) {
        const auto rowAt = [](int x) {
            VRCD vRow;
            for (int j = 0; j < 6; ++j)
                vRow.push_back(packedAt(x, 500 + j, 500));
            return vRow;
        };
        FillerCase c(joined(rowAt(500), joined(rowAt(508), rowAt(508 + nearest))));
        const std::vector<AffiPair> vPairs = c.pairs();
        const Component* pFar = c.pFiller->vComponents[0];
        // Each cell of the far row chooses one of the middle row; those have nearer ones on their other side.
        const auto numFar =
            std::count_if(vPairs.begin(), vPairs.end(), [pFar](const AffiPair& pr) { return pr.first->pComponent == pFar; });
        EXPECT_EQ(numFar, 3 * numConnections);
        EXPECT_EQ(vPairs.size() - static_cast<std::size_t>(numFar), 12U);  // mutual ones twice
    }
}

TEST(Filler, aLoneSheetIsFlippedOnceAndStandsForItself) {
    FillerCase c(plate(9, 500, 500, 500));
    c.orient();
    ASSERT_EQ(c.pFiller->vComponents.size(), 1U);
    const Component& sheet = *c.pFiller->vComponents.front();
    EXPECT_TRUE(sheet.isOriented() && sheet.getScore() == 0.0);
    for (const Facet& facet : sheet.vVisibleFacets) {
        const int expected = facet.idx == 4 ? 1 : 0;
        EXPECT_TRUE(facet.state == FACET_STATE_BORDER || facet.color == expected);
    }
    c.pFiller->createMasterComponents();
    ASSERT_EQ(c.pFiller->vMasterComponents.size(), 1U);
    const Component& master = *c.pFiller->vMasterComponents.front();
    EXPECT_TRUE(master.vCells == sheet.vCells && master.vBorder == sheet.vBorder && master.vArea == sheet.vArea);
    EXPECT_TRUE(master.vVisibleFacets == sheet.vVisibleFacets && master.numGrowSteps == 3);
    c.vArea.pop_back();
    expectFails("vGlobalAreaRCD.size()+vGlobalBorderRCD.size()==vGlobalRCDPoint.size()",
                [&c] { Filler(1, c.vBorder, c.vArea, c.vRCDPoint, &c.calc); });
}

/// Two halves, whichever of them is flipped before, and four slices. An upper and a lower half take different sides for the
/// upper one at first.
TEST(Filler, piecesOfOneSurfaceGetLikeSides) {
    const std::array<bool, 3> acrossX{true, false, false}, acrossZ{false, false, true}, acrossXY{true, true, false};
    for (const int slot : {2, 8})
        for (const auto& [across, flips] :
             {std::pair(acrossX, 0), {acrossX, 1}, {acrossX, 2}, {acrossZ, 0}, {acrossXY, 0}}) {
            FillerCase c(cutShell(14, slot, across));
            auto& vComponents = c.pFiller->vComponents;
            ASSERT_EQ(vComponents.size(), across == acrossXY ? 4U : 2U);
            for (std::size_t i = 0; i < vComponents.size(); ++i)
                if ((flips >> i & 1) != 0) vComponents[i]->flip();
            c.orient();
            int aCount[2] = {0, 0};  // facets that look outward, by color
            for (const Component* pSheet : vComponents) {
                EXPECT_GT(pSheet->getScore(), 0.0);
                for (const Facet& facet : pSheet->vVisibleFacets) {
                    const Vector3 radial = c.calc.getMidPoint_RCD(facet.rcd) - Point3(1014.5, 1014.5, 1014.5);
                    if (facet.color != -1 && radial * Facet::axes[facet.idx] > 7.0) ++aCount[facet.color];
                }
            }
            EXPECT_EQ(std::min(aCount[0], aCount[1]), 0) << slot << " " << flips;
            EXPECT_GT(std::max(aCount[0], aCount[1]), 400);
            c.pFiller->createMasterComponents();
            ASSERT_EQ(c.pFiller->vMasterComponents.size(), 1U);
            EXPECT_EQ(c.pFiller->vMasterComponents.front()->getSize(), c.vRCDPoint.size());
        }
}

/// Ends, proposes free cells inside the grid only, each once.
TEST(Filler, anyInputEnds) {
    VRCD vLone;
    for (int i = 0; i < 1000; ++i)
        vLone.push_back(packedAt(1000 + 3 * (i % 10), 1000 + 3 * (i / 10 % 10), 1000 + 3 * (i / 100)));
    // A hole that closes over a lone cell in its middle. No sheet is related to this one: the nearest cells of the rim have
    // nearer partners, single cells above them.
    const VRCD vHole = packedWhere(31, [](int i, int j, int k) {
        const int x = std::abs(i - 15), y = std::abs(j - 15);
        return k == 9 ? std::max(x, y) > 5 || x + y == 0 : k == 12 && std::min(x, y) == 0 && x + y == 6;
    });
    const VRCD vSolid = packedWhere(8, [](int, int, int) { return true; });
    for (const VRCD& vCells : {VRCD(), vLone, vHole, moebius(7), vSolid, strewn(60, 200, 1), randomPacked(12, 0.3, 2),
                               randomPacked(12, 0.7, 3), cutShell(10, 3, {true, true, false})}) {
        FillerCase c(vCells, 12);
        Filler filler(12, c.vBorder, c.vArea, c.vRCDPoint, &c.calc);
        Component::VRCDPoint vOut;
        outputOf([&] { filler.run(vOut); });
        EXPECT_TRUE(vCells != vHole || vOut.size() >= 100);
        EXPECT_EQ(std::ranges::adjacent_find(vOut, std::greater_equal<>(), &Component::VRCDPoint::value_type::first),
                  vOut.end());
        for (const auto& [rcd, point] : vOut) {
            EXPECT_FALSE(std::binary_search(vCells.begin(), vCells.end(), rcd));
            EXPECT_EQ(c.calc.getRCD(&point), rcd);
        }
    }
}

}  // namespace
