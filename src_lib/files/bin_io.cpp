// Binary points are a type, a count and raw doubles in the machine's byte order. When reading fails, the points read so far
// stay behind the older ones.
#include "bin_io.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <stdexcept>

#include "AtomicFile.h"
#include "BlockReader.h"
#include "InputFile.h"
#include "attributeColumns.h"
#include "pointReading.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::int32_t BIN_TYPE_3D = 30;
constexpr std::int32_t BIN_TYPE_2D = 20;
constexpr std::size_t BIN_HEADER = sizeof(std::int32_t) + sizeof(std::uint64_t);

/// Whether a count can't be meant for a file of that length: there would be more than eight points per byte.
bool isAbsurdCount(std::uint64_t count, std::uint64_t fileLength) {
    return count / 8 > fileLength || (count / 8 == fileLength && count % 8 != 0);
}

/// A point from its first numBytes bytes. Coordinates that are incomplete or missing are 0.0.
Point3 pointFromBytes(const char* p, std::size_t numBytes) {
    std::array<double, 3> aValue{};
    std::memcpy(aValue.data(), p, numBytes - numBytes % sizeof(double));
    return {aValue[0], aValue[1], aValue[2]};
}

/// Appends up to count points, each of width bytes. Returns the number of points read; the last one may be incomplete.
/// pColumns: null, or what chooses among them.
std::uint64_t readBinPoints(BlockReader& reader, std::size_t width, std::uint64_t count, std::vector<Point3>& vPoints,
                            AttributeColumns* pColumns) {
    std::uint64_t numRead = readRecords(reader, count, width, [&](const char* p, std::uint64_t numHere) {
        for (std::uint64_t i = 0; i < numHere; ++i, p += width)
            vPoints.push_back(pointFromBytes(p, width));
        if (pColumns != nullptr) pColumns->settleMany(vPoints);
    });
    if (numRead < count && reader.size() > 0) {
        vPoints.push_back(pointFromBytes(reader.begin(), reader.size()));
        ++numRead;
    }
    return numRead;
}

/// Reads a BIN file behind its type. Returns false when the count is absurd or reading fails.
bool readBinBody(const InputFile& file, BlockReader& reader, std::size_t width, std::vector<Point3>& vPoints,
                 AttributeColumns* pColumns) {
    std::uint64_t count = 0;
    std::memcpy(&count, reader.begin() + sizeof(std::int32_t), sizeof count);
    reader.skip(BIN_HEADER);
    if (file.size() && isAbsurdCount(count, *file.size())) return false;
    if (file.size() && (pColumns == nullptr || !pColumns->isChoosing())) vPoints.reserve(vPoints.size() + count);
    const std::uint64_t numRead = readBinPoints(reader, width, count, vPoints, pColumns);
    if (reader.failed() || isAbsurdCount(count, BIN_HEADER + numRead * width)) return false;
    vPoints.resize(vPoints.size() + (count - numRead));
    return true;
}

bool fail(const std::string& text) {
    out() << text << std::endl;
    return false;
}

}  // namespace

bool readBin(const std::string& name, std::vector<Point3>& vPoints, AttributeColumns* pColumns) {
    InputFile file(name);
    if (!file.isOpen()) return fail(name + " can't be read");
    BlockReader reader(file.stream());
    std::int32_t type = 0;
    const bool bHeader = reader.fill(BIN_HEADER);
    std::memcpy(&type, reader.begin(), std::min(sizeof type, reader.size()));
    if (type != BIN_TYPE_3D && type != BIN_TYPE_2D)
        return fail(name + " has wrong filetype" + std::to_string(type) + ", expected: 30 or 20");
    const std::size_t width = (type == BIN_TYPE_3D ? 3 : 2) * sizeof(double);
    try {
        if (bHeader && readBinBody(file, reader, width, vPoints, pColumns)) return true;
    } catch (const std::bad_alloc&) {  // a count that memory can't hold is reported like an absurd one
    } catch (const std::length_error&) {
    }
    return fail(name + " can't be read");
}

bool writeBin(const std::string& name, const std::vector<Point3>& vPoints) {
    AtomicFile file(name);
    const std::uint64_t count = vPoints.size();
    std::array<char, BIN_HEADER> header;
    std::memcpy(header.data(), &BIN_TYPE_3D, sizeof BIN_TYPE_3D);
    std::memcpy(header.data() + sizeof BIN_TYPE_3D, &count, sizeof count);
    file.write({header.data(), header.size()});
    for (const Point3& point : vPoints) {
        const std::array<double, 3> aValue{point.x(), point.y(), point.z()};
        file.write({reinterpret_cast<const char*>(aValue.data()), sizeof aValue});
    }
    return file.commit() || fail(name + " can't be written");
}

}  // namespace TARN_KEL
