// Numbers as text: fast, and with exactly the results of a stream in the "C" locale.
//
// Reading: a stream collects characters as long as they may belong to a number (sign, digits, one point, one exponent), and
// then all that it collected must be one. So "1.5abc" is 1.5 and stops before 'a', while "1e" and "1e+" fail, "nan", "inf"
// and hexadecimal numbers are no numbers at all, and a number beyond the range of its type fails. from_chars() rounds as
// exactly at ten times the speed, but it stops early where a stream fails, and it accepts "nan" and "inf"; the few tests
// around it below correct that. Most numbers in files are decimals of at most 19 digits: a whole number below 2^64, divided
// by a power of ten. Up to 2^53 both are exact as doubles, so their quotient is rounded as exactly, in half the time.
// Beyond, the quotient is close, and whole numbers of 128 bits tell whether a neighbour is closer. Digits are taken eight at
// a time. Numbers that from_chars() reports as out of range, such as tiny ones that a stream rounds to zero, are read again
// by a stream.
//
// Writing: to_chars() with a precision is the format "%.*g" of a stream with that precision.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "kel.h"

namespace TARN_KEL {

/// White space of the "C" locale; '\n' is part of it.
inline bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The first character from p on that isn't white space, or end.
inline const char* skipSpace(const char* p, const char* end) {
    while (p != end && isSpace(*p))
        ++p;
    return p;
}

namespace textNumbersDetail {
inline bool isExponentSign(char c) {
    return c == 'e' || c == 'E';
}
inline bool isDigit(char c) {
    return static_cast<unsigned char>(c - '0') < 10;
}
/// The number of which eight bytes are the digits, the first byte being the lowest one; empty when one is no digit.
inline std::optional<std::uint32_t> eightDigits(std::uint64_t bytes) {
    constexpr std::uint64_t EACH = 0x0101010101010101;
    std::uint64_t digits = bytes ^ EACH * '0';
    if (((digits | (digits + EACH * (128 - 10))) & EACH * 128) != 0) return std::nullopt;
    digits = digits * 10 + (digits >> 8);  // now each second byte has two digits
    constexpr std::uint64_t TWO_DIGITS = 0x000000ff000000ff;
    constexpr std::uint64_t FIRST = 100 + (std::uint64_t{1000000} << 32), SECOND = 1 + (std::uint64_t{10000} << 32);
    digits = (digits & TWO_DIGITS) * FIRST + (digits >> 16 & TWO_DIGITS) * SECOND;
    return static_cast<std::uint32_t>(digits >> 32);
}
/// Appends the digits from p on to a number, modulo 2^64. Returns the place behind them.
inline const char* appendDigits(const char* p, const char* end, std::uint64_t& number) {
    if constexpr (std::endian::native == std::endian::little) {
        for (std::uint64_t bytes = 0; end - p >= 8; p += 8) {
            std::memcpy(&bytes, p, 8);
            const std::optional<std::uint32_t> eight = eightDigits(bytes);
            if (!eight) break;
            number = 100000000 * number + *eight;
        }
    }
    for (; p != end && isDigit(*p); ++p)
        number = 10 * number + static_cast<std::uint64_t>(*p - '0');
    return p;
}

constexpr std::array<std::uint64_t, 20> POWER_OF_TEN = [] {
    std::array<std::uint64_t, 20> aPower{1};
    for (std::size_t i = 1; i < aPower.size(); ++i)
        aPower[i] = 10 * aPower[i - 1];
    return aPower;
}();
/// digits / divisor, rounded to the nearest number, a tie to the even one. Empty when this isn't the way to compute it.
/// digits: above 2^53. divisor: a power of ten below 2^64.
#ifdef __SIZEOF_INT128__
inline std::optional<double> roundedQuotient(std::uint64_t digits, std::uint64_t divisor) {
    __extension__ using Wide = __int128;
    constexpr int STORED_BITS = 52, EXPONENT_OF_ONE = 1023;
    constexpr std::uint64_t LEADING_BIT = std::uint64_t{1} << STORED_BITS;
    const auto bits = std::bit_cast<std::uint64_t>(static_cast<double>(digits) / static_cast<double>(divisor));
    const std::uint64_t mantissa = (bits & (LEADING_BIT - 1)) | LEADING_BIT;
    const int shift = EXPONENT_OF_ONE + STORED_BITS - static_cast<int>(bits >> STORED_BITS);
    // The quotient is mantissa / 2^shift, at most two units off. Below a power of two the units are half as large.
    if (shift < 0 || shift > 63 || mantissa <= LEADING_BIT + 2) return std::nullopt;
    const Wide unit = divisor;
    Wide rest = (static_cast<Wide>(digits) << shift) - static_cast<Wide>(mantissa) * unit;
    const auto isTooFar = [unit](Wide distance, std::uint64_t from) {
        return 2 * distance > unit || (2 * distance == unit && from % 2 != 0);
    };
    std::uint64_t nearest = mantissa;
    for (; isTooFar(rest, nearest); rest -= unit)
        ++nearest;
    for (; isTooFar(-rest, nearest); rest += unit)
        --nearest;
    return std::bit_cast<double>(bits + (nearest - mantissa));
}
#else
inline std::optional<double> roundedQuotient(std::uint64_t, std::uint64_t) {
    return std::nullopt;
}
#endif

/// Extracts a decimal without an exponent, few enough digits provided. p: behind the sign. Returns the place after it; null
/// when this isn't the way to read it.
inline const char* extractShortDecimal(const char* p, const char* end, double& value) {
    constexpr std::ptrdiff_t MAX_DIGITS = 19;  // of a number below 2^64
    constexpr std::uint64_t MAX_EXACT = std::uint64_t{1} << 53;
    std::uint64_t digits = 0;
    const char* behind = appendDigits(p, end, digits);
    std::ptrdiff_t numDigits = behind - p, numDecimals = 0;
    if (behind != end && *behind == '.') {
        const char* const decimals = behind + 1;
        behind = appendDigits(decimals, end, digits);
        numDecimals = behind - decimals;
        numDigits += numDecimals;
    }
    if (numDigits == 0 || numDigits > MAX_DIGITS) return nullptr;
    if (behind != end && isExponentSign(*behind)) return nullptr;
    const std::uint64_t divisor = POWER_OF_TEN[static_cast<std::size_t>(numDecimals)];
    if (digits <= MAX_EXACT) {
        value = static_cast<double>(digits) / static_cast<double>(divisor);
        return behind;
    }
    const std::optional<double> quotient = roundedQuotient(digits, divisor);
    if (!quotient) return nullptr;
    value = *quotient;
    return behind;
}
/// The slow way: the stream itself. p: the start of the number.
template <typename Float>
const char* extractByStream(const char* p, const char* end, Float& value) {
    std::istringstream in(std::string(p, end));
    in.imbue(std::locale::classic());
    return in >> value ? end : nullptr;
}
}  // namespace textNumbersDetail

/// Extracts a float or double from [p, end) as `in >> value` does: leading white space is skipped, rounding is exact.
/// Returns the place after the number; null when there is none, and then value is undefined. Cost: linear in the length of
/// the number.
template <typename Float>
const char* extractFloat(const char* p, const char* end, Float& value) {
    using namespace textNumbersDetail;
    p = skipSpace(p, end);
    if (p != end && *p == '+') {
        ++p;
        if (p != end && *p == '-') return nullptr;  // one sign at most
    }
    const char* const digits = p + (p != end && *p == '-' ? 1 : 0);
    if (digits == end || !(isDigit(*digits) || *digits == '.')) return nullptr;  // no "nan", no "inf"
    if constexpr (std::is_same_v<Float, double>) {
        if (const char* const behindDecimal = extractShortDecimal(digits, end, value)) {
            if (digits != p) value = -value;
            return behindDecimal;
        }
    }
    const auto [behind, ec] = std::from_chars(p, end, value);
    if (ec == std::errc::result_out_of_range) return extractByStream(p, behind, value) != nullptr ? behind : nullptr;
    if (ec != std::errc()) return nullptr;
    // A stream takes the exponent's letter before it looks for the exponent's digits, and fails when there are none.
    const bool bDanglingExponent = behind != end && isExponentSign(*behind) && std::none_of(digits, behind, isExponentSign);
    return bDanglingExponent ? nullptr : behind;
}

/// A point from the three numbers at the start of a text. rest: set to what is behind them. Empty when there aren't three;
/// rest is unchanged then.
inline std::optional<Point3> extractPoint(std::string_view text, std::string_view& rest) {
    std::array<double, 3> aValue{};
    const char* p = text.data();
    for (double& value : aValue) {
        p = extractFloat(p, text.data() + text.size(), value);
        if (p == nullptr) return std::nullopt;
    }
    rest = text.substr(static_cast<std::size_t>(p - text.data()));
    return Point3(aValue[0], aValue[1], aValue[2]);
}

/// The same; the rest of the text is ignored.
inline std::optional<Point3> extractPoint(std::string_view text) {
    std::string_view rest;
    return extractPoint(text, rest);
}

/// Extracts a whole decimal number that fits into Int. With an 8-bit type the text is a number too, never a character.
/// Stricter than a stream in one respect: unsigned types don't accept a minus sign, where a stream wraps around.
/// Returns the place after the number; null when there is none.
template <typename Int>
const char* extractInt(const char* p, const char* end, Int& value) {
    p = skipSpace(p, end);
    if (p != end && *p == '+') {
        ++p;
        if (p != end && *p == '-') return nullptr;
    }
    const auto [behind, ec] = std::from_chars(p, end, value);
    return ec == std::errc() ? behind : nullptr;
}

/// Appends a number as a stream of that precision prints it in its default format.
inline void appendNumber(std::string& text, double value, int digits = 6) {
    // No double has more than 767 significant digits; at this precision all of them fit without an exponent.
    constexpr int MAX_DIGITS = 800;
    std::array<char, 1200> buffer;
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::general,
                                      std::min(digits, MAX_DIGITS));
    text.append(buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data()));
}

/// Appends a whole number, 8-bit types as numbers.
template <typename Int>
void appendInt(std::string& text, Int value) {
    std::array<char, 24> buffer;
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    text.append(buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data()));
}

}  // namespace TARN_KEL
