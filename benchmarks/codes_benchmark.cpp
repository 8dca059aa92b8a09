// The innermost operations on cell codes, each beside the plain loop over the levels, and the components of a sheet of
// cells.
//
// "Control" only walks the same array; subtract its time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <random>
#include <unordered_set>

#include "Calc.h"
#include "freeFunctions.h"

using namespace TARN_KEL;

namespace {

constexpr int NUM_LEVELS = 14;
const Calc calc(0.0, 0.0, 0.0, 1.0, 1.0, 1.0, NUM_LEVELS);

std::vector<Point3> makePoints() {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> anywhere(0.1, 0.9);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 4096; ++i)
        vPoints.emplace_back(anywhere(random), anywhere(random), anywhere(random));
    return vPoints;
}
const std::vector<Point3> vPoints = makePoints();

VCCD makeCCDs() {
    VCCD vCCD;
    for (const Point3& p : vPoints)
        vCCD.push_back(calc.getCCD(&p));
    return vCCD;
}
const VCCD vCCD = makeCCDs();

VRCD makeRCDs() {
    VRCD vRCD;
    for (const CCD ccd : vCCD)
        vRCD.push_back(calc.ccd2rcd(ccd));
    return vRCD;
}
const VRCD vRCD = makeRCDs();

template <typename T, typename Operation>
void forEachItem(benchmark::State& state, const std::vector<T>& vItem, const Operation& operation) {
    for (auto _ : state)
        for (const T& item : vItem)
            benchmark::DoNotOptimize(operation(item));
    state.SetItemsProcessed(static_cast<std::int64_t>(vItem.size()) * state.iterations());
}

// ---- The yardsticks: one level after the other

CCD spreadByLoop(unsigned long long number, CCD axTriBit) {
    CCD ccd = 0;
    for (int level = 0; level < NUM_LEVELS; ++level)
        if (number >> level & 1) ccd |= axTriBit << 3 * level;
    return ccd;
}
unsigned long long compressByLoop(CCD ccd, CCD axTriBit) {
    unsigned long long number = 0;
    for (int level = 0; level < NUM_LEVELS; ++level)
        if (ccd & axTriBit << 3 * level) number |= 1ULL << level;
    return number;
}
CCD incByLoop(CCD ccd, CCD axTriBit) {
    for (int level = 0; level < NUM_LEVELS; ++level, axTriBit <<= 3) {
        if ((ccd & axTriBit) == 0) return ccd | axTriBit;
        ccd &= ~axTriBit;
    }
    return ccd;
}
std::size_t numComponentsByHash(const VRCD& vCells) {
    const std::unordered_set<RCD> sCells(vCells.begin(), vCells.end());
    std::unordered_set<RCD> sVisited;
    std::size_t numComponents = 0;
    for (const RCD start : vCells) {
        if (!sVisited.insert(start).second) continue;
        ++numComponents;
        VRCD vStack{start};
        while (!vStack.empty()) {
            RCD neigs[26];
            calc.completeArray26_RCD(vStack.back(), neigs);
            vStack.pop_back();
            for (const RCD neig : neigs)
                if (sCells.count(neig) != 0 && sVisited.insert(neig).second) vStack.push_back(neig);
        }
    }
    return numComponents;
}

// The cells that a wavy sheet of about numCells cells runs through, with a row left out now and then.
VRCD makeSheet(std::int64_t numCells) {
    const int side = static_cast<int>(std::sqrt(static_cast<double>(numCells)));
    VRCD vCells;
    for (int x = 0; x < side; ++x)
        for (int y = 0; y < side; ++y)
            if (x % 100 != 99)
                vCells.push_back(
                    packRCD(static_cast<RCD>(5000 + x), static_cast<RCD>(5000 + y),
                            static_cast<RCD>(5000 + std::lround(20 * std::sin(x * 0.05) * std::cos(y * 0.05)))));
    std::sort(vCells.begin(), vCells.end());
    return vCells;
}

// Drops what a benchmarked operation prints.
class Silence {
public:
    Silence() : pFormer(std::cout.rdbuf(nullptr)) {}
    ~Silence() {
        std::cout.rdbuf(pFormer);
        std::cout.clear();
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    std::streambuf* pFormer;  // the stream's own buffer, not owned
};

template <typename Operation>
void forSheet(benchmark::State& state, const Operation& operation) {
    const VRCD vCells = makeSheet(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(operation(vCells));
    state.SetItemsProcessed(static_cast<std::int64_t>(vCells.size()) * state.iterations());
}

void controlPoints(benchmark::State& state) {
    forEachItem(state, vPoints, [](const Point3& p) { return p.x(); });
}
void controlCodes(benchmark::State& state) {
    forEachItem(state, vCCD, [](CCD ccd) { return ccd; });
}
void getCCD(benchmark::State& state) {
    forEachItem(state, vPoints, [](const Point3& p) { return calc.getCCD(&p); });
}
void getRCD(benchmark::State& state) {
    forEachItem(state, vPoints, [](const Point3& p) { return calc.getRCD(&p); });
}
void ccd2rcd(benchmark::State& state) {
    forEachItem(state, vCCD, [](CCD ccd) { return calc.ccd2rcd(ccd); });
}
void ccd2rcdByLoop(benchmark::State& state) {
    forEachItem(state, vCCD,
                [](CCD ccd) { return packRCD(compressByLoop(ccd, 4), compressByLoop(ccd, 2), compressByLoop(ccd, 1)); });
}
void rcd2ccd(benchmark::State& state) {
    forEachItem(state, vRCD, [](RCD rcd) { return calc.rcd2ccd(rcd); });
}
void rcd2ccdByLoop(benchmark::State& state) {
    forEachItem(state, vRCD, [](RCD rcd) {
        return spreadByLoop(getX_RCD(rcd), 4) | spreadByLoop(getY_RCD(rcd), 2) | spreadByLoop(getZ_RCD(rcd), 1);
    });
}
void incSparse(benchmark::State& state) {
    forEachItem(state, vCCD, [](CCD ccd) { return calc.incSparse(ccd, 2); });
}
void incSparseByLoop(benchmark::State& state) {
    forEachItem(state, vCCD, [](CCD ccd) { return incByLoop(ccd, 2); });
}
void getMidPoint(benchmark::State& state) {
    forEachItem(state, vCCD, [](CCD ccd) { return calc.getMidPoint(ccd).x(); });
}
void completeArraySym(benchmark::State& state) {
    CCD array[8];
    forEachItem(state, vCCD, [&array](CCD ccd) {
        array[5] = ccd;
        calc.completeArraySym(array);
        return array[3] + array[7];
    });
}
void getRCC8Unique(benchmark::State& state) {
    forSheet(state, [](const VRCD& vCells) {
        VRCC vOut;
        getRCC8(vCells, true, vOut);
        return vOut.size();
    });
}
void getRCC6Unique(benchmark::State& state) {
    forSheet(state, [](const VRCD& vCells) {
        VRCC vOut;
        getRCC6(vCells, true, vOut);
        return vOut.size();
    });
}
void createComponents(benchmark::State& state) {
    forSheet(state, [](const VRCD& vCells) {
        std::vector<VRCD> vCCs;
        createCC_RCD(vCells, vCCs);
        return vCCs.size();
    });
}
void createComponentsByHash(benchmark::State& state) {
    forSheet(state, numComponentsByHash);
}
void growComponents(benchmark::State& state) {
    const Silence silence;
    forSheet(state, [](const VRCD& vCells) {
        std::vector<VRCD> vCCs;
        return grow6_RCD(vCells, vCCs, 1);
    });
}

BENCHMARK(controlPoints);
BENCHMARK(controlCodes);
BENCHMARK(getCCD);
BENCHMARK(getRCD);
BENCHMARK(ccd2rcd);
BENCHMARK(ccd2rcdByLoop);
BENCHMARK(rcd2ccd);
BENCHMARK(rcd2ccdByLoop);
BENCHMARK(incSparse);
BENCHMARK(incSparseByLoop);
BENCHMARK(getMidPoint);
BENCHMARK(completeArraySym);
BENCHMARK(getRCC8Unique)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(getRCC6Unique)->Arg(10000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(createComponents)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(createComponentsByHash)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(growComponents)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
