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

PointTree::PointTree(const std::vector<Point3>& vPoints) : vAxis(vPoints.size()) {
    vPlace.reserve(vPoints.size());
    for (const Point3& p : vPoints)
        vPlace.push_back(placeOf(p));
    build(0, vPlace.size());
}

double PointTree::distanceTo(const Point3& p) const {
    double nearest = std::numeric_limits<double>::infinity();
    search(0, vPlace.size(), placeOf(p), Place{}, nearest);
    return std::sqrt(nearest);
}

void PointTree::build(std::size_t begin, std::size_t end) {
    if (end - begin <= LEAF_SIZE) return;
    const std::size_t mid = middle(begin, end);
    const std::uint8_t axis = widestAxis(begin, end);
    const auto at = [&](std::size_t i) { return vPlace.begin() + static_cast<std::ptrdiff_t>(i); };
    std::nth_element(at(begin), at(mid), at(end), [axis](const Place& a, const Place& b) { return a[axis] < b[axis]; });
    vAxis[mid] = axis;
    build(begin, mid);
    build(mid + 1, end);
}

std::uint8_t PointTree::widestAxis(std::size_t begin, std::size_t end) const {
    Place low = vPlace[begin];
    Place high = low;
    for (std::size_t i = begin; i < end; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], vPlace[i][k]);
            high[k] = std::max(high[k], vPlace[i][k]);
        }
    }
    const Place width = {high[0] - low[0], high[1] - low[1], high[2] - low[2]};
    return static_cast<std::uint8_t>(std::max_element(width.begin(), width.end()) - width.begin());
}

/// toBox: from p to the box of the range, along each axis. nearest: the square of the least distance so far.
void PointTree::search(std::size_t begin, std::size_t end, const Place& p, const Place& toBox, double& nearest) const {
    const auto visit = [&](const Place& place) {
        nearest = std::min(nearest, sqLength({place[0] - p[0], place[1] - p[1], place[2] - p[2]}));
    };
    if (end - begin <= LEAF_SIZE) {
        for (std::size_t i = begin; i < end; ++i)
            visit(vPlace[i]);
        return;
    }
    const std::size_t mid = middle(begin, end);
    const std::uint8_t axis = vAxis[mid];
    const double toPlane = vPlace[mid][axis] - p[axis];
    const bool bLowFirst = toPlane > 0.0;
    Place toFar = toBox;
    toFar[axis] = toPlane;
    bLowFirst ? search(begin, mid, p, toBox, nearest) : search(mid + 1, end, p, toBox, nearest);
    visit(vPlace[mid]);
    if (sqLength(toFar) >= nearest) return;
    bLowFirst ? search(mid + 1, end, p, toFar, nearest) : search(begin, mid, p, toFar, nearest);
}
