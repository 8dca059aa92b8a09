// glTF files that other programs write, and files that lie.
#include "GltfFile.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "Failure.h"
#include "support/TempFolder.h"
#include "support/gltf.h"
#include "support/prelude.h"

using namespace TARN_KEL;
using namespace TARN_TEST;

namespace {

using Corners = std::vector<Point3>;

Corners cornersOf(const GltfContent& content) {
    Corners vCorner;
    for (const int i : content.vIndices)
        vCorner.push_back(content.vVertices.at(static_cast<std::size_t>(i)));
    return vCorner;
}

/// Four corners of a square in the plane z = 0.
const std::vector<float> SQUARE{0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0};
const Point3 A(0, 0, 0), B(1, 0, 0), C(0, 1, 0), D(1, 1, 0);

/// A square of two triangles with colours and heights, under a node.
GltfBuilder colouredSquare() {
    GltfBuilder file;
    const int places = file.add(SQUARE, 3), indices = file.add<std::uint16_t>({0, 1, 2, 2, 1, 3}, 1);
    const int colours =
        file.add<std::uint16_t>({65535, 0, 14146, 65535, 0, 65535, 0, 65535, 0, 0, 0, 65535, 0, 0, 0, 65535}, 4, true);
    const int heights = file.add<float>({1, 2, 3, -4.5F}, 1);
    file.addMesh({{"attributes", {{"POSITION", places}, {"COLOR_0", colours}, {"_HEIGHT", heights}}}, {"indices", indices}});
    file.addNode({{"mesh", 0}});
    file.json["scenes"] = {{{"nodes", {0}}}};
    return file;
}

/// What the reader says of a file; empty when it reads it, and then the content is in order.
std::string refusalOf(const std::string& path, std::size_t numBytes) {
    try {
        const GltfContent content = readGltf(path);
        EXPECT_LE(content.vVertices.size() + content.vIndices.size(), 1000 * numBytes);
        for (const int i : content.vIndices)
            EXPECT_TRUE(i >= 0 && static_cast<std::size_t>(i) < content.vVertices.size());
        for (const AttributeColumn& column : content.attributes.vColumns)
            EXPECT_EQ(column.size(), content.vVertices.size());
        return "";
    } catch (const Failure& failure) {
        return failure.what();
    }
}

}  // namespace

TEST(Gltf, TrianglesStripsAndFansWithIndicesOfEveryWidth) {
    const TempFolder folder;
    const Corners vList{A, B, C, C, B, D}, vStrip{A, B, C, B, D, C}, vFan{A, B, C, A, C, D};
    const auto read = [&](int mode, const auto& vIndex) {
        GltfBuilder file;
        Json primitive{{"attributes", {{"POSITION", file.add(SQUARE, 3)}}}, {"mode", mode}};
        if (!vIndex.empty()) primitive["indices"] = file.add(vIndex, 1);
        file.addMesh(primitive);
        const GltfContent content = readGltf(folder.write("a.glb", file.glb()));
        EXPECT_EQ(content.vVertices.size(), 4U);
        return cornersOf(content);
    };
    const auto expectAll = [&](auto type) {
        using T = decltype(type);
        EXPECT_EQ(read(4, std::vector<T>{0, 1, 2, 2, 1, 3}), vList);
        EXPECT_EQ(read(5, std::vector<T>{0, 1, 2, 3}), vStrip);
        EXPECT_EQ(read(5, std::vector<T>{0, 1, 2, 2, 2, 3}), (Corners{A, B, C})) << "corners that only lead on";
        EXPECT_EQ(read(6, std::vector<T>{0, 1, 2, 3}), vFan);
    };
    expectAll(std::uint8_t{}), expectAll(std::uint16_t{}), expectAll(std::uint32_t{});
    const std::vector<std::uint8_t> vNone;
    EXPECT_EQ(read(5, vNone), vStrip);
    EXPECT_EQ(read(6, vNone), vFan);
    EXPECT_EQ(read(4, vNone), (Corners{A, B, C})) << "the fourth corner makes no triangle";
    EXPECT_TRUE(read(0, vNone).empty());
}

// Each node is also built by hand: what it does to x, y and z.
TEST(Gltf, NodesPutMeshesWhereTheyBelong) {
    const TempFolder folder;
    const double r = std::sqrt(0.5);
    const std::vector<std::pair<Json, Corners>> vCase{
        {{{"mesh", 0}}, {A, B, C}},
        {{{"mesh", 0}, {"translation", {5000000.25, 2, 3}}}, {{5000000.25, 2, 3}, {5000001.25, 2, 3}, {5000000.25, 3, 3}}},
        {{{"mesh", 0}, {"scale", {2, 3, 1}}}, {A, {2, 0, 0}, {0, 3, 0}}},
        {{{"mesh", 0}, {"scale", {-1, 1, 1}}}, {A, C, {-1, 0, 0}}},  // a mirror turns triangles round
        {{{"mesh", 0}, {"rotation", {0, 0, r, r}}}, {A, C, {-1, 0, 0}}},
        {{{"mesh", 0}, {"rotation", {r, 0, 0, r}}, {"scale", {1, 2, 1}}, {"translation", {0, 0, 7}}},
         {{0, 0, 7}, {1, 0, 7}, {0, 0, 9}}},
        {{{"mesh", 0}, {"matrix", {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 10, 20, 30, 1}}},
         {{10, 20, 30}, {10, 21, 30}, {10, 20, 31}}},
    };
    for (const auto& [node, vExpected] : vCase) {
        GltfBuilder file;
        file.addMesh({{"attributes", {{"POSITION", file.add(std::vector<float>(SQUARE.begin(), SQUARE.begin() + 9), 3)}}}});
        file.addNode(node);
        file.addNode({{"children", {0}}, {"translation", {0, 0, -100}}});
        const Corners vRead = cornersOf(readGltf(folder.write("a.glb", file.glb())));
        ASSERT_EQ(vRead.size(), 3U) << node;
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_LT((vRead[i] - vExpected[i] - Vector3(0, 0, -100)).length(), 1e-9) << node << " corner " << i;
    }
    // Several nodes show a mesh; one that the scene doesn't have isn't there.
    GltfBuilder file = colouredSquare();
    file.addNode({{"mesh", 0}, {"translation", {3, 0, 0}}});
    file.addNode({{"mesh", 0}});
    file.json["scenes"] = {{{"nodes", {2}}}, {{"nodes", {0, 1}}}};
    file.json["scene"] = 1;
    const GltfContent both = readGltf(folder.write("a.glb", file.glb()));
    EXPECT_EQ(both.vVertices.size(), 8U);
    EXPECT_EQ(both.vVertices[5], Point3(4, 0, 0));
    EXPECT_EQ(both.attributes.find("height")->number(7), -4.5);
}

TEST(Gltf, WhatVerticesCarryAndPointsAlone) {
    const TempFolder folder;
    GltfBuilder file = colouredSquare();
    const int normals = file.add<float>({0, 0, 1}, 3), place = file.add<float>({9, 9, 9}, 3);
    file.addMesh({{"attributes", {{"POSITION", place}, {"NORMAL", normals}}}, {"mode", 0}});
    file.addMesh({{"attributes", {{"POSITION", place}}}, {"mode", 1}});
    file.json["nodes"] = {{{"mesh", 0}}, {{"mesh", 1}, {"rotation", {1, 0, 0, 0}}, {"scale", {1, 1, -1}}}, {{"mesh", 2}}};
    file.json["scenes"] = {{{"nodes", {0, 1, 2}}}};
    const GltfContent content = readGltf(folder.write("a.glb", file.glb()));
    ASSERT_EQ(content.vVertices.size(), 5U);
    EXPECT_EQ(content.vVertices[4], Point3(9, -9, 9));
    EXPECT_EQ(content.vIndices.size(), 6U);
    ASSERT_TRUE(content.attributes.hasColour());
    const auto value = [&](const char* name, std::size_t row) { return content.attributes.find(name)->number(row); };
    EXPECT_NEAR(value("blue", 0) * 255.0, 128.0, 0.01) << "14146 is the light of 128";
    EXPECT_EQ(value("green", 1), 1.0);
    EXPECT_EQ(value("nz", 4), 1.0) << "mirrored, and turned half round the x axis";
    EXPECT_FALSE(content.attributes.find("red")->isKnown(4));
    ASSERT_EQ(content.vWarnings.size(), 1U);
    EXPECT_EQ(content.vWarnings[0], "1 primitive(s) of lines are left out");
}

TEST(Gltf, AnAccessorWithoutAViewHasZeros) {
    const TempFolder folder;
    GltfBuilder file = colouredSquare();
    file.json["accessors"][3].erase("bufferView");
    const GltfContent content = readGltf(folder.write("a.glb", file.glb()));
    EXPECT_EQ(content.vVertices.size(), 4U);
    EXPECT_EQ(content.attributes.find("height")->number(3), 0.0);
    file.json["accessors"][0].erase("bufferView");
    file.json["accessors"][0]["count"] = 1000000000;
    EXPECT_NE(refusalOf(folder.write("a.glb", file.glb()), 1000), "") << "which take no bytes, but memory";
}

TEST(Gltf, TextsHaveTheirBytesBesideThem) {
    const TempFolder folder;
    const GltfBuilder file = colouredSquare();
    folder.write("data.bin", file.bytes);
    const GltfContent text = readGltf(folder.write("a.gltf", file.gltf("data.bin")));
    EXPECT_EQ(cornersOf(text), cornersOf(readGltf(folder.write("a.glb", file.glb()))));
    const std::string path = folder.write("b.gltf", file.gltf("none.bin"));
    EXPECT_NE(refusalOf(path, 1000).find("none.bin"), std::string::npos) << refusalOf(path, 1000);
    EXPECT_NE(refusalOf(folder.write("c.gltf", file.gltf("/dev/zero")), 1000), "") << "endless";
}

TEST(Gltf, ACutFileIsRefusedWithItsName) {
    const TempFolder folder;
    const std::string whole = colouredSquare().glb();
    ASSERT_EQ(refusalOf(folder.write("a.glb", whole), whole.size()), "");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string path = folder.write("a.glb", whole.substr(0, length));
        EXPECT_EQ(refusalOf(path, length).rfind("Can't read " + path + ": it ", 0), 0U) << length;
    }
}

// Each number of the document in turn is one of 19 lies, and so are the numbers of the headers.
TEST(Gltf, LyingNumbersAreRefusedOrHarmless) {
    const std::vector<Json> vLie{0,     1,     2,          3,          4,          5,    7,      -1,  255,   256,
                                 65535, 65536, 2147483647, 2147483648, 4294967295, 1e18, -1e300, 0.5, "four"};
    ASSERT_EQ(vLie.size(), 19U);
    const TempFolder folder;
    const GltfBuilder good = colouredSquare();
    const Json flat = good.json.flatten();
    std::size_t numRefused = 0, numTried = 0;
    for (const auto& [key, value] : flat.items()) {
        if (!value.is_number()) continue;
        for (const Json& lie : vLie) {
            GltfBuilder bad = good;
            bad.json[Json::json_pointer(key)] = lie;
            const std::string bytes = bad.glb(), refusal = refusalOf(folder.write("a.glb", bytes), bytes.size());
            EXPECT_EQ(countIn(refusal, "\n"), 0) << refusal;
            numRefused += refusal.empty() ? 0 : 1;
            ++numTried;
        }
    }
    EXPECT_GT(numRefused, numTried / 2) << "of " << numTried;
    for (const std::size_t pos : {4U, 8U, 12U})
        for (const std::uint32_t lie : {0U, 1U, 19U, 0x7fffffffU, 0xffffffffU, 0x80000000U, 0xfffffff0U}) {
            std::string bytes = good.glb();
            std::memcpy(bytes.data() + pos, &lie, sizeof lie);
            const bool bShorter = pos == 8 && lie < bytes.size();  // nothing here believes that length
            EXPECT_EQ(refusalOf(folder.write("a.glb", bytes), bytes.size()).empty(), bShorter) << pos << " " << lie;
        }
}

TEST(Gltf, RefusesWhatItCantReadWithTheReason) {
    const TempFolder folder;
    const auto expect = [&](const std::string& reason, const auto& spoil) {
        GltfBuilder file = colouredSquare();
        spoil(file);
        const std::string bytes = file.glb(), refusal = refusalOf(folder.write("a.glb", bytes), bytes.size());
        EXPECT_NE(refusal.find(reason), std::string::npos) << refusal;
    };
    expect("KHR_draco_mesh_compression",
           [](auto& file) { file.json["extensionsRequired"] = {"KHR_draco_mesh_compression"}; });
    expect("sparse", [](auto& file) {
        file.json["accessors"][0]["sparse"] = {
            {"count", 1}, {"indices", {{"bufferView", 1}, {"componentType", 5123}}}, {"values", {{"bufferView", 0}}}};
    });
    expect("below itself", [](auto& file) { file.json["nodes"][0]["children"] = {0}; });
    expect("vertex 4 of 4", [](auto& file) { file.bytes[48] = 4; });
    expect("for 4 vertices", [](auto& file) { file.json["accessors"][3]["count"] = 3; });
    expect("nested too deep", [](auto& file) {
        Json deep = 1;
        for (int i = 0; i < 1000; ++i) {
            Json outer = Json::object();
            outer["extras"] = std::move(deep);
            deep = std::move(outer);
        }
        file.json["nodes"][0]["extras"] = std::move(deep);
    });
    expect("too often", [](auto& file) {
        for (int i = 1; i < 100; ++i)
            file.json["scenes"][0]["nodes"].push_back(i), file.addNode({{"mesh", 0}});
        file.json["meshes"][0]["primitives"] = std::vector<Json>(2000, file.json["meshes"][0]["primitives"][0]);
    });
}
