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
    const auto along = [ccd](int bit) { return static_cast<int>(compressBits(ccd >> bit)); };
    return {along(2), along(1), along(0)};
}

/// Bundles in cells, in the order given, in a store of their blocks.
struct Cells {
    Cells(const VCCD& vCCD, unsigned seed, int numLevels = 12)
        : calc(0.0, 0.0, 0.0, std::ldexp(1.0, numLevels), std::ldexp(1.0, numLevels), std::ldexp(1.0, numLevels), numLevels),
          vPoint(vCCD.size()),
          vBundle(vCCD.size()),
          store(&calc, vpBundle) {
        std::mt19937 random(seed);
        std::map<CCD, VCCD> mBlock;
        for (std::size_t i = 0; i < vCCD.size(); ++i) {
            vPoint[i] = calc.getMidPoint(vCCD[i]);
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

TEST(IsoStore, thinsUntilNoCellMayGoAndTakesNoneThatIsForbidden) {
    const CoutSilence silence;
    std::size_t numGone = 0, numSlid = 0, numLoose = 0;
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
        std::size_t num = vCCD.size();
        const auto countGone = [&](std::size_t& numGoneBy) {
            const VCCD vStored = cells.stored();
            EXPECT_EQ(vStored, cells.alive());
            numGoneBy += num - vStored.size();
            num = vStored.size();
        };
        cells.store.simplify();
        countGone(numGone);
        const VCCD vThin = cells.stored();
        cells.store.simplify();
        cells.store.simplify();
        EXPECT_EQ(cells.stored(), vThin) << "along both sides of all axes";
        cells.store.slide();
        countGone(numSlid);
        std::vector<std::pair<CCD, int>> vLoose;
        for (const CCD ccd : cells.stored())
            vLoose.emplace_back(ccd, static_cast<int>(ccd % 8));
        cells.store.simplifyInflates(vLoose);
        numLoose += num - cells.stored().size();
    });
    EXPECT_GT(numGone, 1000U);
    EXPECT_GT(numSlid, 1000U);
    EXPECT_GT(numLoose, 1000U);
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
}

TEST(IsoStore, seesAcrossBlocksAndNothingBeyondTheGrid) {
    for (const int numLevels : {3, 6, 21}) {
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
    expectFails("bOK", [&] { cells.store.init(0, cells.vpBundle); });
    expectFails("pIso!=__null", [&] { cells.store.isSet(cellAt(0, 32, 0)); });
    expectFails("x<32 && y<32 && z<32", [&] { cells.store.getIso(0)->get(-1, 5, 5); });
}

}  // namespace
