// The whole road, from points in memory to a mesh, as a caller sees it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <thread>

#include "Progress.h"
#include "kel.h"
#include "support/capture.h"
#include "support/points.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

using Points = std::vector<Point3>;

/// The corners of all triangles, in the mesh's order.
Points cornersOf(const MeshPtr& pMesh) {
    std::vector<Point3*> vCorners;
    if (pMesh) pMesh->getTriangles(vCorners);
    Points vOut;
    for (const Point3* p : vCorners)
        vOut.push_back(*p);
    return vOut;
}

Points reconstructed(Points vPoints, double factor = 1.2) {
    return cornersOf(reconstruct_auto(vPoints, false, factor, -1));
}

/// Hears a run.
struct Listener : ProgressBase {
    void update(const std::string& name, double fraction) override {
        vNames.push_back(name);
        vFractions.push_back(fraction);
        if (fraction > throwAbove) throw std::runtime_error("cancelled");
    }
    std::vector<std::string> vNames;
    std::vector<double> vFractions;
    double throwAbove = 2.0;
};

struct Subscription {
    explicit Subscription(ProgressBase* p) { subscribe(p); }
    ~Subscription() { unsubscribe(); }
};

}  // namespace

TEST(Reconstruct, followsTheSurface) {
    const CoutSilence silence;
    const std::size_t n = 20000;
    for (const double noise : {0.0, 0.002}) {
        Points vPoints = Scan(7, noise).sphere(n);
        const double spacing = estimateAvgSpacing(vPoints);
        const Points vCorners = reconstructed(vPoints, 1.2);
        ASSERT_GT(vCorners.size() / 3, n / 2) << noise;
        double worst = 0.0;
        for (const Point3& p : vCorners)
            worst = std::max(worst, std::fabs((p - Point3()).length() - 1.0));
        EXPECT_LT(worst, 1.2 * spacing) << noise;
    }
}

TEST(Reconstruct, scalesWithItsInputBitForBit) {
    const CoutSilence silence;
    const Points vPoints = Scan(3, 0.001).torus(4000);
    const Points vReference = reconstructed(vPoints);
    ASSERT_FALSE(vReference.empty());
    for (const double scale : {0x1p-20, 0x1p12})
        EXPECT_EQ(reconstructed(scaled(vPoints, scale)), scaled(vReference, scale));
}

TEST(Reconstruct, givesTheSameInEveryRunAndThread) {
    const CoutSilence silence;
    const Points vPoints = Scan(5).sphere(5000);
    const Points vOther = Scan(6, 0.01).dust(3000);
    const Points vReference = reconstructed(vPoints);
    reconstructed(vOther);
    EXPECT_EQ(reconstructed(vPoints), vReference);

    std::vector<Points> vResults(3);
    std::vector<std::thread> vThreads;
    for (Points& result : vResults)
        vThreads.emplace_back([&] { result = reconstructed(vPoints); });
    for (std::thread& thread : vThreads)
        thread.join();
    for (const Points& result : vResults)
        EXPECT_EQ(result, vReference);
}

TEST(Reconstruct, takesTheSpacingAsGiven) {
    const CoutSilence silence;
    Points vPoints = Scan(2).plane(3000);
    const MeshPtr pFine = reconstruct_abs(vPoints, false, 0.02, -1);
    const MeshPtr pCoarse = reconstruct_abs(vPoints, false, 0.08, -1);
    ASSERT_TRUE(pFine && pCoarse);
    EXPECT_GT(pCoarse->getAverageEdgeLength(), 2.0 * pFine->getAverageEdgeLength());
    EXPECT_EQ(cornersOf(reconstruct_abs(vPoints, true, 1e6, -1)).size(), 0U);
}

TEST(Reconstruct, endsInOrderOnInputThatIsNoSurface) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double huge = std::numeric_limits<double>::max();
    Points vLine;
    for (int i = 0; i < 200; ++i)
        vLine.emplace_back(0.1 * i, 0.2 * i, 0.0);
    const std::vector<Points> vInputs = {{},
                                         {{1, 2, 3}},
                                         Points(50, {1, 2, 3}),
                                         {{0, 0, 0}, {1, 1, 1}},
                                         vLine,
                                         {{nan, 0, 0}, {0, inf, 0}, {0, 0, -inf}},
                                         {{-huge, 0, 0}, {huge, 0, 0}, {0, 1, 0}},
                                         {{0, 0, 0}, {5e-324, 0, 0}, {0, 5e-324, 0}},
                                         scaled(Scan(1).dust(500), 1e-300),
                                         scaled(Scan(1).dust(500), 1e-6, 1e7)};
    const CoutSilence silence;
    int numEnds = 0;
    const auto run = [&](Points vPoints, const std::function<MeshPtr(Points&)>& reconstruct) {
        try {
            const MeshPtr pMesh = reconstruct(vPoints);
            const bool bNoSurface = vPoints.size() < 3 || vPoints.front() == vPoints.back();
            EXPECT_TRUE(!bNoSurface || !pMesh) << vPoints.size() << " points";
            ++numEnds;
        } catch (const KelBugException&) {
            ++numEnds;
        }
    };
    for (const Points& vPoints : vInputs) {
        for (const double factor : {1.0, 0.0, -2.0, nan, inf, 1e-300, 1e300})
            run(vPoints, [=](Points& v) { return reconstruct_auto(v, true, factor, -1); });
        for (const double spacing : {0.1, 0.0, -1.0, nan, inf, 5e-324, 1e-9, 1e300, 0.5, 0.9, 1.0, 1.7, 3.0})
            run(vPoints, [=](Points& v) { return reconstruct_abs(v, false, spacing, -1); });
    }
    EXPECT_EQ(numEnds, static_cast<int>(vInputs.size()) * 20);
}

TEST(Reconstruct, saysWhyNothingCame) {
    Points vEmpty;
    EXPECT_EQ(countIn(outputOf([&] { EXPECT_EQ(reconstruct_auto(vEmpty, false, 1.0, -1), nullptr); }),
                      "Nothing to do (bad input? wrong resolution?)"),
              1);
    EXPECT_EQ(countIn(outputOf([&] { EXPECT_EQ(estimateAvgSpacing(vEmpty), -1.0); }),
                      "WARNING: Nothing to do for cloud inputPointsViaMemory"),
              1);
    EXPECT_EQ(countIn(outputOf([&] { EXPECT_EQ(melt(vEmpty, 1.0, 30.0), nullptr); }), "MELT: Nothing to do"), 1);
    Points vOut(1);
    EXPECT_EQ(countIn(outputOf([&] { toCloud(vEmpty, 1.0, 30.0, vOut); }), "toCloud: Nothing to do"), 1);
    EXPECT_EQ(vOut.size(), 1U);

    Points vPoints = Scan(1).plane(500);
    EXPECT_EQ(countIn(reportOf([&] { reconstruct_auto(vPoints, false, 0.0, -1); }), conditionFailed("usedSpacing>0")), 1);
    vPoints[7] = Point3(std::numeric_limits<double>::quiet_NaN(), 0.0, 0.0);
    EXPECT_EQ(countIn(outputOf([&] { EXPECT_NE(reconstruct_auto(vPoints, false, 1.2, -1), nullptr); }), "WARNING"), 1);
}

TEST(Reconstruct, isHeardByTheListenerOfItsThread) {
    const CoutSilence silence;
    Points vPoints = Scan(4).sphere(3000);
    Listener listener;
    const Subscription subscription(&listener);
    for (int run = 0; run < 2; ++run) {
        listener.vFractions.clear();
        reconstruct_auto(vPoints, false, 1.2, -1);
        ASSERT_GT(listener.vFractions.size(), 5U);
        EXPECT_TRUE(std::is_sorted(listener.vFractions.begin(), listener.vFractions.end()));
        EXPECT_EQ(listener.vFractions.back(), 1.0);
        EXPECT_EQ(listener.vNames.back(), "Reconstruct");
    }
    const std::size_t numHeard = listener.vNames.size();
    std::thread([&] { reconstruct_auto(vPoints, false, 1.2, -1); }).join();
    EXPECT_EQ(listener.vNames.size(), numHeard);
    unsubscribe();
    reconstruct_auto(vPoints, false, 1.2, -1);
    EXPECT_EQ(listener.vNames.size(), numHeard);
}

TEST(Reconstruct, isCancelledByAListenerThatThrows) {
    const CoutSilence silence;
    Points vPoints = Scan(4).sphere(3000);
    const Points vReference = reconstructed(vPoints);
    for (const double when : {-1.0, 0.001, 0.01, 0.02, 0.03, 0.5}) {
        Listener listener;
        listener.throwAbove = when;
        const Subscription subscription(&listener);
        EXPECT_THROW(reconstruct_auto(vPoints, false, 1.2, -1), std::runtime_error) << when;
        EXPECT_FALSE(hasOpenProgress()) << "the next call would count within this run";
    }
    EXPECT_EQ(reconstructed(vPoints), vReference);
}

TEST(Version, isPrinted) {
    int major = 0;
    int minor = 0;
    getVersion(major, minor);
    EXPECT_EQ(major, 1);
    EXPECT_EQ(minor, 12);
    EXPECT_EQ(outputOf([] { printVersion(); }), "KEL, version 1.12\n");
    EXPECT_TRUE(isRelease());
}

TEST(PostProcessing, refusesANullMesh) {
    const std::vector<std::function<void()>> vCalls = {
        [] { reduce(nullptr, 1.0, 1.0); },      [] { edgeFlips(nullptr); }, [] { edgeFlipsSimA(nullptr); },
        [] { laplacianSmoothing(nullptr, 1); }, [] { findHoles(nullptr); }, [] { writeMesh_auto("x.ply", nullptr, false); },
        [] { toObj(nullptr, "x.obj"); }};
    for (const auto& call : vCalls)
        EXPECT_NE(reportOf(call), "");
}
