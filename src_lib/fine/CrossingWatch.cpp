// Asks the index of triangles what new ones would cross.
#include "CrossingWatch.h"

#include <algorithm>
#include <cmath>

#include "RMesh.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

TriangleCorners cornersOf(const RTriangle& rt) {
    return {*rt.aCorners[0], *rt.aCorners[1], *rt.aCorners[2]};
}

/// The mean of the longest sides of the boxes; 1.0 where that is no length.
double usualSizeOf(const RMesh& mesh) {
    double sum = 0.0, num = 0.0;
    for (const RTriangle* pRT : mesh.vRT) {
        if (!pRT->isAlive()) continue;
        const TARN_LOCATE3::Bbox3 box = boxOf(cornersOf(*pRT));
        const double size = std::max({box.maxX - box.minX, box.maxY - box.minY, box.maxZ - box.minZ});
        if (!std::isfinite(size)) continue;
        sum += size;
        num += 1.0;
    }
    const double mean = sum / num;
    return mean > 0.0 && std::isfinite(mean) ? mean : 1.0;
}

}  // namespace

CrossingWatch::CrossingWatch(RMesh& theMesh) : mesh(theMesh) {
    ASSEX(mesh.pWatch==NULL);
    mesh.pWatch = this;
}

CrossingWatch::~CrossingWatch() {
    mesh.pWatch = nullptr;
}

std::uint32_t CrossingWatch::idOf(const RTriangle* pRT) const {
    return static_cast<std::uint32_t>(mesh.poolRT.indexOf(pRT));
}

/// Made at the first question.
const CrossingIndex& CrossingWatch::asked() {
    if (index) return *index;
    index.emplace(usualSizeOf(mesh));
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive()) enter(*pRT);
    return *index;
}

void CrossingWatch::enter(const RTriangle& rt) {
    const TriangleCorners t = cornersOf(rt);
    if (isFinite(t)) index->insert(idOf(&rt), t);
}

void CrossingWatch::noteCreated(const RTriangle& rt) {
    if (index) enter(rt);
}

void CrossingWatch::noteKilled(const RTriangle& rt) {
    if (index) index->remove(idOf(&rt));
}

void CrossingWatch::noteChanged(const RTriangle& rt) {
    if (!index) return;
    index->remove(idOf(&rt));
    enter(rt);
}

bool CrossingWatch::allows(const Replacement& step) {
    return asked().allows(idsOf(step.vOld), step.vNew);
}

std::ptrdiff_t CrossingWatch::changeBy(const Replacement& step) {
    return asked().changeBy(idsOf(step.vOld), step.vNew);
}

std::size_t CrossingWatch::numCrossings(const RTriangle& rt) {
    return asked().numCrossings({cornersOf(rt)}, {idOf(&rt)});
}

CrossingIndex::Ids CrossingWatch::idsOf(const std::vector<const RTriangle*>& vT) const {
    CrossingIndex::Ids vId;
    for (const RTriangle* pRT : vT)
        vId.push_back(idOf(pRT));
    std::sort(vId.begin(), vId.end());
    return vId;
}

bool CrossingWatch::allowsCollapse(const Point3* pSrc, const Point3* pTrg) {
    return allows(collapseOf(mesh, pSrc, pTrg));
}

bool CrossingWatch::allowsFlip(const REdge& edge) {
    const auto flip = flipOf(edge);
    return !flip || allows(*flip);
}

// ---- What steps do ------------------------------------------------------------------------------------------------------

Replacement moveOf(const RMesh& mesh, const Point3* p, const Point3& place) {
    std::vector<RTriangle*> vIncT;
    mesh.getIncidentT(p, vIncT);
    Replacement step;
    for (const RTriangle* pRT : vIncT) {
        step.vOld.push_back(pRT);
        step.vNew.push_back(cornersOf(*pRT));
        step.vNew.back()[static_cast<std::size_t>(pRT->getICI(p))] = place;
    }
    return step;
}

Replacement collapseOf(const RMesh& mesh, const Point3* pSrc, const Point3* pTrg) {
    Replacement step = moveOf(mesh, pSrc, *pTrg);
    // The triangles with both ends only go.
    std::size_t numKept = 0;
    for (std::size_t i = 0; i < step.vOld.size(); ++i)
        if (!step.vOld[i]->has(pTrg)) step.vNew[numKept++] = step.vNew[i];
    step.vNew.resize(numKept);
    return step;
}

std::optional<Replacement> flipOf(const REdge& edge) {
    RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
    if (!edge.getTwoTriangles(pRT0, pRT1, true)) return std::nullopt;
    const Point3 &a = *edge.pVtx0, &b = *edge.pVtx1;
    const Point3& c = *pRT0->getThirdPoint(edge.pVtx0, edge.pVtx1);
    const Point3& d = *pRT1->getThirdPoint(edge.pVtx0, edge.pVtx1);
    return Replacement{{pRT0, pRT1}, {{a, c, d}, {b, c, d}}};
}

}  // namespace TARN_KEL
