// Triangles that pass through each other: the predicate, the count over a mesh, the index of triangles near a box.
#include "crossing.h"

#include "CrossingIndex.h"
#include "countCrossings.h"
#include "support/fine.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Whole = std::int64_t;
using WholePoint = std::array<Whole, 3>;
using WholeTriangle = std::array<WholePoint, 3>;

WholePoint minus(const WholePoint& a, const WholePoint& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
WholePoint cross(const WholePoint& a, const WholePoint& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Whole dot(const WholePoint& a, const WholePoint& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// In this direction one triangle isn't below the highest corner of the other, and they don't both lie in one plane across
/// it.
bool isSeparating(const WholePoint& direction, const WholeTriangle& s, const WholeTriangle& t) {
    const auto range = [&](const WholeTriangle& triangle) {
        return std::minmax({dot(direction, triangle[0]), dot(direction, triangle[1]), dot(direction, triangle[2])});
    };
    const auto [sLow, sHigh] = range(s);
    const auto [tLow, tHigh] = range(t);
    return (sHigh <= tLow || tHigh <= sLow) && std::max(sHigh, tHigh) > std::min(sLow, tLow);
}

/// Two convex sets have no interior point in common when a plane separates them; for triangles some few directions suffice.
bool crossesBySeparation(const WholeTriangle& s, const WholeTriangle& t) {
    const WholePoint n = cross(minus(s[1], s[0]), minus(s[2], s[0])), m = cross(minus(t[1], t[0]), minus(t[2], t[0]));
    if (n == WholePoint{} || m == WholePoint{}) return false;
    std::vector<WholePoint> vDirection{n, m};
    for (std::size_t i = 0; i < 3; ++i) {
        const WholePoint e = minus(s[(i + 1) % 3], s[i]), f = minus(t[(i + 1) % 3], t[i]);
        vDirection.insert(vDirection.end(), {cross(n, e), cross(m, f)});
        for (std::size_t j = 0; j < 3; ++j)
            vDirection.push_back(cross(e, minus(t[(j + 1) % 3], t[j])));
    }
    return std::none_of(vDirection.begin(), vDirection.end(), [&](const WholePoint& d) { return isSeparating(d, s, t); });
}

/// On a grid of few points, so that corners, sides and planes often meet.
WholeTriangle randomTriangle(Random& random, std::size_t numPlaces) {
    WholeTriangle t;
    for (WholePoint& p : t)
        for (Whole& coordinate : p)
            coordinate = static_cast<Whole>(pick(random, numPlaces));
    return t;
}

/// A map of whole points that keeps what crosses.
struct Shear {
    Whole xy = 0, xz = 0, yz = 0, shift = 0;
    double scale = 1.0;

    TriangleCorners operator()(const WholeTriangle& t) const {
        TriangleCorners result;
        for (std::size_t i = 0; i < 3; ++i) {
            const Whole z = t[i][2], y = t[i][1] + yz * z, x = t[i][0] + xy * y + xz * z;
            const auto real = [&](Whole value) { return static_cast<double>(value + shift) * scale; };
            result[i] = {real(x), real(y), real(z)};
        }
        return result;
    }
};

TriangleCorners turned(const TriangleCorners& t, std::size_t order) {
    constexpr std::size_t ORDERS[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {2, 1, 0}, {1, 0, 2}};
    return {t[ORDERS[order][0]], t[ORDERS[order][1]], t[ORDERS[order][2]]};
}

TEST(Crossing, agreesWithSeparatingPlanesInAnyOrderOfCorners) {
    std::array<int, 2> numSeen{};
    Random random(1);
    for (int i = 0; i < 60000; ++i) {
        const std::size_t numPlaces = 2 + pick(random, 4);
        WholeTriangle s = randomTriangle(random, numPlaces), t = randomTriangle(random, numPlaces);
        for (std::size_t shared = pick(random, 4); shared > 0; --shared)
            t[shared - 1] = s[shared - 1];
        if (pick(random, 4) == 0)
            for (std::size_t k = 0; k < 3; ++k)
                s[k][2] = t[k][2] = 0;
        const bool bExpected = crossesBySeparation(s, t);
        ++numSeen[bExpected ? 1 : 0];
        const TriangleCorners a = turned(Shear()(s), pick(random, 6)), b = turned(Shear()(t), pick(random, 6));
        ASSERT_EQ(areCrossing(a, b), bExpected) << i;
        ASSERT_EQ(areCrossing(b, a), bExpected) << i;
    }
    EXPECT_GT(std::min(numSeen[0], numSeen[1]), 3000);
}

TEST(Crossing, isExactWhereRoundingHidesTheSign) {
    const Shear shears[] = {{1 << 24, 3, -(1 << 24), 1, 1.0},       {0, 0, 0, Whole{1} << 50, 1.0},
                            {12345677, 7654321, 3333333, 99, 0.25}, {-(1 << 23), 1 << 25, 5, 0, std::ldexp(1.0, -1060)},
                            {1 << 20, 77, 1 << 22, 5, 0x1p950},     {1, 2, 3, 4, std::ldexp(1.0, -1070)}};
    Random random(2);
    for (int i = 0; i < 6000; ++i) {
        const WholeTriangle s = randomTriangle(random, 4), t = randomTriangle(random, 4);
        const bool bExpected = crossesBySeparation(s, t);
        for (const Shear& shear : shears)
            ASSERT_EQ(areCrossing(shear(s), shear(t)), bExpected) << i << " sheared by " << shear.xy;
    }
}

TEST(Crossing, seesThePlacesOfPointsAtAllSizes) {
    for (const double huge : {1.0, 1e300, LARGEST})
        for (const double tiny : {1e-5, 1e-300, 5e-324}) {
            const Point3 a(0, 0, 0), b(huge, 0, 0), c(0, huge, 0);
            const ExactPlane plane(a, b, c);
            EXPECT_EQ(plane.sideOf({-huge, -huge, tiny}), 1) << huge << " " << tiny;
            EXPECT_EQ(plane.sideOf({-huge, huge, -tiny}), -1) << huge << " " << tiny;
            EXPECT_EQ(plane.sideOf({-huge, huge, 0.0}), 0) << huge;
            EXPECT_EQ(ExactPlane(a, b, {2 * tiny, 0, 0}).sideOf({1, 2, 3}), 0);
        }
}

// ---- The count over a mesh ----------------------------------------------------------------------------------------------

std::vector<IndexTriple> triplesOf(const Soup& soup) {
    std::vector<IndexTriple> v;
    for (const auto& t : soup.vT)
        v.push_back({static_cast<unsigned>(t[0]), static_cast<unsigned>(t[1]), static_cast<unsigned>(t[2])});
    return v;
}

std::vector<CrossingPair> crossingsOf(const Soup& soup) {
    std::vector<CrossingPair> vPairs;
    const std::size_t num = countCrossings(soup.vVtx, triplesOf(soup), &vPairs);
    EXPECT_EQ(vPairs.size(), num);
    return vPairs;
}

/// Triangles of sizes over several powers of ten, many at few places.
Soup randomSoup(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    Soup soup;
    const int numTriangles = 50 + static_cast<int>(random() % 200);
    for (int i = 0; i < numTriangles; ++i) {
        const double size = std::pow(10.0, 2.0 * unit(random) - 1.0);
        const Point3 centre(unit(random), unit(random), std::round(unit(random)));
        for (int k = 0; k < 3; ++k)
            soup.vVtx.push_back(centre + Vector3{unit(random), unit(random), unit(random)} * size);
        soup.vT.push_back({3 * i, 3 * i + 1, 3 * i + static_cast<int>(random() % 20 == 0 ? 0 : 2)});
        if (i > 0 && random() % 4 == 0) soup.vT.back()[1] = 3 * i - 2;
    }
    return soup;
}

TEST(CountCrossings, findsWhatTheSearchOfAllPairsFindsWithAnyNumberOfWorkers) {
    std::size_t num = 0;
    forSeeds(40, [&](unsigned seed) {
        const Soup soup = randomSoup(seed);
        const std::vector<Point3> vCorners = cornersOf(soup);
        const auto triangle = [&](std::size_t i) {
            return TriangleCorners{vCorners[3 * i], vCorners[3 * i + 1], vCorners[3 * i + 2]};
        };
        std::vector<CrossingPair> vExpected;
        for (unsigned i = 0; i < soup.vT.size(); ++i)
            for (unsigned j = i + 1; j < soup.vT.size(); ++j)
                if (areCrossing(triangle(i), triangle(j))) vExpected.emplace_back(i, j);
        for (const int numWorkers : {1, 2, 5}) {
            setNumThreads(numWorkers);
            ASSERT_EQ(crossingsOf(soup), vExpected) << numWorkers << " workers";
        }
        num += vExpected.size();
    });
    setNumThreads(0);
    EXPECT_GT(num, 3000U);
}

TEST(CountCrossings, isZeroForSurfacesThatOnlyTouch) {
    Soup two = sheet(5, 5);
    const auto add = [&two](const Soup& soup, const auto& place) { append(moved(soup, place), two); };
    add(sheet(5, 5), [](const Point3& p) { return Point3(p.x(), p.z(), p.y()); });  // along a row of sides
    add(sheet(5, 5), [](const Point3& p) { return Point3(p.x() - 5, p.y(), p.z()); });
    add(sheet(1, 1), [](const Point3& p) { return Point3(p.x() + 0.3, p.z() + 2.3, p.y()); });
    add(tetrahedron(), [](const Point3& p) { return Point3(p.x() + 2.2, p.y() + 2.2, -p.z()); });
    for (const Soup& soup : {torus(40, 20), tetrahedron(), ring(Ring::MOEBIUS, 60, 8), fan(30, true), two, Soup()})
        EXPECT_EQ(crossingsOf(soup), std::vector<CrossingPair>());
    EXPECT_GT(crossingsOf(ring(Ring::KLEIN, 60, 12)).size(), 0U);  // no bottle of that kind is free of them
}

/// A sheet of n squares and an upright one of m, which pass through each other along a line: it runs through 2 n triangles
/// of the one and 2 m of the other, and where it leaves one of these the next pair begins.
Soup crossingSheets(int n, int m) {
    Soup soup = sheet(n, n);
    const double size = static_cast<double>(n) / m;
    const auto upright = [=](const Point3& p) {
        return Point3(p.x() * size, n / 2.0 + 0.3125, (p.y() - m / 2 - 0.375) * size);
    };
    append(moved(sheet(m, m), upright), soup);
    return soup;
}

TEST(CountCrossings, countsThePairsAlongALineWhereverAndHoweverLargeTheyAre) {
    for (const auto& [n, m] : {std::pair(1, 1), {6, 3}, {4, 4}, {20, 16}, {40, 1}}) {
        const Soup soup = crossingSheets(n, m);
        std::set<double> sEnds;  // of triangles along the line
        for (int i = 0; i <= n; ++i)
            sEnds.insert({static_cast<double>(i), std::min<double>(n, i + (n % 2 == 0 ? 0.6875 : 0.1875))});
        for (int i = 0; i <= m; ++i)
            sEnds.insert({i * (static_cast<double>(n) / m), std::min<double>(n, (i + 0.625) * n / m)});
        const std::vector<CrossingPair> vPairs = crossingsOf(soup);
        EXPECT_EQ(vPairs.size() + 1, sEnds.size()) << n << " " << m;
        for (const double scale : {0x1p-30, 0x1p30})
            EXPECT_EQ(crossingsOf(
                          moved(soup, [&](const Point3& p) { return Point3(p.x() * scale, p.y() * scale, p.z() * scale); })),
                      vPairs);
        EXPECT_EQ(crossingsOf(moved(soup, [](const Point3& p) { return p + Vector3(1 << 30, -(1 << 20), 1 << 10); })).size(),
                  vPairs.size());
    }
}

TEST(CountCrossings, leavesOutWhatIsNotFinite) {
    Soup soup = crossingSheets(3, 3);
    const std::size_t num = crossingsOf(soup).size();
    for (const double bad : {NOT_A_NUMBER, INF, -INF})
        append(moved(sheet(1, 1), [bad](const Point3& p) { return Point3(p.x(), bad, p.y()); }), soup);
    EXPECT_EQ(crossingsOf(soup).size(), num);
}

// ---- The index ----------------------------------------------------------------------------------------------------------

TriangleCorners randomCorners(Random& random) {
    const auto coordinate = [&] { return static_cast<double>(pick(random, 2001)) / 1000.0 - 1.0; };
    const double size = std::pow(10.0, static_cast<double>(pick(random, 4)) - 3.0) * static_cast<double>(pick(random, 8));
    const Point3 centre(coordinate(), coordinate(), 0.1 * coordinate());
    TriangleCorners t;
    for (Point3& p : t)
        p = centre + Vector3{coordinate(), coordinate(), coordinate()} * size;
    return t;
}

TEST(CrossingIndex, findsWhatTheSearchOfAllTrianglesFinds) {
    for (const double usualSize : {1e-6, 0.01, 3.0, 1e9}) {
        CrossingIndex index(usualSize);
        std::map<std::uint32_t, TriangleCorners> mTriangle;
        Random random(7);
        for (int i = 0; i < 3000; ++i) {
            const auto id = static_cast<std::uint32_t>(pick(random, 400));
            const TriangleCorners t = randomCorners(random);
            if (pick(random, 3) == 0) {
                index.remove(id);
                mTriangle.erase(id);
            } else {
                index.change(id, t);
                mTriangle[id] = t;
            }
            ASSERT_EQ(index.size(), mTriangle.size());
            const TriangleCorners asked = randomCorners(random);
            std::vector<std::uint32_t> vExpected;
            for (const auto& [number, other] : mTriangle)
                if (boxOf(other).intersects(boxOf(asked))) vExpected.push_back(number);
            std::vector<std::uint32_t> vFound;
            index.forEachNear(boxOf(asked), [&](std::uint32_t found) { vFound.push_back(found); });
            ASSERT_EQ(sorted(vFound), vExpected) << i;
        }
    }
}

TEST(CrossingIndex, countsThePairsThatComeAndGo) {
    std::array<std::size_t, 2> aAllowed{};
    for (unsigned seed = 0; seed < 300; ++seed) {
        Random random(seed);
        std::vector<TriangleCorners> vAll;  // the first ones are left out, the last ones are new
        for (std::size_t i = 0; i < 24; ++i)
            vAll.push_back(Shear{}(randomTriangle(random, 5)));
        const std::size_t numOld = pick(random, 5), firstNew = 24 - 1 - pick(random, 5);
        CrossingIndex index(1.0);
        CrossingIndex::Ids vOld;
        for (std::uint32_t i = 0; i < firstNew; ++i)
            index.insert(i, vAll[i]);
        for (std::uint32_t i = 0; i < numOld; ++i)
            vOld.push_back(i);
        const auto numPairs = [&](std::size_t from, std::size_t to) {
            std::size_t num = 0;
            for (std::size_t i = from; i < to; ++i)
                for (std::size_t j = i + 1; j < to; ++j)
                    num += areCrossing(vAll[i], vAll[j]) ? 1 : 0;
            return num;
        };
        const std::size_t numBefore = numPairs(0, firstNew), numAfter = numPairs(numOld, 24),
                          numRest = numPairs(numOld, firstNew);
        std::vector<TriangleCorners> vNew(vAll.begin() + static_cast<std::ptrdiff_t>(firstNew), vAll.end());
        for (const double bad : {NOT_A_NUMBER, INF})
            vNew.push_back({Point3(bad, 0, 0), Point3(0, 5, 0), Point3(0, 0, 5)});
        vOld.push_back(1000);  // a triangle that isn't there
        const std::size_t num = index.numCrossings(vNew, vOld);
        ASSERT_EQ(num, numAfter - numRest) << seed;
        ASSERT_EQ(index.numCrossings(vNew, vOld, 1) > 0, num > 0) << seed;
        ASSERT_EQ(index.changeBy(vOld, vNew),
                  static_cast<std::ptrdiff_t>(numAfter) - static_cast<std::ptrdiff_t>(numBefore));
        ASSERT_EQ(index.allows(vOld, vNew), numAfter <= numBefore) << seed;
        if (num > 0) ++aAllowed[numAfter <= numBefore ? 1 : 0];
    }
    EXPECT_TRUE(aAllowed[0] > 20 && aAllowed[1] > 20) << aAllowed[0] << " " << aAllowed[1];
}

TEST(CrossingIndex, takesTheLargestCoordinates) {
    CrossingIndex index(1.0);
    for (const double x : {LARGEST, LARGEST / 2, 1.0}) {
        index.change(0, {Point3(-x, -x, 0), Point3(x, -x, 0), Point3(0, x, 0)});
        for (const auto& [z, num] : {std::pair(-x, 1U), {0.5 * x, 0U}})
            EXPECT_EQ(index.numCrossings({{Point3(0, 0, z), Point3(x / 8, 0, x), Point3(0, x / 8, x)}}, {}), num) << x;
    }
}

TEST(CrossingIndex, takesPointsFarOutAndBoxesWithoutSize) {
    CrossingIndex index(1.0);
    const std::vector<Point3> vPlace{{0, 0, 0},      {1e300, -1e300, 0}, {1e300, -1e300, 1}, {1e9, 1e9, 1e9},
                                     {5e-324, 0, 0}, {-1e-310, 0, 0},    {1e9 + 1, 1e9, 1e9}};
    for (std::uint32_t i = 0; i < vPlace.size(); ++i)
        index.insert(i, {vPlace[i], vPlace[i], vPlace[i]});
    for (std::uint32_t i = 0; i < vPlace.size(); ++i) {
        std::vector<std::uint32_t> vFound;
        index.forEachNear(boxOf({vPlace[i], vPlace[i], vPlace[i]}), [&](std::uint32_t id) { vFound.push_back(id); });
        EXPECT_EQ(vFound, std::vector{i});
    }
    std::size_t num = 0;
    index.forEachNear({-LARGEST, -LARGEST, -LARGEST, LARGEST, LARGEST, LARGEST}, [&](std::uint32_t) { ++num; });
    EXPECT_EQ(num, vPlace.size());
}

}  // namespace
