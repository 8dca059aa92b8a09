// The removal test against floods position by position, in sets.
#include "RemoveDecider.h"

#include "support/packedCells.h"
#include "support/plain_decider.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

// The same decisions in their plain form; cells and what is doomed are kept as the other decider's plain form has them.
class NaiveDecider {
public:
    NaiveDecider(const VCCD& vCells, const Calc& theCalc) : calc(theCalc), vRCD(toPacked(vCells)), plain(vRCD, calc) {}

    void doom(CCD ccd) { plain.sDoomed.insert(calc.ccd2rcd(ccd)); }
    int numAlive(CCD centre) { return plain.setNewRCD(calc.ccd2rcd(centre)); }
    std::vector<int> freeFaces(CCD centre) {
        numAlive(centre);
        std::vector<int> vFaces{14, 12, 16, 10, 22, 4};
        std::erase_if(vFaces, [this](int pos) { return !plain.isFree(pos); });
        return vFaces;
    }

    bool isRemovable(CCD centre) {
        const std::vector<int> vFaces = freeFaces(centre);
        for (const int a : vFaces)
            for (const int b : vFaces)
                if (a != b && a + b != 26 && !plain.isFree(a + b - 13)) return false;  // the cell between two free faces
        return vFaces.size() >= 3;
    }
    bool isRemovableStrong(CCD centre, int maxSteps) {
        const std::vector<int> vFaces = freeFaces(centre);
        if (vFaces.empty()) return false;
        std::set<int> sVisited = {vFaces.front()};
        for (int step = 0; step < maxSteps; ++step)
            for (const int pos : std::set<int>(sVisited))
                for (int next = 0; next < 27; ++next)
                    if (PlainDecider_RCD::distance(pos, next) == 1 && next != 13 && plain.isFree(next))
                        sVisited.insert(next);
        return std::all_of(vFaces.begin(), vFaces.end(), [&](int pos) { return sVisited.count(pos) != 0; });
    }

private:
    const Calc& calc;
    VRCD vRCD;
    PlainDecider_RCD plain;
};

}  // namespace

TEST(RemoveDecider, agreesWithTheNaiveDeciderOnRandomCells) {
    Calc calc = unitGrid();
    int numLimited = 0, numRemovable = 0, numStrong = 0;
    forSeeds(60, [&](unsigned seed) {
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
    });
    EXPECT_GT(numLimited, 0) << "no flood needed more than four steps: the limit isn't tested";
    EXPECT_GT(numRemovable, 100);
    EXPECT_GT(numStrong, 1000);
}

TEST(RemoveDecider, pruneStrongEndsWhereNoCandidateMayGoAndEachMightWhenItsTurnCame) {
    Calc calc = unitGrid();
    forSeeds(40, [&](unsigned seed) {
        VCCD vCells = randomCells(7, 0.2 + 0.02 * seed, seed), vCandidates, vKept, vDoomed, vBoth;
        std::mt19937 random(seed);
        std::copy_if(vCells.begin(), vCells.end(), std::back_inserter(vCandidates), [&](CCD) { return random() % 3 != 0; });
        RemoveDecider decider(vCells, &calc);
        NaiveDecider naive(vCells, calc);
        const std::size_t numDoomed = decider.pruneStrong(vCandidates, vKept, vDoomed);
        EXPECT_EQ(numDoomed, vDoomed.size());
        for (const CCD ccd : vDoomed) {
            ASSERT_TRUE(naive.isRemovableStrong(ccd, 4));
            naive.doom(ccd);
        }
        for (const CCD ccd : vKept)
            EXPECT_FALSE(naive.isRemovableStrong(ccd, 4));
        for (CCD ccd : vCells)
            EXPECT_EQ(decider.isDoomed(ccd), std::count(vDoomed.begin(), vDoomed.end(), ccd) != 0);
        std::ranges::merge(sorted(vKept), sorted(vDoomed), std::back_inserter(vBoth));
        EXPECT_EQ(vBoth, vCandidates);
        vDoomed = {1};
        expectFails("vDoomedOut.size()+vKeptOut.size()==vRemoveCandidates.size()",
                    [&] { decider.pruneStrong(vCandidates, vKept, vDoomed); });
    });
}
