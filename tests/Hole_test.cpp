// The field of a hole: its box, what it starts from, that it tells the sides of the surface and is smoothed by means; and
// what its zeros are good for on punched scans.
#include "Hole.h"
#include "support/prelude.h"
#include "support/punched_scan.h"

using namespace TARN_TEST;

namespace {

using At = std::array<int, 3>;

At plus(At at, std::size_t axis, int step) {
    at[axis] += step;
    return at;
}

/// Where an address lies in the box, and the other way round; -1 outside.
At placeOf(const Hole& hole, int address) {
    return {address % hole.rgx, address / hole.rgx % hole.rgy, address / hole.rgx / hole.rgy};
}
int addressAt(const Hole& hole, const At& at) {
    const At size{hole.rgx, hole.rgy, hole.rgz};
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (at[axis] < 0 || at[axis] >= size[axis]) return -1;
    return (at[2] * size[1] + at[1]) * size[0] + at[0];
}

/// The addresses of the lattice points next to one, and itself.
std::vector<int> around(const Hole& hole, int address) {
    std::vector<int> v = {address};
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (const int step : {-1, 1})
            if (const int next = addressAt(hole, plus(placeOf(hole, address), axis, step)); next >= 0) v.push_back(next);
    return v;
}
Point3 pointOf(const Hole& hole, int address) {
    return hole.pCalc->getRefPoint(hole.pCalc->rcd2ccd(hole.addressToRCD(address)));
}
bool operator==(const MatrixEntry& a, const MatrixEntry& b) {
    return a.val == b.val && a.weight == b.weight;
}

/// All entries that have a value.
std::map<int, MatrixEntry> entriesOf(const Hole& hole) {
    std::map<int, MatrixEntry> m;
    for (int address = 0; address < hole.arrSiz; ++address)
        if (hole.pArray[address].val != FLT_UNDEF) m[address] = hole.pArray[address];
    return m;
}

/// What hangs together from the chain on, all inside the box. Neighbours that turn by more than 10 degrees are unreliable.
void expectChosenTriangles(const Hole& hole) {
    const std::set<CTriangle*> sChosen(hole.vT.begin(), hole.vT.end());
    EXPECT_TRUE(std::ranges::equal(hole.vT, sChosen)) << "sorted, each once";
    std::set<CTriangle*> sUnreliable;
    for (CTriangle* pCT : aliveT(*hole.pCMesh)) {
        const auto isOnChain = [&](const CEdge* pCE) { return pCT->has(pCE->v0) || pCT->has(pCE->v1); };
        const bool bBoundary = std::ranges::any_of(hole.vCE, isOnChain);
        EXPECT_EQ(hole.sBoundaryT.count(pCT) != 0, bBoundary);
        for (int i = 0; i < 3; ++i) {
            bool ok = false;
            CTriangle* pNeig = pCT->getCEdge(i)->getUniqueOtherTriangle(pCT);
            if (!bBoundary || pNeig == nullptr) continue;
            const Vector3 n0 = pCT->getRealNNV(hole.pCMesh, ok), n1 = pNeig->getRealNNV(hole.pCMesh, ok);
            if (getAngleDegree(n0, n1) > 10.0) sUnreliable.insert({pCT, pNeig});
        }
        int x = 0, y = 0, z = 0;
        if (sChosen.count(pCT) == 0) continue;
        for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
            hole.getNormedIntFromVCD(vcd, x, y, z);  // fails outside
    }
    EXPECT_EQ(hole.sUnrelT, sUnreliable);
    EXPECT_GT(sChosen.size(), 2 * hole.vCE.size());
    EXPECT_TRUE(std::ranges::any_of(hole.sRimVCD, [&](VCD vcd) { return incidentT(*hole.pCMesh, vcd).size() > 2; }));
}

/// A chain of three edges round one triangle on these cells of a grid of 4096^3.
class Triangle : public CoarseWorld {
public:
    Triangle(const At& a, const At& b, const At& c) {
        calc = Calc(0, 0, 0, 4096, 4096, 4096, 12);
        const auto at = [this](const At& p) {
            return put(static_cast<unsigned>(p[0]), static_cast<unsigned>(p[1]), static_cast<unsigned>(p[2]));
        };
        triangle(at(a), at(b), at(c));
        EdgesByEnd mm;
        enterBothEnds(mm, edges(mesh, 1));
        pChain = std::make_unique<Chain>(&mesh, mm);
    }
    std::unique_ptr<Chain> pChain;
};

/// Moves every vertex a little inside its cell.
void crease(CMesh& mesh, unsigned seed) {
    Scan chance(seed);
    for (const CCD ccd : listOf<CCD>([&](auto& v) { mesh.getUsedCCD(v); })) {
        const double dx = chance.uniform(-0.2, 0.2), dy = chance.uniform(-0.2, 0.2), dz = chance.uniform(-0.2, 0.2);
        *mesh.getVtx(ccd) = *mesh.getVtx(ccd) + Vector3(dx, dy, dz);
        mesh.pCalc->adaptPointToCCD(ccd, *mesh.getVtx(ccd));
    }
}

}  // namespace

TEST(Hole, measuresItsBox) {
    const CoutSilence silence;
    struct Case {
        At from, to;
        int numGrowSteps;
        At low, size;
    };
    for (const Case& c : {Case{{5, 8, 7}, {9, 14, 27}, 10, {0, 1, 0}, {17, 21, 35}},
                          Case{{100, 60, 50}, {130, 110, 90}, 23, {93, 53, 43}, {45, 65, 55}}}) {
        Triangle world(c.from, c.to, {c.from[0], c.to[1], c.to[2]});
        Hole hole(&world.mesh, world.pChain.get());
        hole.setRanges();
        EXPECT_EQ(hole.numGrowSteps, c.numGrowSteps);
        EXPECT_EQ((At{hole.rgx, hole.rgy, hole.rgz}), c.size);
        EXPECT_EQ(hole.addressToRCD(0), packRCD(static_cast<unsigned>(c.low[0]), static_cast<unsigned>(c.low[1]),
                                                static_cast<unsigned>(c.low[2])));
        int numWrong = 0;
        for (int address = 0; address < hole.arrSiz; ++address) {
            const RCD rcd = hole.addressToRCD(address);
            const bool bSame = hole.getAddress(rcd) == address && hole.isValidRCD(rcd) &&
                               hole.getAddressFromVCD(hole.pCalc->rcd2ccd(rcd)) == address;
            numWrong += bSame ? 0 : 1;
        }
        EXPECT_EQ(numWrong, 0);
        expectFails("address<arrSiz", [&] { hole.getAddress(hole.rgx, hole.rgy - 1, hole.rgz - 1); });
        const RCD beyond = hole.addressToRCD(hole.arrSiz - 1) + RCD_STEP_X;
        expectText("\n WRONG RCD: ", [&] { EXPECT_FALSE(hole.isValidRCD(beyond)); });
        expectText("getAddressFromVCD, bad range, x=" + toString(hole.rgx) + ", y=",
                   [&] { EXPECT_EQ(hole.getAddressFromVCD(hole.pCalc->rcd2ccd(beyond)), -1); });
        for (const auto& [y, num] : {std::pair(2, 4U), {1, 2U}}) {  // the last one has nothing below in y
            VRCD vAround;
            const RCD a = hole.addressToRCD(hole.getAddress(5, y, 3));
            hole.getCbsAroundEdge(a, a + RCD_STEP_X, 5, y, 3, 0, vAround);
            EXPECT_EQ(vAround.size(), num);
            EXPECT_EQ(vAround.front(), a);
        }
    }
    Triangle large({100, 100, 100}, {1400, 1400, 1400}, {100, 1400, 100});
    expectFails("numEntries<=MAX_ENTRIES", [&] { Hole(&large.mesh, large.pChain.get()).setRanges(); });
}

TEST(Hole, fieldStartsAtTheTrianglesAndTellsTheSides) {
    std::map<float, int> mWeights;
    std::size_t numCarried = 0;
    forSeeds(8, [&](unsigned seed) {
        PunchedScan scan(seed % 2 == 0, seed, 4.0);
        ASSERT_NE(scan.pHoleChain, nullptr);
        if (seed % 4 < 2) crease(*scan.pMesh, seed);
        const CoutSilence silence;
        Hole hole(scan.pMesh.get(), scan.pHoleChain);
        hole.setRanges();
        hole.determineTriangles();
        hole.setBoundaryAndUnrelT();
        expectChosenTriangles(hole);
        hole.initializeFirstRow();
        const std::map<int, MatrixEntry> mFirst = entriesOf(hole);
        const std::set<int> sSeed(hole.vAddr.begin(), hole.vAddr.end());
        for (const auto& [address, entry] : mFirst) {
            const auto isLike = [&, &value = entry.val](int a) { return sSeed.count(a) != 0 && mFirst.at(a).val == value; };
            const std::vector<int> vAround = around(hole, address);
            const bool bSeed = sSeed.count(address) != 0;
            if (bSeed) ++mWeights[entry.weight];
            numCarried += bSeed ? 0 : 1;
            EXPECT_TRUE(std::any_of(vAround.begin(), vAround.end(), isLike)) << "its own or a neighbour's";
            EXPECT_LT(std::fabs(entry.val), 2.5F);
        }
        hole.inflate();
        hole.checkIntegrity("test");
        for (const auto& [address, entry] : mFirst)
            EXPECT_TRUE(hole.pArray[address] == entry) << "seeds and what was carried from them stay";
        std::array<int, 2> numSame{};
        for (const int address : hole.vAddr)
            if (const double d = scan.distance(pointOf(hole, address)); std::fabs(d) > 1.5)
                ++numSame[(d > 0) == (hole.pArray[address].val > 0)];
        EXPECT_GT(std::max(numSame[0], numSame[1]), 100 * std::min(numSame[0], numSame[1])) << "one side is positive";
        EXPECT_GT(hole.vAddr.size(), 3 * sSeed.size());
    });
    EXPECT_EQ(mWeights.size(), 2U);
    EXPECT_GT(mWeights[0.3F], 100);
    EXPECT_GT(mWeights[1.002F], 1000);
    EXPECT_GT(numCarried, 100U);
}

TEST(Hole, smoothingMakesMeansOfNeighbours) {
    const CoutSilence silence;
    Triangle world({20, 20, 20}, {21, 20, 20}, {20, 21, 20});
    forSeeds(20, [&](unsigned seed) {
        Hole hole(&world.mesh, world.pChain.get());
        hole.setRanges();
        hole.pArray = Matrix(hole.arrSiz);
        Random random(seed);
        const auto chance = [&] { return static_cast<float>(random.next() % 1000 + 1) / 1000.0F; };
        std::vector<int> vAddr;
        for (int address = 0; address < hole.arrSiz; ++address) {
            if (std::min({placeOf(hole, address)[0], placeOf(hole, address)[1], placeOf(hole, address)[2]}) == 0) continue;
            if (around(hole, address).size() < 7 || random.next() % 3 == 0) continue;
            const float weight = std::array{chance(), 0.5F, 0.3F, 1.002F}[seed % 2 == 0 ? 1 : pick(random, 4)];
            hole.pArray[address] = {chance() - 0.5F, weight};
            vAddr.push_back(address);
        }
        const std::map<int, MatrixEntry> mBefore = entriesOf(hole);
        hole.lowPassFor(vAddr, 1, true);
        for (const auto& [address, before] : mBefore) {
            const MatrixEntry& after = hole.pArray[address];
            double sum = 0, num = 0;
            float low = before.val, high = before.val;
            for (const int a : around(hole, address))
                if (const auto it = mBefore.find(a); it != mBefore.end()) {
                    low = std::min(low, it->second.val), high = std::max(high, it->second.val);
                    sum += it->second.val, num += 1;
                }
            if (before.weight == 0.3F || before.weight == 1.002F)
                EXPECT_TRUE(after == before) << "a seed";
            else
                EXPECT_TRUE(after.val >= low - 1e-6F && after.val <= high + 1e-6F);
            if (seed % 2 == 0) {
                EXPECT_NEAR(after.val, sum / num, 1e-6) << "equal weights";
                EXPECT_NEAR(after.weight, 0.5, 1e-6);
            }
        }
    });
}

TEST(Hole, keepsMeansOffTheMarksOfSeedsAndTakesTheNearerOffer) {
    const CoutSilence silence;
    Triangle world({20, 20, 20}, {21, 20, 20}, {20, 21, 20});
    Hole hole(&world.mesh, world.pChain.get());
    hole.setRanges();
    hole.pArray = Matrix(hole.arrSiz);
    hole.pArray[1] = {1.0F, 0.2F};
    hole.pArray[2] = {-0.5F, 0.4F};
    std::vector<int> vAddresses = {1}, vNext;
    hole.lowPassFor(vAddresses, 1, true);
    EXPECT_EQ(hole.pArray[1].val, std::numeric_limits<float>::min()) << "a mean of 0 gets a sign";
    EXPECT_EQ(hole.pArray[1].weight, static_cast<float>(static_cast<double>(0.3F) * 0.9954));
    hole.pArray[1] = {1.0F, 0.2F};
    vAddresses = {2, 1};
    hole.lowPassFor(vAddresses, 1, false);
    EXPECT_EQ(vAddresses, (std::vector<int>{1, 2}));
    for (const int address : {1, 2})
        EXPECT_TRUE((hole.pArray[address] == MatrixEntry{0.25F, 1.0F})) << "without weights";
    // Two offers to the point between: the nearer value, of equal ones the first; the mean weight.
    for (const auto& [val, weight, expected] : {std::tuple(-0.5F, 1.002F, -1.5F), {-0.4F, 0.8F, -1.4F}}) {
        hole.pArray[1] = {0.5F, 1.002F}, hole.pArray[2] = {}, hole.pArray[3] = {val, weight};
        vAddresses = val == -0.5F ? std::vector{3, 1} : std::vector{1, 3};
        vNext.clear();
        hole.inflateOneStep(0, vAddresses, vNext);
        EXPECT_FLOAT_EQ(hole.pArray[2].val, expected);
        EXPECT_NEAR(hole.pArray[2].weight, (0.97 * 1.002 + (weight == 0.8F ? 0.8 : 0.97 * 1.002)) / 2, 1e-7);
    }
    expectFails("vNextAddr.empty()", [&] { hole.inflateOneStep(1, vAddresses, vNext); });
}

TEST(Hole, findsTheMissingCells) {
    forSeeds(14, [](unsigned seed) {
        const bool bSphere = seed % 2 == 0;
        PunchedScan scan(bSphere, seed, bSphere ? 9.0 : 15.0);
        ASSERT_NE(scan.pHoleChain, nullptr);
        const CoutSilence silence;
        Hole hole(scan.pMesh.get(), scan.pHoleChain);
        hole.makeField(bSphere ? 1 : 2);
        const auto vZeros = hole.getZeroCbs();
        std::vector<Point3> vVtx;
        for (const CCD ccd : listOf<CCD>([&](auto& v) { scan.pMesh->getUsedCCD(v); }))
            vVtx.push_back(scan.pMesh->getAvgPoint(ccd));
        for (const auto& [ccd, point] : vZeros) {
            EXPECT_TRUE(hole.pCalc->isInCell(&point, ccd));
            EXPECT_TRUE(incidentT(*scan.pMesh, ccd).empty());
            EXPECT_LT(std::fabs(scan.distance(point)), bSphere ? 1.5 : 1.0);
            vVtx.push_back(point);
        }
        double farthest = 0.0;  // of the missing points, from the next vertex
        for (const Point3& p : scan.vMissing) {
            const auto nearer = [&p](const Point3& v0, const Point3& v1) { return (v0 - p).length() < (v1 - p).length(); };
            farthest = std::max(farthest, (*std::min_element(vVtx.begin(), vVtx.end(), nearer) - p).length());
        }
        EXPECT_LT(farthest, bSphere ? 1.6 : 1.2) << "a cap of radius 9 is 2.14 high, a membrane is flatter";
    });
}
