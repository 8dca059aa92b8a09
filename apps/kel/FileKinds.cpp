// Tells the kind of a file by its extension and, for meshes that may lack triangles, by its content.
#include "FileKinds.h"

#include <kel.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

using namespace TARN_KEL;

namespace {

bool isOfType(const std::string& filename, FileType type) {
    return getFileType(filename) == type;
}

bool headerCountsFaces(std::istream& in) {
    std::string line;
    if (in.peek() != 'p') return false;  // no header: one line may be the whole file
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string first, second, count;
        words >> first >> second >> count;
        if (first == "end_header") return false;
        if (first == "element" && second == "face") return count != "0";
    }
    return false;
}

/// Whether vertices have more than coordinates.
bool headerHasColumns(std::istream& in) {
    if (in.peek() != 'p') return false;
    bool bVertex = false;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string first, second, third;
        words >> first >> second >> third;
        if (first == "end_header") return false;
        if (first == "element") bVertex = second == "vertex";
        const bool bColumn = first == "property" && second != "list";
        if (bVertex && bColumn && third != "x" && third != "y" && third != "z") return true;
    }
    return false;
}

/// By the first vertex.
bool objHasColours(std::istream& in) {
    constexpr int NUM_WITH_COLOUR = 6;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string word;
        if (!(words >> word) || word != "v") continue;
        int numNumbers = 0;
        while (words >> word)
            ++numNumbers;
        return numNumbers >= NUM_WITH_COLOUR;
    }
    return false;
}

bool offCountsFaces(std::istream& in) {
    std::string line, header;
    std::size_t numVertices = 0, numFaces = 0;
    while (std::getline(in, line)) {
        header += line.substr(0, line.find('#')) + ' ';
        // The word OFF comes first, with a blank behind it or not.
        std::istringstream counts(header.substr(std::min(header.find_first_of("0123456789"), header.size())));
        if (counts >> numVertices >> numFaces) return numFaces != 0;
    }
    return false;
}

bool objHasFaces(std::istream& in) {
    for (std::string line; std::getline(in, line);) {
        const std::size_t first = line.find_first_not_of(" \t");
        if (line.compare(std::min(first, line.size()), 1, "f") == 0 &&
            std::isspace(static_cast<unsigned char>(line[first + 1])) != 0)
            return true;
    }
    return false;
}

}  // namespace

bool isPointsText(const std::string& filename) {
    return isOfType(filename, FT_ASCII);
}

bool isPointsOnlyFile(const std::string& filename) {
    return isPointsText(filename) || isOfType(filename, FT_BIN) || isLasName(filename);
}

bool isPointFile(const std::string& filename) {
    return isPointsOnlyFile(filename) || isPlyFile(filename);
}

bool isPointInput(const std::string& filename) {
    return pointFormat(filename) != PointFormat::NONE;
}

bool isTriangleFile(const std::string& filename) {
    return meshFormat(filename) != MeshFormat::NONE;
}

bool isMeshOutput(const std::string& filename) {
    return isTriangleFile(filename) || isGlbFile(filename) || isListFile(filename);
}

bool holdsVertexAttributes(const std::string& filename) {
    return isPlyFile(filename) || isGlbFile(filename) || isObjFile(filename);
}

bool holdsPointAttributes(const std::string& filename) {
    return isPlyFile(filename) || isLasName(filename);
}

bool isLasName(const std::string& filename) {
    return filename.ends_with(".las") || filename.ends_with(".LAS") || filename.ends_with(".Las");
}

bool isPlyFile(const std::string& filename) {
    return isOfType(filename, FT_PLY);
}

bool isStlFile(const std::string& filename) {
    return isOfType(filename, FT_STL);
}

bool isObjFile(const std::string& filename) {
    return meshFormat(filename) == MeshFormat::OBJ;
}

bool isOffFile(const std::string& filename) {
    return meshFormat(filename) == MeshFormat::OFF;
}

bool isGlbFile(const std::string& filename) {
    return filename.ends_with(".glb") || filename.ends_with(".GLB") || filename.ends_with(".Glb");
}

bool isListFile(const std::string& filename) {
    return isOfType(filename, FT_LIST);
}

bool isE57File(const std::string& filename) {
    return filename.ends_with(".e57") || filename.ends_with(".E57");
}

bool mayCarryColumns(const std::string& filename) {
    std::error_code noFile;
    if (!std::filesystem::is_regular_file(filename, noFile)) return false;
    std::ifstream in(filename, std::ios_base::binary);
    return isPlyFile(filename) ? headerHasColumns(in) : isObjFile(filename) && objHasColours(in);
}

bool holdsTriangles(const std::string& filename) {
    std::ifstream in(filename, std::ios_base::binary);
    switch (meshFormat(filename)) {
    case MeshFormat::NONE:
        return false;
    case MeshFormat::PLY:
        return headerCountsFaces(in);
    case MeshFormat::OFF:
        return offCountsFaces(in);
    case MeshFormat::OBJ:
        return objHasFaces(in);
    case MeshFormat::STL:
        break;
    }
    return true;
}
