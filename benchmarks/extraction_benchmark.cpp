// From a closed layer of cells around a ball to the coarse mesh: the list of pairs, against the sort of all pairs that
// it avoids, and the extraction, against the creation of the same triangles alone, which is the mesh's share of it.
//
// Argument: the radius in cells; the counter "cells" tells how many there are. Times are processor times.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Bundle.h"
#include "CMesh.h"
#include "Progress.h"
#include "Voro.h"
#include "support/cellSets.h"

using namespace TARN_KEL;

namespace {

struct Ball {
    explicit Ball(int theRadius) : radius(theRadius) {
        const VCCD vCells = TARN_TEST::sphereShell(radius);
        for (CCD ccd : vCells)
            mBundle.emplace_hint(mBundle.end(), ccd, nullptr);
        pVoro = std::make_unique<Voro>(&calc, mBundle, TM_FAT);
    }
    int radius;
    Calc calc = TARN_TEST::unitGrid();
    std::map<CCD, Bundle*> mBundle;
    std::unique_ptr<Voro> pVoro;
};

// The last one is kept: the library runs every benchmark several times.
Ball& ball(int radius) {
    static std::unique_ptr<Ball> pBall;
    if (!pBall || pBall->radius != radius) pBall = std::make_unique<Ball>(radius);
    return *pBall;
}

void report(benchmark::State& state, const Voro& voro) {
    state.counters["cells"] = static_cast<double>(voro.vCCD.size());
    state.SetItemsProcessed(static_cast<std::int64_t>(voro.vCCD.size()) * state.iterations());
}

void setVCD2CCD(benchmark::State& state) {
    Voro& voro = *ball(static_cast<int>(state.range(0))).pVoro;
    for (auto _ : state)
        voro.setVCD2CCD();
    report(state, voro);
}

void sortOfAllPairs(benchmark::State& state) {
    Ball& on = ball(static_cast<int>(state.range(0)));
    std::vector<std::pair<VCD, CCD>> vPair;
    for (auto _ : state) {
        vPair.clear();
        vPair.reserve(on.pVoro->vCCD.size() * 8);
        for (CCD ccd : on.pVoro->vCCD) {
            CCD keys[8] = {ccd};
            on.calc.completeArrayPlus(keys);
            for (CCD key : keys)
                vPair.emplace_back(key, ccd);
        }
        std::sort(vPair.begin(), vPair.end());
    }
    if (vPair != on.pVoro->vStaticVCD2CCD) state.SkipWithError("the lists differ");
    report(state, *on.pVoro);
}

void fatExtractTriangles(benchmark::State& state) {
    Ball& on = ball(static_cast<int>(state.range(0)));
    std::size_t numTriangles = 0;
    for (auto _ : state) {
        Voro& voro = *on.pVoro;
        progressForReco();
        voro.fatExtractTriangles();
        numTriangles = voro.pCMesh->vAllCT.size();
        closeProgress();
    }
    state.counters["triangles"] = static_cast<double>(numTriangles);
    report(state, *on.pVoro);
}

void createTAlone(benchmark::State& state) {
    Ball& on = ball(static_cast<int>(state.range(0)));
    progressForReco();
    on.pVoro->fatExtractTriangles();
    closeProgress();
    std::vector<CTriangle> vMade;
    for (const CTriangle* pCT : on.pVoro->pCMesh->vAllCT)
        vMade.push_back(*pCT);
    CMesh mesh(nullptr, &on.calc, on.mBundle);
    for (auto _ : state) {
        mesh.reset();
        for (const CTriangle& t : vMade)
            benchmark::DoNotOptimize(mesh.createT(t.getC0(), t.getC1(), t.getC2(), t.vcdCube, t.cfg));
    }
    report(state, *on.pVoro);
}

// About 10 thousand, 100 thousand and a million cells.
void sizes(benchmark::internal::Benchmark* pBenchmark) {
    for (int radius : {31, 98, 310})
        pBenchmark->Arg(radius);
    pBenchmark->Unit(benchmark::kMillisecond);
}

}  // namespace

BENCHMARK(setVCD2CCD)->Apply(sizes);
BENCHMARK(sortOfAllPairs)->Apply(sizes);
BENCHMARK(fatExtractTriangles)->Apply(sizes);
BENCHMARK(createTAlone)->Apply(sizes);

BENCHMARK_MAIN();
