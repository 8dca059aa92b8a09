// The clean-up passes of the fine mesh.
#include "RTop.h"

#include "ManifoldMaker.h"
#include "RMesh.h"
#include "tools.h"

namespace TARN_KEL {

RTop::RTop(RMesh* pRMesh_) : pRMesh(pRMesh_) {
    ASSEX(pRMesh!=NULL);
}

// Duplicates first: with two triangles on the same corners their edges look like inner edges of a surface, or like MEs, and
// patches must neither continue nor end there. Collapses keep the orientation, so they may come last.
void RTop::finalizeBase() {
    pRMesh->removeDups();
    pRMesh->createPatchesOrient();
    pRMesh->killDegenerate();
}

void RTop::clearDegenerate(bool bKeepManifold) {
    pRMesh->killDegenerate(bKeepManifold);
    if (bKeepManifold) removeFlatFromManifold(*pRMesh);
}

}  // namespace TARN_KEL
