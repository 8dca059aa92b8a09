// Counts the pairs of triangles that cross.
//
// The triangles become the leaves of a tree of boxes. Each node halves its range at the median, along the axis in which the
// centres spread most; so the tree is balanced whatever the sizes and places of the triangles are, and its nodes are
// numbered like those of a heap: the children of i are 2 i + 1 and 2 i + 2.
//
//                0: [0, n)
//         1: [0, n/2)   2: [n/2, n)          a leaf holds at most LEAF_SIZE triangles
//
// The pairs within a node are those within its children and those between them. Between two nodes whose boxes are apart
// there is none; else the larger node is replaced by its children. The first levels of this search become tasks of the pool.
#include "countCrossings.h"

#include <algorithm>
#include <functional>

#include "RMesh.h"
#include "crossing.h"
#include "flood.h"
#include "runTasks.h"

namespace TARN_KEL {

namespace {

using TARN_LOCATE3::Bbox3;

constexpr std::size_t LEAF_SIZE = 4;
constexpr std::size_t TASKS_PER_WORKER = 16;  // they are of different sizes

/// A part of the triangles, in the order of the tree.
struct Range {
    std::size_t begin, end, node;

    std::size_t size() const { return end - begin; }
    bool isLeaf() const { return size() <= LEAF_SIZE; }
    std::size_t middle() const { return begin + (size() + 1) / 2; }
    Range first() const { return {begin, middle(), 2 * node + 1}; }
    Range second() const { return {middle(), end, 2 * node + 2}; }
};

struct Item {
    std::array<double, 3> aCentre;  // doubled
    std::uint32_t triangle;
};

class CrossingCounter {
public:
    template <typename CornersOf>
    CrossingCounter(std::size_t numTriangles, const CornersOf& cornersOf) {
        enter(numTriangles, cornersOf);
        const Range root{0, vItem.size(), 0};
        vBox.resize(numNodesBelow(root.size()));
        std::vector<Range> vLower{root};
        while (2 * vLower.size() <= numTasks() && !vLower.front().isLeaf()) {
            inTasks(vLower, [this](const Range& range, int) { halve(range); });
            std::vector<Range> vNext;
            for (const Range& range : vLower)
                vNext.insert(vNext.end(), {range.first(), range.second()});
            vLower = std::move(vNext);
        }
        inTasks(vLower, [this](const Range& range, int) { order(range); });
        vCorners.resize(vItem.size());
        inTasks(vLower, [&](const Range& range, int) {
            for (std::size_t i = range.begin; i < range.end; ++i)
                vCorners[i] = cornersOf(vItem[i].triangle);
            makeBoxes(range);
        });
        for (std::size_t node = vLower.front().node; node-- > 0;)
            uniteBoxes(node);
    }

    std::size_t count(std::vector<CrossingPair>* pPairs) const;

private:
    /// Two parts whose pairs are to be looked at; those within a part when both are the same.
    using Job = std::pair<Range, Range>;
    struct Found {
        std::size_t num = 0;
        std::vector<CrossingPair> vPairs;
        bool bList = false;
    };

    static std::size_t numTasks() { return TASKS_PER_WORKER * static_cast<std::size_t>(std::max(1, numProcessors())); }
    static std::size_t numNodesBelow(std::size_t size) {
        std::size_t num = 1;
        for (; size > LEAF_SIZE; size = (size + 1) / 2)
            num = 2 * num + 1;
        return num;
    }
    template <typename Part, typename Work>
    static void inTasks(const std::vector<Part>& vPart, const Work& work) {
        std::vector<std::function<void(int)>> vTask;
        for (std::size_t i = 0; i < vPart.size(); ++i)
            vTask.emplace_back([&vPart, &work, i](int) { work(vPart[i], static_cast<int>(i)); });
        runTasks_MT(vTask);
    }

    template <typename CornersOf>
    void enter(std::size_t numTriangles, const CornersOf& cornersOf);
    void halve(const Range& range);
    void order(const Range& range);
    void makeBoxes(const Range& range);
    void uniteBoxes(std::size_t node) {
        vBox[node] = vBox[2 * node + 1];
        vBox[node].widen(vBox[2 * node + 2]);
    }
    std::vector<Job> splitJobs() const;
    void appendParts(const Job& job, std::vector<Job>& vParts) const;
    void run(const Job& job, Found& found) const;
    void compare(const Job& job, Found& found) const;

    std::vector<Item> vItem;
    std::vector<TriangleCorners> vCorners;  // in step with vItem
    std::vector<Bbox3> vBox;                // of the nodes
};

template <typename CornersOf>
void CrossingCounter::enter(std::size_t numTriangles, const CornersOf& cornersOf) {
    vItem.reserve(numTriangles);
    for (std::size_t i = 0; i < numTriangles; ++i) {
        const TriangleCorners t = cornersOf(i);
        if (!std::all_of(t.begin(), t.end(), isFinitePoint)) continue;
        const Bbox3 box = boxOf(t);
        vItem.push_back({{box.minX + box.maxX, box.minY + box.maxY, box.minZ + box.maxZ}, static_cast<std::uint32_t>(i)});
    }
}

void CrossingCounter::halve(const Range& range) {
    const auto at = [this](std::size_t i) { return vItem.begin() + static_cast<std::ptrdiff_t>(i); };
    Bbox3 box;
    for (auto it = at(range.begin); it != at(range.end); ++it)
        box.widen(it->aCentre[0], it->aCentre[1], it->aCentre[2]);
    const double x = box.maxX - box.minX, y = box.maxY - box.minY, z = box.maxZ - box.minZ;
    const std::size_t axis = x >= y && x >= z ? 0 : (y >= z ? 1 : 2);
    std::nth_element(at(range.begin), at(range.middle()), at(range.end), [axis](const Item& a, const Item& b) {
        if (a.aCentre[axis] != b.aCentre[axis]) return a.aCentre[axis] < b.aCentre[axis];
        return a.triangle < b.triangle;
    });
}

// As deep as the tree, like the functions below: log n.
void CrossingCounter::order(const Range& range) {
    if (range.isLeaf()) return;
    halve(range);
    order(range.first());
    order(range.second());
}

void CrossingCounter::makeBoxes(const Range& range) {
    if (range.isLeaf()) {
        for (std::size_t i = range.begin; i < range.end; ++i)
            vBox[range.node].widen(boxOf(vCorners[i]));
        return;
    }
    makeBoxes(range.first());
    makeBoxes(range.second());
    uniteBoxes(range.node);
}

std::size_t CrossingCounter::count(std::vector<CrossingPair>* pPairs) const {
    const std::vector<Job> vJob = splitJobs();
    std::vector<Found> vFound(vJob.size());
    inTasks(vJob, [&](const Job& job, int i) {
        Found found;
        found.bList = pPairs != nullptr;
        run(job, found);
        vFound[static_cast<std::size_t>(i)] = std::move(found);
    });
    if (pPairs != nullptr) pPairs->clear();
    std::size_t num = 0;
    for (const Found& found : vFound) {
        num += found.num;
        if (pPairs != nullptr) pPairs->insert(pPairs->end(), found.vPairs.begin(), found.vPairs.end());
    }
    if (pPairs != nullptr) std::sort(pPairs->begin(), pPairs->end());
    return num;
}

/// The whole search, cut into parts of similar sizes.
std::vector<CrossingCounter::Job> CrossingCounter::splitJobs() const {
    const Range root{0, vItem.size(), 0};
    std::vector<Job> vJob{{root, root}};
    const std::size_t largest = vItem.size() / numTasks() + 1;
    for (std::size_t i = 0; i < vJob.size();) {
        const Job job = vJob[i];
        if (job.first.size() <= std::max(largest, LEAF_SIZE)) {
            ++i;
            continue;
        }
        vJob[i] = vJob.back();
        vJob.pop_back();
        appendParts(job, vJob);
    }
    return vJob;
}

/// What a job consists of; nothing where the boxes are apart. The first part of a job isn't the smaller one, and is no leaf.
void CrossingCounter::appendParts(const Job& job, std::vector<Job>& vParts) const {
    const auto& [large, small] = job;
    const auto appendPair = [&](const Range& a, const Range& b) {
        if (vBox[a.node].intersects(vBox[b.node])) vParts.push_back(a.size() >= b.size() ? Job{a, b} : Job{b, a});
    };
    const Range first = large.first(), second = large.second();
    if (large.node == small.node) {
        vParts.emplace_back(first, first);
        vParts.emplace_back(second, second);
        appendPair(first, second);
    } else {
        appendPair(first, small);
        appendPair(second, small);
    }
}

// By a stack of its own: three parts for each level at most.
void CrossingCounter::run(const Job& job, Found& found) const {
    std::vector<Job> vOpen{job};
    workThrough(vOpen, [&](const Job& next) {
        if (next.first.isLeaf())
            compare(next, found);
        else
            appendParts(next, vOpen);
    });
}

/// Two leaves.
void CrossingCounter::compare(const Job& job, Found& found) const {
    const auto& [a, b] = job;
    const Bbox3& boxOfB = vBox[b.node];
    std::array<Bbox3, LEAF_SIZE> aBox;
    for (std::size_t j = b.begin; j < b.end; ++j)
        aBox[j - b.begin] = boxOf(vCorners[j]);
    for (std::size_t i = a.begin; i < a.end; ++i) {
        const Bbox3 box = boxOf(vCorners[i]);
        if (!box.intersects(boxOfB)) continue;
        for (std::size_t j = a.node == b.node ? i + 1 : b.begin; j < b.end; ++j) {
            if (!box.intersects(aBox[j - b.begin]) || !areCrossing(vCorners[i], vCorners[j])) continue;
            ++found.num;
            if (found.bList) found.vPairs.emplace_back(std::minmax(vItem[i].triangle, vItem[j].triangle));
        }
    }
}

}  // namespace

std::size_t countCrossings(const std::vector<Point3>& vPoints, const std::vector<IndexTriple>& vTriangles,
                           std::vector<CrossingPair>* pPairs) {
    const auto cornersOf = [&](std::size_t i) -> TriangleCorners {
        const IndexTriple& t = vTriangles[i];
        return {vPoints[t[0]], vPoints[t[1]], vPoints[t[2]]};
    };
    return CrossingCounter(vTriangles.size(), cornersOf).count(pPairs);
}

std::size_t countCrossings(const RMesh& mesh, std::vector<CrossingPair>* pPairs) {
    std::vector<RTriangle*> vAlive;
    mesh.getAliveTriangles(vAlive);
    const auto cornersOf = [&](std::size_t i) -> TriangleCorners {
        const RTriangle& rt = *vAlive[i];
        return {*rt.aCorners[0], *rt.aCorners[1], *rt.aCorners[2]};
    };
    return CrossingCounter(vAlive.size(), cornersOf).count(pPairs);
}

}  // namespace TARN_KEL
