// Flips edges to lower the energy of the surface, or to undo sharp folds. Both work through a queue, the best flip first. A
// flip changes what others gain, so each edge is judged again when its turn comes.
#include "coarseFlips.h"

#include <functional>
#include <optional>
#include <utility>

#include "CMesh.h"
#include "EdgeEnergy.h"
#include "edgeGeometry.h"
#include "flipEnergy.h"
#include "geometryFunctions.h"
#include "lazyQueue.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double MIN_GAIN = 0.01;       // of a flip
constexpr double MAX_NEW_FOLD = 120.0;  // degrees, of canFlip()
constexpr double MIN_FOLD_DROP = 5.0;   // degrees
constexpr double NO_FOLD = -1.0;        // of foldAngle(): a normal is missing

using EdgeQueue = std::multimap<double, CEdge*>;

/// Degrees between the normals of (v0, v1, a) and (v1, v0, b).
double foldAngle(const CMesh& mesh, VCD v0, VCD v1, VCD a, VCD b) {
    const Point3 &p0 = *mesh.getVtx(v0), &p1 = *mesh.getVtx(v1);
    bool bOK0 = false, bOK1 = false;
    const Vector3 n0 = getNormalVector(p0, p1, *mesh.getVtx(a), bOK0);
    const Vector3 n1 = getNormalVector(p1, p0, *mesh.getVtx(b), bOK1);
    return bOK0 && bOK1 ? getAngleDegree(n0, n1) : NO_FOLD;
}

/// The two triangles on an edge, the first running against v0 -> v1, and how sharply they fold.
struct Fold {
    CTriangle *pCT0, *pCT1;
    double angle;  // NO_FOLD when there aren't two triangles with normals
};

Fold foldAt(const CMesh& mesh, const CEdge& edge) {
    Fold fold{nullptr, nullptr, NO_FOLD};
    if (!edge.getTwoTriangles(fold.pCT0, fold.pCT1, true)) return fold;
    const VCD v0 = edge.v0, v1 = edge.v1;
    if (fold.pCT0->getHEDirection2(v0, v1) == HE_SAME) std::swap(fold.pCT0, fold.pCT1);
    fold.angle = foldAngle(mesh, v0, v1, fold.pCT0->getThirdCCD(v0, v1), fold.pCT1->getThirdCCD(v0, v1));
    return fold;
}

/// The first triangle runs against v0 -> v1.
void tryFlipFold(CMesh& mesh, const CEdge& edge, double angle, CTriangle* pCT0, CTriangle* pCT1) {
    const VCD v0 = edge.v0, v1 = edge.v1;
    const VCD a = pCT0->getThirdCCD(v0, v1), b = pCT1->getThirdCCD(v0, v1);
    if (mesh.hasEdge(a, b)) return;
    const double newAngle = foldAngle(mesh, a, b, v0, v1);
    if (newAngle == NO_FOLD || newAngle > angle - MIN_FOLD_DROP) return;
    pCT0->kill(&mesh);
    pCT1->kill(&mesh);
    mesh.createT(a, b, v0, pCT0->vcdCube, 0);
    mesh.createT(b, a, v1, pCT0->vcdCube, 0);
}

}  // namespace

// ---- By energy

void appendFoldedEdges(const CMesh& mesh, double angleDeg, std::vector<CEdge*>& vE) {
    std::vector<CEdge*> vCE;
    mesh.getDegN(2, vCE);
    const auto normalOf = [&mesh](const CTriangle& ct, bool& bOK) { return ct.getRealNNV(&mesh, bOK); };
    const auto normalsOf = [&normalOf](const CEdge& edge, Vector3& normal0, Vector3& normal1) {
        CTriangle *pCT0, *pCT1;
        edge.getTwoTriangles(pCT0, pCT1, true);
        ASSEX(pCT0->isAlive() && pCT1->isAlive());
        return agreeingNormals<CTriangle>(edge, normalOf, normal0, normal1);
    };
    appendFolds(vCE, angleDeg, normalsOf, vE);
}

void flipByEnergy(CMesh& mesh, double angleDeg) {
    std::vector<CEdge*> vE;
    appendFoldedEdges(mesh, angleDeg, vE);
    EdgeEnergy ee(&mesh, nullptr);  // of the edge judged last
    std::multimap<double, CEdge*, std::greater<>> queue;
    for (CEdge* pCE : vE) {
        ee = EdgeEnergy(&mesh, pCE);
        ee.compute();
        if (ee.improvement != EdgeEnergy::IMPOSSIBLE) queue.emplace(ee.improvement, pCE);
    }
    const auto judge = [&](CEdge* pCE) -> std::optional<double> {
        ee = EdgeEnergy(&mesh, pCE);
        ee.compute();
        return ee.improvement <= MIN_GAIN ? std::nullopt : std::optional(ee.improvement);
    };
    runLazily(queue, judge, [&](CEdge* pFlipEdge, double) {
        ASSEX(ee.improvement>0);
        ASSEX(pFlipEdge->getDegree()==2);
        pFlipEdge->flipEdge(&mesh, nullptr, nullptr);
    });
}

// ---- Folds

void enterFolds(const CMesh& mesh, double minAngle, EdgeQueue& q) {
    std::vector<CEdge*> vCE;
    mesh.getCEdges(vCE);
    std::vector<std::pair<double, CEdge*>> vFolded;
    for (CEdge* pCE : vCE) {
        CTriangle *pCT0, *pCT1;
        if (!pCE->getTwoTriangles(pCT0, pCT1, true)) continue;
        const VCD v0 = pCE->v0, v1 = pCE->v1;
        const double angle = foldAngle(mesh, v0, v1, pCT0->getThirdCCD(v0, v1), pCT1->getThirdCCD(v0, v1));
        if (angle != NO_FOLD && angle > minAngle) vFolded.emplace_back(angle, pCE);
    }
    sortMT(vFolded.begin(), vFolded.end());
    q.insert(vFolded.begin(), vFolded.end());
}

void flipFolds(CMesh& mesh, double minAngle) {
    EdgeQueue q;
    enterFolds(mesh, minAngle, q);
    std::multimap<double, CEdge*, std::greater<>> sharpestFirst(q.begin(), q.end());
    const auto judge = [&](const CEdge* pCE) -> std::optional<double> {
        const double angle = foldAt(mesh, *pCE).angle;
        return angle != NO_FOLD && angle >= minAngle ? std::optional(angle) : std::nullopt;
    };
    runLazily(sharpestFirst, judge, [&](const CEdge* pCE, double angle) {
        const Fold fold = foldAt(mesh, *pCE);
        tryFlipFold(mesh, *pCE, angle, fold.pCT0, fold.pCT1);
    });
}

bool canFlip(const CMesh& mesh, const std::set<CCD>& sFixedCCD, VCD ccd0, VCD ccd1, VCD alt0, VCD alt1) {
    if (mesh.hasEdge(alt0, alt1)) return false;
    if (ccd0 == ccd1 || alt0 == alt1) return false;
    if (alt0 == ccd0 || alt0 == ccd1 || alt1 == ccd0 || alt1 == ccd1) return false;
    if (ccd0 >= ccd1) {
        warning(KEL_PLACE, "ccd0>=ccd1");
        return false;
    }
    if (sFixedCCD.count(alt0) != 0 || sFixedCCD.count(alt1) != 0) return false;
    return isGentleFlip(*mesh.getVtx(ccd0), *mesh.getVtx(ccd1), *mesh.getVtx(alt0), *mesh.getVtx(alt1), MAX_NEW_FOLD);
}

}  // namespace TARN_KEL
