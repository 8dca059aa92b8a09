// Removes degenerate triangles of the coarse mesh.
#include "degenerate.h"

#include <unordered_set>
#include <vector>

#include "CMesh.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

// All are judged beforehand. Where a corner may have moved since, they are judged again.
void killDegenerate(CMesh& mesh) {
    std::vector<CTriangle*> vCT;
    mesh.getAliveTriangles(vCT);
    std::vector<char> vFlat;
    transform_MT(vCT, vFlat, [&mesh](const CTriangle* pCT) { return static_cast<char>(pCT->isDegenerate(&mesh)); });
    std::unordered_set<const CTriangle*> sAgain;  // never iterated over
    for (std::size_t i = 0; i < vCT.size(); ++i) {
        CTriangle* pCT = vCT[i];
        if (vFlat[i] == 0 && (sAgain.empty() || sAgain.count(pCT) == 0)) continue;
        if (!pCT->isAlive() || !pCT->isDegenerate(&mesh)) continue;
        for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2}) {
            std::vector<CTriangle*> vAround;
            mesh.getIncidentT(vcd, vAround);
            sAgain.insert(vAround.begin(), vAround.end());
        }
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
