// The second extraction: which cells come and go against sets and single questions, and the mesh against a first extraction
// of the cells that are left.
#include "RemoveDecider.h"
#include "support/coarse.h"
#include "support/extraction.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

using Triangle = TriangleRecord;

/// The extraction reports to a run.
struct VoroAgain : ::testing::Test, OpenRun {};

/// What createExtraCCDs_borderFix has to find.
void findBySets(const VCCD& vCells, const VCCD& vKeys, const Calc& calc, std::set<CCD>& sExtra, std::set<CCD>& sRemove) {
    for (const VCD key : vKeys) {
        CCD cube[8] = {0, 0, 0, 0, 0, key};
        calc.completeArraySym(cube);
        std::vector<std::size_t> vMissing;
        for (std::size_t i = 0; i < 8; ++i)
            if (!std::binary_search(vCells.begin(), vCells.end(), cube[i])) vMissing.push_back(i);
        if (vMissing.empty() || vMissing.size() > 2) continue;
        const bool bRemove = calc.getNumDifferent_CCD(cube[vMissing.front()], cube[vMissing.back()]) < 2;
        for (const std::size_t i : vMissing) {
            sExtra.insert(cube[i]);
            if (bRemove) sRemove.insert(cube[i ^ 6U]);  // -z and -xy, and so on
        }
    }
}

/// vCells without what goes when each is asked for in turn of a decider that knows nothing of the ones before.
VCCD withoutRemovable(VCCD vCells, const VCCD& vRemove, const VCCD& vExtra, Calc& calc) {
    for (const CCD ccd : vRemove) {
        if (std::count(vExtra.begin(), vExtra.end(), ccd) != 0 || !RemoveDecider(vCells, &calc).isRemovable(ccd)) continue;
        vCells.erase(std::remove(vCells.begin(), vCells.end(), ccd), vCells.end());
    }
    return vCells;
}

std::set<Triangle> trianglesWithout(const Extraction& world, const std::set<CCD>& sCell) {
    std::set<Triangle> s;
    for (const Triangle& t : world.triangles())
        if (sCell.count(std::get<0>(t)) + sCell.count(std::get<1>(t)) + sCell.count(std::get<2>(t)) == 0) s.insert(t);
    return s;
}

}  // namespace

TEST_F(VoroAgain, keysThatNeedNothingGiveTheSameMesh) {
    Extraction sphere(sphereShell(6));
    Voro& voro = *sphere.pVoro;
    const std::vector<Triangle> vBefore = sphere.triangles();
    const VCCD vCells = voro.vCCD;
    VCCD vKeys = sphere.allKeys(), vNone, vBeyond = {cellAt(4000, 4000, 4000)};
    vKeys.push_back(cellAt(3, 3, 3));  // no cells there at all
    std::set<CCD> sExtra, sRemove;
    findBySets(vCells, vKeys, sphere.calc, sExtra, sRemove);
    ASSERT_TRUE(sExtra.empty() && vKeys.size() > 100);
    for (VCCD* pKeys : {&vNone, &vKeys}) {
        EXPECT_EQ(voro.meshAgain(*pKeys), voro.pCMesh);
        EXPECT_EQ(voro.vCCD, vCells);
        EXPECT_EQ(sphere.triangles(), vBefore);
        EXPECT_TRUE(voro.pCMesh->vExtraBundles.empty());
    }
    expectFails("q_it!=vStaticVCD2CCD.end()", [&] { voro.meshAgain(vBeyond); });
}

TEST_F(VoroAgain, crowdedCubesAreCompletedAndThinned) {
    std::size_t numRemoved = 0, numKept = 0;
    forSeeds(40, [&](unsigned seed) {
        Extraction world(randomCells(7, 0.25 + 0.015 * seed, seed));
        Voro& voro = *world.pVoro;
        const CMesh& mesh = *voro.pCMesh;
        std::set<CCD> sEverExtra;
        for (int round = 0; round < 2; ++round) {
            VCCD vKeys = world.allKeys(), vExtra, vRemove;
            std::shuffle(vKeys.begin(), vKeys.end(), std::mt19937(seed));
            if (round == 0) vKeys.resize(vKeys.size() / 2);
            std::set<CCD> sExtra, sRemove;
            findBySets(voro.vCCD, vKeys, world.calc, sExtra, sRemove);
            voro.createExtraCCDs_borderFix(vKeys, vExtra, vRemove);
            ASSERT_TRUE(std::ranges::equal(vExtra, sExtra) && std::ranges::equal(vRemove, sRemove));
            sExtra.insert(voro.vCCD.begin(), voro.vCCD.end());
            const VCCD vAfter = withoutRemovable({sExtra.begin(), sExtra.end()}, vRemove, vExtra, world.calc);
            numRemoved += sExtra.size() - vAfter.size();
            voro.meshAgain(vKeys);
            numKept += mesh.vExtraBundles.size();
            ASSERT_EQ(voro.vCCD, vAfter);
            EXPECT_EQ(firstFault(mesh), "");
            EXPECT_EQ(mesh.sExtraVtx.size(), mesh.vExtraBundles.size());

            // Away from the cells that may have been collapsed it is the mesh of a first extraction.
            sEverExtra.insert(vExtra.begin(), vExtra.end());
            const std::set<Triangle> sAgain = trianglesWithout(world, sEverExtra),
                                     sFresh = trianglesWithout(Extraction(vAfter), sEverExtra);
            EXPECT_TRUE(std::includes(sAgain.begin(), sAgain.end(), sFresh.begin(), sFresh.end()));
        }
    });
    EXPECT_GT(std::min(numRemoved, numKept), 20U) << "nothing tested";
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
