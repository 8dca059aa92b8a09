// Noise and a spacing near that of the points leave layers of two or three cells in places. The removal decider removes the
// less certain cells first: small parts of rim, then by weight the cells whose removal neither tears the sheet nor shortens
// its rim. What is left over are cells that have all free space on one side, as at a rim, though the surface continues
// around them. They are recognised by their wedge, the angle that the points of the neighbours open as seen from the cell's
// own point:
//
//     ~180 degrees:  . . . .       less:  . . .
//     may go         # C # #       fixed  # C .
//                    . . . .              # # .
//
// A rim cell with a narrow wedge is fixed, and so are the wide ones around it; the other wide ones may be removed. Then the
// thinning by weight runs again.
//
// With growth steps, Filler proposes new cells for the gaps of the sheet. They are judged together with the whole sheet,
// component by component: a component whose rim touches the rim of the old sheet keeps its rim; one that is loose may be
// removed from its rim on.
#include "cleanCells.h"

#include <algorithm>
#include <iterator>

#include "Filler.h"
#include "FreshVector.h"
#include "NeighbourWalk.h"
#include "RemoveDecider_RCD.h"
#include "freeFunctions.h"
#include "radixSort.h"
#include "sortMT.h"
#include "sortedCodes.h"
#include "tools.h"
#include "wanted.h"

namespace TARN_KEL {

namespace {

constexpr double WIDE_WEDGE = 150.0;        // degrees; above, a rim cell lies in a face
constexpr std::size_t MAX_SMALL_RIM = 9;    // rim cells of a proposed piece that is taken as it is
constexpr double MIN_ATTACHED_SCORE = 0.3;  // below, a proposed piece is attached too little to keep its rim

/// The positions of a cell and of its neighbours in the list of points. The cells are asked for in ascending order.
class PositionWalk {
public:
    explicit PositionWalk(const CellPoints& vSorted) : walk(vSorted) {}

    /// False when the cell itself isn't in the list.
    bool moveTo(RCD rcd) {
        vNeigs.clear();
        bool bFound = false;
        walk.visitBlock(rcd, [&](int inBlock, std::size_t position) {
            if (inBlock != NeighbourWalk<CellPoints::value_type>::CENTRE) {
                vNeigs.push_back(position);
                return;
            }
            bFound = true;
            centre = position;
        });
        return bFound;
    }
    std::size_t getCentre() const { return centre; }
    /// Ascending, as the codes are.
    const std::vector<std::size_t>& getNeigs() const { return vNeigs; }

private:
    NeighbourWalk<CellPoints::value_type> walk;
    std::size_t centre = 0;
    std::vector<std::size_t> vNeigs;
};

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

/// For each piece how many of the cells share a corner with it. O(n log n).
std::vector<std::size_t> countTouching(const std::vector<VRCD>& vPieces, const VRCD& vCells) {
    std::vector<std::pair<RCC, std::size_t>> vCornerPiece;
    VRCC vCorners;
    for (std::size_t piece = 0; piece < vPieces.size(); ++piece) {
        vCorners.clear();
        getRCC8(vPieces[piece], true, vCorners);
        for (const RCC corner : vCorners)
            vCornerPiece.emplace_back(corner, piece);
    }
    std::sort(vCornerPiece.begin(), vCornerPiece.end());
    std::vector<std::size_t> vNum(vPieces.size()), vTouched;
    for (const RCD rcd : vCells) {
        vCorners.clear();
        vTouched.clear();
        getRCC8({rcd}, false, vCorners);
        for (const RCC corner : vCorners)
            for (auto it = std::lower_bound(vCornerPiece.begin(), vCornerPiece.end(), std::pair(corner, std::size_t{0}));
                 it != vCornerPiece.end() && it->first == corner; ++it)
                vTouched.push_back(it->second);
        oneInstance(vTouched);
        for (const std::size_t piece : vTouched)
            ++vNum[piece];
    }
    return vNum;
}

/// Of accepted cells those of pieces that close something: more than twice as many rim cells of the old sheet are inside of
/// it now as the piece has on the new rim. Both lists sorted.
VRCD selectClosing(const SheetCells& sheet, const VRCD& vAccepted, const Calc& grid) {
    VRCD vAll = vAccepted, vInner, vRim, vPassedRim, vKept;
    vAll.insert(vAll.end(), sheet.vArea.begin(), sheet.vArea.end());
    vAll.insert(vAll.end(), sheet.vBorder.begin(), sheet.vBorder.end());
    Calc ownGrid(grid);
    RemoveDecider_RCD(vAll, &ownGrid).detectAreaAndBorder(vInner, vRim);
    std::set_difference(sheet.vBorder.begin(), sheet.vBorder.end(), vRim.begin(), vRim.end(),
                        std::back_inserter(vPassedRim));
    std::vector<VRCD> vPieces;
    createCC_RCD(vAccepted, vPieces);
    const std::vector<std::size_t> vNumPassed = countTouching(vPieces, vPassedRim);
    for (std::size_t i = 0; i < vPieces.size(); ++i) {
        const auto isOnRim = [&vRim](RCD rcd) { return isIn(vRim, rcd); };
        const auto numOnRim = static_cast<std::size_t>(std::count_if(vPieces[i].begin(), vPieces[i].end(), isOnRim));
        if (vNumPassed[i] > 2 * numOnRim) vKept.insert(vKept.end(), vPieces[i].begin(), vPieces[i].end());
    }
    std::sort(vKept.begin(), vKept.end());
    return vKept;
}

}  // namespace

VRCD codesOf(const CellPoints& cells) {
    VRCD vRCD;
    vRCD.reserve(cells.size());
    for (const auto& [rcd, point] : cells)
        vRCD.push_back(rcd);
    return vRCD;
}

CellPoints cleanCells(const std::vector<Point3>& vPoints, const Calc& grid, const std::optional<GapClosing>& gapClosing) {
    if (vPoints.empty()) return {};
    const CellPoints vRCDPoint = onePointPerCell(vPoints, grid);
    VRCD vRemainingRCDPoint = thinToSheet(codesOf(vRCDPoint), vRCDPoint, grid);
    CellPoints vAllRmg = selectCells(vRCDPoint, vRemainingRCDPoint);
    ASSEX(vAllRmg.size()==vRemainingRCDPoint.size());
    if (gapClosing) {
        Calc ownGrid(grid);
        SheetCells sheet;
        RemoveDecider_RCD(vRemainingRCDPoint, &ownGrid).detectAreaAndBorder(sheet.vArea, sheet.vBorder);
        CellPoints proposed;
        Filler filler(gapClosing->numSteps, sheet.vBorder, sheet.vArea, vAllRmg, &ownGrid);
        filler.bByOriented = gapClosing->bCareful;
        filler.run(proposed);
        oneInstanceMT(proposed);
        const CellPoints accepted = acceptProposed(sheet, proposed, grid, gapClosing->bCareful);
        vAllRmg.insert(vAllRmg.end(), accepted.begin(), accepted.end());
    }
    return vAllRmg;
}

CellPoints onePointPerCell(const std::vector<Point3>& vPoints, const Calc& grid) {
    struct CodedPoint {
        RCD rcd;
        const Point3* pPoint;
    };
    FreshVector<CodedPoint> vCoded(vPoints.size());
    ASSEX_AS("vAllRCDOut.size()==vPoints.size()", vCoded.size() == vPoints.size());
    forChunks_MT(vPoints.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vCoded[i] = {grid.getRCD(&vPoints[i]), &vPoints[i]};
    });
    const auto cellOf = [](const CodedPoint& coded) { return coded.rcd; };
    radixSortOnThreads(vCoded.data(), vCoded.size(), cellOf, numProcessors());  // stable: the first point of a cell leads
    CellPoints cells;
    forWanted_MT(
        firstOfRuns_MT(vCoded, cellOf), [&](std::size_t numCells) { cells.resize(numCells); },
        [&](std::size_t i, std::size_t place) {
            cells[place] = {vCoded[i].rcd, *vCoded[i].pPoint};
        });
    return cells;
}

// ---- Thinning -----------------------------------------------------------------------------------------------------------

VRCD thinToSheet(const VRCD& vCells, const CellPoints& cells, const Calc& grid) {
    Calc ownGrid(grid);
    VRCD vAll = vCells, vKept, vDoomed, vAlive, vDoomedAfter;
    RemoveDecider_RCD decider(vAll, &ownGrid);
    decider.prunePrioq(cells, vAll, vKept, vDoomed, false, true);
    doomFlatRims(decider, cells);
    decider.getAliveRCD(vAlive);
    decider.prunePrioq(cells, vAlive, vKept, vDoomedAfter, false, true);
    return vKept;
}

void doomFlatRims(RemoveDecider_RCD& decider, const CellPoints& cells) {
    VRCD vArea, vBorder, vWide;
    decider.detectAreaAndBorder(vArea, vBorder);
    std::vector<char> vFixed(cells.size(), 0);  // by position
    std::vector<Point3> vAxPlusNeigs;
    PositionWalk walk(cells);
    for (const RCD rcd : vBorder) {
        const bool bFound = walk.moveTo(rcd);
        ASSEX_AS("it!=vRCDPoint.end() || it->first==rcd", bFound);
        vAxPlusNeigs.assign(1, cells[walk.getCentre()].second);
        for (const std::size_t i : walk.getNeigs())
            vAxPlusNeigs.push_back(cells[i].second);
        if (medianWedge(vAxPlusNeigs) > WIDE_WEDGE)
            vWide.push_back(rcd);
        else
            vFixed[walk.getCentre()] = 1;
    }
    PositionWalk walkWide(cells);
    for (const RCD rcd : vWide) {
        walkWide.moveTo(rcd);
        const auto& vNeigs = walkWide.getNeigs();
        const bool bNextToFixed =
            std::any_of(vNeigs.begin(), vNeigs.end(), [&vFixed](std::size_t i) { return vFixed[i] != 0; });
        if (!bNextToFixed && !decider.removingCreatesGap(rcd)) decider.registerDoomed(rcd);
    }
}

double medianWedge(const std::vector<Point3>& vAxPlusNeigs) {
    ASSEX(!vAxPlusNeigs.empty());
    if (vAxPlusNeigs.size() < 3) return 0.0;
    std::vector<Vector3> vUnit;
    for (auto it = vAxPlusNeigs.begin() + 1; it != vAxPlusNeigs.end(); ++it)
        vUnit.push_back(normalize(*it - vAxPlusNeigs.front()));
    // Each vector except the last has a largest angle to another one. The result is that of the vector in the middle of the
    // list, so only this one is computed. The vectors are in the order of their cells, not sorted by angle.
    const std::size_t pivot = (vUnit.size() - 1) / 2;
    double largest = 0.0;
    for (std::size_t i = 0; i < vUnit.size(); ++i)
        if (i != pivot) largest = std::max(largest, getAngleDegree(vUnit[pivot], vUnit[i]));
    return largest;
}

CellPoints selectCells(const CellPoints& cells, const VRCD& vCells) {
    CellPoints selected;
    selected.reserve(vCells.size());
    auto itCell = vCells.begin();
    for (const auto& cell : cells) {
        while (itCell != vCells.end() && *itCell < cell.first)
            ++itCell;
        if (itCell == vCells.end()) break;
        if (*itCell == cell.first) selected.push_back(cell);
    }
    return selected;
}

// ---- Proposed cells -----------------------------------------------------------------------------------------------------

CellPoints acceptProposed(const SheetCells& sheet, const CellPoints& proposed, const Calc& grid, bool bCareful) {
    const auto& [vLocalArea, vLocalBorder] = sheet;
    VRCD vZeroRCD = codesOf(proposed);
    dropRepeats(vZeroRCD);
    VRCD vArBorZer = vLocalArea;
    vArBorZer.insert(vArBorZer.end(), vLocalBorder.begin(), vLocalBorder.end());
    vArBorZer.insert(vArBorZer.end(), vZeroRCD.begin(), vZeroRCD.end());
    oneInstanceMT(vArBorZer);
    ASSEX(vLocalArea.size()+vLocalBorder.size()+vZeroRCD.size()==vArBorZer.size());

    Calc ownGrid(grid);
    RemoveDecider_RCD decider(vArBorZer, &ownGrid);
    VRCD vAccepted;
    for (ProposedComponent& piece : scoreComponents(vZeroRCD, vLocalBorder, grid)) {
        VRCD vKept, vDoomed;
        decider.prunePrioq(proposed, piece.vCells, vKept, vDoomed, piece.score < MIN_ATTACHED_SCORE, false);
        vAccepted.insert(vAccepted.end(), vKept.begin(), vKept.end());
    }
    std::sort(vAccepted.begin(), vAccepted.end());
    if (bCareful) vAccepted = selectClosing(sheet, vAccepted, grid);
    CellPoints accepted;
    std::copy_if(proposed.begin(), proposed.end(), std::back_inserter(accepted),
                 [&vAccepted](const auto& cell) { return isIn(vAccepted, cell.first); });
    return accepted;
}

std::vector<ProposedComponent> scoreComponents(const VRCD& vProposed, const VRCD& vSheetBorder, const Calc& grid) {
    VRCC vBorderCorners;
    getRCC8(vSheetBorder, true, vBorderCorners);
    std::vector<VRCD> vCCs;
    createCC_RCD(vProposed, vCCs);
    Calc ownGrid(grid);
    std::vector<ProposedComponent> vPieces;
    for (VRCD& vCells : vCCs) {
        VRCD vInner, vRim;
        RemoveDecider_RCD(vCells, &ownGrid).detectAreaAndBorder(vInner, vRim);
        vPieces.push_back({scoreOf(vRim, vBorderCorners), std::move(vCells)});
    }
    return vPieces;
}

}  // namespace TARN_KEL
