// The field of a hole: its box, what it starts from, that it tells the sides of the surface and is smoothed by means; and
// what its zeros and the triangles over them are good for on punched scans.
#include "Hole.h"

#include "ChainMgr.h"
#include "CloudMgr.h"
#include "Hal.h"
#include "freeFunctions.h"
#include "support/coarse.h"
#include "support/figures.h"
#include "support/points.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_TEST;

namespace {

using At = std::array<int, 3>;

/// The coarse mesh of a scan with a ball of points missing, on cells of edge 1: a sphere of radius 20 or a plate of edge 40,
/// which lies in the grid askew.
class PunchedScan {
public:
    PunchedScan(bool bSphere, unsigned seed, double maxRadius = 9.0) {
        Scan scan(seed);
        const auto chance = [&scan] { return scan.uniform(-1.0, 1.0); };
        const double nx = chance(), ny = chance(), nz = chance();
        const Vector3 normal = normalize(Vector3(nx, ny, nz));
        const double radius = scan.uniform(2.0, maxRadius);
        std::vector<Point3> vPoints;
        if (bSphere) {
            vPoints = scaled(scan.sphere(20000), 20.0);
            centre = Point3() + normal * 20.0;
            distance = [](const Point3& p) { return (p - Point3()).length() - 20.0; };
        } else {
            const Vector3 u = normalize(crossProduct(normal, Vector3(0.3, 0.5, 0.7))), v = crossProduct(normal, u);
            for (const Point3& p : scaled(scan.plane(8000), 40.0))
                vPoints.push_back(Point3() + u * (p.x() - 20.0) + v * (p.y() - 20.0));
            distance = [normal](const Point3& p) { return (p - Point3()) * normal; };
        }
        const auto itMissing = std::stable_partition(vPoints.begin(), vPoints.end(),
                                                     [&](const Point3& p) { return (p - centre).length() >= radius; });
        vMissing.assign(itMissing, vPoints.end());
        vPoints.erase(itMissing, vPoints.end());
        const CoutSilence silence;
        const OpenRun run;
        CloudMgr cloudMgr;
        cloudMgr.setInputPoints(vPoints, 1.0, 1.0, false, 361.0, false, nullptr, -1);
        pMesh.reset(Hal(&cloudMgr).reconstructInHole());
        pChainMgr = std::make_unique<ChainMgr>(pMesh.get(), byEnds(edges(*pMesh, 1)), true);
        for (Chain* pChain : pChainMgr->vChains)
            if (!pChain->empty() && pChain->isClosed() && (pMesh->getAvgPoint(pChain->left) - centre).length() < radius + 4)
                pHoleChain = pChain;
    }

    std::unique_ptr<CMesh> pMesh;
    std::unique_ptr<ChainMgr> pChainMgr;
    Chain* pHoleChain = nullptr;  ///< around the missing points
    Point3 centre;                ///< of the missing points
    std::vector<Point3> vMissing;
    std::function<double(const Point3&)> distance;  ///< to the true surface, signed
};

Point3 pointOf(const Hole& hole, int address) {
    return hole.pCalc->getRefPoint(hole.pCalc->rcd2ccd(hole.addressToRCD(address)));
}
/// The triangles at the chain with a neighbour that turns by more than 10 degrees, and these neighbours.
std::set<CTriangle*> creasedAtChain(const Hole& hole) {
    std::set<CTriangle*> sCreased;
    for (CTriangle* pCT : aliveT(*hole.pCMesh)) {
        const auto isOnChain = [&](const CEdge* pCE) { return pCT->has(pCE->v0) || pCT->has(pCE->v1); };
        for (int i = 0; i < 3 && std::ranges::any_of(hole.vCE, isOnChain); ++i) {
            bool ok = false;
            CTriangle* pNeig = pCT->getCEdge(i)->getUniqueOtherTriangle(pCT);
            if (pNeig != nullptr &&
                getAngleDegree(pCT->getRealNNV(hole.pCMesh, ok), pNeig->getRealNNV(hole.pCMesh, ok)) > 10.0)
                sCreased.insert({pCT, pNeig});
        }
    }
    return sCreased;
}

/// A chain of three edges around one triangle on these cells of a grid of 4096^3.
class Triangle : public CoarseWorld {
public:
    Triangle(const At& a, const At& b, const At& c) {
        calc = Calc(0, 0, 0, 4096, 4096, 4096, 12);
        const auto at = [this](const At& p) {
            return put(static_cast<unsigned>(p[0]), static_cast<unsigned>(p[1]), static_cast<unsigned>(p[2]));
        };
        triangle(at(a), at(b), at(c));
        EdgesByEnd mm = byEnds(edges(mesh, 1));
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
    Triangle world({5, 8, 70}, {9, 44, 110}, {5, 44, 110});
    Hole hole(&world.mesh, world.pChain.get());
    hole.setRanges();
    EXPECT_EQ(hole.numGrowSteps, 21);
    EXPECT_EQ((At{hole.rgx, hole.rgy, hole.rgz}), (At{17, 51, 55}));
    EXPECT_EQ(hole.addressToRCD(0), packRCD(0, 1, 63));
    for (int address = 0; address < hole.arrSiz; ++address) {
        const RCD rcd = hole.addressToRCD(address);
        ASSERT_TRUE(hole.getAddress(rcd) == address && hole.getAddressFromVCD(hole.pCalc->rcd2ccd(rcd)) == address);
    }
    const RCD beyond = hole.addressToRCD(hole.arrSiz - 1) + RCD_STEP_X;
    EXPECT_EQ(hole.getAddressFromVCD(hole.pCalc->rcd2ccd(beyond)), -1);
    Triangle large({100, 100, 100}, {1400, 1400, 1400}, {100, 1400, 100});
    expectFails("numEntries<=MAX_ENTRIES", [&] { Hole(&large.mesh, large.pChain.get()).setRanges(); });
}

TEST(Hole, fieldStartsAtTheTrianglesAndTellsTheSides) {
    forSeeds(8, [&](unsigned seed) {
        PunchedScan scan(seed % 2 == 0, seed, 4.0);
        ASSERT_NE(scan.pHoleChain, nullptr);
        if (seed % 4 < 2) crease(*scan.pMesh, seed);
        const CoutSilence silence;
        Hole hole(scan.pMesh.get(), scan.pHoleChain);
        hole.setRanges();
        hole.determineTriangles();
        hole.setBoundaryAndUnrelT();
        EXPECT_EQ(hole.sUnrelT, creasedAtChain(hole));
        EXPECT_GT(hole.vT.size(), 2 * hole.vCE.size());
        hole.initializeFirstRow();
        std::map<int, float> mFirst;
        for (int address = 0; address < hole.arrSiz; ++address)
            if (hole.pArray[address].val != FLT_UNDEF) mFirst[address] = hole.pArray[address].val;
        const std::size_t numSeeds = hole.vAddr.size();
        for (const int address : hole.vAddr)
            EXPECT_LT(std::fabs(std::fabs(mFirst[address]) - std::fabs(scan.distance(pointOf(hole, address)))), 0.9);
        hole.inflate();
        hole.checkIntegrity("test");
        for (const auto& [address, val] : mFirst)
            EXPECT_EQ(hole.pArray[address].val, val) << "seeds and what was carried from them stay";
        std::array<int, 2> numSame{};
        for (const int address : hole.vAddr)
            if (const double d = scan.distance(pointOf(hole, address)); std::fabs(d) > 1.5)
                ++numSame[(d > 0) == (hole.pArray[address].val > 0)];
        EXPECT_GT(std::max(numSame[0], numSame[1]), 100 * std::min(numSame[0], numSame[1])) << "one side is positive";
        EXPECT_GT(hole.vAddr.size(), 3 * numSeeds);
    });
}

TEST(Hole, growsByASideAndSmoothsToMeans) {
    const CoutSilence silence;
    Triangle world({20, 20, 20}, {21, 20, 20}, {20, 21, 20});
    Hole hole(&world.mesh, world.pChain.get());
    hole.setRanges();
    hole.pArray = Matrix(hole.arrSiz);
    // Two offers to the point between: the nearer value, of equal ones the first; the mean weight.
    std::vector<int> vAddresses, vNext;
    for (const auto& [val, weight, expected] : {std::tuple(-0.5F, 1.002F, -1.5F), {-0.4F, 0.8F, -1.4F}}) {
        hole.pArray[1] = {0.5F, 1.002F}, hole.pArray[2] = {}, hole.pArray[3] = {val, weight};
        vAddresses = val == -0.5F ? std::vector{3, 1} : std::vector{1, 3};
        vNext.clear();
        hole.inflateOneStep(0, vAddresses, vNext);
        EXPECT_FLOAT_EQ(hole.pArray[2].val, expected);
        EXPECT_NEAR(hole.pArray[2].weight, (0.97 * 1.002 + (weight == 0.8F ? 0.8 : 0.97 * 1.002)) / 2, 1e-7);
    }
    hole.pArray = Matrix(hole.arrSiz);  // three in a row, one without weight for it, a seed at the end
    hole.pArray[1] = {1.0F, 0.2F}, hole.pArray[2] = {-0.5F, 0.4F}, hole.pArray[3] = {-1.0F, 1.002F};
    vAddresses = {3, 1};
    hole.lowPassFor(vAddresses, 1, true);
    EXPECT_EQ(hole.pArray[1].val, std::numeric_limits<float>::min()) << "a mean of 0 gets a sign";
    EXPECT_EQ(hole.pArray[3].val, -1.0F);
}

TEST(Hole, bothRoadsToTrianglesCloseHolesOfScans) {
    double numChainEdges = 0, numBorder = 0, numME = 0;
    for (const bool bSphere : {false, true})
        forSeeds(6, [&](unsigned seed) {
            const CoutSilence silence;
            std::unique_ptr<CMesh> pOwnMesh;
            Hole::VCCDPoint vCCDPoints;
            std::size_t size = 0;
            {
                PunchedScan scan(bSphere, seed);
                Hole hole(scan.pMesh.get(), scan.pHoleChain);
                hole.makeField(2);
                size = hole.vCE.size();
                VCCD vHoleCCDs;
                hole.extractAndCleanHole(vHoleCCDs, vCCDPoints);
                pOwnMesh.reset(hole.createCMesh(vCCDPoints));
                for (const auto& [ccd, point] : vCCDPoints) {
                    EXPECT_TRUE(hole.pCalc->isInCell(&point, ccd) && incidentT(*scan.pMesh, ccd).empty());
                    EXPECT_LT(std::fabs(scan.distance(point)), 2.2) << "a cap of radius 9 is 2.14 high";
                }
                const Figures before = figuresOf(*scan.pMesh);
                const std::vector<CTriangle*> vOldT = aliveT(*scan.pMesh);
                hole.grow();
                EXPECT_EQ(firstFault(*scan.pMesh), "");
                std::set<Point3> places;
                for (const Point3* p : listOf<Point3*>([&](auto& v) { scan.pMesh->getPoints(v); }))
                    places.insert(*p);
                const auto numThere = std::count_if(vCCDPoints.begin(), vCCDPoints.end(), [&](const auto& cellPoint) {
                    return places.contains(cellPoint.second);
                });
                EXPECT_GT(10 * numThere, 9 * static_cast<std::ptrdiff_t>(vCCDPoints.size()));
                EXPECT_TRUE(std::all_of(vOldT.begin(), vOldT.end(), [](auto* pCT) { return pCT->isAlive(); }));
                const Figures after = figuresOf(*scan.pMesh);
                EXPECT_EQ(after.numDoubles, before.numDoubles);
                numChainEdges += static_cast<double>(size);
                numBorder += static_cast<double>(size) + after.numBorder - before.numBorder;
                numME += after.numME - before.numME;
            }
            // The separate mesh is a disc over all new cells, or the repair took it for a scrap. It has outlived the scan.
            ASSERT_NE(pOwnMesh, nullptr);
            EXPECT_TRUE(pOwnMesh->checkCCD("own"));
            if (size < 30 && numAlive(*pOwnMesh) == 0) return;
            const Figures f = figuresOf(*pOwnMesh);
            EXPECT_EQ(std::tuple(f.numME, f.numConflicts, f.euler, f.numDoubles), std::tuple(0, 0, 1, 0));
            const auto vPoint = listOf<Point3*>([&](auto& v) { pOwnMesh->getPoints(v); });
            for (const auto& cellPoint : vCCDPoints) {
                const auto isNear = [&](const Point3* p) { return (*p - cellPoint.second).length() < 1.5; };
                EXPECT_TRUE(std::any_of(vPoint.begin(), vPoint.end(), isNear));
            }
        });
    // What grow leaves are gaps of three edges and some more along the chain.
    EXPECT_LT(numBorder, 0.25 * numChainEdges);
    EXPECT_LT(numME, 0.25 * numChainEdges);
}
