// Pictures of a run's state, for debugging.
#include <map>

#include "CMesh.h"
#include "Hal.h"
#include "Visualizer3.h"

namespace TARN_KEL {

void Hal::showCCD(const std::string& filename) const {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        VCCD vCCD;
        for (const Bundle* pBundle : vBundles)
            vCCD.push_back(pBundle->ccd);
        visualizer.writeCbs(vCCD, CLIGHTBLUE);
    });
}

void Hal::showMesh(const std::string& filename) const {
    getCMesh()->debugShow(filename, VT_REAL, CGREEN);
}

void Hal::showMeshCases(const std::string& filename) const {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        std::vector<CTriangle*> vAlive;
        getCMesh()->getAliveTriangles(vAlive);
        std::map<int, std::vector<CTriangle*>> mCfgCT;
        for (CTriangle* pCT : vAlive)
            mCfgCT[pCT->cfg].push_back(pCT);
        visualizer.setMesh(getCMesh());
        for (const auto& [cfg, vCT] : mCfgCT)
            visualizer.writeTriangles(vCT, Visualizer3::getColor(cfg), false);
    });
}

}  // namespace TARN_KEL
