// Pictures of grid cells: the visualizer draws them, with this grid set meanwhile.
#include <utility>

#include "Calc.h"
#include "Visualizer3.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// While this object exists the visualizer has this grid, and takes coarse vertices at the midpoints of their cells.
class GridLoan {
public:
    GridLoan(Visualizer3* pVis, const Calc* pGrid) : pVisualizer(pVis) {
        ASSEX(pVisualizer!=NULL);
        pFormerMesh = pVisualizer->getMesh();
        pVisualizer->setMesh(nullptr);
        pFormerGrid = std::exchange(pVisualizer->pCalc, pGrid);
    }
    ~GridLoan() {
        pVisualizer->pCalc = pFormerGrid;
        pVisualizer->setMesh(pFormerMesh);
    }
    GridLoan(const GridLoan&) = delete;
    GridLoan& operator=(const GridLoan&) = delete;

    Visualizer3* operator->() const { return pVisualizer; }

private:
    Visualizer3* pVisualizer;
    const Calc* pFormerGrid = nullptr;
    const CMesh* pFormerMesh = nullptr;
};

}  // namespace

void Calc::writeCb(Visualizer3* pVisualizer, CCD ccd, const std::string& color) const {
    GridLoan(pVisualizer, this)->writeCb(ccd, color);
}

void Calc::writeCbs(Visualizer3* pVisualizer, const VCCD& vCCD, const std::string& color) const {
    GridLoan(pVisualizer, this)->writeCbs(vCCD, color);
}

void Calc::writeRefPoint(Visualizer3* pVisualizer, CCD ccd, unsigned size, const std::string& color) const {
    writeRefPoints(pVisualizer, VCCD{ccd}, size, color);
}

void Calc::writeRefPoints(Visualizer3* pVisualizer, const VCCD& vCCD, unsigned size, const std::string& color) const {
    ASSEX(pVisualizer!=NULL);
    std::vector<Point3> vPoints;
    getRefPoints(vCCD, vPoints);
    pVisualizer->writePoints(vPoints, size, color);
}

void Calc::writeMidPoints(Visualizer3* pVisualizer, const VCCD& vCCD, unsigned size, const std::string& color) const {
    GridLoan(pVisualizer, this)->writePoints(vCCD, size, color);
}

void Calc::writeCEdge(Visualizer3* pVisualizer, CEdge* pCE, const std::string& color) const {
    writeCEdges(pVisualizer, std::vector<CEdge*>{pCE}, color);
}

void Calc::writeCEdges(Visualizer3* pVisualizer, const std::vector<CEdge*>& vCE, const std::string& color) const {
    GridLoan(pVisualizer, this)->writeSegments(vCE, color, false);
}

void Calc::writeTriangle(Visualizer3* pVisualizer, CTriangle* pCT, const std::string& color) const {
    writeTriangles(pVisualizer, std::vector<CTriangle*>{pCT}, color);
}

void Calc::writeTriangles(Visualizer3* pVisualizer, const std::vector<CTriangle*>& vCT, const std::string& color) const {
    GridLoan(pVisualizer, this)->writeTriangles(vCT, color, false);
}

}  // namespace TARN_KEL
