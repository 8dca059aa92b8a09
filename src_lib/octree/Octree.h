#pragma once

#include <cstdint>
#include <vector>

#include "tarn_locate3/Bbox3.h"

namespace TARN_OCTREE {

/// A point in the index, and the user's object that it stands for.
struct OctItem {
    void* pObject;  ///< the user's
    double x, y, z;
};

/// One node of the tree.
///
/// The nodes stand in one array, each before its children and with its whole subtree behind it, and the items of a subtree
/// are consecutive. An octant without items has no node. A node fills a cache line.
struct alignas(64) OctNode {
    TARN_LOCATE3::Bbox3 box;     ///< of its items, tight
    std::uint32_t begin, end;    ///< its items
    std::uint32_t afterSubtree;  ///< the node behind its subtree: for a leaf, and only for a leaf, the next one
};

/// Finds the points within a sphere.
///
/// Add all objects, call finish(), then ask. A finished tree may be queried from several threads at once; adding and
/// finish() belong to one thread. The same objects in the same order give the same tree and the same answers, in the same
/// order.
///
/// A node of more than four items is split at a point near the middle of its items, in x, y and z by itself, into up to
/// eight children. Items that no split point parts stay together in one leaf: this is so for equal points, but also where
/// most items share the least x, the least y and the least z of the node. Such a leaf is searched in linear time.
class Octree {
public:
    /// Coordinates must be finite; p stays the caller's. At most 2^32 - 1 objects.
    void addObject(void* p, double x, double y, double z);
    /// Builds the tree over all that was added. O(n log n). Items that a former finish() gave are no longer valid.
    void finish();

    /// Appends the items within distance r of the point, r included, children before later children and items in curve order
    /// within a leaf. The items are the tree's and live as long as it does. Nothing for a negative r, or before finish().
    /// O(log n) and the number of items found, where points are spread well.
    void getSphereIntersectors(double x, double y, double z, double r, std::vector<OctItem*>& vItems) const;
    /// The same, but appends all items of each leaf whose box touches the sphere's box: those within r and perhaps others.
    void getApproxSphereIntersectors(double x, double y, double z, double r, std::vector<OctItem*>& vItems) const;
    /// The distance of a finite place to the nearest item; infinite without items, and before finish(). O(log n), and as
    /// many more as there are items that look equally far.
    double getNearestDistance(double x, double y, double z) const;

private:
    void sortAlongCurve(const TARN_LOCATE3::Bbox3& box);
    template <typename IsNear, typename VisitLeaf>
    void forLeaves(const IsNear& isNear, const VisitLeaf& visitLeaf) const;

    std::vector<OctItem> vItem;  // as added, after finish() in the order of the leaves
    std::vector<OctNode> vNode;  // the root first; empty before finish()
};

}  // namespace TARN_OCTREE
