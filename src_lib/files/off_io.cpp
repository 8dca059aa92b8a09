// Meshes of OFF files.
//
// The word OFF, with ST, C and N before it, in any order, for what vertices carry besides their places: a normal, a colour
// of three or four channels, and a place in a texture, in this order. The numbers of vertices, faces and edges, in the same
// line or in others; a line for each vertex, which begins with x, y and z; a line for each face: how many corners, then
// their vertices, counted from 0. What else is in a line, such as the colour of a face, is skipped, and so are
// blank lines and what is behind '#'. Faces of fewer than three corners are left out and counted. Faces behind the last one
// that the header counts are refused: the count is wrong, and with it perhaps all that was read.
//
// Variants with four or n coordinates, and those as bytes, are refused.
#include "off_io.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "attributeColumns.h"
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
    constexpr std::array<std::string_view, 3> PREFIXES{"ST", "C", "N"};  // in any order
    for (;;) {
        const auto it =
            std::find_if(PREFIXES.begin(), PREFIXES.end(), [&](auto prefix) { return text.starts_with(prefix); });
        if (it == PREFIXES.end()) return text;
        text.remove_prefix(it->size());
    }
}

/// What the keyword says that each vertex carries, in this order.
struct OffVertexParts {
    bool bNormal, bColour, bTexture;
};

/// Removes the keyword from the first line. What follows are the counts, or nothing.
OffVertexParts skipKeyword(const NumberedLines& lines, std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    const std::string_view behindPrefixes = withoutPrefixes(line);
    for (const std::string_view other : {"4OFF", "nOFF", "4nOFF"})
        if (behindPrefixes.starts_with(other)) lines.refuseLine("only vertices with three coordinates are read");
    const std::size_t length = offKeywordLength(line);
    if (length == 0) lines.refuseLine("expected OFF");
    const std::string_view prefixes = line.substr(0, length - KEYWORD.size());
    line.remove_prefix(length);
    if (WordsLeft(line).next() == "BINARY") lines.refuseLine("only OFF as text is read");
    const auto has = [prefixes](std::string_view prefix) { return prefixes.find(prefix) != std::string_view::npos; };
    return {has("N"), has("C"), has("ST")};
}

struct OffHeader {
    OffVertexParts parts;
    std::uint64_t numVertices, numFaces;
    bool bEdges;  ///< whether the number of edges is there, too
};

/// The counts may be in one line or in several; that of the edges may be missing.
OffHeader readOffHeader(NumberedLines& lines) {
    const std::string expected = "the numbers of vertices and faces";
    std::string_view line;
    offLineOrRefuse(lines, line, "OFF");
    OffHeader header{skipKeyword(lines, line), 0, 0, false};
    WordsLeft words(line);
    for (std::uint64_t* const pCount : {&header.numVertices, &header.numFaces}) {
        if (words.isAtEnd()) {
            offLineOrRefuse(lines, line, expected);
            words = WordsLeft(line);
        }
        const std::optional<std::uint64_t> count = countOf(words.next());
        if (!count) lines.refuseLine("expected " + expected);
        *pCount = *count;
    }
    if (header.numVertices > std::numeric_limits<int>::max()) lines.refuseLine("more vertices than an int can count");
    header.bEdges = !words.isAtEnd();
    return header;
}

/// What so many words behind the coordinates of a vertex are. Words for a place in a texture come last.
std::vector<std::string_view> namesOfWords(const OffVertexParts& parts, std::size_t numWords) {
    constexpr std::size_t CHANNELS = 3, NORMAL = 3, TEXTURE = 2;
    const std::size_t numOthers = (parts.bNormal ? NORMAL : 0) + (parts.bTexture ? TEXTURE : 0);
    const std::size_t numChannels = parts.bColour && numWords > numOthers ? numWords - numOthers : 0;
    std::vector<std::string_view> vName;
    if (parts.bNormal) vName.insert(vName.end(), {"nx", "ny", "nz"});
    if (numChannels == CHANNELS || numChannels == CHANNELS + 1) vName.insert(vName.end(), {"red", "green", "blue"});
    if (numChannels == CHANNELS + 1) vName.emplace_back("alpha");
    return vName;
}

/// Reads the mesh of a text.
class OffReader {
public:
    OffReader(NumberedLines& lines_, NumberedMesh& mesh_, AttributeColumns* pAttributes)
        : lines(lines_),
          mesh(mesh_),
          header(readOffHeader(lines)),
          columns(
              header.parts.bNormal || header.parts.bColour ? pAttributes : nullptr,
              [parts = header.parts](std::size_t numWords) { return namesOfWords(parts, numWords); },
              AttributeColumns::Channels::BY_SPELLING) {}

    void read() {
        readVertices();
        columns.finish();
        readFaces();
        if (nextBodyLine()) lines.refuseLine("expected no more than the faces that the header counts");
    }

private:
    /// Sets line to the next one behind the counts.
    bool nextBodyLine() {
        const bool bNext = nextOffLine(lines, line);
        if (!bNext || std::exchange(header.bEdges, true) || !isWholeNumber(line)) return bNext;
        return nextOffLine(lines, line);  // behind the number of edges, which has a line of its own
    }
    static bool isWholeNumber(std::string_view text) {
        const std::vector<std::string_view> vWord = wordsOf(text);
        std::int64_t number = 0;
        const char* const end = vWord[0].data() + vWord[0].size();
        return vWord.size() == 1 && extractInt(vWord[0].data(), end, number) == end;
    }
    static std::string nameOf(const char* what, std::uint64_t i, std::uint64_t num) {
        return what + std::to_string(i + 1) + " of " + std::to_string(num);
    }

    void readVertices() {
        for (std::uint64_t i = 0; i < header.numVertices; ++i) {
            if (!nextBodyLine()) refuse("ends before " + nameOf("vertex ", i, header.numVertices));
            std::string_view rest;
            const std::optional<Point3> vertex = pointOf(line, rest);
            if (!vertex) lines.refuseLine("expected " + nameOf("vertex ", i, header.numVertices));
            columns.take(rest);
            mesh.vVertices.push_back(*vertex);
        }
    }

    void readFaces() {
        for (std::uint64_t i = 0; i < header.numFaces; ++i) {
            if (!nextBodyLine()) refuse("ends before " + nameOf("face ", i, header.numFaces));
            if (!takeFace())
                lines.refuseLine("expected " + nameOf("face ", i, header.numFaces) +
                                 ", the number of its corners and vertices from 0 to " + std::to_string(header.numVertices) +
                                 " exclusively");
        }
    }
    /// Returns false when the line isn't a face of the mesh.
    bool takeFace() {
        WordsLeft words(line);
        const std::optional<std::uint64_t> numCorners = countOf(words.next());
        if (!numCorners) return false;
        while (mesh.polygons.size() < *numCorners) {
            const std::optional<std::uint64_t> index = countOf(words.next());
            if (!index || *index >= mesh.numVertices()) return false;
            mesh.polygons.add(static_cast<int>(*index));
        }
        mesh.polygons.endPolygon();
        return true;
    }

    NumberedLines& lines;
    NumberedMesh& mesh;
    OffHeader header;
    WordColumns columns;
    std::string_view line;
};

}  // namespace

std::size_t offKeywordLength(std::string_view text) {
    const std::string_view rest = withoutPrefixes(text);
    return rest.starts_with(KEYWORD) ? text.size() - rest.size() + KEYWORD.size() : 0;
}

bool readOff(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
             AttributeColumns* pAttributes) {
    return readMeshText(filename, vVertices, vIndices, [pAttributes](NumberedLines& lines, NumberedMesh& mesh) {
        OffReader(lines, mesh, pAttributes).read();
    });
}

}  // namespace TARN_KEL
