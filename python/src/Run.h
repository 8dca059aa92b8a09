// A call of the library on behalf of Python: without the interpreter's lock, with its signals, and with its exceptions.
#pragma once

#include <kel_c.h>
#include <pybind11/pybind11.h>

#include <exception>
#include <string>
#include <vector>

namespace py = pybind11;

/// One call at a time on each thread. While it runs, other Python threads run, too.
///
/// A progress function of the caller hears the run, with the interpreter's lock; so do handlers of signals on the main
/// thread, and with that Ctrl-C. What either throws ends the run and comes out of it as it is. Warnings become Python
/// warnings at the end.
class Run {
public:
    /// progress: None or a callable of a name and a fraction.
    /// Throws kel.Error inside another run of this thread, that is, when a progress function calls.
    explicit Run(py::object progress);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// Calls call() without the interpreter's lock; it returns a kel_status. Throws what belongs to that.
    template <typename Call>
    void operator()(const Call& call) {
        kel_status status = KEL_OK;
        std::string text;
        {
            const py::gil_scoped_release released;
            status = call();
            if (status != KEL_OK) text = kel_last_error();
        }
        conclude(status, text);
    }

private:
    static int hear(const char* name, double fraction, void* pRun);
    static void take(kel_message_kind kind, const char* text, void* pRun);
    void conclude(kel_status status, const std::string& text);

    py::object progress;
    const bool bMainThread;              // only there has Python signals
    std::exception_ptr thrown;           // in the progress function, or by a signal
    std::vector<std::string> vWarnings;  // in their order
};

/// Throws the Python exception that belongs to a status; does nothing for KEL_OK.
void throwStatus(kel_status status, const std::string& text);
/// A kel.Error with that text.
[[noreturn]] void throwError(const std::string& text);
