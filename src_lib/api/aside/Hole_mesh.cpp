// Closes a hole by a mesh of its own: the points of the new sheet and one row of the old surface are reconstructed
// separately, on the grid of the mesh. No public function reaches this.
#include <memory>
#include <utility>

#include "CMesh.h"
#include "CloudMgr.h"
#include "Hal.h"
#include "Hole.h"
#include "drawings.h"
#include "holeTriangles.h"

namespace TARN_KEL {

namespace {

CMesh* meshOf(std::vector<Point3> vPoints, const Calc& grid) {
    CloudMgr cloudMgr;
    cloudMgr.setInput(std::move(vPoints), {.grid = grid});
    return Hal(&cloudMgr).reconstructInHole();
}

}  // namespace

CMesh* Hole::createCMesh(VCCDPoint& vCCD2Point) {
    std::vector<CTriangle*> vRow;
    getNTriangleRows(1, vRow);
    drawOnTheWay([&] { drawTriangles(name + "rows.list", pCalc, vRow, CRED, pCMesh); });
    std::unique_ptr<CMesh> pHoleMesh(meshOf(pointsOfSheetAndRow(vCCD2Point, vRow, *pCMesh), *pCalc));
    drawOnTheWay([&] {
        if (pHoleMesh != nullptr) pHoleMesh->debugShow(name + "holeTri.list", VT_REAL, CGREEN);
    });
    return pHoleMesh.release();
}

}  // namespace TARN_KEL
