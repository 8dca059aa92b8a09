// The search for edges whose flip is worth trying.
//
// Workers judge the edges of a list, each its own part, and write the results to the same positions: so nothing depends on
// how the list was cut. They only read the mesh. The normals that they need are cached before, each by the one worker that
// has its triangle. Where the two corners opposite an edge are at the same place, one of them must be moved before the flip
// can be judged: these few edges are left for the calling thread.
//
// With a temperature, flips that lose are accepted by the Metropolis rule. The random number depends on the position of the
// edge and the temperature, so it differs from sweep to sweep of an annealing, but not with the number of workers.
#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <functional>

#include "Histogram.h"
#include "Progress.h"
#include "REdgeEnergy.h"
#include "RMesh.h"
#include "Random.h"
#include "geometryFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t MIN_FLIP_CHUNK = 100;  // edges
/// One of them is counted: a search is a fifth of its step until that is marked as done.
constexpr std::size_t STEPS_PER_TASK = 5;

/// Whether a flip is worth a try. position: of its edge in the list.
bool isAccepted(double gain, double minImprovement, double temperature, std::size_t position) {
    if (gain == REdgeEnergy::IMPOSSIBLE) return false;
    if (gain >= minImprovement || gain >= 0.0) return true;
    if (temperature == 0.0 || std::isnan(temperature)) return false;
    Random random(std::bit_cast<std::uint64_t>(temperature) + position);
    const double r = random.next() / static_cast<double>(Random::MAX);
    return !(r > std::exp(gain / temperature));
}

}  // namespace

void RMesh::getEdgeFlipCandidates_MT(const std::vector<REdge*>& vInRE, double minImprovement, double temperature,
                                     std::vector<FlipCandidate>& vImpRE) {
    ASSEX(vImpRE.empty());
    const std::size_t n = vInRE.size();
    vImpRE.resize(n, {0.0, nullptr});
    forEach_MT(vRT, [](RTriangle* pRT) {
        bool bOK;
        if (pRT->bAlive) pRT->getNNV(bOK);
    });

    const std::size_t chunk = std::max(n / static_cast<std::size_t>(std::max(numProcessors(), 1)), MIN_FLIP_CHUNK);
    std::vector<std::function<void(int)>> vTask;
    for (std::size_t from = 0; from < n; from += chunk)
        vTask.emplace_back([&, from](int threadId) {
            getEdgeFlipCandidates_MT_priv(vInRE, minImprovement, temperature, from, std::min(from + chunk, n), vImpRE,
                                          threadId);
        });
    const std::string stepName = temperature > 0.0 ? annealingStepName(temperature) : "RM_gEfCandMT";
    ProgressStep progress(stepName, STEPS_PER_TASK * vTask.size());
    runTasks_MT(vTask);
    for (std::size_t i = 0; i < vTask.size(); ++i)
        progress.advance();

    judgeFolded(minImprovement, temperature, vImpRE);
    std::erase_if(vImpRE, [](const FlipCandidate& candidate) { return candidate.second == nullptr; });
    sortByFirstMT(vImpRE);
    if (temperature > 0.0) progress.finish();
}

void RMesh::getEdgeFlipCandidates_MT_priv(const std::vector<REdge*>& vInRE, double minImprovement, double temperature,
                                          std::size_t from, std::size_t to, std::vector<FlipCandidate>& vImpRE, int) {
    ASSEX(to<=vImpRE.size());
    ASSEX(to<=vInRE.size());
    REdgeEnergy ee(this, nullptr);
    for (std::size_t i = from; i < to; ++i) {
        ee.pRE = vInRE[i];
        const bool bJudged = ee.computeReadOnly();
        if (!bJudged || isAccepted(ee.improvement, minImprovement, temperature, i)) vImpRE[i] = {ee.improvement, ee.pRE};
    }
}

/// Judges the edges that the workers have left because their opposite corners are at the same place. Here these may move.
void RMesh::judgeFolded(double minImprovement, double temperature, std::vector<FlipCandidate>& vImpRE) {
    for (std::size_t i = 0; i < vImpRE.size(); ++i) {
        auto& [gain, pRE] = vImpRE[i];
        if (gain != REdgeEnergy::IMPOSSIBLE) continue;
        REdgeEnergy ee(this, nullptr);
        ee.pRE = pRE;
        ee.tryCompute();
        gain = ee.improvement;
        if (!isAccepted(gain, minImprovement, temperature, i)) pRE = nullptr;
    }
}

double RMesh::printEnergy(const std::string& name) const {
    Histogram histogram("DIHEDRAL ANGLES (" + name + ")");
    for (int bound = 10; bound <= 170; bound += 10)
        histogram.addBound(bound);
    std::vector<REdge*> vDeg2;
    getDegN(2, vDeg2);
    for (const REdge* pRE : vDeg2) {
        Vector3 normal0, normal1;
        if (getAgreeingNormals(*pRE, normal0, normal1)) histogram.addVal(getAngleDegree(normal0, normal1));
    }
    histogram.show();
    if (histogram.size() == 0) return DBL_MAX;
    out() << "avg. energy (" << name << ")=" << histogram.getAvg() << std::endl;
    return histogram.getAvg();
}

}  // namespace TARN_KEL
