// Triangle soups to meshes. sortPixels, the yardstick of the rasteriser, sorts as many pairs (code, point) as there are
// cells; sortKeys, that of whole runs, sorts 10 million random 64-bit keys. Both with std::sort.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <random>
#include <utility>
#include <vector>

#include "Cloud.h"
#include "Progress.h"
#include "kel.h"
#include "support/capture.h"
#include "support/soups.h"
#include "unit.h"

namespace {

using namespace TARN_KEL;
using namespace TARN_TEST;

/// The spacing at which the unit sphere passes through about that many cells: 1.5 for each square of its area.
double spacingFor(std::int64_t numCells) {
    return std::sqrt(1.5 * 12.566 / static_cast<double>(numCells));
}

std::size_t rasterise(TriangleSoup& soup, double spacing, double featureAngle) {
    const CoutSilence silence;
    progressForMelt();
    Cloud cloud("soup", spacing, -1.0, true, -1);
    cloud.setInputPoints(soup);
    cloud.preparePixelsAndFeatures(featureAngle);
    return cloud.vBundles.size();
}

/// Up to the bundles: a sphere of that many triangles at that many cells.
void rasteriser(benchmark::State& state, double featureAngle) {
    const auto numTriangles = static_cast<double>(state.range(1));
    TriangleSoup soup = sphereSoup(static_cast<int>(std::sqrt(numTriangles / 4.0)) + 1);
    const double spacing = spacingFor(state.range(0));
    std::size_t numCells = 0;
    for (auto _ : state)
        numCells = rasterise(soup, spacing, featureAngle);
    state.counters["cells"] = static_cast<double>(numCells);
    state.counters["triangles"] = static_cast<double>(soup.size() / 3);
}

void sortPixels(benchmark::State& state) {
    std::mt19937_64 random(1);
    std::vector<std::pair<RCD, Point3>> vPixels(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        for (auto& pixel : vPixels)
            pixel.first = random();
        state.ResumeTiming();
        std::sort(vPixels.begin(), vPixels.end());
    }
}

/// Unconnected triangles, far below a cell: every edge is a border.
void crumbs(benchmark::State& state) {
    TriangleSoup soup;
    for (const Point3& p : Scan(1).sphere(static_cast<std::size_t>(state.range(0))))
        addTriangle(soup, p, p + Vector3(1e-4, 0, 0), p + Vector3(0, 1e-4, 1e-4));
    for (auto _ : state)
        benchmark::DoNotOptimize(rasterise(soup, 0.01, 30.0));
}

/// A block with a bore, askew, whole runs: cells of a part in that many of the block's diagonal.
void meltPart(benchmark::State& state) {
    TriangleSoup soup = turned(boredBlockSoup(64), 20.0);
    std::size_t numTriangles = 0;
    for (auto _ : state) {
        const CoutSilence silence;
        const MeshPtr pMesh = melt(soup, 3.0 / static_cast<double>(state.range(0)), 30.0);
        state.PauseTiming();
        std::vector<Point3*> vCorners;
        pMesh->getTriangles(vCorners);
        numTriangles = vCorners.size() / 3;
        state.ResumeTiming();
    }
    state.counters["made"] = static_cast<double>(numTriangles);
}

void sortKeys(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<std::uint64_t> vKeys = unitKeys();
        state.ResumeTiming();
        std::sort(vKeys.begin(), vKeys.end());
    }
}

}  // namespace

// Few large triangles, many small ones, as many cells as triangles.
BENCHMARK_CAPTURE(rasteriser, insides, 30.0)
    ->Args({10000, 100})
    ->Args({100000, 100})
    ->Args({1000000, 100})
    ->Args({10000000, 100})
    ->Args({10000000, 1000000})
    ->Args({100000, 1000000})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK_CAPTURE(rasteriser, features, 0.0)
    ->Args({100000, 10000})
    ->Args({1000000, 100000})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();
BENCHMARK(sortPixels)->RangeMultiplier(10)->Range(10000, 10000000)->Unit(benchmark::kMillisecond);
BENCHMARK(crumbs)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(meltPart)->Arg(50)->Arg(100)->Arg(200)->Arg(400)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(sortKeys)->Unit(benchmark::kMillisecond);
