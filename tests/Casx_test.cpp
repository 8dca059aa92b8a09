// The case tables, and what is delivered of them.
#include "Casx.h"

#include "support/cellSets.h"
#include "support/hash.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// The triangles of a row, as bits of their cells, that a filter lets through.
std::vector<int> delivered(const Casx& casx, int config, TriUse use) {
    std::array<CCD, 8> bits = {0, 1, 2, 3, 4, 5, 6, 7};
    std::vector<CCD> vOut;
    casx.getTriangles(config, bits.data(), vOut, use);
    std::vector<int> vMask;
    for (std::size_t i = 0; i < vOut.size(); i += 3) {
        EXPECT_TRUE(vOut[i] < vOut[i + 1] && vOut[i + 1] < vOut[i + 2]) << "from the lowest bit up";
        vMask.push_back(1 << vOut[i] | 1 << vOut[i + 1] | 1 << vOut[i + 2]);
    }
    EXPECT_EQ(std::set(vMask.begin(), vMask.end()).size(), vMask.size()) << "a triangle twice in row " << config;
    return vMask;
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
        const CoutCapture capture;
        const Casx experimental(mode, true);
        EXPECT_EQ(capture.text(), "Casx::Casx, bExperimental=true - using base cases\n");
        EXPECT_EQ(experimental.vTriVec, built.vTriVec);
        EXPECT_EQ(experimental.vTriUse, built.vTriUse);
    }
    const Casx unknown(static_cast<TRIMODE>(7), false);
    EXPECT_EQ(unknown.vTriVec, std::vector<int>(3072, Casx::END));
    EXPECT_EQ(unknown.vTriUse, Casx(TM_FAT, false).vTriUse);
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
    const std::string report = reportOf([&] { fat.getTriangles(26, cells.data(), vOut, TUT); });
    EXPECT_EQ(report.find("Uh, config=26"), 0U);
    EXPECT_EQ(countIn(report, conditionFailed("vTriCCD.size()%3==0")), 1);
    for (int config : {-1, 256})
        reportOf([&] { fat.getTriangles(config, cells.data(), vOut, TUT); });
}
