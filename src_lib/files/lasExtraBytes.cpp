// What LAS files append to each point.
//
// A description has 192 bytes: two that are reserved, the type, bits that say which of the following is there, the name,
// four unused ones, three times eight bytes each for the value that means none, the least, the greatest, the scale and the
// offset of up to three numbers, and a text. Type 0 stands for any bytes, of which the bits are the number; 1 to 10 are
// numbers, 11 to 20 pairs and 21 to 30 triples of these, which newer versions of the standard advise against.
#include "lasExtraBytes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>
#include <variant>

#include "attributeColumns.h"
#include "largePages.h"
#include "littleEndian.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t AT_TYPE = 2, AT_OPTIONS = 3, AT_NAME = 4, NAME_LENGTH = 32, AT_NO_DATA = 40, AT_SCALE = 112,
                      AT_OFFSET = 136;
constexpr unsigned HAS_NO_DATA = 1, HAS_SCALE = 8, HAS_OFFSET = 16;  // bits of the options

/// The types of the standard, from 1 on.
constexpr std::array<AttributeValues (*)(), 10> MAKE_VALUES{
    noValues<std::uint8_t>,  noValues<std::int8_t>,  noValues<std::uint16_t>, noValues<std::int16_t>,
    noValues<std::uint32_t>, noValues<std::int32_t>, noValues<std::uint64_t>, noValues<std::int64_t>,
    noValues<float>,         noValues<double>};

std::string nameIn(std::string_view description) {
    const std::string_view name = description.substr(AT_NAME, NAME_LENGTH);
    return std::string(name.substr(0, name.find('\0')));
}

/// Whether bits mean the value, as they stand for a number of its kind in eight bytes.
template <typename T>
bool isMeant(T value, std::uint64_t bits) {
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(value) == std::bit_cast<double>(bits);
    else if constexpr (std::is_signed_v<T>)
        return std::int64_t{value} == static_cast<std::int64_t>(bits);
    else
        return std::uint64_t{value} == bits;
}

/// Adds the numbers of a description of a known type. type: from 1 to 30.
void addNumbers(std::string_view description, unsigned type, LasExtras& extras) {
    const std::size_t kind = (type - 1) % MAKE_VALUES.size(), count = (type - 1) / MAKE_VALUES.size() + 1;
    const unsigned options = byteAt(description.data(), AT_OPTIONS);
    const std::string name = nameIn(description);
    for (std::size_t i = 0; i < count; ++i) {
        const auto placeOf = [&](std::size_t field) { return description.data() + field + i * sizeof(double); };
        LasExtra extra{i == 0 ? name : name + "_" + std::to_string(i),
                       extras.numDescribed,
                       MAKE_VALUES[kind](),
                       false,
                       1.0,
                       0.0,
                       std::nullopt};
        extra.bScaled = (options & (HAS_SCALE | HAS_OFFSET)) != 0;
        if ((options & HAS_SCALE) != 0) extra.scale = loadDouble(placeOf(AT_SCALE));
        if ((options & HAS_OFFSET) != 0) extra.offset = loadDouble(placeOf(AT_OFFSET));
        if ((options & HAS_NO_DATA) != 0) extra.noDataBits = loadInt<std::uint64_t>(placeOf(AT_NO_DATA));
        const std::size_t width = extraWidth(extra.values);
        const bool bGood = !name.empty() && std::isfinite(extra.scale) && extra.scale != 0.0 && std::isfinite(extra.offset);
        if (bGood)
            extras.vExtra.push_back(std::move(extra));
        else
            extras.numOthers += width;
        extras.numDescribed += width;
    }
}

}  // namespace

LasExtras extrasOf(std::string_view descriptions) {
    LasExtras extras;
    for (; descriptions.size() >= EXTRA_DESCRIPTION; descriptions.remove_prefix(EXTRA_DESCRIPTION)) {
        const std::string_view description = descriptions.substr(0, EXTRA_DESCRIPTION);
        const unsigned type = byteAt(description.data(), AT_TYPE);
        if (type > 3 * MAKE_VALUES.size()) break;  // nobody knows where the next one begins
        if (type == 0) {
            extras.numDescribed += byteAt(description.data(), AT_OPTIONS);
            extras.numOthers += byteAt(description.data(), AT_OPTIONS);
        } else {
            addNumbers(description, type, extras);
        }
    }
    return extras;
}

void finishExtra(const LasExtra& extra, AttributeColumn& column) {
    if (!extra.bScaled && !extra.noDataBits) return;
    std::visit(
        [&](auto& vValue) {
            using T = ValueOf<decltype(vValue)>;
            const auto isNone = [&](T value) { return extra.noDataBits && isMeant(value, *extra.noDataBits); };
            if (extra.bScaled) {
                std::vector<double> vScaled;
                reserveLarge(vScaled, vValue.size());
                for (const T value : vValue)
                    vScaled.push_back(isNone(value) ? unknownValue<double>()
                                                    : static_cast<double>(value) * extra.scale + extra.offset);
                column.values = std::move(vScaled);
                return;
            }
            for (std::size_t i = 0; i < vValue.size(); ++i) {
                if (!isNone(vValue[i])) continue;
                if (std::is_integral_v<T>) {
                    column.vMissing.resize(vValue.size(), 0);
                    column.vMissing[i] = 1;
                }
                vValue[i] = unknownValue<T>();
            }
        },
        column.values);
}

std::string extraDescription(const AttributeColumn& column) {
    std::string description(EXTRA_DESCRIPTION, '\0');
    for (std::size_t i = 0; i < MAKE_VALUES.size(); ++i)
        if (MAKE_VALUES[i]().index() == column.values.index()) description[AT_TYPE] = static_cast<char>(i + 1);
    description.replace(AT_NAME, std::min(column.name.size(), NAME_LENGTH), column.name, 0, NAME_LENGTH);
    return description;
}

std::size_t extraWidth(const AttributeValues& values) {
    return std::visit([](const auto& v) { return sizeof(ValueOf<decltype(v)>); }, values);
}

void storeExtra(const AttributeColumn& column, std::size_t row, char* p) {
    std::visit(
        [&](const auto& vValue) {
            using T = ValueOf<decltype(vValue)>;
            const T value = column.isKnown(row) ? vValue[row] : unknownValue<T>();
            if constexpr (std::is_same_v<T, double>)
                storeDouble(p, value);
            else if constexpr (std::is_same_v<T, float>)
                storeFloat(p, value);
            else
                storeInt(p, static_cast<std::make_unsigned_t<T>>(value));
        },
        column.values);
}

}  // namespace TARN_KEL
