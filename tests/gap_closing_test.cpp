// The raster cleaning with growth, on surfaces with gaps of which everything is known. One unit is a cell.
#include "RunInput.h"
#include "support/packedCells.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

using Cells = std::map<RCD, Point3>;

constexpr double BASE = 530.3;  // of the middle of all bodies, off the lattice

/// The cells that the cleaning leaves, with growth of so many steps.
Cells cleaned(const Points& vPoints, int numGrowSteps, bool bCareful = false) {
    const CoutSilence silence;
    Cells mOut;
    for (const auto& [rcd, point] : cleanCells(vPoints, unitGrid(), gapClosingOf(numGrowSteps, bCareful))) {
        EXPECT_EQ(unitGrid().getRCD(&point), rcd);
        EXPECT_TRUE(mOut.emplace(rcd, point).second) << "a cell twice";
    }
    return mOut;
}

/// The cells that growth adds. All that are there without it must stay.
Cells added(const Points& vPoints, int numGrowSteps, Cells& mAll) {
    const Cells mBefore = cleaned(vPoints, 0);
    mAll = cleaned(vPoints, numGrowSteps);
    Cells mNew = mAll;
    for (const auto& [rcd, point] : mBefore)
        EXPECT_EQ(mNew.extract(rcd).mapped(), point);
    return mNew;
}

/// About ten points a cell.
Points sphere(double radius, const std::function<bool(const Vector3&)>& isKept) {
    Points vPoints;
    for (const Point3& p : Scan(5).sphere(static_cast<std::size_t>(125.0 * radius * radius)))
        if (isKept(p - Point3())) vPoints.push_back(p);
    return scaled(vPoints, radius, BASE);
}

/// The sphere is open, growth closes it and adds no cell farther off than the given distance.
void expectClosed(const Points& vPoints, int numGrowSteps, double radius, double tolerance) {
    EXPECT_EQ(countFreeRegions(codesOf(cleaned(vPoints, 0))), 1);
    Cells mAll;
    const Cells mNew = added(vPoints, numGrowSteps, mAll);
    EXPECT_EQ(countFreeRegions(codesOf(mAll)), 2);
    for (const auto& cell : mNew)
        EXPECT_NEAR((cell.second - Point3(BASE, BASE, BASE)).length(), radius, tolerance) << cell.second;
}

Points plate(double width, const std::function<bool(double x, double y)>& isKept) {
    Points vPoints;
    for (const Point3& p : scaled(Scan(6).plane(static_cast<std::size_t>(10.0 * width * width)), width))
        if (isKept(p.x(), p.y())) vPoints.emplace_back(p.x() + BASE, p.y() + BASE, 0.1 * p.x() + BASE);
    return vPoints;
}

}  // namespace

// N steps close a gap of about N - 3 cells' radius. The surface in it is a membrane, so it lies below a cap.
TEST(GapClosing, closesRoundPatchesOfASphere) {
    const double radius = 32.0;
    for (const int gap : {2, 4, 6}) {
        SCOPED_TRACE("radius of the gaps: " + std::to_string(gap));
        const Points vPoints = sphere(radius, [&](const Vector3& v) {
            for (const Vector3& axis : {Vector3(1, 0, 0), Vector3(0, -0.6, 0.8), Vector3(-0.48, 0.6, 0.64)})
                if ((v - axis).length() * radius < gap) return false;
            return true;
        });
        expectClosed(vPoints, gap + 3, radius, gap <= 5 ? 1.0 : 1.5);
    }
}

TEST(GapClosing, withCareKeepsOnlyWhatCloses) {
    const double width = 44.0;
    const Points vPlate = plate(width, [](double, double) { return true; });
    for (const int numGrowSteps : {3, 6, 9, 12})
        EXPECT_EQ(cleaned(vPlate, numGrowSteps, true), cleaned(vPlate, 0));
    EXPECT_NE(cleaned(vPlate, 6), cleaned(vPlate, 0)) << "a collar without care";
    const auto isInSlot = [=](double x, double y, double more) {
        return std::fabs(x - 0.5 * width) < 2.0 + more && std::fabs(y - 0.5 * width) < 9.0 + more;
    };
    const Points vSlot = plate(width, [&](double x, double y) { return !isInSlot(x, y, 0.0); });
    Cells mNew = cleaned(vSlot, 12, true);
    for (const auto& [rcd, point] : cleaned(vSlot, 0))
        EXPECT_EQ(mNew.extract(rcd).mapped(), point);
    EXPECT_GE(mNew.size(), 3U * 16U);
    for (const auto& cell : mNew)
        EXPECT_TRUE(isInSlot(cell.second.x() - BASE, cell.second.y() - BASE, 1.5)) << cell.second;

    Points vWalls = vPlate;
    for (const Point3& p : vPlate)
        vWalls.push_back(p + Vector3(0.0, 0.0, 5.0));
    EXPECT_EQ(cleaned(vWalls, 9, true), cleaned(vWalls, 0));
    EXPECT_NE(cleaned(vWalls, 9), cleaned(vWalls, 0)) << "joined without care";

    const double radius = 32.0;
    const auto withGap = [&](double gap) {
        return sphere(radius, [=](const Vector3& v) { return (v - Vector3(0.0, -0.6, 0.8)).length() * radius > gap; });
    };
    EXPECT_EQ(countFreeRegions(codesOf(cleaned(withGap(4.0), 8, true))), 2);
    EXPECT_EQ(cleaned(withGap(16.0), 6, true), cleaned(withGap(16.0), 0)) << "wider than the steps reach";
}

TEST(GapClosing, growsNothingOnClosedShapes) {
    Points vCube;
    for (const Point3& p : Scan(8).plane(6000)) {
        const double x = p.x() * 22.0 + BASE, y = p.y() * 22.0 + BASE;
        for (const double z : {BASE, BASE + 22.0})
            for (const Point3& side : {Point3(x, y, z), Point3(y, z, x), Point3(z, x, y)})
                vCube.push_back(side);
    }
    const auto all = [](const Vector3&) { return true; };
    for (const Points& vPoints :
         {sphere(5.0, all), sphere(20.0, all), vCube, scaled(Scan(9, 0.03).torus(60000), 20.0, BASE)})
        EXPECT_EQ(cleaned(vPoints, 0), cleaned(vPoints, 12));
}

TEST(GapClosing, losesNoCellWhateverTheInput) {
    Points vRow, vBlock, vPatches;
    for (int i = 0; i < 60; ++i)
        vRow.emplace_back(BASE + i, BASE, BASE);
    for (const Point3& p : Scan(10).dust(20000))
        vBlock.emplace_back(BASE + 12.0 * p.x(), BASE + 12.0 * p.y(), BASE + 12.0 * p.z());
    for (int i = 0; i < 1000; ++i)  // of 5 x 5 cells, all far from each other or all within reach
        for (const Point3& p : Scan(11).plane(60))
            vPatches.emplace_back(100.0 + 12.0 * (i % 50) + 5.0 * p.x(), 100.0 + 12.0 * (i / 50) + 5.0 * p.y(), 100.5);
    const Points vDust = scaled(Scan(12).dust(3000), 60.0, BASE);
    for (const Points& vPoints : {Points{{BASE, BASE, BASE}}, vRow, vBlock, vPatches, vDust})
        for (const int numGrowSteps : {1, 12}) {
            Cells mAll;
            added(vPoints, numGrowSteps, mAll);
        }
}
