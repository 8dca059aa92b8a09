// Messages, assertions, timers and the numbered prefix of debug files.
//
// The library has one way to report, text on standard output unless setMessageSink() sets another place (messages.h), and
// one way to fail, an assertion that prints a report and throws KelBugException. All assertions are active in releases;
// their text is only made when one fails.
#pragma once

#include <atomic>
#include <cstddef>
#include <sstream>
#include <string>

#include "kel.h"
#include "messages.h"

#define KEL_STRINGIFY_EXPANDED(...) #__VA_ARGS__
#define KEL_STRINGIFY(...) KEL_STRINGIFY_EXPANDED(__VA_ARGS__)

/// Where a message comes from: the signature of the function and the source line.
#define KEL_PLACE ::TARN_KEL::makePlace(__PRETTY_FUNCTION__, __LINE__)

/// Fails the run when the condition doesn't hold. The report shows the text of the condition after macro expansion, so NULL
/// prints as __null. That text is part of the output, so don't reformat it. It may have commas, and must not have effects.
#define ASSEX(...)                  \
    (static_cast<bool>(__VA_ARGS__) \
         ? static_cast<void>(0)     \
         : ::TARN_KEL::assertionFailed(KEL_STRINGIFY(__VA_ARGS__), __FILE__, __LINE__, __PRETTY_FUNCTION__))

/// The same, but the report shows the given text in place of the condition.
#define ASSEX_AS(text, ...)                                \
    (static_cast<bool>(__VA_ARGS__) ? static_cast<void>(0) \
                                    : ::TARN_KEL::assertionFailed(text, __FILE__, __LINE__, __PRETTY_FUNCTION__))

namespace TARN_KEL {

// ---- Colours: ESC "[" attribute suffix, the text, the reset sequence ---------------------------------------------------

/// The prefix alone: ESC "[" attribute suffix.
std::string red(int attr);
std::string redString(const std::string& text, int attr);
std::string yellowString(const std::string& text, int attr);
std::string greenString(const std::string& text, int attr);
std::string magentaString(const std::string& text, int attr, bool bUnderlined);

// ---- Messages: one empty line, the message, a new line, flushed --------------------------------------------------------

void info(const std::string& place, const std::string& text);
void warning(const std::string& place, const std::string& text);
void error(const std::string& place, const std::string& text);
/// The same text as error(), in red.
void errorMsg(const std::string& place, const std::string& text);

/// " ** ", the signature, ":", the line, " ** ".
std::string makePlace(const char* function, int line);

// ---- Ends of a run -----------------------------------------------------------------------------------------------------

/// Prints the report of a failed assertion and throws KelBugException. Called by ASSEX and ASSEX_AS.
[[noreturn]] void assertionFailed(const char* condition, const char* file, int line, const char* function);
[[noreturn]] void throwKelBugException();
/// Prints the text and ends the process with exit status 0.
[[noreturn]] void deliberateExit(const std::string& text);
/// Prints the text and throws KelBugException.
[[noreturn]] void goToHell(const std::string& text);

// ---- Measuring ---------------------------------------------------------------------------------------------------------

/// Starts the clock of that name, or stops it and adds up the time. "STOP AND REPORT" prints all of them. Safe on any
/// thread.
void stopWatch(const std::string& name);
/// Starts the timer of that name, or stops it and prints the time. Silent for names that begin with "[quiet]". One thread.
void timerx(const std::string& name);
/// Counts the calls with that name; "GETCOUNTERS" prints all counts. One thread.
void benchCounter(const std::string& name);

// ---- Numbered prefix of debug files ------------------------------------------------------------------------------------

/// The number of the last debug file of the process; starts at 0.
extern std::atomic<int> globalPrefixCtr;
/// Increments the process-wide counter and returns it.
int globalPrefixNumber();
int globalPrefixNumberNoInc();
/// The incremented counter in width 5 with leading zeros.
std::string globalPrefix();
/// The counter without an increment; a negative one is set to 0 first.
std::string globalPrefixNoInc();

// ---- Text --------------------------------------------------------------------------------------------------------------

/// A number as text, in the default format of a stream.
template <typename T>
std::string toString(const T& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}
/// The text, count times; empty for a count below 1.
std::string repstr(const std::string& text, int count);
/// A heading: a bar of '=' as wide as the text, the text, the bar again. The caller prints it.
[[nodiscard]] std::string fatBar(const std::string& text);
/// The 64 bits of a code, highest first, in groups of eight with blanks between.
std::string showBin(unsigned long long code);
/// The three fields of a packed cell code: "(x, y, z)".
std::string showRCD(unsigned long long rcd);

}  // namespace TARN_KEL
