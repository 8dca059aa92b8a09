#include "pieces.h"

#include <set>
#include <vector>

#include "PieceAreas.h"
#include "RMesh.h"

namespace TARN_KEL {

DroppedPieces dropSmallPieces(RMesh& mesh, double minArea) {
    DroppedPieces dropped;
    if (mesh.getNumVtx_all() == 0) return dropped;
    PieceAreas pieces(mesh);
    const PieceAreas::Piece largest = pieces.largest();
    std::set<PieceAreas::Piece> sDropped;
    std::vector<RTriangle*> vRT;
    mesh.getAliveTriangles(vRT);
    for (RTriangle* pRT : vRT) {
        const PieceAreas::Piece piece = pieces.pieceAt(mesh.getVtxIndex(pRT->getCorner(0)));
        if (piece == largest || pieces.areaOf(piece) >= minArea) continue;
        sDropped.insert(piece);
        pRT->kill(&mesh);
        ++dropped.numTriangles;
    }
    dropped.numPieces = sDropped.size();
    return dropped;
}

}  // namespace TARN_KEL
