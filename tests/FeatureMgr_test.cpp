// Feature edges in chains: which edges continue each other, and in which order and direction they come out.
#include "FeatureMgr.h"

#include <ctime>

#include "freeFunctions.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using AngleEdge = FeatureMgr::AngleEdge;
using Edges = std::vector<AngleEdge>;

const double BORDER = 9999.0;

Edges orderedPairs(Edges vEdges) {
    Edges vOut;
    FeatureMgr(vEdges).getOrderedPairs(vOut);
    return vOut;
}

/// Vertices, and edges as (angle, number, number).
struct Graph {
    std::vector<Point3> vVtx;
    std::vector<std::tuple<double, int, int>> vEdges{};

    Edges edges() {
        Edges v;
        for (const auto& [angle, i, j] : vEdges)
            v.push_back({angle, {&vVtx[static_cast<std::size_t>(i)], &vVtx[static_cast<std::size_t>(j)]}});
        return v;
    }
};

Graph polygon(int num) {
    Graph graph;
    for (int i = 0; i < num; ++i) {
        const double phi = 2.0 * std::acos(-1.0) * i / num;
        graph.vVtx.emplace_back(std::cos(phi), std::sin(phi), 0.0);
        graph.vEdges.emplace_back(40.0, std::min(i, (i + 1) % num), std::max(i, (i + 1) % num));
    }
    return graph;
}

/// Edges between places of a small lattice, or of a disc around a hub; few directions, so that turns are often equal.
Graph randomGraph(unsigned seed) {
    Random random(seed);
    Graph graph;
    const int side = 2 + random.next() % 3;
    for (int i = 0; i < side * side * side; ++i)
        graph.vVtx.emplace_back(i % side, i / side % side, i / side / side);
    const int numVtx = static_cast<int>(graph.vVtx.size()), numEdges = random.next() % (3 * numVtx);
    const double aAngle[] = {10.0, 20.0, 90.0, 180.0, BORDER};
    std::set<std::pair<int, int>> sUsed;
    for (int n = 0; n < numEdges; ++n) {
        const int i = random.next() % numVtx, j = seed % 4 == 0 ? 0 : random.next() % numVtx;
        if (i != j && sUsed.insert(std::minmax(i, j)).second)
            graph.vEdges.emplace_back(aAngle[random.next() % 5], std::min(i, j), std::max(i, j));
    }
    std::sort(graph.vEdges.begin(), graph.vEdges.end());
    return graph;
}

/// Three hubs with hundreds of edges each; half of the directions are there several times or almost.
Graph hubs(unsigned seed) {
    Random random(seed);
    const auto uniform = [&] { return random.next() / (Random::MAX + 1.0) - 0.5; };
    Graph graph;
    for (int hub = 0; hub < 3; ++hub)
        graph.vVtx.emplace_back(hub, hub * uniform(), 0.1 * uniform());
    const double aAngle[] = {20.0, 90.0, 360.0, BORDER};
    for (int n = 3; n < 300; ++n) {
        const double flat = seed % 3 == 0 ? 0.0 : seed % 3 == 1 ? 1.0 : 1e-9;
        const Point3 q(4.0 * uniform(), 4.0 * uniform(), flat * uniform());
        const Point3& former = graph.vVtx[pick(random, graph.vVtx.size())];
        const double factor = n % 4 == 1 ? 2.0 : 1.5 + uniform();  // 2.0: exactly the same direction
        graph.vVtx.push_back(n % 2 == 0 ? q : graph.vVtx[0] + (former - graph.vVtx[0]) * factor);
        for (int hub = 0; hub < 3; ++hub)
            if (graph.vVtx.back() != graph.vVtx[static_cast<std::size_t>(hub)])
                graph.vEdges.emplace_back(aAngle[pick(random, 4)], hub, n);
    }
    std::sort(graph.vEdges.begin(), graph.vEdges.end());
    return graph;
}

Vector3 between(const Point3* pFrom, const Point3* pTo) {
    return normalize(*pTo - *pFrom);
}

/// By a look at all edges, in their order.
const FeatureEdge* straightestOfAll(const std::vector<FeatureEdge>& vEdges, const FeatureEdge& edge, const Point3* pAt) {
    const Point3* pFrom = edge.pSrc == pAt ? edge.pTrg : edge.pSrc;
    const FeatureEdge* pBest = nullptr;
    double best = 60.0;
    for (const FeatureEdge& other : vEdges) {
        if (&other == &edge || (other.pSrc != pAt && other.pTrg != pAt)) continue;
        if ((other.angle - 360.0) * (edge.angle - 360.0) < 0.0) continue;
        const double turn = getAngleDegree(between(pFrom, pAt), between(pAt, other.pSrc == pAt ? other.pTrg : other.pSrc));
        if (turn < best || (pBest == nullptr && turn == best)) pBest = &other, best = turn;
    }
    return pBest;
}

// A square's corners turn too far.
TEST(FeatureMgr, aRegularPolygonIsOneClosedChain) {
    for (const int num : {4, 12}) {
        Graph graph = polygon(num);
        const Edges v = orderedPairs(graph.edges());
        for (std::size_t i = 0; i < v.size(); ++i)
            EXPECT_EQ(v[i].second.second == v[(i + 1) % v.size()].second.first, num == 12) << i;
    }
}

TEST(FeatureMgr, chainsGoOnStraightestAndAsFarAsTheyCan) {
    forSeeds(412, [](unsigned seed) {
        Graph graph = seed < 400 ? randomGraph(seed) : hubs(seed);
        std::vector<FeatureEdge> vEdges;
        for (const auto& [angle, ends] : graph.edges())
            vEdges.push_back({ends.first, ends.second, nullptr, angle});
        const FeatureEdgeMap map(vEdges);
        const auto next = [&map](const FeatureEdge* p, const Point3* pFrom, const Point3* pAt) {
            return map.straightestNext(p, pAt, between(pFrom, pAt));
        };
        for (const FeatureEdge& edge : vEdges) {
            ASSERT_EQ(next(&edge, edge.pSrc, edge.pTrg), straightestOfAll(vEdges, edge, edge.pTrg));
            ASSERT_EQ(next(&edge, edge.pTrg, edge.pSrc), straightestOfAll(vEdges, edge, edge.pSrc));
        }
        std::vector<FeatureChain> vChain;
        vChain.reserve(vEdges.size());  // the edges know them
        std::map<const FeatureEdge*, int> mNum;
        for (auto it = vEdges.rbegin(); it != vEdges.rend(); ++it) {
            if (it->pChain != nullptr) continue;
            const FeatureChain& chain = vChain.emplace_back(&*it, map);
            const FeatureEdge* pLast = nullptr;
            for (const FeatureEdge* p : chain.getEdges()) {
                ++mNum[p];
                ASSERT_TRUE(pLast == nullptr || pLast->pTrg == p->pSrc || mNum[&*it] == 2);
                ASSERT_TRUE(pLast == nullptr || next(pLast, pLast->pSrc, pLast->pTrg) == p ||
                            next(p, p->pTrg, p->pSrc) == pLast || mNum[&*it] == 2);
                pLast = p;
            }
            const FeatureEdge &front = *chain.getEdges().front(), &back = *chain.getEdges().back();
            const auto isEnd = [](const FeatureEdge* p) { return p == nullptr || p->pChain != nullptr; };
            ASSERT_TRUE(front.pSrc == back.pTrg ||
                        (isEnd(next(&back, back.pSrc, back.pTrg)) && isEnd(next(&front, front.pTrg, front.pSrc))));
        }
        std::ranges::stable_sort(vChain, {}, &FeatureChain::getAngle);
        Edges vExpected;
        for (const FeatureChain& chain : vChain)
            for (const FeatureEdge* p : chain.getEdges())
                vExpected.push_back({p->angle, {p->pSrc, p->pTrg}});
        EXPECT_EQ(orderedPairs(graph.edges()), vExpected);
        EXPECT_EQ(mNum.size(), vEdges.size());
        EXPECT_TRUE(std::ranges::all_of(mNum, [](const auto& entry) { return entry.second <= 2; }));
    });
}

// Ten times as many on a line take ten times as long, not a hundred times, which would be minutes.
TEST(FeatureMgr, aHubOfManyEdgesOnALineIsQuick) {
    constexpr int NUM = 40000;
    Graph graph{{Point3(0, 0, 0)}};
    for (int i = 1; i <= NUM; ++i) {
        graph.vVtx.emplace_back(i, 0, 0), graph.vVtx.emplace_back(-i, 0, 0);
        graph.vEdges.emplace_back(90.0, 0, 2 * i - 1), graph.vEdges.emplace_back(90.0, 0, 2 * i);
    }
    const std::clock_t start = std::clock();
    EXPECT_GE(orderedPairs(graph.edges()).size(), 2U * NUM);
    EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 10.0);
}

}  // namespace
