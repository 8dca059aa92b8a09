// Sheets and master components: their construction, the votes between sheets, and the steps of a field.
#include "Component.h"

#include <algorithm>
#include <iterator>

#include "connections.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

std::atomic<int> Component::seqNum{0};
std::atomic<int> Component::seqNumMaster{0};

namespace {

constexpr int MARGIN = 30;  // cells that the field may grow beyond those of the component

std::string nameOf(const char* kind, int number) {
    return globalPrefix() + kind + toString(number) + "_";
}

template <typename T>
void append(const std::vector<T>& vSource, std::vector<T>& vOut) {
    vOut.insert(vOut.end(), vSource.begin(), vSource.end());
}

}  // namespace

Component::Component(const VRCD& cells, const VRCD& border, const VRCDPoint& vRCDPoint, Calc* pGrid)
    : Sheet(vRCDPoint, pGrid), label(seqNum++), name(nameOf("comp_", label)), bOriented(false) {
    vCells = cells;
    vBorder = border;
    std::set_difference(vCells.begin(), vCells.end(), vBorder.begin(), vBorder.end(), std::back_inserter(vArea));
    stage1_createFacetCCs();
}

Component::Component(const std::vector<Component*>& vGroup, int growSteps, const VRCDPoint& vRCDPoint, Calc* pGrid)
    : Sheet(vRCDPoint, pGrid),
      numGrowSteps(growSteps),
      cornerStore(std::make_unique<CornerStore>(pGrid)),
      sideLen(static_cast<float>(pGrid->getSideLen())),
      halfSideLen(0.5F * sideLen),
      label(seqNumMaster++),
      name(nameOf("mstc_", label)),
      bOriented(true) {
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

// ---- Votes

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
    swapSides();
}

// ---- The field

bool Component::run(VRCDPoint& vOut) {
    ASSEX(numGrowSteps>0);
    defineBounds(MARGIN);
    const GrowthBox& box = *this;
    GapField field(*this, box);
    field.grow(numGrowSteps);
    cornerStore = std::move(field).takeCorners();
    getZeroRCD(vOut);
    return true;
}

CornerStore& Component::getStore() const {
    ASSEX(cornerStore!=NULL);
    return *cornerStore;
}

void Component::defineBounds(int margin) {
    static_cast<GrowthBox&>(*this) = boxAround(vCells, margin);
}

void Component::assignFirstDistances() {
    seedFromSheet(*this, getStore());
}

void Component::assignDistancesToSideStrip(std::vector<Facet*>& vStrip, double sign) {
    seedStrip(vStrip, sign, *pRCDPoint, getStore());
}

void Component::inflateCtrl2() {
    if (numGrowSteps > 0) growField(getStore(), *this, numGrowSteps);
}

bool Component::inflateOneStep2() {
    return growOneStep(getStore(), *this);
}

void Component::infl_createFront(std::vector<Corner*>& vOut) {
    append(createFront(getStore(), *this), vOut);
}

void Component::lowPass2(int numIter, bool bUseWeights) {
    smoothField(getStore(), numIter, bUseWeights);
}

void Component::getZeroRCD(VRCDPoint& vOut) {
    for (auto& [rcd, mean] : zerosOf(getStore(), *pCalc)) {
        if (std::binary_search(vCells.begin(), vCells.end(), rcd)) continue;
        pCalc->adaptPointToRCD(rcd, mean);
        vOut.emplace_back(rcd, mean);
    }
}

}  // namespace TARN_KEL
