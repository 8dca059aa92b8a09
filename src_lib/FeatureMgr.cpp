// Joins feature edges into chains: the straightest continuation at a vertex, and the growth of chains.
#include "FeatureMgr.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <functional>

#include "geometryFunctions.h"
#include "octree/Octree.h"
#include "radixSort.h"
#include "runs.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using Entry = FeatureEdgeMap::Entry;

constexpr double MAX_TURN = 60.0;  // degrees between an edge and the next one of its chain
constexpr double ABOVE_ANY_TURN = 361.0;

/// A border never continues a fold, nor the reverse.
bool isOtherKind(double angle, double otherAngle) {
    return (angle > ABOVE_ANY_FOLD && otherAngle < ABOVE_ANY_FOLD) ||
           (angle < ABOVE_ANY_FOLD && otherAngle > ABOVE_ANY_FOLD);
}

/// Away from the vertex under which the edge is entered.
Vector3 directionOf(const Entry& entry) {
    const auto& [pVtx, pFE] = entry;
    const Point3* pFar = pFE->pSrc == pVtx ? pFE->pTrg : pFE->pSrc;
    return normalize(*pFar - *pVtx);
}

/// Finds the best of the edges given to it, in their order.
struct Straightest {
    const FeatureEdge* pEdge;
    const Vector3& dir;
    FeatureEdge* pBest = nullptr;
    double bestTurn = ABOVE_ANY_TURN;

    void look(const Entry& entry) {
        FeatureEdge* pFE = entry.second;
        if (pFE == pEdge || isOtherKind(pFE->angle, pEdge->angle)) return;
        const double turn = getAngleDegree(dir, directionOf(entry));
        if (turn > MAX_TURN || !(turn < bestTurn)) return;
        bestTurn = turn;
        pBest = pFE;
    }
};

constexpr std::size_t MANY = 64;  // edges at a vertex; from there on it takes longer to look at all of them

struct ByVertex {
    bool operator()(const Entry& a, const Point3* p) const { return std::less<>()(a.first, p); }
    bool operator()(const Point3* p, const Entry& b) const { return std::less<>()(p, b.first); }
};

}  // namespace

// ---- Edges at a vertex --------------------------------------------------------------------------------------------------

/// The edges at a vertex with many, as points of the unit sphere: of two directions the one with the smaller turn is nearer.
///
/// Of edges of one direction only the first is entered. All of them turn equally, so none of the others is ever the best,
/// and a vertex in the middle of n edges along one line isn't searched n times through n edges.
class FeatureEdgeMap::Fan {
public:
    Fan(const Entry* pBegin, const Entry* pEnd) : pVtx(pBegin->first) {
        std::vector<std::pair<DirectionBits, const Entry*>> vBorders, vFolds;
        for (const Entry* pEntry = pBegin; pEntry != pEnd; ++pEntry) {
            const DirectionBits bits = bitsOf(directionOf(*pEntry));
            if (pEntry->second->angle >= ABOVE_ANY_FOLD) vBorders.emplace_back(bits, pEntry);
            if (pEntry->second->angle <= ABOVE_ANY_FOLD) vFolds.emplace_back(bits, pEntry);
        }
        enterFirstOfDirections(vBorders, borders);
        enterFirstOfDirections(vFolds, folds);
    }

    /// All edges at the vertex that may continue pEdge with the smallest turn, and perhaps others, in the order of the map.
    std::vector<const Entry*> nearest(const FeatureEdge* pEdge, const Vector3& dir) const {
        // pEdge itself points away and is farther than any that may.
        double chord = FAR;
        for (const TARN_OCTREE::Octree* pTree : treesFor(pEdge))
            chord = std::min(chord, pTree->getNearestDistance(dir.x(), dir.y(), dir.z()));
        std::vector<TARN_OCTREE::OctItem*> vItems;
        for (const TARN_OCTREE::Octree* pTree : treesFor(pEdge))
            if (chord < FAR) pTree->getSphereIntersectors(dir.x(), dir.y(), dir.z(), chord + NEAR, vItems);
        std::vector<const Entry*> vFound;
        vFound.reserve(vItems.size());
        for (const TARN_OCTREE::OctItem* pItem : vItems)
            vFound.push_back(static_cast<const Entry*>(pItem->pObject));
        std::sort(vFound.begin(), vFound.end());
        return vFound;
    }

    const Point3* pVtx;

private:
    // Chords. Turns are told apart down to the root of a double's precision only; what is nearer than that is looked at.
    static constexpr double NEAR = 1e-7;
    static constexpr double FAR = 1.0 + 2.0 * NEAR;  // above the chord of the largest turn

    using DirectionBits = std::array<std::uint64_t, 3>;  // to tell directions apart; their order means nothing

    static DirectionBits bitsOf(const Vector3& d) {
        return {std::bit_cast<std::uint64_t>(d.x()), std::bit_cast<std::uint64_t>(d.y()),
                std::bit_cast<std::uint64_t>(d.z())};
    }
    static void enterFirstOfDirections(std::vector<std::pair<DirectionBits, const Entry*>>& vEntries,
                                       TARN_OCTREE::Octree& tree) {
        std::sort(vEntries.begin(), vEntries.end());
        const auto isOneDirection = [](const auto& a, const auto& b) { return a.first == b.first; };
        vEntries.erase(std::unique(vEntries.begin(), vEntries.end(), isOneDirection), vEntries.end());
        for (const auto& [bits, pEntry] : vEntries) {
            const Vector3 d = directionOf(*pEntry);
            tree.addObject(const_cast<Entry*>(pEntry), d.x(), d.y(), d.z());
        }
        tree.finish();
    }

    std::vector<const TARN_OCTREE::Octree*> treesFor(const FeatureEdge* pEdge) const {
        if (pEdge->angle > ABOVE_ANY_FOLD) return {&borders};
        if (pEdge->angle < ABOVE_ANY_FOLD) return {&folds};
        return {&borders, &folds};
    }

    TARN_OCTREE::Octree borders, folds;  // what is neither one nor the other is in both
};

FeatureEdgeMap::FeatureEdgeMap(std::vector<FeatureEdge>& vEdges) {
    vEntry.reserve(2 * vEdges.size());
    for (FeatureEdge& edge : vEdges) {
        vEntry.emplace_back(edge.pSrc, &edge);
        vEntry.emplace_back(edge.pTrg, &edge);
    }
    radixSortOnThreads(
        vEntry.data(), vEntry.size(), [](const Entry& entry) { return reinterpret_cast<std::uintptr_t>(entry.first); },
        numProcessors());
    findFans();
}

FeatureEdgeMap::FeatureEdgeMap(const std::multimap<Point3*, FeatureEdge*>& mmEdges)
    : vEntry(mmEdges.begin(), mmEdges.end()) {
    findFans();
}

FeatureEdgeMap::~FeatureEdgeMap() = default;

void FeatureEdgeMap::findFans() {
    const auto vertexOf = [](const Entry& entry) { return entry.first; };
    forEachRun(vEntry.data(), vEntry.data() + vEntry.size(), vertexOf, [this](const Entry* first, const Entry* end) {
        if (static_cast<std::size_t>(end - first) > MANY) vFans.emplace_back(first, end);
    });
}

FeatureEdge* FeatureEdgeMap::straightestNext(const FeatureEdge* pEdge, const Point3* pJunction, const Vector3& dir) const {
    Straightest straightest{pEdge, dir};
    const auto [itBegin, itEnd] = std::equal_range(vEntry.begin(), vEntry.end(), pJunction, ByVertex());
    if (static_cast<std::size_t>(itEnd - itBegin) <= MANY) {
        for (auto it = itBegin; it != itEnd; ++it)
            straightest.look(*it);
    } else {
        const auto itFan = std::partition_point(vFans.begin(), vFans.end(),
                                                [&](const Fan& fan) { return std::less<>()(fan.pVtx, pJunction); });
        for (const Entry* pEntry : itFan->nearest(pEdge, dir))
            straightest.look(*pEntry);
    }
    return straightest.pBest;
}

// ---- One chain ----------------------------------------------------------------------------------------------------------

// The growth ends: except for the seed, which may be added once again, each added edge had no chain before.
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
    FeatureEdge* pNextFE = mEdges.straightestNext(pFE, q, normalize(*q - *pFE->pSrc));
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
    FeatureEdge* pPrevFE = mEdges.straightestNext(pFE, q, normalize(*q - *pFE->pTrg));
    if (pPrevFE == nullptr || pPrevFE->pChain != nullptr) return false;
    if (pPrevFE->pTrg != q) std::swap(pPrevFE->pSrc, pPrevFE->pTrg);
    ASSEX(pPrevFE->pTrg==q);
    lEdges.push_front(pPrevFE);
    pPrevFE->pChain = this;
    return pPrevFE->pSrc != lEdges.back()->pTrg;
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

}  // namespace TARN_KEL
