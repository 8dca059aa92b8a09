// The operations of post-processing when they are to keep a manifold mesh so.
#include "ManifoldMaker.h"
#include "collapses.h"
#include "support/figures.h"
#include "support/fine.h"
#include "support/manifold.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

struct Operation {
    std::string name;
    std::function<void(const MeshPtr&, bool)> run;
};
const std::vector<Operation> operations = {
    {"reduce", [](const MeshPtr& pMesh, bool bKeep) { reduce(pMesh, 1.5, 60.0, bKeep); }},
    {"reduce all", [](const MeshPtr& pMesh, bool bKeep) { reduce(pMesh, LARGEST, 180.0, bKeep); }},
    {"flip", [](const MeshPtr& pMesh, bool bKeep) { edgeFlips(pMesh, bKeep); }},
    {"smooth", [](const MeshPtr& pMesh, bool bKeep) { laplacianSmoothing(pMesh, 2, bKeep); }},
    {"smooth long", [](const MeshPtr& pMesh, bool bKeep) { laplacianSmoothing(pMesh, 20, bKeep); }},
    {"fill", [](const MeshPtr& pMesh, bool bKeep) { fillHoles(pMesh, 20, bKeep); }},
};

/// Bodies of cubes, most of them dented, or loose triangles, taken apart where they touch, so with vertices at one place;
/// some pressed until many triangles are thin.
MeshPtr randomManifold(unsigned seed) {
    std::mt19937 random(seed);
    std::set<std::array<int, 3>> sCube;
    for (int i = 0; i < 27; ++i)
        if (random() % 100 < 30 + seed % 40) sCube.insert({i / 9, i / 3 % 3, i % 3});
    Soup soup = random() % 4 == 0 ? tangledSoup(random) : withNoise(voxels(sCube), 0.15 * (seed % 3), seed);
    for (Point3& p : soup.vVtx)
        if (seed % 5 == 0) p = Point3(p.x() * 1e-5, p.y(), p.z());
    const MeshPtr pMesh = meshOf(soup);
    makeManifold(pMesh);
    return pMesh;
}

/// A ring-shaped tube with waists of three edges, of which two have a short side with needles on it.
Soup tube(double shortSide) {
    Soup soup = torus(9, 3);
    for (const std::size_t i : {0U, 9U})
        soup.vVtx[i + 1] = soup.vVtx[i] + Vector3(0.0, 0.0, shortSide);
    return soup;
}

/// A sheet with a spike here and there; nearly all columns are pushed together to that width.
Soup spikes(double width) {
    Soup soup = sheet(12, 6);
    for (Point3& p : soup.vVtx)
        p = Point3(p.x() < 11.0 ? p.x() * width : p.x(), p.y(), std::fmod(p.x() + 3.0 * p.y(), 5.0) == 0.0 ? 1e3 : 0.0);
    return soup;
}

/// What is closed stays so, with as many pieces and tunnels; but where bodies shrink away, or nothing but waists is left.
void expectKept(const Operation& operation, const MeshPtr& pMesh) {
    const CoutSilence silence;
    const RMesh& mesh = *pMesh->getRMesh();
    const Figures before = figuresOf(mesh);
    const bool bWasFlat = hasFlat(mesh);
    operation.run(pMesh, true);
    EXPECT_EQ(firstFlawButFacing(mesh), "") << operation.name;
    mesh.checkDataStructures(operation.name);
    if (before.numBorder != 0 || operation.name == "smooth long" || (bWasFlat && operation.name == "reduce all")) return;
    EXPECT_EQ(std::pair(figuresOf(mesh).numBorder, figuresOf(mesh).euler), std::pair(0, before.euler)) << operation.name;
}

}  // namespace

TEST(KeptManifold, isWhatComesOfRandomMeshes) {
    int numBrokenWithout = 0;
    forSeeds(600, [&](unsigned seed) {
        const Operation& operation = operations[seed % operations.size()];
        expectKept(operation, randomManifold(seed));
        if (seed % 5 != 0 && operation.name != "fill") return;
        const CoutSilence silence;
        const MeshPtr pMesh = randomManifold(seed);
        operation.run(pMesh, false);
        const bool bBroken = !firstFlawButFacing(*pMesh->getRMesh()).empty();
        EXPECT_FALSE(bBroken && operation.name == "fill") << "it closes nothing that touches";
        numBrokenWithout += bBroken ? 1 : 0;
    });
    EXPECT_GT(numBrokenWithout, 10);
}

TEST(KeptManifold, isWhatComesOfWaistsSpikesAndTouchingRims) {
    Soup rims = sheet(6, 4);
    std::erase_if(rims.vT, [](const auto& t) { return t[0] == 16 || t[1] == 17 || t[0] == 24 || t[1] == 25; });
    for (const double shortSide : {0.1, 1e-5, 1e-8, 1e-300})
        for (const Soup& soup : {tube(shortSide), spikes(shortSide), rims, torus(12, 8)})
            for (const Operation& operation : operations) {
                const MeshPtr pMesh = meshOf(soup);
                if (!flawOfLinks(*pMesh->getRMesh()).empty()) makeManifold(pMesh);
                expectKept(operation, pMesh);
            }
}

/// What is allowed against what comes of it. Borders are kept from more than has to be, such as the loss of an ear.
TEST(KeptManifold, isWhatACollapseIsAskedFor) {
    int numAllowed = 0, numRefused = 0;
    const auto reduced = [](unsigned seed) {
        const CoutSilence silence;
        const MeshPtr pMesh = randomManifold(seed);
        reduce(pMesh, 1.5, 100.0);  // so that little is left that may be collapsed
        return pMesh;
    };
    forSeeds(40, [&](unsigned seed) {
        const Figures before = figuresOf(*reduced(seed)->getRMesh());
        const std::size_t numRE = edges(*reduced(seed)->getRMesh(), -99).size();
        for (std::size_t i = seed % 4; i < numRE; i += 4) {
            const MeshPtr pMesh = reduced(seed);
            RMesh& mesh = *pMesh->getRMesh();
            const REdge& edge = *edges(mesh, -99)[i];
            Point3 *pSrc = edge.getVertex(static_cast<int>(i % 2)), *pTrg = edge.getOtherPoint(pSrc);
            const bool bAllowed = canCollapseManifold(mesh, pSrc, pTrg);
            mesh.exchangeCorner(pSrc, pTrg);
            const bool bGood = flawOfLinks(mesh).empty();
            EXPECT_TRUE(bGood || !bAllowed) << i;
            if (before.numBorder == 0) {
                EXPECT_EQ(bAllowed, bGood && figuresOf(mesh).euler == before.euler) << i;
            }
            ++(bAllowed ? numAllowed : numRefused);
        }
    });
    EXPECT_GT(std::min(numAllowed, numRefused), 100);
}

TEST(KeptManifold, hasASeamWhereASlitWasAndFacesAsBefore) {
    Soup slit = sheet(4, 4);  // a crack between vertex 12 and the edge 11-13
    std::erase_if(slit.vT, [](const auto& t) {
        return std::all_of(t.begin(), t.end(), [](int i) { return (i >= 6 && i <= 8) || (i >= 11 && i <= 13); });
    });
    slit.vVtx[12] = Point3(2.0, 2.0 + 1e-7, 0.0);
    slit.vT.insert(slit.vT.end(), {{6, 7, 11}, {7, 13, 11}, {7, 8, 13}});
    for (const bool bKeep : {false, true}) {
        const MeshPtr pMesh = meshOf(slit);
        EXPECT_EQ(fillHoles(pMesh, 3, bKeep), 1);
        EXPECT_EQ(firstFlaw(*pMesh->getRMesh()), bKeep ? "" : "a triangle is flat");
        EXPECT_EQ(figuresOf(*pMesh->getRMesh()).numBorder, 16);
    }
    for (const auto& [facing, numTurned] : {std::pair(Facing::OUTWARD, 3U), {Facing::AS_MOST, 1U}}) {
        const OpenRun run;
        EXPECT_EQ(makeManifold(*meshOf(turned(tetrahedron(), 1))->getRMesh(), facing).numTurned, numTurned);
    }
}
