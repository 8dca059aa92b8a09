#include "tarn_locate3/RTree.h"

#include "support/prelude.h"

using namespace TARN_LOCATE3;
using namespace TARN_TEST;

namespace {

/// Boxes with sides of 0 to 9 in a cube of 40, with whole numbers as coordinates, so that many of them touch or coincide.
std::vector<Bbox3> randomBoxes(std::size_t n, std::uint64_t seed) {
    Random random(seed);
    std::vector<Bbox3> v;
    for (std::size_t i = 0; i < n; ++i) {
        const double x = random.next() % 40, y = random.next() % 40, z = random.next() % 40;
        v.emplace_back(x, y, z, x + random.next() % 10, y + random.next() % 10, z + random.next() % 10);
    }
    return v;
}

void fill(RTree& tree, std::vector<Bbox3>& vBox) {
    for (Bbox3& box : vBox)
        tree.addObject(&box, box.minX, box.minY, box.minZ, box.maxX, box.maxY, box.maxZ);
}

std::vector<const Bbox3*> answers(RTree& tree, const Bbox3& query) {
    std::vector<Item*> vItem;
    tree.getBBIntersectedItems(query, vItem);
    std::vector<const Bbox3*> v;
    for (const Item* pItem : vItem)
        v.push_back(static_cast<const Bbox3*>(pItem->pObject));
    return v;
}

}  // namespace

TEST(RTree, findsAllThatMeet) {
    for (const std::size_t n : {1U, 2U, 3U, 16U, 17U, 128U, 129U, 2000U}) {
        std::vector<Bbox3> vBox = randomBoxes(n, n);
        RTree tree;
        fill(tree, vBox);
        tree.finish();
        std::vector<Bbox3> vQuery = randomBoxes(200, 99);
        vQuery.emplace_back(-100.0, -100.0, -100.0, 100.0, 100.0, 100.0);
        vQuery.emplace_back(0.5, 60.0, 0.5, 0.5, 60.0, 0.5);
        for (const Bbox3& query : vQuery) {
            std::vector<const Bbox3*> vExpected;
            for (const Bbox3& box : vBox)
                if (box.intersects(query)) vExpected.push_back(&box);
            ASSERT_EQ(sorted(answers(tree, query)), vExpected) << n << " boxes";
        }
    }
}

TEST(RTree, refusesBoxesTurnedInsideOutAndGrows) {
    const Bbox3 all(-1.0, -1.0, -1.0, 50.0, 50.0, 50.0);
    RTree tree;
    expectFails("xmin<=xmax", [&] { tree.addObject(nullptr, 1.0, 0.0, 0.0, 0.0, 0.0, 0.0); });
    expectFails("ymin<=ymax", [&] { tree.addObject(nullptr, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0); });
    expectFails("zmin<=zmax", [&] { tree.addObject(nullptr, 0.0, 0.0, NOT_A_NUMBER, 0.0, 0.0, 0.0); });
    EXPECT_TRUE(answers(tree, all).empty());
    std::vector<Bbox3> vBox = randomBoxes(20, 1), vMore{{-5.0, 7.0, 7.0, 8.0, 90.0, 8.0}};
    fill(tree, vBox);
    EXPECT_EQ(answers(tree, all).size(), 20U) << "finished at the first query";
    fill(tree, vMore);
    tree.finish();
    EXPECT_EQ(answers(tree, all).size(), 21U);
    double low[3], high[3];
    tree.getBounds(low[0], low[1], low[2], high[0], high[1], high[2]);
    EXPECT_TRUE(low[0] == -5.0 && high[1] == 90.0 && high[2] < 90.0);
}
