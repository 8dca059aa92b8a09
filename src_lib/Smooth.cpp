// Nodes and their links.
//
// All points are put into a sorted list of (cell, point); a run of equal cells becomes a node at their mean. Nodes that
// share a lattice corner are linked. The order of a node's links is the fan to which its plane is fitted, so it is fixed: it
// is the order in which the pairs of nodes of each corner appear in a sorted list of (corner, node), with eight entries per
// node. That list isn't made. The first corner that a node shares with a neighbour follows from the step between their
// cells: it is the high corner on each axis where the neighbour is higher, else the low one. So the eight corners of a node,
// in order, are the eight groups of cells in LINK_GROUPS, and within a group the order is that of addresses.
//
// With the nodes sorted by cell, z fastest, the 27 cells around a node are nine short stretches of the sorted list, three
// cells each, and these only move forward from one node to the next:
//
//       row (x-1, y-1)  ...[z-1 z z+1]..............        one cursor a row, no search
//       row (x-1, y  )  .......[z-1 z z+1]..........
//       ...
#include "Smooth.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <utility>

#include "Progress.h"
#include "pointsByCode.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"
#include "wanted.h"

namespace TARN_KEL {

namespace {

using CellNode = std::pair<RCD, SNode*>;

/// A step to a neighbouring cell in two numbers: the row, 3(dx+1) + (dy+1), and dz+1.
struct LinkCell {
    std::size_t row, slot;
};

/// The cells around a node by the lowest corner of the node that they share, corners 4x + 2y + z ascending, and within a
/// corner by ascending code.
constexpr std::array<LinkCell, 27> makeLinkGroups() {
    std::array<LinkCell, 27> cells{};
    std::size_t n = 0;
    for (std::size_t corner = 0; corner < 8; ++corner)
        for (std::size_t i = 0; i < 27; ++i) {
            const std::size_t x = i / 9, y = i / 3 % 3, z = i % 3;
            const std::size_t first = (x == 2 ? 4U : 0U) + (y == 2 ? 2U : 0U) + (z == 2 ? 1U : 0U);
            if (first == corner) cells[n++] = {3 * x + y, z};
        }
    return cells;
}
constexpr std::array<LinkCell, 27> LINK_GROUPS = makeLinkGroups();
/// Where the groups end: a corner with k high axes is the lowest shared one for 2^(3-k) cells.
constexpr std::array<std::size_t, 8> LINK_GROUP_ENDS = {8, 12, 16, 18, 22, 24, 26, 27};

/// The stretches of a list sorted by cell that hold the 27 cells around a node, for nodes in ascending order of cells.
class NeighbourRows {
public:
    explicit NeighbourRows(const std::vector<CellNode>& vCellNode) : vSorted(vCellNode) { aCursor.fill(NONE); }

    void moveTo(RCD rcd) {
        for (std::size_t row = 0; row < 9; ++row) {
            const RCD column = rcd - RCD_STEP_X - RCD_STEP_Y - RCD_STEP_Z + row / 3 * RCD_STEP_X + row % 3 * RCD_STEP_Y;
            std::size_t& cursor = aCursor[row];
            if (cursor == NONE) cursor = lowerBound(column);
            while (cursor < vSorted.size() && vSorted[cursor].first < column)
                ++cursor;
            std::size_t i = cursor;
            aBegin[row][0] = i;
            for (std::size_t slot = 0; slot < 3; ++slot) {
                while (i < vSorted.size() && vSorted[i].first == column + slot)
                    ++i;
                aBegin[row][slot + 1] = i;
            }
        }
    }
    /// The nodes of a cell: positions [begin, end) of the list.
    std::size_t begin(const LinkCell& cell) const { return aBegin[cell.row][cell.slot]; }
    std::size_t end(const LinkCell& cell) const { return aBegin[cell.row][cell.slot + 1]; }
    /// The nodes in all 27 cells.
    std::size_t count() const {
        std::size_t sum = 0;
        for (const auto& row : aBegin)
            sum += row[3] - row[0];
        return sum;
    }

private:
    static constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();

    std::size_t lowerBound(RCD rcd) const {
        return static_cast<std::size_t>(findFirstFrom(vSorted.begin(), vSorted.end(), rcd) - vSorted.begin());
    }

    const std::vector<CellNode>& vSorted;
    std::array<std::size_t, 9> aCursor;  // the first node at or behind the row's lowest cell
    std::array<std::array<std::size_t, 4>, 9> aBegin{};
};

/// Writes the nodes of the 27 cells but the node itself, group by group. Returns the end of what is written.
SNode** writeLinks(const std::vector<CellNode>& vCellNode, const NeighbourRows& rows, const SNode* pSelf, SNode** pOut) {
    std::size_t cell = 0;
    for (const std::size_t groupEnd : LINK_GROUP_ENDS) {
        SNode** const pGroup = pOut;
        for (; cell < groupEnd; ++cell)
            for (std::size_t i = rows.begin(LINK_GROUPS[cell]); i < rows.end(LINK_GROUPS[cell]); ++i)
                if (vCellNode[i].second != pSelf) *pOut++ = vCellNode[i].second;
        // Addresses ascend with the cells but for nodes that were added later.
        if (!std::is_sorted(pGroup, pOut)) std::sort(pGroup, pOut);
    }
    return pOut;
}

/// Of the nodes at positions [begin, end) of the sorted list.
std::size_t countLinks(const std::vector<CellNode>& vCellNode, std::size_t begin, std::size_t end) {
    std::size_t numLinks = 0;
    NeighbourRows rows(vCellNode);
    for (std::size_t i = begin; i < end; ++i) {
        rows.moveTo(vCellNode[i].first);
        numLinks += rows.count() - 1;
    }
    return numLinks;
}

/// Links those nodes. pOut: room for as many links.
void linkStretch(const std::vector<CellNode>& vCellNode, std::size_t begin, std::size_t end, SNode** pOut) {
    NeighbourRows rows(vCellNode);
    for (std::size_t i = begin; i < end; ++i) {
        rows.moveTo(vCellNode[i].first);
        SNode* pSN = vCellNode[i].second;
        SNode** const pFirst = std::exchange(pOut, writeLinks(vCellNode, rows, pSN, pOut));
        pSN->vLinkedNodes = std::span<SNode* const>(pFirst, pOut);
    }
}

/// Where the runs of one cell begin; behind them the end of the last one.
std::vector<std::size_t> startsOfRuns(const std::vector<std::pair<RCD, Point3*>>& vCellPoint) {
    std::vector<std::size_t> vStart;
    forWanted_MT(
        firstOfRuns_MT(vCellPoint, [](const auto& cellPoint) { return cellPoint.first; }),
        [&](std::size_t numRuns) { vStart.resize(numRuns + 1, vCellPoint.size()); },
        [&](std::size_t i, std::size_t place) { vStart[place] = i; });
    return vStart;
}

/// work(number, begin, end) for each of these runs.
template <typename Work>
void forRuns_MT(const std::vector<std::size_t>& vStart, const Work& work) {
    forChunks_MT(vStart.size() - 1, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i)
            work(i, vStart[i], vStart[i + 1]);
    });
}

template <typename T>
void initPool(TARN_TOOLS::SimplePool<T>& pool, double firstSize, double numPoints) {
    const double limit = std::numeric_limits<int>::max();
    pool.init(static_cast<int>(std::min(firstSize, limit)), static_cast<int>(std::clamp(0.2 * numPoints, 100.0, limit)));
}

}  // namespace

const Vector3& SNode::getNNV() const {
    ASSEX(bHasPlane);
    return plane.getNormal();
}

Smooth::Smooth(std::vector<Point3>& vPoints, Calc* pTheCalc)
    : pvPoints(vPoints), pCalc(pTheCalc), sideLen(pTheCalc->getSideLen()), areaThresh((sideLen / 5.0) * (sideLen / 5.0)) {
    const double n = static_cast<double>(vPoints.size());
    initPool(nodePool, n, n);
    initPool(pointPool, 0.5 * n, n);
}

void Smooth::run(bool bLapTreatment) {
    ProgressStep progress("SM_run", 9);
    const auto step = [progress](auto&& work) {
        work();
        progress.advance();
    };
    step([this] { densifyLap(); });
    step([this] { createNodes(true); });
    step([this] { densifyNeigs(); });
    step([this] { relinkNodes(); });
    if (bLapTreatment) {
        step([this] { lapTreatment(); });
        step([this] { densifyNeigs(); });
        step([this] { relinkNodes(); });
    }
    step([this] { setNNVs(); });
    progress.finish();
}

SNode* Smooth::newNode(RCD rcd, Point3* pPoint, int numPoints) {
    auto* pSN = new (nodePool.nextElement()) SNode(rcd, pPoint);
    pSN->numPoints = numPoints;
    vNodes.push_back(pSN);
    return pSN;
}

// ---- Nodes --------------------------------------------------------------------------------------------------------------

void Smooth::createNodes(bool bAverage) {
    std::vector<std::pair<RCD, Point3*>> vCellPoint = pointsByCell(pvPoints, *pCalc);
    if (bAverage) averageRuns(vCellPoint);

    const std::vector<std::size_t> vStart = startsOfRuns(vCellPoint);
    const std::size_t numBefore = vNodes.size(), firstNode = nodePool.nextElements(vStart.size() - 1);
    vNodes.resize(numBefore + vStart.size() - 1);
    forRuns_MT(vStart, [&](std::size_t i, std::size_t begin, std::size_t end) {
        for (auto it = vCellPoint.begin() + static_cast<std::ptrdiff_t>(begin + 1);
             it != vCellPoint.begin() + static_cast<std::ptrdiff_t>(end); ++it)
            ASSEX(it->second==NULL);
        auto* pSN = new (nodePool.at(firstNode + i)) SNode(vCellPoint[begin].first, vCellPoint[begin].second);
        pSN->numPoints = static_cast<int>(end - begin);
        vNodes[numBefore + i] = pSN;
    });
}

void Smooth::averageRuns(std::vector<std::pair<RCD, Point3*>>& vCellPoint) {
    const std::vector<std::size_t> vStart = startsOfRuns(vCellPoint);
    const std::size_t firstPoint = pointPool.nextElements(vStart.size() - 1);
    forRuns_MT(vStart, [&](std::size_t run, std::size_t begin, std::size_t end) {
        Point3 mean = *vCellPoint[begin].second;
        double x = mean.x(), y = mean.y(), z = mean.z();
        for (std::size_t i = begin + 1; i < end; ++i) {
            const Point3& p = *std::exchange(vCellPoint[i].second, nullptr);
            x += p.x();
            y += p.y();
            z += p.z();
        }
        const double count = static_cast<double>(end - begin);
        if (end - begin > 1) mean = Point3(x / count, y / count, z / count);
        vCellPoint[begin].second = new (pointPool.at(firstPoint + run)) Point3(mean);
    });
}

std::vector<std::pair<RCD, SNode*>> Smooth::getNodesByCell() const {
    std::vector<CellNode> vCellNode;
    transform_MT(vNodes, vCellNode, [](SNode* pSN) { return CellNode(pSN->rcd, pSN); });
    if (!std::is_sorted(vCellNode.begin(), vCellNode.end())) sortMT(vCellNode.begin(), vCellNode.end());
    return vCellNode;
}

void Smooth::relinkNodes() {
    const std::vector<CellNode> vCellNode = getNodesByCell();
    for (std::size_t i = 1; i < vCellNode.size(); ++i) {
        const SNode *pSN0 = vCellNode[i - 1].second, *pSN1 = vCellNode[i].second;
        ASSEX(pSN0!=pSN1);
    }
    // Stretches of a fixed length: long enough for the nine searches at the start not to count. One array for all, since
    // what a worker frees isn't always returned to the system.
    const std::size_t stretchSize = 20000, numStretches = (vCellNode.size() + stretchSize - 1) / stretchSize;
    std::vector<std::size_t> vFirstLink(numStretches + 1);  // of each stretch, and the number of all
    const auto forStretches = [&](const auto& work) {
        forChunks_MT(numStretches, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i)
                work(i, i * stretchSize, std::min((i + 1) * stretchSize, vCellNode.size()));
        });
    };
    forStretches(
        [&](std::size_t i, std::size_t begin, std::size_t end) { vFirstLink[i + 1] = countLinks(vCellNode, begin, end); });
    std::partial_sum(vFirstLink.begin(), vFirstLink.end(), vFirstLink.begin());
    linkArray.reset();
    linkArray = std::make_unique_for_overwrite<SNode*[]>(vFirstLink.back());
    forStretches([&](std::size_t i, std::size_t begin, std::size_t end) {
        linkStretch(vCellNode, begin, end, linkArray.get() + vFirstLink[i]);
    });
}

// ---- Smoothing of noisy input -------------------------------------------------------------------------------------------

// A mean with a correction against its shrinkage. Data that a node stores for its neighbours is indexed by the node's
// position in the pool. Every phase reads only results of phases before it, so each runs over all nodes in parallel.
void Smooth::lapTreatment() {
    std::vector<Point3> vBefore(nodePool.size());
    for (const SNode* pSN : vNodes)
        vBefore[nodePool.indexOf(pSN)] = pSN->smoothedPoint;

    std::vector<Vector3> vShift(nodePool.size());  // from where the node should stay near to where the mean has put it
    forEach_MT(vNodes, [&](SNode* pSN) {
        if (pSN->vLinkedNodes.empty()) return;
        moveToMeanOfLinks(pSN, vBefore);
        const Point3 &o = *pSN->pPoint, &q = vBefore[nodePool.indexOf(pSN)], &s = pSN->smoothedPoint;
        vShift[nodePool.indexOf(pSN)] = Vector3(s.x() - (0.3 * o.x() + 0.7 * q.x()), s.y() - (0.3 * o.y() + 0.7 * q.y()),
                                                s.z() - (0.3 * o.z() + 0.7 * q.z()));
    });
    addCorrectedNodes(vShift);
}

void Smooth::moveToMeanOfLinks(SNode* pSN, const std::vector<Point3>& vBefore) const {
    double x = 0.0, y = 0.0, z = 0.0, count = 0.0;
    for (const SNode* pLinked : pSN->vLinkedNodes) {
        if (pLinked->numPoints == 0) continue;  // a filled hole is no measurement
        const Point3& q = vBefore[nodePool.indexOf(pLinked)];
        x += q.x();
        y += q.y();
        z += q.z();
        count += 1.0;
    }
    if (count > 0.0) pSN->smoothedPoint = Point3(x / count, y / count, z / count);
}

// A corrected point in its node's own cell is dropped: the mean is kept. One in another cell gets a node there.
void Smooth::addCorrectedNodes(const std::vector<Vector3>& vShift) {
    std::vector<std::pair<RCD, Point3>> vNoted;
    for (const SNode* pSN : vNodes) {
        if (pSN->vLinkedNodes.size() < 8) continue;
        Vector3 sum;
        for (const SNode* pLinked : pSN->vLinkedNodes)
            sum += vShift[nodePool.indexOf(pLinked)];
        const double n = static_cast<double>(pSN->vLinkedNodes.size());
        const Vector3 d = vShift[nodePool.indexOf(pSN)] * 0.2 + sum * (0.8 / n);
        if (!(d.getMaxAbsComponent() < sideLen)) continue;
        const Point3 p = pSN->smoothedPoint - d;
        const RCD rcd = pCalc->getRCD(&p);
        if (rcd != pSN->rcd) vNoted.emplace_back(rcd, p);
    }
    for (const auto& [rcd, p] : vNoted)
        newNode(rcd, new (pointPool.nextElement()) Point3(p), -1);
}

}  // namespace TARN_KEL
