// The normals of the vertices of a mesh.
//
// Each triangle adds its unit normal, times its angle, to each of its corners. A flat part adds the angle that it takes up
// at a vertex, however many triangles it is cut into; areas as weights would make the cut show.
#include <cstddef>
#include <vector>

#include "geometryFunctions.h"
#include "kel.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double NO_DIRECTION = 1e-10;  // a sum so short, in degrees, is what rounding leaves of opposite normals

/// The angle of a triangle at p in degrees. Both other corners must be elsewhere.
double cornerAngle(const Point3& p, const Point3& q, const Point3& r) {
    return getAngleDegree(normalize(q - p), normalize(r - p));
}

}  // namespace

std::vector<Vector3> vertexNormals(MeshPtr pMesh) {
    ASSEX(pMesh!=NULL);
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vVertices, vIndices);
    std::vector<Vector3> vNormals(vVertices.size());
    for (std::size_t i = 0; i + 2 < vIndices.size(); i += 3) {
        const auto number = [&](std::size_t corner) { return static_cast<std::size_t>(vIndices[i + corner % 3]); };
        const auto place = [&](std::size_t corner) -> const Point3& { return *vVertices[number(corner)]; };
        bool bOK = false;
        const Vector3 normal = getNormalVector(place(0), place(1), place(2), bOK);
        if (!bOK) continue;
        for (std::size_t corner = 0; corner < 3; ++corner)
            vNormals[number(corner)] += normal * cornerAngle(place(corner), place(corner + 1), place(corner + 2));
    }
    for (Vector3& normal : vNormals)
        normal = normal.length() > NO_DIRECTION ? normalize(normal) : Vector3();
    return vNormals;
}

}  // namespace TARN_KEL
