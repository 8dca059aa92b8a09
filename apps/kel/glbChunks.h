// How a .glb is put together: a header of 12 bytes, a chunk with a JSON text, and one with the bytes that the text
// describes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

#include "../../src_lib/files/littleEndian.h"

inline constexpr std::string_view GLB_SIGNATURE = "glTF", GLB_TEXT = "JSON", GLB_DATA{"BIN\0", 4};

/// Passes the bytes of a .glb in their order, piece by piece: put(std::string_view). Chunks are filled up to a multiple of
/// four bytes, the text with blanks; there is no second one without data. Passes nothing and returns false when the file
/// would be too long for the numbers in its headers, 4 GB.
template <typename Put>
bool putGlb(std::string_view text, std::string_view data, const Put& put) {
    constexpr std::size_t WORD = sizeof(std::uint32_t), HEADER = 3 * WORD, CHUNK_HEADER = 2 * WORD;
    const auto filled = [](std::size_t length) { return (length + WORD - 1) / WORD * WORD; };
    const std::size_t dataLength = data.empty() ? 0 : CHUNK_HEADER + filled(data.size());
    const std::size_t length = HEADER + CHUNK_HEADER + filled(text.size()) + dataLength;
    if (length > std::numeric_limits<std::uint32_t>::max()) return false;
    const auto putNumber = [&put](std::size_t number) {
        std::array<char, WORD> bytes{};
        TARN_KEL::storeInt(bytes.data(), static_cast<std::uint32_t>(number));
        put(std::string_view(bytes.data(), bytes.size()));
    };
    const auto putChunk = [&](std::string_view kind, std::string_view bytes, std::string_view filling) {
        putNumber(filled(bytes.size()));
        put(kind);
        put(bytes);
        put(filling.substr(0, filled(bytes.size()) - bytes.size()));
    };
    put(GLB_SIGNATURE);
    putNumber(2);  // the version
    putNumber(length);
    putChunk(GLB_TEXT, text, "   ");
    if (!data.empty()) putChunk(GLB_DATA, data, {"\0\0\0", 3});
    return true;
}
