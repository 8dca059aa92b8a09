// Pictures of a hole, for debugging.

#include "CMesh.h"
#include "Chain.h"
#include "Hole.h"
#include "Visualizer3.h"
#include "holeDrawings.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

// Points of value 0 count with the negative ones.
void writeBySign(Visualizer3& visualizer, const Field& field, const std::vector<int>& vAddresses) {
    VRCC vPos, vNeg;
    for (const int address : vAddresses)
        (field.pArray[address].val > 0 ? vPos : vNeg).push_back(field.addressToRCD(address));
    visualizer.writeRCC(vPos, 4, CRED);
    visualizer.writeRCC(vNeg, 4, CDARKBLUE);
}

}  // namespace

void Hole::show(const std::string& filename, VisType visType) const {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        visualizer.setMesh(visType == VT_REAL ? pCMesh : nullptr);
        visualizer.writeTriangles(vT, CGREEN, false);
        visualizer.writeTriangles(std::vector<CTriangle*>(sBoundaryT.begin(), sBoundaryT.end()), CYELLOW, false);
        visualizer.writeTriangles(std::vector<CTriangle*>(sUnrelT.begin(), sUnrelT.end()), CORANGE, false);
        visualizer.writeSegments(vCE, CRED, true);
    });
}

void Hole::showInit(const std::string& filename) const {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        visualizer.setMesh(pCMesh);
        visualizer.writeTriangles(vT, CGREEN, false);
        writeBySign(visualizer, *this, vAddr);
    });
}

void Hole::showArray(const std::string& filename) const {
    std::vector<int> vAssigned;
    int numPos = 0;
    for (int address = 0; address < arrSiz; ++address) {
        if (!hasValue(address)) continue;
        vAssigned.push_back(address);
        if (pArray[address].val > 0) ++numPos;
    }
    out() << "Array: vPos=" << numPos << ", vNeg=" << static_cast<int>(vAssigned.size()) - numPos << std::endl;
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) { writeBySign(visualizer, *this, vAssigned); });
}

void Hole::showCornerVals(const std::string& filename, const VCCD& vCells) const {
    drawCornerVals(filename, *this, pCalc, vCells);
}

void drawCornerVals(const std::string& filename, const Field& field, const Calc* pCalc, const VCCD& vCells) {
    std::vector<int> vCorners;
    for (const CCD ccd : vCells) {
        std::array<VCD, 8> keys{ccd};
        pCalc->completeArrayPlus(keys.data());
        for (const VCD key : keys)
            if (const auto [x, y, z] = field.toBox(*pCalc, key); field.isInBox({x, y, z}))
                vCorners.push_back(field.getAddress(x, y, z));
    }
    oneInstance(vCorners);
    std::erase_if(vCorners, [&field](int address) { return !field.hasValue(address); });
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) { writeBySign(visualizer, field, vCorners); });
}

void drawCrossings(const std::string& filename, const Calc* pCalc, const std::vector<Segment3>& vEdges,
                   const std::vector<Point3>& vNegative, const std::vector<Point3>& vPositive) {
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) {
        visualizer.writeSegments(vEdges, CGREEN, false);
        visualizer.writePoints(vNegative, 5, CDARKBLUE);
        visualizer.writePoints(vPositive, 5, CRED);
    });
}

void drawNotedCells(const std::string& filename, const Calc* pCalc, VRCD vRCD) {
    oneInstance(vRCD);
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) { visualizer.writeRCD(vRCD, CORANGE); });
}

}  // namespace TARN_KEL
