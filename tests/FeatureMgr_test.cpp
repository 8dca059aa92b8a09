// Feature edges in chains: which edges continue each other, and in which order and direction they come out.
#include "FeatureMgr.h"

#include <list>

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
    std::vector<std::tuple<double, int, int>> vEdges;

    Edges edges() {
        Edges v;
        for (const auto& [angle, i, j] : vEdges)
            v.push_back({angle, {&vVtx[static_cast<std::size_t>(i)], &vVtx[static_cast<std::size_t>(j)]}});
        return v;
    }
    /// The list as text: chains aren't told apart, but edges that go on where the last one ended are joined.
    std::string ordered() {
        std::string text;
        const Point3* pLast = nullptr;
        const auto name = [this](const Point3* p) { return std::string(1, static_cast<char>('a' + (p - vVtx.data()))); };
        for (const auto& [angle, ends] : orderedPairs(edges())) {
            if (ends.first != pLast) text += (text.empty() ? "" : " ") + name(ends.first);
            text += name(ends.second);
            pLast = ends.second;
        }
        return text;
    }
};

Graph polygon(int num, double angle) {
    Graph graph;
    for (int i = 0; i < num; ++i) {
        const double phi = 2.0 * std::acos(-1.0) * i / num;
        graph.vVtx.emplace_back(std::cos(phi), std::sin(phi), 0.0);
        graph.vEdges.emplace_back(angle, std::min(i, (i + 1) % num), std::max(i, (i + 1) % num));
    }
    return graph;
}

/// The rules once more, on the containers that come to mind.
class PlainChains {
public:
    explicit PlainChains(const Edges& vEdges) {
        for (const auto& [angle, ends] : vEdges) {
            vEdge.push_back(std::make_unique<FeatureEdge>(FeatureEdge{ends.first, ends.second, nullptr, angle}));
            mm.emplace(ends.first, vEdge.back().get());
            mm.emplace(ends.second, vEdge.back().get());
        }
        for (auto it = vEdge.rbegin(); it != vEdge.rend(); ++it)
            if (sTaken.count(it->get()) == 0) grow(it->get());
    }
    Edges orderedPairs() {
        std::stable_sort(vChain.begin(), vChain.end(), [](const auto& a, const auto& b) { return mean(a) < mean(b); });
        Edges v;
        for (const auto& chain : vChain)
            for (const FeatureEdge* p : chain)
                v.push_back({p->angle, {p->pSrc, p->pTrg}});
        return v;
    }

private:
    using Chain = std::list<FeatureEdge*>;
    static double mean(const Chain& chain) {
        double sum = 0.0;
        for (const FeatureEdge* p : chain)
            sum += p->angle;
        return sum / static_cast<double>(chain.size());
    }
    FeatureEdge* next(FeatureEdge* pEdge, Point3* pFrom, Point3* pAt) {
        std::vector<std::pair<double, FeatureEdge*>> vMay;
        for (auto [it, itEnd] = mm.equal_range(pAt); it != itEnd; ++it) {
            const FeatureEdge& other = *it->second;
            const Point3* pFar = other.pSrc == pAt ? other.pTrg : other.pSrc;
            const double turn = getAngleDegree(normalize(*pAt - *pFrom), normalize(*pFar - *pAt));
            const bool bOtherKind = (other.angle - 360.0) * (pEdge->angle - 360.0) < 0.0;
            if (it->second != pEdge && turn <= 60.0 && !bOtherKind) vMay.emplace_back(turn, it->second);
        }
        const auto it =
            std::min_element(vMay.begin(), vMay.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        return it == vMay.end() || sTaken.count(it->second) != 0 ? nullptr : it->second;
    }
    void grow(FeatureEdge* pSeed) {
        Chain chain{pSeed};
        for (bool bGoOn = true; bGoOn;) {
            FeatureEdge* p = next(chain.back(), chain.back()->pSrc, chain.back()->pTrg);
            if (p == nullptr) break;
            if (p->pSrc != chain.back()->pTrg) std::swap(p->pSrc, p->pTrg);
            chain.push_back(p);
            sTaken.insert(p);
            bGoOn = p->pTrg != chain.front()->pSrc;
        }
        for (bool bGoOn = true; bGoOn;) {
            FeatureEdge* p = next(chain.front(), chain.front()->pTrg, chain.front()->pSrc);
            if (p == nullptr) break;
            if (p->pTrg != chain.front()->pSrc) std::swap(p->pSrc, p->pTrg);
            chain.push_front(p);
            sTaken.insert(p);
            bGoOn = p->pSrc != chain.back()->pTrg;
        }
        vChain.push_back(chain);
    }

    std::vector<std::unique_ptr<FeatureEdge>> vEdge;
    std::multimap<Point3*, FeatureEdge*> mm;
    std::set<FeatureEdge*> sTaken;
    std::vector<Chain> vChain;
};

/// Edges between places of a small lattice, or of a disc round a hub; few directions, so that turns are often equal.
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

TEST(FeatureMgr, stringsEdgesThatGoOn) {
    const double s60 = std::sqrt(3.0) / 2.0;
    const std::vector<Point3> vT = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {1, 1, 0}};  // a b c in a row, d above b
    struct Case {
        const char* name;
        Graph graph;
        const char* expected;
    };
    Case aCase[] = {
        {"nothing", {}, ""},
        {"one edge", {vT, {{30.0, 0, 1}}}, "ab"},
        {"corners of a square don't continue", polygon(4, 90.0), "ad cd bc ab"},
        {"a regular polygon is one closed chain", polygon(12, 40.0), "alkjihgfedcba"},
        {"a T: a chain and its stem", {vT, {{30.0, 0, 1}, {35.0, 1, 3}, {50.0, 1, 2}}}, "bd abc"},
        {"the stem is the sharpest", {vT, {{30.0, 0, 1}, {40.0, 1, 2}, {50.0, 1, 3}}}, "abc bd"},
        {"a border doesn't continue a fold", {vT, {{30.0, 1, 0}, {BORDER, 1, 2}}}, "ba bc"},
        {"backward growth", {vT, {{30.0, 0, 1}, {40.0, 1, 2}}}, "abc"},
        {"60 degrees still go on", {{{0, 0, 0}, {1, 0, 0}, {1.5, s60, 0}}, {{30.0, 2, 1}, {30.0, 0, 1}}}, "abc"},
        {"61 degrees don't", {{{0, 0, 0}, {1, 0, 0}, {1.4848, 0.8746, 0}}, {{30.0, 2, 1}, {30.0, 0, 1}}}, "ab cb"}};
    for (Case& test : aCase)
        EXPECT_EQ(test.graph.ordered(), test.expected) << test.name;
}

TEST(FeatureMgr, agreesWithTheRulesWrittenPlainly) {
    for (unsigned seed = 0; seed < 800; ++seed) {
        Graph graph = randomGraph(seed);
        const Edges vEdges = graph.edges(), vOut = orderedPairs(vEdges);
        EXPECT_EQ(vOut, PlainChains(vEdges).orderedPairs()) << "seed " << seed;
        for (const auto& edge : vEdges) {
            const auto ends = std::minmax(edge.second.first, edge.second.second);
            const auto count = std::count_if(vOut.begin(), vOut.end(), [&](const AngleEdge& other) {
                return other.first == edge.first && std::minmax(other.second.first, other.second.second) == ends;
            });
            EXPECT_TRUE(count == 1 || count == 2) << "seed " << seed;
        }
    }
}

// Vertices with hundreds of edges are searched another way. Half of the directions are there several times or almost.
TEST(FeatureMgr, agreesAtVerticesOfManyEdges) {
    forSeeds(12, [](unsigned seed) {
        Random random(seed);
        const auto uniform = [&] { return random.next() / (Random::MAX + 1.0) - 0.5; };
        Graph graph;
        for (int hub = 0; hub < 3; ++hub)
            graph.vVtx.emplace_back(hub, hub * uniform(), 0.1 * uniform());
        const double aAngle[] = {20.0, 90.0, 360.0, BORDER};
        for (int n = 3; n < 600; ++n) {
            const double flat = seed % 3 == 0 ? 0.0 : seed % 3 == 1 ? 1.0 : 1e-9;
            const Point3 q(4.0 * uniform(), 4.0 * uniform(), flat * uniform());
            const Point3& former = graph.vVtx[pick(random, graph.vVtx.size())];
            graph.vVtx.push_back(n % 2 == 0 ? q : graph.vVtx[0] + (former - graph.vVtx[0]) * (1.5 + uniform()));
            for (int hub = 0; hub < 3; ++hub)
                if (graph.vVtx.back() != graph.vVtx[static_cast<std::size_t>(hub)])
                    graph.vEdges.emplace_back(aAngle[pick(random, 4)], hub, n);
        }
        std::sort(graph.vEdges.begin(), graph.vEdges.end());
        EXPECT_EQ(orderedPairs(graph.edges()), PlainChains(graph.edges()).orderedPairs());
    });
}

}  // namespace
