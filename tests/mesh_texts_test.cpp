// Meshes of texts whose vertices have numbers: OBJ and OFF files.
#include "numberForms.h"
#include "support/fine.h"
#include "support/pointReads.h"

using namespace TARN_TEST;

namespace {

struct Polygons {
    Points vPoints;
    std::vector<std::vector<int>> vFaces;

    /// The triangles of each face around its first corner.
    std::vector<int> indices() const {
        std::vector<int> v;
        for (const std::vector<int>& face : vFaces)
            for (std::size_t i = 2; i < face.size(); ++i)
                v.insert(v.end(), {face[0], face[i - 1], face[i]});
        return v;
    }
};

/// Convex ones, which fans fill: the corners of each run once around a circle. Some have a corner twice.
Polygons randomPolygons(Random& random, std::size_t numPoints, std::size_t numFaces) {
    Polygons polygons;
    for (std::size_t i = 0; i < numPoints; ++i) {
        const double angle = 6.28 * static_cast<double>(i) / static_cast<double>(numPoints);
        polygons.vPoints.emplace_back(1e5 * std::cos(angle), 1e5 * std::sin(angle) / 7.0, 1e4 / 3.0);
    }
    for (std::size_t i = 0; i < numFaces; ++i) {
        std::vector<int>& face = polygons.vFaces.emplace_back();
        for (std::size_t corner = 3 + pick(random, 5); corner > 0; --corner)
            face.push_back(static_cast<int>(pick(random, numPoints)));
        std::sort(face.begin(), face.end());
    }
    return polygons;
}

/// The area of a mesh's triangles, which all lie in one plane z; negative where they point down.
double areaOf(const Points& vVertices, const std::vector<int>& vIndices, bool bAbsolute) {
    double area = 0.0;
    for (std::size_t i = 0; i < vIndices.size(); i += 3) {
        const auto place = [&](std::size_t k) { return vVertices.at(static_cast<std::size_t>(vIndices.at(i + k))); };
        const double twice = crossProduct(place(1) - place(0), place(2) - place(0)).z();
        area += (bAbsolute ? std::abs(twice) : twice) / 2.0;
    }
    return area;
}

std::string textOf(const Point3& p) {
    std::ostringstream text;
    text.precision(17);
    text << p.x() << ' ' << p.y() << '\t' << p.z();
    return text.str();
}

/// In each of the ways to write an OBJ, by chance.
std::string objOf(const Polygons& polygons, Random& random) {
    const int num = static_cast<int>(polygons.vPoints.size());
    const auto one = [&](std::vector<std::string> v) { return v[pick(random, v.size())]; };
    std::string faces, text = one({"", "\xef\xbb\xbf", "# v 1 2 3 \\\n", "mtllib a.mtl\r\n\r\n"});
    for (const std::vector<int>& face : polygons.vFaces) {
        faces += one({"f", " f\t", "f  "});
        for (const int i : face)
            faces += one({" ", "\t", " \\\n ", " \\\r\n"}) + one({std::to_string(i + 1), std::to_string(i - num)}) +
                     one({"", "", "/1", "//2", "/1/-3"});
        faces += one({"\n", "\r\n", " \n", " # 1 2\n", "\ng group\ns off\nl 1 2\nusemtl m\n"});
    }
    for (const Point3& p : polygons.vPoints)
        text += one({"v ", "  v\t", "v \\\n"}) + textOf(p) +
                one({"\n", "\r\n", " 1.0\n", " 0.5 0.5 1\n", " #\n", "\nvn 0 0 1\nvt 0 0\nvp 1\n"});
    return text + faces;
}

std::string offOf(const Polygons& polygons, Random& random) {
    const auto one = [&](std::vector<std::string> v) { return v[pick(random, v.size())]; };
    std::string text = one({"OFF", "# 1\n\nOFF", "COFF\n", "STCNOFF\r\n", "NCOFF #\n#\n"}) + one({" ", "\n"}) +
                       std::to_string(polygons.vPoints.size()) + one({" ", "\r\n"}) +
                       std::to_string(polygons.vFaces.size()) + one({"\n", " 0\n", "\n0\n", "\r-1\r", "\t-7 # edges\r\n"});
    for (const Point3& p : polygons.vPoints)
        text += one({"", " ", "# 0\n\n"}) + textOf(p) + one({"\n", "\r\n", " 0 0 1 255 0 0 1\n", "#\n"});
    for (const std::vector<int>& face : polygons.vFaces) {
        text += one({"", "\n", "\t"}) + std::to_string(face.size());
        for (const int i : face)
            text += one({" ", "\t "}) + std::to_string(i);
        text += one({"\n", "\r\n", " 0.1 0.2 0.3\n", " # 3\n"});
    }
    return text;
}

void expectPolygons(const std::string& name, const Polygons& polygons) {
    Points vVertices, vCorners{{7, 8, 9}};
    std::vector<int> vIndices{77};
    ASSERT_TRUE(readTriangles_auto(name, vVertices, vIndices) && readTriangles_auto(name, vCorners));
    ASSERT_EQ(vIndices.front(), 77);
    vIndices.erase(vIndices.begin());
    EXPECT_EQ(vVertices, polygons.vPoints);
    EXPECT_EQ(vIndices, polygons.indices());
    Points vExpected{{7, 8, 9}};
    for (const int i : vIndices)
        vExpected.push_back(polygons.vPoints[static_cast<std::size_t>(i)]);
    EXPECT_EQ(vCorners, vExpected);
    EXPECT_EQ(readBehindOlder(name, true), polygons.vPoints);
}

const std::string OBJ = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n", OFF = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";

struct MeshTexts : FolderTest {};

}  // namespace

TEST_F(MeshTexts, returnThePolygonsAsFansHoweverTheyAreWritten) {
    for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        const Polygons polygons = randomPolygons(random, 1 + pick(random, 9), seed < 10 ? 0 : 10);
        expectPolygons(folder.write(seed % 2 == 0 ? "a.obj" : "a.OBJ", objOf(polygons, random)), polygons);
        expectPolygons(folder.write(seed % 2 == 0 ? "a.off" : "a.Off", offOf(polygons, random)), polygons);
    }
    Random random(99);
    const Polygons big = randomPolygons(random, 20000, 30000);  // more than one block of the reader
    expectPolygons(folder.write("big.obj", objOf(big, random)), big);
    expectPolygons(folder.write("big.off", offOf(big, random)), big);
}

// Stars, combs and a square with a hole, whose edge to the hole is there twice: each has corners from which a fan is wrong.
TEST_F(MeshTexts, flatPolygonsAreFilledWhateverTheirShape) {
    std::vector<Points> vPolygon{
        {{0, 0, 5}, {9, 0, 5}, {9, 9, 5}, {0, 9, 5}, {0, 0, 5}, {3, 3, 5}, {3, 6, 5}, {6, 6, 5}, {6, 3, 5}, {3, 3, 5}}};
    for (const int n : {5, 100, 400}) {
        Points vStar, vComb{{2.0 * n, -1, 5}};
        for (int i = 0; i < 2 * n; ++i) {
            const double angle = 3.14159265358979 * i / n, radius = i % 2 == 0 ? 10.0 : 3.0;
            vStar.emplace_back(radius * std::cos(angle), radius * std::sin(angle), 5);
            vComb.emplace_back(2.0 * n - i, i % 2 == 0 ? 10 : 0, 5);
        }
        vComb.emplace_back(0, -1, 5);
        vPolygon.insert(vPolygon.end(), {vStar, vComb});
    }
    for (const Points& vCorners : vPolygon)
        for (const std::size_t first : {std::size_t{0}, std::size_t{1}, vCorners.size() - 1}) {
            std::string vertices, face;
            std::vector<int> vFan;
            for (std::size_t i = 0; i < vCorners.size(); ++i) {
                vertices += textOf(vCorners[i]) + "\n";
                face += " " + std::to_string((first + i) % vCorners.size());
                if (i > 1) vFan.insert(vFan.end(), {0, static_cast<int>(i) - 1, static_cast<int>(i)});
            }
            const std::string n = std::to_string(vCorners.size());
            for (const auto& [name, bytes] : std::map<std::string, std::string>{
                     {"a.off", "OFF\n" + n + " 1 0\n" + vertices + n + face + "\n"},
                     {"a.ply", "ply\nformat ascii 1.0\nelement vertex " + n +
                                   "\nproperty double x\nproperty double y\nproperty double z\nelement face 1\n"
                                   "property list ushort int vertex_indices\nend_header\n" +
                                   vertices + n + face + "\n"}}) {
                Points vVertices;
                std::vector<int> vIndices;
                ASSERT_TRUE(readTriangles_auto(folder.write(name, bytes), vVertices, vIndices));
                EXPECT_EQ(vIndices.size(), vFan.size());
                const double area = areaOf(vCorners, vFan, false);
                EXPECT_NEAR(areaOf(vVertices, vIndices, false), area, 1e-9 * area) << name << n << " from " << first;
                EXPECT_NEAR(areaOf(vVertices, vIndices, true), area, 1e-9 * area) << name << n << " from " << first;
            }
        }
}

TEST_F(MeshTexts, facesOfTwoCornersAreLeftOutAndCounted) {
    const std::string ply =
        "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
        "element face 3\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n";
    for (const auto& [name, bytes] :
         std::map<std::string, std::string>{{"a.obj", OBJ + "f 1 2 # 3\nf 3\n"},
                                            {"a.off", "OFF\n3 3 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n2 0 1\n1 2\n"},
                                            {"a.ply", ply + "2 0 1\n3 0 1 2\n0\n"}}) {
        Points vCorners;
        const std::string path = folder.write(name, bytes);
        expectText("left out 2 faces of fewer than three corners",
                   [&, v = &vCorners] { EXPECT_TRUE(readTriangles_auto(path, *v)) << path; });
        EXPECT_EQ(vCorners, (Points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}})) << name;
    }
}

TEST_F(MeshTexts, coloursAndNormalsOfVerticesAreColumnsWhereItIsPlainThatTheyAreThat) {
    const auto columns = [&](const std::string& name, const std::string& bytes) {
        Points vPoints;
        PointAttributes attributes;
        outputOf([&] { EXPECT_TRUE(readPointFile(folder.write(name, bytes), vPoints, attributes)); });
        std::string text;
        for (const AttributeColumn& column : attributes.vColumns)
            text += column.name + "=" + std::to_string(static_cast<int>(column.number(0))) + " ";
        return text;
    };
    EXPECT_EQ(columns("a.off", "COFF\n1 0 0\n1 2 3 40 50 60\n"), "red=40 green=50 blue=60 ");
    const std::string normal = "nx=0 ny=0 nz=1 ";
    EXPECT_EQ(columns("a.off", "NCOFF\n1 0 0\n1 2 3 0 0 1 0 1 0 1\n"), normal + "red=0 green=1 blue=0 alpha=255 ")
        << "whole numbers are bytes";
    for (const std::string full : {"1.", "1e0", "1.0"})
        EXPECT_EQ(columns("a.off", "NCOFF\n1 0 0\n1 2 3 0 0 1 0 " + full + " 0 1\n"),
                  normal + "red=0 green=255 blue=0 alpha=255 ");
    EXPECT_EQ(columns("a.off", "OFF\n1 0 0\n1 2 3 40 50 60\n"), "");
    EXPECT_EQ(columns("a.obj", "v 1 2 3 0 1 0\n"), "red=0 green=255 blue=0 ");
    EXPECT_EQ(columns("a.obj", "v 1 2 3 1 0 1 0\n"), "") << "a weight and a colour, or a colour and an alpha";
}

TEST_F(MeshTexts, areReadAsTheyAreWritten) {
    Soup soup = torus(7, 5);
    for (Point3& p : soup.vVtx)
        p = Point3(p.x() / 3.0, p.y() / 7.0, 1e10 - p.z());  // ten digits are too few
    const MeshPtr pMesh = meshOf(soup);
    const auto write = [&](const std::string& name, Precision precision) {
        const std::string path = folder.path(name);
        outputOf(
            [&] { EXPECT_TRUE(name.ends_with("obj") ? toObj(pMesh, path, precision) : toOff(pMesh, path, precision)); });
        return path;
    };
    std::vector<Point3*> vPointers;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vPointers, vIndices);
    Polygons polygons;
    for (const Point3* p : vPointers)
        polygons.vPoints.push_back(*p);
    for (std::size_t i = 0; i < vIndices.size(); i += 3)
        polygons.vFaces.push_back({vIndices[i], vIndices[i + 1], vIndices[i + 2]});
    expectPolygons(write("m.obj", Precision::DOUBLE), polygons);
    expectPolygons(write("m.off", Precision::DOUBLE), polygons);
    expectPolygons(write("auto.off", Precision::AUTO), polygons);
    Points vRounded;
    for (const Point3& p : polygons.vPoints)
        vRounded.push_back(inForm(p, LONG_TEXT));
    EXPECT_EQ(readBehindOlder(write("f.off", Precision::FLOAT), true), vRounded);
    for (const bool bJoin : {false, true}) {
        const MeshPtr pRead = readMesh_auto(folder.path("m.off"), 0.0, bJoin);
        ASSERT_NE(pRead, nullptr);
        EXPECT_EQ(cornersOf(pRead).size(), vIndices.size());
    }
    outputOf([&] { EXPECT_FALSE(toOff(pMesh, folder.path("none/m.off"), Precision::FLOAT)); });
}

TEST_F(MeshTexts, takeVerticesBehindTheirFacesAndThoseThatAreNoNumbers) {
    expectPolygons(folder.write("a.obj", "f 3//9 1 2\n" + OBJ), {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{2, 0, 1}, {0, 1, 2}}});
    const Points vRead = readBehindOlder(folder.write("a.obj", OBJ + "v nan 1 inf\n"), true);
    EXPECT_TRUE(vRead.size() == 4U && std::isnan(vRead[3].x()) && std::isinf(vRead[3].z()));
    EXPECT_NE(readMesh_auto(folder.path("a.obj")), nullptr);
    EXPECT_EQ(readBehindOlder(folder.write("a.off", "OFF1 0 0\nnan 2 3"), true).size(), 1U);
    EXPECT_EQ(readMesh_auto(folder.path("a.off")), nullptr) << "no triangle";
    EXPECT_NE(readMesh_auto(folder.write("a.off2", OFF)), nullptr) << "is known by its first word";
}

TEST_F(MeshTexts, anObjThatWasCutGivesTheMeshOfItsWholeLinesAndAtMostOneMoreOrNothing) {
    const std::string whole = "v 10 20 30\nv 1 0 0.5\n\nv 0 15 0\nf 1 2 3\nf -1 \\\n-2 -3\n";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string bytes = whole.substr(0, length);
        std::string lines = bytes;
        if (const std::size_t pos = lines.find("\\\n"); pos != std::string::npos) lines.erase(pos, 2);
        lines.resize(lines.rfind('\n') + 1);
        Points vVertices;
        std::vector<int> vIndices;
        const auto numVertices = static_cast<std::size_t>(countIn(lines, "v ")),
                   numFaces = static_cast<std::size_t>(countIn(lines, "f "));
        if (readTriangles_auto(folder.write("a.obj", bytes), vVertices, vIndices)) {
            EXPECT_TRUE(vVertices.size() == numVertices || vVertices.size() == numVertices + 1) << length;
            EXPECT_TRUE(vIndices.size() == 3 * numFaces || vIndices.size() == 3 * numFaces + 3) << length;
        } else {
            EXPECT_TRUE(vVertices.empty() && vIndices.empty()) << length;
            EXPECT_TRUE(bytes != lines || numVertices == 0 || bytes.ends_with("\\\n")) << length;
        }
    }
}

TEST_F(MeshTexts, refuseWhatIsNoMeshAndSayWhere) {
    for (std::size_t length = 0; length + 1 < OFF.size(); ++length)
        expectRefused(folder, "a.off", OFF.substr(0, length));
    for (const auto& [bytes, words] : std::map<std::string, std::string>{
             {"OFF BINARY\n", "line 1: only OFF as text"},
             {"4OFF\n1 0 0\n1 2 3 4\n", "line 1: only vertices with three coordinates"},
             {"1 0 0\n1 2 3\n", "line 1: expected OFF"},
             {"OFF\n3 1\n0 0 0\n1 0\n", "line 4: expected vertex 2 of 3"},
             {"OFF\n1 1\n0 0 0\n\n3 0 0 1 # \n", "line 5: expected face 1 of 1, the number of its corners"},
             {"OFF\r\n1 1\r\n0 0 0\r\n2 0\r\n", "line 4: expected face 1 of 1"},
             {OFF + "3 2 1 0\n", "line 7: expected no more than the faces"}})
        expectRefused(folder, "a.off", bytes, words);
    for (const auto& [bytes, words] : std::map<std::string, std::string>{
             {"", "has no vertices"},
             {"no mesh\n", "has no vertices"},
             {"v 0 0\n", "line 1: expected x, y and z"},
             {"#\n\nv 1 2 z\n", "line 3: expected x, y and z"},
             {OBJ + "f 1 9\n", "line 5: there is no vertex 9"},
             {OBJ + "f 1 2 \\", "ends before the statement"},
             {OBJ + "f 1 2 7\nf 1 2 5\nv 1 1 1\n", "line 5: there is no vertex 7, but 4"},
             {OBJ + "f 1 2 -4\nv 1 1 1\n", "line 5: there is no vertex -4, counted from the 3 so far"},
             {OBJ + "f 1 2 0\n", "line 5: there is no vertex 0"},
             {OBJ + "f 1 2 3a\n", "line 5: expected the number of a vertex"},
             {OBJ + "f 1 2 /3\n", "line 5: expected the number of a vertex"}})
        expectRefused(folder, "a.obj", bytes, words);
    std::vector<std::string> vLies = lyingCounts(3);
    std::erase_if(vLies, [](const std::string& lie) { return lie == "-1" || lie == "-3"; });  // numbers of vertices
    for (const std::string& lie : vLies) {
        expectRefused(folder, "a.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 " + lie + "\n");
        expectRefused(folder, "a.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 " + lie + "\n");
        expectRefused(folder, "a.off", "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n" + lie + " 0 1 2\n");
        expectRefused(folder, "a.off", "OFF\n" + lie + " 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    }
    for (const std::string& lie : lyingCounts(1))
        expectRefused(folder, "a.off", "OFF\n3 " + lie + " 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
}
