// The progress of a run as one fraction.
//
// Each thread that runs the library owns one tree of steps. The entry function creates it: a root with the name of the run,
// and under it the named steps that a run of this kind may take, each with a weight, its guessed share of the time. A stage
// looks up its step by name, tells how many units of work it has, and counts them:
//
//     ProgressStep step("VO_ftx", vPairs.size());
//     for (...) step.advance();
//     step.finish();
//
// When no run is open this does nothing, so a stage works by itself as well.
//
// A count reaches the root, and through it the listener, only once in an interval of steps. The interval is chosen from the
// step's share of the total weight so that the whole run gives about 200 reports, however the weights are spread.
//
// A tree belongs to the thread of the run: only that thread creates, counts and resets; workers of the pool never do. Any
// thread may ask for the fraction. There is one lock per tree, that of the root. A report climbs from a step to the root,
// and the fraction is gathered from the root down to the steps, so locks in each node would be taken in both orders. The
// lock is recursive, because a report holds it while it asks for the fraction.
//
// A run may have as many steps as a caller asks for rounds, and each of them reports. So a node keeps the sum over its
// children up to date: when the fraction of a step has changed, it is carried up to the root, and only the few steps that
// are being counted are looked at when somebody asks.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "ShareSums.h"
#include "ThreadSingleton.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

/// A step of a run, or the run itself at the root of the tree.
class Progress {
public:
    /// A root without a run: it is named "empty".
    Progress() = default;
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // ---- For the frame of a run

    const std::string& getName() const { return name; }
    void setName(const std::string& newName);
    /// Only a root has a listener. It isn't owned; null for none. reset() keeps it.
    void setListener(ProgressBase* pNewListener);
    ProgressBase* getListener() const { return pListener; }
    /// Adds a child unless there is one of that name. Throws KelBugException under a root without a name: a stage can't
    /// report before an entry function has opened a run.
    /// childWeight: the share among its siblings, in any unit.
    void createChild(const std::string& childName, double childWeight);
    /// Brings the root back to its initial state, except for the listener. Pointers to its children are void.
    void reset();
    /// To be called when the thread that owns this root ends: resets the root and forgets the listener.
    void onThreadEnd();

    // ---- For a stage

    /// The child of that name, with newTodo steps to do; created with weight 10.0 when it is missing. A child that has
    /// counted already keeps its fraction and gets newTodo steps more. Owned by this node, valid until reset().
    Progress* getChildProgressSetTodo(const std::string& childName, std::size_t newTodo);
    /// Counts one step. No lock and no allocation unless a report is due. Steps beyond the announced ones are reported, but
    /// don't raise the fraction.
    void incProgressByOne() { incProgressBy(1); }
    /// Counts that many steps at once, with one report at most. The sum of all steps must fit in a std::size_t.
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
    void setDone(bool bBroadcast);
    /// The fraction that is done, 0.0 to 1.0. Cost: O(log k) for each step of the tree that is being counted, with k
    /// siblings.
    double getFrac() const;
    /// Passes a report up to the root, which tells the listener when the fraction has changed. Exceptions of the listener
    /// are passed on; the tree stays usable.
    /// text: the step that reports.
    void broadcast(const std::string& text);

    std::chrono::system_clock::time_point getStartTime() const { return startTime; }

    std::map<std::string, Progress*> mNameKids;  ///< the children by name, owned

private:
    using Lock = std::lock_guard<std::recursive_mutex>;

    Progress(Progress* pTheParent, const std::string& childName, double childWeight);

    std::recursive_mutex& treeMutex() const { return pRoot->mutex; }
    std::size_t doneSteps() const { return done.load(std::memory_order_relaxed); }
    void setDoneSteps(std::size_t steps) { done.store(steps, std::memory_order_relaxed); }

    void removeKids();
    // The fraction as far as it was carried up to this node.
    double fraction() const;
    ShareSums::Share share() const { return {weight, weight * fraction()}; }
    // To be called after a change of the fraction.
    void carryUp();
    // Steps are counted without the lock, so counts aren't carried up. From here on the root looks at this step when
    // somebody asks, until it is complete.
    void watch();
    // For the root: carries up what was counted since the last time.
    void settle();
    void finish();
    // Announces steps. The fraction of a step that is opened again must not fall, or the listener would see progress go
    // back.
    void open(std::size_t newTodo);
    // A step with share s of the total weight gets about 200 * s reports. A step that would get none reports once.
    std::size_t freshInterval() const;
    void report();

    std::string name = "empty";
    double weight = 1.0;
    ProgressBase* pListener = nullptr;  // the caller's; at a root only
    Progress* const pParent = nullptr;  // the owner; null at a root
    Progress* const pRoot = this;       // of the tree; its mutex guards all nodes
    const std::size_t position = 0;     // in the shares of the parent
    ShareSums shares;                   // of the children, in order of creation
    bool bCounting = false;             // it is in the root's vCounting
    std::vector<Progress*> vCounting;   // at the root: the steps that may change without the lock, not owned
    std::recursive_mutex mutex;
    std::size_t todo = 1;
    std::atomic<std::size_t> done{0};  // written without the lock by the one thread that counts, read by any
    std::size_t interval = 1;          // steps between two reports, at least 1
    std::size_t sinceReport = 0;       // steps since the last report
    double lastFrac = -1.0;            // what the listener was told last
    const std::chrono::system_clock::time_point startTime = std::chrono::system_clock::now();
};

/// True when a run is open on the calling thread.
bool hasOpenProgress();

/// A step of the calling thread's run, for the stage that does the work. When no run is open, its operations do nothing.
///
/// A handle that may be copied; valid until the run ends. The destructor doesn't finish the step: the listener may throw
/// then, which a destructor couldn't pass on, and a step that an exception ends isn't done.
class ProgressStep {
public:
    /// A step of no run.
    ProgressStep() = default;
    /// The step of that name, with todo units of work. A step that has counted before gets that many more.
    ProgressStep(const std::string& name, std::size_t todo);

    /// Counts that many units as done. No lock and no allocation unless a report is due.
    void advance(std::size_t numUnits = 1) const {
        if (pNode != nullptr) pNode->incProgressBy(numUnits);
    }
    /// Marks the step as done.
    void finish() const {
        if (pNode != nullptr) pNode->setDone(true);
    }
    /// True when nothing is left to count, and when no run is open.
    bool isComplete() const { return pNode == nullptr || pNode->getFrac() >= 1.0; }

private:
    Progress* pNode = nullptr;  // in the tree of the thread, which owns it
};

// ---- Runs ---------------------------------------------------------------------------------------------------------------

/// A step that a kind of run may take, and its share among the steps of that run.
struct StepShare {
    const char* name;
    double weight;
};

/// Opens a run on the calling thread: drops the tree of an earlier run, names the root, and creates the steps; those of
/// furtherSteps get weight 10.0. Returns the root. When it throws, no run is open.
Progress* plantProgress(const std::string& runName, std::span<const StepShare> steps,
                        std::span<const std::string> furtherSteps = {});
/// Ends the run on the calling thread: all is marked as done, and no run is open afterwards.
void closeProgress();

/// Ends a run that a function has opened for itself; does nothing inside a larger run. When the function throws, the
/// destructor drops the tree of its run, so that the next function doesn't take it for a larger run.
class OwnRun {
public:
    explicit OwnRun(bool bOpened) : bOpen(bOpened) {}
    ~OwnRun();
    OwnRun(const OwnRun&) = delete;
    OwnRun& operator=(const OwnRun&) = delete;

    /// Marks all as done. The listener is told, and may throw.
    void close();

private:
    bool bOpen;
};

void progressForReco();
/// A reconstruction with options: the steps of progressForReco(), those before it and those on the mesh.
void progressForScan();
void progressForEstimation();
void progressForMelt();
/// The steps of progressForMelt() and those on the mesh.
void progressForMeltWithOptions();
void progressForToCloud();

// Post-processing may run inside a larger run: then these leave its tree alone and return false. Otherwise they open a run,
// which an OwnRun must end, and return true.

bool progressForReduce();
/// For the functions of kel/simplify.h.
bool progressForShapeReduce();
bool progressForShapeSmoothing();
bool progressForEdgeFlips();
bool progressForFillHoles();
bool progressForFit();
bool progressForManifold();
/// temperatures: those of the annealing schedule.
bool progressForEdgeFlipsSimA(std::span<const double> temperatures);
bool progressForSmoothing(int numIterations);
/// The name of the step that finds the candidates for one sweep of the annealing schedule.
std::string annealingStepName(double temperature);

}  // namespace TARN_KEL
