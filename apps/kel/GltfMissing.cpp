// In place of the reader of glTF files where the package that it needs isn't installed.
#include "Failure.h"
#include "GltfFile.h"

GltfContent readGltf(const std::string& filename) {
    throw Failure(filename + " is glTF, which this program was built without: it needs the package libtinygltf-dev");
}
