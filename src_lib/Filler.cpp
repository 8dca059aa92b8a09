// From cells to sheets, from sheets to master components.
//
// Each sheet guesses by itself which of its sides is the upper one. Where the rims of two sheets face each other, the
// surface continues across the gap, so facets that face the same way near both rim cells should have the same colour:
//
//         1 1 1 1 1       0 0 0 0         a vote against these two colourings: the sum over the six sides of
//        [ ][ ][a]   gap  [b][ ][ ]       min(A0, B0) + min(A1, B1) - min(A0, B1) - min(A1, B0) is negative
//         0 0 0 0 0       1 1 1 1
//
// Flipping a sheet negates its votes. The sheets are oriented greedily, the one with the clearest sum of votes first; then
// its neighbours, as far as their votes are clear.
#include "Filler.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <set>

#include "CornerStore.h"
#include "PartnerSearch.h"
#include "flood.h"
#include "freeFunctions.h"
#include "lazyQueue.h"
#include "singlePrecision.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int MAX_PARTNER_DIST = 150;  // cells
constexpr int FIRST_RADIUS = 10;       // cells; the search for a partner looks within 10, 15, 20 and so on
constexpr int RADIUS_STEP = 5;
constexpr double SMALL_SHEET_REACH = 5.0;  // cell edges
constexpr double DETOUR = 3.0;             // cells by which a connection may be longer than the shortest one of its ends
constexpr double FULL_WEIGHT = 100.0;      // of a vote over no distance
constexpr double MIN_WEIGHT = 0.1;

double getLength(const Filler::AffiPair& pr) {
    return std::sqrt(static_cast<double>(PartnerSearch::getSqDist(*pr.first, *pr.second)));
}

/// The largest radius that is looked at for partners nearer than maxDist; 0 for none.
int getLastRadius(int maxDist) {
    if (maxDist <= FIRST_RADIUS) return 0;
    return FIRST_RADIUS + (maxDist - FIRST_RADIUS - 1) / RADIUS_STEP * RADIUS_STEP;
}

/// The vote of a pair without its weight: positive when facets of one colour face the same way on both sides.
int countAgreement(const AffiData& a, const AffiData& b) {
    int a0[6], a1[6], b0[6], b1[6];
    a.pComponent->getOrientationCount(a.rcd, a0, a1);
    b.pComponent->getOrientationCount(b.rcd, b0, b1);
    int sum = 0;
    for (int idx = 0; idx < 6; ++idx)
        sum += std::min(a0[idx], b0[idx]) + std::min(a1[idx], b1[idx]) - std::min(a0[idx], b1[idx]) -
               std::min(a1[idx], b0[idx]);
    return sum;
}

/// The scores of sheets, sums over their votes: over all, or over those of oriented neighbours alone once there is one.
/// Thousands of tiny sheets may need the score of the sheet that they lie around, so it isn't summed again for each.
class SheetScores {
public:
    explicit SheetScores(bool bByOrientedOnly) : bByOriented(bByOrientedOnly) {}

    double of(const Component* pComp) {
        if (const auto it = mOfOriented.find(pComp); it != mOfOriented.end()) return it->second;
        const auto [it, bNew] = mOfAll.emplace(pComp, 0.0);
        if (bNew) it->second = pComp->getScore();
        return it->second;
    }
    /// To be called when pComp has got its orientation, flipped or as it was. Nothing changes it afterwards, so its votes
    /// are final.
    void noteOriented(const Component* pComp, bool bFlipped) {
        for (const ConnectionStruct* pConnection : pComp->vConnectionStructs)
            for (const Component* pEnd : {pConnection->pComponent0, pConnection->pComponent1}) {
                if (bFlipped && pConnection->score != 0.0) mOfAll.erase(pEnd);
                if (bByOriented && pEnd != pComp) mOfOriented[pEnd] += pConnection->score;
            }
    }

private:
    bool bByOriented;
    std::map<const Component*, double> mOfAll;       // until a vote changes; never iterated over
    std::map<const Component*, double> mOfOriented;  // of sheets with an oriented neighbour, where only those count
};

/// All sheets that votes connect with the first one, directly or through others. They are inserted into sVisited.
std::vector<Component*> collectGroup(Component* pFirst, std::set<Component*>& sVisited) {
    std::vector<Component*> vGroup, vRelated, vStack{pFirst};
    sVisited.insert(pFirst);
    const auto forEachRelated = [&](Component* pComp, const auto& offer) {
        vGroup.push_back(pComp);
        vRelated.clear();
        pComp->getRelatedComponents(vRelated);
        std::for_each(vRelated.begin(), vRelated.end(), offer);
    };
    flood(vStack, forEachRelated, [&sVisited](Component* pComp) { return sVisited.insert(pComp).second; });
    return vGroup;
}

}  // namespace

Filler::Filler(int growSteps, VRCD& vBorderRCD, VRCD& vAreaRCD, const VRCDPoint& vRCDPoint, Calc* pGrid)
    : numGrowSteps(growSteps),
      vGlobalBorderRCD(vBorderRCD),
      vGlobalAreaRCD(vAreaRCD),
      vGlobalRCDPoint(vRCDPoint),
      pCalc(pGrid),
      pOctree(std::make_unique<TARN_OCTREE::Octree>()) {
    oneInstanceMT(vGlobalAreaRCD);
    oneInstanceMT(vGlobalBorderRCD);
    if (vGlobalAreaRCD.size() + vGlobalBorderRCD.size() != vGlobalRCDPoint.size())
        out() << "vGlobalAreaRCD.size()=" << vGlobalAreaRCD.size() << "\nvGlobalBorderRCD.size()=" << vGlobalBorderRCD.size()
              << "\nvGlobalRCDPoint.size()=" << vGlobalRCDPoint.size() << std::endl;
    ASSEX(vGlobalAreaRCD.size()+vGlobalBorderRCD.size()==vGlobalRCDPoint.size());
    componentPool.init(100, -1);
    affiPool.init(100, -1);
    connectionPool.init(100, -1);
}

Filler::~Filler() {
    std::for_each(vMasterComponents.begin(), vMasterComponents.end(), std::destroy_at<Component>);
    std::for_each(vComponents.begin(), vComponents.end(), std::destroy_at<Component>);
}

void Filler::run(VRCDPoint& vOut) {
    std::vector<AffiPair> vPairs;
    createComponents();                              // sheets with two coloured sides
    determineAffiliation(MAX_PARTNER_DIST, vPairs);  // which rim cells face each other
    orient(vPairs);                                  // equal colours on the same side
    createMasterComponents();
    const auto isThere = [this](const std::pair<RCD, Point3>& cell) {
        return findCell(vGlobalRCDPoint.begin(), vGlobalRCDPoint.end(), cell.first) != vGlobalRCDPoint.end();
    };
    for (Component* pMaster : vMasterComponents) {
        VRCDPoint vProposed;
        pMaster->run(vProposed);
        pMaster->cornerStore.reset();  // the field has done its work, and is large
        std::remove_copy_if(vProposed.begin(), vProposed.end(), std::back_inserter(vOut), isThere);
    }
    oneInstanceFirstComponent(vOut);
}

void Filler::createComponents() {
    VRCD vAll;
    std::merge(vGlobalAreaRCD.begin(), vGlobalAreaRCD.end(), vGlobalBorderRCD.begin(), vGlobalBorderRCD.end(),
               std::back_inserter(vAll));
    std::vector<VRCD> vCCs;
    createCC_RCD(vAll, vCCs);
    for (const VRCD& vCells : vCCs)
        createSheet(vCells);
    pOctree->finish();
}

void Filler::createSheet(const VRCD& vCells) {
    VRCD vBorder;
    std::copy_if(vCells.begin(), vCells.end(), std::back_inserter(vBorder),
                 [this](RCD rcd) { return std::binary_search(vGlobalBorderRCD.begin(), vGlobalBorderRCD.end(), rcd); });
    Component* pSheet = std::construct_at(componentPool.nextElement(), vCells, vBorder, vGlobalRCDPoint, pCalc);
    vComponents.push_back(pSheet);
    for (const RCD rcd : vBorder) {
        AffiData* pAffi = std::construct_at(affiPool.nextElement(), AffiData{rcd, pSheet});
        vAffi.push_back(pAffi);
        pOctree->addObject(pAffi, static_cast<double>(getX_RCD(rcd)), static_cast<double>(getY_RCD(rcd)),
                           static_cast<double>(getZ_RCD(rcd)));
    }
}

void Filler::determineAffiliation(int maxDist, std::vector<AffiPair>& vPairs) {
    const int maxRadius = getLastRadius(maxDist);
    if (maxRadius == 0 || vComponents.size() < 2) return;
    const PartnerSearch search(*pOctree, SMALL_SHEET_REACH * pCalc->getSideLen());
    std::vector<AffiPair> vNoted;
    for (AffiData* pA : vAffi) {
        AffiData* pB = search.find(*pA, maxRadius);
        if (pB == nullptr) continue;
        vNoted.emplace_back(std::minmax(pA, pB));
        const auto dist = static_cast<float>(getLength(vNoted.back()));
        pA->dist = std::min(pA->dist, dist);
        pB->dist = std::min(pB->dist, dist);
    }
    for (const AffiPair& pr : vNoted) {
        ASSEX(pr.first<pr.second);
        const double excess = inSinglePrecision(getLength(pr)) - DETOUR;
        if (excess < pr.first->dist && excess < pr.second->dist) vPairs.push_back(pr);
    }
}

void Filler::orient(std::vector<AffiPair>& vPairs) {
    castVotes(vPairs);
    orientSheets();
}

void Filler::castVotes(const std::vector<AffiPair>& vPairs) {
    std::map<std::pair<Component*, Component*>, ConnectionStruct*> mConnection;
    for (const AffiPair& pr : vPairs) {
        const auto [pComponent0, pComponent1] = std::minmax(pr.first->pComponent, pr.second->pComponent);
        ASSEX(pComponent0<pComponent1);
        ConnectionStruct*& pConnection = mConnection[{pComponent0, pComponent1}];
        if (pConnection == nullptr) {
            pConnection = std::construct_at(connectionPool.nextElement(), ConnectionStruct{pComponent0, pComponent1});
            pComponent0->registerConnectionStruct(pConnection);
            pComponent1->registerConnectionStruct(pConnection);
        }
        const double weight = std::max(FULL_WEIGHT - getLength(pr), MIN_WEIGHT);
        pConnection->score += weight * static_cast<float>(countAgreement(*pr.first, *pr.second));
    }
}

void Filler::orientSheets() {
    SheetScores scores(bByOriented);
    std::multimap<double, Component*, std::greater<>> mmQueue;
    for (Component* pComp : vComponents)
        mmQueue.emplace(std::fabs(scores.of(pComp)), pComp);
    std::vector<Component*> vRelated;
    const auto judge = [&scores](const Component* pComp) {
        return pComp->isOriented() ? std::nullopt : std::optional(std::fabs(scores.of(pComp)));
    };
    runLazily(mmQueue, judge, [&](Component* pComp, double) {
        const bool bFlip = !(scores.of(pComp) > 0.0);
        if (bFlip) pComp->flip();
        pComp->setOriented();
        scores.noteOriented(pComp, bFlip);
        vRelated.clear();
        pComp->getRelatedComponents(vRelated);
        for (Component* pRelated : vRelated)
            if (!pRelated->isOriented()) mmQueue.emplace(scores.of(pRelated), pRelated);
    });
    for (const Component* pComp : vComponents)
        ASSEX(pComp->isOriented());
}

void Filler::createMasterComponents() {
    std::set<Component*> sVisited;
    for (Component* pComp : vComponents) {
        if (sVisited.count(pComp) != 0) continue;
        const std::vector<Component*> vGroup = collectGroup(pComp, sVisited);
        vMasterComponents.push_back(
            std::construct_at(componentPool.nextElement(), vGroup, numGrowSteps, vGlobalRCDPoint, pCalc));
    }
}

}  // namespace TARN_KEL
