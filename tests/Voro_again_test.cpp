// The second extraction, where it has nothing to do, and what is killed behind it. What it does to wild meshes stays as it
// was in Top_test.
#include "support/coarse.h"
#include "support/extraction.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

/// The extraction reports to a run.
struct VoroAgain : ::testing::Test, OpenRun {};

}  // namespace

TEST_F(VoroAgain, keysThatNeedNothingGiveTheSameMesh) {
    Extraction sphere(sphereShell(6));
    Voro& voro = *sphere.pVoro;
    const std::vector<TriangleRecord> vBefore = sphere.triangles();
    const VCCD vCells = voro.vCCD;
    VCCD vKeys = sphere.allKeys(), vNone, vBeyond = {cellAt(4000, 4000, 4000)};
    vKeys.push_back(cellAt(3, 3, 3));  // no cells there at all
    VCCD vExtra, vRemove;
    voro.createExtraCCDs_borderFix(vKeys, vExtra, vRemove);
    ASSERT_TRUE(vExtra.empty() && vRemove.empty() && vKeys.size() > 100);
    for (VCCD* pKeys : {&vNone, &vKeys}) {
        EXPECT_EQ(voro.meshAgain(*pKeys), voro.pCMesh);
        EXPECT_EQ(voro.vCCD, vCells);
        EXPECT_EQ(sphere.triangles(), vBefore);
        EXPECT_TRUE(voro.pCMesh->vExtraBundles.empty());
    }
    expectFails("q_it!=vStaticVCD2CCD.end()", [&] { voro.meshAgain(vBeyond); });
}

TEST_F(VoroAgain, addedCellsStayAndOnlyProposedOnesGo) {
    std::size_t numGone = 0;
    forSeeds(40, [&](unsigned seed) {
        Extraction world(randomCells(7, 0.25 + 0.015 * seed, seed));
        Voro& voro = *world.pVoro;
        VCCD vKeys = world.allKeys(), vStay = voro.vCCD, vExtra, vRemove;
        voro.createExtraCCDs_borderFix(vKeys, vExtra, vRemove);
        numGone += vStay.size() + vExtra.size();
        std::erase_if(vStay, [&](CCD ccd) { return std::ranges::binary_search(vRemove, ccd); });
        vStay.insert(vStay.end(), vExtra.begin(), vExtra.end());
        voro.meshAgain(vKeys);
        EXPECT_TRUE(std::ranges::includes(voro.vCCD, sorted(vStay)));
        numGone -= voro.vCCD.size();
    });
    EXPECT_GT(numGone, 20U);
}

TEST_F(VoroAgain, looseFlatCornersAreKilledInOrder) {
    // An octahedron without a face; X lies behind Y, which lies at the hole. X goes only when Y went before.
    const auto survivors = [](int configX, int configY) {
        Extraction world({});
        for (const VCD x : {1U, 2U})
            for (const VCD y : {3U, 4U})
                for (const VCD z : {5U, 6U}) {
                    const int cfg = x == 2 && z == 5 ? (y == 4 ? configX : configY) : -1;
                    if (x + y + z != 9) world.pVoro->pCMesh->createT(x, y, z, 0, cfg);
                }
        expectText("Statistics ( \"before pruneCase27()\" ):", [&] { world.pVoro->pruneCase27(); });
        return world.triangles().size();
    };
    const std::array<int, 6> aOrder = {78, 114, 141, 177, 216, 228};
    for (int config = 0; config < 256; ++config) {
        const bool bGoes = std::count(aOrder.begin(), aOrder.end(), config) != 0;
        EXPECT_EQ(survivors(0, config), bGoes ? 6U : 7U) << config;
        for (const int configY : aOrder)
            EXPECT_EQ(survivors(config, configY), bGoes && configY <= config ? 5U : 6U) << config << " " << configY;
    }
}

TEST_F(VoroAgain, theThinExtractionMakesANewMesh) {
    for (const bool bHandOut : {false, true}) {
        Extraction world(randomCells(7, 0.55, 20));
        VCCD vKeys = world.allKeys();
        world.pVoro->meshAgain(vKeys);
        ASSERT_FALSE(world.pVoro->pCMesh->vExtraBundles.empty());
        // A mesh that was handed out stays with its new owner; the bundles that another one made stay, too.
        const std::unique_ptr<CMesh> pFormer(bHandOut ? world.pVoro->getCMesh() : nullptr);
        expectText("This is thinNewExtractTriangles\n", [&] { world.pVoro->thinNewExtractTriangles(); });
        EXPECT_EQ(world.triangles(), Extraction(world.pVoro->vCCD).triangles());
        EXPECT_TRUE(!bHandOut || firstFault(*pFormer).empty());
    }
}
