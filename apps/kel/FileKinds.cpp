// Tells the kind of a file by its extension and, for .ply, by its header.
#include "FileKinds.h"

#include <kel.h>

#include <filesystem>
#include <fstream>
#include <sstream>

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

}  // namespace

bool isPointsText(const std::string& filename) {
    return isOfType(filename, FT_ASCII);
}

bool isPointsOnlyFile(const std::string& filename) {
    return isPointsText(filename) || isOfType(filename, FT_BIN);
}

bool isPointFile(const std::string& filename) {
    return isPointsOnlyFile(filename) || isPlyFile(filename);
}

bool isPointInput(const std::string& filename) {
    return pointFormat(filename) != PointFormat::NONE;
}

bool isTriangleFile(const std::string& filename) {
    return isPlyFile(filename) || isStlFile(filename);
}

bool isPlyFile(const std::string& filename) {
    return isOfType(filename, FT_PLY);
}

bool isStlFile(const std::string& filename) {
    return isOfType(filename, FT_STL);
}

bool isObjFile(const std::string& filename) {
    // The library has no type for it; it knows the others by these three spellings.
    const std::string extension = std::filesystem::path(filename).extension().string();
    return extension == ".obj" || extension == ".OBJ" || extension == ".Obj";
}

bool isListFile(const std::string& filename) {
    return isOfType(filename, FT_LIST);
}

bool holdsTriangles(const std::string& filename) {
    if (!isPlyFile(filename)) return isTriangleFile(filename);
    std::ifstream in(filename, std::ios_base::binary);
    return headerCountsFaces(in);
}
