// LAS files as bytes, of all versions; the library writes one of them.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kel.h"

namespace TARN_TEST {

/// What a LAS file is like, apart from its points.
struct LasShape {
    unsigned minor = 2;          ///< version 1.minor
    unsigned format = 0;         ///< of the points
    std::size_t numExtra = 0;    ///< bytes behind each point
    std::size_t numBetween = 0;  ///< bytes between the header and the points
    std::array<double, 3> aScale{0.25, 0.5, 0.125};
    std::array<double, 3> aOffset{1000, -2000, 0};
};

/// A number, its low byte first, into bytes that are there.
inline void putNumber(std::string& bytes, std::size_t pos, std::uint64_t value, int numBytes) {
    for (int i = 0; i < numBytes; ++i, value >>= 8)
        bytes.at(pos++) = static_cast<char>(value & 0xff);
}

/// A file with each coordinate rounded to a multiple of the scale. Formats from 6 on have their number of points in the
/// field of 64 bits alone, the others in both where the version has both. What no reader of coordinates may look at is 0xee.
inline std::string lasFile(const std::vector<TARN_KEL::Point3>& vPoints, const LasShape& shape = {}) {
    static constexpr std::array<std::size_t, 5> HEADERS{227, 227, 227, 235, 375};
    static constexpr std::array<std::size_t, 11> RECORDS{20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
    const std::size_t header = HEADERS.at(shape.minor), first = header + shape.numBetween;
    const std::size_t length = RECORDS.at(shape.format) + shape.numExtra;
    std::string bytes(first + length * vPoints.size(), '\xee');
    bytes.replace(0, 4, "LASF");
    putNumber(bytes, 24, 1, 1);
    putNumber(bytes, 25, shape.minor, 1);
    putNumber(bytes, 94, header, 2);
    putNumber(bytes, 96, first, 4);
    putNumber(bytes, 104, shape.format, 1);
    putNumber(bytes, 105, length, 2);
    putNumber(bytes, 107, shape.format < 6 ? vPoints.size() : 0, 4);
    if (shape.minor == 4) putNumber(bytes, 247, vPoints.size(), 8);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        putNumber(bytes, 131 + 8 * axis, std::bit_cast<std::uint64_t>(shape.aScale[axis]), 8);
        putNumber(bytes, 155 + 8 * axis, std::bit_cast<std::uint64_t>(shape.aOffset[axis]), 8);
    }
    std::size_t pos = first;
    for (const TARN_KEL::Point3& point : vPoints) {
        const std::array<double, 3> aValue{point.x(), point.y(), point.z()};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const long long steps = std::llround((aValue[axis] - shape.aOffset[axis]) / shape.aScale[axis]);
            putNumber(bytes, pos + 4 * axis, static_cast<std::uint64_t>(steps), 4);
        }
        pos += length;
    }
    return bytes;
}

}  // namespace TARN_TEST
