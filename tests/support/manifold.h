// The check that a mesh is what makeManifold() promises.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "RMesh.h"

namespace TARN_TEST {

/// The first flaw of the mesh, as text; empty for a manifold, oriented mesh without flat and equal triangles whose closed
/// components face outward. It goes from the corners of the alive triangles alone, on plain containers.
inline std::string firstFlaw(const TARN_KEL::RMesh& mesh) {
    using TARN_KEL::Point3;
    using TARN_KEL::Vector3;
    std::vector<Point3*> vCorner;
    mesh.getTriangleCorners(vCorner);
    const std::size_t numT = vCorner.size() / 3;
    const auto next = [](std::size_t corner) { return corner % 3 == 2 ? corner - 2 : corner + 1; };
    const auto previous = [](std::size_t corner) { return corner % 3 == 0 ? corner + 2 : corner - 1; };

    std::set<std::array<Point3*, 3>> sTriangle;
    std::map<std::pair<Point3*, Point3*>, std::vector<std::size_t>> mEdge;  // to the corners where its sides begin
    for (std::size_t t = 0; t < numT; ++t) {
        std::array<Point3*, 3> corners{vCorner[3 * t], vCorner[3 * t + 1], vCorner[3 * t + 2]};
        const Vector3 a = *corners[1] - *corners[0], b = *corners[2] - *corners[0], c = *corners[2] - *corners[1];
        const double longest = std::max({a.length(), b.length(), c.length()});
        if (!(crossProduct(a / longest, b / longest).length() > 1e-6)) return "a triangle is flat";
        std::sort(corners.begin(), corners.end());
        if (!sTriangle.insert(corners).second) return "a triangle is there twice";
        for (std::size_t i = 3 * t; i < 3 * t + 3; ++i)
            mEdge[std::minmax(vCorner[i], vCorner[next(i)])].push_back(i);
    }

    std::vector<std::size_t> vFan(3 * numT), vComponent(numT);
    std::iota(vFan.begin(), vFan.end(), std::size_t{0});
    std::iota(vComponent.begin(), vComponent.end(), std::size_t{0});
    const auto root = [](std::vector<std::size_t>& v, std::size_t i) {
        while (v[i] != i)
            i = v[i] = v[v[i]];
        return i;
    };
    std::set<std::size_t> sOpen;
    for (const auto& [key, vSide] : mEdge) {
        if (vSide.size() > 2) return "an edge has more than two triangles";
        if (vSide.size() == 1) continue;
        const std::size_t i = vSide[0], j = vSide[1];
        if (vCorner[i] == vCorner[j]) return "two triangles disagree in orientation";
        vFan[root(vFan, i)] = root(vFan, next(j));
        vFan[root(vFan, next(i))] = root(vFan, j);
        vComponent[root(vComponent, i / 3)] = root(vComponent, j / 3);
    }
    for (const auto& [key, vSide] : mEdge)
        if (vSide.size() == 1) sOpen.insert(root(vComponent, vSide[0] / 3));
    std::map<Point3*, std::size_t> mFanOf;
    for (std::size_t i = 0; i < vCorner.size(); ++i)
        if (mFanOf.emplace(vCorner[i], root(vFan, i)).first->second != root(vFan, i)) return "a vertex has two fans";

    std::map<std::size_t, double> mVolume;
    for (std::size_t i = 0; i < vCorner.size(); i += 3) {
        const Vector3 a = *vCorner[i] - *vCorner[0];
        mVolume[root(vComponent, i / 3)] +=
            a * crossProduct(*vCorner[next(i)] - *vCorner[0], *vCorner[previous(i)] - *vCorner[0]);
    }
    for (const auto& [component, volume] : mVolume)
        if (sOpen.count(component) == 0 && volume < -1e-9) return "a closed component faces inward";
    return "";
}

}  // namespace TARN_TEST
