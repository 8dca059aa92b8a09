// What the tools for the coarse mesh cost beside the road from points to a mesh: collapses, flips, bubbles, iso slices.
// The argument is the number of squares along a side of a noisy sheet, of two triangles each; a million triangles have 707.
// Two sizes with four times the triangles tell whether a tool is linear. Times are those of all processors together.
//
//     coarse_tools_benchmark [--benchmark_filter=...]
#include <benchmark/benchmark.h>

#include <cfloat>
#include <cmath>
#include <ctime>
#include <deque>
#include <iostream>
#include <map>
#include <memory>

#include "CMesh.h"
#include "Random.h"
#include "Top.h"
#include "support/capture.h"

using namespace TARN_KEL;

namespace {

/// A wavy sheet with noise in all directions, in cell edges.
class NoisySheet {
public:
    NoisySheet(unsigned numSide, double noise, double waves) {
        Random random(1);
        const auto step = [&] { return noise * (2.0 * random.next() / static_cast<double>(Random::MAX) - 1.0); };
        for (unsigned x = 0; x <= numSide; ++x)
            for (unsigned y = 0; y <= numSide; ++y) {
                const double dx = step(), dy = step(), dz = step();
                dPoint.emplace_back(x + dx, y + dy, waves * std::sin(x / 50.0) * std::cos(y / 70.0) + dz);
                dBundle.emplace_back();
                dBundle.back().pVtx = &dPoint.back();
                dBundle.back().ccd = code(x, y);
                mBundle.emplace_hint(mBundle.end(), code(x, y), &dBundle.back());
            }
        for (unsigned x = 0; x < numSide; ++x)
            for (unsigned y = 0; y < numSide; ++y) {
                mesh.createT(code(x, y), code(x + 1, y), code(x + 1, y + 1), 0, 27);
                mesh.createT(code(x, y), code(x + 1, y + 1), code(x, y + 1), 0, 27);
            }
    }
    static VCD code(unsigned x, unsigned y) {
        return spreadBits(5000 + x) << 2 | spreadBits(5000 + y) << 1 | spreadBits(5000);
    }

    Calc calc{0.0, 0.0, 0.0, 8192.0, 8192.0, 8192.0, 13};
    std::deque<Point3> dPoint;
    std::deque<Bundle> dBundle;
    std::map<CCD, Bundle*> mBundle;
    CMesh mesh{nullptr, &calc, mBundle};
};

/// Runs the tool once on a fresh sheet each time.
template <typename Tool>
void measure(benchmark::State& state, double noise, double waves, Tool&& tool) {
    const TARN_TEST::CoutSilence silence;
    std::size_t numMade = 0;
    for (auto _ : state) {
        NoisySheet sheet(static_cast<unsigned>(state.range(0)), noise, waves);
        Top top(&sheet.mesh, &sheet.calc);
        const std::size_t numBefore = sheet.mesh.vAllCT.size();
        const std::clock_t start = std::clock();
        tool(top);
        state.SetIterationTime(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
        numMade = sheet.mesh.vAllCT.size() - numBefore;
    }
    state.counters["triangles_made"] = static_cast<double>(numMade);
}

void settings(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->Arg(353)->Arg(707)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(2);
}

void simplifyShort(benchmark::State& state) {
    measure(state, 0.2, 40.0, [](Top& top) { top.simplify(0, 1.5, SM_MID_THEN_SINGLE); });
}
void simplifyPlane(benchmark::State& state) {
    measure(state, 0.0, 0.0, [](Top& top) { top.simplify(0, DBL_MAX, SM_MID_THEN_SINGLE); });
}
void collapseSmallEdges(benchmark::State& state) {
    measure(state, 0.45, 40.0, [](Top& top) { top.collapseSmallEdges(); });
}
void edgeFlips(benchmark::State& state) {
    measure(state, 0.2, 40.0, [](Top& top) { top.edgeFlips(0.1); });
}
void flipBadAngles(benchmark::State& state) {
    measure(state, 0.9, 40.0, [](Top& top) { top.flipBadAngles(); });
}
void flipExtremeCaps(benchmark::State& state) {
    measure(state, 0.45, 40.0, [](Top& top) { top.flipExtremeCaps(true); });
}
void flipFeatures(benchmark::State& state) {
    measure(state, 0.2, 0.0, [&state](Top& top) {
        const auto numSide = static_cast<unsigned>(state.range(0));
        for (unsigned x = 0; x <= numSide; ++x)
            for (unsigned y = (3 - x % 3) % 3; y <= numSide; y += 3)
                top.sFeatureCCD.insert(NoisySheet::code(x, y));
        top.flipFeatures();
    });
}
BENCHMARK(simplifyShort)->Apply(settings);
BENCHMARK(simplifyPlane)->Apply(settings);
BENCHMARK(collapseSmallEdges)->Apply(settings);
BENCHMARK(edgeFlips)->Apply(settings);
BENCHMARK(flipBadAngles)->Apply(settings);
BENCHMARK(flipExtremeCaps)->Apply(settings);
BENCHMARK(flipFeatures)->Apply(settings);

}  // namespace

BENCHMARK_MAIN();
