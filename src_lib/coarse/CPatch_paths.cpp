// Shortest paths through a patch along its folds.
//
// A queue takes the nearest vertex first, so that each vertex has its final distance when it comes up, whatever the size of
// the patch. To join an open end with its nearest partner the search goes no farther than that partner.
#include <algorithm>
#include <queue>
#include <utility>

#include "CMesh.h"
#include "CPatch.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const Dijkstra& nodeBefore(const Dijkstra& node) {
    const CEdge* pIncomingCE = node.pIncomingCE;
    ASSEX(pIncomingCE!=NULL);
    const DijkstraMap& mVCD2Dijkstra = *node.mVCD2Dijkstra;
    const auto q_it2 = mVCD2Dijkstra.find(pIncomingCE->getOtherVCD(node.vcd));
    ASSEX(q_it2!=mVCD2Dijkstra.end());
    return q_it2->second;
}

/// The length of an inner edge in the search.
double weightOf(const CEdge& edge, const std::map<VCD, Point3>& mPoints) {
    const double angle = edge.getDihedralAngle(mPoints);
    if (angle < 50.0) return 0.3;
    return angle > 95.0 ? 1.5 : 1.0;
}

/// Vertices at which exactly one edge with a triangle outside the patch ends.
std::set<VCD> openEndsOf(const CPatch& patch) {
    std::vector<CEdge*> vCE;
    patch.getAllCE(vCE);
    std::vector<VCD> vEnd;
    for (const CEdge* pCE : vCE)
        if (pCE->getNumPatchTriangles(&patch) < pCE->getDegree()) vEnd.insert(vEnd.end(), {pCE->v0, pCE->v1});
    std::sort(vEnd.begin(), vEnd.end());
    std::set<VCD> sEndVtx;
    filterN(vEnd, 1, sEndVtx);
    return sEndVtx;
}

}  // namespace

void Dijkstra::update(CEdge* pCE, double newDist, const std::map<VCD, Point3>& mPoints) {
    updateToNearest({}, pCE, newDist, mPoints);
}

// All edges have a length, so a node that comes up has its final distance, and of equally near goals the lowest comes first.
const Dijkstra* Dijkstra::updateToNearest(const std::set<VCD>& sGoal, CEdge* pCE, double newDist,
                                          const std::map<VCD, Point3>& mPoints) {
    using Entry = std::pair<double, Dijkstra*>;
    const auto isFarther = [](const Entry& a, const Entry& b) {
        return a.first != b.first ? a.first > b.first : a.second->vcd > b.second->vcd;
    };
    std::priority_queue<Entry, std::vector<Entry>, decltype(isFarther)> queue(isFarther);
    const auto reach = [&queue](Dijkstra& node, CEdge* pIncoming, double distance) {
        if (!(distance < node.dist)) return;
        node.pIncomingCE = pIncoming;
        node.dist = distance;
        queue.emplace(distance, &node);
    };
    reach(*this, pCE, newDist);
    while (!queue.empty()) {
        const auto [distance, pNode] = queue.top();
        queue.pop();
        if (distance > pNode->dist) continue;  // a shorter way to it was found meanwhile
        if (sGoal.count(pNode->vcd) != 0) return pNode;
        const auto q_it = mVCD2InnerCEVec->find(pNode->vcd);
        if (q_it == mVCD2InnerCEVec->end()) continue;
        for (CEdge* pInnerCE : q_it->second) {
            const VCD other = pInnerCE->getOtherVCD(pNode->vcd);
            Dijkstra& node = mVCD2Dijkstra->try_emplace(other, other, mVCD2Dijkstra, mVCD2InnerCEVec).first->second;
            reach(node, pInnerCE, distance + weightOf(*pInnerCE, mPoints));
        }
    }
    return nullptr;
}

void Dijkstra::getBackPath(std::vector<CEdge*>& vPath) const {
    for (const Dijkstra* pNode = this; pNode->dist != 0.0;) {
        const Dijkstra& before = nodeBefore(*pNode);
        vPath.push_back(pNode->pIncomingCE);
        pNode = &before;
    }
}

void CPatch::findPartitioningPath(std::vector<CEdge*>& vPath, const std::map<VCD, Point3>& mPoints) const {
    ASSEX(this->isAlive());
    std::set<VCD> sEndVtx = openEndsOf(*this);
    if (sEndVtx.size() < 2) return;
    std::vector<CEdge*> vInnerCE;
    getGlobalDegNEdges(2, vInnerCE);
    InnerEdgeMap mVCD2InnerCEVec;
    for (CEdge* pCE : vInnerCE)
        for (const VCD vcd : {pCE->v0, pCE->v1})
            mVCD2InnerCEVec[vcd].push_back(pCE);

    while (sEndVtx.size() >= 2) {
        const VCD start = sEndVtx.extract(sEndVtx.begin()).value();
        DijkstraMap mVCD2Dijkstra;
        const auto itStart = mVCD2Dijkstra.try_emplace(start, start, &mVCD2Dijkstra, &mVCD2InnerCEVec).first;
        const Dijkstra* pNearest = itStart->second.updateToNearest(sEndVtx, nullptr, 0.0, mPoints);
        if (pNearest == nullptr) {
            warning(KEL_PLACE, "Condition [ sEndVtx.empty() failed ]");
            return;
        }
        pNearest->getBackPath(vPath);
        sEndVtx.erase(pNearest->vcd);
    }
}

}  // namespace TARN_KEL
