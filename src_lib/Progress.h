// The progress of a run as one fraction.
//
// Each thread that runs the library owns one tree of steps. The entry function plants it: a root with the name of the run,
// and under it the named steps that a run of this kind may take, each with a weight, its guessed share of the time. A stage
// looks up its step by name, says how many steps it will do, and counts them:
//
//     Progress* pProgress = openStep("VO_ftx", vPairs.size());
//     for (...) pProgress->incProgressByOne();
//     pProgress->setDone(true);
//
// A count reaches the root, and through it the listener, only once in an interval of steps. The interval is chosen from the
// step's share of the total weight so that the whole run gives about 200 reports, however the weights are spread.
//
// A tree belongs to the thread of the run: only that thread plants, counts and resets; workers of the pool never do. Any
// thread may ask for the fraction. There is one lock a tree, the root's. A report climbs from a step to the root and the
// fraction is gathered from the root down to the steps, so a lock in each node would be taken in both orders. It is
// recursive, because the report holds it while it asks for the fraction.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "ThreadSingleton.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

/// A step of a run, or the run itself at the root of the tree.
class Progress {
public:
    /// A root without a run: it is named "empty".
    Progress() = default;
    ~Progress() { removeKids(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // ---- For the frame of a run

    const std::string& getName() const { return name; }
    void setName(const std::string& newName) {
        const Lock lock(treeMutex());
        name = newName;
    }
    /// Only a root has a listener. It stays the caller's; null for none. It outlasts reset().
    void setListener(ProgressBase* pNewListener) {
        const Lock lock(treeMutex());
        pListener = pNewListener;
    }
    ProgressBase* getListener() const { return pListener; }
    /// Adds a child unless the name exists. weight: share among its siblings, any unit. Throws KelBugException under a root
    /// that has no name: a stage can't report before an entry function opened a run.
    void createChild(const std::string& childName, double childWeight) {
        ASSEX(this->name!="empty");
        const Lock lock(treeMutex());
        if (mNameKids.contains(childName)) return;
        std::unique_ptr<Progress> pKid(new Progress(this, childName, childWeight));
        mNameKids.emplace(childName, pKid.get());
        pKid.release();
    }
    /// Back to the state of a fresh root, except for the listener. Pointers to its children die.
    void reset() {
        const Lock lock(treeMutex());
        removeKids();
        name = "empty";
        todo = 1;
        setDoneSteps(0);
        interval = 1;
        sinceReport = 0;
        lastFrac = -1.0;
    }
    /// The end of the thread that owns this root: the listener is gone as well.
    void onThreadEnd() {
        reset();
        setListener(nullptr);
    }

    // ---- For a stage

    /// The child of that name, with newTodo steps to do; made with weight 10.0 when it is missing. A child that has counted
    /// already keeps its fraction and gets newTodo steps more. Owned by this node, valid until reset().
    Progress* getChildProgressSetTodo(const std::string& childName, std::size_t newTodo) {
        const Lock lock(treeMutex());
        if (todo == 0) todo = 1;
        if (!mNameKids.contains(childName)) createChild(childName, 10.0);
        const auto q_it = mNameKids.find(childName);
        ASSEX(q_it!=mNameKids.end());
        q_it->second->open(newTodo);
        return q_it->second;
    }
    /// Counts one step. No lock and no allocation unless a report is due. Steps beyond the announced ones are reported, but
    /// don't raise the fraction.
    void incProgressByOne() { incProgressBy(1); }
    /// Counts that many steps as one: one report at most. They must not add up to more than a std::size_t holds.
    void incProgressBy(std::size_t numSteps) {
        sinceReport += numSteps;
        const std::size_t next = doneSteps() + numSteps;
        if (next <= todo) {
            setDoneSteps(next);
            if (sinceReport < interval && next != todo) return;
        } else {
            setDoneSteps(todo);
        }
        report();
    }
    /// Marks this step, or all steps under it, as done.
    void setDone(bool bBroadcast) {
        const Lock lock(treeMutex());
        for (const auto& [kidName, pKid] : mNameKids)
            pKid->setDone(false);
        if (mNameKids.empty()) setDoneSteps(todo);
        if (bBroadcast) broadcast(name);
    }
    /// The fraction that is done, 0.0 to 1.0. O(number of nodes below).
    double getFrac() const {
        const Lock lock(treeMutex());
        if (todo == 0) return 1.0;
        if (mNameKids.empty()) return std::min(1.0, static_cast<double>(doneSteps()) / static_cast<double>(todo));
        double sum = 0.0;
        for (const auto& [kidName, pKid] : mNameKids)
            sum += pKid->weight * pKid->getFrac();
        const double total = weightOfKids();
        return total > 0.0 ? sum / total : 0.0;
    }
    /// Passes a report up to the root, which tells the listener when the fraction has changed. text: the step it comes from.
    /// What the listener throws comes through; the tree stays usable.
    void broadcast(const std::string& text) {
        const Lock lock(treeMutex());
        if (pParent != nullptr) {
            pParent->broadcast(text);
            return;
        }
        const double frac = getFrac();
        if (frac == lastFrac) return;
        lastFrac = frac;
        if (pListener != nullptr) pListener->update(name, frac);
    }

    std::chrono::system_clock::time_point getStartTime() const { return startTime; }

    std::map<std::string, Progress*> mNameKids;  ///< the children by name, owned

private:
    using Lock = std::lock_guard<std::recursive_mutex>;

    Progress(Progress* pTheParent, const std::string& childName, double childWeight)
        : name(childName), weight(childWeight), pParent(pTheParent), pRoot(pTheParent->pRoot) {}

    std::recursive_mutex& treeMutex() const { return pRoot->mutex; }
    std::size_t doneSteps() const { return done.load(std::memory_order_relaxed); }
    void setDoneSteps(std::size_t steps) { done.store(steps, std::memory_order_relaxed); }

    void removeKids() {
        for (const auto& [kidName, pKid] : mNameKids)
            delete pKid;
        mNameKids.clear();
    }

    double weightOfKids() const {
        double total = 0.0;
        for (const auto& [kidName, pKid] : mNameKids)
            total += pKid->weight;
        return total;
    }

    // Announces steps. The fraction of a step that is opened again must not fall, or the listener would hear it go back.
    void open(std::size_t newTodo) {
        const std::size_t doneBefore = doneSteps();
        if (doneBefore == 0) {
            todo = newTodo;
        } else {
            const double frac = getFrac();
            todo = newTodo + doneBefore;
            setDoneSteps(frac < 1.0 ? static_cast<std::size_t>(static_cast<double>(todo) * frac) : todo);
        }
        interval = std::max<std::size_t>(doneSteps() == 0 ? freshInterval() : interval, 1);
    }

    // A step with share s of the total weight gets about 200 * s reports. One that would get none reports once on its way.
    std::size_t freshInterval() const {
        const double total = pParent->weightOfKids();
        if (!(weight > 0.0) || !(total > 0.0)) return todo / 200;
        const double numSteps = static_cast<double>(todo);
        const double wanted = std::ceil((total / weight) * (numSteps / 200.0));
        return static_cast<std::size_t>(wanted <= numSteps ? wanted : std::ceil(numSteps * 0.75));
    }

    void report() {
        const Lock lock(treeMutex());
        sinceReport = 0;
        broadcast(name);
    }

    std::string name = "empty";
    double weight = 1.0;
    ProgressBase* pListener = nullptr;  // the caller's; at a root only
    Progress* const pParent = nullptr;  // the owner; null at a root
    Progress* const pRoot = this;       // of the tree; its mutex guards all nodes
    std::recursive_mutex mutex;
    std::size_t todo = 1;
    std::atomic<std::size_t> done{0};  // written without the lock by the one thread that counts, read by any
    std::size_t interval = 1;          // steps between two reports, at least 1
    std::size_t sinceReport = 0;       // steps since the last report
    double lastFrac = -1.0;            // what the listener heard last
    const std::chrono::system_clock::time_point startTime = std::chrono::system_clock::now();
};

// ---- The steps of the runs ----------------------------------------------------------------------------------------------

/// A step that a kind of run may take, and its share among the steps of that run.
struct ProgressStep {
    const char* name;
    double weight;
};

inline constexpr ProgressStep STEPS_RECONSTRUCT[] = {
    {"CL_eres", 3}, {"SM_run", 3},   {"CL_creb", 3},  {"HL_st", 3},         {"VO_ftx", 3},
    {"VO_amb", 3},  {"TP_unif", 10}, {"TP_pps", 100}, {"TP_cbcpl", 100},    {"TP_itr", 50},
    {"TP_fin", 30}, {"RM_cpo", 10},  {"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 10},
};
inline constexpr ProgressStep STEPS_ESTIMATION[] = {{"CL_eres", 3}, {"SM_run", 3}, {"CL_creb", 3}};
inline constexpr ProgressStep STEPS_MELT[] = {
    {"dih2e", 0.061},       {"reo", 0.013},          {"rFins", 0.002},    {"feate", 0.019},    {"nfeate", 0.084},
    {"ar4", 0.092},         {"oifc", 0.025},         {"mandiffe", 0.042}, {"mandiffa", 0.943}, {"VO_ftx", 3},
    {"VO_amb", 3},          {"TP_cbcpl", 6},         {"TP_pps", 5},       {"RM_cpo", 1.09},    {"RM_kdeg", 4},
    {"hal-part", 10},       {"CL_eres", 3},          {"SM_run", 3},       {"CL_creb", 3},      {"HL_st", 3},
    {"TP_unif", 0.6},       {"TP_itr", 1},           {"TP_fin", 1.7},     {"efLoop", 5},       {"RM_redborder", 0.263},
    {"RM_redprioq", 0.824}, {"RM_redprocprioq", 15}, {"RM_gEfCandMT", 2},
};
inline constexpr ProgressStep STEPS_TO_CLOUD[] = {
    {"CL_eres", 3},   {"dih2e", 3}, {"reo", 3},   {"rFins", 3},     {"feate", 10},     {"nfeate", 50},
    {"hal-part", 10}, {"ar4", 100}, {"oifc", 10}, {"mandiffe", 10}, {"mandiffa", 100},
};
inline constexpr ProgressStep STEPS_REDUCE[] = {
    {"RM_kdeg", 3}, {"RM_redborder", 1}, {"RM_redprioq", 3}, {"RM_redprocprioq", 93}};
inline constexpr ProgressStep STEPS_EDGE_FLIPS[] = {{"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 10}};
/// Without the sweeps of the annealing schedule, one step for each of its temperatures.
inline constexpr ProgressStep STEPS_EDGE_FLIPS_SIM_A[] = {{"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 3}};
/// Without the iterations, one step each.
inline constexpr ProgressStep STEPS_SMOOTHING[] = {{"border", 1}, {"list", 2}, {"RM_kdeg", 10}};

inline constexpr ProgressStep STEPS_READ_MESH[] = {{"RM_cpo", 10}, {"RM_kdeg", 10}};

/// Opens a run on the calling thread: drops the tree of an earlier run, names the root, and creates the steps. Returns the
/// root.
inline Progress* plantProgress(const std::string& runName, std::span<const ProgressStep> steps) {
    Progress* pRoot = ThreadSingleton<Progress>::getInstance();
    pRoot->reset();
    pRoot->setName(runName);
    for (const ProgressStep& step : steps)
        pRoot->createChild(step.name, step.weight);
    return pRoot;
}

/// The end of a run on the calling thread: all is done, and no run is open.
inline void closeProgress() {
    Progress* pRoot = ThreadSingleton<Progress>::getInstance();
    pRoot->setDone(true);
    pRoot->reset();
}

/// The end of a run that a function opened for itself; nothing where it works inside a larger run. When the function throws
/// the tree of its run goes as well, so that the next one doesn't take it for a larger run.
class OwnRun {
public:
    explicit OwnRun(bool bOpened) : bOpen(bOpened) {}
    ~OwnRun() {
        if (bOpen) ThreadSingleton<Progress>::getInstance()->reset();
    }
    OwnRun(const OwnRun&) = delete;
    OwnRun& operator=(const OwnRun&) = delete;

    /// All is done. The listener hears it, and may throw.
    void close() {
        if (bOpen) closeProgress();
        bOpen = false;
    }

private:
    bool bOpen;
};

/// The step of that name in this thread's run, with so many steps to do (getChildProgressSetTodo of the root).
inline Progress* openStep(const std::string& name, std::size_t todo) {
    return ThreadSingleton<Progress>::getInstance()->getChildProgressSetTodo(name, todo);
}

/// True when a run is open on the calling thread.
inline bool hasOpenProgress() {
    return ThreadSingleton<Progress>::getInstance()->getName() != "empty";
}

inline void progressForReco() {
    plantProgress("Reconstruct", STEPS_RECONSTRUCT);
}
inline void progressForEstimation() {
    plantProgress("Density Estimation", STEPS_ESTIMATION);
}
inline void progressForMelt() {
    plantProgress("Melt", STEPS_MELT);
}
inline void progressForToCloud() {
    plantProgress("ToCloud", STEPS_TO_CLOUD);
}

// Post-processing and reading may run inside a larger run: then these leave its tree alone and return false. True: they
// opened a run of their own, which the caller must end by closeProgress().

inline bool progressForReduce() {
    if (hasOpenProgress()) return false;
    plantProgress("Reduce", STEPS_REDUCE);
    return true;
}

inline bool progressForEdgeFlips() {
    if (hasOpenProgress()) return false;
    plantProgress("EdgeFlips", STEPS_EDGE_FLIPS);
    return true;
}

/// The name of the step that seeks the candidates of one sweep of the annealing schedule.
inline std::string annealingStepName(double temperature) {
    return "RM_gEfCandMT_" + toString(temperature);
}

/// temperatures: those of the annealing schedule.
inline bool progressForEdgeFlipsSimA(std::span<const double> temperatures) {
    if (hasOpenProgress()) return false;
    Progress* pRoot = plantProgress("EdgeFlipsS", STEPS_EDGE_FLIPS_SIM_A);
    for (const double temperature : temperatures)
        pRoot->createChild(annealingStepName(temperature), 10.0);
    return true;
}

inline bool progressForSmoothing(int numIterations) {
    if (hasOpenProgress()) return false;
    Progress* pRoot = plantProgress("Smoothing", STEPS_SMOOTHING);
    for (int i = 0; i < numIterations; ++i)
        pRoot->createChild("it%" + toString(i), 10.0);
    return true;
}

inline bool progressForReadMesh() {
    if (hasOpenProgress()) return false;
    plantProgress("ReadMesh", STEPS_READ_MESH);
    return true;
}

}  // namespace TARN_KEL
