// Ears: single corners by table, planar polygons, and closed surfaces from which a disc was taken.

#include "Loop.h"
#include "AngleEntry.h"
#include "fillChain.h"
#include "freeFunctions.h"
#include "support/coarse_soup.h"
#include "support/figures.h"
#include "support/holes.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// A flat ring of triangles around a polygon, seen from its normals with the polygon on the left of each edge i -> i + 1;
/// half of them the other way round. The polygon must be star-shaped from the origin. Its plane is turned into space.
class PolygonRing {
public:
    PolygonRing(const std::vector<std::array<double, 2>>& vPlane, unsigned seed) {
        Random random(seed);
        const auto chance = [&random] { return random.next() / 2147483647.0 - 0.5; };
        const Vector3 u = normalize(Vector3(chance(), chance(), 1.0));
        const Vector3 v = normalize(crossProduct(u, Vector3(chance(), 1.0, chance())));
        Soup soup;
        for (const double scale : {1.0, 1.5})
            for (const auto& [x, y] : vPlane)
                soup.vVtx.push_back(Point3(3, 4, 5) + u * (scale * x) + v * (scale * y));
        const int n = static_cast<int>(vPlane.size());
        for (int i = 0; i < n; ++i) {
            const int i1 = (i + 1) % n;
            soup.vT.push_back({i1, i, n + i});
            soup.vT.push_back({i1, n + i, n + i1});
        }
        pWorld = std::make_unique<CoarsePlaces>(soup);
        for (CTriangle* pCT : pWorld->mesh.vAllCT)
            if (random.next() % 2 == 0) pCT->flipNNV();
        std::vector<CEdge*> vCE;
        for (int i = 0; i < n; ++i)
            vCE.push_back(pWorld->edge(i, (i + 1) % n));
        pLoop = makeLoop(&pWorld->mesh, &pWorld->calc, vCE);
    }

    std::unique_ptr<CoarsePlaces> pWorld;
    std::unique_ptr<Loop> pLoop;
};

/// Inside, of a polygon that runs counterclockwise.
double angleAt(const std::vector<std::array<double, 2>>& v, std::size_t i) {
    const auto &p = v[(i + v.size() - 1) % v.size()], &c = v[i], &n = v[(i + 1) % v.size()];
    const double turn = std::atan2(p[1] - c[1], p[0] - c[0]) - std::atan2(n[1] - c[1], n[0] - c[0]);
    return turn < 0 ? turn + 2 * M_PI : turn;
}

/// Star-shaped, with corners on the unit circle where bConvex, else between it and the half of it.
std::vector<std::array<double, 2>> randomPolygon(unsigned seed, std::size_t num, bool bConvex) {
    Random random(seed);
    const auto chance = [&random] { return random.next() / 2147483647.0; };
    std::vector<std::array<double, 2>> v;
    for (std::size_t i = 0; i < num; ++i) {
        const double a = 2 * M_PI * (static_cast<double>(i) + 0.8 * chance()) / static_cast<double>(num);
        const double r = bConvex ? 1.0 : 0.5 + 0.5 * chance();
        v.push_back({r * std::cos(a), r * std::sin(a)});
    }
    return v;
}

/// The border edges near a place, seen from above.
std::vector<CEdge*> holeOf(const CMesh& mesh, const Point3& p) {
    std::vector<CEdge*> vCE = edges(mesh, 1);
    std::erase_if(vCE, [&](const CEdge* pCE) {
        const Vector3 d = pCE->getCenter(&mesh) - p;
        return std::hypot(d.x(), d.y()) > 1.6;
    });
    return vCE;
}

/// A corner at c between n in direction 0 and p in that direction of the plane, in degrees; one triangle at c, which faces
/// up or down.
class LoneCorner : public CoarseWorld {
public:
    LoneCorner(double degrees, bool bUp, bool bBothBorder) {
        const double turn = degrees / DEGREES_PER_RADIAN;
        const VCD c = put(5, 5, 5), x = put(9, 5, 5), y = put(9, 9, 5);
        const Point3 at = mesh.getAvgPoint(c);
        const VCD n = put(cell(1, 1, 1), at + Vector3(3, 0, 0));
        const VCD p = put(cell(2, 2, 2),
                          degrees == 180 ? at - Vector3(2, 0, 0) : at + Vector3(2 * std::cos(turn), 2 * std::sin(turn), 0));
        triangle(c, bUp ? x : y, bUp ? y : x);
        for (const VCD vcd : {p, c, n})
            vAE.push_back(std::make_unique<AngleEntry>(&mesh, vcd, mesh.getVtx(vcd), nullptr, nullptr, bBothBorder));
        own().setPrevAE(vAE[0].get());
        own().setNextAE(vAE[2].get());
    }
    AngleEntry& own() { return *vAE[1]; }

    std::vector<std::unique_ptr<AngleEntry>> vAE;
};

}  // namespace

TEST(AngleEntry, measuresTheAngleOnTheSideOfTheHole) {
    for (const double degrees : {10.0, 179.89, 179.91, 180.0, 270.0})
        for (const bool bUp : {true, false})
            for (const bool bBothBorder : {true, false}) {
                LoneCorner corner(degrees, bUp, bBothBorder);
                double expected = bUp ? degrees : 360 - degrees;
                if (!bBothBorder) expected = std::max(degrees, 360 - degrees);
                if (degrees == 180) expected = 720;
                AngleEntryState state = AES_NONE;
                EXPECT_NEAR(corner.own().getBorderAngle(true, state), expected, 1e-6);
                EXPECT_EQ(state, expected < 179.9 ? AES_CONVEX : AES_REFLEX) << degrees;
                EXPECT_NEAR(corner.own().getBorderAngle(false, state), degrees == 180 ? -1 : expected, 1e-6);
                EXPECT_NEAR(corner.own().getVertexNNV(false).z(), degrees == 180 ? 0 : bUp ? 1 : -1, 1e-9);
            }
}

TEST(AngleEntry, followsTheMesh) {
    for (const bool bGrowthOnly : {false, true}) {
        LoneCorner grown(90, true, true);
        if (bGrowthOnly) grown.own().expectGrowthOnly();
        EXPECT_NEAR(grown.own().getVertexNNV(true).z(), 1.0, 1e-9);
        grown.triangle(grown.own().getOwnVCD(), grown.put(5, 9, 5), grown.put(5, 5, 9));
        EXPECT_NEAR(grown.own().getVertexNNV(true).z(), std::sqrt(0.5), 1e-9) << "the new one counts, the old one once";
    }
    LoneCorner corner(90, true, true);
    AngleEntryState state = AES_NONE;
    EXPECT_NEAR(corner.own().getBorderAngle(true, state), 90, 1e-9);
    corner.mesh.vAllCT[0]->flipNNV();
    EXPECT_NEAR(corner.own().getBorderAngle(true, state), 270, 1e-9);
    for (CTriangle* pCT : aliveT(corner.mesh))
        pCT->kill(&corner.mesh);
    EXPECT_EQ(corner.own().getVertexNNV(true).x(), 1.0) << "no normal at all";
    EXPECT_NEAR(corner.own().getPrevNextDihedral(), 0, 1e-9) << "no normals there either";
    corner.vAE[0]->kill();
    expectFails("pPrevAE->isAlive()", [&] { corner.own().getPrevNextDihedral(); });
    corner.own().setNextAE(corner.vAE[0].get());
    EXPECT_EQ(corner.own().getBorderAngle(true, state), 720);
    EXPECT_EQ(state, AES_TWO_LEFT);
}

TEST(Loop, fillsPlanarPolygonsSmallestAngleFirst) {
    std::size_t numOpen = 0;
    for (unsigned seed = 1; seed <= 200; ++seed)
        for (const bool bConvex : {true, false}) {
            const std::size_t num = 3 + seed % 40;
            const auto polygon = randomPolygon(seed, num, bConvex);
            const PolygonRing ring(polygon, seed);
            EXPECT_TRUE(ring.pLoop->fill());
            const auto& vFillT = ring.pLoop->vFillT;
            const CMesh& mesh = ring.pWorld->mesh;
            EXPECT_EQ(ring.pLoop->isFilled(), vFillT.size() == num - 2);
            numOpen += ring.pLoop->isFilled() ? 0 : 1;
            if (num > 3 && !vFillT.empty()) {
                double cutOff = INF, least = INF;
                for (std::size_t i = 0; i < num; ++i) {
                    least = std::min(least, angleAt(polygon, i));
                    if (vFillT[0]->c1 == CoarsePlaces::code(static_cast<int>(i))) cutOff = angleAt(polygon, i);
                }
                EXPECT_EQ(cutOff, least) << seed;
            }
            double outer = 0;  // the ring reaches from the polygon to another one 1.5 times as large
            for (std::size_t i = 0; i < 2 * num; ++i)
                outer += mesh.vAllCT[i]->getArea(&mesh);
            EXPECT_TRUE(num == 3 || !ring.pLoop->isFilled() || std::abs(mesh.getArea() - outer * 2.25 / 1.25) < 1e-9)
                << seed;
            EXPECT_EQ(figuresOf(mesh).numConflicts, 0) << "seed " << seed;
            EXPECT_EQ(firstFault(mesh), "");
        }
    EXPECT_LT(numOpen, 40U);
}

TEST(Loop, closesDiscsPunchedIntoCurvedSurfaces) {
    for (unsigned seed = 0; seed < 60; ++seed)
        for (Soup soup : {sphere(24, 11), torus(20, 10)}) {
            const CoarsePlaces whole(soup);
            ASSERT_EQ(punch(soup, 1, seed), 1);
            CoarsePlaces copy(soup);
            Random random(seed);
            for (CTriangle* pCT : copy.mesh.vAllCT)
                if (random.next() % 2 == 0) pCT->flipNNV();
            EdgesByEnd mm;
            enterBorder(&copy.mesh, mm);
            Loop loop(mm, &copy.calc, &copy.mesh);
            const std::size_t num = loop.getSize();
            EXPECT_TRUE(mm.empty() && loop.isClosed() && loop.fill() && loop.isFilled());
            EXPECT_EQ(loop.vFillT.size(), num - 2);
            EXPECT_GT(loop.signedArea, 0.0);
            EXPECT_EQ(figuresOf(copy.mesh), figuresOf(whole.mesh)) << "seed " << seed;
            EXPECT_EQ(firstFault(copy.mesh), "");
            EXPECT_NEAR(copy.mesh.getArea(), whole.mesh.getArea(), 0.02 * whole.mesh.getArea());
        }
}

TEST(Loop, waitsWhereTheSurfacesTurnAway) {
    // A slit in the edge of a roof: its two narrow corners have neighbours on either slope.
    Soup soup = without(sheet(4, 4), {12});
    for (Point3& p : soup.vVtx)
        p = Point3(p.x() + 10, p.y() + 10, 20 - 2 * std::abs(p.x() - 2));
    CoarsePlaces roof(soup);
    const auto pLoop = makeLoop(&roof.mesh, &roof.calc, holeOf(roof.mesh, Point3(12, 12, 20)));
    pLoop->initPrioq();
    std::size_t numRaised = 0;
    while (AngleEntry* pAE = pLoop->getMinAngleEntry()) {
        AngleEntryState state = AES_NONE;
        const double angle = pAE->getBorderAngle(true, state);
        EXPECT_EQ(state, AES_CONVEX);
        for (const auto& [key, pQueuedAE] : pLoop->mmPrioq)
            EXPECT_GE(key, angle + (pAE->getPrevNextDihedral() > 45.0 ? 100.0 : 0.0));
        numRaised += pAE->getPrevNextDihedral() > 45.0 ? 1 : 0;
    }
    EXPECT_GT(numRaised, 0U);
}

TEST(Loop, turnsNoMoreThanItsReach) {
    for (const LoopReach reach : {LR_COMPONENT, LR_RING}) {
        CoarsePlaces copy(without(sheet(9, 9), {44}));
        copy.mesh.vAllCT[0]->flipNNV();  // far away
        const auto pLoop = makeLoop(&copy.mesh, &copy.calc, holeOf(copy.mesh, Point3(4, 4, 0)), reach);
        EXPECT_TRUE(pLoop->fill() && pLoop->isFilled());
        for (const CTriangle* pCT : pLoop->vFillT)
            for (int i = 0; i < 3; ++i)
                EXPECT_FALSE(pCT->needFlip(pCT->getCE(i)->getUniqueOtherTriangle(pCT)));
        EXPECT_EQ(figuresOf(copy.mesh).numConflicts > 0, reach == LR_RING);
    }
}

TEST(Loop, takesAPathAndRefusesWhatIsNoBorder) {
    Sheet sheet(3, 3);
    EdgesByEnd none, path;
    expectFails("!mmVCD2CE.empty()", [&] { Loop(none, &sheet.calc, &sheet.mesh); });
    CEdge* pCE = sheet.mesh.getEdge(sheet.at(0, 0), sheet.at(1, 0));
    enterBothEnds(path, {pCE, sheet.mesh.getEdge(sheet.at(1, 0), sheet.at(2, 1))});
    Loop open(path, &sheet.calc, &sheet.mesh);
    EXPECT_TRUE(!open.isClosed() && open.hasBorderVCD(sheet.at(2, 1)) && !open.hasBorderVCD(sheet.at(2, 2)));
    EXPECT_EQ(listOf<CEdge*>([&](auto& v) { open.getRemainingBorders(v); }), std::vector<CEdge*>{pCE});
    const CTriangle* pCT = sheet.mesh.vAllCT.back();
    enterBothEnds(path, {pCT->getCE(0), pCT->getCE(1), pCT->getCE(2)});
    EXPECT_TRUE(open.orientChainAndAjacentT(path)) << "a walk of its own";
    sheet.mesh.vAllCT[0]->kill(&sheet.mesh);
    expectFails("degree>0", [&] { makeLoop(&sheet.mesh, &sheet.calc, {pCE}); });
}
