// The signed field of a master component, and the gaps that its zero crossings close.
//
// Every lattice corner of a facet gets a first value. Only near the seam, where the sheet has a rim, is it a distance; the
// rest of the sheet is 0 and stays out of it:
//
//            + + + + +                          + + + + +      upper strip: distance to the nearest point
//      0 0 0 +-+-+-+-+ 0 <- seam     gap        +-+-+-+-+ 0 0
//            - - - - -                          - - - - -      lower strip: the same, negative
//
// The strips emit. A step adds the free neighbours of all corners that are near zero, each a cell farther off than its
// nearest neighbour, so the field spreads along the surface and not away from it. Where a new corner sees both signs the two
// sides have met, and it takes the mean of what it sees. After each step the free values are smoothed; the strips are pinned
// and the field between them relaxes towards the surface that would span the gap. In the end the four cells round every
// lattice edge with a change of sign are proposed, with the mean of their crossings as their point.
//
// All values are in single precision, in the cloud's unit.
#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <iterator>

#include "Component.h"
#include "CornerLowPass.h"
#include "CornerStore.h"
#include "freeFunctions.h"
#include "signedField.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using VRCDPoint = Component::VRCDPoint;

constexpr int MARGIN = 30;                  // cells that the field may grow beyond those of the component
constexpr int STRIP_LAYERS = 5;             // facets from the seam to the end of a strip
constexpr int MIN_STEPS = 7;                // grown without asking whether the sides still meet
constexpr int LOW_PASS_ROUNDS = 20;         // after each step
constexpr float FRONT_CELLS = 4.0F;         // a corner with a greater distance doesn't grow
constexpr float SHEET_WEIGHT = 1.0F;        // of the values in the strips,
constexpr float RIM_WEIGHT = 0.3F;          // of those on rim cells, which are free,
constexpr float SEAM_WEIGHT = 0.5F;         // and of the zeros
constexpr float ZERO_STAND_IN = 0.0001F;    // for corners of value 0 in the search for crossings: they count as upper
constexpr std::size_t MIN_PARALLEL = 5000;  // corners

/// A value that a step gives to a new corner.
struct GrownValue {
    float val = FLT_MAX;
    float weight = FLT_MAX;
    bool bConflict = false;  // the corner sees both signs
};

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

/// The weighted mean of what a new corner sees.
GrownValue meanOfNeigs(const Corner& corner, const std::vector<Corner*>& corners) {
    float sumV = 0.0F, sumWeight = 0.0F;
    int numNeigs = 0;
    for (const std::int32_t neig : corner.neigs) {
        if (neig == Corner::NO_NEIG) break;
        ++numNeigs;
        const Corner& n = *corners[static_cast<std::size_t>(neig)];
        if (n.val == FLT_MAX) continue;
        sumV += n.val * n.weight;
        sumWeight += n.weight;
    }
    if (sumV == 0) sumV = FLT_MIN;
    ASSEX(sumWeight>0);
    return {sumV / sumWeight, sumWeight / static_cast<float>(numNeigs), true};
}

/// The value of a new corner, from its neighbours that have one.
GrownValue growOne(const Corner& corner, const std::vector<Corner*>& corners, float sideLen) {
    float assignVal = FLT_MAX, assignWeight = FLT_MAX, minAbs = FLT_MAX;
    bool bConflict = false;
    for (const std::int32_t neig : corner.neigs) {
        if (neig == Corner::NO_NEIG) break;
        const Corner& n = *corners[static_cast<std::size_t>(neig)];
        if (n.val == FLT_MAX) continue;
        if (assignVal != FLT_MAX && haveOppositeSigns(assignVal, n.val)) bConflict = true;
        const float distance = std::fabs(n.val);
        if (minAbs > distance && distance > 0) {
            assignVal = n.val;
            assignWeight = n.weight;
            minAbs = distance;
        }
    }
    if (bConflict) return meanOfNeigs(corner, corners);
    ASSEX(assignVal!=FLT_MAX);
    ASSEX(assignWeight!=FLT_MAX);
    ASSEX(assignVal!=0);
    return {assignVal > 0 ? assignVal + sideLen : assignVal - sideLen, assignWeight, false};
}

/// Appends the cells round each lattice edge with a change of sign, each with the zero of that edge; each edge twice, once
/// from either end.
void findCrossings(CornerStore& store, const Calc& calc, VRCDPoint& vOut) {
    std::vector<Corner*> vNeigs;
    VRCD vAround;
    for (Corner* pSource : store.getCornersRef()) {
        if (pSource->state > ST_INFLATED) continue;
        vNeigs.clear();
        store.getNeigs(pSource, vNeigs);
        for (const Corner* pTarget : vNeigs) {
            if (pTarget->state > ST_INFLATED) continue;
            const float srcVal = pSource->val, trgVal = pTarget->val;
            ASSEX(srcVal!=0 && trgVal!=0);
            if ((srcVal > 0) == (trgVal > 0)) continue;
            ASSEX((srcVal<0 && trgVal>0) || (srcVal>0 && trgVal<0));
            const Point3 zero = zeroBetween(store.getPosition(pSource->rcc), std::fabs(srcVal),
                                            store.getPosition(pTarget->rcc), std::fabs(trgVal));
            vAround.clear();
            calc.getCbsAroundEdge(pSource->rcc, pTarget->rcc, vAround);
            for (const RCD rcd : vAround)
                vOut.emplace_back(rcd, zero);
        }
    }
}

Point3 meanPoint(VRCDPoint::const_iterator it, VRCDPoint::const_iterator itEnd) {
    Vector3 sum;
    const auto num = static_cast<double>(itEnd - it);
    for (; it != itEnd; ++it)
        sum += it->second - Point3();
    return Point3() + sum / num;
}

}  // namespace

bool Component::run(VRCDPoint& vOut) {
    ASSEX(numGrowSteps>0);
    defineBounds(MARGIN);
    assignFirstDistances();
    inflateCtrl2();
    getZeroRCD(vOut);
    return true;
}

void Component::defineBounds(int margin) {
    for (const RCD rcd : vCells) {
        const auto x = static_cast<int>(getX_RCD(rcd)), y = static_cast<int>(getY_RCD(rcd)),
                   z = static_cast<int>(getZ_RCD(rcd));
        minX = std::min(minX, x);
        minY = std::min(minY, y);
        minZ = std::min(minZ, z);
        maxX = std::max(maxX, x);
        maxY = std::max(maxY, y);
        maxZ = std::max(maxZ, z);
    }
    for (int* pMin : {&minX, &minY, &minZ})
        *pMin = std::max(*pMin - margin, 0);
    for (int* pMax : {&maxX, &maxY, &maxZ})
        *pMax += margin;
}

// ---- First values -------------------------------------------------------------------------------------------------------

void Component::assignFirstDistances() {
    std::vector<Facet*> vAll, vLower, vUpper, vLowerStrip, vUpperStrip;
    for (Facet& facet : vVisibleFacets) {
        vAll.push_back(&facet);
        if (facet.color < 0) vOpenCells.push_back(facet.rcd);
        if (facet.color == 0) vLower.push_back(&facet);
        if (facet.color == 1) vUpper.push_back(&facet);
    }
    oneInstanceMT(vOpenCells);
    getBorderStrip(vLower, vLowerStrip, STRIP_LAYERS);
    getBorderStrip(vUpper, vUpperStrip, STRIP_LAYERS);

    const VRCC vInLower = cornersOf(vLowerStrip), vInUpper = cornersOf(vUpperStrip);
    const VRCC vLowerOnly = without(vInLower, vInUpper), vUpperOnly = without(vInUpper, vInLower);
    createCorners(*cornerStore, inBoth(vInLower, vInUpper), ST_DUAL_NO_EMITTER, 0.0F, SEAM_WEIGHT);
    createCorners(*cornerStore, vLowerOnly, ST_LOWER_STRIP, FLT_MAX, SHEET_WEIGHT);
    createCorners(*cornerStore, vUpperOnly, ST_UPPER_STRIP, FLT_MAX, SHEET_WEIGHT);
    createCorners(*cornerStore, without(without(cornersOf(vAll), vInLower), vInUpper), ST_FACET_REST, 0.0F, SEAM_WEIGHT);

    VRCC vOfRim;
    getRCC8(vBorder, true, vOfRim);
    freeCorners(*cornerStore, inBoth(vOfRim, vLowerOnly), ST_LOWER_BORDER);
    freeCorners(*cornerStore, inBoth(vOfRim, vUpperOnly), ST_UPPER_BORDER);
    assignDistancesToSideStrip(vLowerStrip, -1.0);
    assignDistancesToSideStrip(vUpperStrip, 1.0);
}

void Component::assignDistancesToSideStrip(std::vector<Facet*>& vStrip, double sign) {
    std::vector<std::pair<RCC, float>> vDistances;
    vDistances.reserve(4 * vStrip.size());
    const VRCDPoint& vRemainingRCDPoint = *pRCDPoint;
    for (const Facet* pFacet : vStrip) {
        const auto q_it = findFirstFrom(vRemainingRCDPoint.begin(), vRemainingRCDPoint.end(), pFacet->rcd);
        ASSEX(q_it!=vRemainingRCDPoint.end());
        ASSEX(q_it->first==pFacet->rcd);
        forEachCorner(*pFacet, [&](RCC rcc) {
            vDistances.emplace_back(rcc, static_cast<float>((cornerStore->getPosition(rcc) - q_it->second).length()));
        });
    }
    sortByFirstMT(vDistances);
    for (auto it = vDistances.begin(); it != vDistances.end();) {
        const RCC rcc = it->first;
        float nearest = FLT_MAX;
        for (; it != vDistances.end() && it->first == rcc; ++it)
            nearest = std::min(nearest, it->second);
        Corner* pCorner = cornerStore->find(rcc);
        ASSEX(pCorner!=NULL);
        ASSEX(pCorner->val==FLT_MAX || pCorner->getState()==ST_DUAL_NO_EMITTER || pCorner->getState()==ST_LOWER_BORDER || pCorner->getState()==ST_UPPER_BORDER);
        pCorner->val = signedDistance(*pCorner, nearest, sign);
    }
}

// ---- Growth -------------------------------------------------------------------------------------------------------------

// As long as two sides meet somewhere there may be a gap to close.
void Component::inflateCtrl2() {
    bool bSidesMet = true;
    for (int step = 0; step < numGrowSteps && (step < MIN_STEPS || bSidesMet); ++step) {
        bSidesMet = !inflateOneStep2();
        lowPass2(LOW_PASS_ROUNDS, true);
    }
}

bool Component::inflateOneStep2() {
    std::vector<Corner*> vFront;
    infl_createFront(vFront);
    const std::vector<Corner*>& corners = cornerStore->getCornersRef();
    std::vector<GrownValue> vGrown;
    transform_MT(
        vFront, vGrown, [&corners, this](const Corner* pCorner) { return growOne(*pCorner, corners, sideLen); },
        MIN_PARALLEL);
    for (std::size_t i = 0; i < vFront.size(); ++i) {
        vFront[i]->state = ST_INFLATED;
        vFront[i]->val = vGrown[i].val;
        vFront[i]->weight = vGrown[i].weight;
    }
    return std::none_of(vGrown.begin(), vGrown.end(), [](const GrownValue& grown) { return grown.bConflict; });
}

void Component::infl_createFront(std::vector<Corner*>& vOut) {
    VRCC vEmitters, vNew;
    cornerStore->getFront(FRONT_CELLS * sideLen, vEmitters);
    const auto isInBounds = [this](RCC rcc) {
        const auto x = static_cast<int>(getX_RCD(rcc)), y = static_cast<int>(getY_RCD(rcc)),
                   z = static_cast<int>(getZ_RCD(rcc));
        return x >= minX && x <= maxX && y >= minY && y <= maxY && z >= minZ && z <= maxZ;
    };
    for (const RCC rcc : vEmitters)
        if (isInBounds(rcc)) cornerStore->getMissingNeigs(*cornerStore->find(rcc), vNew);
    oneInstanceOfNumbers(vNew);
    for (const RCC rcc : vNew)
        vOut.push_back(cornerStore->createCorner(rcc));
}

void Component::lowPass2(int numIter, bool bUseWeights) {
    if (numIter < 1) return;
    CornerLowPass lowPass(cornerStore->getCornersRef(), halfSideLen, bUseWeights);
    for (int i = 0; i < numIter; ++i)
        lowPass.runRound();
    lowPass.store();
}

// ---- Zero crossings -----------------------------------------------------------------------------------------------------

void Component::getZeroRCD(VRCDPoint& vOut) {
    for (Corner* pCorner : cornerStore->getCornersRef())
        if (pCorner->val == 0) pCorner->val = ZERO_STAND_IN;
    VRCDPoint vCrossings;
    findCrossings(*cornerStore, *pCalc, vCrossings);
    sortByFirstMT(vCrossings);
    for (auto it = vCrossings.cbegin(); it != vCrossings.cend();) {
        const RCD rcd = it->first;
        const auto itEnd =
            std::find_if(it, vCrossings.cend(), [rcd](const auto& crossing) { return crossing.first != rcd; });
        if (!std::binary_search(vCells.begin(), vCells.end(), rcd)) {
            Point3 mean = meanPoint(it, itEnd);
            pCalc->adaptPointToRCD(rcd, mean);
            vOut.emplace_back(rcd, mean);
        }
        it = itEnd;
    }
}

}  // namespace TARN_KEL
