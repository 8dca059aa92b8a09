// Fills sparse places, in two steps.
//
// Between points: two input points one to two cell edges apart belong to the same surface, but the cells between them may be
// empty. A point is put on the segment between them, one cell edge from the first. Each cell gets at most one new point, the
// least in the order of points. There are several pairs for each input point, so their proposals are reduced at once: the
// points are processed in small groups of neighbours, and a group passes on one proposal per cell.
//
// Between cells: a free cell is a candidate for a hole in the sheet of cells when six of its eight lattice corners touch
// occupied cells. Many candidates only lie in steps of the sheet; those that can be removed without opening a way through
// the surface are dropped again. The others get a node at the mean of the points around.
#include <algorithm>
#include <bit>
#include <cmath>
#include <iterator>
#include <span>
#include <utility>

#include "FreshVector.h"
#include "RemoveDecider.h"
#include "Smooth.h"
#include "codes.h"
#include "gapCells.h"
#include "octree/Octree.h"
#include "pointsByCode.h"
#include "radixSort.h"
#include "runs.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"
#include "wanted.h"

namespace TARN_KEL {

namespace {

using CellPoint = std::pair<RCD, Point3>;

/// In each cell, how many of its points may pair up. More of them add nothing but time, quadratically.
const std::size_t MAX_POINTS_IN_CELL = 64;
/// Points worked on together: enough for their proposals to overlap, few enough for these to stay in the cache.
const std::size_t GROUP_SIZE = 4096;

/// For each cell the least of the points noted for it: an open table.
class LeastPoints {
public:
    void note(RCD rcd, const Point3& point) {
        if (2 * (numCells + 1) > vSlot.size()) grow();
        CellPoint& slot = find(rcd);
        if (slot.first == NO_CELL) {
            slot = {rcd, point};
            ++numCells;
        } else if (point < slot.second) {
            slot.second = point;
        }
    }
    /// Returns the noted points, in no useful order, and empties the table.
    std::vector<CellPoint> take() {
        std::vector<CellPoint> vOut;
        vOut.reserve(numCells);
        for (CellPoint& slot : vSlot) {
            if (slot.first == NO_CELL) continue;
            vOut.push_back(slot);
            slot.first = NO_CELL;
        }
        numCells = 0;
        return vOut;
    }

private:
    static constexpr RCD NO_CELL = ~RCD{0};

    CellPoint& find(RCD rcd) {
        std::size_t i = static_cast<std::size_t>((rcd * 0x9e3779b97f4a7c15ULL) >> shift);
        while (vSlot[i].first != rcd && vSlot[i].first != NO_CELL)
            i = (i + 1) & (vSlot.size() - 1);
        return vSlot[i];
    }
    void grow() {
        std::vector<CellPoint> vOld(vSlot.empty() ? 2 * GROUP_SIZE : 2 * vSlot.size(), CellPoint(NO_CELL, Point3()));
        vOld.swap(vSlot);
        shift = 64 - static_cast<int>(std::bit_width(vSlot.size() - 1));
        for (const CellPoint& slot : vOld)
            if (slot.first != NO_CELL) find(slot.first) = slot;
    }

    std::vector<CellPoint> vSlot;  // a power of two
    std::size_t numCells = 0;
    int shift = 0;
};

/// An input point with a copy of its coordinates: those lie all over the memory.
struct InputPoint {
    Point3 point;
    const Point3* pInput;  // its place tells which of two comes first
};

using InputPoints = FreshVector<InputPoint>;

/// The points that pair up, cell by cell along the curve of the interleaved codes, and within a cell in input order.
InputPoints getPairingPoints(const std::vector<Point3>& vPoints, const Calc& calc) {
    const auto vCellPoint = pointsByCode(vPoints, [&calc](const Point3& p) { return calc.getCCD(&p); });
    std::vector<const Point3*> vTaken;
    vTaken.reserve(vPoints.size());
    const auto cellOf = [](const auto& entry) { return entry.first; };
    forEachRun(vCellPoint.begin(), vCellPoint.end(), cellOf, [&vTaken](auto first, auto end) {
        const auto numInCell = static_cast<std::size_t>(end - first);
        const std::size_t numTaken = std::min(numInCell, MAX_POINTS_IN_CELL);
        for (std::size_t i = 0; i < numTaken; ++i)
            vTaken.push_back(first[static_cast<std::ptrdiff_t>(i * numInCell / numTaken)].second);
    });
    InputPoints vOut(vTaken.size());
    forChunks_MT(vTaken.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vOut[i] = {*vTaken[i], vTaken[i]};
    });
    return vOut;
}

/// The index over the points. vPairing: the ones of vPoints that go in, in any order; they go in by input order.
void fillOctree(const std::vector<Point3>& vPoints, const InputPoints& vPairing, TARN_OCTREE::Octree& octree) {
    WantedFlags vIsPairing = wantedFlags_MT(vPoints.size(), [](std::size_t) { return false; });
    forChunks_MT(vPairing.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vIsPairing[static_cast<std::size_t>(vPairing[i].pInput - vPoints.data())] = 1;
    });
    std::span<TARN_OCTREE::OctItem> items;
    forWanted_MT(
        vIsPairing, [&](std::size_t numPairing) { items = octree.addObjects(numPairing); },
        [&](std::size_t i, std::size_t place) {
            const Point3& p = vPoints[i];
            // The index never writes to the object.
            items[place] = {const_cast<Point3*>(&p), p.x(), p.y(), p.z()};
        });
    octree.finish();
}

/// What a thread proposes for the points that it works on.
class Pairing {
public:
    static constexpr int BLOCK_LEVEL = 2;  // points of a block of 2^2 cells along each axis share one question to the index

    Pairing(const TARN_OCTREE::Octree& theOctree, const Calc& theCalc)
        : octree(theOctree), calc(theCalc), sideLen(theCalc.getSideLen()) {}

    /// Proposals on the segments from each of the points, all in that block, to the later points within two cell edges. A
    /// cell gets one from a point, the first in the order in which the index lists the others.
    void pairUp(std::span<const InputPoint> vPoints, Morton block) {
        findNear(block);
        for (const InputPoint& p : vPoints) {
            vCellsOfPoint.clear();
            for (const InputPoint* q : selectPartners(p))
                walk(p.point, q->point);
        }
    }
    std::vector<CellPoint> takeProposals() { return least.take(); }

private:
    /// All that is near enough to any point of the block, and more.
    void findNear(Morton block) {
        const double halfEdge = std::ldexp(sideLen, BLOCK_LEVEL - 1);
        const Point3 centre = calc.getRefPoint(block.code() << 3 * BLOCK_LEVEL) + Vector3(halfEdge, halfEdge, halfEdge);
        // The index looks at the sphere's box, which is what has to hold the block and two cell edges on all sides; a little
        // more, for the rounding of clouds far from the origin.
        const double reach = 1.001 * (halfEdge + 2.0 * sideLen);
        vItems.clear();
        octree.getApproxSphereIntersectors(centre.x(), centre.y(), centre.z(), reach, vItems);
        vNear.clear();
        for (const TARN_OCTREE::OctItem* pItem : vItems)
            vNear.push_back({{pItem->x, pItem->y, pItem->z}, static_cast<const Point3*>(pItem->pObject)});
        vPartners.resize(vNear.size());
    }
    /// Those of them that are near p and come later in the input.
    std::span<const InputPoint* const> selectPartners(const InputPoint& p) {
        const double sqRadius = (2.0 * sideLen) * (2.0 * sideLen);
        std::size_t numPartners = 0;
        for (const InputPoint& near : vNear) {
            vPartners[numPartners] = &near;  // written over by the next one unless counted; no branch to guess
            const bool bNear = (near.point - p.point).sqLength() <= sqRadius;
            numPartners += static_cast<std::size_t>(bNear & (near.pInput > p.pInput));
        }
        return {vPartners.data(), numPartners};
    }
    void walk(const Point3& p, const Point3& q) {
        const Vector3 pq = q - p;
        const double d = pq.length();
        // More than two cell edges (and a rounding) can only come of coordinates whose squares overflow.
        if (!(d >= sideLen && d < 3.0 * sideLen)) return;
        const Vector3 u = pq / d;
        for (double t = sideLen; t < d; t += sideLen) {
            const Point3 point = p + u * t;
            const RCD rcd = calc.getRCD(&point);
            if (std::find(vCellsOfPoint.begin(), vCellsOfPoint.end(), rcd) != vCellsOfPoint.end()) continue;
            vCellsOfPoint.push_back(rcd);  // a few: all lie about one cell edge from p
            least.note(rcd, point);
        }
    }

    const TARN_OCTREE::Octree& octree;
    const Calc& calc;
    double sideLen;
    std::vector<TARN_OCTREE::OctItem*> vItems;
    std::vector<InputPoint> vNear;
    std::vector<const InputPoint*> vPartners;
    std::vector<RCD> vCellsOfPoint;
    LeastPoints least;
};

/// Works on the points [begin, end), block by block.
std::vector<CellPoint> proposeFor(std::span<const InputPoint> vPoints, const Calc& calc, Pairing& pairing) {
    const auto blockOf = [&calc](const InputPoint& p) { return Morton(calc.getCCD(&p.point)).block(Pairing::BLOCK_LEVEL); };
    forEachRun(vPoints.begin(), vPoints.end(), blockOf,
               [&](auto first, auto end) { pairing.pairUp(std::span<const InputPoint>(first, end), blockOf(*first)); });
    return pairing.takeProposals();
}

struct Proposal {
    RCD rcd;
    const Point3* pPoint;  // in the group's list
};

/// All proposals, group by group.
FreshVector<Proposal> listProposals(const std::vector<std::vector<CellPoint>>& vGroup) {
    std::vector<std::size_t> vFirst(1, 0);
    for (const auto& vProposals : vGroup)
        vFirst.push_back(vFirst.back() + vProposals.size());
    FreshVector<Proposal> vAll(vFirst.back());
    forChunks_MT(vGroup.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t group = begin; group < end; ++group)
            std::transform(vGroup[group].begin(), vGroup[group].end(), vAll.data() + vFirst[group],
                           [](const CellPoint& cell) {
                               return Proposal{cell.first, &cell.second};
                           });
    });
    return vAll;
}

/// The least point proposed for each cell, by ascending code.
std::vector<Point3> reduceProposals(const std::vector<std::vector<CellPoint>>& vGroup) {
    FreshVector<Proposal> vAll = listProposals(vGroup);
    const auto cellOf = [](const Proposal& proposal) { return proposal.rcd; };
    radixSortOnThreads(vAll.data(), vAll.size(), cellOf, numProcessors());
    std::vector<Point3> vLeast;
    const auto findLeast = [&](std::size_t first, std::size_t place) {
        const Point3* pLeast = vAll[first].pPoint;
        for (std::size_t i = first + 1; i < vAll.size() && vAll[i].rcd == vAll[first].rcd; ++i)
            if (*vAll[i].pPoint < *pLeast) pLeast = vAll[i].pPoint;
        vLeast[place] = *pLeast;
    };
    forWanted_MT(
        firstOfRuns_MT(vAll, cellOf), [&](std::size_t numCells) { vLeast.resize(numCells); }, findLeast);
    return vLeast;
}

// ---- Between cells

using CodePoint = std::pair<CCD, const Point3*>;

/// The mean of the points in the 26 cells around a cell. vCodePoint: sorted by code.
Point3 getMeanAround(Morton cell, const std::vector<CodePoint>& vCodePoint, const Calc& calc) {
    CCD block[27];
    calc.completeArray27(cell.code(), block);
    double x = 0.0, y = 0.0, z = 0.0, num = 0.0;
    for (int pos = 0; pos < 27; ++pos) {
        if (pos == 13) continue;
        auto it = findFirstFrom(vCodePoint.begin(), vCodePoint.end(), block[pos]);
        for (; it != vCodePoint.end() && it->first == block[pos]; ++it, num += 1.0) {
            x += it->second->x();
            y += it->second->y();
            z += it->second->z();
        }
    }
    ASSEX(num>0);
    return {x / num, y / num, z / num};
}

/// The free cells that are holes of the sheet: those of the candidates that can't be taken out again.
VCCD getHoles(const std::vector<CodePoint>& vCodePoint, Calc* pCalc) {
    VCCD vExisting, vCandidates, vAll, vKept, vDoomed;
    transform_MT(vCodePoint, vExisting, [](const CodePoint& entry) { return entry.first; });
    getGapCells(vExisting, *pCalc, vCandidates);
    vAll.reserve(vExisting.size() + vCandidates.size());
    std::merge(vExisting.begin(), vExisting.end(), vCandidates.begin(), vCandidates.end(), std::back_inserter(vAll));
    RemoveDecider(vAll, pCalc).pruneStrong(vCandidates, vKept, vDoomed);
    return vKept;
}

}  // namespace

void Smooth::densifyLap() {
    const InputPoints vPairing = getPairingPoints(pvPoints, *pCalc);
    std::vector<std::vector<CellPoint>> vGroup((vPairing.size() + GROUP_SIZE - 1) / GROUP_SIZE);
    {
        TARN_OCTREE::Octree octree;
        fillOctree(pvPoints, vPairing, octree);
        // A few groups a task: a run that is to stop waits for those that have begun.
        const std::size_t taskSize = 4, numTasks = (vGroup.size() + taskSize - 1) / taskSize;
        const auto makeTask = [&](std::size_t task) {
            return [&, task](int) {
                Pairing pairing(octree, *pCalc);
                for (std::size_t group = task * taskSize; group < std::min((task + 1) * taskSize, vGroup.size()); ++group) {
                    const std::size_t first = group * GROUP_SIZE;
                    const std::size_t size = std::min(GROUP_SIZE, vPairing.size() - first);
                    vGroup[group] = proposeFor(std::span(vPairing).subspan(first, size), *pCalc, pairing);
                }
            };
        };
        std::vector<decltype(makeTask(0))> vTask;
        for (std::size_t task = 0; task < numTasks; ++task)
            vTask.push_back(makeTask(task));
        runTasks_MT(vTask);
    }
    const std::vector<Point3> vNew = reduceProposals(vGroup);
    pvPoints.reserve(pvPoints.size() + vNew.size());
    pvPoints.insert(pvPoints.end(), vNew.begin(), vNew.end());
}

void Smooth::densifyNeigs() {
    std::vector<CodePoint> vCodePoint;
    transform_MT(vNodes, vCodePoint,
                 [this](const SNode* pSN) { return CodePoint(pCalc->getCCD(&pSN->smoothedPoint), &pSN->smoothedPoint); });
    sortMT(vCodePoint.begin(), vCodePoint.end());
    const VCCD vHoles = getHoles(vCodePoint, pCalc);
    std::vector<Point3> vMean;
    transform_MT(vHoles, vMean, [&](CCD ccd) { return getMeanAround(Morton(ccd), vCodePoint, *pCalc); });
    for (std::size_t i = 0; i < vHoles.size(); ++i)
        newNode(pCalc->ccd2rcd(vHoles[i]), new (pointPool.nextElement()) Point3(vMean[i]), 0);
}

}  // namespace TARN_KEL
