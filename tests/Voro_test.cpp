// What the extraction looks at, and small sets of cells whose mesh is known.
#include "Voro.h"

#include "cubeTriangles.h"
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

/// All that a mesh has, by order of creation: corners, cubes and configurations of triangles; ends and triangles of edges;
/// triangles of vertices.
struct Tables {
    explicit Tables(const CMesh& mesh) {
        const auto placeOf = [&mesh](const CTriangle* pCT) { return pCT - mesh.vAllCT.front(); };
        std::vector<CEdge*> vCE;
        mesh.getCEdges(vCE);
        for (const CEdge* pCE : vCE)
            vKey.emplace_back(pCE->v0, pCE->v1);
        std::sort(vCE.begin(), vCE.end());
        for (const CTriangle* pCT : mesh.vAllCT)
            vTriangle.emplace_back(pCT->c0, pCT->c1, pCT->c2, pCT->vcdCube, pCT->cfg);
        for (const CEdge* pCE : vCE) {
            EXPECT_EQ(mesh.getEdge(pCE->v1, pCE->v0), pCE);
            vEdge.push_back({static_cast<std::ptrdiff_t>(pCE->v0), static_cast<std::ptrdiff_t>(pCE->v1)});
            for (const CTriangle* pCT : pCE->vCT)
                vEdge.back().push_back(placeOf(pCT));
        }
        std::vector<CCD> vUsed;
        mesh.getUsedCCD(vUsed);
        for (const CCD ccd : vUsed) {
            std::vector<CTriangle*> vIncT;
            mesh.getIncidentT(ccd, vIncT);
            vVertex.push_back({static_cast<std::ptrdiff_t>(ccd)});
            for (const CTriangle* pCT : vIncT)
                vVertex.back().push_back(placeOf(pCT));
        }
    }
    bool operator==(const Tables&) const = default;

    std::vector<TriangleRecord> vTriangle;
    std::vector<std::pair<VCD, VCD>> vKey;
    std::vector<std::vector<std::ptrdiff_t>> vEdge, vVertex;
};

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
        EXPECT_TRUE(Tables(extraction.mesh()) == Tables(oneByOne)) << vCells.size() << " cells";
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
