// The signed field of a master component, against maps.
#include "Component.h"
#include "CornerStore.h"
#include "RemoveDecider_RCD.h"
#include "freeFunctions.h"
#include "support/packedCells.h"
#include "support/plain_field.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using VRCDPoint = Component::VRCDPoint;

/// Cells with points up to spread / 2 cells off their midpoints, or (seed odd) at multiples of half a cell.
VRCDPoint withPoints(const VRCD& vRCD, double spread, unsigned seed) {
    std::mt19937 random(seed);
    const auto off = [&] {
        const double u = static_cast<double>(random()) / 4294967296.0;
        return seed % 2 == 0 ? spread * (u - 0.5) : std::floor(2.0 * u) / 2.0 - 0.5;
    };
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

/// A bumpy plate with random holes, a second one beside it, and a bent one across.
VRCD randomPlates(unsigned seed) {
    std::mt19937 random(seed);
    const int hole = static_cast<int>(random() % 7), slot = 5 + static_cast<int>(random() % 5);
    return packedWhere(18, [=](int i, int j, int k) {
        const int height = 8 + (seed % 3 == 0 ? 0 : i / 6 + (seed % 3 == 2 ? j / 5 : 0));
        const bool bInHole = (i - 7) * (i - 7) + (j - 7) * (j - 7) <= hole || (i >= 12 && j >= slot && j < slot + 3);
        return k == height && !bInHole && (seed % 4 != 1 || i != 11);
    });
}

}  // namespace

TEST(Inflation, agreesWithMapsBitByBit) {
    const CoutSilence silence;
    std::size_t numCrossings = 0, numConflicts = 0;
    forSeeds(12, [&](unsigned seed) {
        const VRCD vRCD = randomPlates(seed);
        const int numGrowSteps = 1 + static_cast<int>(seed % 10), margin = seed % 5 == 0 ? 1 : 30;
        Sheets sheets(vRCD, withPoints(vRCD, 0.9, seed), numGrowSteps), again(vRCD, sheets.vRCDPoint, numGrowSteps);
        Component& master = *sheets.pMaster;
        PlainField plain;
        master.defineBounds(margin);
        master.assignFirstDistances();
        plain.assignFirst(master);
        ASSERT_EQ(firstDifference(plain, *master.cornerStore), "");
        const int low[3] = {master.minX, master.minY, master.minZ}, high[3] = {master.maxX, master.maxY, master.maxZ};
        bool bQuiet = false;
        for (int step = 0; step < numGrowSteps && !(step >= 7 && bQuiet); ++step) {
            bQuiet = plain.grow(1.0F, low, high);
            numConflicts += bQuiet ? 0 : 1;
            EXPECT_EQ(master.inflateOneStep2(), bQuiet);
            ASSERT_EQ(firstDifference(plain, *master.cornerStore), "") << "step " << step;
            plain.lowPass(20, true, 0.5F);
            master.lowPass2(20, true);
            ASSERT_EQ(firstDifference(plain, *master.cornerStore), "") << "step " << step;
        }
        again.pMaster->defineBounds(margin);
        again.pMaster->assignFirstDistances();
        again.pMaster->inflateCtrl2();
        EXPECT_EQ(firstDifference(plain, *again.pMaster->cornerStore), "");
        VRCDPoint vZero;
        master.getZeroRCD(vZero);
        EXPECT_EQ(vZero, plain.zeros(master));
        numCrossings += vZero.size();
    });
    EXPECT_GT(numCrossings, 1000U);
    EXPECT_GT(numConflicts, 20U);
}

TEST(Inflation, boundsTheFieldByTheCells) {
    const CoutSilence silence;
    const VRCD vRCD = packedWhere(
        6, [](int i, int j, int k) { return i < 5 && j < 6 && k == 3; }, 20);
    Sheets sheets(vRCD, withPoints(vRCD, 0.0, 0), 3);
    Component& master = *sheets.pMaster;
    master.defineBounds(22);
    EXPECT_EQ((std::vector<int>{master.minX, master.minY, master.minZ, master.maxX, master.maxY, master.maxZ}),
              (std::vector<int>{0, 0, 1, 46, 47, 45}));
    Component& sheet = *sheets.vSheets.front();
    VRCDPoint vOut;
    expectFails("numGrowSteps>0", [&] { sheet.run(vOut); });
}
