// Closes a hole by a mesh of its own: the points of the new sheet and one row of the old surface are reconstructed
// separately, on the grid of the mesh. No public function reaches this.
#include <memory>
#include <utility>

#include "CMesh.h"
#include "CloudMgr.h"
#include "Hal.h"
#include "Hole.h"
#include "drawings.h"
#include "sortMT.h"

namespace TARN_KEL {

CMesh* Hole::createCMesh(VCCDPoint& vCCD2Point) {
    std::vector<Point3> vPoints;
    for (const auto& [ccd, point] : vCCD2Point)
        vPoints.push_back(point);
    std::vector<CTriangle*> vRow;
    getNTriangleRows(1, vRow);
    drawOnTheWay([&] { drawTriangles(name + "rows.list", pCalc, vRow, CRED, pCMesh); });
    VVCD vCorners;
    pCMesh->extractAliveVCD(vRow, vCorners);
    for (const VCD vcd : vCorners)
        vPoints.push_back(pCMesh->getAvgPoint(vcd));
    oneInstanceMT(vPoints);

    CloudMgr cloudMgr;
    cloudMgr.setInputPoints(vPoints, -1.0, -1.0, false, 361.0, false, pCalc, -1);
    Hal hal(&cloudMgr);
    std::unique_ptr<CMesh> pHoleMesh(hal.reconstructInHole());
    drawOnTheWay([&] {
        if (pHoleMesh != nullptr) pHoleMesh->debugShow(name + "holeTri.list", VT_REAL, CGREEN);
    });
    return pHoleMesh.release();
}

}  // namespace TARN_KEL
