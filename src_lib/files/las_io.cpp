// Points of LAS files, versions 1.0 to 1.4.
//
// A file has a header of fixed fields that grew with the versions, then records that only say more about the points, such as
// their coordinate system, and from a byte that the header names the points: records of one length, which begin with three
// whole numbers. A coordinate is such a number times the scale of its axis, plus the offset of the axis. The format of the
// points says what follows the coordinates, and so the least length of a record; files may append data of their own to each.
// All numbers have their low bytes first.
//
// Up to version 1.3 the number of points has 32 bits. 1.4 has one of 64 bits, too, and leaves the old one 0 where it is too
// small or the format is new; some writers fill in the old one only.
//
// Whatever the header says, no more is reserved than the file has points, and coordinates are finite.
#include "las_io.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "littleEndian.h"
#include "pointReading.h"

namespace TARN_KEL {

namespace {

// Where the fields of the header begin, in bytes.
constexpr std::size_t MAJOR_VERSION = 24, MINOR_VERSION = 25, HEADER_LENGTH = 94, FIRST_POINT = 96, POINT_FORMAT = 104,
                      RECORD_LENGTH = 105, OLD_COUNT = 107, SCALES = 131, OFFSETS = 155, NEW_COUNT = 247;

/// Bytes of a header, by the minor version.
constexpr std::array<std::size_t, 5> HEADER_LENGTHS{227, 227, 227, 235, 375};
constexpr std::size_t WITH_NEW_COUNT = 4;  // the minor version

/// Least bytes of a point, by its format.
constexpr std::array<std::size_t, 11> RECORD_LENGTHS{20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr unsigned FIRST_NEW_FORMAT = 6;
constexpr unsigned COMPRESSED = 0xC0;  // bits that compressors set in the format

/// What the header says about the points.
struct PointLayout {
    std::uint64_t numPoints = 0;
    std::size_t first = 0;   ///< byte of the file
    std::size_t length = 0;  ///< bytes from point to point
    std::size_t classByte = 0;
    unsigned classMask = 0;  ///< the bits of that byte that are the class; old formats have flags in the others
    std::array<double, 3> aScale{}, aOffset{};
};

std::string numberText(double value) {
    std::string text;
    appendNumber(text, value);
    return text;
}

unsigned byteAt(const char* p, std::size_t pos) {
    return static_cast<unsigned char>(p[pos]);
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
    layout.numPoints = numPointsOf(pHeader, minor);
    const bool bOldFormat = byteAt(pHeader, POINT_FORMAT) < FIRST_NEW_FORMAT;
    layout.classByte = bOldFormat ? 15 : 16;
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

/// isWanted: bool(const char* pRecord).
template <typename IsWanted>
void appendPoints(BlockReader& reader, const PointLayout& layout, std::vector<Point3>& vPoints, const IsWanted& isWanted) {
    if (!reader.skipFar(layout.first))
        refuseEnd(reader, "ends before byte " + std::to_string(layout.first) + ", where its points begin");
    const auto append = [&](const char* p, std::uint64_t numHere) {
        for (std::uint64_t i = 0; i < numHere; ++i, p += layout.length)
            if (isWanted(p))
                vPoints.emplace_back(coordinate(p, 0, layout), coordinate(p, 1, layout), coordinate(p, 2, layout));
    };
    const std::uint64_t numRead = readRecords(reader, layout.numPoints, layout.length, append);
    if (numRead < layout.numPoints) refuseEnd(reader, tooShortText(layout, numRead));
}

void readLasPoints(const InputFile& file, BlockReader& reader, std::vector<Point3>& vPoints) {
    const PointLayout layout = readLayout(reader);
    if (const std::optional<std::uint64_t> fileLength = file.size()) {
        requireLength(*fileLength, layout);
        vPoints.reserve(vPoints.size() + layout.numPoints);
    }
    appendPoints(reader, layout, vPoints, [](const char*) { return true; });
}

/// Returns how many points are of other classes.
std::size_t readLasClasses(const InputFile& file, BlockReader& reader, const LasClasses& aWanted,
                           std::vector<Point3>& vPoints) {
    const PointLayout layout = readLayout(reader);
    if (file.size()) requireLength(*file.size(), layout);
    std::size_t numOthers = 0;
    appendPoints(reader, layout, vPoints, [&](const char* pRecord) {
        const bool bWanted = aWanted[byteAt(pRecord, layout.classByte) & layout.classMask];
        numOthers += bWanted ? 0 : 1;
        return bWanted;
    });
    return numOthers;
}

}  // namespace

bool readLas(const std::string& filename, std::vector<Point3>& vPoints) {
    return readAllOrNothing(filename, vPoints, readLasPoints);
}

bool readLas(const std::string& filename, const LasClasses& aWanted, std::vector<Point3>& vPoints, std::size_t& numOthers) {
    return readAllOrNothing(filename, vPoints,
                            [&](const InputFile& file, BlockReader& reader, std::vector<Point3>& vAppended) {
                                numOthers = readLasClasses(file, reader, aWanted, vAppended);
                            });
}

}  // namespace TARN_KEL
