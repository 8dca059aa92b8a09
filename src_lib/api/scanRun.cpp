// The run with options: what reconstruct_auto() does, with steps before and behind it.
//
//     points -> finite ones -> without those far from all others -> spacing -> without strays -> grid -> added points
//            -> mesh of the cells -> manifold -> without tiny pieces -> without pinholes and holes
//            -> without self-intersections -> fitted to the points, which makes none
//
// The grid is made before points are added, and both are handed to the run, so that a cloud to which nothing is added gives
// the mesh of reconstruct_auto(), to the byte.
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "CloudMgr.h"
#include "CloudSample.h"
#include "CrossingWatch.h"
#include "Hal.h"
#include "ManifoldMaker.h"
#include "Progress.h"
#include "RMesh.h"
#include "RunWatch.h"
#include "evenSampling.h"
#include "fineMesh.h"
#include "fitRun.h"
#include "inputPoints.h"
#include "kel.h"
#include "meshFlaws.h"
#include "outliers.h"
#include "pieces.h"
#include "processMemory.h"
#include "removeCrossings.h"
#include "runGrid.h"
#include "spanRuns.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The standard deviation of points, in their spacings, from which on a surface is made again. With less, cells find it.
constexpr double NOISY = 0.23;
constexpr int MAX_DENOISED = 4;  // surfaces made again

/// One run, step by step.
class ScanRun {
public:
    /// bCountFlaws: somebody wants to know; it takes some 2% of a run.
    ScanRun(const ReconstructOptions& theOptions, const WatchedRun& theRun, ReconstructReport& theReport, bool bCountFlaws)
        : options(theOptions), watchedRun(theRun), report(theReport), bFlaws(bCountFlaws) {}

    MeshPtr run(std::span<const Point3> given);

private:
    template <typename Work>
    void step(const char* name, Work&& work) {
        watchedRun.step(name, report.vSteps, std::forward<Work>(work));
    }
    void prepare(std::vector<Point3>& vPoints);
    void dropFarOutliers(std::vector<Point3>& vPoints);
    void dropStrays(std::vector<Point3>& vPoints);
    void chooseSpacing(const std::vector<Point3>& vPoints);
    void makeGridFor(const std::vector<Point3>& vPoints);
    void takeSample(const std::vector<Point3>& vPoints);
    void addPoints(std::vector<Point3>& vPoints);
    MeshPtr makeMesh(std::vector<Point3> vPoints);
    MeshPtr makeSurface(std::vector<Point3> vPoints);
    void mend(RMesh& mesh);
    std::size_t uncross(RMesh& mesh);
    void lookAtPoints(const Mesh& mesh);
    std::size_t countBorder(const Mesh& mesh);
    void denoise(MeshPtr& pMesh);
    void fit(MeshPtr& pMesh);
    void finish(RMesh& mesh);
    bool changesSurface() const;

    const ReconstructOptions& options;
    const WatchedRun& watchedRun;
    ReconstructReport& report;
    const bool bFlaws;
    std::optional<Calc> grid;           // for the points as they are
    std::optional<CloudSample> sample;  // of the points as they are, on that grid
    std::vector<Point3> vLeft;          // the given points without those left out; empty when all are left
    std::span<const Point3> own;        // what is left of the given points, without those that are added
    std::optional<FitRun> fitRun;       // of the latest mesh to those
};

MeshPtr ScanRun::run(std::span<const Point3> given) {
    ASSEX(options.minPieceArea>=0.0);
    std::vector<Point3> vPoints(given.begin(), given.end());
    report.numPoints = vPoints.size();
    report.numNotFinite = dropNonFinitePoints(vPoints);
    if (report.numNotFinite > 0)
        warning(KEL_PLACE, "Points with coordinates that aren't finite, left out: " + toString(report.numNotFinite));
    if (!vPoints.empty()) prepare(vPoints);
    const bool bAllLeft = vPoints.size() == given.size();
    if (!bAllLeft) vLeft = vPoints;
    own = bAllLeft ? given : vLeft;
    MeshPtr pMesh = makeSurface(std::move(vPoints));
    if (pMesh && options.bFit) fit(pMesh);
    if (pMesh) finish(*pMesh->pRMesh);
    return pMesh;
}

MeshPtr ScanRun::makeSurface(std::vector<Point3> vPoints) {
    if (!vPoints.empty() && options.bEven) addPoints(vPoints);
    sample.reset();
    returnFreedMemory();
    MeshPtr pMesh;
    step("surface", [&] { pMesh = makeMesh(std::move(vPoints)); });
    if (!pMesh) return pMesh;
    if (bFlaws) step("flaws", [&] { report.before = countFlaws(*pMesh->pRMesh); });
    mend(*pMesh->pRMesh);
    return pMesh;
}

// ---- Before the mesh ----------------------------------------------------------------------------------------------------

/// Leaves out the outliers, and makes the grid.
void ScanRun::prepare(std::vector<Point3>& vPoints) {
    if (options.bOutliers) step("outliers", [&] { dropFarOutliers(vPoints); });
    chooseSpacing(vPoints);
    if (options.bOutliers) dropStrays(vPoints);
    if (const std::size_t numOutliers = report.numFarOutliers + report.numStrays; numOutliers > 0)
        warning(KEL_PLACE, "Outliers left out: " + toString(numOutliers) + " of " + toString(report.numPoints) +
                               " points. ReconstructOptions::bOutliers = false keeps them");
    if (!grid) makeGridFor(vPoints);
}

void ScanRun::dropFarOutliers(std::vector<Point3>& vPoints) {
    const std::vector<std::size_t> vFar = findFarOutliers(vPoints);
    removePoints(vFar, vPoints);
    report.numFarOutliers = vFar.size();
}

// Strays make the estimated spacing too large, by up to a half, and with a spacing that is too large some aren't found.
void ScanRun::dropStrays(std::vector<Point3>& vPoints) {
    for (int round = 0; round < 2; ++round) {
        if (!canBeGridded(boundsOf(vPoints), report.cellEdge)) return;
        makeGridFor(vPoints);
        takeSample(vPoints);
        std::vector<std::size_t> vStrays;
        step("strays", [&] { vStrays = findStrays(vPoints, *sample); });
        if (vStrays.empty()) return;
        sample.reset();
        grid.reset();
        removePoints(vStrays, vPoints);
        report.numStrays += vStrays.size();
        chooseSpacing(vPoints);
    }
}

void ScanRun::makeGridFor(const std::vector<Point3>& vPoints) {
    const PointBounds bounds = boundsOf(vPoints);
    grid = options.origin ? makeGridAt(*options.origin, bounds, report.cellEdge) : makeGrid(bounds, report.cellEdge);
}

void ScanRun::takeSample(const std::vector<Point3>& vPoints) {
    step("nodes", [&] { sample.emplace(vPoints, *grid); });
}

void ScanRun::addPoints(std::vector<Point3>& vPoints) {
    if (!sample) takeSample(vPoints);
    EvenSampling even;
    step("even", [&] { even = evenOut(*sample); });
    if (even.bOverCap)
        warning(KEL_PLACE, "No points added: the spacing " + toString(report.cellEdge) + " is far below that of the points");
    report.numAdded = even.vAdded.size();
    vPoints.reserve(vPoints.size() + even.vAdded.size());  // exactly; growth by itself would double it
    vPoints.insert(vPoints.end(), even.vAdded.begin(), even.vAdded.end());
}

void ScanRun::chooseSpacing(const std::vector<Point3>& vPoints) {
    report.cellEdge = options.spacing;
    if (options.spacing != 0.0) return;  // the grid refuses what is no length
    step("spacing", [&] { report.pointSpacing = estimateSpacing(vPoints, boundsOf(vPoints), vPoints.size()); });
    report.cellEdge = options.factor * report.pointSpacing;
}

MeshPtr ScanRun::makeMesh(std::vector<Point3> vPoints) {
    auto pCloudMgr = std::make_unique<CloudMgr>();
    pCloudMgr->setInput(std::move(vPoints), {.grid = grid,
                                             .bLapTreatment = options.bLaplacian,
                                             .gapClosing = gapClosingOf(options.numGrowSteps, options.bCarefulGrowth)});
    report.numCells = pCloudMgr->getNumBundles();
    return reconstructFrom(std::move(pCloudMgr));
}

/// What the cells can't tell: sheets that touch, crumbs, pinholes.
void ScanRun::mend(RMesh& mesh) {
    if (options.bManifold) step("manifold", [&] { report.manifold = makeManifold(mesh); });
    if (options.minPieceArea > 0.0)
        step("pieces", [&] {
            const DroppedPieces dropped = dropSmallPieces(mesh, options.minPieceArea * report.cellEdge * report.cellEdge);
            report.numPiecesDropped = dropped.numPieces;
            report.numTrianglesDropped = dropped.numTriangles;
        });
    if (options.maxPinholeEdges > 0 || options.maxHoleEdges > 0)
        step("holes", [&] {
            std::optional<CrossingWatch> crossings;  // a hole whose filling would go through something stays open
            if (options.bNoCrossings) crossings.emplace(mesh);
            const HoleLimits limits{options.maxPinholeEdges, options.maxHoleEdges};
            report.numHolesClosed = closeHoles(mesh, limits, options.bManifold);
        });
    if (options.bNoCrossings) report.numCrossings = uncross(mesh);
}

/// Returns how many there were.
std::size_t ScanRun::uncross(RMesh& mesh) {
    CrossingsRemoved done;
    step("crossings", [&] { done = removeCrossings(mesh); });
    report.numCrossingsLeft = done.numAfter;
    return done.numBefore;
}

void ScanRun::lookAtPoints(const Mesh& mesh) {
    const FitOptions fitOptions{.cellEdge = report.cellEdge, .bNoCrossings = options.bNoCrossings};
    step("noise", [&] { fitRun.emplace(*mesh.pRMesh, own, fitOptions); });
}

std::size_t ScanRun::countBorder(const Mesh& mesh) {
    std::size_t numBorderEdges = 0;
    step("flaws", [&] { numBorderEdges = countFlaws(*mesh.pRMesh).numBorderEdges; });
    return numBorderEdges;
}

/// Much noise spreads the points over several layers of cells, which leaves holes and knots. So a first surface serves to
/// take the noise out of the points, and the cells of those make the next one; again, while that closes most of its holes.
/// A surface with more border than the one before isn't taken.
void ScanRun::denoise(MeshPtr& pMesh) {
    std::size_t numBorderEdges = countBorder(*pMesh);
    for (int round = 0; round < MAX_DENOISED; ++round) {
        std::vector<Point3> vPoints = fitRun->pointsWithoutNoise();
        fitRun.reset();  // much memory, and seldom wanted again
        ReconstructReport former = report;
        report.numDenoised = vPoints.size();
        makeGridFor(vPoints);
        MeshPtr pAgain = makeSurface(std::move(vPoints));
        const std::size_t numBefore = numBorderEdges;
        if (pAgain) numBorderEdges = countBorder(*pAgain);
        const bool bWorse = !pAgain || numBorderEdges > numBefore;
        if (bWorse) {
            former.vSteps = std::move(report.vSteps);
            report = std::move(former);
        } else {
            pMesh = std::move(pAgain);
        }
        lookAtPoints(*pMesh);
        if (bWorse || numBorderEdges == 0 || 2 * numBorderEdges > numBefore) return;
    }
}

void ScanRun::fit(MeshPtr& pMesh) {
    lookAtPoints(*pMesh);
    if (options.bDenoise && fitRun->noise() > NOISY) denoise(pMesh);
    step("fit", [&] {
        if (fitRun->hasMesh()) install(std::make_unique<RMesh>(report.cellEdge), *pMesh);  // its memory first
        if (auto pFitted = fitRun->fittedMesh(report.fit)) install(std::move(pFitted), *pMesh);
    });
    const std::optional<std::size_t> numCrossings = fitRun->numCrossingsThen();
    fitRun.reset();
    if (!numCrossings) return;
    report.numCrossingsLeft = *numCrossings;
    if (*numCrossings > 0) uncross(*pMesh->pRMesh);  // the fit may have opened another way out
}

/// Whether any step is to change what the cells make.
bool ScanRun::changesSurface() const {
    const bool bMends =
        options.bManifold || options.minPieceArea > 0.0 || options.maxPinholeEdges > 0 || options.maxHoleEdges > 0;
    return bMends || options.bFit || options.bNoCrossings;
}

void ScanRun::finish(RMesh& mesh) {
    // A piece whose border was closed couldn't be turned by its volume before, and one of few triangles may be inside out
    // now.
    const bool bChanged = report.numHolesClosed > 0 || options.bFit || options.bNoCrossings;
    if (options.bManifold && bChanged) step("turn", [&] { report.manifold.numTurned += turnOutward(mesh); });
    if (!bFlaws) return;
    if (changesSurface())
        step("flaws", [&] { report.after = countFlaws(mesh); });
    else
        report.after = report.before;
    // What made it manifold knew nothing of the pieces dropped and the holes closed since.
    if (options.bManifold) report.manifold.bClosed = report.after.numBorderEdges == 0;
}

}  // namespace

MeshPtr reconstructSpan(std::span<const Point3> points, const ReconstructOptions& options, ReconstructReport* pReport) {
    return runWithOptions(options, pReport, progressForScan, [&](const WatchedRun& watchedRun, ReconstructReport& report) {
        return ScanRun(options, watchedRun, report, pReport != nullptr).run(points);
    });
}

MeshPtr reconstruct(const std::vector<Point3>& vPoints, const ReconstructOptions& options, ReconstructReport* pReport) {
    return reconstructSpan(vPoints, options, pReport);
}

}  // namespace TARN_KEL
