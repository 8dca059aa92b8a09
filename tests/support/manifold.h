// The check that a mesh is what makeManifold() promises, and meshes that aren't.
#pragma once

#include "Forest.h"
#include "RMesh.h"
#include "meshFlaws.h"
#include "support/figures.h"
#include "support/fine.h"
#include "support/names.h"

namespace TARN_TEST {

/// The first flaw that has nothing to do with places, as text; empty for none.
inline std::string flawOfLinks(const RMesh& mesh) {
    const MeshFlaws flaws = countFlaws(mesh);
    return figuresOf(mesh).numDoubles != 0  ? "a triangle is there twice"
           : flaws.numNonManifoldEdges != 0 ? "an edge has more than two triangles"
           : flaws.numConflicts != 0        ? "two triangles disagree in orientation"
           : flaws.numPinchedVertices != 0  ? "a vertex has two fans"
                                            : "";
}

inline bool hasFlat(const RMesh& mesh) {
    return std::ranges::any_of(mesh.vRT, [](const RTriangle* pRT) {
        const Point3 &a = *pRT->aCorners[0], &b = *pRT->aCorners[1], &c = *pRT->aCorners[2];
        const double longest = std::max({(b - a).length(), (c - a).length(), (c - b).length()});
        return pRT->isAlive() && !(crossProduct((b - a) / longest, (c - a) / longest).length() > 1e-6);
    });
}

/// Whether a closed component of a mesh without flaws of the links faces inward.
inline bool hasInward(const RMesh& mesh) {
    Forest pieces(mesh.vRT.size());
    const auto memberOf = [&](const RTriangle* pRT) { return static_cast<Forest::Member>(mesh.poolRT.indexOf(pRT)); };
    for (const REdge* pRE : edges(mesh, 2))
        pieces.join(memberOf(pRE->vRT[0]), memberOf(pRE->vRT[1]));
    std::map<Forest::Member, double> mVolume;
    for (const RTriangle* pRT : mesh.vRT) {
        if (!pRT->isAlive()) continue;
        const auto arm = [&](int i) { return *pRT->getCorner(i) - *mesh.poolVtx.at(0); };
        mVolume[pieces.findRoot(memberOf(pRT))] += arm(0) * crossProduct(arm(1), arm(2));
    }
    for (const REdge* pRE : edges(mesh, 1))
        mVolume.erase(pieces.findRoot(memberOf(pRE->vRT[0])));
    return std::ranges::any_of(mVolume, [](const auto& entry) { return entry.second < -1e-9; });
}

/// The first flaw of the mesh, as text; empty for a manifold, oriented mesh without flat and equal triangles, whichever way
/// it faces.
inline std::string firstFlawButFacing(const RMesh& mesh) {
    return hasFlat(mesh) ? "a triangle is flat" : flawOfLinks(mesh);
}

/// The same; moreover closed components face outward.
inline std::string firstFlaw(const RMesh& mesh) {
    const std::string flaw = firstFlawButFacing(mesh);
    return flaw.empty() && hasInward(mesh) ? "a closed component faces inward" : flaw;
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
inline Soup tangledSoup(std::mt19937& random) {
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
