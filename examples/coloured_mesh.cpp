// coloured_mesh IN OUT: a mesh of a scan with the colours, and all else, that its points carry.
#include <kel.h>

#include <iostream>

using namespace TARN_KEL;

int main(int argc, char** argv) {
    if (argc != 3) return 1;
    std::vector<Point3> vPoints;
    PointAttributes ofPoints;
    if (!readPointFile(argv[1], vPoints, ofPoints)) return 1;

    ReconstructReport report;
    const MeshPtr pMesh = reconstruct(vPoints, {}, &report);
    if (!pMesh) return 1;

    // Steps on the mesh may follow here; what the points carry comes last.
    const PointAttributes ofVertices = transferAttributes(pMesh, vPoints, ofPoints, report.cellEdge);
    if (!writeMesh_auto(argv[2], pMesh, false, Precision::AUTO, ofVertices)) return 1;

    for (const AttributeColumn& column : ofVertices.vColumns)
        std::cout << column.name << ": " << column.typeName() << "\n";
    return 0;
}
