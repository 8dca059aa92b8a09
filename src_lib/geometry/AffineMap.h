// Maps of points by a matrix.
#pragma once

#include <array>
#include <cstddef>

#include "kel.h"

namespace TARN_KEL {

/// Moves, turns, scales and shears points: a product of rows with x, y, z and 1. A fourth row, 0 0 0 1, isn't kept.
struct AffineMap {
    std::array<std::array<double, 4>, 3> aRow{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}};

    Point3 operator()(const Point3& p) const {
        const auto at = [&](std::size_t i) {
            return aRow[i][0] * p.x() + aRow[i][1] * p.y() + aRow[i][2] * p.z() + aRow[i][3];
        };
        return {at(0), at(1), at(2)};
    }
    /// Applies first, then this map.
    AffineMap after(const AffineMap& first) const {
        AffineMap both;
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < 4; ++j)
                both.aRow[i][j] = aRow[i][0] * first.aRow[0][j] + aRow[i][1] * first.aRow[1][j] +
                                  aRow[i][2] * first.aRow[2][j] + (j == 3 ? aRow[i][3] : 0.0);
        return both;
    }
    Vector3 column(std::size_t i) const { return {aRow[0][i], aRow[1][i], aRow[2][i]}; }
    /// Whether it makes a left hand of a right one.
    bool isMirror() const { return column(0) * crossProduct(column(1), column(2)) < 0.0; }
};

/// Turns normals as a map turns the surface that they stand on. Their lengths are kept.
class NormalMap {
public:
    explicit NormalMap(const AffineMap& map)
        : yz(crossProduct(map.column(1), map.column(2))),
          zx(crossProduct(map.column(2), map.column(0))),
          xy(crossProduct(map.column(0), map.column(1))),
          side(map.isMirror() ? -1.0 : 1.0) {}

    /// The same normal where the map leaves it no direction.
    Vector3 operator()(const Vector3& given) const {
        // Of two directions on the surface the cross product turns so; a mirror turns their order, too.
        const Vector3 turned = (yz * given.x() + zx * given.y() + xy * given.z()) * side;
        return turned.length() > 0.0 ? turned * (given.length() / turned.length()) : given;
    }

private:
    Vector3 yz, zx, xy;
    double side;
};

}  // namespace TARN_KEL
