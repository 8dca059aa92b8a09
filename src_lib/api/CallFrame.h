// What every function of the C interface has around its work: no exception leaves it, its outcome becomes a status and a
// text, messages and progress go to the functions of the calling thread.
#pragma once

#include <kel_c.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "RunWatch.h"
#include "kel.h"

namespace TARN_KEL {

/// An argument that can't be. Its text becomes that of kel_last_error().
class ArgumentError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// Throws ArgumentError with the text unless the condition holds.
inline void require(bool bHolds, const char* text) {
    if (!bHolds) throw ArgumentError(text);
}

/// What the calls of one thread share.
struct CallState {
    std::string error;           ///< of kel_last_error()
    std::vector<RunStep> steps;  ///< of the last run with a report
    kel_progress progress = nullptr;
    void* pProgressData = nullptr;
    kel_message_handler handler = nullptr;
    void* pHandlerData = nullptr;
    bool bInCall = false;  ///< a call is under way that mustn't be entered again
};
CallState& callState();

/// Passes progress on to a C function; the run ends when that returns anything but 0.
class CallbackListener : public ProgressBase {
public:
    CallbackListener(kel_progress theProgress, void* pTheData) : progress(theProgress), pData(pTheData) {}

    void update(const std::string& name, double fraction) override {
        if (progress(name.c_str(), fraction, pData) != 0) throw KelStoppedException();
    }

private:
    kel_progress progress;
    void* pData;
};

/// What a call says. It goes to the message handler of the thread, and to the sink that there was before.
class CallMessages {
public:
    CallMessages();
    ~CallMessages();
    CallMessages(const CallMessages&) = delete;
    CallMessages& operator=(const CallMessages&) = delete;

    /// Why the call failed: all errors; without any the last warning, else the last text.
    std::string reason() const;

private:
    void take(MessageKind kind, std::string_view text);

    const CallState& state;
    MessageSink former;
    std::string errors, lastWarning, lastText;
};

/// The status of the exception that is being handled, with its text as that of kel_last_error().
/// reason: what the library printed before; may be empty.
kel_status statusOfException(const std::string& reason) noexcept;
/// The status, with a text for kel_last_error().
kel_status failWith(kel_status status, const std::string& text) noexcept;

/// A call that doesn't run the library: work() may throw.
template <typename Work>
kel_status plainCall(const Work& work) noexcept {
    try {
        work();
        return KEL_OK;
    } catch (...) {
        return statusOfException({});
    }
}

/// A call that runs the library. work() returns a status, whose text is made of the messages, or throws.
template <typename Work>
kel_status libraryCall(const Work& work) noexcept {
    CallState& state = callState();
    if (state.bInCall) return failWith(KEL_BAD_ARGUMENT, "The library was called by a function that it called");
    state.bInCall = true;
    kel_status status = KEL_OK;
    try {
        CallMessages messages;
        try {
            CallbackListener listener(state.progress, state.pProgressData);
            const WatchedRun watchedRun(nullptr, state.progress != nullptr ? &listener : nullptr);
            status = work();
            if (status != KEL_OK) failWith(status, messages.reason());
        } catch (...) {
            status = statusOfException(messages.reason());
        }
    } catch (...) {
        status = statusOfException({});
    }
    state.bInCall = false;
    return status;
}

}  // namespace TARN_KEL
