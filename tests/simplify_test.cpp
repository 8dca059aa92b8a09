// Reduction and smoothing that keep the shape: what may not change, how far surfaces part, what stays sharp.
#include <kel/simplify.h>

#include "BucketQueue.h"
#include "FlatSurface.h"
#include "TriangleTree.h"
#include "distanceBound.h"
#include "freeFunctions.h"
#include "meshFlaws.h"
#include "support/figures.h"
#include "support/fine.h"
#include "support/manifold.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

// ---- Meshes --------------------------------------------------------------------------------------------------------------

/// Of radius 1, 8 * 4^numHalvings triangles.
Soup sphere(int numHalvings) {
    Soup soup{{{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}},
              {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}}};
    for (int i = 0; i < numHalvings; ++i) {
        std::map<std::pair<int, int>, int> mMiddle;
        const auto middle = [&](int a, int b) {
            const auto [it, bNew] = mMiddle.emplace(std::minmax(a, b), static_cast<int>(soup.vVtx.size()));
            if (bNew) {
                const Vector3 sum = (soup.vVtx[static_cast<std::size_t>(a)] - Point3()) +
                                    (soup.vVtx[static_cast<std::size_t>(b)] - Point3());
                soup.vVtx.push_back(Point3() + sum / sum.length());
            }
            return it->second;
        };
        std::vector<std::array<int, 3>> vFiner;
        for (const auto& [a, b, c] : soup.vT) {
            const int ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
            for (const std::array<int, 3> t : {std::array{a, ab, ca}, {b, bc, ab}, {c, ca, bc}, {ab, bc, ca}})
                vFiner.push_back(t);
        }
        soup.vT.swap(vFiner);
    }
    return soup;
}

/// The outside of a block of unit squares, and one with a notch.
Soup block(int x, int y, int z, bool bNotch = false) {
    std::set<std::array<int, 3>> sCube;
    for (int i = 0; i < x; ++i)
        for (int j = 0; j < y; ++j)
            for (int k = 0; k < z; ++k)
                if (!bNotch || i < x / 2 || j < y / 2) sCube.insert({i, j, k});
    return voxels(sCube);
}

/// A wavy sheet with a round and a long hole.
Soup waves(int n) {
    Soup soup = sheet(n, n);
    std::erase_if(soup.vT, [&](const auto& t) {
        const Point3& p = soup.vVtx[static_cast<std::size_t>(t[0])];
        const double x = p.x() / n, y = p.y() / n;
        return std::hypot(x - 0.3, y - 0.3) < 0.12 || (std::fabs(x - 0.7) < 0.05 && std::fabs(y - 0.5) < 0.3);
    });
    for (Point3& p : soup.vVtx)
        p = Point3(p.x(), p.y(), std::sin(p.x() * 6.0 / n) * std::cos(p.y() * 5.0 / n) * n * 0.15);
    return soup;
}

Soup scaled(const Soup& soup, double scale, double shift = 0.0) {
    return moved(soup, [=](const Point3& p) {
        return Point3(p.x() * scale + shift, p.y() * scale - shift, p.z() * scale + 2.0 * shift);
    });
}

struct Named {
    const char* name;
    Soup soup;
};
std::vector<Named> bodies() {
    return {{"sphere", withNoise(sphere(3), 0.01, 1)},
            {"torus", withNoise(torus(36, 15), 0.05, 2)},
            {"clean torus", torus(36, 15)},
            {"waves", withNoise(waves(18), 0.1, 3)},
            {"rough waves", withNoise(waves(18), 0.4, 4)},
            {"block", block(6, 5, 4)},
            {"notched", withNoise(block(8, 8, 3, true), 0.1, 5)},
            {"ring", ring(Ring::FLAT, 40, 6)}};
}

std::size_t numTriangles(const MeshPtr& pMesh) {
    return pMesh->getRMesh()->getNumT();
}

/// What a collapse may not change. The number of border loops is that of the vertices' less those of the border edges.
struct Shape {
    int euler, numME, numDoubles;
    std::size_t numPieces, numLoops;
    bool operator==(const Shape&) const = default;
};
Shape shapeOf(const MeshPtr& pMesh) {
    const RMesh& mesh = *pMesh->getRMesh();
    const Figures f = figuresOf(mesh);
    std::map<const Point3*, const Point3*> mPiece, mLoop;
    const auto root = [](auto& m, const Point3* p) {
        while (m.emplace(p, p).first->second != p)
            p = m[p];
        return p;
    };
    for (const REdge* pRE : mesh.getREdgesRef()) {
        if (pRE->getDegree() > 0) mPiece[root(mPiece, pRE->getVtx0())] = root(mPiece, pRE->getVtx1());
        if (pRE->getDegree() == 1) mLoop[root(mLoop, pRE->getVtx0())] = root(mLoop, pRE->getVtx1());
    }
    const auto numRoots = [](const auto& m) {
        return static_cast<std::size_t>(
            std::count_if(m.begin(), m.end(), [](const auto& e) { return e.first == e.second; }));
    };
    return {f.euler, f.numME, f.numDoubles, numRoots(mPiece), numRoots(mLoop)};
}

std::set<Point3> placesOf(const MeshPtr& pMesh) {
    const std::vector<Point3> vCorners = cornersOf(pMesh);
    return {vCorners.begin(), vCorners.end()};
}
std::set<std::pair<Point3, Point3>> borderOf(const MeshPtr& pMesh) {
    std::set<std::pair<Point3, Point3>> sBorder;
    for (const REdge* pRE : pMesh->getRMesh()->getREdgesRef())
        if (pRE->getDegree() == 1) sBorder.insert(std::minmax(*pRE->getVtx0(), *pRE->getVtx1()));
    return sBorder;
}

double volumeOf(const MeshPtr& pMesh) {
    std::vector<Point3> vCorners = cornersOf(pMesh);
    return computeVolume(vCorners);
}

// ---- Distances by looking at everything ----------------------------------------------------------------------------------

/// Places all over a triangle, its corners among them.
template <typename Visit>
void forGrid(const TrianglePlaces& t, int n, const Visit& visit) {
    for (int i = 0; i <= n; ++i)
        for (int j = 0; j <= n - i; ++j)
            visit(t[0] + (t[1] - t[0]) * (static_cast<double>(i) / n) + (t[2] - t[0]) * (static_cast<double>(j) / n));
}
struct Distances {
    double mean, largest;
};
/// Of a grid on each triangle to the nearest of all others.
Distances distancesOf(const std::vector<TrianglePlaces>& vFrom, const std::vector<TrianglePlaces>& vTo, int n) {
    double sum = 0.0, largest = 0.0, weights = 0.0;
    for (const TrianglePlaces& from : vFrom) {
        const double area = crossProduct(from[1] - from[0], from[2] - from[0]).length();
        forGrid(from, n, [&](const Vector3& p) {
            double least = LARGEST;
            for (const TrianglePlaces& to : vTo)
                least = std::min(least, sqDistance(p, to));
            sum += area * std::sqrt(least);
            weights += area;
            largest = std::max(largest, std::sqrt(least));
        });
    }
    return {sum / weights, largest};
}

ReduceReport reduceTo(const MeshPtr& pMesh, std::size_t numTriangles, bool bMove = true) {
    return reduce(pMesh, ReduceOptions{.numTriangles = numTriangles, .bMoveVertices = bMove});
}

}  // namespace

// ---- Reduction -----------------------------------------------------------------------------------------------------------

TEST(ShapeReduce, keepsPiecesTunnelsAndBorders) {
    for (const auto& [name, soup] : bodies())
        for (const bool bMove : {true, false})
            for (const double ratio : {0.5, 0.1, 0.0}) {
                SCOPED_TRACE(std::string(name) + " " + std::to_string(ratio) + (bMove ? "" : " in place"));
                const MeshPtr pMesh = meshOf(soup);
                const Shape before = shapeOf(pMesh);
                const std::set<Point3> sBefore = placesOf(pMesh);
                const std::size_t target = 1 + static_cast<std::size_t>(ratio * static_cast<double>(numTriangles(pMesh)));
                const ReduceReport done = reduceTo(pMesh, target, bMove);
                EXPECT_EQ(shapeOf(pMesh), before);
                EXPECT_EQ(firstFault(*pMesh->getRMesh()), "");
                EXPECT_EQ(firstFlaw(*pMesh->getRMesh()), "");
                EXPECT_EQ(done.numAfter, numTriangles(pMesh));
                EXPECT_FALSE(done.bMadeManifold);
                EXPECT_TRUE(ratio == 0.0 || (done.numAfter <= target && done.numAfter + 2 > target)) << done.numAfter;
                const std::set<Point3> sAfter = placesOf(pMesh);
                EXPECT_TRUE(bMove || std::includes(sBefore.begin(), sBefore.end(), sAfter.begin(), sAfter.end()));
            }
}

TEST(ShapeReduce, leavesBordersAsTheyAreWhenAsked) {
    for (const bool bMove : {true, false}) {
        const MeshPtr pMesh = meshOf(withNoise(waves(30), 0.2, 3));
        const auto before = borderOf(pMesh);
        const ReduceOptions options{.numTriangles = 1, .bMoveVertices = bMove, .bKeepBorders = true};
        EXPECT_LT(reduce(pMesh, options).numAfter, before.size() + 40);
        EXPECT_EQ(borderOf(pMesh), before);
    }
}

// Flat places cost nothing and folds do, so an exact body is left with its corners, whether features are asked for or not.
TEST(ShapeReduce, leavesABlockItsCornersAlone) {
    const std::set<Point3> sCorners{{0, 0, 0}, {6, 0, 0}, {0, 5, 0}, {6, 5, 0}, {0, 0, 4}, {6, 0, 4}, {0, 5, 4}, {6, 5, 4}};
    for (const int variant : {0, 1, 2, 3}) {
        const MeshPtr pMesh = meshOf(block(6, 5, 4));
        const ReduceOptions options{.numTriangles = 12, .bMoveVertices = variant % 2 == 0, .bKeepFeatures = variant >= 2};
        EXPECT_EQ(reduce(pMesh, options).numAfter, 12U) << variant;
        EXPECT_EQ(placesOf(pMesh), sCorners) << variant;
        EXPECT_NEAR(volumeOf(pMesh), 120.0, 1e-12) << variant;
    }
}

TEST(ShapeReduce, reducesFoldsAlongThemselvesWhenAsked) {
    // Noise in the faces alone: each coordinate of a vertex that isn't on an outer plane.
    Soup soup = block(10, 10, 10);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> step(-0.3, 0.3);
    for (Point3& p : soup.vVtx) {
        const auto shaken = [&](double x) { return x == 0.0 || x == 10.0 ? x : x + step(random); };
        const double x = shaken(p.x()), y = shaken(p.y()), z = shaken(p.z());
        p = Point3(x, y, z);
    }
    const MeshPtr pMesh = meshOf(soup);
    reduce(pMesh, ReduceOptions{.numTriangles = 100, .bKeepFeatures = true});
    double length = 0.0;  // of folds of 90 degrees
    for (const REdge* pRE : pMesh->getRMesh()->getREdgesRef()) {
        RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
        bool bOK = false;
        if (pRE->getTwoTriangles(pRT0, pRT1, true) && std::fabs(pRT0->getNNV(bOK) * pRT1->getNNV(bOK)) < 1e-9)
            length += pRE->getLength();
    }
    EXPECT_NEAR(length, 120.0, 1e-9);
}

TEST(ShapeReduce, staysWithinTheDistance) {
    for (const auto& [name, soup] : bodies())
        for (const auto& [bMove, part] : {std::pair(true, 0.02), {false, 0.004}}) {
            SCOPED_TRACE(std::string(name) + " " + std::to_string(part) + (bMove ? "" : " in place"));
            const MeshPtr pMesh = meshOf(soup);
            const std::vector<TrianglePlaces> vBefore = trianglesOf(cornersOf(pMesh));
            const ReduceOptions options{.maxDistance = part * FlatSurface(*pMesh->getRMesh()).toMesh({1, 0, 0}).x(),
                                        .bMoveVertices = bMove,
                                        .bFit = !borderOf(pMesh).empty() || bMove};
            const ReduceReport done = reduce(pMesh, options);
            const std::vector<TrianglePlaces> vAfter = trianglesOf(cornersOf(pMesh));
            const double there = distancesOf(vBefore, vAfter, 2).largest, back = distancesOf(vAfter, vBefore, 3).largest;
            EXPECT_LE(done.distance, options.maxDistance);
            EXPECT_LE(std::max(there, back), done.distance * (1.0 + 1e-9) + 1e-12);
            // Along borders the grid is too coarse to see the largest one.
            EXPECT_TRUE(!borderOf(pMesh).empty() ||
                        done.distance <= std::max(1.7 * std::max(there, back), 0.13 * options.maxDistance));
            EXPECT_EQ(firstFlaw(*pMesh->getRMesh()), "");
            EXPECT_TRUE(part < 0.01 || done.numAfter < done.numBefore / 2) << done.numAfter;
        }
}

// Two spheres, one closely in the other: by themselves coarse triangles of one pass through the other.
TEST(ShapeReduce, letsNothingCrossWhenAsked) {
    Soup soup = sphere(4);
    append(turned(scaled(soup, 0.99)), soup);
    for (const bool bMove : {true, false})
        for (const bool bNoCrossings : {true, false}) {
            const MeshPtr pMesh = meshOf(soup);
            const ReduceReport done =
                reduce(pMesh, ReduceOptions{.numTriangles = 300, .bMoveVertices = bMove, .bNoCrossings = bNoCrossings});
            EXPECT_EQ(countSelfIntersections(pMesh) == 0, bNoCrossings) << done.numAfter;
            EXPECT_LT(done.numAfter, 1000U);
            EXPECT_EQ(firstFlawButFacing(*pMesh->getRMesh()), "");
        }
    // Where there are crossings already, it goes on.
    const MeshPtr pMesh = meshOf(withNoise(torus(40, 20), 0.5, 3));
    const std::size_t numBefore = countSelfIntersections(pMesh);
    EXPECT_LT(reduce(pMesh, ReduceOptions{.numTriangles = 300, .bNoCrossings = true}).numAfter, 1000U);
    EXPECT_TRUE(numBefore > 0 && countSelfIntersections(pMesh) <= numBefore) << numBefore;
}

// What greedy reduction can be held against: the best even triangulation of a sphere of that many triangles is .0005 away on
// average, and one with its vertices on the sphere .0021.
TEST(ShapeReduce, isNearlyAsCloseAsCanBe) {
    const std::vector<TrianglePlaces> vBefore = trianglesOf(cornersOf(sphere(5)));
    for (const auto& [bMove, limit] : {std::pair(true, 0.001), {false, 0.0027}}) {
        const MeshPtr pMesh = meshOf(sphere(5));
        reduceTo(pMesh, 1730, bMove);
        std::vector<TrianglePlaces> vAfter = trianglesOf(cornersOf(pMesh));
        const TriangleTree before(vBefore);
        double sum = 0.0;
        int number = 0;
        for (const TrianglePlaces& t : vAfter)
            forGrid(t, 4, [&](const Vector3& p) {
                sum += std::sqrt(before.nearest(p).sqDistance);
                ++number;
            });
        EXPECT_LT(sum / number, limit) << bMove;
    }
}

TEST(ShapeReduce, movesNothingWhenTheMeshNeedsNoCollapse) {
    // A triangle twice makes it non-manifold; without it the target is met.
    Soup soup = withNoise(waves(18), 0.2, 3);
    const std::size_t target = soup.vT.size();
    soup.vT.push_back(soup.vT.front());
    for (const bool bMove : {true, false}) {
        const MeshPtr pMesh = meshOf(soup), pManifold = meshOf(soup);
        makeManifold(pManifold);
        const ReduceReport done = reduce(pMesh, ReduceOptions{.numTriangles = target, .bMoveVertices = bMove, .bFit = true});
        EXPECT_TRUE(done.bMadeManifold);
        EXPECT_EQ(done.numAfter, target);
        EXPECT_EQ(cornersOf(pMesh), cornersOf(pManifold));
    }
}

TEST(ShapeReduce, isCloserWhenFitted) {
    for (const auto& [name, soup] :
         {Named{"torus", withNoise(torus(60, 24), 0.01, 2)}, Named{"waves", withNoise(waves(40), 0.03, 3)}})
        for (const bool bMove : {true, false}) {
            SCOPED_TRACE(std::string(name) + (bMove ? "" : " in place"));
            double aMean[2] = {};
            const std::vector<Point3> vBefore = cornersOf(soup);
            for (const bool bFit : {false, true}) {
                const MeshPtr pMesh = meshOf(soup);
                const std::set<Point3> sBefore = placesOf(pMesh);
                const Shape shape = shapeOf(pMesh);
                const auto border = borderOf(pMesh);
                reduce(pMesh, ReduceOptions{.numTriangles = vBefore.size() / 3 / 10,
                                            .bMoveVertices = bMove,
                                            .bKeepBorders = true,
                                            .bNoCrossings = true,
                                            .bFit = bFit});
                const std::vector<TrianglePlaces> vAfter = trianglesOf(cornersOf(pMesh));
                aMean[bFit ? 1 : 0] = distancesOf(vAfter, trianglesOf(vBefore), 4).mean;
                const std::set<Point3> sAfter = placesOf(pMesh);
                EXPECT_TRUE(bMove || std::includes(sBefore.begin(), sBefore.end(), sAfter.begin(), sAfter.end()));
                EXPECT_EQ(sAfter.size(), verticesOf(pMesh).size());
                EXPECT_EQ(shapeOf(pMesh), shape);
                EXPECT_EQ(borderOf(pMesh), border);
                EXPECT_EQ(countSelfIntersections(pMesh), 0U);
                EXPECT_EQ(firstFlaw(*pMesh->getRMesh()), "");
            }
            // In place it depends on what other vertices there are.
            EXPECT_LT(aMean[1], (bMove ? 0.95 : 1.02) * aMean[0]);
        }
}

TEST(ShapeReduce, doesNothingWithoutNeed) {
    const MeshPtr pMesh = meshOf(waves(30));
    const std::vector<Point3> before = cornersOf(pMesh);
    const ReduceReport done = reduceTo(pMesh, before.size() / 3);
    EXPECT_EQ(cornersOf(pMesh), before);
    EXPECT_EQ(done.numBefore, done.numAfter);
    for (const auto& [target, distance, angle] :
         {std::tuple(std::size_t{0}, 0.0, 40.0), {5, -1.0, 40.0}, {5, NOT_A_NUMBER, 40.0}, {5, 0.0, 181.0}}) {
        const ReduceOptions options{.numTriangles = target, .maxDistance = distance, .featureAngle = angle};
        EXPECT_EQ(countIn(outputOf([&] { EXPECT_EQ(reduce(pMesh, options).numAfter, before.size() / 3); }), "WARNING"), 1);
        EXPECT_EQ(cornersOf(pMesh), before);
    }
    const MeshPtr pBad = meshOf(Soup{{{0, 0, 0}, {INF, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}, {0, 2, 3}}});
    EXPECT_EQ(countIn(outputOf([&] { EXPECT_EQ(reduceTo(pBad, 1).numAfter, 2U); }), "WARNING"), 1);
    EXPECT_THROW(reduceTo(nullptr, 1), KelBugException);
}

TEST(ShapeReduce, isTheSameAtAnyScaleAndPlace) {
    const Soup soup = withNoise(torus(60, 24), 0.05, 2);
    const MeshPtr pPlain = meshOf(soup);
    reduceTo(pPlain, 300);
    const std::vector<Point3> vPlain = cornersOf(pPlain);
    for (const double scale : {0x1p-40, 0x1p-300, 0x1p30, 0x1p300}) {
        const MeshPtr pMesh = meshOf(scaled(soup, scale));
        reduceTo(pMesh, 300);
        std::vector<Point3> vCorners = cornersOf(pMesh);
        for (Point3& p : vCorners)
            p = Point3(p.x() / scale, p.y() / scale, p.z() / scale);
        EXPECT_EQ(vCorners, vPlain) << scale;
    }
    for (const auto& [scale, shift] : {std::pair(1e-9, 0.0), {1e9, 3e9}, {1.0, 1e6}, {1e-3, 1e4}, {1e-12, 1.0}}) {
        const MeshPtr pMesh = meshOf(scaled(soup, scale, shift));
        EXPECT_LE(reduceTo(pMesh, 300).numAfter, 300U);
        EXPECT_EQ(firstFlawButFacing(*pMesh->getRMesh()), "") << scale << " " << shift;
        const double mean =
            distancesOf(trianglesOf(cornersOf(pMesh)), trianglesOf(cornersOf(scaled(soup, scale, shift))), 2).mean;
        EXPECT_LT(mean, 0.035 * scale + 1e-15 * shift) << scale << " " << shift;
    }
}

TEST(ShapeReduce, makesManifoldFirst) {
    forSeeds(300, [](unsigned seed) {
        const CoutSilence silence;
        std::mt19937 random(seed);
        const Soup soup = tangledSoup(random);
        for (const bool bMove : {true, false}) {
            const MeshPtr pMesh = meshOf(soup);
            const bool bManifold = firstFlawButFacing(*pMesh->getRMesh()).empty();
            const ReduceOptions options{.numTriangles = 1 + seed % 9,
                                        .maxDistance = seed % 3 == 0 ? 0.3 : 0.0,
                                        .bMoveVertices = bMove,
                                        .bKeepFeatures = seed % 5 == 0};
            if (options.numTriangles >= numTriangles(pMesh)) continue;
            EXPECT_EQ(reduce(pMesh, options).bMadeManifold, !bManifold);
            EXPECT_EQ(firstFault(*pMesh->getRMesh()), "");
            EXPECT_EQ(firstFlawButFacing(*pMesh->getRMesh()), "");
        }
    });
}

// A vertex of many triangles isn't looked at as a whole for each of its edges; that would take minutes.
TEST(ShapeReduce, copesWithAHub) {
    Soup soup;
    const int n = 60000;
    soup.vVtx = {{0, 0, 1}, {0, 0, -1}};
    for (int i = 0; i < n; ++i)
        soup.vVtx.emplace_back(std::cos(6.283185307179586 * i / n), std::sin(6.283185307179586 * i / n), 0);
    for (int i = 0; i < n; ++i) {
        soup.vT.push_back({0, 2 + i, 2 + (i + 1) % n});
        soup.vT.push_back({1, 2 + (i + 1) % n, 2 + i});
    }
    const MeshPtr pMesh = meshOf(soup);
    EXPECT_LE(reduceTo(pMesh, 200).numAfter, 200U);
    smooth(meshOf(soup), {SmoothMethod::BILATERAL, 2});
    EXPECT_NEAR(volumeOf(pMesh), 2.0943951, 0.01);
}

TEST(ShapeReduce, leavesTheMeshWhenItsListenerThrows) {
    for (const double fraction : {0.01, 0.5, 0.9, 2.0}) {
        Hearer hearer(fraction);
        const MeshPtr pMesh = meshOf(withNoise(torus(90, 40), 0.01, 12));
        const std::vector<Point3> before = cornersOf(pMesh);
        subscribe(&hearer);
        if (fraction < 1.0)
            EXPECT_THROW(reduceTo(pMesh, 100), double);
        else
            reduceTo(pMesh, 100);
        unsubscribe();
        EXPECT_EQ(cornersOf(pMesh) == before, fraction < 1.0);
        EXPECT_EQ(std::set(hearer.vName.begin(), hearer.vName.end()), std::set<std::string>{"Reduce"});
        EXPECT_TRUE(std::ranges::is_sorted(hearer.vFraction) && (fraction < 1.0 || hearer.vFraction.back() == 1.0));
        EXPECT_FALSE(hasOpenProgress());
    }
}

// ---- Smoothing -----------------------------------------------------------------------------------------------------------

namespace {

/// The standard deviation of the vertices' distances to the origin.
double roughness(const MeshPtr& pMesh) {
    double sum = 0.0, squares = 0.0, n = 0.0;
    for (const Point3& p : placesOf(pMesh)) {
        const double r = (p - Point3()).length();
        sum += r;
        squares += r * r;
        n += 1.0;
    }
    return std::sqrt(squares / n - sum * sum / n / n);
}

}  // namespace

TEST(ShapeSmooth, takesNoiseFromASphereButNoVolume) {
    for (const auto& [numHalvings, method, part] :
         {std::tuple(4, SmoothMethod::TAUBIN, 0.45), {5, SmoothMethod::TAUBIN, 0.4}, {5, SmoothMethod::BILATERAL, 0.6}}) {
        const MeshPtr pMesh = meshOf(withNoise(sphere(numHalvings), 0.2 / (1 << numHalvings), 1));
        const double volume = volumeOf(pMesh), before = roughness(pMesh);
        const std::size_t number = numTriangles(pMesh);
        const SmoothReport done = smooth(pMesh, {method, 10});
        EXPECT_NEAR(volumeOf(pMesh) / volume, 1.0, 0.001) << numHalvings;
        EXPECT_LT(roughness(pMesh), part * before) << numHalvings;
        EXPECT_GT(done.meanMove, 0.2 * before);
        EXPECT_EQ(numTriangles(pMesh), number);
        EXPECT_EQ(firstFlaw(*pMesh->getRMesh()), "");
    }
}

TEST(ShapeSmooth, keepsTheEdgesOfABlock) {
    const Soup exact = block(20, 20, 20);
    const MeshPtr pMesh = meshOf(withNoise(exact, 0.15, 3));
    smooth(pMesh, {SmoothMethod::BILATERAL, 20});
    const std::vector<Point3> vVertices = verticesOf(pMesh);
    // Distances to the planes of the block that a vertex lies on: one within a face, two or three at the edges.
    std::array<double, 4> sums{}, nums{};
    for (std::size_t i = 0; i < exact.vVtx.size(); ++i) {
        const Point3 &p = exact.vVtx[i], &q = vVertices[i];
        double off = 0.0;
        std::size_t numPlanes = 0;
        for (const auto& [x, y] : {std::pair(p.x(), q.x()), {p.y(), q.y()}, {p.z(), q.z()}}) {
            if (x != 0.0 && x != 20.0) continue;
            off = std::max(off, std::fabs(x - y));
            ++numPlanes;
        }
        sums.at(numPlanes) += off;
        ++nums.at(numPlanes);
    }
    EXPECT_LT(sums[1] / nums[1], 0.03);
    EXPECT_LT((sums[2] + sums[3]) / (nums[2] + nums[3]), 0.06);
    EXPECT_NEAR(volumeOf(pMesh), 8000.0, 20.0);
}

TEST(ShapeSmooth, leavesOrFollowsBorders) {
    const Soup soup = withNoise(waves(30), 0.2, 5);
    for (const SmoothMethod method : {SmoothMethod::TAUBIN, SmoothMethod::BILATERAL}) {
        const MeshPtr pKept = meshOf(soup), pMoved = meshOf(soup);
        const auto before = borderOf(pKept);
        smooth(pKept, {method, 10});
        EXPECT_EQ(borderOf(pKept), before);
        smooth(pMoved, {method, 10, false});
        const auto after = borderOf(pMoved);
        EXPECT_EQ(after.size(), before.size());
        const auto lengthOf = [](const auto& s) {
            double sum = 0.0;
            for (const auto& [p, q] : s)
                sum += (p - q).length();
            return sum;
        };
        EXPECT_TRUE(method != SmoothMethod::TAUBIN || lengthOf(after) < 0.97 * lengthOf(before));
        EXPECT_GT(lengthOf(after), 0.8 * lengthOf(before));
        EXPECT_EQ(firstFlaw(*pMoved->getRMesh()), "");
    }
}

TEST(ShapeSmooth, turnsNoTriangleOver) {
    forSeeds(20, [](unsigned seed) {
        const MeshPtr pMesh = meshOf(withNoise(seed % 2 == 0 ? waves(15) : torus(20, 9), 0.45, seed));
        for (int i = 0; i < 5; ++i) {
            const auto before = trianglesOf(cornersOf(pMesh));
            smooth(pMesh, {SmoothMethod::TAUBIN, 1});
            const auto after = trianglesOf(cornersOf(pMesh));
            const auto normal = [](const TrianglePlaces& t) { return crossProduct(t[1] - t[0], t[2] - t[0]); };
            for (std::size_t t = 0; t < before.size(); ++t)
                ASSERT_GT(normal(before[t]) * normal(after[t]), 0.0);
        }
        smooth(pMesh, {SmoothMethod::BILATERAL, 10});
        EXPECT_EQ(firstFlawButFacing(*pMesh->getRMesh()), "");
    });
}

TEST(ShapeSmooth, refusesWhatItCannotDo) {
    const MeshPtr pMesh = meshOf(torus(20, 9));
    const std::vector<Point3> before = cornersOf(pMesh);
    smooth(pMesh, {SmoothMethod::TAUBIN, 0});
    for (const auto& [passBand, angle] :
         {std::pair(0.0, 25.0), {0.4, 25.0}, {NOT_A_NUMBER, 25.0}, {0.1, 0.0}, {0.1, NOT_A_NUMBER}}) {
        const SmoothOptions options{SmoothMethod::TAUBIN, 3, true, passBand, angle};
        EXPECT_EQ(countIn(outputOf([&] { smooth(pMesh, options); }), "WARNING"), 1);
    }
    EXPECT_EQ(cornersOf(pMesh), before);
}

// ---- Their tools ---------------------------------------------------------------------------------------------------------

namespace {

Vector3 anyPlace(Random& random) {
    const auto step = [&] { return static_cast<double>(pick(random, 2001)) / 1000.0 - 1.0; };
    const double x = step(), y = step();
    return {x, y, step()};
}
std::vector<TrianglePlaces> anyTriangles(Random& random, std::size_t number, double size) {
    std::vector<TrianglePlaces> v;
    for (std::size_t i = 0; i < number; ++i) {
        const Vector3 p = anyPlace(random);
        v.push_back({p, p + anyPlace(random) * size, pick(random, 10) == 0 ? p : p + anyPlace(random) * size});
    }
    return v;
}

}  // namespace

TEST(TriangleTree, findsTheNearestOfAll) {
    forSeeds(40, [](unsigned seed) {
        Random random(seed);
        const auto vTriangle = anyTriangles(random, seed * 5, 0.3);
        const TriangleTree tree(vTriangle);
        for (int i = 0; i < 50; ++i) {
            const Vector3 place = anyPlace(random) * 1.5;
            double least = LARGEST;
            for (const TrianglePlaces& t : vTriangle) {
                const double distance = sqDistance(place, t);
                // No place of the triangle is nearer, and one of a fine grid is hardly farther.
                double onGrid = LARGEST;
                if (i == 0) {
                    forGrid(t, 20, [&](const Vector3& p) { onGrid = std::min(onGrid, (p - place).sqLength()); });
                    EXPECT_LE(distance, onGrid + 1e-12);
                    EXPECT_GE(std::sqrt(distance) + 0.06, std::sqrt(onGrid));
                }
                least = std::min(least, distance);
            }
            const NearestTriangle nearest = tree.nearest(place);
            EXPECT_EQ(nearest.sqDistance, least);
            EXPECT_TRUE(vTriangle.empty() || sqDistance(place, vTriangle[nearest.position]) == least);
        }
    });
}

TEST(DistanceBound, isALittleAboveTheLargestDistance) {
    forSeeds(60, [](unsigned seed) {
        Random random(seed);
        const auto vFrom = anyTriangles(random, 5, 0.5), vTo = anyTriangles(random, 1 + seed, 0.5);
        const TriangleTree to(vTo);
        const double sampled = distancesOf(vFrom, vTo, 20).largest;
        for (const double factor : {0.5, 0.99, 1.05, 2.0}) {
            const double limit = factor * sampled + (factor > 1.0 ? 0.02 : 0.0);  // it is a little more off the grid
            const auto bound = distanceBound(vFrom, to, limit);
            ASSERT_EQ(bound.has_value(), factor > 1.0) << factor;
            EXPECT_TRUE(!bound || (*bound >= sampled && *bound <= limit));
        }
    });
    // One plane, in other triangles.
    const auto fine = trianglesOf(cornersOf(sheet(7, 7)));
    const auto coarse = trianglesOf(cornersOf(scaled(sheet(2, 2), 3.5)));
    EXPECT_LT(distanceBound(fine, TriangleTree(coarse), 1e-9).value_or(1.0), 1e-9);
    EXPECT_LT(distanceBound(coarse, TriangleTree(fine), 1e-9).value_or(1.0), 1e-9);
}

TEST(BucketQueue, isInOrderToAFactor) {
    BucketQueue queue;
    Random random(3);
    std::multimap<std::size_t, std::uint32_t> mExpected;  // of one bucket in the order of entry
    std::vector<double> vWeight;
    for (std::uint32_t i = 0; i < 5000; ++i) {
        vWeight.push_back(
            std::ldexp(1.0 + static_cast<double>(pick(random, 1000)) / 1000.0, static_cast<int>(pick(random, 40)) - 30));
        mExpected.emplace(BucketQueue::bucketOf(vWeight[i]), i);
        queue.push(BucketQueue::bucketOf(vWeight[i]), i);
        if (i % 3 == 2) {
            EXPECT_EQ(queue.popFrom(queue.firstBucket()), mExpected.begin()->second);
            mExpected.erase(mExpected.begin());
        }
    }
    double highest = 0.0;
    while (!queue.empty()) {
        const std::uint32_t number = queue.popFrom(queue.firstBucket());
        EXPECT_EQ(number, mExpected.begin()->second);
        mExpected.erase(mExpected.begin());
        EXPECT_LT(highest, vWeight[number] * 1.5);
        highest = std::max(highest, vWeight[number]);
    }
    EXPECT_TRUE(mExpected.empty());
    EXPECT_LE(BucketQueue::bucketOf(0.0), BucketQueue::bucketOf(1e-300));
    EXPECT_LE(BucketQueue::bucketOf(1e9), BucketQueue::bucketOf(1e300));
}
