#include "SimplePool.h"

#include <sys/resource.h>

#include <climits>

#include "support/prelude.h"
#include "support/sanitized.h"

using namespace TARN_TEST;
using TARN_TOOLS::SimplePool;

namespace {

struct Thing {
    double value;
    int number[4];
};
using Megabyte = std::array<char, 1000000>;

/// The sizes of the first blocks that a pool opens while elements are taken.
std::vector<int> sizesAfter(int firstNum, int growNum, std::size_t numBlocks) {
    SimplePool<Thing> pool;
    pool.init(firstNum, growNum);
    while (pool.getSizes().size() < numBlocks)
        pool.nextElement();
    return pool.getSizes();
}

/// Ends the process with status 0 when a pool of 64 KB elements can hold the given number of them in one run of addresses,
/// else with the number of the first element out of place.
[[noreturn]] void exitAfterFilling(int numElements) {
    using Big = std::array<char, 65536>;
    SimplePool<Big> pool;
    pool.init(3, 7);
    Big* pFirst = pool.nextElement();
    for (int i = 1; i < numElements; ++i) {
        Big* p = pool.nextElement();
        (*p)[0] = (*p)[65535] = 'x';
        if (p != pFirst + i) std::exit(1 + i % 100);
    }
    std::exit(0);
}

}  // namespace

TEST(SimplePool, opensBlocksOfTheSizesTold) {
    using Sizes = std::vector<int>;
    EXPECT_EQ(sizesAfter(256, -1, 5), (Sizes{256, 128, 256, 512, 1024}));
    EXPECT_EQ(sizesAfter(1, -1, 4), (Sizes{1, 1, 2, 4}));
    EXPECT_EQ(sizesAfter(3, 0, 4), (Sizes{3, 1, 2, 4})) << "a grow size of 0 is taken as -1";
    EXPECT_EQ(sizesAfter(0, 7, 3), (Sizes{0, 7, 7}));
    EXPECT_EQ(outputOf([] { sizesAfter(1, 1, 50); }), "");
    EXPECT_EQ(outputOf([] { sizesAfter(1, 1, 51); }), "SimplePool::~SimplePool: Number of containers to release: 51\n");
}

TEST(SimplePool, handsOutAscendingAddressesThatStayValid) {
    SimplePool<Thing> pool, other;
    pool.init(3, -1);
    other.init(1, 5);
    std::vector<Thing*> vThing;
    for (int i = 0; i < 20000; ++i) {
        Thing* p = pool.nextElement();
        Thing* pOther = other.nextElement();
        *p = {0.5 * i, {i, i, i, i}};
        *pOther = {-1.0, {-1, -1, -1, -1}};
        ASSERT_FALSE(pool.owns(pOther) || other.owns(p));
        ASSERT_TRUE(vThing.empty() || p == vThing.back() + 1);
        vThing.push_back(p);
    }
    ASSERT_EQ(pool.size(), vThing.size());
    for (std::size_t i = 0; i < vThing.size(); ++i) {
        ASSERT_EQ(vThing[i]->number[3], static_cast<int>(i));
        ASSERT_TRUE(pool.owns(vThing[i]) && pool.indexOf(vThing[i]) == i && pool.at(i) == vThing[i]);
    }
    EXPECT_FALSE(pool.owns(vThing.back() + 1) || pool.owns(vThing.front() - 1) || pool.owns(nullptr));

    SimplePool<Thing> gappy;
    gappy.init(10, -1);
    const Thing* pFirst = gappy.nextElement();
    gappy.alloc(4);
    EXPECT_EQ(gappy.nextElement(), pFirst + 10) << "what a block left unused counts";
    EXPECT_EQ(gappy.size(), 11U);
}

TEST(SimplePoolDeathTest, endsTheProcessWhenMisusedOrOutOfMemory) {
    SimplePool<Megabyte> pool;
    pool.init(0, -1);
    std::cout.flush();
    EXPECT_EXIT(loudly([&] { pool.init(1, 1); }), testing::ExitedWithCode(1),
                "SimplePool::init\\(\\.\\.\\), ERROR: This pool is already initialized");
    EXPECT_EXIT(loudly([&] { pool.alloc(INT_MAX); }), testing::ExitedWithCode(1),
                "SimplePool::alloc\\(\\.\\.\\), ERROR: Out of memory, sorry");
}

TEST(SimplePoolDeathTest, growsPastASmallReservation) {
    if (SANITIZED) GTEST_SKIP() << "a sanitizer needs more address space";
    const auto limitMemory = [] {
        const rlimit limit{rlim_t{1} << 30, rlim_t{1} << 30};  // the reservation is then 16 MB
        setrlimit(RLIMIT_AS, &limit);
    };
    EXPECT_EXIT((limitMemory(), exitAfterFilling(6000)), testing::ExitedWithCode(0), "");
    EXPECT_EXIT((limitMemory(), loudly([] { exitAfterFilling(20000); })), testing::ExitedWithCode(1),
                "Out of memory, sorry");
}
