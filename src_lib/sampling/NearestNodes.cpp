// A search starts at the top and keeps the boxes that are still to be opened on a stack, the nearest on top. Nodes are
// collected until there are twice as many as are wanted; then the farther half is dropped, and the farthest of the others is
// from then on the reach beyond which boxes and nodes are skipped. That costs less than keeping a heap in order. The stack
// holds at most GROUP - 1 boxes for each of the eight levels that 2^32 nodes need, and one more.
#include "NearestNodes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "codes.h"
#include "gapLimits.h"
#include "radixSort.h"

namespace TARN_KEL {

struct NearestNodes::Search {
    const Vector3& centre;
    NodeId self;
    std::size_t count;
    std::vector<NearNode>& vBest;  // the best so far and fewer than `count` others
    float sqReach;                 // at least `count` nodes are within it, if it is finite

    bool isWithin(double sqDistance) const { return static_cast<float>(sqDistance) <= sqReach; }
    void offer(double sqDistance, NodeId node) {
        if (!isWithin(sqDistance)) return;
        vBest.emplace_back(sqDistance, node);
        if (vBest.size() >= 2 * count) dropFarthest();
    }
    void dropFarthest() {
        const auto itLast = vBest.begin() + static_cast<std::ptrdiff_t>(count) - 1;
        std::nth_element(vBest.begin(), itLast, vBest.end());
        sqReach = itLast->sqDistance();
        vBest.erase(itLast + 1, vBest.end());
    }
};

NearestNodes::NearestNodes(const SampleNodes& nodes) : vRank(nodes.size()) {
    std::vector<std::pair<CCD, NodeId>> vOrder(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i)
        vOrder[i] = {Morton(Packed(nodes.vCell[i])).code(), static_cast<NodeId>(i)};
    radixSortByCode(vOrder);
    vPlace.reserve(nodes.size());
    for (const auto& [ccd, node] : vOrder) {
        vRank[node] = static_cast<NodeId>(vPlace.size());
        vPlace.push_back({nodes.vPlace[node], node});
    }
    const auto groupsOf = [](const auto& vMember, const auto& widenBy) {
        std::vector<Bbox3> vBox;
        for (std::size_t i = 0; i < vMember.size(); ++i) {
            if (i % GROUP == 0) vBox.emplace_back();
            widenBy(vMember[i], vBox.back());
        }
        return vBox;
    };
    const auto byPlace = [](const Place& p, Bbox3& box) { box.widen(p.place.x(), p.place.y(), p.place.z()); };
    const auto byBox = [](const Bbox3& inside, Bbox3& box) { box.widen(inside); };
    if (!vPlace.empty()) vLevels.push_back(groupsOf(vPlace, byPlace));
    while (!vLevels.empty() && vLevels.back().size() > 1)
        vLevels.push_back(groupsOf(vLevels.back(), byBox));
}

void NearestNodes::offerGroup(std::size_t group, Search& search) const {
    const std::size_t end = std::min((group + 1) * GROUP, vPlace.size());
    for (std::size_t i = group * GROUP; i < end; ++i)
        if (vPlace[i].node != search.self) search.offer((vPlace[i].place - search.centre).sqLength(), vPlace[i].node);
}

void NearestNodes::find(NodeId node, std::size_t count, std::vector<NearNode>& vOut, double reach) const {
    struct Open {
        double sqDistance;
        std::size_t level, box;
    };
    vOut.clear();
    if (count == 0 || vLevels.empty()) return;
    Search search{vPlace[vRank[node]].place, node, count, vOut, static_cast<float>(reach * reach)};
    std::array<Open, 9 * GROUP> stack;
    std::size_t numOpen = 1;
    stack[0] = {0.0, vLevels.size() - 1, 0};
    while (numOpen > 0) {
        const Open open = stack[--numOpen];
        if (!search.isWithin(open.sqDistance)) continue;
        if (open.level == 0) {
            offerGroup(open.box, search);
            continue;
        }
        const Vector3& centre = search.centre;
        const std::vector<Bbox3>& vInside = vLevels[open.level - 1];
        const std::size_t first = numOpen, end = std::min((open.box + 1) * GROUP, vInside.size());
        for (std::size_t i = open.box * GROUP; i < end; ++i) {
            const double sqDistance = vInside[i].sqDistance(centre.x(), centre.y(), centre.z());
            if (search.isWithin(sqDistance)) stack[numOpen++] = {sqDistance, open.level - 1, i};
        }
        std::sort(stack.begin() + static_cast<std::ptrdiff_t>(first), stack.begin() + static_cast<std::ptrdiff_t>(numOpen),
                  [](const Open& a, const Open& b) {
                      return a.sqDistance != b.sqDistance ? a.sqDistance > b.sqDistance : a.box > b.box;
                  });
    }
    if (vOut.size() > count) search.dropFarthest();
    std::sort(vOut.begin(), vOut.end());
}

NearestWalk::NearestWalk(const NearestNodes& nearest_, const SampleNodes& nodes_)
    : nearest(nearest_), nodes(nodes_), walk(nodes_.vCell) {}

double NearestWalk::gather(NodeId node, std::vector<NearNode>& vOut) {
    vOut.clear();
    walk.visitBlock(nodes.vCell[node], [&](int, std::size_t i) {
        const double sqDistance = (nodes.vPlace[i] - nodes.vPlace[node]).sqLength();
        if (i != node && sqDistance < RADIUS * RADIUS) vOut.emplace_back(sqDistance, static_cast<NodeId>(i));
    });
    return vOut.size() >= NUM_NEAR ? RADIUS : gatherFar(node, vOut);
}

double NearestWalk::gatherFar(NodeId node, std::vector<NearNode>& vOut) {
    const Vector3& place = nodes.vPlace[node];
    nearest.find(node, NUM_FAR, vOut, likelyReach(place));
    if (vOut.size() < NUM_FAR) nearest.find(node, NUM_FAR, vOut, knownReach(place));
    if (vOut.empty()) return 0.0;
    const double reach = std::sqrt(vOut.back().sqDistance());
    if (vOut.size() == NUM_FAR) aEarlier[nextEarlier++ % NUM_EARLIER] = {place, reach};
    return reach;
}

/// As far as the nearest earlier one had to look, and a little farther: a quarter more area, which is enough as a rule and
/// less to look through than what is known to do.
double NearestWalk::likelyReach(const Vector3& place) const {
    constexpr double FARTHER = 1.12;
    const auto wayTo = [&](const Earlier& earlier) { return (place - earlier.place).sqLength(); };
    const Earlier* pNearest = nullptr;
    for (const Earlier& earlier : aEarlier)
        if (std::isfinite(earlier.reach) && (pNearest == nullptr || wayTo(earlier) < wayTo(*pNearest))) pNearest = &earlier;
    return pNearest == nullptr ? 0.0 : FARTHER * pNearest->reach;
}

/// Nodes within the reach of another place are as near as that and the way there together.
double NearestWalk::knownReach(const Vector3& place) const {
    constexpr double ROUNDING = 1.0 + 1e-5;  // squares of distances are floats
    double least = std::numeric_limits<double>::infinity();
    for (const Earlier& earlier : aEarlier)
        least = std::min(least, earlier.reach + (place - earlier.place).length());
    return ROUNDING * least;
}

void NearLists::keep(std::size_t position, const std::vector<NearNode>& vNear, double reach) {
    if (vNear.size() > NUM_FAR) return;
    List& list = vList[position];
    list.reach = reach;
    list.size = static_cast<std::uint32_t>(vNear.size());
    std::transform(vNear.begin(), vNear.end(), list.nodes.begin(), [](const NearNode& near) { return near.node(); });
}

double NearLists::recall(NodeId node, const SampleNodes& nodes, std::vector<NearNode>& vOut) const {
    vOut.clear();
    const auto it = std::lower_bound(vNode.begin(), vNode.end(), node);
    if (it == vNode.end() || *it != node) return 0.0;
    const List& list = vList[static_cast<std::size_t>(it - vNode.begin())];
    for (std::size_t i = 0; i < list.size; ++i)
        vOut.emplace_back((nodes.vPlace[list.nodes[i]] - nodes.vPlace[node]).sqLength(), list.nodes[i]);
    return list.reach;
}

}  // namespace TARN_KEL
