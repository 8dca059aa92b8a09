// Triangle soups of known surfaces: corners three a triangle, wound counterclockwise as seen from outside.
#pragma once

#include "freeFunctions.h"
#include "kel.h"
#include "support/names.h"
#include "support/points.h"

namespace TARN_TEST {

using TriangleSoup = std::vector<Point3>;
using Place = std::function<Point3(int i, int j)>;

inline void addTriangle(TriangleSoup& soup, const Point3& a, const Point3& b, const Point3& c) {
    if (a == b || b == c || c == a) return;  // as at the poles of a sphere
    soup.insert(soup.end(), {a, b, c});
}

/// numI x numJ quads between the places (i, j), two triangles each.
inline void addQuads(TriangleSoup& soup, int numI, int numJ, const Place& place) {
    for (int i = 0; i < numI; ++i)
        for (int j = 0; j < numJ; ++j) {
            addTriangle(soup, place(i, j), place(i + 1, j), place(i + 1, j + 1));
            addTriangle(soup, place(i, j), place(i + 1, j + 1), place(i, j + 1));
        }
}

/// A profile (radius, height), which goes on counterclockwise as seen with the radius to the right, turned about the z axis.
/// shape: makes the radius depend on the turn.
inline TriangleSoup revolved(
    int numTurn, const std::vector<std::pair<double, double>>& vProfile,
    const std::function<double(double radius, double phi)>& shape = [](double radius, double) { return radius; }) {
    TriangleSoup soup;
    addQuads(soup, numTurn, static_cast<int>(vProfile.size()) - 1, [&](int i, int j) {
        const double phi = 2.0 * std::acos(-1.0) * (i % numTurn) / numTurn;
        const auto& [radius, z] = vProfile[static_cast<std::size_t>(j)];
        const double r = shape(radius, phi);
        return Point3(r * std::cos(phi), r * std::sin(phi), z);
    });
    return soup;
}

/// (radius, height) of an arc, whole turns closed exactly.
inline std::vector<std::pair<double, double>> arcProfile(double middle, double radius, double from, double to, int num) {
    std::vector<std::pair<double, double>> vProfile;
    for (int i = 0; i <= num; ++i) {
        const double angle = from + (to - from) * i / num;
        vProfile.emplace_back(middle + radius * std::cos(angle), radius * std::sin(angle));
    }
    if (middle == 0.0) vProfile.front().first = vProfile.back().first = 0.0;
    if (middle != 0.0) vProfile.back() = vProfile.front();
    return vProfile;
}

inline TriangleSoup sphereSoup(int num) {
    const double quarter = std::acos(0.0);
    return revolved(2 * num, arcProfile(0.0, 1.0, -quarter, quarter, num));
}
inline TriangleSoup torusSoup(int num) {
    return revolved(2 * num, arcProfile(1.0, 0.4, 0.0, 4.0 * std::acos(0.0), num));
}
/// Two triangles a face.
inline TriangleSoup boxSoup(const Point3& low, const Point3& high) {
    TriangleSoup soup;
    const auto at = [&](int corner) {
        return Point3((corner & 4) != 0 ? high.x() : low.x(), (corner & 2) != 0 ? high.y() : low.y(),
                      (corner & 1) != 0 ? high.z() : low.z());
    };
    for (const auto& face : {std::array{0, 1, 3, 2}, {4, 6, 7, 5}, {0, 4, 5, 1}, {2, 3, 7, 6}, {0, 2, 6, 4}, {1, 5, 7, 3}}) {
        addTriangle(soup, at(face[0]), at(face[1]), at(face[2]));
        addTriangle(soup, at(face[0]), at(face[2]), at(face[3]));
    }
    return soup;
}
/// A block of edge lengths 2, 2 and 1 around the origin, with a bore of radius 0.5 along z. num: a multiple of 8.
inline TriangleSoup boredBlockSoup(int num) {
    const double half = 1.0;
    return revolved(num, {{0.5, -0.5}, {half, -0.5}, {half, 0.5}, {0.5, 0.5}, {0.5, -0.5}},
                    [half](double radius, double phi) {
                        if (radius < half) return radius;
                        return half / std::max(std::fabs(std::cos(phi)), std::fabs(std::sin(phi)));
                    });
}

/// Every n-th triangle the other way round.
inline TriangleSoup flipped(TriangleSoup soup, std::size_t n) {
    for (std::size_t i = 0; i + 2 < soup.size(); i += 3 * n)
        std::swap(soup[i], soup[i + 1]);
    return soup;
}
/// The soup turned about an axis that no face is parallel to.
inline TriangleSoup turned(TriangleSoup soup, double degrees) {
    const Vector3 axis = normalize(Vector3(3.0, 2.0, 1.0));
    const double phi = degrees / DEGREES_PER_RADIAN;
    for (Point3& p : soup) {
        const Vector3 v = p - Point3();
        p = Point3() +
            (v * std::cos(phi) + crossProduct(axis, v) * std::sin(phi) + axis * ((axis * v) * (1.0 - std::cos(phi))));
    }
    return soup;
}

/// Signed, of a closed soup.
inline double volumeOf(const TriangleSoup& soup) {
    double volume = 0.0;
    const Point3 origin;
    for (std::size_t i = 0; i + 2 < soup.size(); i += 3)
        volume += (soup[i] - origin) * crossProduct(soup[i + 1] - origin, soup[i + 2] - origin) / 6.0;
    return volume;
}
inline double areaOf(const TriangleSoup& soup) {
    double area = 0.0;
    for (std::size_t i = 0; i < soup.size(); i += 3)
        area += crossProduct(soup[i + 1] - soup[i], soup[i + 2] - soup[i]).length() / 2.0;
    return area;
}

/// The distance of a point from a triangle.
inline double distanceToTriangle(const Point3& p, const Point3& a, const Point3& b, const Point3& c) {
    const auto toSegment = [&p](const Point3& s, const Point3& e) {
        const Vector3 d = e - s;
        const double t = d * d > 0.0 ? std::clamp(((p - s) * d) / (d * d), 0.0, 1.0) : 0.0;
        return (p - (s + d * t)).length();
    };
    const double rim = std::min({toSegment(a, b), toSegment(b, c), toSegment(c, a)});
    const Vector3 n = crossProduct(b - a, c - a);
    const double area2 = n.length();
    if (area2 == 0.0) return rim;
    const auto inside = [&](const Point3& s, const Point3& e) { return crossProduct(e - s, p - s) * n >= 0.0; };
    return inside(a, b) && inside(b, c) && inside(c, a) ? std::fabs((p - a) * n) / area2 : rim;
}

inline double distanceToSoup(const Point3& p, const TriangleSoup& soup) {
    double best = 1e300;
    for (std::size_t i = 0; i + 2 < soup.size(); i += 3)
        best = std::min(best, distanceToTriangle(p, soup[i], soup[i + 1], soup[i + 2]));
    return best;
}

/// A square sheet of edge length 1 with a slit of length 0.6 in its middle.
inline TriangleSoup slitSheet(double width) {
    const std::array<double, 4> aX{0.0, 0.5 - width / 2.0, 0.5 + width / 2.0, 1.0}, aY{0.0, 0.2, 0.8, 1.0};
    TriangleSoup soup;
    const auto at = [&](std::size_t i, std::size_t j) { return Point3(aX[i], aY[j], 0.0); };
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            if (i == 1 && j == 1) continue;
            addTriangle(soup, at(i, j), at(i + 1, j), at(i + 1, j + 1));
            addTriangle(soup, at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    return soup;
}

}  // namespace TARN_TEST
