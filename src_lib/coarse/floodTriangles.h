#pragma once

#include <unordered_set>

#include "CEdge.h"
#include "CTriangle.h"
#include "meshCore.h"

namespace TARN_KEL {

/// Lets a flood over the coarse mesh (floodTriangles), or several, cross edges of any degree. Only the first triangle on an
/// edge has to cross it: where many meet, asking each of them for all others would cost their number squared.
class AnyEdge {
public:
    bool operator()(const CTriangle* pCT, int i) {
        constexpr int MANY = 16;
        const CEdge* pCE = pCT->getCE(i);
        return pCE->getDegree() <= MANY || sCrossed.insert(pCE).second;
    }

private:
    std::unordered_set<const CEdge*> sCrossed;
};

}  // namespace TARN_KEL
