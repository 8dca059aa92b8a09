// The table of the formats, and what their files begin with.
//
// A signature must be one that no file of another format has by chance, since it overrules the name: a text of points may
// begin with the word "solid", but has no "facet" in the lines behind it. What has no signature, such as tables and points
// as text, is known by its name alone.
#include "fileFormats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "InputFile.h"
#include "las_io.h"
#include "off_io.h"
#include "pcd_io.h"
#include "stl_io.h"
#include "textNumbers.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::array<FileFormat, 15> FORMATS{{
    {".stl", FT_STL, PointFormat::NONE, MeshFormat::STL},
    {".ply", FT_PLY, PointFormat::PLY, MeshFormat::PLY},
    {".xyz", FT_ASCII, PointFormat::ASCII, MeshFormat::NONE},
    {".txt", FT_ASCII, PointFormat::ASCII, MeshFormat::NONE},
    {".asc", FT_ASCII, PointFormat::ASCII, MeshFormat::NONE},
    {".bin", FT_BIN, PointFormat::BIN, MeshFormat::NONE},
    {".list", FT_LIST, PointFormat::NONE, MeshFormat::NONE},
    {".las", FT_UNKNOWN, PointFormat::LAS, MeshFormat::NONE},
    {".laz", FT_UNKNOWN, PointFormat::LAS, MeshFormat::NONE},
    {".pcd", FT_UNKNOWN, PointFormat::PCD, MeshFormat::NONE},
    {".pts", FT_UNKNOWN, PointFormat::PTS, MeshFormat::NONE},
    {".ptx", FT_UNKNOWN, PointFormat::PTX, MeshFormat::NONE},
    {".csv", FT_UNKNOWN, PointFormat::CSV, MeshFormat::NONE},
    {".obj", FT_UNKNOWN, PointFormat::OBJ, MeshFormat::OBJ},
    {".off", FT_UNKNOWN, PointFormat::OFF, MeshFormat::OFF},
}};
constexpr FileFormat NO_FORMAT{"", FT_UNKNOWN, PointFormat::NONE, MeshFormat::NONE};

/// The first bytes of a file, and how many it has.
struct FileStart {
    std::string_view bytes;
    std::uint64_t fileLength;
};

bool isPlyStart(const FileStart& start) {
    return start.bytes.starts_with("ply\n") || start.bytes.starts_with("ply\r");
}

bool isLasStart(const FileStart& start) {
    return start.bytes.starts_with(LAS_SIGNATURE);
}

/// The comment that most writers begin with, or the first entry of the header.
bool isPcdStart(const FileStart& start) {
    constexpr std::string_view VERSION = "VERSION ";
    if (start.bytes.starts_with(PCD_SIGNATURE)) return true;
    if (!start.bytes.starts_with(VERSION) || start.bytes.size() == VERSION.size()) return false;
    const char c = start.bytes[VERSION.size()];
    return c == '.' || (c >= '0' && c <= '9');
}

/// The keyword alone, as a header of columns may begin with it.
bool isOffStart(const FileStart& start) {
    const std::size_t length = offKeywordLength(start.bytes);
    return length > 0 && length < start.bytes.size() && isSpace(start.bytes[length]);
}

/// Bytes are those of an STL when the length of the file fits their count; other files of 84 bytes may have one of 0.
bool isStlStart(const FileStart& start) {
    return (isBinaryStl(start.bytes, start.fileLength) && start.fileLength > STL_HEADER) || isTextStl(start.bytes);
}

/// Reading the start of a FIFO would consume it.
bool isRegularFile(const std::string& filename) {
    std::error_code noFile;
    return std::filesystem::is_regular_file(filename, noFile);
}

/// bytes: gets what the result refers to.
FileStart readStart(const std::string& filename, std::string& bytes) {
    bytes.resize(1024);
    InputFile file(filename);
    file.stream().read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.stream().gcount()));
    return {bytes, file.size().value_or(0)};
}

struct Signature {
    bool (*isStart)(const FileStart&);
    std::string_view extension;
};
constexpr std::array<Signature, 5> SIGNATURES{{
    {isPlyStart, ".ply"}, {isLasStart, ".las"}, {isPcdStart, ".pcd"}, {isOffStart, ".off"}, {isStlStart, ".stl"}  //
}};

}  // namespace

bool hasExtension(std::string_view filename, std::string_view extension) {
    if (filename.size() < extension.size()) return false;
    const std::string_view end = filename.substr(filename.size() - extension.size());
    if (end == extension) return true;
    const auto toUpper = [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); };
    std::string spelling(extension);
    spelling[1] = toUpper(spelling[1]);
    if (end == spelling) return true;
    std::transform(spelling.begin(), spelling.end(), spelling.begin(), toUpper);
    return end == spelling;
}

const FileFormat& formatByName(std::string_view filename) {
    const auto it = std::find_if(FORMATS.begin(), FORMATS.end(),
                                 [&](const FileFormat& format) { return hasExtension(filename, format.extension); });
    return it != FORMATS.end() ? *it : NO_FORMAT;
}

const FileFormat* formatByContent(const std::string& filename) {
    if (!isRegularFile(filename)) return nullptr;
    std::string bytes;
    const FileStart start = readStart(filename, bytes);
    for (const Signature& signature : SIGNATURES)
        if (signature.isStart(start)) return &formatByName(signature.extension);
    return nullptr;
}

bool isE57(const std::string& filename) {
    std::string bytes;
    if (isRegularFile(filename) && readStart(filename, bytes).bytes.starts_with("ASTM-E57")) return true;
    return hasExtension(filename, ".e57") && formatByContent(filename) == nullptr;
}

const FileFormat& formatOf(const std::string& filename) {
    const FileFormat* const pFormat = formatByContent(filename);
    return pFormat != nullptr ? *pFormat : formatByName(filename);
}

bool meshFileHolds(std::string_view filename, AttributeKind kind) {
    const MeshFormat format = formatByName(filename).triangles;
    if (format == MeshFormat::OBJ || format == MeshFormat::OFF)
        return kind == AttributeKind::COLOUR || kind == AttributeKind::NORMAL;
    return format == MeshFormat::PLY;
}

void warnOfWrongName(const char* place, const std::string& filename) {
    const FileFormat& byName = formatByName(filename);
    const FileFormat* const pFormat = formatByContent(filename);
    const bool bSame = pFormat == nullptr || (pFormat->points == byName.points && pFormat->triangles == byName.triangles);
    if (bSame || byName.extension.empty()) return;
    warning(place, filename + " is read as " + std::string(pFormat->extension) + ", which its content is");
}

}  // namespace TARN_KEL
