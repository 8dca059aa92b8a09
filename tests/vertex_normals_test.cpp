// The normals of vertices, and OBJ files with them.
#include "support/TempFolder.h"
#include "support/holes.h"
#include "support/prelude.h"

using namespace TARN_TEST;

namespace {

/// The cube [-1, 1]^3 with normals outwards. Bit i of cut: which way side i is cut into two triangles.
Soup cube(unsigned cut) {
    Soup soup;
    for (int i = 0; i < 8; ++i)
        soup.vVtx.emplace_back((i & 1) != 0 ? 1 : -1, (i & 2) != 0 ? 1 : -1, (i & 4) != 0 ? 1 : -1);
    const std::array<std::array<int, 4>, 6> aSide{
        {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}}};
    for (const auto& [a, b, c, d] : aSide) {
        const bool bOther = (cut & 1U) != 0;
        soup.vT.push_back(bOther ? std::array{a, b, d} : std::array{a, b, c});
        soup.vT.push_back(bOther ? std::array{b, c, d} : std::array{a, c, d});
        cut >>= 1;
    }
    return soup;
}

/// The longest difference of a normal from the direction of its vertex.
double worstOfRadial(const MeshPtr& pMesh) {
    std::vector<Point3*> vVertices;
    std::vector<int> vIndices;
    pMesh->getVertexIndexData(vVertices, vIndices);
    const std::vector<Vector3> vNormals = vertexNormals(pMesh);
    double worst = vNormals.size() == vVertices.size() ? 0.0 : INF;
    for (std::size_t i = 0; i < vVertices.size() && worst < INF; ++i) {
        const Vector3 place = *vVertices[i] - Point3();
        worst = std::max(worst, (vNormals[i] - place / place.length()).length());
    }
    return worst;
}

}  // namespace

TEST(VertexNormals, OfACubeDontDependOnHowItsSidesAreCut) {
    for (unsigned cut = 0; cut < 64; ++cut)
        EXPECT_LT(worstOfRadial(meshOf(cube(cut))), 1e-7) << cut;
}

TEST(VertexNormals, OfASphereAreThoseOfTheSphere) {
    double most = 0.2;
    for (const int n : {5, 10, 20, 40}) {
        const double worst = worstOfRadial(meshOf(sphere(2 * n, n)));
        EXPECT_LT(worst, most) << n;
        most = 0.6 * worst;  // the error shrinks with the edges
    }
}

TEST(VertexNormals, AreZeroWhereThereIsNoDirection) {
    const Soup flat{{{0, 0, 0}, {1, 0, 0}, {3, 0, 0}, {2, 0, 0}}, {{0, 1, 2}, {1, 0, 3}}};
    const Soup front = sheet(3, 2);
    Soup twoSides = front;
    for (const std::array<int, 3>& t : front.vT)
        twoSides.vT.push_back({t[0], t[2], t[1]});
    for (const Soup& soup : {flat, twoSides}) {
        const std::vector<Vector3> vNormals = vertexNormals(meshOf(soup));
        EXPECT_EQ(vNormals.size(), soup.vVtx.size());
        for (const Vector3& normal : vNormals)
            EXPECT_TRUE(normal.isDegenerate()) << normal;
    }
    for (const Vector3& normal : vertexNormals(meshOf(front)))
        EXPECT_TRUE(normal.x() == 0 && normal.y() == 0 && normal.z() == 1) << normal;
    expectFails("pMesh!=__null", [] { vertexNormals(nullptr); });
}

TEST(VertexNormals, AreInAnObjOnRequest) {
    const TempFolder folder;
    const CoutSilence silence;
    const MeshPtr pMesh = meshOf(tetrahedron());
    ASSERT_TRUE(toObj(pMesh, folder.path("n.obj"), Precision::FLOAT, true));
    ASSERT_TRUE(toObj(pMesh, folder.path("m.obj"), Precision::FLOAT, false));
    EXPECT_EQ(countIn(folder.read("n.obj"), "\nf 1//1 2//2 3//3\nf 1//1 4//4 2//2\nf 1//1 3//3 4//4\nf 2//2 4//4 3//3\n"),
              1);
    EXPECT_EQ(countIn(folder.read("n.obj"), "\nvn -0.57735 -0.57735 -0.57735\nvn 0.57735 0.57735 -0.57735\n"), 1);
    EXPECT_EQ(countIn(folder.read("n.obj"), "vn "), 4);
    EXPECT_EQ(countIn(folder.read("m.obj"), "vn"), 0);
    EXPECT_EQ(cornersOf(readMesh_auto(folder.path("n.obj"))), cornersOf(readMesh_auto(folder.path("m.obj"))));
}
