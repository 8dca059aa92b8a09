// The cost of filling holes: 10,000 of six edges in a wavy sheet of two million triangles, on the fine mesh (fillHoles)
// and on the coarse one (HoleFiller, HoleToCCD); a round one of some radius by volume (Hole), where "made" counts the
// lattice points with a value, which are smoothed once a ring and 150 times more; and single borders of many edges (Loop).
// "disc" is a round one with a ragged rim, whose ears make strips; of "sector", three quarters of a disc, all ears share the
// centre. A border ten times as long should take little more than ten times as long. Times are summed over all
// threads.
//
//     holes_benchmark [--benchmark_filter=...]
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <iostream>
#include <memory>
#include <vector>

#include "Bundle.h"
#include "CMesh.h"
#include "ChainMgr.h"
#include "Hole.h"
#include "HoleFiller.h"
#include "HoleToCCD.h"
#include "Loop.h"
#include "RMesh.h"
#include "fillChain.h"
#include "kel.h"

using namespace TARN_KEL;

namespace {

constexpr unsigned SIDE = 1000;  // squares along a side; two triangles each
constexpr unsigned PITCH = 10;   // of the holes

/// A coarse mesh with a bundle for each vertex.
struct Coarse {
    explicit Coarse(std::size_t numVertices) {
        vPoint.reserve(numVertices);
        vBundle.reserve(numVertices);
    }
    VCD vertex(VCD vcd, const Point3& p) {
        if (mBundle.count(vcd) != 0) return vcd;
        Bundle& bundle = vBundle.emplace_back();
        bundle.pVtx = &vPoint.emplace_back(p);
        bundle.ccd = vcd;
        mBundle[vcd] = &bundle;
        return vcd;
    }

    std::vector<Point3> vPoint;
    std::vector<Bundle> vBundle;
    std::map<CCD, Bundle*> mBundle;
    Calc calc{0.0, 0.0, 0.0, 8192.0, 8192.0, 8192.0, 13};
    CMesh mesh{nullptr, &calc, mBundle};
};

/// A wavy sheet of side squares a side, without the triangles at vertices that are gone.
template <typename IsGone>
std::unique_ptr<Coarse> sheetWithout(unsigned side, const IsGone& isGone) {
    auto pCoarse = std::make_unique<Coarse>((side + 1) * (side + 1));
    const auto at = [&](unsigned x, unsigned y) {
        const double height = 5000.5 + 40.0 * std::sin(x / 50.0) * std::cos(y / 70.0);
        const VCD vcd = spreadBits(x) << 2 | spreadBits(y) << 1 | spreadBits(static_cast<unsigned>(height));
        return pCoarse->vertex(vcd, Point3(x + 0.5, y + 0.5, height));
    };
    for (unsigned x = 0; x < side; ++x)
        for (unsigned y = 0; y < side; ++y) {
            if (isGone(x, y) || isGone(x + 1, y + 1)) continue;
            if (!isGone(x + 1, y)) pCoarse->mesh.createT(at(x, y), at(x + 1, y), at(x + 1, y + 1), 0, 0);
            if (!isGone(x, y + 1)) pCoarse->mesh.createT(at(x, y), at(x + 1, y + 1), at(x, y + 1), 0, 0);
        }
    return pCoarse;
}

std::unique_ptr<Coarse> punchedSheet() {
    return sheetWithout(SIDE, [](unsigned x, unsigned y) { return x % PITCH == PITCH / 2 && y % PITCH == PITCH / 2; });
}

/// A sheet with one round hole in its middle.
std::unique_ptr<Coarse> roundHole(unsigned radius) {
    const unsigned middle = radius + 20;
    return sheetWithout(2 * middle, [=](unsigned x, unsigned y) {
        return (x - middle) * (x - middle) + (y - middle) * (y - middle) < radius * radius;  // wraps twice
    });
}

/// A flat ring of triangles around an arc of num edges, whose ends meet in the centre unless it is a whole turn.
std::unique_ptr<Coarse> arc(unsigned num, double turn, std::vector<CEdge*>& vBorderCE) {
    const bool bSector = turn < 1.0;
    const unsigned numVertices = bSector ? num + 2 : num;
    auto pCoarse = std::make_unique<Coarse>(2 * numVertices);
    const auto at = [&](unsigned i, unsigned row) {
        const double a = 2 * M_PI * turn * i / num, radius = 1000.0 + 10.0 * row + (bSector ? 0.0 : 3000.0 / num * (i % 2));
        const Point3 onArc(4000 + radius * std::cos(a), 4000 + radius * std::sin(a), 4000);
        const Point3 centre(4000 + 10.0 * row, 4000 - 10.0 * row, 4000);  // of the mouth, which opens to the lower right
        return pCoarse->vertex(spreadBits(i) << 2 | spreadBits(row) << 1, i > num ? centre : onArc);
    };
    for (unsigned i = 0; i < numVertices; ++i) {
        const unsigned next = (i + 1) % numVertices;
        pCoarse->mesh.createT(at(next, 0), at(i, 0), at(i, 1), 0, 0);
        pCoarse->mesh.createT(at(next, 0), at(i, 1), at(next, 1), 0, 0);
        vBorderCE.push_back(pCoarse->mesh.getEdge(at(i, 0), at(next, 0)));
    }
    return pCoarse;
}

/// Time of one call of work() on each of what make() makes.
template <typename Make, typename Work>
void measure(benchmark::State& state, Make&& make, Work&& work) {
    std::streambuf* pBuffer = std::cout.rdbuf(nullptr);
    double numMade = 0;
    for (auto _ : state) {
        const auto pThing = make();
        const std::clock_t start = std::clock();
        numMade = work(*pThing);
        state.SetIterationTime(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }
    std::cout.rdbuf(pBuffer);
    state.counters["made"] = numMade;
}

void fine(benchmark::State& state) {
    measure(
        state, [] { return std::make_unique<MeshPtr>(std::make_shared<Mesh>(new RMesh(&punchedSheet()->mesh))); },
        [](const MeshPtr& pMesh) { return fillHoles(pMesh, 20); });
}

void filler(benchmark::State& state) {
    measure(state, punchedSheet, [](Coarse& coarse) {
        const std::size_t numBefore = coarse.mesh.vAllCT.size();
        HoleFiller(&coarse.mesh, &coarse.calc).run();
        return static_cast<double>(coarse.mesh.vAllCT.size() - numBefore);
    });
}

void toCCD(benchmark::State& state) {
    measure(state, punchedSheet, [](Coarse& coarse) {
        std::vector<Point3> vOut;
        HoleToCCD(&coarse.mesh, &coarse.calc).run(vOut);
        return static_cast<double>(vOut.size() / 3);
    });
}

void volume(benchmark::State& state) {
    measure(
        state, [&] { return roundHole(static_cast<unsigned>(state.range(0))); },
        [](Coarse& coarse) {
            EdgesByEnd mm;
            enterBorder(&coarse.mesh, mm);
            const ChainMgr chainMgr(&coarse.mesh, mm, false);
            Chain* pInner = *std::min_element(chainMgr.vChains.begin(), chainMgr.vChains.end(),
                                              [](Chain* p, Chain* q) { return p->getSize() < q->getSize(); });
            Hole hole(&coarse.mesh, pInner);
            hole.makeField(2);
            hole.getZeroCbs();
            return static_cast<double>(hole.vAddr.size());
        });
}

void border(benchmark::State& state, double turn) {
    std::vector<CEdge*> vCE;
    measure(
        state,
        [&] {
            vCE.clear();
            return arc(static_cast<unsigned>(state.range(0)), turn, vCE);
        },
        [&](Coarse& coarse) {
            const auto pLoop = makeLoop(&coarse.mesh, &coarse.calc, vCE);
            pLoop->fill();
            return static_cast<double>(pLoop->vFillT.size());
        });
}

void settings(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
}
void lengths(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->Apply(settings)->Arg(1000)->Arg(10000)->Arg(100000);
}
BENCHMARK(fine)->Apply(settings);
BENCHMARK(filler)->Apply(settings);
BENCHMARK(toCCD)->Apply(settings);
BENCHMARK(volume)->Apply(settings)->Arg(10)->Arg(30)->Arg(90);
BENCHMARK_CAPTURE(border, disc, 1.0)->Apply(lengths);
BENCHMARK_CAPTURE(border, sector, 0.75)->Apply(lengths);

}  // namespace
