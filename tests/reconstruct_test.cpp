// The whole road, from points in memory to a mesh, as a caller sees it.
#include "support/holes.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

Points reconstructed(Points vPoints, double factor = 1.2) {
    return cornersOf(reconstruct_auto(vPoints, false, factor, -1));
}

struct Subscription {
    explicit Subscription(ProgressBase* p) { subscribe(p); }
    ~Subscription() { unsubscribe(); }
};

struct Reconstruct : SilentTest {};

}  // namespace

TEST_F(Reconstruct, scalesWithItsInputBitForBit) {
    const Points vPoints = Scan(3, 0.001).torus(4000);
    const Points vReference = reconstructed(vPoints);
    ASSERT_FALSE(vReference.empty());
    for (const double scale : {0x1p-20, 0x1p12})
        EXPECT_EQ(reconstructed(scaled(vPoints, scale)), scaled(vReference, scale));
}

TEST_F(Reconstruct, endsInOrderOnInputThatIsNoSurface) {
    Points vLine;
    for (int i = 0; i < 200; ++i)
        vLine.emplace_back(0.1 * i, 0.2 * i, 0.0);
    const std::vector<Points> vInputs = {{},
                                         {{1, 2, 3}},
                                         Points(50, {1, 2, 3}),
                                         {{0, 0, 0}, {1, 1, 1}},
                                         vLine,
                                         {{NOT_A_NUMBER, 0, 0}, {0, INF, 0}, {0, 0, -INF}},
                                         {{-LARGEST, 0, 0}, {LARGEST, 0, 0}, {0, 1, 0}},
                                         {{0, 0, 0}, {5e-324, 0, 0}, {0, 5e-324, 0}},
                                         scaled(Scan(1).dust(500), 1e-300),
                                         scaled(Scan(1).dust(500), 1e-6, 1e7)};
    const auto run = [&](Points vPoints, const std::function<MeshPtr(Points&)>& reconstruct) {
        try {
            const MeshPtr pMesh = reconstruct(vPoints);
            const bool bNoSurface = vPoints.size() < 3 || vPoints.front() == vPoints.back();
            EXPECT_TRUE(!bNoSurface || !pMesh) << vPoints.size() << " points";
        } catch (const KelBugException&) {  // any other exception fails the test
        }
    };
    for (const Points& vPoints : vInputs) {
        for (const double factor : {1.0, 0.0, -2.0, NOT_A_NUMBER, INF, 1e-300, 1e300})
            run(vPoints, [=](Points& v) { return reconstruct_auto(v, true, factor, -1); });
        for (const double spacing : {0.1, 0.0, -1.0, NOT_A_NUMBER, INF, 5e-324, 1e-9, 1e300, 0.5, 0.9, 1.0, 1.7, 3.0})
            run(vPoints, [=](Points& v) { return reconstruct_abs(v, false, spacing, -1); });
        for (const double spacing : {0.0, 0.1, NOT_A_NUMBER, INF, -1.0, 1e-300})
            for (const std::optional<Point3>& origin : {std::optional<Point3>(), {Point3(LARGEST, 0.0, 1e9)}}) {
                ReconstructOptions options;
                options.spacing = spacing;
                options.origin = origin;
                run(vPoints, [&](Points& v) { return reconstruct(v, options); });
            }
    }
}

TEST_F(Reconstruct, saysWhyNothingCame) {
    Points vEmpty, vOut(1), vPoints = Scan(1).plane(500);
    expectText("Nothing to do (bad input? wrong resolution?)",
               [&] { EXPECT_EQ(reconstruct_auto(vEmpty, false, 1.0, -1), nullptr); });
    expectText("WARNING: Nothing to do for cloud inputPointsViaMemory",
               [&] { EXPECT_EQ(estimateAvgSpacing(vEmpty), -1.0); });
    expectText("MELT: Nothing to do", [&] { EXPECT_EQ(melt(vEmpty, 1.0, 30.0), nullptr); });
    expectText("toCloud: Nothing to do", [&] { toCloud(vEmpty, 1.0, 30.0, vOut); });
    EXPECT_EQ(vOut.size(), 1U);
    expectFails("usedSpacing>0", [&] { reconstruct_auto(vPoints, false, 0.0, -1); });
    vPoints[7] = Point3(NOT_A_NUMBER, 0.0, 0.0);
    EXPECT_EQ(countIn(outputOf([&] { EXPECT_NE(reconstruct_auto(vPoints, false, 1.2, -1), nullptr); }), "WARNING"), 1);
}

TEST_F(Reconstruct, isHeardByTheListenerOfItsThreadWhoMayCancelIt) {
    const Points vPoints = Scan(4).sphere(3000), vReference = reconstructed(vPoints);
    for (const double limit : {-1.0, 0.001, 0.01, 0.02, 0.03, 0.5, 2.0}) {
        Hearer hearer(limit);
        {
            const Subscription subscription(&hearer);
            if (limit < 1.0)
                EXPECT_THROW(reconstructed(vPoints), double) << limit;
            else
                EXPECT_EQ(reconstructed(vPoints), vReference);
            EXPECT_FALSE(hasOpenProgress()) << "the next call would count within this run";
            EXPECT_TRUE(std::ranges::is_sorted(hearer.vFraction) && (limit < 1.0 || hearer.vFraction.back() == 1.0));
            EXPECT_EQ(hearer.vName.back(), "Reconstruct");
            const std::size_t numOwn = hearer.vName.size();
            std::thread([&] { EXPECT_EQ(reconstructed(vPoints), vReference); }).join();
            EXPECT_EQ(hearer.vName.size(), numOwn) << "runs of other threads aren't heard";
        }
        const std::size_t numHeard = hearer.vName.size();
        EXPECT_EQ(reconstructed(vPoints), vReference);
        EXPECT_EQ(hearer.vName.size(), numHeard) << "no more when it isn't subscribed";
    }
}

TEST(PostProcessing, isARunOfItsOwnUnlessOneIsOpenAndBearsACancel) {
    const CoutSilence silence;
    Soup soup = withNoise(torus(60, 20), 0.02, 1);
    ASSERT_GT(punch(soup, 20, 1), 10);
    const std::pair<std::string, void (*)(const MeshPtr&)> aOperations[] = {
        {"Reduce", [](const MeshPtr& pMesh) { reduce(pMesh, 1.0, 40.0); }},
        {"EdgeFlips", [](const MeshPtr& pMesh) { edgeFlips(pMesh); }},
        {"EdgeFlipsS", [](const MeshPtr& pMesh) { edgeFlipsSimA(pMesh); }},
        {"Smoothing", [](const MeshPtr& pMesh) { laplacianSmoothing(pMesh, 4); }},
        {"FillHoles", [](const MeshPtr& pMesh) { fillHoles(pMesh, 20); }}};
    for (const auto& [name, operate] : aOperations) {
        for (const double limit : {-0.5, 0.0, 0.01, 0.3, 0.8, 2.0}) {
            SCOPED_TRACE(name + ", limit " + std::to_string(limit));
            const MeshPtr pMesh = meshOf(soup);
            Hearer hearer(limit);
            {
                const Subscription subscription(&hearer);
                if (limit < 1.0)
                    EXPECT_THROW(operate(pMesh), double);
                else
                    operate(pMesh);
            }
            EXPECT_FALSE(hasOpenProgress());
            EXPECT_EQ(firstFault(*pMesh->getRMesh()), "");
            EXPECT_EQ(std::set(hearer.vName.begin(), hearer.vName.end()), std::set<std::string>{name});
            EXPECT_TRUE(std::ranges::is_sorted(hearer.vFraction) && hearer.vFraction.size() < 400);
            EXPECT_TRUE(limit < 1.0 || hearer.vFraction.back() == 1.0);
            operate(pMesh);
            EXPECT_EQ(edges(*pMesh->getRMesh(), 1).empty(), name == "FillHoles") << "what was cancelled goes on";
        }
        const OpenRun open;
        operate(meshOf(soup));
        EXPECT_EQ(ThreadSingleton<Progress>::getInstance()->getName(), "Reconstruct");
    }
}

TEST(PostProcessing, refusesANullMesh) {
    const std::vector<std::function<void()>> vCalls = {[] { reduce(nullptr, 1.0, 1.0); },
                                                       [] { edgeFlips(nullptr); },
                                                       [] { edgeFlipsSimA(nullptr); },
                                                       [] { findHoles(nullptr); },
                                                       [] { makeManifold(nullptr); },
                                                       [] { fillHoles(nullptr, 3); },
                                                       [] { writeMesh_auto("x.ply", nullptr, false); }};
    for (const auto& call : vCalls)
        expectFails("pMesh!=__null", call);
    const auto pHollow = std::make_shared<Mesh>(nullptr);
    reportOf([] { laplacianSmoothing(nullptr, 1); });
    reportOf([&] { laplacianSmoothing(pHollow, 1); });
    reportOf([] { toObj(nullptr, "x.obj"); });
    reportOf([&] { pHollow->getAverageEdgeLength(); });
}
