// The sparse lattice of corners with its links, and the smoothing of its values, against maps.
#include "CornerStore.h"

#include "CornerLowPass.h"
#include "support/packedCells.h"
#include "support/plain_field.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// The same corners in a store and in a map, made in random order with random values. Border corners get the sign of their
/// side; seeds tell how many values are 0 or tiny.
struct Pair {
    Pair(unsigned seed, int num, double chance) : calc(unitGrid()), store(&calc) {
        std::mt19937 random(seed);
        VRCC vRCC = randomPacked(num, chance, seed);
        std::shuffle(vRCC.begin(), vRCC.end(), random);
        const auto uniform = [&random] { return static_cast<float>(random()) / 4294967296.0F; };
        for (const RCC rcc : vRCC) {
            const int state = 1 + static_cast<int>(random() % 7);
            float val = uniform() * (random() % 4 == 0 ? FLT_MIN : 3.0F) + FLT_MIN;
            if (state == ST_LOWER_BORDER || (state != ST_UPPER_BORDER && random() % 2 == 0)) val = -val;
            if (state >= ST_DUAL_NO_EMITTER && random() % 3 == 0) val = 0.0F;
            const float weight = 0.1F + uniform();
            plain.add(rcc, state, val, weight);
            Corner* pCorner = store.createCorner(rcc);
            pCorner->state = static_cast<std::int8_t>(state);
            pCorner->val = val;
            pCorner->weight = weight;
        }
    }
    Calc calc;
    CornerStore store;
    PlainField plain;
};

}  // namespace

TEST(CornerStore, linksEachCornerWithItsNeighboursInTheOrderOfTheirAge) {
    forSeeds(20, [&](unsigned seed) {
        Pair pair(seed, 8, 0.05 * (seed + 1));
        EXPECT_EQ(firstDifference(pair.plain, pair.store), "");
        for (Corner* pCorner : pair.store.getCornersRef()) {
            VRCC vLinked, vMissing, vAround;
            std::vector<Corner*> vNeigs;
            pair.store.getNeigs(pCorner, vNeigs);
            for (const Corner* pNeig : vNeigs)
                vLinked.push_back(pNeig->rcc);
            EXPECT_EQ(vLinked, pair.plain.neigsOf(pCorner->rcc));
            EXPECT_EQ(pCorner->hasFreeSlot(), vLinked.size() < 6);
            pair.store.getMissingNeigs(*pCorner, vMissing);
            for (const RCC step : RCD_FACE_STEPS)
                if (pair.plain.nodes.count(pCorner->rcc + step) == 0) vAround.push_back(pCorner->rcc + step);
            EXPECT_EQ(vMissing, vAround);
        }
    });
}

TEST(CornerStore, holdsEachCornerOnceAndWithoutAValue) {
    Calc calc = unitGrid();
    CornerStore store(&calc);
    EXPECT_EQ(store.find(packedAt(5, 6, 7)), nullptr);
    Corner* pCorner = store.createCorner(packedAt(5, 6, 7));
    EXPECT_EQ(store.find(packedAt(5, 6, 7)), pCorner);
    EXPECT_EQ(pCorner->getState(), ST_NONE);
    EXPECT_EQ(std::min(pCorner->val, pCorner->weight), FLT_MAX);
    EXPECT_EQ(store.getPosition(pCorner->rcc), Point3(5.0, 6.0, 7.0));
    expectFails("bRegistered", [&] { store.createCorner(packedAt(5, 6, 7)); });
    std::vector<Corner*> vNeigs = {pCorner};
    expectFails("vNeigs.empty()", [&] { store.getNeigs(pCorner, vNeigs); });
}

TEST(CornerStore, findsTheFront) {
    const int low[3] = {0, 0, 0}, high[3] = {4096, 4096, 4096};
    for (const auto& [num, seed] : {std::pair{7, 3U}, {40, 4U}}) {  // on the calling thread, and on the pool
        Pair pair(seed, num, 0.9);
        VRCC vFront = {1, 2, 3}, vExpected;
        pair.store.getFront(1.5, vFront);
        for (const Corner* pCorner : pair.store.getCornersRef())
            if (pair.plain.emits(pCorner->rcc, 1.5F, low, high)) vExpected.push_back(pCorner->rcc);
        EXPECT_EQ(vFront, vExpected);
        EXPECT_FALSE(vFront.empty());
    }
}

TEST(CornerLowPass, agreesWithMapsBitByBit) {
    forSeeds(24, [&](unsigned seed) {
        const bool bOnPool = seed == 7;
        Pair pair(seed, bOnPool ? 40 : 9, 0.3 + 0.1 * (seed % 8));
        const bool bUseWeights = seed % 4 != 3;
        CornerLowPass lowPass(pair.store.getCornersRef(), 0.5F, bUseWeights);
        for (int round = 0; round < 5; ++round)
            lowPass.runRound();
        lowPass.store();
        pair.plain.lowPass(5, bUseWeights, 0.5F);
        EXPECT_EQ(firstDifference(pair.plain, pair.store), "");
    });
}

TEST(CornerLowPass, refusesCornersWithoutAValueOrOnTheWrongSide) {
    const std::string unset = KEL_STRINGIFY(FLT_MAX);
    struct Case {
        int state;
        float val, neigVal;
        std::string condition;
    };
    for (const Case& test : {Case{ST_INFLATED, FLT_MAX, 1.0F, "ownVal!=" + unset + " && ownWeight!=" + unset},
                             Case{ST_INFLATED, 1.0F, FLT_MAX, "neigVal!=" + unset},
                             Case{ST_LOWER_BORDER, 1.0F, 1.0F, "pReceivingCorner->val<0 || pReceivingCorner->val==" + unset},
                             Case{ST_UPPER_BORDER, 0.0F, 1.0F, "pReceivingCorner->val>0"}}) {
        Calc calc = unitGrid();
        CornerStore store(&calc);
        for (const int z : {5, 6}) {
            Corner* pCorner = store.createCorner(packedAt(5, 5, z));
            pCorner->state = static_cast<std::int8_t>(z == 5 ? test.state : ST_LOWER_STRIP);
            pCorner->val = z == 5 ? test.val : test.neigVal;
            pCorner->weight = 1.0F;
        }
        expectFails(test.condition, [&] { CornerLowPass(store.getCornersRef(), 0.5F, true); });
    }
}
