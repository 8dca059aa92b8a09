// Rasterises a triangle soup: unifies its corners, then has Pixel make the cells.
#include "soupCells.h"

#include <cstdint>

#include "HashIndex.h"
#include "Pixel.h"
#include "geometryFunctions.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"
#include "touchedCells.h"

namespace TARN_KEL {

namespace {

/// For each point the first one of the same coordinates.
std::vector<Point3*> unifyCorners(std::vector<Point3>& vPoints) {
    ASSEX(vPoints.size()<HashIndex::NONE);
    HashIndex index;
    std::vector<Point3*> vCorners;
    vCorners.reserve(vPoints.size());
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        const std::uint64_t hash = placeHash(vPoints[i]);
        std::uint32_t first = index.find(hash, [&](std::uint32_t j) { return vPoints[j] == vPoints[i]; });
        if (first == HashIndex::NONE) {
            first = static_cast<std::uint32_t>(i);
            index.insert(hash, first);
        }
        vCorners.push_back(&vPoints[first]);
    }
    return vCorners;
}

/// Appends the places in touched cells that have none.
void addTouchedCells(const std::vector<Tri*>& vTri, const Calc& grid, SoupCells& cells) {
    VRCD vDrawn;
    transform_MT(cells.vPoints, vDrawn, [&grid](const Point3& p) { return grid.getRCD(&p); });
    sortMT(vDrawn.begin(), vDrawn.end());
    const std::size_t numDrawn = vDrawn.size();
    auto itDrawn = vDrawn.cbegin();
    for (const auto& [rcd, place] : touchedCells(vTri, grid)) {
        while (itDrawn != vDrawn.cend() && *itDrawn < rcd)
            ++itDrawn;
        if (itDrawn == vDrawn.cend() || *itDrawn != rcd) cells.vPoints.push_back(place);
    }
    cells.figures.numAdded = cells.vPoints.size() - numDrawn;
}

bool isClosed(const std::vector<Pixel::EdgeTri>& vEdge2Tri) {
    bool bClosed = true;
    forEachRun(
        vEdge2Tri.begin(), vEdge2Tri.end(), [](const Pixel::EdgeTri& entry) { return entry.first; },
        [&](auto first, auto end) { bClosed = bClosed && (end - first) % 2 == 0; });
    return bClosed;
}

}  // namespace

SoupCells rasteriseSoup(std::vector<Point3>& vCorners, Calc& grid, const SoupDrawing& drawing) {
    SoupCells cells;
    std::vector<Point3*> vUnified = unifyCorners(vCorners);
    Pixel pixel(vUnified, &grid);
    pixel.bCountUncut = drawing.bBrief;
    pixel.pixelTriangles(cells.vPoints, cells.vFeatures, cells.vBorders, drawing.featureAngle.value_or(ABOVE_ANY_FOLD));
    if (drawing.bComplete) addTouchedCells(pixel.vTri, grid, cells);
    cells.figures.bClosed = isClosed(pixel.vEdge2Tri);
    return cells;
}

}  // namespace TARN_KEL
