// Builds the case tables.
//
// The 256 configurations of a cube fall into 23 classes under the rotations of the cube. The base rows below give one row
// for each class; all others are images of these. A rotation is a permutation of the cube's cells, hence of the bits of
// configurations and triangles alike. All 64 products of quarter turns about x, y and z are tried in a fixed order, and the
// first image of a configuration counts: where a configuration is symmetric, a later image would be another, equally good
// triangulation of the same cells.
//
// Rotation alone would let the four cells of a face be cut along either diagonal, and two cubes that share the face might
// differ. So each finished row is searched for pairs of triangles that fill a face, and the pair is laid along the diagonal
// that runs from the face's low-low cell to its high-high cell:
//
//        high ---- o          Every triangle that two neighbouring cubes both propose is then the same
//        |       / |          set of cells.
//        |   /     |
//        o ---- low
//
// Mirror images have base rows of their own: only rotations are used.
#include "Casx.h"

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <iterator>

#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int NUM_CONFIGS = 256;
constexpr int NUM_CELLS = 8;

/// Unused slots are left 0, which is no triangle.
struct TriangleRow {
    int config;
    int triangles[Casx::ROW_SIZE];
};
/// Unused slots are left TUU.
struct UseRow {
    int config;
    TriUse uses[Casx::ROW_SIZE];
};

constexpr TriangleRow FAT_ROWS[] = {
    {0, {}},
    {1, {}},
    {3, {}},
    {5, {}},
    {7, {7}},
    {15, {11, 14}},
    {20, {}},
    {21, {}},
    {23, {19, 7}},
    {26, {26}},
    {27, {25, 19, 11, 26}},
    {29, {13, 25}},
    {30, {14, 26}},
    {31, {7, 13, 19, 25, 22, 28}},
    {60, {44, 56}},
    {61, {44, 56, 25, 37, 49, 13}},
    {63, {7, 13, 35, 49, 25, 38, 28, 52}},
    {90, {88, 26, 74, 82}},
    {91, {82, 74, 88, 19, 25, 11}},
    {95, {7, 13, 69, 81}},
    {125, {13, 21, 84, 112, 49, 25, 100}},
    {127, {35, 49, 38, 100, 7, 13, 25, 76, 112, 88}},
    {255, {}},
};

constexpr TriangleRow THIN_ROWS[] = {
    {0, {}},
    {1, {}},
    {3, {}},
    {5, {}},
    {7, {}},
    {15, {11, 14}},
    {20, {}},
    {21, {}},
    {23, {7, 19}},
    {26, {26}},
    {27, {11, 19, 25}},
    {29, {13, 25}},
    {30, {14, 26}},
    {31, {14, 11}},
    {60, {44, 56}},
    {61, {44, 56, 25}},
    {63, {7, 13, 35, 49}},
    {90, {88, 26, 74, 82}},
    {91, {26, 74}},
    {95, {7, 13, 21, 84}},
    {125, {49, 104, 41, 76}},
    {127, {35, 49, 38, 100, 13, 7}},
    {255, {}},
};

/// The classes of the fat rows.
constexpr UseRow USE_ROWS[] = {
    {0, {}},
    {1, {}},
    {3, {}},
    {5, {}},
    {7, {TUI}},
    {15, {TUT, TUT}},
    {20, {}},
    {21, {}},
    {23, {TUT, TUT}},
    {26, {TUT}},
    {27, {TUI, TUI, TUI, TUF}},
    {29, {TUT, TUT}},
    {30, {TUT, TUT}},
    {31, {TUT, TUT, TUI, TUI, TUF, TUF}},
    {60, {TUT, TUT}},
    {61, {TUT, TUT, TUT, TUF, TUF, TUF}},
    {63, {TUT, TUT, TUT, TUT, TUI, TUI, TUF, TUF}},
    {90, {TUT, TUT, TUT, TUT}},
    {91, {TUT, TUT, TUT, TUT, TUT, TUT}},
    {95, {TUT, TUT, TUT, TUT}},
    {125, {TUT, TUT, TUT, TUT, TUI, TUI, TUI}},
    {127, {TUT, TUT, TUT, TUT, TUT, TUT, TUI, TUI, TUI, TUF}},
    {255, {}},
};

/// Quarter turns about x, y and z: where each cell goes.
using Rotation = int[NUM_CELLS];
constexpr Rotation ROTATION_X = {4, 5, 1, 0, 7, 6, 2, 3};
constexpr Rotation ROTATION_Y = {3, 0, 1, 2, 7, 4, 5, 6};
constexpr Rotation ROTATION_Z = {1, 5, 6, 2, 0, 4, 7, 3};

/// A face's four cells and the two of its fixed diagonal.
struct Face {
    int cells, diagonal;
};
constexpr Face FACES[] = {{15, 10}, {240, 160}, {51, 33}, {204, 72}, {102, 36}, {153, 24}};

/// The cell on the other side of the cube's centre.
constexpr int OPPOSITE[NUM_CELLS] = {6, 7, 4, 5, 2, 3, 0, 1};

/// Two cells are neighbours along an edge of the cube when two faces hold both.
constexpr bool areEdgeNeighbours(int pair) {
    int numFaces = 0;
    for (const Face& face : FACES)
        numFaces += (face.cells & pair) == pair ? 1 : 0;
    return numFaces == 2;
}

constexpr int turn(int mask, const Rotation& rotation) {
    int image = 0;
    for (int i = 0; i < NUM_CELLS; ++i)
        if ((mask >> i & 1) != 0) image |= 1 << rotation[i];
    return image;
}

void turnAll(TriangleRow& row, const Rotation& rotation) {
    row.config = turn(row.config, rotation);
    for (int& triangle : row.triangles)
        if (triangle < Casx::END) triangle = turn(triangle, rotation);
}

/// The filled slot, or END.
constexpr int orEnd(int triangle) {
    return triangle == 0 ? Casx::END : triangle;
}

/// The index of a row's first slot.
std::ptrdiff_t rowStart(int config) {
    ASSEX(config>=0 && config<256);
    return std::ptrdiff_t{config} * Casx::ROW_SIZE;
}

int missingCells(int config) {
    return ~config & (NUM_CONFIGS - 1);
}

}  // namespace

Casx::Casx(TRIMODE mode_, bool bExperimental_) : Casx(mode_, bExperimental_, EmptyTag()) {
    if (!bExperimental) {
        initAllCases();
        return;
    }
    out() << "Casx::Casx, bExperimental=true - using base cases" << std::endl;
    initBaseCases();
    expandBaseCases();
}

Casx::Casx(TRIMODE mode_, bool bExperimental_, EmptyTag)
    : mode(mode_),
      vTriVec(std::size_t{NUM_CONFIGS} * ROW_SIZE, END),
      vTriUse(std::size_t{NUM_CONFIGS} * ROW_SIZE, TUU),
      bExperimental(bExperimental_),
      pCalc(std::make_unique<Calc>(0, 0, 0, 1000, 1000, 1000, 12)) {
    for (const UseRow& row : USE_ROWS)
        vBase.push_back(row.config);
}

void Casx::getTriangles(int config, CCD* cells, std::vector<CCD>& vTriCCD, TriUse use) const {
    const std::size_t row = static_cast<std::size_t>(rowStart(config));
    const int numOccupied = Calc::getNumSet8(config);
    if (numOccupied < 3 || numOccupied > 7) return;
    for (std::size_t slot = row; slot < row + ROW_SIZE; ++slot) {
        if (use != TUU && vTriUse[slot] != use) continue;
        if (vTriVec[slot] >= NUM_CONFIGS) break;
        for (int i = 0; i < NUM_CELLS; ++i)
            if ((vTriVec[slot] >> i & 1) != 0) vTriCCD.push_back(cells[i]);
    }
    if (vTriCCD.size() % 3 != 0) out() << "Uh, config=" << config << std::endl;
    ASSEX(vTriCCD.size()%3==0);
}

int Casx::getExtraCbs(int config) const {
    const int numOccupied = Calc::getNumSet8(config);
    return numOccupied == 6 || numOccupied == 7 ? missingCells(config) : 0;
}

int Casx::getRemoveCbs(int config) const {
    const int missing = getExtraCbs(config);
    if (Calc::getNumSet8(config) == 6 && !areEdgeNeighbours(missing)) return 0;
    return turn(missing, OPPOSITE);
}

void Casx::initAllCases() {
    static const Casx thin = makeFromBase(TM_THIN);
    static const Casx fat = makeFromBase(TM_FAT);
    vTriUse = fat.vTriUse;
    if (mode == TM_THIN) vTriVec = thin.vTriVec;
    if (mode == TM_FAT) vTriVec = fat.vTriVec;
}

Casx Casx::makeFromBase(TRIMODE mode) {
    Casx casx(mode, false, EmptyTag());
    casx.initBaseCases();
    casx.expandBaseCases();
    return casx;
}

void Casx::initBaseCases() {
    const auto addTriangles = [this](const TriangleRow& row) {
        const int* t = row.triangles;
        addTriConfig(row.config, orEnd(t[0]), orEnd(t[1]), orEnd(t[2]), orEnd(t[3]), orEnd(t[4]), orEnd(t[5]), orEnd(t[6]),
                     orEnd(t[7]), orEnd(t[8]), orEnd(t[9]), orEnd(t[10]), orEnd(t[11]));
    };
    if (mode == TM_FAT)
        for (const TriangleRow& row : FAT_ROWS)
            addTriangles(row);
    if (mode == TM_THIN)
        for (const TriangleRow& row : THIN_ROWS)
            addTriangles(row);
    for (const UseRow& row : USE_ROWS) {
        const TriUse* u = row.uses;
        addTriUse(row.config, u[0], u[1], u[2], u[3], u[4], u[5], u[6], u[7], u[8], u[9], u[10], u[11]);
    }
}

void Casx::addTriConfig(int config, int t0, int t1, int t2, int t3, int t4, int t5, int t6, int t7, int t8, int t9, int t10,
                        int t11) {
    const int row[] = {t0, t1, t2, t3, t4, t5, t6, t7, t8, t9, t10, t11};
    std::copy(std::begin(row), std::end(row), vTriVec.begin() + rowStart(config));
}

void Casx::addTriUse(int config, TriUse u0, TriUse u1, TriUse u2, TriUse u3, TriUse u4, TriUse u5, TriUse u6, TriUse u7,
                     TriUse u8, TriUse u9, TriUse u10, TriUse u11) {
    const TriUse row[] = {u0, u1, u2, u3, u4, u5, u6, u7, u8, u9, u10, u11};
    std::copy(std::begin(row), std::end(row), vTriUse.begin() + rowStart(config));
}

void Casx::expandBaseCases() {
    std::bitset<NUM_CONFIGS> finished;
    for (int base : vBase) {
        TriangleRow image{base, {}};
        std::copy_n(vTriVec.begin() + rowStart(base), ROW_SIZE, image.triangles);
        // Four quarter turns make a full one, so after each loop the image is as before.
        for (int a = 0; a < 4; ++a, turnAll(image, ROTATION_X))
            for (int b = 0; b < 4; ++b, turnAll(image, ROTATION_Y))
                for (int c = 0; c < 4; ++c, turnAll(image, ROTATION_Z)) {
                    if (finished.test(static_cast<std::size_t>(image.config))) continue;
                    finished.set(static_cast<std::size_t>(image.config));
                    std::copy_n(image.triangles, ROW_SIZE, vTriVec.begin() + rowStart(image.config));
                    std::copy_n(vTriUse.begin() + rowStart(base), ROW_SIZE, vTriUse.begin() + rowStart(image.config));
                }
    }
    for (int config = 0; config < NUM_CONFIGS; ++config)
        unifyRow(config);
}

void Casx::unifyRow(int config) {
    int* const row = vTriVec.data() + rowStart(config);
    for (int i = 0; i < ROW_SIZE; ++i)
        for (int j = i + 1; j < ROW_SIZE; ++j)
            if (row[i] != END && row[j] != END) samePlaneUnify(row[i], row[j]);
}

bool Casx::samePlaneUnify(int& triA, int& triB) {
    if (Calc::getNumSet8(triA & triB) != 2) return false;
    for (const Face& face : FACES) {
        if ((triA | triB) != face.cells || (triA & triB) == face.diagonal) continue;
        const int others = face.cells & ~face.diagonal;
        const int lowest = others & -others;  // the bit itself
        triA = face.diagonal | lowest;
        triB = face.diagonal | (others & ~lowest);
        return true;
    }
    return false;
}

}  // namespace TARN_KEL
