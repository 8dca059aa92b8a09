// No public function reaches it: it belongs to later passes of Voro and Top.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "CMesh.h"
#include "CTriangle.h"
#include "tools.h"

namespace TARN_KEL {

/// Kills triangles that have a border edge and come from one of these configurations of a dual cube: configuration by
/// configuration, each in the order of vAllCT. A triangle is judged when its turn comes, so earlier kills count. One without
/// a configuration counts as one of 0. Cost: O(n).
inline void killLooseTriangles(CMesh* pCMesh, std::span<const int> configs) {
    std::array<std::vector<CTriangle*>, 256> buckets;
    for (CTriangle* pCT : pCMesh->getTriRef()) {
        if (!pCT->isAlive()) continue;
        const int cfg = pCT->cfg;
        ASSEX(cfg<256);
        buckets[static_cast<std::size_t>(cfg < 0 ? 0 : cfg)].push_back(pCT);
    }
    for (const int config : configs)
        for (CTriangle* pCT : buckets[static_cast<std::size_t>(config)])
            if (pCT->isAlive() && pCT->hasBorder()) pCT->kill(pCMesh);
}

}  // namespace TARN_KEL
