// Triangle soups to meshes and points, as their caller sees it: how near and how whole the meshes of known surfaces are.
//
// The scan lines of the rasteriser miss cells of which an oblique triangle cuts off a sliver. Here and there such a cell is
// needed: then a pinhole of a triangle stays, or a small fin, or a bubble on edges of three and four triangles, and no pass
// of the repair takes these away. So a surface askew to the grid comes out whole but for a few edges in a thousand; one that
// is parallel to it, where nothing is missed, comes out closed.
#include "MeshAnalysis.h"
#include "support/prelude.h"
#include "support/soups.h"

using namespace TARN_TEST;

namespace {

/// A soup and the mesh that it melts to.
struct Melted {
    Melted(std::string theName, TriangleSoup theSoup, double theSpacing, double featureAngle)
        : name(theName + ", spacing " + std::to_string(theSpacing)), soup(std::move(theSoup)), spacing(theSpacing) {
        const CoutSilence silence;
        const MeshPtr pMesh = melt(soup, spacing, featureAngle);
        if (!pMesh) {
            ADD_FAILURE() << name << ": no mesh";
            return;
        }
        std::vector<Point3*> vCorners;
        pMesh->getTriangles(vCorners);
        std::vector<Point3> vPlaces;
        for (const Point3* p : vCorners)
            vPlaces.push_back(*p);
        mesh = unifiedCorners(vPlaces);
        figures = measureMesh(mesh);
        EXPECT_EQ(figures.numNotFinite + figures.numDuplicates, 0U) << name;
    }
    std::size_t numEdgesAmiss() const { return figures.vNumEdges[0] + figures.numNonManifoldEdges(); }
    double shareAmiss() const { return static_cast<double>(numEdgesAmiss()) / static_cast<double>(figures.numEdges()); }
    /// The share of the vertices within so many spacings of the soup.
    double shareWithin(double numSpacings) const {
        const auto numNear = std::count_if(mesh.vVertices.begin(), mesh.vVertices.end(), [&](const Point3& p) {
            return distanceToSoup(p, soup) <= numSpacings * spacing;
        });
        return static_cast<double>(numNear) / static_cast<double>(mesh.vVertices.size());
    }
    /// Spacings from a place to the nearest vertex.
    double missOf(const Point3& place) const {
        double best = 1e300;
        for (const Point3& p : mesh.vVertices)
            best = std::min(best, (p - place).length());
        return best / spacing;
    }

    std::string name;
    TriangleSoup soup;
    double spacing;
    IndexedTriangles mesh;
    MeshFigures figures;
};

const Point3 LOW(0, 0, 0), HIGH(1, 1, 1);

TEST(Melt, makesAlignedPartsClosed) {
    for (const double spacing : {0.05, 0.0371, 0.021})
        for (const double featureAngle : {30.0, 361.0}) {
            const Melted cube("cube", boxSoup(LOW, HIGH), spacing, featureAngle);
            EXPECT_EQ(cube.numEdgesAmiss(), 0U) << cube.name;
            EXPECT_EQ(cube.figures.eulerCharacteristic, 2) << cube.name;
            EXPECT_EQ(cube.figures.numOutward, 1U) << cube.name;
            EXPECT_NEAR(cube.figures.volume, 1.0, 0.3 * spacing) << cube.name;
            EXPECT_EQ(cube.shareWithin(1.0), 1.0) << cube.name;
            const Melted bore("bored block", boredBlockSoup(64), spacing, featureAngle);
            EXPECT_LE(bore.shareAmiss(), 1e-4) << bore.name;
            EXPECT_EQ(bore.figures.numComponents, 1U) << bore.name;
            EXPECT_GE(bore.shareWithin(1.0), 0.999) << bore.name;
        }
}

TEST(Melt, keepsCornersAndSharpEdgesWhereTheyAre) {
    for (const double degrees : {0.0, 7.0, 33.0}) {
        const double maxMiss = degrees == 0.0 ? 0.1 : 0.6;
        const Melted cube("cube, turned " + std::to_string(degrees), turned(boxSoup(LOW, HIGH), degrees), 0.05, 30.0);
        for (std::size_t i = 0; i < cube.soup.size(); i += 3) {
            EXPECT_LE(cube.missOf(cube.soup[i]), maxMiss) << cube.name;
            for (double t = 0.0; t < 1.0; t += 0.05) {  // sides of faces; the diagonals are the third side
                const Point3 p = cube.soup[i] + (cube.soup[i + 1] - cube.soup[i]) * t;
                EXPECT_LE(cube.missOf(p), maxMiss + 0.9) << cube.name << ": vertices along it are up to 1.8 apart";
            }
        }
        EXPECT_NEAR(std::fabs(cube.figures.volume), cube.numEdgesAmiss() == 0 ? 1.0 : 0.0, 1e-3) << cube.name;
    }
}

TEST(Melt, makesCurvedAndObliquePartsWholeButForAFewEdges) {
    for (const double spacing : {0.05, 0.0371})
        for (const Melted& part :
             {Melted("sphere", sphereSoup(40), spacing, 30.0), Melted("torus", torusSoup(40), spacing, 30.0),
              Melted("cube askew", turned(boxSoup(LOW, HIGH), 33.0), spacing, 30.0),
              Melted("bored block askew", turned(boredBlockSoup(64), 20.0), spacing, 30.0)}) {
            EXPECT_EQ(part.figures.numComponents, 1U) << part.name;
            EXPECT_LE(part.shareAmiss(), 0.005) << part.name;
            EXPECT_GE(part.shareWithin(1.0), 0.999) << part.name;
        }
}

TEST(Melt, doesNotCareForWindingsAndCopies) {
    const TriangleSoup part = turned(boredBlockSoup(32), 20.0);
    TriangleSoup anchors;  // flat triangles in front number the corners alike
    for (const Point3& p : part)
        anchors.insert(anchors.end(), 3, p);
    const Melted plain("part", joined(anchors, part), 0.05, 30.0);
    const Melted flips("with flips", joined(anchors, flipped(part, 3)), 0.05, 30.0);
    EXPECT_EQ(flips.mesh.vVertices, plain.mesh.vVertices);
    EXPECT_EQ(flips.mesh.vTriangles, plain.mesh.vTriangles);
    // A double wall is a fold of 180 degrees along each of its edges, so all of them are features then.
    const Melted doubled("doubled", joined(part, part), 0.05, 30.0);
    EXPECT_LE(doubled.shareAmiss(), 0.005);
    EXPECT_EQ(doubled.figures.numComponents, 1U);
    EXPECT_GE(doubled.shareWithin(1.0), 0.999);
}

TEST(Melt, endsInOrderOnSoupsThatAreNoSurface) {
    const CoutSilence silence;
    Scan scan(5);
    for (int n = 0; n < 12; ++n) {
        TriangleSoup soup;  // crumbs, needles and giants
        for (int i = 0; i < 300; ++i) {
            const double reach = std::pow(10.0, scan.uniform(-4.0, n % 3 == 0 ? 1.0 : -0.5));
            const Point3 p = scan.dust(1).front();
            for (int j = 0; j < 3; ++j) {
                const double x = scan.uniform(0, reach), y = scan.uniform(0, reach * 1e-3), z = scan.uniform(0, reach);
                soup.push_back(p + Vector3(x, y, z));
            }
        }
        EXPECT_NE(melt(soup, 0.1, 30.0 * n), nullptr);
    }
    TriangleSoup book;  // a thousand pages on one edge
    for (int i = 0; i < 1000; ++i)
        addTriangle(book, {0, 0, 0}, {0, 0, 1}, {std::cos(0.001 * i), std::sin(0.001 * i), 0.5});
    EXPECT_NE(melt(book, 0.05, 30.0), nullptr);
}

TEST(ToCloud, givesAPointACell) {
    const CoutSilence silence;
    TriangleSoup soup = torusSoup(30);
    std::vector<Point3> vPoints(1, Point3(7, 7, 7));
    toCloud(soup, 0.05, 30.0, vPoints);
    EXPECT_EQ(vPoints.front(), Point3(7, 7, 7)) << "what is there stays";
    vPoints.erase(vPoints.begin());
    EXPECT_NEAR(static_cast<double>(vPoints.size()), 1.5 * 15.8 / (0.05 * 0.05), 1500.0);
    for (const Point3& p : vPoints)
        ASSERT_LT(distanceToSoup(p, soup), 0.5 * 0.05);
    std::sort(vPoints.begin(), vPoints.end());
    EXPECT_EQ(std::adjacent_find(vPoints.begin(), vPoints.end()), vPoints.end());
}

// The normal of a needle is noise, and the foot of a cell on its plane may lie off the grid.
TEST(Melt, passesANeedleWhosePlaneLeavesTheGrid) {
    const CoutSilence silence;
    std::vector<Point3> vSoup{
        {0, 0, 0}, {20565.899999999998, 23935.799999999999, 27618.299999999999}, {68553, 79786, 92061}};
    std::vector<Point3> vOut;
    EXPECT_NO_THROW(toCloud(vSoup, 1.0, 9999.0, vOut));
    EXPECT_GT(vOut.size(), 90000U);
}

}  // namespace
