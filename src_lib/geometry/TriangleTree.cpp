// A tree of boxes over triangles. Both descents, to build and to ask, keep their stack in an array: the depth is that of
// halving, so 64 levels are more than any number of triangles needs.
#include "TriangleTree.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "flood.h"

namespace TARN_KEL {

namespace {

constexpr std::uint32_t MAX_IN_LEAF = 4;

Vector3 tripleCentre(const TrianglePlaces& t) {
    return t[0] + t[1] + t[2];
}

}  // namespace

double sqDistance(const Vector3& place, const Vector3& from, const Vector3& to) {
    const Vector3 along = to - from, way = place - from;
    const double sqLength = along.sqLength();
    const double t = sqLength > 0.0 ? std::clamp(way * along / sqLength, 0.0, 1.0) : 0.0;
    return (way - along * t).sqLength();
}

double sqDistance(const Vector3& place, const TrianglePlaces& t) {
    const Vector3 ab = t[1] - t[0], ac = t[2] - t[0], ap = place - t[0];
    const Vector3 normal = crossProduct(ab, ac);
    const double sqArea = normal.sqLength();
    if (sqArea > 0.0) {
        // Barycentric coordinates of the foot; inside when none is negative.
        const double v = crossProduct(ap, ac) * normal, w = crossProduct(ab, ap) * normal;
        if (v >= 0.0 && w >= 0.0 && v + w <= sqArea) {
            const double height = ap * normal;
            return height * height / sqArea;
        }
    }
    return std::min({sqDistance(place, t[0], t[1]), sqDistance(place, t[1], t[2]), sqDistance(place, t[2], t[0])});
}

TriangleTree::TriangleTree(std::vector<TrianglePlaces> vTriangle) : vPlaces(std::move(vTriangle)), vOrder(vPlaces.size()) {
    if (vPlaces.empty()) return;
    std::iota(vOrder.begin(), vOrder.end(), 0U);
    vNode.reserve(vPlaces.size());
    struct Open {
        std::uint32_t begin, end, parent;
    };
    constexpr std::uint32_t NO_PARENT = ~0U;
    std::vector<Open> vOpen{{0, static_cast<std::uint32_t>(vOrder.size()), NO_PARENT}};
    workThrough(vOpen, [&](const Open& open) {
        const auto [begin, end, parent] = open;
        const auto number = static_cast<std::uint32_t>(vNode.size());
        if (parent != NO_PARENT) vNode[parent].second = number;
        Node node{{}, begin, end, 0};
        TARN_LOCATE3::Bbox3 centres;
        for (std::uint32_t i = begin; i < end; ++i) {
            for (const Vector3& v : vPlaces[vOrder[i]])
                node.box.widen(v.x(), v.y(), v.z());
            const Vector3 centre = tripleCentre(vPlaces[vOrder[i]]);
            centres.widen(centre.x(), centre.y(), centre.z());
        }
        vNode.push_back(node);
        if (end - begin <= MAX_IN_LEAF) return;
        const int axis =
            Vector3(centres.maxX - centres.minX, centres.maxY - centres.minY, centres.maxZ - centres.minZ).getMaxAbsIndex();
        const std::uint32_t middle = begin + (end - begin) / 2;
        const auto less = [&](std::uint32_t a, std::uint32_t b) {
            const double ca = tripleCentre(vPlaces[a]).getCartesian(axis), cb = tripleCentre(vPlaces[b]).getCartesian(axis);
            return ca != cb ? ca < cb : a < b;
        };
        std::nth_element(vOrder.begin() + begin, vOrder.begin() + middle, vOrder.begin() + end, less);
        vOpen.push_back({middle, end, number});
        vOpen.push_back({begin, middle, NO_PARENT});  // next, so that it follows its parent
    });
}

NearestTriangle TriangleTree::nearest(const Vector3& place, const NearestTriangle& known) const {
    NearestTriangle best = known;
    if (vNode.empty()) return best;
    std::array<std::pair<double, std::uint32_t>, 64> aOpen;
    std::size_t numOpen = 0;
    const auto distanceOf = [&](std::uint32_t node) { return vNode[node].box.sqDistance(place.x(), place.y(), place.z()); };
    aOpen[numOpen++] = {distanceOf(0), 0};
    while (numOpen > 0) {
        const auto [distance, number] = aOpen[--numOpen];
        if (distance >= best.sqDistance) continue;
        const Node& node = vNode[number];
        if (node.second == 0) {
            for (std::uint32_t i = node.begin; i < node.end; ++i) {
                const double d = sqDistance(place, vPlaces[vOrder[i]]);
                if (d < best.sqDistance) best = {vOrder[i], d};
            }
            continue;
        }
        std::pair<double, std::uint32_t> near{distanceOf(number + 1), number + 1}, far{distanceOf(node.second), node.second};
        if (far.first < near.first) std::swap(near, far);
        aOpen[numOpen++] = far;
        aOpen[numOpen++] = near;
    }
    return best;
}

}  // namespace TARN_KEL
