#include "RTop.h"

#include "tools.h"

namespace TARN_KEL {

RTop::RTop(RMesh* pRMesh_) : pRMesh(pRMesh_) {}

void RTop::finalizeBase() {
    info("", "The clean-up of the fine mesh isn't built yet: triangles aren't oriented alike");
}

}  // namespace TARN_KEL
