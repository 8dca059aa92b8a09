// The coarse mesh against the same mesh on std::map and std::multimap: time and memory of the three operations that make up
// all repair. A wavy sheet of two million triangles is created, every vertex is asked for its triangles, every second
// triangle is killed.
//
// "cubes" creates in the order of the dual cubes, as the extractor does; "shuffled" in random order, where no table can
// profit from locality. The counters give seconds per phase, and the growth of resident memory in a process of its own,
// since one process would reuse the memory of the mesh before. Times are processor times, because machines are shared;
// everything runs on one thread.
//
//     CMesh_benchmark [--benchmark_filter=...]
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "CMesh.h"
#include "Random.h"
#include "plain_coarse.h"

using namespace TARN_KEL;

namespace {

constexpr unsigned SIDE = 1000;  // squares along a side; two triangles each

struct Input {
    std::vector<std::array<VCD, 3>> vCorners;  // of triangles, in the order of creation
    std::vector<VCD> vVertex;                  // in the order of asking
};

VCD cellOfSheet(unsigned x, unsigned y) {
    const double height = 5000.0 + 40.0 * std::sin(x / 50.0) * std::cos(y / 70.0);
    return spreadBits(5000 + x) << 2 | spreadBits(5000 + y) << 1 | spreadBits(static_cast<unsigned>(height));
}

template <typename T>
void shuffle(std::vector<T>& v) {
    Random random;
    for (std::size_t i = v.size(); i > 1; --i)
        std::swap(v[i - 1], v[static_cast<std::size_t>(random.next()) % i]);
}

Input makeInput(bool bShuffled) {
    Input input;
    for (unsigned x = 0; x <= SIDE; ++x)
        for (unsigned y = 0; y <= SIDE; ++y)
            input.vVertex.push_back(cellOfSheet(x, y));
    for (unsigned x = 0; x < SIDE; ++x)
        for (unsigned y = 0; y < SIDE; ++y) {
            const VCD a = cellOfSheet(x, y), b = cellOfSheet(x + 1, y), c = cellOfSheet(x + 1, y + 1),
                      d = cellOfSheet(x, y + 1);
            input.vCorners.push_back({a, b, c});
            input.vCorners.push_back({a, c, d});
        }
    std::sort(input.vVertex.begin(), input.vVertex.end());
    std::stable_sort(input.vCorners.begin(), input.vCorners.end(), [](const auto& s, const auto& t) { return s[0] < t[0]; });
    if (bShuffled) {
        shuffle(input.vVertex);
        shuffle(input.vCorners);
    }
    return input;
}

const Input& inputOf(bool bShuffled) {
    static const Input aInput[2] = {makeInput(false), makeInput(true)};
    return aInput[bShuffled ? 1 : 0];
}

struct Coarse {
    std::map<CCD, Bundle*> mBundle;
    CMesh mesh{nullptr, nullptr, mBundle};
    using Triangle = CTriangle;
    void kill(CTriangle* pCT) { pCT->kill(&mesh); }
};

struct Plain {
    TARN_TEST::PlainMesh mesh;
    using Triangle = TARN_TEST::PlainTriangle;
    void kill(Triangle* pT) { mesh.kill(pT); }
};

struct Seconds {
    double create, ask, kill, destroy;
};

template <typename Side>
Seconds work(const Input& input) {
    const auto now = [] { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; };
    const auto since = [now](double start) { return now() - start; };
    Seconds seconds{};
    auto pSide = std::make_unique<Side>();
    double start = now();
    std::vector<typename Side::Triangle*> vT;
    vT.reserve(input.vCorners.size());
    for (const auto& [a, b, c] : input.vCorners)
        vT.push_back(pSide->mesh.createT(a, b, c, a, 27));
    seconds.create = since(start);

    start = now();
    std::size_t numFound = 0;
    std::vector<typename Side::Triangle*> vIncT;
    for (const VCD vcd : input.vVertex) {
        vIncT.clear();
        pSide->mesh.getIncidentT(vcd, vIncT);
        numFound += vIncT.size();
    }
    benchmark::DoNotOptimize(numFound);
    if (numFound != 3 * vT.size()) std::abort();
    seconds.ask = since(start);

    start = now();
    for (std::size_t i = 0; i < vT.size(); i += 2)
        pSide->kill(vT[i]);
    seconds.kill = since(start);
    start = now();
    pSide.reset();
    seconds.destroy = since(start);
    return seconds;
}

// By how much the resident set of a process grows at its peak while it works, in MB.
template <typename Side>
double peakOf(const Input& input) {
    malloc_trim(0);  // what earlier work has left in the heap would hide growth
    int aPipe[2];
    if (pipe(aPipe) != 0) return -1.0;
    const pid_t child = fork();
    if (child == 0) {
        const auto peakKB = [] {
            rusage usage{};
            getrusage(RUSAGE_SELF, &usage);
            return usage.ru_maxrss;
        };
        const long before = peakKB();
        work<Side>(input);
        const double grown = static_cast<double>(peakKB() - before) / 1024.0;
        _exit(write(aPipe[1], &grown, sizeof grown) == sizeof grown ? 0 : 1);
    }
    double grown = -1.0;
    if (child < 0 || read(aPipe[0], &grown, sizeof grown) != sizeof grown) grown = -1.0;
    close(aPipe[0]);
    close(aPipe[1]);
    waitpid(child, nullptr, 0);
    return grown;
}

template <typename Side>
void createAskKill(benchmark::State& state, bool bShuffled) {
    const Input& input = inputOf(bShuffled);
    const double peakMB = peakOf<Side>(input);
    Seconds sum{};
    for (auto _ : state) {
        const Seconds s = work<Side>(input);
        sum = {sum.create + s.create, sum.ask + s.ask, sum.kill + s.kill, sum.destroy + s.destroy};
        state.SetIterationTime(s.create + s.ask + s.kill);
    }
    const auto mean = [](double value) { return benchmark::Counter(value, benchmark::Counter::kAvgIterations); };
    state.counters = {{"create_s", mean(sum.create)},
                      {"ask_s", mean(sum.ask)},
                      {"kill_s", mean(sum.kill)},
                      {"destroy_s", mean(sum.destroy)},
                      {"peak_MB", peakMB}};
}

void plainMesh(benchmark::State& state, bool bShuffled) {
    createAskKill<Plain>(state, bShuffled);
}
void coarseMesh(benchmark::State& state, bool bShuffled) {
    createAskKill<Coarse>(state, bShuffled);
}

void settings(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
}
BENCHMARK_CAPTURE(plainMesh, cubes, false)->Apply(settings);
BENCHMARK_CAPTURE(coarseMesh, cubes, false)->Apply(settings);
BENCHMARK_CAPTURE(plainMesh, shuffled, true)->Apply(settings);
BENCHMARK_CAPTURE(coarseMesh, shuffled, true)->Apply(settings);

}  // namespace

BENCHMARK_MAIN();
