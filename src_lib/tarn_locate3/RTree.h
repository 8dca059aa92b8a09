#pragma once

#include <cstddef>
#include <vector>

#include "tarn_locate3/Bbox3.h"

namespace TARN_LOCATE3 {

/// A box in the index, and the user's object in it.
struct Item {
    void* pObject;  ///< not owned
    double xmin, ymin, zmin, xmax, ymax, zmax;
};

/// One node of the tree. The items below it are consecutive, and so are its children, in the level below.
struct Node {
    Bbox3 box;                ///< of all items below it
    std::size_t first, last;  ///< a leaf: its items, last included; else its children
};

/// Finds the boxes that intersect a box.
///
/// Add all objects, call finish(), then query. The objects are put in the order of a space-filling curve through their
/// centres; two neighbours make a leaf, and eight nodes a node of the next level, until one is left. Queries answer in curve
/// order. One thread at a time until finish() is done; then any number may query.
class RTree {
public:
    /// Adds a box. p: not owned. Throws (assertion) when a minimum is above its maximum.
    void addObject(void* p, double xmin, double ymin, double zmin, double xmax, double ymax, double zmax);
    /// Builds the tree over all objects added; without objects there is none. Items of a former finish() are no longer
    /// valid.
    /// Cost: O(n log n).
    void finish();

    /// Appends the items whose box intersects the given one, touching included. Calls finish() first if that wasn't done.
    /// The items belong to the tree and are valid as long as it exists.
    void getBBIntersectedItems(const Bbox3& box, std::vector<Item*>& vResult);
    /// The box of all objects added; without objects the largest double as minima and the lowest as maxima.
    void getBounds(double& xmin, double& ymin, double& zmin, double& xmax, double& ymax, double& zmax) const;

private:
    void sortAlongCurve();
    void collect(std::size_t level, std::size_t iNode, const Bbox3& box, std::vector<Item*>& vResult);

    std::vector<Item> vItem;                // as added, after finish() in curve order
    std::vector<std::vector<Node>> vLevel;  // the leaves first, the root's level last; empty before finish()
    Bbox3 bounds;
};

}  // namespace TARN_LOCATE3
