// Asks the index of triangles what new ones would cross.
#include "CrossingWatch.h"

#include <algorithm>
#include <limits>

#include "RMesh.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr std::size_t ALL = std::numeric_limits<std::size_t>::max();

TriangleCorners cornersOf(const RTriangle& rt) {
    return {*rt.aCorners[0], *rt.aCorners[1], *rt.aCorners[2]};
}

bool isFiniteTriangle(const TriangleCorners& t) {
    return std::all_of(t.begin(), t.end(), isFinitePoint);
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

void CrossingWatch::prepare() {
    if (index) return;
    index.emplace(usualSizeOf(mesh));
    for (const RTriangle* pRT : mesh.vRT)
        if (pRT->isAlive()) enter(*pRT);
}

void CrossingWatch::enter(const RTriangle& rt) {
    const TriangleCorners t = cornersOf(rt);
    if (isFiniteTriangle(t)) index->insert(idOf(&rt), t);
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

bool CrossingWatch::allows(const Triangles& vOld, const std::vector<TriangleCorners>& vNew) {
    leaveOut(vOld);
    if (count(vNew, 1) == 0) return true;
    const std::size_t numOld = countOld(vOld);
    return count(vNew, numOld + 1) <= numOld;
}

std::ptrdiff_t CrossingWatch::changeBy(const Triangles& vOld, const std::vector<TriangleCorners>& vNew) {
    leaveOut(vOld);
    return static_cast<std::ptrdiff_t>(count(vNew, ALL)) - static_cast<std::ptrdiff_t>(countOld(vOld));
}

std::size_t CrossingWatch::numCrossings(const Triangles& vT) {
    leaveOut(vT);
    return countOld(vT);
}

void CrossingWatch::leaveOut(const Triangles& vT) {
    prepare();
    vLeftOut.clear();
    for (const RTriangle* pRT : vT)
        vLeftOut.push_back(idOf(pRT));
}

/// What is left out.
std::size_t CrossingWatch::countOld(const Triangles& vOld) const {
    std::vector<TriangleCorners> vCorners;
    for (const RTriangle* pRT : vOld)
        vCorners.push_back(cornersOf(*pRT));
    return count(vCorners, ALL);
}

/// The pairs among the triangles, and of one of them and one that isn't left out; no more are counted than are enough.
std::size_t CrossingWatch::count(const std::vector<TriangleCorners>& vT, std::size_t enough) const {
    std::vector<TARN_LOCATE3::Bbox3> vBox;
    TARN_LOCATE3::Bbox3 around;
    std::size_t num = 0;
    for (std::size_t i = 0; i < vT.size(); ++i) {
        if (!isFiniteTriangle(vT[i])) {
            vBox.emplace_back();  // empty, so it meets nothing
            continue;
        }
        vBox.push_back(boxOf(vT[i]));
        around.widen(vBox[i]);
        for (std::size_t j = 0; j < i && num < enough; ++j)
            if (vBox[i].intersects(vBox[j]) && areCrossing(vT[i], vT[j])) ++num;
    }
    if (around.minX > around.maxX) return num;
    index->forEachNear(around, [&](std::uint32_t id) {
        if (num >= enough || std::find(vLeftOut.begin(), vLeftOut.end(), id) != vLeftOut.end()) return;
        const TriangleCorners& other = index->cornersOf(id);
        const TARN_LOCATE3::Bbox3 box = boxOf(other);
        for (std::size_t i = 0; i < vT.size(); ++i)
            if (vBox[i].intersects(box) && areCrossing(vT[i], other)) ++num;
    });
    return num;
}

bool CrossingWatch::allowsCollapse(const Point3* pSrc, const Point3* pTrg) {
    std::vector<RTriangle*> vIncT;
    mesh.getIncidentT(pSrc, vIncT);
    const Triangles vOld(vIncT.begin(), vIncT.end());
    std::erase_if(vIncT, [pTrg](const RTriangle* pRT) { return pRT->has(pTrg); });
    return allows(vOld, movedCorners(vIncT, pSrc, *pTrg));
}

std::vector<TriangleCorners> CrossingWatch::movedCorners(const std::vector<RTriangle*>& vRT, const Point3* p,
                                                         const Point3& place) {
    std::vector<TriangleCorners> vMoved;
    for (const RTriangle* pRT : vRT) {
        vMoved.push_back(cornersOf(*pRT));
        vMoved.back()[static_cast<std::size_t>(pRT->getICI(p))] = place;
    }
    return vMoved;
}

bool CrossingWatch::allowsFlip(const REdge& edge) {
    RTriangle *pRT0 = nullptr, *pRT1 = nullptr;
    if (!edge.getTwoTriangles(pRT0, pRT1, true)) return true;
    const Point3 &a = *edge.pVtx0, &b = *edge.pVtx1;
    const Point3& c = *pRT0->getThirdPoint(edge.pVtx0, edge.pVtx1);
    const Point3& d = *pRT1->getThirdPoint(edge.pVtx0, edge.pVtx1);
    return allows({pRT0, pRT1}, {{a, c, d}, {b, c, d}});
}

}  // namespace TARN_KEL
