// The progress of a run as one fraction.
//
// Each thread that runs the library owns one tree of steps. The entry function plants it: a root with the name of the run,
// and under it the named steps that a run of this kind may take, each with a weight, its guessed share of the time. A stage
// looks up its step by name, says how many steps it will do, and counts them:
//
//     ProgressStep step("VO_ftx", vPairs.size());
//     for (...) step.advance();
//     step.finish();
//
// Where no run is open that does nothing, so a stage works by itself as well.
//
// A count reaches the root, and through it the listener, only once in an interval of steps. The interval is chosen from the
// step's share of the total weight so that the whole run gives about 200 reports, however the weights are spread.
//
// A tree belongs to the thread of the run: only that thread plants, counts and resets; workers of the pool never do. Any
// thread may ask for the fraction. There is one lock a tree, the root's. A report climbs from a step to the root and the
// fraction is gathered from the root down to the steps, so a lock in each node would be taken in both orders. It is
// recursive, because the report holds it while it asks for the fraction.
//
// A run may have as many steps as a caller asks for rounds, and each of them reports. So a node keeps the sum over its
// children at hand: a fraction that changed is carried from its step up to the root, and only the few steps that are being
// counted are looked at when somebody asks.
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
#include <utility>
#include <vector>

#include "ThreadSingleton.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

/// The shares of steps in what they belong to, and their sum, which is cheap to ask for while single ones change.
///
/// Halves are added pairwise. So the sum hangs on the shares alone and not on what they were before, it doesn't fall when
/// one grows, and that of what is done is that of the weights, to the bit, when all is done.
class ShareSums {
public:
    struct Share {
        double weight = 0.0;
        double done = 0.0;  ///< the part of the weight that is done
        Share operator+(const Share& other) const { return {weight + other.weight, done + other.done}; }
    };

    std::size_t size() const { return numShares; }
    /// At position size(). O(log n) on average.
    void append(const Share& share) {
        if (numShares == capacity()) grow();
        set(numShares++, share);
    }
    /// O(log n).
    void set(std::size_t position, const Share& share) {
        std::size_t i = capacity() + position;
        vNode[i] = share;
        while (i > 1) {
            i /= 2;
            vNode[i] = vNode[2 * i] + vNode[2 * i + 1];
        }
    }
    Share sum() const { return vNode.empty() ? Share() : vNode[1]; }
    void clear() {
        vNode.clear();
        numShares = 0;
    }

private:
    std::size_t capacity() const { return vNode.size() / 2; }
    void grow() {
        const std::vector<Share> vFormer =
            std::exchange(vNode, std::vector<Share>(std::max<std::size_t>(4 * capacity(), 2)));
        std::copy(vFormer.begin() + static_cast<std::ptrdiff_t>(vFormer.size() / 2), vFormer.end(),
                  vNode.begin() + static_cast<std::ptrdiff_t>(capacity()));
        for (std::size_t i = capacity() - 1; i > 0; --i)
            vNode[i] = vNode[2 * i] + vNode[2 * i + 1];
    }

    std::vector<Share> vNode;  // a binary tree: the children of i are 2 * i and 2 * i + 1, the shares are the second half
    std::size_t numShares = 0;
};

/// A step of a run, or the run itself at the root of the tree.
class Progress {
public:
    /// A root without a run: it is named "empty".
    Progress() = default;
    ~Progress() {
        removeKids();
        if (bCounting) std::erase(pRoot->vCounting, this);
    }
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
        shares.append(pKid->share());
        mNameKids.emplace(childName, pKid.get());
        pKid.release();
        carryUp();
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
        carryUp();
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
    /// Marks this step, or all steps under it, as done. O(k log k) for k of them.
    void setDone(bool bBroadcast) {
        const Lock lock(treeMutex());
        finish();
        carryUp();
        if (bBroadcast) broadcast(name);
    }
    /// The fraction that is done, 0.0 to 1.0. O(log k) for each step of the tree that is opened and not complete, k their
    /// number of siblings.
    double getFrac() const {
        const Lock lock(treeMutex());
        pRoot->settle();
        return fraction();
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
        : name(childName),
          weight(childWeight),
          pParent(pTheParent),
          pRoot(pTheParent->pRoot),
          position(pTheParent->shares.size()) {}

    std::recursive_mutex& treeMutex() const { return pRoot->mutex; }
    std::size_t doneSteps() const { return done.load(std::memory_order_relaxed); }
    void setDoneSteps(std::size_t steps) { done.store(steps, std::memory_order_relaxed); }

    void removeKids() {
        for (const auto& [kidName, pKid] : mNameKids)
            delete pKid;
        mNameKids.clear();
        shares.clear();
    }

    // As far as it is carried up to here.
    double fraction() const {
        if (todo == 0) return 1.0;
        if (mNameKids.empty()) return std::min(1.0, static_cast<double>(doneSteps()) / static_cast<double>(todo));
        const ShareSums::Share sum = shares.sum();
        return sum.weight > 0.0 ? sum.done / sum.weight : 0.0;
    }
    ShareSums::Share share() const { return {weight, weight * fraction()}; }

    // After a change of the fraction.
    void carryUp() {
        for (const Progress* p = this; p->pParent != nullptr; p = p->pParent)
            p->pParent->shares.set(p->position, p->share());
    }

    // Steps are counted without the lock, so nobody carries them up. From here on the root looks at this step when it is
    // asked, until it is complete.
    void watch() {
        if (bCounting) return;
        pRoot->vCounting.push_back(this);
        bCounting = true;
    }

    // For the root: carries up what was counted since the last time.
    void settle() {
        std::erase_if(vCounting, [](Progress* pStep) {
            pStep->carryUp();
            pStep->bCounting = pStep->doneSteps() < pStep->todo;
            return !pStep->bCounting;
        });
    }

    void finish() {
        if (mNameKids.empty()) setDoneSteps(todo);
        for (const auto& [kidName, pKid] : mNameKids) {
            pKid->finish();
            shares.set(pKid->position, pKid->share());
        }
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
        watch();
    }

    // A step with share s of the total weight gets about 200 * s reports. One that would get none reports once on its way.
    std::size_t freshInterval() const {
        const double total = pParent->shares.sum().weight;
        if (!(weight > 0.0) || !(total > 0.0)) return todo / 200;
        const double numSteps = static_cast<double>(todo);
        const double wanted = std::ceil((total / weight) * (numSteps / 200.0));
        return static_cast<std::size_t>(wanted <= numSteps ? wanted : std::ceil(numSteps * 0.75));
    }

    void report() {
        const Lock lock(treeMutex());
        sinceReport = 0;
        watch();
        broadcast(name);
    }

    std::string name = "empty";
    double weight = 1.0;
    ProgressBase* pListener = nullptr;  // the caller's; at a root only
    Progress* const pParent = nullptr;  // the owner; null at a root
    Progress* const pRoot = this;       // of the tree; its mutex guards all nodes
    const std::size_t position = 0;     // in the shares of the parent
    ShareSums shares;                   // of the children, in the order in which they were made
    bool bCounting = false;             // it stands in the root's vCounting
    std::vector<Progress*> vCounting;   // at the root: the steps that may change without the lock, not owned
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
struct StepShare {
    const char* name;
    double weight;
};

inline constexpr StepShare STEPS_RECONSTRUCT[] = {
    {"CL_eres", 3}, {"SM_run", 3},   {"CL_creb", 3},  {"HL_st", 3},         {"VO_ftx", 3},
    {"VO_amb", 3},  {"TP_unif", 10}, {"TP_pps", 100}, {"TP_cbcpl", 100},    {"TP_itr", 50},
    {"TP_fin", 30}, {"RM_cpo", 10},  {"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 10},
};
inline constexpr StepShare STEPS_ESTIMATION[] = {{"CL_eres", 3}, {"SM_run", 3}, {"CL_creb", 3}};
inline constexpr StepShare STEPS_MELT[] = {
    {"dih2e", 0.061},       {"reo", 0.013},          {"rFins", 0.002},    {"feate", 0.019},    {"nfeate", 0.084},
    {"ar4", 0.092},         {"oifc", 0.025},         {"mandiffe", 0.042}, {"mandiffa", 0.943}, {"VO_ftx", 3},
    {"VO_amb", 3},          {"TP_cbcpl", 6},         {"TP_pps", 5},       {"RM_cpo", 1.09},    {"RM_kdeg", 4},
    {"hal-part", 10},       {"CL_eres", 3},          {"SM_run", 3},       {"CL_creb", 3},      {"HL_st", 3},
    {"TP_unif", 0.6},       {"TP_itr", 1},           {"TP_fin", 1.7},     {"efLoop", 5},       {"RM_redborder", 0.263},
    {"RM_redprioq", 0.824}, {"RM_redprocprioq", 15}, {"RM_gEfCandMT", 2},
};
inline constexpr StepShare STEPS_TO_CLOUD[] = {
    {"CL_eres", 3},   {"dih2e", 3}, {"reo", 3},   {"rFins", 3},     {"feate", 10},     {"nfeate", 50},
    {"hal-part", 10}, {"ar4", 100}, {"oifc", 10}, {"mandiffe", 10}, {"mandiffa", 100},
};
inline constexpr StepShare STEPS_REDUCE[] = {
    {"RM_kdeg", 3}, {"RM_redborder", 1}, {"RM_redprioq", 3}, {"RM_redprocprioq", 93}};
inline constexpr StepShare STEPS_EDGE_FLIPS[] = {{"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 10}};
/// Without the sweeps of the annealing schedule, one step for each of its temperatures.
inline constexpr StepShare STEPS_EDGE_FLIPS_SIM_A[] = {{"RM_kdeg", 10}, {"RM_gEfCandMT", 10}, {"efLoop", 3}};
/// Without the iterations, one step each.
inline constexpr StepShare STEPS_SMOOTHING[] = {{"border", 1}, {"list", 2}, {"RM_kdeg", 10}};

inline constexpr StepShare STEPS_MANIFOLD[] = {{"MF_make", 1}};
inline constexpr StepShare STEPS_FILL_HOLES[] = {{"RT_fill", 1}};

/// Opens a run on the calling thread: drops the tree of an earlier run, names the root, and creates the steps, the further
/// ones with weight 10.0. Returns the root. When that fails no run is open.
inline Progress* plantProgress(const std::string& runName, std::span<const StepShare> steps,
                               std::span<const std::string> furtherSteps = {}) {
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

/// True when a run is open on the calling thread.
inline bool hasOpenProgress() {
    return ThreadSingleton<Progress>::getInstance()->getName() != "empty";
}

/// A step of the calling thread's run, as the stage that does it sees it. All of it does nothing where no run is open.
///
/// A handle, copied at will; good until the run ends. There is no end by itself: the listener that hears of an end may
/// throw, which a destructor couldn't pass on, and a step that an exception ends isn't done.
class ProgressStep {
public:
    /// A step of no run.
    ProgressStep() = default;
    /// The step of that name, with todo units of work ahead. One that has counted before gets so many more.
    ProgressStep(const std::string& name, std::size_t todo)
        : pNode(hasOpenProgress() ? ThreadSingleton<Progress>::getInstance()->getChildProgressSetTodo(name, todo)
                                  : nullptr) {}

    /// That many units are done. No lock and no allocation unless a report is due.
    void advance(std::size_t numUnits = 1) const {
        if (pNode != nullptr) pNode->incProgressBy(numUnits);
    }
    /// All of it is done.
    void finish() const {
        if (pNode != nullptr) pNode->setDone(true);
    }
    /// True when nothing is left to count.
    bool isComplete() const { return pNode == nullptr || pNode->getFrac() >= 1.0; }

private:
    Progress* pNode = nullptr;  // in the tree of the thread, which owns it
};

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

// Post-processing may run inside a larger run: then these leave its tree alone and return false. True: they
// opened a run of their own, which an OwnRun ends.

inline bool plantUnlessOpen(const std::string& runName, std::span<const StepShare> steps,
                            std::span<const std::string> furtherSteps = {}) {
    if (hasOpenProgress()) return false;
    plantProgress(runName, steps, furtherSteps);
    return true;
}

inline bool progressForReduce() {
    return plantUnlessOpen("Reduce", STEPS_REDUCE);
}
inline bool progressForEdgeFlips() {
    return plantUnlessOpen("EdgeFlips", STEPS_EDGE_FLIPS);
}
inline bool progressForFillHoles() {
    return plantUnlessOpen("FillHoles", STEPS_FILL_HOLES);
}
inline bool progressForManifold() {
    return plantUnlessOpen("Manifold", STEPS_MANIFOLD);
}
/// The name of the step that seeks the candidates of one sweep of the annealing schedule.
inline std::string annealingStepName(double temperature) {
    return "RM_gEfCandMT_" + toString(temperature);
}

/// temperatures: those of the annealing schedule.
inline bool progressForEdgeFlipsSimA(std::span<const double> temperatures) {
    std::vector<std::string> vSweeps;
    for (const double temperature : temperatures)
        vSweeps.push_back(annealingStepName(temperature));
    return plantUnlessOpen("EdgeFlipsS", STEPS_EDGE_FLIPS_SIM_A, vSweeps);
}

inline bool progressForSmoothing(int numIterations) {
    std::vector<std::string> vRounds;
    for (int i = 0; i < numIterations; ++i)
        vRounds.push_back("it%" + toString(i));
    return plantUnlessOpen("Smoothing", STEPS_SMOOTHING, vRounds);
}

}  // namespace TARN_KEL
