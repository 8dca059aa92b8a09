#include "CrumpledLoop.h"

#include <algorithm>
#include <map>
#include <utility>

#include "RMesh.h"
#include "sortMT.h"

namespace TARN_KEL {

CrumpledLoop::CrumpledLoop(RMesh& theMesh, const std::vector<Point3*>& vLoop) : mesh(theMesh) {
    for (const Point3* p : vLoop)
        mesh.getIncidentT(p, vRT);
    oneInstance(vRT);
    findWideLoop(vLoop);
}

/// Every triangle at the loop has a corner there. So a side without one belongs to one of them and to one that stays, or to
/// two of them.
void CrumpledLoop::findWideLoop(const std::vector<Point3*>& vLoop) {
    std::vector<const Point3*> vSorted(vLoop.begin(), vLoop.end());
    std::sort(vSorted.begin(), vSorted.end());
    const auto isOnLoop = [&](const Point3* p) { return std::binary_search(vSorted.begin(), vSorted.end(), p); };
    std::map<Side, int> mCount;
    for (const RTriangle* pRT : vRT)
        for (int i = 0; i < 3; ++i) {
            const auto [pLow, pHigh] = std::minmax({pRT->getCorner(i), pRT->getCorner((i + 1) % 3)});
            if (!isOnLoop(pLow) && !isOnLoop(pHigh)) ++mCount[{pLow, pHigh}];
        }
    for (const auto& [side, count] : mCount)
        if (count == 1) {
            vWideSide.push_back(side);
            vWideLoop.insert(vWideLoop.end(), side.begin(), side.end());
        }
    oneInstance(vWideLoop);
}

bool CrumpledLoop::takeOut() {
    if (!isOneLoop()) return false;
    for (RTriangle* pRT : vRT) {
        vTaken.push_back({pRT->getCorner(0), pRT->getCorner(1), pRT->getCorner(2)});
        pRT->kill(&mesh);
    }
    return true;
}

bool CrumpledLoop::isOneLoop() const {
    std::map<const Point3*, std::vector<const Point3*>> mNext;
    for (const auto& [p, q] : vWideSide) {
        if (mesh.getEdge(p, q)->getDegree() != 2) return false;
        mNext[p].push_back(q);
        mNext[q].push_back(p);
    }
    std::vector<REdge*> vEdges;
    for (const Point3* p : vWideLoop) {
        vEdges.clear();
        mesh.getIncidentRE(p, vEdges);
        const bool bBorder =
            std::any_of(vEdges.begin(), vEdges.end(), [](const REdge* pRE) { return pRE->getDegree() == 1; });
        if (bBorder || mNext[p].size() != 2) return false;
    }
    if (vWideSide.size() < 3) return false;
    std::size_t numPassed = 1;
    const Point3 *pFirst = vWideSide[0][0], *pBefore = pFirst;
    for (const Point3* p = vWideSide[0][1]; p != pFirst; ++numPassed) {
        const Point3* pNext = mNext[p][0] == pBefore ? mNext[p][1] : mNext[p][0];
        pBefore = std::exchange(p, pNext);
    }
    return numPassed == vWideSide.size();
}

bool CrumpledLoop::isClosed() const {
    return std::all_of(vWideSide.begin(), vWideSide.end(),
                       [this](const Side& side) { return mesh.getEdge(side[0], side[1])->getDegree() == 2; });
}

void CrumpledLoop::putBack() {
    for (const auto& [p, q, r] : vTaken)
        mesh.createT(p, q, r);
}

}  // namespace TARN_KEL
