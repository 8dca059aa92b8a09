// The removal decisions on packed codes against their plain form, and what pruning must keep whatever the cells.
#include "RemoveDecider_RCD.h"

#include "support/cellSets.h"
#include "support/packedCells.h"
#include "support/plain_decider.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

constexpr int POSITIONS = 27, CENTRE = 13;

/// The cells of a block around the centre, bit i for position i.
VRCD cellsOfBlock(RCD centre, unsigned bits) {
    VRCD vRCD;
    for (int pos = 0; pos < POSITIONS; ++pos)
        if ((bits >> pos & 1U) != 0) vRCD.push_back(shifted(centre, pos % 3 - 1, pos / 3 % 3 - 1, pos / 9 - 1));
    std::sort(vRCD.begin(), vRCD.end());
    return vRCD;
}

/// All combinations of full rows along an axis, all combinations of faces with none, all and random other cells, and
/// random cells of every density.
std::vector<unsigned> blocksToTry() {
    std::vector<unsigned> vBits;
    for (unsigned rows = 0; rows < 512; ++rows)
        for (const int stride : {1, 3, 9}) {
            unsigned bits = 0;
            for (int pos = 0, row = 0; pos < POSITIONS; ++pos)
                if (pos / stride % 3 == 0 && (rows >> row++ & 1U) != 0)
                    bits |= (1U | 1U << stride | 1U << 2 * stride) << pos;
            vBits.push_back(bits);
        }
    std::mt19937 random(1);
    const auto randomBits = [&random](unsigned density) {
        unsigned bits = 0;
        for (int pos = 0; pos < POSITIONS; ++pos)
            bits |= (random() % 16 < density ? 1U : 0U) << pos;
        return bits;
    };
    for (unsigned faces = 0; faces < 64; ++faces)
        for (unsigned density = 0; density <= 16; ++density)
            for (int repeat = 0; repeat < 3; ++repeat) {
                unsigned bits = randomBits(density);
                for (unsigned i = 0; i < 6; ++i) {
                    const int pos = RemoveDecider_RCD::vIdx6ToIdx27[i];
                    bits = (bits & ~(1U << pos)) | (faces >> i & 1U) << pos;
                }
                vBits.push_back(bits);
            }
    return vBits;
}

}  // namespace

TEST(RemoveDecider_RCD, agreesWithThePlainDeciderOnBlocks) {
    Calc calc = unitGrid();
    int numBorder = 0, numGap = 0, numPrevented = 0, numNewBorder = 0, numState[3] = {0, 0, 0};
    std::mt19937 random(2);
    for (const unsigned bits : blocksToTry()) {
        const auto coordinate = [&random] { return static_cast<int>(508 + random() % 8); };  // every place in a 4x4x4 block
        const RCD centre = packedAt(coordinate(), coordinate(), coordinate());
        VRCD vRCD = cellsOfBlock(centre, bits);
        SCOPED_TRACE("bits " + std::to_string(bits));
        PlainDecider_RCD plain(vRCD, calc);
        RemoveDecider_RCD decider(vRCD, &calc);
        ASSERT_EQ(decider.setNewRCD(centre), plain.setNewRCD(centre));
        ASSERT_EQ(decider.aliveMask, bits | 1U << CENTRE);
        ASSERT_EQ(decider.vNeigs, plain.vNeigs);
        ASSERT_EQ(decider.removingCreatesGap(centre), plain.removingCreatesGap(centre));
        ASSERT_EQ(decider.isBorder(centre), plain.isBorder(centre));
        numBorder += plain.isBorder(centre) ? 1 : 0;
        numPrevented += decider.isBorder(centre) && decider.numPreventedCorners() > 0 ? 1 : 0;
        numGap += plain.removingCreatesGap(centre) ? 1 : 0;
        for (int i = 0; i < 6; ++i) {
            if ((bits >> RemoveDecider_RCD::vIdx6ToIdx27[static_cast<std::size_t>(i)] & 1U) != 0) continue;
            const OppState state = decider.getOppState(centre, i);
            ASSERT_EQ(state, plain.getOppState(centre, i));
            ++numState[state];
        }
        for (const RCD neig : vRCD) {
            const bool bNew = plain.wouldBecomeNewBorder(neig, centre);
            ASSERT_EQ(decider.wouldBecomeNewBorder(neig, centre), bNew);
            numNewBorder += bNew ? 1 : 0;
        }
    }
    for (const int num : {numBorder, numGap, numPrevented, numNewBorder, numState[0], numState[1], numState[2]})
        EXPECT_GT(num, 40) << "an answer that hardly occurs isn't tested";
}

TEST(RemoveDecider_RCD, agreesWithThePlainDeciderWhileCellsAreDoomed) {
    Calc calc = unitGrid();
    forSeeds(24, [&](unsigned seed) {
        VRCD vRCD = randomPacked(6, 0.1 + 0.8 * seed / 24.0, seed);
        const VRCD vSorted = vRCD;
        std::mt19937 random(seed);
        std::shuffle(vRCD.begin(), vRCD.end(), random);
        RemoveDecider_RCD decider(vRCD, &calc);
        PlainDecider_RCD plain(vSorted, calc);
        for (const RCD rcd : packedWhere(6, [](int, int, int) { return true; })) {  // in the list or not
            if (random() % 4 == 0) {
                decider.registerDoomed(rcd);
                plain.sDoomed.insert(rcd);
            }
            ASSERT_EQ(decider.isDoomed(rcd), plain.sDoomed.count(rcd) != 0);
            ASSERT_EQ(decider.setNewRCD(rcd), plain.setNewRCD(rcd));
            ASSERT_EQ(decider.isBorder(rcd), plain.isBorder(rcd));
        }
        VRCD vArea, vBorder, vPlainArea, vPlainBorder, vAlive, vAmongAlive;
        decider.detectAreaAndBorder(vArea, vBorder);
        plain.detectAreaAndBorder(vPlainArea, vPlainBorder);
        EXPECT_EQ(std::pair(vArea, vBorder), std::pair(vPlainArea, vPlainBorder));
        decider.getAliveRCD(vAlive);
        decider.detectBorders(vAlive, vAmongAlive);
        EXPECT_EQ(vAmongAlive, vBorder);
    });
}

TEST(RemoveDecider_RCD, pruningEndsWhereNoCandidateMayGoAndJoinsNoTwoFreeRegions) {
    Calc calc = unitGrid();
    std::size_t numPrePruned = 0;
    forSeeds(20, [&](unsigned seed) {
        const bool bAllowBorder = (seed & 1) != 0, bPrePrune = (seed & 2) != 0, bStrong = seed % 5 == 0;
        VRCD vRCD = seed % 3 == 0 ? randomShell(6, seed) : randomPacked(9, 0.05 + 0.04 * seed, seed);
        const int numRegions = countFreeRegions(vRCD);
        auto vRCDPoint = pointsIn(vRCD, seed + 1);
        std::mt19937 random(seed);
        VRCD vCandidates, vKept = {1, 2}, vDoomed, vAgain, vDoomedAgain;
        std::ranges::copy_if(vRCD, std::back_inserter(vCandidates), [&](RCD) { return random() % 8 != 0; });
        const auto prune = [&](VRCD vList, VRCD& vKeptOut, VRCD& vDoomedOut) {
            RemoveDecider_RCD decider(vRCD, &calc);
            if (bStrong)
                decider.pruneStrong(vList, vKeptOut, vDoomedOut, bAllowBorder);
            else
                decider.prunePrioq(vRCDPoint, vList, vKeptOut, vDoomedOut, bAllowBorder, bPrePrune);
            for (const RCD rcd : vKeptOut)  // none of them may go
                EXPECT_TRUE(decider.removingCreatesGap(rcd) || (!bAllowBorder && decider.isBorder(rcd)));
            VRCD vAlive;
            decider.getAliveRCD(vAlive);
            EXPECT_EQ(vAlive.empty() ? 1 : countFreeRegions(vAlive), numRegions);
        };
        prune(vCandidates, vKept, vDoomed);
        EXPECT_TRUE(std::ranges::is_sorted(vKept) && std::ranges::is_sorted(vDoomed));
        VRCD vBoth, vStrangers;
        std::ranges::set_union(vKept, vDoomed, std::back_inserter(vBoth));
        std::ranges::set_difference(vBoth, vCandidates, std::back_inserter(vStrangers));
        EXPECT_TRUE(std::ranges::includes(vBoth, vCandidates) && (bPrePrune || vStrangers.empty()));
        numPrePruned += vStrangers.size();
        if (bStrong) return;
        std::ranges::reverse(vCandidates);  // the order of the list decides nothing
        prune(vCandidates, vAgain, vDoomedAgain);
        EXPECT_EQ(vAgain, vKept);
    });
    EXPECT_GT(numPrePruned, 3U) << "cells that are no candidates";
}

TEST(RemoveDecider_RCD, onlySmallComponentsOfBorderCellsAreEatenFirst) {
    Calc calc = unitGrid();
    for (const int length : {39, 40, 41}) {
        VRCD vRow, vDoomed;
        for (int i = 0; i < length; ++i)
            vRow.push_back(packedAt(500, 500, 500 + i));
        EXPECT_EQ(RemoveDecider_RCD(vRow, &calc).prePruneSmallBorderCCs(vDoomed), length <= 40 ? length : 0);
    }
    // A small sheet is left alone: without its rim the next cells would be the rim.
    VRCD vSheet = packedWhere(7, [](int, int, int k) { return k == 3; });
    VRCD vDoomed, vOther = {1}, vKept;
    RemoveDecider_RCD decider(vSheet, &calc);
    EXPECT_EQ(decider.prePruneSmallBorderCCs(vDoomed), 0);
    decider.setNewRCD(packedAt(511, 510, 513));
    EXPECT_TRUE(decider.removingCreatesAnotherBorder(packedAt(511, 510, 513)));

    const RCD corner = packedAt(510, 510, 513), middle = packedAt(513, 513, 513);
    decider.registerDoomed(corner);
    RemoveDecider_RCD::VRCDPoint vNone;
    expectFails("!exists_int27(fromIdx27)", [&] { decider.getOppState(packedAt(516, 513, 513), 0); });
    expectFails("vBorderRCDs.empty()", [&] { decider.detectBorders(vSheet, vOther); });
    expectFails("q_it!=vRCDPoint.end()", [&] { decider.prunePrioq(vNone, vSheet, vKept, vOther, true, false); });
    expectFails("sDoomedRCD.find(removeRCD)==sDoomedRCD.end()", [&] { decider.wouldBecomeNewBorder(middle, corner); });
    expectFails("vDoomedOut.size()+vKeptOut.size()==vRemoveCandidates.size()",
                [&] { decider.pruneStrong(vSheet, vKept, vOther, false); });
}

TEST(RemoveDecider_RCD, theWeightCountsFacesAndTheWayToTheMidpoint) {
    Calc calc(0.0, 0.0, 0.0, 32.0, 32.0, 32.0, 4);  // cells of length 2
    VRCD vRCD = {packedAt(5, 5, 5), packedAt(5, 5, 6), packedAt(5, 6, 6), packedAt(6, 5, 5)};
    RemoveDecider_RCD::VRCDPoint vRCDPoint = {{vRCD[0], Point3(11.0, 11.0, 11.5)}, {vRCD[1], Point3(11.0, 11.0, 13.0)}};
    RemoveDecider_RCD decider(vRCD, &calc);
    decider.registerDoomed(vRCD[3]);
    EXPECT_EQ(decider.getWeight(vRCDPoint, vRCD[0]), 1 + 2.0 - 0.25);
    EXPECT_EQ(decider.getWeight(vRCDPoint, vRCD[1]), 2 + 2.0);
}
