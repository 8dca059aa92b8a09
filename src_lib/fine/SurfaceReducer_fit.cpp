// After the collapses, vertices are put where the surface is nearest to the original one on the whole. Collapses can't do
// that: each of them saw only what was around it when it was done.
//
// The vertices of the original surface are samples above the triangles of the reduced one. In turn, each vertex that is on
// no line goes to where the squares of the heights around it sum up to least, while the others stay; or, when vertices are
// to be those of the original surface, to the best one of the neighbours of the original vertex that it is. After some
// sweeps the samples are assigned to triangles anew.
#include <algorithm>
#include <numeric>

#include "FitSamples.h"
#include "Progress.h"
#include "SurfaceReducer.h"

namespace TARN_KEL {

namespace {

constexpr int FIT_ROUNDS = 2;
constexpr int FIT_SWEEPS = 6;
// Higher than for collapses: samples that are few must not drag a vertex along the surface.
constexpr double FIT_SOFTNESS = 1e-2;
// What another vertex must gain at least.
constexpr double MIN_FIT_GAIN = 1e-3;

}  // namespace

void SurfaceReducer::fit(const FlatSurface& original) {
    if (numLeft == original.numTriangles()) return;  // it is the original: a move could be by rounding alone
    vOriginal.resize(surface.numVertices());
    std::iota(vOriginal.begin(), vOriginal.end(), Index{0});
    vInUse.assign(surface.numVertices(), 0);
    for (Index v = 0; v < vInUse.size(); ++v)
        vInUse[v] = surface.vCorner[v] != FlatSurface::NONE ? 1 : 0;
    const ProgressStep step("SR_fit", FIT_ROUNDS);
    for (int i = 0; i < FIT_ROUNDS; ++i) {
        FitSamples samples(surface, original);
        for (int sweep = 0; sweep < FIT_SWEEPS; ++sweep)
            for (Index v = 0; v < surface.numVertices(); ++v)
                if (surface.vCorner[v] != FlatSurface::NONE && vKind[v] == FREE) fitVertex(v, samples, original);
        step.advance();
    }
    step.finish();
}

void SurfaceReducer::fitVertex(Index v, FitSamples& samples, const FlatSurface& original) {
    const Vector3 before = surface.vPlace[v];
    const Quadric heights = samples.around(v, before);
    Plan plan{v, v, before, heights.at(before), true};
    Index replacement = vOriginal[v];
    if (rules.bMoveVertices) {
        const auto lowest = heights.lowestNear(before, FIT_SOFTNESS);
        if (!lowest) return;
        plan.place = *lowest;
    } else {
        original.forFan(original.vCorner[vOriginal[v]], [&](Index c) {
            const Index other = original.vVertex[FlatSurface::next(c)];
            const double cost = heights.at(original.vPlace[other]);
            if (vInUse[other] != 0 || !(cost < (1.0 - MIN_FIT_GAIN) * plan.cost)) return;
            plan.cost = cost;
            plan.place = original.vPlace[other];
            replacement = other;
        });
        if (replacement == vOriginal[v]) return;
    }
    if (!gatherFan(v) || !keepsShape(plan)) return;
    const Point3* const pSource = rules.bMoveVertices ? nullptr : original.vSource[replacement];
    if (!pleasesGuards({}, plan, pSource)) return;
    if (pSource != nullptr) {
        surface.vSource[v] = pSource;
        vInUse[vOriginal[v]] = 0;
        vInUse[replacement] = 1;
        vOriginal[v] = replacement;
    } else {
        vMoved[v] = 1;
    }
    surface.vPlace[v] = plan.place;
    for (const Changed& changed : vChanged)
        vPlane[changed.corner / 3] = changed.plane;
    for (CollapseGuard* pGuard : vGuard)
        pGuard->accept();
    samples.move(v, plan.place - before);
}

}  // namespace TARN_KEL
