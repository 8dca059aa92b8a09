// Flip and splits: the operations that start from an edge.
//
// All of them kill triangles and create others; none is edited in place. The old edge is left over without triangles.
//
// The flip replaces two triangles by those on the other diagonal of their quad. Only the angles at one end of the new
// diagonal are checked: at A, the corner of the first triangle.
//
//         v1                v1
//        /|\               / \      .
//       A | B     ->      A---B     .
//        \|/               \ /      .
//         v0                v0
//
// A sliver whose third corner p lies nearly on its longest edge is removed, and its neighbours over that edge are cut in two
// at p. So no gap is left and no vertex moves. A plain split does the same with a vertex that has no triangles yet.
//
//      next--p--prev        next--p--prev
//          \   /       ->       \ | /
//            c                    c
#include "REdge.h"

#include <algorithm>

#include "RMesh.h"
#include "RTriangle.h"
#include "edgeGeometry.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

void printForBug(const REdge& edge, const RTriangle& rt0, const RTriangle& rt1) {
    out() << "-----------------------------\nREdge::flipEdge(), BUG:\n";
    for (const RTriangle* pRT : {&rt0, &rt1})
        out() << *pRT->aCorners[0] << ", " << *pRT->aCorners[1] << ", " << *pRT->aCorners[2] << "\n";
    out() << "v0=" << *edge.pVtx0 << "\nv1=" << *edge.pVtx1 << std::endl;
}

/// A triangle on the edge that is to be cut in two, as its corners run: c off the edge, then next and prev.
struct Cut {
    Cut(RTriangle* pRT, const REdge& edge) : pNeigT(pRT) {
        const int i = pRT->getICI(edge.pVtx0, edge.pVtx1);
        c = pRT->getCorner(i);
        next = pRT->getCorner((i + 1) % 3);
        prev = pRT->getCorner((i + 2) % 3);
    }
    void perform(Point3* p, RMesh* pMesh, std::vector<RTriangle*>& vNewT) const {
        ASSEX(pNeigT->isAlive());
        pNeigT->kill(pMesh);
        vNewT.push_back(pMesh->createT(c, next, p));
        vNewT.push_back(pMesh->createT(c, p, prev));
    }

    RTriangle* pNeigT;
    Point3 *c, *next, *prev;
};

}  // namespace

REdge* REdge::tryFlipEdge(RMesh* pMesh, RTriangle* pRT0, RTriangle* pRT1) {
    if (pRT0 == nullptr) {
        ASSEX(pRT1==NULL);
        if (!getTwoTriangles(pRT0, pRT1, true)) return nullptr;
    }
    ASSEX(pRT1!=NULL);
    if (!pRT0->isAlive() || !pRT1->isAlive()) return nullptr;

    Point3* aEndpoints[2] = {pVtx0, pVtx1};
    const int i = pRT0->getICI(pVtx0, pVtx1);
    Point3* pA = pRT0->getCorner(i);
    Point3* pB = pRT1->getThirdPoint(pVtx0, pVtx1);
    if (pA == pB) {
        printForBug(*this, *pRT0, *pRT1);
        ASSEX(false);  // duplicates: the caller was to remove them
    }
    if (pMesh->hasAliveEdge(pA, pB)) return nullptr;
    const auto isThin = [&](const Point3* pEnd) { return isSliverAngle(*pB - *pA, *pEnd - *pA); };
    if (std::any_of(aEndpoints, aEndpoints + 2, isThin)) return nullptr;

    const Point3* pNextVtx = pRT0->getCorner((i + 1) % 3);
    pRT0->kill(pMesh);
    pRT1->kill(pMesh);
    if (pNextVtx == aEndpoints[0]) {
        const RTriangle* pFirstT = pMesh->createT(pA, pVtx0, pB);
        pMesh->createT(pB, pVtx1, pA);
        return pFirstT->getRE(1);
    }
    ASSEX(pNextVtx==aEndpoints[1]);
    const RTriangle* pFirstT = pMesh->createT(pB, pVtx0, pA);
    pMesh->createT(pA, pVtx1, pB);
    return pFirstT->getRE(1);
}

void REdge::split(Point3* pNew, RMesh* pMesh) {
    std::vector<RTriangle*> vCopy, vNewT;
    getAliveTriangles(vCopy);
    ASSEX(!vCopy.empty());
    ASSEX(pMesh->owns(pNew));
    for (const RTriangle* pRT : vCopy)
        ASSEX(!pRT->has(pNew));
    for (RTriangle* pRT : vCopy) {
        ASSEX(pRT->isAlive());
        Cut(pRT, *this).perform(pNew, pMesh, vNewT);
    }
}

bool REdge::trySplitNeigsKillT(RMesh* pMesh, RTriangle* pRT, int ici, std::vector<RTriangle*>& vNewT) {
    ASSEX(pRT->isAlive());
    ASSEX(pRT->getRE(ici)==this);
    Point3* p = pRT->getCorner(ici);
    std::vector<Point3*> vRing;
    pMesh->getRingVtx(p, vRing);

    std::vector<Cut> vCut;
    for (RTriangle* pNeigT : vRT) {
        if (pNeigT == pRT) continue;
        bool bOK = false;
        const Vector3& nnv = pNeigT->getNNV(bOK);
        if (!bOK) return false;
        const Cut cut(pNeigT, *this);
        if (std::binary_search(vRing.begin(), vRing.end(), cut.c)) return false;
        if (!isGentleCut(nnv, *cut.c, *cut.next, *cut.prev, *p)) return false;
        vCut.push_back(cut);
    }
    pRT->kill(pMesh);
    for (const Cut& cut : vCut)
        cut.perform(p, pMesh, vNewT);
    return true;
}

}  // namespace TARN_KEL
