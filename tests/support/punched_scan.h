// Coarse meshes of scans with a hole.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "ChainMgr.h"
#include "CloudMgr.h"
#include "Hal.h"
#include "freeFunctions.h"
#include "support/capture.h"
#include "support/coarse.h"
#include "support/points.h"
#include "support/run.h"

namespace TARN_TEST {

/// The coarse mesh of a scan with a ball of points missing, on cells of edge 1: a sphere of radius 20 or a plate of edge 40,
/// which lies in the grid askew.
class PunchedScan {
public:
    PunchedScan(bool bSphere, unsigned seed, double maxRadius = 9.0) {
        using namespace TARN_KEL;
        Scan scan(seed);
        const auto chance = [&scan] { return scan.uniform(-1.0, 1.0); };
        const double nx = chance(), ny = chance(), nz = chance();
        const Vector3 normal = normalize(Vector3(nx, ny, nz));
        const double radius = scan.uniform(2.0, maxRadius);
        std::vector<Point3> vPoints;
        if (bSphere) {
            vPoints = scaled(scan.sphere(20000), 20.0);
            centre = Point3() + normal * 20.0;
            distance = [](const Point3& p) { return (p - Point3()).length() - 20.0; };
        } else {
            const Vector3 u = normalize(crossProduct(normal, Vector3(0.3, 0.5, 0.7))), v = crossProduct(normal, u);
            for (const Point3& p : scaled(scan.plane(8000), 40.0))
                vPoints.push_back(Point3() + u * (p.x() - 20.0) + v * (p.y() - 20.0));
            distance = [normal](const Point3& p) { return (p - Point3()) * normal; };
        }
        const auto itMissing = std::stable_partition(vPoints.begin(), vPoints.end(),
                                                     [&](const Point3& p) { return (p - centre).length() >= radius; });
        vMissing.assign(itMissing, vPoints.end());
        vPoints.erase(itMissing, vPoints.end());
        const CoutSilence silence;
        const OpenRun run;
        CloudMgr cloudMgr;
        cloudMgr.setInputPoints(vPoints, 1.0, 1.0, false, 361.0, false, nullptr, -1);
        pMesh.reset(Hal(&cloudMgr).reconstructInHole());
        EdgesByEnd mm;
        enterBothEnds(mm, edges(*pMesh, 1));
        pChainMgr = std::make_unique<ChainMgr>(pMesh.get(), mm, true);
        for (Chain* pChain : pChainMgr->vChains)
            if (!pChain->empty() && pChain->isClosed() && (pMesh->getAvgPoint(pChain->left) - centre).length() < radius + 4)
                pHoleChain = pChain;
    }

    std::unique_ptr<TARN_KEL::CMesh> pMesh;
    std::unique_ptr<TARN_KEL::ChainMgr> pChainMgr;
    TARN_KEL::Chain* pHoleChain = nullptr;  ///< round the missing points
    TARN_KEL::Point3 centre;                ///< of the missing points
    std::vector<TARN_KEL::Point3> vMissing;
    std::function<double(const TARN_KEL::Point3&)> distance;  ///< to the true surface, signed
};

}  // namespace TARN_TEST
