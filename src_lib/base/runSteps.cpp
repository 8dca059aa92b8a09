// The runs and the steps that each of them may take.
#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "Progress.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr StepShare STEPS_RECONSTRUCT[] = {
    {"CL_eres", 3}, {"SM_run", 3},   {"CL_creb", 3},  {"HL_st", 3},         {"VO_ftx", 3},
    {"VO_amb", 3},  {"TP_unif", 10}, {"TP_pps", 100}, {"TP_cbcpl", 100},    {"TP_itr", 50},
    {"TP_fin", 30}, {"RM_cpo", 10},  {"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 10},
};
// Before the points become a mesh, and on the mesh.
constexpr StepShare STEPS_AROUND[] = {
    {"SC_far", 5},  {"SC_nodes", 8}, {"SC_stray", 5}, {"SC_hover", 10}, {"SC_around", 15}, {"SC_planes", 5}, {"SC_stars", 5},
    {"SC_gaps", 5}, {"MF_make", 10}, {"RT_fill", 10}, {"SC_flaws", 5},  {"FT_points", 15}, {"FT_rounds", 15}};
constexpr StepShare STEPS_ESTIMATION[] = {{"CL_eres", 3}, {"SM_run", 3}, {"CL_creb", 3}};
constexpr StepShare STEPS_MELT[] = {
    {"dih2e", 0.061},       {"reo", 0.013},          {"rFins", 0.002},    {"feate", 0.019},    {"nfeate", 0.084},
    {"ar4", 0.092},         {"oifc", 0.025},         {"mandiffe", 0.042}, {"mandiffa", 0.943}, {"VO_ftx", 3},
    {"VO_amb", 3},          {"TP_cbcpl", 6},         {"TP_pps", 5},       {"RM_cpo", 1.09},    {"RM_kdeg", 4},
    {"hal-part", 10},       {"CL_eres", 3},          {"SM_run", 3},       {"CL_creb", 3},      {"HL_st", 3},
    {"TP_unif", 0.6},       {"TP_itr", 1},           {"TP_fin", 1.7},     {"efLoop", 5},       {"RM_redborder", 0.263},
    {"RM_redprioq", 0.824}, {"RM_redprocprioq", 15}, {"RM_gEfCandMT", 2},
};
// On the mesh of a melt with options.
constexpr StepShare STEPS_AFTER_MELT[] = {{"MF_make", 3}, {"RT_fill", 1}, {"SC_flaws", 1}};
constexpr StepShare STEPS_TO_CLOUD[] = {
    {"CL_eres", 3},   {"dih2e", 3}, {"reo", 3},   {"rFins", 3},     {"feate", 10},     {"nfeate", 50},
    {"hal-part", 10}, {"ar4", 100}, {"oifc", 10}, {"mandiffe", 10}, {"mandiffa", 100},
};
constexpr StepShare STEPS_REDUCE[] = {{"RM_kdeg", 3}, {"RM_redborder", 1}, {"RM_redprioq", 3}, {"RM_redprocprioq", 93}};
constexpr StepShare STEPS_SHAPE_REDUCE[] = {{"MF_make", 1}, {"SR_collapse", 9}, {"SR_fit", 3}};
constexpr StepShare STEPS_SHAPE_SMOOTHING[] = {{"MF_make", 1}, {"SS_round", 9}};
constexpr StepShare STEPS_EDGE_FLIPS[] = {{"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 10}};
// Without the sweeps of the annealing schedule, one step for each of its temperatures.
constexpr StepShare STEPS_EDGE_FLIPS_SIM_A[] = {{"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 3}};
// Without the iterations, one step each.
constexpr StepShare STEPS_SMOOTHING[] = {{"border", 1}, {"list", 2}, {"RM_kdeg", 10}};

constexpr StepShare STEPS_MANIFOLD[] = {{"MF_make", 1}};
constexpr StepShare STEPS_FIT[] = {{"FT_points", 1}, {"FT_rounds", 1}};
constexpr StepShare STEPS_FILL_HOLES[] = {{"RT_fill", 1}};

// A run of its own, unless one is open.
bool plantUnlessOpen(const std::string& runName, std::span<const StepShare> steps,
                     std::span<const std::string> furtherSteps = {}) {
    if (hasOpenProgress()) return false;
    plantProgress(runName, steps, furtherSteps);
    return true;
}

}  // namespace

Progress* plantProgress(const std::string& runName, std::span<const StepShare> steps,
                        std::span<const std::string> furtherSteps) {
    Progress* pRoot = ThreadSingleton<Progress>::getInstance();
    pRoot->reset();
    try {
        pRoot->setName(runName);
        for (const StepShare& step : steps)
            pRoot->createChild(step.name, step.weight);
        for (const std::string& step : furtherSteps)
            pRoot->createChild(step, 10.0);
    } catch (...) {
        pRoot->reset();
        throw;
    }
    return pRoot;
}

void closeProgress() {
    Progress* pRoot = ThreadSingleton<Progress>::getInstance();
    pRoot->setDone(true);
    pRoot->reset();
}

OwnRun::~OwnRun() {
    if (bOpen) ThreadSingleton<Progress>::getInstance()->reset();
}

void OwnRun::close() {
    if (bOpen) closeProgress();
    bOpen = false;
}

void progressForReco() {
    plantProgress("Reconstruct", STEPS_RECONSTRUCT);
}

void progressForScan() {
    std::vector<StepShare> vSteps(std::begin(STEPS_RECONSTRUCT), std::end(STEPS_RECONSTRUCT));
    vSteps.insert(vSteps.end(), std::begin(STEPS_AROUND), std::end(STEPS_AROUND));
    plantProgress("Reconstruct", vSteps);
}

void progressForEstimation() {
    plantProgress("Density Estimation", STEPS_ESTIMATION);
}

void progressForMelt() {
    plantProgress("Melt", STEPS_MELT);
}

void progressForMeltWithOptions() {
    std::vector<StepShare> vSteps(std::begin(STEPS_MELT), std::end(STEPS_MELT));
    vSteps.insert(vSteps.end(), std::begin(STEPS_AFTER_MELT), std::end(STEPS_AFTER_MELT));
    plantProgress("Melt", vSteps);
}

void progressForToCloud() {
    plantProgress("ToCloud", STEPS_TO_CLOUD);
}

bool progressForReduce() {
    return plantUnlessOpen("Reduce", STEPS_REDUCE);
}

bool progressForShapeReduce() {
    return plantUnlessOpen("Reduce", STEPS_SHAPE_REDUCE);
}

bool progressForShapeSmoothing() {
    return plantUnlessOpen("Smoothing", STEPS_SHAPE_SMOOTHING);
}

bool progressForEdgeFlips() {
    return plantUnlessOpen("EdgeFlips", STEPS_EDGE_FLIPS);
}

bool progressForFillHoles() {
    return plantUnlessOpen("FillHoles", STEPS_FILL_HOLES);
}

bool progressForFit() {
    return plantUnlessOpen("Fit", STEPS_FIT);
}

bool progressForManifold() {
    return plantUnlessOpen("Manifold", STEPS_MANIFOLD);
}

std::string annealingStepName(double temperature) {
    return "RM_gEfCandMT_" + toString(temperature);
}

bool progressForEdgeFlipsSimA(std::span<const double> temperatures) {
    std::vector<std::string> vSweeps;
    vSweeps.reserve(temperatures.size());
    for (const double temperature : temperatures)
        vSweeps.push_back(annealingStepName(temperature));
    return plantUnlessOpen("EdgeFlipsS", STEPS_EDGE_FLIPS_SIM_A, vSweeps);
}

bool progressForSmoothing(int numIterations) {
    std::vector<std::string> vRounds;
    vRounds.reserve(static_cast<std::size_t>(std::max(numIterations, 0)));
    for (int i = 0; i < numIterations; ++i)
        vRounds.push_back("it%" + toString(i));
    return plantUnlessOpen("Smoothing", STEPS_SMOOTHING, vRounds);
}

}  // namespace TARN_KEL
