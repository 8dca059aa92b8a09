// Floods over the coarse mesh, with a stack: a triangle is marked visited when it is pushed, so it is pushed once.
#pragma once

#include <unordered_set>
#include <vector>

#include "CEdge.h"
#include "CTriangle.h"

namespace TARN_KEL {

/// Calls take(pCT) for all that can be reached from a triangle over the edges opposite corner i that cross(pCT, i) lets
/// through. vStack: empty, before and after.
template <typename Cross, typename Take>
void floodTriangles(CTriangle* pStartCT, std::vector<CTriangle*>& vStack, Cross&& cross, Take&& take) {
    pStartCT->bVisited = true;
    vStack.push_back(pStartCT);
    while (!vStack.empty()) {
        CTriangle* pCT = vStack.back();
        vStack.pop_back();
        take(pCT);
        for (int i = 0; i < 3; ++i) {
            if (!cross(pCT, i)) continue;
            for (CTriangle* pNeigT : pCT->getCE(i)->vCT) {
                if (pNeigT->bVisited) continue;
                pNeigT->bVisited = true;
                vStack.push_back(pNeigT);
            }
        }
    }
}

/// Lets a flood, or several, over edges of any degree. An edge has to be crossed by the first of its triangles only. Where
/// many meet, asking all of them for all others would take their number squared.
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
