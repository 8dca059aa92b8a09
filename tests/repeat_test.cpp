// Results repeat to the byte: on any number of threads, beside other runs, and after a run at another scale.
//
// Each scene is a chain of public functions on synthetic input, small, but large enough to be cut into tasks. Its hash is
// that of all bytes that come out: coordinates of the vertices in their order, indices of the triangles. One hash is
// committed, so the same bytes must come from every compiler and every optimisation as well. When results change on
// purpose, KEL_PRINT_HASHES=1 build/dev/tests/repeat_test prints the lines of the table anew.
#include <atomic>
#include <bit>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "support/fine.h"
#include "support/manifold.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/soups.h"

namespace TARN_TEST {

namespace {

using Points = std::vector<Point3>;

/// FNV-1a over what is added.
class Hash {
public:
    void add(std::uint64_t value) {
        for (int i = 0; i < 8; ++i) {
            code = (code ^ (value & 255U)) * 0x100000001b3ULL;
            value >>= 8;
        }
    }
    void add(double value) { add(std::bit_cast<std::uint64_t>(value)); }
    void add(const Point3& p) {
        add(p.x());
        add(p.y());
        add(p.z());
    }
    std::uint64_t value() const { return code; }

private:
    std::uint64_t code = 0xcbf29ce484222325ULL;
};

std::uint64_t hashOf(const Points& vPoints) {
    Hash hash;
    for (const Point3& p : vPoints)
        hash.add(p);
    return hash.value();
}

std::uint64_t hashOf(const MeshPtr& pMesh) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    if (pMesh != nullptr) pMesh->getVertexIndexData(vVertices, vIndices);
    Hash hash;
    for (const Point3* p : vVertices)
        hash.add(*p);
    for (const int index : vIndices)
        hash.add(static_cast<std::uint64_t>(index));
    return vIndices.empty() ? 0 : hash.value();
}

/// Noise of a tenth of the spacing.
Points noisyTorus() {
    return scaled(Scan(11, 0.003).torus(20000), 7.0, 100.0);
}
/// A sphere of 4 units across that lacks a cap, with noise.
Points openSphere() {
    Points vPoints = scaled(Scan(12, 0.004).sphere(12000), 2.0);
    std::erase_if(vPoints, [](const Point3& p) { return p.z() > 1.95; });
    return vPoints;
}
MeshPtr roughTorus() {
    return meshOf(withNoise(torus(90, 40), 0.03, 13));
}
TriangleSoup part() {
    return turned(boredBlockSoup(24), 25.0);
}

struct Scene {
    const char* name;
    std::uint64_t (*run)();
    std::uint64_t hash;
};

const std::vector<Scene> vScene = {
    {"spacing",
     [] {
         Points vPoints = noisyTorus();
         return std::bit_cast<std::uint64_t>(estimateAvgSpacing(vPoints));
     },
     0x3fca48bd5452795c},
    {"sphere",
     [] {
         Points vPoints = Scan(1).sphere(20000);
         return hashOf(reconstruct_auto(vPoints, false, 1.1, -1));
     },
     0x5b6730ddc84174c9},
    {"many points",
     [] {
         Points vPoints = Scan(2, 0.002).plane(130000);
         return hashOf(reconstruct_abs(vPoints, false, 0.012, -1));
     },
     0x379114396514356e},
    {"noisy torus, smoothed",
     [] {
         Points vPoints = noisyTorus();
         return hashOf(reconstruct_auto(vPoints, true, 1.3, -1));
     },
     0x6aa5d52525711435},
    {"fold and dust",
     [] {
         Points vPoints = Scan(3, 0.002).fold(12000);
         const Points vDust = Scan(4).dust(3000);
         vPoints.insert(vPoints.end(), vDust.begin(), vDust.end());
         return hashOf(reconstruct_auto(vPoints, false, 1.0, -1));
     },
     0x8cce9c58132ee3fa},
    {"growth",
     [] {
         Points vPoints = openSphere();
         return hashOf(reconstruct_auto(vPoints, false, 1.25, 12));
     },
     0xbc9e3b011558e2e9},
    {"melt",
     [] {
         TriangleSoup soup = joined(part(), flipped(torusSoup(20), 3));
         return hashOf(melt(soup, 0.05, 30.0));
     },
     0xa4e38390988383d2},
    {"cloud",
     [] {
         TriangleSoup soup = part();
         Points vOut;
         toCloud(soup, 0.03, 30.0, vOut);
         return hashOf(vOut);
     },
     0xb0a621c01fe67003},
    {"reduce",
     [] {
         const MeshPtr pMesh = roughTorus();
         reduce(pMesh, 0.4, 25.0);
         return hashOf(pMesh);
     },
     0x467cf2b2f44c7b76},
    {"flips",
     [] {
         const MeshPtr pMesh = roughTorus();
         edgeFlips(pMesh);
         return hashOf(pMesh);
     },
     0xd2a7b1bb7b741ea8},
    {"annealing",
     [] {
         const MeshPtr pMesh = meshOf(withNoise(torus(40, 20), 0.04, 14));
         edgeFlipsSimA(pMesh);
         return hashOf(pMesh);
     },
     0x65c9917047bde647},
    {"smoothing",
     [] {
         const MeshPtr pMesh = roughTorus();
         laplacianSmoothing(pMesh, 10);
         return hashOf(pMesh);
     },
     0x24bf6099a84958b4},
    {"manifold",
     [] {
         std::set<std::array<int, 3>> sCube;
         Random random(15);
         for (int i = 0; i < 700; ++i) {
             const int x = random.next() % 12, y = random.next() % 12, z = random.next() % 12;
             sCube.insert({x, y, z});
         }
         const MeshPtr pMesh = meshOf(voxels(sCube));
         makeManifold(pMesh);
         return hashOf(pMesh);
     },
     0x7133b00efabe7327},
    {"scan, in order and decimated",
     [] {
         Points vPoints = openSphere();
         const MeshPtr pMesh = reconstruct_auto(vPoints, false, 1.2, -1);
         makeManifold(pMesh);
         fillHoles(pMesh, 30, true);
         laplacianSmoothing(pMesh, 3, true);
         reduce(pMesh, 0.3, 20.0, true);
         edgeFlips(pMesh, true);
         return hashOf(pMesh);
     },
     0x6808e7aecc3fffa3},
    {"soup, decimated and smoothed",
     [] {
         TriangleSoup soup = part();
         const MeshPtr pMesh = melt(soup, 0.06, 30.0);
         reduce(pMesh, 0.2, 10.0);
         fillHoles(pMesh, 8);
         edgeFlips(pMesh);
         laplacianSmoothing(pMesh, 1);
         return hashOf(pMesh);
     },
     0x1d797494177ecedc},
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

/// Leaves the number of threads as it is by default.
struct Threads {
    ~Threads() { setNumThreads(0); }
};

}  // namespace

TEST(Repeat, onAnyNumberOfThreadsAndAfterARunAtAnotherScale) {
    const Silence silence;
    const Threads threads;
    const bool bPrint = std::getenv("KEL_PRINT_HASHES") != nullptr;
    for (const auto& [name, run, committed] : vScene)
        for (const int numThreads : {1, 2, 3, 8}) {
            setNumThreads(numThreads);
            if (numThreads == 3) {
                Points vOther = scaled(Scan(21, 0.01).torus(3000), 4e5, -1e6);
                ASSERT_NE(reconstruct_auto(vOther, true, 1.5, 6), nullptr);
            }
            const std::uint64_t hash = run();
            if (bPrint && numThreads == 1) std::printf("%s: 0x%016llx\n", name, static_cast<unsigned long long>(hash));
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
