// Lists of cells against plain versions: sets, all pairs, and a literal walk with a stack.
#include "freeFunctions.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using VCC = std::vector<VRCD>;
using Edge = std::pair<RCC, RCC>;

RCD at(int x, int y, int z) {
    return packRCD(static_cast<RCD>(x), static_cast<RCD>(y), static_cast<RCD>(z));
}

// Random cells of a small cube, at a density between sparse and full; unsorted, with repeats.
VRCD randomCells(unsigned seed) {
    std::mt19937 random(seed);
    const int side = 2 + static_cast<int>(seed % 9);
    const auto numCells = random() % static_cast<unsigned>(side * side * side) + 1;
    std::uniform_int_distribution<int> anywhere(100, 99 + side);
    VRCD vCells;
    for (auto i = numCells; i > 0; --i)
        vCells.push_back(at(anywhere(random), anywhere(random), anywhere(random)));
    return vCells;
}
VRCD unique(VRCD vCells) {
    const std::set<RCD> sCells(vCells.begin(), vCells.end());
    return {sCells.begin(), sCells.end()};
}
std::vector<RCD> faceNeighbours(RCD rcd) {
    return {rcd - at(1, 0, 0), rcd + at(1, 0, 0), rcd - at(0, 1, 0),
            rcd + at(0, 1, 0), rcd - at(0, 0, 1), rcd + at(0, 0, 1)};
}

bool touch(RCD a, RCD b) {
    const auto near = [](RCD p, RCD q) { return p > q ? p - q <= 1 : q - p <= 1; };
    return near(getX_RCD(a), getX_RCD(b)) && near(getY_RCD(a), getY_RCD(b)) && near(getZ_RCD(a), getZ_RCD(b));
}

template <typename AreJoined>
VCC componentsByAllPairs(const VRCD& vCells, const AreJoined& areJoined) {
    const auto vLabel = labels(vCells.size(), [&](std::size_t i, std::size_t j) { return areJoined(vCells[i], vCells[j]); });
    std::map<std::size_t, VRCD> mCells;
    for (std::size_t i = 0; i < vCells.size(); ++i)
        mCells[vLabel[i]].push_back(vCells[i]);
    VCC vCCs;
    for (const auto& [label, vCC] : mCells)
        vCCs.push_back(unique(vCC));
    return vCCs;
}

std::string sizesLine(const VCC& vCCs) {
    std::ostringstream out;
    out << "\nResult of grow6_RCD: ";
    for (const VRCD& vCC : vCCs)
        out << vCC.size() << " ";
    out << "\n";
    return out.str();
}

}  // namespace

TEST(Cells, cornersComeInTheirOrderAndOnceWhenAsked) {
    VRCC vOut{7};
    getRCC8({at(5, 6, 7)}, false, vOut);
    EXPECT_EQ(vOut, (VRCC{7, at(5, 6, 7), at(5, 6, 8), at(5, 7, 7), at(5, 7, 8), at(6, 6, 7), at(6, 6, 8), at(6, 7, 7),
                          at(6, 7, 8)}));
    forSeeds(20, [&](unsigned seed) {
        const VRCD vCells = randomCells(seed);
        std::set<RCC> sCorner{7};
        std::set<std::pair<RCC, RCD>> sPair;
        for (const RCD rcd : vCells)
            for (int i = 0; i < 8; ++i) {
                const RCC rcc = rcd + at(i & 1, i >> 1 & 1, i >> 2);
                sCorner.insert(rcc);
                sPair.emplace(rcc, rcd);
            }
        vOut = {7};
        getRCC8(vCells, true, vOut);
        EXPECT_TRUE(std::ranges::equal(vOut, sCorner));
        std::vector<std::pair<RCC, RCD>> vPair;
        getRCC2RCD(unique(vCells), vPair);
        EXPECT_TRUE(std::ranges::equal(vPair, sPair));
    });
}

TEST(Cells, faceNeighboursComeInTheirOrderWhateverTheChunks) {
    for (const std::size_t n : {0U, 1U, 3U, 17U, 5001U}) {
        VRCD vIn(n);
        std::iota(vIn.begin(), vIn.end(), at(50, 50, 50));
        VRCC vExpected{9, 9}, vOut{9, 9};
        for (const RCD rcd : vIn)
            for (const RCC neig : faceNeighbours(rcd))
                vExpected.push_back(neig);
        getRCC6(vIn, false, vOut);
        EXPECT_EQ(vOut, vExpected);
        vOut = {9, 9};
        getRCC6(vIn, true, vOut);
        EXPECT_EQ(vOut, unique(vExpected));
    }
}

TEST(Cells, componentsUnderSharedCornersAgreeWithAllPairs) {
    forSeeds(150, [](unsigned seed) {
        const VRCD vCells = randomCells(seed);
        for (const VRCD& vIn : {vCells, unique(vCells)}) {
            VCC vExpected = componentsByAllPairs(vIn, touch);
            vExpected.insert(vExpected.begin(), VRCD{1, 2, 3});
            VCC vCCs{{1, 2, 3}};
            createCC_RCD(vIn, vCCs);
            EXPECT_EQ(vCCs, vExpected);
        }
    });
    VCC vCCs;
    createCC_RCD({}, vCCs);
    EXPECT_TRUE(vCCs.empty());
}

TEST(Cells, componentsUnderSharedFacesAgreeWithAllPairsTheLargestFirst) {
    const auto shareFace = [](RCD a, RCD b) { return std::ranges::count(faceNeighbours(a), b) > 0; };
    forSeeds(150, [&](unsigned seed) {
        const VRCD vCells = unique(randomCells(seed));
        for (const std::size_t minSize : {0U, 2U, 5U}) {
            VCC vExpected = componentsByAllPairs(vCells, shareFace), vCCs{{1}};
            std::erase_if(vExpected, [&](const VRCD& vCC) { return vCC.size() < minSize; });
            std::ranges::stable_sort(vExpected, std::greater<>(), &VRCD::size);
            const std::string said = outputOf([&] { EXPECT_EQ(grow6_RCD(vCells, vCCs, minSize), vExpected.size()); });
            EXPECT_EQ(said, sizesLine(vExpected));
            vExpected.insert(vExpected.begin(), VRCD{1});
            for (VRCD& vCC : vCCs)
                vCC = unique(vCC);
            EXPECT_EQ(vCCs, vExpected);
        }
    });
}

// A walk as deep as the data, and far more cells than any quadratic way could take.
TEST(Cells, aSheetOfAMillionCellsIsOneComponent) {
    VRCD vCells;
    for (int x = 0; x < 1000; ++x)
        for (int y = 0; y < 1000; ++y)
            vCells.push_back(at(5000 + x, 5000 + y, 5000));
    VCC vCorner, vFace;
    createCC_RCD(vCells, vCorner);
    EXPECT_EQ(vCorner, VCC{vCells});
    const CoutCapture capture;
    EXPECT_EQ(grow6_RCD(vCells, vFace, 1000000), 1U);
    EXPECT_EQ(unique(vFace.front()), vCells);
}

TEST(Cells, theCubeAroundACellLeavesItsCentreOut) {
    const RCD centre = at(20, 30, 40);
    for (const auto& [radius, num] : {std::pair(-1, 0U), {0, 0U}, {1, 26U}, {2, 124U}}) {
        VRCD vOut{5};
        getRCDPositionsAround(centre, radius, vOut);
        EXPECT_EQ(vOut.size(), num + 1);
        EXPECT_TRUE(std::ranges::is_sorted(vOut, std::less_equal<>()) && std::ranges::count(vOut, centre) == 0);
        EXPECT_TRUE(num == 0 || (vOut[1] == at(20 - radius, 30 - radius, 40 - radius) &&
                                 vOut.back() == at(20 + radius, 30 + radius, 40 + radius)));
    }
}

TEST(Cells, edgesArePairsOfCornersAtUnitDistance) {
    forSeeds(20, [](unsigned seed) {
        const VRCD vCells = unique(randomCells(seed));
        std::set<Edge> sEdge;
        std::set<std::pair<Edge, RCD>> sEdgeAndCell;
        for (const RCD rcd : vCells) {
            VRCC vCorner;
            getRCC8({rcd}, false, vCorner);
            for (const RCC low : vCorner)
                for (const RCC high : vCorner) {
                    if (high - low != at(1, 0, 0) && high - low != at(0, 1, 0) && high - low != at(0, 0, 1)) continue;
                    sEdge.emplace(low, high);
                    sEdgeAndCell.emplace(Edge(low, high), rcd);
                }
        }
        std::vector<Edge> vEdge;
        createRCCEdges(vCells, vEdge);
        EXPECT_TRUE(std::ranges::equal(vEdge, sEdge));
        std::vector<std::pair<Edge, RCD>> vEdgeAndCell;
        createRCCEdgesToRCD(vCells, vEdgeAndCell);
        EXPECT_EQ(vEdgeAndCell.size(), 12 * vCells.size());
        EXPECT_TRUE(std::ranges::equal(vEdgeAndCell, sEdgeAndCell));
    });
}
