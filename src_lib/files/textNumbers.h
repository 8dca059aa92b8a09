// Numbers as text: fast, and with exactly the results of a stream in the "C" locale.
//
// Reading: a stream collects characters as long as they may belong to a number (sign, digits, one point, one exponent), and
// then all that it collected must be one. So "1.5abc" is 1.5 and stops before 'a', while "1e" and "1e+" fail, "nan", "inf"
// and hexadecimal numbers are no numbers at all, and a number beyond the range of its type fails. from_chars() rounds as
// exactly at ten times the speed, but it stops early where a stream fails, and it accepts "nan" and "inf"; the few tests
// around it below correct that. Most numbers in files are short decimals: a whole number up to 2^53 divided by a power of
// ten up to 10^22 has both parts exact, so the quotient is rounded as exactly, in half the time. Numbers that it reports as
// out of range, such as tiny ones that a stream rounds to zero, are read again by a stream.
//
// Writing: to_chars() with a precision is the format "%.*g" of a stream with that precision.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
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
/// Appends the digits from p on to a number, modulo 2^64. Returns the place behind them.
inline const char* appendDigits(const char* p, const char* end, std::uint64_t& number) {
    for (; p != end && isDigit(*p); ++p)
        number = 10 * number + static_cast<std::uint64_t>(*p - '0');
    return p;
}
/// Extracts a decimal without an exponent, few enough digits provided. p: behind the sign. Returns the place after it; null
/// when this isn't the way to read it.
inline const char* extractShortDecimal(const char* p, const char* end, double& value) {
    constexpr std::array<double, 20> POWER{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                           1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
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
    if (numDigits == 0 || numDigits > MAX_DIGITS || digits > MAX_EXACT) return nullptr;
    if (behind != end && isExponentSign(*behind)) return nullptr;
    value = static_cast<double>(digits) / POWER[static_cast<std::size_t>(numDecimals)];
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
