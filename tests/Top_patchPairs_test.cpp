// Pairs of patches at their limits, groups of patches against a search through all of them, and wild meshes to the end.
#include "CMesh.h"
#include "CPatch.h"
#include "Top.h"
#include "support/coarse.h"
#include "support/extraction.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

using Triangles = std::vector<CTriangle*>;
using Edges = std::vector<CEdge*>;
using Patches = std::vector<CPatch*>;

/// The passes report to a run, and say much.
struct TopPatchPairs : SilentTest, OpenRun {};

/// A patch with the first numT triangles of a list.
void fill(CPatch& patch, Triangles& vT, std::size_t numT) {
    for (; numT > 0; --numT, vT.pop_back())
        patch.add(vT.back());
}

/// The first pair of disjoint groups with equal boundaries, by comparing all of them; group 0 for none.
std::pair<unsigned, unsigned> slowMatch(const Patches& vCluster) {
    std::vector<std::map<CEdge*, bool>> vBoundary(std::size_t{1} << vCluster.size());
    for (unsigned group = 1; group < vBoundary.size(); ++group)
        for (std::size_t i = 0; i < vCluster.size(); ++i)
            for (CEdge* pCE : (group >> i & 1) != 0 ? vCluster[i]->vPatchBoundaryCE : Edges())
                if (!vBoundary[group].emplace(pCE, true).second) vBoundary[group].erase(pCE);
    for (unsigned a = 1; a < vBoundary.size(); ++a)
        for (unsigned b = a + 1; b < vBoundary.size(); ++b)
            if ((a & b) == 0 && vBoundary[a] == vBoundary[b]) return {a, b};
    return {0, 0};
}

}  // namespace

TEST_F(TopPatchPairs, theSmallerOneOfASmallPairGoes) {
    // Triangles in the two, area of the mesh, which one goes; each triangle of the sheet has an area of 0.5.
    const int aCases[][4] = {{20, 20, 20, 1}, {19, 20, 20, 0},  {21, 5, 130, 1},
                             {5, 21, 130, 0}, {21, 5, 129, -1}, {20, 21, 20, -1}};
    for (const auto& [numT0, numT1, meshArea, goes] : aCases) {
        Sheet sheet(5, 5);
        Triangles vT = sheet.mesh.vAllCT;
        CPatch patch0(&sheet.mesh, &sheet.calc), patch1(&sheet.mesh, &sheet.calc);
        fill(patch0, vT, static_cast<std::size_t>(numT0)), fill(patch1, vT, static_cast<std::size_t>(numT1));
        EXPECT_EQ(Top(&sheet.mesh, &sheet.calc).solveOnePatchPair(&patch0, &patch1, meshArea), goes >= 0) << numT0;
        EXPECT_EQ(std::pair(patch0.isAlive(), patch1.isAlive()), std::pair(goes != 0, goes != 1)) << numT0;
    }
}

TEST_F(TopPatchPairs, patchesOnOneRimArePairs) {
    CoarseWorld world;  // three lids on one rim, with triangles around it; a closed patch and a triangle by themselves
    const auto onRim = [&](unsigned i, unsigned num, unsigned y) { return world.put(100 + 2 * (i % num), y, 100); };
    for (unsigned i = 0; i < 4; ++i)
        for (const VCD tip :
             {world.put(100 + 2 * i, 101, 100), world.put(200, 200, 1), world.put(200, 200, 2), world.put(200, 200, 3)})
            world.triangle(onRim(i, 4, 100), onRim(i + 1, 4, 100), tip);
    for (unsigned i = 0; i < 3; ++i)
        for (const unsigned z : {1U, 2U})
            world.triangle(onRim(i, 3, 50), onRim(i + 1, 3, 50), world.put(5, 5, z));
    world.triangle(world.put(1, 1, 1), world.put(2, 1, 1), world.put(1, 2, 1));
    Patches vPatches = cut(world.mesh), vLids = vPatches, vRightClosed = vPatches, vClosed, vOpen;
    std::erase_if(vLids, [](const CPatch* pPatch) { return pPatch->getSize() != 4; });
    std::erase_if(vRightClosed, [](const CPatch* pPatch) { return pPatch->getSize() != 6; });
    ASSERT_EQ(vPatches.size(), 4U + 3U + 1U + 1U);
    std::reverse(vPatches.begin(), vPatches.end());  // the order given doesn't matter
    using Pairs = std::vector<std::pair<CPatch*, CPatch*>>;
    Pairs vPairs;
    Top top(&world.mesh, &world.calc);
    top.getPatchPairs(vPatches, vPairs, vClosed, vOpen);
    EXPECT_EQ(vPairs, (Pairs{{vLids.at(0), vLids.at(1)}, {vLids.at(1), vLids.at(2)}}));
    EXPECT_EQ(vClosed, vRightClosed);
    EXPECT_EQ(vOpen.size(), 6U);
    vLids[1]->killPatchAndMembers();
    vPairs.clear(), vClosed.clear(), vOpen.clear();
    top.getPatchPairs(vPatches, vPairs, vClosed, vOpen);
    EXPECT_EQ(vPairs, (Pairs{{vLids[0], vLids[2]}}));
    EXPECT_EQ(vOpen.size() + vClosed.size(), 7U) << "the dead one is nowhere";
}

TEST_F(TopPatchPairs, wildMeshesComeToAnEnd) {
    int numByGroups = 0;
    forSeeds(60, [&](unsigned seed) {
        Extraction world(randomCells(8, 0.15 + 0.01 * (seed % 40), seed));
        world.withScatteredPoints(seed, 3);
        Top top(&world.mesh(), &world.calc);
        top.unifyDiagonals();
        for (const bool bCareful : {true, false}) {
            std::size_t numBefore = numAlive(world.mesh());
            while (top.patchPairSolving(bCareful)) {
                ASSERT_LT(numAlive(world.mesh()), numBefore) << "a change without a kill";
                numBefore = numAlive(world.mesh());
            }
        }
        EXPECT_EQ(firstFault(world.mesh()), "");
        Patches vPatches = cut(world.mesh()), vClosed, vOpen;
        std::vector<std::pair<CPatch*, CPatch*>> vPairs;
        top.getPatchPairs(vPatches, vPairs, vClosed, vOpen);
        for (const auto& [pPatch0, pPatch1] : vPairs)
            EXPECT_GT(std::max(pPatch0->getSize(), pPatch1->getSize()), 20U);
        const std::size_t numBefore = numAlive(world.mesh());
        numByGroups += countIn(outputOf([&] { top.solvePatchPairsFrac(vPatches); }), "*** SUCCESS ***");
        EXPECT_LE(numAlive(world.mesh()), numBefore);
        EXPECT_EQ(firstFault(world.mesh()), "");
    });
    EXPECT_GT(numByGroups, 5);
}

TEST_F(TopPatchPairs, groupsAreFoundAsByTryingAll) {
    Random random(7);
    Sheet sheet(2, 2);
    const Edges vCE = listOf<CEdge*>([&](auto& v) { sheet.mesh.getCEdges(v); });
    Top top(&sheet.mesh, &sheet.calc);
    int numMatches = 0;
    for (int round = 0; round < 200; ++round) {
        std::vector<std::unique_ptr<CPatch>> vOwner;
        Patches vCluster;
        for (int i = 0; i < 2 + round % 5; ++i) {
            vCluster.push_back(vOwner.emplace_back(std::make_unique<CPatch>(&sheet.mesh, &sheet.calc)).get());
            for (std::size_t k = 0; k < 5; ++k)
                if (random.next() % 2 == 0) vCluster.back()->vPatchBoundaryCE.push_back(vCE[k]);
            std::sort(vCluster.back()->vPatchBoundaryCE.begin(), vCluster.back()->vPatchBoundaryCE.end());
        }
        const auto [a, b] = slowMatch(vCluster);
        const bool bMatch = a != 0;
        const std::string said = outputOf([&] { EXPECT_EQ(top.frac_solvePatchCluster(vCluster, 1.0), bMatch); });
        numMatches += bMatch ? 1 : 0;
        EXPECT_EQ(countIn(said, "by end-of-loops"), bMatch ? 0 : 1);
        // All are without members: the first of each group takes the others over, then the second of the two is killed.
        unsigned alive = 0;
        for (std::size_t i = 0; i < vCluster.size(); ++i)
            alive |= vCluster[i]->isAlive() ? 1U << i : 0U;
        const unsigned all = (1U << vCluster.size()) - 1;
        EXPECT_EQ(alive, (all & ~(a | b)) | (a & (~a + 1))) << "round " << round;
    }
    EXPECT_TRUE(numMatches > 50 && numMatches < 150) << numMatches;
}
