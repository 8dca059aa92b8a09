#include "Run.h"

#include <new>
#include <utility>

namespace {

thread_local bool bRunning = false;

/// A class of kel._errors, where all of them are written in Python.
py::object errorClass(const char* name) {
    return py::module_::import("kel._errors").attr(name);
}

[[noreturn]] void throwAs(const py::handle& type, const std::string& text) {
    PyErr_SetObject(type.ptr(), py::str(text).ptr());
    throw py::error_already_set();
}

bool isMainThread() {
    const py::module_ threading = py::module_::import("threading");
    return threading.attr("get_ident")().equal(threading.attr("main_thread")().attr("ident"));
}

}  // namespace

Run::Run(py::object theProgress) : progress(std::move(theProgress)), bMainThread(isMainThread()) {
    if (bRunning) throwError("a progress function can't call the library");
    bRunning = true;
    kel_set_progress(bMainThread || !progress.is_none() ? hear : nullptr, this);
    kel_set_message_handler(take, this);
}

Run::~Run() {
    kel_set_progress(nullptr, nullptr);
    kel_set_message_handler(nullptr, nullptr);
    bRunning = false;
}

int Run::hear(const char* name, double fraction, void* pRun) {
    Run& run = *static_cast<Run*>(pRun);
    const py::gil_scoped_acquire acquired;
    try {
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        if (!run.progress.is_none()) run.progress(name, fraction);
        return 0;
    } catch (...) {
        run.thrown = std::current_exception();
        return 1;
    }
}

void Run::take(kel_message_kind kind, const char* text, void* pRun) {
    if (kind == KEL_MESSAGE_WARNING) static_cast<Run*>(pRun)->vWarnings.emplace_back(text);
}

void Run::conclude(kel_status status, const std::string& text) {
    if (thrown) std::rethrow_exception(std::exchange(thrown, nullptr));
    throwStatus(status, text);
    if (vWarnings.empty()) return;
    const py::object type = errorClass("KelWarning");
    for (const std::string& warning : vWarnings)  // level 2: who called the function of the package that called here
        if (PyErr_WarnEx(type.ptr(), warning.c_str(), 2) != 0) throw py::error_already_set();
}

void throwStatus(kel_status status, const std::string& text) {
    switch (status) {
    case KEL_OK:
        return;
    case KEL_BAD_ARGUMENT:
        throwAs(PyExc_ValueError, text);
    case KEL_OUT_OF_MEMORY:
        throw std::bad_alloc();  // MemoryError
    case KEL_BAD_FILE:
        throwAs(errorClass("FileError"), text);
    case KEL_NOTHING:
    case KEL_STOPPED:
    case KEL_FAILED:
        break;
    }
    throwError(text);
}

void throwError(const std::string& text) {
    throwAs(errorClass("Error"), text);
}
