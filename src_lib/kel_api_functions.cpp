// Post-processing of a finished mesh.
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

void sayNotBuilt(const std::string& place, const std::string& what) {
    warning(place, what + " isn't built yet: the mesh stays as it is");
}

}  // namespace

int reduce(MeshPtr pMesh, double, double) {
    ASSEX(pMesh!=NULL);
    sayNotBuilt(KEL_PLACE, "Reduction");
    return 0;
}

void edgeFlips(MeshPtr pMesh) {
    ASSEX(pMesh!=NULL);
    sayNotBuilt(KEL_PLACE, "Edge flipping");
}

void edgeFlipsSimA(MeshPtr pMesh) {
    ASSEX(pMesh!=NULL);
    sayNotBuilt(KEL_PLACE, "Annealed edge flipping");
}

void laplacianSmoothing(MeshPtr pMesh, int) {
    ASSEX(pMesh!=NULL);
    sayNotBuilt(KEL_PLACE, "Smoothing");
}

void findHoles(MeshPtr pMesh) {
    ASSEX(pMesh!=NULL);
    sayNotBuilt(KEL_PLACE, "The drawing of holes");
}

}  // namespace TARN_KEL
