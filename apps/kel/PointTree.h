// Finds nearest points with a k-d tree: the points in the order of the tree, and a box around each range of them.
#pragma once

#include <kel.h>

#include <array>
#include <vector>

/// Each node is a range of points in this order. It is split at the median along the axis on which the range is widest; its
/// box is as small as its points allow. Ranges of a few points are leaves. The tree is balanced whatever the points; equal
/// points are allowed.
class PointTree {
public:
    /// vPoints: finite, not empty; copied. Cost: O(n log n).
    explicit PointTree(const std::vector<TARN_KEL::Point3>& vPoints);

    /// The distance of a finite place to its nearest point. Cost: O(log n) near the points; up to O(n) for a place that is
    /// about equally far from all of them.
    double distanceTo(const TARN_KEL::Point3& p) const;

private:
    using Place = std::array<double, 3>;
    struct Box {
        Place low;
        Place high;
    };
    static constexpr std::size_t LEAF_SIZE = 8;

    static Place placeOf(const TARN_KEL::Point3& p) { return {p.x(), p.y(), p.z()}; }
    static double sqDistance(const Place& p, const Box& box);
    Box boxOf(std::size_t begin, std::size_t end) const;
    void build(std::size_t node, std::size_t begin, std::size_t end);
    void search(std::size_t node, std::size_t begin, std::size_t end, const Place& p, double& nearest) const;

    std::vector<Place> vPlace;
    std::vector<Box> vBox;  // of each node; the halves of node i are the nodes 2 i + 1 and 2 i + 2
};
