// Surfaces with holes.
#pragma once

#include "Random.h"
#include "support/fine.h"
#include "support/names.h"

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
    Random random(seed);
    for (int i = 0; i < 20 * numHoles && static_cast<int>(sHub.size()) < numHoles; ++i) {
        const int hub = random.next() % static_cast<int>(soup.vVtx.size());
        if (sTaken.count(hub) != 0) continue;
        sHub.insert(hub);
        take(hub);
    }
    soup = without(soup, sHub);
    return static_cast<int>(sHub.size());
}

}  // namespace TARN_TEST
