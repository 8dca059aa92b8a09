// The check that a mesh is what makeManifold() promises, and meshes that aren't.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "RMesh.h"
#include "support/fine.h"

namespace TARN_TEST {

/// A mesh as the corners of its alive triangles, and what can be wrong with it. On plain containers.
class PlainSurface {
public:
    explicit PlainSurface(const TARN_KEL::RMesh& mesh) {
        mesh.getTriangleCorners(vCorner);
        vFan.resize(vCorner.size());
        vComponent.resize(vCorner.size() / 3);
        std::iota(vFan.begin(), vFan.end(), std::size_t{0});
        std::iota(vComponent.begin(), vComponent.end(), std::size_t{0});
    }

    bool hasFlat() const {
        for (std::size_t i = 0; i < vCorner.size(); i += 3) {
            const Vector3 a = *vCorner[i + 1] - *vCorner[i], b = *vCorner[i + 2] - *vCorner[i];
            const double longest = std::max({a.length(), b.length(), (b - a).length()});
            if (!(crossProduct(a / longest, b / longest).length() > 1e-6)) return true;
        }
        return false;
    }

    /// The first flaw that has nothing to do with places, as text; empty for none.
    std::string flawOfLinks() {
        std::set<std::array<Point3*, 3>> sTriangle;
        std::map<std::pair<Point3*, Point3*>, std::vector<std::size_t>> mEdge;  // to the corners where its sides begin
        for (std::size_t i = 0; i < vCorner.size(); ++i) {
            std::array<Point3*, 3> corners{vCorner[i], vCorner[next(i)], vCorner[previous(i)]};
            std::sort(corners.begin(), corners.end());
            if (i % 3 == 0 && !sTriangle.insert(corners).second) return "a triangle is there twice";
            mEdge[std::minmax(vCorner[i], vCorner[next(i)])].push_back(i);
        }
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
        return "";
    }

    /// To be asked after the links.
    bool hasInward() {
        std::map<std::size_t, double> mVolume;
        for (std::size_t i = 0; i < vCorner.size(); i += 3) {
            const Vector3 a = *vCorner[i] - *vCorner[0];
            mVolume[root(vComponent, i / 3)] +=
                a * crossProduct(*vCorner[next(i)] - *vCorner[0], *vCorner[previous(i)] - *vCorner[0]);
        }
        return std::any_of(mVolume.begin(), mVolume.end(),
                           [this](const auto& entry) { return sOpen.count(entry.first) == 0 && entry.second < -1e-9; });
    }

private:
    using Vector3 = TARN_KEL::Vector3;

    static std::size_t next(std::size_t corner) { return corner % 3 == 2 ? corner - 2 : corner + 1; }
    static std::size_t previous(std::size_t corner) { return corner % 3 == 0 ? corner + 2 : corner - 1; }
    static std::size_t root(std::vector<std::size_t>& v, std::size_t i) {
        while (v[i] != i)
            i = v[i] = v[v[i]];
        return i;
    }

    std::vector<Point3*> vCorner;
    std::vector<std::size_t> vFan, vComponent;  // forests, of corners and of triangles
    std::set<std::size_t> sOpen;                // components with a border
};

/// The first flaw of the mesh, as text; empty for a manifold, oriented mesh without flat and equal triangles, whichever way
/// it faces.
inline std::string firstFlawButFacing(const TARN_KEL::RMesh& mesh) {
    PlainSurface surface(mesh);
    return surface.hasFlat() ? "a triangle is flat" : surface.flawOfLinks();
}

/// The same; moreover closed components face outward.
inline std::string firstFlaw(const TARN_KEL::RMesh& mesh) {
    PlainSurface surface(mesh);
    if (surface.hasFlat()) return "a triangle is flat";
    const std::string flaw = surface.flawOfLinks();
    return flaw.empty() && surface.hasInward() ? "a closed component faces inward" : flaw;
}

/// The outside of unit cubes at lattice places, two triangles a face; vertices are shared wherever cubes touch.
inline Soup voxels(const std::set<std::array<int, 3>>& sCube) {
    Soup soup;
    std::map<std::array<int, 3>, int> mVtx;
    const auto vertex = [&](std::array<int, 3> place) {
        const auto [it, bNew] = mVtx.emplace(place, static_cast<int>(soup.vVtx.size()));
        if (bNew) soup.vVtx.emplace_back(place[0], place[1], place[2]);
        return it->second;
    };
    for (const auto& cube : sCube)
        for (std::size_t axis = 0; axis < 3; ++axis)
            for (const int side : {0, 1}) {
                auto beside = cube;
                beside[axis] += side == 1 ? 1 : -1;
                if (sCube.count(beside) != 0) continue;
                std::array<int, 4> quad{};
                for (std::size_t i = 0; i < 4; ++i) {
                    auto corner = cube;
                    corner[axis] += side;
                    corner[(axis + 1) % 3] += i == 1 || i == 2 ? 1 : 0;
                    corner[(axis + 2) % 3] += i >= 2 ? 1 : 0;
                    quad[i] = vertex(corner);
                }
                if (side == 0) std::swap(quad[1], quad[3]);
                soup.vT.push_back({quad[0], quad[1], quad[2]});
                soup.vT.push_back({quad[0], quad[2], quad[3]});
            }
    return soup;
}

/// Up to 60 triangles on up to 23 points of a lattice of four steps, whatever that makes.
inline Soup soupOfChance(std::mt19937& random) {
    Soup soup;
    const int numVtx = 4 + static_cast<int>(random() % 20);
    for (int i = 0; i < numVtx; ++i) {
        const auto step = [&random] { return static_cast<double>(random() % 4); };
        const double x = step(), y = step(), z = step();  // some coincide with others, some are on a line
        soup.vVtx.emplace_back(x, y, z);
    }
    std::sort(soup.vVtx.begin(), soup.vVtx.end());
    soup.vVtx.erase(std::unique(soup.vVtx.begin(), soup.vVtx.end()), soup.vVtx.end());
    const auto n = static_cast<unsigned>(soup.vVtx.size());
    const unsigned numT = 1 + static_cast<unsigned>(random() % 60);
    for (unsigned t = 0; t < numT; ++t) {
        const int i = static_cast<int>(random() % n), j = static_cast<int>(random() % n), k = static_cast<int>(random() % n);
        if (i != j && j != k && i != k) soup.vT.push_back({i, j, k});
    }
    return soup;
}

}  // namespace TARN_TEST
