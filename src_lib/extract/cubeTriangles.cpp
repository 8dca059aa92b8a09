// Creates the triangles of dual cubes, in two passes.
//
// 1. The place of a cell in the cube gives its bit in the configuration, which selects the triangles. Cubes that share a
//    face may propose the same triangle, so each is created only if it is missing.
//
// 2. A cube with four cells on one face and no others is flat. It may be cut along either diagonal, and its two triangles
//    wouldn't fit a neighbour that took the other one. Flat cubes are left until all others are done; then each takes the
//    diagonal that exists already. Each square of a flat sheet comes up twice, for the cubes on either side, and the second
//    one finds the triangles of the first one.
//
// Where all triangles are found before any is created, the cube on the other side of the square tells which diagonal exists.
#include "cubeTriangles.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "CMesh.h"
#include "KeyBlocks.h"
#include "Progress.h"
#include "runs.h"
#include "sortMT.h"
#include "tools.h"

namespace TARN_KEL {

namespace {

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

/// The four corners of two triangles: the first and the last one are the ends of one diagonal, the others those of the
/// other.
template <typename IsDiagonal>
std::array<VCD, 4> cornersOfSquare(const CCD* twoTriangles, const IsDiagonal& isDiagonal) {
    VCD v0 = twoTriangles[0], v1 = twoTriangles[1], v2 = twoTriangles[2];
    const CCD* const second = twoTriangles + 3;
    const CCD* const pFound = std::find_if(second, second + 3, [&](CCD v) { return v != v0 && v != v1 && v != v2; });
    ASSEX_AS("bFound", pFound != second + 3);
    const VCD v3 = *pFound;
    if (!isDiagonal(v3, v0)) std::swap(v0, v1);
    if (!isDiagonal(v3, v0)) std::swap(v0, v2);
    return {v0, v1, v2, v3};
}

void createTrianglesOfFlatCube(CMesh* pCMesh, const CCD* record) {
    const Calc* const pCalc = pCMesh->getCalc();
    const auto isDiagonal = [pCalc](VCD a, VCD b) { return pCalc->getNeigType(a, b) == NT_EDGE; };
    const auto [v0, v1, v2, v3] = cornersOfSquare(record, isDiagonal);
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

/// Reads the triangles of cubes from the table.
class CubeReader {
public:
    explicit CubeReader(const Casx& theCasx) : casx(theCasx) {}

    /// Three corners a triangle, taken from what stands for the cells. Valid until the next call.
    const std::vector<CCD>& trianglesOf(int config, std::array<CCD, 8> cells) {
        vTriVCD.clear();
        casx.getTriangles(config, cells.data(), vTriVCD, TUT);
        return vTriVCD;
    }
    void appendFlat(const CellCube& cube, std::vector<CCD>& vAmbiguousT) {
        const std::vector<CCD>& vTri = trianglesOf(cube.config, cube.cells);
        ASSEX_AS("vTriVCD.size()==6", vTri.size() == 6);
        vAmbiguousT.insert(vAmbiguousT.end(), vTri.begin(), vTri.end());
        vAmbiguousT.push_back(cube.key);
        vAmbiguousT.push_back(static_cast<CCD>(cube.config));
    }

private:
    const Casx& casx;
    std::vector<CCD> vTriVCD;
};

/// The axes on which two codes differ, as the sum of their bits.
int differingAxes(CCD a, CCD b) {
    int axes = 0;
    for (const int axTriBit : {4, 2, 1})
        if (((a ^ b) & (CCD_Z_BITS * static_cast<CCD>(axTriBit))) != 0) axes |= axTriBit;
    return axes;
}

/// The triangles of cubes as places of their cells.
class PlaceTriangles {
public:
    PlaceTriangles(const KeyBlocks& theCubes, const Casx& casx) : cubes(theCubes), reader(casx) {}

    void take(const CellCube& cube) {
        ++numCubes;
        if (!makesTriangles(cube.numCells)) return;
        if (isFlat(cube.config)) return takeFlat(cube);
        const std::vector<CCD>& vTri = reader.trianglesOf(cube.config, cube.places);
        for (std::size_t i = 0; i < vTri.size(); i += 3)
            certain.add({static_cast<std::uint32_t>(vTri[i]), static_cast<std::uint32_t>(vTri[i + 1]),
                         static_cast<std::uint32_t>(vTri[i + 2])},
                        cube.key, cube.config);
    }

    NewTriangles certain, flat;
    std::size_t numCubes = 0;

private:
    /// The square of a flat cube belongs to one other cube, and only triangles of that one can have one of its diagonals. So
    /// that one alone decides. If it is flat too, the first of the two makes the triangles.
    void takeFlat(const CellCube& cube) {
        const std::vector<CCD> vTri = reader.trianglesOf(cube.config, cube.cells);
        ASSEX_AS("vTriVCD.size()==6", vTri.size() == 6);
        const auto isDiagonal = [](VCD a, VCD b) { return std::popcount(static_cast<unsigned>(differingAxes(a, b))) == 2; };
        const auto [v0, v1, v2, v3] = cornersOfSquare(vTri.data(), isDiagonal);
        const CellCube twin = cubes.cubeOf(twinKey(cube.key, v0, v3));
        if (isFlat(twin.config) && twin.key < cube.key) return;
        if (hasEdge(twin, v1, v2)) {
            addFlat(cube, v0, v1, v2);
            addFlat(cube, v2, v1, v3);
        } else {
            addFlat(cube, v0, v1, v3);
            addFlat(cube, v0, v3, v2);
        }
    }
    /// The key of the other cube with these two cells, the ends of a diagonal.
    static VCD twinKey(VCD key, VCD v0, VCD v3) {
        const int across = 7 & ~differingAxes(v0, v3);
        const CCD bits = CCD_Z_BITS * static_cast<CCD>(across);
        return (differingAxes(key, v0) & across) != 0 ? stepDownOnBits(key, bits) : stepUpOnBits(key, bits);
    }
    bool hasEdge(const CellCube& cube, VCD a, VCD b) {
        if (!makesTriangles(cube.numCells) || isFlat(cube.config)) return false;
        const std::vector<CCD>& vTri = reader.trianglesOf(cube.config, cube.cells);
        for (auto it = vTri.begin(); it != vTri.end(); it += 3)
            if (std::find(it, it + 3, a) != it + 3 && std::find(it, it + 3, b) != it + 3) return true;
        return false;
    }
    void addFlat(const CellCube& cube, VCD a, VCD b, VCD c) {
        const auto placeOf = [&cube](VCD vcd) {
            const auto bit = std::find(cube.cells.begin(), cube.cells.end(), vcd) - cube.cells.begin();
            return static_cast<std::uint32_t>(cube.places[static_cast<std::size_t>(bit)]);
        };
        flat.add({placeOf(a), placeOf(b), placeOf(c)}, cube.key, cube.config);
    }

    const KeyBlocks& cubes;
    CubeReader reader;
};

}  // namespace

int configOfCube(VCD key, const VCCD& vCells) {
    int config = 0;
    for (CCD cell : vCells)
        config |= 1 << bitOfCell(key, cell);
    return config;
}

void createTrianglesOfCubes(CMesh* pCMesh, const Casx& casx, const std::vector<std::pair<VCD, CCD>>& vKeyCell,
                            std::vector<CCD>& vAmbiguousT) {
    CubeReader reader(casx);
    const auto keyOf = [](const std::pair<VCD, CCD>& keyCell) { return keyCell.first; };
    forEachRun(vKeyCell.cbegin(), vKeyCell.cend(), keyOf, [&](auto first, auto end) {
        if (!makesTriangles(end - first)) return;
        CellCube cube;
        cube.key = first->first;
        for (auto it = first; it != end; ++it) {
            const int bit = bitOfCell(cube.key, it->second);
            cube.config |= 1 << bit;
            cube.cells[static_cast<std::size_t>(bit)] = it->second;
        }
        if (isFlat(cube.config)) return reader.appendFlat(cube, vAmbiguousT);
        const std::vector<CCD>& vTriVCD = reader.trianglesOf(cube.config, cube.cells);
        for (std::size_t i = 0; i < vTriVCD.size(); i += 3)
            createMissingT(pCMesh, vTriVCD[i], vTriVCD[i + 1], vTriVCD[i + 2], cube.key, cube.config);
    });
}

NewTriangles findTrianglesOfCubes(const KeyBlocks& cubes, const Casx& casx, const ProgressStep& step) {
    constexpr std::size_t STRETCH = 256;     // blocks, some 10,000 cubes
    constexpr std::size_t NUM_AT_ONCE = 64;  // stretches between two reports, some 50 ms of one core
    std::vector<PlaceTriangles> vStretch((cubes.size() + STRETCH - 1) / STRETCH, PlaceTriangles(cubes, casx));
    for (std::size_t first = 0; first < vStretch.size(); first += NUM_AT_ONCE) {
        const std::size_t num = std::min(NUM_AT_ONCE, vStretch.size() - first);
        forChunks_MT(num, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = first + begin; i < first + end; ++i)
                cubes.forEachCube(i * STRETCH, std::min((i + 1) * STRETCH, cubes.size()),
                                  [&stretch = vStretch[i]](const CellCube& cube) { stretch.take(cube); });
        });
        for (std::size_t i = first; i < first + num; ++i)
            step.advance(vStretch[i].numCubes);
    }
    NewTriangles found;
    std::size_t numFound = 0;
    for (const PlaceTriangles& stretch : vStretch)
        numFound += stretch.certain.vKey.size() + stretch.flat.vKey.size();
    found.vCorner.reserve(numFound);  // exactly: growth by itself would take twice the memory
    found.vKey.reserve(numFound);
    found.vConfig.reserve(numFound);
    for (PlaceTriangles& stretch : vStretch)
        found.append(std::exchange(stretch.certain, {}));
    for (PlaceTriangles& stretch : vStretch)
        found.append(std::exchange(stretch.flat, {}));
    return found;
}

void createTrianglesOfFlatCubes(CMesh* pCMesh, const std::vector<CCD>& vAmbiguousT) {
    ASSEX(vAmbiguousT.size()%8==0);
    for (std::size_t i = 0; i < vAmbiguousT.size(); i += RECORD_SIZE)
        createTrianglesOfFlatCube(pCMesh, &vAmbiguousT[i]);
}

}  // namespace TARN_KEL
