// The case tables, and what is delivered of them.
#include "Casx.h"

#include "support/cellSets.h"
#include "support/hash.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

// A cell of the cube by the signs of its midpoint, seen from the cube's centre.
using Sign3 = std::array<int, 3>;
using Cells = std::set<Sign3>;
using Row = std::multiset<std::pair<Cells, TriUse>>;

// The order of the bits of a configuration.
const std::array<Sign3, 8> CELL_OF_BIT = {
    {{-1, -1, 1}, {1, -1, 1}, {1, -1, -1}, {-1, -1, -1}, {-1, 1, 1}, {1, 1, 1}, {1, 1, -1}, {-1, 1, -1}}};

Cells cellsOf(int mask) {
    Cells cells;
    for (std::size_t i = 0; i < 8; ++i)
        if ((mask >> i & 1) != 0) cells.insert(CELL_OF_BIT[i]);
    return cells;
}
int maskOf(const Cells& cells) {
    int mask = 0;
    for (std::size_t i = 0; i < 8; ++i)
        if (cells.count(CELL_OF_BIT[i]) != 0) mask |= 1 << i;
    return mask;
}

Row rowOf(const Casx& casx, int config) {
    Row row;
    for (int i = 0; i < Casx::ROW_SIZE; ++i) {
        const auto slot = static_cast<std::size_t>(config * Casx::ROW_SIZE + i);
        if (casx.vTriVec[slot] == Casx::END) break;
        row.emplace(cellsOf(casx.vTriVec[slot]), casx.vTriUse[slot]);
    }
    return row;
}

// The four cells of a face on the low or high side of an axis; its diagonal runs between the lowest and the highest.
Cells faceCells(std::size_t axis, int side) {
    Cells face;
    for (const Sign3& s : CELL_OF_BIT)
        if (s[axis] == side) face.insert(s);
    return face;
}
template <typename Visit>
void forFaces(const Visit& visit) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (int side : {-1, 1}) {
            const Cells face = faceCells(axis, side);
            visit(face, Cells{*face.begin(), *face.rbegin()});
        }
}

// Triangles delivered under a filter, as a set of sets of bits.
std::set<Cells> delivered(const Casx& casx, int config, TriUse use) {
    std::array<CCD, 8> bits = {0, 1, 2, 3, 4, 5, 6, 7};
    std::vector<CCD> vOut;
    casx.getTriangles(config, bits.data(), vOut, use);
    std::set<Cells> triangles;
    for (std::size_t i = 0; i < vOut.size(); i += 3) {
        EXPECT_TRUE(vOut[i] < vOut[i + 1] && vOut[i + 1] < vOut[i + 2]) << "from the lowest bit up";
        triangles.insert(cellsOf(1 << vOut[i] | 1 << vOut[i + 1] | 1 << vOut[i + 2]));
    }
    EXPECT_EQ(triangles.size() * 3, vOut.size()) << "a triangle twice in row " << config;
    return triangles;
}

}  // namespace

/// The tables as they were when they were held against rotations of the base rows in space; a failure prints the new hash.
TEST(Casx, tablesAreWhatTheyWere) {
    const Casx thin(TM_THIN, false), fat(TM_FAT, false);
    EXPECT_EQ(hashOf(thin.vTriVec), 11094595686808647742U);
    EXPECT_EQ(hashOf(thin.vTriUse), 2885809038987925949U);
    EXPECT_EQ(hashOf(fat.vTriVec), 4749570320071829913U);
    EXPECT_EQ(hashOf(fat.vTriUse), 2885809038987925949U);
    std::vector<int> vCbs;
    for (int config = 0; config < 256; ++config)
        vCbs.insert(vCbs.end(), {thin.getRemoveCbs(config), thin.getExtraCbs(config)});
    EXPECT_EQ(hashOf(vCbs), 14579920406131056681U);
}

TEST(Casx, isTheSameWhenBuiltFromTheBaseCases) {
    for (TRIMODE mode : {TM_THIN, TM_FAT}) {
        const Casx built(mode, false);
        EXPECT_EQ(outputOf([mode] { Casx(mode, true); }), "Casx::Casx, bExperimental=true - using base cases\n");
        const CoutSilence silence;
        const Casx experimental(mode, true);
        EXPECT_EQ(experimental.vTriVec, built.vTriVec);
        EXPECT_EQ(experimental.vTriUse, built.vTriUse);
    }
    const Casx unknown(static_cast<TRIMODE>(7), false);
    EXPECT_EQ(unknown.vTriVec, std::vector<int>(3072, Casx::END));
    EXPECT_EQ(unknown.vTriUse, Casx(TM_FAT, false).vTriUse);
}

TEST(Casx, neighbouringCubesAgreeOnTheFaceBetweenThem) {
    // A triangle in a full face holds that face's diagonal, which looks the same from both sides.
    for (TRIMODE mode : {TM_THIN, TM_FAT}) {
        const Casx casx(mode, false);
        for (int config = 0; config < 256; ++config)
            for (const auto& [triangle, use] : rowOf(casx, config)) {
                EXPECT_EQ(triangle.size(), 3U);
                EXPECT_EQ(maskOf(triangle) & ~config, 0) << "a free cell in row " << config;
                forFaces([&, &cells = triangle](const Cells& face, const Cells& diagonal) {
                    const bool bFull = (maskOf(face) & ~config) == 0;
                    if (!bFull || (maskOf(cells) & ~maskOf(face)) != 0) return;
                    EXPECT_EQ(maskOf(cells) & maskOf(diagonal), maskOf(diagonal)) << mode << ", row " << config;
                });
            }
    }
}

TEST(Casx, deliversWhatTheFilterLetsThrough) {
    const Casx fat(TM_FAT, false);
    for (int config = 0; config < 256; ++config) {
        std::size_t numAll = 0;
        for (TriUse use : {TUT, TUF, TUI})
            numAll += delivered(fat, config, use).size();
        EXPECT_EQ(delivered(fat, config, TUU).size(), numAll);
        const int num = Calc::getNumSet8(config);
        EXPECT_TRUE(numAll == 0 || (num >= 3 && num <= 7));
    }
    EXPECT_EQ(rowOf(fat, 13), (Row{{cellsOf(13), TUI}}));
    std::array<CCD, 8> cells = {10, 11, 12, 13, 14, 15, 16, 17};
    std::vector<CCD> vOut = {1, 2, 3};
    fat.getTriangles(15, cells.data(), vOut, TUT);
    EXPECT_EQ(vOut, (std::vector<CCD>{1, 2, 3, 10, 11, 13, 11, 12, 13}));
}

TEST(Casx, aMalformedRowIsReported) {
    Casx fat(TM_FAT, false);
    fat.addTriConfig(26, 3, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512);
    std::array<CCD, 8> cells{};
    std::vector<CCD> vOut;
    const auto deliver = [&] { fat.getTriangles(26, cells.data(), vOut, TUT); };
    EXPECT_EQ(reportOf(deliver).find("Uh, config=26"), 0U);
    vOut.clear();
    expectFails("vTriCCD.size()%3==0", deliver);
    for (int config : {-1, 256})
        reportOf([&] { fat.getTriangles(config, cells.data(), vOut, TUT); });
}
