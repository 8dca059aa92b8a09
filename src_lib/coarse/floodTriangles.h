#pragma once

#include <unordered_set>

#include "CEdge.h"
#include "CTriangle.h"
#include "meshCore.h"

namespace TARN_KEL {

/// For floods over the coarse mesh (floodTriangles in meshCore.h): crosses edges of any degree. One object may serve several
/// floods. Only the first triangle on an edge has to cross it: where many meet, asking each of them for all others would
/// cost their number squared.
///
/// Like all those floods it depends on the marks on triangles: a triangle that is marked visited isn't entered, and what a
/// flood reaches stays marked. So clear the marks before the first flood.
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
