// Points as text without a header.
//
// Each line that begins with three numbers is a point; others are skipped, as they may be headers or comments. Behind the
// first point there should be none but comments, so the others are counted there. Nothing says
// what stands behind the coordinates, and a wrong guess would spoil a mesh with false colours. So three numbers are taken
// where they can hardly be anything else, by all points of the file: whole numbers from 0 to 255, one of them above 1, are a
// colour, and numbers whose squares add up to 1 are a normal, of which 0 0 0 is one that isn't known. All else is left out,
// and so are three numbers when one point has more or fewer.
#include "xyz_io.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "BlockReader.h"
#include "InputFile.h"
#include "attributeColumns.h"
#include "pointReading.h"
#include "textNumbers.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// What stands behind the coordinates, as long as it is three numbers a point.
class UnnamedColumns {
public:
    /// pAttributes: null where nobody wants them.
    explicit UnnamedColumns(AttributeColumns* pAttributes_) : pAttributes(pAttributes_) {}

    /// rest: of the line of the next point.
    void take(std::string_view rest) {
        if (pAttributes == nullptr || bGivenUp) return;
        std::array<double, NUM> aNumber{};
        const char* p = rest.data();
        const char* const end = p + rest.size();
        for (std::size_t i = 0; i < NUM && p != nullptr; ++i)
            p = extractFloat(p, end, aNumber[i]);
        if (p == nullptr || skipSpace(p, end) != end) return giveUp(wordsOf(rest).size());
        for (std::size_t i = 0; i < NUM; ++i)
            aColumn[i].push_back(aNumber[i]);
    }

    void finish() {
        if (pAttributes == nullptr || bGivenUp || aColumn[0].empty()) return;
        if (isColour())
            addColumns({"red", "green", "blue"});
        else if (areNormals())
            addColumns({"nx", "ny", "nz"});
        else
            pAttributes->leaveOut(NUM);
    }

private:
    static constexpr std::size_t NUM = 3;

    void giveUp(std::size_t numWords) {
        bGivenUp = true;
        pAttributes->leaveOut(std::max(numWords, aColumn[0].empty() ? 0 : NUM));
        aColumn = {};
    }

    /// isGood: bool(double, double, double).
    template <typename IsGood>
    bool allRows(const IsGood& isGood) const {
        for (std::size_t i = 0; i < aColumn[0].size(); ++i)
            if (!isGood(aColumn[0][i], aColumn[1][i], aColumn[2][i])) return false;
        return true;
    }

    bool isColour() const {
        const auto isByte = [](double v) { return v >= 0.0 && v <= 255.0 && v == std::floor(v); };
        const auto isDark = [](double r, double g, double b) { return r <= 1.0 && g <= 1.0 && b <= 1.0; };
        return allRows([&](double r, double g, double b) { return isByte(r) && isByte(g) && isByte(b); }) &&
               !allRows(isDark);  // flat ground has normals of whole numbers, 0 0 1
    }

    bool areNormals() const {
        constexpr double ROUNDED = 0.02;  // of the square, as two digits leave it
        const auto square = [](double x, double y, double z) { return x * x + y * y + z * z; };
        return allRows([&](double x, double y, double z) {
                   const double s = square(x, y, z);
                   return s == 0.0 || std::abs(s - 1.0) <= ROUNDED;
               }) &&
               !allRows([&](double x, double y, double z) { return square(x, y, z) == 0.0; });
    }

    void addColumns(const std::array<const char*, NUM>& aName) {
        for (std::size_t i = 0; i < NUM; ++i)
            pAttributes->add(aName[i], std::move(aColumn[i]));
        pAttributes->chooseTypes();
    }

    AttributeColumns* pAttributes;
    std::array<std::vector<double>, NUM> aColumn;
    bool bGivenUp = false;
};

}  // namespace

namespace {

/// Calls take(line) for each line, which may call refuse(). Returns false, after a line with the name, when the file can't
/// be read.
template <typename Take>
bool forLines(const std::string& filename, LineEnd lineEnd, const Take& take) {
    const auto refuseFile = [&filename](const std::string& why) {
        out() << filename << " " << why << std::endl;
        return false;
    };
    const std::string unreadable = "is unreadable";
    InputFile file(filename);
    if (!file.isOpen()) return refuseFile(unreadable);
    BlockReader reader(file.stream());
    try {
        for (std::string_view line; reader.nextLine(line, lineEnd);)
            take(line);
    } catch (const std::runtime_error& refusal) {
        return refuseFile(refusal.what());
    }
    return !reader.failed() || refuseFile(unreadable);
}

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

}  // namespace

bool readXyz(const std::string& filename, std::vector<Point3>& vPoints) {
    return forLines(filename, LineEnd::LINE_FEED, [&vPoints](std::string_view line) {
        if (const std::optional<Point3> point = extractPoint(line)) vPoints.push_back(*point);
    });
}

bool readXyzFile(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    const std::size_t numBefore = vPoints.size();
    std::uint64_t numSkipped = 0, numLines = 0;
    std::string firstSkipped;
    UnnamedColumns columns(pAttributes);
    const bool bRead = forLines(filename, LineEnd::ANY, [&](std::string_view line) {
        if (++numLines == 1) {
            refuseUtf16(line);
            line = withoutByteOrderMark(line);
        }
        std::string_view rest;
        if (const std::optional<Point3> point = pointOf(line, rest)) {
            vPoints.push_back(*point);
            columns.take(rest);
        } else if (!isBlankOrComment(line)) {
            if (firstSkipped.empty()) firstSkipped = "line " + toString(numLines) + ": " + quoted(line);
            if (vPoints.size() > numBefore) ++numSkipped;
        }
    });
    if (!bRead) return false;
    if (vPoints.size() == numBefore && !firstSkipped.empty())
        out() << filename << ": no line begins with three numbers; " << firstSkipped << std::endl;
    if (numSkipped > 0)
        warning("readPointFile", filename + ": left out " + toString(numSkipped) +
                                     " lines behind the first point, which don't begin with three numbers");
    columns.finish();
    return true;
}

}  // namespace TARN_KEL
