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

/// The places of corners that both kinds of triangles have, sorted. isFirstKind: bool(const RTriangle*).
template <typename IsFirstKind>
std::vector<Point3> placesOfBoth(const std::vector<RTriangle*>& vRT, const IsFirstKind& isFirstKind) {
    std::vector<Point3> vFirst, vBoth;
    const auto forCorners = [&](bool bFirst, const auto& take) {
        for (const RTriangle* pRT : vRT)
            for (int i = 0; i < 3 && isFirstKind(pRT) == bFirst; ++i)
                take(*pRT->getCorner(i));
    };
    forCorners(true, [&](const Point3& p) { vFirst.push_back(p); });
    std::sort(vFirst.begin(), vFirst.end());
    forCorners(false, [&](const Point3& p) {
        if (std::binary_search(vFirst.begin(), vFirst.end(), p)) vBoth.push_back(p);
    });
    std::sort(vBoth.begin(), vBoth.end());
    return vBoth;
}

bool hasCornerAt(const RTriangle& rt, const std::vector<Point3>& vSortedPlace) {
    for (int i = 0; i < 3; ++i)
        if (std::binary_search(vSortedPlace.begin(), vSortedPlace.end(), *rt.getCorner(i))) return true;
    return false;
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

std::size_t dropCrumbs(RMesh& mesh, std::size_t maxTriangles) {
    const std::vector<RTriangle*> vRT = aliveTriangles(mesh);
    PieceAreas pieces(mesh);
    std::vector<std::size_t> vNumT(mesh.getNumVtx_all());  // by piece
    for (const RTriangle* pRT : vRT)
        ++vNumT[pieceOf(pRT, mesh, pieces)];
    const auto isSmall = [&](const RTriangle* pRT) { return vNumT[pieceOf(pRT, mesh, pieces)] <= maxTriangles; };
    const std::vector<Point3> vHeld = placesOfBoth(vRT, isSmall);
    std::vector<bool> vCrumb(mesh.getNumVtx_all());  // by piece
    for (const RTriangle* pRT : vRT)
        if (isSmall(pRT) && hasCornerAt(*pRT, vHeld)) vCrumb[pieceOf(pRT, mesh, pieces)] = true;
    std::size_t numDropped = 0;
    for (RTriangle* pRT : vRT) {
        if (!vCrumb[pieceOf(pRT, mesh, pieces)]) continue;
        pRT->kill(&mesh);
        ++numDropped;
    }
    return numDropped;
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
