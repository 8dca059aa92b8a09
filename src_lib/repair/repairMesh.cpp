// The order of the repair.
//
// What comes early makes the ground that later passes stand on. Doubled squares and flat triangles go first, because they
// would be MEs that tell nothing. Then double sheets go by the careful rule, so that the second extraction completes only
// cubes at those borders and edges of degree 4 that the cells really make. It starts from the cells again, so what was
// repaired elsewhere may be back; squares and flat triangles go again, sheets and borders are solved for good now. The
// borders come first: tidying them takes MEs away and so joins patches. The last round of patch pairs works on these, by the
// stronger rule. Small patches that it leaves at borders are killed by a larger limit. At last the sheets are oriented, and
// flaps at edges of degree 3 are thinned.
#include "repairMesh.h"

#include <cstddef>
#include <vector>

#include "CMesh.h"
#include "Progress.h"
#include "Random.h"
#include "borders.h"
#include "completeCubes.h"
#include "degenerate.h"
#include "degree3.h"
#include "orientPatches.h"
#include "patchPairs.h"
#include "separateVertices.h"
#include "squares.h"

namespace TARN_KEL {

namespace {

/// Runs the passes in this order, each counted in the step of that name.
template <typename... Pass>
void runCounted(const char* name, std::size_t numSteps, Pass&&... pass) {
    ProgressStep step(name, numSteps);
    ((pass(), step.advance()), ...);
    step.finish();
}

// It ends: a pass that returns true has killed a triangle, and passes make none.
void solvePatchPairsCarefully(CMesh& mesh) {
    while (solvePatchPairsOnce(mesh, true)) {
    }
}

void solvePatchPairsForGood(CMesh& mesh) {
    ProgressStep step("TP_pps", 5);
    while (solvePatchPairsOnce(mesh, false))
        step.advance();
    step.finish();
}

void tidyBorders(CMesh& mesh, int maxNumT) {
    foldEars(mesh, killHangersGetBorder(mesh));
    killTinyPatches(mesh, maxNumT);
}

void repairUnified(CMesh& mesh, Extractor& extractor) {
    solvePatchPairsCarefully(mesh);  // no small pair of patches on one boundary, no thin bubble that splits
    completeCubes(mesh, extractor);  // cubes at borders and edges of degree 4 are completed; all triangles are new
    killDegenerate(mesh);            // no flat triangle among these

    std::vector<CEdge*> vBorderCE;
    runCounted(
        "TP_itr", 3,                                      //
        [&] { vBorderCE = killHangersGetBorder(mesh); },  // no triangle hangs by a border edge between MEs
        [&] { foldEars(mesh, vBorderCE); },               // no ear on an ME
        [&] { killTinyPatches(mesh, 40); });              // no tiny patch at a border
    solvePatchPairsForGood(mesh);                         // no small pair, no thin bubble, whatever hangs on it
    runCounted(
        "TP_fin", 1,                             //
        [&] { killTinyPatches(mesh, 100); },     // no ragged patch at a border
        [&] { cutIntoPatches(mesh, nullptr); },  // the patches of the mesh are its present ones
        [&] { orientPatches(mesh); },            // the triangles of a patch agree over edges of degree 2
        [&] { thinFlaps(mesh); });               // flaps at edges of degree 3 are gone where they can be told
}

}  // namespace

void repairReconstructedMesh(CMesh& mesh, Extractor& extractor) {
    runCounted(
        "TP_unif", 2,                    //
        [&] { unifyDiagonals(mesh); },   // no square has a second diagonal with two triangles
        [&] { killDegenerate(mesh); });  // no flat triangle, or a warning for it
    repairUnified(mesh, extractor);
}

void repairHoleMesh(CMesh& mesh, Extractor& extractor) {
    unifyDiagonals(mesh);
    killDegenerate(mesh);
    repairUnified(mesh, extractor);
}

void repairMeltedMesh(CMesh& mesh, Extractor& extractor) {
    Random random;
    unifyDiagonals(mesh);            // no square has a second diagonal with two triangles
    completeCubes(mesh, extractor);  // cubes at borders and edges of degree 4 are completed; all triangles are new
    tidyBorders(mesh, 8);            // no triangle hangs by a border edge between MEs, no ear on an ME, no tiny patch
    solvePatchPairsCarefully(mesh);  // no small pair of patches on one boundary, no thin bubble that splits
    killTinyPatches(mesh, 8);        // no tiny patch that this has made
    mesh.averageBundles();           // added vertices lie amid what is left
    mesh.treatDegenerateT();         // flat triangles are split or moved
    separateVertices(mesh, random);  // no two vertices at one point
}

}  // namespace TARN_KEL
