// Even sampling: that even clouds stay as they are, uneven ones end up whole, and true holes open; then the parts that it is
// built of, against plain ones.
#include "evenSampling.h"

#include "NearestNodes.h"
#include "RMesh.h"
#include "SyntheticScan.h"
#include "gapTriangles.h"
#include "inputPoints.h"
#include "nodePlanes.h"
#include "nodeStars.h"
#include "principalAxes.h"
#include "runGrid.h"
#include "support/points.h"
#include "support/prelude.h"
#include "voronoiCell.h"

using namespace TARN_TEST;

namespace {

using Points = std::vector<Point3>;

const double FACTOR = 1.1;

Points scan(const ScanRequest& request) {
    Points vPoints;
    makeScan(request, vPoints);
    return vPoints;
}

double edgeFor(const Points& vPoints, double factor = FACTOR) {
    return factor * estimateSpacing(vPoints, boundsOf(vPoints), vPoints.size());
}

EvenSampling evenedOn(const Points& vPoints, double edge) {
    CloudSample sample(vPoints, makeGrid(boundsOf(vPoints), edge));
    return evenOut(sample);
}

EvenSampling evened(const Points& vPoints) {
    return evenedOn(vPoints, edgeFor(vPoints));
}

/// Border edges of the mesh of a cloud and what is added to it, on the grid of the cloud; as good as infinitely many where
/// no mesh is left.
std::size_t numBorderEdges(Points vPoints, const Points& vAdded) {
    const double edge = edgeFor(vPoints);
    vPoints.insert(vPoints.end(), vAdded.begin(), vAdded.end());
    const MeshPtr pMesh = reconstruct_abs(vPoints, false, edge, -1);
    if (pMesh == nullptr) return std::numeric_limits<std::size_t>::max();
    return listOf<REdge*>([&](auto& v) { pMesh->getRMesh()->getDegN(1, v); }).size();
}

double areaOfMesh(Points vPoints, double edge) {
    const MeshPtr pMesh = reconstruct_abs(vPoints, false, edge, -1);
    return pMesh == nullptr ? 0.0 : pMesh->getRMesh()->getArea();
}

std::vector<Calc> gridOf(const Points& vPoints) {
    return {makeGrid(boundsOf(vPoints), edgeFor(vPoints))};
}

/// A random sheet with a round window in the middle, so many spacings wide; the unit square, z = 0.
Points windowed(unsigned seed, double widthSpacings) {
    const std::size_t n = 12000;
    Points vPoints = Scan(seed).plane(n);
    const double radius = widthSpacings / std::sqrt(static_cast<double>(n)) / 2.0;
    std::erase_if(vPoints, [&](const Point3& p) { return std::hypot(p.x() - 0.5, p.y() - 0.5) < radius; });
    return vPoints;
}

/// In the plane z = 0, from the origin on.
Points lattice(int numX, int numY, double pitch) {
    Points vPoints;
    for (int y = 0; y < numY; ++y)
        for (int x = 0; x < numX; ++x)
            vPoints.emplace_back(pitch * x, pitch * y, 0.0);
    return vPoints;
}

/// The steps from points to gaps, on cells of edge 1, with planes that may be changed before.
struct Gaps {
    explicit Gaps(const Points& vPoints)
        : sample(vPoints, makeGrid(boundsOf(vPoints), 1.0)), planes(lookAround(sample.nodes)) {
        fitOpenNodes(sample.nodes, sample.getNearest(), planes);
    }
    std::vector<GapTriangle> candidates() {
        stars.emplace(sample.nodes, planes, sample.getNearest());
        stars->make(planes.vOpen);
        return gapCandidates(sample.nodes, planes, *stars);
    }
    CloudSample sample;
    NodePlanes planes;
    std::optional<NodeStars> stars;
};

std::size_t numNear(const Points& vPoints, const Point3& centre, double distance) {
    return static_cast<std::size_t>(
        std::count_if(vPoints.begin(), vPoints.end(), [&](const Point3& p) { return (p - centre).length() < distance; }));
}

/// How many of the gaps have a node in their discs. All nodes are in the plane z = 0.
std::size_t numFilled(const std::vector<GapTriangle>& vGap, const std::vector<Vector3>& vPlace) {
    return static_cast<std::size_t>(std::count_if(vGap.begin(), vGap.end(), [&](const GapTriangle& gap) {
        const Vector3 &a = vPlace[gap.corners[0]], b = vPlace[gap.corners[1]] - a, c = vPlace[gap.corners[2]] - a;
        const double area = 2.0 * (b.x() * c.y() - b.y() * c.x());
        const Vector3 centre = a + Vector3((c.y() * b.sqLength() - b.y() * c.sqLength()) / area,
                                           (b.x() * c.sqLength() - c.x() * b.sqLength()) / area, 0.0);
        EXPECT_NEAR((centre - a).length(), gap.radius, 1e-6);
        return std::any_of(vPlace.begin(), vPlace.end(),
                           [&](const Vector3& place) { return (place - centre).length() < gap.radius - 1e-6; });
    }));
}

}  // namespace

TEST(EvenSampling, leavesEvenScansAsTheyAre) {
    for (const std::string shape : {"sphere", "torus", "plane", "cube", "block", "wall", "patches"})
        for (const double noise : {0.0, 0.3}) {
            const EvenSampling result = evened(scan({shape, 20000, noise, 3}));
            EXPECT_TRUE(result.bEvenCloud && result.vAdded.empty()) << shape << " " << noise;
            EXPECT_LT(result.numOpenNodes, result.numNodes / 3) << shape << " " << noise;
        }
}

TEST(EvenSampling, closesWhatTheSpacingExplains) {
    const ScanRequest aUneven[] = {{"torus", 20000, 0.0, 1, "random"},         {"sphere", 20000, 0.0, 2, "varying", 16.0},
                                   {"sphere", 20000, 0.0, 3, "varying", 64.0}, {"torus", 20000, 0.0, 4, "varying", 16.0},
                                   {"sphere", 20000, 0.0, 5, "lines", 8.0},    {"sphere", 20000, 0.0, 6, "lines", 16.0},
                                   {"torus", 20000, 0.0, 7, "sparse"}};
    for (const ScanRequest& request : aUneven) {
        const Points vPoints = scan(request);
        const EvenSampling result = evened(vPoints);
        EXPECT_FALSE(result.bEvenCloud || result.bOverCap) << request.shape << " " << request.pattern;
        EXPECT_GT(numBorderEdges(vPoints, {}), 20U) << request.shape << " " << request.pattern << " " << request.ratio;
        EXPECT_EQ(numBorderEdges(vPoints, result.vAdded), 0U)
            << request.shape << " " << request.pattern << " " << request.ratio;
    }
}

TEST(EvenSampling, knowsOverlappingScans) {
    // A second scan of half a surface makes the mean spacing too small for the other half.
    EXPECT_TRUE(evened(scan({"torus", 20000, 0.0, 1, "overlap"})).bEvenCloud);
    Points vPoints = scan({"torus", 16000, 0.0, 1, "random"});
    for (const Point3& p : scan({"torus", 32000, 0.0, 2, "random"}))
        if (std::fabs(p.x()) > 0.7) vPoints.push_back(p);
    EXPECT_GT(numBorderEdges(vPoints, {}), 500U);
    EXPECT_EQ(numBorderEdges(vPoints, evened(vPoints).vAdded), 0U);
}

TEST(EvenSampling, fillsBetweenTheLinesOfALidarButNothingUnseen) {
    const Vector3 size(12.0, 8.0, 4.0);  // the hall; a ball of radius 0.8 hangs in it
    const Point3 ball(8.5, 5.0, 2.0), scanner(5.0, 3.0, 1.5);
    const Points vPoints = scan({"hall", 20000, 0.0, 1, "lidar"});
    const double edge = edgeFor(vPoints);
    const Points vAdded = evened(vPoints).vAdded;
    EXPECT_GT(vAdded.size(), 2000U);
    for (const Point3& p : vAdded) {
        double toWall = INF;
        for (int axis = 0; axis < 3; ++axis) {
            const double v = (p - Point3()).getCartesian(axis);
            toWall = std::min({toWall, std::fabs(v), std::fabs(size.getCartesian(axis) - v)});
        }
        EXPECT_LT(std::min(toWall, std::fabs((p - ball).length() - 0.8)), 0.75 * edge) << p;  // edges are rounded
        const Vector3 sight = p - scanner;
        EXPECT_LT(std::fabs(sight.z()), 1.01 * std::sin(M_PI / 3.0) * sight.length()) << p;
        const bool bInShadow = crossProduct(ball - scanner, sight).length() < 0.7 * sight.length();
        EXPECT_FALSE(bInShadow && sight.length() > (ball - scanner).length() + 0.8) << p;
    }
    Points vAll = vPoints;
    vAll.insert(vAll.end(), vAdded.begin(), vAdded.end());
    EXPECT_GT(areaOfMesh(vAll, edge), 1.25 * areaOfMesh(vPoints, edge));
}

TEST(EvenSampling, addsOnePointAtMostToAnEmptyCellNearTheSurface) {
    const Points vPoints = scan({"sphere", 20000, 0.0, 2, "varying", 64.0});
    const PointBounds bounds = boundsOf(vPoints);
    const Calc grid = gridOf(vPoints).front();
    Points vAll = evened(vPoints).vAdded;
    ASSERT_GT(vAll.size(), 1000U);
    std::set<RCD> sCell;
    for (const Point3& p : vPoints)
        sCell.insert(grid.getRCD(&p));
    for (const Point3& p : vAll) {
        EXPECT_TRUE(sCell.insert(grid.getRCD(&p)).second);
        EXPECT_NEAR((p - Point3()).length(), 1.0, 0.1 * grid.getSideLen());
    }
    vAll.insert(vAll.end(), vPoints.begin(), vPoints.end());
    EXPECT_EQ(boundsOf(vAll).low, bounds.low);
    EXPECT_EQ(boundsOf(vAll).high, bounds.high);
}

TEST(EvenSampling, hasNoUseForOrderWorkersAndScale) {
    forSeeds(3, [](unsigned seed) {
        Points vPoints = scan({"sphere", 6000, 0.2, seed, "varying", 16.0});
        const Points vRepeated(vPoints.begin(), vPoints.begin() + 500);
        vPoints.insert(vPoints.end(), vRepeated.begin(), vRepeated.end());
        const double edge = edgeFor(vPoints);
        const Points vAdded = evenedOn(vPoints, edge).vAdded;
        ASSERT_GT(vAdded.size(), 100U);
        for (const int numThreads : {1, 3, 8}) {
            setNumThreads(numThreads);
            Scan(seed).shuffle(vPoints);
            EXPECT_EQ(evenedOn(vPoints, edge).vAdded, vAdded) << numThreads;
        }
        setNumThreads(0);
        for (const double scale : {0x1p-300, 0x1p200})  // powers of two: all digits stay
            EXPECT_EQ(evenedOn(scaled(vPoints, scale), scale * edge).vAdded, scaled(vAdded, scale)) << scale;
        const Points vShifted = scaled(evenedOn(scaled(vPoints, 1.0, 1000.0), edge).vAdded, 1.0, -1000.0);
        EXPECT_NEAR(static_cast<double>(vShifted.size()), static_cast<double>(vAdded.size()),
                    0.02 * static_cast<double>(vAdded.size()));
    });
}

TEST(EvenSampling, leavesWindowsOpenThatAreWiderThanTheSpacingExplains) {
    forSeeds(4, [](unsigned seed) {
        for (const double width : {4.0, 8.0, 12.0}) {
            const Points vPoints = windowed(seed, width);
            const std::size_t num = numNear(evened(vPoints).vAdded, {0.5, 0.5, 0.0}, 0.4 * width / std::sqrt(12000.0));
            if (width > 4.0)
                EXPECT_EQ(num, 0U) << width;
            else
                EXPECT_GE(num, 2U) << width;
        }
    });
}

TEST(EvenSampling, keepsParallelWallsApart) {
    forSeeds(3, [](unsigned seed) {
        Points vPoints = Scan(seed).plane(8000);
        const double gap = 3.0 * edgeFor(vPoints);
        for (const Point3& p : Scan(seed + 100).plane(8000))
            vPoints.emplace_back(p.x(), p.y(), gap);
        const Points vAdded = evenedOn(vPoints, gap / 3.0).vAdded;
        EXPECT_GT(vAdded.size(), 500U);
        EXPECT_TRUE(
            std::all_of(vAdded.begin(), vAdded.end(), [&](const Point3& p) { return p.z() == 0.0 || p.z() == gap; }));
    });
}

TEST(EvenSampling, doesNotFoldSheetsOver) {
    // Two random sheets that meet at a right angle a little apart: the gap between them is as wide as others.
    Points vPoints;
    const double edge = edgeFor(Scan(1).plane(6000));
    for (const Point3& p : Scan(1).plane(6000))
        vPoints.emplace_back(p.x(), p.y() + 2.5 * edge, 0.0);
    for (const Point3& p : Scan(2).plane(6000))
        vPoints.emplace_back(p.x(), 0.0, p.y() + 2.5 * edge);
    for (const Point3& p : evenedOn(vPoints, edge).vAdded)
        EXPECT_TRUE(std::fabs(p.y()) < 0.5 * edge || std::fabs(p.z()) < 0.5 * edge) << p;
}

TEST(EvenSampling, bridgesAtMostEightCellsHoweverSparseThePlaceIs) {
    for (const double width : {12.0, 18.0}) {
        Points vPoints;
        for (int i = 0; i < 3600; ++i)
            vPoints.emplace_back(i % 60, i / 60, 0.0);
        for (const Point3& p : Scan(3).plane(240))  // six cells from each other
            vPoints.push_back(p + Vector3(62.0 + 6.0 * static_cast<double>((vPoints.size() - 3600) / 12),
                                          6.0 * static_cast<double>(vPoints.size() % 12), 0.0));
        std::erase_if(vPoints, [=](const Point3& p) { return std::hypot(p.x() - 112.0, p.y() - 30.0) < 0.5 * width; });
        const Points vAdded = evenedOn(vPoints, 1.0).vAdded;
        EXPECT_GT(numNear(vAdded, {140.0, 30.0, 0.0}, 10.0), 100U);
        EXPECT_EQ(numNear(vAdded, {112.0, 30.0, 0.0}, 4.0) > 0, width < 16.0) << width;
    }
}

TEST(EvenSampling, givesUpWhereTheSpacingIsFarBelowThePoints) {
    const Points vPoints = scan({"torus", 5000, 0.0, 1, "even"});
    EXPECT_FALSE(evenedOn(vPoints, edgeFor(vPoints, 0.5)).bOverCap);
    const EvenSampling result = evenedOn(vPoints, edgeFor(vPoints, 0.25));
    EXPECT_TRUE(result.bOverCap);
    EXPECT_TRUE(result.vAdded.empty());
}

TEST(EvenSampling, takesAnyCloud) {
    Points vLine, vClumps, vLattice;
    for (int i = 0; i < 300; ++i) {
        vLine.emplace_back(i, i, i);
        vClumps.insert(vClumps.end(), 40, Point3(i * 1000 % 7, i % 5, i % 3));
        vLattice.emplace_back(i % 20, i / 20, 0.0);
    }
    for (const Points& vPoints :
         {Points(1, Point3(1, 2, 3)), Points(2, Point3(1, 2, 3)), Points{{0, 0, 0}, {1, 1, 0}, {3, 0, 1}},
          Points(5000, Point3(1e9, 0, 0)), vLine, vClumps, vLattice, scaled(vLattice, 1e-280), scaled(vLattice, 1e250),
          scaled(Scan(1).dust(2000), 1.0, 1e6)})
        for (const double edge : {0.3, 1.0, 4.0}) {
            const double extent = std::max(boundsOf(vPoints).largestExtent(), 1e-300);
            const double used = vPoints.size() < 10 || extent < 1e200 ? edge * std::max(extent / 20.0, 1e-290) : 1e248;
            if (extent <= 1e-300) continue;  // no grid but one of spacing 1 suits a single place
            const EvenSampling result = evenedOn(vPoints, used);
            EXPECT_LE(result.vAdded.size(), 10 * result.numNodes);
        }
    EXPECT_TRUE(evenedOn(Points(5000, Point3(1e9, 0, 0)), 1.0).vAdded.empty());
}

TEST(EvenSampling, growsNothingInDust) {
    for (const double pitch : {1.5, 2.0, 3.0}) {
        Points vPoints;
        for (const Point3& p : Scan(1).dust(4000))
            vPoints.emplace_back(16.0 * pitch * p.x(), 16.0 * pitch * p.y(), 16.0 * pitch * p.z());
        EXPECT_TRUE(evenedOn(vPoints, 1.0).vAdded.empty()) << pitch;
    }
}

TEST(EvenSampling, takesAFewWideGapsForChance) {
    // Pairs of places without a point leave gaps wide enough to tear the mesh.
    for (const int numPairs : {2, 12}) {
        Points vPoints = lattice(40, 40, 1.0);
        for (int pair = 0; pair < numPairs; ++pair) {
            const Point3 first(6.0 + 8.0 * (pair % 4), 6.0 + 8.0 * (pair / 4), 0.0);
            std::erase_if(vPoints, [&](const Point3& p) {
                return (p - first).length() < 0.1 || (p - first - Vector3(1.0, 0.0, 0.0)).length() < 0.1;
            });
        }
        const EvenSampling result = evenedOn(vPoints, 1.0);
        EXPECT_GE(result.numGaps, static_cast<std::size_t>(numPairs));
        EXPECT_EQ(result.bEvenCloud, numPairs == 2) << result.numGaps;
    }
}

// ---- Gaps

TEST(GapTriangles, haveCornersWhosePlanesAgree) {
    for (const double bend : {36.0, 48.0}) {  // the sides lie off the planes by half of that
        Gaps gaps(lattice(20, 20, 1.9));
        const auto isLeft = [&](NodeId node) { return gaps.sample.nodes.vPlace[node].x() < 18.0; };
        for (NodeId node = 0; node < gaps.planes.vNormal.size(); ++node) {
            const double angle = (isLeft(node) ? -0.5 : 0.5) * bend * M_PI / 180.0;
            gaps.planes.vNormal[node] = {std::sin(angle), 0.0, std::cos(angle)};
        }
        std::size_t numAcross = 0, numBeside = 0;
        for (const GapTriangle& gap : gaps.candidates())
            ++(isLeft(gap.corners[0]) != isLeft(gap.corners[1]) || isLeft(gap.corners[1]) != isLeft(gap.corners[2])
                   ? numAcross
                   : numBeside);
        EXPECT_GT(numBeside, 500U);
        EXPECT_EQ(numAcross > 0, bend < 40.0) << numAcross;
    }
}

TEST(GapTriangles, areNotFilledByNodesOfAnotherSheet) {
    struct Over {
        double height;
        bool bOther;  // a plane across
        bool bGap;    // the square beneath stays one
    };
    for (const auto& [height, bOther, bGap] : {Over{1.2, false, false}, Over{1.2, true, true}, Over{1.3, false, true}}) {
        Points vPoints = lattice(20, 20, 1.9);
        vPoints.emplace_back(10.5 * 1.9, 10.5 * 1.9, height);  // over the middle of a square
        Gaps gaps(vPoints);
        for (NodeId node = 0; node < gaps.planes.vNormal.size(); ++node) {
            const bool bOver = gaps.sample.nodes.vPlace[node].z() > 0.5;
            gaps.planes.vNormal[node] = bOver && bOther ? Vector3(1.0, 0.0, 0.0) : Vector3(0.0, 0.0, 1.0);
        }
        const std::vector<GapTriangle> vGap = gaps.candidates();
        const auto isInSquare = [&](const GapTriangle& gap) {
            return std::all_of(gap.corners.begin(), gap.corners.end(), [&](NodeId node) {
                const Vector3& place = gaps.sample.nodes.vPlace[node];
                return place.z() < 0.5 && std::fabs(place.x() - 19.95) < 1.0 && std::fabs(place.y() - 19.95) < 1.0;
            });
        };
        EXPECT_EQ(std::any_of(vGap.begin(), vGap.end(), isInSquare), bGap) << height;
    }
}

TEST(GapTriangles, holdNoNodeInTheirDiscs) {
    double numOfSteps = 0.0, numFilledOfSteps = 0.0;
    forSeeds(3, [&](unsigned seed) {
        Points vSmooth, vStep;
        for (const Point3& p : Scan(seed).plane(3000))  // dense at one side, a sixteenth of that at the other
            vSmooth.emplace_back(20.0 * (std::exp2(2.0 * p.x()) - 1.0), 60.0 * p.y(), 0.0);
        Gaps smooth(vSmooth);
        const std::vector<GapTriangle> vGap = smooth.candidates();
        EXPECT_GT(vGap.size(), 100U);
        EXPECT_EQ(numFilled(vGap, smooth.sample.nodes.vPlace), 0U);

        // Where the spacing steps from 1 to 7 a node at the edge has only dense neighbours, and knows little of the others.
        for (const Point3& p : Scan(seed).plane(10000))
            vStep.emplace_back(100.0 * p.x(), 100.0 * p.y(), 0.0);
        for (const Point3& p : Scan(seed + 100).plane(400))
            vStep.emplace_back(100.0 + 140.0 * p.x(), 140.0 * p.y(), 0.0);
        Gaps step(vStep);
        const std::vector<GapTriangle> vGapOfStep = step.candidates();
        numOfSteps += static_cast<double>(vGapOfStep.size());
        numFilledOfSteps += static_cast<double>(numFilled(vGapOfStep, step.sample.nodes.vPlace));
    });
    EXPECT_GT(numOfSteps, 10000.0);
    EXPECT_LT(numFilledOfSteps, 0.0014 * numOfSteps);
}

TEST(NearestNodes, agreesWithTheSearchThroughAll) {
    forSeeds(4, [](unsigned seed) {
        Points vPoints = Scan(seed).sphere(400);
        for (const Point3& p : Scan(seed + 9).dust(60))
            vPoints.emplace_back(50.0 * p.x(), p.y(), p.z());
        const Calc grid = makeGrid(boundsOf(vPoints), 0.1);
        const SampleNodes nodes = makeSampleNodes(vPoints, grid, {{0.0, 0.0, 0.0}, 0.1});
        const NearestNodes nearest(nodes);
        NearestWalk walk(nearest, nodes);
        for (NodeId node = 0; node < nodes.size(); ++node) {
            std::vector<NearNode> vAll, vFound;
            for (NodeId other = 0; other < nodes.size(); ++other)
                if (other != node) vAll.emplace_back((nodes.vPlace[other] - nodes.vPlace[node]).sqLength(), other);
            std::sort(vAll.begin(), vAll.end());
            const double reach = walk.gather(node, vFound);
            EXPECT_TRUE(vFound.size() == 48 || (vFound.size() >= 16 && reach == 3.0));
            EXPECT_EQ(sorted(vFound), std::vector<NearNode>(vAll.begin(), vAll.begin() + std::ssize(vFound)));
            EXPECT_GE(std::sqrt(vAll[vFound.size()].sqDistance()), reach);
            nearest.find(node, 1000, vFound);
            EXPECT_EQ(vFound, vAll);
        }
    });
}

TEST(VoronoiCell, hasTheEmptyDiscsOfAllPairs) {
    forSeeds(20, [](unsigned seed) {
        Scan random(seed);
        std::vector<PlaneNeighbour> vNeighbour;
        for (NodeId i = 0; i < 20; ++i)
            vNeighbour.push_back({random.uniform(-3.0, 3.0), random.uniform(-3.0, 3.0), i});
        std::set<std::pair<NodeId, NodeId>> sExpected, sFound;
        for (const PlaneNeighbour& a : vNeighbour)
            for (const PlaneNeighbour& b : vNeighbour) {
                const double det = 2.0 * (a.x * b.y - a.y * b.x);
                if (!(det > 0.0)) continue;
                const double x = (a.sqDistance() * b.y - b.sqDistance() * a.y) / det,
                             y = (b.sqDistance() * a.x - a.sqDistance() * b.x) / det;
                if (std::none_of(vNeighbour.begin(), vNeighbour.end(), [&](const PlaneNeighbour& c) {
                        return c.node != a.node && c.node != b.node && std::hypot(c.x - x, c.y - y) < std::hypot(x, y);
                    }))
                    sExpected.emplace(a.node, b.node);
            }
        VoronoiCell cell;
        cell.cut(vNeighbour, 1e6);
        for (const EmptyDisc& disc : listOf<EmptyDisc>([&](auto& v) { cell.getDiscs(v); }))
            if (std::isfinite(disc.radius)) sFound.emplace(disc.first, disc.second);
        EXPECT_EQ(sFound, sExpected);
    });
}

TEST(PrincipalAxes, solveTheirEquation) {
    forSeeds(200, [](unsigned seed) {
        Scan random(seed);
        const double thickness = std::pow(10.0, -static_cast<double>(seed % 9));
        const Vector3 n = Vector3(random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1));
        Moments m;
        for (int i = 0; i < 12; ++i) {
            const Vector3 v(random.uniform(-1, 1), random.uniform(-1, 1), random.uniform(-1, 1));
            m.add(v - n * (n * v / n.sqLength() * (1.0 - thickness)));
        }
        const PrincipalAxes axes = principalAxes(m);
        const Vector3& u = axes.normal;
        const Vector3 image(m.xx * u.x() + m.xy * u.y() + m.xz * u.z(), m.xy * u.x() + m.yy * u.y() + m.yz * u.z(),
                            m.xz * u.x() + m.yz * u.y() + m.zz * u.z());
        EXPECT_NEAR(u.length(), 1.0, 1e-12);
        EXPECT_NEAR((image - u * axes.least).length(), 0.0, 1e-12 * axes.largest);
        EXPECT_TRUE(axes.least <= axes.middle && axes.middle <= axes.largest);
        EXPECT_NEAR(axes.least + axes.middle + axes.largest, m.xx + m.yy + m.zz, 1e-12 * axes.largest);
    });
}
