// The drawings that algorithms on cells and on the coarse mesh make on their way.
#include "drawings.h"

#include "CEdge.h"
#include "CMesh.h"
#include "CPatch.h"
#include "Visualizer3.h"
#include "tools.h"

namespace TARN_KEL {

void drawTriangles(const std::string& filename, const Calc* pCalc, const std::vector<CTriangle*>& vCT,
                   const std::string& color, const CMesh* pAtPointsOf) {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        visualizer.setMesh(pAtPointsOf);
        visualizer.writeTriangles(vCT, color, false);
    });
}

void drawStar(const std::string& filename, const Calc* pCalc, const CEdge& edge) {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        for (CTriangle* pCT : edge.vCT)
            visualizer.writeTriangles(std::vector<CTriangle*>{pCT}, Visualizer3::getNextColor(), false);
        const Segment3 segment(pCalc->getMidPoint(edge.v0), pCalc->getMidPoint(edge.v1));
        visualizer.writeSegments(std::vector<Segment3>{segment}, CRED, true);
    });
}

void drawEdges(const std::string& filename, const CMesh& mesh, const std::vector<CEdge*>& vCE, const std::string& color) {
    writeDebugDrawing(filename, mesh.pCalc, [&](Visualizer3& visualizer) {
        visualizer.setMesh(&mesh);
        visualizer.writeSegments(vCE, color, true);
    });
}

void drawMesh(const std::string& filename, const CMesh& mesh, const std::vector<CEdge*>& vHighlightCE) {
    writeDebugDrawing(filename, mesh.pCalc, [&](Visualizer3& visualizer) {
        visualizer.setMesh(&mesh);
        visualizer.writeSegments(vHighlightCE, CORANGE, true);
        mesh.show(&visualizer, VT_REAL, CGREEN);
    });
}

void drawDegrees(const std::string& filename, const CMesh& mesh) {
    writeDebugDrawing(filename, mesh.pCalc, [&](Visualizer3& visualizer) {
        mesh.showDeg(&visualizer, VT_REAL);
        mesh.show(&visualizer, VT_REAL, CGREEN);
    });
}

void drawCells(const std::string& filename, const Calc* pCalc, const VCCD& vRed, const VCCD& vBlue) {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        visualizer.writeCbs(vRed, CRED);
        visualizer.writeCbs(vBlue, CDARKBLUE);
    });
}

void drawPatches(const std::vector<CPatch*>& vPatches) {
    for (const CPatch* pPatch : vPatches)
        pPatch->show("patch_" + toString(pPatch->getLabel()) + ".list", VT_REAL, Visualizer3::getNextColor());
}

void drawPatchGroups(const Calc* pCalc, const std::vector<CPatch*>& vPatches, const std::set<CPatch*>& sStrong) {
    writeDebugDrawing("spatches.list", pCalc, [&](Visualizer3& strong) {
        writeDebugDrawing("wpatches.list", pCalc, [&](Visualizer3& weak) {
            for (CPatch* pPatch : vPatches)
                pPatch->show(sStrong.count(pPatch) != 0 ? &strong : &weak, VT_REAL, Visualizer3::getNextColor());
        });
    });
}

void drawSegments(const std::string& filename, const std::vector<Segment3>& vSegments, const std::string& color) {
    writeDebugDrawing(filename, nullptr, [&](Visualizer3& visualizer) { visualizer.writeSegments(vSegments, color, true); });
}

}  // namespace TARN_KEL
