#include "Run.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds SIGNALS_EVERY{20};
/// So long the caller waits for a run that was told to stop. Most small ones end in that time.
constexpr milliseconds PATIENCE{50};

thread_local bool bRunning = false;

/// Under the interpreter's lock.
std::vector<std::thread>& abandoned() {
    static std::vector<std::thread> vThreads;
    return vThreads;
}

/// A class of kel._errors, where all of them are written in Python.
py::object errorClass(const char* name) {
    return py::module_::import("kel._errors").attr(name);
}

/// A text of the library. Names of files and columns in it may be any bytes; those that aren't UTF-8 are replaced.
py::str readable(const std::string& text) {
    PyObject* const pText = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
    if (pText == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(pText);
}

[[noreturn]] void throwAs(const py::handle& type, const std::string& text) {
    PyErr_SetObject(type.ptr(), readable(text).ptr());
    throw py::error_already_set();
}

bool isMainThread() {
    const py::module_ threading = py::module_::import("threading");
    return threading.attr("get_ident")().equal(threading.attr("main_thread")().attr("ident"));
}

}  // namespace

// ---- Outcome ------------------------------------------------------------------------------------------------------------

void throwError(const std::string& text) {
    throwAs(errorClass("Error"), text);
}

void Outcome::conclude() const {
    switch (status) {
    case KEL_OK:
        break;
    case KEL_BAD_ARGUMENT:
        throwAs(PyExc_ValueError, error);
    case KEL_OUT_OF_MEMORY:
        throw std::bad_alloc();  // MemoryError
    case KEL_BAD_FILE:
        throwAs(errorClass("FileError"), error);
    case KEL_NOTHING:
    case KEL_STOPPED:
    case KEL_FAILED:
        throwError(error);
    }
    if (vWarnings.empty()) return;
    const py::object type = errorClass("KelWarning");
    for (const std::string& warning : vWarnings)  // level 2: who called the function of the package that called here
        if (PyErr_WarnEx(type.ptr(), std::string(readable(warning)).c_str(), 2) != 0) throw py::error_already_set();
}

// ---- The run ------------------------------------------------------------------------------------------------------------

/// What the caller and the helper share.
struct Run::Flight {
    std::function<kel_status()> call;
    bool bListener = false;  ///< somebody wants to hear reports

    std::mutex mutex;
    std::condition_variable changed;
    // Under the mutex:
    bool bAsked = false;  ///< a report waits for its answer
    std::string name;
    double fraction = 0.0;
    bool bCancelled = false;
    bool bDone = false;
    Outcome outcome;  ///< the helper's until bDone

    static int hear(const char* name, double fraction, void* pFlight);
    static void take(kel_message_kind kind, const char* text, void* pFlight);
    void fly();
};

int Run::Flight::hear(const char* name, double fraction, void* pFlight) {
    Flight& flight = *static_cast<Flight*>(pFlight);
    std::unique_lock<std::mutex> lock(flight.mutex);
    if (flight.bListener && !flight.bCancelled) {
        flight.name = name;
        flight.fraction = fraction;
        flight.bAsked = true;
        flight.changed.notify_all();
        flight.changed.wait(lock, [&] { return !flight.bAsked || flight.bCancelled; });
    }
    return flight.bCancelled ? 1 : 0;
}

void Run::Flight::take(kel_message_kind kind, const char* text, void* pFlight) {
    if (kind == KEL_MESSAGE_WARNING) static_cast<Flight*>(pFlight)->outcome.vWarnings.emplace_back(text);
}

void Run::Flight::fly() {
    kel_set_progress(hear, this);
    kel_set_message_handler(take, this);
    try {
        outcome.status = call();
        if (outcome.status != KEL_OK) outcome.error = kel_last_error();
    } catch (const std::bad_alloc&) {
        outcome.status = KEL_OUT_OF_MEMORY;
    }
    call = nullptr;  // the mesh is free for others before anybody hears that this is done
    const std::lock_guard<std::mutex> lock(mutex);
    bDone = true;
    changed.notify_all();
}

void refuseInsideRun() {
    if (bRunning) throwError("a progress function can't call the library");
}

Run::Run(py::object theProgress) : progress(std::move(theProgress)), bMainThread(isMainThread()) {
    refuseInsideRun();
    bRunning = true;
}

Run::~Run() {
    bRunning = false;
}

void Run::operator()(std::function<kel_status()> call) {
    const auto pFlight = std::make_shared<Flight>();
    pFlight->call = std::move(call);
    pFlight->bListener = !progress.is_none();
    std::thread helper([pFlight] { pFlight->fly(); });
    {
        const py::gil_scoped_release released;
        wait(*pFlight);
        if (!bAbandoned) helper.join();
    }
    if (bAbandoned) abandoned().push_back(std::move(helper));
    if (thrown) std::rethrow_exception(std::exchange(thrown, nullptr));
    pFlight->outcome.conclude();
}

void Run::wait(Flight& flight) {
    std::unique_lock<std::mutex> lock(flight.mutex);
    const auto isDone = [&] { return flight.bDone; };
    const auto isCalled = [&] { return flight.bDone || flight.bAsked; };
    while (!flight.bDone) {
        if (bMainThread)
            flight.changed.wait_for(lock, SIGNALS_EVERY, isCalled);
        else
            flight.changed.wait(lock, isCalled);
        if (flight.bDone) return;
        const bool bAsked = flight.bAsked;
        lock.unlock();  // the helper writes the report only while none waits
        const bool bGoOn = serve(flight, bAsked);
        lock.lock();
        if (bAsked) flight.bAsked = false;
        flight.bCancelled = !bGoOn;
        flight.changed.notify_all();
        if (bGoOn) continue;
        bAbandoned = !flight.changed.wait_for(lock, PATIENCE, isDone);
        return;
    }
}

/// Does what Python wants. False when that threw.
bool Run::serve(Flight& flight, bool bAsked) {
    const py::gil_scoped_acquire acquired;
    try {
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        if (bAsked) progress(flight.name, flight.fraction);
        return true;
    } catch (...) {
        thrown = std::current_exception();
        return false;
    }
}

void joinAbandoned() {
    std::vector<std::thread> vThreads = std::move(abandoned());
    const py::gil_scoped_release released;
    for (std::thread& thread : vThreads)
        thread.join();
}
