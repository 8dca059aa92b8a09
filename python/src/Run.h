// A call of the library on behalf of Python: without the interpreter's lock, with its signals, and with its exceptions.
//
// A run goes on in a thread of its own, a helper, while the calling thread waits. So the calling thread is there for what
// Python wants of it: it calls the progress function, and every 20 ms it looks for signals. Ctrl-C needn't wait for the run:
// the run is told to stop, which it does at its next report, some tenths of a second later for a large cloud, and the caller
// gets its KeyboardInterrupt at once. Until then the helper keeps alive what the run uses; of
// Python's that is at most arrays of points, which it drops under the lock of the interpreter.
#pragma once

#include <kel_c.h>
#include <pybind11/pybind11.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace py = pybind11;

/// The outcome of a call in words.
struct Outcome {
    kel_status status = KEL_OK;
    std::string error;                   // empty for KEL_OK
    std::vector<std::string> vWarnings;  // in their order

    /// Throws the Python exception that belongs to the status. For KEL_OK warnings become Python warnings.
    void conclude() const;
};

/// A run in a helper, one at a time on each Python thread.
class Run {
public:
    /// progress: None or a callable of a name and a fraction. It is called on this thread.
    /// Throws kel.Error when a progress function calls.
    explicit Run(py::object progress);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// Waits for call() and throws what belongs to the kel_status that it returns, or what the progress function or the
    /// handler of a signal threw. call: owns all that it uses, since a run that was told to stop may outlast this object.
    void operator()(std::function<kel_status()> call);

private:
    struct Flight;

    void wait(Flight& flight);
    bool serve(Flight& flight, bool bAsked);

    py::object progress;
    const bool bMainThread;     // only there has Python signals
    bool bAbandoned = false;    // the helper goes on by itself
    std::exception_ptr thrown;  // by the progress function or a signal
};

/// Throws kel.Error while this thread waits for a run, that is, when a progress function calls.
void refuseInsideRun();

/// A short call on this thread, without the interpreter's lock and without progress.
template <typename Call>
void callDirectly(const Call& call) {
    Outcome outcome;
    {
        const py::gil_scoped_release released;
        const auto take = [](kel_message_kind kind, const char* text, void* pOutcome) {
            if (kind == KEL_MESSAGE_WARNING) static_cast<Outcome*>(pOutcome)->vWarnings.emplace_back(text);
        };
        kel_set_message_handler(take, &outcome);
        outcome.status = call();
        if (outcome.status != KEL_OK) outcome.error = kel_last_error();
        kel_set_message_handler(nullptr, nullptr);
    }
    outcome.conclude();
}

/// A kel.Error with that text.
[[noreturn]] void throwError(const std::string& text);
/// Waits for the runs that were told to stop; to be called before the interpreter ends.
void joinAbandoned();
