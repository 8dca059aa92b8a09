// Removes caps: triangles with an angle of nearly 180 degrees.
//
//         v1                 v1
//       / | \               /  \         alt0 is almost on the edge: the flip divides the area of the other triangle
//    alt0 | alt1    ->  alt0----alt1     between both. Where it isn't possible the cap can be collapsed instead.
//       \ | /               \  /
//         v0                 v0
#include "coarseCaps.h"

#include <cfloat>
#include <map>
#include <vector>

#include "CMesh.h"
#include "coarseCollapses.h"
#include "coarseFlips.h"
#include "edgeGeometry.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double CAP_ANGLE = 179.0;  // degrees

using EdgeQueue = std::multimap<double, CEdge*>;

/// The interior angle of the triangle at one of its corners in degrees.
double angleAt(const CMesh& mesh, const CTriangle& ct, VCD vcd) {
    VCD next, previous;
    ct.getOtherCCDs(vcd, next, previous);
    return angleAt(*mesh.getVtx(vcd), *mesh.getVtx(next), *mesh.getVtx(previous));
}

void requireDifferent(const CEdge* pCE, const CTriangle* pCT0, const CTriangle* pCT1, VCD altVCD0, VCD altVCD1) {
    ASSEX(pCT0!=pCT1 && pCT0!=NULL && pCT1!=NULL);
    ASSEX(pCT0->isAlive());
    ASSEX(pCT1->isAlive());
    ASSEX(altVCD0!=altVCD1);
    ASSEX(altVCD0!=pCE->v0 && altVCD0!=pCE->v1);
    ASSEX(altVCD1!=pCE->v0 && altVCD1!=pCE->v1);
    ASSEX(pCE->v0!=pCE->v1);
}

/// Collapses one of the edges at the flat corner. The triangle may be dead already, with the other cap on its edge.
bool collapseCap(CMesh& mesh, CTriangle* pCT, VCD altVCD) {
    EdgeQueue scratch;
    const int i = pCT->getICI(altVCD);
    for (const int k : {1, 2}) {
        if (!pCT->isAlive()) return false;
        CEdge* pCE = pCT->getCEdge((i + k) % 3);
        if (collapseOntoEnd(mesh, pCE, 0, DBL_MAX, scratch) || collapseOntoEnd(mesh, pCE, 1, DBL_MAX, scratch)) return true;
    }
    return false;
}

}  // namespace

int flipCaps(CMesh& mesh, bool bKill, const std::set<CCD>& sFixedCCD) {
    std::vector<CEdge*> vCE;
    mesh.getCEdges(vCE);
    int numChanges = 0;
    for (CEdge* pCE : vCE) {
        CTriangle *pCT0, *pCT1;
        if (!pCE->getTwoTriangles(pCT0, pCT1, true)) continue;
        const VCD altVCD0 = pCT0->getThirdCCD(pCE->v0, pCE->v1), altVCD1 = pCT1->getThirdCCD(pCE->v0, pCE->v1);
        requireDifferent(pCE, pCT0, pCT1, altVCD0, altVCD1);
        const bool bCap0 = angleAt(mesh, *pCT0, altVCD0) >= CAP_ANGLE, bCap1 = angleAt(mesh, *pCT1, altVCD1) >= CAP_ANGLE;
        if (!bCap0 && !bCap1) continue;
        if (canFlip(mesh, sFixedCCD, pCE->v0, pCE->v1, altVCD0, altVCD1)) {
            VCD nextCCD, prevCCD;
            pCT0->getOtherCCDs(altVCD0, nextCCD, prevCCD);
            if (nextCCD != pCE->v0) ASSEX(nextCCD==pCE->v1);
            pCE->flipEdge(&mesh, pCT0, pCT1);
            ++numChanges;
        } else if (bKill) {
            if (bCap0 && collapseCap(mesh, pCT0, altVCD0)) ++numChanges;
            if (bCap1 && collapseCap(mesh, pCT1, altVCD1)) ++numChanges;
        }
    }
    return numChanges;
}

}  // namespace TARN_KEL
