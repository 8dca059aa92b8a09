// Finds the cells along the zeros of a hole's field and thins them.
#include "holeCells.h"

#include <algorithm>

#include "CMesh.h"
#include "RemoveDecider.h"
#include "drawings.h"
#include "fieldZeros.h"
#include "holeDrawings.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

using Notes = std::vector<std::pair<RCD, Point3>>;

bool isListed(const VCCD& vSorted, CCD ccd) {
    return std::binary_search(vSorted.begin(), vSorted.end(), ccd);
}

VCCD joined(VCCD a, const VCCD& b) {
    a.insert(a.end(), b.begin(), b.end());
    oneInstance(a);
    return a;
}

/// The cell is a corner of a triangle, so it belongs to the old surface.
bool hasTriangles(const CMesh& mesh, CCD ccd) {
    std::vector<CTriangle*> vIncT;
    mesh.getIncidentT(ccd, vIncT);
    return !vIncT.empty();
}

VCCD cellCodesOf(const HoleCells& cells) {
    VCCD vCodes;
    for (const auto& [ccd, point] : cells)
        vCodes.push_back(ccd);
    return vCodes;
}

HoleCells selected(HoleCells cells, const VCCD& vSorted) {
    std::erase_if(cells, [&vSorted](const auto& cell) { return !isListed(vSorted, cell.first); });
    return cells;
}

/// What the removal test keeps of the candidates and what it dooms. vSeen: the cells that it sees.
struct Pruned {
    VCCD vKept, vDoomed;
};
Pruned prune(VCCD vSeen, VCCD vCandidates, Calc* pCalc) {
    Pruned pruned;
    RemoveDecider(vSeen, pCalc).pruneStrong(vCandidates, pruned.vKept, pruned.vDoomed);
    return pruned;
}

/// The crossings as they are drawn.
struct CrossingDrawing {
    std::vector<Segment3> vEdges, vIncomplete;
    std::vector<Point3> vNegative, vPositive;

    void add(const Crossing& crossing) {
        const float trgVal = crossing.trgVal;
        if (crossing.srcVal > 0) {
            ASSEX(trgVal<0);
        } else {
            ASSEX(trgVal>0);
        }
        vEdges.emplace_back(crossing.src, crossing.trg);
        vNegative.push_back(trgVal < 0 ? crossing.trg : crossing.src);
        vPositive.push_back(trgVal < 0 ? crossing.src : crossing.trg);
    }
    void draw(const Notes& vNotes, const Calc* pCalc, const std::string& name) const {
        drawSegments(name + "incomplete.list", vIncomplete, CRED);
        drawCrossings(name + "zeroPoints.list", pCalc, vEdges, vNegative, vPositive);
        VRCD vNoted;
        for (const auto& [rcd, point] : vNotes)
            vNoted.push_back(rcd);
        drawNotedCells(name + "mapped.list", pCalc, std::move(vNoted));
    }
};

}  // namespace

HoleCells zeroCells(const HoleRegion& region, const Field& field, const Calc& calc) {
    Notes vNotes;
    for (const Crossing& crossing : crossingsNear(region, field, calc))
        for (const RCD rcd : cellsAround(crossing, field, calc))
            vNotes.emplace_back(rcd, crossing.zero);
    return pointsOfCells(std::move(vNotes), calc);
}

HoleCells zeroCellsWithNotes(const HoleRegion& region, const Field& field, const Calc& calc, const std::string& name) {
    Notes vNotes;
    CrossingDrawing drawing;
    for (const Crossing& crossing : crossingsNear(region, field, calc)) {
        drawing.add(crossing);
        VRCD vAround = cellsAround(crossing, field, calc);
        oneInstance(vAround);
        if (vAround.size() < 4) {
            drawing.vIncomplete.push_back(drawing.vEdges.back());
            out() << "--\n";
        }
        for (const RCD rcd : vAround) {
            out() << "emplacing for rcd=" << rcd << "\n";
            vNotes.emplace_back(rcd, crossing.zero);
        }
    }
    out() << "vIncompleteSeg.size()=" << drawing.vIncomplete.size() << std::endl;
    drawOnTheWay([&] { drawing.draw(vNotes, &calc, name); });
    return pointsOfCells(std::move(vNotes), calc);
}

HoleCells thinBesideRegion(HoleCells zeros, const HoleRegion& region, const CMesh& mesh, const std::string& name) {
    Calc* pCalc = mesh.getCalc();
    const VCCD vBlue = joined(region.vCCD, thirdCorners(region.vCE, *pCalc));
    const VCCD vTriCCD = cornersOf(region.vT, mesh);
    VCCD vRed = cellCodesOf(zeros);
    const VCCD vSeen = joined(vTriCCD, vRed);
    std::erase_if(vRed, [&vTriCCD](CCD ccd) { return isListed(vTriCCD, ccd); });
    out() << "vExistingCCD.size()=" << joined(vRed, vBlue).size() << "\nvRed: " << vRed.size() << "\nvBlue: " << vBlue.size()
          << std::endl;
    auto [vKept, vDoomed] = prune(vSeen, vRed, pCalc);
    out() << "vRemoveCandidates start: " << vRed.size() << "\nDoomed ones: " << vDoomed.size()
          << "\nvRemoveCandidates final: " << vKept.size() << std::endl;
    drawOnTheWay([&, &kept = vKept] { drawCells(name + "prunedCandidates.list", pCalc, kept, vBlue); });
    std::sort(vKept.begin(), vKept.end());
    return selected(std::move(zeros), vKept);
}

ChainedSheet thinBetweenChain(HoleCells zeros, const HoleRegion& region, const Field& field, const CMesh& mesh,
                              const std::string& name) {
    Calc* pCalc = mesh.getCalc();
    std::erase_if(zeros,
                  [&](const auto& cell) { return isListed(region.vCCD, cell.first) || hasTriangles(mesh, cell.first); });
    const VCCD vHoleCCDs = cellCodesOf(zeros);
    drawOnTheWay([&] { drawCells(name + "z.list", pCalc, vHoleCCDs, region.vCCD); });

    VCCD vChain = joined(region.vCCD, thirdCorners(region.vCE, *pCalc));
    out() << "vBorderCCDs: " << vChain.size() << "\nvHoleCCDs:   " << vHoleCCDs.size() << std::endl;
    const VCCD vExisting = joined(vChain, vHoleCCDs);
    drawOnTheWay([&] {
        drawCells(name + "bo_plus_holes.list", pCalc, vHoleCCDs, vChain);
        drawCornerVals(name + "plusMinus.list", field, pCalc, vExisting);
    });

    auto [vKept, vDoomed] = prune(vExisting, vHoleCCDs, pCalc);
    out() << "vHoleCCDs start: " << vHoleCCDs.size() << "\nDoomed ones: " << vDoomed.size()
          << "\nvHoleCCDs final: " << vKept.size() << std::endl;
    std::sort(vKept.begin(), vKept.end());
    drawOnTheWay([&, &kept = vKept, &doomed = vDoomed] { drawCells(name + "types.list", pCalc, kept, doomed); });
    return {std::move(vChain), selected(std::move(zeros), vKept)};
}

}  // namespace TARN_KEL
