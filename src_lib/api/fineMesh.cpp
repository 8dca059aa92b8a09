#include "fineMesh.h"

#include <algorithm>
#include <vector>

#include "messages.h"
#include "tools.h"

namespace TARN_KEL {

bool hasFiniteCorners(const RMesh& mesh) {
    std::vector<Point3> vCorners;
    mesh.getTriangleCorners(vCorners);
    const bool bFinite = std::all_of(vCorners.begin(), vCorners.end(), isFinitePoint);
    if (!bFinite) warning(KEL_PLACE, "A vertex isn't finite: the mesh stays as it is");
    return bFinite;
}

void install(std::unique_ptr<RMesh> pNew, Mesh& mesh) {
    delete mesh.pRMesh;
    mesh.pRMesh = pNew.release();
}

}  // namespace TARN_KEL
