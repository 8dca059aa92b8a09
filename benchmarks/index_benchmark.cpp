// The spatial indexes: building, and a query around each element. Points of a sphere scan, with a radius that finds about
// twelve of them; boxes of the size of the gaps between their centres. Queries come in random order or along the scan's own
// order in space; random ones pay for cache misses.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "octree/Octree.h"
#include "support/points.h"
#include "tarn_locate3/RTree.h"

namespace {

using TARN_KEL::Point3;
using TARN_LOCATE3::Bbox3;
using TARN_LOCATE3::Item;
using TARN_LOCATE3::RTree;
using TARN_OCTREE::OctItem;
using TARN_OCTREE::Octree;

enum Order { RANDOM_ORDER, ORDER_IN_SPACE };

std::vector<Point3> makePoints(const benchmark::State& state, int order) {
    std::vector<Point3> v = TARN_TEST::Scan(1).sphere(static_cast<std::size_t>(state.range(0)));
    const auto row = [](const Point3& p) { return std::floor(p.z() * 200.0); };
    if (order == ORDER_IN_SPACE)
        std::sort(v.begin(), v.end(), [&row](const Point3& a, const Point3& b) {
            return row(a) != row(b) ? row(a) < row(b) : std::atan2(a.y(), a.x()) < std::atan2(b.y(), b.x());
        });
    return v;
}

Octree makeOctree(std::vector<Point3>& vPoint) {
    Octree tree;
    for (Point3& p : vPoint)
        tree.addObject(&p, p.x(), p.y(), p.z());
    tree.finish();
    return tree;
}

RTree makeRTree(std::vector<Point3>& vPoint, double side) {
    RTree tree;
    for (Point3& p : vPoint)
        tree.addObject(&p, p.x(), p.y(), p.z(), p.x() + side, p.y() + side, p.z() + side);
    tree.finish();
    return tree;
}

void buildOctree(benchmark::State& state) {
    std::vector<Point3> vPoint = makePoints(state, RANDOM_ORDER);
    for (auto _ : state)
        benchmark::DoNotOptimize(makeOctree(vPoint));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void queryOctree(benchmark::State& state, int order) {
    std::vector<Point3> vPoint = makePoints(state, order);
    const Octree tree = makeOctree(vPoint);
    const double radius = std::sqrt(4.0 * 12.0 / static_cast<double>(vPoint.size()));
    std::vector<OctItem*> vItem;
    std::size_t numFound = 0;
    for (auto _ : state)
        for (const Point3& p : vPoint) {
            vItem.clear();
            tree.getSphereIntersectors(p.x(), p.y(), p.z(), radius, vItem);
            numFound += vItem.size();
        }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["found"] = static_cast<double>(numFound) / static_cast<double>(state.items_processed());
}

void buildRTree(benchmark::State& state) {
    std::vector<Point3> vPoint = makePoints(state, RANDOM_ORDER);
    for (auto _ : state)
        benchmark::DoNotOptimize(makeRTree(vPoint, 0.001));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void queryRTree(benchmark::State& state, int order) {
    std::vector<Point3> vPoint = makePoints(state, order);
    const double side = std::sqrt(12.0 / static_cast<double>(vPoint.size()));
    RTree tree = makeRTree(vPoint, side);
    std::vector<Item*> vItem;
    std::size_t numFound = 0;
    for (auto _ : state)
        for (const Point3& p : vPoint) {
            vItem.clear();
            tree.getBBIntersectedItems(Bbox3(p.x(), p.y(), p.z(), p.x() + side, p.y() + side, p.z() + side), vItem);
            numFound += vItem.size();
        }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["found"] = static_cast<double>(numFound) / static_cast<double>(state.items_processed());
}

void sizes(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(buildOctree)->Apply(sizes);
BENCHMARK_CAPTURE(queryOctree, random, RANDOM_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(queryOctree, inSpace, ORDER_IN_SPACE)->Apply(sizes);
BENCHMARK(buildRTree)->Apply(sizes);
BENCHMARK_CAPTURE(queryRTree, random, RANDOM_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(queryRTree, inSpace, ORDER_IN_SPACE)->Apply(sizes);

}  // namespace

BENCHMARK_MAIN();
