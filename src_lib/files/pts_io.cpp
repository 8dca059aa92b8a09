// Points of PTS and PTX files, the texts of scanners. Both are series of blocks; all of them are one cloud.
//
// A block of PTS is a line with the number of points, then a line for each: x, y, z, and what else is known, such as
// intensity and colour. A file whose first line is a point has no counts at all.
//
// A block of PTX is one scan: a line with the number of columns of its raster and one with that of its rows; four lines with
// the scanner's place and axes, which the matrix repeats; the four rows of a matrix; and a line for each place of the
// raster. A point is a row from the left to the matrix, so that the last row of the matrix is the place of the scanner and
// the last column is 0 0 0 1. Where the scanner saw nothing the file has the scanner's own place, 0 0 0.
//
// Neither says what stands behind the coordinates; how many words the first point has there tells: one is the intensity,
// three are a colour, four both, and in PTS seven these and a normal. Any other number of words is left out, as nobody can
// tell what they mean.
#include "pts_io.h"

#include <array>
#include <limits>
#include <utility>

#include "AffineMap.h"
#include "attributeColumns.h"
#include "pointReading.h"

namespace TARN_KEL {

namespace {

/// The whole number that makes up a line.
std::optional<std::uint64_t> countOfLine(std::string_view line) {
    const std::vector<std::string_view> vWord = wordsOf(line.substr(0, 64));  // more than any count has
    return vWord.size() == 1 && line.size() <= 64 ? countOf(vWord[0]) : std::nullopt;
}

/// Sets line to the next one. Refuses a file that has none.
void nextOrRefuse(NumberedLines& lines, std::string_view& line, const std::string& expected) {
    if (!lines.next(line)) refuse("ends before " + expected);
}

/// What so many words behind the coordinates are. bMayBeNormals: whether seven are known.
std::vector<std::string_view> namesOfWords(std::size_t numWords, bool bMayBeNormals) {
    const bool bNormals = numWords == 7 && bMayBeNormals;
    std::vector<std::string_view> vName;
    if (numWords == 1 || numWords == 4 || bNormals) vName.emplace_back("intensity");
    if (numWords == 3 || numWords == 4 || bNormals) vName.insert(vName.end(), {"red", "green", "blue"});
    if (bNormals) vName.insert(vName.end(), {"nx", "ny", "nz"});
    return vName;
}

/// Returns the point of the next line, the one with number i of numPoints. rest: set to what is behind it.
Point3 nextPoint(NumberedLines& lines, std::uint64_t i, std::uint64_t numPoints, std::string_view& rest) {
    std::string_view line;
    const bool bLine = lines.next(line);
    const std::optional<Point3> point = bLine ? pointOf(line, rest) : std::nullopt;
    if (point) return *point;
    const std::string expected = "point " + std::to_string(i + 1) + " of " + std::to_string(numPoints);
    if (!bLine) refuse("ends before " + expected);
    lines.refuseLine("expected " + expected);
}

// ---- PTS

/// Points without a count before them, as some programs write them. line: of the first one.
void readUncounted(NumberedLines& lines, std::string_view line, std::vector<Point3>& vPoints, WordColumns& words) {
    do {
        std::string_view rest;
        const std::optional<Point3> point = pointOf(line, rest);
        if (!point) lines.refuseLine("expected a point");
        vPoints.push_back(*point);
        words.take(rest);
        words.settleMany(vPoints);
    } while (lines.next(line));
}

void readPtsPoints(BlockReader& reader, std::vector<Point3>& vPoints, WordColumns& words) {
    NumberedLines lines(reader);
    std::string_view line;
    bool bFirstLine = true;
    while (lines.next(line)) {
        if (std::exchange(bFirstLine, false) && pointOf(line)) return readUncounted(lines, line, vPoints, words);
        const std::optional<std::uint64_t> numPoints = countOfLine(line);
        if (!numPoints) lines.refuseLine("expected a number of points");
        for (std::uint64_t i = 0; i < *numPoints; ++i) {
            std::string_view rest;
            vPoints.push_back(nextPoint(lines, i, *numPoints, rest));
            words.take(rest);
            words.settleMany(vPoints);
        }
    }
}

// ---- PTX

/// The count of a line that was read; two of them have a product in 64 bits.
std::uint64_t rasterSide(const NumberedLines& lines, std::string_view line, const std::string& what) {
    const std::optional<std::uint64_t> count = countOfLine(line);
    if (!count || *count > std::numeric_limits<std::uint32_t>::max()) lines.refuseLine("expected " + what);
    return *count;
}

void skipPose(NumberedLines& lines) {
    constexpr int NUM_LINES = 4;
    for (int i = 0; i < NUM_LINES; ++i) {
        std::string_view line;
        nextOrRefuse(lines, line, "the scanner's place and axes");
        if (!extractPoint(line)) lines.refuseLine("expected the scanner's place and axes, three numbers a line");
    }
}

/// What makes of a point of a scan one of the cloud. The rows of the file are the columns of the map.
AffineMap nextMatrix(NumberedLines& lines) {
    constexpr std::size_t NUM_ROWS = 4;
    AffineMap map;
    for (std::size_t i = 0; i < NUM_ROWS; ++i) {
        const std::string expected =
            "row " + std::to_string(i + 1) + " of the matrix, four numbers that end with " + (i < 3 ? "0" : "1");
        std::string_view line;
        nextOrRefuse(lines, line, expected);
        const char* p = line.data();
        std::array<double, NUM_ROWS> aValue{};
        for (double& value : aValue) {
            p = extractFloat(p, line.data() + line.size(), value);
            if (p == nullptr) lines.refuseLine("expected " + expected);
        }
        if (aValue.back() != (i < 3 ? 0.0 : 1.0)) lines.refuseLine("expected " + expected);
        for (std::size_t axis = 0; axis < map.aRow.size(); ++axis)
            map.aRow[axis][i] = aValue[axis];
    }
    return map;
}

void readPtxPoints(BlockReader& reader, std::vector<Point3>& vPoints, WordColumns& words) {
    const Point3 nothing(0, 0, 0);
    NumberedLines lines(reader);
    std::string_view line;
    while (lines.next(line)) {
        const std::uint64_t numColumns = rasterSide(lines, line, "the number of columns");
        nextOrRefuse(lines, line, "the number of rows");
        const std::uint64_t numPoints = numColumns * rasterSide(lines, line, "the number of rows");
        skipPose(lines);
        const AffineMap map = nextMatrix(lines);
        for (std::uint64_t i = 0; i < numPoints; ++i) {
            std::string_view rest;
            const Point3 point = nextPoint(lines, i, numPoints, rest);
            if (point == nothing) continue;
            vPoints.push_back(map(point));
            words.take(rest);
            words.settleMany(vPoints);
        }
    }
}

/// read: void(BlockReader&, std::vector<Point3>&, WordColumns&).
template <typename Read>
bool readTexts(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes, bool bMayBeNormals,
               const Read& read) {
    return readAllOrNothing(filename, vPoints, [&](const InputFile&, BlockReader& reader, std::vector<Point3>& vAppended) {
        WordColumns words(pAttributes,
                          [bMayBeNormals](std::size_t numWords) { return namesOfWords(numWords, bMayBeNormals); });
        read(reader, vAppended, words);
        words.finish();
    });
}

}  // namespace

bool readPts(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    return readTexts(filename, vPoints, pAttributes, true, readPtsPoints);
}

bool readPtx(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    return readTexts(filename, vPoints, pAttributes, false, readPtxPoints);
}

}  // namespace TARN_KEL
