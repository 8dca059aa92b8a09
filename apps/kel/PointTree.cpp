// Builds and searches a k-d tree.
#include "PointTree.h"

#include <algorithm>
#include <cmath>
#include <limits>

using TARN_KEL::Point3;

namespace {

double sqLength(const std::array<double, 3>& v) {
    return v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
}

std::size_t middle(std::size_t begin, std::size_t end) {
    return begin + (end - begin) / 2;
}

}  // namespace

PointTree::PointTree(const std::vector<Point3>& vPoints) {
    vPlace.reserve(vPoints.size());
    for (const Point3& p : vPoints)
        vPlace.push_back(placeOf(p));
    build(0, 0, vPlace.size());
}

double PointTree::distanceTo(const Point3& p) const {
    double nearest = std::numeric_limits<double>::infinity();
    search(0, 0, vPlace.size(), placeOf(p), nearest);
    return std::sqrt(nearest);
}

/// 0.0 inside.
double PointTree::sqDistance(const Place& p, const Box& box) {
    Place toBox;
    for (std::size_t k = 0; k < 3; ++k)
        toBox[k] = std::max(0.0, std::max(box.low[k] - p[k], p[k] - box.high[k]));
    return sqLength(toBox);
}

PointTree::Box PointTree::boxOf(std::size_t begin, std::size_t end) const {
    Box box{vPlace[begin], vPlace[begin]};
    for (std::size_t i = begin; i < end; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            box.low[k] = std::min(box.low[k], vPlace[i][k]);
            box.high[k] = std::max(box.high[k], vPlace[i][k]);
        }
    }
    return box;
}

void PointTree::build(std::size_t node, std::size_t begin, std::size_t end) {
    if (vBox.size() <= node) vBox.resize(node + 1);
    const Box box = vBox[node] = boxOf(begin, end);
    if (end - begin <= LEAF_SIZE) return;
    const Place width = {box.high[0] - box.low[0], box.high[1] - box.low[1], box.high[2] - box.low[2]};
    const auto axis = static_cast<std::size_t>(std::max_element(width.begin(), width.end()) - width.begin());
    const std::size_t mid = middle(begin, end);
    const auto at = [&](std::size_t i) { return vPlace.begin() + static_cast<std::ptrdiff_t>(i); };
    std::nth_element(at(begin), at(mid), at(end), [axis](const Place& a, const Place& b) { return a[axis] < b[axis]; });
    build(2 * node + 1, begin, mid);
    build(2 * node + 2, mid, end);
}

/// nearest: the square of the least distance so far. A box that is no nearer holds nothing new: of points at one place, or
/// at one distance, the first is enough.
void PointTree::search(std::size_t node, std::size_t begin, std::size_t end, const Place& p, double& nearest) const {
    if (end - begin <= LEAF_SIZE) {
        for (std::size_t i = begin; i < end; ++i)
            nearest = std::min(nearest, sqLength({vPlace[i][0] - p[0], vPlace[i][1] - p[1], vPlace[i][2] - p[2]}));
        return;
    }
    const std::size_t mid = middle(begin, end);
    const double toLow = sqDistance(p, vBox[2 * node + 1]);
    const double toHigh = sqDistance(p, vBox[2 * node + 2]);
    const auto searchLow = [&] {
        if (toLow < nearest) search(2 * node + 1, begin, mid, p, nearest);
    };
    const auto searchHigh = [&] {
        if (toHigh < nearest) search(2 * node + 2, mid, end, p, nearest);
    };
    if (toHigh < toLow) {
        searchHigh();
        searchLow();
    } else {
        searchLow();
        searchHigh();
    }
}
