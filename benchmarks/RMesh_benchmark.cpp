// The fine mesh against the same operations on ordered maps: creating a sheet of two million triangles, asking every vertex
// for its triangles, killing every second triangle. Each mesh comes in two orders of creation: row by row, and along a
// Z-order curve as a mesh that was extracted from a grid.
//
// The counter MB is the growth of resident memory when the mesh is filled, measured in a process of its own.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <type_traits>
#include <utility>
#include <vector>

#include "Progress.h"
#include "RMesh.h"
#include "plain_fine.h"
#include "support/coarse_soup.h"
#include "unit.h"

namespace {

using TARN_KEL::Point3;
using TARN_KEL::RMesh;
using TARN_KEL::RTriangle;
using TARN_TEST::PlainFineMesh;
using TARN_TEST::Soup;

/// The fine mesh under the same calls.
class FineMesh : public RMesh {
public:
    FineMesh() : RMesh(1.0) {}
    Point3* createVertex(const Point3& p) { return RMesh::createVertex(p, false); }
    void kill(RTriangle* pRT) { pRT->kill(this); }
    std::vector<RTriangle*>& vT = vRT;
};

std::uint64_t zOrder(std::uint32_t x, std::uint32_t y) {
    std::uint64_t code = 0;
    for (unsigned bit = 0; bit < 16; ++bit) {
        code |= std::uint64_t{x >> bit & 1U} << (2 * bit);
        code |= std::uint64_t{y >> bit & 1U} << (2 * bit + 1);
    }
    return code;
}

/// side x side quads. bCurve: along the curve, else row by row.
Soup makeSheet(std::uint32_t side, bool bCurve) {
    const std::uint32_t width = side + 1;
    std::vector<std::pair<std::uint64_t, std::uint32_t>> vOrder;
    for (std::uint32_t i = 0; i < width * width; ++i)
        vOrder.emplace_back(bCurve ? zOrder(i % width, i / width) : i, i);
    std::sort(vOrder.begin(), vOrder.end());

    Soup sheet;
    std::vector<int> vRank(vOrder.size());
    for (const auto& [code, i] : vOrder) {
        vRank[i] = static_cast<int>(sheet.vVtx.size());
        sheet.vVtx.emplace_back(i % width, i / width, 0.25);
    }
    for (const auto& [code, i] : vOrder) {
        if (i % width == side || i / width == side) continue;
        sheet.vT.push_back({vRank[i], vRank[i + 1], vRank[i + width]});
        sheet.vT.push_back({vRank[i + 1], vRank[i + width + 1], vRank[i + width]});
    }
    return sheet;
}

constexpr std::uint32_t SIDE = 1000;

const Soup& sheetOf(const benchmark::State& state) {
    static const Soup aSheets[2] = {makeSheet(SIDE, false), makeSheet(SIDE, true)};
    return aSheets[state.range(0)];
}

template <typename M>
std::vector<Point3*> fill(M& mesh, const Soup& sheet) {
    std::vector<Point3*> vVtx;
    const auto vtx = [&vVtx](int i) { return vVtx[static_cast<std::size_t>(i)]; };
    for (const Point3& p : sheet.vVtx)
        vVtx.push_back(mesh.createVertex(p));
    for (const auto& t : sheet.vT)
        mesh.createT(vtx(t[0]), vtx(t[1]), vtx(t[2]));
    return vVtx;
}

template <typename M>
std::size_t askAll(const M& mesh, const std::vector<Point3*>& vVtx) {
    std::remove_cvref_t<decltype(mesh.vT)> vFound;
    std::size_t num = 0;
    for (Point3* p : vVtx) {
        vFound.clear();
        mesh.getIncidentT(p, vFound);
        num += vFound.size();
    }
    return num;
}

template <typename M>
void killHalf(M& mesh) {
    for (std::size_t i = 0; i < mesh.vT.size(); i += 2)
        mesh.kill(mesh.vT[i]);
}

double residentMB() {
    std::ifstream in("/proc/self/statm");
    double pages = 0.0;
    in >> pages >> pages;
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Fills a mesh in a process of its own; what that process grew by.
template <typename M>
double memoryOf(const Soup& sheet) {
    int aPipe[2];
    double grown = -1.0;
    if (pipe(aPipe) != 0) return grown;
    const pid_t child = fork();
    if (child == 0) {
        malloc_trim(0);  // what the parent freed would be used anew unseen
        const double before = residentMB();
        M mesh;
        fill(mesh, sheet);
        grown = residentMB() - before;
        _exit(write(aPipe[1], &grown, sizeof grown) == sizeof grown ? 0 : 1);
    }
    close(aPipe[1]);
    if (read(aPipe[0], &grown, sizeof grown) != sizeof grown) grown = -1.0;
    close(aPipe[0]);
    waitpid(child, nullptr, 0);
    return grown;
}

/// Processor time of this thread: comparable on a busy machine too.
double seconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

template <typename M>
void createAskKill(benchmark::State& state) {
    const Soup& sheet = sheetOf(state);
    double create = 0.0, ask = 0.0, kill = 0.0;
    for (auto _ : state) {
        const double begin = seconds();
        M mesh;
        const auto vVtx = fill(mesh, sheet);
        const double created = seconds();
        benchmark::DoNotOptimize(askAll(mesh, vVtx));
        const double asked = seconds();
        killHalf(mesh);
        const double killed = seconds();
        create += created - begin;
        ask += asked - created;
        kill += killed - asked;
        state.SetIterationTime(killed - begin);
    }
    using benchmark::Counter;
    state.counters["create"] = Counter(create, Counter::kAvgIterations);
    state.counters["ask"] = Counter(ask, Counter::kAvgIterations);
    state.counters["kill"] = Counter(kill, Counter::kAvgIterations);
    state.counters["MB"] = memoryOf<M>(sheet);
}

/// From the coarse mesh of as many triangles.
void convert(benchmark::State& state) {
    TARN_TEST::CoarsePlaces coarse(sheetOf(state));
    for (auto _ : state) {
        const double begin = seconds();
        const RMesh mesh(&coarse.mesh);
        state.SetIterationTime(seconds() - begin);
    }
}

/// Edges in key order, of all degrees but 0.
void edgesInKeyOrder(benchmark::State& state) {
    FineMesh mesh;
    fill(mesh, sheetOf(state));
    for (auto _ : state) {
        std::vector<TARN_KEL::REdge*> vRE;
        const double begin = seconds();
        mesh.getDegN(-99, vRE);
        state.SetIterationTime(seconds() - begin);
    }
}

/// The clean-up of a sheet with a half of its triangles turned over, a hundredth there twice, a thousandth without area.
void cleanUp(benchmark::State& state) {
    double dups = 0.0, patches = 0.0, degenerate = 0.0;
    for (auto _ : state) {
        FineMesh mesh;
        const std::vector<Point3*> vVtx = fill(mesh, sheetOf(state));
        for (std::size_t i = 0; i < mesh.vRT.size(); i += 2)
            mesh.vRT[i]->flipNNV();
        for (std::size_t i = mesh.vRT.size(); i >= 100; i -= 100)
            mesh.createT(mesh.vRT[i - 1]->aCorners[0], mesh.vRT[i - 1]->aCorners[1], mesh.vRT[i - 1]->aCorners[2]);
        for (std::size_t i = 1000; i < vVtx.size(); i += 1000)
            *mesh.vRT[i]->aCorners[0] = *mesh.vRT[i]->aCorners[1];
        TARN_KEL::progressForReco();
        const double begin = seconds();
        mesh.removeDups();
        const double unique = seconds();
        mesh.createPatchesOrient();
        const double oriented = seconds();
        mesh.killDegenerate();
        const double end = seconds();
        TARN_KEL::closeProgress();
        dups += unique - begin;
        patches += oriented - unique;
        degenerate += end - oriented;
        state.SetIterationTime(end - begin);
    }
    using benchmark::Counter;
    state.counters["removeDups"] = Counter(dups, Counter::kAvgIterations);
    state.counters["createPatchesOrient"] = Counter(patches, Counter::kAvgIterations);
    state.counters["killDegenerate"] = Counter(degenerate, Counter::kAvgIterations);
}

/// Half a million tries to collapse a random edge, then one to flip each edge.
void collapseAndFlip(benchmark::State& state) {
    double collapse = 0.0, flip = 0.0;
    for (auto _ : state) {
        FineMesh mesh;
        fill(mesh, sheetOf(state));
        TARN_KEL::Random random;
        const std::size_t numT = mesh.vRT.size(), numRE = mesh.vRE.size();
        const double begin = seconds();
        for (std::size_t i = 0; i < numT / 4; ++i) {
            const TARN_KEL::REdge* pRE = mesh.vRE[static_cast<std::size_t>(random.next()) % numRE];
            if (pRE->isAlive() && mesh.canCollapseWithoutDups(pRE->pVtx0, pRE->pVtx1))
                mesh.exchangeCorner(pRE->pVtx0, pRE->pVtx1);
        }
        const double collapsed = seconds();
        for (std::size_t i = 0; i < numRE; ++i)
            mesh.vRE[i]->tryFlipEdge(&mesh, nullptr, nullptr);
        const double end = seconds();
        collapse += collapsed - begin;
        flip += end - collapsed;
        state.SetIterationTime(end - begin);
    }
    using benchmark::Counter;
    state.counters["collapse"] = Counter(collapse, Counter::kAvgIterations);
    state.counters["flip"] = Counter(flip, Counter::kAvgIterations);
}

/// A closed ring of bumps, noisy, of about so many triangles.
Soup bumpyTorus(std::int64_t numT) {
    const int numV = static_cast<int>(std::sqrt(static_cast<double>(numT) / 5.0));
    Soup soup = TARN_TEST::torus(static_cast<int>(2.5 * numV), numV);
    TARN_KEL::Random random;
    const auto noise = [&] { return 0.2 / numV * (random.next() / static_cast<double>(TARN_KEL::Random::MAX) - 0.5); };
    for (Point3& p : soup.vVtx) {
        const double bump = 1.0 + 0.1 * std::sin(5.0 * std::atan2(p.y(), p.x())) * std::cos(7.0 * p.z());
        const double x = noise(), y = noise(), z = noise();
        p = Point3(bump * p.x() + x, bump * p.y() + y, bump * p.z() + z);
    }
    return soup;
}

double processSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// To about a twentieth. Wall time, which an idle machine alone makes comparable; main: processor time of the calling
/// thread; all: of all threads; units: half of what the workers took beside the calling thread, as on two free processors,
/// and main.
void reduce(benchmark::State& state) {
    const Soup soup = bumpyTorus(state.range(0));
    double main = 0.0, all = 0.0;
    std::size_t numLeft = 0;
    for (auto _ : state) {
        FineMesh mesh;
        fill(mesh, soup);
        mesh.sideLen = mesh.getAvgLen();
        TARN_KEL::progressForReduce();
        const double begin = seconds(), mainBegin = seconds(), allBegin = processSeconds();
        mesh.reduce(6.0 * mesh.sideLen * mesh.sideLen, 40.0);
        state.SetIterationTime(seconds() - begin);
        main += seconds() - mainBegin;
        all += processSeconds() - allBegin;
        TARN_KEL::closeProgress();
        numLeft = mesh.getNumT();
    }
    using benchmark::Counter;
    static const double unit = sortUnit();
    state.counters["main"] = Counter(main, Counter::kAvgIterations);
    state.counters["all"] = Counter(all, Counter::kAvgIterations);
    state.counters["units"] = Counter((main + 0.5 * (all - main)) / unit, Counter::kAvgIterations);
    state.counters["left"] = static_cast<double>(numLeft) / static_cast<double>(soup.vT.size());
}

void setUp(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgName("zOrder")->Arg(0)->Arg(1)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
}
BENCHMARK(createAskKill<PlainFineMesh>)->Apply(setUp);
BENCHMARK(createAskKill<FineMesh>)->Apply(setUp);
BENCHMARK(convert)->Apply(setUp);
BENCHMARK(edgesInKeyOrder)->Apply(setUp);
BENCHMARK(cleanUp)->Apply(setUp);
BENCHMARK(collapseAndFlip)->Apply(setUp);
BENCHMARK(reduce)->Arg(20000)->Arg(200000)->Arg(2000000)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
