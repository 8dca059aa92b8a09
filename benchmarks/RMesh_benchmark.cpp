// The fine mesh against the same operations on ordered maps: making a sheet of 2 million triangles, asking every vertex for
// its triangles, killing every second triangle. Each mesh comes in two orders of creation: row by row, and along a Z-order
// curve as a mesh that was extracted from a grid.
//
// The counter MB is the growth of resident memory by the filled mesh, measured in a process of its own.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <map>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "RMesh.h"

namespace {

using TARN_KEL::Point3;
using TARN_KEL::RMesh;
using TARN_KEL::RTriangle;

/// The yardstick: elements in pools, relations in ordered maps.
class PlainMesh {
public:
    struct Triangle;
    struct Edge {
        Point3 *pVtx0, *pVtx1;
        std::vector<Triangle*> vT;
    };
    struct Triangle {
        double normal[3];
        std::array<Point3*, 3> aCorners;
        std::array<Edge*, 3> aEdges;
        void* pPatch;
        bool bVisited, bAlive;
    };
    using Key = std::pair<Point3*, Point3*>;

    PlainMesh() {
        poolVtx.init(3, -1);
        poolT.init(3, -1);
        poolE.init(3, -1);
    }
    ~PlainMesh() {
        for (Edge* pE : vE)
            pE->~Edge();
    }
    Point3* createVertex(const Point3& p) {
        const auto [it, bNew] = mVtx.emplace(p, nullptr);
        if (bNew) it->second = new (poolVtx.nextElement()) Point3(p);
        return it->second;
    }
    Triangle* createT(Point3* p0, Point3* p1, Point3* p2) {
        auto* pT = new (poolT.nextElement()) Triangle{{0, 0, 0}, {p0, p1, p2}, {}, nullptr, false, true};
        vT.push_back(pT);
        for (std::size_t i = 0; i < 3; ++i) {
            mmVtxT.emplace(pT->aCorners[i], pT);
            pT->aEdges[i] = findOrMakeEdge(std::minmax(pT->aCorners[i], pT->aCorners[(i + 1) % 3]));
            pT->aEdges[i]->vT.push_back(pT);
        }
        return pT;
    }
    void kill(Triangle* pT) {
        for (Edge* pE : pT->aEdges)
            std::erase(pE->vT, pT);
        for (Point3* p : pT->aCorners) {
            const auto range = mmVtxT.equal_range(p);
            mmVtxT.erase(std::find_if(range.first, range.second, [&](const auto& entry) { return entry.second == pT; }));
        }
        pT->bAlive = false;
    }
    void getIncidentT(Point3* p, std::vector<Triangle*>& vOut) const {
        const auto range = mmVtxT.equal_range(p);
        for (auto it = range.first; it != range.second; ++it)
            vOut.push_back(it->second);
    }
    std::vector<Triangle*> vT;

private:
    Edge* findOrMakeEdge(const Key& key) {
        const auto [it, bNew] = mE.emplace(key, nullptr);
        if (bNew) {
            it->second = new (poolE.nextElement()) Edge{key.first, key.second, {}};
            vE.push_back(it->second);
        }
        return it->second;
    }

    std::map<Point3, Point3*> mVtx;
    std::map<Key, Edge*> mE;
    std::multimap<Point3*, Triangle*> mmVtxT;
    std::vector<Edge*> vE;
    TARN_TOOLS::SimplePool<Point3> poolVtx;
    TARN_TOOLS::SimplePool<Triangle> poolT;
    TARN_TOOLS::SimplePool<Edge> poolE;
};

/// The fine mesh under the same calls.
class FineMesh : public RMesh {
public:
    FineMesh() : RMesh(1.0) {}
    Point3* createVertex(const Point3& p) { return RMesh::createVertex(p, false); }
    void kill(RTriangle* pRT) { pRT->kill(this); }
    std::vector<RTriangle*>& vT = vRT;
};

/// A square sheet: vertices, and triangles as their indices.
struct Sheet {
    std::vector<Point3> vVtx;
    std::vector<std::array<std::uint32_t, 3>> vT;
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
Sheet makeSheet(std::uint32_t side, bool bCurve) {
    const std::uint32_t width = side + 1;
    std::vector<std::pair<std::uint64_t, std::uint32_t>> vOrder;
    for (std::uint32_t i = 0; i < width * width; ++i)
        vOrder.emplace_back(bCurve ? zOrder(i % width, i / width) : i, i);
    std::sort(vOrder.begin(), vOrder.end());

    Sheet sheet;
    std::vector<std::uint32_t> vRank(vOrder.size());
    for (const auto& [code, i] : vOrder) {
        vRank[i] = static_cast<std::uint32_t>(sheet.vVtx.size());
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

const Sheet& sheetOf(const benchmark::State& state) {
    static const Sheet aSheets[2] = {makeSheet(SIDE, false), makeSheet(SIDE, true)};
    return aSheets[state.range(0)];
}

template <typename M>
std::vector<Point3*> fill(M& mesh, const Sheet& sheet) {
    std::vector<Point3*> vVtx;
    for (const Point3& p : sheet.vVtx)
        vVtx.push_back(mesh.createVertex(p));
    for (const auto& t : sheet.vT)
        mesh.createT(vVtx[t[0]], vVtx[t[1]], vVtx[t[2]]);
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
double memoryOf(const Sheet& sheet) {
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
    const Sheet& sheet = sheetOf(state);
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

void setUp(benchmark::internal::Benchmark* pBenchmark) {
    pBenchmark->ArgName("zOrder")->Arg(0)->Arg(1)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
}
BENCHMARK(createAskKill<PlainMesh>)->Apply(setUp);
BENCHMARK(createAskKill<FineMesh>)->Apply(setUp);

}  // namespace

BENCHMARK_MAIN();
