// Removes spikes. A single fold of nearly 180 degrees is flipped where the other diagonal is flatter (flipFolds). A spike
// has several such folds at its tip, and no flip helps: the tip is removed, and its triangles get the neighbour in its place
// that leaves them flattest.
#include "spikes.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "CMesh.h"
#include "coarseFlips.h"
#include "geometryFunctions.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_FLATTENED = 140.0;  // degrees, below which the largest angle is accepted in any case
constexpr double MIN_FLATTENING = 15.0;  // degrees, by which the largest angle must fall otherwise
constexpr double NOT_POSSIBLE = 360.0;   // an angle above all others
constexpr int MIN_FOLDS = 2;             // at the tip of a spike

/// The side of a triangle opposite the vertex to be removed: its ends in the order of the triangle, and the normal of the
/// triangle beyond it.
struct Side {
    VCD ccd1, ccd2;
    Vector3 neigNNV;
};

/// How many edges have an angle above minAngle between the normals of their triangles; 0 when one of them has none.
int countFolds(const CMesh& mesh, const std::vector<CEdge*>& vE, double minAngle, double& maxAngle) {
    int count = 0;
    for (const CEdge* pCE : vE) {
        CTriangle *pCT0, *pCT1;
        if (!pCE->getTwoTriangles(pCT0, pCT1, true)) return 0;
        bool bOK0 = false, bOK1 = false;
        const Vector3 nnv0 = pCT0->getRealNNV(&mesh, bOK0), nnv1 = pCT1->getRealNNV(&mesh, bOK1);
        if (!bOK0 || !bOK1) return 0;
        const double angle = getAngleDegree(nnv0, nnv1);
        maxAngle = std::max(maxAngle, angle);
        if (angle > minAngle) ++count;
    }
    return count;
}

/// One side for each triangle at the vertex. False unless there is exactly one other triangle on each side, with a normal:
/// else no new corner can be judged.
bool getSides(const CMesh& mesh, CCD ccd, const std::vector<CTriangle*>& vIncT, std::vector<Side>& vSide) {
    for (const CTriangle* pCT : vIncT) {
        const int i = pCT->getICI(ccd);
        const CTriangle* pNeigT = pCT->getCEdge(i)->getUniqueOtherTriangle(pCT);
        if (pNeigT == nullptr) return false;
        bool bOK = false;
        const Vector3 neigNNV = pNeigT->getRealNNV(&mesh, bOK);
        if (!bOK) return false;
        VCD ccd1, ccd2;
        pCT->getEdgeCCDs(i, ccd1, ccd2);
        vSide.push_back({ccd1, ccd2, neigNNV});
    }
    return true;
}

/// The largest angle over the sides when fromCCD takes the place of the vertex. Stops at an angle that isn't below enough.
/// iDecisive: the side where it stopped last. It is tested first, as it will likely decide for the next neighbour, too.
double largestAngle(const CMesh& mesh, CCD killCCD, CCD fromCCD, const std::vector<Side>& vSide, double enough,
                    std::size_t& iDecisive) {
    ASSEX(fromCCD!=killCCD);
    const Point3& from = *mesh.getVtx(fromCCD);
    double worst = 0.0;
    for (std::size_t k = 0; k <= vSide.size(); ++k) {
        const std::size_t i = k == 0 ? iDecisive : k - 1;
        const auto& [ccd1, ccd2, neigNNV] = vSide[i];
        if (fromCCD == ccd1 || fromCCD == ccd2) continue;
        ASSEX(fromCCD!=ccd1 && fromCCD!=ccd2 && ccd1!=ccd2);
        bool bOK = false;
        const Vector3 nnv = getNormalVector(from, *mesh.getVtx(ccd1), *mesh.getVtx(ccd2), bOK);
        worst = std::max(worst, bOK ? getAngleDegree(neigNNV, nnv) : NOT_POSSIBLE);
        if (worst < enough) continue;
        iDecisive = i;
        return worst;
    }
    return worst;
}

/// The neighbour with the smallest largest angle, of equal ones the one with the lowest code.
/// bestAngle: set to that angle; not changed, and killCCD returned, when none is below it.
CCD findFlattest(const CMesh& mesh, CCD killCCD, const std::vector<Side>& vSide, double& bestAngle) {
    std::vector<CCD> vFromCCD;
    for (const Side& side : vSide)
        vFromCCD.insert(vFromCCD.end(), {side.ccd1, side.ccd2});
    oneInstance(vFromCCD);
    CCD bestCCD = killCCD;
    std::size_t iDecisive = 0;
    for (const CCD fromCCD : vFromCCD) {
        const double worst = largestAngle(mesh, killCCD, fromCCD, vSide, bestAngle, iDecisive);
        if (!(worst < bestAngle)) continue;
        bestAngle = worst;
        bestCCD = fromCCD;
    }
    return bestCCD;
}

}  // namespace

void removeSpikes(CMesh& mesh, double minAngle) {
    std::multimap<double, CEdge*> q;
    enterFolds(mesh, minAngle, q);
    std::vector<std::pair<VCD, CEdge*>> vFoldAt;
    vFoldAt.reserve(2 * q.size());
    for (const auto& [angle, pCE] : q)
        vFoldAt.insert(vFoldAt.end(), {{pCE->v0, pCE}, {pCE->v1, pCE}});
    sortMT(vFoldAt.begin(), vFoldAt.end());
    const auto vertexOf = [](const auto& foldAt) { return foldAt.first; };
    forEachRun(vFoldAt.begin(), vFoldAt.end(), vertexOf, [&](auto first, auto end) {
        std::vector<CEdge*> vE;
        for (auto it = first; it != end; ++it)
            vE.push_back(it->second);
        if (vE.size() > 1) removeVertex(mesh, first->first, vE, minAngle);
    });
}

bool removeVertex(CMesh& mesh, CCD killCCD, const std::vector<CEdge*>& vE, double minAngle) {
    double maxAngle = 0.0;
    if (countFolds(mesh, vE, minAngle, maxAngle) < MIN_FOLDS) return false;
    std::vector<CTriangle*> vIncT;
    mesh.getIncidentT(killCCD, vIncT);
    std::vector<Side> vSide;
    if (!getSides(mesh, killCCD, vIncT, vSide)) return false;
    double bestAngle = NOT_POSSIBLE;
    const CCD bestCCD = findFlattest(mesh, killCCD, vSide, bestAngle);
    if (!(bestAngle < MAX_FLATTENED) && !(maxAngle - bestAngle > MIN_FLATTENING)) return false;
    for (std::size_t i = 0; i < vIncT.size(); ++i) {
        const Side& side = vSide[i];
        if (bestCCD != side.ccd1 && bestCCD != side.ccd2) mesh.createT(bestCCD, side.ccd1, side.ccd2, 0, 0);
        vIncT[i]->kill(&mesh);
    }
    return true;
}

}  // namespace TARN_KEL
