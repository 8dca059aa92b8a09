// The melt with options: what melt() of a spacing and an angle does, with all touched cells and with steps behind it.
//
//     triangles -> cells on lines -> with all other touched ones -> mesh of the cells -> manifold -> without crumbs
//     -> without pinholes and slits
//
// A slit of the soup that is about two cells wide is bridged by cells here and there, and so becomes a row of long holes.
// Those are told from wider holes by the soup itself: no place in them is farther from it than a cell. Where a rim is
// ragged, a few triangles may hold to the sheet by a vertex alone; once the sheets are apart, these are crumbs.
//
// Without the cells that lines miss, a part askew to the grid has pinholes and fins. With all of them the cells let nothing
// through, so each place of a closed part is between two cells that share a dual cube, and its mesh is closed.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CloudMgr.h"
#include "Hal.h"
#include "ManifoldMaker.h"
#include "Progress.h"
#include "RMesh.h"
#include "RunWatch.h"
#include "TriangleTree.h"
#include "kel.h"
#include "meshFlaws.h"
#include "pieces.h"
#include "soupRoom.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr double NARROW_REACH = 1.0;  // cells: half of what a hole may be wide at most
constexpr std::size_t MAX_CRUMB = 8;  // triangles

/// The triangles of a soup but for those that aren't finite.
TriangleTree treeOf(const std::vector<Point3>& vCorners) {
    std::vector<TrianglePlaces> vTriangle;
    vTriangle.reserve(vCorners.size() / 3);
    for (std::size_t i = 0; i + 2 < vCorners.size(); i += 3)
        if (isFinitePoint(vCorners[i]) && isFinitePoint(vCorners[i + 1]) && isFinitePoint(vCorners[i + 2]))
            vTriangle.push_back({vCorners[i] - Point3(), vCorners[i + 1] - Point3(), vCorners[i + 2] - Point3()});
    return TriangleTree(std::move(vTriangle));
}

/// One melt, step by step.
class MeltRun {
public:
    /// bCountFlaws: somebody wants to know.
    MeltRun(const MeltOptions& theOptions, const WatchedRun& theRun, MeltReport& theReport, bool bCountFlaws)
        : options(theOptions), watchedRun(theRun), report(theReport), bFlaws(bCountFlaws) {}

    MeshPtr run(const std::vector<Point3>& vCorners) {
        report.numTriangles = vCorners.size() / 3;
        requireRoom(vCorners);
        MeshPtr pMesh = makeSurface(vCorners);
        if (!pMesh) return pMesh;
        RMesh& mesh = *pMesh->pRMesh;
        if (bFlaws) step("flaws", [&] { report.before = countFlaws(mesh); });
        mend(mesh, vCorners);
        if (bFlaws) step("flaws", [&] { report.after = countFlaws(mesh); });
        // What made it manifold knew nothing of the holes closed since.
        if (bFlaws && options.bManifold) report.manifold.bClosed = report.after.numBorderEdges == 0;
        return pMesh;
    }

private:
    template <typename Work>
    void step(const char* name, Work&& work) {
        watchedRun.step(name, report.vSteps, std::forward<Work>(work));
    }

    // kel looks by itself before, as the line of the condition would hide this one there.
    void requireRoom(const std::vector<Point3>& vCorners) const {
        const std::string fault = soupRoomFault(vCorners, options.spacing, MESH_BYTES_PER_CELL);
        if (!fault.empty()) warning(KEL_PLACE, fault);
        const bool bFitsMemory = fault.empty();
        ASSEX(bFitsMemory);
    }

    MeshPtr makeSurface(const std::vector<Point3>& vCorners) {
        auto pCloudMgr = std::make_unique<CloudMgr>();
        step("cells", [&] {
            pCloudMgr->setInput(vCorners, {.bSoup = true,
                                           .spacing = options.spacing,
                                           .featureAngle = options.featureAngle,
                                           .bCompleteSoup = options.bComplete,
                                           .bBriefSoup = true});
        });
        report.numCells = pCloudMgr->getNumBundles();
        const SoupFigures& figures = pCloudMgr->getSoupFigures();
        report.numAdded = figures.numAdded;
        if (figures.bClosed) strips = Strips::REMOVE_OF_CLOSED;
        MeshPtr pMesh;
        step("surface", [&] { pMesh = meltFrom(std::move(pCloudMgr)); });
        return pMesh;
    }

    void mend(RMesh& mesh, const std::vector<Point3>& vCorners) {
        if (options.bManifold)
            step("manifold", [&] {
                report.manifold = makeManifold(mesh, Facing::OUTWARD, strips);
                report.manifold.numSplinters += dropCrumbs(mesh, MAX_CRUMB);
            });
        if (options.maxPinholeEdges > 0 || options.maxHoleEdges > 0)
            step("holes", [&] { report.numHolesClosed = closeHoles(mesh, vCorners); });
        // A piece with a border couldn't be turned by its volume before.
        if (options.bManifold && report.numHolesClosed > 0)
            step("turn", [&] { report.manifold.numTurned += turnOutward(mesh); });
    }

    int closeHoles(RMesh& mesh, const std::vector<Point3>& vCorners) const {
        const NarrowHoles narrow{[&vCorners] { return treeOf(vCorners); }, NARROW_REACH * options.spacing};
        const bool bNarrow = options.bManifold && options.maxPinholeEdges > 0;
        const HoleLimits limits{options.maxPinholeEdges, options.maxHoleEdges, bNarrow ? &narrow : nullptr};
        return TARN_KEL::closeHoles(mesh, limits, options.bManifold);
    }

    const MeltOptions& options;
    const WatchedRun& watchedRun;
    MeltReport& report;
    const bool bFlaws;
    Strips strips = Strips::REMOVE;
};

}  // namespace

MeshPtr melt(const std::vector<Point3>& vPoints, const MeltOptions& options, MeltReport* pReport) {
    return runWithOptions(options, pReport, progressForMeltWithOptions,
                          [&](const WatchedRun& watchedRun, MeltReport& report) {
                              return MeltRun(options, watchedRun, report, pReport != nullptr).run(vPoints);
                          });
}

}  // namespace TARN_KEL
