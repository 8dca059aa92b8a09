// The program's reader of glTF files on the bytes that libFuzzer invents; see reader_fuzz.cpp. TinyGLTF itself comes as a
// package, without the sanitizers.
#include <cstdint>
#include <string>

#include "Failure.h"
#include "GltfFile.h"
#include "fuzzing.h"
#include "support/TempFolder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TARN_TEST::TempFolder folder;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    try {
        const GltfContent content = readGltf(folder.write("input.glb", bytes));
        demand(content.vVertices.size() + content.vIndices.size() <= 1000 * bytes.size(), "no more than the bytes justify");
        demand(content.vIndices.size() % 3 == 0, "three corners per triangle");
        for (const int i : content.vIndices)
            demand(i >= 0 && static_cast<std::size_t>(i) < content.vVertices.size(), "each corner is a vertex");
        for (const TARN_KEL::AttributeColumn& column : content.attributes.vColumns)
            demand(column.size() == content.vVertices.size(), "each vertex has a row");
    } catch (const Failure&) {  // the only way to refuse a file
    }
    return 0;
}
