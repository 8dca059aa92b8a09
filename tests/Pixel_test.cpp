// The rasteriser of triangle soups: which cells segments, triangles and whole soups get, and what stands in them.
#include "Pixel.h"

#include "Cloud.h"
#include "Progress.h"
#include "freeFunctions.h"
#include "support/prelude.h"
#include "support/soups.h"
#include "touchedCells.h"

using namespace TARN_TEST;

namespace {

using VRCDPoint = Pixel::VRCDPoint;

std::array<double, 3> coordinatesOf(const Point3& p) {
    return {p.x(), p.y(), p.z()};
}

Calc gridRound(double offset, double cellEdge) {
    const double low = offset - cellEdge * 2048.0, extent = cellEdge * 4096.0;
    return {low, low, low, extent, extent, extent, 12};
}

/// A rasteriser on its own, with a grid around the place where a test works.
struct Bench {
    explicit Bench(double cellEdge = 1.0, double offset = 0.0)
        : calc(gridRound(offset, cellEdge)),
          vVtx{{offset, offset, offset}, {offset + cellEdge, offset, offset}, {offset, offset + cellEdge, offset}},
          vCorners{&vVtx[0], &vVtx[1], &vVtx[2]},
          pixel(vCorners, &calc) {}

    VRCDPoint walk(const Point3& a, const Point3& b) const {
        VRCDPoint v;
        pixel.rasterizeEdge(a, b, v);
        return v;
    }
    /// The share of a segment, 0 to 1, that is in a cell grown by eps cells on all sides; negative when none is.
    double partInCell(const Point3& a, const Point3& b, RCD rcd, double eps) const {
        const auto low = coordinatesOf(calc.getRefPoint_RCD(rcd)), from = coordinatesOf(a), to = coordinatesOf(b);
        const double side = calc.getSideLen();
        double t0 = 0.0, t1 = 1.0;
        for (std::size_t i = 0; i < 3; ++i) {
            const double lo = low[i] - eps * side, hi = low[i] + side + eps * side, d = to[i] - from[i];
            if (d == 0.0) {
                if (from[i] < lo || from[i] > hi) return -1.0;
                continue;
            }
            t0 = std::max(t0, std::min((lo - from[i]) / d, (hi - from[i]) / d));
            t1 = std::min(t1, std::max((lo - from[i]) / d, (hi - from[i]) / d));
        }
        return t1 - t0;
    }
    /// What is wrong with the cells of a segment; empty when nothing is. eps: cells by which rounding may err.
    std::string fault(const Point3& a, const Point3& b, double eps) const {
        const VRCDPoint v = walk(a, b);
        const RCD start = calc.getRCD(&a), stop = calc.getRCD(&b);
        if (start == stop) return v.empty() ? "" : "a segment in one cell has a raster";
        if (v.front() != std::pair(start, a) || v.back() != std::pair(stop, b)) return "an end is wrong";
        std::set<RCD> sCell;
        for (std::size_t i = 0; i < v.size(); ++i) {
            const auto& [rcd, p] = v[i];
            if (!sCell.insert(rcd).second) return "a cell comes twice";
            if (calc.getRCD(&p) != rcd) return "a point isn't in its cell";
            if (partInCell(a, b, rcd, eps) < 0.0) return "a cell is off the segment";
            if (i > 0 && !areNeighbours(v[i - 1].first, rcd)) return "a gap";
        }
        const double length = (b - a).length() / calc.getSideLen();
        for (int i = 1; i < 200; ++i) {
            const Point3 p = a + (b - a) * (i / 200.0);
            const RCD rcd = calc.getRCD(&p);
            if (sCell.count(rcd) == 0 && partInCell(a, b, rcd, -eps) * length > 4.0 * eps) return "a cell is missing";
        }
        return "";
    }
    static bool areNeighbours(RCD a, RCD b) {
        const auto near = [](unsigned long long i, unsigned long long j) { return i <= j + 1 && j <= i + 1; };
        return near(getX_RCD(a), getX_RCD(b)) && near(getY_RCD(a), getY_RCD(b)) && near(getZ_RCD(a), getZ_RCD(b));
    }

    Calc calc;
    std::vector<Point3> vVtx;
    std::vector<Point3*> vCorners;
    Pixel pixel;
};

/// The soup in the cells of a grid, as a run has it up to the bundles.
struct Rasterised {
    explicit Rasterised(TriangleSoup soup, double spacing = 1.0, double featureAngle = 30.0)
        : cloud("soup", spacing, -1.0, true, -1) {
        progressForMelt();
        text = outputOf([&] {
            cloud.setInputPoints(soup);
            cloud.preparePixelsAndFeatures(featureAngle);
        });
    }
    CCD cellOf(const Point3& p) const { return cloud.pCalc->getCCD(&p); }
    std::set<CCD> cells() const {
        std::set<CCD> sCell;
        for (const Bundle* pBundle : cloud.vBundles)
            sCell.insert(pBundle->ccd);
        return sCell;
    }
    bool has(const Point3& p) const { return std::count(cloud.vPoints.begin(), cloud.vPoints.end(), p) == 1; }

    Cloud cloud;
    std::string text;
};

/// Triangles of all sizes between corners that are often shared; some are flat, some come twice.
TriangleSoup wildSoup(unsigned seed, int numTriangles, double size) {
    Scan scan(seed);
    std::vector<Point3> vVtx = scaled(scan.dust(static_cast<std::size_t>(numTriangles)), size);
    TriangleSoup soup;
    for (int i = 0; i < 3 * numTriangles; ++i)
        soup.push_back(vVtx[static_cast<std::size_t>(scan.uniform(0.0, static_cast<double>(vVtx.size())))]);
    return soup;
}

// ---- Segments

TEST(rasterizeEdge, givesTheCellsThatTheSegmentPassesThrough) {
    for (const auto& [offset, eps] : {std::pair{0.0, 1e-11}, {1e6, 1e-8}, {-3e9, 1e-5}}) {
        const Bench bench(0.37, offset);
        Scan scan(1);
        for (int n = 0; n < 10000; ++n) {
            const double reach = std::pow(10.0, scan.uniform(-2.0, n % 50 == 0 ? 2.0 : 0.5));
            double c[6];
            for (double& value : c)
                value = offset + scan.uniform(-reach, reach);
            const int same = n % 8;  // axes on which it stands still
            const Point3 a(c[0], c[1], c[2]);
            const Point3 b((same & 4) != 0 ? c[0] : c[3], (same & 2) != 0 ? c[1] : c[4], (same & 1) != 0 ? c[2] : c[5]);
            ASSERT_EQ(bench.fault(a, b, eps), "") << "offset " << offset << ", segment " << n;
        }
    }
}

// Ends and crossings on planes, edges and corners of the grid, where each decision is on the knife's edge.
TEST(rasterizeEdge, passesThroughLatticePoints) {
    const Bench bench;
    Random random(2);
    const auto half = [&] { return (random.next() % 13 - 6) / 2.0; };
    for (int n = 0; n < 8000; ++n) {
        const Point3 a(half(), half(), half()), b(half(), half(), half());
        ASSERT_EQ(bench.fault(a, b, 1e-12), "") << a << " to " << b;
    }
    const VRCDPoint vDiagonal = bench.walk({0.5, 0.5, 0.5}, {3.5, 3.5, 3.5});
    EXPECT_EQ(vDiagonal.size(), 4U);
    EXPECT_EQ(vDiagonal[1].second, Point3(1.5, 1.5, 1.5)) << "the middle of the piece in the cell";
}

TEST(rasterizeEdge, endsWhateverTheSegment) {
    const Bench bench;
    const double tiny = 1e-310, small = 1e-300;
    for (const auto& [a, b] : {std::pair{Point3(0, 0, 0), Point3(-tiny, 0, 0)},
                               {Point3(small, 0, 0), Point3(-small, tiny, 0)},
                               {Point3(0, 0, 0), Point3(-1e3, tiny, -tiny)},
                               {Point3(tiny, 0, 0), Point3(-900, 0, 0)}}) {
        EXPECT_EQ(bench.fault(a, b, 1e-12), "") << a << " to " << b;
        EXPECT_EQ(bench.fault(b, a, 1e-12), "") << b << " to " << a;
    }
    // Cells below an ulp: there is no way through all of them, but an end.
    const Bench coarse(1.0, 1e17);
    const VRCDPoint v = coarse.walk({1e17, 1e17, 1e17}, {1e17 + 1600, 1e17 - 800, 1e17});
    EXPECT_TRUE(v.size() >= 2 && v.size() < 10000);
}

// ---- Triangles

TEST(convertOneT, fillsTheInside) {
    for (const double offset : {0.0, 1e6}) {
        const Bench bench(1.0, offset);
        Scan scan(3);
        for (int n = 0; n < 150; ++n) {
            std::vector<Point3> v = scaled(scan.dust(3), std::pow(10.0, scan.uniform(-1.0, 1.8)), offset);
            const Plane plane(v[0], v[1], v[2]);
            VRCDPoint vPixels;
            bench.pixel.convertOneT(&v[0], &v[1], &v[2], vPixels);
            std::set<RCD> sCell;
            for (const auto& [rcd, p] : vPixels) {
                sCell.insert(rcd);
                ASSERT_EQ(bench.calc.getRCD(&p), rcd);
                ASSERT_LT(plane.distance(p), 1e-8);
                ASSERT_LT(distanceToTriangle(bench.calc.getMidPoint_RCD(rcd), v[0], v[1], v[2]), 0.867) << "not touched";
            }
            for (int i = 0; i < 200; ++i) {
                const double s = std::sqrt(scan.uniform(0.0, 1.0)), t = scan.uniform(0.0, 1.0);
                const Point3 p = v[0] + (v[1] - v[0]) * (s * (1.0 - t)) + (v[2] - v[0]) * (s * t);
                const RCD rcd = bench.calc.getRCD(&p);
                const double rim = std::min(
                    {getPointSegDist(v[0], v[1], p), getPointSegDist(v[1], v[2], p), getPointSegDist(v[2], v[0], p)});
                // Off the rim, and but for slivers: there the plane passes far from the middle of the cell.
                if (rim > 1.8 && plane.distance(bench.calc.getMidPoint_RCD(rcd)) < 0.3) {
                    ASSERT_EQ(sCell.count(rcd), 1U) << "a cell is missing in the inside";
                }
            }
        }
    }
}

TEST(getMidOfCutPlane, isTheMiddleOfTheSection) {
    const Bench bench;
    const Point3 low(3, 4, 5);
    const RCD rcd = bench.calc.getRCD(&low);
    bool bOK = false;
    EXPECT_EQ(bench.pixel.getMidOfCutPlane(rcd, Plane({3.25, 0, 0}, {1, 0, 0}), bOK), Point3(3.25, 4.5, 5.5));
    EXPECT_TRUE(bOK);
    const Point3 cut = bench.pixel.getMidOfCutPlane(rcd, Plane({3.3, 4, 5}, {1, 1, 1}), bOK);
    EXPECT_TRUE(bOK);
    EXPECT_NEAR((cut - Point3(3.1, 4.1, 5.1)).length(), 0.0, 1e-14) << "a corner cut off";
    const std::string text = outputOf([&] { bench.pixel.getMidOfCutPlane(rcd, Plane({2.9, 0, 0}, {1, 0, 0}), bOK); });
    EXPECT_FALSE(bOK);
    EXPECT_EQ(countIn(text, "Not enough intersections") + countIn(text, "numCuts: 0"), 2);
}

TEST(Tri, hasANormalSignedByTheEdge) {
    std::vector<Point3> v = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {5, 5, 5}};
    Tri tri(&v[0], &v[1], &v[2]);
    for (int i = 0; i < 3; ++i) {
        Point3 *pA = &v[static_cast<std::size_t>(i)], *pB = &v[static_cast<std::size_t>((i + 1) % 3)];
        EXPECT_EQ(tri.getNNV(pA, pB) * Vector3(0, 0, 1), 1.0);
        EXPECT_EQ(tri.getNNV(pB, pA) * Vector3(0, 0, 1), -1.0);
    }
    expectFails("pVtx2==pB", [&] { tri.getNNV(&v[0], &v[3]); });
    expectFails("pVtx0<pVtx1 && pVtx1<pVtx2", [&] { Tri(&v[1], &v[0], &v[2]); });
    Point3 aRow[] = {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}};
    Tri flat(&aRow[0], &aRow[1], &aRow[2]);
    EXPECT_EQ(countIn(reportOf([&] { flat.getNNV(&aRow[0], &aRow[1]); }), "uh, degenerate Tri"), 1);
}

TEST(linkEdge2T, appendsToWhatIsThere) {
    Bench bench;
    Pixel& pixel = bench.pixel;
    const Tri* pFirst = pixel.vTri.front();
    std::array<Point3, 1> v{Point3(1, 1, 0)};
    std::vector<Point3*> vMore = {&bench.vVtx[1], &v[0], &bench.vVtx[2], &v[0], &v[0], &v[0]};
    EXPECT_EQ(countIn(outputOf([&] { pixel.linkEdge2T(vMore); }), "Skipped 1 degenerate triangles"), 1);
    EXPECT_EQ(std::tuple(pixel.vTri.size(), pixel.vEdge2Tri.size()), std::tuple(2U, 6U));
    EXPECT_EQ(std::tuple(pixel.vTri.front(), pFirst->pVtx0), std::tuple(pFirst, &bench.vVtx[0]));
    pixel.bfsSort();
    EXPECT_EQ(pixel.vTri.size(), 2U);
    pixel.vTri.pop_back();
    expectFails("vTri.size()==triSiz", [&] { pixel.bfsSort(); });
}

// ---- Soups

std::string faultOf(const Rasterised& run) {
    if (run.cells().size() != run.cloud.vBundles.size()) return "a cell has two points";
    if (run.cloud.vPoints.size() != run.cloud.vBundles.size()) return "there is a point without a bundle";
    for (std::size_t i = 0; i < run.cloud.vPoints.size(); ++i) {
        const Bundle& bundle = *run.cloud.vBundles[i];
        if (bundle.pVtx != &run.cloud.vPoints[i] || bundle.deliveredPoint != *bundle.pVtx)
            return "a bundle has another point";
        if (run.cellOf(*bundle.pVtx) != bundle.ccd) return "a point isn't in its cell";
    }
    return "";
}

TEST(pixelTriangles, coversEachEdgeOfASoupAndNothingFarFromIt) {
    forSeeds(40, [](unsigned seed) {
        TriangleSoup soup = wildSoup(seed, 1 + static_cast<int>(seed % 20), std::array{0.3, 1.0, 2.0, 8.0}[seed % 4]);
        if (seed % 3 == 0) soup = joined(soup, torusSoup(8));
        const Rasterised run(soup, 0.21);
        EXPECT_EQ(faultOf(run), "");
        for (const Point3& p : run.cloud.vPoints)
            EXPECT_LT(distanceToSoup(p, soup), 0.21);
        const std::set<CCD> sCell = run.cells();
        Scan scan(seed);
        for (std::size_t i = 0; i < soup.size(); ++i) {
            const Point3 &a = soup[i], &b = soup[i % 3 == 2 ? i - 2 : i + 1];
            const std::size_t first = i / 3 * 3;
            for (int n = 0; n < 20 && Plane::canConstruct(soup[first], soup[first + 1], soup[first + 2]); ++n)
                EXPECT_TRUE(sCell.contains(run.cellOf(a + (b - a) * scan.uniform(0.0, 1.0))));
        }
    });
}

TEST(pixelTriangles, keepsCornersAndEdgesOfFeatures) {
    const TriangleSoup box = turned(boxSoup({0, 0, 0}, {9, 8, 7}), 25.0);
    const Rasterised run(box);
    for (const Point3& corner : box)
        EXPECT_TRUE(run.has(corner));
    EXPECT_TRUE(run.cloud.vBorders.empty());
    std::set<CCD> sFeatureCell;
    for (const auto& [ccd0, ccd1] : run.cloud.vFeatures) {
        EXPECT_LT(ccd0, ccd1);
        sFeatureCell.insert({ccd0, ccd1});
    }
    EXPECT_GT(sFeatureCell.size(), 4U * (9 + 8 + 7));
    for (std::size_t i = 0; i < run.cloud.vBundles.size(); ++i)
        EXPECT_EQ(sFeatureCell.contains(run.cloud.vBundles[i]->ccd), i < sFeatureCell.size()) << "features first";
    EXPECT_TRUE(Rasterised(box, 1.0, 361.0).cloud.vFeatures.empty()) << "no borders, and no other features then";
    // A roof of two triangles.
    for (const double angle : {0.0, 29.0, 31.0, 150.0}) {
        const double rad = angle / DEGREES_PER_RADIAN;
        const Point3 a(0.5, 0.5, 0.5), b(9.5, 0.5, 0.5), c(3.5, 9.5, 0.5),
            d(3.5, 0.5 - 9 * std::cos(rad), 0.5 + 9 * std::sin(rad));
        for (const TriangleSoup& roof : {TriangleSoup{a, b, c, b, a, d}, {a, b, c, a, b, d}}) {
            const Rasterised folded(roof);
            EXPECT_EQ(folded.cloud.vFeatures.size() > folded.cloud.vBorders.size(), angle > 30.0) << angle;
        }
    }
}

TEST(pixelTriangles, takesAnOpenSheetForWhatItIs) {
    const Point3 a(0.5, 0.5, 0.2), b(20.5, 0.5, 0.2), c(20.5, 15.5, 0.2), d(0.5, 15.5, 0.2);
    const Rasterised sheet({a, b, c, a, c, d});
    EXPECT_EQ(sheet.cloud.vPoints, Rasterised({a, b, c, a, d, c}).cloud.vPoints) << "winding plays no part";
    EXPECT_EQ(sheet.cloud.vBorders, sheet.cloud.vFeatures);
    EXPECT_EQ(sheet.cloud.vBorders.size(), 70U) << "the steps round the sheet, none along its diagonal";
    EXPECT_EQ(sheet.cells().size(), 21U * 16U) << "all cells of the rectangle";
    EXPECT_TRUE(Rasterised({a, b, c, a, c, d}, 1.0, 9999.0).cloud.vFeatures.empty()) << "not even borders";
    // Three sheets on one edge, the third folds.
    const Rasterised three({a, b, c, a, c, d, a, c, {10, 5, 9}}, 1.0, 30.0);
    EXPECT_GT(three.cloud.vFeatures.size(), three.cloud.vBorders.size());
}

TEST(pixelTriangles, makesNothingOfWhatHasNoInside) {
    const Point3 a(0, 0, 0), b(3, 0, 0), c(0, 3, 0), nan(NOT_A_NUMBER, 0, 0);
    const Rasterised run({a, b, c, a, a, b, a, b, {1.5, 0, 0}, a, b, nan, {1e30, 0, 0}, nan, b});
    EXPECT_EQ(countIn(run.text, "Skipped 4 degenerate triangles"), 1) << run.text;
    EXPECT_EQ(run.cloud.vPoints, Rasterised({a, b, c}).cloud.vPoints);
    const Rasterised nothing({a, b, nan});
    EXPECT_EQ(countIn(nothing.text, "No non-degenerate triangles"), 1) << nothing.text;
    EXPECT_TRUE(nothing.cloud.vBundles.empty() && nothing.cloud.vPoints.empty());
    EXPECT_EQ(countIn(Rasterised({}).text, "Nothing to do for cloud soup"), 1);
    // A triangle in one cell leaves the first of its corners, however thin it is.
    EXPECT_EQ(Rasterised({{0.1, 0.1, 0.1}, {0.2, 0.1, 0.1}, {0.2, 0.1 + 1e-13, 0.1}}).cloud.vPoints.size(), 1U);
    const CoutSilence silence;
    EXPECT_THROW(Rasterised({a, b, c, a}), KelBugException);
}

// ---- All touched cells

/// Whether a triangle meets the cube of that half edge around the origin: no axis parts them on which their shadows could be
/// apart.
bool meetsCube(const std::array<Vector3, 3>& triangle, double half) {
    const std::array<Vector3, 3> units{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
        sides{triangle[1] - triangle[0], triangle[2] - triangle[1], triangle[0] - triangle[2]};
    std::vector<Vector3> vAxes(units.begin(), units.end());
    vAxes.push_back(crossProduct(sides[0], sides[1]));
    for (const Vector3& unit : units)
        for (const Vector3& side : sides)
            vAxes.push_back(crossProduct(unit, side));
    return std::ranges::all_of(vAxes, [&](const Vector3& axis) {
        const double reach = half * (std::fabs(axis.x()) + std::fabs(axis.y()) + std::fabs(axis.z()));
        const auto [lo, hi] = std::minmax({triangle[0] * axis, triangle[1] * axis, triangle[2] * axis});
        return lo <= reach && hi >= -reach;
    });
}

TEST(touchedCells, areThoseWhoseCubesTheTriangleMeets) {
    forSeeds(150, [](unsigned seed) {
        Random random(seed);
        const double reach = seed % 3 == 0 ? 0.7 : 5.0, flat = seed % 5 == 0 ? 0.01 : 1.0;
        const auto uniform = [&] { return (random.next() / (Random::MAX + 1.0) - 0.5) * 2.0 * reach; };
        Calc calc = gridRound(0.0, 1.0);
        std::vector<Point3> vVtx;
        for (int i = 0; i < 3; ++i) {
            const double x = uniform(), y = uniform();
            const double z = flat * uniform();
            if (seed % 7 == 0)
                vVtx.emplace_back(x / 2.0, y / 2.0, (x + y) / 2.0);  // through edges of cells
            else
                vVtx.emplace_back(x, y, z);
        }
        std::vector<Point3*> vCorners{&vVtx[0], &vVtx[1], &vVtx[2]};
        const Pixel pixel(vCorners, &calc);
        const Plane plane(vVtx[0], vVtx[1], vVtx[2]);
        const CellPoints cells = touchedCells(pixel.vTri, calc);
        std::set<RCD> sFound;
        for (const auto& [rcd, place] : cells) {
            ASSERT_TRUE(sFound.insert(rcd).second);
            ASSERT_EQ(calc.getRCD(&place), rcd);
            ASSERT_LT((plane.projection(place) - place).length(), 1e-9);
        }
        std::size_t numMet = 0;
        for (int i = 0; i < 14 * 14 * 14; ++i) {
            const Point3 mid(i % 14 - 6.5, i / 14 % 14 - 6.5, i / 196 - 6.5);
            const RCD rcd = calc.getRCD(&mid);
            const std::array<Vector3, 3> triangle{vVtx[0] - mid, vVtx[1] - mid, vVtx[2] - mid};
            ASSERT_GE(sFound.count(rcd), meetsCube(triangle, 0.5 - 1.01 * TOUCH_SLIVER) ? 1U : 0U) << mid;
            ASSERT_LE(sFound.count(rcd), meetsCube(triangle, 0.5 - 0.99 * TOUCH_SLIVER) ? 1U : 0U) << mid;
            numMet += sFound.count(rcd);
        }
        EXPECT_EQ(numMet, sFound.size());
    });
}

}  // namespace
