#include "Segment3.h"
#include "freeFunctions.h"
#include "support/prelude.h"
#include "tools.h"

using namespace TARN_TEST;

namespace {

// Random values from a fixed seed: points in a cube of side 2, directions on the unit sphere.
class Chance {
public:
    explicit Chance(unsigned seed) : engine(seed) {}
    double number(double lo = -1.0, double hi = 1.0) { return std::uniform_real_distribution<>(lo, hi)(engine); }
    Vector3 vector() { return {number(), number(), number()}; }
    Point3 point() { return Point3() + vector(); }
    Vector3 direction() {
        for (;;) {
            const Vector3 v = vector();
            if (v.length() > 0.1 && v.length() < 1.0) return v / v.length();
        }
    }
    // Corners of a triangle whose angles stay away from 0.
    std::array<Point3, 3> triangle() {
        for (;;) {
            const std::array<Point3, 3> t = {point(), point(), point()};
            if (crossProduct(t[1] - t[0], t[2] - t[0]).length() > 0.05) return t;
        }
    }

private:
    std::mt19937 engine;
};

std::vector<Point3*> pointersTo(std::vector<Point3>& vPoints) {
    std::vector<Point3*> vPointers;
    for (Point3& p : vPoints)
        vPointers.push_back(&p);
    return vPointers;
}

}  // namespace

TEST(Vector3, ranksItsComponentsAndKnowsNormalAndDegenerateOnes) {
    EXPECT_EQ(Vector3(1, -1, 1).getMaxAbsIndex(), 0);
    EXPECT_EQ(Vector3(0, 2, -2).getMaxAbsIndex(), 1);
    forSeeds(50, [](unsigned seed) {
        const Vector3 v = Chance(seed).vector();
        EXPECT_EQ(std::fabs(v.getCartesian(v.getMaxAbsIndex())), v.getMaxAbsComponent());
        EXPECT_LE((normalize(v) * v.length() - v).length(), 1e-15);
    });
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(Vector3(1, 2, 3).getCartesian(3), LARGEST); }), "getCartesian for i=3\n");
    EXPECT_TRUE(Vector3(1, 0, 0).isNV() && Vector3(1.01, 0, 0).isNV());
    EXPECT_FALSE(Vector3(1.02, 0, 0).isNV() || Vector3(0.98, 0, 0).isNV() || Vector3(NOT_A_NUMBER, 0, 0).isNV());
    EXPECT_FALSE(Vector3(0, 0, 1e-300).isDegenerate() || Vector3(0, NOT_A_NUMBER, 0).isDegenerate());
    EXPECT_TRUE(normalize(Vector3()).isDegenerate() && normalize(Vector3(NOT_A_NUMBER, 1, 1)).isDegenerate());
    const Point3 a(1, 2, 3), b(4, 6, 15);
    EXPECT_TRUE(Segment3(a, b) == Segment3(b, a) && !(Segment3(a, b) == Segment3(a, a)));
}

TEST(Plane, liesThroughItsPointsAndDividesSpace) {
    forSeeds(200, [](unsigned seed) {
        Chance chance(seed);
        const auto [p0, p1, p2] = chance.triangle();
        bool bOK = false;
        const Plane plane(p0, p1, p2, bOK), same(p0, p1, p2), shifted(p1, plane.getNormal() * 7.0);
        ASSERT_TRUE(bOK && Plane::canConstruct(p0, p1, p2));
        const Vector3 n = plane.getNormal();
        const Point3 above = p0 + crossProduct(p1 - p0, p2 - p0), q = chance.point();
        EXPECT_NEAR(n.length(), 1.0, 1e-15);
        for (const Point3& p : {p0, p1, p2})
            EXPECT_LE(plane.distance(p), 1e-14);
        EXPECT_TRUE(plane.hasOnPositiveSide(above) && !plane.hasOnNegativeSide(above));
        EXPECT_LE((plane.projection(q) + n * plane.signedDistance(q) - q).length(), 1e-15);
        EXPECT_LE(plane.distance(plane.projection(q)), 1e-15);
        EXPECT_EQ((same.getNormal() - n).length() + std::fabs(same.getD() - plane.getD()), 0.0);
        EXPECT_NEAR(shifted.signedDistance(q), plane.signedDistance(q), 1e-14);

        const Point3 x = plane.intersectLine(above, q, bOK);
        const double slope = std::fabs((q - above) * n);
        EXPECT_TRUE(bOK);
        EXPECT_LE(plane.distance(x), 1e-13 / slope);
        EXPECT_LE(crossProduct(x - above, x - q).length(), 1e-12 / slope);

        const Vector3 nv = getNormalVector(p0, p1, p2, bOK);
        EXPECT_TRUE(bOK);
        EXPECT_LE((nv - n).length() + (getNormalVector(p1, p0, p2, bOK) + n).length(), 1e-14);
        EXPECT_GT(orientation3(p0, p1, p2, p0 - nv), 0.0);
    });
    bool bOK = true;
    const Plane floor(Point3(0, 0, 2), Vector3(0, 0, 3));
    EXPECT_EQ(floor.intersectLine(Point3(1, 2, 7), Point3(5, 5, 7), bOK), Point3(1, 2, 7));
    EXPECT_FALSE(bOK);
    EXPECT_EQ(floor.intersectLine(Point3(1, 2, 3), Point3(1, 2, 4), bOK), Point3(1, 2, 2)) << "the line has no ends";
}

TEST(Plane, refusesPointsThatSpanNone) {
    const Point3 a(0, 0, 0), b(1, 1, 1), c(2, 2, 2), d(0, 1, 0), inf(INF, 0, 1);
    for (const auto& [p, q, r] : {std::array{a, b, c}, std::array{a, a, b}, std::array{b, b, b}}) {
        bool bOK = true;
        const Plane plane(p, q, r, bOK);
        EXPECT_FALSE(bOK || Plane::canConstruct(p, q, r));
        EXPECT_TRUE(plane.getNormal().isDegenerate() && plane.getD() == 0.0);
        bOK = true;
        EXPECT_TRUE(getNormalVector(p, q, r, bOK).isDegenerate() && !bOK);
        expectFails("false", [p = p, q = q, r = r] { Plane(p, q, r); });
    }
    EXPECT_TRUE(Plane(b, Vector3()).getNormal().isDegenerate());
    // Infinite coordinates: the unit edges are NaN, and so is the cross product.
    bool bOK = false;
    expectFails("cLen<1.0", [&] { Plane(a, inf, d, bOK); });
    expectFails("vecLen>.99 && vecLen<1.01", [&] { Plane(a, inf, d); });
    EXPECT_FALSE(Plane::canConstruct(a, inf, d));
}

// The squared deviations along the axis of the normal's largest component; n describes the plane, of any length.
double deviationAlongAxis(const std::vector<Point3>& vPoints, const Point3& centroid, const Vector3& n, int axis) {
    return std::accumulate(vPoints.begin(), vPoints.end(), 0.0, [&](double sum, const Point3& p) {
        return sum + std::pow((p - centroid) * n / n.getCartesian(axis), 2.0);
    });
}

TEST(estimateNNV, hasTheLeastDeviationForEachAxisThatDecides) {
    forSeeds(240, [](unsigned seed) {
        Chance chance(seed);
        const int axis = static_cast<int>(seed % 3);
        const double slope1 = chance.number(-0.5, 0.5), slope2 = chance.number(-0.5, 0.5);
        const bool bFlat = seed % 2 == 0;
        const unsigned numPoints = bFlat ? 3 + seed % 20 : 30;
        const Vector3 far(seed % 8 < 4 ? 0.0 : 1e6, 0, 0);
        std::vector<Point3> vPoints;
        while (vPoints.size() < numPoints) {
            const double u = chance.number(), v = chance.number(),
                         w = slope1 * u + slope2 * v + (bFlat ? 0.0 : 0.1 * chance.number());
            vPoints.push_back((axis == 0 ? Point3(w, u, v) : axis == 1 ? Point3(u, w, v) : Point3(u, v, w)) + far);
        }
        Vector3 nv, sum;
        Point3 centroid;
        ASSERT_TRUE(estimateNNV(pointersTo(vPoints), nv, centroid));
        ASSERT_EQ(nv.getMaxAbsIndex(), axis);
        EXPECT_NEAR(nv.length(), 1.0, 1e-15);
        for (const Point3& p : vPoints)
            sum += p - centroid;
        EXPECT_LE(sum.length(), 1e-15 * (1.0 + far.length()) * numPoints);
        const double least = deviationAlongAxis(vPoints, centroid, nv, axis);
        EXPECT_LE(least, bFlat ? 1e-18 : 1.0);
        for (int i = 0; i < 20; ++i)
            EXPECT_LT(least, deviationAlongAxis(vPoints, centroid, nv + chance.vector() * 0.01, axis));
    });
}

TEST(estimateNNV, leavesItsArgumentsAloneWithoutAPlane) {
    std::vector<Point3> vCopies(100, Point3(0.1, 0.2, 0.3)), vLine, vTwo = {Point3(), Point3(1, 0, 0)};
    for (int i = 0; i < 10; ++i)
        vLine.emplace_back(i, 2 * i, -i);
    Vector3 nv(7, 7, 7);
    Point3 centroid(8, 8, 8);
    for (std::vector<Point3>* pPoints : {&vCopies, &vLine, &vTwo}) {
        EXPECT_FALSE(estimateNNV(pointersTo(*pPoints), nv, centroid));
        EXPECT_TRUE(nv.x() == 7 && centroid == Point3(8, 8, 8));
    }
    vLine[3] = Point3(NOT_A_NUMBER, 0, 0);
    expectFails("detZ>=detX && detZ>=detY", [&] { estimateNNV(pointersTo(vLine), nv, centroid); });
}

TEST(triangle, hasAreaAnglesCentresAndEdgePlanes) {
    forSeeds(200, [](unsigned seed) {
        const std::array<Point3, 3> t = Chance(seed).triangle();
        const auto& [p0, p1, p2] = t;
        const double a = (p1 - p2).length(), b = (p2 - p0).length(), c = (p0 - p1).length();
        const double cosC = (a * a + b * b - c * c) / (2 * a * b), cosB = (a * a + c * c - b * b) / (2 * a * c),
                     cosA = (b * b + c * c - a * a) / (2 * b * c), area = getArea(&p0, &p1, &p2);
        EXPECT_NEAR(area, 0.5 * a * b * std::sin(std::acos(cosC)), 1e-12);
        EXPECT_NEAR(getArea25D(&p0, &p1, &p2), area, 1e-12);
        EXPECT_NEAR(getMinInteriorAngle(p0, p1, p2), std::acos(std::max({cosA, cosB, cosC})) * 180.0 / std::acos(-1.0),
                    1e-7);
        const Point3 bary = barycenter(p0, p1, p2), circum = get3DCircumCenter(&p0, &p1, &p2);
        EXPECT_LE(((p0 - bary) + (p1 - bary) + (p2 - bary)).length(), 1e-15);
        const double radius = a * b * c / (4.0 * area);
        const Plane plane(p0, p1, p2);
        EXPECT_LE(plane.distance(circum), 1e-10 * radius);
        for (std::size_t i = 0; i < 3; ++i) {
            const Point3 &next = t[(i + 1) % 3], &last = t[(i + 2) % 3];
            EXPECT_NEAR((t[i] - circum).length(), radius, 1e-10 * radius);
            const Plane edgePlane = getEdgePlane(&p0, &p1, &p2, static_cast<int>(i));
            EXPECT_NEAR(edgePlane.signedDistance(t[i]), 2.0 * area / (next - last).length(), 1e-12);
            EXPECT_LE(edgePlane.distance(next) + edgePlane.distance(last), 1e-13);
            EXPECT_LE(std::fabs(edgePlane.getNormal() * plane.getNormal()), 1e-13);
        }
    });
    const Point3 p, q(1, 2, 3), r(2, 4, 6);
    EXPECT_EQ(get3DCircumCenter(&p, &q, &r), Point3(LARGEST, LARGEST, LARGEST));
    EXPECT_EQ(computeArea(3, 4, 5), 6.0);
    EXPECT_EQ(computeArea(1, 1, 2) + computeArea(1, 1, 3), 0.0) << "no triangle";
    expectFails("false", [] { computeArea(1, NOT_A_NUMBER, 2.5); });
}

TEST(angles, ofUnitVectorsSurviveRounding) {
    const Vector3 x(1, 0, 0), over(1.0000000000000002, 0, 0);
    EXPECT_EQ(getAngleDegree(over, x), 0.0);
    EXPECT_EQ(getAngleDegree(over, -x), 180.0);
    EXPECT_EQ(getAngleRad(over, x), 0.0);
    EXPECT_EQ(getAngleRad(over, -x), 3.14159265359);
    forSeeds(100, [](unsigned seed) {
        Chance chance(seed);
        const Vector3 a = chance.direction(), b = chance.direction();
        const double angle = std::atan2(crossProduct(a, b).length(), a * b);
        EXPECT_NEAR(getAngleRad(a, b), angle, 1e-7);
        EXPECT_NEAR(getAngleDegree(a, b), angle * 180.0 / std::acos(-1.0), 1e-5);
    });
}

TEST(line, hasFootPointsAndDistances) {
    forSeeds(200, [](unsigned seed) {
        Chance chance(seed);
        const Point3 p0 = chance.point(), p1 = chance.point(), q = chance.point(), foot = getFootPoint3D(p0, p1, q);
        const double length = (p1 - p0).length(), fromLine = crossProduct(q - p0, p1 - p0).length() / length;
        EXPECT_LE(std::fabs((q - foot) * (p1 - p0)), 1e-14);
        EXPECT_NEAR((q - foot).length(), fromLine, 1e-13 / length);
        EXPECT_NEAR(getPointSegDist(p0, p1, q), std::min({fromLine, (q - p0).length(), (q - p1).length()}), 1e-13 / length);
    });
    const Point3 p0, near(1e-11, 0, 0), q(1, 1, 0);
    EXPECT_EQ(getFootPoint3D(p0, near, q), p0);
    EXPECT_EQ(getPointSegDist(p0, Point3(0.5, 0, 0), Point3(9, 1, 0)), 1.0) << "the foot may lie beyond the ends";
    expectFails("p0.x()!=p1.x() || p0.y()!=p1.y() || p0.z()!=p1.z()", [&] { getPointSegDist(q, q, p0); });
}

TEST(computeVolume, agreesWithTetrahedra) {
    forSeeds(100, [](unsigned seed) {
        Chance chance(seed);
        const Point3 a = chance.point(), b = chance.point(), c = chance.point(), d = chance.point();
        std::vector<Point3> vSolid = {a, b, c, a, d, b, b, d, c, c, d, a};
        const double volume = orientation3(a, b, c, d) / 6.0;
        EXPECT_NEAR(computeVolume(vSolid), volume, 1e-10);
        for (const Point3& p : {a, a, b, c, d})
            vSolid.push_back(p);  // a degenerate triangle and a torn one
        EXPECT_NEAR(computeVolume(pointersTo(vSolid)), volume, 1e-10);
        std::rotate(vSolid.begin(), vSolid.begin() + 6, vSolid.begin() + 12);
        EXPECT_NEAR(computeVolume(vSolid), volume, 1e-10) << "another first corner";
    });
    EXPECT_EQ(computeVolume(std::vector<Point3*>()), 0.0);
}

// A wavy ring around the axis w of a random frame; seen along it a star of corners at radii from 0.5 to 2.
TEST(passThrough, tellsLinesInsideARingFromThoseBeside) {
    forSeeds(300, [](unsigned seed) {
        Chance chance(seed);
        const Vector3 w = chance.direction(), u = normalize(crossProduct(w, chance.direction())), v = crossProduct(w, u);
        const int numCorners = 3 + static_cast<int>(seed % 9);
        std::vector<Point3> vRing;
        for (int i = 0; i < numCorners; ++i) {
            const double angle = 2.0 * std::acos(-1.0) * i / numCorners, radius = chance.number(0.5, 2.0);
            vRing.push_back(Point3() + (u * std::cos(angle) + v * std::sin(angle)) * radius + w * chance.number());
        }
        const double angle = chance.number(0.0, 6.3);
        for (const double fromAxis : {0.0, 0.24, 2.01, 3.0}) {  // within the least triangle, beyond all corners
            const Point3 p0 = Point3() + (u * std::cos(angle) + v * std::sin(angle)) * fromAxis;
            const Point3 p1 = p0 + w * chance.number(0.5, 3.0);
            EXPECT_EQ(passThrough(p0, p1, vRing), fromAxis < 1.0);
            EXPECT_EQ(passThrough(p1, p0, {vRing.rbegin(), vRing.rend()}), fromAxis < 1.0);
        }
    });
    EXPECT_FALSE(passThrough(Point3(), Point3(1, 0, 0), {}));
    EXPECT_FALSE(passThrough(Point3(), Point3(), {Point3(1, 0, 0), Point3(0, 1, 0), Point3(-1, -1, 0)})) << "no line";
}

TEST(ranges, meetAndJoin) {
    double lo = 0.0, hi = 0.0;
    // Two ranges, ends in any order; what they have in common, and what holds both.
    for (const auto& [a, b, both, all] : {std::array<std::pair<double, double>, 4>{{{0, 4}, {6, 2}, {2, 4}, {0, 6}}},
                                          {{{4, 0}, {1, 2}, {1, 2}, {0, 4}}},
                                          {{{3, 2}, {0, 1}, {LARGEST, -LARGEST}, {0, 3}}}}) {
        outputOf([&, a = a, b = b] { commonRange(a.first, a.second, b.first, b.second, lo, hi); });
        EXPECT_EQ(std::pair(lo, hi), both);
        unionRange(a.first, a.second, b.first, b.second, lo, hi);
        EXPECT_EQ(std::pair(lo, hi), all);
    }
}

TEST(Bbox3, holdsItsPointsAndMeetsWhatItTouches) {
    const Point3 a(1, 5, -2), b(0, 7, 3), c(4, 6, 0);
    const TARN_LOCATE3::Bbox3 box = getBbox(a, b, c, 0.5), two = getBbox(c, a, 0.0);
    EXPECT_EQ(std::pair(Point3(box.minX, box.minY, box.minZ), Point3(box.maxX, box.maxY, box.maxZ)),
              std::pair(Point3(-0.5, 4.5, -2.5), Point3(4.5, 7.5, 3.5)));
    EXPECT_EQ(std::pair(Point3(two.minX, two.minY, two.minZ), Point3(two.maxX, two.maxY, two.maxZ)),
              std::pair(Point3(1, 5, -2), Point3(4, 6, 0)));
    EXPECT_TRUE(box.intersects(getBbox(Point3(4.5, 7.5, 3.5), 0.0)) && getBbox(c, 0.0).intersects(box));
    EXPECT_FALSE(box.intersects(getBbox(Point3(4.6, 6, 0), 0.0)) || box.intersects(TARN_LOCATE3::Bbox3()));
}
