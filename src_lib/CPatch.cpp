// Sheets of the coarse mesh.
//
// Most questions about a patch are questions about its edges: which ones does exactly one member stand on (the boundary),
// which ones two or more? All of them are answered from one list, the three edges of every alive member sorted by address,
// in which an edge stands once for each member on it. That asks no triangle for its patch, needs no marks, and costs two or
// three passes of a radix sort.
//
// Splitting a closed patch. Where a thin double sheet runs into itself, an ME has two members that belong to different
// sides. From one such ME two floods start, one on either side, that share one queue: what turns least is crossed first.
// Crossing a manifold edge, or one where more than two members meet, stays on the side; crossing an ME with two members
// changes it, the later the less it folds. A side that stands on itself at MEs with triangles of other patches around is the
// one that the rest of the mesh hangs on, so the other one goes; when this tells nothing, the smaller one does.
//
// The queue is a set by priority alone: of two edges with the same turn, two flat ones say, the second isn't entered. So the
// floods need not reach everything; what they don't reach stays.
//
// Shortest paths. Distances from a vertex are what an exhaustive walk would find that follows every improvement at once.
// Here a queue takes the nearest vertex first, which settles each vertex when it comes up, whatever the size of the patch.
#include "CPatch.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <queue>
#include <utility>

#include "CMesh.h"
#include "freeFunctions.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

std::uint64_t nextNumber() {
    static std::atomic<std::uint64_t> counter{0};
    return counter++;
}

/// The edges of the alive triangles sorted by address, each as often as it has triangles in the list.
std::vector<CEdge*> sortedEdgesOf(const std::vector<CTriangle*>& vT) {
    std::vector<CEdge*> vCE;
    vCE.reserve(3 * vT.size());
    for (const CTriangle* pCT : vT)
        if (pCT->isAlive()) vCE.insert(vCE.end(), {pCT->pCE12, pCT->pCE02, pCT->pCE01});
    const auto addressOf = [](const CEdge* pCE) {
        return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(pCE));
    };
    radixSortOnThreads(vCE.data(), vCE.size(), addressOf, numProcessors());
    return vCE;
}

/// visit(edge, number of triangles of the list on it) for each edge of the alive triangles, in address order.
template <typename Visit>
void forEachEdge(const std::vector<CTriangle*>& vT, Visit&& visit) {
    const std::vector<CEdge*> vCE = sortedEdgesOf(vT);
    for (auto it = vCE.begin(); it != vCE.end();) {
        const auto itEnd = std::find_if(it, vCE.end(), [it](const CEdge* pCE) { return pCE != *it; });
        visit(*it, static_cast<int>(itEnd - it));
        it = itEnd;
    }
}

/// Appends the edges of the alive triangles that isWanted(edge, number of triangles on it) selects.
template <typename Out, typename IsWanted>
void selectEdges(const std::vector<CTriangle*>& vT, Out& out, IsWanted&& isWanted) {
    forEachEdge(vT, [&](CEdge* pCE, int numOwn) {
        if (isWanted(pCE, numOwn)) out.push_back(pCE);
    });
}

/// Appends by the degree in the mesh; -1: MEs.
template <typename Out>
void selectByDegree(const std::vector<CTriangle*>& vT, int deg, Out& out) {
    selectEdges(vT, out,
                [deg](const CEdge* pCE, int) { return deg == -1 ? pCE->getDegree() > 2 : pCE->getDegree() == deg; });
}

std::vector<VCD> differentCorners(const CPatch& patch) {
    std::vector<VCD> vVCD;
    patch.getAllVCD(vVCD);
    radixSort(vVCD);
    dropRepeats(vVCD);
    return vVCD;
}

/// Vertices of the alive triangles at their places in the mesh, three a triangle.
std::vector<Point3*> verticesOf(const std::vector<CTriangle*>& vT, const CMesh& mesh) {
    std::vector<Point3*> vVtx;
    vVtx.reserve(3 * vT.size());
    for (const CTriangle* pCT : vT)
        if (pCT->isAlive()) vVtx.insert(vVtx.end(), {mesh.getVtx(pCT->c0), mesh.getVtx(pCT->c1), mesh.getVtx(pCT->c2)});
    return vVtx;
}

void killAlive(const std::vector<CTriangle*>& vT, CMesh* pCMesh) {
    for (CTriangle* pCT : vT)
        if (pCT->isAlive()) pCT->kill(pCMesh);
}

}  // namespace

// ---- Members

CPatch::CPatch(CMesh* mesh, Calc* calc) : CPatch(mesh, calc, nextNumber()) {}

CPatch::CPatch(CMesh* mesh, Calc* calc, std::uint64_t number_)
    : label(static_cast<int>(number_)), pCMesh(mesh), pCalc(calc), number(number_) {}

CPatch::~CPatch() {
    for (CTriangle* pCT : vMemberCT)
        if (pCT->getPatch() == this) pCT->setPatch(nullptr);
}

void CPatch::add(CTriangle* pCT) {
    vMemberCT.push_back(pCT);
    pCT->setPatch(this);
}

// The dead ones forget the patch, which won't know them any more when it is deleted.
void CPatch::killPatchAndMembers() {
    bAlive = false;
    killAlive(vMemberCT, pCMesh);
    for (CTriangle* pCT : vMemberCT)
        if (pCT->getPatch() == this) pCT->setPatch(nullptr);
    vMemberCT.clear();
    vPatchBoundaryCE.clear();
    numInnerVtx = -1;
}

void CPatch::assimilate(CPatch* pOtherPatch, bool bBoundary) {
    ASSEX(isAlive() && pOtherPatch->isAlive());
    ASSEX(pOtherPatch!=this);
    if (bBoundary)
        joinBoundary(*pOtherPatch);
    else
        vPatchBoundaryCE.clear();
    for (CTriangle* pCT : pOtherPatch->vMemberCT)
        add(pCT);
    pOtherPatch->vMemberCT.clear();
    pOtherPatch->vDegNot2CE.clear();
    pOtherPatch->killPatchAndMembers();
}

// An edge of both boundaries lies inside the union; the two members that made it a boundary must still be there.
void CPatch::joinBoundary(const CPatch& other) {
    const CPatch* pOtherPatch = &other;
    ASSEX(pOtherPatch->getSize()==0 || !pOtherPatch->vPatchBoundaryCE.empty() || pOtherPatch->isClosed());
    std::vector<CEdge*> vUnion;
    vUnion.reserve(vPatchBoundaryCE.size() + other.vPatchBoundaryCE.size());
    std::merge(vPatchBoundaryCE.begin(), vPatchBoundaryCE.end(), other.vPatchBoundaryCE.begin(),
               other.vPatchBoundaryCE.end(), std::back_inserter(vUnion));
    vPatchBoundaryCE.clear();
    for (std::size_t i = 0; i < vUnion.size(); ++i) {
        if (i + 1 == vUnion.size() || vUnion[i] != vUnion[i + 1]) {
            vPatchBoundaryCE.push_back(vUnion[i]);
            continue;
        }
        const int cnt = vUnion[i]->getNumPatchTriangles(this) + vUnion[i]->getNumPatchTriangles(&other);
        ASSEX(cnt>1);
        ++i;
    }
}

// ---- Boundary

void CPatch::setOuterBoundary() {
    ASSEX(isAlive());
    vPatchBoundaryCE.clear();
    selectEdges(vMemberCT, vPatchBoundaryCE, [](const CEdge*, int numOwn) { return numOwn == 1; });
}

std::size_t CPatch::getPatchBoundarySize() const {
    ASSEX(isAlive());
    return vPatchBoundaryCE.size();
}

void CPatch::getPatchBoundaryCE(std::set<CEdge*>& sBoundaryCE) const {
    ASSEX(isAlive());
    sBoundaryCE.insert(vPatchBoundaryCE.begin(), vPatchBoundaryCE.end());
}

void CPatch::getPatchBoundaryCE(std::vector<CEdge*>& vBoundaryCE) const {
    ASSEX(isAlive());
    vBoundaryCE.insert(vBoundaryCE.end(), vPatchBoundaryCE.begin(), vPatchBoundaryCE.end());
}

bool CPatch::isClosed() const {
    if (getSize() <= 3) return false;
    const auto hasBorder = [](const CTriangle* pCT) { return pCT->isAlive() && pCT->hasBorder(); };
    if (std::any_of(vMemberCT.begin(), vMemberCT.end(), hasBorder)) return false;
    std::vector<CEdge*> vOpenCE;
    selectEdges(vMemberCT, vOpenCE, [](const CEdge*, int numOwn) { return numOwn < 2; });
    return vOpenCE.empty();
}

// ---- Lists

void CPatch::getAllCE(std::vector<CEdge*>& vCE) const {
    selectEdges(vMemberCT, vCE, [](const CEdge*, int) { return true; });
}

void CPatch::getAllVCD(std::vector<VCD>& vVCD) const {
    vVCD.reserve(vVCD.size() + 3 * vMemberCT.size());
    for (const CTriangle* pCT : vMemberCT)
        vVCD.insert(vVCD.end(), {pCT->c0, pCT->c1, pCT->c2});
}

void CPatch::getDegNCE(int deg, std::list<CEdge*>& lCE) const {
    selectByDegree(vMemberCT, deg, lCE);
}

void CPatch::getGlobalDegNEdges(int deg, std::vector<CEdge*>& vCE) const {
    selectByDegree(vMemberCT, deg, vCE);
}

void CPatch::getME(std::list<CEdge*>& lCE) const {
    selectByDegree(vMemberCT, -1, lCE);
}

void CPatch::getDegNWithRespectToOwn(int deg, std::vector<CEdge*>& vCE) const {
    selectEdges(vMemberCT, vCE, [deg](const CEdge*, int numOwn) { return deg == -99 ? numOwn > 2 : numOwn == deg; });
}

void CPatch::setDegNot2CE() {
    vDegNot2CE.clear();
    selectEdges(vMemberCT, vDegNot2CE, [](const CEdge* pCE, int) { return pCE->getDegree() != 2; });
}

// ---- Figures

double CPatch::getArea() const {
    double area = 0.0;
    for (const CTriangle* pCT : vMemberCT)
        if (pCT->isAlive()) area += pCT->getArea(pCMesh);
    return area;
}

double CPatch::computeOrientedVolume() const {
    return computeVolume(verticesOf(vMemberCT, *pCMesh));
}

VCD CPatch::getMaxZCCD() const {
    VCD top = ~VCD{0};
    VCD maxZ = 0;
    for (const CTriangle* pCT : vMemberCT)
        for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2}) {
            if ((vcd & CCD_Z_BITS) <= maxZ) continue;
            maxZ = vcd & CCD_Z_BITS;
            top = vcd;
        }
    return top;
}

void CPatch::setNumInnerVtx() {
    std::vector<VCD> vBoundary;
    for (const CEdge* pCE : vPatchBoundaryCE)
        vBoundary.insert(vBoundary.end(), {pCE->v0, pCE->v1});
    oneInstance(vBoundary);
    numInnerVtx = static_cast<int>(differentCorners(*this).size()) - static_cast<int>(vBoundary.size());
}

int CPatch::countFeatureCCD(const std::set<VCD>& sFeatureCCD) const {
    const std::vector<VCD> vCorner = differentCorners(*this);
    return static_cast<int>(
        std::count_if(vCorner.begin(), vCorner.end(), [&](VCD vcd) { return sFeatureCCD.count(vcd) != 0; }));
}

namespace {

constexpr std::size_t MAX_TESTED = 500;

/// The corners off an ME of the patch, as far as the map knows them.
struct RimEdge {
    bool bOwn = false;
    CCD ownCCD = 0;  // the last one of the patch itself, if any
    std::vector<std::pair<CPatch*, CCD>> vForeign;
};

RimEdge lookAround(const CEdge& edge, const CPatch* pPatch, const std::map<VCD, CPatch*>& mVCD2Patch) {
    RimEdge rim;
    for (const CTriangle* pCT : edge.vCT) {
        const CCD ccd = pCT->getThirdCCD(edge.v0, edge.v1);
        const auto q_it = mVCD2Patch.find(ccd);
        if (q_it == mVCD2Patch.end()) continue;
        if (q_it->second == pPatch) {
            rim.bOwn = true;
            rim.ownCCD = ccd;
        } else {
            rim.vForeign.emplace_back(q_it->second, ccd);
        }
    }
    return rim;
}

}  // namespace

void CPatch::setPartnerCertainty(const std::map<VCD, CPatch*>& mVCD2Patch) {
    if (vDegNot2CE.size() > MAX_TESTED) {
        if (partnerCertainty != 0.0 && !(partnerCertainty > 0.1)) return;
        for (std::size_t i = 1; i < vDegNot2CE.size(); ++i)
            std::swap(vDegNot2CE[i], vDegNot2CE[static_cast<std::size_t>(random.next()) % (i + 1)]);
    }
    std::size_t numTested = 0;
    std::size_t numGood = 0;
    for (const CEdge* pCE : vDegNot2CE) {
        if (pCE->getDegree() <= 2) continue;
        if (++numTested > MAX_TESTED) break;
        const RimEdge rim = lookAround(*pCE, this, mVCD2Patch);
        const CCD ownCCD = rim.ownCCD;
        for (const auto& [pPartner, ccd1] : rim.vForeign) {
            sPartnerPatches.insert(pPartner);
            if (!rim.bOwn) continue;
            ASSEX(ownCCD!=ccd1);
            numGood += pCalc->getNeigType(ownCCD, ccd1) == NT_FACE ? 1 : 0;
        }
    }
    partnerCertainty = numTested == 0 ? 0.0 : static_cast<double>(numGood) / static_cast<double>(numTested);
}

// ---- Orientation

void CPatch::flipPatch() {
    for (CTriangle* pCT : vMemberCT)
        if (pCT->isAlive()) pCT->flipNNV();
}

void CPatch::orientPatch() {
    std::vector<CTriangle*> vTopT;
    pCMesh->getIncidentT(getMaxZCCD(), vTopT);
    if (vTopT.empty()) {
        warning(KEL_PLACE, "reorientation failed");
        return;
    }
    Vector3 sum;
    for (const CTriangle* pCT : vTopT) {
        bool bOK = false;
        const Vector3 nnv =
            getNormalVector(pCalc->getRefPoint(pCT->c0), pCalc->getRefPoint(pCT->c1), pCalc->getRefPoint(pCT->c2), bOK);
        if (bOK) sum = sum + nnv;
    }
    if (sum.z() < 0.0) flipPatch();
}

void CPatch::intraOrientation() {
    const auto clearMarks = [](const std::vector<CTriangle*>& vCT) {
        for (CTriangle* pCT : vCT)
            pCT->bVisited = false;
    };
    clearMarks(vMemberCT);
    std::vector<CTriangle*> vOutside;
    std::vector<CTriangle*> vStack;
    const auto take = [&](CTriangle* pCT) {
        pCT->bVisited = true;
        if (pCT->getPatch() != this) vOutside.push_back(pCT);
        vStack.push_back(pCT);
    };
    for (CTriangle* pStartT : vMemberCT) {
        if (!pStartT->isAlive() || pStartT->bVisited) continue;
        take(pStartT);
        while (!vStack.empty()) {
            const CTriangle* pCT = vStack.back();
            vStack.pop_back();
            for (int i = 0; i < 3; ++i) {
                if (pCT->getCE(i)->getDegree() != 2) continue;
                CTriangle* pNeigT = pCT->getCE(i)->getUniqueOtherTriangle(pCT);
                if (pNeigT->bVisited) continue;
                if (pNeigT->needFlip(pCT)) pNeigT->flipNNV();
                take(pNeigT);
            }
        }
    }
    clearMarks(vMemberCT);
    clearMarks(vOutside);
    orientPatch();
}

// ---- Splitting

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

/// Whether a patch is thin enough to be split: by its mean thickness in cells, from 20 members on.
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
    std::unordered_map<const CTriangle*, Side> mSide;  // of what the floods reached; no walk goes over it
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

// By address, so that the order of kills doesn't depend on how the floods ran.
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
    killAlive(bKillPos ? vPos : vNeg, pCMesh);
    return true;
}

}  // namespace

ConEdge::ConEdge(CMesh* pCMesh, CEdge* pCE_, const FlatSet<CTriangle*>& sPatchT)
    : pCE(pCE_), degree(pCE_->getDegree()), priority(181.0), bSameSide(true) {
    ASSEX(degree>=2);
    for (CTriangle* pCT : pCE->vCT)
        if (degree == 2 || sPatchT.count(pCT) != 0) vMemT.push_back(pCT);
    ASSEX(vMemT.size()>=2);
    if (vMemT.size() > 2) return;
    bSameSide = degree == 2;
    const double turn = turnBetween(*vMemT[0], *vMemT[1], pCMesh);
    priority = bSameSide ? turn : 180.0 - turn;
}

// The start is looked for before the thickness is measured: most patches have none, and looking is much cheaper.
bool CPatch::splitClosedPatchKill(bool bCareful) {
    intraOrientation();
    PatchSplitter splitter(*this, pCMesh);
    if (!splitter.findStart(vMemberCT) || !isThin(*this, pCMesh->getSideLen())) return false;
    splitter.start();
    splitter.grow();
    return splitter.killOneSide(bCareful);
}

bool CPatch::canKillLeaveDeg2() const {
    warning(KEL_PLACE, "return false");
    return false;
}

// ---- Paths

namespace {

const Dijkstra& nodeBefore(const Dijkstra& node) {
    const CEdge* pIncomingCE = node.pIncomingCE;
    ASSEX(pIncomingCE!=NULL);
    const DijkstraMap& mVCD2Dijkstra = *node.mVCD2Dijkstra;
    const auto q_it2 = mVCD2Dijkstra.find(pIncomingCE->getOtherVCD(node.vcd));
    ASSEX(q_it2!=mVCD2Dijkstra.end());
    return q_it2->second;
}

/// The length of an inner edge in the search.
double weightOf(const CEdge& edge, const std::map<VCD, Point3>& mPoints) {
    const double angle = edge.getDihedralAngle(mPoints);
    if (angle < 50.0) return 0.3;
    return angle > 95.0 ? 1.5 : 1.0;
}

/// Vertices at which exactly one edge with a triangle outside the patch ends.
std::set<VCD> openEndsOf(const std::vector<CTriangle*>& vMemberCT) {
    std::vector<CEdge*> vForeignCE;
    selectEdges(vMemberCT, vForeignCE, [](const CEdge* pCE, int numOwn) { return numOwn < pCE->getDegree(); });
    std::vector<VCD> vEnd;
    for (const CEdge* pCE : vForeignCE)
        vEnd.insert(vEnd.end(), {pCE->v0, pCE->v1});
    std::sort(vEnd.begin(), vEnd.end());
    std::set<VCD> sEndVtx;
    filterN(vEnd, 1, sEndVtx);
    return sEndVtx;
}

}  // namespace

void Dijkstra::update(CEdge* pCE, double newDist, const std::map<VCD, Point3>& mPoints) {
    updateToNearest({}, pCE, newDist, mPoints);
}

// All edges have a length, so a node that comes up has its final distance, and of equally near goals the lowest comes first.
const Dijkstra* Dijkstra::updateToNearest(const std::set<VCD>& sGoal, CEdge* pCE, double newDist,
                                          const std::map<VCD, Point3>& mPoints) {
    using Entry = std::pair<double, Dijkstra*>;
    const auto isFarther = [](const Entry& a, const Entry& b) {
        return a.first != b.first ? a.first > b.first : a.second->vcd > b.second->vcd;
    };
    std::priority_queue<Entry, std::vector<Entry>, decltype(isFarther)> queue(isFarther);
    const auto reach = [&queue](Dijkstra& node, CEdge* pIncoming, double distance) {
        if (!(distance < node.dist)) return;
        node.pIncomingCE = pIncoming;
        node.dist = distance;
        queue.emplace(distance, &node);
    };
    reach(*this, pCE, newDist);
    while (!queue.empty()) {
        const auto [distance, pNode] = queue.top();
        queue.pop();
        if (distance > pNode->dist) continue;  // it was reached on a shorter way since
        if (sGoal.count(pNode->vcd) != 0) return pNode;
        const auto q_it = mVCD2InnerCEVec->find(pNode->vcd);
        if (q_it == mVCD2InnerCEVec->end()) continue;
        for (CEdge* pInnerCE : q_it->second) {
            const VCD other = pInnerCE->getOtherVCD(pNode->vcd);
            Dijkstra& node = mVCD2Dijkstra->try_emplace(other, other, mVCD2Dijkstra, mVCD2InnerCEVec).first->second;
            reach(node, pInnerCE, distance + weightOf(*pInnerCE, mPoints));
        }
    }
    return nullptr;
}

void Dijkstra::getBackPath(std::vector<CEdge*>& vPath) const {
    for (const Dijkstra* pNode = this; pNode->dist != 0.0;) {
        const Dijkstra& before = nodeBefore(*pNode);
        vPath.push_back(pNode->pIncomingCE);
        pNode = &before;
    }
}

void CPatch::findPartitioningPath(std::vector<CEdge*>& vPath, const std::map<VCD, Point3>& mPoints) const {
    ASSEX(this->isAlive());
    std::set<VCD> sEndVtx = openEndsOf(vMemberCT);
    if (sEndVtx.size() < 2) return;
    std::vector<CEdge*> vInnerCE;
    selectByDegree(vMemberCT, 2, vInnerCE);
    InnerEdgeMap mVCD2InnerCEVec;
    for (CEdge* pCE : vInnerCE)
        for (const VCD vcd : {pCE->v0, pCE->v1})
            mVCD2InnerCEVec[vcd].push_back(pCE);

    while (sEndVtx.size() >= 2) {
        const VCD start = sEndVtx.extract(sEndVtx.begin()).value();
        DijkstraMap mVCD2Dijkstra;
        const auto itStart = mVCD2Dijkstra.try_emplace(start, start, &mVCD2Dijkstra, &mVCD2InnerCEVec).first;
        const Dijkstra* pNearest = itStart->second.updateToNearest(sEndVtx, nullptr, 0.0, mPoints);
        if (pNearest == nullptr) {
            warning(KEL_PLACE, "Condition [ sEndVtx.empty() failed ]");
            return;
        }
        pNearest->getBackPath(vPath);
        sEndVtx.erase(pNearest->vcd);
    }
}

// ---- Lists of triangles

void getEdgesWithDegree(int deg, const std::vector<CTriangle*>& vT, std::vector<CEdge*>& vOut) {
    const auto isWanted = [deg](const CEdge*, int m) {
        switch (deg) {
        case -1:
            return m % 2 == 1;
        case -2:
            return m % 2 == 0;
        case -3:
            return m > 2;
        case -4:
            return m % 2 == 0 && m >= 4;
        default:
            return m == deg;  // no edge has a negative m
        }
    };
    vOut.clear();
    selectEdges(vT, vOut, isWanted);
}

void getConnectedComponents_HE(const std::vector<CTriangle*>& vT, std::vector<std::vector<CTriangle*>>& vvOut) {
    std::vector<CTriangle*> vSet = vT;
    oneInstance(vSet);
    std::vector<char> vTaken(vSet.size(), 0);
    const auto tryTake = [&](const CTriangle* pCT) {
        const auto it = std::lower_bound(vSet.begin(), vSet.end(), pCT);
        return it != vSet.end() && *it == pCT && std::exchange(vTaken[static_cast<std::size_t>(it - vSet.begin())], 1) == 0;
    };
    std::vector<CTriangle*> vStack;
    for (CTriangle* pStartT : vSet) {
        if (!pStartT->isAlive() || !tryTake(pStartT)) continue;
        std::vector<CTriangle*>& vComponent = vvOut.emplace_back();
        vStack.push_back(pStartT);
        while (!vStack.empty()) {
            const CTriangle* pCT = vComponent.emplace_back(vStack.back());
            vStack.pop_back();
            for (int i = 0; i < 3; ++i) {
                if (pCT->getCE(i)->getDegree() > 2) continue;
                for (CTriangle* pNeigT : pCT->getCE(i)->vCT)
                    if (tryTake(pNeigT)) vStack.push_back(pNeigT);
            }
        }
    }
}

}  // namespace TARN_KEL
