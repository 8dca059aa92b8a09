// The order of the repair.
//
// What comes early makes the ground that later passes stand on. Doubled squares and flat triangles go first, because they
// would be MEs that tell nothing. Then double sheets go by the careful rule, so that the second extraction completes only
// cubes at those borders and edges of degree 4 that the cells really make. It starts from the cells again, so what was
// repaired elsewhere may be back; squares and flat triangles go again, sheets and borders are solved for good now. The
// borders come first: tidying them takes MEs away and so joins patches. The last round of patch pairs works on these, by the
// stronger rule. What small pieces it leaves at borders go by a larger limit. At last the sheets are oriented, and flaps at
// edges of degree 3 are thinned.
#include "Top.h"

#include "CMesh.h"
#include "CPatch.h"
#include "Progress.h"

namespace TARN_KEL {

namespace {

/// Runs the passes in this order, each counted in the step of that name.
template <typename... Pass>
void runCounted(const char* name, std::size_t numSteps, Pass&&... pass) {
    ProgressStep step(name, numSteps);
    ((pass(), step.advance()), ...);
    step.finish();
}

}  // namespace

Top::Top(CMesh* pCMesh_, Calc* pCalc_) : pCMesh(pCMesh_), pCalc(pCalc_) {}

void Top::finalizeReconstructedMesh(Voro* pVoro) {
    runCounted(
        "TP_unif", 2,                   //
        [this] { unifyDiagonals(); },   // no square has a second diagonal with two triangles
        [this] { killDegenerate(); });  // no flat triangle, or a warning for it
    finalizeUnified(pVoro);
}

void Top::finalizeHoleMesh(Voro* pVoro) {
    unifyDiagonals();
    killDegenerate();
    finalizeUnified(pVoro);
}

void Top::finalizeUnified(Voro* pVoro) {
    solvePatchPairsCarefully();  // no small pair of sheets on one rim, no thin bubble that splits
    cbsComplete(pVoro);          // cubes at borders and edges of degree 4 are completed; all triangles are new
    killDegenerate();            // no flat triangle among these

    std::vector<CEdge*> vBorderCE;
    runCounted(
        "TP_itr", 3,                               //
        [&] { getBordersKillDeg1nn(vBorderCE); },  // no triangle hangs by a border edge between MEs
        [&] { integrateBorders(vBorderCE); },      // no ear on an ME
        [&] { killTinyBorderPatches(40); });       // no tiny piece at a border

    ProgressStep step("TP_pps", 5);
    while (patchPairSolving(false))  // no small pair, no thin bubble, whatever hangs on it
        step.advance();
    step.finish();

    runCounted(
        "TP_fin", 1,                             //
        [this] { killTinyBorderPatches(100); },  // no ragged piece at a border
        [this] { refreshPatches(); },            // the patches of the mesh are its present sheets
        [this] { orient(); },                    // the triangles of a sheet agree over edges of degree 2
        [this] { repairDeg3(); });               // flaps at edges of degree 3 are gone where they can be told
}

void Top::finalizeOneMelted(Voro* pVoro) {
    std::vector<CEdge*> vBorderCE;

    unifyDiagonals();                 // no square has a second diagonal with two triangles
    cbsComplete(pVoro);               // cubes at borders and edges of degree 4 are completed; all triangles are new
    getBordersKillDeg1nn(vBorderCE);  // no triangle hangs by a border edge between MEs
    integrateBorders(vBorderCE);      // no ear on an ME
    killTinyBorderPatches(8);         // no tiny piece at a border
    solvePatchPairsCarefully();       // no small pair of sheets on one rim, no thin bubble that splits
    killTinyBorderPatches(8);         // no tiny piece that this has made
    pCMesh->averageBundles();         // added vertices lie amid what is left
    pCMesh->treatDegenerateT();       // flat triangles are split or moved
    oneCoordTriplePerCCD();           // no two vertices at one point
}

// It ends: a pass that returns true has killed a triangle, and passes make none.
void Top::solvePatchPairsCarefully() {
    while (patchPairSolving(true)) {
    }
}

void Top::integrateBorders(const std::vector<CEdge*>& vBorderCE) {
    for (CEdge* pCE : vBorderCE)
        integrateCCD(pCE);
}

void Top::refreshPatches() {
    std::vector<CPatch*> vPatches;
    std::map<VCD, CPatch*> mVCD2Patch;
    std::vector<CEdge*> vMECE;
    pCMesh->createPatches(nullptr, vPatches, mVCD2Patch, vMECE);
}

}  // namespace TARN_KEL
