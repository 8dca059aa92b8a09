// Smoothing of both meshes: means of former places, pinned borders, and what becomes of vertices that meet.
#include <bit>

#include "CMesh_smoothing.h"
#include "RTop.h"
#include "support/coarse_soup.h"
#include "support/fine.h"
#include "support/hash.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

std::vector<std::uint64_t> bitsOf(const Point3& p) {
    return {std::bit_cast<std::uint64_t>(p.x()), std::bit_cast<std::uint64_t>(p.y()), std::bit_cast<std::uint64_t>(p.z())};
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

/// Smooths one round: vertices off the border go to the mean of what their neighbours' places were, unless another vertex is
/// there. Returns how many stayed for that reason. vBits: takes the new places.
int smoothAndCheck(FineMesh&& fine, std::vector<std::uint64_t>& vBits) {
    bool bOK = false;
    for (RTriangle* pRT : fine->vRT)
        pRT->getNNV(bOK);
    std::set<Point3*> sBorder;
    for (const REdge* pRE : edges(*fine, 1))
        sBorder.insert({pRE->pVtx0, pRE->pVtx1});
    std::map<Point3*, std::pair<Vector3, double>> mSum;
    for (const REdge* pRE : listOf<REdge*>([&](auto& v) { fine->getREdges(v); }))
        for (const auto& [p, q] : {std::pair(pRE->pVtx0, pRE->pVtx1), {pRE->pVtx1, pRE->pVtx0}})
            if (sBorder.count(p) == 0) mSum[p].first += *q - Point3(), mSum[p].second += 1.0;
    std::map<Point3*, Point3> mBefore;
    for (Point3* p : fine.vVtx)
        mBefore[p] = *p;
    const MeshPtr pMesh = meshOf(std::move(fine));
    laplacianSmoothing(pMesh, 1);
    int numLeftOut = 0;
    for (const auto& [p, before] : mBefore) {
        const Point3 mean = mSum.count(p) != 0 ? Point3() + mSum[p].first / mSum[p].second : before;
        const bool bLeftOut = *p == before && (mean - before).length() > 1e-12;
        EXPECT_TRUE(bLeftOut || (*p - mean).length() < 1e-12);
        numLeftOut += bLeftOut ? 1 : 0;
        for (const std::uint64_t bits : bitsOf(*p))
            vBits.push_back(bits);
    }
    EXPECT_EQ(firstFault(*pMesh->getRMesh()), "");
    for (RTriangle* pRT : pMesh->getRMesh()->vRT) {
        if (!pRT->bAlive) continue;
        const Vector3 cached = pRT->getNNV(bOK);
        pRT->resetNNV();
        EXPECT_LT((pRT->getNNV(bOK) - cached).length(), 1e-12) << "a stale normal";
    }
    return numLeftOut;
}

TEST(FineSmoothing, aRoundTakesMeansAndLeavesPlacesToTheirOwners) {
    std::vector<std::uint64_t> vBits;
    const auto smoothed = [&vBits](const Soup& soup, int numKill) {
        FineMesh mesh(soup);
        for (int i = 0; i < numKill; ++i)
            mesh.kill(i * 5);
        return smoothAndCheck(std::move(mesh), vBits);
    };
    for (const int numKill : {0, 6})  // the last one is large enough for equal hashes of different places
        for (const Soup& soup : {withNoise(torus(17, 9), 0.15, 1), withNoise(sheet(12, 9), 0.4, 2), sheet(6, 6),
                                 withNoise(torus(200, 100), 0.01, 3)})
            EXPECT_EQ(smoothed(soup, numKill), 0);
    vBits.clear();
    int numLeftOut = 0;
    for (unsigned seed = 0; seed < 400; ++seed)
        numLeftOut += smoothed(latticeSoup(seed), seed % 3 == 0 ? 2 : 0);
    EXPECT_GT(numLeftOut, 100);
    EXPECT_EQ(hashOf(vBits), 1916879629454977604U) << "who is served first, as it was";
}

TEST(FineSmoothing, roundsFollowEachOther) {
    for (const Soup& soup : {withNoise(torus(17, 9), 0.15, 1), withNoise(sheet(12, 9), 0.4, 2)}) {
        const MeshPtr pInTurn = meshOf(soup);
        for (const int numRounds : {-1, 0, 1, 2, 3}) {
            const MeshPtr pAtOnce = meshOf(soup), pInRun = meshOf(soup);
            laplacianSmoothing(pAtOnce, numRounds);
            if (numRounds > 0) laplacianSmoothing(pInTurn, 1);
            EXPECT_EQ(cornersOf(pAtOnce), cornersOf(pInTurn)) << numRounds;
            const OpenRun open;
            RTop(pInRun->getRMesh()).laplacianSmoothingKillDeg(numRounds);
            EXPECT_EQ(cornersOf(pInRun), cornersOf(pInTurn)) << numRounds;
        }
    }
}

TEST(FineSmoothing, verticesAtOnePlaceDontStopIt) {
    std::vector<std::uint64_t> vBits;
    forSeeds(60, [&](unsigned seed) {
        CoarsePlaces places(sheet(5, 5));
        std::mt19937 random(seed);
        const auto any = [&]() -> Point3& { return places.vtx(static_cast<int>(random() % 36)); };
        for (unsigned i = 0; i < seed % 8; ++i)
            any() = any();
        RMesh mesh(&places.mesh);
        const OpenRun open;
        RTop(&mesh).laplacianSmoothing(3);
        for (const Point3& p : listOf<Point3>([&](auto& v) { mesh.getTriangleCorners(v); })) {
            EXPECT_TRUE(std::min(p.x(), p.y()) >= 0.0 && std::max(p.x(), p.y()) <= 5.0 && p.z() == 0.0) << p;
            for (const std::uint64_t bits : bitsOf(p))
                vBits.push_back(bits);
        }
    });
    EXPECT_EQ(hashOf(vBits), 15260168459327283184U) << "as it was";
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
