// Meshes of OBJ files.
//
// Each line is a statement that begins with a keyword. Two of them matter here: "v" is a vertex, with x, y, z and perhaps a
// weight or a colour behind them; "f" is a polygon, with a corner such as 7, 7/1, 7//3 or 7/1/3 in each word, of which the
// first number is the vertex. Vertices are counted from 1 in the order of the file, negative numbers count back from the
// last one so far. All else, such as normals, groups and materials, is skipped. A backslash at the end of a line continues
// its statement in the next one, and '#' begins a comment.
//
// Three numbers behind the coordinates are a colour, from 0 to 1; a single one is a weight. More than three may be a weight
// and a colour, or a colour and an alpha; they are left out. Faces of fewer than three corners, which some programs leave
// behind, are left out and counted.
//
// A vertex may follow the faces that use it, so the highest number is compared with the vertices at the end.
#include "obj_io.h"

#include <limits>

#include "attributeColumns.h"
#include "meshReading.h"

namespace TARN_KEL {

namespace {

/// The colours of vertices, of those that have one.
class VertexColours {
public:
    /// pColumns: null where nobody wants them.
    explicit VertexColours(AttributeColumns* pColumns_) : pColumns(pColumns_) {}

    /// text: the numbers of the vertex with that number, from 0.
    void take(std::string_view text, std::size_t vertex) {
        constexpr std::size_t FIRST = 3, NUM = 3;
        if (pColumns == nullptr) return;
        const std::vector<std::string_view> vWord = wordsOf(text.substr(0, text.find('#')));
        if (vWord.size() != FIRST + NUM) return;
        if (pColumns->columns().empty())
            for (const char* name : {"red", "green", "blue"})
                pColumns->add(name, noValues<double>());
        for (std::size_t i = 0; i < NUM; ++i) {
            pColumns->fill(i, vertex);
            pColumns->appendText(i, vWord[FIRST + i]);
        }
    }
    void finish(std::size_t numVertices) {
        if (pColumns == nullptr) return;
        pColumns->fillAll(numVertices);
        pColumns->chooseTypes();
    }

private:
    AttributeColumns* pColumns;
};

class ObjReader {
public:
    ObjReader(NumberedLines& lines_, NumberedMesh& mesh_, AttributeColumns* pAttributes)
        : lines(lines_), mesh(mesh_), colours(pAttributes) {}

    void read() {
        for (std::string_view statement; nextStatement(statement);)
            take(statement);
        if (mesh.numVertices() == 0) refuse("has no vertices, lines that begin with v");
        if (highest > mesh.numVertices())
            NumberedLines::refuseLine(lineOfHighest, "there is no vertex " + std::to_string(highest) + ", but " +
                                                         std::to_string(mesh.numVertices()));
        colours.finish(mesh.numVertices());
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
        if (keyword == "v") takeVertex({rest, static_cast<std::size_t>(end - rest)});
        if (keyword == "f") takeFace(rest, end);
    }

    void takeVertex(std::string_view text) {
        if (mesh.numVertices() >= std::numeric_limits<int>::max()) lines.refuseLine("more vertices than an int can count");
        const std::optional<Point3> vertex = pointOf(text);
        if (!vertex) lines.refuseLine("expected x, y and z of a vertex");
        colours.take(text, mesh.numVertices());
        mesh.vVertices.push_back(*vertex);
    }

    void takeFace(const char* p, const char* end) {
        for (p = skipSpace(p, end); p != end && *p != '#'; p = skipSpace(p, end)) {
            int number = 0;
            const char* const behind = extractInt(p, end, number);
            if (behind == nullptr || (behind != end && *behind != '/' && !isSpace(*behind)))
                lines.refuseLine("expected the number of a vertex");
            mesh.polygons.add(indexOf(number));
            p = endOfWord(behind, end);
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
    VertexColours colours;
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
