// Triangle corners of STL files.
//
// A text has a line for each corner between the lines of a loop; everything else in it is skipped. A binary file has
// 80 bytes of anything, the number of triangles, and for each of them a normal, three corners and two bytes that some
// programs use for a colour; whole numbers and floats have their low bytes first.
//
// Neither the name nor the first word tells which of the two it is: a binary file may begin with "solid" as a text does. So
// its length is compared with its count, which is conclusive: the count of a text would be made of letters, some hundred
// million. A binary file of another length, because it was cut or has data after its triangles, is recognised by its first
// bytes.
#include "stl_io.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "BlockReader.h"
#include "InputFile.h"
#include "littleEndian.h"
#include "pointReading.h"
#include "textNumbers.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

bool contains(std::string_view line, std::string_view word) {
    return line.find(word) != std::string_view::npos;
}

/// word: in small letters.
bool containsInAnyCase(std::string_view line, std::string_view word) {
    const auto isSame = [](char a, char b) { return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b); };
    return std::search(line.begin(), line.end(), word.begin(), word.end(), isSame) != line.end();
}

// ---- Binary

constexpr std::size_t FACET = 50;         // bytes
constexpr std::size_t FIRST_CORNER = 12;  // behind the normal

/// A character that no text has, in whatever language.
bool isControl(char c) {
    return static_cast<unsigned char>(c) < ' ' && !isSpace(c);
}

std::uint64_t lengthFor(std::uint32_t numTriangles) {
    return STL_HEADER + std::uint64_t{FACET} * numTriangles;
}

/// Reads the header in the window of the reader without consuming it.
bool isBinary(const InputFile& file, BlockReader& reader) {
    if (!reader.fill(STL_HEADER)) return false;
    return (file.size() && isBinaryStl({reader.begin(), reader.size()}, *file.size())) ||
           std::any_of(reader.begin(), reader.begin() + STL_HEADER, isControl);
}

void appendCorners(const char* pFacet, std::vector<Point3>& vPoints) {
    const char* p = pFacet + FIRST_CORNER;
    for (int i = 0; i < 3; ++i, p += 12)
        vPoints.emplace_back(loadFloat(p), loadFloat(p + 4), loadFloat(p + 8));
}

/// Empty, or why it can't be read. Where the length of the file is known nothing is appended then.
std::string readBinary(const InputFile& file, BlockReader& reader, std::vector<Point3>& vPoints) {
    const std::string tooShort = "is too short for its number of triangles";
    std::uint32_t numLeft = loadInt<std::uint32_t>(reader.begin() + STL_HEADER - 4);
    if (file.size() && *file.size() < lengthFor(numLeft))
        return tooShort + ": it has " + toString(*file.size()) + " bytes, and " + toString(numLeft) + " triangles take " +
               toString(lengthFor(numLeft));
    if (file.size()) vPoints.reserve(vPoints.size() + std::size_t{3} * numLeft);
    reader.skip(STL_HEADER);
    while (numLeft > 0) {
        if (!reader.fill(FACET)) return reader.failed() ? "is unreadable" : tooShort;
        const auto numHere = static_cast<std::uint32_t>(std::min<std::size_t>(numLeft, reader.size() / FACET));
        for (std::uint32_t i = 0; i < numHere; ++i)
            appendCorners(reader.begin() + i * FACET, vPoints);
        reader.skip(numHere * FACET);
        numLeft -= numHere;
    }
    return "";
}

// ---- Text

/// Reads the loops of a text.
class LoopReader {
public:
    /// bStrict_: see readStl().
    LoopReader(BlockReader& reader_, bool bStrict_, std::vector<Point3>& vPoints_)
        : reader(reader_), bStrict(bStrict_), vPoints(vPoints_) {}

    /// Empty, or why it can't be read. What was read before stays.
    std::string read() {
        for (std::string_view line; nextLine(line);) {
            noteSolid(line);
            if (!has(line, "outer loop") && !contains(line, "OUTER LOOP")) continue;
            const std::size_t loopBegin = vPoints.size();
            bool bEnded = false;
            if (!readLoop(bEnded)) return "has a vertex without three numbers";
            if (bStrict && !bEnded) return "ends within a triangle";
            if (bStrict && vPoints.size() != loopBegin + 3) return "has a loop that is no triangle";
        }
        return reader.failed() ? "is unreadable" : "";
    }
    /// Whether the text begins a solid that it doesn't end.
    bool isInSolid() const { return bInSolid; }

private:
    bool nextLine(std::string_view& line) { return reader.nextLine(line, bStrict ? LineEnd::ANY : LineEnd::LINE_FEED); }
    /// word: in small letters.
    bool has(std::string_view line, std::string_view word) const {
        return bStrict ? containsInAnyCase(line, word) : contains(line, word);
    }
    void noteSolid(std::string_view line) {
        const char* const end = line.data() + line.size();
        const char* const p = skipSpace(line.data(), end);
        const std::string_view word(p, static_cast<std::size_t>(std::find_if(p, end, isSpace) - p));
        if (containsInAnyCase(word, "solid")) bInSolid = word.size() == std::string_view("solid").size();  // or "endsolid"
    }

    /// The corners of one loop, up to its "endloop" or the end of the file (bEnded: it has one). False at a "vertex" line
    /// without three numbers.
    bool readLoop(bool& bEnded) {
        std::string_view line;
        bEnded = false;
        while (!bEnded && nextLine(line)) {
            bEnded = has(line, "endloop");
            if (bEnded || !has(line, "vertex")) continue;
            const char* const end = line.data() + line.size();
            const char* p = skipSpace(line.data(), end);
            p = std::find_if(p, end, isSpace);  // behind the word
            const std::string_view numbers(p, static_cast<std::size_t>(end - p));
            const std::optional<Point3> corner = bStrict ? pointOf(numbers) : extractPoint(numbers);
            if (!corner) return false;
            vPoints.push_back(*corner);
        }
        return true;
    }

    BlockReader& reader;
    const bool bStrict;
    std::vector<Point3>& vPoints;
    bool bInSolid = false;
};

/// Calls read(), which tells why the file can't be read, or nothing; triangles that find no room are one more reason.
template <typename Read>
std::string withinMemory(Read&& read) {
    try {
        return read();
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    return "holds more triangles than the memory";
}

/// Empty, or why it can't be read. What was read before stays.
std::string readVertexLines(BlockReader& reader, std::vector<Point3>& vPoints) {
    constexpr std::string_view WORD = "vertex";
    std::string_view line;
    while (reader.nextLine(line)) {
        const std::size_t pos = line.find(WORD);
        if (pos == std::string_view::npos) continue;
        const std::optional<Point3> corner = extractPoint(line.substr(pos + WORD.size()));
        // A name may hold the word; a corner begins with it.
        if (!corner && line.find_first_not_of(" \t") < pos) continue;
        if (!corner) return "has a vertex without three numbers";
        vPoints.push_back(*corner);
    }
    return reader.failed() ? "is unreadable" : "";
}

}  // namespace

bool isBinaryStl(std::string_view start, std::uint64_t fileLength) {
    return start.size() >= STL_HEADER && fileLength == lengthFor(loadInt<std::uint32_t>(start.data() + STL_HEADER - 4));
}

bool isTextStl(std::string_view start) {
    constexpr std::string_view SOLID = "solid";
    return containsInAnyCase(start.substr(0, SOLID.size()), SOLID) && containsInAnyCase(start, "facet");
}

bool readStl(const std::string& filename, bool bStrict, std::vector<Point3>& vPoints) {
    InputFile file(filename);
    const auto refuse = [&](const std::string& why) {
        out() << "readSTL(): " << filename << " " << why << std::endl;
        return false;
    };
    if (!file.isOpen()) return refuse("is unreadable");
    BlockReader reader(file.stream());
    LoopReader loops(reader, bStrict, vPoints);
    const std::string why =
        withinMemory([&] { return isBinary(file, reader) ? readBinary(file, reader, vPoints) : loops.read(); });
    if (!why.empty()) return refuse(why);
    if (bStrict && loops.isInSolid())
        warning("readTriangles_auto", filename + " has no endsolid: perhaps its end is missing");
    return true;
}

bool readSTLTriCorners(const std::string& filename, std::vector<Point3>& vPoints) {
    InputFile file(filename);
    const auto refuse = [&](const std::string& text) {
        warning("readTriCorners", text);
        return false;
    };
    if (!file.isOpen()) return refuse("Failed to open " + filename);
    BlockReader reader(file.stream());
    const std::string why = withinMemory(
        [&] { return isBinary(file, reader) ? readBinary(file, reader, vPoints) : readVertexLines(reader, vPoints); });
    return why.empty() || refuse(filename + " " + why);
}

}  // namespace TARN_KEL
