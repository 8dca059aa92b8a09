// Coarse meshes of columns of cubes, whose right orientation is known, and walks on coarse meshes.
#pragma once

#include "Random.h"
#include "support/coarse.h"
#include "support/prelude.h"

namespace TARN_TEST {

using Triangles = std::vector<CTriangle*>;
using Place = std::array<int, 3>;

inline VCD cellAt(const Place& p) {
    return cell(static_cast<unsigned>(p[0]), static_cast<unsigned>(p[1]), static_cast<unsigned>(p[2]));
}

/// Columns of cubes of several materials on a square, of random heights. The faces between different materials, empty space
/// included, are the mesh: two triangles each, in random order and with random windings. Columns that touch in an edge make
/// non-manifold edges of four triangles, inner walls such of three.
struct Columns : CoarseWorld {
    std::map<Place, int> mMaterial;
    std::map<CTriangle*, std::array<VCD, 3>> mSkin;  // the faces to empty space, as seen from there
    Random random;

    Columns(unsigned seed, std::size_t numMaterials, const std::vector<int>& vStart) : random(seed) {
        for (const int start : vStart)
            for (int i = 0; i < 16; ++i)
                for (int z = 1 + static_cast<int>(pick(random, 3)); z > 0; --z)
                    mMaterial[{start + i / 4, start + i % 4, start + z}] = 1 + static_cast<int>(pick(random, numMaterials));
        std::vector<std::pair<std::array<VCD, 3>, bool>> vFace;
        for (const auto& [cube, material] : mMaterial)
            for (std::size_t axis = 0; axis < 3; ++axis)
                for (const int step : {0, 1})
                    addFace(cube, material, axis, step, vFace);
        for (std::size_t i = vFace.size(); i > 0; --i) {
            std::swap(vFace[i - 1], vFace[pick(random, i)]);
            const auto& [c, bSkin] = vFace[i - 1];
            CTriangle* pCT = triangle(c[0], c[1], c[2]);
            if (bSkin) mSkin[pCT] = c;
            if (random.next() % 2 == 0) pCT->flipNNV();
        }
    }
    bool isOutward(CTriangle* pCT) const { return pCT->getHEDirection2(mSkin.at(pCT)[0], mSkin.at(pCT)[1]) == HE_SAME; }
    Triangles skin() const {
        Triangles vT;
        for (const auto& [pCT, corners] : mSkin)
            vT.push_back(pCT);
        return vT;
    }

private:
    template <typename Faces>
    void addFace(const Place& cube, int material, std::size_t axis, int step, Faces& vFace) {
        Place next = cube;
        next[axis] += 2 * step - 1;
        const auto it = mMaterial.find(next);
        const bool bSkin = it == mMaterial.end();
        if (!bSkin && (it->second == material || step == 0)) return;
        std::array<VCD, 4> q{};
        for (std::size_t i = 0; i < 4; ++i) {
            Place corner = cube;
            corner[axis] += step;
            corner[(axis + 1) % 3] += i == 1 || i == 2 ? 1 : 0;
            corner[(axis + 2) % 3] += i >= 2 ? 1 : 0;
            q[step == 1 ? i : 3 - i] = put(cellAt(corner), calc.getMidPoint(cellAt(corner)), false);
        }
        vFace.push_back({{q[0], q[1], q[2]}, bSkin});
        vFace.push_back({{q[0], q[2], q[3]}, bSkin});
    }
};

/// Edges of two triangles that run against each other.
inline std::set<CEdge*> conflicts(const CMesh& mesh) {
    std::set<CEdge*> sConflict;
    for (CEdge* pCE : edges(mesh, 2))
        if (pCE->vCT[0]->needFlip(pCE->vCT[1])) sConflict.insert(pCE);
    return sConflict;
}

}  // namespace TARN_TEST
