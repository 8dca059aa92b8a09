// Surfaces with holes, and what is left of them.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Random.h"
#include "support/coarse.h"
#include "support/fine.h"

namespace TARN_TEST {

/// Closed, of radius 10, numV rows of numU vertices and two poles; normals outwards.
inline Soup sphere(int numU, int numV) {
    Soup soup;
    for (int v = 1; v <= numV; ++v)
        for (int u = 0; u < numU; ++u) {
            const double a = 2 * M_PI * u / numU, b = M_PI * v / (numV + 1);
            soup.vVtx.emplace_back(10 * std::cos(a) * std::sin(b), 10 * std::sin(a) * std::sin(b), 10 * std::cos(b));
        }
    const int north = numU * numV, south = north + 1;
    soup.vVtx.insert(soup.vVtx.end(), {Point3(0, 0, 10), Point3(0, 0, -10)});
    for (int u = 0; u < numU; ++u) {
        const int u1 = (u + 1) % numU, last = numU * (numV - 1);
        soup.vT.push_back({north, u, u1});
        soup.vT.push_back({south, last + u1, last + u});
        for (int v = 0; v + 1 < numV; ++v) {
            const int i = v * numU + u, i1 = v * numU + u1;
            soup.vT.push_back({i, i + numU, i1});
            soup.vT.push_back({i1, i + numU, i1 + numU});
        }
    }
    return soup;
}

/// Takes the triangles at numHoles vertices out, of fewer where there is no room, so that no two holes touch each other or a
/// border. Returns the number of holes.
inline int punch(Soup& soup, int numHoles, unsigned seed) {
    std::map<int, std::set<int>> mNeig;
    std::map<std::pair<int, int>, int> mDegree;
    for (const auto& t : soup.vT)
        for (std::size_t i = 0; i < 3; ++i) {
            const int a = t[i], b = t[(i + 1) % 3];
            mNeig[a].insert(b);
            mNeig[b].insert(a);
            ++mDegree[std::minmax(a, b)];
        }
    std::set<int> sTaken, sHub;
    const auto take = [&](int centre) {  // what is up to two edges away
        std::set<int> sReached{centre};
        for (int i = 0; i < 2; ++i)
            for (const int a : std::set<int>(sReached))
                sReached.insert(mNeig[a].begin(), mNeig[a].end());
        sTaken.insert(sReached.begin(), sReached.end());
    };
    for (const auto& [edge, degree] : mDegree)
        if (degree == 1)
            for (const int a : {edge.first, edge.second})
                for (const int b : mNeig[a])
                    sTaken.insert(b);
    TARN_KEL::Random random(seed);
    for (int i = 0; i < 20 * numHoles && static_cast<int>(sHub.size()) < numHoles; ++i) {
        const int hub = random.next() % static_cast<int>(soup.vVtx.size());
        if (sTaken.count(hub) != 0) continue;
        sHub.insert(hub);
        take(hub);
    }
    std::erase_if(soup.vT, [&](const auto& t) { return sHub.count(t[0]) + sHub.count(t[1]) + sHub.count(t[2]) != 0; });
    return static_cast<int>(sHub.size());
}

/// A coarse mesh of a soup: vertex i is the cell (i % 1000, i / 1000, 0), wherever its point lies.
class CoarseCopy : public CoarseWorld {
public:
    explicit CoarseCopy(const Soup& soup) {
        for (std::size_t i = 0; i < soup.vVtx.size(); ++i)
            put(code(static_cast<int>(i)), soup.vVtx[i]);
        for (const auto& t : soup.vT)
            triangle(code(t[0]), code(t[1]), code(t[2]));
    }
    static TARN_KEL::VCD code(int i) { return cell(static_cast<unsigned>(i) % 1000, static_cast<unsigned>(i) / 1000, 0); }
};

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

inline Figures figuresOf(const TARN_KEL::CMesh& mesh) {
    std::vector<std::array<TARN_KEL::VCD, 3>> vT;
    for (const TARN_KEL::CTriangle* pCT : mesh.vAllCT)
        if (pCT->isAlive()) vT.push_back({pCT->c0, pCT->c1, pCT->c2});
    return figuresOf(vT);
}

inline Figures figuresOf(const RMesh& mesh) {
    std::vector<std::array<Point3*, 3>> vT;
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->bAlive) vT.push_back({pRT->aCorners[0], pRT->aCorners[1], pRT->aCorners[2]});
    return figuresOf(vT);
}

}  // namespace TARN_TEST
