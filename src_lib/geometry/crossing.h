// Whether two triangles pass through each other.
//
// Two triangles cross when their open interiors, without the three sides, have a point in common. That is one of two cases:
//
//   - The planes differ, and each triangle has corners strictly on both sides of the other's plane. The line in which the
//     planes meet runs through both interiors, and the two parts have a stretch of positive length in common.
//   - The planes are the same, and the triangles overlap in a positive area.
//
//           /\                   ____                         /|\             .
//        __/__\__               /    /\                      / | \            .
//       /_/____\_/             /____/__\                    /__|__\           .
//         cross                touch: a side or             neighbours: the common
//                              corner lies on the other     side is no interior
//
// So touching isn't crossing: a corner or a side that lies in the other triangle, neighbours across a common side or corner,
// two sheets that meet in a point or along their sides, whether these have vertices of their own there or share them. It
// doesn't matter therefore which vertices the two have in common: triangles with a common side cross only when one is folded
// flat onto the other, and equal triangles do. A flat triangle has no interior and crosses nothing. Two sheets that pass
// through each other exactly along sides of both have no pair that crosses.
//
// All signs are exact for the coordinates as they are, of any finite size.
#pragma once

#include <algorithm>
#include <array>
#include <optional>

#include "kel.h"
#include "tarn_locate3/Bbox3.h"

namespace TARN_KEL {

using TriangleCorners = std::array<Point3, 3>;

inline bool isFinite(const TriangleCorners& t) {
    return std::all_of(t.begin(), t.end(), isFinitePoint);
}

/// The box of a triangle.
inline TARN_LOCATE3::Bbox3 boxOf(const TriangleCorners& t) {
    TARN_LOCATE3::Bbox3 box;
    for (const Point3& p : t)
        box.widen(p.x(), p.y(), p.z());
    return box;
}

/// On which side of a triangle's plane points lie, exactly.
class ExactPlane {
public:
    /// The points are only referred to.
    ExactPlane(const Point3& a, const Point3& b, const Point3& c);
    explicit ExactPlane(const TriangleCorners& t) : ExactPlane(t[0], t[1], t[2]) {}

    /// 1 on the side that sees a, b, c run counterclockwise, -1 on the other one, 0 in the plane; 0 for any point when the
    /// three lie on a line. All coordinates must be finite.
    int sideOf(const Point3& p) const {
        const std::optional<int> side = quickSideOf(p);
        return side ? *side : exactSideOf(p);
    }
    /// The same, or nothing where rounding might decide.
    std::optional<int> quickSideOf(const Point3& p) const {
        const Vector3 v = p - a;
        const double x = v.x() * n.x(), y = v.y() * n.y(), z = v.z() * n.z();
        const double value = x + y + z;
        const double ax = std::abs(v.x()), ay = std::abs(v.y()), az = std::abs(v.z());
        const double bound = ERROR * (ax * size.x() + ay * size.y() + az * size.z()) + TINY * (1.0 + ax + ay + az);
        if (value > bound) return 1;
        if (-value > bound) return -1;
        if (p == a || p == b || p == c) return 0;  // neighbours, so this is frequent
        return std::nullopt;
    }

private:
    // A determinant of three differences differs by at most 7.8e-16 times the sum of the sizes of its products from the true
    // one. What is lost when products become too small for a double is far below the second constant.
    static constexpr double ERROR = 8e-16, TINY = 1e-300;

    int exactSideOf(const Point3& p) const;

    const Point3 &a, &b, &c;
    Vector3 n;     // (b - a) x (c - a)
    Vector3 size;  // the same with absolute products, added
};

/// Whether two triangles cross, as told above. It doesn't depend on the order of the two or of their corners. All
/// coordinates must be finite.
///
/// It begins with the planes: test the boxes before where they are at hand. O(1): well below 100 ns where rounding decides
/// nothing or the two are apart in their plane, some microseconds elsewhere.
bool areCrossing(const TriangleCorners& s, const TriangleCorners& t);

}  // namespace TARN_KEL
