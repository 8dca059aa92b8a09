// The bit volume and its two ways to thin a set of cells, against the same rules on a plain set of coordinates.
#include "IsoStore.h"
#include "Bundle.h"
#include "sortMT.h"
#include "support/cellSets.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Place = std::array<int, 3>;

Place placeOf(CCD ccd) {
    return {static_cast<int>(compressBits(ccd >> 2)), static_cast<int>(compressBits(ccd >> 1)),
            static_cast<int>(compressBits(ccd))};
}

/// Bundles in cells, in the order given, with their points somewhere in there, in a store of their blocks.
struct Cells {
    Cells(const VCCD& vCCD, unsigned seed, int numLevels = 12)
        : calc(0.0, 0.0, 0.0, std::ldexp(1.0, numLevels), std::ldexp(1.0, numLevels), std::ldexp(1.0, numLevels), numLevels),
          vPoint(vCCD.size()),
          vBundle(vCCD.size()),
          store(&calc, vpBundle) {
        std::mt19937 random(seed);
        const auto within = [&random] { return 0.01 + 0.98 * static_cast<double>(random()) / 4294967296.0; };
        std::map<CCD, VCCD> mBlock;
        for (std::size_t i = 0; i < vCCD.size(); ++i) {
            const Point3 low = calc.getRefPoint(vCCD[i]);
            vPoint[i] = Point3(low.x() + within(), low.y() + within(), low.z() + within());
            vBundle[i].pVtx = &vPoint[i];
            vBundle[i].ccd = vCCD[i];
            vBundle[i].forbiddenDirection = random() % 4 == 0 ? static_cast<int>(random() % 8) : 0;
            vpBundle.push_back(&vBundle[i]);
            mBlock[vCCD[i] & ~CCD{0x7fff}].push_back(vCCD[i]);
        }
        for (auto& [upper, vCodes] : mBlock)
            store.add(upper, vCodes);
    }
    VCCD alive() const {
        VCCD v;
        for (const Bundle& bundle : vBundle)
            if (bundle.forbiddenDirection >= 0) v.push_back(bundle.ccd);
        return sorted(v);
    }
    VCCD stored() const {
        return sorted(listOf<CCD>([&](VCCD& v) { store.getCCD(v); }));
    }

    Calc calc;
    std::vector<Point3> vPoint;
    std::vector<Bundle> vBundle;
    std::vector<Bundle*> vpBundle;
    IsoStore store;
};

std::set<Place> placesOf(const VCCD& vCCD) {
    std::set<Place> sPlace;
    for (const CCD ccd : vCCD)
        sPlace.insert(placeOf(ccd));
    return sPlace;
}

bool has(const std::set<Place>& sPlace, Place p, int axis, int length) {
    p[static_cast<std::size_t>(axis)] += length;
    return sPlace.contains(p);
}
/// Whether the cell may go along the axis to that side: free there, backed, not a link of the layer beside it.
bool mayGo(const std::set<Place>& sPlace, const Place& p, int axis, int side, bool bTwoLayers) {
    if (has(sPlace, p, axis, side) || !has(sPlace, p, axis, -side)) return false;
    if (bTwoLayers && has(sPlace, p, axis, -2 * side)) return false;
    for (int other = 0; other < 3; ++other)
        for (const int length : {-1, 1}) {
            Place n = p;
            n[static_cast<std::size_t>(other)] += length;
            if (other != axis && has(sPlace, n, axis, side) && !sPlace.contains(n)) return false;
        }
    return true;
}

TEST(IsoStore, thinsUntilNoCellMayGoAndTakesNoneThatIsForbidden) {
    const CoutSilence silence;
    std::size_t numGone = 0, numSlid = 0;
    forSeeds(120, [&](unsigned seed) {
        std::mt19937 random(seed);
        const int thickness = 1 + static_cast<int>(seed % 4), slope = static_cast<int>(seed % 5);
        VCCD vCCD = seed % 3 == 0 ? randomCells(8, 0.1 * (2 + seed % 7), seed, 28)
                                  : cellsWhere(
                                        12,
                                        [&](int x, int y, int z) {
                                            const int layer = z - (x * slope + y) / 4;
                                            return layer >= 0 && layer < thickness && random() % 16 != 0;
                                        },
                                        26);
        std::shuffle(vCCD.begin(), vCCD.end(), random);
        Cells cells(vCCD, seed);
        std::vector<int> vForbidden;
        for (const Bundle& bundle : cells.vBundle)
            vForbidden.push_back(bundle.forbiddenDirection);
        cells.store.simplify();
        const std::set<Place> sLeft = placesOf(cells.stored());
        EXPECT_EQ(cells.stored(), cells.alive());
        for (std::size_t i = 0; i < vForbidden.size(); ++i)
            for (int axis = 0; axis < 3; ++axis)
                for (const int side : {-1, 1}) {
                    const Place p = placeOf(cells.vBundle[i].ccd);
                    if (!sLeft.contains(p)) continue;
                    EXPECT_TRUE((vForbidden[i] >> (2 - axis) & 1) != 0 || !mayGo(sLeft, p, axis, side, true));
                }
        for (std::size_t i = 0; i < vForbidden.size(); ++i)
            EXPECT_TRUE(vForbidden[i] != 7 || cells.vBundle[i].forbiddenDirection == 7) << "no axis is left";
        numGone += vCCD.size() - sLeft.size();

        cells.store.slide();
        EXPECT_EQ(cells.stored(), cells.alive());
        const std::set<Place> sSlid = placesOf(cells.stored());
        EXPECT_TRUE(std::ranges::includes(sLeft, sSlid));
        numSlid += sLeft.size() - sSlid.size();
        EXPECT_EQ(cells.store.getSize(), vCCD.size());

        std::vector<std::pair<CCD, int>> vLoose;
        for (const CCD ccd : cells.stored())
            vLoose.emplace_back(ccd, static_cast<int>(ccd % 8));
        const std::vector<std::pair<CCD, int>> vMasks = vLoose;
        cells.store.simplifyInflates(vLoose);
        const std::set<Place> sRest = placesOf(cells.stored());
        for (const auto& [ccd, mask] : vMasks)
            for (int axis = 0; axis < 3 && sRest.contains(placeOf(ccd)); ++axis)
                for (const int side : {-1, 1})
                    EXPECT_TRUE((mask >> (2 - axis) & 1) != 0 || !mayGo(sRest, placeOf(ccd), axis, side, false));
    });
    EXPECT_GT(numGone, 1000U);
    EXPECT_GT(numSlid, 1000U);
}

// Five cells of one cube: the one whose point is nearest to its midpoint goes, when a face neighbour backs it.
TEST(IsoStore, slidesTheCellThatIsBestCentred) {
    for (std::size_t best = 0; best < 5; ++best) {
        Cells cells({cellAt(40, 40, 40), cellAt(40, 40, 41), cellAt(40, 41, 40), cellAt(41, 40, 40), cellAt(41, 41, 40)}, 1);
        for (std::size_t i = 0; i < 5; ++i)
            cells.vPoint[i] = cells.calc.getMidPoint(cells.vBundle[i].ccd) + Vector3(i == best ? 0.1 : 0.4, 0, 0);
        cells.store.slide();
        for (std::size_t i = 0; i < 5; ++i)
            EXPECT_TRUE(i == best || cells.vBundle[i].forbiddenDirection >= 0) << best;
    }
}

TEST(IsoStore, takesOneOfTwoLayersAndNoneOfThree) {
    const CoutSilence silence;
    for (const int thickness : {1, 2, 3}) {
        Cells cells(cellsWhere(12, [&](int, int, int z) { return z < thickness; }), 1);
        for (Bundle& bundle : cells.vBundle)
            bundle.forbiddenDirection = 6;  // along z only
        cells.store.simplify();
        EXPECT_EQ(cells.alive().size(), thickness == 2 ? 144U : 144U * static_cast<unsigned>(thickness));
        EXPECT_EQ(cells.store.posNeg, thickness == 2 ? 1 : -1);
        cells.store.simplify();  // goes on where it was
        EXPECT_EQ(cells.store.posNeg, thickness == 2 ? -1 : 1);
    }
    // Loose cells from the middle of a bar outwards: each round takes one at either end.
    constexpr int NUM = 2000;
    VCCD vBar;
    for (int i = 0; i < NUM; ++i)
        vBar.push_back(cellAt(1100 + (i % 2 == 0 ? i / 2 : -(i + 1) / 2), 7, 7));
    Cells bar(vBar, 1);
    std::vector<std::pair<CCD, int>> vLoose;
    for (const CCD ccd : vBar)
        vLoose.emplace_back(ccd, 0);
    EXPECT_EQ(countIn(outputOf([&] { bar.store.simplifyInflates(vLoose); }), "simplifyInflates, numSucc=2\n"), NUM / 2 - 1);
    EXPECT_EQ(bar.stored().size(), 1U);

    Cells single({cellAt(40, 40, 40)}, 1);
    for (const int axis : {1, 2, 4})
        EXPECT_FALSE(single.store.tryKill(single.vpBundle[0], cellAt(40, 40, 40), axis, 1));
    expectFails("axis==1 || axis==2 || axis==4",
                [&] { single.store.tryKill(single.vpBundle[0], cellAt(40, 40, 40), 3, 1); });
}

TEST(IsoStore, seesAcrossBlocksAndNothingBeyondTheGrid) {
    for (const int numLevels : {3, 5, 6, 9, 21}) {
        const int last = (1 << numLevels) - 1;
        VCCD vCCD;
        for (const int x : {0, 31, 32, 33, last - 32, last})
            for (const int y : {0, 31, 32, last})
                if (x >= 0 && x <= last && y <= last) vCCD.push_back(cellAt(x, y, last));
        oneInstance(vCCD);
        Cells cells(vCCD, 1, numLevels);
        const std::set<Place> sPlace = placesOf(vCCD);
        const CoutCapture capture;
        for (const auto& [upper, pIso] : cells.store.mUpperQuad2Iso) {
            const Place base = placeOf(upper);
            for (const int x : {-32, -1, 0, 31, 32, 33, 63})
                for (const int y : {-32, -1, 0, 31, 32, 63})
                    for (const int z : {-1, last % 32, 32})
                        EXPECT_EQ(cells.store.exists(pIso.get(), x, y, z),
                                  sPlace.count({base[0] + x, base[1] + y, base[2] + z}) != 0);
        }
        EXPECT_EQ(capture.text(), "");
        EXPECT_EQ(cells.stored(), sorted(vCCD));
    }
    Cells cells({cellAt(5, 0, 31)}, 1);
    cells.store.set(cellAt(5, 0, 31), false);
    EXPECT_FALSE(cells.store.isSet(cellAt(5, 0, 31)));
    expectFails("bOK", [&] { cells.store.init(0, cells.vpBundle); });
    expectFails("pIso!=__null", [&] { cells.store.isSet(cellAt(0, 32, 0)); });
    expectFails("false", [&] { cells.store.getIso(cellAt(0, 32, 0)); });
    expectFails("x<32 && y<32 && z<32", [&] { cells.store.getIso(0)->get(-1, 5, 5); });
}

}  // namespace
