// Points of PCD files.
//
// A file begins with a header of lines, each a keyword and its values, that DATA ends. FIELDS names what a point consists
// of, with x, y and z anywhere among the names; SIZE, TYPE and COUNT tell for each field the bytes of a number, its kind and
// how many of them a point has. WIDTH times HEIGHT is the number of points, and so is POINTS. The sensor's place, VIEWPOINT,
// is not applied: coordinates are what the file says.
//
// Behind DATA follow the points, by its value: a line each (ascii); a record each (binary); or one compressed block
// (binary_compressed), which holds the first field of all points, then the second, and so on. The block begins with its
// length and the length of what it holds, 32 bits each, and is a series of
// - runs: a byte below 32, and one byte more than it says, to be taken as they are;
// - back references: three bits of length, or seven and a byte to be added, and 13 bits of distance. Two bytes more than the
//   length are copied from one byte more than the distance before. They may overlap what they make.
//
// All other fields are attributes, a column for each of their numbers. The fields rgb and rgba are colours packed in four
// bytes: from the low one on blue, green, red and alpha. A text has the number of these bits; or, where the type is F, the
// floating point number that they make, unless it is written with digits alone, as many write the bits whatever the type.
//
// Bytes are those of the machines that such files come from: low ones first. Whatever the header says, no more is taken from
// memory than the length of the file justifies: three bytes of a block can make 264, and so 88 points.
#include "pcd_io.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include "attributeColumns.h"
#include "largePages.h"
#include "littleEndian.h"
#include "pointReading.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

// ---- Numbers as bytes

struct NumberKind {
    char type;
    std::size_t size;
    double (*load)(const char*);
    AttributeValues (*makeValues)();
};

template <typename T>
constexpr NumberKind kindOf(char type) {
    return {type, sizeof(T), [](const char* p) { return static_cast<double>(loadNumber<T>(p)); }, noValues<T>};
}
constexpr std::array<NumberKind, 10> NUMBER_KINDS{
    {kindOf<float>('F'), kindOf<double>('F'), kindOf<std::int8_t>('I'), kindOf<std::int16_t>('I'), kindOf<std::int32_t>('I'),
     kindOf<std::int64_t>('I'), kindOf<std::uint8_t>('U'), kindOf<std::uint16_t>('U'), kindOf<std::uint32_t>('U'),
     kindOf<std::uint64_t>('U')}};

// ---- The header

/// The entries of a header, in whatever order they came.
struct PcdHeader {
    std::vector<std::string> vName, vType;
    std::vector<std::uint64_t> vSize, vCount;
    std::optional<std::uint64_t> width, height, numPoints;
    std::string encoding;
    std::uint64_t length = 0;  ///< in bytes
};

/// Where the points of a file are, and where in a point its coordinates.
struct PcdLayout {
    struct Coordinate {
        std::uint64_t column = 0;  ///< numbers of a point before it
        std::size_t offset = 0;    ///< bytes of a point before it
        NumberKind kind{};
    };
    /// A number of each point that becomes a column, or a byte of one.
    struct Attribute {
        static constexpr unsigned PLAIN = ~0U;

        std::uint64_t column = 0;     ///< as above
        std::size_t field = 0;        ///< bytes of a point before its field
        std::size_t fieldLength = 0;  ///< bytes of the field
        std::size_t offset = 0;       ///< bytes of the field before it
        std::size_t target = 0;       ///< the number of the column that it becomes
        unsigned channel = PLAIN;     ///< the byte of a packed colour
        bool bFloat = false;          ///< the type of a packed colour is F
    };
    std::array<Coordinate, 3> aCoordinate;
    std::vector<Attribute> vAttribute;  ///< by column; none where nobody wants any
    std::uint64_t numPoints = 0, numColumns = 0;
    std::size_t recordLength = 0;    ///< bytes of a point
    std::uint64_t headerLength = 0;  ///< bytes of the file before the points
};

using Words = std::vector<std::string_view>;

std::vector<std::uint64_t> countsOf(const Words& vWord, const NumberedLines& lines) {
    std::vector<std::uint64_t> vCount;
    for (std::size_t i = 1; i < vWord.size(); ++i) {
        const std::optional<std::uint64_t> count = countOf(vWord[i]);
        if (!count || *count == 0 || *count > std::numeric_limits<std::uint32_t>::max())
            lines.refuseLine("expected whole numbers above 0 behind " + std::string(vWord[0]));
        vCount.push_back(*count);
    }
    return vCount;
}

std::uint64_t onlyCount(const Words& vWord, const NumberedLines& lines) {
    const std::optional<std::uint64_t> count = vWord.size() == 2 ? countOf(vWord[1]) : std::nullopt;
    if (!count) lines.refuseLine("expected one whole number behind " + std::string(vWord[0]));
    return *count;
}

void takeEntry(const Words& vWord, const NumberedLines& lines, PcdHeader& header) {
    const std::string_view key = vWord[0];
    if (key == "FIELDS" || key == "COLUMNS") {
        header.vName.assign(vWord.begin() + 1, vWord.end());
    } else if (key == "SIZE") {
        header.vSize = countsOf(vWord, lines);
    } else if (key == "TYPE") {
        header.vType.assign(vWord.begin() + 1, vWord.end());
    } else if (key == "COUNT") {
        header.vCount = countsOf(vWord, lines);
    } else if (key == "WIDTH") {
        header.width = onlyCount(vWord, lines);
    } else if (key == "HEIGHT") {
        header.height = onlyCount(vWord, lines);
    } else if (key == "POINTS") {
        header.numPoints = onlyCount(vWord, lines);
    } else if (key == "DATA" && vWord.size() == 2) {
        header.encoding = vWord[1];
    } else if (key != "VERSION" && key != "VIEWPOINT" && key.front() != '#') {
        lines.refuseLine("expected an entry of a PCD header, such as FIELDS or DATA");
    }
}

PcdHeader readPcdHeader(NumberedLines& lines) {
    constexpr std::size_t MAX_LINE = std::size_t{1} << 20;  // in bytes; a word takes more memory than it has bytes
    PcdHeader header;
    std::string_view line;
    while (header.encoding.empty()) {
        if (!lines.next(line)) refuse("ends within its header, before DATA");
        if (line.size() > MAX_LINE) lines.refuseLine("too long for a PCD header");
        takeEntry(wordsOf(line), lines, header);
    }
    header.length = lines.numBytes();
    return header;
}

std::uint64_t numPointsOf(const PcdHeader& header) {
    const auto textOf = [](std::uint64_t n) { return std::to_string(n); };
    if (!header.width) {
        if (!header.numPoints) refuse("has neither WIDTH nor POINTS in its header");
        return *header.numPoints;
    }
    const std::uint64_t width = *header.width, height = header.height.value_or(1);
    const std::uint64_t numPoints = header.numPoints.value_or(width * height);
    if ((height != 0 && width > std::numeric_limits<std::uint64_t>::max() / height) || width * height != numPoints)
        refuse("has " + textOf(numPoints) + " POINTS by its header, but " + textOf(width) + " by " + textOf(height) +
               " of them by WIDTH and HEIGHT");
    return numPoints;
}

/// Null for a number that isn't known.
const NumberKind* findKind(const PcdHeader& header, std::size_t field) {
    const auto it = std::find_if(NUMBER_KINDS.begin(), NUMBER_KINDS.end(), [&](const NumberKind& kind) {
        return header.vType[field] == std::string_view(&kind.type, 1) && header.vSize[field] == kind.size;
    });
    return it != NUMBER_KINDS.end() ? it : nullptr;
}

NumberKind kindOf(const PcdHeader& header, std::size_t field) {
    const NumberKind* const pKind = findKind(header, field);
    if (pKind == nullptr || header.vCount[field] != 1)
        refuse("has a SIZE, TYPE and COUNT for " + header.vName[field] +
               " that make no coordinate, expected: one number, F of 4 or 8 bytes, or I or U of 1, 2, 4 or 8");
    return *pKind;
}

/// Makes columns of a field that isn't a coordinate. layout: of what stands before it.
void addAttributes(const PcdHeader& header, std::size_t field, AttributeColumns& columns, PcdLayout& layout) {
    const std::string& name = header.vName[field];
    const NumberKind* const pKind = findKind(header, field);
    if (pKind == nullptr || name == "_") return;  // padding
    PcdLayout::Attribute next;
    next.column = layout.numColumns;
    next.field = layout.recordLength;
    next.fieldLength = pKind->size * header.vCount[field];
    const auto add = [&](const std::string& columnName, AttributeValues values) {
        next.target = columns.add(columnName, std::move(values));
        if (next.target == AttributeColumns::NONE) return false;
        layout.vAttribute.push_back(next);
        return true;
    };
    if ((name == "rgb" || name == "rgba") && pKind->size == 4 && header.vCount[field] == 1) {
        next.bFloat = pKind->type == 'F';
        for (const auto& [channel, byte] : {std::pair{"red", 2U}, {"green", 1U}, {"blue", 0U}, {"alpha", 3U}}) {
            next.channel = byte;
            next.offset = byte;
            if (byte != 3 || name == "rgba") add(channel, std::vector<std::uint8_t>());
        }
        return;
    }
    std::uint64_t i = 0;
    for (; i < header.vCount[field] && !columns.isFull(); ++i, ++next.column, next.offset += pKind->size)
        if (!add(i == 0 ? name : name + "_" + std::to_string(i), pKind->makeValues())) break;  // nor are others wanted
    columns.leaveOut(header.vCount[field] - i);
}

void requireOnePerField(const PcdHeader& header) {
    const std::size_t numFields = header.vName.size();
    if (header.vSize.size() != numFields || header.vType.size() != numFields || header.vCount.size() != numFields)
        refuse("has " + std::to_string(numFields) + " FIELDS in its header, but " + std::to_string(header.vSize.size()) +
               " of SIZE, " + std::to_string(header.vType.size()) + " of TYPE and " + std::to_string(header.vCount.size()) +
               " of COUNT");
}

/// pColumns: gets the columns of the attributes; null where nobody wants them.
PcdLayout layoutOf(PcdHeader header, AttributeColumns* pColumns) {
    constexpr std::size_t MAX_RECORD = BlockReader::MAX_TEXT;  // in bytes
    if (header.vCount.empty()) header.vCount.assign(header.vName.size(), 1);
    requireOnePerField(header);
    PcdLayout layout;
    layout.numPoints = numPointsOf(header);
    layout.headerLength = header.length;
    std::array<bool, 3> aFound{};
    for (std::size_t field = 0; field < header.vName.size(); ++field) {
        const std::size_t axis = header.vName[field].size() == 1 ? std::string_view("xyz").find(header.vName[field]) : 3;
        if (axis < aFound.size() && !aFound[axis]) {
            layout.aCoordinate[axis] = {layout.numColumns, layout.recordLength, kindOf(header, field)};
            aFound[axis] = true;
        } else if (pColumns != nullptr) {
            addAttributes(header, field, *pColumns, layout);
        }
        layout.recordLength += header.vSize[field] * header.vCount[field];  // less than 2^64: each has 32 bits
        if (layout.recordLength > MAX_RECORD)
            refuse("has points of more than " + std::to_string(MAX_RECORD) + " bytes by its SIZE and COUNT");
        layout.numColumns += header.vCount[field];
    }
    for (std::size_t axis = 0; axis < aFound.size(); ++axis)
        if (!aFound[axis]) refuse(std::string("has no field ") + "xyz"[axis]);
    return layout;
}

// ---- The points

std::string missingText(const PcdLayout& layout, std::uint64_t numPresent) {
    return "is too short for its " + std::to_string(layout.numPoints) + " points from byte " +
           std::to_string(layout.headerLength) + ": it has " + std::to_string(numPresent) + " of them";
}

/// The bits of a packed colour that a text has as a number. bFloat: by the type they are those of a floating point number.
std::optional<std::uint32_t> packedColour(std::string_view word, bool bFloat) {
    constexpr double MOST = std::numeric_limits<std::uint32_t>::max(), LEAST = std::numeric_limits<std::int32_t>::min();
    const std::optional<std::uint64_t> digits = countOf(word);
    if (digits && *digits <= std::numeric_limits<std::uint32_t>::max()) return static_cast<std::uint32_t>(*digits);
    const std::optional<double> value = numberOf(word);
    if (!value || std::isnan(*value)) return std::nullopt;
    if (bFloat) return std::bit_cast<std::uint32_t>(static_cast<float>(*value));
    if (!(*value >= LEAST && *value <= MOST && std::floor(*value) == *value)) return std::nullopt;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(*value));  // below 0 by the bits of an int
}

void takeWord(const PcdLayout::Attribute& attribute, std::string_view word, AttributeColumns& columns) {
    if (attribute.channel == PcdLayout::Attribute::PLAIN) return columns.appendText(attribute.target, word);
    const std::optional<std::uint32_t> colour = packedColour(word, attribute.bFloat);
    if (colour)
        columns.append(attribute.target, *colour >> (8 * attribute.channel) & 0xFFU);
    else
        columns.appendUnknown(attribute.target);
}

/// The point of a line; empty when it lacks a number.
std::optional<Point3> pointOfLine(std::string_view line, const PcdLayout& layout, AttributeColumns* pColumns) {
    std::array<double, 3> aValue{};
    auto attribute = layout.vAttribute.begin();
    const char* p = line.data();
    const char* const end = p + line.size();
    for (std::uint64_t column = 0; column < layout.numColumns; ++column) {
        p = skipSpace(p, end);
        if (p == end) return std::nullopt;
        const std::string_view word(p, static_cast<std::size_t>(endOfWord(p, end) - p));
        for (std::size_t axis = 0; axis < aValue.size(); ++axis) {
            if (layout.aCoordinate[axis].column != column) continue;
            const std::optional<double> value = numberOf(word);
            if (!value) return std::nullopt;
            aValue[axis] = *value;
        }
        for (; attribute != layout.vAttribute.end() && attribute->column == column; ++attribute)
            takeWord(*attribute, word, *pColumns);
        p += word.size();
    }
    return Point3(aValue[0], aValue[1], aValue[2]);
}

void appendText(const PcdLayout& layout, NumberedLines& lines, std::vector<Point3>& vPoints, AttributeColumns* pColumns) {
    std::string_view line;
    for (std::uint64_t i = 0; i < layout.numPoints; ++i) {
        if (!lines.next(line)) refuse(missingText(layout, i));
        const std::optional<Point3> point = pointOfLine(line, layout, pColumns);
        if (!point) lines.refuseLine("expected " + std::to_string(layout.numColumns) + " columns with x, y and z");
        vPoints.push_back(*point);
        if (pColumns != nullptr) pColumns->settleMany(vPoints);
    }
}

void appendRecords(const PcdLayout& layout, const InputFile& file, BlockReader& reader, std::vector<Point3>& vPoints,
                   AttributeColumns* pColumns) {
    if (file.size()) {
        const std::uint64_t numBytes = *file.size() - std::min(*file.size(), layout.headerLength);
        if (numBytes / layout.recordLength < layout.numPoints) refuse(missingText(layout, numBytes / layout.recordLength));
        if (pColumns == nullptr || !pColumns->isChoosing()) reserveLarge(vPoints, vPoints.size() + layout.numPoints);
        if (pColumns != nullptr) pColumns->reserve(layout.numPoints);
    }
    const auto append = [&](const char* p, std::uint64_t numHere) {
        const auto column = [&](const PcdLayout::Coordinate& axis) {
            return CoordinateColumn{p + axis.offset, layout.recordLength, axis.kind.load};
        };
        appendColumns({column(layout.aCoordinate[0]), column(layout.aCoordinate[1]), column(layout.aCoordinate[2])}, numHere,
                      vPoints);
        for (const PcdLayout::Attribute& attribute : layout.vAttribute)
            pColumns->appendBytes(attribute.target, p + attribute.field + attribute.offset, layout.recordLength, numHere);
        if (pColumns != nullptr) pColumns->settleMany(vPoints);
    };
    const std::uint64_t numRead = readRecords(reader, layout.numPoints, layout.recordLength, append);
    if (numRead < layout.numPoints) refuseEnd(reader, missingText(layout, numRead));
}

// ---- The compressed block

constexpr unsigned FIRST_REFERENCE = 32;  // smaller control bytes begin a run
constexpr unsigned LONG_REFERENCE = 7;    // the length that another byte is added to
constexpr std::uint64_t MOST_PER_REFERENCE = 264, BYTES_OF_LONGEST = 3;

unsigned unsignedAt(const char* p) {
    return static_cast<unsigned char>(*p);
}

/// Copies from what was written before, which may overlap what is written. Both ranges must be there.
void copyForward(char* pTo, std::size_t distance, std::size_t length) {
    const char* pFrom = pTo - distance;
    if (distance >= length)
        std::memcpy(pTo, pFrom, length);
    else
        for (std::size_t i = 0; i < length; ++i)
            pTo[i] = pFrom[i];
}

/// Expands a block. Returns false when it doesn't fill the space exactly, or leads out of it.
bool expand(std::string_view block, char* pOut, std::size_t numOut) {
    const char* p = block.data();
    const char* const end = p + block.size();
    char* pTo = pOut;
    char* const pOutEnd = pOut + numOut;
    const auto spaceLeft = [&] { return static_cast<std::size_t>(pOutEnd - pTo); };
    const auto bytesLeft = [&] { return static_cast<std::size_t>(end - p); };
    while (p != end) {
        const unsigned control = unsignedAt(p++);
        if (control < FIRST_REFERENCE) {
            const std::size_t length = control + 1;
            if (length > bytesLeft() || length > spaceLeft()) return false;
            std::memcpy(pTo, p, length);
            p += length;
            pTo += length;
            continue;
        }
        std::size_t length = control >> 5;
        if (bytesLeft() < (length == LONG_REFERENCE ? 2U : 1U)) return false;
        if (length == LONG_REFERENCE) length += unsignedAt(p++);
        length += 2;
        const std::size_t distance = ((control & 31U) << 8 | unsignedAt(p++)) + 1;
        if (distance > static_cast<std::size_t>(pTo - pOut) || length > spaceLeft()) return false;
        copyForward(pTo, distance, length);
        pTo += length;
    }
    return pTo == pOutEnd;
}

void appendBlock(const PcdLayout& layout, const InputFile& file, BlockReader& reader, std::vector<Point3>& vPoints,
                 AttributeColumns* pColumns) {
    constexpr std::size_t LENGTHS = 2 * sizeof(std::uint32_t);
    const std::string where = " from byte " + std::to_string(layout.headerLength);
    if (layout.numPoints == 0) return;
    if (!reader.fill(LENGTHS)) refuseEnd(reader, "ends before the compressed block" + where);
    const std::size_t numIn = loadInt<std::uint32_t>(reader.begin());
    const std::size_t numOut = loadInt<std::uint32_t>(reader.begin() + sizeof(std::uint32_t));
    reader.skip(LENGTHS);
    if (numOut % layout.recordLength != 0 || numOut / layout.recordLength != layout.numPoints)
        refuse("has a block of " + std::to_string(numOut) + " bytes" + where + ", but " + std::to_string(layout.numPoints) +
               " points of " + std::to_string(layout.recordLength) + " bytes by its header");
    const std::string tooShort = "is too short for the compressed block of " + std::to_string(numIn) + " bytes" + where;
    if (file.size() && *file.size() < layout.headerLength + LENGTHS + numIn) refuse(tooShort);
    const std::string damaged = "has a damaged compressed block" + where;
    if (numOut / MOST_PER_REFERENCE > numIn / BYTES_OF_LONGEST) refuse(damaged);
    if (!reader.fill(numIn)) refuseEnd(reader, tooShort);
    const std::unique_ptr<char[]> pBytes(new char[numOut]);
    if (!expand({reader.begin(), numIn}, pBytes.get(), numOut)) refuse(damaged);
    const auto column = [&](const PcdLayout::Coordinate& axis) {
        return CoordinateColumn{pBytes.get() + axis.offset * layout.numPoints, axis.kind.size, axis.kind.load};
    };
    reserveLarge(vPoints, vPoints.size() + layout.numPoints);
    appendColumns({column(layout.aCoordinate[0]), column(layout.aCoordinate[1]), column(layout.aCoordinate[2])},
                  layout.numPoints, vPoints);
    for (const PcdLayout::Attribute& attribute : layout.vAttribute)
        pColumns->appendBytes(attribute.target, pBytes.get() + attribute.field * layout.numPoints + attribute.offset,
                              attribute.fieldLength, layout.numPoints);
}

/// Returns whether there are more points than the header counts.
bool readPcdPoints(const InputFile& file, BlockReader& reader, std::vector<Point3>& vPoints, AttributeColumns* pColumns) {
    NumberedLines lines(reader, LineEnd::LINE_FEED);  // what is behind the last one is bytes
    const PcdHeader header = readPcdHeader(lines);
    const PcdLayout layout = layoutOf(header, pColumns);
    if (header.encoding == "ascii")
        appendText(layout, lines, vPoints, pColumns);
    else if (header.encoding == "binary")
        appendRecords(layout, file, reader, vPoints, pColumns);
    else if (header.encoding == "binary_compressed")
        appendBlock(layout, file, reader, vPoints, pColumns);
    else
        lines.refuseLine("expected DATA ascii, binary or binary_compressed");
    std::string_view line;
    return header.encoding == "ascii" ? lines.next(line) : header.encoding == "binary" && reader.fill(layout.recordLength);
}

}  // namespace

bool readPcd(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    bool bMore = false;
    const bool bRead =
        readAllOrNothing(filename, vPoints, [&](const InputFile& file, BlockReader& reader, std::vector<Point3>& vAppended) {
            bMore = readPcdPoints(file, reader, vAppended, pAttributes);
        });
    if (bRead && bMore) warning("readPointFile", filename + " has more points than its header counts, which aren't read");
    return bRead;
}

}  // namespace TARN_KEL
