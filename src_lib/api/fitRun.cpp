#include "fitRun.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "CoarseSurface.h"
#include "Progress.h"
#include "fineMesh.h"
#include "messages.h"
#include "spanRuns.h"

namespace TARN_KEL {

namespace {

std::vector<Point3> usedPlaces(const RMesh& mesh, std::vector<FitTriangle>& vTriangle) {
    std::vector<Point3*> vVertex;
    std::vector<int> vIndex;
    mesh.getVertexIndexData(vVertex, vIndex);
    vTriangle.reserve(vIndex.size() / 3);
    for (std::size_t i = 0; i < vIndex.size(); i += 3)
        vTriangle.push_back(
            {static_cast<FitIndex>(vIndex[i]), static_cast<FitIndex>(vIndex[i + 1]), static_cast<FitIndex>(vIndex[i + 2])});
    std::vector<Point3> vPlace;
    vPlace.reserve(vVertex.size());
    for (const Point3* p : vVertex)
        vPlace.push_back(*p);
    return vPlace;
}

std::unique_ptr<RMesh> meshOf(const FittedSurface& surface, double sideLen) {
    CoarseSurface made;
    made.sideLen = sideLen;
    made.vVertex = surface.placed.vVertex;
    made.vTriangle = surface.placed.vTriangle;
    return std::make_unique<RMesh>(made);
}

void measureMoves(const std::vector<Point3>& vBefore, const std::vector<Point3>& vAfter, FitReport& report) {
    for (std::size_t v = 0; v < vBefore.size(); ++v) {
        const double move = (vAfter[v] - vBefore[v]).length();
        report.meanMove += move / static_cast<double>(vBefore.size());
        report.maxMove = std::max(report.maxMove, move);
    }
}

}  // namespace

FitRun::FitRun(const RMesh& mesh, std::span<const Point3> points, const FitOptions& options)
    : sideLen(mesh.getSideLen()), bNoCrossings(options.bNoCrossings) {
    ASSEX(options.cellEdge>=0.0 && std::isfinite(options.cellEdge));
    if (!hasFiniteCorners(mesh)) return;
    std::vector<FitTriangle> vTriangle;
    vStart = usedPlaces(mesh, vTriangle);
    surfaceFit.emplace(vStart, vTriangle, points, options.cellEdge, options.bNoise);
}

std::unique_ptr<RMesh> FitRun::fittedMesh(FitReport& report) {
    report = {};
    if (!surfaceFit) return nullptr;
    const FittedSurface surface = surfaceFit->fit(bNoCrossings);
    numCrossings = surface.numCrossings;
    report.numPoints = surface.numPoints;
    report.pointSpacing = surface.spacing;
    report.noise = surface.noise;
    report.radius = surface.radius;
    report.numCorners = surface.counts.numCorners;
    report.numOnCreases = surface.counts.numOnCreases;
    report.numFlips = surface.counts.numFlips;
    report.numSplits = surface.counts.numSplits;
    report.numUnfolded = surface.counts.numUnfolded;
    report.numUntangled = surface.counts.numUntangled;
    measureMoves(vStart, surface.placed.vVertex, report);
    return meshOf(surface, sideLen);
}

FitReport fitSpan(const MeshPtr& pMesh, std::span<const Point3> points, const FitOptions& options) {
    ASSEX(pMesh!=NULL && pMesh->pRMesh!=NULL);
    OwnRun run(progressForFit());
    FitReport report;
    std::unique_ptr<RMesh> pFitted = FitRun(*pMesh->pRMesh, points, options).fittedMesh(report);
    run.close();
    if (pFitted) install(std::move(pFitted), *pMesh);
    return report;
}

FitReport fit(MeshPtr pMesh, const std::vector<Point3>& vPoints, const FitOptions& options) {
    return fitSpan(pMesh, vPoints, options);
}

}  // namespace TARN_KEL
