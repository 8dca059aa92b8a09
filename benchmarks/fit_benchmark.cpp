// The fit of a mesh to its points, on clean and noisy scans: smooth, sharp, and rough.
//
// The counter sorts is the time divided by that of std::sort on 10 million random 64-bit keys, measured just before in the
// same process.
#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "SyntheticScan.h"
#include "kel.h"
#include "unit.h"

namespace {

void fitScan(benchmark::State& state, const std::string& shape, double noise) {
    TARN_KEL::setMessageSink([](TARN_KEL::MessageKind, std::string_view) {});
    ScanRequest request;
    request.shape = shape;
    request.numPoints = static_cast<std::size_t>(state.range(0));
    request.noise = noise;
    std::vector<TARN_KEL::Point3> vPoints;
    makeScan(request, vPoints);
    TARN_KEL::ReconstructOptions options;
    options.bFit = false;
    const double unit = sortUnit();
    double sum = 0.0;
    for (auto _ : state) {
        const TARN_KEL::MeshPtr pMesh = TARN_KEL::reconstruct(vPoints, options);
        const double begin = seconds();
        fit(pMesh, vPoints);
        const double time = seconds() - begin;
        state.SetIterationTime(time);
        sum += time;
    }
    state.counters["sorts"] = sum / static_cast<double>(state.iterations()) / unit;
}

}  // namespace

BENCHMARK_CAPTURE(fitScan, sphere, "sphere", 0.0)
    ->Arg(20000)
    ->Arg(100000)
    ->Arg(400000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fitScan, block, "block", 0.0)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fitScan, noisyBlock, "block", 0.173)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fitScan, noisyTorus, "torus", 0.577)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);
