// The mean of a corner is
//
//     sum of weight * val  /  sum of weights        over itself and its neighbours
//
// Each corner counts in up to seven means, so its product is computed once per round and stored beside the weight in a term
// of eight bytes: a round reads a neighbour by one load. Two arrays of terms change roles after each round. The fixed
// corners, far more than the free ones, are in both and are never visited.
#include "CornerLowPass.h"

#include <algorithm>
#include <cfloat>
#include <utility>

#include "tools.h"

namespace TARN_KEL {

CornerLowPass::CornerLowPass(const std::vector<Corner*>& vCorners, float halfSide, bool bWeights)
    : corners(vCorners), halfSideLen(halfSide), bUseWeights(bWeights) {
    vTerm.resize(corners.size() + 1);
    for (std::size_t idx = 0; idx < corners.size(); ++idx) {
        const Corner& corner = *corners[idx];
        vTerm[idx] = makeTerm(corner);
        if (!corner.isFree()) continue;
        vFree.push_back(makeNeigStruct(static_cast<std::uint32_t>(idx)));
        vVal.push_back(corner.val);
    }
    vNextTerm = vTerm;
}

CornerLowPass::Term CornerLowPass::makeTerm(const Corner& corner) const {
    return bUseWeights ? Term{corner.val * corner.weight, corner.weight} : Term{corner.val, 1.0F};
}

// Tested once here; the rounds preserve it.
CornerLowPass::NeigStruct CornerLowPass::makeNeigStruct(std::uint32_t idx) const {
    const Corner* pReceivingCorner = corners[idx];
    const float ownVal = pReceivingCorner->val, ownWeight = pReceivingCorner->weight;
    ASSEX(ownVal!=FLT_MAX && ownWeight!=FLT_MAX);
    if (pReceivingCorner->state == ST_LOWER_BORDER) ASSEX(pReceivingCorner->val<0 || pReceivingCorner->val==FLT_MAX);
    if (pReceivingCorner->state == ST_UPPER_BORDER) ASSEX(pReceivingCorner->val>0);
    NeigStruct result{idx, {}, 1, pReceivingCorner->state};
    result.neigs.fill(static_cast<std::uint32_t>(corners.size()));
    for (std::size_t slot = 0; slot < result.neigs.size() && pReceivingCorner->neigs[slot] != Corner::NO_NEIG; ++slot) {
        result.neigs[slot] = static_cast<std::uint32_t>(pReceivingCorner->neigs[slot]);
        ++result.numTerms;
        const float neigVal = corners[result.neigs[slot]]->val;
        ASSEX(neigVal!=FLT_MAX);
    }
    return result;
}

inline void CornerLowPass::settle(std::size_t i, const FieldValue& mean) {
    const NeigStruct& corner = vFree[i];
    const float newVal = corner.state == ST_INFLATED ? mean.val : keepSide(corner.state, mean.val), newWeight = mean.weight;
    vVal[i] = newVal;
    vNextTerm[corner.own] = bUseWeights ? Term{newVal * newWeight, newWeight} : Term{newVal, newWeight};
}

void CornerLowPass::runRound() {
    smoothRound(*this);
}

/// The new value of a border corner, with the sign of its side.
float CornerLowPass::keepSide(int state, float newVal) const {
    if (state == ST_LOWER_BORDER) {
        newVal = std::max(-halfSideLen, newVal);
        return newVal >= 0 ? -FLT_MIN : newVal;
    }
    newVal = std::min(halfSideLen, newVal);
    return newVal <= 0 ? FLT_MIN : newVal;
}

void CornerLowPass::store() const {
    for (std::size_t i = 0; i < vFree.size(); ++i) {
        Corner& corner = *corners[vFree[i].own];
        corner.val = vVal[i];
        corner.weight = vTerm[vFree[i].own].weight;
    }
}

}  // namespace TARN_KEL
