// Builds the table of directions around an edge, and sorts the triangles on an edge by it.
//
// All corners of an extracted triangle lie within one step of each other. Shift an edge so that the lower coordinate of its
// two ends is 1 on each axis: then both ends are cells of the block {1, 2} cubed, and a third corner is a cell of {0..3}
// cubed that touches both. That leaves 56 directed edges and 6 to 16 third corners for each:
//
//     ends r0 -> r1      cells that touch both
//     across a face      16: the 3 x 3 x 2 block around the two, without them
//     across an edge     10
//     across a corner     6
//
// Seen along the edge, the third corners lie around it like the hours around a clock. The table numbers the directions in a
// right-handed turn about r0 -> r1, starting with the lowest third corner. Cells behind each other have the same number:
// those whose directions differ by at most 1 degree, far less than different directions of the lattice do. Only the cyclic
// order matters: sortStar() starts with the triangle of reference. So all orders are exact, wherever the vertices really
// lie, and they are reversed when the edge is.
#include "Rotx.h"

#include <algorithm>
#include <iterator>

#include "CEdge.h"
#include "CMesh.h"
#include "CTriangle.h"
#include "Plane.h"
#include "drawings.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double SAME_DIRECTION = 1.0;  // degrees
constexpr unsigned long long OUTSIDE = 4;
constexpr unsigned long long NO_KEY = ~0ULL;

/// Two bits for each coordinate; NO_KEY for a cell outside {0..3} cubed.
unsigned long long keyOfCell(RCD rcd) {
    if ((rcd & ~packRCD(3, 3, 3)) != 0) return NO_KEY;
    return getX_RCD(rcd) << 4 | getY_RCD(rcd) << 2 | getZ_RCD(rcd);
}

unsigned long long keyOf(RCD r0, RCD r1, RCD t) {
    const unsigned long long k0 = keyOfCell(r0), k1 = keyOfCell(r1), kt = keyOfCell(t);
    return k0 == NO_KEY || k1 == NO_KEY || kt == NO_KEY ? NO_KEY : k0 << 12 | k1 << 6 | kt;
}

/// A coordinate shifted so that low becomes 1. All coordinates outside the block of the table become one value.
unsigned long long shifted(unsigned long long coordinate, unsigned long long low) {
    return std::min(coordinate + 1 - low, OUTSIDE);  // a coordinate below the block wraps round to a huge number
}

struct Cell {
    unsigned long long x, y, z;
};

Cell cellOf(const Calc& calc, CCD ccd) {
    Cell cell{};
    calc.extractIntCCD(ccd, cell.x, cell.y, cell.z);
    return cell;
}

RCD shifted(const Cell& cell, const Cell& low) {
    return packRCD(shifted(cell.x, low.x), shifted(cell.y, low.y), shifted(cell.z, low.z));
}

}  // namespace

Rotx::Rotx(CMesh* mesh, bool bDev_) : pCMesh(mesh), bDev(bDev_), pCalc(mesh->getCalc()) {
    if (bDev) createTable();
}

// ---- The table

void Rotx::createTable() {
    VRCD vBlock;
    for (unsigned i = 0; i < 8; ++i)
        vBlock.push_back(packRCD(1 + (i >> 2), 1 + (i >> 1 & 1), 1 + (i & 1)));
    for (const RCD r0 : vBlock)
        for (const RCD r1 : vBlock)
            if (r0 != r1) sEdges.emplace(r0, r1);
    VRCD vThird;
    std::vector<std::pair<double, RCD>> vSorted;
    for (const auto& [r0, r1] : sEdges) {
        createThirdRCDs(r0, r1, vThird);
        sortThirdRCDs(r0, r1, vThird, vSorted);
        int index = 0;
        double lastAngle = vSorted.front().first;
        for (const auto& [angle, t] : vSorted) {
            if (angle - lastAngle > SAME_DIRECTION) {
                ++index;
                lastAngle = angle;
            }
            mEncoded2Index[keyOf(r0, r1, t)] = index;
        }
    }
}

void Rotx::getSortedRCDCorners(RCD rcd, VRCC& vRCC) {
    vRCC.clear();
    getRCC8({rcd}, true, vRCC);
}

void Rotx::createThirdRCDs(RCD r0, RCD r1, VRCD& vThird) const {
    VRCC vCorner0, vCorner1, vCommon;
    getSortedRCDCorners(r0, vCorner0);
    getSortedRCDCorners(r1, vCorner1);
    std::set_intersection(vCorner0.begin(), vCorner0.end(), vCorner1.begin(), vCorner1.end(), std::back_inserter(vCommon));
    ASSEX(!vCommon.empty());
    RCD aNeig0[26], aNeig1[26];  // ascending
    pCalc->completeArray26_RCD(r0, aNeig0);
    pCalc->completeArray26_RCD(r1, aNeig1);
    vThird.clear();
    std::set_intersection(std::begin(aNeig0), std::end(aNeig0), std::begin(aNeig1), std::end(aNeig1),
                          std::back_inserter(vThird));
}

void Rotx::sortThirdRCDs(RCD r0, RCD r1, const VRCD& vThird, std::vector<std::pair<double, RCD>>& vSorted) const {
    const Calc unitGrid(0.0, 0.0, 0.0, 4.0, 4.0, 4.0, 2);
    const Point3 p0 = unitGrid.getMidPoint_RCD(r0);
    const Point3 p1 = unitGrid.getMidPoint_RCD(r1);
    const Plane reference(p0, p1, unitGrid.getMidPoint_RCD(vThird.front()));
    vSorted.clear();
    for (const RCD t : vThird) {
        const Plane plane(p0, p1, unitGrid.getMidPoint_RCD(t));
        double angle = getAngleDegree(reference.getNormal(), plane.getNormal());
        if (reference.hasOnNegativeSide(unitGrid.getMidPoint_RCD(t))) angle = 360.0 - angle;
        // Through rounding, a cell in the direction of the first one may get an angle just below 360.
        vSorted.emplace_back(360.0 - angle <= SAME_DIRECTION ? 0.0 : angle, t);
    }
    std::sort(vSorted.begin(), vSorted.end());
}

int Rotx::getIdx(RCD r0, RCD r1, RCD t) const {
    const auto q_it = mEncoded2Index.find(keyOf(r0, r1, t));
    ASSEX(q_it!=mEncoded2Index.end());
    return q_it->second;
}

// ---- Triangles

int Rotx::placeOf(const CTriangle& ct, VCD a, VCD b) const {
    const Cell cellA = cellOf(*pCalc, a), cellB = cellOf(*pCalc, b);
    const Cell low{std::min(cellA.x, cellB.x), std::min(cellA.y, cellB.y), std::min(cellA.z, cellB.z)};
    return getIdx(shifted(cellA, low), shifted(cellB, low), shifted(cellOf(*pCalc, ct.getThirdCCD(a, b)), low));
}

bool Rotx::sortStar(CTriangle* pRefCT, CEdge* pCE) {
    ASSEX(pRefCT->isAlive());
    VCD a = pCE->v0;
    VCD b = pCE->v1;
    if (pRefCT->getHEDirection2(a, b) != HE_SAME) std::swap(a, b);
    ASSEX(pRefCT->getHEDirection2(a, b)==HE_SAME);

    std::vector<std::pair<int, CTriangle*>> vTurn;
    for (CTriangle* pCT : pCE->vCT)
        if (pCT->isAlive()) vTurn.emplace_back(placeOf(*pCT, a, b), pCT);
    std::sort(vTurn.begin(), vTurn.end());
    const auto itRef = std::find_if(vTurn.begin(), vTurn.end(), [&](const auto& turn) { return turn.second == pRefCT; });
    ASSEX_AS("bHaveRef", itRef != vTurn.end());
    std::rotate(vTurn.begin(), itRef, vTurn.end());
    pCE->vCT.clear();
    for (const auto& turn : vTurn)
        pCE->vCT.push_back(turn.second);

    const auto isTie = [](const auto& turn0, const auto& turn1) { return turn0.first == turn1.first; };
    // In cyclic order equal places are side by side, but the turn may start between them.
    const bool bTie = std::adjacent_find(vTurn.begin(), vTurn.end(), isTie) != vTurn.end() ||
                      (vTurn.size() > 1 && isTie(vTurn.front(), vTurn.back()));
    if (!bTie) return true;
    out() << "ROTX-BUG: " << std::endl;
    drawOnTheWay([&] { drawStar("rx_" + globalPrefix() + ".list", pCalc, *pCE); });
    return false;
}

}  // namespace TARN_KEL
