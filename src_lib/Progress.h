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
    /// Only a root has a listener. It stays the caller's; null for none. It outlasts reset().
    void setListener(ProgressBase* pNewListener);
    ProgressBase* getListener() const { return pListener; }
    /// Adds a child unless the name exists. weight: share among its siblings, any unit. Throws KelBugException under a root
    /// that has no name: a stage can't report before an entry function opened a run.
    void createChild(const std::string& childName, double childWeight);
    /// Back to the state of a fresh root, except for the listener. Pointers to its children die.
    void reset();
    /// The end of the thread that owns this root: the listener is gone as well.
    void onThreadEnd();

    // ---- For a stage

    /// The child of that name, with newTodo steps to do; made with weight 10.0 when it is missing. A child that has counted
    /// already keeps its fraction and gets newTodo steps more. Owned by this node, valid until reset().
    Progress* getChildProgressSetTodo(const std::string& childName, std::size_t newTodo);
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
    void setDone(bool bBroadcast);
    /// The fraction that is done, 0.0 to 1.0. O(log k) for each step of the tree that is opened and not complete, k their
    /// number of siblings.
    double getFrac() const;
    /// Passes a report up to the root, which tells the listener when the fraction has changed. text: the step it comes from.
    /// What the listener throws comes through; the tree stays usable.
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
    // As far as it is carried up to here.
    double fraction() const;
    ShareSums::Share share() const { return {weight, weight * fraction()}; }
    // After a change of the fraction.
    void carryUp();
    // Steps are counted without the lock, so nobody carries them up. From here on the root looks at this step when it is
    // asked, until it is complete.
    void watch();
    // For the root: carries up what was counted since the last time.
    void settle();
    void finish();
    // Announces steps. The fraction of a step that is opened again must not fall, or the listener would hear it go back.
    void open(std::size_t newTodo);
    // A step with share s of the total weight gets about 200 * s reports. One that would get none reports once on its way.
    std::size_t freshInterval() const;
    void report();

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

/// True when a run is open on the calling thread.
bool hasOpenProgress();

/// A step of the calling thread's run, as the stage that does it sees it. All of it does nothing where no run is open.
///
/// A handle, copied at will; good until the run ends. There is no end by itself: the listener that hears of an end may
/// throw, which a destructor couldn't pass on, and a step that an exception ends isn't done.
class ProgressStep {
public:
    /// A step of no run.
    ProgressStep() = default;
    /// The step of that name, with todo units of work ahead. One that has counted before gets so many more.
    ProgressStep(const std::string& name, std::size_t todo);

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

// ---- Runs ---------------------------------------------------------------------------------------------------------------

/// A step that a kind of run may take, and its share among the steps of that run.
struct StepShare {
    const char* name;
    double weight;
};

/// Opens a run on the calling thread: drops the tree of an earlier run, names the root, and creates the steps, the further
/// ones with weight 10.0. Returns the root. When that fails no run is open.
Progress* plantProgress(const std::string& runName, std::span<const StepShare> steps,
                        std::span<const std::string> furtherSteps = {});
/// The end of a run on the calling thread: all is done, and no run is open.
void closeProgress();

/// The end of a run that a function opened for itself; nothing where it works inside a larger run. When the function throws
/// the tree of its run goes as well, so that the next one doesn't take it for a larger run.
class OwnRun {
public:
    explicit OwnRun(bool bOpened) : bOpen(bOpened) {}
    ~OwnRun();
    OwnRun(const OwnRun&) = delete;
    OwnRun& operator=(const OwnRun&) = delete;

    /// All is done. The listener hears it, and may throw.
    void close();

private:
    bool bOpen;
};

void progressForReco();
void progressForEstimation();
void progressForMelt();
void progressForToCloud();

// Post-processing may run inside a larger run: then these leave its tree alone and return false. True: they opened a run of
// their own, which an OwnRun ends.

bool progressForReduce();
bool progressForEdgeFlips();
bool progressForFillHoles();
bool progressForManifold();
/// temperatures: those of the annealing schedule.
bool progressForEdgeFlipsSimA(std::span<const double> temperatures);
bool progressForSmoothing(int numIterations);
/// The name of the step that seeks the candidates of one sweep of the annealing schedule.
std::string annealingStepName(double temperature);

}  // namespace TARN_KEL
