// The passes of the repair at their limits, against slow ones on wild meshes, and the whole sequences.
#include "Top.h"

#include <bit>

#include "CMesh.h"
#include "CPatch.h"
#include "support/coarse.h"
#include "support/extraction.h"
#include "support/figures.h"
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
struct TopPasses : ::testing::Test, OpenRun {
    CoutSilence silence;
};

/// A strip of numT triangles with numBorder border edges; each other edge of its rim is an ME by a tetrahedron on it.
struct Strip : CoarseWorld {
    Strip(int numT, int numBorder) {
        const auto at = [this](int i) {
            return put(16 + static_cast<unsigned>(i) / 2, 16 + static_cast<unsigned>(i) % 2, 16);
        };
        for (int i = 0; i < numT; ++i)
            vStripT.push_back(triangle(at(i), at(i + 1), at(i + 2)));
        unsigned z = 20;
        Edges vRim = edges(mesh, 1);
        for (auto it = vRim.begin() + numBorder; it != vRim.end(); ++it, ++z) {
            const VCD a = (*it)->v0, b = (*it)->v1, c = put(16, 16, z), d = put(17, 16, z);
            triangle(a, b, c), triangle(a, b, d), triangle(a, c, d), triangle(b, c, d);
        }
    }
    Triangles vStripT;
};

/// A square of cells across an axis with the corners p, q on one diagonal and r, s on the other, r moved up by lift, and a
/// cell far from it. Triangles are named by the letters of their corners.
struct Square : CoarseWorld {
    explicit Square(std::size_t axis, const std::string& triangles = "", unsigned lift = 0) {
        const auto at = [&](unsigned i, unsigned j, unsigned up) {
            std::array<unsigned, 3> xyz{};
            xyz[axis] = 16 + up, xyz[(axis + 1) % 3] = 17 + i, xyz[(axis + 2) % 3] = 17 + j;
            return put(xyz[0], xyz[1], xyz[2]);
        };
        p = at(0, 0, 0), q = at(1, 1, 0), r = at(1, 0, lift), s = at(0, 1, 0);
        std::map<char, VCD> mCorner{{'p', p}, {'q', q}, {'r', r}, {'s', s}, {'*', put(60, 60, 60)}};
        for (std::size_t i = 0; i < triangles.size(); i += 4)
            triangle(mCorner[triangles[i]], mCorner[triangles[i + 1]], mCorner[triangles[i + 2]]);
    }
    void unifyAndExpect(int numPQ, int numRS, const std::string& name) {
        const auto degree = [this](VCD a, VCD b) {
            return mesh.getEdge(a, b) == nullptr ? 0 : mesh.getEdge(a, b)->getDegree();
        };
        Top(&mesh, &calc).unifyDiagonals();
        EXPECT_EQ(std::pair(degree(p, q), degree(r, s)), std::pair(numPQ, numRS)) << name;
        EXPECT_EQ(firstFault(mesh), "") << name;
    }
    VCD p, q, r, s;
};

}  // namespace

// ---- Diagonals and flat triangles

TEST_F(TopPasses, aSquareKeepsOneDiagonal) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Square one(axis, "pqr qps"), other(axis, "pqr rsp srq"), both(axis, "rsp rsq pqr pqs pq*");
        one.unifyAndExpect(2, 0, "one diagonal");
        one.triangle(one.r, one.s, one.p), one.triangle(one.s, one.r, one.q);
        one.unifyAndExpect(2, 0, "each gives way when its turn comes, and p-q, the first, is made again");
        other.mesh.vAllCT[0]->kill(&other.mesh);
        other.unifyAndExpect(2, 0, "the other one is left over");
        both.unifyAndExpect(3, 0, "the other one has its triangles");
        Square(axis, "pqr pqr rs*").unifyAndExpect(2, 1, "two triangles on the same corners");
        Square(axis, "pqr pqs rs*", 1).unifyAndExpect(2, 1, "not in one plane");
    }
}

TEST_F(TopPasses, aNewTriangleWithoutAreaIsTreatedAtOnce) {
    Square square(2, "pqr pqs");  // p lies on the line from r to s
    square.put(square.p, Point3(17.75, 17.75, 16.5)), square.put(square.q, Point3(18.75, 18.75, 16.5));
    square.put(square.r, Point3(18.25, 17.25, 16.5)), square.put(square.s, Point3(17.25, 18.25, 16.5));
    for (const unsigned x : {17U, 18U})
        square.triangle(square.r, square.s, square.put(x, 18, 17));
    square.unifyAndExpect(2, 0, "the three other triangles on r-s are cut at p");
    EXPECT_EQ(numAlive(square.mesh), 6U);
}

// ---- Borders

TEST_F(TopPasses, piecesGoByTheirBorder) {
    // Triangles, border edges, limit, whether the piece stays.
    const int aCases[][4] = {{10, 3, 9, 1},  {10, 3, 10, 0}, {30, 6, 40, 1}, {30, 7, 40, 0}, {24, 2, 40, 0},
                             {25, 2, 40, 1}, {24, 1, 40, 1}, {6, 1, 40, 0},  {7, 1, 40, 1}};
    for (const auto& [numT, numBorder, maxNumT, bStays] : aCases) {
        Strip strip(numT, numBorder);
        const std::size_t numBefore = numAlive(strip.mesh);
        Top(&strip.mesh, &strip.calc).killTinyBorderPatches(maxNumT);
        EXPECT_EQ(strip.vStripT[0]->isAlive(), bStays == 1) << numT << ", " << numBorder << ", limit " << maxNumT;
        EXPECT_EQ(numAlive(strip.mesh), numBefore - (bStays == 1 ? 0 : strip.vStripT.size())) << "all or none, nothing else";
    }
}

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

TEST_F(TopPasses, earsAreFoldedIn) {
    const auto integrateAll = [](CoarseWorld& world) {
        for (CEdge* pCE : edges(world.mesh, 1))
            Top(&world.mesh, &world.calc).integrateCCD(pCE);
    };
    Sheet plain(3, 3), withEar(3, 3), withSteepEar(3, 3);
    integrateAll(plain);
    EXPECT_EQ(numAlive(plain.mesh), 18U) << "its ears hang on manifold edges";
    withEar.withFin(1, 1);
    withEar.put(cell(17, 17, 17), Point3(18.1, 17.6, 17.0));  // above the edge, so the halves hardly turn
    integrateAll(withEar);
    EXPECT_EQ(numAlive(withEar.mesh), 20U) << "both neighbours in two, the ear is gone";
    EXPECT_TRUE(edges(withEar.mesh, 3).empty());
    withSteepEar.withFin(1, 1);
    withSteepEar.put(cell(17, 17, 17), Point3(18.0, 30.0, 17.0));  // one neighbour would be turned over
    integrateAll(withSteepEar);
    EXPECT_EQ(numAlive(withSteepEar.mesh), 18U) << "the ear is gone, and nothing else has changed";
}

// ---- Extracting again

TEST_F(TopPasses, extractingAgainMendsBordersAndCrossings) {
    std::size_t numBefore = 0, numAfter = 0;
    forSeeds(40, [&](unsigned seed) {
        Wild wild(seed);
        Edges vBorderCE;
        wild.top.getBordersKillDeg1nn(vBorderCE);
        numBefore += edges(wild.world.mesh(), -5).size();
        wild.top.cbsComplete(wild.world.pVoro.get());
        wild.top.getBordersKillDeg1nn(vBorderCE);
        numAfter += edges(wild.world.mesh(), -5).size();
        EXPECT_EQ(firstFault(wild.world.mesh()), "");
    });
    EXPECT_EQ(std::pair(numBefore, numAfter), std::pair(std::size_t{5387}, std::size_t{4436})) << "as it was";
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
            for (const auto& [a, b, c, key, config] : wild.world.triangles())
                vNumbers.insert(vNumbers.end(), {a, b, c, key, static_cast<VCD>(config)});
            for (const auto& [ccd, pBundle] : wild.world.mBundle)
                for (const double d : {pBundle->pVtx->x(), pBundle->pVtx->y(), pBundle->pVtx->z()})
                    vNumbers.push_back(std::bit_cast<VCD>(d));
        });
        EXPECT_EQ(hashOf(vNumbers), hash);
    }
}

TEST_F(TopPasses, aSphereWithASpurAndADoubleComesOutClean) {
    VCCD vCells = sphereShell(8);
    for (int i = 0; i < 2; ++i)  // two cells thick at the pole, and a spur at the side
        for (int j = 0; j < 2; ++j)
            vCells.push_back(cellAt(1007 + i, 1007 + j, 1016));
    vCells.push_back(cellAt(1016, 1008, 1008)), vCells.push_back(cellAt(1017, 1008, 1008));
    std::sort(vCells.begin(), vCells.end());
    vCells.erase(std::unique(vCells.begin(), vCells.end()), vCells.end());
    Extraction world(vCells);
    Top top(&world.mesh(), &world.calc);
    top.finalizeReconstructedMesh(world.pVoro.get());
    EXPECT_EQ(figuresOf(world.mesh()), (Figures{0, 0, 0, 2, 0}));
}
