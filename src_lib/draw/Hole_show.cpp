// Pictures of a hole, for debugging.

#include "CMesh.h"
#include "Chain.h"
#include "Hole.h"
#include "Visualizer3.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

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
        writeBySign(visualizer, vAddr);
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
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) { writeBySign(visualizer, vAssigned); });
}

void Hole::showCornerVals(const std::string& filename, const VCCD& vCells) const {
    std::vector<int> vCorners;
    for (const CCD ccd : vCells) {
        std::array<VCD, 8> keys{ccd};
        pCalc->completeArrayPlus(keys.data());
        for (const VCD key : keys)
            if (isInBox(toBox(*pCalc, key))) vCorners.push_back(getAddressFromVCD(key));
    }
    oneInstance(vCorners);
    std::erase_if(vCorners, [this](int address) { return !hasValue(address); });
    writeDebugDrawing(filename, pCalc, [&](Visualizer3& visualizer) { writeBySign(visualizer, vCorners); });
}

void Hole::drawZeros(const std::vector<Segment3>& vSeg, const std::vector<Point3>& vNegative,
                     const std::vector<Point3>& vPositive) const {
    writeDebugDrawing(name + "zeroPoints.list", pCalc, [&](Visualizer3& visualizer) {
        visualizer.writeSegments(vSeg, CGREEN, false);
        visualizer.writePoints(vNegative, 5, CDARKBLUE);
        visualizer.writePoints(vPositive, 5, CRED);
    });
}

void Hole::drawNotes(const VRCDPoint& vNotes) const {
    writeDebugDrawing(name + "mapped.list", pCalc, [&](Visualizer3& visualizer) {
        VRCD vMapped;
        for (const auto& [rcd, point] : vNotes)
            vMapped.push_back(rcd);
        oneInstance(vMapped);
        visualizer.writeRCD(vMapped, CORANGE);
    });
}

// Points of value 0 count with the negative ones.
void Hole::writeBySign(Visualizer3& visualizer, const std::vector<int>& vAddresses) const {
    VRCC vPos, vNeg;
    for (const int address : vAddresses)
        (pArray[address].val > 0 ? vPos : vNeg).push_back(addressToRCD(address));
    visualizer.writeRCC(vPos, 4, CRED);
    visualizer.writeRCC(vNeg, 4, CDARKBLUE);
}

}  // namespace TARN_KEL
