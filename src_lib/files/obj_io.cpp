// Meshes of OBJ files.
//
// Each line is a statement that begins with a keyword. Two of them matter here: "v" is a vertex, with x, y, z and perhaps a
// weight or a colour behind them; "f" is a polygon, with a corner such as 7, 7/1, 7//3 or 7/1/3 in each word, of which the
// first number is the vertex and the third one a normal, "vn". Vertices are counted from 1 in the order of the file,
// negative numbers count back from the last one so far. All else, such as groups and materials, is skipped. Normals are kept
// where each vertex has the one of its own number. A backslash at the end of a line continues its statement in the next one,
// and '#' begins a comment.
//
// Three numbers behind the coordinates are a colour, from 0 to 1; a single one is a weight. More than three may be a weight
// and a colour, or a colour and an alpha; they are left out. Faces of fewer than three corners, which some programs leave
// behind, are left out and counted.
//
// A vertex may follow the faces that use it, so the highest number is compared with the vertices at the end.
#include "obj_io.h"

#include <array>
#include <limits>
#include <utility>

#include "attributeColumns.h"
#include "meshReading.h"

namespace TARN_KEL {

namespace {

/// The normals of a file, as long as they may be those of the vertices: by number, as far as faces tell.
class ObjNormals {
public:
    /// pColumns: null where nobody wants them.
    explicit ObjNormals(AttributeColumns* pColumns_) : pColumns(pColumns_), bOfVertices(pColumns != nullptr) {}

    void take(std::string_view text) {
        if (!bOfVertices) return;
        const std::optional<Point3> normal = pointOf(text);
        if (!normal) return giveUp();
        const std::array<double, NUM> aValue{normal->x(), normal->y(), normal->z()};
        for (std::size_t i = 0; i < NUM; ++i)
            aColumn[i].push_back(aValue[i]);
    }
    /// parts: of a corner behind the number of its vertex, such as "/1/3". vertex: its position.
    void takeCorner(std::string_view parts, int vertex) {
        if (!bOfVertices || parts.size() < 2) return;
        const std::size_t second = parts.find('/', 1);
        if (second == std::string_view::npos) return;
        int number = 0;
        const char* const end = parts.data() + parts.size();
        const auto numNormals = static_cast<int>(aColumn[0].size());
        if (extractInt(parts.data() + second + 1, end, number) != end ||
            vertex != (number < 0 ? numNormals + number : number - 1))
            giveUp();
    }
    void finish(std::size_t numVertices) {
        if (!bOfVertices || numVertices == 0 || aColumn[0].size() != numVertices) return;
        std::size_t axis = 0;
        for (const char* name : {"nx", "ny", "nz"})
            pColumns->add(name, std::move(aColumn[axis++]));
    }

private:
    static constexpr std::size_t NUM = 3;

    void giveUp() {
        bOfVertices = false;
        aColumn = {};
    }

    AttributeColumns* pColumns;
    bool bOfVertices;
    std::array<std::vector<double>, NUM> aColumn;
};

class ObjReader {
public:
    ObjReader(NumberedLines& lines_, NumberedMesh& mesh_, AttributeColumns* pAttributes)
        : lines(lines_), mesh(mesh_), normals(pAttributes), colours(pAttributes, [](std::size_t) {
              return std::vector<std::string_view>{"red", "green", "blue"};
          }) {}

    void read() {
        for (std::string_view statement; nextStatement(statement);)
            take(statement);
        if (mesh.numVertices() == 0) refuse("has no vertices, lines that begin with v");
        if (highest > mesh.numVertices())
            NumberedLines::refuseLine(lineOfHighest, "there is no vertex " + std::to_string(highest) + ", but " +
                                                         std::to_string(mesh.numVertices()));
        colours.skipTo(mesh.numVertices());
        colours.finish();
        normals.finish(mesh.numVertices());
    }

private:
    /// Sets statement to the next one; it is valid until the next call.
    bool nextStatement(std::string_view& statement) {
        if (!lines.next(statement)) return false;
        if (!isContinued(statement)) return true;
        joined.clear();
        for (bool bMore = true; bMore;) {
            bMore = isContinued(statement);
            joined += bMore ? statement.substr(0, statement.rfind('\\')) : statement;
            joined += ' ';
            if (bMore && !lines.next(statement)) refuse("ends before the statement does that a backslash continues");
        }
        statement = joined;
        return true;
    }

    static bool isContinued(std::string_view line) {
        return !line.empty() && line.back() == '\\' && line[line.find_first_not_of(" \t")] != '#';
    }

    void take(std::string_view statement) {
        const char* const end = statement.data() + statement.size();
        const char* const p = skipSpace(statement.data(), end);
        const char* const rest = endOfWord(p, end);
        const std::string_view keyword(p, static_cast<std::size_t>(rest - p));
        const std::string_view text(rest, static_cast<std::size_t>(end - rest));
        if (keyword == "v") takeVertex(text);
        if (keyword == "vn") normals.take(text);
        if (keyword == "f") takeFace(rest, end);
    }

    void takeVertex(std::string_view text) {
        if (mesh.numVertices() >= std::numeric_limits<int>::max()) lines.refuseLine("more vertices than an int can count");
        std::string_view rest;
        const std::optional<Point3> vertex = pointOf(text, rest);
        if (!vertex) lines.refuseLine("expected x, y and z of a vertex");
        takeColour(rest.substr(0, rest.find('#')));
        mesh.vVertices.push_back(*vertex);
    }

    /// words: behind the coordinates of the next vertex.
    void takeColour(std::string_view words) {
        constexpr std::size_t CHANNELS = 3;
        const char* const end = words.data() + words.size();
        std::size_t numWords = 0;
        for (const char* p = skipSpace(words.data(), end); p != end; p = skipSpace(endOfWord(p, end), end))
            ++numWords;
        if (numWords != CHANNELS) return;
        colours.skipTo(mesh.numVertices());
        colours.take(words);
    }

    void takeFace(const char* p, const char* end) {
        for (p = skipSpace(p, end); p != end && *p != '#'; p = skipSpace(p, end)) {
            int number = 0;
            const char* const behind = extractInt(p, end, number);
            if (behind == nullptr || (behind != end && *behind != '/' && !isSpace(*behind)))
                lines.refuseLine("expected the number of a vertex");
            p = endOfWord(behind, end);
            const int vertex = indexOf(number);
            mesh.polygons.add(vertex);
            normals.takeCorner({behind, static_cast<std::size_t>(p - behind)}, vertex);
        }
        mesh.polygons.endPolygon();
    }

    /// The vertex that a number means, from 0. It may still be missing.
    int indexOf(int number) {
        const std::size_t distance = number < 0 ? 0 - static_cast<std::size_t>(number) : 0;
        if (number == 0 || distance > mesh.numVertices())
            lines.refuseLine("there is no vertex " + std::to_string(number) + ", counted from the " +
                             std::to_string(mesh.numVertices()) + " so far");
        if (number < 0) return static_cast<int>(mesh.numVertices() - distance);
        if (static_cast<std::size_t>(number) > highest) {
            highest = static_cast<std::size_t>(number);
            lineOfHighest = lines.lineNumber();
        }
        return number - 1;
    }

    NumberedLines& lines;
    NumberedMesh& mesh;
    ObjNormals normals;
    WordColumns colours;
    std::string joined;       // of more lines than one
    std::size_t highest = 0;  // number of a vertex that a face has
    std::uint64_t lineOfHighest = 0;
};

}  // namespace

bool readObj(const std::string& filename, std::vector<Point3>& vVertices, std::vector<int>& vIndices,
             AttributeColumns* pAttributes) {
    return readMeshText(filename, vVertices, vIndices, [pAttributes](NumberedLines& lines, NumberedMesh& mesh) {
        ObjReader(lines, mesh, pAttributes).read();
    });
}

}  // namespace TARN_KEL
