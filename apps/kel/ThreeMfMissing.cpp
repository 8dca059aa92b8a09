// In place of the writer of 3MF files where the package that it needs isn't installed.
#include "Failure.h"
#include "ThreeMfFile.h"

bool writeThreeMf(const std::string& filename, const TARN_KEL::MeshPtr&, const TARN_KEL::Vector3&,
                  const TARN_KEL::PointAttributes&) {
    throw Failure(filename + " is 3MF, which this program was built without: it needs the package lib3mf-dev");
}
