// The coarse mesh tools that no run uses: collapses, flips, the finish of a melt, iso slices.
//
// The argument is the number of squares along a side of a noisy sheet, two triangles per square; 707 make a million
// triangles. Two sizes, one with four times the triangles of the other, show whether a tool is linear. Times are summed over
// all threads.
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

#include "Bundle.h"
#include "CMesh.h"
#include "IsoStore.h"
#include "Random.h"
#include "TopMelt.h"
#include "VolSolver.h"
#include "support/capture.h"
#include "support/cellSets.h"

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

void asItIs(CMesh&) {}

/// Runs the tool once on a fresh sheet each time, of which prepare() made what the tool is for.
template <typename Tool, typename Prepare = void (*)(CMesh&)>
void measure(benchmark::State& state, double noise, double waves, Tool&& tool, Prepare&& prepare = asItIs) {
    const TARN_TEST::CoutSilence silence;
    std::size_t numMade = 0;
    for (auto _ : state) {
        NoisySheet sheet(static_cast<unsigned>(state.range(0)), noise, waves);
        prepare(sheet.mesh);
        TopMelt top(&sheet.mesh, &sheet.calc);
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
void meshGrowing(benchmark::State& state) {
    measure(state, 0.2, 40.0, [](TopMelt& top) { top.meshGrowing(top.pCMesh->getTriRef()); });
}
/// With a border that the search doesn't come to, so that it sees all.
void meshGrowingToBorder(benchmark::State& state) {
    measure(state, 0.2, 40.0, [](TopMelt& top) {
        top.sBorderCCD = {NoisySheet::code(3000, 0)};
        top.meshGrowing(top.pCMesh->getTriRef());
    });
}
void components(benchmark::State& state) {
    measure(state, 0.2, 40.0, [](TopMelt& top) {
        std::vector<std::vector<CTriangle*>> vvT;
        top.getCC(vvT);
    });
}
void replaceRemaining180(benchmark::State& state) {
    measure(state, 0.9, 40.0, [](TopMelt& top) { top.replaceRemaining180(); });
}
void solveFencedPairs(benchmark::State& state) {
    measure(state, 0.2, 40.0, [](TopMelt& top) { top.solveFencedPairs(); });
}
/// A wavy slab of two layers of cells, so many along a side.
void isoSlices(benchmark::State& state) {
    const auto num = static_cast<int>(state.range(0));
    TARN_KEL::Calc calc = TARN_TEST::unitGrid();
    std::deque<Point3> vPoint;
    std::deque<TARN_KEL::Bundle> vBundle;
    std::vector<TARN_KEL::Bundle*> vpBundle;
    std::map<TARN_KEL::CCD, std::vector<TARN_KEL::Bundle*>> mBlock;
    for (int x = 0; x < num; ++x)
        for (int y = 0; y < num; ++y)
            for (int layer = 0; layer < 2; ++layer) {
                const auto wave = static_cast<int>(20.0 * std::sin(0.02 * x) * std::cos(0.03 * y));
                TARN_KEL::Bundle& bundle = vBundle.emplace_back();
                bundle.ccd = TARN_TEST::cellAt(100 + x, 100 + y, 100 + wave + layer);
                bundle.pVtx = &vPoint.emplace_back(calc.getMidPoint(bundle.ccd));
                vpBundle.push_back(&bundle);
                mBlock[bundle.ccd & ~TARN_KEL::CCD{0x7fff}].push_back(&bundle);
            }
    const TARN_TEST::CoutSilence silence;
    for (auto _ : state) {
        TARN_KEL::IsoStore store(&calc, vpBundle);
        for (auto& [upper, vBlock] : mBlock)
            store.init(upper, vBlock);
        const std::clock_t start = std::clock();
        store.simplify();
        store.slide();
        state.SetIterationTime(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
        for (TARN_KEL::Bundle& bundle : vBundle)
            bundle.forbiddenDirection = 0;
    }
}

BENCHMARK(isoSlices)->Apply(settings);
// Fins on both long sides of every fourth row of squares: the rows between are strong patches, that row a weak one with a
// long boundary, which closes the surface, and each fin a bubble that was queued before.
void presolveBubbles(benchmark::State& state) {
    const auto numSide = static_cast<unsigned>(state.range(0));
    measure(
        state, 0.2, 40.0, [](Top& top) { VolSolver(top.pCMesh, top.pCalc, nullptr).presolveBubbles(); },
        [numSide](CMesh& mesh) {
            for (unsigned y = 4; y + 3 <= numSide; ++y)
                for (unsigned x = 0; x < numSide && y % 4 < 2; ++x)
                    mesh.createT(NoisySheet::code(x, y), NoisySheet::code(x + 1, y), NoisySheet::code(x, y + 3), 0, 27);
        });
}
BENCHMARK(simplifyShort)->Apply(settings);
BENCHMARK(simplifyPlane)->Apply(settings);
BENCHMARK(collapseSmallEdges)->Apply(settings);
BENCHMARK(edgeFlips)->Apply(settings);
BENCHMARK(flipBadAngles)->Apply(settings);
BENCHMARK(flipExtremeCaps)->Apply(settings);
BENCHMARK(flipFeatures)->Apply(settings);
BENCHMARK(meshGrowing)->Apply(settings);
BENCHMARK(meshGrowingToBorder)->Apply(settings);
BENCHMARK(components)->Apply(settings);
BENCHMARK(replaceRemaining180)->Apply(settings);
BENCHMARK(solveFencedPairs)->Apply(settings);
BENCHMARK(presolveBubbles)->Apply(settings);

}  // namespace

BENCHMARK_MAIN();
