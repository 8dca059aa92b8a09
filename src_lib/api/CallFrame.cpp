#include "CallFrame.h"

#include <new>

namespace TARN_KEL {

namespace {

/// Without the ESC sequences of colours, and without blanks and line ends around it.
std::string plainMessage(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\x1b') {
            i = text.find('m', i);
            if (i == std::string_view::npos) break;
        } else {
            plain += text[i];
        }
    }
    const std::size_t first = plain.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    return plain.substr(first, plain.find_last_not_of(" \t\r\n") + 1 - first);
}

/// A message begins with its place in the code, which says nothing to a caller of the C interface.
std::string withoutPlace(const std::string& message, std::string_view mark) {
    const std::size_t at = message.find(mark);
    return at == std::string::npos ? message : message.substr(at + mark.size());
}

}  // namespace

CallState& callState() {
    thread_local CallState state;
    return state;
}

CallMessages::CallMessages() : state(callState()) {
    former = setMessageSink([this](MessageKind kind, std::string_view text) { take(kind, text); });
}

CallMessages::~CallMessages() {
    setMessageSink(former);
}

void CallMessages::take(MessageKind kind, std::string_view text) {
    if (former) former(kind, text);
    std::string plain = plainMessage(text);
    if (plain.empty()) return;
    if (kind == MK_ERROR) errors += (errors.empty() ? "" : "\n") + plain;
    if (kind == MK_WARNING) lastWarning = plain = withoutPlace(plain, "WARNING: ");
    if (kind == MK_TEXT) lastText = plain;
    if (state.handler != nullptr) state.handler(static_cast<kel_message_kind>(kind), plain.c_str(), state.pHandlerData);
}

std::string CallMessages::reason() const {
    if (!errors.empty()) return errors;
    return lastWarning.empty() ? lastText : lastWarning;
}

kel_status failWith(kel_status status, const std::string& text) noexcept {
    try {
        callState().error = text;
    } catch (const std::bad_alloc&) {  // the status alone must do
        callState().error.clear();
    }
    return status;
}

kel_status statusOfException(const std::string& reason) noexcept {
    try {
        throw;
    } catch (const KelStoppedException&) {
        return failWith(KEL_STOPPED, "The run was stopped");
    } catch (const ArgumentError& e) {
        return failWith(KEL_BAD_ARGUMENT, e.what());
    } catch (const std::bad_alloc&) {
        return failWith(KEL_OUT_OF_MEMORY, "Out of memory");
    } catch (const std::length_error&) {  // a vector longer than any memory
        return failWith(KEL_OUT_OF_MEMORY, "Out of memory");
    } catch (const std::exception& e) {
        return failWith(KEL_FAILED, reason.empty() ? e.what() : reason);
    } catch (...) {
        return failWith(KEL_FAILED, reason.empty() ? "An unknown exception" : reason);
    }
}

}  // namespace TARN_KEL
