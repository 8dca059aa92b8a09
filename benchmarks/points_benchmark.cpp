// The point stages, each by itself, on a sphere scan at its detected spacing. relinkPlain, the yardstick of the links, sorts
// the list of (corner, node) pairs that relinkNodes avoids.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Cloud.h"
#include "Progress.h"
#include "Smooth.h"
#include "freeFunctions.h"
#include "support/points.h"

namespace {

using namespace TARN_KEL;

/// A cloud with its grid and the smoothing over it, before the first step.
struct Run {
    explicit Run(std::size_t numPoints) : cloud("scan", -1.0, 1.0, false, -1) {
        progressForReco();
        std::vector<Point3> vPoints = TARN_TEST::Scan(1).sphere(numPoints);
        cloud.setInputPoints(vPoints);
        cloud.estimateRes2();
        cloud.createCalc();
        pSmooth = std::make_unique<Smooth>(cloud.vPoints, cloud.pCalc);
    }
    Cloud cloud;
    std::unique_ptr<Smooth> pSmooth;
};

using Step = void (*)(Run&);
void densifyLap(Run& run) {
    run.pSmooth->densifyLap();
}
void createNodes(Run& run) {
    run.pSmooth->createNodes(true);
}
void densifyNeigs(Run& run) {
    run.pSmooth->densifyNeigs();
}
void relinkNodes(Run& run) {
    run.pSmooth->relinkNodes();
}
void lapTreatment(Run& run) {
    run.pSmooth->lapTreatment();
}
void setNNVs(Run& run) {
    run.pSmooth->setNNVs();
}
void createBundles(Run& run) {
    run.cloud.createBundles(run.pSmooth.get());
}
void estimateRes2(Run& run) {
    run.cloud.estimateRes2();
}
/// The links of each node in the order of the sorted corners, as pairs (node, link) only.
void relinkPlain(Run& run) {
    std::vector<std::pair<RCC, const SNode*>> vCornerNode;
    VRCD vCell(1);
    VRCC vCorners;
    for (const SNode* pSN : run.pSmooth->getNodesRef()) {
        vCell[0] = pSN->rcd;
        vCorners.clear();
        getRCC8(vCell, false, vCorners);
        for (RCC rcc : vCorners)
            vCornerNode.emplace_back(rcc, pSN);
    }
    std::sort(vCornerNode.begin(), vCornerNode.end());
    std::size_t numPairs = 0;
    for (std::size_t i = 0; i < vCornerNode.size(); ++i)
        for (std::size_t j = i + 1; j < vCornerNode.size() && vCornerNode[j].first == vCornerNode[i].first; ++j)
            ++numPairs;
    benchmark::DoNotOptimize(numPairs);
}

/// Times the last of the steps; those before it run untimed.
void timeLast(benchmark::State& state, const std::vector<Step>& vSteps) {
    const auto numPoints = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto pRun = std::make_unique<Run>(numPoints);
        for (std::size_t i = 0; i + 1 < vSteps.size(); ++i)
            vSteps[i](*pRun);
        state.ResumeTiming();
        vSteps.back()(*pRun);
        state.PauseTiming();
        pRun.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(numPoints) * state.iterations());
}

void atSizes(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

const std::vector<Step> UP_TO_NODES = {densifyLap, createNodes, densifyNeigs};

std::vector<Step> after(std::vector<Step> vSteps, std::initializer_list<Step> more) {
    vSteps.insert(vSteps.end(), more);
    return vSteps;
}

}  // namespace

BENCHMARK_CAPTURE(timeLast, estimateRes2, {estimateRes2})->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, densifyLap, {densifyLap})->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, createNodes, {densifyLap, createNodes})->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, densifyNeigs, UP_TO_NODES)->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, relinkNodes, after(UP_TO_NODES, {relinkNodes}))->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, relinkPlain, after(UP_TO_NODES, {relinkPlain}))->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, lapTreatment, after(UP_TO_NODES, {relinkNodes, lapTreatment}))->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, setNNVs, after(UP_TO_NODES, {relinkNodes, setNNVs}))->Apply(atSizes);
BENCHMARK_CAPTURE(timeLast, createBundles, after(UP_TO_NODES, {relinkNodes, setNNVs, createBundles}))->Apply(atSizes);

BENCHMARK_MAIN();
