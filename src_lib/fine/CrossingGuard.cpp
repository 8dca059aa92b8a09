#include "CrossingGuard.h"

#include <algorithm>
#include <cmath>

namespace TARN_KEL {

namespace {

double meanSide(const FlatSurface& surface) {
    double sum = 0.0;
    for (FlatSurface::Index c = 0; c < surface.vVertex.size(); ++c)
        sum += (surface.placeAt(FlatSurface::next(c)) - surface.placeAt(c)).length();
    const double mean = sum / static_cast<double>(std::max<std::size_t>(surface.vVertex.size(), 1)) / surface.scale();
    return std::isfinite(mean) && mean > 0.0 ? mean : 1.0;
}

}  // namespace

CrossingGuard::CrossingGuard(const FlatSurface& theSurface)
    : surface(theSurface), vPlace(theSurface.sourcePlaces()), index(meanSide(theSurface)) {
    for (Index t = 0; t < surface.numTriangles(); ++t)
        index.insert(t, cornersOf(t));
}

TriangleCorners CrossingGuard::cornersOf(Index triangle) const {
    const Index* const pVertex = &surface.vVertex[std::size_t{3} * triangle];
    return {vPlace[pVertex[0]], vPlace[pVertex[1]], vPlace[pVertex[2]]};
}

bool CrossingGuard::allows(const Collapse& collapse) {
    remaining = collapse.remaining;
    place = collapse.inMesh;
    vOld.clear();
    vKept.clear();
    vNew.clear();
    for (const Index c : collapse.vRemoved)
        vOld.push_back(c / 3);
    for (const Index c : collapse.vKept) {
        vOld.push_back(c / 3);
        vKept.push_back(c / 3);
        vNew.push_back(
            {place, vPlace[surface.vVertex[FlatSurface::next(c)]], vPlace[surface.vVertex[FlatSurface::previous(c)]]});
    }
    std::sort(vOld.begin(), vOld.end());
    return index.allows(vOld, vNew);
}

void CrossingGuard::accept() {
    vPlace[remaining] = place;
    for (const Index t : vOld)
        index.remove(t);
    for (std::size_t i = 0; i < vKept.size(); ++i)
        index.insert(vKept[i], vNew[i]);
}

}  // namespace TARN_KEL
