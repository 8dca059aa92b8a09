// makeManifold on meshes that are in order, on the classic flaws one by one, and on anything.
#include "support/manifold.h"

#include <bit>
#include <numeric>
#include <random>

#include "ParitySystem.h"
#include "freeFunctions.h"
#include "oddStrips.h"
#include "support/figures.h"
#include "support/fine.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// Vertices and indices, as a file would hold them.
std::pair<std::vector<Point3>, std::vector<int>> contentOf(Mesh& mesh) {
    std::vector<Point3*> vVtx;
    std::vector<int> vIndices;
    mesh.getVertexIndexData(vVtx, vIndices);
    std::vector<Point3> vPoints;
    for (const Point3* p : vVtx)
        vPoints.push_back(*p);
    return {vPoints, vIndices};
}

double volumeOf(const MeshPtr& pMesh) {
    std::vector<Point3> vCorners = cornersOf(pMesh);
    return computeVolume(vCorners);
}

std::size_t numRemoved(const ManifoldReport& report) {
    return report.numFlat + report.numDuplicates + report.numMembranes + report.numSplinters;
}

bool isUnchanged(const ManifoldReport& report) {
    return numRemoved(report) + report.numTurned + report.numNewVertices + report.numCuts == 0;
}

/// Makes it manifold and holds that against the promise: no flaw, the mesh's own invariants, a second run that changes
/// nothing.
ManifoldReport makeChecked(const MeshPtr& pMesh) {
    const ManifoldReport report = makeManifold(pMesh);
    EXPECT_EQ(firstFlaw(*pMesh->getRMesh()), "");
    EXPECT_EQ(firstFault(*pMesh->getRMesh()), "");
    const auto content = contentOf(*pMesh);
    EXPECT_TRUE(isUnchanged(makeManifold(pMesh)));
    EXPECT_EQ(contentOf(*pMesh), content);
    return report;
}

TEST(Manifold, turnsTrianglesToAgreeAndToFaceOutward) {
    const MeshPtr pRing = meshOf(turned(torus(12, 8), 0, 3));
    EXPECT_EQ(makeChecked(pRing).numTurned, 64U);
    EXPECT_GT(volumeOf(pRing), 0.0);
    EXPECT_EQ(makeChecked(meshOf(turned(tetrahedron()))).numTurned, 4U);
    EXPECT_EQ(makeChecked(meshOf(turned(sheet(4, 4), 0, 99))).numTurned, 1U) << "the oldest one is outvoted";
}

TEST(Manifold, takesBodiesThatTouchApart) {
    // Sizes above those of splinters. Two bars along an edge, at a corner, and across each other at an edge.
    const auto bar = [](int x, int y, int z, std::size_t axis) {
        std::set<std::array<int, 3>> sCube;
        for (int i = 0; i < 4; ++i) {
            std::array<int, 3> cube{x, y, z};
            cube[axis] += i;
            sCube.insert(cube);
        }
        return sCube;
    };
    for (const auto& [other, numNew] : {std::pair{bar(0, 1, 1, 0), 5U}, {bar(4, 1, 1, 0), 1U}, {bar(1, 1, 1, 1), 2U}}) {
        auto sCube = bar(0, 0, 0, 0);
        sCube.insert(other.begin(), other.end());
        const MeshPtr pMesh = meshOf(voxels(sCube));
        const ManifoldReport report = makeChecked(pMesh);
        EXPECT_EQ(report.numNewVertices, numNew);
        EXPECT_EQ(numRemoved(report) + report.numCuts, 0U);
        EXPECT_TRUE(report.bClosed);
        EXPECT_DOUBLE_EQ(volumeOf(pMesh), 8.0);
    }
}

TEST(Manifold, removesWallsFlapsAndRepeats) {
    // A wall across a bar of cubes, a flap on its edge, a triangle once more, one without area.
    Soup soup = voxels({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}});
    const std::size_t numT = soup.vT.size();
    const auto vertex = [&soup](double x, double y, double z) {
        const auto it = std::find(soup.vVtx.begin(), soup.vVtx.end(), Point3(x, y, z));
        if (it != soup.vVtx.end()) return static_cast<int>(it - soup.vVtx.begin());
        soup.vVtx.emplace_back(x, y, z);
        return static_cast<int>(soup.vVtx.size()) - 1;
    };
    soup.vT.push_back({vertex(1, 0, 0), vertex(1, 1, 0), vertex(1, 1, 1)});
    soup.vT.push_back({vertex(1, 0, 0), vertex(1, 1, 1), vertex(1, 0, 1)});
    soup.vT.push_back({vertex(2, 0, 0), vertex(2, 1, 0), vertex(2.5, 0.5, -1)});
    soup.vT.push_back({soup.vT[0][1], soup.vT[0][0], soup.vT[0][2]});
    const MeshPtr pMesh = meshOf(soup);
    const ManifoldReport report = makeChecked(pMesh);
    EXPECT_EQ(report.numMembranes, 3U);
    EXPECT_EQ(report.numDuplicates, 1U);
    EXPECT_TRUE(report.bClosed);
    EXPECT_EQ(pMesh->getRMesh()->getNumT(), numT);
    EXPECT_DOUBLE_EQ(volumeOf(pMesh), 3.0);
}

TEST(Manifold, takesFlatTrianglesOutWithoutAHole) {
    // A corner of one triangle on the side of the next, with a cap between, and a needle of one ten-millionth.
    Soup soup = tetrahedron();
    soup.vVtx.push_back(Point3(0.5, 0.5, 0.0));                        // 4, on the edge 0-1
    soup.vVtx.push_back(Point3(0.5, 0.5, 0.0) + Vector3(0, 1e-8, 0));  // 5
    soup.vT = {{0, 4, 2}, {4, 1, 2}, {0, 3, 5}, {5, 3, 1}, {0, 5, 4}, {4, 5, 1}, {0, 2, 3}, {1, 3, 2}};
    const MeshPtr pMesh = meshOf(soup);
    const ManifoldReport report = makeChecked(pMesh);
    EXPECT_EQ(report.numFlat, 2U);
    EXPECT_EQ(figuresOf(*pMesh->getRMesh()), (Figures{0, 0, 0, 2, 0}));
    EXPECT_NEAR(volumeOf(pMesh), 1.0 / 3.0, 1e-7);
}

TEST(Manifold, cutsWhatHasOneSideOnly) {
    for (const bool bKlein : {false, true}) {
        const MeshPtr pMesh = meshOf(ring(bKlein ? Ring::KLEIN : Ring::MOEBIUS, 24, 6));
        const std::size_t numT = pMesh->getRMesh()->getNumT();
        const ManifoldReport report = makeChecked(pMesh);
        EXPECT_EQ(pMesh->getRMesh()->getNumT(), numT);
        // The band is cut across once. No such line is the only short one in the bottle.
        EXPECT_GE(report.numCuts, 12U) << bKlein;
        if (!bKlein) {
            EXPECT_LE(report.numCuts, 14U);
        }
    }
    // A narrow bridge with a half twist from one place of a rim to another goes as a whole.
    Soup bridged = sheet(8, 8);
    bridged.vVtx.emplace_back(3.0, -2.0, 1.0);   // 81
    bridged.vVtx.emplace_back(4.0, -2.0, -1.0);  // 82
    for (const auto& t : {std::array{1, 81, 2}, {2, 81, 82}, {81, 6, 82}, {82, 6, 7}})
        bridged.vT.push_back(t);
    const MeshPtr pMesh = meshOf(bridged);
    const ManifoldReport report = makeChecked(pMesh);
    EXPECT_EQ(report.numSplinters, 4U);
    EXPECT_EQ(report.numCuts, 0U);
    EXPECT_EQ(pMesh->getRMesh()->getNumT(), 128U);
}

TEST(Manifold, splitsEdgesAndFansOfMany) {
    for (const int numSheets : {3, 4, 7, 50, 50000}) {
        Soup book;
        book.vVtx = {{0, 0, 0}, {0, 0, 1}};
        for (int i = 0; i < numSheets; ++i) {
            const double a = 6.0 * i / numSheets;
            book.vVtx.emplace_back(std::cos(a), std::sin(a), 0.5);
            book.vT.push_back({0, 1, i + 2});
        }
        const MeshPtr pMesh = meshOf(book);
        makeChecked(pMesh);
        EXPECT_EQ(pMesh->getRMesh()->getNumT(), 2U) << "one sheet of all; the others are splinters";
    }
}

/// Whatever the voxels, their surface stays closed and keeps its volume, but for small bodies that hang on larger ones.
TEST(Manifold, keepsTheSurfaceOfAnyVoxelsClosed) {
    std::mt19937 random(5);
    for (int run = 0; run < 60; ++run) {
        std::set<std::array<int, 3>> sCube;
        const unsigned share = 10 + static_cast<unsigned>(run);
        for (int x = 0; x < 6; ++x)
            for (int y = 0; y < 6; ++y)
                for (int z = 0; z < 6; ++z)
                    if (random() % 100 < share) sCube.insert({x, y, z});
        const MeshPtr pMesh = meshOf(voxels(sCube));
        const ManifoldReport report = makeChecked(pMesh);
        EXPECT_EQ(report.numCuts + report.numMembranes + report.numFlat, 0U) << "run " << run;
        EXPECT_TRUE(report.bClosed);
        // A splinter has ten triangles or more for each cube. Caves that became bodies face outward now.
        const double volume = volumeOf(pMesh), numCubes = static_cast<double>(sCube.size());
        EXPECT_GE(volume, numCubes - static_cast<double>(report.numSplinters) / 10.0 - 1e-9) << "run " << run;
        EXPECT_TRUE(volume <= numCubes + 1e-9 || report.numTurned > 0) << "run " << run;
    }
}

TEST(Manifold, makesAnythingManifold) {
    EXPECT_TRUE(isUnchanged(makeManifold(std::make_shared<Mesh>(new RMesh(1.0)))));
    std::mt19937 random(9);
    for (int run = 0; run < 1500; ++run) {
        const MeshPtr pMesh = meshOf(tangledSoup(random));
        makeChecked(pMesh);
        ASSERT_FALSE(HasFailure()) << "run " << run;
    }
}

// ---- Strips between edges of three triangles

TEST(ParitySystem, tellsContradictionsAndSolvesTheRest) {
    std::mt19937 random(3);
    for (int run = 0; run < 400; ++run) {
        // Unknowns lie in several words, those between them are in no equation.
        constexpr std::uint32_t NUM = 8, STRIDE = 19;
        ParitySystem system(NUM * STRIDE);
        std::vector<std::uint32_t> vSolution(1U << NUM);  // bit i: the value of unknown i
        std::iota(vSolution.begin(), vSolution.end(), 0U);
        for (unsigned long i = random() % 12; i > 0; --i) {
            const std::uint32_t mask = static_cast<std::uint32_t>(random()) & vSolution.back() % 256U;
            const bool bOdd = random() % 2 != 0;
            std::vector<std::uint32_t> vUnknown, vLeft;
            for (std::uint32_t j = 0; j < NUM; ++j)
                if ((mask >> j & 1U) != 0) vUnknown.push_back(j * STRIDE);
            std::copy_if(vSolution.begin(), vSolution.end(), std::back_inserter(vLeft),
                         [&](std::uint32_t values) { return (std::popcount(values & mask) % 2 != 0) == bOdd; });
            EXPECT_EQ(system.add(vUnknown, bOdd), !vLeft.empty());
            if (!vLeft.empty()) vSolution.swap(vLeft);
        }
        std::vector<std::size_t> vCost(NUM * STRIDE, 1);
        for (std::uint32_t j = 0; j < NUM; ++j)
            vCost[j * STRIDE] = 1 + random() % 50;
        const std::vector<bool> vbOne = system.solve(vCost);
        const auto costOf = [&](std::uint32_t values) {
            std::size_t cost = 0;
            for (std::uint32_t j = 0; j < NUM; ++j)
                cost += (values >> j & 1U) != 0 ? vCost[j * STRIDE] : 0;
            return cost;
        };
        std::uint32_t values = 0;
        for (std::uint32_t j = 0; j < NUM; ++j)
            values |= vbOne[j * STRIDE] ? 1U << j : 0U;
        EXPECT_EQ(std::popcount(values), std::count(vbOne.begin(), vbOne.end(), true));
        ASSERT_NE(std::find(vSolution.begin(), vSolution.end(), values), vSolution.end());
        if (vSolution.size() == 2) {
            EXPECT_LE(costOf(values), std::min(costOf(vSolution[0]), costOf(vSolution[1])));
        }
    }
}

/// Two lines of edges with a strip between them, and sheets that begin at them, so many rows of squares wide.
std::size_t numRemovedFrom(const std::vector<int>& vRowsA, const std::vector<int>& vRowsB) {
    constexpr int LENGTH = 12;
    Soup soup;
    const auto addLine = [&](double x, double y) {
        for (int i = 0; i <= LENGTH; ++i)
            soup.vVtx.emplace_back(x, y, i);
        return static_cast<int>(soup.vVtx.size()) - LENGTH - 1;
    };
    const auto addRow = [&](int lineA, int lineB) {
        for (int i = 0; i < LENGTH; ++i) {
            soup.vT.push_back({lineA + i, lineB + i, lineB + i + 1});
            soup.vT.push_back({lineA + i, lineB + i + 1, lineA + i + 1});
        }
    };
    const int lineA = addLine(0.0, 0.0), lineB = addLine(1.0, 0.0);
    addRow(lineA, lineB);
    const auto addSheets = [&](int line, double x, double dx, const std::vector<int>& vRows) {
        double slope = -1.5;
        for (const int numRows : vRows) {
            for (int row = 1, last = line; row <= numRows; ++row) {
                const int next = addLine(x + row * dx, row * slope);
                addRow(std::exchange(last, next), next);
            }
            slope += 1.0;
        }
    };
    addSheets(lineA, 0.0, -1.0, vRowsA);
    addSheets(lineB, 1.0, 1.0, vRowsB);
    return removeOddStrips(*meshOf(soup)->getRMesh(), 10, false) / (2 * LENGTH);
}

TEST(OddStrips, goWhereThatMakesEdgesEven) {
    EXPECT_EQ(numRemovedFrom({12, 12}, {12, 12}), 1U) << "two sheets that run together for a while";
    EXPECT_EQ(numRemovedFrom({12}, {12}), 0U) << "one sheet";
    EXPECT_EQ(numRemovedFrom({12}, {12, 12}), 0U) << "three sheets that meet";
    EXPECT_EQ(numRemovedFrom({12, 12, 12}, {12, 12}), 0U) << "there would be as many odd edges";
    EXPECT_EQ(numRemovedFrom({12, 12, 12}, {12, 12, 12, 2}), 2U) << "the fin of two rows, as the other line is even";
    EXPECT_EQ(numRemovedFrom({2, 2}, {2, 2}), 1U) << "the strip between them is the smallest choice";
}

}  // namespace
