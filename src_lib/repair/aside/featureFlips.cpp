// Where the caller knows which vertices lie on a feature line of the model, the diagonals between them should follow the
// line. A flip that connects two of them is made unless it breaks a better connection: one that more feature edges continue
// straight.
#include "featureFlips.h"

#include <vector>

#include "CMesh.h"
#include "coarseFlips.h"
#include "geometryFunctions.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MAX_OFF_LINE = 0.2;  // degrees
constexpr int NUM_FEATURE_TURNS = 3;

/// At most one step apart on each axis.
bool areNeighbourCells(const Calc& calc, CCD a, CCD b) {
    unsigned long long ax, ay, az, bx, by, bz;
    calc.extractIntCCD(a, ax, ay, az);
    calc.extractIntCCD(b, bx, by, bz);
    const auto distance = [](unsigned long long i, unsigned long long j) { return i < j ? j - i : i - j; };
    return (distance(ax, bx) | distance(ay, by) | distance(az, bz)) <= 1;
}

/// The number of edges from A to feature vertices that continue the line from B through A.
int countCollinearAt(const CMesh& mesh, const std::set<CCD>& sFeatureCCD, VCD ccdA, VCD ccdB) {
    const Point3 *pVtxA = mesh.getVtx(ccdA), *pVtxB = mesh.getVtx(ccdB);
    ASSEX(*pVtxA!=*pVtxB);
    const Vector3 dir = normalize(*pVtxB - *pVtxA);
    std::vector<CEdge*> vIncCE;
    mesh.getIncidentCE(ccdA, vIncCE);
    int count = 0;
    for (const CEdge* pCE : vIncCE) {
        const VCD ccdC = pCE->getOtherVCD(ccdA);
        if (ccdC == ccdB || sFeatureCCD.count(ccdC) == 0) continue;
        const Point3* pOtherVtx = mesh.getVtx(ccdC);
        ASSEX(*pOtherVtx!=*pVtxA);
        const Vector3 dir2 = normalize(*pOtherVtx - *pVtxA);
        if (180.0 - getAngleDegree(dir, dir2) < MAX_OFF_LINE) ++count;
    }
    return count;
}

/// Flips the edge opposite a feature vertex where that joins it with another one.
void joinFeatureAt(CMesh& mesh, const std::set<CCD>& sFeatureCCD, const std::set<CCD>& sFixedCCD, CTriangle* pCT, VCD ccd0) {
    CEdge* pCE = pCT->getCEdge(pCT->getICI(ccd0));
    CTriangle* pNeigT = pCE->getUniqueOtherTriangle(pCT);
    if (pNeigT == nullptr) return;
    const VCD ccd1 = pNeigT->getThirdCCD(pCE->v0, pCE->v1);
    if (!areNeighbourCells(*mesh.getCalc(), ccd0, ccd1) || sFeatureCCD.count(ccd1) == 0) return;
    if (!canFlip(mesh, sFixedCCD, pCE->v0, pCE->v1, ccd0, ccd1)) return;
    ASSEX(ccd0!=ccd1);
    ASSEX(ccd0!=pCE->v0);
    ASSEX(ccd0!=pCE->v1);
    ASSEX(ccd1!=pCE->v0);
    ASSEX(ccd1!=pCE->v1);
    const bool bJoinsFeatures = sFeatureCCD.count(pCE->v0) != 0 && sFeatureCCD.count(pCE->v1) != 0;
    if (bJoinsFeatures && countCollinearConnectors(mesh, sFeatureCCD, pCE->v0, pCE->v1) >=
                              countCollinearConnectors(mesh, sFeatureCCD, ccd0, ccd1))
        return;
    pCE->flipEdge(&mesh, pCT, pNeigT);
}

}  // namespace

void flipOntoFeatures(CMesh& mesh, const std::set<CCD>& sFeatureCCD, const std::set<CCD>& sFixedCCD) {
    for (int turn = 1; turn <= NUM_FEATURE_TURNS; ++turn) {
        out() << fatBar("NEW FLIP TURN " + toString(turn));
        for (const CCD ccd : sFeatureCCD) {
            std::vector<CTriangle*> vIncT;
            mesh.getIncidentT(ccd, vIncT);
            for (CTriangle* pCT : vIncT)
                if (pCT->isAlive()) joinFeatureAt(mesh, sFeatureCCD, sFixedCCD, pCT, ccd);
        }
    }
}

int countCollinearConnectors(const CMesh& mesh, const std::set<CCD>& sFeatureCCD, VCD ccd0, VCD ccd1) {
    ASSEX(ccd0!=ccd1);
    ASSEX(sFeatureCCD.find(ccd0)!=sFeatureCCD.end());
    ASSEX(sFeatureCCD.find(ccd1)!=sFeatureCCD.end());
    return countCollinearAt(mesh, sFeatureCCD, ccd0, ccd1) + countCollinearAt(mesh, sFeatureCCD, ccd1, ccd0);
}

}  // namespace TARN_KEL
