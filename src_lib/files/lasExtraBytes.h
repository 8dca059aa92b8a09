// Numbers that a LAS file appends to each point beyond its format, and the record of its header that describes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kel.h"

namespace TARN_KEL {

inline constexpr std::string_view LAS_SPEC_USER = "LASF_Spec";  ///< of records that the standard defines
inline constexpr std::uint16_t EXTRA_BYTES_RECORD = 4;
inline constexpr std::size_t EXTRA_DESCRIPTION = 192;  ///< bytes for each number

/// A number behind the bytes of the point format.
struct LasExtra {
    std::string name;
    std::size_t byte;        ///< from the first one behind those of the format
    AttributeValues values;  ///< empty, of its type
    bool bScaled;            ///< what counts is the number times the scale plus the offset
    double scale, offset;
    std::optional<std::uint64_t> noDataBits;  ///< of a value that means none, widened to eight bytes
};

/// What a record tells.
struct LasExtras {
    std::vector<LasExtra> vExtra;
    std::size_t numDescribed =
        0;                      ///< bytes, also of what has no name or a type that isn't read; all up to an unknown length
    std::size_t numOthers = 0;  ///< of these bytes
};

/// descriptions: the content of the record; a part of a description at its end is ignored. Arrays become "name", "name_1",
/// "name_2".
LasExtras extrasOf(std::string_view descriptions);

/// The values of a column as they are meant: scaled, and missing where they mean none. values: as they stand in the file.
void finishExtra(const LasExtra& extra, AttributeColumn& column);

/// The description of a column that is written as it is, without what is missing.
std::string extraDescription(const AttributeColumn& column);
/// Bytes of a value.
std::size_t extraWidth(const AttributeValues& values);
/// Stores a value, 0 where it is missing, at p.
void storeExtra(const AttributeColumn& column, std::size_t row, char* p);

}  // namespace TARN_KEL
