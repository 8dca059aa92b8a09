// The fine mesh on the standard library's ordered maps: elements in pools, a map for the edges, a map for the coordinates, a
// multimap for the triangles of a vertex.
//
// It is what the benchmark measures RMesh against, in time and memory. It has the orders
// that RMesh promises and nothing clever.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <new>
#include <utility>
#include <vector>

#include "SimplePool.h"
#include "kel.h"

namespace TARN_TEST {

using TARN_KEL::Point3;

class PlainFineMesh {
public:
    struct Triangle;
    struct Edge {
        Point3 *pVtx0, *pVtx1;
        std::vector<Triangle*> vT;
    };
    struct Triangle {
        double normal[3];
        std::array<Point3*, 3> aCorners;
        std::array<Edge*, 3> aEdges;  ///< 01, 12, 02
        void* pPatch;
        bool bVisited, bAlive;
    };
    using Key = std::pair<Point3*, Point3*>;

    PlainFineMesh() {
        poolVtx.init(3, -1);
        poolT.init(3, -1);
        poolE.init(3, -1);
    }
    ~PlainFineMesh() {
        for (Edge* pE : vE)
            pE->~Edge();
    }
    PlainFineMesh(const PlainFineMesh&) = delete;
    PlainFineMesh& operator=(const PlainFineMesh&) = delete;

    Point3* createVertex(const Point3& p) {
        const auto [it, bNew] = mVtx.emplace(p, nullptr);
        if (bNew) it->second = new (poolVtx.nextElement()) Point3(p);
        return it->second;
    }
    Triangle* createT(Point3* p0, Point3* p1, Point3* p2) {
        auto* pT = new (poolT.nextElement()) Triangle{{0, 0, 0}, {p0, p1, p2}, {}, nullptr, false, true};
        vT.push_back(pT);
        for (std::size_t i = 0; i < 3; ++i) {
            mmVtxT.emplace(pT->aCorners[i], pT);
            pT->aEdges[i] = findOrMakeEdge(std::minmax(pT->aCorners[i], pT->aCorners[(i + 1) % 3]));
            pT->aEdges[i]->vT.push_back(pT);
        }
        return pT;
    }
    void kill(Triangle* pT) {
        for (const std::size_t i : {1U, 2U, 0U}) {  // the edges opposite the corners 0, 1, 2
            auto& vOnEdge = pT->aEdges[i]->vT;
            *std::find(vOnEdge.begin(), vOnEdge.end(), pT) = vOnEdge.back();
            vOnEdge.pop_back();
        }
        for (Point3* p : pT->aCorners) {
            const auto [it, itEnd] = mmVtxT.equal_range(p);
            mmVtxT.erase(std::find_if(it, itEnd, [&](const auto& entry) { return entry.second == pT; }));
        }
        pT->bAlive = false;
    }
    void getIncidentT(Point3* p, std::vector<Triangle*>& vOut) const {
        const auto [it, itEnd] = mmVtxT.equal_range(p);
        for (auto entry = it; entry != itEnd; ++entry)
            vOut.push_back(entry->second);
    }

    std::vector<Triangle*> vT;
    std::map<Key, Edge*> mE;
    TARN_TOOLS::SimplePool<Point3> poolVtx;

private:
    Edge* findOrMakeEdge(const Key& key) {
        const auto [it, bNew] = mE.emplace(key, nullptr);
        if (bNew) {
            it->second = new (poolE.nextElement()) Edge{key.first, key.second, {}};
            vE.push_back(it->second);
        }
        return it->second;
    }

    std::map<Point3, Point3*> mVtx;
    std::multimap<Point3*, Triangle*> mmVtxT;
    std::vector<Edge*> vE;
    TARN_TOOLS::SimplePool<Triangle> poolT;
    TARN_TOOLS::SimplePool<Edge> poolE;
};

}  // namespace TARN_TEST
