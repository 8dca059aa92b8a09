#include "octree/Octree.h"

#include "Random.h"
#include "curve/GSS_HC3.h"
#include "kel.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_OCTREE;
using namespace TARN_TEST;
using TARN_LOCATE3::Bbox3;

namespace {

using Indices = std::vector<std::size_t>;

/// A tree over points, with answers as positions in the list of points.
struct PointTree {
    explicit PointTree(const Points& vPoint_) : vPoint(vPoint_) {
        for (Point3& p : vPoint)
            tree.addObject(&p, p.x(), p.y(), p.z());
        tree.finish();
    }
    Indices within(const Point3& p, double r) const { return ask(&Octree::getSphereIntersectors, p, r); }
    Indices near(const Point3& p, double r) const { return ask(&Octree::getApproxSphereIntersectors, p, r); }

    template <typename Query>
    Indices ask(Query query, const Point3& p, double r) const {
        std::vector<OctItem*> vItem;
        (tree.*query)(p.x(), p.y(), p.z(), r, vItem);
        Indices v;
        for (const OctItem* pItem : vItem) {
            const auto* pPoint = static_cast<const Point3*>(pItem->pObject);
            EXPECT_EQ(*pPoint, Point3(pItem->x, pItem->y, pItem->z));
            v.push_back(static_cast<std::size_t>(pPoint - vPoint.data()));
        }
        return v;
    }

    Points vPoint;
    Octree tree;
};

/// Points that repeat, lie on a line or in a plane, gather at one place, or are just spread.
std::map<std::string, Points> clouds(std::size_t n, std::uint64_t seed) {
    Random random(seed);
    const auto digit = [&random] { return random.next() % 5; };
    std::map<std::string, Points> m{
        {"equal", Points(n, Point3(1.0, 2.0, 3.0))}, {"sphere", Scan(seed).sphere(n)}, {"plane", Scan(seed).plane(n)}};
    for (std::size_t i = 0; i < n; ++i) {
        m["grid"].emplace_back(digit(), digit(), digit());
        m["line"].emplace_back(0.1 * random.next(), 7.0, 7.0);
        m["mostly low"].emplace_back(i % 3 == 0 ? Point3(digit(), digit(), digit()) : Point3(0.0, 0.0, 0.0));
        m["gathering"].emplace_back(std::ldexp(1.0, -random.next() % 500), std::ldexp(1.0, -random.next() % 500),
                                    1e7 + digit());
    }
    return m;
}

/// Radii from nothing to everything for queries in a cloud.
std::vector<double> radii(const Points& vPoint) {
    const double size = vPoint.empty() ? 1.0 : std::sqrt((vPoint.front() - vPoint.back()).sqLength());
    return {0.0, 0.01 * size, 0.2 * size, 1.0, 3.0 * size, INF};
}

}  // namespace

TEST(GSS_HC3, walksFromCellToAdjoiningCell) {
    const GSS_HC3 curve(0.0, 0.0, 0.0, 8.0, 16.0, 4.0, 9), coarse(0.0, 0.0, 0.0, 8.0, 16.0, 4.0, 6);
    std::map<unsigned, std::vector<int>> mCell;
    for (int x = 0; x < 8; ++x)
        for (int y = 0; y < 8; ++y)
            for (int z = 0; z < 8; ++z) {
                const unsigned key = curve.iReset(x, 2.0 * y, 0.5 * z);
                mCell[key] = {x, y, z};
                EXPECT_EQ(coarse.iReset(x + 0.9, 2.0 * y + 1.9, 0.5 * z + 0.4), key >> 3);
            }
    ASSERT_EQ(mCell.size(), 512U);
    EXPECT_EQ(mCell.rbegin()->first, 511U);
    for (unsigned key = 1; key < 512; ++key) {
        int steps = 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            steps += std::abs(mCell[key][axis] - mCell[key - 1][axis]);
        ASSERT_EQ(steps, 1) << "key " << key;
    }
    for (const unsigned bits : {0U, 3U, 30U}) {
        EXPECT_LT(GSS_HC3(-1.0, -1.0, -1.0, 1.0, 1.0, 1.0, bits).iReset(1.0, 1.0, 1.0), std::uint64_t{1} << bits);
        EXPECT_LT(GSS_HC3(2.0, 2.0, 2.0, 2.0, 2.0, 2.0, bits).iReset(2.0, 2.0, 2.0), std::uint64_t{1} << bits);
    }
}

TEST(Octree, findsWhatTheSearchThroughAllPointsFinds) {
    for (const auto& [name, vPoint] : clouds(3000, 5)) {
        const PointTree tree(vPoint), twin(vPoint);
        for (const double r : radii(vPoint))
            for (std::size_t k = 0; k < vPoint.size(); k += 211) {
                const Point3& p = vPoint[k];
                const auto isBeyond = [&, &vPoint = vPoint](std::size_t i) { return (vPoint[i] - p).sqLength() > r * r; };
                Indices vExpected(vPoint.size()), vWithin = tree.within(p, r);
                std::iota(vExpected.begin(), vExpected.end(), 0U);
                std::erase_if(vExpected, isBeyond);
                Indices vNear = tree.near(p, r);
                ASSERT_EQ(twin.near(p, r), vNear) << "the same objects give the same tree";
                std::erase_if(vNear, isBeyond);  // what is near and within keeps its order
                ASSERT_EQ(vNear, vWithin) << name << ", radius " << r;
                std::sort(vWithin.begin(), vWithin.end());
                ASSERT_EQ(vWithin, vExpected) << name << ", radius " << r;
            }
    }
}

TEST(Octree, isTheSameOnAnyNumberOfThreads) {
    const Points vPoint = Scan(3).sphere(70000);
    const auto inOrderOfLeaves = [&vPoint](int numThreads) {
        setNumThreads(numThreads);
        return PointTree(vPoint).near(Point3(), 1e9);
    };
    const Indices vExpected = inOrderOfLeaves(1);
    for (const int numThreads : {2, 3, 8, 0})
        EXPECT_EQ(inOrderOfLeaves(numThreads), vExpected) << numThreads << " threads";
}

TEST(Octree, knowsTheDistanceToTheNearestItem) {
    Scan scan(7);
    for (const auto& [name, vPoint] : clouds(1000, 5)) {
        const PointTree tree(vPoint);
        for (int k = 0; k < 200; ++k) {
            const Point3 q = vPoint[static_cast<std::size_t>(k * 4) % vPoint.size()] +
                             Vector3(k % 4 * scan.uniform(-1, 1), k % 3 * scan.uniform(-1, 1), k % 2 * scan.uniform(-1, 1));
            double expected = INF;
            for (const Point3& p : vPoint)
                expected = std::min(expected, (p - q).length());
            ASSERT_EQ(tree.tree.getNearestDistance(q.x(), q.y(), q.z()), expected) << name;
        }
    }
}

TEST(Octree, passesByWhatIsFar) {
    const Points vPoint = Scan(2).sphere(50000);
    const PointTree tree(vPoint);
    for (std::size_t k = 0; k < vPoint.size(); k += 1000) {
        EXPECT_LE(tree.near(vPoint[k], 0.0).size(), 12U);
        EXPECT_LE(tree.near(vPoint[k], 0.02).size(), 150U) << "5 points are within on average";
    }
}

TEST(Octree, answersAtItsLimits) {
    Octree tree;
    std::vector<OctItem*> vItem;
    tree.getSphereIntersectors(0.0, 0.0, 0.0, 1.0, vItem);
    EXPECT_TRUE(vItem.empty()) << "not finished";
    EXPECT_EQ(tree.getNearestDistance(0.0, 0.0, 0.0), INF);
    tree.finish();
    tree.getApproxSphereIntersectors(0.0, 0.0, 0.0, INF, vItem);
    EXPECT_TRUE(vItem.empty());

    const PointTree equal(Points(5, Point3(1.0, 2.0, 3.0)));
    EXPECT_EQ(equal.within(Point3(1.0, 2.0, 5.0), 2.0).size(), 5U) << "at the radius";
    EXPECT_EQ(equal.near(Point3(3.0, 4.0, 5.0), 2.0).size(), 5U) << "the sphere's box touches the leaf's";
    for (const double noRadius : {-1.0, std::nan("")})
        EXPECT_EQ(equal.near(Point3(1.0, 2.0, 3.0), noRadius).size(), 0U);
}
