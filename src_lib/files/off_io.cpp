// Meshes of OFF files.
//
// The word OFF, with ST, C and N before it for what vertices carry besides their places; the numbers of vertices, faces and
// edges, in the same line or in the next one; a line for each vertex, which begins with x, y and z; a line for each face:
// how many corners, then their vertices, counted from 0. What else is in a line, such as colours, is skipped, and so are
// blank lines and what is behind '#'. Faces behind the last one that the header counts are refused: the count is wrong, and
// with it perhaps all that was read.
//
// Variants with four or n coordinates, and those as bytes, are refused.
#include "off_io.h"

#include <limits>

#include "meshReading.h"

namespace TARN_KEL {

namespace {

/// The part of a line that isn't read yet.
struct WordsLeft {
    const char* p;
    const char* end;

    explicit WordsLeft(std::string_view line) : p(line.data()), end(line.data() + line.size()) {}
    bool isAtEnd() {
        p = skipSpace(p, end);
        return p == end;
    }
    std::string_view next() {
        p = skipSpace(p, end);
        const char* const first = p;
        p = endOfWord(p, end);
        return {first, static_cast<std::size_t>(p - first)};
    }
};

/// Sets line to the next one that has more than a comment, without that. Returns false at the end.
bool nextOffLine(NumberedLines& lines, std::string_view& line) {
    while (lines.next(line)) {
        line = line.substr(0, line.find('#'));
        if (!WordsLeft(line).isAtEnd()) return true;
    }
    return false;
}

void offLineOrRefuse(NumberedLines& lines, std::string_view& line, const std::string& expected) {
    if (!nextOffLine(lines, line)) refuse("ends before " + expected);
}

constexpr std::string_view KEYWORD = "OFF";

/// Without the letters for what vertices carry, which may be before the keyword.
std::string_view withoutPrefixes(std::string_view text) {
    for (const std::string_view prefix : {"ST", "C", "N"})
        if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
    return text;
}

/// Removes the keyword from the first line. What follows are the counts, or nothing.
void skipKeyword(const NumberedLines& lines, std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    const std::string_view behindPrefixes = withoutPrefixes(line);
    for (const std::string_view other : {"4OFF", "nOFF", "4nOFF"})
        if (behindPrefixes.starts_with(other)) lines.refuseLine("only vertices with three coordinates are read");
    const std::size_t length = offKeywordLength(line);
    if (length == 0) lines.refuseLine("expected OFF");
    line.remove_prefix(length);
    if (WordsLeft(line).next() == "BINARY") lines.refuseLine("only OFF as text is read");
}

struct OffCounts {
    std::uint64_t numVertices, numFaces;
};

OffCounts readOffHeader(NumberedLines& lines) {
    const std::string expected = "the numbers of vertices and faces";
    std::string_view line;
    offLineOrRefuse(lines, line, "OFF");
    skipKeyword(lines, line);
    if (WordsLeft(line).isAtEnd()) offLineOrRefuse(lines, line, expected);
    WordsLeft words(line);
    const std::optional<std::uint64_t> numVertices = countOf(words.next()), numFaces = countOf(words.next());
    if (!numVertices || !numFaces) lines.refuseLine("expected " + expected);
    if (*numVertices > std::numeric_limits<int>::max()) lines.refuseLine("more vertices than an int can count");
    return {*numVertices, *numFaces};
}

/// Appends the triangles of a face. Returns false when the line isn't one of the mesh.
bool appendFace(std::string_view line, NumberedMesh& mesh) {
    WordsLeft words(line);
    const std::optional<std::uint64_t> numCorners = countOf(words.next());
    if (!numCorners || *numCorners < 3) return false;
    TriangleFan fan(mesh.vIndices);
    while (fan.size() < *numCorners) {
        const std::optional<std::uint64_t> index = countOf(words.next());
        if (!index || *index >= mesh.numVertices()) return false;
        fan.add(static_cast<int>(*index));
    }
    return true;
}

void readOffMesh(NumberedLines& lines, NumberedMesh& mesh) {
    const auto nameOf = [](const char* what, std::uint64_t i, std::uint64_t num) {
        return what + std::to_string(i + 1) + " of " + std::to_string(num);
    };
    const OffCounts counts = readOffHeader(lines);
    std::string_view line;
    for (std::uint64_t i = 0; i < counts.numVertices; ++i) {
        if (!nextOffLine(lines, line)) refuse("ends before " + nameOf("vertex ", i, counts.numVertices));
        const std::optional<Point3> vertex = pointOf(line);
        if (!vertex) lines.refuseLine("expected " + nameOf("vertex ", i, counts.numVertices));
        mesh.vVertices.push_back(*vertex);
    }
    for (std::uint64_t i = 0; i < counts.numFaces; ++i) {
        if (!nextOffLine(lines, line)) refuse("ends before " + nameOf("face ", i, counts.numFaces));
        if (!appendFace(line, mesh))
            lines.refuseLine("expected " + nameOf("face ", i, counts.numFaces) +
                             ", at least three corners on vertices from 0 to " + std::to_string(counts.numVertices) +
                             " exclusively");
    }
    if (nextOffLine(lines, line)) lines.refuseLine("expected no more than the faces that the header counts");
}

}  // namespace

std::size_t offKeywordLength(std::string_view text) {
    const std::string_view rest = withoutPrefixes(text);
    return rest.starts_with(KEYWORD) ? text.size() - rest.size() + KEYWORD.size() : 0;
}

bool readOff(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices) {
    return readMeshText(filename, vVertices, vIndices, readOffMesh);
}

}  // namespace TARN_KEL
