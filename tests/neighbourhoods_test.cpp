// The indexes of near points behind the fit: against plain searches, and the same on any number of threads.
#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "Neighbourhoods.h"
#include "PointGrid.h"
#include "support/prelude.h"

using namespace TARN_TEST;

TEST(PointGrid, agreesWithASearchOfAll) {
    std::mt19937_64 random(3);
    const auto number = [&](double high) { return high * static_cast<double>(random() >> 11) * 0x1p-53; };
    for (const double extent : {3.0, 40.0, 3e7}) {
        std::vector<Vector3> vPlace;
        std::vector<unsigned char> vUse;
        for (int i = 0; i < 1500; ++i) {
            vPlace.emplace_back(number(3.0) + (i % 3 == 0 ? extent : 0.0), number(3.0),
                                number(3.0) + (i % 2 == 0 ? extent : 0.0));
            vUse.push_back(i % 5 != 0);
        }
        const PointGrid grid(vPlace, 1.0, vUse);
        const auto sorted = [](std::vector<FitIndex> v) {
            std::sort(v.begin(), v.end());
            return v;
        };
        for (const double radius : {0.2, 1.0, 2.7})
            for (std::size_t i = 0; i < vPlace.size(); i += 7) {
                std::vector<FitIndex> vExpected, vFound;
                for (FitIndex j = 0; j < vPlace.size(); ++j)
                    if (vUse[j] != 0 && (vPlace[j] - vPlace[i]).sqLength() <= radius * radius) vExpected.push_back(j);
                grid.visitWithin(vPlace[i], radius, [&](FitIndex j, double) { vFound.push_back(j); });
                EXPECT_EQ(sorted(vFound), vExpected);
            }
    }
}

void forAll(const Neighbourhoods& near, std::size_t begin, std::size_t end, const auto& visit) {
    near.visitWanted(
        begin, end, [](FitIndex) { return true; }, visit);
}

// Two sheets near each other, of one piece or of two, and one that is folded; also with half of them far away.
TEST(Neighbourhoods, areTheNearPointsOfTheSameSheet) {
    std::mt19937_64 random(7);
    const auto number = [&](double high) { return high * static_cast<double>(random() >> 11) * 0x1p-53; };
    for (const auto& [extent, apart] : {std::pair(2.0, 0.0), {12.0, 0.0}, {30.0, 0.0}, {30.0, 0x1p21}, {30.0, 4e9}}) {
        const double radius = 1.5;
        FitPoints points;
        for (FitIndex i = 0; i < 2000; ++i) {
            const bool bUpper = i % 3 == 0, bFlat = number(1.0) < 0.7;
            points.vPlace.emplace_back(number(extent), number(extent) + (i % 2 == 0 ? apart * radius : 0.0),
                                       bUpper ? 0.3 : 0.1 * number(1.0));
            points.vSide.push_back(bFlat ? Vector3(0.0, 0.0, i % 6 == 0 ? -1.0 : 1.0)
                                         : Vector3(number(1.0) > 0.5 ? 1.0 : -1.0, 0.0, 0.0));
            points.vPiece.push_back(extent == 12.0 && bUpper ? 5 : 0);
        }
        const Neighbourhoods near(points, radius);
        const PointGrid grid(points.vPlace, radius);
        ASSERT_EQ(near.numPoints(), points.size());
        std::map<FitIndex, std::vector<FitIndex>> mFound;
        for (std::size_t begin = 0; begin < points.size(); begin += 333)  // cells are cut anywhere
            forAll(near, begin, std::min<std::size_t>(begin + 333, points.size()),
                   [&](FitIndex i, auto vNear) { EXPECT_TRUE(mFound.try_emplace(i, vNear.begin(), vNear.end()).second); });
        for (FitIndex i = 0; i < points.size(); ++i) {
            std::vector<FitIndex> vExpected;  // in the order of a search
            grid.visitWithin(points.vPlace[i], radius, [&](FitIndex j, double) {
                if (areNeighbours(points, i, j)) vExpected.push_back(j);
            });
            ASSERT_EQ(mFound[i], vExpected) << i;
        }
        std::size_t numWanted = 0;
        near.visitWanted(
            0, points.size(), [](FitIndex i) { return i % 10 == 3; },
            [&](FitIndex i, auto vNear) {
                EXPECT_TRUE(std::equal(vNear.begin(), vNear.end(), mFound[i].begin(), mFound[i].end()));
                ++numWanted;
            });
        EXPECT_EQ(numWanted, points.size() / 10);
    }
    FitPoints none;
    EXPECT_EQ(Neighbourhoods(none, 1.0).numPoints(), 0U);
}

// So many that each thread sorts a part of them.
TEST(Neighbourhoods, areTheSameOnAnyNumberOfThreads) {
    std::mt19937_64 random(9);
    const auto number = [&](double high) { return high * static_cast<double>(random() >> 11) * 0x1p-53; };
    FitPoints points;
    for (int i = 0; i < 100000; ++i) {
        points.vPlace.emplace_back(number(300.0), number(300.0), number(2.0));
        points.vSide.emplace_back(0.0, 0.0, 1.0);
        points.vPiece.push_back(i % 50 == 0);
    }
    const auto listOf = [&] {
        const Neighbourhoods near(points, 2.0);
        std::vector<FitIndex> vList = PointGrid(points.vPlace, 2.2).order();
        forAll(near, 0, near.numPoints(), [&](FitIndex i, auto vNear) {
            vList.push_back(i);
            vList.insert(vList.end(), vNear.begin(), vNear.end());
        });
        return vList;
    };
    setNumThreads(1);
    const std::vector<FitIndex> vExpected = listOf();
    EXPECT_GT(vExpected.size(), 10 * points.size());
    for (const int numThreads : {2, 5}) {
        setNumThreads(numThreads);
        EXPECT_TRUE(listOf() == vExpected) << numThreads;
    }
    setNumThreads(0);
}
