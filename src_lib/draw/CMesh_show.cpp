// Pictures of the coarse mesh, its patches, chains and loops, for debugging.

#include "CMesh.h"
#include "CPatch.h"
#include "ChainMgr.h"
#include "Loop.h"
#include "Visualizer3.h"
#include "fillChain.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Sets where the visualizer takes the vertices of the mesh, as visType says.
void setVertices(Visualizer3* pVisualizer, VisType visType, const CMesh* pCMesh) {
    ASSEX(pVisualizer!=NULL);
    pVisualizer->setMesh(visType == VT_REAL ? pCMesh : nullptr);
}

const char* colourOf(const Chain& chain) {
    if (!chain.isClosed()) return CRED;
    return chain.vMoebiusCE.empty() ? CGREEN : CLIGHTBLUE;
}

}  // namespace

void CMesh::show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const {
    setVertices(pVisualizer, visType, this);
    std::vector<CTriangle*> vAlive;
    getAliveTriangles(vAlive);
    pVisualizer->writeTriangles(vAlive, color, false);
}

void CMesh::showDeg(Visualizer3* pVisualizer, VisType visType) const {
    setVertices(pVisualizer, visType, this);
    std::vector<CEdge*> vCE;
    getDegN(-5, vCE);
    pVisualizer->writeDegrees(vCE);
}

void CMesh::debugShow(const std::string& filename, VisType visType, const std::string& color) const {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        show(&visualizer, visType, color);
        showDeg(&visualizer, visType);
    });
}

void CPatch::show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const {
    setVertices(pVisualizer, visType, pCMesh);
    std::vector<CTriangle*> vAlive;
    for (CTriangle* pCT : vMemberCT)
        if (pCT->isAlive()) vAlive.push_back(pCT);
    pVisualizer->writeTriangles(vAlive, color, false);
}

void CPatch::show(const std::string& filename, VisType visType, const std::string& color) const {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        show(&visualizer, visType, color);
        visualizer.writeSegments(vPatchBoundaryCE, CRED, true);
    });
}

void Chain::show(const std::string& filename, VisType visType, const std::string& color) const {
    writeDebugDrawing(filename, pCMesh->getCalc(), [&](Visualizer3& visualizer) {
        out() << "Chain, show, lMemberCE: " << lMemberCE.size() << std::endl;
        setVertices(&visualizer, visType, pCMesh);
        visualizer.writeSegments(std::vector<CEdge*>(lMemberCE.begin(), lMemberCE.end()), color, true);
        visualizer.writeSegments(vMoebiusCE, CLIGHTBLUE, false);
        out() << "Edges: " << lMemberCE.size() << ", Moebius: " << vMoebiusCE.size() << std::endl;
    });
}

void ChainMgr::show(const std::string& filename) const {
    writeDebugDrawing(filename, pCMesh->getCalc(), [&](Visualizer3& visualizer) {
        pCMesh->show(&visualizer, VT_REAL, CWHITE);
        for (const Chain* pChain : vChains) {
            std::vector<CEdge*> vCE;
            pChain->getEdges(vCE);
            visualizer.writeSegments(vCE, colourOf(*pChain), true);
        }
    });
}

void Loop::show(Visualizer3* pVisualizer, VisType visType, const std::string& color) const {
    setVertices(pVisualizer, visType, pCMesh);
    pVisualizer->writeSegments(vCE, color, true);
    pVisualizer->writeTriangles(vFillT, CLIGHTBLUE, false);
}

void showLoops(const std::vector<Loop*>& vLoops, const Calc* pCalc, const std::string& filename) {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        for (const Loop* pLoop : vLoops)
            pLoop->show(&visualizer, VT_REAL, Visualizer3::getNextColor());
    });
}

}  // namespace TARN_KEL
