// Finds nearest points: a k-d tree that is nothing but the points in the right order.
#pragma once

#include <kel.h>

#include <array>
#include <cstdint>
#include <vector>

/// A range of the order is a node: its middle point splits it at the median along the axis on which the range is widest.
/// Ranges of a few points are leaves. The depth is that of a balanced tree, whatever the points; equal points are fine.
class PointTree {
public:
    /// vPoints: finite, not empty; copied. O(n log n).
    explicit PointTree(const std::vector<TARN_KEL::Point3>& vPoints);

    /// The distance of a finite place to its nearest point. O(log n) for places near the points; about as many more as there
    /// are points at nearly the same distance.
    double distanceTo(const TARN_KEL::Point3& p) const;

private:
    using Place = std::array<double, 3>;
    static constexpr std::size_t LEAF_SIZE = 8;

    static Place placeOf(const TARN_KEL::Point3& p) { return {p.x(), p.y(), p.z()}; }
    void build(std::size_t begin, std::size_t end);
    std::uint8_t widestAxis(std::size_t begin, std::size_t end) const;
    void search(std::size_t begin, std::size_t end, const Place& p, const Place& toBox, double& nearest) const;

    std::vector<Place> vPlace;
    std::vector<std::uint8_t> vAxis;  // at the middle of each range that isn't a leaf
};
