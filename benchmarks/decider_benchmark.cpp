// Thinning a double layer of cells around a ball: the removal tests on words against the plain ones, which search each
// position of the block in the sorted list and keep what is doomed and what is visited in ordered sets. Rounds on
// interleaved codes, a queue by weight on packed ones.
//
// Argument: the radius in cells; the counter "cells" tells how many there are, all of them candidates.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "RemoveDecider.h"
#include "RemoveDecider_RCD.h"
#include "support/cellSets.h"
#include "support/packedCells.h"
#include "support/plain_decider.h"

using namespace TARN_KEL;

namespace {

Calc calc = TARN_TEST::unitGrid();

VCCD doubleLayer(int radius) {
    VCCD vCells = TARN_TEST::sphereShell(radius);
    VCCD vGrown;
    for (CCD ccd : vCells) {
        CCD keys[8] = {ccd};
        calc.completeArrayPlus(keys);
        vGrown.insert(vGrown.end(), {keys[0], keys[1], keys[3], keys[4]});  // the cell, and one step up on each axis
    }
    std::sort(vGrown.begin(), vGrown.end());
    vGrown.erase(std::unique(vGrown.begin(), vGrown.end()), vGrown.end());
    return vGrown;
}

// The yardstick.
class PlainDecider {
public:
    explicit PlainDecider(VCCD& vCells) : vCell(vCells) {}

    bool isRemovableStrong(CCD ccd) {
        setNewCCD(ccd);
        std::vector<int> vFront, vNext, vNeigs;
        const int* const pFirst = std::find_if(std::begin(FACES), std::end(FACES), [&](int pos) { return isFree(pos); });
        if (pFirst == std::end(FACES)) return false;
        vFront.push_back(*pFirst);
        sVisited.insert(vFront.front());
        for (int step = 0; step < 4; ++step, vFront.swap(vNext)) {
            vNext.clear();
            for (int pos : vFront) {
                vNeigs.clear();
                appendNeigs(pos, vNeigs);
                for (int neig : vNeigs)
                    if (neig != 13 && isFree(neig) && sVisited.insert(neig).second) vNext.push_back(neig);
            }
        }
        return std::all_of(std::begin(FACES), std::end(FACES),
                           [&](int pos) { return !isFree(pos) || sVisited.count(pos) != 0; });
    }

    std::size_t pruneStrong(const VCCD& vCandidates, VCCD& vKept, VCCD& vDoomed) {
        vKept = vCandidates;
        for (bool bChanged = true; bChanged;) {
            bChanged = false;
            VCCD vWork;
            for (vWork.swap(vKept); !vWork.empty(); vWork.pop_back()) {
                if (!isRemovableStrong(vWork.back())) {
                    vKept.push_back(vWork.back());
                    continue;
                }
                sDoomed.insert(vWork.back());
                vDoomed.push_back(vWork.back());
                bChanged = true;
            }
        }
        return vDoomed.size();
    }

private:
    static constexpr int FACES[6] = {14, 12, 16, 10, 22, 4};

    void setNewCCD(CCD ccd) {
        sVisited.clear();
        aliveMask = 0;
        calc.completeArray27(ccd, block);
        for (int i = 0; i < 27; ++i)
            if ((i == 13 || std::binary_search(vCell.begin(), vCell.end(), block[i])) && sDoomed.count(block[i]) == 0)
                aliveMask |= std::uint64_t{1} << i;
    }
    bool isFree(int pos) const { return (aliveMask >> pos & 1) == 0 || sDoomed.count(block[pos]) != 0; }
    static void appendNeigs(int pos, std::vector<int>& vOut) {
        const auto append = [&](int neig, int group) {
            if (neig >= 0 && neig < 27 && neig / group == pos / group) vOut.push_back(neig);
        };
        append(pos + 1, 3);
        append(pos - 1, 3);
        append(pos + 3, 9);
        append(pos - 3, 9);
        append(pos + 9, 27);
        append(pos - 9, 27);
    }

    const VCCD& vCell;
    CCD block[27] = {};
    std::uint64_t aliveMask = 0;
    std::set<CCD> sDoomed;
    std::set<int> sVisited;
};

void report(benchmark::State& state, std::size_t numCells, std::size_t numDoomed) {
    state.counters["cells"] = static_cast<double>(numCells);
    state.counters["doomed"] = static_cast<double>(numDoomed);  // the same for both
    state.SetItemsProcessed(static_cast<std::int64_t>(numCells) * state.iterations());
}

void pruneStrong(benchmark::State& state) {
    VCCD vCells = doubleLayer(static_cast<int>(state.range(0)));
    VCCD vKept, vDoomed;
    for (auto _ : state) {
        vDoomed.clear();
        RemoveDecider(vCells, &calc).pruneStrong(vCells, vKept, vDoomed);
    }
    report(state, vCells.size(), vDoomed.size());
}

void pruneStrongPlain(benchmark::State& state) {
    VCCD vCells = doubleLayer(static_cast<int>(state.range(0)));
    VCCD vKept, vDoomed;
    for (auto _ : state) {
        vDoomed.clear();
        PlainDecider(vCells).pruneStrong(vCells, vKept, vDoomed);
    }
    report(state, vCells.size(), vDoomed.size());
}

// The block alone, without a test.
void setNewCCD(benchmark::State& state) {
    VCCD vCells = doubleLayer(static_cast<int>(state.range(0)));
    RemoveDecider decider(vCells, &calc);
    int sum = 0;
    for (auto _ : state)
        for (CCD ccd : vCells)
            benchmark::DoNotOptimize(sum += decider.setNewCCD(ccd));
    report(state, vCells.size(), 0);
}

/// Pruning on the plain decider: an ordered multimap as the queue, whole passes.
class PlainPruner : public TARN_TEST::PlainDecider_RCD {
public:
    using PlainDecider_RCD::PlainDecider_RCD;

    double getWeight(const VRCDPoint& vRCDPoint, RCD rcd) const {
        const std::vector<RCD> vFaces = faces(rcd);
        const auto count = std::count_if(vFaces.begin(), vFaces.end(), [this](RCD neig) {
            return std::binary_search(vRCD.begin(), vRCD.end(), neig) && sDoomed.count(neig) == 0;
        });
        const auto it = std::lower_bound(vRCDPoint.begin(), vRCDPoint.end(), rcd,
                                         [](const auto& cell, RCD code) { return cell.first < code; });
        const double d = (it->second - calc.getMidPoint_RCD(rcd)).length();
        return static_cast<double>(count) + calc.getSideLen() - d / calc.getSideLen();
    }

    int prePruneSmallBorderCCs(VRCD& vDoomedOut) {
        VRCD vArea, vBorder;
        detectAreaAndBorder(vArea, vBorder);
        std::vector<VRCD> vCCs;
        TARN_KEL::createCC_RCD(vBorder, vCCs);
        int count = 0;
        for (const VRCD& vCC : vCCs) {
            bool bLeaveAlone = vCC.size() > 40;
            for (std::size_t i = 0; i < vCC.size() && !bLeaveAlone; ++i) {
                setNewRCD(vCC[i]);
                for (const RCD member : VRCD(vNeigs))
                    bLeaveAlone = bLeaveAlone || wouldBecomeNewBorder(member, vCC[i]);
            }
            for (const RCD rcd : vCC)
                if (!bLeaveAlone && !removingCreatesGap(rcd)) count += doom(rcd, vDoomedOut);
        }
        return count;
    }

    int prunePrioq(const VRCDPoint& vRCDPoint, const VRCD& vCandidates, VRCD& vKept, VRCD& vDoomedOut, bool bAllowBorder,
                   bool bPrePrune) {
        int count = bPrePrune ? prePruneSmallBorderCCs(vDoomedOut) : 0;
        for (bool bChanged = true; bChanged;) {
            bChanged = false;
            std::multimap<double, RCD> mmQueue;
            for (const RCD rcd : vCandidates)
                mmQueue.emplace(getWeight(vRCDPoint, rcd), rcd);
            while (!mmQueue.empty()) {
                const RCD rcd = mmQueue.begin()->second;
                mmQueue.erase(mmQueue.begin());
                if (sDoomed.count(rcd) != 0 || removingCreatesGap(rcd) || (!bAllowBorder && isBorder(rcd))) continue;
                count += doom(rcd, vDoomedOut);
                bChanged = true;
                for (const RCD neig : faces(rcd))
                    if (std::binary_search(vCandidates.begin(), vCandidates.end(), neig) && sDoomed.count(neig) == 0)
                        mmQueue.emplace(getWeight(vRCDPoint, neig), neig);
            }
        }
        std::sort(vDoomedOut.begin(), vDoomedOut.end());
        vKept.clear();
        std::set_difference(vCandidates.begin(), vCandidates.end(), vDoomedOut.begin(), vDoomedOut.end(),
                            std::back_inserter(vKept));
        return count;
    }

private:
    static std::vector<RCD> faces(RCD rcd) {
        using namespace TARN_KEL;
        return {rcd - RCD_STEP_X, rcd + RCD_STEP_X, rcd - RCD_STEP_Y, rcd + RCD_STEP_Y, rcd - RCD_STEP_Z, rcd + RCD_STEP_Z};
    }
    int doom(RCD rcd, VRCD& vDoomedOut) {
        sDoomed.insert(rcd);
        vDoomedOut.push_back(rcd);
        return 1;
    }
};

// Cells of the double layer by packed code, with a point anywhere in each.
RemoveDecider_RCD::VRCDPoint layerWithPoints(int radius) {
    std::mt19937 random(1);
    RemoveDecider_RCD::VRCDPoint vRCDPoint;
    for (const RCD rcd : TARN_TEST::toPacked(doubleLayer(radius))) {
        const auto off = [&random] { return static_cast<double>(random()) / 4294967296.0 - 0.5; };
        const Point3 mid = calc.getMidPoint_RCD(rcd);
        vRCDPoint.emplace_back(rcd, Point3(mid.x() + off(), mid.y() + off(), mid.z() + off()));
    }
    return vRCDPoint;
}

template <typename Decider, typename Grid>
void prunePrioqOf(benchmark::State& state, Grid&& grid, bool bAllowBorder) {
    RemoveDecider_RCD::VRCDPoint vRCDPoint = layerWithPoints(static_cast<int>(state.range(0)));
    VRCD vCells, vKept, vDoomed;
    for (const auto& cell : vRCDPoint)
        vCells.push_back(cell.first);
    for (auto _ : state) {
        vDoomed.clear();
        VRCD vCandidates = vCells;
        Decider(vCells, grid).prunePrioq(vRCDPoint, vCandidates, vKept, vDoomed, bAllowBorder, true);
    }
    report(state, vCells.size(), vDoomed.size());
}
void prunePrioq(benchmark::State& state) {
    prunePrioqOf<RemoveDecider_RCD>(state, &calc, true);
}
void prunePrioqPlain(benchmark::State& state) {
    prunePrioqOf<PlainPruner>(state, calc, true);
}
void prunePrioqKeepingBorders(benchmark::State& state) {
    prunePrioqOf<RemoveDecider_RCD>(state, &calc, false);
}
void prunePrioqKeepingBordersPlain(benchmark::State& state) {
    prunePrioqOf<PlainPruner>(state, calc, false);
}

void isBorder(benchmark::State& state) {
    VRCD vCells = TARN_TEST::toPacked(doubleLayer(static_cast<int>(state.range(0))));
    RemoveDecider_RCD decider(vCells, &calc);
    int num = 0;
    for (auto _ : state)
        for (const RCD rcd : vCells)
            benchmark::DoNotOptimize(num += decider.isBorder(rcd) ? 1 : 0);
    report(state, vCells.size(), 0);
}

}  // namespace

BENCHMARK(pruneStrong)->Arg(24)->Arg(75)->Arg(160)->Unit(benchmark::kMillisecond);
BENCHMARK(pruneStrongPlain)->Arg(24)->Arg(75)->Arg(160)->Unit(benchmark::kMillisecond);
BENCHMARK(setNewCCD)->Arg(24)->Arg(75)->Arg(160)->Unit(benchmark::kMillisecond);
BENCHMARK(prunePrioq)->Arg(24)->Arg(75)->Arg(160)->Arg(240)->Unit(benchmark::kMillisecond);
BENCHMARK(prunePrioqPlain)->Arg(24)->Arg(75)->Unit(benchmark::kMillisecond);
BENCHMARK(prunePrioqKeepingBorders)->Arg(24)->Arg(75)->Arg(160)->Arg(240)->Unit(benchmark::kMillisecond);
BENCHMARK(prunePrioqKeepingBordersPlain)->Arg(24)->Arg(75)->Unit(benchmark::kMillisecond);
BENCHMARK(isBorder)->Arg(24)->Arg(75)->Arg(160)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
