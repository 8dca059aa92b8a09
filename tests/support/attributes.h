// Columns of attributes for tests, and files that carry them, made without the library's writers.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "support/prelude.h"

namespace TARN_TEST {

template <typename T>
AttributeColumn columnOf(const std::string& name, std::vector<T> vValue) {
    return {name, std::move(vValue), {}};
}

/// A column of each type, its numbers anywhere in the range of the type.
inline PointAttributes oneOfEachType(std::size_t numRows, unsigned seed = 1) {
    std::mt19937_64 random(seed);
    PointAttributes attributes;
    const auto add = [&](auto type) {
        using T = decltype(type);
        std::vector<T> v;
        for (std::size_t i = 0; i < numRows; ++i) {
            const std::uint64_t bits = random();
            if constexpr (std::is_floating_point_v<T>)
                v.push_back(static_cast<T>(static_cast<double>(bits % 2000001) / 7.0 - 1e5));
            else
                v.push_back(static_cast<T>(bits));
        }
        AttributeColumn column{"", std::move(v), {}};
        column.name = "of_" + column.typeName();
        attributes.set(std::move(column));
    };
    add(std::int8_t{}), add(std::uint8_t{}), add(std::int16_t{}), add(std::uint16_t{}), add(std::int32_t{});
    add(std::uint32_t{}), add(std::int64_t{}), add(std::uint64_t{}), add(float{}), add(double{});
    return attributes;
}

inline PointAttributes without(const PointAttributes& attributes, const std::vector<std::string>& vName) {
    PointAttributes others;
    for (const AttributeColumn& column : attributes.vColumns)
        if (std::find(vName.begin(), vName.end(), column.name) == vName.end()) others.vColumns.push_back(column);
    return others;
}

/// The first difference as text; empty when all is equal, what isn't known too.
inline std::string difference(const PointAttributes& a, const PointAttributes& b) {
    if (a.vColumns.size() != b.vColumns.size())
        return std::to_string(a.vColumns.size()) + " columns, " + std::to_string(b.vColumns.size());
    for (std::size_t k = 0; k < a.vColumns.size(); ++k) {
        const AttributeColumn &p = a.vColumns[k], &q = b.vColumns[k];
        if (p.name != q.name || p.typeName() != q.typeName() || p.size() != q.size())
            return p.name + " " + p.typeName() + " " + std::to_string(p.size()) + ", " + q.name + " " + q.typeName() + " " +
                   std::to_string(q.size());
        for (std::size_t i = 0; i < p.size(); ++i) {
            const bool bSame = std::visit(
                [&](const auto& v) { return v[i] == std::get<std::decay_t<decltype(v)>>(q.values)[i]; }, p.values);
            if (p.isKnown(i) != q.isKnown(i) || (p.isKnown(i) && !bSame))
                return p.name + " of row " + std::to_string(i) + ": " + std::to_string(p.number(i)) + ", " +
                       std::to_string(q.number(i));
        }
    }
    return "";
}

/// A PLY file of points as doubles, with columns behind them. encoding: the word of the header.
inline std::string plyFile(const std::vector<Point3>& vPoints, const PointAttributes& attributes,
                           const std::string& encoding) {
    static const std::map<std::string, std::string> mName{{"int8", "char"},     {"uint8", "uint8"},   {"int16", "short"},
                                                          {"uint16", "uint16"}, {"int32", "int"},     {"uint32", "uint"},
                                                          {"float", "float"},   {"double", "float64"}};
    std::ostringstream out;
    out.precision(17);
    out << "ply\nformat " << encoding << " 1.0\nelement vertex " << vPoints.size()
        << "\nproperty double x\nproperty double y\nproperty double z\n";
    for (const AttributeColumn& column : attributes.vColumns)
        out << "property " << mName.at(column.typeName()) << ' ' << column.name << '\n';
    out << "end_header\n";
    const auto put = [&](auto value) {
        if (encoding == "ascii") {
            out << +value << ' ';
            return;
        }
        std::array<char, sizeof value> bytes;
        std::memcpy(bytes.data(), &value, sizeof value);
        if (encoding == "binary_big_endian") std::reverse(bytes.begin(), bytes.end());
        out.write(bytes.data(), bytes.size());
    };
    for (std::size_t i = 0; i < vPoints.size(); ++i) {
        put(vPoints[i].x()), put(vPoints[i].y()), put(vPoints[i].z());
        for (const AttributeColumn& column : attributes.vColumns)
            std::visit([&](const auto& v) { put(v[i]); }, column.values);
        if (encoding == "ascii") out << '\n';
    }
    return out.str();
}

}  // namespace TARN_TEST
