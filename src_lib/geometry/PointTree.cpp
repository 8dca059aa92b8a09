// Builds and searches a k-d tree.
#include "PointTree.h"

#include <algorithm>
#include <cmath>

namespace TARN_KEL {

namespace {

double sqLengthOf(const std::array<double, 3>& v) {
    return v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
}

std::size_t middleOf(std::size_t begin, std::size_t end) {
    return begin + (end - begin) / 2;
}

}  // namespace

/// A box that is no nearer holds nothing new: of points at one place, or at one distance, the first is enough.
struct PointTree::DistanceSearch {
    double sqNearest = std::numeric_limits<double>::infinity();

    bool isWorthwhile(double sqDistance) const { return sqDistance < sqNearest; }
    void take(const Entry&, double sqDistance) { sqNearest = std::min(sqNearest, sqDistance); }
};

/// Of points at one distance the one with the least index is wanted, so all of them are looked at.
struct PointTree::IndexSearch {
    double sqNearest;
    std::uint32_t index = NONE;

    bool isWorthwhile(double sqDistance) const { return sqDistance <= sqNearest; }
    void take(const Entry& entry, double sqDistance) {
        if (sqDistance > sqNearest || (sqDistance == sqNearest && entry.index > index)) return;
        sqNearest = sqDistance;
        index = entry.index;
    }
};

PointTree::PointTree(const std::vector<Point3>& vPoints) {
    vEntry.reserve(vPoints.size());
    for (const Point3& p : vPoints)
        vEntry.push_back({placeOf(p), static_cast<std::uint32_t>(vEntry.size())});
    build(0, 0, vEntry.size());
}

double PointTree::distanceTo(const Point3& p) const {
    DistanceSearch best;
    search(0, 0, vEntry.size(), placeOf(p), best);
    return std::sqrt(best.sqNearest);
}

std::uint32_t PointTree::nearestTo(const Point3& p, double reach) const {
    IndexSearch best{reach * reach};
    search(0, 0, vEntry.size(), placeOf(p), best);
    return best.index;
}

/// 0.0 inside.
double PointTree::sqDistance(const Place& p, const Box& box) {
    Place toBox;
    for (std::size_t k = 0; k < 3; ++k)
        toBox[k] = std::max(0.0, std::max(box.low[k] - p[k], p[k] - box.high[k]));
    return sqLengthOf(toBox);
}

PointTree::Box PointTree::boxOf(std::size_t begin, std::size_t end) const {
    Box box{vEntry[begin].place, vEntry[begin].place};
    for (std::size_t i = begin; i < end; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            box.low[k] = std::min(box.low[k], vEntry[i].place[k]);
            box.high[k] = std::max(box.high[k], vEntry[i].place[k]);
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
    const std::size_t mid = middleOf(begin, end);
    const auto at = [&](std::size_t i) { return vEntry.begin() + static_cast<std::ptrdiff_t>(i); };
    std::nth_element(at(begin), at(mid), at(end),
                     [axis](const Entry& a, const Entry& b) { return a.place[axis] < b.place[axis]; });
    build(2 * node + 1, begin, mid);
    build(2 * node + 2, mid, end);
}

/// The nearer half comes first, and a half that holds nothing worthwhile is skipped.
template <typename Search>
void PointTree::search(std::size_t node, std::size_t begin, std::size_t end, const Place& p, Search& best) const {
    if (end - begin <= LEAF_SIZE) {
        for (std::size_t i = begin; i < end; ++i) {
            const Place& q = vEntry[i].place;
            best.take(vEntry[i], sqLengthOf({q[0] - p[0], q[1] - p[1], q[2] - p[2]}));
        }
        return;
    }
    const std::size_t mid = middleOf(begin, end);
    const double toLow = sqDistance(p, vBox[2 * node + 1]);
    const double toHigh = sqDistance(p, vBox[2 * node + 2]);
    const auto searchLow = [&] {
        if (best.isWorthwhile(toLow)) search(2 * node + 1, begin, mid, p, best);
    };
    const auto searchHigh = [&] {
        if (best.isWorthwhile(toHigh)) search(2 * node + 2, mid, end, p, best);
    };
    if (toHigh < toLow) {
        searchHigh();
        searchLow();
    } else {
        searchLow();
        searchHigh();
    }
}

}  // namespace TARN_KEL
