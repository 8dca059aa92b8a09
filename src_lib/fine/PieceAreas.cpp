#include "PieceAreas.h"

#include <algorithm>

namespace TARN_KEL {

PieceAreas::PieceAreas(const RMesh& mesh) : vertices(mesh.getNumVtx_all()), vArea(mesh.getNumVtx_all()) {
    const auto numberOf = [&](const Point3* p) { return static_cast<Forest::Member>(mesh.getVtxIndex(p)); };
    std::vector<RTriangle*> vRT;
    mesh.getAliveTriangles(vRT);
    for (const RTriangle* pRT : vRT)
        for (int i = 1; i < 3; ++i)
            vertices.join(numberOf(pRT->getCorner(0)), numberOf(pRT->getCorner(i)));
    for (const RTriangle* pRT : vRT)
        vArea[pieceAt(mesh.getVtxIndex(pRT->getCorner(0)))] += pRT->getArea();
}

PieceAreas::Piece PieceAreas::largest() const {
    return static_cast<Piece>(std::max_element(vArea.begin(), vArea.end()) - vArea.begin());
}

}  // namespace TARN_KEL
