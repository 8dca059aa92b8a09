#include "tools.h"

#include <chrono>
#include <iomanip>
#include <mutex>

#include "runTasks.h"
#include "support/prelude.h"

using namespace TARN_TEST;

TEST(messages, areOneEmptyLineAndOneColouredLine) {
    EXPECT_EQ(outputOf([] { warning("place", "text"); }), "\n\033[0;93m      [KEL Message] place, WARNING: text\033[m\n");
    EXPECT_EQ(outputOf([] { errorMsg("place", "text"); }), "\n\033[0;31m      [KEL Message] place, ERROR: text\033[m\n");
    EXPECT_EQ(outputOf([] { error("place", "text"); }), "\n      [KEL Message] place, ERROR: text\n");
    EXPECT_EQ(outputOf([] { info("place", "text"); }), "\n      place, INFO: text\n");
    EXPECT_EQ(outputOf([] { info("", "text"); }), "\n      [KEL Message] INFO: text\n");
    EXPECT_EQ(greenString("t", 1) + magentaString("t", 0, true), "\033[1;32mt\033[m\033[0;35;4mt\033[m");
}

TEST(messages, neitherFollowNorChangeTheFormatOfTheStream) {
    const std::string plain = outputOf([] { warning("place", "text"); });
    const std::ios_base::fmtflags flags = std::cout.flags();
    std::cout << std::hex << std::setw(200) << std::setfill('#');
    EXPECT_EQ(outputOf([] { warning("place", "text"); }), plain);
    EXPECT_EQ(outputOf([] { stopWatch("STOP AND REPORT"); }), "");
    EXPECT_EQ(std::cout.width(0), 200);
    std::cout.fill(' ');
    std::cout.flags(flags);
}

TEST(messages, ofManyThreadsStayWholeInABufferWithoutLock) {
    const std::string message = outputOf([] { info("place", "text"); });
    const std::string all = outputOf([] {
        onThreads(4, [](std::size_t) {
            for (int i = 0; i < 20000; ++i)
                info("place", "text");
        });
    });
    EXPECT_EQ(all.size(), 80000 * message.size());
    EXPECT_EQ(countIn(all, message), 80000);
}

TEST(messages, goToTheSinkOfTheirThreadInWholeLines) {
    using Text = std::pair<MessageKind, std::string>;
    std::vector<Text> vText;
    const auto sink = [&vText](MessageKind kind, std::string_view text) { vText.emplace_back(kind, text); };
    const std::string output = outputOf([&] {
        EXPECT_FALSE(setMessageSink(sink));
        out() << "one" << std::hex << 16;
        out() << " line\n, more";
        info("place", "text");
        out() << std::flush << 16 << std::flush;
        err() << "error" << std::endl;
        onThreads(1, [](std::size_t) { out() << std::setw(3) << 16 << std::endl; });
        onThreads(1, [&sink](std::size_t) {
            setMessageSink(sink);
            out() << "last words";
        });
        out() << std::dec << "end";
        EXPECT_TRUE(setMessageSink(nullptr));
        out() << 16;
        warning("place", "text");
    });
    const std::vector<Text> vExpected = {
        {MK_TEXT, "one10 line\n"}, {MK_TEXT, ", more"},   {MK_INFO, "\n      place, INFO: text\n"},
        {MK_TEXT, "10"},           {MK_ERROR, "error\n"}, {MK_TEXT, "last words"},
        {MK_TEXT, "end"}};
    EXPECT_EQ(vText, vExpected);
    EXPECT_EQ(output, " 16\n16" + outputOf([] { warning("place", "text"); }));
}

// The sink takes no lock: two tasks that spoke at once would lose lines, and a race would show.
TEST(messages, ofTasksGoToTheSinkOfTheRunAndNotToTheNextOne) {
    struct Task {
        int number;
        void operator()(int) {
            for (int i = 0; i < 100; ++i)
                out() << "task " << number << std::endl;
            out() << "unfinished";
            ASSEX_AS("the text", number != 7);
        }
    };
    const std::string output = outputOf([] {
        onThreads(3, [](std::size_t i) {
            std::string text;
            if (i != 0) setMessageSink([&text](MessageKind, std::string_view part) { text += part; });
            std::vector<Task> vTask;
            for (int number = 0; number < 8; ++number)
                vTask.push_back({number});
            EXPECT_THROW(runTasks_MT(vTask), KelBugException);
            EXPECT_EQ(countIn(text, "task "), i == 0 ? 0 : 800);
            EXPECT_EQ(countIn(text, "unfinished"), i == 0 ? 0 : 8);
            EXPECT_EQ(countIn(text, conditionFailed("the text")), i == 0 ? 0 : 1);
            setMessageSink([](MessageKind, std::string_view) { throw 1; });
            EXPECT_THROW(runTasks_MT(vTask), KelBugException) << "what a sink throws is dropped";
            setMessageSink(nullptr);
        });
    });
    EXPECT_EQ(countIn(output, "task "), 800);
    EXPECT_EQ(countIn(output, "unfinished"), 8);
}

TEST(assertion, printsItsReportAndThrows) {
    const auto fail = [] { assertionFailed("a<b", "/home/src_lib/build/src_lib/curve/Cloud.cpp", 7, "void f(int)"); };
    EXPECT_EQ(reportOf(fail),
              "\033[0;31m      src_lib/curve/Cloud.cpp:7\033[m\n"
              "\033[0;31m      void f(int)\033[m\n"
              "\n\033[0;31m      [KEL Message] ASSEX, ERROR: Condition [ a<b failed ]\033[m\n");
    EXPECT_EQ(reportOf([] { assertionFailed("a<b", "other/x.h", 7, "f"); }).find("\033[0;31m      other/x.h:7\033[m\n"), 0U);
}

TEST(assertion, showsTheConditionAsTyped) {
    const int* p = nullptr;
    const std::pair<int, int> pair(1, 2);
    expectFails("p!=__null && pair.first==1", [&] { ASSEX(p!=NULL && pair.first==1); });
    expectFails("pair==std::make_pair(2,2)", [&] { ASSEX(pair==std::make_pair(2,2)); });
    EXPECT_NE(reportOf([&] { ASSEX(false); }).find(toString(__LINE__) + "\033[m\n"), std::string::npos);
    int numTests = 0;
    EXPECT_EQ(outputOf([&] { ASSEX(++numTests==1); }), "");
    EXPECT_EQ(numTests, 1);
}

TEST(ends, sayTheirReason) {
    EXPECT_EQ(reportOf([] { goToHell("out of range"); }), "goToHell(): out of range\n");
    // In a copy of this process the pool's threads would be missing, and what they hold would count as leaked.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(loudly([] { deliberateExit("unreachable"); }), testing::ExitedWithCode(0),
                "\n\ndeliberateExit\\(unreachable\\)\n");
    EXPECT_EQ(std::string(KelBugException().what()).find("KEL Exception - Bug *OR* wrong usage."), 0U);
}

// The objects of the thread, and with them its sink, are gone when handlers of the exit run.
TEST(ends, letExitHandlersSpeak) {
    const auto exitLate = [] {
        std::cout.rdbuf(std::cerr.rdbuf());
        setMessageSink([](MessageKind, std::string_view) {});
        std::atexit([] {
            warning("handler", "late");
            out() << "later" << std::endl;
            EXPECT_FALSE(setMessageSink([](MessageKind, std::string_view) {}));
            err() << "last" << std::endl;
        });
        deliberateExit("unheard");
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exitLate(), testing::ExitedWithCode(0), "^\n[^\n]*handler, WARNING: late[^\n]*\nlater\nlast\n$");
}

TEST(stopWatch, addsUpAndCountsCallsOfManyThreads) {
    EXPECT_EQ(outputOf([] { stopWatch("tools test"); }), "\n* START [ tools test ] ");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::string stop = outputOf([] { stopWatch("tools test"); }), head = "* STOP [ tools test ], Time: [";
    ASSERT_EQ(stop.substr(0, head.size()), head);
    EXPECT_GE(std::stod(stop.substr(head.size())), 0.02);
    {
        const CoutSilence silence;
        onThreads(4, [](std::size_t) {
            for (int i = 0; i < 50; ++i)
                stopWatch("tools test");
        });
    }
    const std::string report = outputOf([] { stopWatch("STOP AND REPORT"); }), line = "101 tools test ";
    ASSERT_EQ(countIn(report, line), 1) << report;
    EXPECT_GE(std::stod(report.substr(report.find(line) + line.size())), 0.02);
}

TEST(timers, startStopAndKeepQuiet) {
    for (const char* what : {"start\n", "stop, elapsed time: ", "start\n"})
        EXPECT_EQ(outputOf([] { timerx("lap"); }).find(std::string("...Timer [lap] ") + what), 0U) << "and anew";
    EXPECT_EQ(outputOf([] { timerx("[quiet] lap"), timerx("[quiet] lap"); }), "");
    for (const char* name : {"flips", "kills", "flips"})
        EXPECT_EQ(outputOf([&] { benchCounter(name); }), "");
    EXPECT_EQ(outputOf([] { benchCounter("GETCOUNTERS"); }), "Benchmark: \nflips: 2\nkills: 1\n");
}

TEST(globalPrefix, numbersInFiveDigitsAndNeverGivesANumberTwice) {
    globalPrefixCtr = 1;
    EXPECT_EQ((std::array{globalPrefix(), globalPrefixNoInc()}), (std::array<std::string, 2>{"00002", "00002"}));
    EXPECT_EQ((std::array{globalPrefixNumber(), globalPrefixNumberNoInc()}), (std::array{3, 3}));
    globalPrefixCtr = 99999;
    EXPECT_EQ(globalPrefix(), "100000");
    std::array<std::set<int>, 4> aNumber;
    onThreads(4, [&](std::size_t i) {
        for (int k = 0; k < 500; ++k)
            aNumber[i].insert(globalPrefixNumber());
    });
    for (std::size_t i = 1; i < 4; ++i)
        aNumber[0].merge(aNumber[i]);
    EXPECT_EQ(aNumber[0].size(), 2000U);
}

TEST(text, showsCodes) {
    EXPECT_EQ(showBin(0x123456789abcdef0ULL).substr(0, 18), "00010010 00110100 ");
    EXPECT_EQ(showRCD((5000ULL << 42) + (2097151ULL << 21) + 7), "(5000, 2097151, 7)");
    EXPECT_EQ(fatBar("abc") + repstr("ab", 2) + repstr("ab", -1), "===\nabc\n===\nabab");
    EXPECT_EQ(toString(0.1) + toString(1e-9) + toString(-7), "0.11e-09-7");
}
