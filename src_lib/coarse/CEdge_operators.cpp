// Flip and split: the operations that start from an edge.
//
// The flip replaces the two triangles of a quad by those on the other diagonal. Both get the orientation of the first one,
// even if the second one disagreed with it.
//
//         v1                v1
//        /|\               / \       .
//    ccd0 | ccd1   ->  ccd0---ccd1   .
//        \|/               \ /       .
//         v0                v0
//
// The split removes a triangle without area whose third corner lies on this edge, or close to it. Each neighbour over the
// edge is cut in two at that corner, so that no gap is left and no vertex moves.
//
//      b--vtx---c          b--vtx---c
//       \      /            \  |   /
//         \   /     ->        \|  /
//           a                  a
#include "CEdge.h"

#include <array>

#include "CMesh.h"
#include "CPatch.h"
#include "CTriangle.h"
#include "edgeGeometry.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

bool hasDifferentCorners(const CTriangle& ct) {
    return ct.c0 != ct.c1 && ct.c1 != ct.c2 && ct.c0 != ct.c2;
}

void printForBug(const CEdge& edge, const CTriangle& ct0, const CTriangle& ct1) {
    out() << "CEdge::flipEdge(), BUG: two triangles on the same corners at the edge " << edge.v0 << " " << edge.v1;
    for (const CTriangle* pCT : {&ct0, &ct1})
        out() << "\n  " << pCT->c0 << " " << pCT->c1 << " " << pCT->c2;
    out() << std::endl;
}

/// A triangle that is cut in two: its corner a off the edge, the ends b and c of the edge behind and before it.
struct Cut {
    Cut(CTriangle* pNeig, const CEdge& edge) : pNeigT(pNeig) {
        const int i = pNeig->getICI(edge.v0, edge.v1);
        a = pNeig->getCorner(i);
        pNeig->getEdgeCCDs(i, b, c);
    }

    /// Whether neither half turns away when the edge is cut at p.
    bool isGentle(const CMesh* pCMesh, const Point3& p) const {
        bool ok = false;
        const Vector3 nnv = pNeigT->getRealNNV(pCMesh, ok);
        return ok && isGentleCut(nnv, *pCMesh->getVtx(a), *pCMesh->getVtx(b), *pCMesh->getVtx(c), p);
    }

    /// Kills the triangle and makes its halves, which take over its patch.
    void perform(CMesh* pCMesh, VCD vtx, std::vector<CTriangle*>& vNewT) const {
        ASSEX(pNeigT->isAlive());
        CPatch* pPatch = pNeigT->getPatch();
        pNeigT->kill(pCMesh);
        const std::array<CTriangle*, 2> halves = {pCMesh->createT(a, b, vtx, 0, 0), pCMesh->createT(a, vtx, c, 0, 0)};
        for (CTriangle* pHalfT : halves) {
            if (pPatch != nullptr) pPatch->add(pHalfT);
            vNewT.push_back(pHalfT);
        }
    }

    CTriangle* pNeigT;
    VCD a, b, c;
};

}  // namespace

Point3 CEdge::getCenter(const CMesh* pCMesh) const {
    return midpoint(*pCMesh->getVtx(v0), *pCMesh->getVtx(v1));
}

CEdge* CEdge::flipEdge(CMesh* pCMesh, CTriangle* pCT0, CTriangle* pCT1) {
    if (pCT0 == nullptr) {
        ASSEX(pCT1==NULL);
        if (!getTwoTriangles(pCT0, pCT1, true)) {
            warning(KEL_PLACE, "Edge not flipped, !getTwoTriangles()");
            return nullptr;
        }
    }
    ASSEX(pCT1!=NULL);
    if (!pCT0->isAlive() || !pCT1->isAlive()) {
        warning(KEL_PLACE, "pCT0 or pCT1 not alive");
        return nullptr;
    }
    ASSEX(hasDifferentCorners(*pCT0));
    ASSEX(hasDifferentCorners(*pCT1));

    const int i = pCT0->getICI(v0, v1);
    const VCD ccd0 = pCT0->getCorner(i), ccd1 = pCT1->getThirdCCD(v0, v1);
    if (ccd0 == ccd1) printForBug(*this, *pCT0, *pCT1);
    ASSEX(ccd0!=ccd1);
    VCD nextCCD, prevCCD;
    pCT0->getEdgeCCDs(i, nextCCD, prevCCD);
    pCT0->kill(pCMesh);
    pCT1->kill(pCMesh);
    const CTriangle* pFirstT = pCMesh->createT(ccd0, ccd1, prevCCD, 0, 0);
    pCMesh->createT(ccd1, ccd0, nextCCD, 0, 0);
    return pFirstT->getCEdge(2);
}

bool CEdge::trySplitNeigsKillT(CMesh* pCMesh, CTriangle* pKillCT, int ici, std::vector<CTriangle*>& vNewT) {
    ASSEX(pKillCT->isAlive());
    ASSEX(pKillCT->getCEdge(ici)==this);
    const VCD vtx = pKillCT->getCorner(ici);
    const Point3& p = *pCMesh->getVtx(vtx);
    std::vector<Cut> vCut;
    for (CTriangle* pNeigT : vCT) {
        if (pNeigT == pKillCT) continue;
        vCut.emplace_back(pNeigT, *this);
        if (!vCut.back().isGentle(pCMesh, p)) return false;
    }
    pKillCT->kill(pCMesh);
    for (const Cut& cut : vCut)
        cut.perform(pCMesh, vtx, vNewT);
    return true;
}

}  // namespace TARN_KEL
