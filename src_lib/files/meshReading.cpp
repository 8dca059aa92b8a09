// What the readers of meshes as text share.
#include "meshReading.h"

namespace TARN_KEL {

bool readMeshText(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
                  const std::function<void(NumberedLines&, NumberedMesh&)>& read) {
    const std::size_t numIndices = vIndices.size();
    const bool bRead =
        readAllOrNothing(filename, vVertices, [&](const InputFile&, BlockReader& reader, std::vector<Point3>& vAppended) {
            NumberedLines lines(reader);
            NumberedMesh mesh{vAppended, vIndices, vAppended.size()};
            read(lines, mesh);
            mesh.polygons.finish(mesh.vVertices, mesh.numOlder);
            mesh.polygons.warn(filename);
        });
    if (!bRead) vIndices.resize(numIndices);
    return bRead;
}

}  // namespace TARN_KEL
