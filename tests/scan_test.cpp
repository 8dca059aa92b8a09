// Synthetic scans: that they sample what they say, as unevenly as they say.
#include "SyntheticScan.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

struct Scanned {
    explicit Scanned(const ScanRequest& request) : truth(makeScan(request, vPoints)) {}
    Points vPoints;
    ScanTruth truth;
};

double fromSphere(const Point3& p) {
    return std::abs((p - Point3()).length() - 1.0);
}
/// Distance to the surface of that name, patches and rims aside.
double fromShape(const std::string& shape, const Point3& p) {
    const auto fromBox = [&](double x, double y, double z) {
        return std::min({std::abs(p.x()), std::abs(p.x() - x), std::abs(p.y()), std::abs(p.y() - y), std::abs(p.z()),
                         std::abs(p.z() - z)});
    };
    if (shape == "torus") return std::abs(std::hypot(std::hypot(p.x(), p.y()) - 1.0, p.z()) - 0.4);
    if (shape == "plane") return std::abs(p.z());
    if (shape == "cube") return fromBox(1.0, 1.0, 1.0);
    return shape == "block" ? fromBox(2.0, 1.0, 0.5) : fromSphere(p);
}

double toNearest(const Points& vPoints, const Point3& p) {
    double nearest = HUGE_VAL;
    for (const Point3& q : vPoints)
        if (q != p) nearest = std::min(nearest, (q - p).length());
    return nearest;
}

ScanRequest withOutliers(const std::string& kind, double distance) {
    return {"sphere", 3000, 0.0, 4, "even", 0.0, 0.0, 0.3, kind, distance};
}

}  // namespace

TEST(Scan, shapesAreSampledEvenlyFromTheSeed) {
    for (const std::string shape : {"sphere", "torus", "plane", "cube", "block", "patches"}) {
        const Points vPoints = Scanned({shape, 5001, 0.0, 7}).vPoints;
        ASSERT_EQ(vPoints.size(), 5001U);
        for (const Point3& p : vPoints)  // the widest patch looks down
            ASSERT_TRUE(fromShape(shape, p) < 1e-12 && (shape != "patches" || p.z() > -std::cos(0.3))) << shape << p;
        EXPECT_EQ(Scanned({shape, 5001, 0.0, 7}).vPoints, vPoints);
        EXPECT_NE(Scanned({shape, 5001, 0.0, 8}).vPoints, vPoints);
    }
    // Parts of equal area get equally many points, but for a few at their rims.
    std::vector<double> vBand(10);
    for (const Point3& p : Scanned({"sphere", 10000}).vPoints)
        ++vBand[static_cast<std::size_t>(std::min(9.0, (p.z() + 1.0) * 5.0))];
    for (const double count : vBand)
        EXPECT_NEAR(count, 1000.0, 10.0);
    // The torus has the share 1/2 + 1/pi of r / R on its outer half.
    const Points vTorus = Scanned({"torus", 10000}).vPoints;
    const auto numOuter = std::ranges::count_if(vTorus, [](const Point3& p) { return std::hypot(p.x(), p.y()) > 1.0; });
    EXPECT_NEAR(static_cast<double>(numOuter), 10000.0 * (0.5 + 0.4 / 3.14159265), 20.0);
}

TEST(Scan, patternsLieOnTheirSurface) {
    for (const std::string& pattern : scanPatterns())
        for (const double windowWidth : {0.0, 6.0}) {
            if (pattern == "lidar") continue;
            const Scanned scan({"sphere", 5001, 0.0, 2, pattern, 0.0, windowWidth});
            EXPECT_NEAR(static_cast<double>(scan.vPoints.size()), 5001.0, windowWidth > 0.0 ? 100.0 : 0.0) << pattern;
            double farthest = 0.0;
            for (std::size_t i = 0; i < scan.vPoints.size() / (pattern == "misfit" ? 2 : 1); ++i)
                farthest = std::max(farthest, fromSphere(scan.vPoints[i]));
            EXPECT_LT(farthest, 1e-12) << pattern;
        }
    EXPECT_THROW(Scanned({"sphere", 10, 0.0, 0, "lidar"}), std::invalid_argument);
    EXPECT_THROW(Scanned({"hall", 5000, 0.0, 0, "even", 0.0, 8.0}), std::invalid_argument) << "windows cover the ball";
    EXPECT_THROW(Scanned({"hall", 5000, 0.0, 0, "lidar", 0.0, 4.0}), std::invalid_argument) << "it makes no windows";
    EXPECT_THROW(Scanned({"plane", 1000, 0.0, 0, "even", 0.0, 40.0}), std::invalid_argument) << "a window as wide as all";
    for (const char* pattern : {"varying", "sparse"})
        EXPECT_THROW(Scanned({"sphere", 1000, 0.0, 0, pattern, 0.5}), std::invalid_argument) << pattern;
}

TEST(Scan, densityFallsByTheRatioAndStaysEven) {
    for (const double ratio : {4.0, 16.0, 64.0}) {
        const Scanned scan({"sphere", 20000, 0.0, 3, "varying", ratio});
        // Slices of a sphere have areas like their thickness.
        std::vector<double> vSlice(10);
        for (const Point3& p : scan.vPoints)
            ++vSlice[static_cast<std::size_t>(std::min(9.0, (p.x() + 1.0) * 5.0))];
        for (std::size_t i = 0; i + 1 < vSlice.size(); ++i)
            EXPECT_NEAR(vSlice[i] / vSlice[i + 1], std::pow(ratio, 0.1), 0.1 * std::pow(ratio, 0.1)) << ratio;
        // Points come closer only where pieces meet; points of independent random places would do so everywhere.
        int numClose = 0;
        for (std::size_t i = 0; i < scan.vPoints.size(); i += 50) {
            const Point3& p = scan.vPoints[i];
            const double density =
                vSlice[static_cast<std::size_t>(std::min(9.0, (p.x() + 1.0) * 5.0))] / (0.4 * std::acos(-1.0));
            const double share = toNearest(scan.vPoints, p) * std::sqrt(density);
            EXPECT_LT(share, 1.5) << ratio;
            numClose += share < 0.4 ? 1 : 0;
        }
        EXPECT_LT(numClose, 20) << ratio;
    }
}

TEST(Scan, linesAreAsFarApartAsTheRatioSays) {
    const Scanned scan({"plane", 20000, 0.0, 1, "lines", 9.0});
    for (std::size_t i = 0; i + 1 < scan.vPoints.size(); i += 100)
        EXPECT_NEAR(toNearest(scan.vPoints, scan.vPoints[i]), scan.truth.spacing / 3.0, 0.02 * scan.truth.spacing);
    const Scanned sphere({"sphere", 20000, 0.0, 1, "lines", 16.0});
    for (std::size_t i = 1000; i < 19000; i += 100)
        EXPECT_NEAR((sphere.vPoints[i] - sphere.vPoints[i + 1]).length(), sphere.truth.spacing / 4.0,
                    0.1 * sphere.truth.spacing);
}

TEST(Scan, windowsAreAsWideAsTheLocalSpacingSays) {
    const Scanned even({"cube", 10000, 0.0, 1, "even", 0.0, 8.0});
    EXPECT_EQ(even.truth.numBorderLoops, 6);
    EXPECT_EQ(even.truth.eulerCharacteristic, -4);
    EXPECT_NEAR(toNearest(even.vPoints, Point3(0.5, 0.5, 0.0)), 4.0 * even.truth.spacing, even.truth.spacing);
    const Scanned varying({"cube", 20000, 0.0, 1, "varying", 16.0, 8.0});
    const double dense = toNearest(varying.vPoints, Point3(0.0, 0.5, 0.5));
    const double sparse = toNearest(varying.vPoints, Point3(1.0, 0.5, 0.5));
    EXPECT_NEAR(sparse / dense, 4.0, 0.8);
}

TEST(Scan, aLidarSeesTheHallButNotBehindTheBall) {
    const Scanned scan({"hall", 30000, 0.0, 1, "lidar"});
    const Point3 scanner(5.0, 3.0, 1.5), ball(8.5, 5.0, 2.0);
    std::size_t numOnBall = 0;
    for (const Point3& p : scan.vPoints) {
        const bool bOnBall = std::abs((p - ball).length() - 0.8) < 1e-9;
        numOnBall += bOnBall ? 1 : 0;
        if (bOnBall) continue;
        const double toWall = std::min({std::abs(p.x()), std::abs(12.0 - p.x()), std::abs(p.y()), std::abs(8.0 - p.y()),
                                        std::abs(p.z()), std::abs(4.0 - p.z())});
        ASSERT_LT(toWall, 1e-9) << p;
        const Vector3 ray = p - scanner;
        ASSERT_GT(crossProduct(ball - scanner, ray).length() / ray.length(), (ball - scanner) * ray > 0.0 ? 0.8 : 0.0);
    }
    EXPECT_GT(numOnBall, 200U);
    EXPECT_LT(scan.truth.area, 360.0);
    EXPECT_GT(scan.truth.area, 300.0);
}

TEST(Scan, outliersFollowTheCleanScanAtTheirDistance) {
    const Scanned clean({"sphere", 3000, 0.0, 4});
    for (const auto& [kind, distance, least, most] : {std::tuple{"far", 100.0, 100.0, 250.0},
                                                      {"clumps", 1e9, 1e9, 2.001e9},
                                                      {"near", 0.0, 5.0, 10.0},
                                                      {"dust", 3.0, 0.0, 60.0}}) {
        const Scanned scan(withOutliers(kind, distance));
        ASSERT_EQ(scan.truth.numOutliers, 900U);
        ASSERT_EQ(scan.vPoints.size(), 3900U);
        EXPECT_TRUE(std::equal(clean.vPoints.begin(), clean.vPoints.end(), scan.vPoints.begin())) << kind;
        for (std::size_t i = 3000; i < scan.vPoints.size(); ++i) {
            const double away = fromSphere(scan.vPoints[i]) / scan.truth.spacing;
            ASSERT_TRUE(away >= least * 0.999 - 1e-9 && away <= most) << kind << " " << away;
        }
    }
}
