// Random coarse meshes.
#pragma once

#include "CMesh.h"
#include "Random.h"
#include "support/coarse.h"
#include "support/prelude.h"

namespace TARN_TEST {

/// Random triangles on some cells, each set of corners at most once.
class RandomCoarse : public CoarseWorld {
public:
    RandomCoarse(unsigned seed, std::size_t numCells, std::size_t numTriangles) : random(seed) {
        for (unsigned i = 0; i < numCells; ++i)
            vCell.push_back(put(30 + i % 3, 30 + i / 3 % 3, 30 + i / 9));
        for (std::size_t i = 0; i < numTriangles; ++i)
            addTriangle();
        mesh.killDups();
    }
    void addTriangle() {
        const auto any = [this] { return vCell[pick(random, vCell.size())]; };
        const VCD a = any(), b = any(), c = any();
        if (a != b && b != c && a != c) triangle(a, b, c);
    }
    CEdge* pickEdge() {
        std::vector<CEdge*> vCE;
        mesh.getCEdges(vCE);
        return vCE[pick(random, vCE.size())];
    }

    Random random;
    std::vector<VCD> vCell;
};

}  // namespace TARN_TEST
