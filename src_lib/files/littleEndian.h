// Numbers in files that have their low bytes first, whatever the machine.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace TARN_KEL {

/// The whole number in the first bytes at p, which needn't be aligned. Int: an unsigned type.
template <typename Int>
Int loadInt(const char* p) {
    static_assert(std::is_unsigned_v<Int>);
    Int value = 0;
    if constexpr (std::endian::native == std::endian::little) {  // one move, which compilers don't make of the loop
        std::memcpy(&value, p, sizeof value);
        return value;
    }
    for (std::size_t i = 0; i < sizeof value; ++i)
        value = static_cast<Int>(value | Int{static_cast<unsigned char>(p[i])} << (8 * i));
    return value;
}

inline unsigned byteAt(const char* p, std::size_t pos) {
    return static_cast<unsigned char>(p[pos]);
}

/// Puts a whole number at p. The opposite of loadInt().
template <typename Int>
void storeInt(char* p, Int value) {
    static_assert(std::is_unsigned_v<Int>);
    for (std::size_t i = 0; i < sizeof value; ++i)
        p[i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
}

inline void storeFloat(char* p, float value) {
    storeInt(p, std::bit_cast<std::uint32_t>(value));
}

inline void storeDouble(char* p, double value) {
    storeInt(p, std::bit_cast<std::uint64_t>(value));
}

inline float loadFloat(const char* p) {
    return std::bit_cast<float>(loadInt<std::uint32_t>(p));
}

inline double loadDouble(const char* p) {
    return std::bit_cast<double>(loadInt<std::uint64_t>(p));
}

}  // namespace TARN_KEL
