// The removal test against floods on coordinates, in sets.
#include "RemoveDecider.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>
#include <vector>

#include "support/capture.h"
#include "support/cellSets.h"

using namespace TARN_KEL;
using TARN_TEST::cellAt;
using TARN_TEST::cellsWhere;
using TARN_TEST::randomCells;

namespace {

using Offset = std::array<int, 3>;

const std::vector<Offset> SCAN = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};

Offset operator+(const Offset& a, const Offset& b) {
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
bool isInBlock(const Offset& o) {
    return std::all_of(o.begin(), o.end(), [](int d) { return d >= -1 && d <= 1; });
}

// The same decisions, one cell at a time.
class NaiveDecider {
public:
    NaiveDecider(const VCCD& vCells, const Calc& theCalc) : sCell(vCells.begin(), vCells.end()), calc(theCalc) {}

    void doom(CCD ccd) { sDoomed.insert(ccd); }
    bool isAlive(CCD centre, const Offset& o) const {
        unsigned long long x, y, z;
        calc.extractIntCCD(centre, x, y, z);
        const CCD ccd = cellAt(static_cast<int>(x) + o[0], static_cast<int>(y) + o[1], static_cast<int>(z) + o[2]);
        return (ccd == centre || sCell.count(ccd) != 0) && sDoomed.count(ccd) == 0;
    }
    int numAlive(CCD centre) const {
        int num = 0;
        for (int pos = 0; pos < 27; ++pos)
            num += isAlive(centre, {pos % 3 - 1, pos / 3 % 3 - 1, pos / 9 - 1}) ? 1 : 0;
        return num;
    }
    std::vector<Offset> freeFaces(CCD centre) const {
        std::vector<Offset> faces;
        std::copy_if(SCAN.begin(), SCAN.end(), std::back_inserter(faces),
                     [&](const Offset& o) { return !isAlive(centre, o); });
        return faces;
    }

    bool isRemovable(CCD centre) const {
        if (freeFaces(centre).size() < 3) return false;
        for (const Offset& a : SCAN)
            for (const Offset& b : SCAN) {
                const Offset edge = a + b;
                if (!isInBlock(edge) || edge == Offset{0, 0, 0}) continue;
                if (isAlive(centre, edge) && !isAlive(centre, a) && !isAlive(centre, b)) return false;
            }
        // Two free faces that are opposite in x or y: with only these free there are fewer than three.
        return true;
    }
    bool isRemovableStrong(CCD centre, int maxSteps) const {
        const std::vector<Offset> faces = freeFaces(centre);
        if (faces.empty()) return false;
        std::set<Offset> visited = {faces.front()};
        for (int step = 0; step < maxSteps; ++step) {
            const std::set<Offset> front = visited;
            for (const Offset& o : front)
                for (const Offset& d : SCAN) {
                    const Offset next = o + d;
                    if (isInBlock(next) && next != Offset{0, 0, 0} && !isAlive(centre, next)) visited.insert(next);
                }
        }
        return std::all_of(faces.begin(), faces.end(), [&](const Offset& o) { return visited.count(o) != 0; });
    }
    void pruneStrong(const VCCD& vCandidates, VCCD& vKept, VCCD& vDoomed) {
        vKept = vCandidates;
        for (std::size_t numBefore = vDoomed.size() + 1; numBefore != vDoomed.size();) {
            numBefore = vDoomed.size();
            VCCD vWork;
            vWork.swap(vKept);
            for (; !vWork.empty(); vWork.pop_back()) {
                const bool bDoom = isRemovableStrong(vWork.back(), 4);
                if (bDoom) doom(vWork.back());
                (bDoom ? vDoomed : vKept).push_back(vWork.back());
            }
        }
    }

private:
    std::set<CCD> sCell, sDoomed;
    const Calc& calc;
};

VCCD sheet(int num) {
    return cellsWhere(num, [](int, int, int k) { return k == 3; });
}

}  // namespace

TEST(RemoveDecider, agreesWithTheNaiveDeciderOnRandomCells) {
    Calc calc = TARN_TEST::unitGrid();
    int numLimited = 0, numRemovable = 0, numStrong = 0;
    for (unsigned seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        VCCD vCells = randomCells(6, 0.05 + 0.9 * seed / 60.0, seed);
        NaiveDecider naive(vCells, calc);
        std::mt19937 random(seed);
        std::shuffle(vCells.begin(), vCells.end(), random);
        vCells.insert(vCells.end(), vCells.begin(), vCells.begin() + static_cast<std::ptrdiff_t>(vCells.size() / 2));
        RemoveDecider decider(vCells, &calc);
        EXPECT_TRUE(std::is_sorted(vCells.begin(), vCells.end()));
        for (CCD ccd : cellsWhere(6, [](int, int, int) { return true; })) {  // in the list or not
            ASSERT_EQ(decider.setNewCCD(ccd), naive.numAlive(ccd));
            ASSERT_EQ(decider.getNumDirectVisible(), static_cast<int>(naive.freeFaces(ccd).size()));
            const bool bRemovable = naive.isRemovable(ccd), bStrong = naive.isRemovableStrong(ccd, 4);
            ASSERT_EQ(decider.isRemovable(ccd), bRemovable);
            ASSERT_EQ(decider.isRemovableStrong(ccd), bStrong);
            numRemovable += bRemovable ? 1 : 0;
            numStrong += bStrong ? 1 : 0;
            numLimited += !bStrong && naive.isRemovableStrong(ccd, 12) ? 1 : 0;
            if (random() % 8 != 0) continue;
            decider.registerDoomed(ccd);
            naive.doom(ccd);
            ASSERT_TRUE(decider.isDoomed(ccd));
        }
    }
    EXPECT_GT(numLimited, 0) << "no flood needed more than four steps: the limit isn't tested";
    EXPECT_GT(numRemovable, 100);
    EXPECT_GT(numStrong, 1000);
}

TEST(RemoveDecider, pruneStrongAgreesWithTheNaiveRounds) {
    Calc calc = TARN_TEST::unitGrid();
    for (unsigned seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        VCCD vCells = randomCells(7, 0.2 + 0.02 * seed, seed);
        VCCD vCandidates, vKept, vDoomed, vKeptNaive, vDoomedNaive;
        std::mt19937 random(seed);
        std::copy_if(vCells.begin(), vCells.end(), std::back_inserter(vCandidates), [&](CCD) { return random() % 3 != 0; });
        NaiveDecider(vCells, calc).pruneStrong(vCandidates, vKeptNaive, vDoomedNaive);
        RemoveDecider decider(vCells, &calc);
        EXPECT_EQ(decider.pruneStrong(vCandidates, vKept, vDoomed), vDoomedNaive.size());
        EXPECT_EQ(vKept, vKeptNaive);
        EXPECT_EQ(vDoomed, vDoomedNaive);
        for (CCD ccd : vCells)
            EXPECT_EQ(decider.isDoomed(ccd), std::count(vDoomed.begin(), vDoomed.end(), ccd) != 0);
    }
    VCCD vCells, vKept, vDoomed;
    EXPECT_EQ(RemoveDecider(vCells, &calc).pruneStrong(vCells, vKept, vDoomed), 0U);
}

TEST(RemoveDecider, keepsTheMiddleOfASheetAndASolidButNotARim) {
    Calc calc = TARN_TEST::unitGrid();
    VCCD vSheet = sheet(7);
    VCCD vSolid = cellsWhere(7, [](int, int, int) { return true; });
    RemoveDecider onSheet(vSheet, &calc), inSolid(vSolid, &calc);
    const CCD middle = cellAt(513, 513, 513), rim = cellAt(510, 513, 513);
    EXPECT_FALSE(onSheet.isRemovable(middle));
    EXPECT_FALSE(onSheet.isRemovableStrong(middle));
    EXPECT_TRUE(onSheet.isRemovable(rim));
    EXPECT_TRUE(onSheet.isRemovableStrong(rim));
    EXPECT_FALSE(inSolid.isRemovable(middle));
    EXPECT_FALSE(inSolid.isRemovableStrong(middle));
    // A hole makes its neighbours a rim: what is doomed first decides.
    onSheet.registerDoomed(middle);
    EXPECT_TRUE(onSheet.isRemovableStrong(cellAt(514, 513, 513)));
}

TEST(RemoveDecider, theFloodReportsWhatItReached) {
    Calc calc = TARN_TEST::unitGrid();
    VCCD vSheet = sheet(7);
    RemoveDecider decider(vSheet, &calc);
    decider.isRemovableStrong(cellAt(513, 513, 513));
    for (int pos = 0; pos < 27; ++pos)
        EXPECT_EQ(decider.sVisited.count(pos) == 1, pos >= 18) << "the layer above, where the first free face is";
    std::vector<int> vNeigs;
    decider.getNeigs(13, vNeigs);
    decider.getNeigs(26, vNeigs);
    EXPECT_EQ(vNeigs, (std::vector<int>{14, 12, 16, 10, 22, 4, 25, 23, 17}));
}

TEST(RemoveDecider, aCountThatDoesntAddUpIsAnAssertion) {
    Calc calc = TARN_TEST::unitGrid();
    VCCD vCells = sheet(3), vKept, vDoomed = {1};
    RemoveDecider decider(vCells, &calc);
    const std::string report = TARN_TEST::reportOf([&] { decider.pruneStrong(vCells, vKept, vDoomed); });
    EXPECT_NE(report.find(TARN_TEST::conditionFailed("vDoomedOut.size()+vKeptOut.size()==vRemoveCandidates.size()")),
              std::string::npos);
}
