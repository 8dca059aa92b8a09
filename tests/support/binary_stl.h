// Binary STL files as bytes; the library reads them and writes none.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kel.h"

namespace TARN_TEST {

/// Three corners a triangle, each coordinate as a float; normals of NaN and attributes that no reader may look at. header:
/// its first 80 bytes, padded with blanks.
inline std::string binaryStl(const std::vector<TARN_KEL::Point3>& vCorners, std::string_view header = "") {
    std::string bytes(header.substr(0, 80));
    bytes.resize(80, ' ');
    const auto append = [&](std::uint32_t value, int numBytes) {
        for (int i = 0; i < numBytes; ++i, value >>= 8)
            bytes += static_cast<char>(value & 0xff);
    };
    append(static_cast<std::uint32_t>(vCorners.size() / 3), 4);
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3) {
        for (int k = 0; k < 3; ++k)
            append(0x7fc00000, 4);
        for (std::size_t k = 0; k < 3; ++k)
            for (const double value : {vCorners[i + k].x(), vCorners[i + k].y(), vCorners[i + k].z()})
                append(std::bit_cast<std::uint32_t>(static_cast<float>(value)), 4);
        append(0xabcd, 2);
    }
    return bytes;
}

}  // namespace TARN_TEST
