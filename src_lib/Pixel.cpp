// The order in which a soup's cells are claimed.
//
// This order decides which features survive. Ends of feature edges come before all else, so that corners keep their places;
// then feature edges, chain by chain, so that a cell that two of them pass through belongs to the chain that comes first;
// then other edges; then insides. Of several triangles in one cell the first one in breadth-first order claims it:
// neighbours in the list are neighbours in space, which keeps the choice even over a surface, and the cells of a part of the
// list in the cache.
#include "Pixel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numeric>
#include <utility>

#include "Progress.h"
#include "codeHash.h"
#include "flood.h"
#include "geometryFunctions.h"
#include "radixSort.h"
#include "runs.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Whether corners in this order have a unit normal, by which all later steps take them for a plane. A triangle so thin that
/// the squares of its sine underflow has a normal of another length.
bool spansPlane(const Point3& p0, const Point3& p1, const Point3& p2) {
    bool bOK = false;
    const Vector3 normal = getNormalVector(p0, p1, p2, bOK);
    return bOK && std::fabs(normal.length() - 1.0) < 0.01;
}

/// The ends of the edge of an entry of the edge table.
constexpr auto endsOf = [](const Pixel::EdgeTri& entry) { return entry.first; };

/// Keeps the first pixel of each cell, by ascending code.
void sortFirstOfCells(Pixel::VRCDPoint& vPixels, int numThreads) {
    radixSortOnThreads(
        vPixels.data(), vPixels.size(), [](const auto& pixel) { return pixel.first; }, numThreads);
    dropRepeatsOfFirst(vPixels);
}

}  // namespace

/// Collects pixels; the first one of a cell is kept.
class Pixel::PixelSet {
public:
    explicit PixelSet(VRCDPoint& vOfCells) : vPixels(vOfCells) {}
    /// makePoint() is called when the cell is free.
    template <typename MakePoint>
    void claim(Packed cell, const MakePoint& makePoint) {
        const std::uint64_t hash = localHash_RCD(cell.code());
        const auto isSame = [&](std::uint32_t i) { return vPixels[i].first == cell.code(); };
        if (index.find(hash, isSame) != HashIndex::NONE) return;
        index.insert(hash, static_cast<std::uint32_t>(vPixels.size()));
        vPixels.emplace_back(cell.code(), makePoint());
    }

private:
    VRCDPoint& vPixels;
    HashIndex index;
};

/// A stretch of vTri and the pixels of its insides.
struct Pixel::InsideBlock {
    std::size_t begin, end;
    VRCDPoint vPixels;
};

// ---- Triangles ----------------------------------------------------------------------------------------------------------

Tri::Tri(Point3* p0, Point3* p1, Point3* p2) : pVtx0(p0), pVtx1(p1), pVtx2(p2) {
    ASSEX(pVtx0<pVtx1 && pVtx1<pVtx2);
}

Vector3 Tri::getNNV(Point3* pA, Point3* pB) {
    if (normal.isDegenerate()) {
        bool bOK = false;
        normal = getNormalVector(*pVtx0, *pVtx1, *pVtx2, bOK);
        if (!bOK)
            out() << "uh, degenerate Tri\n"
                  << *pVtx0 << '\n'
                  << *pVtx1 << '\n'
                  << *pVtx2 << "\nvec01=" << *pVtx1 - *pVtx0 << "\nvec12=" << *pVtx2 - *pVtx1 << std::endl;
        ASSEX(bOK);
    }
    if (pA == pVtx0) {
        if (pB == pVtx1) return normal;
        ASSEX(pVtx2==pB);
    } else if (pA == pVtx1) {
        if (pB == pVtx2) return normal;
        ASSEX(pVtx0==pB);
    } else {
        ASSEX(pVtx2==pA);
        if (pB == pVtx0) return normal;
        ASSEX(pVtx1==pB);
    }
    return -normal;
}

Pixel::Pixel(std::vector<Point3*>& vTriangleCorners, Calc* pGrid) : pCalc(pGrid), spacingAbs(pGrid->getSideLen()) {
    ASSEX(!vTriangleCorners.empty());
    ASSEX(vTriangleCorners.size()%3==0);
    ASSEX(spacingAbs>0);
    linkEdge2T(vTriangleCorners);
    if (vTri.empty()) {
        warning(KEL_PLACE, "No non-degenerate triangles");
        return;
    }
    bfsSort();
}

void Pixel::linkEdge2T(std::vector<Point3*>& vTriangleCorners) {
    std::vector<Tri>& vNewTri = vTriStore.emplace_back();
    vNewTri.reserve(vTriangleCorners.size() / 3);
    for (std::size_t i = 0; i < vTriangleCorners.size(); i += 3) {
        std::array<Point3*, 3> c = {vTriangleCorners[i], vTriangleCorners[i + 1], vTriangleCorners[i + 2]};
        const bool bFinite = isFinitePoint(*c[0]) && isFinitePoint(*c[1]) && isFinitePoint(*c[2]);
        if (!bFinite || !spansPlane(*c[0], *c[1], *c[2])) continue;
        std::sort(c.begin(), c.end(), std::less<>());
        // Rounding may leave a plane at one corner and none at another one.
        if (spansPlane(*c[0], *c[1], *c[2])) vNewTri.emplace_back(c[0], c[1], c[2]);
    }
    const std::size_t numDropped = vTriangleCorners.size() / 3 - vNewTri.size();
    if (numDropped > 0) warning(KEL_PLACE, "Skipped " + toString(numDropped) + " degenerate triangles");

    vTri.reserve(vTri.size() + vNewTri.size());
    vEdge2Tri.reserve(vEdge2Tri.size() + 3 * vNewTri.size());
    for (Tri& tri : vNewTri) {
        vTri.push_back(&tri);
        vEdge2Tri.push_back({{tri.pVtx0, tri.pVtx1}, &tri});
        vEdge2Tri.push_back({{tri.pVtx0, tri.pVtx2}, &tri});
        vEdge2Tri.push_back({{tri.pVtx1, tri.pVtx2}, &tri});
    }
    sortEdgeTable();
}

// By lower vertex, then by higher vertex, then by triangle: the last is the order in which the entries come, and these sorts
// are stable.
void Pixel::sortEdgeTable() {
    const auto code = [](const Point3* p) { return reinterpret_cast<std::uintptr_t>(p); };
    radixSortOnThreads(
        vEdge2Tri.data(), vEdge2Tri.size(), [code](const EdgeTri& entry) { return code(entry.first.second); },
        numProcessors());
    radixSortOnThreads(
        vEdge2Tri.data(), vEdge2Tri.size(), [code](const EdgeTri& entry) { return code(entry.first.first); },
        numProcessors());
}

std::size_t Pixel::numberOf(const Tri* pTri) const {
    const std::less<> isBelow;
    std::size_t first = 0;
    for (const std::vector<Tri>& vBlock : vTriStore) {
        if (!isBelow(pTri, vBlock.data()) && isBelow(pTri, vBlock.data() + vBlock.size()))
            return first + static_cast<std::size_t>(pTri - vBlock.data());
        first += vBlock.size();
    }
    ASSEX(false);  // the tables name no other triangles
    return first;
}

std::size_t Pixel::numCreated() const {
    return std::accumulate(vTriStore.begin(), vTriStore.end(), std::size_t{0},
                           [](std::size_t sum, const std::vector<Tri>& vBlock) { return sum + vBlock.size(); });
}

void Pixel::bfsSort() {
    const std::size_t triSiz = vTri.size();
    vTri = breadthFirst(findGroups());
    ASSEX(vTri.size()==triSiz);
}

/// By number of the triangle.
std::vector<Pixel::GroupsOfTri> Pixel::findGroups() const {
    const std::size_t none = vEdge2Tri.size();
    std::vector<GroupsOfTri> vGroups(numCreated(), {none, none, none});
    forEachRun(vEdge2Tri.begin(), vEdge2Tri.end(), endsOf, [&](auto first, auto end) {
        for (auto it = first; it != end; ++it) {
            const auto& [ends, pTri] = *it;
            const std::size_t opposite = ends.first == pTri->pVtx1 ? 0 : ends.second == pTri->pVtx2 ? 1 : 2;
            vGroups[numberOf(pTri)][opposite] = static_cast<std::size_t>(first - vEdge2Tri.begin());
        }
    });
    return vGroups;
}

/// Each piece from the last of its triangles on. After the first visit to a group all its triangles are claimed.
std::vector<Tri*> Pixel::breadthFirst(const std::vector<GroupsOfTri>& vGroups) const {
    std::vector<Tri*> vOrdered;
    vOrdered.reserve(vTri.size());
    std::vector<char> vSeen(numCreated()), vGroupSeen(vEdge2Tri.size());
    const auto claim = [&](const Tri* pTri) { return std::exchange(vSeen[numberOf(pTri)], 1) == 0; };
    const auto offerNeighbours = [&](const Tri* pTri, const auto& offer) {
        for (const std::size_t begin : vGroups[numberOf(pTri)]) {
            auto it = vEdge2Tri.begin() + static_cast<std::ptrdiff_t>(begin);
            ASSEX(it!=vEdge2Tri.end());
            if (std::exchange(vGroupSeen[begin], 1) != 0) continue;
            for (const auto ends = it->first; it != vEdge2Tri.end() && it->first == ends; ++it)
                offer(it->second);
        }
    };
    std::vector<Tri*> vPiece;
    for (auto itStart = vTri.rbegin(); itStart != vTri.rend(); ++itStart) {
        if (!claim(*itStart)) continue;
        vPiece.assign(1, *itStart);
        floodInOrder(vPiece, offerNeighbours, claim);
        vOrdered.insert(vOrdered.end(), vPiece.begin(), vPiece.end());
    }
    return vOrdered;
}

// ---- The whole soup -----------------------------------------------------------------------------------------------------

void Pixel::pixelTriangles(std::vector<Point3>& vOut, std::vector<std::pair<CCD, CCD>>& vFeatures,
                           std::vector<std::pair<CCD, CCD>>& vBorders, double featureAngle) {
    if (vTri.empty()) return;
    VRCDPoint vEdgePixels, vTriPixels;
    pixelAllEdges(featureAngle, vEdgePixels, vFeatures, vBorders);
    pixelAllInsides(vTriPixels);

    vOut.reserve(vOut.size() + vEdgePixels.size() + vTriPixels.size());
    ProgressStep progress("mandiffe", vEdgePixels.size());
    VRCD vTaken;
    vTaken.reserve(vEdgePixels.size());
    for (const auto& [rcd, point] : vEdgePixels) {
        vTaken.push_back(rcd);
        vOut.push_back(point);
        progress.advance();
    }
    progress.finish();
    VRCDPoint().swap(vEdgePixels);

    progress = ProgressStep("mandiffa", vTriPixels.size());
    radixSort(vTaken);
    auto itTaken = vTaken.begin();
    for (const auto& [rcd, point] : vTriPixels) {
        while (itTaken != vTaken.end() && *itTaken < rcd)
            ++itTaken;
        if (itTaken == vTaken.end() || *itTaken != rcd) vOut.push_back(point);
        progress.advance();
    }
    progress.finish();
}

// Tasks of the pool rasterise blocks of triangles. Each block drops its repeats, which are most of the pixels; then all
// blocks are put together, in order, and sorted. The first pixel of a cell stays the first.
void Pixel::pixelAllInsides(VRCDPoint& vTriPixels) const {
    ProgressStep progress("ar4", vTri.size());
    std::vector<InsideBlock> vBlocks;
    for (std::size_t begin = 0; begin < vTri.size(); begin = vBlocks.back().end) {
        cutBlocks(begin, vBlocks);
        forEach_MT(vBlocks, [this](InsideBlock& block) {
            for (std::size_t i = block.begin; i < block.end; ++i)
                convertOneT(vTri[i]->pVtx0, vTri[i]->pVtx1, vTri[i]->pVtx2, block.vPixels);
            sortFirstOfCells(block.vPixels, 1);
        });
        for (const InsideBlock& block : vBlocks) {
            vTriPixels.insert(vTriPixels.end(), block.vPixels.begin(), block.vPixels.end());
            for (std::size_t i = block.begin; i < block.end; ++i)
                progress.advance();
        }
    }
    progress.finish();

    progress = ProgressStep("oifc", 1);
    sortFirstOfCells(vTriPixels, numProcessors());
    progress.advance();
    progress.finish();
}

/// The blocks of the next round, from that triangle on: enough for all processors, and of a bounded number of pixels each
/// but for triangles that have more.
void Pixel::cutBlocks(std::size_t begin, std::vector<InsideBlock>& vBlocks) const {
    constexpr std::size_t MAX_BLOCKS = 64;
    constexpr double MAX_PIXELS = 30000.0, PIXELS_OF_A_CELL = 3.0, PIXELS_OF_A_TRIANGLE = 10.0;
    vBlocks.clear();
    while (begin < vTri.size() && vBlocks.size() < MAX_BLOCKS) {
        InsideBlock block{begin, begin, {}};
        for (double numPixels = 0.0; block.end < vTri.size() && numPixels < MAX_PIXELS; ++block.end) {
            const Tri& tri = *vTri[block.end];
            const double numCells = getArea(tri.pVtx0, tri.pVtx1, tri.pVtx2) / (spacingAbs * spacingAbs);
            numPixels += PIXELS_OF_A_TRIANGLE + PIXELS_OF_A_CELL * numCells;
        }
        begin = block.end;
        vBlocks.push_back(std::move(block));
    }
}

// ---- Edges --------------------------------------------------------------------------------------------------------------

void Pixel::pixelAllEdges(double featureAngle, VRCDPoint& vPixels, std::vector<std::pair<CCD, CCD>>& vFeatures,
                          std::vector<std::pair<CCD, CCD>>& vBorders) {
    std::vector<AngleEdge> vFeatureEdges;
    std::vector<FlatEdge> vFlatEdges;
    sortOutEdges(featureAngle, vFeatureEdges, vFlatEdges);

    ProgressStep progress("reo", 1);
    sortMT(vFeatureEdges.begin(), vFeatureEdges.end());
    reorderFeatureEdges(vFeatureEdges);
    // The back of the list comes first. Borders alone make one kind of chains; each is walked from its first edge.
    if (featureAngle >= ABOVE_ANY_FOLD) std::reverse(vFeatureEdges.begin(), vFeatureEdges.end());
    progress.advance();
    progress.finish();

    PixelSet pixelSet(vPixels);
    claimFeatureEnds(vFeatureEdges, pixelSet);
    claimFeatureEdges(vFeatureEdges, pixelSet, vFeatures, vBorders);
    claimFlatEdges(vFlatEdges, pixelSet);
    if (numUncut > 0) warning(KEL_PLACE, "Cells along needles, in which their planes can't be told: " + toString(numUncut));
}

void Pixel::reorderFeatureEdges(std::vector<AngleEdge>& vFeatureEdges) {
    const FeatureMgr featureMgr(vFeatureEdges);
    vFeatureEdges.clear();
    featureMgr.getOrderedPairs(vFeatureEdges);
}

/// Parts the edges into those that must stay sharp, with the largest angle by which a triangle folds against the first one,
/// and the others, with the plane of the first one.
void Pixel::sortOutEdges(double featureAngle, std::vector<AngleEdge>& vFeatureEdges,
                         std::vector<FlatEdge>& vFlatEdges) const {
    ProgressStep progress("dih2e", vEdge2Tri.size());
    forEachRun(vEdge2Tri.begin(), vEdge2Tri.end(), endsOf, [&](auto first, auto end) {
        const auto [p, q] = first->first;
        const Vector3 firstNNV = first->second->getNNV(p, q);
        double angle = -1.0;
        for (auto it = first; it != end; ++it) {
            // Triangles on opposite sides of the edge see it run the other way.
            if (it != first) angle = std::max(angle, getAngleDegree(firstNNV, -it->second->getNNV(p, q)));
            progress.advance();
        }
        const bool bBorder = end - first == 1;
        if (bBorder) angle = BORDER_ANGLE;
        if (bBorder ? !(featureAngle >= BORDER_ANGLE) : angle > featureAngle)
            vFeatureEdges.push_back({angle, {p, q}});
        else
            vFlatEdges.push_back({p, q, Plane(*p, firstNNV)});
    });
    progress.finish();
}

void Pixel::claimFeatureEnds(const std::vector<AngleEdge>& vFeatureEdges, PixelSet& pixelSet) const {
    ProgressStep progress("rFins", vFeatureEdges.size());
    for (auto it = vFeatureEdges.rbegin(); it != vFeatureEdges.rend(); ++it) {
        for (const Point3* pEnd : {it->second.first, it->second.second})
            pixelSet.claim(Packed(pCalc->getRCD(pEnd)), [pEnd] { return *pEnd; });
        progress.advance();
    }
    progress.finish();
}

void Pixel::claimFeatureEdges(const std::vector<AngleEdge>& vFeatureEdges, PixelSet& pixelSet,
                              std::vector<std::pair<CCD, CCD>>& vFeatures,
                              std::vector<std::pair<CCD, CCD>>& vBorders) const {
    ProgressStep progress("feate", vFeatureEdges.size());
    VRCDPoint vEdgeRaster;
    for (auto it = vFeatureEdges.rbegin(); it != vFeatureEdges.rend(); ++it) {
        const auto& [angle, ends] = *it;
        vEdgeRaster.clear();
        rasterizeEdge(*ends.first, *ends.second, vEdgeRaster);
        for (std::size_t i = 0; i < vEdgeRaster.size(); ++i) {
            const auto& [rcd, point] = vEdgeRaster[i];
            pixelSet.claim(Packed(rcd), [&point = point] { return point; });
            if (i == 0) continue;
            const CCD ccd0 = pCalc->getCCD(&vEdgeRaster[i - 1].second), ccd1 = pCalc->getCCD(&point);
            ASSEX(ccd0!=ccd1);
            vFeatures.emplace_back(std::minmax(ccd0, ccd1));
            if (angle == BORDER_ANGLE) vBorders.push_back(vFeatures.back());
        }
        progress.advance();
    }
    progress.finish();
}

void Pixel::claimFlatEdges(const std::vector<FlatEdge>& vFlatEdges, PixelSet& pixelSet) {
    ProgressStep progress("nfeate", vFlatEdges.size());
    VRCDPoint vEdgeRaster;
    for (const auto& [p, q, plane] : vFlatEdges) {
        vEdgeRaster.clear();
        rasterizeEdge(*p, *q, vEdgeRaster);
        for (const auto& [rcd, own] : vEdgeRaster)
            pixelSet.claim(Packed(rcd),
                           [&, cell = Packed(rcd), &point = own, &flat = plane] { return placeOnPlane(cell, flat, point); });
        progress.advance();
    }
    progress.finish();
}

/// Where a plane that passes a cell is nearest to its midpoint, or else in the middle of what it cuts out of the cell; own
/// where neither is in the cell.
Point3 Pixel::placeOnPlane(Packed cell, const Plane& plane, const Point3& own) {
    const Point3 foot = plane.projection(pCalc->getMidPoint_RCD(cell.code()));
    if (isIn(cell, foot)) return foot;
    bool bOK = false;
    Point3 mid;
    if (bCountUncut) {
        const Cut cellCut = cutCell(cell, plane);
        mid = cellCut.mid;
        bOK = cellCut.isOK();
        if (!bOK) ++numUncut;
    } else {
        mid = getMidOfCutPlane(cell.code(), plane, bOK);
    }
    return bOK && isIn(cell, mid) ? mid : own;
}

}  // namespace TARN_KEL
