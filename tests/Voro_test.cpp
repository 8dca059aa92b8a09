// What the extraction looks at, small sets of cells whose mesh is known, and the second extraction. What that does to wild
// meshes stays as it was in Top_test.
#include "Voro.h"

#include "cubeTriangles.h"
#include "support/coarse.h"
#include "support/extraction.h"
#include "support/figures.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

/// The extraction reports to a run.
struct VoroTest : ::testing::Test, OpenRun {};

std::vector<std::pair<VCD, CCD>> pairsBySort(const VCCD& vCells, const Calc& calc) {
    std::vector<std::pair<VCD, CCD>> vPair;
    for (CCD ccd : vCells) {
        CCD keys[8] = {ccd};
        calc.completeArrayPlus(keys);
        for (CCD key : keys)
            vPair.emplace_back(key, ccd);
    }
    std::sort(vPair.begin(), vPair.end());
    return vPair;
}

/// All that a mesh has: corners, cubes and configurations of triangles; ends and triangles of edges, by their key and by
/// their age; triangles of vertices.
std::vector<std::vector<VCD>> tablesOf(const CMesh& mesh) {
    std::vector<std::vector<VCD>> vTable;
    const auto append = [&](const auto& triangles) {
        for (const CTriangle* pCT : triangles)
            vTable.back().push_back(static_cast<VCD>(pCT - mesh.vAllCT.front()));
    };
    for (const CTriangle* pCT : mesh.vAllCT)
        vTable.push_back({pCT->c0, pCT->c1, pCT->c2, pCT->vcdCube, static_cast<VCD>(pCT->cfg)});
    const auto vCE = listOf<CEdge*>([&](auto& v) { mesh.getCEdges(v); });
    for (const auto& vOrdered : {vCE, sorted(vCE)})
        for (const CEdge* pCE : vOrdered) {
            EXPECT_EQ(mesh.getEdge(pCE->v1, pCE->v0), pCE);
            vTable.push_back({pCE->v0, pCE->v1});
            append(pCE->vCT);
        }
    for (const CCD ccd : listOf<CCD>([&](auto& v) { mesh.getUsedCCD(v); })) {
        vTable.push_back({ccd});
        append(incidentT(mesh, ccd));
    }
    return vTable;
}

}  // namespace

TEST_F(VoroTest, pairsAreThoseOfTheSort) {
    forSeeds(40, [](unsigned seed) {
        // At the low side of the grid too, where a block has no lower neighbour.
        const VCCD vCells = randomCells(10, 0.01 + seed * 0.02, seed, seed % 2 == 0 ? 0 : 507);
        Extraction extraction(vCells);
        const auto vExpected = pairsBySort(vCells, extraction.calc);
        EXPECT_EQ(extraction.pVoro->vStaticVCD2CCD, vExpected);
        VCCD& vCCD = extraction.pVoro->vCCD;
        vCCD.insert(vCCD.end(), vCells.rbegin(), vCells.rend());
        extraction.pVoro->setVCD2CCD();
        EXPECT_EQ(extraction.pVoro->vStaticVCD2CCD, vExpected) << "in any order, with repeats";
    });
    const auto anywhere = [](int, int, int) { return true; };
    for (CCD ccd : cellsWhere(4, anywhere, 508)) {  // every place of a block
        const Extraction alone({ccd});
        EXPECT_EQ(alone.pVoro->vStaticVCD2CCD, pairsBySort({ccd}, alone.calc)) << "cell " << ccd;
    }
}

TEST_F(VoroTest, trianglesMadeAtOnceAreThoseMadeOneByOne) {
    std::vector<VCCD> vSets{sphereShell(40)};  // large enough for several workers
    for (unsigned seed = 0; seed < 12; ++seed)
        vSets.push_back(randomCells(9, 0.05 + 0.08 * seed, seed));
    for (const VCCD& vCells : vSets) {
        Extraction extraction(vCells);
        CMesh oneByOne(nullptr, &extraction.calc, extraction.mBundle);
        std::vector<CCD> vAmbiguousT;
        createTrianglesOfCubes(&oneByOne, extraction.pVoro->casx, extraction.pVoro->vStaticVCD2CCD, vAmbiguousT);
        createTrianglesOfFlatCubes(&oneByOne, vAmbiguousT);
        EXPECT_TRUE(tablesOf(extraction.mesh()) == tablesOf(oneByOne)) << vCells.size() << " cells";
    }
}

TEST_F(VoroTest, theSurfaceOfABlockIsClosedAndOneLayer) {
    for (int num : {2, 3, 7})
        for (const bool bSolid : {false, true}) {
            const Extraction extraction(cellsWhere(num, [=](int i, int j, int k) {
                return bSolid || std::min({i, j, k}) == 0 || std::max({i, j, k}) == num - 1;
            }));
            Figures figures = figuresOf(extraction.mesh());
            figures.numConflicts = 0;  // triangles face either way
            EXPECT_EQ(figures, (Figures{0, 0, 0, 2, 0}));
            EXPECT_EQ(extraction.triangles().size(), static_cast<std::size_t>(12 * (num - 1) * (num - 1)));
        }
}

TEST_F(VoroTest, aFlatCubeTakesTheDiagonalOfItsSurroundings) {
    const VCD a = cellAt(5, 5, 5), b = cellAt(6, 5, 5), c = cellAt(5, 6, 5), d = cellAt(6, 6, 5);
    Extraction alone({a, b, c, d});
    CMesh& mesh = alone.mesh();
    EXPECT_TRUE(mesh.hasEdge(b, c)) << "without a hint the diagonal that the table doesn't have";
    EXPECT_EQ(alone.triangles().size(), 2U);
    // Once an edge stood on the table's diagonal, with triangles or without, that one is taken.
    mesh.reset();
    mesh.createT(a, d, cellAt(9, 9, 9), 0, 0)->kill(&mesh);
    std::vector<CCD> vRecord = {a, b, d, a, c, d, d, 15};
    const std::size_t numBefore = mesh.vAllCT.size();
    alone.pVoro->solveAmbiguousT(vRecord);
    alone.pVoro->solveAmbiguousT(vRecord);  // finds both
    EXPECT_EQ(mesh.vAllCT.size(), numBefore + 2);
    EXPECT_TRUE(mesh.hasEdge(a, d) && !mesh.hasEdge(b, c));
}

TEST_F(VoroTest, aSecondExtractionFillsTheSameMeshAnew) {
    Extraction extraction(sphereShell(5));
    const std::vector<TriangleRecord> vFirst = extraction.triangles();
    const std::unique_ptr<CMesh> pMesh(extraction.pVoro->getCMesh());
    extraction.pVoro->fatExtractTriangles();
    EXPECT_EQ(extraction.pVoro->getCMesh(), pMesh.get());
    EXPECT_TRUE(!vFirst.empty() && extraction.triangles() == vFirst);
}

TEST_F(VoroTest, aCellAtTheHighSideOfTheGridIsAnAssertion) {
    Calc calc = unitGrid();
    for (CCD ccd : {cellAt(4095, 5, 5), cellAt(5, 4095, 5), cellAt(5, 5, 4095)}) {
        std::map<CCD, Bundle*> mBundle = {{cellAt(1, 1, 1), nullptr}, {ccd, nullptr}};
        reportOf([&] { Voro(&calc, mBundle, TM_FAT); });
    }
}

// ---- The second extraction

TEST_F(VoroTest, keysThatNeedNothingGiveTheSameMesh) {
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

TEST_F(VoroTest, addedCellsStayAndOnlyProposedOnesGo) {
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

TEST_F(VoroTest, looseFlatCornersAreKilledInOrder) {
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

TEST_F(VoroTest, theThinExtractionMakesANewMesh) {
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
