// Tells the kind of a file: of one that is read by its content, where that has a signature, of one that is written by its
// extension. The library has the table of the formats that it reads; what the program adds is here.
#include "FileKinds.h"

#include <kel.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>

#include "../../src_lib/files/BlockReader.h"
#include "../../src_lib/files/InputFile.h"
#include "../../src_lib/files/fileFormats.h"
#include "../../src_lib/files/textNumbers.h"
#include "GltfFile.h"

using namespace TARN_KEL;

namespace {

bool isOfType(const std::string& filename, FileType type) {
    return getFileType(filename) == type;
}

bool headerCountsFaces(BlockReader& reader) {
    if (!reader.fill(1) || *reader.begin() != 'p') return false;  // no header: one line may be the whole file
    for (std::string_view line; reader.nextLine(line, LineEnd::ANY);) {
        std::istringstream words{std::string(line)};
        std::string first, second, count;
        words >> first >> second >> count;
        if (first == "end_header") return false;
        if (first == "element" && second == "face") return count != "0";
    }
    return false;
}

bool offCountsFaces(BlockReader& reader) {
    std::string header;
    std::size_t numVertices = 0, numFaces = 0;
    for (std::string_view line; reader.nextLine(line, LineEnd::ANY);) {
        header.append(line.substr(0, line.find('#'))) += ' ';
        // The word OFF comes first, with a blank behind it or not.
        std::istringstream counts(header.substr(std::min(header.find_first_of("0123456789"), header.size())));
        if (counts >> numVertices >> numFaces) return numFaces != 0;
    }
    return false;
}

bool objHasFaces(BlockReader& reader) {
    for (std::string_view line; reader.nextLine(line, LineEnd::ANY);) {
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (line.size() > 1 && line[0] == 'f' && isSpace(line[1])) return true;
    }
    return false;
}

/// Whether a regular file begins so; reading the start of a named pipe would consume it.
bool beginsWith(const std::string& filename, std::string_view signature) {
    std::error_code noFile;
    if (!std::filesystem::is_regular_file(filename, noFile)) return false;
    std::array<char, 4> bytes{};
    std::ifstream in(filename, std::ios_base::binary);
    in.read(bytes.data(), bytes.size());
    return std::string_view(bytes.data(), static_cast<std::size_t>(in.gcount())).starts_with(signature);
}

bool isGltfByContent(const std::string& filename) {
    return beginsWith(filename, "glTF");
}

bool isGltfName(const std::string& filename) {
    return hasExtension(filename, ".glb") || hasExtension(filename, ".gltf");
}

}  // namespace

bool isPointInput(const std::string& filename) {
    return pointFormat(filename) != PointFormat::NONE || isGltfInput(filename);
}

bool isTriangleInput(const std::string& filename) {
    return meshFormat(filename) != MeshFormat::NONE || isGltfInput(filename);
}

bool isGltfInput(const std::string& filename) {
    return isGltfByContent(filename) || (isGltfName(filename) && formatByContent(filename) == nullptr);
}

bool isGzipInput(const std::string& filename) {
    return beginsWith(filename, "\x1f\x8b");
}

bool isKnownByContent(const std::string& filename) {
    return isGltfByContent(filename) || formatByContent(filename) != nullptr;
}

std::string wrongGltfName(const std::string& filename) {
    const bool bOther = !isGltfName(filename) && !formatByName(filename).extension.empty();
    return isGltfByContent(filename) && bOther ? filename + " is read as .glb, which its content is" : "";
}

bool isPointsText(const std::string& filename) {
    return isOfType(filename, FT_ASCII);
}

bool isPointsOnlyFile(const std::string& filename) {
    return isPointsText(filename) || isOfType(filename, FT_BIN) || isLasName(filename);
}

bool isPointFile(const std::string& filename) {
    return isPointsOnlyFile(filename) || isPlyFile(filename);
}

bool isMeshOutput(const std::string& filename) {
    return numbersVertices(filename) || isStlFile(filename) || isListFile(filename);
}

bool numbersVertices(const std::string& filename) {
    return isPlyFile(filename) || isObjFile(filename) || isOffFile(filename) || isGlbFile(filename) ||
           isThreeMfFile(filename);
}

bool holdsVertexAttributes(const std::string& filename) {
    return isPlyFile(filename) || isGlbFile(filename) || isObjFile(filename) || isOffFile(filename) ||
           isThreeMfFile(filename);
}

bool holdsPointAttributes(const std::string& filename) {
    return isPlyFile(filename) || isLasName(filename);
}

bool isLasName(const std::string& filename) {
    return hasExtension(filename, ".las");
}

bool isPlyFile(const std::string& filename) {
    return isOfType(filename, FT_PLY);
}

bool isStlFile(const std::string& filename) {
    return isOfType(filename, FT_STL);
}

bool isObjFile(const std::string& filename) {
    return hasExtension(filename, ".obj");
}

bool isOffFile(const std::string& filename) {
    return hasExtension(filename, ".off");
}

bool isGlbFile(const std::string& filename) {
    return hasExtension(filename, ".glb");
}

bool isThreeMfFile(const std::string& filename) {
    return hasExtension(filename, ".3mf");
}

bool isListFile(const std::string& filename) {
    return isOfType(filename, FT_LIST);
}

bool holdsTriangles(const std::string& filename) {
    if (isGltfInput(filename)) return !readGltf(filename).vIndices.empty();
    InputFile file(filename);
    BlockReader reader(file.stream());
    switch (meshFormat(filename)) {
    case MeshFormat::NONE:
        return false;
    case MeshFormat::PLY:
        return headerCountsFaces(reader);
    case MeshFormat::OFF:
        return offCountsFaces(reader);
    case MeshFormat::OBJ:
        return objHasFaces(reader);
    case MeshFormat::STL:
        break;
    }
    return true;
}
