// Tidies borders: an extracted mesh is ragged where the scan ends. Three rules clean it. A triangle with one border edge and
// two MEs is killed. A triangle with two border edges and an ME (an ear) is folded into the sheet that continues there. A
// patch that is small, or has much border for its size, is killed as a whole.
//
//     \    /
//      \  /  <- border      A patch is connected through manifold edges, so a strip that an ME connects with a sheet is
//     --ME----              a patch of its own.
//
// Kills turn MEs into manifold edges and so join patches, which are then grown again. A patch that is too large stays too
// large, since patches are killed as a whole or not at all. So the growth of a patch ends as soon as it is too large; the
// triangles reached are marked, and a later growth ends when it touches a mark. Each triangle is marked once, which keeps
// the pass linear, and the inside of a large patch isn't looked at. The border edges of a large patch needn't be known: they
// never count for one that may be killed.
#include "borders.h"

#include <algorithm>
#include <unordered_set>

#include "CMesh.h"
#include "flood.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// More border edges per triangle make a patch ragged.
constexpr double RAGGED = 0.2;

/// Grows patches over manifold edges for killTinyPatches().
class PatchGrower {
public:
    /// No triangle may be marked before. Afterwards a mark means that the triangle belongs to a patch that is too large.
    explicit PatchGrower(std::size_t maxSize_) : maxSize(maxSize_) {}

    bool isSeen(CEdge* pCE) const { return sBorderCE.count(pCE) != 0; }
    std::size_t numSeen() const { return sBorderCE.size(); }
    void see(CEdge* pCE) { sBorderCE.insert(pCE); }
    /// Grows the patch of a triangle. Returns true when it has at most maxSize triangles: then vPatchT is the patch, and all
    /// its border edges are seen. Returns false when it is too large.
    bool grow(CTriangle* pStartT);

    std::vector<CTriangle*> vPatchT;

private:
    bool take(CTriangle* pCT);

    std::size_t maxSize;
    bool bTooLarge = false;
    // The sets are never iterated over.
    std::unordered_set<CEdge*> sBorderCE;
    std::unordered_set<CTriangle*> sPatchT;  // the current patch
    std::vector<CTriangle*> vStack;
};

bool PatchGrower::grow(CTriangle* pStartT) {
    vPatchT.clear();
    sPatchT.clear();
    bTooLarge = false;
    if (take(pStartT)) vStack.push_back(pStartT);
    const auto forEachNext = [this](const CTriangle* pCT, const auto& offer) {
        for (int i = 0; i < 3 && !bTooLarge; ++i) {
            CEdge* pCE = pCT->getCE(i);
            if (pCE->getDegree() == 1) see(pCE);
            if (pCE->getDegree() == 2) offer(pCE->getUniqueOtherTriangle(pCT));
        }
    };
    flood(vStack, forEachNext, [this](CTriangle* pCT) { return take(pCT); });
    if (bTooLarge)
        for (CTriangle* pCT : vPatchT)
            pCT->bVisited = true;
    return !bTooLarge;
}

bool PatchGrower::take(CTriangle* pCT) {
    if (pCT->bVisited) bTooLarge = true;
    if (bTooLarge || !sPatchT.insert(pCT).second) return false;
    vPatchT.push_back(pCT);
    bTooLarge = vPatchT.size() > maxSize;
    return !bTooLarge;
}

bool isUntidy(std::size_t numT, std::size_t numBorder) {
    const bool bRagged = static_cast<double>(numBorder) / static_cast<double>(numT) > RAGGED;
    return bRagged || (numT <= 24 && numBorder >= 2) || (numT <= 6 && numBorder == 1);
}

}  // namespace

std::vector<CEdge*> killHangersGetBorder(CMesh& mesh) {
    std::vector<CEdge*> vDeg1, vBorderCE;
    mesh.getDegN(1, vDeg1);
    for (CEdge* pCE : vDeg1) {
        // A triangle that is killed here has no other border edge, so no other edge of the list loses its triangle.
        const auto& vCT = pCE->vCT;
        ASSEX(vCT.size()==1);
        CTriangle* pCT = vCT[0];
        if (pCT->countEdges(1, 2) > 1)
            vBorderCE.push_back(pCE);
        else
            pCT->kill(&mesh);
    }
    return vBorderCE;
}

void foldEar(CMesh& mesh, CEdge* pBorderCE) {
    if (pBorderCE->getDegree() != 1) return;
    CTriangle* pCT = pBorderCE->getTriangle(true, true);
    int numBorder = 0;
    int idxME = -1;
    for (int i = 0; i < 3; ++i) {
        const int degree = pCT->getCE(i)->getDegree();
        ASSEX(degree!=0);
        if (degree == 1) ++numBorder;
        if (degree == 2) return;
        if (degree > 2) idxME = i;
    }
    if (numBorder == 3) {
        pCT->kill(&mesh);
        return;
    }
    if (numBorder == 1) return;  // two MEs
    ASSEX(numBorder==2);
    std::vector<CTriangle*> vNewT;
    pCT->getCE(idxME)->trySplitNeigsKillT(&mesh, pCT, idxME, vNewT);
    if (pCT->isAlive()) pCT->kill(&mesh);
}

void foldEars(CMesh& mesh, const std::vector<CEdge*>& vBorderCE) {
    for (CEdge* pCE : vBorderCE)
        foldEar(mesh, pCE);
}

void killTinyPatches(CMesh& mesh, int maxNumT) {
    mesh.resetVisited();
    std::vector<CEdge*> vDeg1;
    mesh.getDegN(1, vDeg1);
    PatchGrower grower(static_cast<std::size_t>(std::max(maxNumT, 0)));
    for (CEdge* pCE : vDeg1) {
        if (grower.isSeen(pCE)) continue;
        const std::size_t numBefore = grower.numSeen();
        grower.see(pCE);
        const auto& vCT = pCE->vCT;
        if (vCT.size() == 0) continue;
        ASSEX(vCT.size()==1);
        if (!grower.grow(vCT[0])) continue;
        if (!isUntidy(grower.vPatchT.size(), grower.numSeen() - numBefore)) continue;
        for (CTriangle* pCT : grower.vPatchT)
            pCT->kill(&mesh);
    }
}

}  // namespace TARN_KEL
