// The passes of the repair at their limits, against slow ones on wild meshes, and the whole sequences.
#include "Top.h"

#include <bit>

#include "CMesh.h"
#include "CPatch.h"
#include "support/coarse.h"
#include "support/extraction.h"
#include "support/hash.h"
#include "support/prelude.h"
#include "support/run.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

using Triangles = std::vector<CTriangle*>;
using Edges = std::vector<CEdge*>;

/// Random cells extracted, with points that often lie on one line or plane, and what repairs the mesh.
struct Wild {
    explicit Wild(unsigned seed, int num = 7)
        : world(randomCells(num, 0.2 + 0.02 * (seed % 20), seed)), top(&world.mesh(), &world.calc) {
        world.withScatteredPoints(seed, 2);
    }
    Extraction world;
    Top top;
};

/// The passes report to a run, and say much.
struct TopPasses : SilentTest, OpenRun {};

}  // namespace

TEST_F(TopPasses, aNewTriangleWithoutAreaIsTreatedAtOnce) {
    CoarseWorld world;  // a square with the diagonals p-q and r-s; p lies on the line from r to s
    const VCD p = world.put(cell(17, 17, 16), {17.75, 17.75, 16.5}), q = world.put(cell(18, 18, 16), {18.75, 18.75, 16.5}),
              r = world.put(cell(18, 17, 16), {18.25, 17.25, 16.5}), s = world.put(cell(17, 18, 16), {17.25, 18.25, 16.5});
    for (const VCD tip : {r, s})
        world.triangle(p, q, tip);
    for (const unsigned x : {17U, 18U})
        world.triangle(r, s, world.put(x, 18, 17));
    Top(&world.mesh, &world.calc).unifyDiagonals();
    EXPECT_EQ(std::pair(world.mesh.getEdge(p, q)->getDegree(), world.mesh.getEdge(r, s)->getDegree()), std::pair(2, 0));
    EXPECT_EQ(numAlive(world.mesh), 6U) << "the three other triangles on r-s are cut at p";
}

// ---- Borders

TEST_F(TopPasses, bordersAreListedAndHangingTrianglesGo) {
    forSeeds(40, [](unsigned seed) {
        Wild wild(seed);
        Edges vExpected = edges(wild.world.mesh(), 1), vBorderCE;
        wild.top.getBordersKillDeg1nn(vBorderCE);
        std::erase_if(vExpected, [](const CEdge* pCE) { return pCE->getDegree() != 1; });
        EXPECT_EQ(vBorderCE, vExpected) << "what is still a border of those that were";
    });
    CoarseWorld world;
    const VCD a = world.put(16, 16, 16), b = world.put(17, 16, 16), tip = world.put(16, 17, 16);
    CTriangle* pHangingT = world.triangle(a, b, tip);
    for (const unsigned z : {18U, 19U})
        world.triangle(a, tip, world.put(16, 16, z)), world.triangle(b, tip, world.put(16, 16, z));
    Edges vBorderCE;
    Top(&world.mesh, &world.calc).getBordersKillDeg1nn(vBorderCE);
    EXPECT_TRUE(!pHangingT->isAlive() && numAlive(world.mesh) == 4);
    EXPECT_EQ(vBorderCE, edges(world.mesh, 1)) << "the MEs became manifold, no border is new";
}

// ---- Extracting again

TEST_F(TopPasses, extractingAgainLeavesWhatNeedsNothing) {
    Extraction sphere(sphereShell(6));
    const auto before = sphere.triangles();
    Top(&sphere.mesh(), &sphere.calc).cbsComplete(sphere.pVoro.get());
    EXPECT_EQ(sphere.triangles(), before) << "no border, no edge of degree 4";
    Top top(&sphere.mesh(), &sphere.calc);
    const std::string text = outputOf([&] { sphere.pVoro->thinNewExtractTriangles(); });
    top.cbsComplete(sphere.pVoro.get());
    EXPECT_EQ(top.pCMesh, &sphere.mesh()) << "the mesh that its maker has by now";
    EXPECT_EQ(sphere.triangles(), before) << text;
}

// ---- Vertices

TEST_F(TopPasses, verticesAtOnePlaceAreMovedApart) {
    CoarseWorld world;
    const auto run = [&world] { return outputOf([&] { Top(&world.mesh, &world.calc).oneCoordTriplePerCCD(); }); };
    const Point3 p(20.5, 20.5, 20.5);
    std::set<Point3> sPlace;
    for (unsigned x = 0; x < 50; ++x)
        world.put(cell(x, 5, 5), p);
    world.put(cell(71, 5, 5), Point3(20.5, std::nan(""), 20.5));  // nowhere, and in no one's way
    EXPECT_EQ(countIn(run(), "WARNING"), 0);
    for (unsigned x = 0; x < 50; ++x) {
        EXPECT_LT((*world.mesh.getVtx(cell(x, 5, 5)) - p).getMaxAbsComponent(), 0.01);
        sPlace.insert(*world.mesh.getVtx(cell(x, 5, 5)));
    }
    EXPECT_EQ(sPlace.size(), 50U);
    EXPECT_EQ(*world.mesh.getVtx(cell(0, 5, 5)), p) << "the first one keeps its place";
    for (unsigned x = 0; x < 2; ++x)  // a step is less than the last digit of these
        world.put(cell(x, 6, 6), Point3(1e18, 1e18, 1e18));
    EXPECT_EQ(countIn(run(), "WARNING"), 1);
}

// ---- Beside the sequences

TEST_F(TopPasses, thePassesBesideTheSequences) {
    Sheet sheet(4, 4);
    sheet.withFin(1, 1).withFin(2, 2);
    std::vector<CPatch*> vPatches = cut(sheet.mesh);
    Top top(&sheet.mesh, &sheet.calc);
    EXPECT_EQ(top.removeTinyBorderPatches(vPatches), 2) << "the fins: two border edges, one ME, one triangle";
    EXPECT_EQ(numAlive(sheet.mesh), 32U);

    Triangles vFin;  // on an edge with one more triangle, which has no other border; two must go
    for (const double height : {0.75, 0.25, 0.5})
        vFin.push_back(sheet.triangle(
            sheet.at(0, 0), sheet.at(1, 0),
            sheet.put(cell(9, 9, 100 - static_cast<unsigned>(vFin.size())), Point3(16.5, 16.5, 16.5 + height))));
    top.removeBorderTrianglesAtME();
    EXPECT_TRUE(vFin[0]->isAlive() && !vFin[1]->isAlive() && !vFin[2]->isAlive()) << "the two smaller ones";
    EXPECT_EQ(numAlive(sheet.mesh), 33U);
}

// ---- The sequences

TEST_F(TopPasses, sequencesLeaveWhatTheyLeftBefore) {
    struct Sequence {
        void (Top::*finalize)(Voro*);
        std::uint64_t hash;  ///< a failure prints the new one
    };
    for (const auto& [finalize, hash] : {Sequence{&Top::finalizeReconstructedMesh, 10555288696033145420U},
                                         {&Top::finalizeHoleMesh, 10555288696033145420U},
                                         {&Top::finalizeOneMelted, 2791046756526866432U}}) {
        std::vector<VCD> vNumbers;
        forSeeds(40, [&, finalize = finalize](unsigned seed) {
            Wild wild(seed, 7 + seed % 4);
            (wild.top.*finalize)(wild.world.pVoro.get());
            EXPECT_EQ(firstFault(wild.world.mesh()), "");
            EXPECT_EQ(wild.world.mesh().sExtraVtx.size(), wild.world.mesh().vExtraBundles.size());
            for (const auto& [a, b, c, key, config] : wild.world.triangles())
                vNumbers.insert(vNumbers.end(), {a, b, c, key, static_cast<VCD>(config)});
            for (const auto& [ccd, pBundle] : wild.world.mBundle)
                for (const double d : {pBundle->pVtx->x(), pBundle->pVtx->y(), pBundle->pVtx->z()})
                    vNumbers.push_back(std::bit_cast<VCD>(d));
        });
        EXPECT_EQ(hashOf(vNumbers), hash);
    }
}
