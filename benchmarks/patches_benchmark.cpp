// The cost of patches in a pass of the repair: the mesh is cut anew and every patch gets its boundary. Two million triangles
// of a wavy sheet, created in the order of the dual cubes.
//
// "one" is the bare sheet, one patch; "fins" has a standing triangle on every eleventh edge, so that MEs are everywhere but
// separate little; "ribs" has walls along every tenth row in both directions, ten thousand patches or so between MEs; "tiny"
// is the same number of triangles in pairs. Times are summed over all threads. The counters give the two
// steps separately.
//
//     patches_benchmark [--benchmark_filter=...]
#include <benchmark/benchmark.h>

#include <cmath>
#include <ctime>
#include <map>
#include <vector>

#include "CMesh.h"
#include "CPatch.h"

using namespace TARN_KEL;

namespace {

constexpr unsigned SIDE = 1000;  // squares along a side; two triangles each

VCD cellAt(unsigned x, unsigned y, unsigned up) {
    const double height = 5000.0 + 40.0 * std::sin(x / 50.0) * std::cos(y / 70.0) + up;
    return spreadBits(5000 + x) << 2 | spreadBits(5000 + y) << 1 | spreadBits(static_cast<unsigned>(height));
}

enum Kind { ONE, FINS, RIBS, TINY };

void addSquare(CMesh& mesh, VCD a, VCD b, VCD c, VCD d) {
    mesh.createT(a, b, c, a, 27);
    mesh.createT(a, c, d, a, 27);
}

void addAt(CMesh& mesh, Kind kind, unsigned x, unsigned y) {
    if (kind == TINY)
        return addSquare(mesh, cellAt(2 * x, 2 * y, 0), cellAt(2 * x + 1, 2 * y, 0), cellAt(2 * x + 1, 2 * y + 1, 0),
                         cellAt(2 * x, 2 * y + 1, 0));
    const VCD a = cellAt(x, y, 0), b = cellAt(x + 1, y, 0), d = cellAt(x, y + 1, 0);
    addSquare(mesh, a, b, cellAt(x + 1, y + 1, 0), d);
    if (kind == FINS && (x + 7 * y) % 11 == 0) mesh.createT(a, b, cellAt(x, y, 1), a, 27);
    if (kind == RIBS && y % 10 == 0) addSquare(mesh, a, b, cellAt(x + 1, y, 1), cellAt(x, y, 1));
    if (kind == RIBS && x % 10 == 0) addSquare(mesh, a, d, cellAt(x, y + 1, 1), cellAt(x, y, 1));
}

struct Coarse {
    std::map<CCD, Bundle*> mBundle;
    Calc calc{0.0, 0.0, 0.0, 8192.0, 8192.0, 8192.0, 13};
    CMesh mesh{nullptr, &calc, mBundle};

    explicit Coarse(Kind kind) {
        constexpr unsigned BLOCK = 8;  // near enough to Morton order
        for (unsigned x0 = 0; x0 < SIDE; x0 += BLOCK)
            for (unsigned y0 = 0; y0 < SIDE; y0 += BLOCK)
                for (unsigned i = 0; i < BLOCK * BLOCK; ++i)
                    addAt(mesh, kind, x0 + i / BLOCK, y0 + i % BLOCK);
    }
};

double milliseconds() {
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

void cut(benchmark::State& state, Kind kind) {
    Coarse coarse(kind);
    double createSum = 0.0, boundarySum = 0.0;
    std::size_t numPatches = 0, numBoundary = 0;
    for (auto _ : state) {
        std::vector<CPatch*> vPatches;
        std::map<VCD, CPatch*> mVCD2Patch;
        std::vector<CEdge*> vMECE;
        const double start = milliseconds();
        coarse.mesh.createPatches(nullptr, vPatches, mVCD2Patch, vMECE);
        const double create = milliseconds() - start;
        for (CPatch* pPatch : vPatches)
            pPatch->setOuterBoundary();
        const double all = milliseconds() - start;
        state.SetIterationTime(all / 1000.0);
        createSum += create;
        boundarySum += all - create;
        numPatches = vPatches.size();
        numBoundary = 0;
        for (const CPatch* pPatch : vPatches)
            numBoundary += pPatch->getPatchBoundarySize();
    }
    const auto mean = [](double value) { return benchmark::Counter(value, benchmark::Counter::kAvgIterations); };
    state.counters = {{"create_ms", mean(createSum)},
                      {"boundary_ms", mean(boundarySum)},
                      {"triangles", static_cast<double>(coarse.mesh.vAllCT.size())},
                      {"patches", static_cast<double>(numPatches)},
                      {"boundary_edges", static_cast<double>(numBoundary)}};
}

void settings(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}
BENCHMARK_CAPTURE(cut, one, ONE)->Apply(settings);
BENCHMARK_CAPTURE(cut, fins, FINS)->Apply(settings);
BENCHMARK_CAPTURE(cut, ribs, RIBS)->Apply(settings);
BENCHMARK_CAPTURE(cut, tiny, TINY)->Apply(settings);

}  // namespace

BENCHMARK_MAIN();
