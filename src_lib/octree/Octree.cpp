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
// the end. Above them one node follows the other, as all samples are of one sequence of random numbers; but the workers
// share in the distribution of a long list, piece by piece.
#include "octree/Octree.h"

#include <algorithm>
#include <array>
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
    std::uint32_t begin = 0, end = 0;

    std::uint32_t size() const { return end - begin; }
};

using Octants = std::array<List, 8>;

/// The items, and working space for each of them.
struct ItemArrays {
    explicit ItemArrays(OctItems& theItems) : vItem(theItems), vOctant(vItem.size()), vScratch(vItem.size()) {}

    OctItems& vItem;
    TARN_KEL::FreshVector<unsigned char> vOctant;
    OctItems vScratch;
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
    /// A part of a long list, for one worker: first its items, octant by octant, then the places that these get.
    struct Piece {
        std::uint32_t begin, end;
        Octants aPart;
    };
    static constexpr std::uint32_t PIECE_SIZE = 16384;

    // Leaves the list as it is when all items are on one side of the split point.
    void split(const List& list) {
        cutIntoPieces(list);
        const OctItem middle = splitPoint(list);
        forPieces([&](Piece& piece) { assignOctants(middle, piece); });
        const Octants aPart = placeOctants(list.begin);
        if (std::any_of(aPart.begin(), aPart.end(), [&](const List& part) { return part.size() == list.size(); })) return;
        forPieces([&](Piece& piece) { distribute(piece); });
        forPieces([&](Piece& piece) {
            std::copy(vScratch.data() + piece.begin, vScratch.data() + piece.end, vItem.data() + piece.begin);
        });
        for (int octant = 7; octant >= 0; --octant)
            if (const List& part = aPart[static_cast<std::size_t>(octant)]; part.size() != 0) vWaiting.push_back(part);
    }

    void cutIntoPieces(const List& list) {
        vPiece.clear();
        for (std::uint32_t begin = list.begin, end = begin; begin != list.end; begin = end) {
            end = begin + std::min(PIECE_SIZE, list.end - begin);
            vPiece.push_back({begin, end, {}});
        }
    }
    /// A single piece is worked on by the calling thread, which may be a worker.
    template <typename Work>
    void forPieces(const Work& work) {
        if (vPiece.size() == 1)
            work(vPiece.front());
        else
            TARN_KEL::forEach_MT(vPiece, work);
    }

    // Notes the octant of each item, and collects the octants' boxes and sizes (as ranges that start at 0).
    void assignOctants(const OctItem& middle, Piece& piece) {
        for (std::uint32_t i = piece.begin; i < piece.end; ++i) {
            const OctItem& item = vItem[i];
            const int octant = (item.x < middle.x ? 1 : 0) + (item.y < middle.y ? 2 : 0) + (item.z < middle.z ? 4 : 0);
            vOctant[i] = static_cast<unsigned char>(octant);
            List& part = piece.aPart[vOctant[i]];
            part.box.widen(item.x, item.y, item.z);
            ++part.end;
        }
    }

    // One octant follows the other, and in each of them one piece the other. Returns the whole octants.
    Octants placeOctants(std::uint32_t begin) {
        Octants aWhole;
        for (std::size_t octant = 0; octant < aWhole.size(); ++octant) {
            List& whole = aWhole[octant];
            whole.begin = begin;
            for (Piece& piece : vPiece) {
                List& part = piece.aPart[octant];
                const std::uint32_t size = part.size();
                part.begin = begin;
                part.end = begin += size;
                whole.box.widen(part.box);
            }
            whole.end = begin;
        }
        return aWhole;
    }

    void distribute(Piece& piece) {
        for (std::uint32_t i = piece.begin; i < piece.end; ++i)
            vScratch[piece.aPart[vOctant[i]].begin++] = vItem[i];
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

    OctItems& vItem;
    TARN_KEL::FreshVector<unsigned char>& vOctant;
    OctItems& vScratch;
    std::vector<List> vWaiting;      // the next one last
    std::vector<Piece> vPiece;       // of the list that is split
    std::vector<double> vSample[3];  // by axis
    TARN_KEL::Random random;
};

using Nodes = TARN_KEL::FreshVector<OctNode>;

/// Links a node of a tree that ends before endOfTree. All nodes of its subtree have their links.
void linkNode(std::uint32_t i, std::uint32_t endOfTree, Nodes& vNode) {
    std::uint32_t next = i + 1;
    while (next < endOfTree && vNode[next].begin < vNode[i].end)
        next = vNode[next].afterSubtree;
    vNode[i].afterSubtree = next;
}

/// The small subtrees of a tree, in its order.
class SmallSubtrees {
public:
    /// To be called for the node that was appended last.
    void note(const List& list, std::size_t node) { vSmall.push_back({list, node, 0}); }

    /// Builds them on all workers.
    void build(ItemArrays& arrays) {
        vStretch.resize(vSmall.size() / STRETCH + 1);
        TARN_KEL::forChunks_MT(vStretch.size(), [&](std::size_t begin, std::size_t end) {
            SubtreeBuilder builder(arrays);
            for (std::size_t i = begin * STRETCH; i < std::min(end * STRETCH, vSmall.size()); ++i) {
                std::vector<OctNode>& vNode = vStretch[i / STRETCH];
                builder.build(vSmall[i].list, vNode, [](const List&) { return false; });
                vSmall[i].endNode = vNode.size();
            }
        });
        vNumBefore.assign(1, 0);
        for (const auto& vNode : vStretch)
            vNumBefore.push_back(vNumBefore.back() + vNode.size());
    }
    /// The nodes of the tree, linked: each of these subtrees in place of its root among vTop. On all workers.
    Nodes joinTo(const std::vector<OctNode>& vTop) const {
        Nodes vNode(vTop.size() + numNodesBelow(vSmall.size()));
        const auto place = [&](std::size_t i) {
            const auto first = static_cast<std::uint32_t>(vSmall[i].node + numNodesBelow(i));
            const auto end = static_cast<std::uint32_t>(first + size(i));
            const OctNode* const pNodes = vStretch[i / STRETCH].data() + vSmall[i].endNode - size(i);
            std::copy(pNodes, pNodes + size(i), vNode.data() + first);
            for (std::uint32_t node = end; node-- > first;)
                linkNode(node, end, vNode);
        };
        TARN_KEL::forChunks_MT(vSmall.size(), [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                place(i);
        });
        linkTop(vTop, vNode);
        return vNode;
    }

private:
    static constexpr std::size_t STRETCH = 256;

    struct Small {
        List list;
        std::size_t node;     // its position among the nodes above
        std::size_t endNode;  // behind its nodes, in those of its stretch
    };
    std::size_t size(std::size_t i) const { return vSmall[i].endNode - (i % STRETCH == 0 ? 0 : vSmall[i - 1].endNode); }
    /// Of the subtrees before the i-th one, without their roots.
    std::size_t numNodesBelow(std::size_t i) const {
        const std::size_t numInStretch = i % STRETCH == 0 ? 0 : vSmall[i - 1].endNode;
        return vNumBefore[i / STRETCH] + numInStretch - i;
    }
    /// Puts the nodes that are no roots of these subtrees in their places, and links them.
    void linkTop(const std::vector<OctNode>& vTop, Nodes& vNode) const {
        for (std::size_t top = vTop.size(), i = vSmall.size(); top-- > 0;) {
            if (i > 0 && vSmall[i - 1].node == top) {
                --i;
                continue;
            }
            const auto place = static_cast<std::uint32_t>(top + numNodesBelow(i));
            vNode[place] = vTop[top];
            linkNode(place, static_cast<std::uint32_t>(vNode.size()), vNode);
        }
    }

    std::vector<Small> vSmall;
    std::vector<std::vector<OctNode>> vStretch;
    std::vector<std::size_t> vNumBefore;  // nodes of all stretches before each one; the sum of all last
};

/// Brings the items into the order of the leaves.
Nodes buildTree(OctItems& vItem, const Bbox3& box) {
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
    return small.joinTo(vTop);
}

}  // namespace

void Octree::addObject(void* p, double x, double y, double z) {
    vItem.push_back({p, x, y, z});
}

std::span<OctItem> Octree::addObjects(std::size_t num) {
    vItem.resize(vItem.size() + num);
    return std::span(vItem).last(num);
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
    struct Key {
        unsigned onCurve;
        std::uint32_t item;
    };
    TARN_KEL::FreshVector<Key> vKey(vItem.size());
    TARN_KEL::forChunks_MT(vItem.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vKey[i] = {curve.iReset(vItem[i].x, vItem[i].y, vItem[i].z), static_cast<std::uint32_t>(i)};
    });
    const auto codeOf = [](const Key& key) { return TARN_KEL::radixCode(key.onCurve); };
    TARN_KEL::radixSortOnThreads(vKey.data(), vKey.size(), codeOf, TARN_KEL::numProcessors());
    OctItems vSorted(vItem.size());
    TARN_KEL::forChunks_MT(vKey.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vSorted[i] = vItem[vKey[i].item];
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
