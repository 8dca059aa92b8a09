// Builds the tree of boxes level by level, and collects the boxes that intersect a box.
#include "tarn_locate3/RTree.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "curve/GSS_HC3.h"
#include "radixSort.h"
#include "tools.h"

namespace TARN_LOCATE3 {

namespace {

constexpr std::size_t LEAF_SIZE = 2;
constexpr std::size_t NUM_CHILDREN = 8;

Bbox3 boxOf(const Item& item) {
    return {item.xmin, item.ymin, item.zmin, item.xmax, item.ymax, item.zmax};
}

/// The nodes over n elements, size of them each, the last one perhaps over fewer; boxOfElement(i) is the box of element i.
template <typename BoxOfElement>
std::vector<Node> groupInOrder(std::size_t n, std::size_t size, const BoxOfElement& boxOfElement) {
    std::vector<Node> vNode;
    vNode.reserve((n + size - 1) / size);
    for (std::size_t first = 0; first < n; first += size) {
        Node node{Bbox3(), first, std::min(first + size, n) - 1};
        for (std::size_t i = node.first; i <= node.last; ++i)
            node.box.widen(boxOfElement(i));
        vNode.push_back(node);
    }
    return vNode;
}

}  // namespace

void RTree::addObject(void* p, double xmin, double ymin, double zmin, double xmax, double ymax, double zmax) {
    ASSEX(xmin<=xmax);
    ASSEX(ymin<=ymax);
    ASSEX(zmin<=zmax);
    vItem.push_back({p, xmin, ymin, zmin, xmax, ymax, zmax});
    bounds.widen(boxOf(vItem.back()));
}

void RTree::finish() {
    vLevel.clear();
    if (vItem.empty()) return;
    sortAlongCurve();
    vLevel.push_back(groupInOrder(vItem.size(), LEAF_SIZE, [this](std::size_t i) { return boxOf(vItem[i]); }));
    while (vLevel.back().size() > 1) {
        const std::vector<Node>& vBelow = vLevel.back();
        vLevel.push_back(groupInOrder(vBelow.size(), NUM_CHILDREN, [&vBelow](std::size_t i) { return vBelow[i].box; }));
    }
}

void RTree::sortAlongCurve() {
    const TARN_OCTREE::GSS_HC3 curve(bounds.minX, bounds.minY, bounds.minZ, bounds.maxX, bounds.maxY, bounds.maxZ, 30);
    std::vector<std::pair<unsigned, Item>> vKeyItem;
    vKeyItem.reserve(vItem.size());
    for (const Item& item : vItem)
        vKeyItem.emplace_back(curve.iReset(0.5 * item.xmin + 0.5 * item.xmax, 0.5 * item.ymin + 0.5 * item.ymax,
                                           0.5 * item.zmin + 0.5 * item.zmax),
                              item);
    TARN_KEL::radixSortByCode(vKeyItem);
    std::transform(vKeyItem.begin(), vKeyItem.end(), vItem.begin(), [](const auto& keyItem) { return keyItem.second; });
}

void RTree::getBBIntersectedItems(const Bbox3& box, std::vector<Item*>& vResult) {
    if (vLevel.empty()) finish();
    if (!vLevel.empty()) collect(vLevel.size() - 1, 0, box, vResult);
}

// As deep as the tree has levels: an eighth of the nodes each.
void RTree::collect(std::size_t level, std::size_t iNode, const Bbox3& box, std::vector<Item*>& vResult) {
    const Node& node = vLevel[level][iNode];
    if (!node.box.intersects(box)) return;
    for (std::size_t i = node.first; i <= node.last; ++i) {
        if (level > 0)
            collect(level - 1, i, box, vResult);
        else if (boxOf(vItem[i]).intersects(box))
            vResult.push_back(&vItem[i]);
    }
}

void RTree::getBounds(double& xmin, double& ymin, double& zmin, double& xmax, double& ymax, double& zmax) const {
    xmin = bounds.minX;
    ymin = bounds.minY;
    zmin = bounds.minZ;
    xmax = bounds.maxX;
    ymax = bounds.maxY;
    zmax = bounds.maxZ;
}

}  // namespace TARN_LOCATE3
