// Chains of random graphs and of rows of holes; strips with a twist; votes of known outcome.
#include "Chain.h"
#include "ChainMgr.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "support/coarse_soup.h"
#include "support/prelude.h"
#include "support/random_coarse.h"

using namespace TARN_TEST;

namespace {

/// The edges of a chain, and whether it is closed.
using Chains = std::vector<std::pair<std::vector<CEdge*>, bool>>;

/// The chains with members; a failure where an edge doesn't go on from the one before.
Chains chainsOf(const ChainMgr& mgr) {
    Chains found;
    for (std::size_t i = 0; i < mgr.getSize(); ++i) {
        const Chain& chain = *mgr.getChain(i);
        if (chain.empty()) continue;
        found.emplace_back(std::vector<CEdge*>(), chain.isClosed());
        chain.getEdges(found.back().first);
        VCD at = chain.left;
        for (const CEdge* pCE : chain.lMemberCE) {
            EXPECT_EQ(pCE->getSource(), at);
            at = pCE->getTarget();
        }
        EXPECT_EQ(chain.right, at);
    }
    return found;
}

/// A sheet without the squares (i, i) for 0 < i <= numHoles: each hole touches the next one at a corner.
class HoleRow : public Sheet {
public:
    explicit HoleRow(unsigned numHoles) : Sheet(numHoles + 2, numHoles + 2) {
        for (unsigned i = 1; i <= numHoles; ++i)
            for (unsigned k : {0U, 1U})
                mesh.vAllCT[2 * (i * (numHoles + 2) + i) + k]->kill(&mesh);
    }
};

/// A ring of equal edges on a circle. Each has a triangle in the plane of the ring, outside or inside, and that has a
/// neighbour folded by an angle in degrees.
struct Voter {
    int num;
    bool bInside;
    double angle;
};
class VotingRing : public CoarseWorld {
public:
    explicit VotingRing(const std::vector<Voter>& vVoter) {
        const int num = std::accumulate(vVoter.begin(), vVoter.end(), 0, [](int n, const Voter& v) { return n + v.num; });
        std::vector<CEdge*> vCE;
        int i = 0;
        for (const Voter& voter : vVoter)
            for (int k = 0; k < voter.num; ++k, ++i)
                vCE.push_back(addEdge(i, num, voter));
        EdgesByEnd mm = byEnds(vCE);
        bGood = Chain(&mesh, mm).isGoodHole();
    }
    bool bGood;

private:
    CEdge* addEdge(int i, int num, const Voter& voter) {
        const auto onCircle = [num](double k, double radius) {
            return Point3(500 + radius * std::cos(2 * M_PI * k / num), 500 + radius * std::sin(2 * M_PI * k / num), 500);
        };
        const double middle = 100 * std::cos(M_PI / num), height = 50.0 / num;
        const Point3 p = onCircle(i, 100), r = onCircle(i + 0.5, middle + (voter.bInside ? -height : height));
        const Point3 q = onCircle(i + 1, 100), foot = getFootPoint3D(p, r, q);
        const double fold = voter.angle / DEGREES_PER_RADIAN;
        const Point3 s = foot + (foot - q) * std::cos(fold) + Vector3(0, 0, (foot - q).length() * std::sin(fold));
        const auto at = [&](int k, int row, const Point3& point) {
            return put(cell(static_cast<unsigned>(k), static_cast<unsigned>(row), 7), point, false);
        };
        const VCD a = at(i, 0, p), b = at((i + 1) % num, 0, q), c = at(i, 1, r), d = at(i, 2, s);
        triangle(a, b, c);
        triangle(c, d, a);
        return mesh.getEdge(a, b);
    }
};

}  // namespace

TEST(ChainMgr, splitsRandomGraphsIntoChains) {
    std::size_t numClosed = 0, numOpen = 0, numBridged = 0;
    forSeeds(400, [&](unsigned seed) {
        RandomCoarse soup(seed, 5 + seed % 20, 6 + seed % 29);
        for (std::size_t i = 0; i < seed % 4; ++i)
            if (soup.mesh.vAllCT[i]->isAlive()) soup.mesh.vAllCT[i]->kill(&soup.mesh);  // leaves edges of degree 0
        std::vector<CEdge*> vChosen = edges(soup.mesh, -99);
        std::erase_if(vChosen, [&](CEdge*) { return pick(soup.random, 5) == 0; });
        const std::set<CEdge*> sChosen(vChosen.begin(), vChosen.end());
        std::map<VCD, int> mDegree;
        for (const CEdge* pCE : vChosen)
            ++mDegree[pCE->v0], ++mDegree[pCE->v1];
        for (const bool bTryClose : {false, true}) {
            std::set<CEdge*> sLeft = sChosen, sChained;
            for (const auto& [vEdge, bClosed] : chainsOf(ChainMgr(&soup.mesh, byEnds(vChosen), bTryClose))) {
                ++(bClosed ? numClosed : numOpen);
                for (CEdge* pCE : vEdge) {
                    EXPECT_TRUE(sChained.insert(pCE).second) << "in two chains";
                    EXPECT_TRUE(sLeft.erase(pCE) == 1 || bTryClose) << "not chosen";
                    numBridged += sChosen.count(pCE) == 0 ? 1 : 0;
                }
            }
            for (const CEdge* pCE : sLeft)
                EXPECT_TRUE(mDegree[pCE->v0] > 2 && mDegree[pCE->v1] > 2) << "left out, though an end has two edges at most";
        }
    });
    EXPECT_GT(std::min({numClosed, numOpen, numBridged}), 400U);  // the inputs reach all cases
}

TEST(ChainMgr, unpeelsALongRowOfHolesThatTouch) {
    for (const unsigned numHoles : {1U, 4U, 90U}) {
        HoleRow row(numHoles);
        const ChainMgr mgr(&row.mesh, byEnds(edges(row.mesh, 1)), numHoles % 2 == 0);
        const Chains chains = chainsOf(mgr);
        EXPECT_EQ(chains.size(), numHoles + 1);
        for (const auto& [vEdge, bClosed] : chains)
            EXPECT_TRUE(bClosed && (vEdge.size() == 4 || vEdge.size() == 4 * (numHoles + 2)));
        EXPECT_TRUE(mgr.mmVCD2CE.empty());
        EXPECT_LT(mgr.getSize(), 30 * numHoles) << "not all is chained anew in every round";
    }
}

TEST(ChainMgr, closesOverTheOldestEdgeOfEqualWays) {
    Sheet sheet(4, 4);
    CEdge* pCE = sheet.mesh.getEdge(sheet.at(1, 1), sheet.at(2, 1));
    const ChainMgr mgr(&sheet.mesh, byEnds({pCE}), true);
    const Chains chains = chainsOf(mgr);
    ASSERT_TRUE(chains.size() == 1 && chains[0].second && chains[0].first.size() == 3);
    CEdge* const pOldest =
        std::min(sheet.mesh.getEdge(pCE->v0, sheet.at(2, 2)), sheet.mesh.getEdge(pCE->v0, sheet.at(1, 0)));
    EXPECT_EQ(std::ranges::count(chains[0].first, pOldest), 1);
}

TEST(Chain, vertexOfThreeEdgesIsHiddenAndNoPartOfAChain) {
    Sheet sheet(2, 1);
    const auto vCE = listOf<CEdge*>([&](auto& v) { sheet.mesh.getIncidentCE(sheet.at(0, 0), v); });
    ChainMgr mgr(&sheet.mesh, byEnds(vCE), false);
    EXPECT_EQ(mgr.vHighVCD, std::vector<VCD>{sheet.at(0, 0)});
    EXPECT_EQ(chainsOf(mgr).size(), 3U);
    EdgesByEnd none, one = byEnds({vCE[0]}), star = byEnds(vCE);
    expectFails("!mmVCD2CE.empty()", [&] { Chain(&sheet.mesh, none); });
    EXPECT_EQ(listOf<CEdge*>([&](auto& v) { mgr.removeHighDegree(star, v); }), vCE);
    star = byEnds(vCE);
    expectFails("mm.count(end)==1", [&] { Chain(&sheet.mesh, star); });
    Chain chain(&sheet.mesh, one);
    EXPECT_TRUE(one.empty() && chain.left == vCE[0]->v0 && chain.right == vCE[0]->v1);
    EXPECT_GT(countIn(reportOf([&] { chain.hasMoebius(); }), "BUG"), 0);
    expectFails("!vMoebiusCE.empty()", [&] { chain.fixMoebius(); });
    expectFails("mmVCD2CE.empty()", [&] { chain.assimilate({sheet.mesh.getEdge(sheet.at(2, 0), sheet.at(2, 1))}); });
}

TEST(Chain, findsAndCutsTheTwistOfAStrip) {
    for (const int num : {5, 6, 41})
        for (const bool bTwisted : {false, true}) {
            CoarsePlaces strip(ring(bTwisted ? Ring::MOEBIUS : Ring::FLAT, num, 1));
            ChainMgr mgr(&strip.mesh, byEnds(edges(strip.mesh, 1)), false);
            ASSERT_EQ(chainsOf(mgr).size(), bTwisted ? 1U : 2U);
            for (std::size_t i = 0; i < mgr.getSize(); ++i) {
                Chain& chain = *mgr.getChain(i);
                if (chain.empty()) continue;
                EXPECT_EQ(chain.hasMoebius(), bTwisted);
                for (const CEdge* pCE : chain.lMemberCE)
                    EXPECT_EQ(pCE->vCT[0]->getHEDirection2(pCE->getSource(), pCE->getTarget()), HE_OPPOSITE);
                if (bTwisted) chain.fixMoebius();
            }
            EXPECT_EQ(firstFault(strip.mesh), "");
            ChainMgr again(&strip.mesh, byEnds(edges(strip.mesh, 1)), false);
            EXPECT_EQ(chainsOf(again).size(), 2U) << num;  // one rim a side
            EXPECT_EQ(std::ssize(edges(strip.mesh, 2)), 2 * num);
        }
}

TEST(Chain, knowsAnOpeningFromTheRimOfASheet) {
    Sheet sheet(7, 7);
    for (int i : {48, 49})
        sheet.mesh.vAllCT[static_cast<std::size_t>(i)]->kill(&sheet.mesh);
    const ChainMgr mgr(&sheet.mesh, byEnds(edges(sheet.mesh, 1)), false);
    ASSERT_EQ(mgr.getSize(), 2U);
    for (std::size_t i : {0U, 1U}) {
        EXPECT_EQ(mgr.getChain(i)->isGoodHole(), mgr.getChain(i)->getSize() == 4);
        EXPECT_FALSE(mgr.getChain(i)->hasMoebius()) << "an odd number of triangles round a vertex";
    }
    CoarseWorld lone;  // its rim has no neighbours that could tell
    lone.triangle(lone.put(5, 5, 5), lone.put(6, 5, 5), lone.put(5, 6, 5));
    EXPECT_FALSE(ChainMgr(&lone.mesh, byEnds(edges(lone.mesh, 1)), false).getChain(0)->isGoodHole());
}

TEST(Chain, votesByTheFlattestTriangles) {
    using Voters = std::vector<Voter>;
    constexpr bool IN = true, OUT = false;
    const std::vector<std::pair<Voters, bool>> vCase{
        {Voters{{4, OUT, 1}, {4, IN, 1}}, false},                 // a tie
        {Voters{{4, IN, 50}, {6, OUT, 60}, {9, IN, 70}}, true},   // above 45 degrees up to ten only
        {Voters{{6, OUT, 10}, {5, IN, 46}, {40, IN, 47}}, true},  // five more than ten are too many
        {Voters{{6, OUT, 10}, {5, IN, 44}, {40, IN, 44.5}}, false},
        {Voters{{26, OUT, 1}, {24, IN, 2}, {20, IN, 3}}, true},  // the first 50 of less than 100
        {Voters{{25, OUT, 1}, {25, IN, 2}, {20, OUT, 3}}, false},
        {Voters{{49, OUT, 1}, {51, IN, 2}}, false},              // every second of 100
        {Voters{{51, OUT, 1}, {49, IN, 2}, {49, IN, 3}}, true},  // of 149: fifty all the same
    };
    for (std::size_t i = 0; i < vCase.size(); ++i)
        EXPECT_EQ(VotingRing(vCase[i].first).bGood, vCase[i].second) << "case " << i;
}
