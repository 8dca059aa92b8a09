// Post-processing of a finished mesh.
#include <cmath>
#include <optional>
#include <utility>

#include "CrossingWatch.h"
#include "ManifoldMaker.h"
#include "Progress.h"
#include "RMesh.h"
#include "RTop.h"
#include "Visualizer3.h"
#include "countCrossings.h"
#include "kel.h"
#include "removeCrossings.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// A watch on the mesh, if one is wanted.
class Watched {
public:
    Watched(RMesh& mesh, bool bWanted) {
        if (bWanted) watch.emplace(mesh);
    }

private:
    std::optional<CrossingWatch> watch;
};

}  // namespace

int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle) {
    return reduce(std::move(pMesh), maxEdgeLength, maxAngle, false);
}

int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle, bool bKeepManifold) {
    return reduce(std::move(pMesh), maxEdgeLength, maxAngle, KeepOptions{bKeepManifold, false});
}

int reduce(MeshPtr pMesh, double maxEdgeLength, double maxAngle, const KeepOptions& keep) {
    ASSEX(pMesh!=NULL);
    RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    if (std::isnan(maxEdgeLength) || std::isnan(maxAngle)) {
        warning(KEL_PLACE, "A limit isn't a number: the mesh stays as it is");
        return 0;
    }
    OwnRun run(progressForReduce());
    const Watched watched(*pRMesh, keep.bNoCrossings);
    const int numKilled = pRMesh->reduce(maxEdgeLength * maxEdgeLength, maxAngle);
    RTop(pRMesh).clearDegenerate(keep.bManifold);
    run.close();
    return numKilled;
}

void edgeFlips(MeshPtr pMesh) {
    edgeFlips(std::move(pMesh), false);
}

void edgeFlips(MeshPtr pMesh, bool bKeepManifold) {
    edgeFlips(std::move(pMesh), KeepOptions{bKeepManifold, false});
}

void edgeFlips(MeshPtr pMesh, const KeepOptions& keep) {
    ASSEX(pMesh!=NULL);
    OwnRun run(progressForEdgeFlips());
    const Watched watched(*pMesh->getRMesh(), keep.bNoCrossings);
    RTop(pMesh->getRMesh()).edgeFlipsKillDeg(keep.bManifold);
    run.close();
}

void edgeFlipsSimA(MeshPtr pMesh) {
    edgeFlipsSimA(std::move(pMesh), false);
}

void edgeFlipsSimA(MeshPtr pMesh, bool bKeepManifold) {
    edgeFlipsSimA(std::move(pMesh), KeepOptions{bKeepManifold, false});
}

void edgeFlipsSimA(MeshPtr pMesh, const KeepOptions& keep) {
    ASSEX(pMesh!=NULL);
    const std::vector<double> vTemperature = annealingTemperatures();
    OwnRun run(progressForEdgeFlipsSimA(vTemperature));
    edgeFlips(pMesh, keep);
    for (const double temperature : vTemperature) {
        const Watched watched(*pMesh->getRMesh(), keep.bNoCrossings);
        edgeFlipsSimA(pMesh->getRMesh(), temperature);
    }
    edgeFlips(pMesh, keep);
    run.close();
}

void laplacianSmoothing(MeshPtr pMesh, int numIterations) {
    laplacianSmoothing(std::move(pMesh), numIterations, false);
}

void laplacianSmoothing(MeshPtr pMesh, int numIterations, bool bKeepManifold) {
    laplacianSmoothing(std::move(pMesh), numIterations, KeepOptions{bKeepManifold, false});
}

void laplacianSmoothing(MeshPtr pMesh, int numIterations, const KeepOptions& keep) {
    ASSEX(pMesh!=NULL);
    OwnRun run(progressForSmoothing(numIterations));
    RTop(pMesh->getRMesh()).laplacianSmoothing(numIterations, keep.bManifold, keep.bNoCrossings);
    run.close();
}

ManifoldReport makeManifold(MeshPtr pMesh) {
    return makeManifold(std::move(pMesh), false);
}

ManifoldReport makeManifold(MeshPtr pMesh, bool bNoCrossings) {
    ASSEX(pMesh!=NULL);
    RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    OwnRun run(progressForManifold());
    const Watched watched(*pRMesh, bNoCrossings);
    const ManifoldReport report = makeManifold(*pRMesh);
    run.close();
    return report;
}

std::size_t removeSelfIntersections(MeshPtr pMesh) {
    ASSEX(pMesh!=NULL);
    RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    return removeCrossings(*pRMesh).numAfter;
}

int fillHoles(MeshPtr pMesh, int maxEdges) {
    return fillHoles(std::move(pMesh), maxEdges, false);
}

int fillHoles(MeshPtr pMesh, int maxEdges, bool bKeepManifold) {
    return fillHoles(std::move(pMesh), maxEdges, KeepOptions{bKeepManifold, false});
}

int fillHoles(MeshPtr pMesh, int maxEdges, const KeepOptions& keep) {
    ASSEX(pMesh!=NULL);
    OwnRun run(progressForFillHoles());
    const Watched watched(*pMesh->getRMesh(), keep.bNoCrossings);
    const int numClosed = RTop(pMesh->getRMesh()).fillHoles(maxEdges, keep.bManifold);
    run.close();
    return numClosed;
}

std::size_t countSelfIntersections(MeshPtr pMesh) {
    ASSEX(pMesh!=NULL);
    const RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    return countCrossings(*pRMesh);
}

std::size_t countSelfIntersections(MeshPtr pMesh, std::vector<std::pair<std::size_t, std::size_t>>& vPairs) {
    ASSEX(pMesh!=NULL);
    const RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    std::vector<CrossingPair> vFound;
    countCrossings(*pRMesh, &vFound);
    vPairs.assign(vFound.begin(), vFound.end());
    return vPairs.size();
}

void findHoles(MeshPtr pMesh) {
    findHoles(std::move(pMesh), "holes.list");
}

bool findHoles(MeshPtr pMesh, const std::string& filename) {
    ASSEX(pMesh!=NULL);
    const RMesh* pRMesh = pMesh->getRMesh();
    ASSEX(pRMesh!=NULL);
    return writeDrawing(filename, nullptr, true, [&](Visualizer3& visualizer) {
        pRMesh->show(&visualizer, CWHITE, false, false);
        std::vector<REdge*> vBorder;
        pRMesh->getDegN(1, vBorder);
        visualizer.writeSegments(vBorder, CRED, true);
    });
}

}  // namespace TARN_KEL
