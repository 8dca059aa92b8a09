// The signed field of a master component: what each step must hold whatever the sheets, and fields made by hand.
#include "Component.h"
#include "CornerStore.h"
#include "RemoveDecider_RCD.h"
#include "freeFunctions.h"
#include "support/packedCells.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using VRCDPoint = Component::VRCDPoint;

/// Sheets of cells and a master component of all of them, as they stand after colouring.
struct Sheets {
    Sheets(VRCD vRCD, int numGrowSteps, unsigned seed = 0) : calc(unitGrid()), vRCDPoint(pointsIn(vRCD, seed)) {
        const CoutSilence silence;
        VRCD vArea, vBorder;
        RemoveDecider_RCD(vRCD, &calc).detectAreaAndBorder(vArea, vBorder);
        std::vector<VRCD> vCCs;
        createCC_RCD(vRCD, vCCs);
        std::vector<Component*> vGroup;
        for (const VRCD& vCells : vCCs) {
            VRCD vRim;
            std::ranges::set_intersection(vCells, vBorder, std::back_inserter(vRim));
            vSheets.push_back(std::make_unique<Component>(vCells, vRim, vRCDPoint, &calc));
            vGroup.push_back(vSheets.back().get());
        }
        pMaster = std::make_unique<Component>(vGroup, numGrowSteps, vRCDPoint, &calc);
    }
    /// A corner of the master's field that is there from the beginning.
    void seed(RCC rcc, float val, float weight) const {
        Corner* pCorner = pMaster->cornerStore->createCorner(rcc);
        std::tie(pCorner->val, pCorner->weight, pCorner->state) = std::tuple(val, weight, std::int8_t{ST_INFLATED});
    }
    Calc calc;
    VRCDPoint vRCDPoint;
    std::vector<std::unique_ptr<Component>> vSheets;
    std::unique_ptr<Component> pMaster;
};

/// A bumpy plate with random holes and a slot.
VRCD randomPlates(unsigned seed) {
    std::mt19937 random(seed);
    const int hole = static_cast<int>(random() % 7), slot = 5 + static_cast<int>(random() % 5);
    return packedWhere(18, [=](int i, int j, int k) {
        const int height = 8 + (seed % 3 == 0 ? 0 : i / 6 + (seed % 3 == 2 ? j / 5 : 0));
        const bool bInHole = (i - 7) * (i - 7) + (j - 7) * (j - 7) <= hole || (i >= 12 && j >= slot && j < slot + 3);
        return k == height && !bInHole && (seed % 4 != 1 || i != 11);
    });
}

using Field = std::map<RCC, float>;

Field fieldOf(const Component& master) {
    Field field;
    for (const Corner* pCorner : master.cornerStore->getCornersRef())
        field[pCorner->rcc] = pCorner->val;
    return field;
}
/// The values of the axis neighbours that the field holds.
std::vector<float> around(const Field& field, RCC rcc) {
    std::vector<float> v;
    for (const RCC step : RCD_FACE_STEPS)
        if (field.contains(rcc + step)) v.push_back(field.at(rcc + step));
    return v;
}
bool isInBox(const Component& master, RCC rcc) {
    const auto isWithin = [](unsigned long long c, int low, int high) {
        return static_cast<int>(c) >= low && static_cast<int>(c) <= high;
    };
    return isWithin(getX_RCD(rcc), master.minX, master.maxX) && isWithin(getY_RCD(rcc), master.minY, master.maxY) &&
           isWithin(getZ_RCD(rcc), master.minZ, master.maxZ);
}

/// The corners after a step of growth hold what the description of one says; the number of those that saw both signs.
int expectGrown(const Component& master, const Field& before, const Field& after) {
    std::set<RCC> sExpected;
    for (const auto& [rcc, val] : before)
        if (isInBox(master, rcc) && val != 0 && std::fabs(val) < 4.0F)
            for (const RCC step : RCD_FACE_STEPS)
                if (!before.contains(rcc + step)) sExpected.insert(rcc + step);
    EXPECT_EQ(after.size(), before.size() + sExpected.size());
    int numMet = 0;
    for (const RCC rcc : sExpected) {
        std::vector<float> vSeen = around(before, rcc);
        const auto [itLow, itHigh] = std::minmax_element(vSeen.begin(), vSeen.end());
        const float low = *itLow, high = *itHigh, val = after.at(rcc);
        EXPECT_EQ(master.cornerStore->find(rcc)->getState(), ST_INFLATED);
        if (low < 0 && high > 0) {
            EXPECT_TRUE(val >= low && val <= high && val != 0);
            ++numMet;
            continue;
        }
        std::erase(vSeen, 0.0F);
        const float nearest =
            low < 0 ? *std::max_element(vSeen.begin(), vSeen.end()) : *std::min_element(vSeen.begin(), vSeen.end());
        EXPECT_EQ(val, nearest > 0 ? nearest + 1.0F : nearest - 1.0F);
    }
    return numMet;
}

}  // namespace

TEST(Inflation, theFirstValuesAreDistancesNearTheSeamAndZeroBeyond) {
    const Sheets sheets(packedWhere(
                            20, [](int, int, int k) { return k == 9; }, 20),
                        3, 3);
    Component& master = *sheets.pMaster;
    master.assignFirstDistances();
    EXPECT_EQ(master.cornerStore->getCornersRef().size(), 2U * 21 * 21);
    std::map<int, int> mStates;
    for (const Corner* pCorner : master.cornerStore->getCornersRef()) {
        const int x = static_cast<int>(getX_RCD(pCorner->rcc)) - 20, y = static_cast<int>(getY_RCD(pCorner->rcc)) - 20;
        const bool bUpper = getZ_RCD(pCorner->rcc) == 30;
        const int fromRim = std::min({x, y, 20 - x, 20 - y});  // steps
        ++mStates[pCorner->getState()];
        // The rim cells are open; five layers more make a strip of six cells.
        const int expected = fromRim <= 1   ? (bUpper ? ST_UPPER_BORDER : ST_LOWER_BORDER)
                             : fromRim <= 6 ? (bUpper ? ST_UPPER_STRIP : ST_LOWER_STRIP)
                                            : ST_FACET_REST;
        EXPECT_EQ(pCorner->getState(), expected) << x << " " << y;
        double nearest = INF;
        for (const auto& [rcd, point] : sheets.vRCDPoint) {
            const RCC low = rcd + (bUpper ? RCD_STEP_Z : RCD{0});
            const std::set<RCC> sCorners{low, low + RCD_STEP_X, low + RCD_STEP_Y, low + RCD_STEP_X + RCD_STEP_Y};
            if (sCorners.contains(pCorner->rcc))
                nearest = std::min(nearest, (point - unitGrid().getRefPoint_RCC(pCorner->rcc)).length());
        }
        EXPECT_EQ(pCorner->val, fromRim > 6    ? 0.0F
                                : fromRim == 6 ? pCorner->val
                                               : static_cast<float>(bUpper ? nearest : -nearest));
    }
    EXPECT_GT(std::min({mStates[ST_LOWER_BORDER], mStates[ST_UPPER_STRIP], mStates[ST_FACET_REST]}), 90);
}

TEST(Inflation, eachStepGrowsAndSmoothsAsDescribed) {
    int numMet = 0;
    std::size_t numZeros = 0;
    forSeeds(12, [&](unsigned seed) {
        const VRCD vRCD = randomPlates(seed);
        const int numGrowSteps = 1 + static_cast<int>(seed % 10);
        Sheets sheets(vRCD, numGrowSteps, seed + 1), again(vRCD, numGrowSteps, seed + 1),
            whole(vRCD, numGrowSteps, seed + 1);
        for (Component* pMaster : {sheets.pMaster.get(), again.pMaster.get()}) {
            pMaster->defineBounds(seed % 5 == 0 ? 1 : 30);
            pMaster->assignFirstDistances();
        }
        Component& master = *sheets.pMaster;
        bool bQuiet = false;
        for (int step = 0; step < numGrowSteps && !(step >= 7 && bQuiet); ++step) {
            const Field before = fieldOf(master);
            bQuiet = master.inflateOneStep2();
            const int numMetNow = expectGrown(master, before, fieldOf(master));
            EXPECT_EQ(bQuiet, numMetNow == 0);
            numMet += numMetNow;
            master.lowPass2(20, true);
        }
        again.pMaster->inflateCtrl2();
        EXPECT_EQ(fieldOf(*again.pMaster), fieldOf(master));
        VRCDPoint vOfSteps, vOfRun;
        again.pMaster->getZeroRCD(vOfSteps);
        whole.pMaster->run(vOfRun);
        EXPECT_TRUE(vOfRun == vOfSteps || seed % 5 == 0) << "but for the smaller box";
        numZeros += vOfRun.size();
    });
    EXPECT_GT(numMet, 20);
    EXPECT_GT(numZeros, 100U);
}

TEST(Inflation, theZerosOfALinearFieldLieOnItsPlane) {
    const Sheets sheets({packedAt(500, 500, 500)}, 3);
    const Vector3 normal = normalize(Vector3(1.0, 2.0, -3.0));
    const Point3 origin(13.37, 14.1, 13.9);
    for (const RCC rcc : packedWhere(
             8, [](int, int, int) { return true; }, 10))
        sheets.seed(rcc, static_cast<float>((sheets.pMaster->cornerStore->getPosition(rcc) - origin) * normal), 1.0F);
    VRCDPoint vZero;
    sheets.pMaster->getZeroRCD(vZero);
    std::set<RCD> sCell;
    for (const auto& [rcd, point] : vZero) {
        EXPECT_TRUE(sCell.insert(rcd).second && sheets.calc.getRCD(&point) == rcd);
        EXPECT_NEAR((point - origin) * normal, 0.0, 2e-3) << point;  // a zero on a side of its cell is drawn in a little
    }
    for (double x = 11.0; x < 16.0; x += 0.1)
        for (double y = 11.0; y < 16.0; y += 0.1) {
            const Point3 p(x, y, origin.z() + (x - origin.x() + 2.0 * (y - origin.y())) / 3.0);
            EXPECT_TRUE(p.z() < 11.0 || p.z() > 16.0 || sCell.contains(sheets.calc.getRCD(&p))) << p;
        }
}

TEST(Inflation, whereBothSignsMeetWeightsDecideAndElsewhereSevenStepsAreMade) {
    const Sheets meeting({packedAt(500, 500, 500)}, 3), alone({packedAt(500, 500, 500)}, 12);
    meeting.pMaster->defineBounds(3);
    meeting.seed(packedAt(499, 500, 500), -1.0F, 1.0F);
    meeting.seed(packedAt(501, 500, 500), 3.0F, 0.5F);
    EXPECT_FALSE(meeting.pMaster->inflateOneStep2());
    const CornerStore& store = *meeting.pMaster->cornerStore;
    EXPECT_FLOAT_EQ(store.find(packedAt(500, 500, 500))->val, 0.5F / 1.5F);
    EXPECT_FLOAT_EQ(store.find(packedAt(500, 500, 500))->weight, 1.5F / 2.0F);
    EXPECT_EQ(store.find(packedAt(502, 500, 500))->weight, 0.5F) << "as its only neighbour";

    alone.pMaster->defineBounds(40);
    alone.pMaster->defineBounds(30);
    EXPECT_EQ((std::array{alone.pMaster->minX, alone.pMaster->maxX}), (std::array{470, 530}));
    alone.seed(packedAt(500, 500, 500), 0.1F, 1.0F);
    alone.pMaster->inflateCtrl2();
    EXPECT_NE(alone.pMaster->cornerStore->find(packedAt(507, 500, 500)), nullptr);
    EXPECT_EQ(alone.pMaster->cornerStore->find(packedAt(508, 500, 500)), nullptr);
    VRCDPoint vOut;
    expectFails("cornerStore!=__null", [&] { alone.vSheets.front()->getZeroRCD(vOut); });
}
