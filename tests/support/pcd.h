// PCD files as bytes; the library reads them and writes none.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "kel.h"

namespace TARN_TEST {

/// A field of a PCD file. One named x, y or z holds that coordinate, any other one 7 in each of its numbers.
struct PcdField {
    std::string name;
    char type = 'F';
    int size = 4;
    int count = 1;
};
using PcdFields = std::vector<PcdField>;
inline const PcdFields PLAIN_PCD{{"x"}, {"y"}, {"z"}};

inline void appendPcdNumber(std::string& bytes, const PcdField& field, double value) {
    std::uint64_t bits = field.type != 'F' ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value))
                         : field.size == 4 ? std::bit_cast<std::uint32_t>(static_cast<float>(value))
                                           : std::bit_cast<std::uint64_t>(value);
    for (int i = 0; i < field.size; ++i, bits >>= 8)
        bytes += static_cast<char>(bits & 0xff);
}

/// Compresses by the longest match in sight, all places tried. Quadratic.
inline std::string pcdCompressed(const std::string& bytes) {
    std::string block, run;
    const auto endRun = [&] {
        if (!run.empty()) block += static_cast<char>(run.size() - 1) + run;
        run.clear();
    };
    for (std::size_t i = 0; i < bytes.size();) {
        std::size_t longest = 0, from = 0;
        for (std::size_t j = i > 8192 ? i - 8192 : 0; j < i; ++j) {
            std::size_t n = 0;
            while (n < 264 && i + n < bytes.size() && bytes[i + n] == bytes[j + n])
                ++n;
            if (n > longest) longest = n, from = j;
        }
        if (longest < 3) {
            run += bytes[i++];
            if (run.size() == 32) endRun();
            continue;
        }
        endRun();
        const std::size_t length = longest - 2, distance = i - from - 1;
        block += static_cast<char>((length < 7 ? length : 7) << 5 | distance >> 8);
        if (length >= 7) block += static_cast<char>(length - 7);
        block += static_cast<char>(distance & 0xff);
        i += longest;
    }
    endRun();
    return block;
}

/// What stands behind the header of a file.
inline std::string pcdData(const std::vector<TARN_KEL::Point3>& vPoints, const PcdFields& vField,
                           const std::string& encoding) {
    const auto valueOf = [](const TARN_KEL::Point3& p, const std::string& name) {
        return name == "x" ? p.x() : name == "y" ? p.y() : name == "z" ? p.z() : 7.0;
    };
    std::ostringstream text;
    std::string rows, columns;
    text.precision(17);
    for (const TARN_KEL::Point3& point : vPoints) {
        for (const PcdField& field : vField)
            for (int i = 0; i < field.count; ++i) {
                text << valueOf(point, field.name) << ' ';
                appendPcdNumber(rows, field, valueOf(point, field.name));
            }
        text << '\n';
    }
    for (const PcdField& field : vField)
        for (const TARN_KEL::Point3& point : vPoints)
            for (int i = 0; i < field.count; ++i)
                appendPcdNumber(columns, field, valueOf(point, field.name));
    if (encoding == "ascii") return text.str();
    if (encoding == "binary") return rows;
    const std::string block = pcdCompressed(columns);
    std::string lengths;
    appendPcdNumber(lengths, {"", 'U', 4}, static_cast<double>(block.size()));
    appendPcdNumber(lengths, {"", 'U', 4}, static_cast<double>(columns.size()));
    return lengths + block;
}

/// A whole file. encoding: ascii, binary or binary_compressed.
inline std::string pcdFile(const std::vector<TARN_KEL::Point3>& vPoints, const std::string& encoding,
                           const PcdFields& vField = PLAIN_PCD) {
    const auto entry = [&](const std::string& key, const auto& wordOf) {
        std::ostringstream line;
        line << key;
        for (const PcdField& field : vField)
            line << ' ' << wordOf(field);
        return line.str() + '\n';
    };
    const std::string n = std::to_string(vPoints.size());
    return "# .PCD v0.7 - points\nVERSION 0.7\n" + entry("FIELDS", [](const PcdField& field) { return field.name; }) +
           entry("SIZE", [](const PcdField& field) { return field.size; }) +
           entry("TYPE", [](const PcdField& field) { return field.type; }) +
           entry("COUNT", [](const PcdField& field) { return field.count; }) + "WIDTH " + n +
           "\nHEIGHT 1\nVIEWPOINT 1 2 3 1 0 0 0\nPOINTS " + n + "\nDATA " + encoding + "\n" +
           pcdData(vPoints, vField, encoding);
}

}  // namespace TARN_TEST
