// The operations of a fine triangle that need its edges or its mesh.
#include "REdge.h"
#include "RMesh.h"
#include "RTriangle.h"
#include "meshCore.h"

namespace TARN_KEL {

void RTriangle::getNeigs(int i, std::vector<RTriangle*>& vRT) const {
    for (RTriangle* pRT : getRE(i)->vRT)
        if (pRT != this && pRT->bAlive) vRT.push_back(pRT);
}

bool RTriangle::hasBorder() const {
    return pRE01->vRT.size() == 1 || pRE12->vRT.size() == 1 || pRE02->vRT.size() == 1;
}

void RTriangle::kill(RMesh* pRMesh) {
    killTriangle(this, pRMesh);
}

}  // namespace TARN_KEL
