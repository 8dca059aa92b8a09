// Splitting a closed patch that touches itself.
//
// Where a thin double sheet runs into itself, an ME has two members that belong to different sides. From one such ME two
// floods start, one on either side, that share one queue: what turns least is crossed first. Crossing a manifold edge stays
// on the side; crossing an ME with two members changes it, the later the less the surface folds there. An ME with more
// members tells nothing and isn't crossed.
//
//          ________       The two sides of a closed patch, seen across. At both ends they meet in MEs, where other sheets
//     ____/________\____  go on; one side is superfluous.
//
// A side counts as connected to the rest of the mesh when some edge has more than two triangles of this side together with
// triangles of other patches. If only one side is connected, the other one is killed; else the smaller one.
//
// The queue is a set ordered by priority alone: of two edges with the same turn, two flat ones say, the second isn't
// entered. So the floods may not reach everything; what they don't reach is kept.
#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

#include "CMesh.h"
#include "CPatch.h"
#include "anyOf.h"
#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Degrees between the normals of two triangles on one edge as if they agreed in orientation, 0 where the surface goes
/// straight on; 90.0 when a normal is missing or no number.
double turnBetween(const CTriangle& ct0, const CTriangle& ct1, const CMesh* pCMesh) {
    bool bOK0 = false;
    bool bOK1 = false;
    const Vector3 nnv0 = ct0.getRealNNV(pCMesh, bOK0);
    const Vector3 nnv1 = ct1.getRealNNV(pCMesh, bOK1);
    if (!bOK0 || !bOK1) return 90.0;
    const double turn = getAngleDegree(nnv0, ct0.needFlip(&ct1) ? -nnv1 : nnv1);
    return turn >= 0.0 ? turn : 90.0;
}

/// Whether a patch is thin enough to be split. Fewer than 20 members always are; others by their mean thickness in cells.
bool isThin(const CPatch& patch, double sideLen) {
    const std::size_t size = patch.getSize();
    if (size < 20) return true;
    const double r = patch.computeOrientedVolume() / (patch.getArea() * 0.5) / sideLen;
    return r < 0.4 || (size <= 99 && r < 1.0);
}

/// The two sides of a closed patch; see the top of this file.
class PatchSplitter {
public:
    /// The members must not be marked.
    PatchSplitter(const CPatch& patch, CMesh* mesh) : pCMesh(mesh) {
        for (CTriangle* pCT : patch.vMemberCT)
            sPatchT.insert(pCT);
    }

    /// Looks for an ME with exactly two members. False when there is none.
    bool findStart(const std::vector<CTriangle*>& vMemberCT);
    /// Puts these two on either side, turned against each other.
    void start();
    /// Both sides grow until the queue is empty.
    void grow();
    /// False when nothing was killed.
    bool killOneSide(bool bCareful);

private:
    enum Side { SD_POS, SD_NEG };

    bool isStart(CEdge* pCE);
    void take(CTriangle* pCT, Side side, const CEdge* pFromCE);
    void cross(const ConEdge& conEdge);
    std::vector<CTriangle*> listOf(Side side) const;
    std::size_t numForeign(const std::vector<CTriangle*>& vSideT) const;

    CMesh* pCMesh;
    FlatSet<CTriangle*> sPatchT;
    CEdge* pStartME = nullptr;
    CTriangle* pCT0 = nullptr;  // the members on it
    CTriangle* pCT1 = nullptr;
    std::unordered_map<const CTriangle*, Side> mSide;  // of what the floods reached; never iterated over
    std::vector<std::pair<CTriangle*, Side>> vTaken;   // the same in order of reaching
    std::set<ConEdge> sConEdge;
};

bool PatchSplitter::isStart(CEdge* pCE) {
    if (pCE->getDegree() <= 2) return false;
    std::vector<CTriangle*> vMemT;
    for (CTriangle* pCT : pCE->vCT)
        if (sPatchT.count(pCT) != 0) vMemT.push_back(pCT);
    if (vMemT.size() != 2) return false;
    pStartME = pCE;
    pCT0 = vMemT[0];
    pCT1 = vMemT[1];
    return true;
}

bool PatchSplitter::findStart(const std::vector<CTriangle*>& vMemberCT) {
    return std::any_of(vMemberCT.begin(), vMemberCT.end(), [this](const CTriangle* pCT) {
        return isStart(pCT->getCE(0)) || isStart(pCT->getCE(1)) || isStart(pCT->getCE(2));
    });
}

void PatchSplitter::start() {
    if (!pCT0->needFlip(pCT1)) pCT1->flipNNV();
    take(pCT0, SD_POS, pStartME);
    take(pCT1, SD_NEG, pStartME);
}

void PatchSplitter::take(CTriangle* pCT, Side side, const CEdge* pFromCE) {
    pCT->bVisited = true;
    mSide.emplace(pCT, side);
    vTaken.emplace_back(pCT, side);
    for (int i = 0; i < 3; ++i)
        if (pCT->getCE(i) != pFromCE) sConEdge.insert(ConEdge(pCMesh, pCT->getCE(i), sPatchT));
}

void PatchSplitter::cross(const ConEdge& conEdge) {
    if (conEdge.vMemT.size() != 2) return;
    CTriangle* pSrcT = conEdge.vMemT[0];
    CTriangle* pTrgT = conEdge.vMemT[1];
    if (pSrcT->bVisited && pTrgT->bVisited) return;
    if (!pSrcT->bVisited) std::swap(pSrcT, pTrgT);
    ASSEX(pSrcT->bVisited);
    const auto q_it = mSide.find(pSrcT);
    ASSEX(q_it!=mSide.end());
    const Side otherSide = q_it->second == SD_POS ? SD_NEG : SD_POS;
    if (conEdge.bSameSide == pSrcT->needFlip(pTrgT)) pTrgT->flipNNV();
    take(pTrgT, conEdge.bSameSide ? q_it->second : otherSide, conEdge.pCE);
}

void PatchSplitter::grow() {
    while (!sConEdge.empty())
        cross(sConEdge.extract(sConEdge.begin()).value());
}

// Sorted by address, so that the order of kills doesn't depend on how the floods ran.
std::vector<CTriangle*> PatchSplitter::listOf(Side side) const {
    std::vector<CTriangle*> vSideT;
    for (const auto& [pCT, takenSide] : vTaken)
        if (takenSide == side) vSideT.push_back(pCT);
    std::sort(vSideT.begin(), vSideT.end());
    return vSideT;
}

// Counts the triangles outside the patch on edges where the side has more than two of its own.
std::size_t PatchSplitter::numForeign(const std::vector<CTriangle*>& vSideT) const {
    std::vector<CEdge*> vCE;
    getEdgesWithDegree(-3, vSideT, vCE);
    std::size_t num = 0;
    for (const CEdge* pCE : vCE)
        for (CTriangle* pCT : pCE->vCT)
            num += sPatchT.count(pCT) == 0 ? 1 : 0;
    return num;
}

bool PatchSplitter::killOneSide(bool bCareful) {
    const std::vector<CTriangle*> vPos = listOf(SD_POS);
    const std::vector<CTriangle*> vNeg = listOf(SD_NEG);
    const std::size_t numPos = numForeign(vPos);
    const std::size_t numNeg = numForeign(vNeg);
    if (bCareful && numPos > 0 && numNeg > 0) return false;
    bool bKillPos = vPos.size() < vNeg.size();
    if (numPos == 0 && numNeg > 0) bKillPos = true;
    if (numPos > 0 && numNeg == 0) bKillPos = false;
    for (CTriangle* pCT : bKillPos ? vPos : vNeg)
        pCT->kill(pCMesh);
    return true;
}

}  // namespace

ConEdge::ConEdge(CMesh* pCMesh, CEdge* pCE_, const FlatSet<CTriangle*>& sPatchT) : pCE(pCE_), degree(pCE_->getDegree()) {
    ASSEX(degree>=2);
    for (CTriangle* pCT : pCE->vCT)
        if (degree == 2 || sPatchT.count(pCT) != 0) vMemT.push_back(pCT);
    ASSEX(vMemT.size()>=2);
    if (vMemT.size() > 2) return;
    bSameSide = degree == 2;
    const double turn = turnBetween(*vMemT[0], *vMemT[1], pCMesh);
    priority = bSameSide ? turn : 180.0 - turn;
}

// The start is looked for before the thickness is measured: most patches have none, and looking is much cheaper. Most don't
// even have an ME.
bool CPatch::splitClosedPatchKill(bool bCareful) {
    intraOrientation();
    const auto isOnME = [](const CTriangle* pCT) {
        return pCT->getCE(0)->getDegree() > 2 || pCT->getCE(1)->getDegree() > 2 || pCT->getCE(2)->getDegree() > 2;
    };
    if (!anyOf_MT(vMemberCT, isOnME)) return false;
    PatchSplitter splitter(*this, pCMesh);
    if (!splitter.findStart(vMemberCT) || !isThin(*this, pCMesh->getSideLen())) return false;
    splitter.start();
    splitter.grow();
    return splitter.killOneSide(bCareful);
}

}  // namespace TARN_KEL
