// The sparse lattice of corners with its links, and the laws of smoothing its values.
#include "CornerStore.h"

#include "CornerLowPass.h"
#include "support/packedCells.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

Corner* put(CornerStore& store, RCC rcc, int state, float val, float weight = 1.0F) {
    Corner* pCorner = store.createCorner(rcc);
    pCorner->state = static_cast<std::int8_t>(state);
    pCorner->val = val;
    pCorner->weight = weight;
    return pCorner;
}

/// Corners made in random order with random values, some of them 0 or tiny; border corners get the sign of their side.
struct RandomField {
    RandomField(unsigned seed, int num, double chance) {
        std::mt19937 random(seed);
        VRCC vRCC = randomPacked(num, chance, seed);
        std::shuffle(vRCC.begin(), vRCC.end(), random);
        const auto uniform = [&random] { return static_cast<float>(random()) / 4294967296.0F; };
        for (const RCC rcc : vRCC) {
            const int state = 1 + static_cast<int>(random() % 7);
            float val = uniform() * (random() % 4 == 0 ? FLT_MIN : 3.0F) + FLT_MIN;
            if (state == ST_LOWER_BORDER || (state != ST_UPPER_BORDER && random() % 2 == 0)) val = -val;
            if (state >= ST_DUAL_NO_EMITTER && random() % 3 == 0) val = 0.0F;
            put(store, rcc, state, val, 0.1F + uniform());
        }
    }
    std::vector<Corner*> neigsOf(Corner* pCorner) {
        return listOf<Corner*>([&](auto& v) { store.getNeigs(pCorner, v); });
    }
    Calc calc = unitGrid();
    CornerStore store{&calc};
};

void smooth(CornerStore& store, int numRounds, bool bUseWeights) {
    CornerLowPass lowPass(store.getCornersRef(), 0.5F, bUseWeights);
    for (int round = 0; round < numRounds; ++round)
        lowPass.runRound();
    lowPass.store();
}

}  // namespace

TEST(CornerStore, linksEachCornerWithItsNeighboursInTheOrderOfTheirAge) {
    forSeeds(20, [&](unsigned seed) {
        RandomField field(seed, 8, 0.05 * (seed + 1));
        const auto& corners = field.store.getCornersRef();
        std::map<RCC, std::size_t> mAge;
        for (const Corner* pCorner : corners)
            mAge.emplace(pCorner->rcc, mAge.size());
        for (Corner* pCorner : corners) {
            // Those that were there first by axis, the rest by age.
            std::vector<std::pair<std::size_t, Corner*>> vNeig;
            VRCC vMissing;
            for (const RCC step : RCD_FACE_STEPS) {
                const auto it = mAge.find(pCorner->rcc + step);
                if (it == mAge.end())
                    vMissing.push_back(pCorner->rcc + step);
                else
                    vNeig.emplace_back(std::max(it->second, mAge[pCorner->rcc]), corners[it->second]);
            }
            std::ranges::stable_sort(vNeig, {}, &std::pair<std::size_t, Corner*>::first);
            EXPECT_TRUE(std::ranges::equal(field.neigsOf(pCorner), vNeig, {}, {}, &std::pair<std::size_t, Corner*>::second));
            EXPECT_EQ(pCorner->hasFreeSlot(), !vMissing.empty());
            EXPECT_EQ(listOf<RCC>([&](VRCC& v) { field.store.getMissingNeigs(*pCorner, v); }), vMissing);
        }
    });
}

TEST(CornerStore, wrongUseIsAnAssertion) {
    Calc calc = unitGrid();
    CornerStore store(&calc);
    Corner* pCorner = put(store, packedAt(5, 5, 5), ST_INFLATED, 1.0F);
    EXPECT_EQ(store.createCorner(packedAt(5, 5, 6))->val, FLT_MAX) << "no value yet";
    EXPECT_EQ(store.find(packedAt(5, 6, 5)), nullptr);
    expectFails("bRegistered", [&] { store.createCorner(packedAt(5, 5, 5)); });
    std::vector<Corner*> vNeigs = {pCorner};
    expectFails("vNeigs.empty()", [&] { store.getNeigs(pCorner, vNeigs); });
    const std::string unset = KEL_STRINGIFY(FLT_MAX);
    const auto smoothIt = [&store] { smooth(store, 1, true); };
    expectFails("neigVal!=" + unset, smoothIt);
    store.find(packedAt(5, 5, 6))->val = 0.0F;
    for (const auto& [state, val, condition] :
         {std::tuple{ST_INFLATED, FLT_MAX, "ownVal!=" + unset + " && ownWeight!=" + unset},
          {ST_LOWER_BORDER, 1.0F, "pReceivingCorner->val<0 || pReceivingCorner->val==" + unset},
          {ST_UPPER_BORDER, 0.0F, "pReceivingCorner->val>0"}}) {
        pCorner->state = static_cast<std::int8_t>(state);
        pCorner->val = val;
        expectFails(condition, smoothIt);
    }
}

TEST(CornerStore, findsTheFront) {
    for (const auto& [num, seed] : {std::pair{7, 3U}, {40, 4U}}) {  // on the calling thread, and on the pool
        RandomField field(seed, num, 0.9);
        VRCC vFront = {1, 2, 3}, vExpected;
        field.store.getFront(1.5, vFront);
        for (Corner* pCorner : field.store.getCornersRef())
            if (field.neigsOf(pCorner).size() < 6 && pCorner->val != 0 && std::fabs(pCorner->val) < 1.5F)
                vExpected.push_back(pCorner->rcc);
        EXPECT_EQ(vFront, vExpected);
        EXPECT_FALSE(vFront.empty());
    }
}

TEST(CornerLowPass, aRoundTakesTheMeanAndKeepsWhatIsFixedAndTheSides) {
    forSeeds(24, [&](unsigned seed) {
        RandomField field(seed, seed == 7 ? 40 : 9, 0.3 + 0.1 * (seed % 8)),
            before(seed, seed == 7 ? 40 : 9, 0.3 + 0.1 * (seed % 8));
        const bool bUseWeights = seed % 4 != 3;
        smooth(field.store, 1, bUseWeights);
        for (std::size_t i = 0; i < field.store.getCornersRef().size(); ++i) {
            const Corner& after = *field.store.getCornersRef()[i];
            std::vector<Corner*> vTerms = before.neigsOf(before.store.getCornersRef()[i]);
            vTerms.push_back(before.store.getCornersRef()[i]);
            if (!after.isFree()) {
                ASSERT_TRUE(after.val == vTerms.back()->val && after.weight == vTerms.back()->weight);
                continue;
            }
            double sum = 0.0, weights = 0.0;
            for (const Corner* pTerm : vTerms) {
                const double weight = bUseWeights ? static_cast<double>(pTerm->weight) : 1.0;
                sum += weight * static_cast<double>(pTerm->val);
                weights += weight;
            }
            const double low = after.state == ST_UPPER_BORDER ? 0.0 : after.state == ST_LOWER_BORDER ? -0.5 : -INF;
            const double high = after.state == ST_UPPER_BORDER ? 0.5 : after.state == ST_LOWER_BORDER ? 0.0 : INF;
            ASSERT_NEAR(after.val, std::clamp(sum / weights, low, high), 1e-5);
            ASSERT_NEAR(after.weight, weights / static_cast<double>(vTerms.size()), 1e-5);
            ASSERT_NE(after.val, 0.0F);
        }
    });
}

TEST(CornerLowPass, aMeanOfNothingIsTheSmallestNumberAndRoundsFollowEachOther) {
    for (const int state : {ST_LOWER_BORDER, ST_UPPER_BORDER}) {
        Calc calc = unitGrid();
        CornerStore store(&calc);
        const float own = state == ST_LOWER_BORDER ? -1.0F : 1.0F;
        const Corner* pMiddle = put(store, packedAt(5, 5, 5), state, own);
        for (const int z : {4, 6})
            put(store, packedAt(5, 5, z), ST_LOWER_STRIP, -0.5F * own);
        smooth(store, 1, true);
        EXPECT_EQ(pMiddle->val, own > 0 ? FLT_MIN : -FLT_MIN);
    }
    RandomField atOnce(5, 9, 0.8), inTurn(5, 9, 0.8);
    smooth(atOnce.store, 3, true);
    for (int round = 0; round < 3; ++round)
        smooth(inTurn.store, 1, true);
    EXPECT_TRUE(
        std::ranges::equal(atOnce.store.getCornersRef(), inTurn.store.getCornersRef(), {}, &Corner::val, &Corner::val));
}
