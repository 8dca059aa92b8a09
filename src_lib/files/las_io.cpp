// Points of LAS files, versions 1.0 to 1.4.
//
// A file has a header of fixed fields that grew with the versions, then records that only say more about the points, such as
// their coordinate system or what is appended to each, and from a byte that the header names the points: records of one
// length, which begin with three whole numbers. A coordinate is such a number times the scale of its axis, plus the offset
// of the axis. The format of the points says what follows the coordinates, and so the least length of a record; files may
// append data of their own to each, which are columns where the header describes them. All numbers have their low bytes
// first.
//
// Up to version 1.3 the number of points has 32 bits. 1.4 has one of 64 bits, too, and leaves the old one 0 where it is too
// small or the format is new; some writers fill in the old one only.
//
// Whatever the header says, no more is reserved than the file has points, and coordinates are finite.
//
// What is written is version 1.2, format 0, or 1 to 3 with times and colours: those that every program reads. Only classes
// above 31 need version 1.4 and format 6 or 7. Steps are powers of ten, so that the decimals of a scan stay what they were.
// An offset amid the points leaves the steps all 32 bits. Columns without a place in the format are appended to each point.
#include "las_io.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "AtomicFile.h"
#include "attributeColumns.h"
#include "largePages.h"
#include "lasExtraBytes.h"
#include "littleEndian.h"
#include "numberForms.h"
#include "pointReading.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

// Where the fields of the header begin, in bytes.
constexpr std::size_t ENCODING = 6, MAJOR_VERSION = 24, MINOR_VERSION = 25, SYSTEM = 26, SOFTWARE = 58, HEADER_LENGTH = 94,
                      FIRST_POINT = 96, NUM_RECORDS = 100, POINT_FORMAT = 104, RECORD_LENGTH = 105, OLD_COUNT = 107,
                      NUM_FIRST_RETURNS = 111, SCALES = 131, OFFSETS = 155, BOUNDS = 179, NEW_COUNT = 247,
                      NEW_FIRST_RETURNS = 255;

/// Bytes of a header, by the minor version.
constexpr std::array<std::size_t, 5> HEADER_LENGTHS{227, 227, 227, 235, 375};
constexpr std::size_t WITH_NEW_COUNT = 4;  // the minor version

/// Least bytes of a point, by its format.
constexpr std::array<std::size_t, 11> RECORD_LENGTHS{20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr unsigned FIRST_NEW_FORMAT = 6;
constexpr std::size_t INTENSITY = 12;  // in a point, like the next ones
constexpr std::size_t RETURNS = 14, OLD_CLASS = 15, NEW_CLASS = 16, OLD_ANGLE = 16, NEW_ANGLE = 18, USER_DATA = 17,
                      OLD_SOURCE = 18, NEW_SOURCE = 20;
/// Where the three numbers of the colour, the time and the near infrared begin, by the format; 0 where there is none.
constexpr std::array<std::size_t, 11> COLOURS{0, 0, 20, 28, 0, 28, 0, 30, 30, 0, 30};
constexpr std::array<std::size_t, 11> TIMES{0, 20, 0, 20, 20, 20, 22, 22, 22, 22, 22};
constexpr std::array<std::size_t, 11> INFRARED{0, 0, 0, 0, 0, 0, 0, 0, 36, 0, 36};
constexpr unsigned COMPRESSED = 0xC0;  // bits that compressors set in the format

// Where the fields of a record between header and points begin, in bytes; its content follows them.
constexpr std::size_t USER = 2, USER_LENGTH = 16, RECORD_ID = 18, CONTENT_LENGTH = 20, RECORD_HEADER = 54;

/// What the header says about the points.
struct PointLayout {
    std::uint64_t numPoints = 0;
    std::size_t headerLength = 0, numRecords = 0;  ///< the records are between the header and the points
    std::size_t first = 0;                         ///< byte of the file
    std::size_t length = 0;                        ///< bytes from point to point
    std::size_t classByte = 0;
    unsigned classMask = 0;  ///< the bits of that byte that are the class; old formats have flags in the others
    unsigned format = 0;
    std::array<double, 3> aScale{}, aOffset{};
};

std::string numberText(double value) {
    std::string text;
    appendNumber(text, value);
    return text;
}

// ---- The header

void fillHeader(BlockReader& reader, std::size_t numBytes) {
    if (!reader.fill(numBytes))
        refuseEnd(reader, "ends within its header: it has " + std::to_string(reader.size()) + " bytes of " +
                              std::to_string(numBytes));
}

/// Returns the minor version, whose whole header is then in the window of the reader.
std::size_t readVersion(BlockReader& reader) {
    reader.fill(LAS_SIGNATURE.size());
    if (std::string_view(reader.begin(), std::min(reader.size(), LAS_SIGNATURE.size())) != LAS_SIGNATURE)
        refuseEnd(reader, "isn't a LAS file: it doesn't begin with LASF");
    fillHeader(reader, HEADER_LENGTHS[0]);
    const unsigned major = byteAt(reader.begin(), MAJOR_VERSION), minor = byteAt(reader.begin(), MINOR_VERSION);
    if (major != 1 || minor >= HEADER_LENGTHS.size())
        refuse("is of LAS version " + std::to_string(major) + "." + std::to_string(minor) + ", expected: 1.0 to 1.4");
    fillHeader(reader, HEADER_LENGTHS[minor]);
    return minor;
}

std::size_t recordLength(const char* pHeader) {
    const unsigned format = byteAt(pHeader, POINT_FORMAT);
    if ((format & COMPRESSED) != 0)
        refuse("is compressed (LAZ), which can't be read: convert it to an uncompressed .las with a LAS tool first");
    if (format >= RECORD_LENGTHS.size())
        refuse("has point format " + std::to_string(format) + " at byte " + std::to_string(POINT_FORMAT) +
               ", expected: 0 to " + std::to_string(RECORD_LENGTHS.size() - 1));
    const std::size_t length = loadInt<std::uint16_t>(pHeader + RECORD_LENGTH);
    if (length < RECORD_LENGTHS[format])
        refuse("has points of " + std::to_string(length) + " bytes by its header at byte " + std::to_string(RECORD_LENGTH) +
               ", but format " + std::to_string(format) + " takes " + std::to_string(RECORD_LENGTHS[format]));
    return length;
}

std::size_t firstPoint(const char* pHeader, std::size_t minor) {
    const std::size_t headerLength = loadInt<std::uint16_t>(pHeader + HEADER_LENGTH);
    if (headerLength < HEADER_LENGTHS[minor])
        refuse("has a header of " + std::to_string(headerLength) + " bytes by its byte " + std::to_string(HEADER_LENGTH) +
               ", but version 1." + std::to_string(minor) + " takes " + std::to_string(HEADER_LENGTHS[minor]));
    const std::size_t first = loadInt<std::uint32_t>(pHeader + FIRST_POINT);
    if (first < headerLength)
        refuse("has its points at byte " + std::to_string(first) + ", within its header of " + std::to_string(headerLength) +
               " bytes");
    return first;
}

std::uint64_t numPointsOf(const char* pHeader, std::size_t minor) {
    const std::uint64_t numNew = minor >= WITH_NEW_COUNT ? loadInt<std::uint64_t>(pHeader + NEW_COUNT) : 0;
    return numNew != 0 ? numNew : loadInt<std::uint32_t>(pHeader + OLD_COUNT);
}

/// Sets the scale and the offset of an axis. With them all coordinates are finite.
void readAxis(const char* pHeader, std::size_t axis, PointLayout& layout) {
    constexpr double FARTHEST = -static_cast<double>(std::numeric_limits<std::int32_t>::min());
    const double scale = loadDouble(pHeader + SCALES + axis * sizeof(double));
    const double offset = loadDouble(pHeader + OFFSETS + axis * sizeof(double));
    if (scale == 0.0 || !std::isfinite(std::abs(scale) * FARTHEST + std::abs(offset)))
        refuse("has the scale " + numberText(scale) + " and the offset " + numberText(offset) + " for " + "xyz"[axis] +
               ", with which there are no coordinates");
    layout.aScale[axis] = scale;
    layout.aOffset[axis] = offset;
}

PointLayout readLayout(BlockReader& reader) {
    const std::size_t minor = readVersion(reader);
    const char* const pHeader = reader.begin();
    PointLayout layout;
    layout.length = recordLength(pHeader);
    layout.first = firstPoint(pHeader, minor);
    layout.headerLength = loadInt<std::uint16_t>(pHeader + HEADER_LENGTH);
    layout.numRecords = loadInt<std::uint32_t>(pHeader + NUM_RECORDS);
    layout.numPoints = numPointsOf(pHeader, minor);
    const unsigned format = byteAt(pHeader, POINT_FORMAT);
    const bool bOldFormat = format < FIRST_NEW_FORMAT;
    layout.format = format;
    layout.classByte = bOldFormat ? OLD_CLASS : NEW_CLASS;
    layout.classMask = bOldFormat ? 0x1F : 0xFF;
    for (std::size_t axis = 0; axis < 3; ++axis)
        readAxis(pHeader, axis, layout);
    return layout;
}

// ---- The points

std::string tooShortText(const PointLayout& layout, std::uint64_t numPresent) {
    return "is too short for its " + std::to_string(layout.numPoints) + " points of " + std::to_string(layout.length) +
           " bytes from byte " + std::to_string(layout.first) + ": it has " + std::to_string(numPresent) + " of them";
}

void requireLength(std::uint64_t fileLength, const PointLayout& layout) {
    const std::uint64_t numPresent = fileLength > layout.first ? (fileLength - layout.first) / layout.length : 0;
    if (numPresent < layout.numPoints) refuse(tooShortText(layout, numPresent));
}

double coordinate(const char* pRecord, std::size_t axis, const PointLayout& layout) {
    const auto steps = static_cast<std::int32_t>(loadInt<std::uint32_t>(pRecord + axis * sizeof(std::int32_t)));
    return steps * layout.aScale[axis] + layout.aOffset[axis];
}

// ---- What is appended to each point

std::size_t numExtraBytes(const PointLayout& layout) {
    return layout.length - RECORD_LENGTHS[layout.format];
}

bool describesExtras(const char* pRecord) {
    const std::string_view user(pRecord + USER, USER_LENGTH);
    return user.substr(0, user.find('\0')) == LAS_SPEC_USER &&
           loadInt<std::uint16_t>(pRecord + RECORD_ID) == EXTRA_BYTES_RECORD;
}

/// Of descriptions that count more bytes than there are none is believed.
std::vector<LasExtra> believedExtras(std::string_view descriptions, const PointLayout& layout, AttributeColumns& columns) {
    LasExtras extras = extrasOf(descriptions);
    const std::size_t numBytes = numExtraBytes(layout);
    if (extras.numDescribed > numBytes) {
        columns.note("its header describes " + std::to_string(extras.numDescribed) + " bytes behind each point, where " +
                     std::to_string(numBytes) + " are");
        return {};
    }
    columns.leaveOutBytes(numBytes - extras.numDescribed + extras.numOthers);
    return std::move(extras.vExtra);
}

/// Consumes the header and the records up to the points. Returns what is known of the bytes behind each point. A chain of
/// records that leads nowhere tells nothing.
std::vector<LasExtra> skipToPoints(BlockReader& reader, const PointLayout& layout, AttributeColumns* pColumns) {
    std::vector<LasExtra> vExtra;
    std::size_t pos = 0;  // of the reader, in the file
    const auto skipTo = [&](std::size_t end) {
        if (!reader.skipFar(end - pos))
            refuseEnd(reader, "ends before byte " + std::to_string(layout.first) + ", where its points begin");
        pos = end;
    };
    const bool bWanted = pColumns != nullptr && numExtraBytes(layout) > 0;
    if (bWanted) pColumns->leaveOutBytes(numExtraBytes(layout));
    skipTo(layout.headerLength);
    for (std::size_t i = 0; bWanted && i < layout.numRecords && layout.first - pos >= RECORD_HEADER; ++i) {
        if (!reader.fill(RECORD_HEADER)) break;
        const std::size_t length = RECORD_HEADER + loadInt<std::uint16_t>(reader.begin() + CONTENT_LENGTH);
        if (length > layout.first - pos || !reader.fill(length)) break;
        if (describesExtras(reader.begin())) {
            vExtra = believedExtras({reader.begin() + RECORD_HEADER, length - RECORD_HEADER}, layout, *pColumns);
            break;
        }
        skipTo(pos + length);
    }
    skipTo(layout.first);
    return vExtra;
}

// ---- What points carry

/// The bits that are set in any of many records.
class RecordBits {
public:
    explicit RecordBits(std::size_t numBytes_) : numBytes(numBytes_), vWord(numBytes_ / WORD, 0) {}

    /// stride: bytes from record to record.
    void take(const char* p, std::uint64_t numRecords, std::size_t stride) {
        const auto bitsAt = [&](std::size_t byte) {
            std::uint64_t bits = 0;
            for (std::uint64_t i = 0; i < numRecords; ++i)
                bits |= loadInt<std::uint64_t>(p + i * stride + byte);
            return bits;
        };
        for (std::size_t i = 0; i < vWord.size(); ++i)
            vWord[i] |= bitsAt(i * WORD);
        last |= bitsAt(numBytes - WORD);
    }
    unsigned at(std::size_t byte) const {
        const bool bInWord = byte < vWord.size() * WORD;
        const std::uint64_t word = bInWord ? vWord[byte / WORD] : last;
        return static_cast<unsigned>(word >> (8 * (bInWord ? byte % WORD : byte - (numBytes - WORD))) & 0xFF);
    }
    bool areZero(std::size_t byte, std::size_t num) const {
        for (std::size_t i = 0; i < num; ++i)
            if (at(byte + i) != 0) return false;
        return true;
    }

private:
    static constexpr std::size_t WORD = sizeof(std::uint64_t);

    const std::size_t numBytes;  // of a record that count; at least a word
    std::vector<std::uint64_t> vWord;
    std::uint64_t last = 0;  // of the last bytes, which may be in no whole word
};

/// The attributes of a file, as they are taken from runs of records.
///
/// Which columns nobody filled in, and whether colours have 8 bits, is told by all points of the file, also by those that
/// are left out.
class LasAttributes {
public:
    /// pColumns: null where nobody wants them.
    LasAttributes(const PointLayout& layout, const std::vector<LasExtra>& vExtra_, AttributeColumns* pColumns_)
        : length(layout.length), bits(RECORD_LENGTHS[layout.format]), vExtra(vExtra_), pColumns(pColumns_) {
        if (pColumns == nullptr) return;
        addFields(layout);
        addExtras(RECORD_LENGTHS[layout.format]);
    }

    void reserve(std::size_t numPoints) {
        if (pColumns != nullptr) pColumns->reserve(numPoints);
    }

    /// To be called with all records of the file.
    void look(const char* p, std::uint64_t numRecords) {
        if (pColumns == nullptr || bSeenEnough) return;
        bits.take(p, numRecords, length);
        const auto end = vField.begin() + static_cast<std::ptrdiff_t>(firstExtra);
        bSeenEnough = !haveColours8Bits() && std::none_of(vField.begin(), end, [&](const Field& f) { return isUnused(f); });
    }

    void take(const char* pFirst, std::uint64_t numRecords) {
        for (std::size_t i = 0; i < vField.size(); ++i)
            pColumns->appendBytes(i, pFirst + vField[i].byte, length, numRecords);
    }

    void finish() {
        if (pColumns == nullptr) return;
        for (std::size_t i = 0; i < firstExtra; ++i)
            takeBits(vField[i], pColumns->columns()[i]);
        for (std::size_t i = firstExtra; i < vField.size(); ++i)
            finishExtra(vExtra[i - firstExtra], pColumns->columns()[i]);
        const std::size_t numUnused = dropUnused();
        nameExtras(firstExtra - numUnused);
    }

private:
    /// The one of that number among the columns.
    struct Field {
        std::size_t byte, width;
        unsigned shift, mask;  ///< the bits of a byte that it has; mask 0: all
        unsigned idle;         ///< the greatest value that says nothing
    };

    template <typename T>
    void add(const char* name, std::size_t byte, unsigned shift = 0, unsigned mask = 0, unsigned idle = 0) {
        pColumns->add(name, std::vector<T>());
        vField.push_back({byte, sizeof(T), shift, mask, idle});
    }

    void addFields(const PointLayout& layout) {
        constexpr unsigned ONLY_RETURN = 1;
        const std::size_t format = layout.format;
        const bool bOld = format < FIRST_NEW_FORMAT;
        const unsigned countBits = bOld ? 3 : 4, countMask = bOld ? 0x7 : 0xF;
        add<std::uint16_t>("intensity", INTENSITY);
        add<std::uint8_t>("classification", layout.classByte, 0, layout.classMask);
        add<std::uint8_t>("return_number", RETURNS, 0, countMask, ONLY_RETURN);
        add<std::uint8_t>("number_of_returns", RETURNS, countBits, countMask, ONLY_RETURN);
        bOld ? add<std::int8_t>("scan_angle", OLD_ANGLE) : add<std::int16_t>("scan_angle", NEW_ANGLE);
        add<std::uint8_t>("user_data", USER_DATA);
        add<std::uint16_t>("point_source_id", bOld ? OLD_SOURCE : NEW_SOURCE);
        if (TIMES[format] != 0) add<double>("gps_time", TIMES[format]);
        if (INFRARED[format] != 0) add<std::uint16_t>("nir", INFRARED[format]);
        firstColour = vField.size();
        std::size_t byte = COLOURS[format];
        for (const char* name : {"red", "green", "blue"}) {
            if (COLOURS[format] != 0) add<std::uint16_t>(name, byte);
            byte += sizeof(std::uint16_t);
        }
        firstExtra = vField.size();
    }

    /// numBytes: of the format.
    void addExtras(std::size_t numBytes) {
        for (const LasExtra& extra : vExtra)  // to the last one, as those without room are counted
            if (pColumns->add(extra.name, extra.values) != AttributeColumns::NONE)
                vField.push_back({numBytes + extra.byte, 0, 0, 0, 0});
    }

    /// Whether all values are 0 or as idle.
    bool isUnused(const Field& field) const {
        if (field.mask != 0) return (bits.at(field.byte) >> field.shift & field.mask) <= field.idle;
        return bits.areZero(field.byte, field.width);
    }

    bool haveColours8Bits() const {
        for (std::size_t i = firstColour; i < firstExtra; ++i)
            if (bits.at(vField[i].byte + 1) != 0) return false;
        return firstColour != firstExtra;
    }

    static void takeBits(const Field& field, AttributeColumn& column) {
        constexpr float DEGREES = 0.006F;  // a step of the angle in new formats; in old ones it is a degree
        if (field.mask != 0)
            for (std::uint8_t& number : std::get<std::vector<std::uint8_t>>(column.values))
                number = static_cast<std::uint8_t>((number >> field.shift) & field.mask);
        if (const auto* const pSteps = std::get_if<std::vector<std::int16_t>>(&column.values)) {
            std::vector<float> vAngle;
            vAngle.reserve(pSteps->size());
            for (const std::int16_t steps : *pSteps)
                vAngle.push_back(static_cast<float>(steps) * DEGREES);
            column.values = std::move(vAngle);
        }
    }

    /// Drops fields that nobody filled in; the channels of a colour together, and so are returns where each is the only one.
    /// Many writers put colours of 8 bits a channel into the 16 bits. Returns how many were dropped.
    std::size_t dropUnused() {
        std::vector<std::size_t> vUnused, vColour;
        for (std::size_t i = 0; i < firstExtra; ++i)
            (i < firstColour ? vUnused : vColour).push_back(i);
        const auto isIdle = [&](std::size_t i) { return isUnused(vField[i]); };
        const bool bReturns = !isIdle(FIRST_RETURN) || !isIdle(FIRST_RETURN + 1);
        std::erase_if(vUnused,
                      [&](std::size_t i) { return i == FIRST_RETURN || i == FIRST_RETURN + 1 ? bReturns : !isIdle(i); });
        if (haveColours8Bits()) pColumns->narrowBytes(vColour);
        if (std::all_of(vColour.begin(), vColour.end(), isIdle))
            vUnused.insert(vUnused.end(), vColour.begin(), vColour.end());
        pColumns->drop(vUnused);
        return vUnused.size();
    }

    /// Gives extra columns that got a number their names without it where these are free, as the fields are gone that had
    /// them. first: of them among the columns.
    void nameExtras(std::size_t first) {
        std::vector<AttributeColumn>& vColumn = pColumns->columns();
        for (std::size_t i = first; i < vColumn.size(); ++i) {
            const std::string name = knownName(vExtra[i - first].name);
            const auto hasName = [&name](const AttributeColumn& column) { return column.name == name; };
            if (std::none_of(vColumn.begin(), vColumn.end(), hasName)) vColumn[i].name = name;
        }
    }

    static constexpr std::size_t FIRST_RETURN = 2;  // of the fields; the next one is how many there were

    const std::size_t length;  // bytes from point to point
    RecordBits bits;
    const std::vector<LasExtra>& vExtra;
    AttributeColumns* pColumns;
    std::vector<Field> vField;
    std::size_t firstColour = 0, firstExtra = 0;  // of the fields
    bool bSeenEnough = false;                     // all fields are used, and colours have 16 bits
};

/// layout: a copy, which is known not to change while points are stored.
void appendCoordinates(const char* p, std::uint64_t numRecords, const PointLayout layout, std::vector<Point3>& vPoints) {
    for (std::uint64_t i = 0; i < numRecords; ++i, p += layout.length)
        vPoints.emplace_back(coordinate(p, 0, layout), coordinate(p, 1, layout), coordinate(p, 2, layout));
}

/// Calls use(first, number) for each run of wanted ones among so many. isWanted: bool(std::uint64_t), called for each once.
template <typename IsWanted, typename Use>
void forRuns(std::uint64_t num, const IsWanted& isWanted, const Use& use) {
    std::uint64_t first = 0;
    for (std::uint64_t i = 0; i < num; ++i) {
        if (isWanted(i)) continue;
        if (i > first) use(first, i - first);
        first = i + 1;
    }
    if (num > first) use(first, num - first);
}

unsigned classOf(const char* pRecord, const PointLayout& layout) {
    return byteAt(pRecord, layout.classByte) & layout.classMask;
}

/// Appends those of some records that are chosen. pColumns: not null.
void chooseRecords(const char* p, std::uint64_t num, const PointLayout& layout, std::vector<Point3>& vPoints,
                   AttributeColumns* pColumns, LasAttributes& attributes) {
    appendCoordinates(p, num, layout, vPoints);
    const auto classAt = [&](std::size_t i) { return std::optional<double>(classOf(p + i * layout.length, layout)); };
    const std::vector<unsigned char>& vKept = pColumns->settlePoints(vPoints, classAt);
    forRuns(
        num, [&](std::uint64_t i) { return vKept[i] != 0; },
        [&](std::uint64_t first, std::uint64_t numHere) { attributes.take(p + first * layout.length, numHere); });
}

/// isWanted: bool(const char* pRecord); where the columns say which points are chosen, it isn't asked. bAllThere: the file
/// has all its points, and all of them may be wanted.
template <typename IsWanted>
void appendPoints(BlockReader& reader, const PointLayout& layout, std::vector<Point3>& vPoints, AttributeColumns* pColumns,
                  bool bAllThere, const IsWanted& isWanted) {
    AttributeColumns* const pWanted = wantedColumns(pColumns);  // classes are in the records
    const std::vector<LasExtra> vExtra = skipToPoints(reader, layout, pWanted);
    LasAttributes attributes(layout, vExtra, pWanted);
    if (bAllThere) attributes.reserve(layout.numPoints);
    const auto appendPiece = [&](const char* p, std::uint64_t numHere) {
        attributes.look(p, numHere);
        if (pColumns != nullptr && pColumns->isChoosing())
            return chooseRecords(p, numHere, layout, vPoints, pColumns, attributes);
        forRuns(
            numHere, [&](std::uint64_t i) { return isWanted(p + i * layout.length); },
            [&](std::uint64_t first, std::uint64_t num) {
                attributes.take(p + first * layout.length, num);
                appendCoordinates(p + first * layout.length, num, layout, vPoints);
            });
    };
    const auto append = [&](const char* p, std::uint64_t numHere) {
        constexpr std::uint64_t PIECE = 16384;  // bytes: the fastest cache keeps them from column to column
        const std::uint64_t most = std::max<std::uint64_t>(PIECE / layout.length, 1);
        for (std::uint64_t i = 0; i < numHere; i += most)
            appendPiece(p + i * layout.length, std::min(most, numHere - i));
    };
    const std::uint64_t numRead = readRecords(reader, layout.numPoints, layout.length, append);
    if (numRead < layout.numPoints) refuseEnd(reader, tooShortText(layout, numRead));
    attributes.finish();
}

void readLasPoints(const InputFile& file, BlockReader& reader, std::vector<Point3>& vPoints, AttributeColumns* pColumns) {
    const PointLayout layout = readLayout(reader);
    if (const std::optional<std::uint64_t> fileLength = file.size()) {
        requireLength(*fileLength, layout);
        if (pColumns == nullptr || !pColumns->isChoosing()) reserveLarge(vPoints, vPoints.size() + layout.numPoints);
    }
    appendPoints(reader, layout, vPoints, pColumns, file.size().has_value(), [](const char*) { return true; });
}

/// Returns how many points are of other classes.
std::size_t readLasClasses(const InputFile& file, BlockReader& reader, const LasClasses& aWanted,
                           std::vector<Point3>& vPoints, AttributeColumns* pColumns) {
    const PointLayout layout = readLayout(reader);
    if (file.size()) requireLength(*file.size(), layout);
    std::size_t numOthers = 0;
    appendPoints(reader, layout, vPoints, pColumns, false, [&](const char* pRecord) {
        const bool bWanted = aWanted[classOf(pRecord, layout)];
        numOthers += bWanted ? 0 : 1;
        return bWanted;
    });
    return numOthers;
}

// ---- Writing

constexpr double MOST_STEPS = std::numeric_limits<std::int32_t>::max();
constexpr double FARTHEST_WRITTEN = 1e300;  // leaves room for steps beside the coordinate that is farthest out

/// The steps of an axis, and what is on it.
struct WrittenAxis {
    double scale = 1.0, offset = 0.0;
    double least = 0.0, greatest = 0.0;  ///< coordinates

    double steps(double coordinate) const { return std::round((coordinate - offset) / scale); }
    double place(double coordinate) const { return steps(coordinate) * scale + offset; }
};

double componentOf(const Point3& point, std::size_t axis) {
    return axis == 0 ? point.x() : axis == 1 ? point.y() : point.z();
}

/// The double nearest to a power of ten, which std::pow() needn't give.
double powerOfTen(int exponent) {
    const std::string text = "1e" + std::to_string(exponent);
    double value = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

/// The finest step that reaches all points, down to a thousandth of what their spacing asks for: sparse points, too, may
/// have been measured to the millimetre. extent: how far points are from the offset at most. spacing: their mean distance of
/// neighbours; 0.0 where it isn't known.
double scaleFor(double extent, double spacing) {
    constexpr double ANY = 1e-3;    // all points are at the offset
    constexpr double LEAST = -300;  // exponent
    constexpr double FINER = 3;     // powers of ten
    if (extent == 0.0) return ANY;
    const double fine = std::floor(std::log10(2.0 * MAX_ROUNDING * spacing));  // half a step is what a point moves by
    int exponent = static_cast<int>(std::max(fine - FINER, LEAST));
    while (extent / powerOfTen(exponent) > MOST_STEPS)
        ++exponent;
    return powerOfTen(exponent);
}

WrittenAxis axisFor(std::span<const Point3> points, std::size_t axis, double spacing) {
    if (points.empty()) return {};
    const auto [least, greatest] = std::minmax_element(points.begin(), points.end(), [axis](const auto& p, const auto& q) {
        return componentOf(p, axis) < componentOf(q, axis);
    });
    WrittenAxis written;
    written.least = componentOf(*least, axis);
    written.greatest = componentOf(*greatest, axis);
    written.offset = std::round(written.least / 2.0 + written.greatest / 2.0) + 0.0;  // never -0.0
    written.scale = scaleFor(std::max(written.greatest - written.offset, written.offset - written.least), spacing);
    return written;
}

std::array<WrittenAxis, 3> axesFor(std::span<const Point3> points) {
    std::vector<const Point3*> vPointers;
    vPointers.reserve(points.size());
    for (const Point3& point : points)
        vPointers.push_back(&point);
    const double spacing = surfaceSpacing(vPointers);
    return {axisFor(points, 0, spacing), axisFor(points, 1, spacing), axisFor(points, 2, spacing)};
}

using ExtraColumns = std::vector<const AttributeColumn*>;

/// The record that describes columns which are appended to each point; empty without such ones.
std::string extrasRecord(const ExtraColumns& vExtra) {
    if (vExtra.empty()) return {};
    std::string record(RECORD_HEADER, '\0');
    record.replace(USER, LAS_SPEC_USER.size(), LAS_SPEC_USER);
    storeInt(&record[RECORD_ID], EXTRA_BYTES_RECORD);
    storeInt(&record[CONTENT_LENGTH], static_cast<std::uint16_t>(vExtra.size() * EXTRA_DESCRIPTION));
    for (const AttributeColumn* pColumn : vExtra)
        record += extraDescription(*pColumn);
    return record;
}

std::size_t writtenLength(std::size_t format, const ExtraColumns& vExtra) {
    std::size_t length = RECORD_LENGTHS[format];
    for (const AttributeColumn* pColumn : vExtra)
        length += extraWidth(pColumn->values);
    return length;
}

/// With the records behind it.
std::string headerFor(std::size_t numPoints, const std::array<WrittenAxis, 3>& aAxis, std::size_t format,
                      const ExtraColumns& vExtra) {
    constexpr std::uint16_t WELL_KNOWN_TEXT = 1 << 4;  // the form of coordinate systems that new formats must claim
    const bool bNew = format >= FIRST_NEW_FORMAT;
    const std::size_t minor = bNew ? WITH_NEW_COUNT : 2;
    std::string header(HEADER_LENGTHS[minor], '\0');
    char* const p = header.data();
    const auto putText = [&](std::size_t place, std::string_view text) { header.replace(place, text.size(), text); };
    putText(0, LAS_SIGNATURE);
    p[MAJOR_VERSION] = 1;
    p[MINOR_VERSION] = static_cast<char>(minor);
    putText(SYSTEM, "OTHER");  // than a scanner
    putText(SOFTWARE, "KEL");
    storeInt(p + HEADER_LENGTH, static_cast<std::uint16_t>(header.size()));
    const std::string record = extrasRecord(vExtra);
    storeInt(p + FIRST_POINT, static_cast<std::uint32_t>(header.size() + record.size()));
    storeInt(p + NUM_RECORDS, static_cast<std::uint32_t>(record.empty() ? 0 : 1));
    p[POINT_FORMAT] = static_cast<char>(format);
    storeInt(p + RECORD_LENGTH, static_cast<std::uint16_t>(writtenLength(format, vExtra)));
    if (bNew) {
        storeInt(p + ENCODING, WELL_KNOWN_TEXT);
        storeInt(p + NEW_COUNT, static_cast<std::uint64_t>(numPoints));
        storeInt(p + NEW_FIRST_RETURNS, static_cast<std::uint64_t>(numPoints));
    } else {
        storeInt(p + OLD_COUNT, static_cast<std::uint32_t>(numPoints));
        storeInt(p + NUM_FIRST_RETURNS, static_cast<std::uint32_t>(numPoints));
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const WrittenAxis& axis = aAxis[i];
        storeDouble(p + SCALES + i * sizeof(double), axis.scale);
        storeDouble(p + OFFSETS + i * sizeof(double), axis.offset);
        storeDouble(p + BOUNDS + 2 * i * sizeof(double), axis.place(axis.greatest));
        storeDouble(p + BOUNDS + (2 * i + 1) * sizeof(double), axis.place(axis.least));
    }
    return header + record;
}

/// What a record holds beside the place: numbers of one or two bytes, or a double.
struct WrittenField {
    const AttributeColumn* pColumn;
    std::size_t byte, width;
    double factor;  ///< to the unit of the file
};

constexpr double MOST_OLD_CLASS = 31.0, MOST_CLASS = 255.0;

/// Whether there is a column, and all its known values are whole numbers that fit.
bool isWritable(const AttributeColumn* pColumn, double most) {
    if (pColumn == nullptr) return false;
    for (std::size_t i = 0; i < pColumn->size(); ++i) {
        const double value = pColumn->number(i);
        const bool bFits = value >= 0.0 && value <= most && value == std::floor(value);
        if (!bFits && pColumn->isKnown(i)) return false;
    }
    return true;
}

/// "classification", else the first one that has classes; null when there is none.
const AttributeColumn* findClasses(const PointAttributes& attributes) {
    if (const AttributeColumn* const pColumn = attributes.find("classification")) return pColumn;
    for (const AttributeColumn& column : attributes.vColumns)
        if (attributes.kindOf(column) == AttributeKind::CLASS) return &column;
    return nullptr;
}

/// The smallest point format that has room for what is written, a new one only where classes need it.
std::size_t formatFor(const PointAttributes& attributes) {
    constexpr std::size_t WITH_TIME = 1, WITH_COLOUR = 2;  // bits of the old formats
    const AttributeColumn* const pClasses = findClasses(attributes);
    const bool bNew = isWritable(pClasses, MOST_CLASS) && !isWritable(pClasses, MOST_OLD_CLASS);
    if (bNew) return FIRST_NEW_FORMAT + (attributes.hasColour() ? 1 : 0);
    return (attributes.find("gps_time") != nullptr ? WITH_TIME : 0) | (attributes.hasColour() ? WITH_COLOUR : 0);
}

std::vector<WrittenField> fieldsFor(const PointAttributes& attributes, std::size_t format) {
    constexpr double MOST = 65535.0;
    const bool bNew = format >= FIRST_NEW_FORMAT;
    std::vector<WrittenField> vField;
    const auto addIfFits = [&vField](const AttributeColumn* pColumn, std::size_t byte, std::size_t width, double most) {
        if (isWritable(pColumn, most)) vField.push_back({pColumn, byte, width, 1.0});
    };
    addIfFits(attributes.find("intensity"), INTENSITY, 2, MOST);
    addIfFits(attributes.find("user_data"), USER_DATA, 1, MOST_CLASS);
    addIfFits(attributes.find("point_source_id"), bNew ? NEW_SOURCE : OLD_SOURCE, 2, MOST);
    addIfFits(findClasses(attributes), bNew ? NEW_CLASS : OLD_CLASS, 1, bNew ? MOST_CLASS : MOST_OLD_CLASS);
    if (const AttributeColumn* const pTime = attributes.find("gps_time"))
        vField.push_back({pTime, TIMES[format], sizeof(double), 1.0});
    std::size_t byte = COLOURS[format];
    forColour(attributes, [&](const AttributeColumn& column, double brightest) {
        vField.push_back({&column, byte, 2, MOST / brightest});
        byte += 2;
    });
    return vField;
}

/// The columns that no field holds, as many as a record can describe.
ExtraColumns extrasFor(const PointAttributes& attributes, const std::vector<WrittenField>& vField) {
    constexpr std::size_t MOST = std::numeric_limits<std::uint16_t>::max() / EXTRA_DESCRIPTION;
    ExtraColumns vExtra;
    for (const AttributeColumn& column : attributes.vColumns) {
        const auto isColumn = [&column](const WrittenField& field) { return field.pColumn == &column; };
        if (vExtra.size() < MOST && std::none_of(vField.begin(), vField.end(), isColumn)) vExtra.push_back(&column);
    }
    return vExtra;
}

/// Readers take the class of a point from its field alone.
void warnOfOtherClasses(const std::string& filename, const PointAttributes& attributes, const ExtraColumns& vExtra) {
    const AttributeColumn* const pClasses = findClasses(attributes);
    if (std::find(vExtra.begin(), vExtra.end(), pClasses) == vExtra.end()) return;
    warning("writePoints_LAS",
            filename + ": " + pClasses->name +
                " has other values than whole numbers from 0 to 255, so it is among the extra bytes, where --classes and "
                "other programs don't look for classes");
}

void writeRecords(std::span<const Point3> points, const std::array<WrittenAxis, 3>& aAxis,
                  const std::vector<WrittenField>& vField, const ExtraColumns& vExtra, std::size_t format,
                  AtomicFile& file) {
    constexpr char ONLY_OLD_RETURN = 1 | (1 << 3),
                   ONLY_RETURN = 1 | (1 << 4);  // its number, from 1, and how many there were
    std::string record(writtenLength(format, vExtra), '\0');
    record[RETURNS] = format < FIRST_NEW_FORMAT ? ONLY_OLD_RETURN : ONLY_RETURN;
    for (std::size_t row = 0; row < points.size(); ++row) {
        for (std::size_t i = 0; i < 3; ++i) {
            const auto steps = static_cast<std::int32_t>(aAxis[i].steps(componentOf(points[row], i)));
            storeInt(&record[i * sizeof steps], static_cast<std::uint32_t>(steps));
        }
        for (const auto& [pColumn, byte, width, factor] : vField) {
            const double value = pColumn->isKnown(row) ? pColumn->number(row) : 0.0;
            const auto bits = nearestInt<std::uint16_t>(value * factor);
            if (width == sizeof value) {
                storeDouble(&record[byte], value);
                continue;
            }
            width == 1 ? storeInt(&record[byte], static_cast<std::uint8_t>(bits)) : storeInt(&record[byte], bits);
        }
        char* pExtra = record.data() + RECORD_LENGTHS[format];
        for (const AttributeColumn* pColumn : vExtra) {
            storeExtra(*pColumn, row, pExtra);
            pExtra += extraWidth(pColumn->values);
        }
        file.write(record);
    }
}

/// Why the points don't fit into a file; empty when they do.
std::string faultOf(std::span<const Point3> points) {
    if (points.size() > std::numeric_limits<std::uint32_t>::max())
        return "can't be written as LAS: there are " + std::to_string(points.size()) +
               " points, and its limit is 4294967295";
    const auto isFar = [](double coordinate) { return !(std::abs(coordinate) <= FARTHEST_WRITTEN); };  // also NaN
    for (std::size_t i = 0; i < points.size(); ++i)
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (isFar(componentOf(points[i], axis)))
                return "can't be written as LAS: point " + std::to_string(i + 1) + " of " + std::to_string(points.size()) +
                       " has " + numberText(componentOf(points[i], axis)) + " for " + "xyz"[axis];
    return {};
}

}  // namespace

std::string writeLas(const std::string& filename, std::span<const Point3> points, const PointAttributes& attributes) {
    std::string fault = faultOf(points);
    if (!fault.empty()) return fault;
    AtomicFile file(filename);
    const std::array<WrittenAxis, 3> aAxis = axesFor(points);
    const std::size_t format = formatFor(attributes);
    const std::vector<WrittenField> vField = fieldsFor(attributes, format);
    const ExtraColumns vExtra = extrasFor(attributes, vField);
    file.write(headerFor(points.size(), aAxis, format, vExtra));
    writeRecords(points, aAxis, vField, vExtra, format, file);
    if (!file.commit()) return "can't be written";
    const std::size_t numOthers = attributes.vColumns.size() - vField.size() - vExtra.size();
    if (numOthers > 0) warning("writePoints_LAS", filename + ": left out " + toString(numOthers) + " columns");
    warnOfOtherClasses(filename, attributes, vExtra);
    return {};
}

bool readLas(const std::string& filename, std::vector<Point3>& vPoints, AttributeColumns* pAttributes) {
    return readAllOrNothing(filename, vPoints,
                            [&](const InputFile& file, BlockReader& reader, std::vector<Point3>& vAppended) {
                                readLasPoints(file, reader, vAppended, pAttributes);
                            });
}

bool readLas(const std::string& filename, const LasClasses& aWanted, std::vector<Point3>& vPoints, std::size_t& numOthers,
             AttributeColumns* pAttributes) {
    return readAllOrNothing(filename, vPoints,
                            [&](const InputFile& file, BlockReader& reader, std::vector<Point3>& vAppended) {
                                numOthers = readLasClasses(file, reader, aWanted, vAppended, pAttributes);
                            });
}

}  // namespace TARN_KEL
