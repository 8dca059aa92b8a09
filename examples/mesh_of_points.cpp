// mesh_of_points IN OUT: the shortest road from a file of points to a file of triangles.
#include <kel.h>

int main(int argc, char** argv) {
    std::vector<TARN_KEL::Point3> vPoints;
    if (!TARN_KEL::readPointFile(argc == 3 ? argv[1] : "points.xyz", vPoints)) return 1;
    const TARN_KEL::MeshPtr pMesh = TARN_KEL::reconstruct(vPoints);
    if (!pMesh) return 1;  // nothing came of these points; a warning says why
    return TARN_KEL::writeMesh_auto(argc == 3 ? argv[2] : "mesh.ply", pMesh, false) ? 0 : 1;
}
