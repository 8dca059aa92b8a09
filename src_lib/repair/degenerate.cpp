// Removes degenerate triangles of the coarse mesh.
#include "degenerate.h"

#include <vector>

#include "CMesh.h"
#include "tools.h"

namespace TARN_KEL {

void killDegenerate(CMesh& mesh) {
    std::vector<CTriangle*> vCT;
    mesh.getAliveTriangles(vCT);
    for (CTriangle* pCT : vCT) {
        if (!pCT->isAlive() || !pCT->isDegenerate(&mesh)) continue;
        const int ici = pCT->getLargestEdgeICI(&mesh);
        if (pCT->getCEdge(ici)->getDegree() == 1)
            pCT->kill(&mesh);
        else if (!splitOrMove(mesh, pCT, ici))
            warning(KEL_PLACE, "No success of trySplitNeigsKillT() and laplacianForOne()");
    }
}

bool splitOrMove(CMesh& mesh, CTriangle* pCT, int ici) {
    std::vector<CTriangle*> vNewT;
    if (pCT->getCEdge(ici)->trySplitNeigsKillT(&mesh, pCT, ici, vNewT)) return true;
    for (int i = 0; i < 3; ++i)
        if (mesh.laplacianForOne(pCT->getCorner((ici + i) % 3))) return true;
    return false;
}

}  // namespace TARN_KEL
