// Steps that must not make a mesh cross itself: they don't, and do what they do else.
#include <kel/fit.h>
#include <kel/simplify.h>

#include "countCrossings.h"
#include "crossing.h"
#include "singlePrecision.h"
#include "support/fine.h"
#include "support/manifold.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

Soup shifted(const Soup& soup, const Vector3& by) {
    return moved(soup, [&by](const Point3& p) { return p + by; });
}

TriangleCorners triangleOf(const Soup& soup, std::size_t t) {
    const auto corner = [&](std::size_t i) { return soup.vVtx[static_cast<std::size_t>(soup.vT[t][i])]; };
    return {corner(0), corner(1), corner(2)};
}

/// Adds small triangles anywhere near the sheet z = 0 that cross none of the others.
void strew(unsigned seed, Soup& soup) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> step(-0.2, 0.2), place(0.0, 12.0);
    for (int i = 0; i < 400; ++i) {
        const double x = place(random), y = place(random), z = 2.0 * step(random);
        Soup one{{}, {{0, 1, 2}}};
        for (int k = 0; k < 3; ++k)
            one.vVtx.push_back(Point3(x, y, z) + Vector3{step(random), step(random), step(random)});
        const TriangleCorners t = triangleOf(one, 0);
        bool bFree = true;
        for (std::size_t k = 0; k < soup.vT.size() && bFree; ++k)
            bFree = !areCrossing(t, triangleOf(soup, k));
        if (bFree) append(one, soup);
    }
}

/// A rough sheet with holes, small triangles about it, and a ring with a triangle inside. Nothing crosses.
Soup crowd(unsigned seed) {
    Soup soup = withNoise(sheet(12, 12), 0.2, seed);
    for (const std::size_t t : {223U, 151U, 150U, 81U, 80U, 61U})
        soup.vT.erase(soup.vT.begin() + static_cast<std::ptrdiff_t>(t));
    strew(seed, soup);
    append(shifted(withNoise(torus(24, 10), 0.02, seed + 2000), {5, 5, 10}), soup);
    append({{{8.7, 5, 10}, {7.3, 5, 10}, {8, 5, 10.7}}, {{0, 1, 2}}}, soup);
    return soup;
}

/// Triangles anywhere, so that many cross.
Soup tangle(unsigned seed) {
    std::mt19937 random(seed);
    Soup soup = tangledSoup(random);
    return withNoise(soup, 0.3, seed);
}

void smoothFreely(const MeshPtr& pMesh, SmoothMethod method, const KeepOptions& keep) {
    smooth(pMesh, {.method = method, .bNoCrossings = keep.bNoCrossings});
}

/// To points all over the room of crowd(), so that neighbours are drawn to different ones.
void fitToDust(const MeshPtr& pMesh, const KeepOptions& keep) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> place(0.0, 12.0), height(-0.8, 0.8);
    std::vector<Point3> vPoints;
    for (int i = 0; i < 1500; ++i) {
        const double x = place(random), y = place(random);
        vPoints.emplace_back(x, y, height(random));
    }
    fit(pMesh, vPoints, {.bNoCrossings = keep.bNoCrossings});
}

using Step = std::function<void(const MeshPtr&, const KeepOptions&)>;
const std::vector<std::pair<const char*, Step>>& steps() {
    static const std::vector<std::pair<const char*, Step>> vStep = {
        {"reduce", [](const MeshPtr& pMesh, const KeepOptions& keep) { reduce(pMesh, 1.5, 30.0, keep); }},
        {"flip", [](const MeshPtr& pMesh, const KeepOptions& keep) { edgeFlips(pMesh, keep); }},
        {"anneal", [](const MeshPtr& pMesh, const KeepOptions& keep) { edgeFlipsSimA(pMesh, keep); }},
        {"smooth", [](const MeshPtr& pMesh, const KeepOptions& keep) { laplacianSmoothing(pMesh, 12, keep); }},
        {"taubin", [](const MeshPtr& pMesh, const KeepOptions& keep) { smoothFreely(pMesh, SmoothMethod::TAUBIN, keep); }},
        {"bilateral",
         [](const MeshPtr& pMesh, const KeepOptions& keep) { smoothFreely(pMesh, SmoothMethod::BILATERAL, keep); }},
        {"fit", fitToDust},
        {"fill", [](const MeshPtr& pMesh, const KeepOptions& keep) { fillHoles(pMesh, 8, keep); }},
    };
    return vStep;
}

TEST(NoCrossings, noStepMakesAny) {
    for (const auto& [name, step] : steps()) {
        std::size_t numWithout = 0;
        for (unsigned seed = 0; seed < 6; ++seed) {
            SCOPED_TRACE(std::string(name) + ", seed " + std::to_string(seed));
            const MeshPtr pMesh = meshOf(crowd(seed)), pOther = meshOf(crowd(seed));
            ASSERT_EQ(countSelfIntersections(pMesh), 0U);
            step(pMesh, {true, true});
            EXPECT_EQ(countSelfIntersections(pMesh), 0U);
            EXPECT_EQ(firstFault(*pMesh->getRMesh()), "");
            EXPECT_EQ(firstFlawButFacing(*pMesh->getRMesh()), "");
            EXPECT_EQ(pMesh->getRMesh()->pWatch, nullptr);
            step(pOther, {true, false});
            numWithout += countSelfIntersections(pOther);
            EXPECT_NE(cornersOf(pMesh).size(), 0U);
        }
        EXPECT_GT(numWithout, 0U) << name << ": nothing was to be avoided";
    }
}

// Small pieces shrink with their borders: they wait before the coordinates of the mesh are too coarse for their shape.
TEST(NoCrossings, smoothingBordersLeavesPiecesTheirShape) {
    for (unsigned seed = 0; seed < 6; ++seed) {
        const MeshPtr pMesh = meshOf(crowd(seed));
        smooth(pMesh, {.numRounds = 30, .bKeepBorders = false, .bNoCrossings = true});
        EXPECT_EQ(firstFlawButFacing(*pMesh->getRMesh()), "") << seed;
    }
}

TEST(NoCrossings, noStepMakesMoreThanThereAre) {
    for (const auto& [name, step] : steps())
        for (unsigned seed = 0; seed < 40; ++seed)
            for (const bool bManifold : {false, true}) {
                const MeshPtr pMesh = meshOf(tangle(seed));
                makeManifold(pMesh, true);
                const std::size_t numBefore = countSelfIntersections(pMesh);
                step(pMesh, {bManifold, true});
                ASSERT_LE(countSelfIntersections(pMesh), numBefore) << name << ", seed " << seed << " " << bManifold;
                ASSERT_EQ(firstFault(*pMesh->getRMesh()), "") << name << ", seed " << seed;
            }
}

TEST(NoCrossings, nothingIsLeftOutWhereNothingIsInTheWay) {
    const Soup ball = withNoise(torus(40, 16), 0.005, 3);
    for (const auto& [name, step] : steps()) {
        const MeshPtr pMesh = meshOf(ball), pOther = meshOf(ball);
        step(pMesh, {true, true});
        step(pOther, {true, false});
        ASSERT_EQ(countSelfIntersections(pOther), 0U) << name;
        EXPECT_EQ(cornersOf(pMesh), cornersOf(pOther)) << name;
    }
}

TEST(NoCrossings, aHoleStaysOpenWhenSomethingPassesThroughIt) {
    for (const bool bPole : {false, true}) {
        Soup soup = sheet(6, 6);
        soup.vT.erase(soup.vT.begin() + 42, soup.vT.begin() + 44);  // the square between (3, 3) and (4, 4)
        if (bPole) append({{{3.4, 3.4, -5}, {3.5, 3.6, 5}, {3.6, 3.4, 5}}, {{0, 1, 2}}}, soup);
        const MeshPtr pMesh = meshOf(soup), pOther = meshOf(soup);
        EXPECT_EQ(fillHoles(pMesh, 4, KeepOptions()), bPole ? 0 : 1);
        EXPECT_EQ(fillHoles(pOther, 4, true), 1);
        EXPECT_EQ(countSelfIntersections(pMesh), 0U);
    }
}

// Stretched so far that the lower ones of its triangles are flat, the crowd isn't what counts as manifold.
TEST(NoCrossings, noneIsMadeWhenAMeshIsMadeManifoldForItsReduction) {
    std::size_t numWithout = 0;
    for (unsigned seed = 0; seed < 6; ++seed) {
        Soup soup = crowd(seed);
        for (Point3& p : soup.vVtx)
            p = {9e5 * p.x(), p.y(), p.z()};
        ASSERT_EQ(countSelfIntersections(meshOf(soup)), 0U);
        for (const bool bNoCrossings : {true, false}) {
            const MeshPtr pMesh = meshOf(soup);
            const ReduceOptions options{.numTriangles = soup.vT.size() - 1, .bNoCrossings = bNoCrossings};
            EXPECT_TRUE(reduce(pMesh, options).bMadeManifold);
            const std::size_t num = countSelfIntersections(pMesh);
            EXPECT_TRUE(num == 0 || !bNoCrossings) << "seed " << seed << ": " << num;
            numWithout += num;
        }
    }
    EXPECT_GT(numWithout, 0U) << "nothing was to be avoided";
}

TEST(NoCrossings, mostAreRemovedWhereASurfaceIsRough) {
    std::size_t numBefore = 0, numAfter = 0;
    for (unsigned seed = 0; seed < 20; ++seed) {
        Soup soup = withNoise(torus(40, 16), 0.2, seed);
        append(shifted(withNoise(sheet(9, 9), 0.5, seed), {-20, 0, 0}), soup);
        for (int i = 0; i < 10; ++i)
            append(shifted(withNoise(sheet(3, 2), 0.8, 10 * seed + static_cast<unsigned>(i)), {-20, 20.0 + 10 * i, 0}),
                   soup);
        const MeshPtr pMesh = meshOf(soup);
        const auto border = [&pMesh] {
            std::vector<Point3> vEnds;
            for (const REdge* pRE : edges(*pMesh->getRMesh(), 1))
                vEnds.insert(vEnds.end(), {*pRE->pVtx0, *pRE->pVtx1});
            return vEnds;
        };
        const std::vector<Point3> vBorder = border();
        const std::size_t numWere = countSelfIntersections(pMesh), numLeft = removeSelfIntersections(pMesh);
        EXPECT_EQ(numLeft, countSelfIntersections(pMesh)) << "seed " << seed;
        EXPECT_EQ(firstFault(*pMesh->getRMesh()), "") << "seed " << seed;
        EXPECT_EQ(firstFlawButFacing(*pMesh->getRMesh()), "") << "seed " << seed;
        EXPECT_EQ(border(), vBorder) << "seed " << seed;
        numBefore += numWere;
        numAfter += numLeft;
    }
    EXPECT_GT(numBefore, 100U);
    EXPECT_LT(10 * numAfter, numBefore);
}

TEST(NoCrossings, removingThemMakesNoneMoreAndLeavesAMeshWithoutAlone) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        const MeshPtr pMesh = meshOf(tangle(seed));
        const std::size_t numBefore = countSelfIntersections(pMesh), numLeft = removeSelfIntersections(pMesh);
        ASSERT_EQ(numLeft, countSelfIntersections(pMesh)) << "seed " << seed;
        ASSERT_LE(numLeft, numBefore) << "seed " << seed;
        ASSERT_EQ(firstFault(*pMesh->getRMesh()), "") << "seed " << seed;
    }
    const MeshPtr pFree = meshOf(crowd(1)), pAsItWas = meshOf(crowd(1));
    EXPECT_EQ(removeSelfIntersections(pFree), 0U);
    EXPECT_EQ(cornersOf(pFree), cornersOf(pAsItWas));
}

/// As a file in single precision holds the mesh.
std::size_t numCrossingsInFile(const MeshPtr& pMesh) {
    std::vector<Point3> vCorners = cornersOf(pMesh);
    for (Point3& p : vCorners)
        p = {inSinglePrecision(p.x()), inSinglePrecision(p.y()), inSinglePrecision(p.z())};
    std::vector<IndexTriple> vTriangles;
    for (std::uint32_t i = 0; i < vCorners.size(); i += 3)
        vTriangles.push_back({i, i + 1, i + 2});
    return countCrossings(vCorners, vTriangles);
}

// The bodies touch along edges; where both ends have one fan, a new vertex parts them, and a rounded place could lie behind
// the sheet of the other body.
TEST(NoCrossings, partingSheetsMakesNone) {
    std::mt19937 random(11);
    std::size_t numNew = 0;
    for (int run = 0; run < 30; ++run) {
        std::set<std::array<int, 3>> sCube;
        for (int x = 0; x < 6; ++x)
            for (int y = 0; y < 6; ++y)
                for (int z = 0; z < 6; ++z)
                    if (random() % 100 < 50) sCube.insert({x, y, z});
        Soup soup = voxels(sCube);
        const auto turn = [](double& a, double& b, double angle) {
            std::tie(a, b) = std::pair(a * std::cos(angle) - b * std::sin(angle), a * std::sin(angle) + b * std::cos(angle));
        };
        for (Point3& p : soup.vVtx) {
            double x = p.x() + 0.1 * run, y = p.y() / 3.0, z = p.z() * 0.7;
            turn(x, y, 0.3 + run);
            turn(y, z, 0.7 - run);
            p = {x, y, z};
        }
        const MeshPtr pMesh = meshOf(soup);
        const std::size_t numBefore = countSelfIntersections(pMesh), numInFile = numCrossingsInFile(pMesh);
        numNew += makeManifold(pMesh).numNewVertices;
        EXPECT_LE(countSelfIntersections(pMesh), numBefore) << "run " << run;
        EXPECT_LE(numCrossingsInFile(pMesh), numInFile) << "run " << run;
        EXPECT_EQ(firstFlaw(*pMesh->getRMesh()), "") << "run " << run;
    }
    EXPECT_GT(numNew, 100U);
}

}  // namespace
