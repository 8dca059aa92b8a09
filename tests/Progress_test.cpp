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

TEST(Progress, smallStepsReportOnceOnTheirWayAndOpenAgain) {
    TestRun run({{"a", 1}, {"b", 998}, {"c", 0}});
    EXPECT_EQ(stepsHeard(run.root.getChildProgressSetTodo("a", 100), 100, run.hearer), (Steps{75, 100}));
    EXPECT_EQ(stepsHeard(run.root.getChildProgressSetTodo("c", 1000), 1000, run.hearer), Steps()) << "no news";
    Progress* pStep = run.root.getChildProgressSetTodo("b", 10);
    stepsHeard(pStep, 5, run.hearer);
    run.root.getChildProgressSetTodo("b", 15);  // 20 in all, half of them done
    stepsHeard(pStep, 5, run.hearer);
    EXPECT_EQ(pStep->getFrac(), 0.75);
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
    run.root.reset();
    EXPECT_EQ(run.root.getFrac(), 0.0);
    EXPECT_TRUE(run.root.getName() == "empty" && run.root.mNameKids.empty());
    expectFails("this->name!=\"empty\"", [&] { run.root.createChild("a", 1.0); });
    EXPECT_EQ(std::async(std::launch::async, [&] { return run.root.getFrac(); }).get(), 0.0) << "the failure left no lock";
    run.root.setName("second");
    run.root.getChildProgressSetTodo("a", 1)->incProgressByOne();
    EXPECT_EQ(run.hearer.vFraction, (std::vector<double>{1.0, 1.0})) << "the last fraction of the former run, once more";
}

// The mean over the steps of a step by their weights, down to the leaves.
double meanOverKids(const Progress* pStep, const std::map<const Progress*, double>& mWeight) {
    double sum = 0.0, total = 0.0;
    for (const auto& [name, pKid] : pStep->mNameKids) {
        sum += mWeight.at(pKid) * meanOverKids(pKid, mWeight);
        total += mWeight.at(pKid);
    }
    if (pStep->mNameKids.empty()) return pStep->getFrac();
    return total > 0.0 ? sum / total : 0.0;
}

TEST(Progress, isTheMeanOverAllStepsHoweverTheyOpenAndEnd) {
    forSeeds(30, [](unsigned seed) {
        std::mt19937 random(seed);
        const auto below = [&](std::size_t n) { return random() % n; };
        TestRun run({});
        std::map<const Progress*, double> mWeight;
        for (int round = 0; round < 300; ++round) {
            Progress* pStep = &run.root;
            while (!pStep->mNameKids.empty() && below(3) > 0)
                pStep = std::next(pStep->mNameKids.begin(), static_cast<int>(below(pStep->mNameKids.size())))->second;
            const std::string name = toString(below(20));
            const double weight = 0.1 * static_cast<double>(below(100)), before = pStep->getFrac();
            const std::size_t what = below(8), todo = 1 + below(1000);
            const bool bNew = !pStep->mNameKids.contains(name), bLeaf = pStep->mNameKids.empty();
            if (what == 0) pStep->createChild(name, weight);  // a name that exists keeps its weight
            if (what == 1 || what == 2) {
                const double former = bNew ? 0.0 : pStep->mNameKids.at(name)->getFrac();
                const Progress* pKid = pStep->getChildProgressSetTodo(name, todo);
                EXPECT_TRUE(!pKid->mNameKids.empty() ||
                            std::fabs(pKid->getFrac() - former) <= 1.0 / static_cast<double>(todo))
                    << former;
            }
            if (what <= 2 && bNew) mWeight[pStep->mNameKids.at(name)] = what == 0 ? weight : 10.0;
            if (what == 3) pStep->setDone(below(2) == 0);
            for (std::size_t i = below(300); what > 3 && i > 0; --i)
                pStep->incProgressByOne();
            EXPECT_TRUE(what != 3 || !bLeaf || pStep->getFrac() == 1.0);
            EXPECT_TRUE(what < 3 || pStep->getFrac() >= before);
            ASSERT_NEAR(run.root.getFrac(), meanOverKids(&run.root, mWeight), 1e-12);
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
