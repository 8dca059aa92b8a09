// The topology of a mesh in numbers, from the corners of its triangles alone.
#pragma once

#include "CMesh.h"
#include "CTriangle.h"
#include "support/fine.h"
#include "support/names.h"

namespace TARN_TEST {

/// The figures of triangles on whatever names their corners.
struct Figures {
    int numBorder = 0;     ///< edges of one triangle
    int numME = 0;         ///< of three and more
    int numConflicts = 0;  ///< of two that face different ways
    int euler = 0;
    int numDoubles = 0;  ///< triangles on the corners of another one
    bool operator==(const Figures& f) const = default;
};

template <typename Key>
Figures figuresOf(const std::vector<std::array<Key, 3>>& vT) {
    Figures f;
    std::map<std::pair<Key, Key>, std::pair<int, int>> mEdge;  // along the ascending pair, against it
    std::set<Key> sVtx;
    std::set<std::set<Key>> sCorners;
    for (const auto& t : vT) {
        if (!sCorners.insert(std::set<Key>(t.begin(), t.end())).second) ++f.numDoubles;
        for (std::size_t i = 0; i < 3; ++i) {
            const Key a = t[i], b = t[(i + 1) % 3];
            auto& edge = mEdge[std::minmax(a, b)];
            ++(a < b ? edge.first : edge.second);
            sVtx.insert(a);
        }
    }
    for (const auto& [key, edge] : mEdge) {
        f.numBorder += edge.first + edge.second == 1 ? 1 : 0;
        f.numME += edge.first + edge.second > 2 ? 1 : 0;
        f.numConflicts += edge.first + edge.second == 2 && edge.first != 1 ? 1 : 0;
    }
    f.euler = static_cast<int>(sVtx.size()) - static_cast<int>(mEdge.size()) + static_cast<int>(vT.size());
    return f;
}

inline Figures figuresOf(const CMesh& mesh) {
    std::vector<std::array<VCD, 3>> vT;
    for (const CTriangle* pCT : mesh.vAllCT)
        if (pCT->isAlive()) vT.push_back({pCT->c0, pCT->c1, pCT->c2});
    return figuresOf(vT);
}

inline Figures figuresOf(const RMesh& mesh) {
    return figuresOf(indicesOf(mesh));
}

}  // namespace TARN_TEST
