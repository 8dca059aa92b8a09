#include "pieces.h"

#include <algorithm>
#include <vector>

#include "PieceAreas.h"
#include "RMesh.h"
#include "geometryFunctions.h"

namespace TARN_KEL {

namespace {

std::vector<RTriangle*> aliveTriangles(const RMesh& mesh) {
    std::vector<RTriangle*> vRT;
    mesh.getAliveTriangles(vRT);
    return vRT;
}

PieceAreas::Piece pieceOf(const RTriangle* pRT, const RMesh& mesh, PieceAreas& pieces) {
    return pieces.pieceAt(mesh.getVtxIndex(pRT->getCorner(0)));
}

}  // namespace

DroppedPieces dropSmallPieces(RMesh& mesh, double minArea) {
    DroppedPieces dropped;
    if (mesh.getNumVtx_all() == 0) return dropped;
    PieceAreas pieces(mesh);
    const PieceAreas::Piece largest = pieces.largest();
    std::vector<bool> vDropped(mesh.getNumVtx_all());  // by piece
    for (RTriangle* pRT : aliveTriangles(mesh)) {
        const PieceAreas::Piece piece = pieceOf(pRT, mesh, pieces);
        if (piece == largest || pieces.areaOf(piece) >= minArea) continue;
        vDropped[piece] = true;
        pRT->kill(&mesh);
        ++dropped.numTriangles;
    }
    dropped.numPieces = static_cast<std::size_t>(std::count(vDropped.begin(), vDropped.end(), true));
    return dropped;
}

std::size_t turnOutward(RMesh& mesh) {
    const std::vector<RTriangle*> vRT = aliveTriangles(mesh);
    PieceAreas pieces(mesh);
    std::vector<double> vVolume(mesh.getNumVtx_all());  // by piece, over the vertex that stands for it
    std::vector<bool> vOpen(mesh.getNumVtx_all());      // by piece
    for (const REdge* pRE : mesh.getREdgesRef())
        if (pRE->getDegree() == 1) vOpen[pieces.pieceAt(mesh.getVtxIndex(pRE->getVtx0()))] = true;
    for (const RTriangle* pRT : vRT) {
        const PieceAreas::Piece piece = pieceOf(pRT, mesh, pieces);
        vVolume[piece] += orientation3(*pRT->getCorner(0), *pRT->getCorner(1), *pRT->getCorner(2), *mesh.getVtx(piece));
    }
    std::size_t numTurned = 0;
    for (RTriangle* pRT : vRT) {
        const PieceAreas::Piece piece = pieceOf(pRT, mesh, pieces);
        if (vOpen[piece] || !(vVolume[piece] < 0.0)) continue;
        pRT->flipNNV();
        ++numTurned;
    }
    return numTurned;
}

}  // namespace TARN_KEL
