// Surfaces as arrays. Sides are matched by sorting: each side is entered at the lower of its two vertices, and the short
// list of a vertex is sorted by the higher one, so that the two corners of an edge become neighbours in it.
#include "FlatSurface.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "CoarseSurface.h"
#include "RMesh.h"
#include "edgeGeometry.h"
#include "listsByNumber.h"
#include "tarn_locate3/Bbox3.h"

namespace TARN_KEL {

FlatSurface::FlatSurface(const RMesh& mesh) {
    std::vector<Index> vNumber(mesh.getNumVtx_all(), NONE);
    std::size_t numAlive = 0;
    for (const RTriangle* pRT : mesh.vRT) {
        if (!pRT->isAlive()) continue;
        ++numAlive;
        for (const Point3* p : pRT->aCorners)
            vNumber[mesh.getVtxIndex(p)] = 0;
    }
    for (std::size_t i = 0; i < vNumber.size(); ++i) {
        if (vNumber[i] == NONE) continue;
        vNumber[i] = static_cast<Index>(vSource.size());
        vSource.push_back(mesh.getVtx(i));
    }
    vVertex.reserve(3 * numAlive);
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive())
            for (const Point3* p : pRT->aCorners)
                vVertex.push_back(vNumber[mesh.getVtxIndex(p)]);
    setUnit();
    vCorner.assign(vSource.size(), NONE);
    for (Index c = static_cast<Index>(vVertex.size()); c-- > 0;)
        vCorner[vVertex[c]] = c;
    bManifold = matchSides() && hasOneFanEach() && !hasFlatOrDouble();
}

void FlatSurface::setUnit() {
    TARN_LOCATE3::Bbox3 box;
    for (const Point3* p : vSource)
        box.widen(p->x(), p->y(), p->z());
    if (vSource.empty()) return;
    // Halves first: the sum or the difference of two large coordinates may overflow.
    origin = Point3(box.minX / 2 + box.maxX / 2, box.minY / 2 + box.maxY / 2, box.minZ / 2 + box.maxZ / 2);
    const double half = std::max({box.maxX / 2 - box.minX / 2, box.maxY / 2 - box.minY / 2, box.maxZ / 2 - box.minZ / 2});
    int exponent = 0;
    if (half > 0.0) std::frexp(half, &exponent);
    toUnit = std::ldexp(1.0, std::clamp(-exponent, -1000, 1000));
    vPlace.reserve(vSource.size());
    for (const Point3* p : vSource)
        vPlace.push_back(toOwn(*p));
}

bool FlatSurface::matchSides() {
    const auto numCorners = static_cast<Index>(vVertex.size());
    auto sides = listsByNumber<Index, Index>(vSource.size(), [&](const auto& add) {
        for (Index c = 0; c < numCorners; ++c)
            add(std::min(vVertex[next(c)], vVertex[previous(c)]), c);
    });

    vOpposite.assign(numCorners, NONE);
    const auto higher = [this](Index c) { return std::max(vVertex[next(c)], vVertex[previous(c)]); };
    for (std::size_t i = 0; i < vSource.size(); ++i) {
        Index* const pBegin = sides.begin(i);
        Index* const pEnd = sides.end(i);
        std::sort(pBegin, pEnd, [&](Index a, Index b) { return higher(a) != higher(b) ? higher(a) < higher(b) : a < b; });
        for (Index* p = pBegin; p != pEnd;) {
            Index* q = p + 1;
            while (q != pEnd && higher(*q) == higher(*p))
                ++q;
            if (q - p > 2) return false;
            if (q - p == 2) {
                if (vVertex[next(p[0])] == vVertex[next(p[1])]) return false;  // both go along it the same way
                vOpposite[p[0]] = p[1];
                vOpposite[p[1]] = p[0];
            }
            p = q;
        }
    }
    return true;
}

bool FlatSurface::hasOneFanEach() const {
    std::size_t numReached = 0;
    for (const Index corner : vCorner)
        forFan(corner, [&](Index) { ++numReached; });
    return numReached == vVertex.size();
}

bool FlatSurface::hasFlatOrDouble() const {
    for (Index c = 0; c < vVertex.size(); ++c)
        if (vOpposite[c] != NONE && vVertex[vOpposite[c]] == vVertex[c]) return true;
    for (Index c = 0; c < vVertex.size(); c += 3)
        if (isFlat(placeAt(c + 1) - placeAt(c), placeAt(c + 2) - placeAt(c))) return true;
    return false;
}

std::vector<Point3> FlatSurface::sourcePlaces() const {
    std::vector<Point3> vPoint;
    vPoint.reserve(vSource.size());
    for (const Point3* p : vSource)
        vPoint.push_back(*p);
    return vPoint;
}

std::vector<std::array<FlatSurface::Index, 3>> FlatSurface::triples() const {
    std::vector<std::array<Index, 3>> vTriple(numTriangles());
    for (std::size_t c = 0; c < vVertex.size(); ++c)
        vTriple[c / 3][c % 3] = vVertex[c];
    return vTriple;
}

std::unique_ptr<RMesh> meshOf(const FlatSurface& surface, const std::vector<char>& vMoved, double sideLen) {
    constexpr FlatSurface::Index USED = 0;
    std::vector<FlatSurface::Index> vNumber(surface.numVertices(), FlatSurface::NONE);  // first USED, then in the new mesh
    CoarseSurface made;
    made.sideLen = sideLen;
    made.vTriangle = surface.triples();
    std::erase_if(made.vTriangle, [](const auto& triple) { return triple[0] == FlatSurface::NONE; });
    for (const auto& triple : made.vTriangle)
        for (const FlatSurface::Index v : triple)
            vNumber[v] = USED;
    for (std::size_t v = 0; v < vNumber.size(); ++v) {
        if (vNumber[v] == FlatSurface::NONE) continue;
        vNumber[v] = static_cast<FlatSurface::Index>(made.vVertex.size());
        made.vVertex.push_back(vMoved[v] != 0 ? surface.toMesh(surface.vPlace[v]) : *surface.vSource[v]);
    }
    for (auto& triple : made.vTriangle)
        for (FlatSurface::Index& v : triple)
            v = vNumber[v];
    return std::make_unique<RMesh>(made);
}

}  // namespace TARN_KEL
