// Rasterises a triangle soup: unifies its corners, then has Pixel make the cells.
#include "soupCells.h"

#include <cstdint>

#include "HashIndex.h"
#include "Pixel.h"
#include "freeFunctions.h"
#include "tools.h"

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

}  // namespace

SoupCells rasteriseSoup(std::vector<Point3>& vCorners, Calc& grid, double featureAngle) {
    SoupCells cells;
    std::vector<Point3*> vUnified = unifyCorners(vCorners);
    Pixel pixel(vUnified, &grid);
    pixel.pixelTriangles(cells.vPoints, cells.vFeatures, cells.vBorders, featureAngle);
    return cells;
}

}  // namespace TARN_KEL
