// The figures of the program's mesh analysis: known shapes, and a slow second way on random soups.
#include "MeshAnalysis.h"

#include <ctime>

#include "PointTree.h"
#include "support/manifold.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Triangles = std::vector<IndexedTriangles::Triangle>;

void append(Points& vTo, const Points& vFrom) {
    vTo.insert(vTo.end(), vFrom.begin(), vFrom.end());
}

Points turned(Points vCorners) {
    for (std::size_t i = 0; i < vCorners.size(); i += 3)
        std::swap(vCorners[i], vCorners[i + 1]);
    return vCorners;
}

/// A tetrahedron of volume f^3 / 6 at (x, y, z) that faces outward.
Points tetra(double x, double y, double z, double f = 1.0) {
    const Point3 o(x, y, z), a(x + f, y, z), b(x, y + f, z), c(x, y, z + f);
    return {o, b, a, o, a, c, o, c, b, a, b, c};
}

/// A flat sheet of n by n quads without the inner quads of which isHole is true.
template <typename IsHole>
Points sheet(int n, IsHole&& isHole) {
    Points vCorners;
    for (int x = 0; x < n; ++x)
        for (int y = 0; y < n; ++y)
            if (!isHole(x, y)) {
                const Point3 a(x, y, 0), b(x + 1, y, 0), c(x + 1, y + 1, 0), d(x, y + 1, 0);
                append(vCorners, {a, b, c, a, c, d});
            }
    return vCorners;
}

MeshFigures measured(const Points& vCorners) {
    return measureMesh(unifiedCorners(vCorners));
}

/// All that doesn't depend on lengths, in the order of the fields.
std::vector<long long> countsOf(const MeshFigures& f) {
    std::vector<std::size_t> vCount(f.vNumEdges.begin(), f.vNumEdges.end());
    vCount.insert(vCount.end(), {f.numDegenerate, f.numDuplicates, f.numOrientationConflicts, f.numComponents, f.numPieces,
                                 static_cast<std::size_t>(f.eulerCharacteristic), f.numBorderLoops, f.numPinchedVertices,
                                 f.numOutward, f.numInward, f.numUnclear});
    return {vCount.begin(), vCount.end()};  // a negative one comes back
}

}  // namespace

TEST(MeshAnalysis, knowsShapes) {
    const Points vUnit = tetra(0, 0, 0);
    Points vOneTurned = vUnit;
    std::swap(vOneTurned[0], vOneTurned[1]);
    const auto noHole = [](int, int) { return false; };
    const auto twoHoles = [](int x, int y) { return (x == 1 && y == 1) || (x == 2 && y == 2); };
    const Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0);
    // Name; corners; edges by degree; degenerate, duplicate; conflicts; components, pieces, Euler; loops, pinched; out, in,
    // unclear; volume.
    using Case = std::tuple<const char*, Points, std::vector<long long>, double>;
    const Case aCases[] = {
        {"outward", vUnit, {0, 6, 0, 0, 0, 0, 0, 0, 1, 1, 2, 0, 0, 1, 0, 0}, 1.0 / 6.0},
        {"inward", turned(vUnit), {0, 6, 0, 0, 0, 0, 0, 0, 1, 1, 2, 0, 0, 0, 1, 0}, -1.0 / 6.0},
        {"far off and tiny",
         tetra(1e6, -1e6, 1e6, 0x1p-10),
         {0, 6, 0, 0, 0, 0, 0, 0, 1, 1, 2, 0, 0, 1, 0, 0},
         0x1p-30 / 6.0},
        {"as large as can be", scaled(sheet(2, noHole), 1e200), {8, 8, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 0}, 0},
        {"one turned", vOneTurned, {0, 6, 0, 0, 0, 0, 0, 3, 1, 1, 2, 0, 0, 0, 0, 1}, 0},
        {"two that touch in a vertex",
         joined(vUnit, tetra(1, 0, 0)),
         {0, 12, 0, 0, 0, 0, 0, 0, 1, 2, 3, 0, 1, 2, 0, 0},
         1.0 / 3.0},
        {"a shell in another",
         joined(tetra(0, 0, 0, 10.0), turned(tetra(1, 1, 1))),
         {0, 12, 0, 0, 0, 0, 0, 0, 2, 2, 4, 0, 0, 1, 1, 0},
         999.0 / 6.0},
        {"both sides of a triangle", {a, b, c, a, c, b}, {0, 3, 0, 0, 0, 0, 1, 0, 1, 1, 2, 0, 0, 0, 0, 1}, 0},
        {"thrice the same", {a, b, c, b, c, a, c, a, b}, {0, 0, 3, 0, 0, 0, 2, 0, 1, 1, 3, 0, 0, 0, 0, 0}, 0},
        {"without area", {a, a, b, c, c, c, a, b, {2, 1e-7, 0}}, {3, 0, 0, 0, 0, 3, 0, 0, 1, 1, 1, 1, 0, 0, 0, 0}, 0},
        {"tiny sheet", scaled(sheet(2, noHole), 1e-200), {8, 8, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 0}, 0},
        // The fan between the holes leads from one to the other: their rims are one.
        {"two holes that touch", sheet(4, twoHoles), {24, 30, 0, 0, 0, 0, 0, 0, 1, 1, -1, 2, 1, 0, 0, 0}, 0},
        {"ring", cornersOf(ring(Ring::FLAT, 6, 1)), {12, 12, 0, 0, 0, 0, 0, 0, 1, 1, 0, 2, 0, 0, 0, 0}, 0},
        {"twisted ring", cornersOf(ring(Ring::MOEBIUS, 6, 1)), {12, 12, 0, 0, 0, 0, 0, 1, 1, 1, 0, 1, 0, 0, 0, 0}, 0},
        {"nothing", {}, std::vector<long long>(16), 0}};
    for (const auto& [name, vCorners, vCounts, volume] : aCases) {
        const MeshFigures figures = measured(vCorners);
        EXPECT_EQ(countsOf(figures), vCounts) << name;
        EXPECT_NEAR(figures.volume, volume, 1e-9 * std::abs(volume)) << name;
    }
    EXPECT_NEAR(measured(vUnit).averageEdgeLength, (1.0 + std::sqrt(2.0)) / 2.0, 1e-15);
    EXPECT_EQ(measured({}).averageEdgeLength, -1.0);

    const Points vUpright = {{0.2, 0.2, -1}, {0.3, 0.3, 1}, {0.2, 0.3, 1}};
    for (const auto& [vCorners, num] : {std::pair(vUnit, 0U),
                                        {joined(vUnit, tetra(1, 0, 0)), 0},
                                        {joined({a, b, c}, vUpright), 1},
                                        {joined(vUnit, vUpright), 2},
                                        {{a, b, c, a, c, b, b, c, a}, 3}})
        EXPECT_EQ(measured(vCorners).numSelfIntersections, num);
}

// Random triangles on a few vertices: all degrees, pinched and turned ones.
TEST(MeshAnalysis, keepsItsFiguresWhenTrianglesAreShuffledAndAddsThemUp) {
    forSeeds(200, [](unsigned seed) {
        Scan scan(seed);
        const Points vPlaces = scan.dust(4 + seed % 9);
        std::vector<std::array<Point3, 3>> vT(1 + seed % 14);
        for (auto& t : vT)
            for (Point3& p : t)
                p = vPlaces[static_cast<std::size_t>(scan.uniform(0.0, static_cast<double>(vPlaces.size())))];
        const auto cornersOf = [&] {
            Points v;
            for (const auto& t : vT)
                v.insert(v.end(), t.begin(), t.end());
            return v;
        };
        const Points vCorners = cornersOf();
        const MeshFigures figures = measured(vCorners);
        std::rotate(vT.begin(), vT.begin() + static_cast<std::ptrdiff_t>(vT.size() / 2), vT.end());
        for (auto& t : vT)
            std::rotate(t.begin(), t.begin() + 1, t.end());
        EXPECT_EQ(countsOf(measured(cornersOf())), countsOf(figures));
        std::vector<long long> vTwice = countsOf(measured(joined(vCorners, scaled(vCorners, 1.0, 5.0))));
        for (long long& count : vTwice)
            count /= 2;
        EXPECT_EQ(vTwice, countsOf(figures)) << "two copies have twice of all";
        std::vector<long long> vTurned = countsOf(measured(turned(vCorners)));
        std::swap(vTurned[13], vTurned[14]);
        EXPECT_EQ(vTurned, countsOf(figures)) << "what was outward is inward";
    });
}

TEST(Flaws, areThoseOfTheAnalysis) {
    std::mt19937 random(3);
    std::array<std::size_t, 4> sums{};
    for (int run = 0; run < 300; ++run) {
        const Soup soup = tangledSoup(random);
        std::vector<int> vIndices;
        for (const auto& t : soup.vT)
            vIndices.insert(vIndices.end(), t.begin(), t.end());
        const MeshFigures f = measureMesh(numberedVertices(soup.vVtx, vIndices));
        const MeshFlaws flaws = countFlaws(*FineMesh(soup));
        const std::array<std::size_t, 4> counts{flaws.numBorderEdges, flaws.numNonManifoldEdges, flaws.numConflicts,
                                                flaws.numPinchedVertices};
        EXPECT_EQ(counts,
                  (std::array{f.vNumEdges[0], f.numNonManifoldEdges(), f.numOrientationConflicts, f.numPinchedVertices}))
            << "run " << run;
        std::ranges::transform(sums, counts, sums.begin(), std::plus<>());
    }
    EXPECT_GT(std::ranges::min(sums), 100U);
}

TEST(MeshAnalysis, takesFiniteVerticesByNumberOrByPlace) {
    const IndexedTriangles mesh =
        numberedVertices({{9, 9, 9}, {0, 0, 0}, {0, 0, 0}, {1, INF, 0}, {0, 1, 0}}, {4, 2, 1, 3, 1, 2});
    EXPECT_EQ(mesh.vVertices, (Points{{0, 1, 0}, {0, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(mesh.vTriangles, (Triangles{{0, 1, 2}}));
    EXPECT_EQ(mesh.numNotFinite, 1u);
    const Points vPlaces = {{0.0, 1, 2}, {1, 1, 2}, {0, 5, 2}, {-0.0, 1, 2}, {1, NOT_A_NUMBER, 2}, {0, 6, 2}};
    const std::vector<int> vIndices = {0, 1, 2, 3, 4, 5, 3, 2, 5};
    Points vCorners;
    for (const int i : vIndices)
        vCorners.push_back(vPlaces[static_cast<std::size_t>(i)]);
    for (const IndexedTriangles& together : {unifiedVertices(vPlaces, vIndices), unifiedCorners(vCorners)}) {
        EXPECT_EQ(together.vVertices, (Points{{0, 1, 2}, {1, 1, 2}, {0, 5, 2}, {0, 6, 2}}));
        EXPECT_EQ(together.vTriangles, (Triangles{{0, 1, 2}, {0, 2, 3}}));
        EXPECT_EQ(together.numNotFinite, 1u);
    }
}

TEST(PointTree, agreesWithAllPairs) {
    Scan scan(11);
    Points vEqual(100, Point3(0.5, 0.5, 0.5));
    append(vEqual, scan.plane(50));
    Points vQuery = scan.dust(200);
    append(vQuery, scaled(scan.dust(50), 100.0, -50.0));
    for (Points vCloud :
         {scan.dust(1), scan.dust(8), scan.dust(9), scan.dust(1000), scan.plane(777), scan.sphere(500), vEqual}) {
        const PointTree tree(vCloud);
        append(vQuery, {vCloud.front(), vCloud.back()});
        for (const Point3& q : vQuery) {
            double nearest = INF;
            std::uint32_t first = PointTree::NONE;
            for (std::uint32_t i = 0; i < vCloud.size(); ++i) {
                if (!((vCloud[i] - q).sqLength() < nearest)) continue;
                nearest = (vCloud[i] - q).sqLength();
                first = i;
            }
            ASSERT_DOUBLE_EQ(tree.distanceTo(q), std::sqrt(nearest)) << vCloud.size() << " points, " << q;
            ASSERT_EQ(tree.nearestTo(q), first) << vCloud.size() << " points, " << q;
            ASSERT_EQ(tree.nearestTo(q, std::sqrt(nearest) * 1.001), first);
            if (nearest > 0.0) {
                ASSERT_EQ(tree.nearestTo(q, std::sqrt(nearest) * 0.999), PointTree::NONE);
            }
        }
    }
}

TEST(CloudDistances, areThoseOfTheVertices) {
    const Points vCloud = {{0, 0, 0}, {10, 0, 0}};
    const CloudDistances d = measureDistances({{0, 0, 0}, {10, 0, 0.5}, {10, 0, -3}, {1, 0, 0}}, vCloud, 0.5, 2.9);
    EXPECT_EQ(std::tuple(d.max, d.mean, d.quantile99), std::tuple(3.0, 1.125, 3.0));
    EXPECT_EQ(std::tuple(d.shareWithinAverageEdge, *d.shareWithinAsked), std::tuple(0.5, 0.75));
    Points vLine;
    for (int i = 299; i > 0; --i)
        vLine.emplace_back(0.0, i, 0.0);
    for (const auto& [numVertices, quantile] : {std::pair{99, 99.0}, {100, 99.0}, {101, 100.0}, {200, 198.0}, {299, 297.0}})
        EXPECT_EQ(measureDistances({vLine.end() - numVertices, vLine.end()}, vCloud, -1.0, {}).quantile99, quantile);
}
