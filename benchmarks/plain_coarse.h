// The coarse mesh on the standard library's containers: heap objects, a map for the edges, a multimap for the vertices.
//
// It is what the benchmark measures CMesh against, in time and memory. It has the fields
// and the orders that CMesh promises and nothing clever.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Calc.h"

namespace TARN_TEST {

using TARN_KEL::VCD;

struct PlainEdge;

struct PlainTriangle {
    VCD corners[3];
    VCD vcdCube;
    int cfg;
    PlainEdge* edges[3] = {nullptr, nullptr, nullptr};  ///< 01, 12, 02
    bool bVisited = false;
    bool bAlive = true;
    void* pPatch = nullptr;
};

struct PlainEdge {
    VCD v0, v1;
    std::vector<PlainTriangle*> vCT;
    double cachedValue = -1.0;
    int edgeDir = 0;
};

class PlainMesh {
public:
    PlainTriangle* createT(VCD v0, VCD v1, VCD v2, VCD vcdCube, int cfg) {
        vAllCT.push_back(std::make_unique<PlainTriangle>(PlainTriangle{{v0, v1, v2}, vcdCube, cfg}));
        PlainTriangle* pT = vAllCT.back().get();
        for (const VCD vcd : pT->corners)
            mmVCD2CT.emplace(vcd, pT);
        const std::pair<VCD, VCD> aPair[3] = {std::minmax(v0, v1), std::minmax(v1, v2), std::minmax(v0, v2)};
        for (int i = 0; i < 3; ++i) {
            const auto it = mEdges.find(aPair[i]);
            pT->edges[i] = it != mEdges.end() ? it->second : makeEdge(aPair[i]);
            pT->edges[i]->vCT.push_back(pT);
        }
        return pT;
    }

    void kill(PlainTriangle* pT) {
        for (const int i : {1, 2, 0}) {  // the edges opposite the corners 0, 1, 2
            auto& vCT = pT->edges[i]->vCT;
            *std::find(vCT.begin(), vCT.end(), pT) = vCT.back();
            vCT.pop_back();
        }
        for (const VCD vcd : pT->corners) {
            auto it = mmVCD2CT.lower_bound(vcd);
            while (it->second != pT)
                ++it;
            mmVCD2CT.erase(it);
        }
        pT->bAlive = false;
    }

    void getIncidentT(VCD vcd, std::vector<PlainTriangle*>& vOut) const {
        const auto [it, itEnd] = mmVCD2CT.equal_range(vcd);
        for (auto entry = it; entry != itEnd; ++entry)
            vOut.push_back(entry->second);
    }

    std::map<std::pair<VCD, VCD>, PlainEdge*> mEdges;
    std::multimap<VCD, PlainTriangle*> mmVCD2CT;
    std::vector<std::unique_ptr<PlainTriangle>> vAllCT;
    std::vector<std::unique_ptr<PlainEdge>> vAllCE;

private:
    PlainEdge* makeEdge(const std::pair<VCD, VCD>& key) {
        vAllCE.push_back(std::make_unique<PlainEdge>(PlainEdge{key.first, key.second, {}}));
        return mEdges[key] = vAllCE.back().get();
    }
};

}  // namespace TARN_TEST
