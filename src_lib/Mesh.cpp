// The facade that a caller holds: every operation is the fine mesh's or a writer's.
#include "RMesh.h"
#include "Visualizer3.h"
#include "kel.h"
#include "ply_io.h"
#include "tools.h"

namespace TARN_KEL {

namespace {
const RMesh& checked(const RMesh* pRMesh) {
    ASSEX(pRMesh!=NULL);
    return *pRMesh;
}
}  // namespace

Mesh::Mesh(RMesh* pRMesh_) : pRMesh(pRMesh_) {}

Mesh::~Mesh() {
    delete pRMesh;
}

double Mesh::getAverageEdgeLength() const {
    return checked(pRMesh).getAvgLen();
}

void Mesh::getTriangles(std::vector<Point3*>& vCorners) const {
    checked(pRMesh).getTriangleCorners(vCorners);
}

void Mesh::getPoints(std::vector<Point3*>& vPoints) const {
    checked(pRMesh).getPoints(vPoints);
}

void Mesh::getVertexIndexData(std::vector<Point3*>& vVertices, std::vector<int>& vIndices) {
    checked(pRMesh).getVertexIndexData(vVertices, vIndices);
}

bool Mesh::writePly_BIN(const std::string& filename) const {
    return writeMeshPly(checked(pRMesh), filename, false);
}

bool Mesh::writePly_ASCII(const std::string& filename) const {
    return writeMeshPly(checked(pRMesh), filename, true);
}

bool Mesh::writeStl_ASCII(const std::string& filename) const {
    return writeSTL(pRMesh, filename);
}

bool Mesh::writeGeomview_ASCII(const std::string& filename) const {
    const RMesh& mesh = checked(pRMesh);
    return writeDrawing(filename, nullptr, true,
                        [&](Visualizer3& visualizer) { mesh.show(&visualizer, CGREEN, false, false); });
}

void Mesh::printStatistics(const std::string& title) const {
    checked(pRMesh).printStatistics(title);
}

}  // namespace TARN_KEL
