// Short edges are kept in a queue, the shortest first, and are collapsed to the midpoint or onto an end where normals hardly
// turn. A collapse moves vertices, so keys become stale: an edge that comes up longer than its key is put back under its
// current length, and short edges at the moved vertex are entered again.
#include "coarseCollapses.h"

#include <algorithm>
#include <cfloat>
#include <optional>
#include <utility>
#include <vector>

#include "CMesh.h"
#include "borders.h"
#include "coarseFlips.h"
#include "degenerate.h"
#include "edgeGeometry.h"
#include "geometryFunctions.h"
#include "lazyQueue.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_TURN = 5.0;      // degrees, of normals around a collapse
constexpr int ENOUGH_COLLAPSES = 11;  // for another pass

using EdgeQueue = std::multimap<double, CEdge*>;

double sqLengthOf(const CMesh& mesh, const CEdge& edge) {
    return (*mesh.getVtx(edge.v1) - *mesh.getVtx(edge.v0)).sqLength();
}

/// The edges whose squared length is below maxSq, with that squared length as key; equal ones in order of creation.
std::vector<std::pair<double, CEdge*>> shortEdges(const CMesh& mesh, const std::vector<CEdge*>& vCE, double maxSq) {
    std::vector<std::pair<double, CEdge*>> vShort;
    for (CEdge* pCE : vCE) {
        const double sq = sqLengthOf(mesh, *pCE);
        if (sq < maxSq) vShort.emplace_back(sq, pCE);
    }
    sortMT(vShort.begin(), vShort.end());
    return vShort;
}

/// The ends of all edges of degree 1, sorted and unique.
std::vector<VCD> borderVertices(const CMesh& mesh) {
    std::vector<CEdge*> vBorderCE;
    mesh.getDegN(1, vBorderCE);
    std::vector<VCD> vBorderVCD;
    vBorderVCD.reserve(2 * vBorderCE.size());
    for (const CEdge* pCE : vBorderCE)
        vBorderVCD.insert(vBorderVCD.end(), {pCE->v0, pCE->v1});
    oneInstance(vBorderVCD);
    return vBorderVCD;
}

/// Whether no triangle at vcd turns by more than MAX_TURN when vcd moves to target. Triangles that the collapse removes and
/// degenerate ones don't count.
bool keepsNormals(const CMesh& mesh, VCD vcd, VCD otherEnd, const Point3& target) {
    std::vector<CTriangle*> vIncT;
    mesh.getIncidentT(vcd, vIncT);
    ASSEX(!vIncT.empty());
    const Point3& p = *mesh.getVtx(vcd);
    return std::all_of(vIncT.begin(), vIncT.end(), [&](const CTriangle* pCT) {
        if (pCT->has(otherEnd)) return true;
        VCD next, previous;
        pCT->getOtherCCDs(vcd, next, previous);
        const Point3 &pNext = *mesh.getVtx(next), &pPrevious = *mesh.getVtx(previous);
        const Vector3 nOld = crossProduct(pNext - p, pPrevious - p);
        return nOld.isDegenerate() || isGentleTurn(nOld, crossProduct(pNext - target, pPrevious - target), MAX_TURN);
    });
}

void enterShortEdgesAt(const CMesh& mesh, VCD vcd, double maxSq, EdgeQueue& prioq) {
    std::vector<CEdge*> vIncCE;
    mesh.getIncidentCE(vcd, vIncCE);
    enterShortEdges(
        vIncCE, maxSq, [&mesh](const CEdge& edge) { return sqLengthOf(mesh, edge); }, prioq);
}

bool tryCollapse(CMesh& mesh, CEdge* pCE, SimplifyMode mode, double maxSq, EdgeQueue& prioq) {
    const bool bMid = mode == SM_MID_THEN_SINGLE || mode == SM_MID;
    const bool bSingle = mode == SM_MID_THEN_SINGLE || mode == SM_SINGLE;
    if (bMid && collapseToMiddle(mesh, pCE, pCE->getCenter(&mesh), maxSq, prioq)) return true;
    return bSingle && (collapseOntoEnd(mesh, pCE, 0, maxSq, prioq) || collapseOntoEnd(mesh, pCE, 1, maxSq, prioq));
}

}  // namespace

void simplifyAndFlip(CMesh& mesh) {
    killDegenerate(mesh);
    flipByEnergy(mesh, 0.1);
    flipByEnergy(mesh, 1.0);
    const double L = mesh.getSideLen() * 1.5;
    simplifyCoarse(mesh, 0, L, SM_MID_THEN_SINGLE);
    out() << fatBar("lap deactivated");
    killTinyPatches(mesh, 5);
    simplifyCoarse(mesh, 0, L, SM_MID_THEN_SINGLE);
    for (int i = 0; i < 3; ++i)
        flipByEnergy(mesh, 0.1);
}

bool simplifyCoarse(CMesh& mesh, int passNo, double maxLen, SimplifyMode mode) {
    out() << fatBar("This is simplify(), passNo " + toString(passNo));
    const std::vector<VCD> vBorderVCD = borderVertices(mesh);
    const auto touchesBorder = [&vBorderVCD](const CEdge* pCE) {
        return std::binary_search(vBorderVCD.begin(), vBorderVCD.end(), pCE->v0) ||
               std::binary_search(vBorderVCD.begin(), vBorderVCD.end(), pCE->v1);
    };
    const double maxSq = maxLen == DBL_MAX ? DBL_MAX : maxLen * maxLen;
    std::vector<CEdge*> vCE;
    mesh.getDegN(-99, vCE);
    std::erase_if(vCE, touchesBorder);
    const auto vShort = shortEdges(mesh, vCE, maxSq);
    EdgeQueue prioq(vShort.begin(), vShort.end());

    int numKilled = 0;
    const auto judge = [&](const CEdge* pCE) -> std::optional<double> {
        if (pCE->getDegree() == 0 || touchesBorder(pCE)) return {};
        const double sq = sqLengthOf(mesh, *pCE);
        return sq < maxSq ? std::optional(sq) : std::nullopt;
    };
    runLazily(prioq, judge, [&](CEdge* pCE, double) { numKilled += tryCollapse(mesh, pCE, mode, maxSq, prioq) ? 1 : 0; });
    out() << "passNo: " << passNo << ", numKilled: " << numKilled << "\n";
    out() << "killDups has killed " << mesh.killDups() << std::endl;
    const int num2 = mesh.killDups();
    ASSEX(num2==0);
    if (numKilled >= ENOUGH_COLLAPSES) return true;
    return numKilled > 0 && passNo == 0;
}

bool collapseOntoEnd(CMesh& mesh, CEdge* pCE, int iKill, double maxSq, EdgeQueue& prioq) {
    ASSEX_AS("false", iKill == 0 || iKill == 1);
    const VCD src = iKill == 0 ? pCE->v0 : pCE->v1, trg = pCE->getOtherVCD(src);
    std::vector<CTriangle*> vCurTrgT;
    mesh.getIncidentT(trg, vCurTrgT);
    const bool bGentle = keepsNormals(mesh, src, trg, *mesh.getVtx(trg));
    ASSEX(!vCurTrgT.empty());
    if (!bGentle || !mesh.collapseEdgeToEndpoint(pCE, src, trg)) return false;
    enterShortEdgesAt(mesh, trg, maxSq, prioq);
    return true;
}

bool collapseToMiddle(CMesh& mesh, CEdge* pCE, const Point3& M, double maxSq, EdgeQueue& prioq) {
    if (!keepsNormals(mesh, pCE->v0, pCE->v1, M) || !keepsNormals(mesh, pCE->v1, pCE->v0, M)) return false;
    if (pCE->getDegree() == 0) return false;
    enterShortEdgesAt(mesh, mesh.collapseEdgeToMidpoint(pCE), maxSq, prioq);
    return true;
}

void collapseSmallEdges(CMesh& mesh) {
    const double L = mesh.getSideLen() / 3;
    std::vector<CEdge*> vCE;
    mesh.getDegN(-99, vCE);
    for (const auto& [sq, pCE] : shortEdges(mesh, vCE, L * L))
        mesh.collapseEdgeToMidpoint(pCE);
    mesh.killDups();
}

}  // namespace TARN_KEL
