// The raster cleaning: one point a cell, and of the occupied cells a sheet one cell thick.
//
// Noise and a spacing near that of the points leave layers of two or three cells in places. The removal decider eats them
// from the less settled cells to the more settled ones: small pieces of rim first, then by priority what neither tears the
// sheet nor shortens its rim. What is left over are cells that see all free space on one side, as at a rim, though the
// surface goes on around them. They show by their wedge, the angle that the points of the neighbours open as seen from the
// cell's own point:
//
//     ~180 degrees:  . . . .       less:  . . .
//     may go         # C # #       fixed  # C .
//                    . . . .              # # .
//
// A rim cell with a narrow wedge is fixed, and so are the wide ones around it; the other wide ones may go. Then the thinning
// by priority runs once more.
//
// With growth the volume labelling proposes new cells for the gaps of the sheet. They are judged within the whole sheet,
// piece by piece: a piece whose rim hangs on the rim of the old sheet keeps its rim, a flap that floats free may be eaten
// from it.
#include <algorithm>

#include "Cloud.h"
#include "Filler.h"
#include "NeighbourWalk.h"
#include "RemoveDecider_RCD.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using VRCDPoint = std::vector<std::pair<RCD, Point3>>;

constexpr double WIDE_WEDGE = 150.0;        // degrees; above, a rim cell lies in a face
constexpr std::size_t MAX_SMALL_RIM = 9;    // rim cells of a proposed piece that is taken as it is
constexpr double MIN_ATTACHED_SCORE = 0.3;  // below, a proposed piece hangs on too little to keep its rim

/// The places of a cell and of its neighbours in the list of points. The cells are asked for in ascending order.
class PointWalk {
public:
    explicit PointWalk(const VRCDPoint& vSorted) : walk(vSorted) {}

    /// False when the cell itself isn't in the list.
    bool moveTo(RCD rcd) {
        vNeigs.clear();
        bool bFound = false;
        walk.visitBlock(rcd, [&](int position, std::size_t place) {
            if (position != NeighbourWalk<VRCDPoint::value_type>::CENTRE) {
                vNeigs.push_back(place);
                return;
            }
            bFound = true;
            centre = place;
        });
        return bFound;
    }
    std::size_t getCentre() const { return centre; }
    /// Ascending, as the codes are.
    const std::vector<std::size_t>& getNeigs() const { return vNeigs; }

private:
    NeighbourWalk<VRCDPoint::value_type> walk;
    std::size_t centre = 0;
    std::vector<std::size_t> vNeigs;
};

void getRCDs(const std::vector<Point3>& vPoints, const Calc& calc, VRCD& vAllRCDOut) {
    vAllRCDOut.clear();
    transform_MT(vPoints, vAllRCDOut, [&calc](const Point3& p) { return calc.getRCD(&p); });
    ASSEX(vAllRCDOut.size()==vPoints.size());
}

VRCD getCodes(const VRCDPoint& vRCDPoint) {
    VRCD vRCD;
    vRCD.reserve(vRCDPoint.size());
    for (const auto& [rcd, point] : vRCDPoint)
        vRCD.push_back(rcd);
    return vRCD;
}

bool isIn(const VRCD& vSorted, RCD rcd) {
    return std::binary_search(vSorted.begin(), vSorted.end(), rcd);
}

/// The part of a piece's rim cells that share a corner with the rim of the old sheet; 1.0 for a small rim.
double scoreOf(const VRCD& vRim, const VRCC& vBorderCorners) {
    if (vRim.size() <= MAX_SMALL_RIM) return 1.0;
    const auto isAttached = [&vBorderCorners](RCD rcd) {
        VRCC vCorners;
        getRCC8({rcd}, false, vCorners);
        return std::any_of(vCorners.begin(), vCorners.end(),
                           [&vBorderCorners](RCC corner) { return isIn(vBorderCorners, corner); });
    };
    const auto numAttached = std::count_if(vRim.begin(), vRim.end(), isAttached);
    return static_cast<double>(numAttached) / static_cast<double>(vRim.size());
}

}  // namespace

void Cloud::cleanPoints_RCD(std::vector<Point3>& vNodePoints, std::vector<std::pair<CCD, Point3>>& vOut) {
    vOut.clear();
    if (vNodePoints.empty()) return;
    ASSEX(pCalc!=NULL);
    VRCDPoint vRCDPoint, vAllRmg;
    VRCD vAllRCD, vRemainingRCDPoint;
    getRCD2Point(vNodePoints, vRCDPoint, vAllRCD);
    orgPruning(vRCDPoint, vAllRCD, vRemainingRCDPoint);
    copyRmg(vRCDPoint, vRemainingRCDPoint, vAllRmg);
    ASSEX(vAllRmg.size()==vRemainingRCDPoint.size());
    if (numGrowSteps > 0) {
        VRCD vLocalArea, vLocalBorder;
        RemoveDecider_RCD(vRemainingRCDPoint, pCalc).detectAreaAndBorder(vLocalArea, vLocalBorder);
        VRCDPoint vRCD2ZeroPoint;
        Filler(numGrowSteps, vLocalBorder, vLocalArea, vAllRmg, pCalc).run(vRCD2ZeroPoint);
        pruneZeros(vLocalArea, vLocalBorder, vRCD2ZeroPoint, vAllRmg);
    }
    transform_MT(vAllRmg, vOut, [this](const std::pair<RCD, Point3>& cell) {
        return std::make_pair(pCalc->rcd2ccd(cell.first), cell.second);
    });
}

void Cloud::getRCD2Point(std::vector<Point3>& vNodePoints, VRCDPoint& vRCDPoint, VRCD& vAllRCDOut) {
    getRCDs(vNodePoints, *pCalc, vAllRCDOut);
    vRCDPoint.resize(vNodePoints.size());
    for (std::size_t i = 0; i < vNodePoints.size(); ++i)
        vRCDPoint[i] = {vAllRCDOut[i], vNodePoints[i]};
    sortByFirstMT(vRCDPoint);  // stable, so that the first of a run is the first in the list
    vRCDPoint.erase(
        std::unique(vRCDPoint.begin(), vRCDPoint.end(), [](const auto& a, const auto& b) { return a.first == b.first; }),
        vRCDPoint.end());
    oneInstanceMT(vAllRCDOut);
}

// ---- Thinning -----------------------------------------------------------------------------------------------------------

void Cloud::orgPruning(VRCDPoint& vRCDPoint, VRCD& vAllRCDOut, VRCD& vRemainingRCDPoint) {
    RemoveDecider_RCD decider(vAllRCDOut, pCalc);
    VRCD vKept, vDoomed, vAlive, vDoomedAfter;
    decider.prunePrioq(vRCDPoint, vAllRCDOut, vKept, vDoomed, false, true);
    postBorderPruning(decider, vRCDPoint);
    decider.getAliveRCD(vAlive);
    decider.prunePrioq(vRCDPoint, vAlive, vRemainingRCDPoint, vDoomedAfter, false, true);
}

void Cloud::postBorderPruning(RemoveDecider_RCD& decider, VRCDPoint& vRCDPoint) {
    VRCD vArea, vBorder, vWide;
    decider.detectAreaAndBorder(vArea, vBorder);
    std::vector<char> vFixed(vRCDPoint.size(), 0);  // by place
    std::vector<Point3> vAxPlusNeigs;
    PointWalk walk(vRCDPoint);
    for (const RCD rcd : vBorder) {
        if (!walk.moveTo(rcd))
            assertionFailed("it!=vRCDPoint.end() || it->first==rcd", __FILE__, __LINE__, __PRETTY_FUNCTION__);
        vAxPlusNeigs.assign(1, vRCDPoint[walk.getCentre()].second);
        for (const std::size_t i : walk.getNeigs())
            vAxPlusNeigs.push_back(vRCDPoint[i].second);
        if (getMedianWedge(vAxPlusNeigs) > WIDE_WEDGE)
            vWide.push_back(rcd);
        else
            vFixed[walk.getCentre()] = 1;
    }
    PointWalk walkWide(vRCDPoint);
    for (const RCD rcd : vWide) {
        walkWide.moveTo(rcd);
        const auto& vNeigs = walkWide.getNeigs();
        const bool bNextToFixed =
            std::any_of(vNeigs.begin(), vNeigs.end(), [&vFixed](std::size_t i) { return vFixed[i] != 0; });
        if (!bNextToFixed && !decider.removingCreatesGap(rcd)) decider.registerDoomed(rcd);
    }
}

double Cloud::getMedianWedge(std::vector<Point3>& vAxPlusNeigs) {
    ASSEX(!vAxPlusNeigs.empty());
    if (vAxPlusNeigs.size() < 3) return 0.0;
    std::vector<Vector3> vUnit;
    for (auto it = vAxPlusNeigs.begin() + 1; it != vAxPlusNeigs.end(); ++it)
        vUnit.push_back(normalize(*it - vAxPlusNeigs.front()));
    // Each vector but the last stands for its largest angle to another one; the result is that of the one in the middle of
    // the row, so only this one's is taken. The vectors come in the order of their cells, which isn't sorted by angle.
    const std::size_t pivot = (vUnit.size() - 1) / 2;
    double largest = 0.0;
    for (std::size_t i = 0; i < vUnit.size(); ++i)
        if (i != pivot) largest = std::max(largest, getAngleDegree(vUnit[pivot], vUnit[i]));
    return largest;
}

void Cloud::copyRmg(VRCDPoint& vRCDPoint, VRCD& vRemainingRCDPoint, VRCDPoint& vAllRmg) {
    vAllRmg.clear();
    vAllRmg.reserve(vRemainingRCDPoint.size());
    auto itRemaining = vRemainingRCDPoint.cbegin();
    for (const auto& cell : vRCDPoint) {
        while (itRemaining != vRemainingRCDPoint.cend() && *itRemaining < cell.first)
            ++itRemaining;
        if (itRemaining == vRemainingRCDPoint.cend()) return;
        if (*itRemaining == cell.first) vAllRmg.push_back(cell);
    }
}

// ---- Proposed cells -----------------------------------------------------------------------------------------------------

void Cloud::pruneZeros(VRCD& vLocalArea, VRCD& vLocalBorder, VRCDPoint& vRCD2ZeroPoint, VRCDPoint& vAllRmg) {
    VRCD vZeroRCD = getCodes(vRCD2ZeroPoint);
    oneInstance(vZeroRCD);
    VRCD vArBorZer = vLocalArea;
    vArBorZer.insert(vArBorZer.end(), vLocalBorder.begin(), vLocalBorder.end());
    vArBorZer.insert(vArBorZer.end(), vZeroRCD.begin(), vZeroRCD.end());
    oneInstanceMT(vArBorZer);
    ASSEX(vLocalArea.size()+vLocalBorder.size()+vZeroRCD.size()==vArBorZer.size());
    oneInstanceMT(vRCD2ZeroPoint);

    std::vector<std::pair<double, VRCD>> vComponents;
    getZeroComponents(vZeroRCD, vLocalBorder, vComponents);
    RemoveDecider_RCD decider(vArBorZer, pCalc);
    VRCD vAccepted;
    for (auto& [score, vCells] : vComponents) {
        VRCD vKept, vDoomed;
        decider.prunePrioq(vRCD2ZeroPoint, vCells, vKept, vDoomed, score < MIN_ATTACHED_SCORE, false);
        vAccepted.insert(vAccepted.end(), vKept.begin(), vKept.end());
    }
    std::sort(vAccepted.begin(), vAccepted.end());
    std::copy_if(vRCD2ZeroPoint.begin(), vRCD2ZeroPoint.end(), std::back_inserter(vAllRmg),
                 [&vAccepted](const auto& cell) { return isIn(vAccepted, cell.first); });
    vLocalArea.clear();
    vLocalBorder.clear();
}

void Cloud::getZeroComponents(VRCD& vZeroRCD, VRCD& vLocalBorder, std::vector<std::pair<double, VRCD>>& vOut) {
    VRCC vBorderCorners;
    getRCC8(vLocalBorder, true, vBorderCorners);
    std::vector<VRCD> vCCs;
    createCC_RCD(vZeroRCD, vCCs);
    for (VRCD& vCells : vCCs) {
        VRCD vInner, vRim;
        RemoveDecider_RCD(vCells, pCalc).detectAreaAndBorder(vInner, vRim);
        vOut.emplace_back(scoreOf(vRim, vBorderCorners), std::move(vCells));
    }
}

}  // namespace TARN_KEL
