// Smoothing of both meshes against a plain form of it: sorted pairs, and for the fine mesh one call a vertex.
#include <bit>

#include "CMesh_smoothing.h"
#include "RTop.h"
#include "sortMT.h"
#include "support/coarse_soup.h"
#include "support/fine.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

using Pairs = std::vector<std::pair<Point3*, Point3*>>;

/// What a pass needs around it.
class TestRun {
public:
    TestRun() { plantProgress("Test", {}); }
    ~TestRun() { ThreadSingleton<Progress>::getInstance()->reset(); }
};

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

template <typename Edge, typename EndsOf>
Pairs plainPairs(const std::vector<Edge*>& vAll, bool bPinBorder, EndsOf endsOf) {
    std::vector<Point3*> vBorder;
    for (const Edge* pEdge : vAll)
        if (bPinBorder && pEdge->getDegree() == 1)
            vBorder.insert(vBorder.end(), {endsOf(pEdge).first, endsOf(pEdge).second});
    oneInstance(vBorder);
    Pairs vPairs;
    for (const Edge* pEdge : vAll) {
        const auto [a, b] = endsOf(pEdge);
        if (!std::binary_search(vBorder.begin(), vBorder.end(), a)) vPairs.emplace_back(a, b);
        if (!std::binary_search(vBorder.begin(), vBorder.end(), b)) vPairs.emplace_back(b, a);
    }
    std::sort(vPairs.begin(), vPairs.end());
    return vPairs;
}

/// Returns how many moves onto the place of another vertex were left out.
int plainSmoothing(RMesh& mesh, int numIterations) {
    const auto vAll = listOf<REdge*>([&](auto& v) { mesh.getREdges(v); });
    const Pairs vPairs = plainPairs(vAll, true, [](const REdge* pRE) { return std::pair(pRE->pVtx0, pRE->pVtx1); });
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
            const TestRun open;
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
            CoarseSoup soup(sheet(5, 5), 3);
            std::mt19937 random(seed);
            for (unsigned i = 0; i < seed % 8; ++i)
                soup.vPoint[random() % 36] = soup.vPoint[random() % 36];
            RMesh mesh(&soup.coarse);
            const TestRun open;
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
    Soup soup = flat;
    const Soup rough = withNoise(flat, 0.2, 5);
    const auto isBorder = [&](std::size_t i) { return i % 11 == 0 || i % 11 == 10 || i < 11 || i >= 110; };
    for (std::size_t i = 0; i < soup.vVtx.size(); ++i)
        if (!isBorder(i)) soup.vVtx[i] = rough.vVtx[i];
    FineMesh mesh(soup);
    const std::vector<Point3*> vVtx = mesh.vVtx;
    const MeshPtr pMesh = meshOf(std::move(mesh));
    laplacianSmoothing(pMesh, 400);
    for (std::size_t i = 0; i < vVtx.size(); ++i) {
        EXPECT_TRUE(!isBorder(i) || bitsOf(*vVtx[i]) == bitsOf(flat.vVtx[i])) << i;
        EXPECT_LT((*vVtx[i] - flat.vVtx[i]).length(), 1e-6) << i;
    }
    EXPECT_EQ(pMesh->getRMesh()->getNumT(), 200U);
}

TEST(FineSmoothing, noRoundsStillClearDegenerateTriangles) {
    Soup soup = sheet(4, 4);
    soup.vVtx[12] = Point3(1.0 + 1e-7, 2, 0);  // beside vertex 11: slivers
    const MeshPtr pMesh = meshOf(soup);
    laplacianSmoothing(pMesh, 0);
    EXPECT_LT(pMesh->getRMesh()->getNumT(), soup.vT.size());
    for (std::size_t i = 0; i < soup.vVtx.size(); ++i)
        EXPECT_EQ(*pMesh->getRMesh()->poolVtx.at(i), soup.vVtx[i]);
}

TEST(FineSmoothing, aMeanThatOverflowsMovesNothing) {
    Soup soup = torus(8, 5);
    for (Point3& p : soup.vVtx)
        p = Point3(p.x() > 0 ? 1e308 : -1e308, p.y(), p.z());
    const MeshPtr pMesh = meshOf(soup);
    laplacianSmoothing(pMesh, 3);
    for (std::size_t i = 0; i < pMesh->getRMesh()->getNumVtx_all(); ++i)
        EXPECT_TRUE(std::isfinite(pMesh->getRMesh()->poolVtx.at(i)->x()));
}

TEST(FineSmoothing, isARunOfItsOwnUnlessOneIsOpen) {
    const MeshPtr pMesh = meshOf(withNoise(torus(30, 20), 0.05, 1));
    Hearer hearer;
    subscribe(&hearer);
    laplacianSmoothing(pMesh, 3);
    unsubscribe();
    EXPECT_EQ(std::set(hearer.vName.begin(), hearer.vName.end()), std::set<std::string>{"Smoothing"});
    EXPECT_TRUE(std::ranges::is_sorted(hearer.vFraction));
    EXPECT_TRUE(hearer.vFraction.size() > 50 && hearer.vFraction.size() < 400) << hearer.vFraction.size();
    EXPECT_EQ(hearer.vFraction.back(), 1.0);
    EXPECT_FALSE(hasOpenProgress());
    const TestRun open;
    laplacianSmoothing(pMesh, 1);
    EXPECT_TRUE(hasOpenProgress());
    EXPECT_EQ(ThreadSingleton<Progress>::getInstance()->getName(), "Test");
}

TEST(FineSmoothing, aListenerThatThrowsLeavesTheMeshInOrder) {
    for (double limit = -0.5; limit < 1.0; limit += 0.125) {
        const MeshPtr pMesh = meshOf(withNoise(torus(30, 20), 0.05, 1));
        Hearer hearer(limit);
        subscribe(&hearer);
        EXPECT_THROW(laplacianSmoothing(pMesh, 4), double);
        unsubscribe();
        EXPECT_EQ(firstFault(*pMesh->getRMesh()), "") << limit;
        EXPECT_FALSE(hasOpenProgress());
    }
}

void plainSmoothing(CMesh& mesh, bool bPinBorder, int numIterations) {
    const auto vAll = listOf<CEdge*>([&](auto& v) { mesh.getCEdges(v); });
    const Pairs vPairs = plainPairs(vAll, bPinBorder,
                                    [&](const CEdge* pCE) { return std::pair(mesh.getVtx(pCE->v0), mesh.getVtx(pCE->v1)); });
    for (int i = 0; i < numIterations; ++i)
        for (const auto& [p, mean] : plainMeans(vPairs))
            *p = mean;
}

TEST(CoarseSmoothing, agreesWithThePlainForm) {
    Soup closed = sheet(5, 4);  // with a lid on the same border
    const int numT = static_cast<int>(closed.vT.size());
    closed.vVtx.emplace_back(2, 2, 9);
    for (int i = 0; i < numT; ++i) {
        const auto& t = closed.vT[static_cast<std::size_t>(i)];
        closed.vT.push_back({t[1], t[0], 30});
    }
    for (const Soup& soup : {sheet(6, 5), closed})
        for (const int numIterations : {-1, 0, 1, 4}) {
            CoarseSoup smooth(soup, 4), plain(soup, 4);
            for (CoarseSoup* pSoup : {&smooth, &plain}) {
                Scan scan(1);
                for (Point3& p : pSoup->vPoint)
                    p = p + Vector3{scan.uniform(0.0, 0.4), 0.0, scan.uniform(0.0, 0.4)};
                for (const std::size_t i : {0U, 9U, 17U})
                    pSoup->coarse.vAllCT[i]->kill(&pSoup->coarse);
            }
            outputOf([&] { laplacianSmoothingKillDeg(&smooth.coarse, numIterations); });
            plainSmoothing(plain.coarse, true, numIterations);
            outputOf([&] { plain.coarse.treatDegenerateT(); });
            EXPECT_EQ(smooth.vPoint, plain.vPoint) << numIterations << " rounds";
            EXPECT_EQ(smooth.coarse.vAllCT.size(), plain.coarse.vAllCT.size());
            const std::vector<Point3> vBefore = smooth.vPoint;
            laplacianSmoothing(&smooth.coarse);
            plainSmoothing(plain.coarse, false, 1);
            EXPECT_EQ(smooth.vPoint, plain.vPoint) << "the border moves too";
            EXPECT_NE(smooth.vPoint[5], vBefore[5]);
        }
}

}  // namespace
