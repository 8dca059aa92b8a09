// Edge flips, and ten rounds of smoothing, on noisy closed surfaces of 20 thousand, 200 thousand and 2 million triangles.
//
// The counter sorts is the time divided by that of std::sort on 10 million random 64-bit keys, measured just before in the
// same process, so that figures from different and from noisy machines can be compared; search is the search for candidates
// alone, on all processors. fold and foldAfter are the mean angle of the normals on the edges before and after.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "Progress.h"
#include "REdgeEnergy.h"
#include "RTop.h"
#include "freeFunctions.h"
#include "support/fine.h"
#include "unit.h"

namespace {

using TARN_KEL::MeshPtr;
using TARN_KEL::Point3;
using TARN_KEL::RMesh;
using TARN_KEL::Vector3;

/// numT triangles, with noise of a fifth of the tube's spacing.
MeshPtr noisyTorus(int numT) {
    const int numV = static_cast<int>(std::sqrt(numT / 6.0)), numU = 3 * numV;
    TARN_TEST::Soup soup = TARN_TEST::torus(numU, numV);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> step(-1.2 / numV, 1.2 / numV);
    for (Point3& p : soup.vVtx)
        p = p + Vector3(step(random), step(random), step(random));
    TARN_TEST::FineMesh fine(soup);
    return std::make_shared<TARN_KEL::Mesh>(fine.release());
}

double meanFold(const RMesh& mesh) {
    std::vector<TARN_KEL::REdge*> vRE;
    mesh.getDegN(2, vRE);
    double sum = 0.0;
    Vector3 normal0, normal1;
    for (const TARN_KEL::REdge* pRE : vRE)
        if (TARN_KEL::getAgreeingNormals(*pRE, normal0, normal1)) sum += TARN_KEL::getAngleDegree(normal0, normal1);
    return sum / static_cast<double>(vRE.size());
}

double secondsOfSearch(RMesh& mesh) {
    TARN_KEL::progressForEdgeFlips();
    std::vector<RMesh::FlipCandidate> vFound;
    const double begin = seconds();
    mesh.getEdgeFlipCandidates_MT(mesh.getREdgesRef(), 0.005, 0.0, vFound);
    const double end = seconds();
    TARN_KEL::closeProgress();
    return end - begin;
}

template <void (*FLIP)(MeshPtr)>
void flip(benchmark::State& state) {
    const double unit = sortUnit();
    double all = 0.0, search = 0.0;
    for (auto _ : state) {
        const MeshPtr pMesh = noisyTorus(static_cast<int>(state.range(0)));
        state.counters["fold"] = meanFold(*pMesh->getRMesh());
        search += secondsOfSearch(*pMesh->getRMesh());
        const double begin = seconds();
        FLIP(pMesh);
        const double end = seconds();
        state.counters["foldAfter"] = meanFold(*pMesh->getRMesh());
        state.SetIterationTime(end - begin);
        all += end - begin;
    }
    using benchmark::Counter;
    state.counters["search"] = Counter(search, Counter::kAvgIterations);
    state.counters["sorts"] = Counter(all / unit, Counter::kAvgIterations);
}
BENCHMARK(flip<TARN_KEL::edgeFlips>)
    ->Name("edgeFlips")
    ->ArgName("triangles")
    ->Arg(20000)
    ->Arg(200000)
    ->Arg(2000000)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(flip<TARN_KEL::edgeFlipsSimA>)
    ->Name("edgeFlipsSimA")
    ->ArgName("triangles")
    ->Arg(20000)
    ->Arg(200000)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void smooth(benchmark::State& state) {
    const double unit = sortUnit();
    double all = 0.0;
    for (auto _ : state) {
        const MeshPtr pMesh = noisyTorus(static_cast<int>(state.range(0)));
        const double begin = seconds();
        TARN_KEL::laplacianSmoothing(pMesh, 10);
        const double time = seconds() - begin;
        state.SetIterationTime(time);
        all += time;
    }
    state.counters["sorts"] = benchmark::Counter(all / unit, benchmark::Counter::kAvgIterations);
}
BENCHMARK(smooth)
    ->ArgName("triangles")
    ->Arg(20000)
    ->Arg(200000)
    ->Arg(870000)
    ->Arg(2000000)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
