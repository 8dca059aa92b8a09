// Smoothing of both meshes against a plain form of it: sorted pairs, and for the fine mesh one call a vertex.
#include <bit>

#include "CMesh_smoothing.h"
#include "RTop.h"
#include "support/coarse_soup.h"
#include "support/fine.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

using Pairs = std::vector<std::pair<Point3*, Point3*>>;

std::vector<std::pair<Point3*, Point3>> plainMeans(const Pairs& vPairs) {
    std::vector<std::pair<Point3*, Point3>> vMoves;
    for (auto it = vPairs.begin(); it != vPairs.end();) {
        Point3* p = it->first;
        Vector3 sum;
        double num = 0.0;
        for (; it != vPairs.end() && it->first == p; ++it, num += 1.0)
            sum += *it->second - Point3();
        vMoves.emplace_back(p, Point3() + sum / num);
    }
    return vMoves;
}

Pairs plainPairs(const RMesh& mesh) {
    std::set<Point3*> sBorder;
    for (const REdge* pRE : edges(mesh, 1))
        sBorder.insert({pRE->pVtx0, pRE->pVtx1});
    Pairs vPairs;
    for (const REdge* pRE : listOf<REdge*>([&](auto& v) { mesh.getREdges(v); }))
        for (const auto& [a, b] : {std::pair(pRE->pVtx0, pRE->pVtx1), {pRE->pVtx1, pRE->pVtx0}})
            if (sBorder.count(a) == 0) vPairs.emplace_back(a, b);
    std::sort(vPairs.begin(), vPairs.end());
    return vPairs;
}

/// Returns how many moves onto the place of another vertex were left out.
int plainSmoothing(RMesh& mesh, int numIterations) {
    const Pairs vPairs = plainPairs(mesh);
    int numLeftOut = 0;
    for (int i = 0; i < numIterations; ++i)
        for (const auto& [p, mean] : plainMeans(vPairs)) {
            if (*p == mean) continue;
            if (mesh.hasVertex(mean))
                ++numLeftOut;
            else
                mesh.updateVertex(p, mean);
        }
    mesh.killDegenerate();
    return numLeftOut;
}

std::vector<std::uint64_t> bitsOf(const Point3& p) {
    return {std::bit_cast<std::uint64_t>(p.x()), std::bit_cast<std::uint64_t>(p.y()), std::bit_cast<std::uint64_t>(p.z())};
}

/// All places bit for bit and who is found there, and the alive triangles.
std::vector<std::uint64_t> stateOf(const RMesh& mesh) {
    std::vector<std::uint64_t> vState;
    for (std::size_t i = 0; i < mesh.getNumVtx_all(); ++i)
        for (const std::uint64_t bits : bitsOf(*mesh.poolVtx.at(i)))
            vState.push_back(bits);
    std::vector<std::uint32_t> vFound;
    mesh.mVtx.forEach([&](std::uint32_t i) { vFound.push_back(i); });
    std::sort(vFound.begin(), vFound.end());
    vState.insert(vState.end(), vFound.begin(), vFound.end());
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->bAlive)
            for (const Point3* p : pRT->aCorners)
                vState.push_back(mesh.getVtxIndex(p));
    return vState;
}

/// Any triangles on the points of a small lattice, both zeros among the coordinates: means fall on other vertices often.
Soup latticeSoup(unsigned seed) {
    std::mt19937 random(seed);
    const auto place = [&] { return std::array{-8.0, -0.0, 0.0, 8.0}[random() % 4]; };
    Soup soup;
    for (int i = 0; i < 30; ++i) {
        const double x = place(), y = place(), z = place();
        soup.vVtx.emplace_back(x, y, z);
    }
    for (int i = 0; i < 14; ++i) {
        const std::array<int, 3> t{static_cast<int>(random() % 30), static_cast<int>(random() % 30),
                                   static_cast<int>(random() % 30)};
        const auto at = [&](int k) { return soup.vVtx[static_cast<std::size_t>(t[static_cast<std::size_t>(k)])]; };
        if (at(0) == at(1) || at(1) == at(2) || at(2) == at(0)) continue;
        soup.vT.insert(soup.vT.end(), {t, t});  // twice, so that there is hardly any border
    }
    return soup;
}

TEST(FineSmoothing, agreesWithThePlainForm) {
    int numLeftOut = 0;
    const auto compare = [&](const Soup& soup, int numIterations, int numKill) {
        FineMesh mesh(soup), plain(soup), run(soup);
        for (int i = 0; i < numKill; ++i)
            for (FineMesh* pMesh : {&mesh, &plain, &run})
                pMesh->kill(i * 5);
        bool bOK = false;
        for (RTriangle* pRT : mesh->vRT)
            pRT->getNNV(bOK);
        {
            const OpenRun open;
            numLeftOut += plainSmoothing(*plain, numIterations);
            RTop(&*run).laplacianSmoothingKillDeg(numIterations);
        }
        const MeshPtr pMesh = meshOf(std::move(mesh));
        laplacianSmoothing(pMesh, numIterations);
        const RMesh& result = *pMesh->getRMesh();
        ASSERT_EQ(stateOf(result), stateOf(*plain)) << numIterations << " rounds, " << numKill << " killed";
        EXPECT_EQ(stateOf(*run), stateOf(*plain));
        EXPECT_EQ(firstFault(*plain), firstFault(result));
        for (RTriangle* pRT : result.vRT) {
            if (!pRT->bAlive) continue;
            const Vector3 cached = pRT->getNNV(bOK);
            pRT->resetNNV();
            EXPECT_LT((pRT->getNNV(bOK) - cached).length(), 1e-12) << "a stale normal";
        }
    };
    for (const int numIterations : {-1, 0, 1, 2, 5})
        for (const int numKill : {0, 6}) {
            compare(withNoise(torus(17, 9), 0.15, 1), numIterations, numKill);
            compare(withNoise(sheet(12, 9), 0.4, 2), numIterations, numKill);
            compare(sheet(6, 6), numIterations, numKill);
        }
    compare(withNoise(torus(200, 100), 0.01, 3), 3, 50);  // large enough for equal hashes of different places
    EXPECT_EQ(numLeftOut, 0);
    for (unsigned seed = 0; seed < 400; ++seed)
        compare(latticeSoup(seed), static_cast<int>(seed % 4), seed % 3 == 0 ? 2 : 0);
    EXPECT_GT(numLeftOut, 100);
}

TEST(FineSmoothing, verticesAtOnePlaceDontStopIt) {
    forSeeds(60, [](unsigned seed) {
        std::vector<std::uint64_t> aState[2];
        for (const bool bPlain : {false, true}) {
            CoarsePlaces places(sheet(5, 5));
            std::mt19937 random(seed);
            const auto any = [&]() -> Point3& { return places.vtx(static_cast<int>(random() % 36)); };
            for (unsigned i = 0; i < seed % 8; ++i)
                any() = any();
            RMesh mesh(&places.mesh);
            const OpenRun open;
            if (bPlain)
                plainSmoothing(mesh, 3);
            else
                RTop(&mesh).laplacianSmoothing(3);
            aState[bPlain] = stateOf(mesh);
        }
        EXPECT_EQ(aState[0], aState[1]);
    });
}

TEST(FineSmoothing, theBorderStaysBitForBitAndTheInnerPartEvensOut) {
    const Soup flat = sheet(10, 10);
    Soup soup = withNoise(flat, 0.2, 5);
    const auto isBorder = [&](std::size_t i) { return i % 11 == 0 || i % 11 == 10 || i < 11 || i >= 110; };
    for (std::size_t i = 0; i < soup.vVtx.size(); ++i)
        if (isBorder(i)) soup.vVtx[i] = flat.vVtx[i];
    const MeshPtr pMesh = meshOf(soup);
    laplacianSmoothing(pMesh, 400);
    for (std::size_t i = 0; i < soup.vVtx.size(); ++i) {
        const Point3& p = *pMesh->getRMesh()->poolVtx.at(i);
        EXPECT_TRUE(!isBorder(i) || bitsOf(p) == bitsOf(flat.vVtx[i])) << i;
        EXPECT_LT((p - flat.vVtx[i]).length(), 1e-6) << i;
    }
    EXPECT_EQ(pMesh->getRMesh()->getNumT(), 200U);
}

TEST(CoarseSmoothing, takesMeansOfNeighboursAndPinsTheBorder) {
    CoarsePlaces world(sheet(6, 5));
    CMesh& mesh = world.mesh;
    Scan scan(1);
    for (const auto& [vcd, place] : world.places())
        *mesh.getVtx(vcd) = place + Vector3{scan.uniform(0.0, 0.4), 0.0, scan.uniform(0.0, 0.4)};
    for (const std::size_t i : {0U, 9U, 17U})
        mesh.vAllCT[i]->kill(&mesh);
    const auto vCE = listOf<CEdge*>([&](auto& v) { mesh.getCEdges(v); });  // dead ones count
    const auto hasBorder = [&](VCD vcd) {
        return std::ranges::any_of(vCE, [vcd](const CEdge* pCE) { return pCE->has(vcd) && pCE->getDegree() == 1; });
    };
    for (const bool bPinBorder : {true, false}) {
        const std::map<VCD, Point3> before = world.places();
        if (bPinBorder)
            outputOf([&] { laplacianSmoothingKillDeg(&mesh, 1); });
        else
            laplacianSmoothing(&mesh);
        for (const VCD vcd : listOf<VCD>([&](auto& v) { mesh.getUsedCCD(v); })) {
            Vector3 sum;
            double num = 0;
            for (const CEdge* pCE : vCE)
                if (pCE->has(vcd)) sum += before.at(pCE->getOtherVCD(vcd)) - Point3(), num += 1;
            const Point3 expected = bPinBorder && hasBorder(vcd) ? before.at(vcd) : Point3() + sum / num;
            EXPECT_LT((*mesh.getVtx(vcd) - expected).length(), 1e-12) << bPinBorder;
        }
    }
    const std::map<VCD, Point3> before = world.places();
    for (const int numIterations : {-1, 0})
        outputOf([&] { laplacianSmoothingKillDeg(&mesh, numIterations); });
    EXPECT_EQ(world.places(), before);
}

}  // namespace
