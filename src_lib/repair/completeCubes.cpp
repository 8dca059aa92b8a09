// Extracts the mesh again with crowded dual cubes completed.
#include "completeCubes.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <vector>

#include "CMesh.h"
#include "Progress.h"
#include "borders.h"
#include "sortMT.h"
#include "squares.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The keys of the dual cubes around the cells, eight for each cell, sorted. The key of a cube that has all of the cells
/// occurs once for each of them.
std::vector<VCD> keysOf(const Calc& calc, std::initializer_list<VCD> cells) {
    std::vector<VCD> vKeys;
    vKeys.reserve(8 * cells.size());
    for (const VCD vcd : cells) {
        std::array<CCD, 8> keys{vcd};
        calc.completeArrayPlus(keys.data());
        vKeys.insert(vKeys.end(), keys.begin(), keys.end());
    }
    std::sort(vKeys.begin(), vKeys.end());
    return vKeys;
}

/// Appends the keys of the dual cubes of the border triangles.
void appendCubesAtBorder(const Calc& calc, const std::vector<CEdge*>& vBorderCE, std::vector<VCD>& vCubes) {
    for (const CEdge* pCE : vBorderCE) {
        const CTriangle* pCT = pCE->getTriangle(true, true);
        const std::vector<VCD> vVCD24 = keysOf(calc, {pCT->c0, pCT->c1, pCT->c2});
        ASSEX(vVCD24.size()==24);
        filterN(vVCD24, 3, vCubes);
    }
}

void appendCubesAtEdges(const Calc& calc, const std::vector<CEdge*>& vCE, std::vector<VCD>& vCubes) {
    for (const CEdge* pCE : vCE)
        filterN(keysOf(calc, {pCE->v0, pCE->v1}), 2, vCubes);
}

}  // namespace

CMesh& completeCubes(CMesh& mesh, const ExtractAgain& extractAgain) {
    const Calc& calc = *mesh.getCalc();
    ProgressStep step("TP_cbcpl", 7);
    std::vector<VCD> vCubes;
    const std::vector<CEdge*> vBorderCE = killHangersGetBorder(mesh);
    step.advance();
    appendCubesAtBorder(calc, vBorderCE, vCubes);
    step.advance();
    std::vector<CEdge*> vDeg4;
    mesh.getDegN(4, vDeg4);
    step.advance();
    appendCubesAtEdges(calc, vDeg4, vCubes);
    step.advance();
    oneInstance(vCubes);
    CMesh& again = extractAgain(vCubes);
    step.advance();
    again.averageBundles();
    step.advance();
    unifyDiagonals(again);
    step.advance();
    step.finish();
    return again;
}

}  // namespace TARN_KEL
