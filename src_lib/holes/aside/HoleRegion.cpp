// Finds the triangles around a hole that take part in closing it.
#include "HoleRegion.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>

#include "CEdge.h"
#include "CMesh.h"
#include "flood.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_SMOOTH_ANGLE = 10.0;  // degrees between neighbours that aren't at a crease

/// Inserts the triangle and its neighbours across a crease. After a neighbour without a normal it looks at no further one.
void enterCreased(CTriangle* pCT, const CMesh& mesh, std::set<CTriangle*>& sCreased) {
    bool ok = false, okNeig = false;
    const Vector3 normal = pCT->getRealNNV(&mesh, ok);
    bool bCreased = !ok;
    for (int edge = 0; edge < 3 && ok; ++edge) {
        CTriangle* pNeig = pCT->getCEdge(edge)->getUniqueOtherTriangle(pCT);
        if (pNeig == nullptr) continue;
        const Vector3 normalNeig = pNeig->getRealNNV(&mesh, okNeig);
        if (okNeig && getAngleDegree(normal, normalNeig) <= MAX_SMOOTH_ANGLE) continue;
        sCreased.insert(pNeig);
        bCreased = true;
        if (!okNeig) break;
    }
    if (bCreased) sCreased.insert(pCT);
}

}  // namespace

VCCD endsOf(const std::vector<CEdge*>& vCE) {
    VCCD vCCD;
    for (const CEdge* pCE : vCE)
        vCCD.insert(vCCD.end(), {pCE->v0, pCE->v1});
    ASSEX(!vCCD.empty());
    oneInstanceMT(vCCD);
    return vCCD;
}

std::array<CoordinateRange, 3> rangesOf(const VCCD& vCCD, const Calc& calc) {
    std::array<CoordinateRange, 3> ranges;
    for (const CCD ccd : vCCD) {
        unsigned long long x, y, z;
        calc.extractIntCCD(ccd, x, y, z);
        ranges[0].take(x);
        ranges[1].take(y);
        ranges[2].take(z);
    }
    return ranges;
}

bool isInside(const Box& box, const Calc& calc, const CTriangle& triangle) {
    return std::ranges::all_of(std::array{triangle.c0, triangle.c1, triangle.c2}, [&](VCD vcd) {
        const auto [x, y, z] = box.toBox(calc, vcd);
        return x > 0 && x < box.rgx - 1 && y > 0 && y < box.rgy - 1 && z > 0 && z < box.rgz - 1;
    });
}

std::vector<CTriangle*> trianglesInside(const Box& box, const Calc& calc, const std::vector<CEdge*>& vCE) {
    std::vector<CTriangle*> vT;
    for (const CEdge* pCE : vCE)
        vT.insert(vT.end(), pCE->vCT.begin(), pCE->vCT.end());
    oneInstance(vT);
    std::unordered_set<const CTriangle*> sReached(vT.begin(), vT.end());
    const auto forEachNeig = [](const CTriangle* pCT, const auto& offer) {
        for (int edge = 0; edge < 3; ++edge)
            offer(pCT->getCEdge(edge)->getUniqueOtherTriangle(pCT));
    };
    floodInOrder(vT, forEachNeig, [&](const CTriangle* pCT) {
        return pCT != nullptr && isInside(box, calc, *pCT) && sReached.insert(pCT).second;
    });
    std::sort(vT.begin(), vT.end());
    return vT;
}

std::set<VCD> cornersAtRim(const std::vector<CTriangle*>& vT) {
    std::vector<CEdge*> vEdges, vRim;
    vEdges.reserve(3 * vT.size());
    for (const CTriangle* pCT : vT)
        vEdges.insert(vEdges.end(), {pCT->pCE01, pCT->pCE12, pCT->pCE02});
    sortMT(vEdges.begin(), vEdges.end());
    filterN(vEdges, 1, vRim);
    std::set<VCD> sCorners;
    for (const CEdge* pCE : vRim)
        for (const CTriangle* pCT : pCE->vCT)
            sCorners.insert({pCT->c0, pCT->c1, pCT->c2});
    return sCorners;
}

std::set<CTriangle*> trianglesAt(const VCCD& vCorners, const CMesh& mesh) {
    std::vector<CTriangle*> vT;
    for (const VCD vcd : vCorners)
        mesh.getIncidentT(vcd, vT);
    return {vT.begin(), vT.end()};
}

std::set<CTriangle*> creasedAmong(const std::set<CTriangle*>& sT, const CMesh& mesh) {
    std::set<CTriangle*> sCreased;
    for (CTriangle* pCT : sT)
        enterCreased(pCT, mesh, sCreased);
    return sCreased;
}

VCCD cornersOf(const std::vector<CTriangle*>& vT, const CMesh& mesh) {
    VCCD vCorners;
    mesh.extractAliveVCD(vT, vCorners);
    oneInstanceOfNumbers(vCorners);
    return vCorners;
}

VCCD innerCorners(const HoleRegion& region, const CMesh& mesh) {
    const VCCD vCorners = cornersOf(region.vT, mesh);
    const std::set<VCD>& sRim = region.sRimVCD;
    VCCD vInner;
    std::set_difference(vCorners.begin(), vCorners.end(), sRim.begin(), sRim.end(), std::back_inserter(vInner));
    return vInner;
}

VCCD thirdCorners(const std::vector<CEdge*>& vCE, const Calc& calc) {
    VCCD vCorners;
    for (const CEdge* pCE : vCE) {
        if (calc.getNumDifferent_CCD(pCE->v0, pCE->v1) != 3) continue;
        for (const CTriangle* pCT : pCE->vCT)
            vCorners.push_back(pCT->getCorner(pCT->getICI(pCE->v0, pCE->v1)));
    }
    oneInstance(vCorners);
    return vCorners;
}

}  // namespace TARN_KEL
