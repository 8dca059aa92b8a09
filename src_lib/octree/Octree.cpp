// The tree is stored flat: nodes in the order of a walk from the root that takes children in order, items in the order of
// the leaves. A node knows the node after its subtree, so a query is one loop that goes to the next node, or past a subtree
// whose box it doesn't touch; it needs no stack, and near nodes are near in memory.
//
// The items start in the order of a space-filling curve. A node is split at a point of its own: in each coordinate the
// middle of its items, or of a random sample where they are many. Its items are distributed to eight lists by their side of
// that point, each list in the order that the items had. So a point cloud of any shape gives a tree of about log n levels,
// while a split at the box's centre would follow clusters down to their size.
//
// Nodes that are still to be built are on a stack, up to eight for each level. Where a node has so few items that no sample
// is drawn, its subtree depends on these items alone: all such subtrees are left to the workers, and put in their places at
// the end.
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
#include "flood.h"
#include "sortMT.h"

namespace TARN_OCTREE {

using TARN_LOCATE3::Bbox3;

namespace {

constexpr std::uint32_t LEAF_SIZE = 4;
constexpr std::uint32_t MIN_SAMPLE = 100;

/// Items [begin, end) and their box.
struct List {
    Bbox3 box;
    std::uint32_t begin, end;

    std::uint32_t size() const { return end - begin; }
};

/// The items, and working space for each of them.
struct ItemArrays {
    explicit ItemArrays(std::vector<OctItem>& theItems) : vItem(theItems), vOctant(vItem.size()), vScratch(vItem.size()) {}

    std::vector<OctItem>& vItem;
    std::vector<unsigned char> vOctant;
    std::vector<OctItem> vScratch;
};

/// Builds subtrees, and brings their items into the order of the leaves. Several may work on different items.
class SubtreeBuilder {
public:
    explicit SubtreeBuilder(ItemArrays& arrays) : vItem(arrays.vItem), vOctant(arrays.vOctant), vScratch(arrays.vScratch) {}

    /// Appends the node of the list and those of its subtree; of a list that isLeft(list) accepts only its own.
    template <typename IsLeft>
    void build(const List& root, std::vector<OctNode>& vNode, const IsLeft& isLeft) {
        vWaiting.assign(1, root);
        TARN_KEL::workThrough(vWaiting, [&](const List& list) {
            vNode.push_back({list.box, list.begin, list.end, 0});
            if (list.size() > LEAF_SIZE && !isLeft(list)) split(list);
        });
    }

private:
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
        std::uint32_t end[8];  // of what each has so far
        for (int octant = 0; octant < 8; ++octant)
            end[octant] = vPart[octant].begin;
        for (std::uint32_t i = list.begin; i < list.end; ++i)
            vScratch[end[vOctant[i]]++] = vItem[i];
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

    std::vector<OctItem>& vItem;
    std::vector<unsigned char>& vOctant;
    std::vector<OctItem>& vScratch;
    std::vector<List> vWaiting;      // the next one last
    std::vector<double> vSample[3];  // by axis
    TARN_KEL::Random random;
};

/// The small subtrees of a tree, in its order.
class SmallSubtrees {
public:
    /// To be called for the node that was appended last.
    void note(const List& list, std::size_t node) { vSmall.push_back({list, node, 0}); }

    /// Builds them on all workers.
    void build(ItemArrays& arrays) {
        vStretch.resize((vSmall.size() + STRETCH - 1) / STRETCH);
        TARN_KEL::forChunks_MT(vStretch.size(), [&](std::size_t begin, std::size_t end) {
            SubtreeBuilder builder(arrays);
            for (std::size_t stretch = begin; stretch < end; ++stretch)
                for (std::size_t i = stretch * STRETCH; i < std::min((stretch + 1) * STRETCH, vSmall.size()); ++i) {
                    builder.build(vSmall[i].list, vStretch[stretch], [](const List&) { return false; });
                    vSmall[i].endNode = vStretch[stretch].size();
                }
        });
    }
    /// The nodes of the tree: each one of these in place of its root among vTop.
    std::vector<OctNode> joinTo(const std::vector<OctNode>& vTop) const {
        std::size_t numNodes = vTop.size();
        for (const auto& vOfStretch : vStretch)
            numNodes += vOfStretch.size();
        std::vector<OctNode> vNode;
        vNode.reserve(numNodes);
        std::size_t top = 0, begin = 0;
        for (std::size_t i = 0; i < vSmall.size(); ++i) {
            const std::vector<OctNode>& vOfStretch = vStretch[i / STRETCH];
            if (i % STRETCH == 0) begin = 0;
            appendRange(vTop, top, vSmall[i].node, vNode);
            appendRange(vOfStretch, begin, vSmall[i].endNode, vNode);
            top = vSmall[i].node + 1;
            begin = vSmall[i].endNode;
        }
        appendRange(vTop, top, vTop.size(), vNode);
        return vNode;
    }

private:
    static constexpr std::size_t STRETCH = 256;

    struct Small {
        List list;
        std::size_t node;     // its position among the nodes above
        std::size_t endNode;  // behind its nodes, in those of its stretch
    };
    static void appendRange(const std::vector<OctNode>& vFrom, std::size_t begin, std::size_t end,
                            std::vector<OctNode>& vTo) {
        vTo.insert(vTo.end(), vFrom.begin() + static_cast<std::ptrdiff_t>(begin),
                   vFrom.begin() + static_cast<std::ptrdiff_t>(end));
    }

    std::vector<Small> vSmall;
    std::vector<std::vector<OctNode>> vStretch;
};

/// From the last node to the first: the children of a node have their links when its turn comes.
void linkSubtrees(std::vector<OctNode>& vNode) {
    const auto numNodes = static_cast<std::uint32_t>(vNode.size());
    for (std::uint32_t i = numNodes; i-- > 0;) {
        std::uint32_t next = i + 1;
        while (next < numNodes && vNode[next].begin < vNode[i].end)
            next = vNode[next].afterSubtree;
        vNode[i].afterSubtree = next;
    }
}

/// Brings the items into the order of the leaves.
std::vector<OctNode> buildTree(std::vector<OctItem>& vItem, const Bbox3& box) {
    ItemArrays arrays(vItem);
    std::vector<OctNode> vTop;
    SmallSubtrees small;
    const auto isSmall = [&](const List& list) {
        if (list.size() >= MIN_SAMPLE) return false;
        small.note(list, vTop.size() - 1);
        return true;
    };
    SubtreeBuilder(arrays).build({box, 0, static_cast<std::uint32_t>(vItem.size())}, vTop, isSmall);
    small.build(arrays);
    std::vector<OctNode> vNode = small.joinTo(vTop);
    linkSubtrees(vNode);
    return vNode;
}

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
    vNode = buildTree(vItem, box);
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
    TARN_KEL::forChunks_MT(vKey.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vSorted[i] = vItem[vKey[i].second];
    });
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
