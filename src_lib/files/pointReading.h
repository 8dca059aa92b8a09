// What the readers of point formats share: how they give up, lines with numbers, columns of numbers in bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BlockReader.h"
#include "InputFile.h"
#include "kel.h"

namespace TARN_KEL {

/// Ends the reading of a file within readAllOrNothing(). why: a predicate, such as "is too short".
[[noreturn]] void refuse(const std::string& why);
/// The same where the bytes ended too early, which may be the fault of the disk.
[[noreturn]] void refuseEnd(const BlockReader& reader, const std::string& why);

/// Opens a file and has its points appended.
///
/// @param filename      the name of the file
/// @param[out] vPoints  unchanged on failure
/// @param read          appends the points; may call refuse(), or run out of memory
/// @return false, after a line with the name and the reason, when the file can't be read
bool readAllOrNothing(const std::string& filename, std::vector<Point3>& vPoints,
                      const std::function<void(const InputFile&, BlockReader&, std::vector<Point3>&)>& read);

/// A number as text, also "nan" and "inf" in any case; white space around it is skipped. Empty when the text isn't one.
std::optional<double> numberOf(std::string_view text);
/// A whole number that isn't negative, as text without anything around it. Empty when the text isn't one.
std::optional<std::uint64_t> countOf(std::string_view text);
/// A point from the three words at the start of a text, which are numbers as numberOf() takes them; behind the third one a
/// comment may begin without a blank. Empty when there aren't three.
std::optional<Point3> pointOf(std::string_view text);
/// The same. rest: set to what is behind the point, if there is one.
std::optional<Point3> pointOf(std::string_view text, std::string_view& rest);
/// The beginning of a text, without the bytes that some programs mark it with as UTF-8.
std::string_view withoutByteOrderMark(std::string_view text);
/// Refuses a text of two bytes a character by the bytes that mark it, which no other text begins with.
void refuseUtf16(std::string_view firstLine);
/// The words of a text, which has white space between them and may have some around.
std::vector<std::string_view> wordsOf(std::string_view text);
/// The place after the word at p.
inline const char* endOfWord(const char* p, const char* end) {
    while (p != end && !isSpace(*p))
        ++p;
    return p;
}

/// The lines of a text that aren't blank, with their numbers.
class NumberedLines {
public:
    /// reader: must outlive this object; at the start of the file.
    explicit NumberedLines(BlockReader& reader_, LineEnd lineEnd_ = LineEnd::ANY) : reader(reader_), lineEnd(lineEnd_) {}

    /// Sets line to the next line that isn't blank, without a byte order mark. Returns false at the end. Refuses a file that
    /// can't be read on, or has a line of more than BlockReader::MAX_TEXT bytes.
    bool next(std::string_view& line);
    /// The bytes of all lines so far, with one for the end of each.
    std::uint64_t numBytes() const { return bytes; }
    /// The number of the line that was read last, from 1.
    std::uint64_t lineNumber() const { return number; }
    /// Refuses the file for the line that was read last.
    [[noreturn]] void refuseLine(const std::string& why) const { refuseLine(number, why); }
    /// Refuses the file for an earlier line.
    [[noreturn]] static void refuseLine(std::uint64_t lineNumber, const std::string& why);

private:
    BlockReader& reader;
    const LineEnd lineEnd;
    std::uint64_t number = 0, bytes = 0;
};

/// Passes records of one length on, many at a time. append: void(const char* pFirst, std::uint64_t numRecords). Returns how
/// many whole ones there were, at most numRecords.
template <typename Append>
std::uint64_t readRecords(BlockReader& reader, std::uint64_t numRecords, std::size_t length, const Append& append) {
    std::uint64_t numRead = 0;
    while (numRead < numRecords && reader.fill(length)) {
        const std::uint64_t numHere = std::min<std::uint64_t>(numRecords - numRead, reader.size() / length);
        append(reader.begin(), numHere);
        reader.skip(numHere * length);
        numRead += numHere;
    }
    return numRead;
}

/// A coordinate of many points, as bytes.
struct CoordinateColumn {
    const char* p;                ///< the first one
    std::size_t stride;           ///< bytes from point to point
    double (*load)(const char*);  ///< makes a number of the bytes
};

/// Appends points of three columns.
void appendColumns(const std::array<CoordinateColumn, 3>& aColumn, std::uint64_t numPoints, std::vector<Point3>& vPoints);

}  // namespace TARN_KEL
