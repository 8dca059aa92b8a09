// Prints messages and reports of failed assertions; timers and counters; text helpers.
#include "tools.h"

#include <chrono>
#include <cstdlib>
#include <iomanip>
#include <map>
#include <mutex>
#include <string_view>

namespace TARN_KEL {

namespace {

constexpr const char* COLOUR_RESET = "\033[m";
constexpr const char* MESSAGE_INDENT = "      ";
constexpr const char* MESSAGE_HEAD = "      [KEL Message] ";

std::string colourPrefix(int attr, const char* suffix) {
    return "\033[" + toString(attr) + suffix;
}

std::string coloured(const std::string& text, int attr, const char* suffix) {
    return colourPrefix(attr, suffix) + text + COLOUR_RESET;
}

void printMessage(MessageKind kind, const std::string& message) {
    printText(kind, "\n" + message + "\n");
}

// The path from the last "src_lib/" on, so that a report doesn't depend on where the library was built.
std::string_view pathInProject(std::string_view file) {
    const std::size_t pos = file.rfind("src_lib/");
    return pos == std::string_view::npos ? file : file.substr(pos);
}

// A clock that never goes back, read in whole microseconds.
std::chrono::microseconds now() {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch());
}

double secondsSince(std::chrono::microseconds start) {
    return std::chrono::duration<double>(now() - start).count();
}

}  // namespace

// ---- Colours ------------------------------------------------------------------------------------------------------------

std::string red(int attr) {
    return colourPrefix(attr, ";31m");
}

std::string redString(const std::string& text, int attr) {
    return coloured(text, attr, ";31m");
}

std::string yellowString(const std::string& text, int attr) {
    return coloured(text, attr, ";93m");
}

std::string greenString(const std::string& text, int attr) {
    return coloured(text, attr, ";32m");
}

std::string magentaString(const std::string& text, int attr, bool bUnderlined) {
    return coloured(text, attr, bUnderlined ? ";35;4m" : ";35m");
}

// ---- Messages -----------------------------------------------------------------------------------------------------------

void info(const std::string& place, const std::string& text) {
    printMessage(MK_INFO, place.empty() ? MESSAGE_HEAD + ("INFO: " + text) : MESSAGE_INDENT + place + ", INFO: " + text);
}

void warning(const std::string& place, const std::string& text) {
    printMessage(MK_WARNING, yellowString(MESSAGE_HEAD + place + ", WARNING: " + text, 0));
}

void error(const std::string& place, const std::string& text) {
    printMessage(MK_ERROR, MESSAGE_HEAD + place + ", ERROR: " + text);
}

void errorMsg(const std::string& place, const std::string& text) {
    printMessage(MK_ERROR, redString(MESSAGE_HEAD + place + ", ERROR: " + text, 0));
}

std::string makePlace(const char* function, int line) {
    return std::string(" ** ") + function + ":" + toString(line) + " ** ";
}

// ---- Ends of a run ------------------------------------------------------------------------------------------------------

void assertionFailed(const char* condition, const char* file, int line, const char* function) {
    const std::string source = MESSAGE_INDENT + std::string(pathInProject(file)) + ":" + toString(line);
    printText(MK_ERROR, redString(source, 0) + "\n" + redString(MESSAGE_INDENT + std::string(function), 0) + "\n");
    errorMsg("ASSEX", "Condition [ " + std::string(condition) + " failed ]");
    throwKelBugException();
}

void throwKelBugException() {
    throw KelBugException();
}

void deliberateExit(const std::string& text) {
    printText(MK_TEXT, "\n\ndeliberateExit(" + text + ")\n");
    std::exit(0);
}

void goToHell(const std::string& text) {
    printText(MK_ERROR, "goToHell(): " + text + "\n");
    throwKelBugException();
}

// ---- Measuring ----------------------------------------------------------------------------------------------------------

namespace {

struct Watch {
    double seconds = 0.0;  // of all finished measurements
    std::size_t count = 0;
    bool bRunning = false;
    std::chrono::microseconds start{0};
};

using Watches = std::map<std::string, Watch>;

// One line for each clock. The number format is set on a stream of its own.
std::string reportWatches(const Watches& mWatch) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(3);
    for (const auto& [name, watch] : mWatch)
        out << watch.count << " " << name << " " << watch.seconds << " s\n";
    return out.str();
}

// Starts the clock or stops it; the text that says so.
std::string toggle(const std::string& name, Watch& watch) {
    watch.bRunning = !watch.bRunning;
    if (watch.bRunning) {
        watch.start = now();
        return "\n* START [ " + name + " ] ";
    }
    const double elapsed = secondsSince(watch.start);
    watch.seconds += elapsed;
    ++watch.count;
    return "* STOP [ " + name + " ], Time: [" + toString(elapsed) + " s]\n";
}

}  // namespace

void stopWatch(const std::string& name) {
    static std::mutex mutex;
    static Watches mWatch;
    std::string text;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        text = name == "STOP AND REPORT" ? reportWatches(mWatch) : toggle(name, mWatch[name]);
    }
    printText(MK_TEXT, text);
}

void timerx(const std::string& name) {
    static std::map<std::string, std::chrono::microseconds> mStart;
    std::string text = "...Timer [" + name + "] ";
    const auto [it, bStarted] = mStart.try_emplace(name, now());
    if (bStarted) {
        text += "start\n";
    } else {
        text += "stop, elapsed time: " + toString(secondsSince(it->second)) + " s\n";
        mStart.erase(it);
    }
    if (!name.starts_with("[quiet]")) printText(MK_TEXT, text);
}

void benchCounter(const std::string& name) {
    static std::map<std::string, std::size_t> mCount;
    if (name != "GETCOUNTERS") {
        ++mCount[name];
        return;
    }
    std::string text = "Benchmark: \n";
    for (const auto& [counter, count] : mCount)
        text += counter + ": " + toString(count) + "\n";
    printText(MK_TEXT, text);
}

// ---- Numbered prefix of debug files -------------------------------------------------------------------------------------

std::atomic<int> globalPrefixCtr{0};

namespace {

std::string prefixText(int number) {
    std::ostringstream out;
    out << std::setw(5) << std::setfill('0') << number;
    return out.str();
}

}  // namespace

int globalPrefixNumber() {
    return ++globalPrefixCtr;
}

int globalPrefixNumberNoInc() {
    return globalPrefixCtr;
}

std::string globalPrefix() {
    return prefixText(globalPrefixNumber());
}

std::string globalPrefixNoInc() {
    int number = globalPrefixCtr;
    while (number < 0 && !globalPrefixCtr.compare_exchange_weak(number, 0)) {
    }
    return prefixText(number < 0 ? 0 : number);
}

// ---- Text ---------------------------------------------------------------------------------------------------------------

std::string repstr(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

std::string fatBar(const std::string& text) {
    const std::string bar(text.size(), '=');
    return bar + "\n" + text + "\n" + bar + "\n";
}

std::string showBin(unsigned long long code) {
    std::string result;
    for (int bit = 63; bit >= 0; --bit) {
        result += ((code >> bit) & 1U) != 0 ? '1' : '0';
        if (bit % 8 == 0 && bit != 0) result += ' ';
    }
    return result;
}

std::string showRCD(unsigned long long rcd) {
    constexpr unsigned long long FIELD = 0x1fffff;
    return std::string("(") + toString(rcd >> 42) + ", " + toString((rcd >> 21) & FIELD) + ", " + toString(rcd & FIELD) +
           ")";
}

}  // namespace TARN_KEL
