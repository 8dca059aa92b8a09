// The tree is stored flat: nodes in the order of a walk from the root that takes children in order, items in the order of
// the leaves. A node knows the node after its subtree, so a query is one loop that goes to the next node, or past a subtree
// whose box it doesn't touch; it needs no stack, and near nodes are near in memory.
//
// The items start in the order of a space-filling curve. A node is split at a point of its own: in each coordinate the
// middle of its items, or of a random sample where they are many. Its items are distributed to eight lists by their side of
// that point, each list in the order that the items had. So a point cloud of any shape gives a tree of about log n levels,
// while a split at the box's centre would follow clusters down to their size.
//
// Nodes that are still to be built are on a stack, up to eight for each level.
#include "octree/Octree.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <queue>
#include <utility>

#include "Random.h"
#include "curve/GSS_HC3.h"
#include "sortMT.h"

namespace TARN_OCTREE {

using TARN_LOCATE3::Bbox3;

namespace {

/// Makes the nodes and brings the items into the order of the leaves.
class TreeBuilder {
public:
    TreeBuilder(std::vector<OctItem>& vItem_, std::vector<OctNode>& vNode_)
        : vItem(vItem_), vNode(vNode_), vOctant(vItem.size()), vScratch(vItem.size()) {}

    void run(const Bbox3& box) {
        vWaiting.push_back({box, 0, static_cast<std::uint32_t>(vItem.size())});
        while (!vWaiting.empty()) {
            const List list = vWaiting.back();
            vWaiting.pop_back();
            vNode.push_back({list.box, list.begin, list.end, 0});
            if (list.size() > LEAF_SIZE) split(list);
        }
        linkSubtrees();
    }

private:
    static constexpr std::uint32_t LEAF_SIZE = 4;
    static constexpr std::uint32_t MIN_SAMPLE = 100;

    /// Items [begin, end) and their box.
    struct List {
        Bbox3 box;
        std::uint32_t begin, end;

        std::uint32_t size() const { return end - begin; }
    };

    // Leaves the list as it is when all items are on one side of the split point.
    void split(const List& list) {
        List vPart[8];
        assignOctants(list, vPart);
        if (std::any_of(vPart, vPart + 8, [&](const List& part) { return part.size() == list.size(); })) return;
        std::uint32_t end = list.begin;
        for (List& part : vPart) {
            const std::uint32_t size = part.size();
            part.begin = end;
            part.end = end += size;
        }
        distribute(list, vPart);
        for (int octant = 7; octant >= 0; --octant)
            if (vPart[octant].size() != 0) vWaiting.push_back(vPart[octant]);
    }

    // Notes the octant of each item, and collects the octants' boxes and sizes (as ranges that start at 0).
    void assignOctants(const List& list, List* vPart) {
        const OctItem middle = splitPoint(list);
        for (int octant = 0; octant < 8; ++octant)
            vPart[octant] = {Bbox3(), 0, 0};
        for (std::uint32_t i = list.begin; i < list.end; ++i) {
            const OctItem& item = vItem[i];
            const int octant = (item.x < middle.x ? 1 : 0) + (item.y < middle.y ? 2 : 0) + (item.z < middle.z ? 4 : 0);
            vOctant[i] = static_cast<unsigned char>(octant);
            vPart[octant].box.widen(item.x, item.y, item.z);
            ++vPart[octant].end;
        }
    }

    void distribute(const List& list, const List* vPart) {
        std::uint32_t place[8];
        for (int octant = 0; octant < 8; ++octant)
            place[octant] = vPart[octant].begin;
        for (std::uint32_t i = list.begin; i < list.end; ++i)
            vScratch[place[vOctant[i]]++] = vItem[i];
        std::copy(vScratch.begin() + list.begin, vScratch.begin() + list.end, vItem.begin() + list.begin);
    }

    OctItem splitPoint(const List& list) {
        const std::uint32_t n = list.size();
        const std::uint32_t numSamples = std::max(MIN_SAMPLE, static_cast<std::uint32_t>(std::sqrt(n)));
        for (auto& vCoord : vSample)
            vCoord.clear();
        if (n < numSamples)
            for (std::uint32_t i = 0; i < n; ++i)
                addSample(vItem[list.begin + i]);
        else
            for (std::uint32_t i = 0; i < numSamples; ++i)
                addSample(vItem[list.begin + static_cast<std::uint32_t>(random.next()) % n]);
        return {nullptr, middleOf(vSample[0]), middleOf(vSample[1]), middleOf(vSample[2])};
    }
    void addSample(const OctItem& item) {
        vSample[0].push_back(item.x);
        vSample[1].push_back(item.y);
        vSample[2].push_back(item.z);
    }
    static double middleOf(std::vector<double>& vCoord) {
        const auto itMiddle = vCoord.begin() + static_cast<std::ptrdiff_t>(vCoord.size() / 2);
        std::nth_element(vCoord.begin(), itMiddle, vCoord.end());
        return *itMiddle;
    }

    // From the last node to the first: the children of a node have their links when its turn comes.
    void linkSubtrees() {
        const auto numNodes = static_cast<std::uint32_t>(vNode.size());
        for (std::uint32_t i = numNodes; i-- > 0;) {
            std::uint32_t next = i + 1;
            while (next < numNodes && vNode[next].begin < vNode[i].end)
                next = vNode[next].afterSubtree;
            vNode[i].afterSubtree = next;
        }
    }

    std::vector<OctItem>& vItem;
    std::vector<OctNode>& vNode;
    std::vector<List> vWaiting;          // the next one last
    std::vector<unsigned char> vOctant;  // by item
    std::vector<OctItem> vScratch;       // by item
    std::vector<double> vSample[3];      // by axis
    TARN_KEL::Random random;
};

}  // namespace

void Octree::addObject(void* p, double x, double y, double z) {
    vItem.push_back({p, x, y, z});
}

void Octree::finish() {
    Bbox3 box;
    for (const OctItem& item : vItem)
        box.widen(item.x, item.y, item.z);
    sortAlongCurve(box);
    vNode.clear();
    TreeBuilder(vItem, vNode).run(box);
}

void Octree::sortAlongCurve(const Bbox3& box) {
    const GSS_HC3 curve(box.minX, box.minY, box.minZ, box.maxX, box.maxY, box.maxZ, 27);
    std::vector<std::pair<unsigned, std::uint32_t>> vKey(vItem.size());
    TARN_KEL::forChunks_MT(vItem.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vKey[i] = {curve.iReset(vItem[i].x, vItem[i].y, vItem[i].z), static_cast<std::uint32_t>(i)};
    });
    TARN_KEL::radixSortByCode(vKey);
    std::vector<OctItem> vSorted(vItem.size());
    for (std::size_t i = 0; i < vKey.size(); ++i)
        vSorted[i] = vItem[vKey[i].second];
    vItem.swap(vSorted);
}

template <typename IsNear, typename VisitLeaf>
void Octree::forLeaves(const IsNear& isNear, const VisitLeaf& visitLeaf) const {
    const auto numNodes = static_cast<std::uint32_t>(vNode.size());
    // The caller may change the items, but not the tree.
    OctItem* pItems = const_cast<OctItem*>(vItem.data());
    for (std::uint32_t i = 0; i < numNodes;) {
        const OctNode& node = vNode[i];
        if (!isNear(node.box)) {
            i = node.afterSubtree;
            continue;
        }
        if (node.afterSubtree == ++i) visitLeaf(pItems + node.begin, pItems + node.end);
    }
}

void Octree::getSphereIntersectors(double x, double y, double z, double r, std::vector<OctItem*>& vItems) const {
    if (!(r >= 0.0)) return;
    const double sqRadius = r * r;
    // A box is no farther than what is in it, in rounded numbers as well: each of its differences is no larger.
    const auto isNear = [&](const Bbox3& box) { return box.sqDistance(x, y, z) <= sqRadius; };
    forLeaves(isNear, [&](OctItem* pBegin, OctItem* pEnd) {
        for (OctItem* p = pBegin; p != pEnd; ++p) {
            const double dx = p->x - x, dy = p->y - y, dz = p->z - z;
            if (dx * dx + dy * dy + dz * dz <= sqRadius) vItems.push_back(p);
        }
    });
}

void Octree::getApproxSphereIntersectors(double x, double y, double z, double r, std::vector<OctItem*>& vItems) const {
    if (!(r >= 0.0)) return;
    const Bbox3 sphereBox(x - r, y - r, z - r, x + r, y + r, z + r);
    const auto isNear = [&](const Bbox3& box) { return box.intersects(sphereBox); };
    forLeaves(isNear, [&](OctItem* pBegin, OctItem* pEnd) {
        for (OctItem* p = pBegin; p != pEnd; ++p)
            vItems.push_back(p);
    });
}

// Nearest boxes first: what is left when they are farther than the nearest item needn't be looked at.
double Octree::getNearestDistance(double x, double y, double z) const {
    double nearest = std::numeric_limits<double>::infinity();  // squared
    using DistanceNode = std::pair<double, std::uint32_t>;
    std::priority_queue<DistanceNode, std::vector<DistanceNode>, std::greater<>> queue;
    if (!vNode.empty()) queue.emplace(0.0, 0);
    for (; !queue.empty() && queue.top().first < nearest;) {
        const std::uint32_t i = queue.top().second;
        const OctNode& node = vNode[i];
        queue.pop();
        for (std::uint32_t child = i + 1; child < node.afterSubtree; child = vNode[child].afterSubtree)
            queue.emplace(vNode[child].box.sqDistance(x, y, z), child);
        if (node.afterSubtree != i + 1) continue;
        for (std::uint32_t item = node.begin; item < node.end; ++item) {
            const double dx = vItem[item].x - x, dy = vItem[item].y - y, dz = vItem[item].z - z;
            nearest = std::min(nearest, dx * dx + dy * dy + dz * dz);
        }
    }
    return std::sqrt(nearest);
}

}  // namespace TARN_OCTREE
