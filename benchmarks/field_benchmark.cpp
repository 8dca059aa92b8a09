// The field that closes gaps: twenty rounds of smoothing on arrays against rounds over corners by pointer, and the making of
// linked corners.
//
// Argument: the width of a square slab of nine layers of corners, between two fixed ones.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "CornerLowPass.h"
#include "CornerStore.h"
#include "support/packedCells.h"

using namespace TARN_KEL;

namespace {

constexpr int NUM_LAYERS = 11, NUM_ROUNDS = 20;

Calc calc = TARN_TEST::unitGrid();

void fill(CornerStore& store, int width) {
    for (int layer = 0; layer < NUM_LAYERS; ++layer)
        for (int x = 0; x < width; ++x)
            for (int y = 0; y < width; ++y) {
                Corner* pCorner = store.createCorner(TARN_TEST::packedAt(500 + x, 500 + y, 500 + layer));
                const bool bFixed = layer == 0 || layer == NUM_LAYERS - 1;
                pCorner->state = static_cast<std::int8_t>(bFixed ? ST_FACET_REST : ST_INFLATED);
                pCorner->val = static_cast<float>(layer - NUM_LAYERS / 2) + 0.01F * static_cast<float>((7 * x + 3 * y) % 10);
                pCorner->weight = bFixed ? 1.0F : 0.3F;
            }
}

void report(benchmark::State& state, const CornerStore& store, int numRounds) {
    const auto numCorners = static_cast<std::int64_t>(store.getCornersRef().size());
    state.counters["corners"] = static_cast<double>(numCorners);
    state.SetItemsProcessed(state.iterations() * numCorners * numRounds);
}

void lowPass(benchmark::State& state) {
    CornerStore store(&calc);
    fill(store, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        CornerLowPass lowPass(store.getCornersRef(), 0.5F, true);
        for (int round = 0; round < NUM_ROUNDS; ++round)
            lowPass.runRound();
        lowPass.store();
    }
    report(state, store, NUM_ROUNDS);
}

// The yardstick: corner and neighbours by pointer, all on one thread; first all new values, then all stores.
struct PlainNeigs {
    Corner* pCorner;
    std::array<const Corner*, 6> neigs;
    float newVal, newWeight;
};

void runPlainRound(std::vector<PlainNeigs>& vNeigs) {
    for (PlainNeigs& n : vNeigs) {
        if (!n.pCorner->isFree()) continue;
        float sum = n.pCorner->val * n.pCorner->weight, weights = n.pCorner->weight;
        int count = 1;
        for (const Corner* pNeig : n.neigs) {
            if (pNeig == nullptr) break;
            sum += pNeig->weight * pNeig->val;
            weights += pNeig->weight;
            ++count;
        }
        n.newVal = sum / weights == 0 ? FLT_MIN : sum / weights;
        n.newWeight = weights / static_cast<float>(count);
    }
    for (const PlainNeigs& n : vNeigs) {
        if (!n.pCorner->isFree()) continue;
        n.pCorner->val = n.newVal;
        n.pCorner->weight = n.newWeight;
    }
}

void lowPassPlain(benchmark::State& state) {
    CornerStore store(&calc);
    fill(store, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::vector<PlainNeigs> vNeigs;
        std::vector<Corner*> vOfOne;
        for (Corner* pCorner : store.getCornersRef()) {
            vOfOne.clear();
            store.getNeigs(pCorner, vOfOne);
            vNeigs.push_back({pCorner, {}, 0.0F, 0.0F});
            std::copy(vOfOne.begin(), vOfOne.end(), vNeigs.back().neigs.begin());
        }
        for (int round = 0; round < NUM_ROUNDS; ++round)
            runPlainRound(vNeigs);
    }
    report(state, store, NUM_ROUNDS);
}

void createCorners(benchmark::State& state) {
    for (auto _ : state) {
        CornerStore store(&calc);
        fill(store, static_cast<int>(state.range(0)));
        state.PauseTiming();
        report(state, store, 1);
        state.ResumeTiming();
    }
}

}  // namespace

BENCHMARK(lowPass)->Arg(30)->Arg(100)->Arg(300)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(lowPassPlain)->Arg(30)->Arg(100)->Arg(300)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(createCorners)->Arg(30)->Arg(100)->Arg(300)->Unit(benchmark::kMillisecond);
