// Creates the triangles of dual cubes, in two passes.
//
// 1. The list is read run by run; the difference of a cell's code from the key gives its bit in the configuration, which
//    selects the triangles. Cubes that share a face may propose the same triangle, so each is created only if it is missing.
//
// 2. A cube with four cells on one face and no others is flat. It may be cut along either diagonal, and its two triangles
//    wouldn't fit a neighbour that took the other one. Flat cubes are left until all others are done; then each takes the
//    diagonal that exists already. Each square of a flat sheet comes up twice, for the cubes on either side, and the second
//    one finds the triangles of the first one.
#include "cubeTriangles.h"

#include <algorithm>
#include <array>

#include "CMesh.h"
#include "Progress.h"
#include "runs.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

/// The bit of a cell in the configuration, by the axes in which its code differs from the key's: 4, 2, 1 for x, y, z.
constexpr std::array<int, 8> BIT_OF_OFFSET = {5, 6, 1, 2, 4, 7, 0, 3};

int bitOfCell(VCD key, CCD cell) {
    const CCD differing = key ^ cell;
    int offset = 0;
    CCD expected = key;
    for (int axTriBit : {4, 2, 1}) {
        const CCD bits = CCD_Z_BITS * static_cast<CCD>(axTriBit);
        if ((differing & bits) == 0) continue;
        offset |= axTriBit;
        expected = stepDownOnBits(expected, bits);
    }
    ASSEX_AS("false", expected == cell);  // farther away than one step down
    return BIT_OF_OFFSET[static_cast<std::size_t>(offset)];
}

/// Exactly the four cells of one face.
constexpr bool isFlat(int config) {
    return config == 15 || config == 51 || config == 102 || config == 153 || config == 204 || config == 240;
}

constexpr std::size_t RECORD_SIZE = 8;  // of a flat cube: six cells, key, configuration

/// Unless the triangle is there.
void createMissingT(CMesh* pCMesh, VCD a, VCD b, VCD c, VCD key, int config) {
    const CEdge* const pCE = pCMesh->getEdge(a, b);
    if (pCE == nullptr || !pCE->hasAdjT(a, b, c)) pCMesh->createT(a, b, c, key, config);
}

void createTrianglesOfFlatCube(CMesh* pCMesh, const CCD* record) {
    const Calc* const pCalc = pCMesh->getCalc();
    VCD v0 = record[0], v1 = record[1], v2 = record[2];
    const CCD* const second = record + 3;
    const CCD* const pFound = std::find_if(second, second + 3, [&](CCD v) { return v != v0 && v != v1 && v != v2; });
    ASSEX_AS("bFound", pFound != second + 3);
    const VCD v3 = *pFound;

    // From here on v0 and v3 are the ends of one diagonal, v1 and v2 those of the other.
    if (pCalc->getNeigType(v3, v0) != NT_EDGE) std::swap(v0, v1);
    if (pCalc->getNeigType(v3, v0) != NT_EDGE) std::swap(v0, v2);
    ASSEX(pCalc->getNeigType(v3,v0)==NT_EDGE);

    const VCD key = record[6];
    const int config = static_cast<int>(record[7]);
    if (pCMesh->getEdge(v1, v2) != nullptr) {
        createMissingT(pCMesh, v0, v1, v2, key, config);
        createMissingT(pCMesh, v2, v1, v3, key, config);
    } else {
        // The surroundings hold the other diagonal or none: the second one of a sheet's two cubes finds it here.
        createMissingT(pCMesh, v0, v1, v3, key, config);
        createMissingT(pCMesh, v0, v3, v2, key, config);
    }
}

}  // namespace

int configOfCube(VCD key, const VCCD& vCells) {
    int config = 0;
    for (CCD cell : vCells)
        config |= 1 << bitOfCell(key, cell);
    return config;
}

void createTrianglesOfCubes(CMesh* pCMesh, const Casx& casx, const std::vector<std::pair<VCD, CCD>>& vKeyCell,
                            ProgressStep step, std::vector<CCD>& vAmbiguousT) {
    std::array<CCD, 8> cells{};  // by bit; only those of the current configuration are valid
    std::vector<VCD> vTriVCD;
    const auto keyOf = [](const std::pair<VCD, CCD>& keyCell) { return keyCell.first; };
    forEachRun(vKeyCell.cbegin(), vKeyCell.cend(), keyOf, [&](auto first, auto end) {
        step.advance();
        if (!makesTriangles(end - first)) return;

        const VCD key = first->first;
        int config = 0;
        for (auto it = first; it != end; ++it) {
            const int bit = bitOfCell(key, it->second);
            config |= 1 << bit;
            cells[static_cast<std::size_t>(bit)] = it->second;
        }
        vTriVCD.clear();
        casx.getTriangles(config, cells.data(), vTriVCD, TUT);
        if (!isFlat(config)) {
            for (std::size_t i = 0; i < vTriVCD.size(); i += 3)
                createMissingT(pCMesh, vTriVCD[i], vTriVCD[i + 1], vTriVCD[i + 2], key, config);
            return;
        }
        ASSEX(vTriVCD.size()==6);
        vAmbiguousT.insert(vAmbiguousT.end(), vTriVCD.begin(), vTriVCD.end());
        vAmbiguousT.push_back(key);
        vAmbiguousT.push_back(static_cast<CCD>(config));
    });
}

void createTrianglesOfFlatCubes(CMesh* pCMesh, const std::vector<CCD>& vAmbiguousT) {
    ASSEX(vAmbiguousT.size()%8==0);
    for (std::size_t i = 0; i < vAmbiguousT.size(); i += RECORD_SIZE)
        createTrianglesOfFlatCube(pCMesh, &vAmbiguousT[i]);
}

}  // namespace TARN_KEL
