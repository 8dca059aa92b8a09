// Laplacian smoothing of the coarse mesh.
#include "CMesh_smoothing.h"

#include <algorithm>

#include "CMesh.h"
#include "NeighbourLists.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The ends of these edges, in order of their addresses.
std::vector<Point3*> endsOf(const CMesh& mesh, const std::vector<CEdge*>& vCE) {
    std::vector<Point3*> vVtx;
    for (const CEdge* pCE : vCE)
        vVtx.insert(vVtx.end(), {mesh.getVtx(pCE->v0), mesh.getVtx(pCE->v1)});
    oneInstanceMT(vVtx);
    return vVtx;
}

NeighbourLists neighbourLists(const CMesh& mesh, bool bPinBorder) {
    std::vector<CEdge*> vAll, vBorder;
    mesh.getCEdges(vAll);
    if (bPinBorder) mesh.getDegN(1, vBorder);
    const std::vector<Point3*> vVtx = endsOf(mesh, vAll);
    const auto numberOf = [&](const Point3* p) {
        return static_cast<std::size_t>(std::lower_bound(vVtx.begin(), vVtx.end(), p) - vVtx.begin());
    };
    std::vector<char> vPinned(vVtx.size(), 0);
    for (const Point3* p : endsOf(mesh, vBorder))
        vPinned[numberOf(p)] = 1;
    const auto numbersOf = [&](const CEdge& edge) {
        return std::pair(numberOf(mesh.getVtx(edge.v0)), numberOf(mesh.getVtx(edge.v1)));
    };
    return {vAll, vVtx, vPinned, numbersOf, [] {}};
}

void smoothOnce(const NeighbourLists& lists) {
    std::vector<VertexMove> vMoves;
    lists.computeMeans(vMoves);
    for (const auto& [pVtx, mean] : vMoves)
        *pVtx = mean;
}

}  // namespace

void laplacianSmoothing(CMesh* pCMesh) {
    ASSEX(pCMesh!=NULL);
    smoothOnce(neighbourLists(*pCMesh, false));
}

void laplacianSmoothingKillDeg(CMesh* pCMesh, int numIterations) {
    ASSEX(pCMesh!=NULL);
    const NeighbourLists lists = neighbourLists(*pCMesh, true);
    for (int i = 0; i < numIterations; ++i)
        smoothOnce(lists);
    pCMesh->treatDegenerateT();
}

}  // namespace TARN_KEL
