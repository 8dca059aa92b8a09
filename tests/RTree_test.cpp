#include "tarn_locate3/RTree.h"

#include "curve/GSS_HC3.h"
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

/// All boxes, in the order of the curve through their centres; boxes with one key in the order given.
std::vector<const Bbox3*> curveOrder(const std::vector<Bbox3>& vBox) {
    Bbox3 bounds;
    for (const Bbox3& box : vBox)
        bounds.widen(box);
    const TARN_OCTREE::GSS_HC3 curve(bounds.minX, bounds.minY, bounds.minZ, bounds.maxX, bounds.maxY, bounds.maxZ, 30);
    std::vector<std::pair<unsigned, const Bbox3*>> vKey;
    for (const Bbox3& b : vBox)
        vKey.emplace_back(curve.iReset((b.minX + b.maxX) / 2, (b.minY + b.maxY) / 2, (b.minZ + b.maxZ) / 2), &b);
    std::sort(vKey.begin(), vKey.end());
    std::vector<const Bbox3*> v;
    for (const auto& keyBox : vKey)
        v.push_back(keyBox.second);
    return v;
}

}  // namespace

TEST(RTree, findsAllThatMeetInCurveOrder) {
    for (const std::size_t n : {1U, 2U, 3U, 16U, 17U, 128U, 129U, 2000U}) {
        std::vector<Bbox3> vBox = randomBoxes(n, n);
        const std::vector<const Bbox3*> vOrder = curveOrder(vBox);
        RTree tree;
        fill(tree, vBox);
        tree.finish();
        std::vector<Bbox3> vQuery = randomBoxes(200, 99);
        vQuery.emplace_back(-100.0, -100.0, -100.0, 100.0, 100.0, 100.0);
        vQuery.emplace_back(0.5, 60.0, 0.5, 0.5, 60.0, 0.5);
        for (const Bbox3& query : vQuery) {
            std::vector<const Bbox3*> vExpected;
            for (const Bbox3* p : vOrder)
                if (p->intersects(query)) vExpected.push_back(p);
            ASSERT_EQ(answers(tree, query), vExpected) << n << " boxes";
        }
    }
}

TEST(RTree, finishesAtTheFirstQueryAndAnew) {
    const Bbox3 all(-1.0, -1.0, -1.0, 50.0, 50.0, 50.0);
    RTree tree;
    EXPECT_TRUE(answers(tree, all).empty()) << "no objects, no tree";
    std::vector<Bbox3> vBox = randomBoxes(20, 1), vMore = randomBoxes(30, 2);
    fill(tree, vBox);
    EXPECT_EQ(answers(tree, all).size(), 20U);
    fill(tree, vMore);
    tree.finish();
    EXPECT_EQ(answers(tree, all).size(), 50U);
}

TEST(RTree, knowsItsBounds) {
    RTree tree;
    double b[6];
    tree.getBounds(b[0], b[1], b[2], b[3], b[4], b[5]);
    EXPECT_TRUE(b[1] == LARGEST && b[5] == -LARGEST);
    tree.addObject(nullptr, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0);
    tree.addObject(nullptr, 0.0, 9.0, 3.5, 1.0, 9.0, 5.5);
    tree.getBounds(b[0], b[1], b[2], b[3], b[4], b[5]);
    EXPECT_EQ(std::vector<double>(b, b + 6), (std::vector<double>{0.0, 2.0, 3.0, 4.0, 9.0, 6.0}));
}

TEST(RTree, refusesBoxesTurnedInsideOut) {
    RTree tree;
    expectFails("xmin<=xmax", [&] { tree.addObject(nullptr, 1.0, 0.0, 0.0, 0.0, 0.0, 0.0); });
    expectFails("ymin<=ymax", [&] { tree.addObject(nullptr, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0); });
    expectFails("zmin<=zmax", [&] { tree.addObject(nullptr, 0.0, 0.0, NOT_A_NUMBER, 0.0, 0.0, 0.0); });
    EXPECT_TRUE(answers(tree, Bbox3(-9.0, -9.0, -9.0, 9.0, 9.0, 9.0)).empty());
}
