// Adds the new cells of a hole to the mesh; finds the surface that a mesh of the hole's own overlaps with.
#include "holeTriangles.h"

#include <array>
#include <set>
#include <utility>

#include "CMesh.h"
#include "cubeTriangles.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// Each cell under the eight keys of its dual cubes, sorted.
std::vector<std::pair<VCD, CCD>> keysOf(const VCCD& vCells, const Calc& calc) {
    std::vector<std::pair<VCD, CCD>> vKeyCell;
    vKeyCell.reserve(8 * vCells.size());
    std::array<VCD, 8> keys{};
    for (const CCD ccd : vCells) {
        keys[0] = ccd;
        calc.completeArrayPlus(keys.data());
        for (const VCD key : keys)
            vKeyCell.emplace_back(key, ccd);
    }
    sortMT(vKeyCell.begin(), vKeyCell.end());
    return vKeyCell;
}

}  // namespace

VCCD growSheet(CMesh& mesh, const Casx& casx, const ChainedSheet& sheet) {
    const VCCD& vBorderCCDs = sheet.vChain;
    VCCD vHoleCCDs;
    for (const auto& [ccd, point] : sheet.cells)
        vHoleCCDs.push_back(ccd);
    ASSEX(!shareAnEntry(vHoleCCDs,vBorderCCDs));

    VCCD vAll = vHoleCCDs;
    vAll.insert(vAll.end(), vBorderCCDs.begin(), vBorderCCDs.end());
    const std::vector<std::pair<VCD, CCD>> vKeyCell = keysOf(vAll, *mesh.getCalc());  // fails for cells that have no keys
    for (const auto& [ccd, point] : sheet.cells) {
        const CCD freshCCD = mesh.getCalc()->getCCD(&point);
        ASSEX(ccd==freshCCD);
        mesh.addBundle(ccd, point.x(), point.y(), point.z());
    }
    VCCD vAmbiguousT;
    createTrianglesOfCubes(&mesh, casx, vKeyCell, vAmbiguousT);
    return vAmbiguousT;
}

bool shareAnEntry(VCCD a, VCCD b) {
    oneInstanceMT(a);
    oneInstanceMT(b);
    const std::size_t sizeA = a.size(), sizeB = b.size();
    a.insert(a.end(), b.begin(), b.end());
    oneInstanceMT(a);
    const std::size_t sizeS = a.size();
    if (sizeS == sizeA + sizeB) return false;
    ASSEX(sizeS<sizeA+sizeB);
    return true;
}

std::vector<CTriangle*> triangleRows(const CMesh& mesh, VVCD vFront, int n) {
    std::set<VCD> sSeen;
    std::vector<CTriangle*> vRows, vRow;
    for (int i = 0; i < n && !vFront.empty(); ++i) {
        vRow.clear();
        for (const VCD vcd : vFront)
            if (sSeen.insert(vcd).second) mesh.getIncidentT(vcd, vRow);
        oneInstance(vRow);
        vRows.insert(vRows.end(), vRow.begin(), vRow.end());
        vFront.clear();
        mesh.extractAliveVCD(vRow, vFront);
        oneInstanceMT(vFront);
    }
    return vRows;
}

std::vector<Point3> pointsOfSheetAndRow(const HoleCells& cells, const std::vector<CTriangle*>& vRow, const CMesh& mesh) {
    std::vector<Point3> vPoints;
    for (const auto& [ccd, point] : cells)
        vPoints.push_back(point);
    VVCD vCorners;
    mesh.extractAliveVCD(vRow, vCorners);
    for (const VCD vcd : vCorners)
        vPoints.push_back(mesh.getAvgPoint(vcd));
    oneInstanceMT(vPoints);
    return vPoints;
}

}  // namespace TARN_KEL
