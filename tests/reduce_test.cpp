// Reduction against the same rules in plain words: unit normals and set operations for the penalties, an ordered multimap as
// the queue with every penalty asked anew. And what a caller counts on: what stays, and what is left when a listener
// cancels.
#include "RMesh.h"
#include "freeFunctions.h"
#include "support/fine.h"
#include "support/prelude.h"
#include "support/run.h"
#include "support/soups.h"
#include "thread_pool.h"

using namespace TARN_TEST;

namespace {

using Vertices = std::vector<Point3*>;
using Edges = std::vector<REdge*>;
using Triangles = std::vector<RTriangle*>;

Triangles incident(const RMesh& mesh, const Point3* p) {
    return listOf<RTriangle*>([&](auto& v) { mesh.getIncidentT(p, v); });
}

Vertices pointsOf(const RMesh& mesh) {
    return listOf<Point3*>([&](auto& v) { mesh.getPoints(v); });
}

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

// ---- The plain form ------------------------------------------------------------------------------------------------------

class PlainReduction {
public:
    PlainReduction(RMesh& theMesh, double maxLen, double maxDeg)
        : maxSqLen(maxLen * maxLen), maxRad(maxDeg * 0.01745329251), mesh(theMesh) {}

    double penalty(const REdge* pRE, int iDir) const {
        const Point3* pSrc = iDir == 0 ? pRE->pVtx0 : pRE->pVtx1;
        const Point3* pTrg = pRE->getOtherPoint(pSrc);
        const double sqLen = (*pRE->pVtx1 - *pRE->pVtx0).sqLength();
        if (sqLen > maxSqLen) return LARGEST;
        std::set<REdge*> sSrcRing, sTrgRing;
        bool bEdgeSeen = false;
        double sum = 0.0;
        int count = 0;
        for (const RTriangle* pRT : incident(mesh, pSrc)) {
            bEdgeSeen = bEdgeSeen || pRT->has(pTrg);
            if (pRT->has(pTrg)) continue;
            const int i = pRT->getICI(pSrc);
            sSrcRing.insert(pRT->getRE(i));
            const Point3 &a = *pRT->aCorners[(i + 1) % 3], &b = *pRT->aCorners[(i + 2) % 3];
            const Vector3 before = crossProduct(b - a, *pSrc - a), after = crossProduct(b - a, *pTrg - a);
            if (before.isDegenerate()) continue;
            if (after.length() < 1e-10) return LARGEST;
            const double angle = getAngleRad(normalize(before), normalize(after));
            if (angle > maxRad) return LARGEST;
            sum += angle;
            ++count;
        }
        for (const RTriangle* pRT : incident(mesh, pTrg))
            if (!pRT->has(pSrc) && sSrcRing.count(pRT->getRE(pRT->getICI(pTrg))) > 0) return LARGEST;
        const double value = (count == 0 ? 0.0 : sum * 100.0 / count) + std::sqrt(std::sqrt(sqLen) / mesh.getSideLen());
        return bEdgeSeen && std::isfinite(value) ? value : LARGEST;
    }

    int run() {
        for (const REdge* pRE : edges(mesh, 1))
            sBorder.insert({pRE->pVtx0, pRE->pVtx1});
        enter(mesh.vRE);
        int numKilled = 0;
        while (!mmQueue.empty()) {
            const auto [key, candidate] = *mmQueue.begin();
            const auto [pRE, iDir] = candidate;
            mmQueue.erase(mmQueue.begin());
            const double now = penalty(pRE, iDir);
            if (now == LARGEST) continue;
            if (now > 2.0 && now > key + 3.0) {
                mmQueue.emplace(now, candidate);
                continue;
            }
            Point3* pSrc = iDir == 0 ? pRE->pVtx0 : pRE->pVtx1;
            Point3* pTrg = pRE->getOtherPoint(pSrc);
            if ((sBorder.count(pSrc) > 0 && !goesAlongStraightBorder(*pRE, pSrc)) || pinches(pSrc, pTrg)) continue;
            numKilled += pRE->getDegree();
            mesh.exchangeCorner(pSrc, pTrg);
            vTouched.push_back(pTrg);
            refillWhenDue();
        }
        return numKilled;
    }

    const double maxSqLen, maxRad;

private:
    void enter(const Edges& vRE) {
        for (REdge* pRE : vRE)
            for (const int iDir : {0, 1})
                if (const double key = penalty(pRE, iDir); key != LARGEST) mmQueue.emplace(key, std::pair(pRE, iDir));
    }
    void refillWhenDue() {
        const std::size_t numT = vTouched.size();
        if (!mmQueue.empty() && numT <= 5000 && !(mmQueue.begin()->first > 6.0 && numT > 50)) return;
        std::set<REdge*> sNear;
        for (const Point3* p : vTouched) {
            Edges vRE;
            mesh.getIncidentRE(p, vRE);
            sNear.insert(vRE.begin(), vRE.end());
        }
        enter(numT >= 3 && numT <= 999 && ++numRefills <= 4 ? mesh.vRE : Edges(sNear.begin(), sNear.end()));
        vTouched.clear();
    }
    bool goesAlongStraightBorder(const REdge& edge, const Point3* pSrc) const {
        std::vector<Vector3> v;
        for (const REdge* pRE : edges(mesh, 1))
            if (pRE->has(pSrc)) v.push_back(normalize(*pRE->getOtherPoint(pSrc) - *pSrc));
        return edge.getDegree() == 1 && v.size() == 2 && getAngleDegree(v[0], v[1]) >= 170.0;
    }
    bool pinches(const Point3* pSrc, const Point3* pTrg) const {
        const Vertices vRing = listOf<Point3*>([&](auto& v) { mesh.getRingVtx(pSrc, v); });
        return std::any_of(vRing.begin(), vRing.end(), [&](const Point3* p) {
            if (p == pTrg || !mesh.hasAliveEdge(p, pTrg)) return false;
            Triangles vSrc, vTrg, vBoth;
            mesh.getAdjacentT(p, pSrc, vSrc);
            mesh.getAdjacentT(p, pTrg, vTrg);
            std::ranges::set_symmetric_difference(sorted(vSrc), sorted(vTrg), std::back_inserter(vBoth));
            return vBoth.size() > std::max({std::size_t{2}, vSrc.size(), vTrg.size()});
        });
    }

    RMesh& mesh;
    std::set<const Point3*> sBorder;
    std::multimap<double, std::pair<REdge*, int>> mmQueue;
    Vertices vTouched;
    int numRefills = 0;
};

// ---- Meshes --------------------------------------------------------------------------------------------------------------

/// The soup and struts between any of its vertices: edges of three and more triangles, touching borders, duplicates.
Soup withStruts(Soup soup, int numStruts, unsigned seed) {
    std::mt19937 random(seed);
    const auto any = [&] { return static_cast<int>(random() % soup.vVtx.size()); };
    while (numStruts > 0) {
        const int a = any(), b = any(), c = any();
        if (a == b || b == c || a == c) continue;
        soup.vT.push_back({a, b, c});
        --numStruts;
    }
    return soup;
}

/// Sheets that meet in the line y = 0, each at another angle.
Soup book(int numPages) {
    Soup book = sheet(12, 6);
    for (int page = 1; page < numPages; ++page) {
        const Soup plain = sheet(12, 6);
        const int offset = static_cast<int>(book.vVtx.size()) - 13;  // the first row is in already
        const double angle = 0.6 * page;
        for (std::size_t i = 13; i < plain.vVtx.size(); ++i) {
            const Point3& p = plain.vVtx[i];
            book.vVtx.emplace_back(p.x(), p.y() * std::cos(angle), p.y() * std::sin(angle));
        }
        for (std::array<int, 3> t : plain.vT) {
            for (int& v : t)
                v = v < 13 ? v : v + offset;
            book.vT.push_back(t);
        }
    }
    return book;
}

struct Case {
    const char* name;
    Soup soup;
    double maxLen, maxDeg;
};

std::vector<Case> cases() {
    return {{"torus", torus(220, 60), 0.6, 20.0},
            {"noisy torus", withNoise(torus(220, 60), 0.004, 1), 0.8, 40.0},
            {"thin torus", withNoise(torus(60, 4), 0.01, 2), 9.0, 95.0},
            {"sheet", sheet(20, 20), 5.0, 10.0},
            {"noisy sheet", withNoise(sheet(20, 20), 0.05, 3), 4.0, 30.0},
            {"fan", fan(30, false), 900.0, 90.0},
            {"tetrahedron", tetrahedron(), 9.0, 180.0},
            {"book", withNoise(book(5), 0.02, 5), 4.0, 60.0},
            {"struts", withStruts(torus(40, 20), 60, 6), 4.0, 90.0},
            {"many struts", withNoise(withStruts(torus(20, 10), 600, 7), 0.1, 8), 4.0, 180.0}};
}

/// Mean and largest distance of the points to the surface of the mesh.
std::pair<double, double> distances(const std::vector<Point3>& vPoints, const RMesh& mesh) {
    const auto vRT = listOf<RTriangle*>([&](auto& v) { mesh.getAliveTriangles(v); });
    double sum = 0.0, largest = 0.0;
    for (const Point3& p : vPoints) {
        double nearest = LARGEST;
        for (const RTriangle* pRT : vRT)
            nearest = std::min(nearest, distanceToTriangle(p, *pRT->aCorners[0], *pRT->aCorners[1], *pRT->aCorners[2]));
        sum += nearest;
        largest = std::max(largest, nearest);
    }
    return {sum / static_cast<double>(vPoints.size()), largest};
}

/// Keeps every tenth vertex, at random, and moves all others onto the nearest one of these.
Soup everyTenthAtRandom(const Soup& soup, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<int> vKept, vNearest;
    for (int i = 0; i < static_cast<int>(soup.vVtx.size()); ++i)
        if (random() % 10 == 0) vKept.push_back(i);
    for (const Point3& p : soup.vVtx)
        vNearest.push_back(*std::min_element(vKept.begin(), vKept.end(), [&](int i, int j) {
            const auto sqDistance = [&](int k) { return (soup.vVtx[static_cast<std::size_t>(k)] - p).sqLength(); };
            return sqDistance(i) < sqDistance(j);
        }));
    Soup kept{soup.vVtx, {}};
    for (std::array<int, 3> t : soup.vT) {
        for (int& v : t)
            v = vNearest[static_cast<std::size_t>(v)];
        if (t[0] != t[1] && t[1] != t[2] && t[0] != t[2]) kept.vT.push_back(t);
    }
    return kept;
}

}  // namespace

TEST(Reduce, agreesWithThePlainForm) {
    const CoutSilence silence;
    std::size_t numReduced = 0;
    for (const Case& c : cases()) {
        FineMesh fast(c.soup), plain(c.soup);
        PlainReduction plainReduction(*plain, c.maxLen, c.maxDeg);
        std::vector<RECandidate> vEntries;
        fast->getPrioqEntries(plainReduction.maxRad, plainReduction.maxSqLen, fast->vRE, vEntries);
        auto itEntry = vEntries.begin();
        for (std::size_t i = 0; i < plain->vRE.size(); ++i)
            for (const int iDir : {0, 1}) {
                const double penalty = plainReduction.penalty(plain->vRE[i], iDir);
                if (penalty == LARGEST) continue;
                ASSERT_TRUE(itEntry != vEntries.end() && itEntry->pRE == fast->vRE[i]) << c.name;
                EXPECT_EQ(itEntry->iDir, iDir) << c.name;
                EXPECT_EQ(itEntry->penalty, penalty) << c.name;
                ++itEntry;
            }
        EXPECT_TRUE(itEntry == vEntries.end()) << c.name;

        const int numKilled = reduceInRun(*fast, c.maxLen, c.maxDeg);
        EXPECT_EQ(numKilled, plainReduction.run()) << c.name;
        EXPECT_EQ(stateOf(*fast), stateOf(*plain)) << c.name;
        EXPECT_EQ(firstFault(*fast), "") << c.name;
        numReduced += numKilled > 0 ? 1U : 0U;
    }
    EXPECT_GE(numReduced, 8U);
}

TEST(Reduce, keepsClosedMeshesClosedAndManifold) {
    const CoutSilence silence;
    for (const double maxDeg : {15.0, 60.0, 120.0, 180.0})
        for (const int numV : {3, 4, 7, 30}) {
            const Soup soup = withNoise(torus(40, numV), 0.02, 9);
            FineMesh mesh(soup);
            const int numKilled = reduceInRun(*mesh, 9.0, maxDeg);
            const Edges vRE = edges(*mesh, -99);
            EXPECT_EQ(soup.vT.size() - mesh->getNumT(), static_cast<std::size_t>(numKilled));
            EXPECT_EQ(edges(*mesh, 2).size(), vRE.size()) << maxDeg << " " << numV;
            EXPECT_EQ(pointsOf(*mesh).size() + mesh->getNumT(), vRE.size()) << maxDeg << " " << numV;
            EXPECT_TRUE(std::none_of(vRE.begin(), vRE.end(), [](REdge* p) { return p->vRT[0]->needFlip(p->vRT[1]); }));
            for (std::size_t i = 0; i < soup.vVtx.size(); ++i)
                EXPECT_EQ(*mesh.vVtx[i], soup.vVtx[i]);
        }
}

TEST(Reduce, thinsBordersWhereTheyAreStraight) {
    const CoutSilence silence;
    for (const double maxLen : {1.1, 2.5, 100.0}) {
        FineMesh mesh(sheet(30, 20));
        reduceInRun(*mesh, maxLen, 10.0);
        const Vertices vUsed = pointsOf(*mesh);
        for (const int corner : {0, 30, 20 * 31, 21 * 31 - 1})
            EXPECT_TRUE(std::binary_search(vUsed.begin(), vUsed.end(), mesh.vtx(corner))) << maxLen;
        EXPECT_NEAR(mesh->getArea(), 600.0, 1e-9) << maxLen;
        EXPECT_LT(edges(*mesh, 1).size(), 100U) << maxLen;
        EXPECT_LT(mesh->getNumT(), maxLen > 50.0 ? 20U : 1200U);
    }
}

TEST(Reduce, staysCloserThanARandomChoice) {
    const CoutSilence silence;
    const Soup soup = torus(100, 40);
    FineMesh reduced(soup);
    reduced->sideLen = reduced->getAvgLen();
    reduceInRun(*reduced, 0.6, 9.0);
    EXPECT_LE(10 * reduced->getNumT(), soup.vT.size());
    const auto [mean, largest] = distances(soup.vVtx, *reduced);
    const auto [randomMean, randomLargest] = distances(soup.vVtx, *FineMesh(everyTenthAtRandom(soup, 10)));
    EXPECT_LT(2.0 * mean, randomMean);
    EXPECT_LT(2.5 * largest, randomLargest);
}

TEST(Reduce, refusesWhatHasNoFinitePenalty) {
    constexpr double PI_RAD = 3.2;
    Triangles vIncT;
    // A spare triangle at the end of an edge: nothing turns, the length alone counts.
    FineMesh ear({{{0, 0, 0}, {4, 0, 0}, {0, 1, 0}}, {{0, 1, 2}}});
    EXPECT_EQ(ear->getPenalty(ear.edge(0, 1), 0, 17.0, PI_RAD, vIncT), 2.0);
    EXPECT_EQ(vIncT, Triangles{ear.tri(0)});
    EXPECT_EQ(ear->getPenalty(ear.edge(0, 1), 1, 15.0, PI_RAD, vIncT), LARGEST);
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
        FineMesh mesh(soup);
        const CoutSilence silence;
        reduceInRun(*mesh, 1e250, 180.0);
        mesh->checkDataStructures("");
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

TEST(Reduce, dependsOnNoNumberOfWorkersAndEndsByItsListener) {
    const CoutSilence silence;
    auto& pool = ctpl::thread_pool::getLowLevelPool();
    const int numWorkers = pool.size();
    const Soup soup = withNoise(torus(120, 40), 0.01, 12);
    std::vector<long> reference;
    for (const int num : {1, 5}) {
        pool.resize(num);
        FineMesh mesh(soup);
        reduceInRun(*mesh, 1.0, 40.0);
        if (reference.empty()) reference = stateOf(*mesh);
        EXPECT_EQ(stateOf(*mesh), reference) << num;
    }
    pool.resize(numWorkers);

    for (const double fraction : {0.01, 0.3, 0.8, 2.0}) {
        Hearer hearer(fraction);
        subscribe(&hearer);
        const auto pMesh = meshOf(soup);
        if (fraction < 1.0)
            EXPECT_THROW(reduce(pMesh, 1.0, 40.0), double);
        else
            EXPECT_GT(reduce(pMesh, 1.0, 40.0), 0);
        unsubscribe();
        EXPECT_EQ(std::set(hearer.vName.begin(), hearer.vName.end()), std::set<std::string>{"Reduce"});
        EXPECT_TRUE(std::ranges::is_sorted(hearer.vFraction) && (fraction < 1.0 || hearer.vFraction.back() == 1.0));
        EXPECT_EQ(firstFault(*pMesh->getRMesh()), "") << fraction;
        EXPECT_FALSE(hasOpenProgress());
    }
}
