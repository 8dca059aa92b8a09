#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "FreshVector.h"
#include "tarn_locate3/Bbox3.h"

namespace TARN_OCTREE {

/// A point in the index, and the user's object at that point.
struct OctItem {
    void* pObject;  ///< not owned
    double x, y, z;
};

using OctItems = TARN_KEL::FreshVector<OctItem>;

/// One node of the tree.
///
/// The nodes are in one array, each directly followed by its whole subtree, and the items of a subtree are consecutive. An
/// octant without items has no node. A node fills a cache line.
struct alignas(64) OctNode {
    TARN_LOCATE3::Bbox3 box;     ///< of its items, tight
    std::uint32_t begin, end;    ///< its items
    std::uint32_t afterSubtree;  ///< the node after its subtree: for a leaf, and only for a leaf, the next one
};

/// Finds the points within a sphere.
///
/// Add all objects, call finish(), then query. A finished tree may be queried from several threads at once; adding and
/// finish() belong to one thread. The same objects in the same order give the same tree and the same answers, in the same
/// order.
///
/// A node of more than four items is split at a point near the middle of its items, in x, y and z separately, into up to
/// eight children. Items that no split point separates stay together in one leaf: equal points, and also points where most
/// items share the least x, the least y and the least z of the node. Such a leaf is searched in linear time.
class Octree {
public:
    /// Adds a point with finite coordinates. p: not owned. At most 2^32 - 1 objects.
    void addObject(void* p, double x, double y, double z);
    /// Adds that many points at once. Returns their places, to be filled before the next call.
    std::span<OctItem> addObjects(std::size_t num);
    /// Builds the tree over all objects added. Items of a former finish() are no longer valid. Cost: O(n log n).
    void finish();

    /// Appends the items within distance r of the point, r included: child by child, and in curve order within a leaf. The
    /// items belong to the tree and are valid as long as it exists. None for a negative r, or before finish().
    /// Cost: O(log n) and the number of items found, where points are evenly spread.
    void getSphereIntersectors(double x, double y, double z, double r, std::vector<OctItem*>& vItems) const;
    /// The same, but appends all items of each leaf whose box touches the sphere's box: those within r and perhaps others.
    void getApproxSphereIntersectors(double x, double y, double z, double r, std::vector<OctItem*>& vItems) const;
    /// The distance of a finite place to the nearest item; infinite without items, and before finish(). Cost: O(log n), and
    /// more when many items are about equally far.
    double getNearestDistance(double x, double y, double z) const;

private:
    void sortAlongCurve(const TARN_LOCATE3::Bbox3& box);
    template <typename IsNear, typename VisitLeaf>
    void forLeaves(const IsNear& isNear, const VisitLeaf& visitLeaf) const;

    OctItems vItem;                        // as added, after finish() in the order of the leaves
    TARN_KEL::FreshVector<OctNode> vNode;  // the root first; empty before finish()
};

}  // namespace TARN_OCTREE
