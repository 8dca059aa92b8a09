// Points as text without a header.
//
// Lines are parsed in the read buffer, numbers as a stream would parse them. Each line that begins with three numbers is a
// point; others are skipped, as they may be headers or comments. Behind the first point there should be none but comments,
// so the others are counted there. When reading fails, the points read so far stay behind the older ones.
//
// Nothing says what stands behind the coordinates, and a wrong guess would spoil a mesh with false colours. So three numbers
// are taken where they can hardly be anything else, by all points of the file: whole numbers from 0 to 255, one of them
// above 1, are a colour, and numbers whose squares add up to 1 are a normal, of which 0 0 0 is one that isn't known. All
// else is left out, and so are three numbers when one point has more or fewer.
#include "xyz_io.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "InputFile.h"
#include "LineBlocks.h"
#include "attributeColumns.h"
#include "pointReading.h"
#include "textNumbers.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t NUM = 3;  // of numbers behind the coordinates

/// What stands behind the coordinates of some points, as long as it is three numbers a point.
class Behind {
public:
    /// rest: of the line of the next point.
    void take(std::string_view rest) {
        if (bGivenUp) return;
        std::array<double, NUM> aNumber{};
        const char* p = rest.data();
        const char* const end = p + rest.size();
        for (std::size_t i = 0; i < NUM && p != nullptr; ++i)
            p = extractFloat(p, end, aNumber[i]);
        if (p == nullptr || skipSpace(p, end) != end) {
            bGivenUp = true;
            numWords = wordsOf(rest).size();
            return;
        }
        for (std::size_t i = 0; i < NUM; ++i)
            aColumn[i].push_back(aNumber[i]);
    }
    void clear() {
        bGivenUp = false;
        for (std::vector<double>& column : aColumn)
            column.clear();
    }

    std::array<std::vector<double>, NUM> aColumn;
    bool bGivenUp = false;
    std::size_t numWords = 0;  // of the point at which it was given up
};

/// The same for all points. They are columns with the names of a colour until the last one tells whether they are one.
class UnnamedColumns {
public:
    /// pAttributes: null where nobody wants them.
    explicit UnnamedColumns(AttributeColumns* pAttributes_) : pAttributes(pAttributes_) {}

    bool areWanted() const { return pAttributes != nullptr && !bGivenUp; }
    /// behind: of the next points; ignored where they aren't wanted.
    void take(const Behind& behind) {
        if (!areWanted()) return;
        if (pAttributes->columns().empty() && !behind.aColumn[0].empty())
            for (const char* name : {"red", "green", "blue"})
                pAttributes->add(name, noValues<double>());
        for (std::size_t i = 0; i < behind.aColumn[0].size(); ++i)
            judge(behind.aColumn[0][i], behind.aColumn[1][i], behind.aColumn[2][i]);
        for (std::size_t i = 0; i < pAttributes->columns().size(); ++i) {
            auto& vValue = std::get<std::vector<double>>(pAttributes->columns()[i].values);
            vValue.insert(vValue.end(), behind.aColumn[i].begin(), behind.aColumn[i].end());
        }
        if (behind.bGivenUp) giveUp(behind.numWords);
    }

    void finish() {
        if (!areWanted() || pAttributes->columns().empty()) return;
        const bool bColour = bAllBytes && bSomeBright;  // flat ground has normals of whole numbers, 0 0 1
        if (!bColour && !(bAllNormals && bSomeLength)) {
            pAttributes->leaveOutAll();
            return;
        }
        if (!bColour)
            for (std::size_t i = 0; i < NUM; ++i)
                pAttributes->columns()[i].name = std::array{"nx", "ny", "nz"}[i];
        pAttributes->chooseTypes();
    }

private:
    void giveUp(std::size_t numWords) {
        bGivenUp = true;
        pAttributes->leaveOut(std::max(numWords, pAttributes->columns().size()) - pAttributes->columns().size());
        pAttributes->leaveOutAll();
    }

    void judge(double x, double y, double z) {
        constexpr double ROUNDED = 0.02;  // of the square, as two digits leave it
        const auto isByte = [](double v) { return v >= 0.0 && v <= 255.0 && v == std::floor(v); };
        bAllBytes = bAllBytes && isByte(x) && isByte(y) && isByte(z);
        bSomeBright = bSomeBright || x > 1.0 || y > 1.0 || z > 1.0;
        const double square = x * x + y * y + z * z;
        bAllNormals = bAllNormals && (square == 0.0 || std::abs(square - 1.0) <= ROUNDED);
        bSomeLength = bSomeLength || square != 0.0;
    }

    AttributeColumns* pAttributes;
    bool bGivenUp = false;
    bool bAllBytes = true, bSomeBright = false;    // of all rows so far
    bool bAllNormals = true, bSomeLength = false;  // the same
};

/// The beginning of a line for a message, without what a terminal would take for a command.
std::string quoted(std::string_view line) {
    constexpr std::size_t MOST = 60;
    std::string text(line.substr(0, MOST));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
    return "'" + text + (line.size() > MOST ? "...'" : "'");
}

/// Whether a line says nothing, or something for people.
bool isBlankOrComment(std::string_view line) {
    const char* const end = line.data() + line.size();
    const char* const p = skipSpace(line.data(), end);
    return p == end || std::string_view("#/%;!").find(*p) != std::string_view::npos;
}

/// What a worker finds in some lines.
struct LinesRead {
    std::vector<Point3> vPoint;
    Behind behind;
    std::size_t numOthersBefore = 0;  // lines that say something else, before the first point
    std::size_t numOthers = 0;        // and behind it
    std::string firstOther;           // quoted
    std::size_t numBytes = 0;

    void clear() {
        vPoint.clear();
        firstOther.clear();
        behind.clear();
        numOthersBefore = numOthers = 0;
    }
};

/// Makes room for the points of the whole file as if they were like these, if there is so much.
void reserveFor(std::uint64_t fileBytes, const LinesRead& read, std::vector<Point3>& vPoints) {
    const double perByte = static_cast<double>(read.vPoint.size()) / static_cast<double>(read.numBytes);
    const double numExpected = static_cast<double>(vPoints.size()) + 1.01 * perByte * static_cast<double>(fileBytes);
    if (!(numExpected < static_cast<double>(vPoints.max_size()))) return;
    try {
        vPoints.reserve(static_cast<std::size_t>(numExpected));
    } catch (const std::bad_alloc&) {  // the first lines may be shorter than the others
    }
}

/// Skips a mark of UTF-8, and refuses UTF-16.
void skipMark(LineBlocks& blocks) {
    constexpr std::size_t LONGEST = 3;
    const std::string_view start = blocks.firstBytes(LONGEST);
    refuseUtf16(start);
    blocks.skip(start.size() - withoutByteOrderMark(start).size());
}

/// Has all workers parse a file: parse(lines, result), then take(result) in the order of the lines, behind the points that
/// it has appended. A mark of UTF-8 is skipped where lines may have any end, and UTF-16 refused. Returns false, after a line
/// with the name, when the file can't be read.
template <typename Parse, typename Take>
bool readLines(const std::string& filename, LineEnd lineEnd, bool bReserve, std::vector<Point3>& vPoints, const Parse& parse,
               const Take& take) {
    const auto refuseFile = [&filename](const std::string& why) {
        out() << filename << " " << why << std::endl;
        return false;
    };
    const std::string unreadable = "is unreadable";
    InputFile file(filename);
    if (!file.isOpen()) return refuseFile(unreadable);
    const auto parseCounted = [&parse](std::string_view lines, LinesRead& read) {
        read.numBytes = lines.size();
        parse(lines, read);
    };
    bool bReserved = false;
    const auto append = [&](const LinesRead& read) {
        if (bReserve && !std::exchange(bReserved, true) && file.size()) reserveFor(*file.size(), read, vPoints);
        vPoints.insert(vPoints.end(), read.vPoint.begin(), read.vPoint.end());
        take(read);
    };
    LineBlocks blocks(file.stream(), lineEnd);
    try {
        if (lineEnd == LineEnd::ANY) skipMark(blocks);
    } catch (const std::runtime_error& refusal) {
        return refuseFile(refusal.what());
    }
    return parseLines_MT<LinesRead>(blocks, parseCounted, append) || refuseFile(unreadable);
}

}  // namespace

bool readXyz(const std::string& filename, std::vector<Point3>& vPoints) {
    const auto parse = [](std::string_view lines, LinesRead& read) {
        forEachLine(lines, LineEnd::LINE_FEED, [&read](std::string_view line) {
            if (const std::optional<Point3> point = extractPoint(line)) read.vPoint.push_back(*point);
        });
    };
    return readLines(filename, LineEnd::LINE_FEED, true, vPoints, parse, [](const LinesRead&) {});
}

bool readXyzFile(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    std::uint64_t numSkipped = 0;
    bool bPoint = false;  // whether there was one
    std::string firstSkipped;
    UnnamedColumns columns(wantedColumns(pAttributes));
    const auto parse = [bColumns = columns.areWanted()](std::string_view lines, LinesRead& read) {
        forEachLine(lines, LineEnd::ANY, [&](std::string_view line) {
            std::string_view rest;
            if (const std::optional<Point3> point = pointOf(line, rest)) {
                read.vPoint.push_back(*point);
                if (bColumns) read.behind.take(rest);
            } else if (!isBlankOrComment(line)) {
                ++(read.vPoint.empty() ? read.numOthersBefore : read.numOthers);
                if (read.firstOther.empty()) read.firstOther = quoted(line);
            }
        });
    };
    const auto take = [&](const LinesRead& read) {
        if (bPoint) numSkipped += read.numOthersBefore;
        bPoint = bPoint || !read.vPoint.empty();
        numSkipped += read.numOthers;
        if (firstSkipped.empty()) firstSkipped = read.firstOther;
        columns.take(read.behind);
        if (pAttributes != nullptr) pAttributes->settleMany(vPoints);
    };
    const bool bReserve = pAttributes == nullptr || !pAttributes->isChoosing();
    if (!readLines(filename, LineEnd::ANY, bReserve, vPoints, parse, take)) return false;
    if (!bPoint && !firstSkipped.empty())
        out() << filename << ": no line begins with three numbers; the first that isn't a comment: " << firstSkipped
              << std::endl;
    if (numSkipped > 0)
        warning("readPointFile", filename + ": left out " + toString(numSkipped) +
                                     " lines behind the first point, which don't begin with three numbers");
    columns.finish();
    return true;
}

}  // namespace TARN_KEL
