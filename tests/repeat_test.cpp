// Results repeat to the byte: on any number of threads, beside other runs, and after a run at another scale.
//
// Each scene is a chain of public functions on synthetic input, small, but large enough to be cut into tasks. Its hash is
// that of all bytes that come out: coordinates of the vertices in their order, indices of the triangles. One hash is
// committed, so the same bytes must come from every compiler and every optimisation as well. When results change on
// purpose, KEL_PRINT_HASHES=1 build/dev/tests/repeat_test prints the lines of the table anew.
#include <atomic>
#include <bit>
#include <cstdio>
#include <string_view>

#include "support/fine.h"
#include "support/hash.h"
#include "support/manifold.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/soups.h"

namespace TARN_TEST {

namespace {

using Points = std::vector<Point3>;

/// What all coordinates and numbers come to.
std::uint64_t codeOf(const Points& vPoints, const std::vector<int>& vIndices = {}) {
    std::vector<std::uint64_t> vNumbers(vIndices.begin(), vIndices.end());
    for (const Point3& p : vPoints)
        for (const double coordinate : {p.x(), p.y(), p.z()})
            vNumbers.push_back(std::bit_cast<std::uint64_t>(coordinate));
    return hashOf(vNumbers);
}

std::uint64_t codeOf(const MeshPtr& pMesh) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    if (pMesh != nullptr) pMesh->getVertexIndexData(vVertices, vIndices);
    Points vPoints;
    for (const Point3* p : vVertices)
        vPoints.push_back(*p);
    return vIndices.empty() ? 0 : codeOf(vPoints, vIndices);
}

/// Noise of a tenth of the spacing.
Points noisyTorus() {
    return scaled(Scan(11, 0.003).torus(8000), 7.0, 100.0);
}
/// A sphere of 4 units across that lacks a cap, with noise.
Points openSphere() {
    Points vPoints = scaled(Scan(12, 0.004).sphere(12000), 2.0);
    std::erase_if(vPoints, [](const Point3& p) { return p.z() > 1.95; });
    return vPoints;
}
/// A torus with a third of the points in its lower half, and points that belong to no surface.
Points unevenTorus() {
    Points vPoints = Scan(16, 0.002).torus(14000);
    for (std::size_t i = 0; i < vPoints.size(); ++i)
        if (vPoints[i].z() < 0.0 && i % 2 != 0) vPoints[i] = vPoints[i] - Vector3(0.0, 0.0, 2.0 * vPoints[i].z());
    return joined(vPoints, joined(scaled(Scan(17).dust(40), 8.0, -4.0), scaled(Scan(18).dust(9), 1e7)));
}
/// Points of the ring that torus() meshes.
Points roundRing() {
    Points vPoints;
    for (int i = 0; i < 9000; ++i) {
        const double a = 2.399963 * i, b = 0.1 * i, r = 3.0 + std::cos(b) + 0.02 * std::sin(7.0 * i);
        vPoints.emplace_back(r * std::cos(a), r * std::sin(a), std::sin(b));
    }
    return vPoints;
}
TriangleSoup part() {
    return turned(boredBlockSoup(24), 25.0);
}
Soup roughTorus() {
    return withNoise(torus(90, 40), 0.03, 13);
}
Soup looseCubes() {
    std::set<std::array<int, 3>> sCube;
    Random random(15);
    for (int i = 0; i < 700; ++i) {
        const int x = random.next() % 12, y = random.next() % 12, z = random.next() % 12;
        sCube.insert({x, y, z});
    }
    return voxels(sCube);
}

std::uint64_t codeOfSpacing() {
    Points vPoints = noisyTorus();
    return std::bit_cast<std::uint64_t>(estimateAvgSpacing(vPoints));
}
std::uint64_t codeOfCloud() {
    TriangleSoup soup = part();
    Points vOut;
    toCloud(soup, 0.03, 30.0, vOut);
    return codeOf(vOut);
}

/// Of the mesh and of the distance that was proved.
std::uint64_t codeOfReducedShape() {
    const MeshPtr pMesh = meshOf(roughTorus());
    ReduceOptions options;
    options.numTriangles = 900;
    options.maxDistance = 0.2;
    options.bNoCrossings = options.bFit = true;
    const double distance = reduce(pMesh, options).distance;
    return codeOf(pMesh) ^ std::bit_cast<std::uint64_t>(distance);
}

/// A way to a mesh: from points or a soup, through operations.
using Run = std::function<std::uint64_t()>;
using Operations = std::vector<std::function<void(const MeshPtr&)>>;

std::uint64_t codeAfter(const MeshPtr& pMesh, const Operations& vOperation) {
    for (const auto& operation : vOperation)
        operation(pMesh);
    return codeOf(pMesh);
}
Run scanned(const Points& vPoints, bool bLapTreatment, double factor, int numGrowSteps, const Operations& vThen = {}) {
    return [=] {
        Points vOwn = vPoints;
        return codeAfter(reconstruct_auto(vOwn, bLapTreatment, factor, numGrowSteps), vThen);
    };
}
Run scannedWith(const Points& vPoints, const ReconstructOptions& options = {}) {
    return [=] { return codeOf(reconstruct(vPoints, options)); };
}
Run melted(const TriangleSoup& soup, double spacing, const Operations& vThen = {}) {
    return [=] {
        TriangleSoup own = soup;
        return codeAfter(melt(own, spacing, 30.0), vThen);
    };
}
Run meltedWith(const TriangleSoup& soup, const MeltOptions& options) {
    return [=] { return codeOf(melt(soup, options)); };
}
Run changed(const Soup& soup, const Operations& vOperation) {
    return [=] { return codeAfter(meshOf(soup), vOperation); };
}
const auto reduced = [](double maxLength, double maxAngle, bool bKeep = false) {
    return [=](const MeshPtr& pMesh) { reduce(pMesh, maxLength, maxAngle, bKeep); };
};
const auto filled = [](int maxEdges, bool bKeep = false) {
    return [=](const MeshPtr& pMesh) { fillHoles(pMesh, maxEdges, bKeep); };
};
const auto smoothed = [](int numRounds, bool bKeep = false) {
    return [=](const MeshPtr& pMesh) { laplacianSmoothing(pMesh, numRounds, bKeep); };
};
const auto edgesFlipped = [](bool bKeep = false) { return [=](const MeshPtr& pMesh) { edgeFlips(pMesh, bKeep); }; };
const auto smoothedBy = [](SmoothMethod method) {
    return [=](const MeshPtr& pMesh) {
        SmoothOptions options;
        options.method = method;
        smooth(pMesh, options);
    };
};
const auto fitted = [](const Points& vPoints) { return [=](const MeshPtr& pMesh) { fit(pMesh, vPoints); }; };
const auto annealed = [](const MeshPtr& pMesh) { edgeFlipsSimA(pMesh); };
const auto manifold = [](const MeshPtr& pMesh) { makeManifold(pMesh); };

struct Scene {
    const char* name;
    Run run;
    std::uint64_t hash;
};
const std::vector<Scene> vScene = {
    {"spacing", codeOfSpacing, 0x3fd42f05ac814f99},
    {"sphere", scanned(Scan(1).sphere(8000), false, 1.1, -1), 0x542f65ee5976ec79},
    {"noisy torus, smoothed", scanned(noisyTorus(), true, 1.3, -1), 0x093bb861780f2193},
    {"fold and dust", scanned(joined(Scan(3, 0.002).fold(5000), Scan(4).dust(1500)), false, 1.0, -1), 0x6813393b5bf4955c},
    {"growth", scanned(openSphere(), false, 1.25, 12), 0xa0ec918983f7d3ad},
    {"all steps", scannedWith(unevenTorus()), 0x08152d57421d99aa},
    {"all steps, much noise", scannedWith(Scan(19, 0.06).torus(5000)), 0x5acf8b704d21907c},
    {"all steps, open sheet", scannedWith(Scan(20, 0.002).fold(5000)), 0xe443ee5f63df98e3},
    {"careful growth", scannedWith(openSphere(), {.factor = 1.25, .numGrowSteps = 12, .bFit = false}), 0x0232e360ea8ddfff},
    {"melt", melted(joined(part(), flipped(torusSoup(20), 3)), 0.05), 0xee5499d40d97a51a},
    {"melt, all steps", meltedWith(joined(part(), turned(part(), 40.0)), {.spacing = 0.05}), 0x700b2d7855f7fe9f},
    {"melt, slit", meltedWith(turned(slitSheet(0.045), 25.0), {.spacing = 0.025}), 0xe98b9e08429b325e},
    {"cloud", codeOfCloud, 0xdb51e394f61da03b},
    {"reduce", changed(roughTorus(), {reduced(0.4, 25.0)}), 0x8209be68f50d9fc1},
    {"flips", changed(roughTorus(), {edgesFlipped()}), 0x4b3af12a8b3106ba},
    {"annealing", changed(withNoise(torus(40, 20), 0.04, 14), {annealed}), 0x9c6ce61e68c3f567},
    {"smoothing", changed(roughTorus(), {smoothed(10)}), 0x5e468ca2225b2d8f},
    {"manifold", changed(looseCubes(), {manifold}), 0xbc6d5666816fb659},
    {"scan, in order and decimated",
     scanned(openSphere(), false, 1.2, -1,
             {manifold, filled(30, true), smoothed(3, true), reduced(0.3, 20.0, true), edgesFlipped(true)}),
     0xcea7ff555d7123ac},
    {"soup, decimated and smoothed", melted(part(), 0.06, {reduced(0.2, 10.0), filled(8), edgesFlipped(), smoothed(1)}),
     0xe82a0fa485502a40},
    {"reduced by shape", codeOfReducedShape, 0x09e738590eacea6b},
    {"smoothed by shape", changed(roughTorus(), {smoothedBy(SmoothMethod::TAUBIN), smoothedBy(SmoothMethod::BILATERAL)}),
     0x2536a2c524a28902},
    {"fitted", changed(torus(90, 40), {fitted(roundRing())}), 0x40b6e6d7666290b4},
    {"many points",  // enough for a sort in two parts
     [] {
         Points vPoints = Scan(2, 0.002).plane(65000);
         return codeOf(reconstruct_abs(vPoints, false, 0.01, -1));
     },
     0xfb799e5911d366e0},
};

/// Nothing that the library says on this thread is heard.
class Silence {
public:
    Silence() {
        setMessageSink([](MessageKind, std::string_view) {});
    }
    ~Silence() { setMessageSink(nullptr); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
};

/// Runs at other scales and places, which may leave nothing behind.
const std::vector<std::function<void()>> vOtherRun = {
    [] {
        Points vPoints = scaled(Scan(21, 0.01).torus(1500), 4e5, -1e6);
        ASSERT_NE(reconstruct_auto(vPoints, true, 1.5, 6), nullptr);
    },
    [] { ASSERT_NE(reconstruct(scaled(Scan(22, 0.01).torus(1500), 1e-4, 30.0), {.numGrowSteps = 4}), nullptr); },
    [] { ASSERT_NE(melt(turned(boredBlockSoup(8), 10.0), {.spacing = 0.2}), nullptr); },
};

/// Leaves the number of threads as it is by default.
struct Threads {
    ~Threads() { setNumThreads(0); }
};

}  // namespace

TEST(Repeat, onAnyNumberOfThreadsAndAfterARunAtAnotherScale) {
    const Silence silence;
    const Threads threads;
    const bool bPrint = std::getenv("KEL_PRINT_HASHES") != nullptr;
    // Where a run takes long, and other numbers are tried elsewhere.
    const bool bOnce = std::getenv("KEL_REPEAT_ONCE") != nullptr;
    std::size_t numOther = 0;
    for (const auto& [name, run, committed] : vScene)
        for (const int numThreads : bOnce ? std::vector{3} : std::vector{1, 2, 3, 8}) {
            setNumThreads(numThreads);
            if (numThreads == 3) vOtherRun[numOther++ % vOtherRun.size()]();
            const std::uint64_t hash = run();
            if (bPrint && (bOnce || numThreads == 1))
                std::printf("%s: 0x%016llx\n", name, static_cast<unsigned long long>(hash));
            EXPECT_EQ(hash, committed) << name << " on " << numThreads << " threads";
        }
}

// Each thread begins with another scene, and the number of threads changes all the time.
TEST(Repeat, calledFromSeveralThreadsAtOnce) {
    const Threads threads;
    constexpr std::size_t NUM_CALLERS = 3;
    const std::size_t n = vScene.size();
    std::vector<std::vector<std::uint64_t>> vvHash(NUM_CALLERS, std::vector<std::uint64_t>(n));
    std::atomic<std::size_t> numRunning = NUM_CALLERS;
    onThreads(NUM_CALLERS + 1, [&](std::size_t i) {
        const Silence silence;
        if (i == NUM_CALLERS) {
            for (int num = 1; numRunning > 0; num = num % 8 + 1) {
                setNumThreads(num);
                std::this_thread::sleep_for(std::chrono::milliseconds(3));
            }
            return;
        }
        for (std::size_t k = 0; k < n; ++k) {
            const std::size_t iScene = (k + i * n / NUM_CALLERS) % n;
            vvHash[i][iScene] = vScene[iScene].run();
        }
        --numRunning;
    });
    for (const auto& vHash : vvHash)
        for (std::size_t iScene = 0; iScene < n; ++iScene)
            EXPECT_EQ(vHash[iScene], vScene[iScene].hash) << vScene[iScene].name;
}

}  // namespace TARN_TEST
