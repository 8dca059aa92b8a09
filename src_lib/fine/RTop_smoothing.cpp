// Laplacian smoothing of the fine mesh.
//
// Each vertex that isn't on the border moves to the mean of its neighbours, all of them at once: a round computes the means
// of the places before it, then moves. The neighbours of a vertex don't change meanwhile, so their lists are made once, and
// a round is a walk over them. When the mean of a vertex is the place of another one, the vertex isn't moved: two vertices
// at one place couldn't be told apart by their coordinates.
//
//        b---c            b---c         a, which was off the middle, moves to the mean of b, c, d, e. Those of them that
//        | \a| \    ->    |\ /|\        aren't on the border move as well, each by the places on the left.
//        d---e            d-a-e
//
// Triangles may become slivers by that; these are removed by collapses at the end.
#include <algorithm>
#include <optional>
#include <string>

#include "CrossingWatch.h"
#include "FreeMoves.h"
#include "NeighbourLists.h"
#include "Progress.h"
#include "RMesh.h"
#include "RTop.h"
#include "VertexMover.h"

namespace TARN_KEL {

namespace {

/// Counts under a step of the run, or not at all.
class StepCounter {
public:
    StepCounter(bool bProgress, const std::string& name, std::size_t todo)
        : step(bProgress ? ProgressStep(name, todo) : ProgressStep()) {}
    void operator()(std::size_t numSteps = 1) const { step.advance(numSteps); }

private:
    ProgressStep step;
};

/// For each vertex by its index, 1 at the end of a border edge.
std::vector<char> markBorder(const RMesh& mesh, bool bProgress) {
    const StepCounter count(bProgress, "border", mesh.vRE.size());
    std::vector<char> vBorder(mesh.getNumVtx_all(), 0);
    for (const REdge* pRE : mesh.vRE) {
        if (pRE->getDegree() == 1) vBorder[mesh.getVtxIndex(pRE->pVtx0)] = vBorder[mesh.getVtxIndex(pRE->pVtx1)] = 1;
        count();
    }
    return vBorder;
}

/// Of the vertices off the border. Edges of degree 0 count.
NeighbourLists neighbourLists(const RMesh& mesh, const std::vector<char>& vBorder, bool bProgress) {
    std::vector<Point3*> vVtx(mesh.getNumVtx_all());
    for (std::size_t i = 0; i < vVtx.size(); ++i)
        vVtx[i] = mesh.poolVtx.at(i);
    const auto numbersOf = [&](const REdge& edge) {
        return std::pair(mesh.getVtxIndex(edge.pVtx0), mesh.getVtxIndex(edge.pVtx1));
    };
    return {mesh.vRE, std::move(vVtx), vBorder, numbersOf, StepCounter(bProgress, "list", mesh.vRE.size())};
}

/// The normals of the triangles at vertices that may move. It is done before the first move: nobody asks for a normal until
/// the last one, and a listener may end the run in between.
void forgetNormals(RMesh& mesh, const std::vector<char>& vBorder) {
    const auto mayMove = [&](const Point3* p) { return vBorder[mesh.getVtxIndex(p)] == 0; };
    for (RTriangle* pRT : mesh.vRT)
        if (std::any_of(pRT->aCorners, pRT->aCorners + 3, mayMove)) pRT->resetNNV();
}

void runRounds(RMesh& mesh, const NeighbourLists& lists, int numIterations, bool bProgress, bool bNoCrossings) {
    std::optional<FreeMoves> freeMoves;
    if (bNoCrossings) freeMoves.emplace(mesh);
    VertexMover mover(mesh);
    std::vector<VertexMove> vMoves;
    for (int i = 0; i < numIterations; ++i) {
        const StepCounter count(bProgress, "it%" + toString(i), lists.numPairs());
        lists.computeMeans(vMoves);
        if (freeMoves) freeMoves->choose(vMoves);
        mover.move(vMoves);
        for (std::size_t list = 0; list < lists.numLists(); ++list)
            count(lists.length(list));
    }
}

void moveVertices(RMesh& mesh, int numIterations, bool bProgress, bool bNoCrossings) {
    const std::vector<char> vBorder = markBorder(mesh, bProgress);
    const NeighbourLists lists = neighbourLists(mesh, vBorder, bProgress);
    if (numIterations > 0) {
        forgetNormals(mesh, vBorder);
        runRounds(mesh, lists, numIterations, bProgress, bNoCrossings);
    }
}

}  // namespace

void RTop::laplacianSmoothingKillDeg(int numIterations) {
    moveVertices(*pRMesh, numIterations, false, false);
    clearDegenerate(false);
}

void RTop::laplacianSmoothing(int numIterations, bool bKeepManifold, bool bNoCrossings) {
    moveVertices(*pRMesh, numIterations, true, bNoCrossings);
    std::optional<CrossingWatch> watch;
    if (bNoCrossings) watch.emplace(*pRMesh);
    clearDegenerate(bKeepManifold);
}

}  // namespace TARN_KEL
