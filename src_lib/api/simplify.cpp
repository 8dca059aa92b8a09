// The public functions on flat surfaces: reading the mesh, the passes, writing it back.
#include <kel/simplify.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include "CrossingGuard.h"
#include "CrossingWatch.h"
#include "DistanceGuard.h"
#include "FlatSurface.h"
#include "ManifoldMaker.h"
#include "Progress.h"
#include "SurfaceReducer.h"
#include "SurfaceSmoother.h"
#include "distanceBound.h"
#include "fineMesh.h"
#include "kel.h"
#include "messages.h"

namespace TARN_KEL {

namespace {

/// The surface of a mesh, which is made manifold if it isn't; with bNoCrossings without making it cross itself more.
std::unique_ptr<FlatSurface> manifoldSurface(RMesh& mesh, bool bNoCrossings, bool& bMadeManifold) {
    auto pSurface = std::make_unique<FlatSurface>(mesh);
    bMadeManifold = !pSurface->isManifold();
    if (bMadeManifold) {
        std::optional<CrossingWatch> watch;
        if (bNoCrossings) watch.emplace(mesh);
        makeManifold(mesh);
        pSurface = std::make_unique<FlatSurface>(mesh);
    } else {
        ProgressStep("MF_make", 1).finish();
    }
    return pSurface;
}

std::vector<TrianglePlaces> placesOf(const FlatSurface& surface) {
    std::vector<TrianglePlaces> vPlaces;
    for (FlatSurface::Index c = 0; c < surface.vVertex.size(); c += 3)
        if (surface.vVertex[c] != FlatSurface::NONE)
            vPlaces.push_back({surface.placeAt(c), surface.placeAt(c + 1), surface.placeAt(c + 2)});
    return vPlaces;
}

// ---- Reduction ----------------------------------------------------------------------------------------------------------

// What is proved is estimated by samples before, so most runs succeed with the first of these limits for the samples, as
// parts of the limit to be proved. A run that doesn't is repeated with the next one.
constexpr double SAMPLE_LIMITS[] = {0.96, 0.88, 0.7, 0.5, 0.25, 0.1};

/// What rounding may make of a distance of 0 in the units of a surface. A proof within less would fail for equal surfaces.
constexpr double ROUNDING = 1e-14;

struct Reduced {
    std::unique_ptr<FlatSurface> pSurface;
    std::vector<char> vMoved;
    double distance;  ///< proved, in units of the surface; -1.0 when there is no limit
};

/// pDistanceGuard: null for none.
/// pOriginal: a copy of the surface as it is now, to fit the result to it; null for no fit.
void runOnce(Reduced& reduced, const ReduceOptions& options, CollapseGuard* pDistanceGuard, const FlatSurface* pOriginal) {
    SurfaceReducer::Rules rules;
    rules.numTriangles = options.numTriangles;
    rules.bMoveVertices = options.bMoveVertices;
    rules.bKeepBorders = options.bKeepBorders;
    rules.featureAngle = options.bKeepFeatures ? options.featureAngle : 180.0;
    std::vector<CollapseGuard*> vGuard;
    if (pDistanceGuard != nullptr) vGuard.push_back(pDistanceGuard);
    std::optional<CrossingGuard> crossingGuard;
    if (options.bNoCrossings) vGuard.push_back(&crossingGuard.emplace(*reduced.pSurface));
    SurfaceReducer reducer(*reduced.pSurface, rules, vGuard);
    reducer.run();
    if (pOriginal != nullptr) reducer.fit(*pOriginal);
    reduced.vMoved = reducer.moved();
    // As they will be in the mesh: what is proved is proved of that.
    for (std::size_t v = 0; v < reduced.vMoved.size(); ++v)
        if (reduced.vMoved[v] != 0)
            reduced.pSurface->vPlace[v] = reduced.pSurface->toOwn(reduced.pSurface->toMesh(reduced.pSurface->vPlace[v]));
}

Reduced reduceFreely(std::unique_ptr<FlatSurface> pSurface, const ReduceOptions& options) {
    Reduced reduced{std::move(pSurface), {}, -1.0};
    const std::optional<FlatSurface> original = options.bFit ? std::optional(*reduced.pSurface) : std::nullopt;
    runOnce(reduced, options, nullptr, original ? &*original : nullptr);
    return reduced;
}

/// A surface to which others are compared.
class Measure {
public:
    /// surface: only referred to.
    explicit Measure(const FlatSurface& theSurface) : surface(theSurface) {}

    /// The larger one of the distances in both directions, proved, if it is within the limit.
    std::optional<double> distanceTo(const FlatSurface& other, double limit) {
        if (!tree) tree.emplace(placesOf(surface));
        const TriangleTree otherTree(placesOf(other));
        const auto there = distanceBound(tree->triangles(), otherTree, limit);
        if (!there) return std::nullopt;
        const auto back = distanceBound(otherTree.triangles(), *tree, limit);
        if (!back) return std::nullopt;
        return std::max(*there, *back);
    }

private:
    const FlatSurface& surface;
    std::optional<TriangleTree> tree;  // made when it is needed first, which most often is the only time
};

/// With a limit to the distance, which is proved; as a last resort the surface as it was.
Reduced reduceWithin(const FlatSurface& original, const ReduceOptions& options, double maxDistance) {
    Measure measure(original);
    for (const double part : SAMPLE_LIMITS) {
        Reduced reduced{std::make_unique<FlatSurface>(original), {}, -1.0};
        DistanceGuard guard(*reduced.pSurface, original, part * maxDistance);
        runOnce(reduced, options, &guard, options.bFit ? &original : nullptr);
        const auto proved = measure.distanceTo(*reduced.pSurface, std::max(maxDistance, ROUNDING));
        if (!proved) continue;
        reduced.distance = *proved;
        return reduced;
    }
    return {std::make_unique<FlatSurface>(original), std::vector<char>(original.numVertices(), 0), 0.0};
}

bool isValid(const ReduceOptions& options) {
    if (!(options.maxDistance >= 0.0) || !(options.featureAngle >= 0.0 && options.featureAngle <= 180.0)) {
        warning(KEL_PLACE, "A limit isn't a number in its range: the mesh stays as it is");
        return false;
    }
    if (options.numTriangles == 0 && options.maxDistance == 0.0) {
        warning(KEL_PLACE, "Neither a number of triangles nor a distance is given: the mesh stays as it is");
        return false;
    }
    return true;
}

}  // namespace

ReduceReport reduce(MeshPtr pMesh, const ReduceOptions& options) {
    ASSEX(pMesh!=NULL);
    RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    ReduceReport report;
    report.numBefore = report.numAfter = pRMesh->getNumT();
    if (!isValid(options) || !hasFiniteCorners(*pRMesh)) return report;
    if (options.maxDistance > 0.0) report.distance = 0.0;
    if (options.numTriangles >= report.numBefore) return report;
    OwnRun run(progressForShapeReduce());
    std::unique_ptr<FlatSurface> pOriginal = manifoldSurface(*pRMesh, options.bNoCrossings, report.bMadeManifold);
    Reduced reduced = options.maxDistance > 0.0 ? reduceWithin(*pOriginal, options, options.maxDistance * pOriginal->scale())
                                                : reduceFreely(std::move(pOriginal), options);
    if (options.maxDistance > 0.0)
        report.distance = std::min(reduced.distance / reduced.pSurface->scale(), options.maxDistance);
    std::unique_ptr<RMesh> pReduced = meshOf(*reduced.pSurface, reduced.vMoved, pRMesh->getSideLen());
    report.numAfter = pReduced->getNumT();
    run.close();
    install(std::move(pReduced), *pMesh);
    return report;
}

// ---- Smoothing ----------------------------------------------------------------------------------------------------------

namespace {

bool isValid(const SmoothOptions& options) {
    constexpr double MAX_PASS_BAND = 0.3;  // beyond it long waves would grow visibly with the rounds
    const bool bValid =
        options.passBand > 0.0 && options.passBand <= MAX_PASS_BAND && options.edgeAngle > 0.0 && options.edgeAngle <= 180.0;
    if (!bValid) warning(KEL_PLACE, "An option isn't a number in its range: the mesh stays as it is");
    return bValid;
}

double meanMove(const FlatSurface& surface, const std::vector<Vector3>& vBefore) {
    double sum = 0.0;
    for (std::size_t v = 0; v < vBefore.size(); ++v)
        sum += (surface.vPlace[v] - vBefore[v]).length();
    return vBefore.empty() ? 0.0 : sum / static_cast<double>(vBefore.size()) / surface.scale();
}

}  // namespace

SmoothReport smooth(MeshPtr pMesh, const SmoothOptions& options) {
    ASSEX(pMesh!=NULL);
    RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    SmoothReport report;
    if (!isValid(options) || options.numRounds < 1 || !hasFiniteCorners(*pRMesh)) return report;
    OwnRun run(progressForShapeSmoothing());
    const std::unique_ptr<FlatSurface> pSurface = manifoldSurface(*pRMesh, options.bNoCrossings, report.bMadeManifold);
    const std::vector<Vector3> vBefore = pSurface->vPlace;
    SurfaceSmoother smoother(*pSurface, options.bKeepBorders, options.bNoCrossings);
    if (options.method == SmoothMethod::TAUBIN)
        smoother.taubin(options.numRounds, options.passBand);
    else
        smoother.bilateral(options.numRounds, options.edgeAngle);
    report.numHeld = smoother.numHeld();
    report.meanMove = meanMove(*pSurface, vBefore);
    std::vector<char> vMoved(vBefore.size());
    for (std::size_t v = 0; v < vMoved.size(); ++v)
        vMoved[v] = (pSurface->vPlace[v] - vBefore[v]).isDegenerate() ? 0 : 1;
    std::unique_ptr<RMesh> pSmooth = meshOf(*pSurface, vMoved, pRMesh->getSideLen());
    run.close();
    install(std::move(pSmooth), *pMesh);
    return report;
}

}  // namespace TARN_KEL
