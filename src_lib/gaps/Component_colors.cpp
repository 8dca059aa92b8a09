// Colours for the facets that the floods left, and the seam between the two sides.
//
// Where a facet may get its colour from is tried from the surest to the weakest: from the block of cells around it, as long
// as only one colour is there, from many facets down to one; from its neighbours; last from blocks with both colours. What
// was coloured so is thinned again where it touches the other colour: facets that stand across the surface, as the outer
// ones of a rim, lose their colour first.
#include <algorithm>
#include <cmath>
#include <optional>

#include "Component.h"
#include "FacetPainter.h"
#include "NeighbourWalk.h"
#include "WeightQueue.h"
#include "freeFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using Position = FacetLinks::Position;
using PointWalk = NeighbourWalk<std::pair<RCD, Point3>, 2>;

constexpr double WALL_WEIGHT = 5.0;     // of a facet that stands upright on the surface
constexpr double UNKNOWN_WEIGHT = 0.5;  // where the surface isn't known, for each neighbour of another color

/// The normal of the surface at a cell, from the points of the cells up to two steps around it, without its own.
std::optional<Vector3> getNormalAround(PointWalk& walk, const Component::VRCDPoint& vRemainingRCDPoint, RCD rcd) {
    std::vector<Point3> vPoints;
    walk.visitBlock(rcd, [&](int position, std::size_t place) {
        if (position != PointWalk::CENTRE) vPoints.push_back(vRemainingRCDPoint[place].second);
    });
    std::vector<Point3*> vPointers;
    for (Point3& point : vPoints)
        vPointers.push_back(&point);
    Vector3 nv;
    Point3 centroid;
    return estimateNNV(vPointers, nv, centroid) ? std::optional<Vector3>(nv) : std::nullopt;
}

/// How much a facet that touches numDiff facets of the other color stands across the surface.
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
    double weight;                  // as it stands in the queue
};

void findNormals(std::vector<SeamFacet>& vSeam, const Component::VRCDPoint& vRemainingRCDPoint) {
    std::vector<SeamFacet*> vByCell;
    for (SeamFacet& seam : vSeam)
        vByCell.push_back(&seam);
    std::sort(vByCell.begin(), vByCell.end(), [](auto* pA, auto* pB) { return *pA->pFacet < *pB->pFacet; });
    PointWalk walk(vRemainingRCDPoint);
    const SeamFacet* pLast = nullptr;
    for (SeamFacet* pSeam : vByCell) {
        const bool bSameCell = pLast != nullptr && pLast->pFacet->rcd == pSeam->pFacet->rcd;
        pSeam->normal = bSameCell ? pLast->normal : getNormalAround(walk, vRemainingRCDPoint, pSeam->pFacet->rcd);
        pLast = pSeam;
    }
}

}  // namespace

void Component::cc_postColorize(int lower, int upper) {
    std::vector<Facet*> vList;
    for (Facet& facet : vVisibleFacets)
        if (facet.color != lower && facet.color != upper) vList.push_back(&facet);
    FacetPainter painter(vCells, vVisibleFacets, getLinks(), vList, lower, upper);
    for (int minCount = 8; minCount >= 1; --minCount)
        painter.colorizeByBlocks(minCount, false);
    for (double minWeight = 10.0; minWeight >= 1.0; minWeight -= 1.0)
        painter.colorizeByWeight(minWeight);
    for (int minCount = 8; minCount >= 1; --minCount)
        painter.colorizeByBlocks(minCount, true);
    cc_makeThinBorder(vList);
}

void Component::cc_colorize_27(std::vector<Facet*>& vList, int lower, int upper, int minCount, bool bAllowTie) {
    FacetPainter painter(vCells, vVisibleFacets, getLinks(), vList, lower, upper);
    painter.colorizeByBlocks(minCount, bAllowTie);
    vList = painter.getRest();
}

int Component::cc_colorize_w(std::vector<Facet*>& vList, int lower, int upper, double minWeight) {
    FacetPainter painter(vCells, vVisibleFacets, getLinks(), vList, lower, upper);
    const int numColored = painter.colorizeByWeight(minWeight);
    vList = painter.getRest();
    std::sort(vList.begin(), vList.end());
    return numColored;
}

std::pair<int, double> Component::cc_getWeight(Facet* pFacet, int lower, int upper) const {
    return FacetPainter::propose(vVisibleFacets, getLinks(), positionOf(pFacet), lower, upper);
}

// ---- The seam -----------------------------------------------------------------------------------------------------------

/// The number of neighbours of another color, where both have one.
int Component::countOtherColors(std::size_t position) const {
    const int color = vVisibleFacets[position].color;
    if (color < 0) return 0;
    const auto& neigs = getLinks()[position];
    return static_cast<int>(std::count_if(neigs.begin(), neigs.end(), [&](Position neig) {
        return vVisibleFacets[neig].color >= 0 && vVisibleFacets[neig].color != color;
    }));
}

double Component::getThinBorderWeight(Facet* pFacet) const {
    const int numDiff = countOtherColors(positionOf(pFacet));
    if (numDiff == 0) return 0.0;
    PointWalk walk(*pRCDPoint);
    return getSeamWeight(*pFacet, numDiff, getNormalAround(walk, *pRCDPoint, pFacet->rcd));
}

void Component::cc_makeThinBorder(std::vector<Facet*>& vList) {
    std::vector<SeamFacet> vSeam;
    for (Facet* pFacet : vList)
        if (countOtherColors(positionOf(pFacet)) > 0) vSeam.push_back({pFacet, std::nullopt, 0.0});
    findNormals(vSeam, *pRCDPoint);
    const auto weigh = [this](const SeamFacet& seam) {
        return getSeamWeight(*seam.pFacet, countOtherColors(positionOf(seam.pFacet)), seam.normal);
    };

    std::vector<std::pair<double, std::uint32_t>> vStart;
    for (std::uint32_t i = 0; i < vSeam.size(); ++i) {
        vSeam[i].weight = weigh(vSeam[i]);
        if (vSeam[i].weight > 0.0) vStart.emplace_back(-vSeam[i].weight, i);  // the queue gives the smallest first
    }
    for (WeightQueue queue(std::move(vStart), vSeam.size()); !queue.empty();) {
        const std::uint32_t i = queue.pop();
        const double storedWeight = vSeam[i].weight;
        ASSEX(storedWeight>0);
        const double freshWeight = weigh(vSeam[i]);
        if (storedWeight > freshWeight) {
            vSeam[i].weight = freshWeight;
            if (freshWeight > 0.0) queue.push(-freshWeight, i);
            continue;
        }
        ASSEX(freshWeight>0);
        vSeam[i].pFacet->color = -1;
    }
}

}  // namespace TARN_KEL
