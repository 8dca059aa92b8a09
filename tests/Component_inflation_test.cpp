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

/// Cells with points up to spread / 2 cells off their midpoints.
VRCDPoint withPoints(const VRCD& vRCD, double spread, unsigned seed) {
    std::mt19937 random(seed);
    const auto off = [&] { return spread * (static_cast<double>(random()) / 4294967296.0 - 0.5); };
    VRCDPoint vOut;
    for (const RCD rcd : vRCD) {
        const Point3 mid = unitGrid().getMidPoint_RCD(rcd);
        const double dx = off(), dy = off(), dz = off();
        vOut.emplace_back(rcd, Point3(mid.x() + dx, mid.y() + dy, mid.z() + dz));
    }
    return vOut;
}

/// Sheets of cells and a master component of all of them, as they stand after colouring.
struct Sheets {
    Sheets(VRCD vRCD, const VRCDPoint& vPoints, int numGrowSteps) : vRCDPoint(vPoints), calc(unitGrid()) {
        const CoutSilence silence;
        VRCD vArea, vBorder;
        RemoveDecider_RCD(vRCD, &calc).detectAreaAndBorder(vArea, vBorder);
        std::vector<VRCD> vCCs;
        createCC_RCD(vRCD, vCCs);
        std::vector<Component*> vGroup;
        for (const VRCD& vCells : vCCs) {
            VRCD vRim;
            std::set_intersection(vCells.begin(), vCells.end(), vBorder.begin(), vBorder.end(), std::back_inserter(vRim));
            vSheets.push_back(std::make_unique<Component>(vCells, vRim, vRCDPoint, &calc));
            vGroup.push_back(vSheets.back().get());
        }
        pMaster = std::make_unique<Component>(vGroup, numGrowSteps, vRCDPoint, &calc);
    }
    VRCDPoint vRCDPoint;
    Calc calc;
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
    const VRCD vPlate = packedWhere(
        20, [](int, int, int k) { return k == 9; }, 20);
    Sheets sheets(vPlate, withPoints(vPlate, 0.9, 3), 3);
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
    std::size_t numZeros = 0;
    int numMet = 0;
    forSeeds(12, [&](unsigned seed) {
        const VRCD vRCD = randomPlates(seed);
        const int numGrowSteps = 1 + static_cast<int>(seed % 10);
        Sheets sheets(vRCD, withPoints(vRCD, 0.9, seed), numGrowSteps), again(vRCD, sheets.vRCDPoint, numGrowSteps);
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

        VRCDPoint vZero;
        master.getZeroRCD(vZero);
        std::set<RCD> sExpected;
        VRCD vAround;
        for (const Corner* pCorner : master.cornerStore->getCornersRef())
            for (const RCC step : RCD_FACE_STEPS) {
                const Corner* pNeig = master.cornerStore->find(pCorner->rcc + step);
                if (pNeig == nullptr || !pCorner->isFree() || !pNeig->isFree() || (pCorner->val > 0) == (pNeig->val > 0))
                    continue;
                sheets.calc.getCbsAroundEdge(pCorner->rcc, pNeig->rcc, vAround);
            }
        const std::set<RCD> sAround(vAround.begin(), vAround.end());
        std::set_difference(sAround.begin(), sAround.end(), vRCD.begin(), vRCD.end(),
                            std::inserter(sExpected, sExpected.end()));
        EXPECT_TRUE(std::ranges::equal(vZero, sExpected, {}, &VRCDPoint::value_type::first));
        for (const auto& [rcd, point] : vZero)
            EXPECT_EQ(sheets.calc.getRCD(&point), rcd);
        numZeros += vZero.size();
    });
    EXPECT_GT(numZeros, 1000U);
    EXPECT_GT(numMet, 20);
}

TEST(Inflation, theZerosOfALinearFieldLieOnItsPlane) {
    Sheets sheets({packedAt(500, 500, 500)}, withPoints({packedAt(500, 500, 500)}, 0.0, 0), 3);
    CornerStore& store = *sheets.pMaster->cornerStore;
    const Vector3 normal = normalize(Vector3(1.0, 2.0, -3.0));
    const Point3 origin(13.37, 14.1, 13.9);
    for (const RCC rcc : packedWhere(
             8, [](int, int, int) { return true; }, 10)) {
        Corner* pCorner = store.createCorner(rcc);
        pCorner->state = ST_INFLATED;
        pCorner->val = static_cast<float>((store.getPosition(rcc) - origin) * normal);
    }
    VRCDPoint vZero;
    sheets.pMaster->getZeroRCD(vZero);
    EXPECT_GT(vZero.size(), 60U);
    for (const auto& [rcd, point] : vZero)
        EXPECT_NEAR((point - origin) * normal, 0.0, 2e-3) << point;  // a zero on a side of its cell is drawn in a little
}

TEST(Inflation, whereBothSignsMeetWeightsDecide) {
    Sheets sheets({packedAt(500, 500, 500)}, withPoints({packedAt(500, 500, 500)}, 0.0, 0), 3);
    CornerStore& store = *sheets.pMaster->cornerStore;
    sheets.pMaster->defineBounds(3);
    for (const auto& [x, val, weight] : {std::tuple(499, -1.0F, 1.0F), {501, 3.0F, 0.5F}}) {
        Corner* pCorner = store.createCorner(packedAt(x, 500, 500));
        std::tie(pCorner->val, pCorner->weight, pCorner->state) = std::tuple(val, weight, std::int8_t{ST_LOWER_STRIP});
    }
    EXPECT_FALSE(sheets.pMaster->inflateOneStep2());
    const Corner& middle = *store.find(packedAt(500, 500, 500));
    EXPECT_FLOAT_EQ(middle.val, 0.5F / 1.5F);
    EXPECT_FLOAT_EQ(middle.weight, 1.5F / 2.0F);
    EXPECT_EQ(store.find(packedAt(502, 500, 500))->weight, 0.5F) << "as its only neighbour";
}

TEST(Inflation, growsSevenStepsWhereNoSidesMeet) {
    Sheets sheets({packedAt(500, 500, 500)}, withPoints({packedAt(500, 500, 500)}, 0.0, 0), 12);
    CornerStore& store = *sheets.pMaster->cornerStore;
    sheets.pMaster->defineBounds(30);
    Corner* pSeed = store.createCorner(packedAt(500, 500, 500));
    std::tie(pSeed->val, pSeed->weight, pSeed->state) = std::tuple(0.1F, 1.0F, std::int8_t{ST_UPPER_STRIP});
    sheets.pMaster->inflateCtrl2();
    EXPECT_NE(store.find(packedAt(507, 500, 500)), nullptr);
    EXPECT_EQ(store.find(packedAt(508, 500, 500)), nullptr);
}

TEST(Inflation, boundsTheFieldByTheCells) {
    const VRCD vRCD = packedWhere(
        6, [](int i, int j, int k) { return i < 5 && j < 6 && k == 3; }, 20);
    Sheets sheets(vRCD, withPoints(vRCD, 0.0, 0), 3);
    Component& master = *sheets.pMaster;
    master.defineBounds(22);
    EXPECT_EQ((std::vector<int>{master.minX, master.minY, master.minZ, master.maxX, master.maxY, master.maxZ}),
              (std::vector<int>{0, 0, 1, 46, 47, 45}));
    VRCDPoint vOut;
    expectFails("numGrowSteps>0", [&] { sheets.vSheets.front()->run(vOut); });
}
