// The field of a hole, bit by bit against a plain dense one that sees the triangles and nothing else; its box; and what its
// zeros are good for on punched scans.
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

/// The neighbours in one of three orders: by axis, by address, upper before lower.
using Order = std::array<std::pair<std::size_t, int>, 6>;
constexpr Order BY_AXIS = {{{0, -1}, {0, 1}, {1, -1}, {1, 1}, {2, -1}, {2, 1}}};
constexpr Order BY_ADDRESS = {{{2, -1}, {1, -1}, {0, -1}, {0, 1}, {1, 1}, {2, 1}}};
constexpr Order UPPER_FIRST = {{{0, 1}, {1, 1}, {2, 1}, {2, -1}, {1, -1}, {0, -1}}};

/// Entries at all points of the box.
class PlainField {
public:
    explicit PlainField(const Hole& theHole)
        : hole(theHole), size{hole.rgx, hole.rgy, hole.rgz}, vEntry(static_cast<std::size_t>(hole.arrSiz)) {}

    std::size_t index(const At& at) const { return static_cast<std::size_t>((at[2] * size[1] + at[1]) * size[0] + at[0]); }
    bool has(const At& at, int margin = 0) const {
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (at[axis] < margin || at[axis] >= size[axis] - margin) return false;
        return true;
    }
    bool isAssigned(const At& at) const { return has(at) && vEntry[index(at)].val != FLT_UNDEF; }
    template <typename Visit>
    void forAll(const Visit& visit) const {
        for (int z = 0; z < size[2]; ++z)
            for (int y = 0; y < size[1]; ++y)
                for (int x = 0; x < size[0]; ++x)
                    visit(At{x, y, z}, vEntry[index({x, y, z})]);
    }
    At inBox(VCD vcd) const {
        unsigned long long x, y, z;
        hole.pCalc->extractIntCCD(vcd, x, y, z);
        return {static_cast<int>(x - hole.xLowExt), static_cast<int>(y - hole.yLowExt), static_cast<int>(z - hole.zLowExt)};
    }

    void seed(CTriangle* pCT) {
        bool ok = false;
        const Plane plane = pCT->getRealPlane(hole.pCMesh, ok);
        const std::array<At, 3> c = {inBox(pCT->c0), inBox(pCT->c1), inBox(pCT->c2)};
        At low{}, high{};  // of the lattice points that touch all three cells
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = std::max({c[0][axis], c[1][axis], c[2][axis]});
            high[axis] = std::min({c[0][axis], c[1][axis], c[2][axis]}) + 1;
        }
        std::vector<At> vAt;
        for (int x = low[0]; x <= high[0]; ++x)
            for (int y = low[1]; y <= high[1]; ++y)
                for (int z = low[2]; z <= high[2]; ++z)
                    vAt.push_back({x, y, z});
        if (vAt.size() == 1) {
            const auto side = [&c](std::size_t i, std::size_t k) { return (c[i][k] > c[0][k]) - (c[i][k] < c[0][k]); };
            vAt.resize(3, vAt[0]);
            for (std::size_t k = 0; k < 3; ++k) {
                const std::size_t l = (k + 1) % 3, m = (k + 2) % 3;
                const int n = side(1, l) * side(2, m) - side(1, m) * side(2, l);
                vAt[1][k] -= n;
                vAt[2][k] += n;
            }
        }
        for (const At& at : vAt) {
            if (!ok || !has(at)) continue;
            const auto onGrid = [](int coordinate, unsigned long long lowExt) {
                return static_cast<unsigned>(coordinate) + static_cast<unsigned>(lowExt);
            };
            const VCD vcd = cell(onGrid(at[0], hole.xLowExt), onGrid(at[1], hole.yLowExt), onGrid(at[2], hole.zLowExt));
            const double d = plane.signedDistance(hole.pCalc->getRefPoint(vcd));
            MatrixEntry& entry = vEntry[index(at)];
            if (entry.val == FLT_UNDEF) entry.weight = hole.sUnrelT.count(pCT) != 0 ? 0.3F : 1.002F;
            if (sFront.insert(at).second || std::fabs(d) < std::fabs(entry.val)) entry.val = static_cast<float>(d);
        }
    }
    /// Values along the lattice edges of one cell.
    void complete() {
        std::set<At> sCells;
        for (const CTriangle* pCT : hole.vT)
            for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
                if (hole.sRimVCD.count(vcd) == 0 && has(inBox(vcd))) sCells.insert(inBox(vcd));
        std::map<std::pair<At, At>, int> mEdges;
        for (const At& c : sCells)
            for (std::size_t axis = 0; axis < 3; ++axis)
                for (int i = 0; i < 4; ++i) {
                    const At a = plus(plus(c, (axis + 1) % 3, i & 1), (axis + 2) % 3, i >> 1);
                    ++mEdges[{a, plus(a, axis, 1)}];
                }
        forAll([&](const At& at, const MatrixEntry& entry) {
            std::vector<float> vVals;
            for (const auto& [axis, step] : UPPER_FIRST) {
                const At from = plus(at, axis, step);
                const auto it = mEdges.find(std::minmax(at, from));
                if (it != mEdges.end() && it->second == 1 && isAssigned(from)) vVals.push_back(vEntry[index(from)].val);
            }
            if (entry.val != FLT_UNDEF || vVals.empty()) return;
            if (std::none_of(vVals.begin(), vVals.end(), [&](float val) { return val * vVals[0] < 0; }))
                mCarried[at] = vVals[0];
        });
        for (const auto& [at, val] : mCarried)
            vEntry[index(at)].val = val;
    }
    void grow(float sideLen) {
        std::map<At, MatrixEntry> mNew;
        forAll([&](const At& at, const MatrixEntry& entry) {
            double sum = 0.0, num = 0.0;
            for (const auto& [axis, step] : BY_ADDRESS) {
                if (entry.val != FLT_UNDEF || sFront.count(plus(at, axis, step)) == 0) continue;
                const MatrixEntry& from = vEntry[index(plus(at, axis, step))];
                if (from.val == 0 || from.weight == 0.3F) continue;
                const float val = from.val + (from.val > 0 ? sideLen : -sideLen);
                MatrixEntry& target = mNew.try_emplace(at, MatrixEntry{val, 0.0F}).first->second;
                if (std::fabs(val) < std::fabs(target.val)) target.val = val;
                sum += from.weight == 1.002F ? static_cast<float>(static_cast<double>(1.002F) * 0.97) : from.weight;
                target.weight = static_cast<float>(sum / (num += 1.0));
            }
        });
        sFront.clear();
        for (const auto& [at, entry] : mNew) {
            vEntry[index(at)] = entry;
            sFront.insert(at);
        }
    }
    void smooth(int numRounds) {
        for (int i = 0; i < numRounds; ++i) {
            std::vector<MatrixEntry> vAfter = vEntry;
            forAll([&](const At& at, const MatrixEntry& entry) {
                if (!isAssigned(at) || entry.weight == 0.3F || entry.weight == 1.002F || mCarried.count(at) != 0) return;
                double sum = static_cast<double>(entry.val * entry.weight), weights = entry.weight, num = 1.0;
                for (const auto& [axis, step] : BY_AXIS) {
                    if (!isAssigned(plus(at, axis, step))) continue;
                    const MatrixEntry& neig = vEntry[index(plus(at, axis, step))];
                    sum += static_cast<double>(neig.val * neig.weight);
                    weights += static_cast<double>(neig.weight);
                    num += 1.0;
                }
                auto weight = static_cast<float>(weights / num);
                if (weight == 0.3F || weight == 1.002F) weight = static_cast<float>(static_cast<double>(weight) * 0.9954);
                vAfter[index(at)] = {static_cast<float>(sum / weights), weight};
            });
            vEntry = vAfter;
        }
    }

    const Hole& hole;
    At size;
    std::vector<MatrixEntry> vEntry;
    std::set<At> sFront;           // the seeds, then the last ring
    std::map<At, float> mCarried;  // not seeded, and never smoothed
};

/// The first point that differs, as text; empty when all are the same bit by bit.
std::string firstDifference(const PlainField& plain, const Hole& hole) {
    std::ostringstream out;
    std::vector<int> vAddr;
    plain.forAll([&](const At& at, const MatrixEntry& entry) {
        const int address = hole.getAddress(at[0], at[1], at[2]);
        if (entry.val != FLT_UNDEF && plain.mCarried.count(at) == 0) vAddr.push_back(address);
        const MatrixEntry& other = hole.pArray[address];
        if (out.str().empty() && (entry.val != other.val || entry.weight != other.weight))
            out << "val " << entry.val << ", " << other.val << "; weight " << entry.weight << ", " << other.weight << " at "
                << at[0] << " " << at[1] << " " << at[2];
    });
    if (vAddr != sorted(hole.vAddr)) out << "; the addresses differ";
    return out.str();
}

/// The choice of triangles against sweeps over all of them.
void expectPlainTriangles(const Hole& hole) {
    const PlainField box(hole);
    const std::vector<CTriangle*> vAll = aliveT(*hole.pCMesh);
    std::set<CTriangle*> sReached, sBoundary, sUnreliable;
    for (CTriangle* pCT : vAll) {
        bool ok = false;
        const Vector3 normal = pCT->getRealNNV(hole.pCMesh, ok);
        const auto isOnChain = [&](const CEdge* pCE) { return pCT->has(pCE->v0) || pCT->has(pCE->v1); };
        if (std::any_of(hole.vCE.begin(), hole.vCE.end(), isOnChain)) sBoundary.insert(pCT);
        for (int i = 0; i < 3; ++i) {
            if (std::count(hole.vCE.begin(), hole.vCE.end(), pCT->getCEdge(i)) != 0) sReached.insert(pCT);
            CTriangle* pNeig = pCT->getCEdge(i)->getUniqueOtherTriangle(pCT);
            if (sBoundary.count(pCT) == 0 || pNeig == nullptr) continue;
            if (normal * pNeig->getRealNNV(hole.pCMesh, ok) < std::cos(10.0 * M_PI / 180.0))
                sUnreliable.insert({pCT, pNeig});
        }
    }
    for (std::size_t numBefore = 0; numBefore != sReached.size();) {
        numBefore = sReached.size();
        for (CTriangle* pCT : vAll)
            for (int i = 0; i < 3; ++i)
                if (sReached.count(pCT->getCEdge(i)->getUniqueOtherTriangle(pCT)) != 0 && box.has(box.inBox(pCT->c0), 1) &&
                    box.has(box.inBox(pCT->c1), 1) && box.has(box.inBox(pCT->c2), 1))
                    sReached.insert(pCT);
    }
    std::set<VCD> sRim;
    for (const CTriangle* pCT : sReached)
        for (int i = 0; i < 3; ++i) {
            const auto& vCT = pCT->getCEdge(i)->vCT;
            if (std::count_if(vCT.begin(), vCT.end(), [&](CTriangle* p) { return sReached.count(p) != 0; }) != 1) continue;
            for (const CTriangle* pAtRim : vCT)
                sRim.insert({pAtRim->c0, pAtRim->c1, pAtRim->c2});
        }
    EXPECT_EQ(hole.vT, std::vector<CTriangle*>(sReached.begin(), sReached.end()));
    EXPECT_EQ(hole.sRimVCD, sRim);
    EXPECT_EQ(hole.sBoundaryT, sBoundary);
    EXPECT_EQ(hole.sUnrelT, sUnreliable);
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
                          Case{{100, 60, 50}, {130, 110, 90}, 23, {93, 53, 43}, {45, 65, 55}},
                          Case{{100, 60, 50}, {120, 60, 64}, 10, {93, 53, 43}, {35, 15, 29}}}) {
        Triangle world(c.from, c.to, {c.from[0], c.to[1], c.to[2]});
        Hole hole(&world.mesh, world.pChain.get());
        hole.setRanges();
        EXPECT_EQ(hole.numGrowSteps, c.numGrowSteps);
        EXPECT_EQ(PlainField(hole).size, c.size);
        EXPECT_EQ(hole.arrSiz, c.size[0] * c.size[1] * c.size[2]);
        EXPECT_EQ(packRCD(hole.xLowExt, hole.yLowExt, hole.zLowExt), hole.addressToRCD(0));
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
        int x, y, z;
        expectFails("x<rgx", [&] { hole.getNormedIntFromVCD(hole.pCalc->rcd2ccd(beyond), x, y, z); });

        constexpr std::array<RCD, 3> STEPS = {RCD_STEP_X, RCD_STEP_Y, RCD_STEP_Z};
        for (const At& at : {At{5, 4, 3}, At{1, 2, 1}, At{2, 1, 1}})
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const std::size_t first = axis == 0 ? 1 : 0, second = axis == 2 ? 1 : 2;
                const RCD a = hole.addressToRCD(hole.getAddress(at[0], at[1], at[2]));
                VRCD vAround, vExpected = {a};
                if (at[first] > 1) vExpected.push_back(a - STEPS[first]);
                if (at[second] > 1) vExpected.push_back(a - STEPS[second]);
                if (vExpected.size() == 3) vExpected.push_back(a - STEPS[first] - STEPS[second]);
                hole.getCbsAroundEdge(a, a + STEPS[axis], at[0], at[1], at[2], static_cast<int>(axis), vAround);
                EXPECT_EQ(vAround, vExpected);
            }
    }
    Triangle large({100, 100, 100}, {1400, 1400, 1400}, {100, 1400, 100});
    expectFails("numEntries<=MAX_ENTRIES", [&] { Hole(&large.mesh, large.pChain.get()).setRanges(); });
}

TEST(Hole, fieldAgreesWithThePlainOne) {
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
        expectPlainTriangles(hole);
        hole.initializeFirstRow();
        PlainField plain(hole);
        for (CTriangle* pCT : hole.vT)
            plain.seed(pCT);
        for (const At& at : plain.sFront)
            ++mWeights[plain.vEntry[plain.index(at)].weight];
        plain.complete();
        numCarried += plain.mCarried.size();
        ASSERT_EQ(firstDifference(plain, hole), "") << "seeds";
        hole.inflate();
        hole.checkIntegrity("test");
        for (int i = 0; i < hole.numGrowSteps; ++i) {
            plain.grow(1.0F);
            plain.smooth(i >= 3 && i <= 10 ? 2 : 1);
        }
        plain.smooth(150);
        EXPECT_EQ(firstDifference(plain, hole), "");
    });
    EXPECT_EQ(mWeights.size(), 2U);
    EXPECT_GT(mWeights[0.3F], 100);
    EXPECT_GT(mWeights[1.002F], 1000);
    EXPECT_GT(numCarried, 100U);
}

TEST(Hole, keepsMeansOffTheMarksOfSeeds) {
    const CoutSilence silence;
    Triangle world({20, 20, 20}, {21, 20, 20}, {20, 21, 20});
    Hole hole(&world.mesh, world.pChain.get());
    hole.setRanges();
    hole.pArray = Matrix(hole.arrSiz);
    hole.pArray[1] = {1.0F, 0.2F};
    hole.pArray[2] = {-0.5F, 0.4F};
    std::vector<int> vAddresses = {1};
    hole.lowPassFor(vAddresses, 1, true);
    EXPECT_EQ(hole.pArray[1].val, std::numeric_limits<float>::min()) << "a mean of 0 gets a sign";
    EXPECT_EQ(hole.pArray[1].weight, static_cast<float>(static_cast<double>(0.3F) * 0.9954));
    hole.pArray[1] = {1.0F, 0.2F};
    vAddresses = {2, 1};
    hole.lowPassFor(vAddresses, 0, true);
    EXPECT_EQ(vAddresses, (std::vector<int>{1, 2}));
    hole.lowPassFor(vAddresses, 1, false);
    EXPECT_EQ(hole.pArray[1].val, 0.25F);
    EXPECT_EQ(hole.pArray[2].val, 0.25F);
    EXPECT_EQ(hole.pArray[2].weight, 1.0F);
    hole.pArray[1] = {0.5F, 0.8F};  // of equal offers the first one
    hole.pArray[2] = {};
    hole.pArray[3] = {-0.5F, 0.8F};
    std::vector<int> vNext;
    vAddresses = {3, 1};
    hole.inflateOneStep(0, vAddresses, vNext);
    EXPECT_EQ(hole.pArray[2].val, -1.5F);
    vNext.clear();
    hole.pArray[1] = {0.5F, 1.002F};  // two offers to the point between: the nearer value, the mean weight
    hole.pArray[2] = {};
    hole.pArray[3] = {-0.4F, 0.8F};
    vAddresses = {1, 3};
    hole.inflateOneStep(0, vAddresses, vNext);
    EXPECT_EQ(hole.pArray[2].val, -0.4F - 1.0F);
    EXPECT_NEAR(hole.pArray[2].weight, (1.002 * 0.97 + 0.8) / 2, 1e-7);
    expectFails("vNextAddr.empty()", [&] { hole.inflateOneStep(1, vAddresses, vNext); });
}

TEST(Hole, findsTheMissingCells) {
    forSeeds(24, [](unsigned seed) {
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
