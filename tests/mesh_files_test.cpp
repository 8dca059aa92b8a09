#include <array>
#include <cmath>
#include <cstring>
#include <sstream>

#include "Progress.h"
#include "freeFunctions.h"
#include "mesh_writers.h"
#include "numberForms.h"
#include "support/FolderTest.h"
#include "support/binary_stl.h"
#include "support/coarse_soup.h"
#include "support/figures.h"
#include "support/fine.h"
#include "support/points.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

struct MeshFiles : FolderTest {};
struct ReadMesh : FolderTest {};

TEST_F(MeshFiles, anStlFileHasTenDigitsAndNoNormalWhereThereIsNone) {
    const MeshPtr pMesh =
        meshOf(Soup{{{0, 0, 0}, {1e7 + 1.0 / 3.0, 0, 0}, {0, 123456789012.5, -0.0}, {0.1, 0, 0}}, {{0, 2, 1}, {0, 1, 3}}});
    pMesh->getRMesh()->createVertex(77, 0, 0, false);
    ASSERT_TRUE(writeMesh_auto(folder.path("m.stl"), pMesh, true));
    EXPECT_EQ(folder.read("m.stl"),
              "solid - KEL\nfacet normal 0 -0 -1\n outer loop\n  vertex 0 0 0\n  vertex 0 1.23456789e+11 -0\n"
              "  vertex 10000000.33 0 0\n endloop\nendfacet\nfacet normal 0 0 0\n outer loop\n  vertex 0 0 0\n"
              "  vertex 10000000.33 0 0\n  vertex 0.1 0 0\n endloop\nendfacet\nendsolid - KEL\n");
}

TEST_F(MeshFiles, anObjFileNumbersTheUsedVerticesFromOne) {
    FineMesh mesh(tetrahedron());
    mesh->createVertex(5, 5, 5, true);  // an orphan
    const MeshPtr pMesh = meshOf(std::move(mesh));
    const std::string file = folder.path("m.obj");
    EXPECT_EQ(outputOf([&] { toObj(pMesh, file); }), "Writing " + file + "\n");
    EXPECT_EQ(folder.read("m.obj"), "v 0 0 0\nv 1 1 0\nv 1 0 1\nv 0 1 1\nf 1 2 3\nf 1 4 2\nf 1 3 4\nf 2 4 3\n");
}

TEST_F(MeshFiles, aBinaryStlFileHasTheCornersInSinglePrecisionAndUnitNormals) {
    const Soup soup{{{0, 0, 0}, {2, 0, 0.1}, {0, 3, 1e-3}, {1e6 + 0.01, 0, 5}}, {{0, 1, 2}, {0, 2, 3}}};
    const MeshPtr pMesh = meshOf(soup);
    ASSERT_TRUE(writeSTL_BIN(pMesh, folder.path("m.stl")));
    const std::string bytes = folder.read("m.stl"), zeros(80, '\0');
    ASSERT_EQ(bytes.size(), 84 + 2 * 50U);
    EXPECT_EQ(bytes.substr(0, 80), zeros);
    for (std::size_t facet = 84; facet < bytes.size(); facet += 50) {
        std::array<float, 3> normal{};
        std::memcpy(normal.data(), &bytes[facet], sizeof normal);
        EXPECT_NEAR(std::hypot(normal[0], normal[1], normal[2]), 1.0, 1e-6);
        EXPECT_EQ(normal[2] > 0.99F, facet == 84);
        EXPECT_EQ(bytes.substr(facet + 48, 2), zeros.substr(0, 2));
    }
    std::vector<Point3> vRead, vExpected = cornersOf(pMesh);
    for (Point3& p : vExpected)
        p = inForm(p, SINGLE_BYTES);
    ASSERT_TRUE(readSTL_ASCII(folder.path("m.stl").c_str(), vRead));
    EXPECT_EQ(vRead, vExpected);
    outputOf([&] { EXPECT_FALSE(writeSTL_BIN(pMesh, folder.path("none/m.stl"))); });
}

TEST_F(MeshFiles, theCornersOfAnStlAreVerticesOfTheirOwn) {
    const MeshPtr pMesh = meshOf(tetrahedron());
    ASSERT_TRUE(writeMesh_auto(folder.path("m.stl"), pMesh, true));
    std::vector<Point3> vVertices, vNone;
    std::vector<int> vIndices{7}, vExpected{7};
    for (int i = 0; i < 12; ++i)
        vExpected.push_back(i);
    EXPECT_TRUE(readTriangles_auto(folder.path("m.stl"), vVertices, vIndices));
    EXPECT_EQ(vVertices, cornersOf(pMesh));
    EXPECT_EQ(vIndices, vExpected);
    expectFails("vVertices.empty()", [&] { readTriangles_auto(folder.path("m.stl"), vVertices, vIndices); });
    const std::string text = folder.read("m.stl");
    for (const std::string& name : {folder.write("cut.stl", text.substr(0, text.rfind("endloop"))), folder.path("m.xyz")}) {
        Points vSome;
        EXPECT_FALSE(readTriangles_auto(name, vNone, vIndices) || readTriangles_auto(name, vSome));
        EXPECT_TRUE(vNone.empty() && vIndices == vExpected) << name;
    }
}

TEST_F(MeshFiles, aCoarseMeshIsWrittenLikeTheFineOne) {
    CoarsePlaces soup(sheet(2, 2));
    RMesh fine(&soup.mesh);
    ASSERT_TRUE(writeSTL(&soup.mesh, soup.mBundle, folder.path("coarse.stl")) && writeSTL(&fine, folder.path("fine.stl")));
    EXPECT_EQ(folder.read("coarse.stl"), folder.read("fine.stl"));
    Bundle hollow;
    soup.mBundle.begin()->second = &hollow;
    reportOf([&] { writeSTL(&soup.mesh, soup.mBundle, folder.path("coarse.stl")); });
    soup.mBundle.erase(soup.mBundle.begin());
    expectFails("q_it!=mCCDBundle.end()", [&] { writeSTL(&soup.mesh, soup.mBundle, folder.path("coarse.stl")); });
}

TEST_F(MeshFiles, anUnknownExtensionGivesABinaryPlyOfAFixedName) {
    const WorkingFolder here;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(writeMesh_auto("m.xyz", meshOf(tetrahedron()), true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Filename [m.xyz] is not valid, using [kel_output.ply] instead\n");
    EXPECT_TRUE(meshOf(tetrahedron())->writePly_BIN(here.path("bin.ply")));
    EXPECT_EQ(here.read("kel_output.ply"), here.read("bin.ply"));
    EXPECT_TRUE(writeMesh_auto(here.path("ascii.ply"), meshOf(tetrahedron()), true));
    EXPECT_TRUE(meshOf(tetrahedron())->writePly_ASCII(here.path("ascii2.ply")));
    EXPECT_EQ(here.read("ascii.ply"), here.read("ascii2.ply"));
    EXPECT_NE(here.read("ascii.ply"), here.read("bin.ply"));
    PointAttributes attributes;
    attributes.set({"height", std::vector<float>{1, 2, 3, 4}, {}});
    testing::internal::CaptureStderr();
    EXPECT_TRUE(writeMesh_auto("m.xyz", meshOf(tetrahedron()), true, Precision::FLOAT, attributes));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(countIn(here.read("kel_output.ply"), "property float height\n"), 1);
}

TEST_F(MeshFiles, aFailureIsToldAndLeavesNoFile) {
    const MeshPtr pMesh = meshOf(torus(60, 40));
    const std::string missing = folder.path("no_such_folder/m");
    for (const std::string& file : {missing + ".stl", missing + ".ply"})
        expectText("writing " + file + " failed", [&] { EXPECT_FALSE(writeMesh_auto(file, pMesh, true)); });
    expectText("Failed to open " + missing, [&] { writeSTL(pMesh->getRMesh(), missing); });
    expectText("Failed to write /dev/full", [&] { EXPECT_FALSE(writeSTL(pMesh->getRMesh(), "/dev/full")); });
    for (const std::string& file : {missing, std::string("/dev/full")}) {
        testing::internal::CaptureStderr();
        outputOf([&] { toObj(pMesh, file); });
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Can't write " + file + "\n");
    }
    EXPECT_EQ(folder.numFiles(), 0U);
}

/// With the number of triangles.
std::pair<std::size_t, Figures> sizeOf(const MeshPtr& pMesh) {
    return {pMesh->getRMesh()->getNumT(), figuresOf(*pMesh->getRMesh())};
}

TEST_F(ReadMesh, bringsBackEveryDoubleWhereSinglePrecisionSpoilsTheMesh) {
    const auto torusAt = [](double x, double scale) {
        Soup soup = torus(20, 9);
        for (Point3& p : soup.vVtx)
            p = Point3(x + scale * p.x(), scale * p.y(), scale * p.z());
        return meshOf(soup);
    };
    const MeshPtr pNear = torusAt(0.0, 1.0 / 3.0), pFar = torusAt(5e6, 1.0 / 300.0);
    for (const std::string name : {"a.ply", "b.ply", "c.stl"}) {
        const std::string file = folder.path(name);
        ASSERT_TRUE(writeMesh_auto(file, pFar, name[0] == 'a', Precision::AUTO));
        const MeshPtr pRead = readMesh_auto(file);
        EXPECT_EQ(cornersOf(pRead), cornersOf(pFar)) << name;
        EXPECT_EQ(pRead->getRMesh()->getSideLen(), pRead->getAverageEdgeLength());
        ASSERT_TRUE(writeMesh_auto(file, pNear, name[0] == 'a', Precision::AUTO));
        const std::string automatic = folder.read(name);
        ASSERT_TRUE(writeMesh_auto(file, pNear, name[0] == 'a'));
        EXPECT_TRUE(folder.read(name) == automatic) << name;
        ASSERT_TRUE(writeMesh_auto(file, pNear, name[0] == 'a', Precision::DOUBLE));
        EXPECT_EQ(cornersOf(readMesh_auto(file)), cornersOf(pNear)) << name;
    }
    ASSERT_TRUE(toObj(pFar, folder.path("o.obj"), Precision::AUTO));
    EXPECT_EQ(cornersOf(readMesh_auto(folder.path("o.obj"))), cornersOf(pFar));
}

TEST(Precision, isDoubleWhereRoundingJoinsOrMovesAndNowhereElse) {
    // Two triangles with sides of about 1, and a gap between a corner of each at y = 1, where a step of a float is 2^-23.
    const auto needed = [](double x, double gap, const char* name) {
        const Soup soup{{{x, 1, 0}, {x + 1, 1, 0}, {x, 2, 0}, {x, 1 + gap, 0}, {x + 1, 1, 1}, {x, 2, 1}},
                        {{0, 1, 2}, {3, 4, 5}}};
        return neededPrecision(name, meshOf(soup), false);
    };
    const Precision FLOAT = Precision::FLOAT, DOUBLE = Precision::DOUBLE;
    for (const auto& [x, gap, name, wanted] : {std::tuple(0.0, 0.1, "m.ply", FLOAT),
                                               {0.0, 0x1p-25, "m.ply", DOUBLE},
                                               {0.0, 0x1p-23 + 0x1p-26, "m.ply", FLOAT},
                                               {1.0 / 3.0, 0.0, "m.ply", FLOAT},
                                               {1e5 / 3.0, 0.1, "m.ply", DOUBLE},
                                               {1e5 / 3.0, 0.1, "m.stl", FLOAT},
                                               {1e9 / 3.0, 0.1, "m.obj", DOUBLE},
                                               {1e9 / 3.0, 0.1, "m.list", FLOAT}})
        EXPECT_EQ(needed(x, gap, name), wanted) << x << " " << gap << " " << name;

    std::vector<Point3> vPoints = scaled(Scan(7).sphere(5000), 0.3);  // some 0.01 apart
    vPoints.push_back({1e6, 0, 0});  // an outlier, which hides the spacing in a bounding box
    vPoints.push_back({std::nan(""), 0, 0});
    vPoints.push_back(vPoints.front());  // at one place before as well
    EXPECT_EQ(neededPrecision("p.ply", vPoints, false), FLOAT);
    for (Point3& p : vPoints)
        p = p + Vector3(3e3, 0, 0);
    for (const char* name : {"p.ply", "p.xyz"})
        EXPECT_EQ(neededPrecision(name, vPoints, false), DOUBLE) << name;
    EXPECT_EQ(neededPrecision("p.bin", vPoints, false), FLOAT);
}

TEST_F(ReadMesh, keepsTheVerticesOfAPlyFileApartWhenAsked) {
    const std::string file = folder.path("m.ply");
    Soup soup{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}}, {{0, 1, 2}, {0, 3, 4}}};
    const MeshPtr pMesh = meshOf(soup);  // two triangles with a vertex in common
    EXPECT_EQ(makeManifold(pMesh).numNewVertices, 1U);
    ASSERT_TRUE(writeMesh_auto(file, pMesh, false));
    EXPECT_EQ(sizeOf(readMesh_auto(file, 0.0, false)), sizeOf(pMesh));
    EXPECT_EQ(figuresOf(*readMesh_auto(file)->getRMesh()).euler, 1);
    std::vector<Point3> vVertices;
    std::vector<int> vIndices = {7};
    ASSERT_TRUE(PLY::readPly(file, vVertices, vIndices));
    EXPECT_EQ(std::pair(vVertices.size(), vIndices.size()), std::pair(std::size_t{6}, std::size_t{7}));

    std::string bytes = folder.read("m.ply");
    bytes.back() = '\x7f';  // an index out of range
    folder.write("m.ply", bytes);
    expectFails("vVertices.empty()", [&] { PLY::readPly(file, vVertices, vIndices); });
    vVertices.clear();
    vIndices = {7};
    EXPECT_FALSE(PLY::readPly(file, vVertices, vIndices));
    EXPECT_TRUE(vVertices.empty() && vIndices == std::vector<int>{7});
    EXPECT_FALSE(readMesh_auto(file, 0.0, false));
}

TEST_F(ReadMesh, cleansUpLikeARun) {
    Soup soup = turned(torus(20, 9), 3, 3);  // the oldest keeps its side
    for (int i = 0; i < 5; ++i)
        soup.vT.push_back(soup.vT[static_cast<std::size_t>(7 * i)]);
    soup.vT.insert(soup.vT.end(), 100000, soup.vT.front());  // its square would take minutes
    const int n = static_cast<int>(soup.vVtx.size());
    for (const Point3& p : {Point3(NOT_A_NUMBER, 0, 0), Point3(0, -INF, 0), soup.vVtx[1] + Vector3(1e-12, 0, 0)})
        soup.vVtx.push_back(p);  // the last one is vertex 1 in single precision
    for (const auto& t : {std::array{0, 1, n}, {n, 1, 2}, {3, n + 1, 4}, {1, 2, n + 2}})
        soup.vT.push_back(t);
    ASSERT_TRUE(writeMesh_auto(folder.path("m.ply"), meshOf(soup), false));
    MeshPtr pRead;
    const std::string text = outputOf([&] { pRead = readMesh_auto(folder.path("m.ply")); });
    EXPECT_EQ(countIn(text, "left out 1 triangles with equal corners and 3 with coordinates"), 1) << text;
    EXPECT_EQ(sizeOf(pRead), sizeOf(meshOf(torus(20, 9))));
    const std::vector<Point3> vClean = cornersOf(meshOf(torus(20, 9))), vCorners = cornersOf(pRead);
    for (std::size_t i = 0; i < vClean.size(); i += 3) {
        bool bOK = false;
        const Vector3 clean = getNormalVector(vClean[i], vClean[i + 1], vClean[i + 2], bOK);
        EXPECT_GT(getNormalVector(vCorners[i], vCorners[i + 1], vCorners[i + 2], bOK) * clean, 0.99) << i;
    }
}

TEST_F(ReadMesh, takesFilesOfOtherPrograms) {
    const std::string vertices = "0 0 0\r\n1 0 0\r\n1 1 0\r\n0 1 0\r\n";
    const std::string ply =
        "ply\r\nformat ascii 1.0\r\ncomment made elsewhere\r\nelement vertex 4\r\nproperty double x\r\n"
        "property double y\r\nproperty double z\r\nelement face 1\r\n"
        "property list uchar int vertex_index\r\nend_header\r\n" +
        vertices + "4 0 1 2 3\r\n";
    std::string stl = "solid\ta vertex of mine\r\n";
    for (const std::string third : {"\tvertex 1.0E+00 1 0\r\n", "\tvertex +0 1 -0\r\n"})
        stl += "facet normal 0 0 1\r\n\touter loop\r\n\tvertex 0 0 0\r\n\tvertex 1 0 0\r\n" + third +
               "\tendloop\r\nendfacet\r\n";
    folder.write("m.ply", ply);
    folder.write("m.stl", stl);
    std::string capitals;
    for (const char c : stl + "endsolid\r\n")
        if (c != '\n') capitals += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    folder.write("capitals.stl", capitals);
    for (const std::string name : {"m.ply", "m.stl", "capitals.stl"}) {
        MeshPtr pMesh;
        const std::string said = outputOf([&] { pMesh = readMesh_auto(folder.path(name)); });
        EXPECT_EQ(sizeOf(pMesh), sizeOf(meshOf(sheet(1, 1)))) << name;
        EXPECT_EQ(countIn(said, "has no endsolid"), name == "m.stl" ? 1 : 0) << name << said;
    }
}

TEST_F(ReadMesh, whatIsNoMeshGivesNullAndALine) {
    const std::string begin = "facet\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n", end = "endloop\nendfacet\n";
    for (const auto& [name, bytes] :
         std::map<std::string, std::string>{{"empty.ply", ""},
                                            {"empty.stl", ""},
                                            {"two.stl", begin + end},
                                            {"four.stl", begin + "vertex 1 1 0\nvertex 0 1 0\n" + end + begin + end},
                                            {"broken.stl", begin + "vertex 0 x 0\n" + end},
                                            {"flat.stl", begin + "vertex 1 0 0\n" + end},
                                            {"line.stl", begin + "vertex 2 0 0\n" + end},
                                            {"open.stl", begin + "vertex 0 1 0\n" + end + begin + "vertex 0 1 0\n"},
                                            {"cut.stl", begin + "vertex 0 1 0\n" + end + begin + "vertex 0 1."}})
        folder.write(name, bytes);
    std::vector<Point3> vPoints{{0, 0, 0}, {1, 0, 0}};
    ASSERT_TRUE(writePointsPly(folder.path("points.ply"), vPoints, true));
    for (const std::string name : {"missing.ply", "missing.stl", "empty.ply", "empty.stl", "two.stl", "four.stl",
                                   "broken.stl", "flat.stl", "line.stl", "open.stl", "cut.stl", "points.ply", ""}) {
        MeshPtr pMesh;
        const std::string text = outputOf([&] { pMesh = readMesh_auto(name.empty() ? name : folder.path(name)); });
        EXPECT_EQ(pMesh, nullptr) << name;
        EXPECT_NE(text, "") << name;
        EXPECT_FALSE(hasOpenProgress());
    }
}

}  // namespace
