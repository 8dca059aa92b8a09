// What the readers of point formats share.
#include "pointReading.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <system_error>

#include "tools.h"

namespace TARN_KEL {

namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Whether the number before that text ends there: "3,5", "3m" and "3.4.5" are none, and a mere 3 would be a wrong one.
bool endsWord(std::string_view rest) {
    return rest.empty() || isSpace(rest.front()) || rest.front() == '#';
}

}  // namespace

void refuse(const std::string& why) {
    throw std::runtime_error(why);
}

void refuseEnd(const BlockReader& reader, const std::string& why) {
    refuse(reader.failed() ? "is unreadable" : why);
}

bool readAllOrNothing(const std::string& filename, std::vector<Point3>& vPoints,
                      const std::function<void(const InputFile&, BlockReader&, std::vector<Point3>&)>& read) {
    const std::size_t numBefore = vPoints.size();
    std::string why;
    try {
        InputFile file(filename);
        if (!file.isOpen()) refuse("is unreadable");
        BlockReader reader(file.stream());
        read(file, reader, vPoints);
        return true;
    } catch (const std::runtime_error& e) {
        why = e.what();
    } catch (const std::exception&) {  // std::bad_alloc or std::length_error, of the vector
        why = "holds more points than the memory";
    }
    vPoints.resize(numBefore);
    out() << filename << " " << why << std::endl;
    return false;
}

std::optional<double> numberOf(std::string_view text) {
    double value = 0.0;
    if (extractFloat(text.data(), text.data() + text.size(), value) == text.data() + text.size()) return value;
    text = trimmed(text);
    const char* const end = text.data() + text.size();
    if (extractFloat(text.data(), end, value) == end) return value;
    const auto [behind, ec] = std::from_chars(text.data(), end, value);
    if (ec == std::errc() && behind == end && !std::isfinite(value)) return value;
    return std::nullopt;
}

std::optional<std::uint64_t> countOf(std::string_view text) {
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    if (text.empty() || extractInt(text.data(), end, value) != end) return std::nullopt;
    return value;
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view MARK = "\xef\xbb\xbf";
    return text.starts_with(MARK) ? text.substr(MARK.size()) : text;
}

void refuseUtf16(std::string_view firstLine) {
    if (firstLine.starts_with("\xff\xfe") || firstLine.starts_with("\xfe\xff"))
        refuse("is text in UTF-16, which can't be read: save it as UTF-8");
}

std::optional<Point3> pointOf(std::string_view text) {
    std::string_view rest;
    return pointOf(text, rest);
}

std::optional<Point3> pointOf(std::string_view text, std::string_view& rest) {
    std::string_view behindPoint;
    const std::optional<Point3> point = extractPoint(text, behindPoint);
    if (point && endsWord(behindPoint)) {
        rest = behindPoint;
        return point;
    }
    std::array<double, 3> aValue{};
    const char* const end = text.data() + text.size();
    const char* p = text.data();
    for (double& value : aValue) {
        p = skipSpace(p, end);
        const char* const behind = endOfWord(p, end);
        const std::optional<double> number = numberOf({p, static_cast<std::size_t>(behind - p)});
        if (!number) return std::nullopt;
        value = *number;
        p = behind;
    }
    rest = text.substr(static_cast<std::size_t>(p - text.data()));
    return Point3(aValue[0], aValue[1], aValue[2]);
}

std::vector<std::string_view> wordsOf(std::string_view text) {
    std::vector<std::string_view> vWord;
    const char* const end = text.data() + text.size();
    for (const char* p = skipSpace(text.data(), end); p != end; p = skipSpace(p, end)) {
        const char* const behind = endOfWord(p, end);
        vWord.emplace_back(p, static_cast<std::size_t>(behind - p));
        p = behind;
    }
    return vWord;
}

bool NumberedLines::next(std::string_view& line) {
    while (reader.nextLine(line, lineEnd)) {
        ++number;
        bytes += line.size() + 1;
        if (line.size() >= BlockReader::MAX_TEXT) refuseLine("it is too long");
        if (number == 1) {
            refuseUtf16(line);
            line = withoutByteOrderMark(line);
        }
        if (skipSpace(line.data(), line.data() + line.size()) != line.data() + line.size()) return true;
    }
    if (reader.failed()) refuse("is unreadable");
    return false;
}

void NumberedLines::refuseLine(std::uint64_t lineNumber, const std::string& why) {
    refuse("is bad in line " + std::to_string(lineNumber) + ": " + why);
}

void appendColumns(const std::array<CoordinateColumn, 3>& aColumn, std::uint64_t numPoints, std::vector<Point3>& vPoints) {
    auto [x, y, z] = aColumn;
    for (std::uint64_t i = 0; i < numPoints; ++i, x.p += x.stride, y.p += y.stride, z.p += z.stride)
        vPoints.emplace_back(x.load(x.p), y.load(y.p), z.load(z.p));
}

}  // namespace TARN_KEL
