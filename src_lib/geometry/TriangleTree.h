#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "kel.h"
#include "tarn_locate3/Bbox3.h"

namespace TARN_KEL {

/// Three places.
using TrianglePlaces = std::array<Vector3, 3>;

/// The squared distance of a place to a triangle, which may be a segment or a point.
double sqDistance(const Vector3& place, const TrianglePlaces& triangle);
/// The squared distance of a place to the segment between two others.
double sqDistance(const Vector3& place, const Vector3& from, const Vector3& to);

/// Which triangle of a tree is nearest, and how far it is.
struct NearestTriangle {
    static constexpr std::size_t NONE = ~std::size_t{0};
    std::size_t position = NONE;
    double sqDistance = std::numeric_limits<double>::max();
};

/// Finds the nearest one of many triangles.
///
/// Boxes in a binary tree: each node halves its triangles by their centres, across the longest side of their box, down to
/// four. A tree may be queried by several threads at once. The same triangles in the same order give the same answers.
class TriangleTree {
public:
    /// Places are finite. At most 2^32 - 1 triangles. Cost: O(n log n).
    explicit TriangleTree(std::vector<TrianglePlaces> vTriangle);

    /// The nearest triangle; of several the one that is met first. None without triangles, or when known is as near.
    /// known: a triangle from which to start, which is the answer when none is nearer; a near one saves time.
    /// Cost: O(log n) where few triangles are about equally far.
    NearestTriangle nearest(const Vector3& place, const NearestTriangle& known = {}) const;

    const TrianglePlaces& triangle(std::size_t position) const { return vPlaces[position]; }
    /// In the order in which they were passed.
    const std::vector<TrianglePlaces>& triangles() const { return vPlaces; }

private:
    struct Node {
        TARN_LOCATE3::Bbox3 box;
        std::uint32_t begin, end;  // its triangles, in vOrder
        std::uint32_t second;      // its second child; the first one follows it; 0 for a leaf
    };

    std::vector<TrianglePlaces> vPlaces;
    std::vector<std::uint32_t> vOrder;
    std::vector<Node> vNode;  // the root first
};

}  // namespace TARN_KEL
