#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>

#include "freeFunctions.h"
#include "mesh_writers.h"
#include "support/TempFolder.h"
#include "support/capture.h"
#include "support/coarse_soup.h"
#include "support/fine.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

MeshPtr meshOf(const Soup& soup) {
    return std::make_shared<Mesh>(FineMesh(soup).release());
}

/// Triangles with coordinates of all magnitudes, among them some that have no normal.
Soup roughSoup(unsigned seed) {
    std::mt19937_64 random(seed);
    Soup soup;
    const auto coordinate = [&] {
        constexpr double SPECIAL[] = {0.0, -0.0, 1e7 + 1.0 / 3.0, 0.1, 5e-324, 123456789012.5, -1e300, 1e-5};
        const std::uint64_t pick = random() % 16;
        if (pick < 8) return SPECIAL[pick];
        return std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())), static_cast<int>(random() % 120) - 120);
    };
    for (int i = 0; i < 300; ++i) {
        for (int k = 0; k < 3; ++k)
            soup.vVtx.emplace_back(coordinate(), coordinate(), coordinate());
        if (i % 10 == 0) soup.vVtx.back() = Point3(soup.vVtx[soup.vVtx.size() - 2].x(), 7.0 + i, 0.5);
        soup.vT.push_back({3 * i, 3 * i + 1, 3 * i + 2});
    }
    return soup;
}

/// The file as a stream writes it.
std::string stlByStream(const std::vector<Point3>& vCorners) {
    std::ostringstream out;
    out.precision(10);
    const auto triple = [&out](const auto& t) { out << t.x() << " " << t.y() << " " << t.z() << "\n"; };
    out << "solid - KEL\n";
    for (std::size_t i = 0; i < vCorners.size(); i += 3) {
        bool bOK = false;
        const Vector3 normal = getNormalVector(vCorners[i], vCorners[i + 1], vCorners[i + 2], bOK);
        out << "facet normal ";
        triple(bOK ? normal : Vector3());
        out << " outer loop\n";
        for (std::size_t k = 0; k < 3; ++k) {
            out << "  vertex ";
            triple(vCorners[i + k]);
        }
        out << " endloop\nendfacet\n";
    }
    out << "endsolid - KEL\n";
    return out.str();
}

TEST(MeshFiles, anStlFileHasTheBytesOfAStream) {
    const TempFolder folder;
    for (const Soup& soup : {tetrahedron(), roughSoup(1), roughSoup(2), torus(60, 40), Soup()}) {
        const MeshPtr pMesh = meshOf(soup);
        pMesh->getRMesh()->createVertex(77, 0, 0, false);
        std::vector<Point3> vCorners;
        pMesh->getRMesh()->getTriangleCorners(vCorners);
        ASSERT_TRUE(writeMesh_auto(folder.path("m.stl"), pMesh, true));
        EXPECT_TRUE(folder.read("m.stl") == stlByStream(vCorners)) << soup.vT.size() << " triangles";
    }
}

TEST(MeshFiles, aTriangleWithoutAreaStaysInTheStlFileWithAZeroNormal) {
    const TempFolder folder;
    ASSERT_TRUE(meshOf({{{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}, {{0, 1, 2}}})->writeStl_ASCII(folder.path("m.stl")));
    EXPECT_EQ(folder.read("m.stl"),
              "solid - KEL\nfacet normal 0 0 0\n outer loop\n  vertex 0 0 0\n  vertex 1 1 1\n  vertex 2 2 2\n"
              " endloop\nendfacet\nendsolid - KEL\n");
}

TEST(MeshFiles, anObjFileNumbersTheUsedVerticesFromOne) {
    const TempFolder folder;
    FineMesh mesh(tetrahedron());
    mesh->createVertex(5, 5, 5, true);  // an orphan
    const MeshPtr pMesh = std::make_shared<Mesh>(mesh.release());
    const std::string file = folder.path("m.obj");
    EXPECT_EQ(outputOf([&] { toObj(pMesh, file); }), "Writing " + file + "\n");
    EXPECT_EQ(folder.read("m.obj"), "v 0 0 0\nv 1 1 0\nv 1 0 1\nv 0 1 1\nf 1 2 3\nf 1 4 2\nf 1 3 4\nf 2 4 3\n");
}

TEST(MeshFiles, theIndexedFormIsTheMesh) {
    FineMesh mesh(torus(9, 7));
    for (int i = 0; i < 40; ++i)
        mesh.kill(i);
    Mesh facade(mesh.release());
    std::vector<Point3*> vVertices, vPoints, vCorners, vByIndex;
    std::vector<int> vIndices;
    facade.getVertexIndexData(vVertices, vIndices);
    facade.getPoints(vPoints);
    facade.getTriangles(vCorners);
    for (const int i : vIndices)
        vByIndex.push_back(vVertices.at(static_cast<std::size_t>(i)));
    EXPECT_EQ(vVertices, vPoints);
    EXPECT_LT(vPoints.size(), 63U);
    EXPECT_EQ(vByIndex, vCorners);
    EXPECT_EQ(vIndices.size(), 3U * (126 - 40));
    std::vector<Point3*> vAgain;
    facade.getVertexIndexData(vAgain, vIndices);
    EXPECT_EQ(vIndices.size(), 6U * (126 - 40)) << "appended";
    EXPECT_TRUE(std::equal(vIndices.begin(), vIndices.begin() + 258, vIndices.begin() + 258));
}

TEST(MeshFiles, aCoarseMeshIsWrittenLikeTheFineOne) {
    const TempFolder folder;
    CoarseSoup soup(sheet(2, 2), 3);
    RMesh fine(&soup.coarse);
    ASSERT_TRUE(writeSTL(&soup.coarse, soup.mBundle, folder.path("coarse.stl")));
    ASSERT_TRUE(writeSTL(&fine, folder.path("fine.stl")));
    EXPECT_EQ(folder.read("coarse.stl"), folder.read("fine.stl"));
    const auto mLess = std::map<CCD, Bundle*>(std::next(soup.mBundle.begin()), soup.mBundle.end());
    const std::string report = reportOf([&] { writeSTL(&soup.coarse, mLess, folder.path("coarse.stl")); });
    EXPECT_EQ(countIn(report, conditionFailed("q_it!=mCCDBundle.end()")), 1);
    Bundle hollow;
    for (Bundle* pBundle : {&hollow, static_cast<Bundle*>(nullptr)}) {
        auto mBroken = soup.mBundle;
        mBroken.begin()->second = pBundle;
        reportOf([&] { writeSTL(&soup.coarse, mBroken, folder.path("coarse.stl")); });
    }
}

TEST(MeshFiles, anUnknownExtensionGivesABinaryPlyOfAFixedName) {
    const TempFolder folder;
    const auto former = std::filesystem::current_path();
    std::filesystem::current_path(folder.path(""));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(writeMesh_auto("m.xyz", meshOf(tetrahedron()), true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Filename [m.xyz] is not valid, using [kel_output.ply] instead\n");
    std::filesystem::current_path(former);
    EXPECT_TRUE(meshOf(tetrahedron())->writePly_BIN(folder.path("bin.ply")));
    EXPECT_EQ(folder.read("kel_output.ply"), folder.read("bin.ply"));
    EXPECT_TRUE(writeMesh_auto(folder.path("ascii.ply"), meshOf(tetrahedron()), true));
    EXPECT_TRUE(meshOf(tetrahedron())->writePly_ASCII(folder.path("ascii2.ply")));
    EXPECT_EQ(folder.read("ascii.ply"), folder.read("ascii2.ply"));
    EXPECT_NE(folder.read("ascii.ply"), folder.read("bin.ply"));
}

TEST(MeshFiles, aFailureIsToldAndLeavesNoFile) {
    const TempFolder folder;
    const MeshPtr pMesh = meshOf(torus(60, 40));
    bool bWritten = true;
    for (const std::string& file : {folder.path("no_such_folder/m.stl"), folder.path("no_such_folder/m.ply")}) {
        const std::string text = outputOf([&] { bWritten = writeMesh_auto(file, pMesh, true); });
        EXPECT_FALSE(bWritten) << file;
        EXPECT_EQ(countIn(text, "writing " + file + " failed"), 1) << text;
    }
    const std::string missing = folder.path("no_such_folder/m.obj");
    EXPECT_EQ(countIn(outputOf([&] { writeSTL(pMesh->getRMesh(), missing); }), "Failed to open " + missing), 1);
    outputOf([&] { bWritten = writeSTL(pMesh->getRMesh(), "/dev/full"); });
    EXPECT_FALSE(bWritten) << "a full disk";
    for (const std::string& file : {missing, std::string("/dev/full")}) {
        testing::internal::CaptureStderr();
        outputOf([&] { toObj(pMesh, file); });
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Can't write " + file + "\n");
    }
    EXPECT_EQ(folder.numFiles(), 0U);
}

TEST(MeshFiles, noMeshIsAnAssertion) {
    const TempFolder folder;
    EXPECT_EQ(
        countIn(reportOf([&] { writeMesh_auto(folder.path("m.stl"), nullptr, true); }), conditionFailed("pMesh!=__null")),
        1);
    reportOf([&] { toObj(nullptr, folder.path("m.obj")); });
    reportOf([&] { writeSTL(static_cast<RMesh*>(nullptr), folder.path("m.stl")); });
    reportOf([&] { Mesh(nullptr).getAverageEdgeLength(); });
    EXPECT_EQ(folder.numFiles(), 0U);
}

}  // namespace
