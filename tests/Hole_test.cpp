// The field of a hole, bit by bit against a plain dense one that sees the triangles and nothing else; its box; and what its
// zeros are good for on punched scans.
#include "Hole.h"
#include "Visualizer3.h"
#include "support/prelude.h"
#include "support/punched_scan.h"

using namespace TARN_TEST;

namespace {

using At = std::array<int, 3>;

At plus(At at, std::size_t axis, int step) {
    at[axis] += step;
    return at;
}

/// A grid of entries; beyond its ends there is nothing.
class PlainField {
public:
    explicit PlainField(const Hole& theHole)
        : hole(theHole), size{hole.rgx, hole.rgy, hole.rgz}, vEntry(static_cast<std::size_t>(hole.arrSiz)) {}

    /// Null outside the box.
    MatrixEntry* find(const At& at) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (at[axis] < 0 || at[axis] >= size[axis]) return nullptr;
        return &vEntry[index(at)];
    }
    std::size_t index(const At& at) const { return static_cast<std::size_t>((at[2] * size[1] + at[1]) * size[0] + at[0]); }
    template <typename Visit>
    void forAll(const Visit& visit) {
        for (int z = 0; z < size[2]; ++z)
            for (int y = 0; y < size[1]; ++y)
                for (int x = 0; x < size[0]; ++x)
                    visit(At{x, y, z}, *find({x, y, z}));
    }
    At inBox(VCD vcd) const {
        unsigned long long x, y, z;
        hole.pCalc->extractIntCCD(vcd, x, y, z);
        return {static_cast<int>(x - hole.xLowExt), static_cast<int>(y - hole.yLowExt), static_cast<int>(z - hole.zLowExt)};
    }

    void seed(CTriangle* pCT) {
        bool ok = false;
        const Plane plane = pCT->getRealPlane(hole.pCMesh, ok);
        if (!ok) return;
        const std::array<At, 3> c = {inBox(pCT->c0), inBox(pCT->c1), inBox(pCT->c2)};
        // The lattice points that touch all three cells.
        At low{}, high{};
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
            const auto side = [&c](std::size_t i, std::size_t axis) {
                return (c[i][axis] > c[0][axis]) - (c[i][axis] < c[0][axis]);
            };
            At below = vAt[0], above = vAt[0];
            for (std::size_t k = 0; k < 3; ++k) {
                const std::size_t l = (k + 1) % 3, m = (k + 2) % 3;
                const int n = side(1, l) * side(2, m) - side(1, m) * side(2, l);
                below[k] -= n;
                above[k] += n;
            }
            vAt.insert(vAt.end(), {below, above});
        }
        for (const At& at : vAt) {
            MatrixEntry* pEntry = find(at);
            if (pEntry == nullptr) continue;
            const VCD vcd = cell(static_cast<unsigned>(at[0] + static_cast<int>(hole.xLowExt)),
                                 static_cast<unsigned>(at[1] + static_cast<int>(hole.yLowExt)),
                                 static_cast<unsigned>(at[2] + static_cast<int>(hole.zLowExt)));
            const double d = plane.signedDistance(hole.pCalc->getRefPoint(vcd));
            if (pEntry->val == FLT_UNDEF) pEntry->weight = hole.sUnrelT.count(pCT) != 0 ? 0.3F : 1.002F;
            if (pEntry->val == FLT_UNDEF || std::fabs(d) < std::fabs(pEntry->val)) pEntry->val = static_cast<float>(d);
        }
    }
    /// Values along the lattice edges of one cell.
    void complete() {
        std::set<At> sCells;
        for (const CTriangle* pCT : hole.vT)
            for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
                if (hole.sRimVCD.count(vcd) == 0) sCells.insert(inBox(vcd));
        std::map<std::pair<At, At>, int> mEdges;
        for (const At& c : sCells)
            for (std::size_t axis = 0; axis < 3; ++axis)
                for (int i = 0; i < 4; ++i) {
                    const At a = plus(plus(c, (axis + 1) % 3, i & 1), (axis + 2) % 3, i >> 1), b = plus(a, axis, 1);
                    if (find(a) != nullptr && find(b) != nullptr && find(c) != nullptr) ++mEdges[std::minmax(a, b)];
                }
        forAll([&](const At& at, const MatrixEntry& entry) {
            if (entry.val != FLT_UNDEF) return;
            std::vector<float> vVals;  // from above, then from below, by address
            for (const auto& [axis, step] : {std::pair(0U, 1), {1U, 1}, {2U, 1}, {2U, -1}, {1U, -1}, {0U, -1}}) {
                const At from = plus(at, axis, step);
                const auto it = mEdges.find(std::minmax(at, from));
                if (it != mEdges.end() && it->second == 1 && find(from)->val != FLT_UNDEF) vVals.push_back(find(from)->val);
            }
            const auto isOpposite = [&vVals](float val) { return val * vVals[0] < 0; };
            if (!vVals.empty() && std::none_of(vVals.begin(), vVals.end(), isOpposite)) mCarried[at] = vVals[0];
        });
        for (const auto& [at, val] : mCarried)
            *find(at) = {val, 1.0F};
    }
    void grow(float sideLen) {
        std::map<At, MatrixEntry> mNew;
        forAll([&](const At& at, const MatrixEntry& entry) {
            if (entry.val != FLT_UNDEF) return;
            double sum = 0.0, num = 0.0;
            // Sources come in ascending order.
            for (const auto& [axis, step] : {std::pair(2U, -1), {1U, -1}, {0U, -1}, {0U, 1}, {1U, 1}, {2U, 1}}) {
                const At from = plus(at, axis, step);
                const MatrixEntry* pFrom = find(from);
                if (pFrom == nullptr || pFrom->val == FLT_UNDEF || pFrom->val == 0 || pFrom->weight == 0.3F) continue;
                if (sFront.count(from) == 0) continue;
                const float val = pFrom->val + (pFrom->val > 0 ? sideLen : -sideLen);
                const auto [it, bFirst] = mNew.try_emplace(at, MatrixEntry{val, 0.0F});
                if (std::fabs(val) < std::fabs(it->second.val)) it->second.val = val;
                sum += pFrom->weight == 1.002F ? static_cast<float>(static_cast<double>(1.002F) * 0.97) : pFrom->weight;
                num += 1.0;
            }
            if (num > 0) mNew.at(at).weight = static_cast<float>(sum / num);
        });
        sFront.clear();
        for (const auto& [at, entry] : mNew) {
            *find(at) = entry;
            sFront.insert(at);
        }
    }
    void smooth(int numRounds) {
        for (int i = 0; i < numRounds; ++i) {
            std::vector<MatrixEntry> vAfter = vEntry;
            forAll([&](const At& at, const MatrixEntry& entry) {
                if (entry.val == FLT_UNDEF || entry.weight == 0.3F || entry.weight == 1.002F || mCarried.count(at) != 0)
                    return;
                double sum = static_cast<double>(entry.val * entry.weight), weights = entry.weight, num = 1.0;
                for (std::size_t axis = 0; axis < 3; ++axis)
                    for (const int step : {-1, 1}) {
                        const MatrixEntry* pNeig = find(plus(at, axis, step));
                        if (pNeig == nullptr || pNeig->val == FLT_UNDEF) continue;
                        sum += static_cast<double>(pNeig->val * pNeig->weight);
                        weights += static_cast<double>(pNeig->weight);
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
    std::set<At> sFront;           // the last ring
    std::map<At, float> mCarried;  // not seeded, and never smoothed
};

/// The first point that differs, as text; empty when all are the same bit by bit.
std::string firstDifference(PlainField& plain, const Hole& hole) {
    std::ostringstream out;
    std::vector<int> vAddr;
    plain.forAll([&](const At& at, const MatrixEntry& entry) {
        const int address = hole.getAddress(at[0], at[1], at[2]);
        if (entry.val != FLT_UNDEF && plain.mCarried.count(at) == 0) vAddr.push_back(address);
        const MatrixEntry& other = hole.pArray[static_cast<std::size_t>(address)];
        if (out.str().empty() && (entry.val != other.val || entry.weight != other.weight))
            out << "val " << entry.val << ", " << other.val << "; weight " << entry.weight << ", " << other.weight << " at "
                << at[0] << " " << at[1] << " " << at[2];
    });
    if (vAddr != sorted(hole.vAddr)) out << "; the addresses differ";
    return out.str();
}

/// A chain of three edges round one triangle on these cells.
class Triangle : public CoarseWorld {
public:
    Triangle(const std::array<At, 3>& corners, int numLevels = 10) {
        calc = Calc(0, 0, 0, std::ldexp(1.0, numLevels), std::ldexp(1.0, numLevels), std::ldexp(1.0, numLevels), numLevels);
        std::array<VCD, 3> c{};
        for (std::size_t i = 0; i < 3; ++i)
            c[i] = put(static_cast<unsigned>(corners[i][0]), static_cast<unsigned>(corners[i][1]),
                       static_cast<unsigned>(corners[i][2]));
        triangle(c[0], c[1], c[2]);
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
        Point3& p = *mesh.getVtx(ccd);
        p = p + Vector3(dx, dy, dz);
        mesh.pCalc->adaptPointToCCD(ccd, p);
    }
}

/// The other triangle on an edge that has just two; null otherwise. Looks at all triangles.
CTriangle* plainNeig(const std::vector<CTriangle*>& vAll, const CTriangle* pCT, int i) {
    VCD a, b;
    pCT->getEdgeCCDs(i, a, b);
    std::vector<CTriangle*> vOther;
    for (CTriangle* pOther : vAll)
        if (pOther != pCT && pOther->has(a, b)) vOther.push_back(pOther);
    return vOther.size() == 1 ? vOther[0] : nullptr;
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
        Triangle world({c.from, c.to, {c.from[0], c.to[1], c.to[2]}});
        Hole hole(&world.mesh, world.pChain.get());
        hole.setRanges();
        EXPECT_EQ(hole.numGrowSteps, c.numGrowSteps);
        EXPECT_EQ((At{static_cast<int>(hole.xLowExt), static_cast<int>(hole.yLowExt), static_cast<int>(hole.zLowExt)}),
                  c.low);
        EXPECT_EQ((At{hole.rgx, hole.rgy, hole.rgz}), c.size);
        EXPECT_EQ(hole.arrSiz, c.size[0] * c.size[1] * c.size[2]);
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
        // Cells round an edge, in order; none at the low side of the box.
        const auto around = [&](const At& at, int axis) {
            VRCD v;
            const RCD a = hole.addressToRCD(hole.getAddress(at[0], at[1], at[2]));
            hole.getCbsAroundEdge(a, a + std::array{RCD_STEP_X, RCD_STEP_Y, RCD_STEP_Z}[static_cast<std::size_t>(axis)],
                                  at[0], at[1], at[2], axis, v);
            for (RCD& rcd : v)
                rcd = a - rcd;
            return v;
        };
        constexpr RCD X = RCD_STEP_X, Y = RCD_STEP_Y, Z = RCD_STEP_Z;
        EXPECT_EQ(around({5, 4, 3}, 0), (VRCD{0, Y, Z, Y + Z}));
        EXPECT_EQ(around({5, 4, 3}, 1), (VRCD{0, X, Z, X + Z}));
        EXPECT_EQ(around({5, 4, 3}, 2), (VRCD{0, X, Y, X + Y}));
        EXPECT_EQ(around({1, 2, 1}, 2), (VRCD{0, Y}));
        EXPECT_EQ(around({2, 1, 1}, 0), (VRCD{0}));
    }
    Triangle large({At{100, 100, 100}, {1400, 1400, 1400}, {100, 1400, 100}}, 12);
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
        hole.initializeFirstRow();
        PlainField plain(hole);
        for (CTriangle* pCT : hole.vT)
            plain.seed(pCT);
        plain.forAll([&](const At& at, const MatrixEntry& entry) {
            if (entry.val != FLT_UNDEF) plain.sFront.insert(at);
            if (entry.val != FLT_UNDEF) ++mWeights[entry.weight];
        });
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

TEST(Hole, choosesTheTrianglesAsAPlainSearchDoes) {
    forSeeds(6, [](unsigned seed) {
        PunchedScan scan(seed % 2 == 0, seed, 4.0);
        const CoutSilence silence;
        Hole hole(scan.pMesh.get(), scan.pHoleChain);
        hole.setRanges();
        hole.determineTriangles();
        hole.setBoundaryAndUnrelT();
        PlainField plain(hole);
        const auto isInside = [&](const CTriangle* pCT) {
            for (const VCD vcd : {pCT->c0, pCT->c1, pCT->c2})
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    const At at = plain.inBox(vcd);
                    if (at[axis] < 1 || at[axis] > plain.size[axis] - 2) return false;
                }
            return true;
        };
        std::vector<CTriangle*> vNear;
        for (CTriangle* pCT : aliveT(*scan.pMesh))
            if ((scan.pMesh->getAvgPoint(pCT->c0) - scan.centre).length() < 40) vNear.push_back(pCT);
        std::set<CTriangle*> sReached, sUnreliable;
        std::set<VCD> sOnChain;
        std::vector<CTriangle*> vFront;
        for (const CEdge* pCE : hole.vCE) {
            vFront.insert(vFront.end(), pCE->vCT.begin(), pCE->vCT.end());
            sOnChain.insert({pCE->v0, pCE->v1});
        }
        sReached.insert(vFront.begin(), vFront.end());
        while (!vFront.empty()) {
            const CTriangle* pCT = vFront.back();
            vFront.pop_back();
            for (int i = 0; i < 3; ++i) {
                CTriangle* pNeig = plainNeig(vNear, pCT, i);
                if (pNeig != nullptr && isInside(pNeig) && sReached.insert(pNeig).second) vFront.push_back(pNeig);
            }
        }
        EXPECT_EQ(hole.vT, std::vector<CTriangle*>(sReached.begin(), sReached.end()));
        std::set<VCD> sRim;
        for (const CTriangle* pCT : sReached)
            for (int i = 0; i < 3; ++i) {
                VCD a, b;
                pCT->getEdgeCCDs(i, a, b);
                const auto isOnEdge = [a, b](const CTriangle* p) { return p->has(a, b); };
                if (std::count_if(sReached.begin(), sReached.end(), isOnEdge) != 1) continue;
                for (const CTriangle* pOnEdge : vNear)
                    if (isOnEdge(pOnEdge)) sRim.insert({pOnEdge->c0, pOnEdge->c1, pOnEdge->c2});
            }
        EXPECT_EQ(hole.sRimVCD, sRim);
        for (CTriangle* pCT : vNear) {
            const bool bOnChain = sOnChain.count(pCT->c0) + sOnChain.count(pCT->c1) + sOnChain.count(pCT->c2) != 0;
            EXPECT_EQ(hole.sBoundaryT.count(pCT), bOnChain ? 1U : 0U);
            bool ok = false, okNeig = false;
            for (int i = 0; i < 3 && bOnChain; ++i) {
                CTriangle* pNeig = plainNeig(vNear, pCT, i);
                if (pNeig == nullptr) continue;
                const double cosine = pCT->getRealNNV(scan.pMesh.get(), ok) * pNeig->getRealNNV(scan.pMesh.get(), okNeig);
                ASSERT_TRUE(ok && okNeig);
                if (cosine < std::cos(10.0 * M_PI / 180.0)) sUnreliable.insert({pCT, pNeig});
            }
        }
        EXPECT_EQ(hole.sUnrelT, sUnreliable);
    });
}

TEST(Hole, keepsMeansOffTheMarksOfSeeds) {
    const CoutSilence silence;
    Triangle world({At{20, 20, 20}, {21, 20, 20}, {20, 21, 20}});
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
    hole.pArray[1] = {0.5F, 1.002F};  // two offers to the point between: the nearer value, the mean weight
    hole.pArray[2] = {};
    hole.pArray[3] = {-0.4F, 0.8F};
    std::vector<int> vNext;
    vAddresses = {1, 3};
    hole.inflateOneStep(0, vAddresses, vNext);
    EXPECT_EQ(hole.pArray[2].val, -0.4F - 1.0F);
    EXPECT_NEAR(hole.pArray[2].weight, (1.002 * 0.97 + 0.8) / 2, 1e-7);
    expectFails("vNextAddr.empty()", [&] { hole.inflateOneStep(1, vAddresses, vNext); });
}

TEST(Hole, findsTheMissingCells) {
    forSeeds(24, [](unsigned seed) {
        PunchedScan scan(seed % 2 == 0, seed);
        ASSERT_NE(scan.pHoleChain, nullptr);
        const CoutSilence silence;
        Hole hole(scan.pMesh.get(), scan.pHoleChain);
        hole.makeField();
        const auto vZeros = hole.getZeroCbs();
        std::vector<Point3> vVtx;
        for (const CCD ccd : listOf<CCD>([&](auto& v) { scan.pMesh->getUsedCCD(v); }))
            vVtx.push_back(scan.pMesh->getAvgPoint(ccd));
        for (const auto& [ccd, point] : vZeros) {
            EXPECT_TRUE(hole.pCalc->isInCell(&point, ccd));
            EXPECT_TRUE(incidentT(*scan.pMesh, ccd).empty());
            EXPECT_LT(std::fabs(scan.distance(point)), 1.5);
            vVtx.push_back(point);
        }
        // Wherever the surface was, there is a vertex again.
        Scan chance(seed);
        double farthest = 0.0;
        for (const Point3& offset : scaled(chance.dust(300), 8.0)) {
            Point3 p = scan.centre + (offset - Point3(4, 4, 4));
            for (int i = 0; i < 3; ++i) {
                const double d = scan.distance(p), step = 1e-6;
                const Vector3 gradient(scan.distance(p + Vector3(step, 0, 0)) - d,
                                       scan.distance(p + Vector3(0, step, 0)) - d,
                                       scan.distance(p + Vector3(0, 0, step)) - d);
                p = p - gradient * (d / step);
            }
            double nearest = INF;
            for (const Point3& vtx : vVtx)
                nearest = std::min(nearest, (vtx - p).length());
            farthest = std::max(farthest, nearest);
        }
        EXPECT_LT(farthest, seed % 2 == 0 ? 1.6 : 1.2) << "a membrane is flatter than the sphere";
    });
}
