// What points carry, carried over to the vertices of a mesh.
#include "support/TempFolder.h"
#include "support/attributes.h"
#include "support/fine.h"

using namespace TARN_TEST;

namespace {

/// A bumpy sheet of n * n vertices, one apart.
MeshPtr bumpySheet(int n) {
    Soup soup = sheet(n - 1, n - 1);
    for (Point3& p : soup.vVtx)
        p = Point3(p.x(), p.y(), std::sin(0.3 * p.x()) * std::cos(0.2 * p.y()));
    return meshOf(soup);
}

/// Points within half a step of the sheet.
Points pointsOn(int n, std::size_t numPoints, unsigned seed) {
    Random random(seed);
    const auto uniform = [&] { return static_cast<double>(pick(random, 1000000)) / 1e6; };
    Points vPoints;
    while (vPoints.size() < numPoints) {
        const double x = uniform() * (n - 1), y = uniform() * (n - 1);
        vPoints.emplace_back(x, y, std::sin(0.3 * x) * std::cos(0.2 * y) + 0.2 * uniform() - 0.1);
    }
    return vPoints;
}

/// Of each vertex the points of which it is the nearest vertex, if it is within the length. Looks at all pairs.
std::vector<std::vector<std::size_t>> ownPoints(const Points& vVertices, const Points& vPoints, double length) {
    std::vector<std::vector<std::size_t>> vvOwn(vVertices.size());
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        std::size_t nearest = 0;
        for (std::size_t v = 0; v < vVertices.size(); ++v)
            if ((vVertices[v] - vPoints[i]).sqLength() < (vVertices[nearest] - vPoints[i]).sqLength()) nearest = v;
        if ((vVertices[nearest] - vPoints[i]).length() <= length) vvOwn[nearest].push_back(i);
    }
    return vvOwn;
}

/// The lengths of the shortest ways along edges from a vertex to all of them.
std::vector<double> waysAlongEdges(const MeshPtr& pMesh, std::size_t vertex) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vVertices, vIndices);
    std::vector<double> vWay(vVertices.size(), INF);
    vWay[vertex] = 0.0;
    for (bool bShorter = true; bShorter;) {
        bShorter = false;
        for (std::size_t i = 0; i < vIndices.size(); ++i) {
            const auto a = static_cast<std::size_t>(vIndices[i]);
            const auto b = static_cast<std::size_t>(vIndices[i % 3 == 2 ? i - 2 : i + 1]);
            const double length = (*vVertices[a] - *vVertices[b]).length();
            for (const auto& [from, to] : {std::pair(a, b), std::pair(b, a)})
                if (vWay[from] + length < vWay[to]) {
                    vWay[to] = vWay[from] + length;
                    bShorter = true;
                }
        }
    }
    return vWay;
}

template <typename T>
const std::vector<T>& valuesOf(const PointAttributes& attributes, const std::string& name) {
    return std::get<std::vector<T>>(attributes.find(name)->values);
}

PointAttributes colours(const std::vector<std::uint8_t>& vRed) {
    PointAttributes attributes;
    for (const char* name : {"red", "green", "blue"})
        attributes.set(columnOf(name, vRed));
    return attributes;
}

}  // namespace

TEST(Transfer, EqualValuesOfEveryTypeStayWhatTheyAre) {
    const MeshPtr pMesh = bumpySheet(12);
    const Points vPoints = pointsOn(12, 2000, 1);
    const std::size_t numVertices = verticesOf(pMesh).size();
    forSeeds(20, [&](unsigned seed) {
        PointAttributes one = oneOfEachType(1, seed);
        one.set(columnOf<std::int64_t>("most", {std::numeric_limits<std::int64_t>::max()}));
        one.set(columnOf<double>("greatest", {LARGEST}));
        one.set(columnOf<float>("nx", {0.6F}));
        one.set(columnOf<float>("ny", {-0.64F}));
        one.set(columnOf<float>("nz", {0.48F}));
        for (const char* name : {"red", "green", "blue"})
            one.set(columnOf<double>(name, {static_cast<double>(seed) / 19.0}));
        const std::vector<std::size_t> vRows(vPoints.size(), 0), vVertexRows(numVertices, 0);
        EXPECT_EQ(difference(transferAttributes(pMesh, vPoints, one.rows(vRows), 1.0), one.rows(vVertexRows)), "");
    });
    for (int colour = 0; colour < 256; ++colour) {
        const auto value = static_cast<std::uint8_t>(colour);
        EXPECT_EQ(difference(transferAttributes(pMesh, vPoints, colours(std::vector(vPoints.size(), value)), 1.0),
                             colours(std::vector(numVertices, value))),
                  "");
    }
}

TEST(Transfer, AgreesWithTheMeansOfAllPairs) {
    const int n = 12;
    const MeshPtr pMesh = bumpySheet(n);
    const Points vVertices = verticesOf(pMesh);
    for (const double length : {0.4, 1.0, 100.0}) {
        Points vPoints = pointsOn(n, 3000, 2);
        vPoints.emplace_back(5, 5, 40);
        vPoints.emplace_back(NOT_A_NUMBER, 0, 0);
        PointAttributes given = oneOfEachType(vPoints.size(), 3);
        std::vector<std::uint8_t> vRed;
        std::vector<std::int32_t> vClass;
        std::vector<double> vHeight;
        Random random(4);
        for (std::size_t i = 0; i < vPoints.size(); ++i) {
            vRed.push_back(static_cast<std::uint8_t>(pick(random, 256)));
            vClass.push_back(static_cast<std::int32_t>(pick(random, 3)) - 1);
            vHeight.push_back(pick(random, 5) == 0 ? NOT_A_NUMBER : vPoints[i].z());
        }
        for (const AttributeColumn& column : colours(vRed).vColumns)
            given.set(column);
        given.set(columnOf("Label", vClass));
        given.set(columnOf("height", vHeight));
        const PointAttributes made = transferAttributes(pMesh, vPoints, given, length);
        ASSERT_EQ(made.vColumns.size(), given.vColumns.size());

        vPoints.pop_back();
        const auto vvOwn = ownPoints(vVertices, vPoints, length);
        const auto light = [](double c) { return c <= 10.31475 ? c / 3294.6 : std::pow((c + 14.025) / 269.025, 2.4); };
        for (std::size_t v = 0; v < vVertices.size(); ++v) {
            if (vvOwn[v].empty()) continue;
            double sumLight = 0, sumHeight = 0, numHeights = 0, sumShort = 0;
            std::array<int, 3> aCount{};
            for (const std::size_t i : vvOwn[v]) {
                sumLight += light(vRed[i]);
                ++aCount.at(static_cast<std::size_t>(vClass[i] + 1));
                sumShort += given.find("of_int16")->number(i);
                if (std::isnan(vHeight[i])) continue;
                sumHeight += vHeight[i];
                ++numHeights;
            }
            const double num = static_cast<double>(vvOwn[v].size());
            ASSERT_NEAR(light(valuesOf<std::uint8_t>(made, "red")[v]), sumLight / num, 0.005) << "half a step of 8 bits";
            const auto most = std::max_element(aCount.begin(), aCount.end()) - aCount.begin();
            ASSERT_EQ(valuesOf<std::int32_t>(made, "Label")[v], most - 1);
            ASSERT_EQ(valuesOf<std::int16_t>(made, "of_int16")[v], std::floor(sumShort / num + 0.5));
            ASSERT_EQ(made.find("height")->isKnown(v), numHeights > 0);
            if (numHeights > 0) {
                ASSERT_NEAR(valuesOf<double>(made, "height")[v], sumHeight / numHeights, 1e-12);
            }
        }
    }
}

TEST(Transfer, DoesNotDependOnTheOrderOfPointsOrOnThreads) {
    const int n = 70;
    const MeshPtr pMesh = bumpySheet(n);
    const Points vPoints = pointsOn(n, 30000, 6);
    PointAttributes given = oneOfEachType(vPoints.size(), 7);
    given = without(given, {"of_int64", "of_uint64", "of_float", "of_double"});  // sums of the others are exact
    std::vector<std::uint8_t> vRed;
    for (std::size_t i = 0; i < vPoints.size(); ++i)
        vRed.push_back(static_cast<std::uint8_t>(i % 251));
    for (const AttributeColumn& column : colours(vRed).vColumns)
        given.set(column);
    setNumThreads(1);
    const PointAttributes made = transferAttributes(pMesh, vPoints, given, 1.0);
    setNumThreads(5);
    EXPECT_EQ(difference(transferAttributes(pMesh, vPoints, given, 1.0), made), "");
    setNumThreads(0);
    std::vector<std::size_t> vRow(vPoints.size());
    std::iota(vRow.begin(), vRow.end(), std::size_t{0});
    std::mt19937 random(8);
    std::shuffle(vRow.begin(), vRow.end(), random);
    Points vShuffled;
    for (const std::size_t row : vRow)
        vShuffled.push_back(vPoints[row]);
    EXPECT_EQ(difference(transferAttributes(pMesh, vShuffled, given.rows(vRow), 1.0), made), "");
}

TEST(Transfer, MeansOfLargeWholeNumbersAreExact) {
    const MeshPtr pMesh = bumpySheet(2);
    const auto meanOf = [&](const std::vector<std::int64_t>& v) {
        PointAttributes given;
        given.set(columnOf("time", v));
        return valuesOf<std::int64_t>(transferAttributes(pMesh, Points(v.size(), Point3(0, 0, 0)), given, 0.5), "time")[0];
    };
    constexpr std::int64_t LARGE = std::int64_t{1} << 60, MOST = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(meanOf({LARGE, LARGE + 2}), LARGE + 1);
    EXPECT_EQ(meanOf({MOST, MOST - 6, MOST - 3}), MOST - 3);
    EXPECT_EQ(meanOf({-MOST, -MOST + 10, -MOST + 5}), -MOST + 5);
    EXPECT_EQ(meanOf({MOST, -MOST}), 0);
}

TEST(Transfer, NormalsHaveTheMeanDirectionAndLengthOne) {
    const MeshPtr pMesh = bumpySheet(2);
    const Point3 place(0, 0, 0);
    const auto normalOf = [&](const std::vector<Vector3>& vNormals) {
        std::vector<double> vX, vY, vZ;
        for (const Vector3& n : vNormals)
            vX.push_back(n.x()), vY.push_back(n.y()), vZ.push_back(n.z());
        PointAttributes given;
        given.set(columnOf("nx", vX)), given.set(columnOf("ny", vY)), given.set(columnOf("nz", vZ));
        const PointAttributes made = transferAttributes(pMesh, Points(vNormals.size(), place), given, 0.5);
        return Vector3(valuesOf<double>(made, "nx")[0], valuesOf<double>(made, "ny")[0], valuesOf<double>(made, "nz")[0]);
    };
    ASSERT_EQ(verticesOf(pMesh)[0], place);
    EXPECT_LT((normalOf({{5, 0, 0}, {0, 0.1, 0}}) - Vector3(std::sqrt(0.5), std::sqrt(0.5), 0)).length(), 1e-15);
    EXPECT_LT((normalOf({{0, 0, 2}, {0, 0, -1}}) - Vector3(0, 0, 1)).length(), 1e-15) << "the first of opposite ones";
    EXPECT_LT((normalOf({{0, 0, 0}, {NOT_A_NUMBER, 0, 0}, {0, 3, 4}}) - Vector3(0, 3, 4)).length(), 1e-15);
    EXPECT_TRUE(std::isnan(normalOf({{0, 0, 0}}).x()));
}

TEST(Transfer, FarPointsCountNowhereUnlessAllAreFar) {
    const MeshPtr pMesh = bumpySheet(3);
    const Points vVertices = verticesOf(pMesh);
    PointAttributes given;
    given.set(columnOf<int>("i", {4, 100}));
    const auto madeOf = [&](const Points& vPoints) {
        return valuesOf<int>(transferAttributes(pMesh, vPoints, given, 0.5), "i");
    };
    EXPECT_EQ(madeOf({vVertices[0], vVertices[8] + Vector3(0, 0, 0.6)}), std::vector<int>(9, 4));
    const std::vector<int> vBoth = madeOf({vVertices[0] + Vector3(-9, 0, 0), vVertices[8] + Vector3(0, 0, 9)});
    EXPECT_EQ(vBoth[0], 4);
    EXPECT_EQ(vBoth[8], 100);
    EXPECT_EQ(transferAttributes(pMesh, {{INF, 0, 0}, {0, NOT_A_NUMBER, 0}}, given).find("i")->isKnown(3), false);
    EXPECT_TRUE(transferAttributes(pMesh, {{0, 0, 0}, {1, 1, 1}}, {}).empty());
    expectFails("column.size()==numRows", [&] { transferAttributes(pMesh, {{0, 0, 0}}, given); });
    expectFails("pMesh!=__null", [&] { transferAttributes(nullptr, {{0, 0, 0}}, given); });
}

TEST(Transfer, VerticesWithoutPointsOrColourBorrowFromTheNearestOneThatHasSome) {
    const int n = 30;
    const MeshPtr pMesh = bumpySheet(n);
    const Points vVertices = verticesOf(pMesh), vAll = pointsOn(n, 6000, 9);
    const auto isInHole = [](const Point3& p) { return (p - Point3(15, 15, p.z())).length() < 8; };
    Points vOutside = vAll;
    std::erase_if(vOutside, isInHole);
    // Values differ from point to point, so an equal one is a borrowed one. vSource: the points that have one.
    const auto expectBorrowed = [&](const auto& vMade, const Points& vSource) {
        const auto vvOwn = ownPoints(vVertices, vSource, 1.0);
        std::size_t numOrphans = 0;
        for (std::size_t v = 0; v < vVertices.size(); ++v) {
            if (!vvOwn[v].empty()) continue;
            ++numOrphans;
            const std::vector<double> vWay = waysAlongEdges(pMesh, v);
            double least = INF;
            for (std::size_t u = 0; u < vVertices.size(); ++u)
                if (!vvOwn[u].empty()) least = std::min(least, vWay[u]);
            bool bNearest = false;
            for (std::size_t u = 0; u < vVertices.size(); ++u)
                if (!vvOwn[u].empty() && vMade[u] == vMade[v]) bNearest = bNearest || vWay[u] <= least + 1e-9;
            ASSERT_TRUE(bNearest) << vVertices[v];
        }
        EXPECT_GT(numOrphans, 100U);
    };
    std::vector<double> vNumber(vOutside.size());
    std::iota(vNumber.begin(), vNumber.end(), 0.0);
    PointAttributes given;
    given.set(columnOf("number", vNumber));
    expectBorrowed(valuesOf<double>(transferAttributes(pMesh, vOutside, given, 1.0), "number"), vOutside);

    std::vector<std::uint16_t> vRed;
    std::vector<unsigned char> vMissing;
    std::vector<float> vHeight;
    for (const Point3& p : vAll) {
        vMissing.push_back(isInHole(p) ? 1 : 0);
        vRed.push_back(isInHole(p) ? std::uint16_t{0} : static_cast<std::uint16_t>(vRed.size()));
        vHeight.push_back(isInHole(p) ? std::numeric_limits<float>::quiet_NaN() : 1.0F);
    }
    PointAttributes spotted;
    for (const char* name : {"red", "green", "blue"})
        spotted.set({name, vRed, vMissing});
    spotted.set(columnOf("height", vHeight));
    const PointAttributes made = transferAttributes(pMesh, vAll, spotted, 1.0);
    expectBorrowed(valuesOf<std::uint16_t>(made, "green"), vOutside);
    EXPECT_TRUE(made.find("red")->vMissing.empty());
    const std::vector<float> vMade = valuesOf<float>(made, "height");
    EXPECT_GT(std::count_if(vMade.begin(), vMade.end(), [](float v) { return std::isnan(v); }), 100)
        << "only what would be black is borrowed";
}

// Two sheets, 0.3 apart and joined along one side; the points of the upper one lack a round place, those of the lower one
// not.
TEST(Transfer, NothingIsBorrowedThroughAThinWall) {
    const int n = 24;
    const auto isUpper = [](const Point3& p) { return p.z() > 0.0; };
    for (const bool bUpper : {true, false}) {
        Soup soup = sheet(2 * n + 1, n);
        for (Point3& p : soup.vVtx)
            p = p.x() <= n ? Point3(p.x(), p.y(), 0.3) : Point3(2 * n + 1 - p.x(), p.y(), 0.0);
        const MeshPtr pMesh = meshOf(soup);
        Points vPoints;
        std::vector<int> vSide;
        for (const Point3& p : verticesOf(pMesh)) {
            const bool bHole = (p - Point3(10, 12, p.z())).length() < 7;
            if (isUpper(p) && bHole) continue;
            vPoints.push_back(p);
            vSide.push_back(isUpper(p) ? 1 : 2);
        }
        if (!bUpper) {  // which has nothing of its own
            std::erase_if(vPoints, isUpper);
            vSide.assign(vPoints.size(), 2);
        }
        PointAttributes given;
        given.set(columnOf("side", vSide));
        const PointAttributes made = transferAttributes(pMesh, vPoints, given, 0.1);
        const Points vVertices = verticesOf(pMesh);
        for (std::size_t v = 0; v < vVertices.size(); ++v)
            ASSERT_EQ(valuesOf<int>(made, "side")[v], isUpper(vVertices[v]) && bUpper ? 1 : 2) << vVertices[v];
    }
    const CoutSilence silence;
    const TempFolder folder;
    const MeshPtr pApart = readMesh_auto(
        folder.write("a.off", "OFF\n6 2 0\n0 0 0\n1 0 0\n0 1 0\n5 0 0\n6 0 0\n5 1 0\n3 0 1 2\n3 3 4 5\n"), 0.0);
    PointAttributes given;
    given.set(columnOf<int>("i", {1, 2}));
    const PointAttributes made = transferAttributes(pApart, {{0, 0, 0}, {1, 0, 0}}, given, 0.4);
    EXPECT_EQ(valuesOf<int>(made, "i"), (std::vector<int>{1, 2, 1, 2, 2, 2})) << "through space where no edges lead";
}

TEST(Transfer, VerticesAtOnePlaceShareTheirPoints) {
    const CoutSilence silence;
    const TempFolder folder;
    const std::string path = folder.write(
        "a.off", "OFF\n6 2 0\n0 0 0\n1 0 0\n0 1 0\n0 0 0\n-1 0 0\n0 -1 0\n3 0 1 2\n3 3 4 5\n");  // two fans in one place
    const MeshPtr pMesh = readMesh_auto(path, 0.0, false);
    ASSERT_TRUE(pMesh && verticesOf(pMesh).size() == 6U);
    PointAttributes given;
    given.set(columnOf<double>("d", {1, 2, 6}));
    const PointAttributes made = transferAttributes(pMesh, {{0.1, 0.1, 0}, {-0.1, -0.1, 0}, {1, 0, 0}}, given, 0.4);
    int numShared = 0;
    for (std::size_t v = 0; v < 6; ++v)
        if (verticesOf(pMesh)[v] == Point3(0, 0, 0)) numShared += valuesOf<double>(made, "d")[v] == 1.5 ? 1 : 0;
    EXPECT_EQ(numShared, 2);
}
