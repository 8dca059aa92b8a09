#include "FeatureMgr.h"

#include <algorithm>
#include <cstdint>

#include "Segment3.h"
#include "Visualizer3.h"
#include "freeFunctions.h"
#include "radixSort.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

const double MAX_TURN = 60.0;  // degrees between an edge and the next one of its chain
const double ABOVE_ANY_TURN = 361.0;
const double ABOVE_ANY_FOLD = 360.0;  // angles above it mark borders

/// A border never continues a fold, nor the reverse.
bool isOtherKind(double angle, double otherAngle) {
    return (angle > ABOVE_ANY_FOLD && otherAngle < ABOVE_ANY_FOLD) ||
           (angle < ABOVE_ANY_FOLD && otherAngle > ABOVE_ANY_FOLD);
}

/// The edge at pJunction that continues pEdge, which arrives there in direction dir, with the smallest turn; of equals the
/// first. Null when none may.
FeatureEdge* straightestNext(const FeatureEdge* pEdge, const Point3* pJunction, const Vector3& dir,
                             const FeatureEdgeMap& mEdges) {
    FeatureEdge* pBest = nullptr;
    double bestTurn = ABOVE_ANY_TURN;
    for (const auto& [pVtx, pFE] : mEdges.at(pJunction)) {
        if (pFE == pEdge || isOtherKind(pFE->angle, pEdge->angle)) continue;
        const Point3* pFar = pFE->pSrc == pJunction ? pFE->pTrg : pFE->pSrc;
        const double turn = getAngleDegree(dir, normalize(*pFar - *pJunction));
        if (turn > MAX_TURN || !(turn < bestTurn)) continue;
        bestTurn = turn;
        pBest = pFE;
    }
    return pBest;
}

}  // namespace

FeatureEdgeMap::FeatureEdgeMap(std::vector<FeatureEdge>& vEdges) {
    vEntry.reserve(2 * vEdges.size());
    for (FeatureEdge& edge : vEdges) {
        vEntry.emplace_back(edge.pSrc, &edge);
        vEntry.emplace_back(edge.pTrg, &edge);
    }
    radixSortOnThreads(
        vEntry.data(), vEntry.size(), [](const Entry& entry) { return reinterpret_cast<std::uintptr_t>(entry.first); },
        numProcessors());
}

FeatureEdgeMap::Range FeatureEdgeMap::at(const Point3* pVtx) const {
    struct ByVertex {
        bool operator()(const Entry& a, const Point3* p) const { return std::less<>()(a.first, p); }
        bool operator()(const Point3* p, const Entry& b) const { return std::less<>()(p, b.first); }
    };
    const auto [itBegin, itEnd] = std::equal_range(vEntry.begin(), vEntry.end(), pVtx, ByVertex());
    return {vEntry.data() + (itBegin - vEntry.begin()), vEntry.data() + (itEnd - vEntry.begin())};
}

// ---- One chain ----------------------------------------------------------------------------------------------------------

// It ends: but for the seed, which is met once more at most, each edge that is added had no chain before.
FeatureChain::FeatureChain(FeatureEdge* pSeed, const FeatureEdgeMap& mEdges) : lEdges{pSeed} {
    while (growBack(mEdges)) {
    }
    while (growFront(mEdges)) {
    }
    double sum = 0.0;
    for (const FeatureEdge* pFE : lEdges)
        sum += pFE->angle;
    angle = sum / static_cast<double>(lEdges.size());
}

bool FeatureChain::growBack(const FeatureEdgeMap& mEdges) {
    const FeatureEdge* pFE = lEdges.back();
    Point3* q = pFE->pTrg;
    FeatureEdge* pNextFE = straightestNext(pFE, q, normalize(*q - *pFE->pSrc), mEdges);
    if (pNextFE == nullptr || pNextFE->pChain != nullptr) return false;
    if (pNextFE->pSrc != q) std::swap(pNextFE->pSrc, pNextFE->pTrg);
    ASSEX(pNextFE->pSrc==q);
    lEdges.push_back(pNextFE);
    pNextFE->pChain = this;
    return pNextFE->pTrg != lEdges.front()->pSrc;
}

bool FeatureChain::growFront(const FeatureEdgeMap& mEdges) {
    const FeatureEdge* pFE = lEdges.front();
    Point3* q = pFE->pSrc;
    FeatureEdge* pPrevFE = straightestNext(pFE, q, normalize(*q - *pFE->pTrg), mEdges);
    if (pPrevFE == nullptr || pPrevFE->pChain != nullptr) return false;
    if (pPrevFE->pTrg != q) std::swap(pPrevFE->pSrc, pPrevFE->pTrg);
    ASSEX(pPrevFE->pTrg==q);
    lEdges.push_front(pPrevFE);
    pPrevFE->pChain = this;
    return pPrevFE->pSrc != lEdges.back()->pTrg;
}

void FeatureChain::show(Visualizer3* pVisualizer, const std::string& color) const {
    ASSEX(pVisualizer!=NULL);
    std::vector<Segment3> vSegments;
    for (const FeatureEdge* pFE : lEdges)
        vSegments.emplace_back(*pFE->pSrc, *pFE->pTrg);
    pVisualizer->writeSegments(vSegments, color, true);
}

// ---- All chains ---------------------------------------------------------------------------------------------------------

FeatureMgr::FeatureMgr(std::vector<AngleEdge>& vAngleEdges) {
    vEdges.reserve(vAngleEdges.size());
    for (const auto& [angle, ends] : vAngleEdges)
        vEdges.push_back({ends.first, ends.second, nullptr, angle});
    const FeatureEdgeMap mEdges(vEdges);
    for (auto it = vEdges.rbegin(); it != vEdges.rend(); ++it)
        if (it->pChain == nullptr) dChains.emplace_back(&*it, mEdges);
}

void FeatureMgr::getOrderedPairs(std::vector<AngleEdge>& vOut) const {
    std::vector<std::pair<double, const FeatureChain*>> vAngleChain;
    vAngleChain.reserve(dChains.size());
    for (const FeatureChain& chain : dChains)
        vAngleChain.emplace_back(chain.getAngle(), &chain);
    radixSortByCode(vAngleChain);
    for (const auto& [angle, pChain] : vAngleChain)
        for (const FeatureEdge* pFE : pChain->getEdges())
            vOut.emplace_back(pFE->angle, std::make_pair(pFE->pSrc, pFE->pTrg));
}

void FeatureMgr::show(Visualizer3* pVisualizer) const {
    for (const FeatureChain& chain : dChains)
        chain.show(pVisualizer, Visualizer3::getNextColor());
}

}  // namespace TARN_KEL
