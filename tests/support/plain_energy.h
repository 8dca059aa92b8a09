// The energy of a surface the plain way: triangles as places, all edges looked at, angles by the law of cosines. And meshes
// on which flips have something to do.
#pragma once

#include <optional>

#include "support/fine.h"
#include "support/names.h"

namespace TARN_TEST {

using Places = std::array<Point3, 3>;

/// The places off each edge.
inline std::map<std::pair<Point3, Point3>, std::vector<Point3>> tipsOf(const std::vector<Places>& vTriangle) {
    std::map<std::pair<Point3, Point3>, std::vector<Point3>> mTips;
    for (const Places& t : vTriangle)
        for (std::size_t i = 0; i < 3; ++i)
            mTips[std::minmax(t[i], t[(i + 1) % 3])].push_back(t[(i + 2) % 3]);
    return mTips;
}

inline double cosineOfNormals(const Point3& a, const Point3& b, const Point3& tip0, const Point3& tip1) {
    const Vector3 n0 = crossProduct(b - a, tip0 - a), n1 = crossProduct(tip1 - a, b - a);
    return std::clamp(n0 * n1 / (n0.length() * n1.length()), -1.0, 1.0);
}

/// The energy, and the mean angle of the normals in degrees.
inline std::pair<double, double> energyAndAngle(const std::vector<Places>& vTriangle, double exponent = 0.335) {
    double energy = 0.0, angle = 0.0, num = 0.0;
    for (const auto& [ab, vTip] : tipsOf(vTriangle)) {
        if (vTip.size() != 2) continue;
        const double cosine = cosineOfNormals(ab.first, ab.second, vTip[0], vTip[1]);
        energy += std::pow((ab.second - ab.first).length() * (1.0 - cosine), exponent);
        angle += std::acos(cosine) * 57.29577951308232;
        num += 1.0;
    }
    return {energy, angle / num};
}

inline double largestAngle(const Places& t) {
    std::array<double, 3> aSq;
    for (std::size_t i = 0; i < 3; ++i)
        aSq[i] = (t[(i + 1) % 3] - t[i]).sqLength();
    std::sort(aSq.begin(), aSq.end());
    return std::acos((aSq[0] + aSq[1] - aSq[2]) / (2.0 * std::sqrt(aSq[0] * aSq[1]))) * 57.29577951308232;
}

/// What the flip of an edge makes of the surface.
struct PlainFlip {
    double drop;                ///< of the energy
    double newAngle, oldAngle;  ///< largest in the two triangles, in degrees
    double foldDegrees;         ///< between the normals of the new ones
};

/// Nothing when the edge a-b hasn't two triangles, the other diagonal is an edge, or the new pair folds back, more than the
/// old one.
inline std::optional<PlainFlip> plainFlip(const std::vector<Places>& vTriangle, const Point3& a, const Point3& b,
                                          double exponent) {
    const auto mTips = tipsOf(vTriangle);
    const auto& vTip = mTips.at(std::minmax(a, b));
    if (vTip.size() != 2 || mTips.count(std::minmax(vTip[0], vTip[1])) != 0) return std::nullopt;
    const double cur = cosineOfNormals(a, b, vTip[0], vTip[1]), alt = cosineOfNormals(vTip[0], vTip[1], b, a);
    if (1.0 - alt > 1.984807753 && alt < cur) return std::nullopt;

    std::vector<Places> vNew = {{vTip[0], a, vTip[1]}, {vTip[0], vTip[1], b}};
    PlainFlip flip{0.0, std::max(largestAngle(vNew[0]), largestAngle(vNew[1])), 0.0, std::acos(alt) * 57.29577951308232};
    for (const Places& t : vTriangle) {
        const bool bOld = std::count(t.begin(), t.end(), a) + std::count(t.begin(), t.end(), b) == 2;
        if (bOld) flip.oldAngle = std::max(flip.oldAngle, largestAngle(t));
        if (!bOld) vNew.push_back(t);
    }
    flip.drop = energyAndAngle(vTriangle, exponent).first - energyAndAngle(vNew, exponent).first;
    return flip;
}

/// Kites in the plane z = 0, 8 apart: A below, B above by height, tips at -1 and 1. The edge AB is 4i, 4i + 1.
inline Soup kites(int num, double height) {
    Soup soup;
    for (int i = 0; i < num; ++i) {
        const double x = 8.0 * i;
        for (const auto& [dx, y] : {std::pair(0.0, -2.0), {0.0, height}, {-1.0, 0.0}, {1.0, 0.0}})
            soup.vVtx.emplace_back(x + dx, y, 0);
        soup.vT.push_back({4 * i, 4 * i + 1, 4 * i + 2});
        soup.vT.push_back({4 * i + 1, 4 * i, 4 * i + 3});
    }
    return soup;
}

}  // namespace TARN_TEST
