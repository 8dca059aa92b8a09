// The order of the repair.
//
// Early passes prepare the mesh for later ones. Doubled squares and flat triangles are removed first, because they would
// leave MEs that tell nothing. Then double sheets are solved by the careful rule, so that the second extraction completes
// only cubes at borders and edges of degree 4 that the cells really make. That extraction starts from the cells again, so
// faults repaired elsewhere may be back: squares and flat triangles are treated again, and sheets and borders are now solved
// for good. Borders come first: tidying them removes MEs and so joins patches. The last round of patch pairs works on these,
// by the stronger rule. Small patches that it leaves at borders are killed with a larger limit. At the end the patches are
// oriented, and flaps at edges of degree 3 are thinned.
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
#include "processMemory.h"
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

// The loop ends: a pass that returns true has killed a triangle, and none creates any.
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

void repairUnified(CMesh& extracted, const ExtractAgain& extractAgain) {
    solvePatchPairsCarefully(extracted);  // no small pair of patches on one boundary, no thin bubble that splits
    CMesh& mesh = completeCubes(extracted, extractAgain);  // at borders and edges of degree 4; all triangles are new
    killDegenerate(mesh);                                  // no flat triangle among these

    std::vector<CEdge*> vBorderCE;
    runCounted(
        "TP_itr", 3,                                      //
        [&] { vBorderCE = killHangersGetBorder(mesh); },  // no triangle has a border edge and two MEs
        [&] { foldEars(mesh, vBorderCE); },               // no ear on an ME
        [&] { killTinyPatches(mesh, 40); });              // no tiny patch at a border
    solvePatchPairsForGood(mesh);                         // no small pair, no thin bubble, whatever is connected to it
    returnFreedMemory(mesh.getTriRef().size());           // what all of these have left, before floods take theirs
    runCounted(
        "TP_fin", 1,                             //
        [&] { killTinyPatches(mesh, 100); },     // no ragged patch at a border
        [&] { cutIntoPatches(mesh, nullptr); },  // the mesh has its current patches
        [&] { orientPatches(mesh); },            // the triangles of a patch agree over edges of degree 2
        [&] { thinFlaps(mesh); });               // flaps at edges of degree 3 are thinned where they can be told
}

}  // namespace

void repairReconstructedMesh(CMesh& mesh, const ExtractAgain& extractAgain) {
    runCounted(
        "TP_unif", 2,                    //
        [&] { unifyDiagonals(mesh); },   // no square has a second diagonal with two triangles
        [&] { killDegenerate(mesh); });  // no flat triangle, or a warning for it
    repairUnified(mesh, extractAgain);
}

void repairHoleMesh(CMesh& mesh, const ExtractAgain& extractAgain) {
    unifyDiagonals(mesh);
    killDegenerate(mesh);
    repairUnified(mesh, extractAgain);
}

void repairMeltedMesh(CMesh& extracted, const ExtractAgain& extractAgain) {
    Random random;
    unifyDiagonals(extracted);                             // no square has a second diagonal with two triangles
    CMesh& mesh = completeCubes(extracted, extractAgain);  // as above; all triangles are new
    tidyBorders(mesh, 8);            // no triangle with a border edge and two MEs, no ear on an ME, no tiny patch
    solvePatchPairsCarefully(mesh);  // no small pair of patches on one boundary, no thin bubble that splits
    killTinyPatches(mesh, 8);        // no tiny patch left by these kills
    mesh.averageBundles();           // added vertices lie amid their neighbours
    mesh.treatDegenerateT();         // flat triangles are split or moved
    separateVertices(mesh, random);  // no two vertices at one point
}

}  // namespace TARN_KEL
