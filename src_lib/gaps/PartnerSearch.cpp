// Searches the nearest rim cell of another sheet in a tree of boxes, nearer boxes first.
#include "PartnerSearch.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace TARN_KEL {

namespace {

constexpr double WHOLE_GRID = 1e8;  // cells; no two cells are so far apart

std::int64_t square(std::int64_t v) {
    return v * v;
}
/// How far v lies outside a range.
std::int64_t outside(std::int64_t low, std::int64_t high, std::int64_t v) {
    return std::max<std::int64_t>({low - v, v - high, 0});
}

}  // namespace

PartnerSearch::PartnerSearch(const TARN_OCTREE::Octree& octree, double theSmallReach) : smallReach(theSmallReach) {
    std::vector<TARN_OCTREE::OctItem*> vOctItem;
    octree.getApproxSphereIntersectors(0.0, 0.0, 0.0, WHOLE_GRID, vOctItem);
    for (const TARN_OCTREE::OctItem* pItem : vOctItem) {
        vItem.push_back(static_cast<AffiData*>(pItem->pObject));
        vCell.push_back(cellOf(*vItem.back()));
    }
    std::vector<Node> vNode;
    for (std::size_t leaf = 0; leaf * LEAF_SIZE < vItem.size(); ++leaf)
        vNode.push_back(makeLeaf(leaf));
    while (vNode.size() > 1) {
        std::vector<Node> vUp;
        for (std::size_t i = 0; i < vNode.size(); i += 2)
            vUp.push_back(i + 1 < vNode.size() ? join(vNode[i], vNode[i + 1]) : vNode[i]);
        vLevel.push_back(std::move(vNode));
        vNode = std::move(vUp);
    }
    vLevel.push_back(std::move(vNode));
}

PartnerSearch::Cell PartnerSearch::cellOf(const AffiData& affi) {
    return {static_cast<std::int32_t>(getX_RCD(affi.rcd)), static_cast<std::int32_t>(getY_RCD(affi.rcd)),
            static_cast<std::int32_t>(getZ_RCD(affi.rcd))};
}

std::int64_t PartnerSearch::getSqDist(const AffiData& a, const AffiData& b) {
    const Cell p = cellOf(a), q = cellOf(b);
    return square(p.x - q.x) + square(p.y - q.y) + square(p.z - q.z);
}

std::int64_t PartnerSearch::getSqDist(const Node& node, const Cell& cell) {
    return square(outside(node.low.x, node.high.x, cell.x)) + square(outside(node.low.y, node.high.y, cell.y)) +
           square(outside(node.low.z, node.high.z, cell.z));
}

PartnerSearch::Node PartnerSearch::makeLeaf(std::size_t leaf) const {
    const std::size_t begin = leaf * LEAF_SIZE, end = std::min(begin + LEAF_SIZE, vItem.size());
    Node node{vCell[begin], vCell[begin], {}, {}};
    for (std::size_t i = begin; i < end; ++i) {
        const Component* pSheet = vItem[i]->pComponent;
        Node item{vCell[i], vCell[i], {}, {}};
        (isSmall(*pSheet) ? item.small : item.large).add(pSheet);
        node = join(node, item);
    }
    return node;
}

PartnerSearch::Node PartnerSearch::join(const Node& a, const Node& b) {
    Node node = a;
    node.low = {std::min(a.low.x, b.low.x), std::min(a.low.y, b.low.y), std::min(a.low.z, b.low.z)};
    node.high = {std::max(a.high.x, b.high.x), std::max(a.high.y, b.high.y), std::max(a.high.z, b.high.z)};
    node.large.add(b.large);
    node.small.add(b.small);
    return node;
}

/// Whether the node may have a nearer partner, or one that is as near and later in the order of the index.
bool PartnerSearch::mayHold(const Node& node, const AffiData& a, const Cell& cell, const Best& best) const {
    const std::int64_t sqDist = getSqDist(node, cell);
    if (sqDist > best.sqDist) return false;
    return node.large.hasOtherThan(a.pComponent) ||
           (node.small.hasOtherThan(a.pComponent) && std::sqrt(static_cast<double>(sqDist)) < smallReach);
}

void PartnerSearch::searchLeaf(std::size_t leaf, const AffiData& a, const Cell& cell, Best& best) const {
    const std::size_t begin = leaf * LEAF_SIZE, end = std::min(begin + LEAF_SIZE, vItem.size());
    for (std::size_t i = begin; i < end; ++i) {
        const Component* pSheet = vItem[i]->pComponent;
        if (pSheet == a.pComponent) continue;
        const std::int64_t sqDist = square(vCell[i].x - cell.x) + square(vCell[i].y - cell.y) + square(vCell[i].z - cell.z);
        const bool bLater = best.item == NONE || i > best.item;
        if (sqDist > best.sqDist || (sqDist == best.sqDist && !bLater)) continue;
        if (isSmall(*pSheet) && !(std::sqrt(static_cast<double>(sqDist)) < smallReach)) continue;
        best = {sqDist, i};
    }
}

AffiData* PartnerSearch::find(const AffiData& a, int maxRadius) const {
    struct Visit {
        std::size_t level, node;
    };
    if (vItem.empty()) return nullptr;
    const Cell cell = cellOf(a);
    Best best{std::min<std::int64_t>(square(maxRadius), std::numeric_limits<std::int32_t>::max()), NONE};
    Visit stack[2 * 64];  // two for each level at most
    std::size_t numVisits = 0;
    stack[numVisits++] = {vLevel.size() - 1, 0};
    while (numVisits > 0) {
        const Visit visit = stack[--numVisits];
        if (!mayHold(vLevel[visit.level][visit.node], a, cell, best)) continue;
        if (visit.level == 0) {
            searchLeaf(visit.node, a, cell, best);
            continue;
        }
        // The nearer child last, to be visited first.
        const std::vector<Node>& vBelow = vLevel[visit.level - 1];
        const std::size_t left = 2 * visit.node, right = left + 1;
        if (right == vBelow.size()) {
            stack[numVisits++] = {visit.level - 1, left};
            continue;
        }
        const bool bLeftNearer = getSqDist(vBelow[left], cell) < getSqDist(vBelow[right], cell);
        stack[numVisits++] = {visit.level - 1, bLeftNearer ? right : left};
        stack[numVisits++] = {visit.level - 1, bLeftNearer ? left : right};
    }
    return best.item == NONE ? nullptr : vItem[best.item];
}

}  // namespace TARN_KEL
