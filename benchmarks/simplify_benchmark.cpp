// Reduction to a twentieth with options, and ten rounds of each way of smoothing, on noisy closed surfaces of 20 thousand,
// 200 thousand and 2 million triangles; beside them the reduction by a length and an angle that leaves about as many
// triangles.
//
// The counter sorts is the time divided by that of std::sort on 10 million random 64-bit keys, measured just before in the
// same process, so that figures from different and from noisy machines can be compared. left is the number of triangles
// afterwards.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "kel.h"
#include "support/fine.h"
#include "unit.h"

namespace {

using TARN_KEL::MeshPtr;

/// numT triangles, with noise of a tenth of the spacing around the tube.
MeshPtr noisyTorus(int numT) {
    const int numV = static_cast<int>(std::sqrt(numT / 6.0));
    return TARN_TEST::meshOf(TARN_TEST::withNoise(TARN_TEST::torus(3 * numV, numV), 0.6 / numV, 1));
}

template <typename Work>
void run(benchmark::State& state, const Work& work) {
    const double unit = sortUnit();
    double sum = 0.0;
    std::size_t left = 0;
    for (auto _ : state) {
        const MeshPtr pMesh = noisyTorus(static_cast<int>(state.range(0)));
        const double begin = seconds();
        work(pMesh);
        const double time = seconds() - begin;
        state.SetIterationTime(time);
        sum += time;
        left = pMesh->getRMesh()->getNumT();
    }
    state.counters["sorts"] = sum / static_cast<double>(state.iterations()) / unit;
    state.counters["left"] = static_cast<double>(left);
}

void reduceToTwentieth(benchmark::State& state) {
    run(state, [&](const MeshPtr& pMesh) {
        TARN_KEL::ReduceOptions options;
        options.numTriangles = static_cast<std::size_t>(state.range(0) / 20);
        options.bMoveVertices = state.range(1) != 0;
        reduce(pMesh, options);
    });
}
void reduceWithin(benchmark::State& state) {
    run(state, [&](const MeshPtr& pMesh) {
        TARN_KEL::ReduceOptions options;
        options.maxDistance = 20.0 / std::sqrt(static_cast<double>(state.range(0)));
        reduce(pMesh, options);
    });
}
void reduceSimply(benchmark::State& state) {
    run(state,
        [&](const MeshPtr& pMesh) { reduce(pMesh, 100.0 / std::sqrt(static_cast<double>(state.range(0))), 14.0, true); });
}
template <TARN_KEL::SmoothMethod METHOD>
void smoothTenRounds(benchmark::State& state) {
    run(state, [](const MeshPtr& pMesh) { smooth(pMesh, {METHOD, 10}); });
}

}  // namespace

BENCHMARK(reduceToTwentieth)
    ->ArgsProduct({{20000, 200000, 2000000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(reduceWithin)->Arg(20000)->Arg(200000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(reduceSimply)->Arg(20000)->Arg(200000)->Arg(2000000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(smoothTenRounds<TARN_KEL::SmoothMethod::TAUBIN>)
    ->Arg(200000)
    ->Arg(2000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(smoothTenRounds<TARN_KEL::SmoothMethod::BILATERAL>)
    ->Arg(200000)
    ->Arg(2000000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
