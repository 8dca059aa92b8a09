// What every run with options shares: the stop flag, the listener of its own, and the times of its steps.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <vector>

#include "Progress.h"
#include "ThreadSingleton.h"
#include "kel.h"
#include "processMemory.h"
#include "runTasks.h"

namespace TARN_KEL {

/// Ends the run when its stop flag is true, and passes what it hears on. While the run waits for its workers, it tells the
/// listener again what it told last, so that this may end the run then, too.
class RunWatch : public ProgressBase, public Heartbeat {
public:
    /// Neither is owned; both may be null.
    RunWatch(const std::atomic<bool>* pStopFlag, ProgressBase* pHearer) : pStop(pStopFlag), pNext(pHearer) {}

    /// Throws KelStoppedException when the flag is true.
    void check() const {
        if (pStop != nullptr && *pStop) throw KelStoppedException();
    }
    void update(const std::string& name, double fraction) override {
        check();
        lastName = name;
        lastFraction = fraction;
        if (pNext != nullptr) pNext->update(name, fraction);
    }
    void beat() override {
        const std::string name = lastName;  // a report would change it
        if (!name.empty()) update(name, lastFraction);
        check();
    }

private:
    const std::atomic<bool>* pStop;
    ProgressBase* pNext;
    std::string lastName;  // what was heard last
    double lastFraction = 0.0;
};

/// Makes a watch the listener of the thread, until its end, and takes the times of steps.
class WatchedRun {
public:
    /// pListener: null for the listener that the thread has.
    WatchedRun(const std::atomic<bool>* pStop, ProgressBase* pListener)
        : pFormer(root().getListener()), watch(pStop, pListener != nullptr ? pListener : pFormer) {
        root().setListener(&watch);
        currentHeartbeat() = &watch;
    }
    ~WatchedRun() {
        currentHeartbeat() = pFormerBeat;
        root().setListener(pFormer);
    }
    WatchedRun(const WatchedRun&) = delete;
    WatchedRun& operator=(const WatchedRun&) = delete;

    /// Does the work of a step, unless the run is to stop, and appends how long it took.
    template <typename Work>
    void step(const char* name, std::vector<RunStep>& vSteps, Work&& work) const {
        watch.check();
        const auto start = std::chrono::steady_clock::now();
        work();
        vSteps.push_back({name, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()});
    }

private:
    static Progress& root() { return *ThreadSingleton<Progress>::getInstance(); }

    ProgressBase* pFormer;
    Heartbeat* pFormerBeat = currentHeartbeat();
    RunWatch watch;
};

/// A whole call with options: report, number of threads, listener, progress. beginProgress() names the steps that are heard;
/// work(watchedRun, report) makes the mesh.
template <typename Options, typename Report, typename BeginProgress, typename Work>
MeshPtr runWithOptions(const Options& options, Report* pReport, const BeginProgress& beginProgress, const Work& work) {
    Report ownReport;
    Report& report = pReport != nullptr ? *pReport : ownReport;
    report = {};
    if (options.numThreads > 0) setNumThreads(options.numThreads);
    const WatchedRun watchedRun(options.pStop, options.pListener);
    beginProgress();
    OwnRun run(true);
    MeshPtr pMesh = work(watchedRun, report);
    run.close();
    report.peakMemory = peakMemory();
    return pMesh;
}

}  // namespace TARN_KEL
