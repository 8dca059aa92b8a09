#include "CMesh_smoothing.h"

#include <algorithm>

#include "CMesh.h"
#include "neighbourMeans.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

void countNothing() {}

std::vector<NeighbourPair> neighbourPairsOf(const CMesh& mesh, const std::vector<Point3*>& vPinned) {
    std::vector<CEdge*> vAll;
    mesh.getCEdges(vAll);
    const auto endsOf = [&](const CEdge& edge) { return NeighbourPair(mesh.getVtx(edge.v0), mesh.getVtx(edge.v1)); };
    const auto isPinned = [&](Point3* p) { return std::binary_search(vPinned.begin(), vPinned.end(), p); };
    return neighbourPairs(vAll, endsOf, isPinned, countNothing);
}

/// The ends of the border edges, in order of their addresses.
std::vector<Point3*> borderVertices(const CMesh& mesh) {
    std::vector<CEdge*> vBorder;
    mesh.getDegN(1, vBorder);
    std::vector<Point3*> vVtx;
    for (const CEdge* pCE : vBorder)
        vVtx.insert(vVtx.end(), {mesh.getVtx(pCE->v0), mesh.getVtx(pCE->v1)});
    oneInstance(vVtx);
    return vVtx;
}

void smoothOnce(const std::vector<NeighbourPair>& vPairs) {
    std::vector<std::pair<Point3*, Point3>> vMoves;
    computeMeans(vPairs, vMoves, countNothing);
    for (const auto& [pVtx, mean] : vMoves)
        *pVtx = mean;
}

}  // namespace

void laplacianSmoothing(CMesh* pCMesh) {
    ASSEX(pCMesh!=NULL);
    smoothOnce(neighbourPairsOf(*pCMesh, {}));
}

void laplacianSmoothingKillDeg(CMesh* pCMesh, int numIterations) {
    ASSEX(pCMesh!=NULL);
    const std::vector<NeighbourPair> vPairs = neighbourPairsOf(*pCMesh, borderVertices(*pCMesh));
    for (int i = 0; i < numIterations; ++i)
        smoothOnce(vPairs);
    pCMesh->treatDegenerateT();
}

}  // namespace TARN_KEL
