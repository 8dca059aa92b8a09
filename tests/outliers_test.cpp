// Outliers found: all of them at any distance, and nothing of a surface.
#include "outliers.h"

#include "CloudSample.h"
#include "SyntheticScan.h"
#include "kel.h"
#include "runGrid.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Points = std::vector<Point3>;
using Positions = std::vector<std::size_t>;

/// A scan whose outliers stand behind its points.
struct Scanned {
    explicit Scanned(const ScanRequest& request) : truth(makeScan(request, vPoints)) {
        numClean = vPoints.size() - truth.numOutliers;
    }
    Points clean() const { return {vPoints.begin(), vPoints.begin() + static_cast<std::ptrdiff_t>(numClean)}; }

    Points vPoints;
    ScanTruth truth;
    std::size_t numClean = 0;
};

ScanRequest request(const std::string& shape, unsigned seed, const std::string& kind, double distance, double share,
                    const std::string& pattern = "even") {
    return {shape, 6000, 0.1, seed, pattern, 0.0, 0.0, share, kind, distance};
}

double estimatedSpacing(Points vPoints) {
    const CoutSilence silence;
    return estimateAvgSpacing(vPoints);
}

Positions straysOf(const Points& vPoints, double spacing) {
    if (vPoints.empty() || !canBeGridded(boundsOf(vPoints), spacing)) return {};
    CloudSample sample(vPoints, makeGrid(boundsOf(vPoints), spacing));
    return findStrays(vPoints, sample);
}

/// What is left after both steps, the second done twice.
Points cleaned(Points vPoints) {
    removePoints(findFarOutliers(vPoints), vPoints);
    for (int round = 0; round < 2; ++round)
        removePoints(straysOf(vPoints, estimatedSpacing(vPoints)), vPoints);
    return vPoints;
}

Points sorted(Points vPoints) {
    std::sort(vPoints.begin(), vPoints.end());
    return vPoints;
}

/// A lattice in the plane z = z0, n by n points.
void addSheet(int n, const Point3& corner, double step, Points& vPoints) {
    for (int i = 0; i < n * n; ++i)
        vPoints.push_back(corner + Vector3(step * (i % n), step * (i / n), 0.0));
}

Points sheet(int n) {
    Points vPoints;
    addSheet(n, Point3(), 1.0, vPoints);
    return vPoints;
}

}  // namespace

TEST(FarOutliers, areFoundAtAnyDistanceAndNumber) {
    for (const std::string kind : {"far", "clumps"})
        for (const double distance : {1e4, 1e6, 1e9, 1e100, 1e300})
            for (const double share : {0.0003, 0.05, 0.49})
                for (unsigned seed = 1; seed <= 3; ++seed) {
                    const Scanned scan(request(seed == 2 ? "torus" : "sphere", seed, kind, distance, share));
                    Positions vExpected(scan.truth.numOutliers);
                    std::iota(vExpected.begin(), vExpected.end(), scan.numClean);
                    EXPECT_TRUE(findFarOutliers(scan.vPoints) == vExpected) << kind << distance << " " << share;
                }
}

TEST(FarOutliers, nothingElseIs) {
    for (const std::string& shape : scanShapes())
        EXPECT_EQ(findFarOutliers(Scanned(request(shape, 1, "far", 0.0, 0.0)).vPoints), Positions()) << shape;
    for (const double distance : {1e2, 1e5, 1e9}) {
        Points vTwoScans = sheet(60), vPart = sheet(60);
        addSheet(60, Point3(distance * 60.0, 0.0, 0.0), 1.0, vTwoScans);
        addSheet(5, Point3(distance * 60.0, 0.0, 0.0), 1.0, vPart);
        EXPECT_EQ(findFarOutliers(vTwoScans), Positions()) << distance;
        EXPECT_EQ(findFarOutliers(vPart), Positions()) << distance;
        vPart.resize(vPart.size() - 12);
        EXPECT_EQ(findFarOutliers(vPart).size(), 13U) << "too few for a sheet";
    }
    Points vObject = sheet(120);  // in the middle of sparse surroundings
    addSheet(80, Point3(-3000.0, -3000.0, -5.0), 75.0, vObject);
    EXPECT_EQ(findFarOutliers(vObject), Positions());
}

TEST(FarOutliers, manyAtOnePlaceAreNoSheet) {
    for (const std::size_t numEqual : {5U, 900U}) {
        Points vPoints = sheet(60);
        vPoints.insert(vPoints.end(), numEqual, Point3(1e6, 1e6, 1e6));
        EXPECT_EQ(findFarOutliers(vPoints).size(), numEqual);
    }
    for (const std::size_t numEqual : {4000U, 60000U}) {  // what couldn't be measured is put into the middle of the scan
        Points vPoints = sheet(60);
        vPoints.insert(vPoints.end(), numEqual, Point3(30.0, 30.0, 0.0));
        vPoints.emplace_back(1e7, 0.0, 0.0);
        EXPECT_EQ(findFarOutliers(vPoints), Positions{3600 + numEqual});
    }
}

TEST(FarOutliers, aDenseDetailIsNotAllThereIs) {
    Points vPoints = Scanned(request("sphere", 1, "far", 0.0, 0.0)).vPoints;
    const std::size_t numClean = vPoints.size();
    for (std::size_t i = 0; i < 2 * numClean; ++i) {  // twice as many points in a thousandth of the extent
        const Vector3 offset = vPoints[i % numClean] - Point3();
        vPoints.push_back(vPoints[0] + offset * 2e-3);
    }
    EXPECT_EQ(findFarOutliers(vPoints), Positions());
    vPoints.emplace_back(1e6, 0.0, 0.0);
    EXPECT_EQ(findFarOutliers(vPoints), Positions{vPoints.size() - 1});
}

TEST(FarOutliers, smallPartsOfLargeCloudsAndCrossedPlanes) {
    Points vPoints = sheet(90);
    addSheet(6, Point3(1e6, 0.0, 0.0), 1.0, vPoints);
    EXPECT_EQ(findFarOutliers(vPoints).size(), 36U) << "too few for so many";
    Points vCrossed;  // most coordinates are 0 on every axis
    for (int axis = 0; axis < 3; ++axis)
        for (const Point3& p : sheet(40)) {
            const double a = p.x() - 20.0, b = p.y() - 20.0;
            vCrossed.push_back(axis == 0 ? Point3(0.0, a, b) : axis == 1 ? Point3(a, 0.0, b) : Point3(a, b, 0.0));
        }
    vCrossed.emplace_back(1e7, 0.0, 0.0);
    EXPECT_EQ(findFarOutliers(vCrossed), Positions{vCrossed.size() - 1});
}

TEST(Strays, aSpacingFarBelowThePointsMakesNone) {
    const Points vPoints = Scanned({"sphere", 30000, 1.0, 1, "even", 0.0}).vPoints;
    EXPECT_EQ(straysOf(vPoints, 0.4 * estimatedSpacing(vPoints)), Positions());
}

TEST(Outliers, degenerateCloudsStay) {
    const Points vEqual(500, Point3(1.0, 2.0, 3.0)), vTwo = {Point3(), Point3(1e308, -1e308, 0.0)};
    Points vHuge;
    for (const Point3& p : sheet(30))
        vHuge.emplace_back(1e307 * (p.x() - 15.0), 1e307 * (p.y() - 15.0), 0.0);
    for (const Points& vPoints : {Points(), Points{Point3(1.0, 2.0, 3.0)}, vTwo, vEqual, vHuge}) {
        EXPECT_EQ(findFarOutliers(vPoints), Positions()) << vPoints.size();
        for (const double spacing : {1e-300, 1.0, 1e307, INF, NOT_A_NUMBER, 0.0, -1.0})
            EXPECT_EQ(straysOf(vPoints, spacing), Positions()) << vPoints.size() << " " << spacing;
    }
}

TEST(Strays, cleanCloudsStayWhole) {
    for (const std::string shape : {"sphere", "torus", "plane", "cube", "block", "wall", "patches"})
        for (const std::string pattern : {"even", "random", "lines", "overlap", "misfit"}) {
            const Points vPoints = Scanned(request(shape, 1, "far", 0.0, 0.0, pattern)).vPoints;
            EXPECT_EQ(straysOf(vPoints, estimatedSpacing(vPoints)), Positions()) << shape << " " << pattern;
        }
    for (const std::string pattern : {"varying", "sparse"})
        for (const double ratio : {16.0, 64.0}) {
            const Points vPoints = Scanned({"sphere", 30000, 0.1, 1, pattern, ratio}).vPoints;
            EXPECT_EQ(straysOf(vPoints, estimatedSpacing(vPoints)), Positions()) << pattern << ratio;
        }
}

TEST(Strays, wiresAndSmallPartsStay) {
    for (const double step : {0.7, 1.0, 2.5, 6.0}) {  // from touching cells to gaps of several
        Points vPoints = sheet(60);
        for (int i = 0; i < 20; ++i)
            vPoints.emplace_back(70.0 + step * i, 30.0 + 0.3 * step * i, 10.0 + 0.2 * step * i);
        addSheet(5, Point3(0.0, 0.0, 40.0), step, vPoints);
        EXPECT_EQ(straysOf(vPoints, 1.2), Positions()) << step;
        for (const Point3& p : {Point3(30.0, 30.0, 5.0), Point3(30.0, -7.0, 0.0), Point3(-50.0, 30.0, 30.0)})
            vPoints.push_back(p);
        const std::size_t first = vPoints.size() - 3;
        EXPECT_EQ(straysOf(vPoints, 1.2), (Positions{first, first + 1, first + 2})) << step;
    }
}

TEST(Strays, hoverOverASheet) {
    for (const std::string shape : {"sphere", "torus"})
        for (const double distance : {1.5, 2.0, 2.5}) {
            const Scanned scan({shape, 20000, 0.1, 2, "even", 0.0, 0.0, 0.03, "near", distance});
            const Positions vStrays = straysOf(scan.vPoints, estimatedSpacing(scan.vPoints));
            const auto itFirst = std::lower_bound(vStrays.begin(), vStrays.end(), scan.numClean);
            EXPECT_EQ(itFirst - vStrays.begin(), 0) << shape << distance;
            EXPECT_GT(static_cast<double>(vStrays.end() - itFirst), 0.8 * static_cast<double>(scan.truth.numOutliers))
                << shape << distance;
        }
}

TEST(Strays, whatStandsOnASheetStays) {
    const auto onSheet = [](const std::vector<Vector3>& vOffset) {
        Points vPoints = sheet(40);
        addSheet(40, Point3(0.0, 0.0, -20.6), 1.0, vPoints);  // a layer of cells begins close above the upper one
        for (const Vector3& offset : vOffset)
            vPoints.push_back(Point3(20.1, 20.2, 0.0) + offset);
        return straysOf(vPoints, 1.1).size();
    };
    for (const double height : {1.3, 1.8, 2.4}) {
        EXPECT_EQ(onSheet({{0.0, 0.0, height}}), 1U) << height;
        EXPECT_EQ(onSheet({{0.0, 0.0, -height}, {0.9, 0.3, -height}}), 2U) << height;
        EXPECT_EQ(onSheet({{0.6, 0.0, height}, {1.0, 0.1, height}}), 2U) << height << ": no row of two";
        std::vector<Vector3> vPatch, vWire, vSparse;
        for (int i = 0; i < 16; ++i) {
            vPatch.emplace_back(i % 4, i / 4, height);
            vWire.emplace_back(0.05 * i, 0.0, height + i);
            vSparse.emplace_back(1.7 * (i % 4), 1.7 * (i / 4), height);
        }
        EXPECT_EQ(onSheet(vPatch), 0U) << height;
        EXPECT_EQ(onSheet(vWire), 0U) << height;
        EXPECT_EQ(onSheet(vSparse), 0U) << height;
        EXPECT_EQ(onSheet({{0.0, 0.0, height}, {1.2, 0.2, height - 0.1}, {0.5, 1.2, height - 0.2}}), 0U) << height;
        EXPECT_EQ(onSheet({{0.0, 0.0, height}, {2.0, 0.0, height}, {-0.4, 2.0, height}, {-1.6, -1.1, height}}), 3U)
            << height;
        for (const double step : {1.2, 1.7, 2.2, 2.8}) {
            std::vector<Vector3> vAlong;
            for (int i = 0; i < 6; ++i)
                vAlong.emplace_back(step * i - 6.0, 0.4 * step * i, height);
            EXPECT_EQ(onSheet(vAlong), step < 2.0 ? 0U : 2U) << height << " " << step;  // its ends see one other only
        }
    }
    EXPECT_EQ(onSheet({{0.0, 0.0, 0.8}}), 0U) << "as noise does";
    EXPECT_EQ(onSheet({{0.6, 0.6, 1.0}}), 1U);
    EXPECT_EQ(onSheet({{0.0, 0.0, 1.4}, {1.2, 0.2, 0.8}, {-0.3, 1.2, 0.75}}), 0U) << "a tip";
    EXPECT_EQ(onSheet({{0.0, 0.0, 1.4}, {1.2, 0.2, 0.3}, {-0.3, 1.2, 0.25}}), 1U) << "over uneven ground";
    // Afar, three are a row only when they are straight; others at another height are no wall.
    EXPECT_EQ(onSheet({{0.0, 0.0, 1.8}, {2.2, 0.0, 2.4}, {-2.2, 0.0, 1.8}}), 3U);
    EXPECT_EQ(onSheet({{0.0, 0.0, 1.4}, {2.3, 0.2, 2.0}, {-0.4, 2.3, 2.0}, {-1.9, -1.5, 2.0}}), 4U);
    for (const double radius : {0.5, 0.75, 1.0, 1.5, 2.5}) {  // a limb
        std::vector<Vector3> vLimb;
        const int numRound = std::max(3, static_cast<int>(std::lround(6.2832 * radius)));
        for (int i = 0; i < 8 * numRound; ++i) {
            const double angle = 6.2832 * (i % numRound + 0.5 * (i / numRound)) / numRound;
            vLimb.emplace_back(radius * std::cos(angle), radius * std::sin(angle), 1.0 + i / numRound);
        }
        EXPECT_EQ(onSheet(vLimb), 0U) << radius;
    }
    Points vOverHole = sheet(40);
    const Point3 tip(20.1, 20.2, 1.5);
    std::erase_if(vOverHole, [&](const Point3& p) { return std::hypot(p.x() - tip.x(), p.y() - tip.y()) < 1.8; });
    vOverHole.push_back(tip);
    EXPECT_EQ(straysOf(vOverHole, 1.1), Positions());
    for (const double slope : {1.0, 1.5, 2.0}) {  // a tip, its node on the top alone
        Points vPoints;
        for (const Point3& p : sheet(40))
            vPoints.emplace_back(p.x(), p.y(), std::max(0.0, 6.0 - slope * std::hypot(p.x() - 20.0, p.y() - 20.0)));
        EXPECT_EQ(straysOf(vPoints, 1.1), Positions()) << slope;
    }
    Points vCorner = Scanned({"cube", 6000, 0.1, 1, "lines", 0.0}).vPoints;  // lines end in planes across
    EXPECT_EQ(straysOf(vCorner, estimatedSpacing(vCorner)), Positions());
}

TEST(Outliers, noneIsLeftAndTheSurfaceStays) {
    for (const std::string pattern : {"even", "random", "varying"})
        for (const auto& [kind, distance] : {std::pair{"near", 6.0},
                                             {"far", 2e1},
                                             {"far", 1e2},
                                             {"far", 1e3},
                                             {"far", 1e4},
                                             {"far", 1e6},
                                             {"far", 1e9},
                                             {"clumps", 1e9}})
            for (const double share : {0.002, 0.05}) {
                const Scanned scan(request("sphere", 5, kind, distance, share, pattern));
                const Points vLeft = cleaned(scan.vPoints);
                EXPECT_TRUE(std::equal(vLeft.begin(), vLeft.begin() + static_cast<std::ptrdiff_t>(scan.numClean),
                                       scan.vPoints.begin()))
                    << pattern << kind << distance;
                EXPECT_LE(static_cast<double>(vLeft.size() - scan.numClean),
                          0.02 * static_cast<double>(scan.truth.numOutliers))
                    << pattern << " " << kind << " " << distance << " " << share;
            }
}

TEST(Outliers, dependOnNeitherOrderNorScaleNorWorkers) {
    const Scanned scan(request("torus", 3, "dust", 0.0, 0.05, "varying"));
    Points vShuffled = scan.vPoints;
    vShuffled.emplace_back(1e5, 0.0, 3.0);
    const Points vLeft = sorted(cleaned(vShuffled));
    EXPECT_LT(vLeft.size(), scan.vPoints.size() - 50);
    for (unsigned seed = 1; seed <= 3; ++seed) {
        Scan(seed).shuffle(vShuffled);
        setNumThreads(static_cast<int>(seed));
        EXPECT_EQ(sorted(cleaned(vShuffled)), vLeft);
    }
    setNumThreads(0);
    for (const double factor : {0x1p-60, 0x1p40})
        EXPECT_EQ(sorted(cleaned(scaled(vShuffled, factor))), scaled(vLeft, factor)) << factor;
}
