// Sheets and master components: what they are made of, and the votes between sheets.
#include "Component.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "CornerStore.h"
#include "NeighbourBlock.h"
#include "connections.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

std::atomic<int> Component::seqNum{0};
std::atomic<int> Component::seqNumMaster{0};

namespace {

constexpr int INT_LARGEST = std::numeric_limits<int>::max();

template <typename T>
void append(const std::vector<T>& vSource, std::vector<T>& vOut) {
    vOut.insert(vOut.end(), vSource.begin(), vSource.end());
}

}  // namespace

Component::Component(const VRCD& cells, const VRCD& border, const VRCDPoint& vRCDPoint, Calc* pGrid)
    : Component("comp_", seqNum++, 0, vRCDPoint, pGrid) {
    vCells = cells;
    vBorder = border;
    std::set_difference(vCells.begin(), vCells.end(), vBorder.begin(), vBorder.end(), std::back_inserter(vArea));
    stage1_createFacetCCs();
}

Component::Component(const std::vector<Component*>& vGroup, int growSteps, const VRCDPoint& vRCDPoint, Calc* pGrid)
    : Component("mstc_", seqNumMaster++, growSteps, vRCDPoint, pGrid) {
    cornerStore = std::make_unique<CornerStore>(pGrid);
    sideLen = static_cast<float>(pCalc->getSideLen());
    halfSideLen = 0.5F * sideLen;
    bOriented = true;
    for (const Component* pSheet : vGroup) {
        append(pSheet->vCells, vCells);
        append(pSheet->vBorder, vBorder);
        append(pSheet->vArea, vArea);
        append(pSheet->vVisibleFacets, vVisibleFacets);
    }
    for (VRCD* pvRCD : {&vCells, &vBorder, &vArea})
        oneInstanceMT(*pvRCD);
    oneInstanceMT(vVisibleFacets);
}

Component::Component(const char* kind, int number, int growSteps, const VRCDPoint& vRCDPoint, Calc* pGrid)
    : numGrowSteps(growSteps),
      minX(INT_LARGEST),
      minY(INT_LARGEST),
      minZ(INT_LARGEST),
      maxX(0),
      maxY(0),
      maxZ(0),
      label(number),
      name(globalPrefix() + kind + toString(number) + "_"),
      pRCDPoint(&vRCDPoint),
      pCalc(pGrid),
      bOriented(false) {}

Component::~Component() = default;

double Component::getScore() const {
    double score = 0.0;
    for (const ConnectionStruct* pConnection : vConnectionStructs)
        score += pConnection->score;
    return score;
}

void Component::getRelatedComponents(std::vector<Component*>& vOut) const {
    for (const ConnectionStruct* pConnection : vConnectionStructs)
        vOut.push_back(pConnection->pComponent0 == this ? pConnection->pComponent1 : pConnection->pComponent0);
}

void Component::flip() {
    oneInstance(vConnectionStructs);
    for (ConnectionStruct* pConnection : vConnectionStructs)
        pConnection->score = -pConnection->score;
    for (Facet& facet : vVisibleFacets)
        if (facet.color == 0 || facet.color == 1) facet.color = 1 - facet.color;
}

void Component::getOrientationCount(RCD rcd, int* a0, int* a1) const {
    std::fill_n(a0, 6, 0);
    std::fill_n(a1, 6, 0);
    RCD block[NeighbourBlock::NUM_POSITIONS];
    pCalc->completeArray27_RCD(rcd, block);
    // Three cells in a row along z have codes, and so facets, one behind the other.
    for (std::size_t column = 0; column < 9; ++column) {
        auto it = std::lower_bound(vVisibleFacets.begin(), vVisibleFacets.end(), Facet(block[column], 0, -1, -1));
        for (; it != vVisibleFacets.end() && it->rcd <= block[column + 18]; ++it) {
            if (it->color == 0)
                ++a0[it->idx];
            else if (it->color == 1)
                ++a1[it->idx];
            else if (it->color != -1)
                ASSEX(false);  // a sheet that is coloured has no other colours
        }
    }
}

const FacetLinks& Component::getLinks() const {
    if (links.size() != vVisibleFacets.size()) links = FacetLinks(vCells, vVisibleFacets);
    return links;
}

std::size_t Component::positionOf(const Facet* pFacet) const {
    return static_cast<std::size_t>(pFacet - vVisibleFacets.data());
}

}  // namespace TARN_KEL
