#include "Top.h"

#include "tools.h"

namespace TARN_KEL {

namespace {

void sayNotBuilt() {
    info("", "The topology repair isn't built yet: the coarse mesh stays as extracted");
}

}  // namespace

Top::Top(CMesh* pCMesh_, Calc* pCalc_) : pCMesh(pCMesh_), pCalc(pCalc_) {}

void Top::finalizeReconstructedMesh(Voro*) {
    sayNotBuilt();
}

void Top::finalizeHoleMesh(Voro*) {
    sayNotBuilt();
}

void Top::finalizeOneMelted(Voro*) {
    sayNotBuilt();
}

}  // namespace TARN_KEL
