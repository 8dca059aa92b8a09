// Hears what the library says on standard output, and what it says before it throws.
#pragma once

#include <gtest/gtest.h>

#include <streambuf>

#include "kel.h"
#include "support/names.h"

namespace TARN_TEST {

/// Holds back everything written to std::cout while it lives. One at a time, and no other thread may write meanwhile.
class CoutCapture {
public:
    CoutCapture() : pFormer(std::cout.rdbuf(out.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(pFormer); }
    CoutCapture(const CoutCapture&) = delete;
    CoutCapture& operator=(const CoutCapture&) = delete;

    std::string text() const { return out.str(); }

private:
    std::ostringstream out;
    std::streambuf* pFormer;  // the stream's own buffer, not owned
};

/// Drops everything written to std::cout while it lives, from any number of threads.
class CoutSilence {
public:
    CoutSilence() : pFormer(std::cout.rdbuf(&sink)) {}
    ~CoutSilence() { std::cout.rdbuf(pFormer); }
    CoutSilence(const CoutSilence&) = delete;
    CoutSilence& operator=(const CoutSilence&) = delete;

private:
    struct Sink : std::streambuf {
        int_type overflow(int_type c) override { return traits_type::not_eof(c); }
        std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
    };
    Sink sink;
    std::streambuf* pFormer;  // the stream's own buffer, not owned
};

/// A test of which nothing is heard but what it captures.
struct SilentTest : ::testing::Test {
    const CoutSilence silence;
};

/// What the call prints.
template <typename Call>
std::string outputOf(Call&& call) {
    const CoutCapture capture;
    call();
    return capture.text();
}

/// The report of a call that must end in KelBugException; a test failure when it doesn't.
template <typename Call>
std::string reportOf(Call&& call) {
    const CoutCapture capture;
    try {
        call();
    } catch (const KelBugException&) {
        return capture.text();
    }
    ADD_FAILURE() << "no KelBugException";
    return capture.text();
}

/// Everything that a call prints goes to standard error, where a death test looks.
template <typename Call>
void loudly(Call&& call) {
    std::cout.rdbuf(std::cerr.rdbuf());
    call();
}

/// The line that a failed assertion of this text prints, for a search in reportOf().
inline std::string conditionFailed(const std::string& condition) {
    return "Condition [ " + condition + " failed ]";
}

/// The call must end in KelBugException, and its report must name the condition.
inline void expectFails(const std::string& condition, const auto& call) {
    const std::string report = reportOf(call);
    EXPECT_NE(report.find(conditionFailed(condition)), std::string::npos) << condition << "\n" << report;
}
/// The text that the call prints must contain the part.
inline void expectText(const std::string& part, const auto& call) {
    const std::string text = outputOf(call);
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
}

/// How often the text contains the part.
inline int countIn(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + part.size()))
        ++count;
    return count;
}

}  // namespace TARN_TEST
