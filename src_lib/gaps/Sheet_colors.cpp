// Colours for the facets that the floods left, and the seam between the two sides.
//
// The sources of a facet's colour are tried from the surest to the weakest: first the block of cells around it, as long as
// it has only one colour, from many facets down to one; then its neighbours; last blocks with both colours. The facets
// coloured this way are thinned again where they touch the other colour: facets that lie across the surface, as the outer
// ones of a rim do, lose their colour first.
#include <algorithm>
#include <cmath>
#include <optional>

#include "FacetPainter.h"
#include "NeighbourWalk.h"
#include "Sheet.h"
#include "WeightQueue.h"
#include "geometryFunctions.h"
#include "lazyQueue.h"
#include "runs.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using Position = FacetLinks::Position;
using PointWalk = NeighbourWalk<std::pair<RCD, Point3>, 2>;

constexpr double WALL_WEIGHT = 5.0;     // of a facet perpendicular to the surface
constexpr double UNKNOWN_WEIGHT = 0.5;  // where the surface isn't known, for each neighbour of another color

/// The normal of the surface at a cell, from the points of the cells up to two steps around it, without its own.
std::optional<Vector3> getNormalAround(PointWalk& walk, const Sheet::VRCDPoint& vRemainingRCDPoint, RCD rcd) {
    std::vector<Point3> vPoints;
    walk.visitBlock(rcd, [&](int inBlock, std::size_t position) {
        if (inBlock != PointWalk::CENTRE) vPoints.push_back(vRemainingRCDPoint[position].second);
    });
    std::vector<Point3*> vPointers;
    vPointers.reserve(vPoints.size());
    for (Point3& point : vPoints)
        vPointers.push_back(&point);
    Vector3 nv;
    Point3 centroid;
    return estimateNNV(vPointers, nv, centroid) ? std::optional<Vector3>(nv) : std::nullopt;
}

/// To what degree a facet that touches numDiff facets of the other color lies across the surface.
double getSeamWeight(const Facet& facet, int numDiff, const std::optional<Vector3>& normal) {
    if (numDiff == 0) return 0.0;
    if (!normal) return numDiff * UNKNOWN_WEIGHT;
    const double a = getAngleDegree(Facet::axes[facet.idx], *normal);
    return (1.0 - std::fabs(a - 90.0) / 90.0) * WALL_WEIGHT;
}

/// A facet that touches another color.
struct SeamFacet {
    Facet* pFacet;
    std::optional<Vector3> normal;  // around its cell, which doesn't change with the colors
};

void findNormals(std::vector<SeamFacet>& vSeam, const Sheet::VRCDPoint& vRemainingRCDPoint) {
    std::vector<SeamFacet*> vByCell;
    vByCell.reserve(vSeam.size());
    for (SeamFacet& seam : vSeam)
        vByCell.push_back(&seam);
    std::sort(vByCell.begin(), vByCell.end(), [](auto* pA, auto* pB) { return *pA->pFacet < *pB->pFacet; });
    PointWalk walk(vRemainingRCDPoint);
    const auto cellOf = [](const SeamFacet* pSeam) { return pSeam->pFacet->rcd; };
    forEachRun(vByCell.begin(), vByCell.end(), cellOf, [&](auto first, auto last) {
        const std::optional<Vector3> normal = getNormalAround(walk, vRemainingRCDPoint, cellOf(*first));
        for (auto it = first; it != last; ++it)
            (*it)->normal = normal;
    });
}

}  // namespace

void Sheet::cc_postColorize(int lower, int upper) {
    std::vector<Facet*> vList;
    for (Facet& facet : vVisibleFacets)
        if (facet.color != lower && facet.color != upper) vList.push_back(&facet);
    const FacetLinks links(vCells, vVisibleFacets);
    FacetPainter painter(vCells, vVisibleFacets, links, vList, lower, upper);
    for (int minCount = 8; minCount >= 1; --minCount)
        painter.colorizeByBlocks(minCount, false);
    for (double minWeight = 10.0; minWeight >= 1.0; minWeight -= 1.0)
        painter.colorizeByWeight(minWeight);
    for (int minCount = 8; minCount >= 1; --minCount)
        painter.colorizeByBlocks(minCount, true);
    cc_makeThinBorder(vList);
}

void Sheet::cc_colorize_27(std::vector<Facet*>& vList, int lower, int upper, int minCount, bool bAllowTie) {
    const FacetLinks links(vCells, vVisibleFacets);
    FacetPainter painter(vCells, vVisibleFacets, links, vList, lower, upper);
    painter.colorizeByBlocks(minCount, bAllowTie);
    vList = painter.getRest();
}

int Sheet::cc_colorize_w(std::vector<Facet*>& vList, int lower, int upper, double minWeight) {
    const FacetLinks links(vCells, vVisibleFacets);
    FacetPainter painter(vCells, vVisibleFacets, links, vList, lower, upper);
    const int numColored = painter.colorizeByWeight(minWeight);
    vList = painter.getRest();
    std::sort(vList.begin(), vList.end());
    return numColored;
}

std::pair<int, double> Sheet::cc_getWeight(Facet* pFacet, int lower, int upper) const {
    return FacetPainter::propose(vVisibleFacets, findNeigs(*pFacet), *pFacet, lower, upper);
}

// ---- The seam -----------------------------------------------------------------------------------------------------------

/// The number of neighbours of another color, where both have one.
int Sheet::countOtherColors(const Facet& facet, const FacetLinks::Neigs& neigs) const {
    if (facet.color < 0) return 0;
    return static_cast<int>(std::count_if(neigs.begin(), neigs.end(), [&](Position neig) {
        return vVisibleFacets[neig].color >= 0 && vVisibleFacets[neig].color != facet.color;
    }));
}

double Sheet::getThinBorderWeight(Facet* pFacet) const {
    const int numDiff = countOtherColors(*pFacet, findNeigs(*pFacet));
    if (numDiff == 0) return 0.0;
    PointWalk walk(*pRCDPoint);
    return getSeamWeight(*pFacet, numDiff, getNormalAround(walk, *pRCDPoint, pFacet->rcd));
}

void Sheet::cc_makeThinBorder(std::vector<Facet*>& vList) {
    const FacetLinks links(vCells, vVisibleFacets);
    const auto countOther = [&](const Facet* pFacet) { return countOtherColors(*pFacet, links[positionOf(pFacet)]); };
    std::vector<SeamFacet> vSeam;
    for (Facet* pFacet : vList)
        if (countOther(pFacet) > 0) vSeam.push_back({pFacet, std::nullopt});
    findNormals(vSeam, *pRCDPoint);
    // The queue gives the smallest first, so weights are entered negative.
    const auto judge = [&](std::uint32_t i) -> std::optional<double> {
        const double weight = getSeamWeight(*vSeam[i].pFacet, countOther(vSeam[i].pFacet), vSeam[i].normal);
        return weight > 0.0 ? std::optional(-weight) : std::nullopt;
    };
    std::vector<std::pair<double, std::uint32_t>> vStart;
    for (std::uint32_t i = 0; i < vSeam.size(); ++i) {
        const std::optional<double> key = judge(i);
        if (!key) continue;
        const double storedWeight = -*key;
        ASSEX(storedWeight>0);
        vStart.emplace_back(*key, i);
    }
    WeightQueue queue(std::move(vStart), vSeam.size());
    runLazily(queue, judge, [&vSeam](std::uint32_t i, double key) {
        const double freshWeight = -key;
        ASSEX(freshWeight>0);
        vSeam[i].pFacet->color = -1;
    });
}

}  // namespace TARN_KEL
