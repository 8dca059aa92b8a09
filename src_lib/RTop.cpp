#include "RTop.h"

#include "ManifoldMaker.h"
#include "RMesh.h"
#include "tools.h"

namespace TARN_KEL {

RTop::RTop(RMesh* pRMesh_) : pRMesh(pRMesh_) {
    ASSEX(pRMesh!=NULL);
}

// Duplicates first: two triangles on the same corners make each other's edges look like edges of a surface, or close, and
// patches must not end or go on there. Collapses keep the orientation, so they may come last.
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
