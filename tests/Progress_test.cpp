#include "Progress.h"

#include <future>

#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

// The step counts at which the listener heard something while the node did its steps.
std::vector<std::size_t> stepsHeard(Progress* pNode, std::size_t numSteps, const Hearer& hearer) {
    std::vector<std::size_t> vStep;
    for (std::size_t step = 1; step <= numSteps; ++step) {
        const std::size_t before = hearer.vFraction.size();
        pNode->incProgressByOne();
        if (hearer.vFraction.size() > before) vStep.push_back(step);
    }
    return vStep;
}

// A run of its own, not the thread's.
struct TestRun {
    explicit TestRun(const std::vector<std::pair<std::string, double>>& vStep) {
        root.setListener(&hearer);
        root.setName("run");
        for (const auto& [name, weight] : vStep)
            root.createChild(name, weight);
    }
    Hearer hearer;
    Progress root;
};

using Steps = std::vector<std::size_t>;

}  // namespace

TEST(Progress, freshRootHasDoneNothingAndRefusesSteps) {
    Progress root;
    EXPECT_EQ(root.getFrac(), 0.0);
    EXPECT_EQ(root.getName(), "empty");
    expectFails("this->name!=\"empty\"", [&] { root.createChild("a", 1.0); });
    EXPECT_EQ(countIn(reportOf([&] { root.getChildProgressSetTodo("a", 1); }), "Condition [ this->name"), 1);
    EXPECT_TRUE(root.mNameKids.empty());
    EXPECT_EQ(std::async(std::launch::async, [&] { return root.getFrac(); }).get(), 0.0) << "the failure left the lock free";
}

TEST(Progress, reportsByShareOfTheRun) {
    for (const auto& [weight, rest, numSteps, vHeard] :
         std::vector<std::tuple<double, double, std::size_t, Steps>>{{1, 99, 1000, {500, 1000}},
                                                                     {1, 999, 100, {75, 100}},
                                                                     {1, 1, 1000, {}},
                                                                     {0, 1, 1000, {}},
                                                                     {50, 50, 3, {1, 2, 3}}}) {
        TestRun run({{"a", weight}, {"b", rest}});
        Steps expected = vHeard;
        if (weight == 0) expected = {5};  // each fifth step is reported; the fraction is 0.0 and heard once
        for (std::size_t step = 10; vHeard.empty() && weight > 0 && step <= numSteps; step += 10)
            expected.push_back(step);
        EXPECT_EQ(stepsHeard(run.root.getChildProgressSetTodo("a", numSteps), numSteps, run.hearer), expected)
            << weight << " of " << weight + rest;
    }
}

TEST(Progress, givesAboutTwoHundredRisingReportsForAnyWeights) {
    forSeeds(50, [](unsigned seed) {
        std::mt19937 random(seed);
        std::vector<std::pair<std::string, double>> vStep;
        for (unsigned i = 0; i < 1 + seed % 12; ++i)
            vStep.emplace_back("s" + toString(i), std::exp(std::uniform_real_distribution<>(-3.0, 5.0)(random)));
        TestRun run(vStep);
        for (const auto& [name, weight] : vStep) {
            const std::size_t numSteps = std::uniform_int_distribution<std::size_t>(2000, 9000)(random);
            stepsHeard(run.root.getChildProgressSetTodo(name, numSteps), numSteps, run.hearer);
        }
        const std::vector<double>& vFrac = run.hearer.vFraction;
        EXPECT_GE(vFrac.size(), 150U);
        EXPECT_LE(vFrac.size(), 200U + 2 * vStep.size());
        EXPECT_TRUE(std::ranges::is_sorted(vFrac, std::less_equal<>()));
        EXPECT_EQ(vFrac.back(), 1.0);
    });
}

TEST(Progress, resetForgetsTheRunAndKeepsTheListener) {
    TestRun run({{"a", 1.0}});
    run.root.getChildProgressSetTodo("a", 1)->incProgressByOne();
    run.root.reset();
    EXPECT_EQ(run.root.getFrac(), 0.0);
    EXPECT_EQ(run.root.getName(), "empty");
    EXPECT_TRUE(run.root.mNameKids.empty());
    EXPECT_EQ(run.root.getListener(), &run.hearer);
    run.root.setName("second");
    run.root.getChildProgressSetTodo("a", 1)->incProgressByOne();
    EXPECT_EQ(run.hearer.vFraction, (std::vector<double>{1.0, 1.0}))
        << "a new run may start with the last fraction of the former";
    EXPECT_EQ(run.hearer.vName.back(), "second");
}

TEST(Progress, listenerThatThrowsLeavesTheTreeUsable) {
    Hearer thrower(-1.0);
    TestRun run({{"a", 1.0}});
    run.root.setListener(&thrower);
    Progress* pStep = run.root.getChildProgressSetTodo("a", 4);
    for (int i = 0; i < 3; ++i)
        EXPECT_THROW(pStep->incProgressByOne(), double);
    EXPECT_EQ(std::async(std::launch::async, [&] { return run.root.getFrac(); }).get(), 0.75) << "no lock is held";
    run.root.setListener(&run.hearer);
    EXPECT_EQ(stepsHeard(pStep, 1, run.hearer), Steps{1});
}

namespace {

// The steps of a tree a second time, with sums that walk over all of them.
struct PlainStep {
    Progress* pStep = nullptr;
    double weight = 1.0;
    std::size_t todo = 1, done = 0;
    std::map<std::string, PlainStep> mKids;

    double frac() const {
        if (todo == 0) return 1.0;
        if (mKids.empty()) return std::min(1.0, static_cast<double>(done) / static_cast<double>(todo));
        double sum = 0.0, total = 0.0;
        for (const auto& [name, kid] : mKids) {
            sum += kid.weight * kid.frac();
            total += kid.weight;
        }
        return total > 0.0 ? sum / total : 0.0;
    }
    void open(const std::string& name, std::size_t newTodo) {
        if (todo == 0) todo = 1;
        PlainStep& kid = mKids.try_emplace(name, PlainStep{nullptr, 10.0, 1, 0, {}}).first->second;
        const double before = kid.frac();
        kid.todo = newTodo + kid.done;
        if (kid.done > 0 && before < 1.0) kid.done = static_cast<std::size_t>(static_cast<double>(kid.todo) * before);
        if (kid.done > 0 && before >= 1.0) kid.done = kid.todo;
        kid.pStep = pStep->getChildProgressSetTodo(name, newTodo);
    }
    void finish() {
        for (auto& [name, kid] : mKids)
            kid.finish();
        if (mKids.empty()) done = todo;
    }
};

}  // namespace

TEST(Progress, agreesWithSumsOverAllSteps) {
    forSeeds(30, [](unsigned seed) {
        std::mt19937 random(seed);
        const auto below = [&](std::size_t n) { return random() % n; };
        TestRun run({});
        PlainStep root{&run.root, 1.0, 1, 0, {}};
        for (int round = 0; round < 300; ++round) {
            PlainStep* pStep = &root;
            while (!pStep->mKids.empty() && below(3) > 0)
                pStep = &std::next(pStep->mKids.begin(), static_cast<std::ptrdiff_t>(below(pStep->mKids.size())))->second;
            const std::string name = toString(below(20));
            if (const std::size_t what = below(8); what == 0) {
                const double weight = 0.1 * static_cast<double>(below(100));
                pStep->pStep->createChild(name, weight);  // a name that exists keeps its weight
                pStep->mKids.try_emplace(name, PlainStep{pStep->pStep->mNameKids.at(name), weight, 1, 0, {}});
            } else if (what <= 2) {
                pStep->open(name, below(1000));
            } else if (what == 3) {
                pStep->pStep->setDone(below(2) == 0);
                pStep->finish();
            } else {
                for (std::size_t i = below(300); i > 0; --i) {
                    pStep->pStep->incProgressByOne();
                    pStep->done = std::min(pStep->done + 1, pStep->todo);
                }
            }
            const PlainStep& asked = below(2) == 0 ? root : *pStep;
            ASSERT_NEAR(asked.pStep->getFrac(), asked.frac(), 1e-12);
        }
    });
}

TEST(ThreadSingleton, forgetsAnEndedThread) {
    Hearer hearer;
    Progress* pMine = ThreadSingleton<Progress>::getInstance();
    EXPECT_EQ(ThreadSingleton<Progress>::getInstance(), pMine);
    pMine->setListener(&hearer);
    for (int i = 0; i < 5; ++i) {
        std::thread([] {
            Hearer own;
            Progress* pRoot = ThreadSingleton<Progress>::getInstance();
            EXPECT_EQ(pRoot->getListener(), nullptr) << "of an earlier thread with the same id";
            EXPECT_EQ(pRoot->getName(), "empty");
            pRoot->setListener(&own);
            progressForReco();
            pRoot->setDone(true);
            EXPECT_EQ(own.vFraction, std::vector<double>{1.0});
        }).join();
    }
    EXPECT_EQ(pMine->getListener(), &hearer);
    EXPECT_TRUE(hearer.vFraction.empty()) << "runs on other threads aren't heard here";
    pMine->setListener(nullptr);
}

TEST(runs, plantTheirSteps) {
    Progress* pRoot = ThreadSingleton<Progress>::getInstance();
    // The name, a step, how many, and the share of the one step from the sums of the lists.
    for (const auto& [plant, name, step, numSteps, share] :
         std::vector<std::tuple<void (*)(), const char*, const char*, std::size_t, double>>{
             {progressForReco, "Reconstruct", "TP_pps", 15, 100.0 / 348.0},
             {progressForEstimation, "Density Estimation", "SM_run", 3, 1.0 / 3.0},
             {progressForMelt, "Melt", "RM_redprocprioq", 28, 15.0 / 71.758},
             {progressForToCloud, "ToCloud", "ar4", 11, 100.0 / 302.0},
             {[] { progressForReduce(); }, "Reduce", "RM_redprocprioq", 4, 0.93},
             {[] { progressForEdgeFlips(); }, "EdgeFlips", "efLoop", 3, 1.0 / 3.0}}) {
        if (hasOpenProgress()) closeProgress();
        plant();
        EXPECT_EQ(pRoot->getName(), name);
        EXPECT_EQ(pRoot->mNameKids.size(), numSteps) << name;
        ASSERT_TRUE(pRoot->mNameKids.contains(step)) << name;
        pRoot->mNameKids[step]->setDone(true);
        EXPECT_NEAR(pRoot->getFrac(), share, 1e-12) << name;
    }
    closeProgress();
}

TEST(runs, ofPostProcessingStayInsideALargerRun) {
    Progress* pRoot = ThreadSingleton<Progress>::getInstance();
    progressForMelt();
    EXPECT_FALSE(progressForReduce() || progressForEdgeFlips() || progressForEdgeFlipsSimA({}) || progressForSmoothing(3));
    EXPECT_EQ(pRoot->getName(), "Melt");
    closeProgress();
    EXPECT_FALSE(hasOpenProgress());
    EXPECT_TRUE(progressForSmoothing(2));
    EXPECT_TRUE(pRoot->mNameKids.contains("it%0") && pRoot->mNameKids.contains("it%1"));
    EXPECT_EQ(pRoot->mNameKids.size(), 5U);
    closeProgress();
    EXPECT_TRUE(progressForEdgeFlipsSimA(std::vector<double>{0.018, 0.0162}));
    EXPECT_EQ(pRoot->getName(), "EdgeFlipsS");
    EXPECT_TRUE(pRoot->mNameKids.contains("RM_gEfCandMT_0.018") && pRoot->mNameKids.contains("RM_gEfCandMT_0.0162"));
    closeProgress();
}
