// The first values of the field of a master component: signed distances near the seam, where the sheet has a rim.
//
// Only there the value of a facet's corner is a distance; on the rest of the sheet it is 0:
//
//            + + + + +                          + + + + +      upper strip: distance to the nearest point
//      0 0 0 +-+-+-+-+ 0 <- seam     gap        +-+-+-+-+ 0 0
//            - - - - -                          - - - - -      lower strip: the same, negative
#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <iterator>

#include "CornerStore.h"
#include "GapField.h"
#include "Sheet.h"
#include "freeFunctions.h"
#include "runs.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int STRIP_LAYERS = 5;       // facets from the seam to the end of a strip
constexpr float SHEET_WEIGHT = 1.0F;  // of the values in the strips,
constexpr float RIM_WEIGHT = 0.3F;    // of those on rim cells, which are free,
constexpr float SEAM_WEIGHT = 0.5F;   // and of the zeros

template <typename Visit>
void forEachCorner(const Facet& facet, const Visit& visit) {
    EdgePair ends;
    for (int edge = 0; edge < 4; ++edge) {
        facet.fetchEdge(edge, ends);
        visit(ends.first);
    }
}

VRCC cornersOf(const std::vector<Facet*>& vFacets) {
    VRCC vRCC;
    vRCC.reserve(4 * vFacets.size());
    for (const Facet* pFacet : vFacets)
        forEachCorner(*pFacet, [&vRCC](RCC rcc) { vRCC.push_back(rcc); });
    oneInstanceOfNumbers(vRCC);
    return vRCC;
}

VRCC inBoth(const VRCC& a, const VRCC& b) {
    VRCC vOut;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(vOut));
    return vOut;
}

VRCC without(const VRCC& a, const VRCC& b) {
    VRCC vOut;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(vOut));
    return vOut;
}

void createCorners(CornerStore& store, const VRCC& vRCC, CornerState state, float val, float weight) {
    for (const RCC rcc : vRCC) {
        Corner* pCorner = store.createCorner(rcc);
        pCorner->state = static_cast<std::int8_t>(state);
        pCorner->val = val;
        pCorner->weight = weight;
    }
}

/// Frees the corners of rim cells in a strip: they will be smoothed.
void freeCorners(const CornerStore& store, const VRCC& vRCC, CornerState state) {
    for (const RCC rcc : vRCC) {
        Corner* pCorner = store.find(rcc);
        ASSEX(pCorner!=NULL);
        pCorner->state = static_cast<std::int8_t>(state);
        pCorner->val = FLT_MAX;
        pCorner->weight = RIM_WEIGHT;
    }
}

/// A corner of a strip with the distance of its nearest point.
float signedDistance(const Corner& corner, float distance, double sign) {
    switch (corner.state) {
    case ST_DUAL_NO_EMITTER:
        return 0.0F;
    case ST_LOWER_BORDER:
    case ST_UPPER_BORDER:
        // A free corner must have a sign, also where a point lies exactly on it.
        if (distance == 0) distance = FLT_MIN;
        [[fallthrough]];
    case ST_LOWER_STRIP:
    case ST_UPPER_STRIP:
    case ST_FACET_REST:
        return static_cast<float>(distance * sign);
    default:
        out() << "Bug, state=" << corner.getState() << std::endl;
        ASSEX(false);  // corners of strips have one of these states from their creation on
    }
    return FLT_MAX;
}

}  // namespace

void seedFromSheet(Sheet& sheet, CornerStore& store) {
    std::vector<Facet*> vAll, vLower, vUpper, vLowerStrip, vUpperStrip;
    for (Facet& facet : sheet.vVisibleFacets) {
        vAll.push_back(&facet);
        if (facet.color < 0) sheet.vOpenCells.push_back(facet.rcd);
        if (facet.color == 0) vLower.push_back(&facet);
        if (facet.color == 1) vUpper.push_back(&facet);
    }
    oneInstanceMT(sheet.vOpenCells);
    sheet.getBorderStrip(vLower, vLowerStrip, STRIP_LAYERS);
    sheet.getBorderStrip(vUpper, vUpperStrip, STRIP_LAYERS);

    const VRCC vInLower = cornersOf(vLowerStrip), vInUpper = cornersOf(vUpperStrip);
    const VRCC vLowerOnly = without(vInLower, vInUpper), vUpperOnly = without(vInUpper, vInLower);
    createCorners(store, inBoth(vInLower, vInUpper), ST_DUAL_NO_EMITTER, 0.0F, SEAM_WEIGHT);
    createCorners(store, vLowerOnly, ST_LOWER_STRIP, FLT_MAX, SHEET_WEIGHT);
    createCorners(store, vUpperOnly, ST_UPPER_STRIP, FLT_MAX, SHEET_WEIGHT);
    createCorners(store, without(without(cornersOf(vAll), vInLower), vInUpper), ST_FACET_REST, 0.0F, SEAM_WEIGHT);

    VRCC vOfRim;
    getRCC8(sheet.vBorder, true, vOfRim);
    freeCorners(store, inBoth(vOfRim, vLowerOnly), ST_LOWER_BORDER);
    freeCorners(store, inBoth(vOfRim, vUpperOnly), ST_UPPER_BORDER);
    seedStrip(vLowerStrip, -1.0, *sheet.pRCDPoint, store);
    seedStrip(vUpperStrip, 1.0, *sheet.pRCDPoint, store);
}

void seedStrip(const std::vector<Facet*>& vStrip, double sign, const std::vector<std::pair<RCD, Point3>>& vRemainingRCDPoint,
               CornerStore& store) {
    std::vector<std::pair<RCC, float>> vDistances;
    vDistances.reserve(4 * vStrip.size());
    for (const Facet* pFacet : vStrip) {
        const auto q_it = findFirstFrom(vRemainingRCDPoint.begin(), vRemainingRCDPoint.end(), pFacet->rcd);
        ASSEX(q_it!=vRemainingRCDPoint.end());
        ASSEX(q_it->first==pFacet->rcd);
        forEachCorner(*pFacet, [&](RCC rcc) {
            vDistances.emplace_back(rcc, static_cast<float>((store.getPosition(rcc) - q_it->second).length()));
        });
    }
    sortByFirstMT(vDistances);
    const auto cornerOf = [](const auto& distance) { return distance.first; };
    forEachRun(vDistances.cbegin(), vDistances.cend(), cornerOf, [&](auto first, auto last) {
        const auto nearer = [](const auto& a, const auto& b) { return a.second < b.second; };
        const float nearest = std::min_element(first, last, nearer)->second;
        Corner* pCorner = store.find(first->first);
        ASSEX(pCorner!=NULL);
        ASSEX(pCorner->val==FLT_MAX || pCorner->getState()==ST_DUAL_NO_EMITTER || pCorner->getState()==ST_LOWER_BORDER || pCorner->getState()==ST_UPPER_BORDER);
        pCorner->val = signedDistance(*pCorner, nearest, sign);
    });
}

}  // namespace TARN_KEL
