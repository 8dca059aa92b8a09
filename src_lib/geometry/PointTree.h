// Finds nearest points with a k-d tree: the points in the order of the tree, and a box around each range of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

/// Each node is a range of points in this order. It is split at the median along the axis on which the range is widest; its
/// box is as small as its points allow. Ranges of a few points are leaves. The tree is balanced whatever the points; equal
/// points are allowed.
class PointTree {
public:
    static constexpr std::uint32_t NONE = std::numeric_limits<std::uint32_t>::max();

    /// vPoints: finite, not empty, fewer than 2^32; copied. Cost: O(n log n).
    explicit PointTree(const std::vector<Point3>& vPoints);

    /// The distance of a finite place to its nearest point. Cost: O(log n) near the points; up to O(n) for a place that is
    /// about equally far from all of them.
    double distanceTo(const Point3& p) const;
    /// The position of the nearest point in the list that was given, of equally near ones the first. NONE when all are
    /// farther than reach. Cost: the same, and for each point that is as near as the nearest.
    std::uint32_t nearestTo(const Point3& p, double reach = std::numeric_limits<double>::infinity()) const;

private:
    using Place = std::array<double, 3>;
    struct Entry {
        Place place;
        std::uint32_t index;
    };
    struct Box {
        Place low;
        Place high;
    };
    struct DistanceSearch;
    struct IndexSearch;
    static constexpr std::size_t LEAF_SIZE = 8;

    static Place placeOf(const Point3& p) { return {p.x(), p.y(), p.z()}; }
    static double sqDistance(const Place& p, const Box& box);
    Box boxOf(std::size_t begin, std::size_t end) const;
    void build(std::size_t node, std::size_t begin, std::size_t end);
    template <typename Search>
    void search(std::size_t node, std::size_t begin, std::size_t end, const Place& p, Search& best) const;

    std::vector<Entry> vEntry;
    std::vector<Box> vBox;  // of each node; the halves of node i are the nodes 2 i + 1 and 2 i + 2
};

}  // namespace TARN_KEL
