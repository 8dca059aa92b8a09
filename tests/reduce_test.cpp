// Reduction: what a caller counts on, what a penalty is, and that results stay what they were when it was held against a
// plain form with an ordered multimap as the queue and every penalty asked anew.
#include "RMesh.h"
#include "freeFunctions.h"
#include "support/fine.h"
#include "support/hash.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

using Triangles = std::vector<RTriangle*>;

/// The corners of all triangles ever made, by number; -1 for those of dead ones.
std::vector<long> stateOf(const RMesh& mesh) {
    std::vector<long> v;
    for (const RTriangle* pRT : mesh.vRT)
        for (const Point3* p : pRT->aCorners)
            v.push_back(pRT->bAlive ? static_cast<long>(mesh.getVtxIndex(p)) : -1);
    return v;
}

int reduceInRun(RMesh& mesh, double maxLen, double maxDeg) {
    progressForReduce();
    const int numKilled = mesh.reduce(maxLen * maxLen, maxDeg);
    closeProgress();
    return numKilled;
}

// ---- Meshes --------------------------------------------------------------------------------------------------------------

/// The soup and struts between any of its vertices: edges of three and more triangles, touching borders, duplicates.
Soup withStruts(Soup soup, int numStruts, unsigned seed) {
    std::mt19937 random(seed);
    const auto any = [&] { return static_cast<int>(random() % soup.vVtx.size()); };
    for (int i = 0; i < numStruts;) {
        const int a = any(), b = any(), c = any();
        if (a != b && b != c && a != c) soup.vT.push_back({a, b, c}), ++i;
    }
    return soup;
}

struct Case {
    const char* name;
    Soup soup;
    double maxLen, maxDeg;
    std::size_t numLeft;
    std::uint64_t hash;  ///< of the state; the failure prints the new one
};

std::vector<Case> cases() {
    return {{"torus", torus(220, 60), 0.6, 20.0, 282, 6211960051379150067U},
            {"noisy torus", withNoise(torus(220, 60), 0.004, 1), 0.8, 40.0, 154, 18048294251808779368U},
            {"thin torus", withNoise(torus(60, 4), 0.01, 2), 9.0, 95.0, 14, 13948356963495205815U},
            {"noisy sheet", withNoise(sheet(20, 20), 0.05, 3), 4.0, 30.0, 14, 8450601662529633358U},
            {"fan", fan(30, false), 900.0, 90.0, 1, 14963672731832738140U},
            {"struts", withStruts(torus(40, 20), 60, 6), 4.0, 90.0, 382, 6157450799538644104U},
            {"many struts", withNoise(withStruts(torus(20, 10), 600, 7), 0.1, 8), 4.0, 180.0, 1000, 5852063720189168166U}};
}

}  // namespace

TEST(Reduce, leavesWhatItLeftBefore) {
    const CoutSilence silence;
    for (const Case& c : cases()) {
        FineMesh mesh(c.soup);
        const int numKilled = reduceInRun(*mesh, c.maxLen, c.maxDeg);
        EXPECT_EQ(mesh->getNumT(), c.numLeft) << c.name;
        EXPECT_EQ(c.soup.vT.size(), c.numLeft + static_cast<std::size_t>(numKilled)) << c.name;
        EXPECT_EQ(hashOf(stateOf(*mesh)), c.hash) << c.name;
        EXPECT_EQ(firstFault(*mesh), "") << c.name;
    }
}

TEST(Reduce, refusesWhatHasNoFinitePenalty) {
    constexpr double PI_RAD = 3.2;
    Triangles vIncT;
    // A spare triangle at the end of an edge: nothing turns, the length alone counts.
    FineMesh ear({{{0, 0, 0}, {4, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}});
    EXPECT_EQ(ear->getPenalty(ear.edge(0, 1), 0, 17.0, PI_RAD, vIncT), 2.0);
    EXPECT_EQ(vIncT, Triangles{ear.tri(0)});
    EXPECT_EQ(ear->getPenalty(ear.edge(0, 1), 1, 15.0, PI_RAD, vIncT), LARGEST);
    // The plane of two triangles turns by 45 degrees around the line x = 3, the third triangle dies.
    const double x = 3.0 - 3.0 * std::sqrt(0.5), z = 3.0 * std::sqrt(0.5);
    const FineMesh hinge({{{0, 0, 0}, {3, -1, 0}, {3, 1, 0}, {3, 3, 0}, {x, 0, z}}, {{0, 1, 2}, {0, 2, 3}, {0, 4, 1}}});
    const double expected = 25.0 * std::acos(-1.0) + std::sqrt(std::hypot(x, z));
    EXPECT_NEAR(hinge->getPenalty(hinge.edge(0, 4), 0, 17.0, PI_RAD, vIncT), expected, 1e-6);
    for (const double sideLen : {0.0, -1.0, NOT_A_NUMBER}) {
        ear->sideLen = sideLen;
        EXPECT_EQ(ear->getPenalty(ear.edge(0, 1), 0, 17.0, PI_RAD, vIncT), LARGEST);
    }
    ear.kill(0);
    EXPECT_EQ(ear->getPenalty(ear.edge(0, 1), 0, 17.0, PI_RAD, vIncT), LARGEST);
    EXPECT_TRUE(vIncT.empty());

    // Without area before: no say, but a line. Without area afterwards: refused.
    FineMesh flat({{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, 5, 0}}, {{0, 1, 2}, {0, 1, 3}, {0, 3, 4}}});
    EXPECT_EQ(outputOf([&] { EXPECT_LT(flat->getPenalty(flat.edge(0, 3), 0, 17.0, PI_RAD, vIncT), LARGEST); }),
              "current triangle is degenerate\n");
    FineMesh row({{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}}, {{0, 1, 3}, {1, 2, 3}}});
    EXPECT_EQ(row->getPenalty(row.edge(0, 3), 1, 17.0, PI_RAD, vIncT), LARGEST);

    for (const double bad : {NOT_A_NUMBER, INF, 1e200}) {
        Soup soup = withNoise(torus(12, 6), 0.01, 11);
        for (std::size_t i = 0; i < soup.vVtx.size(); i += 10)
            soup.vVtx[i] = Point3(bad, static_cast<double>(i), 0);
        const MeshPtr pMesh = meshOf(soup);
        outputOf([&] { reduce(pMesh, 1e250, 180.0); });
        pMesh->getRMesh()->checkDataStructures("");
    }
}

TEST(Reduce, readsItsLimits) {
    const CoutSilence silence;
    for (const auto& [maxLen, maxDeg, bReduces] : {std::tuple(0.0, 90.0, false),
                                                   {NOT_A_NUMBER, 90.0, false},
                                                   {1.0, NOT_A_NUMBER, false},
                                                   {9.0, -1.0, false},
                                                   {INF, INF, true},
                                                   {0.25, 180.0, true}}) {
        const auto pMesh = meshOf(torus(60, 20));
        const auto before = stateOf(*pMesh->getRMesh());
        int numKilled = -1;
        const std::string output = outputOf([&, len = maxLen, deg = maxDeg] { numKilled = reduce(pMesh, len, deg); });
        EXPECT_EQ(countIn(output, "WARNING"), std::isnan(maxLen + maxDeg) ? 1 : 0) << output;
        EXPECT_EQ(numKilled > 0, bReduces) << maxLen << " " << maxDeg;
        EXPECT_EQ(stateOf(*pMesh->getRMesh()) == before, !bReduces) << maxLen << " " << maxDeg;
        EXPECT_FALSE(hasOpenProgress());
    }
}
