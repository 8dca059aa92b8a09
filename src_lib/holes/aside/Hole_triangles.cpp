// From the field to triangles.
//
// grow() puts the surface into the mesh itself. The cells around the lattice edges where the field changes its sign form a
// layer of two to three cells. Cells of the old surface are taken out of it, and the removal test thins it to a sheet whose
// rim lies along the chain. Dual cubes over sheet and chain then give triangles, as they do for a whole model:
//
//        chain               sheet               chain
//       --- # ---  +   +   +   +   +   +   +  --- # ---        # cells of the chain, + new ones
//
// The old triangles stay in the mesh meanwhile, so that none is created twice and flat cubes follow the diagonals that are
// there.
#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "CMesh.h"
#include "Chain.h"
#include "Hole.h"
#include "RemoveDecider.h"
#include "Segment3.h"
#include "cubeTriangles.h"
#include "drawings.h"
#include "fieldZeros.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The cell is a corner of a triangle, so it belongs to the old surface.
bool hasTriangles(const CMesh& mesh, CCD ccd) {
    std::vector<CTriangle*> vIncT;
    mesh.getIncidentT(ccd, vIncT);
    return !vIncT.empty();
}

/// Each cell under the eight keys of its dual cubes, sorted.
std::vector<std::pair<VCD, CCD>> keysOf(const VCCD& vCells, const Calc& calc) {
    std::vector<std::pair<VCD, CCD>> vKeyCell;
    vKeyCell.reserve(8 * vCells.size());
    std::array<VCD, 8> keys{};
    for (const CCD ccd : vCells) {
        keys[0] = ccd;
        calc.completeArrayPlus(keys.data());
        for (const VCD key : keys)
            vKeyCell.emplace_back(key, ccd);
    }
    sortMT(vKeyCell.begin(), vKeyCell.end());
    return vKeyCell;
}

}  // namespace

// ---- The sheet of new cells

void Hole::extractAndCleanHole(VCCD& vHoleCCDs, VCCDPoint& vCCDPoints) {
    out() << fatBar("extractAndCleanHole");
    liftZeros();
    vCCDPoints = pointsOfCells(noteZeros(), *pCalc);
    std::erase_if(vCCDPoints, [this](const auto& cellPoint) {
        return std::binary_search(vCCD.begin(), vCCD.end(), cellPoint.first) || hasTriangles(*pCMesh, cellPoint.first);
    });
    vHoleCCDs.clear();
    for (const auto& [ccd, point] : vCCDPoints)
        vHoleCCDs.push_back(ccd);
    drawOnTheWay([&] { drawCells(name + "z.list", pCalc, vHoleCCDs, vCCD); });

    const VCCD vThird = thirdCorners(vCE, *pCalc);
    vCCD.insert(vCCD.end(), vThird.begin(), vThird.end());
    oneInstance(vCCD);
    VCCD vExisting = vCCD;
    vExisting.insert(vExisting.end(), vHoleCCDs.begin(), vHoleCCDs.end());
    out() << "vBorderCCDs: " << vCCD.size() << "\nvHoleCCDs:   " << vHoleCCDs.size() << std::endl;
    oneInstance(vExisting);
    drawOnTheWay([&] {
        drawCells(name + "bo_plus_holes.list", pCalc, vHoleCCDs, vCCD);
        showCornerVals(name + "plusMinus.list", vExisting);
    });

    thinSheet(vExisting, vHoleCCDs);
    std::erase_if(vCCDPoints, [&](const auto& cellPoint) {
        return !std::binary_search(vHoleCCDs.begin(), vHoleCCDs.end(), cellPoint.first);
    });
}

// The cells around each lattice edge on which the sign changes, each with the zero of that edge.
Hole::VRCDPoint Hole::noteZeros() {
    VRCDPoint vNotes;
    std::vector<Segment3> vSeg, vIncompleteSeg;
    std::vector<Point3> vNegative, vPositive;
    for (const Crossing& crossing : crossingsNear(*this, *this, *pCalc)) {
        const float trgVal = crossing.trgVal;
        if (crossing.srcVal > 0) {
            ASSEX(trgVal<0);
        } else {
            ASSEX(trgVal>0);
        }
        vSeg.emplace_back(crossing.src, crossing.trg);
        vNegative.push_back(trgVal < 0 ? crossing.trg : crossing.src);
        vPositive.push_back(trgVal < 0 ? crossing.src : crossing.trg);
        VRCD vAround = cellsAround(crossing, *this, *pCalc);
        oneInstance(vAround);
        if (vAround.size() < 4) {
            vIncompleteSeg.push_back(vSeg.back());
            out() << "--\n";
        }
        for (const RCD rcd : vAround) {
            out() << "emplacing for rcd=" << rcd << "\n";
            vNotes.emplace_back(rcd, crossing.zero);
        }
    }
    out() << "vIncompleteSeg.size()=" << vIncompleteSeg.size() << std::endl;
    drawOnTheWay([&] {
        drawSegments(name + "incomplete.list", vIncompleteSeg, CRED);
        drawZeros(vSeg, vNegative, vPositive);
        drawNotes(vNotes);
    });
    return vNotes;
}

// Takes out the cells that the removal test allows to remove. vExisting: the cells that the test sees.
void Hole::thinSheet(VCCD& vExisting, VCCD& vHoleCCDs) {
    VCCD vKept, vDoomed;
    RemoveDecider(vExisting, pCalc).pruneStrong(vHoleCCDs, vKept, vDoomed);
    out() << "vHoleCCDs start: " << vHoleCCDs.size() << "\nDoomed ones: " << vDoomed.size()
          << "\nvHoleCCDs final: " << vKept.size() << std::endl;
    vHoleCCDs = std::move(vKept);
    std::sort(vHoleCCDs.begin(), vHoleCCDs.end());
    drawOnTheWay([&] { drawCells(name + "types.list", pCalc, vHoleCCDs, vDoomed); });
}

// ---- Triangles in the mesh

void Hole::grow() {
    VCCD vHoleCCDs;
    VCCDPoint vCCDPoints;
    extractAndCleanHole(vHoleCCDs, vCCDPoints);
    const VCCD vBorderCCDs = vCCD;
    ASSEX(!shareAnEntry(vHoleCCDs,vBorderCCDs));

    VCCD vAll = vHoleCCDs;
    vAll.insert(vAll.end(), vBorderCCDs.begin(), vBorderCCDs.end());
    const std::vector<std::pair<VCD, CCD>> vKeyCell = keysOf(vAll, *pCalc);  // fails for cells that have no keys
    for (const auto& [ccd, point] : vCCDPoints) {
        const CCD freshCCD = pCalc->getCCD(&point);
        ASSEX(ccd==freshCCD);
        pCMesh->addBundle(ccd, point.x(), point.y(), point.z());
    }
    std::vector<CCD> vAmbiguousT;
    createTrianglesOfCubes(pCMesh, casx, vKeyCell, vAmbiguousT);
    solveAmbiguousT(vAmbiguousT);
}

bool Hole::shareAnEntry(VCCD a, VCCD b) {
    oneInstanceMT(a);
    oneInstanceMT(b);
    const std::size_t sizeA = a.size(), sizeB = b.size();
    a.insert(a.end(), b.begin(), b.end());
    oneInstanceMT(a);
    const std::size_t sizeS = a.size();
    if (sizeS == sizeA + sizeB) return false;
    ASSEX(sizeS<sizeA+sizeB);
    return true;
}

int Hole::getConfig(VCD key, VCCD& vCells) {
    return configOfCube(key, vCells);
}

void Hole::solveAmbiguousT(VCCD& vAmbiguousT) {
    createTrianglesOfFlatCubes(pCMesh, vAmbiguousT);
    drawOnTheWay([this] {
        pCMesh->debugShow(name + "finalR.list", VT_REAL, CGREEN);
        pCMesh->debugShow(name + "finalC.list", VT_COARSE, CGREEN);
    });
}

// ---- Rows around the hole

void Hole::getNTriangleRows(int n, std::vector<CTriangle*>& vOut) {
    VVCD vFront;
    pChain->getVCD(vFront);
    std::set<VCD> sSeen;
    std::vector<CTriangle*> vRow;
    for (int i = 0; i < n && !vFront.empty(); ++i) {
        vRow.clear();
        for (const VCD vcd : vFront)
            if (sSeen.insert(vcd).second) pCMesh->getIncidentT(vcd, vRow);
        oneInstance(vRow);
        vOut.insert(vOut.end(), vRow.begin(), vRow.end());
        vFront.clear();
        pCMesh->extractAliveVCD(vRow, vFront);
        oneInstanceMT(vFront);
    }
    oneInstanceMT(vOut);
}

}  // namespace TARN_KEL
