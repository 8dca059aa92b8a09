// PLY files: the generic layer against a plain second writer, and the library's reading and writing of points and meshes.
#include <cstring>
#include <regex>

#include "plyReading.h"
#include "ply_io.h"
#include "singlePrecision.h"
#include "support/FolderTest.h"
#include "support/coarse_soup.h"
#include "support/points.h"
#include "support/prelude.h"
#include "tinyply.h"

using namespace TARN_TEST;
namespace {

enum Encoding { ASCII, LITTLE, BIG };
constexpr std::array<Encoding, 3> ENCODINGS{ASCII, LITTLE, BIG};

/// One type of the format: the bytes of a value in the machine's order, and the value of the i-th entry of a buffer.
struct Codec {
    const char* name;
    std::string (*encode)(double value);
    double (*decode)(const std::uint8_t* buffer, std::size_t i);
};
template <typename T>
Codec codec(const char* name) {
    return {name,
            [](double value) {
                const T t = static_cast<T>(value);
                return std::string(reinterpret_cast<const char*>(&t), sizeof t);
            },
            [](const std::uint8_t* buffer, std::size_t i) {
                T t{};
                std::memcpy(&t, buffer + i * sizeof t, sizeof t);
                return static_cast<double>(t);
            }};
}
/// In the order of PLY::Type from INT8 on; both spellings occur.
const std::array<Codec, 8> CODECS{
    codec<std::int8_t>("char"), codec<std::uint8_t>("uchar"),   codec<std::int16_t>("int16"), codec<std::uint16_t>("ushort"),
    codec<std::int32_t>("int"), codec<std::uint32_t>("uint32"), codec<float>("float"),        codec<double>("float64")};

struct Property {
    std::string name, type, countType;  // countType empty: a plain property
};
using Values = std::vector<double>;
struct Element {
    std::string name;
    std::vector<Property> vProperty;
    std::vector<std::vector<Values>> vItem;  // item, property, values
};

std::string encode(const std::string& type, double value, Encoding encoding) {
    if (encoding == ASCII) {
        std::ostringstream out;
        out.precision(17);
        out << value << ' ';
        return out.str();
    }
    std::string bytes = std::ranges::find(CODECS, type, &Codec::name)->encode(value);
    if (encoding == BIG) std::ranges::reverse(bytes);
    return bytes;
}

std::string makePly(const std::vector<Element>& vElement, Encoding encoding) {
    static constexpr std::array<const char*, 3> FORMATS{"ascii", "binary_little_endian", "binary_big_endian"};
    std::string text = std::string("ply\nformat ") + FORMATS[encoding] + " 1.0\ncomment made by a test\n";
    for (const Element& element : vElement) {
        text += "element " + element.name + ' ' + std::to_string(element.vItem.size()) + '\n';
        for (const Property& p : element.vProperty)
            text += "property " + (p.countType.empty() ? "" : "list " + p.countType + ' ') + p.type + ' ' + p.name + '\n';
    }
    text += "end_header\n";
    for (const Element& element : vElement)
        for (const std::vector<Values>& item : element.vItem) {
            for (std::size_t i = 0; i < item.size(); ++i) {
                const Property& p = element.vProperty[i];
                if (!p.countType.empty()) text += encode(p.countType, static_cast<double>(item[i].size()), encoding);
                for (const double value : item[i])
                    text += encode(p.type, value, encoding);
            }
            if (encoding == ASCII) text.back() = '\n';
        }
    return text;
}

std::vector<Element> randomElements(std::mt19937& random) {
    std::vector<Element> vElement(random() % 3 + 1);
    for (std::size_t e = 0; e < vElement.size(); ++e) {
        Element& element = vElement[e];
        element.name = "e" + std::to_string(e);
        for (std::size_t i = random() % 5 + 1; i > 0; --i)
            element.vProperty.push_back(
                {"p" + std::to_string(i), CODECS[random() % 8].name, random() % 3 ? "" : CODECS[random() % 6].name});
        for (std::size_t n = random() % (e == 0 ? 20000 : 50); n > 0; --n) {
            std::vector<Values>& item = element.vItem.emplace_back();
            for (const Property& p : element.vProperty) {
                Values& values = item.emplace_back(p.countType.empty() ? 1 : random() % 4);
                for (double& value : values)  // exact in every type
                    value = static_cast<double>(random() % 128) / (p.type[0] == 'f' ? 4 : 1);
            }
        }
    }
    return vElement;
}

/// Requests every other property by itself; each must hold the values of the elements.
void expectValues(const std::vector<Element>& vElement, std::istream& in, const std::string& where) {
    PLY::PlyFile file;
    ASSERT_TRUE(file.parse_header(in));
    std::vector<std::shared_ptr<PLY::PlyData>> vData;
    for (const Element& element : vElement)
        for (std::size_t i = 0; i < element.vProperty.size(); i += 2)
            vData.push_back(file.request_properties_from_element(element.name, {element.vProperty[i].name}));
    file.read(in);
    auto it = vData.begin();
    for (const Element& element : vElement) {
        for (std::size_t i = 0; i < element.vProperty.size(); i += 2, ++it) {
            Values vFound, vExpected;
            std::vector<std::uint32_t> vLength;
            for (const std::vector<Values>& item : element.vItem) {
                vExpected.insert(vExpected.end(), item[i].begin(), item[i].end());
                if (!element.vProperty[i].countType.empty()) vLength.push_back(static_cast<std::uint32_t>(item[i].size()));
            }
            for (std::size_t k = 0; k < vExpected.size(); ++k)
                vFound.push_back(CODECS[static_cast<std::size_t>((*it)->t) - 1].decode((*it)->buffer.data(), k));
            ASSERT_EQ(vFound, vExpected) << where << ' ' << element.name << ' ' << element.vProperty[i].name;
            ASSERT_EQ((*it)->vListLength, vLength) << where;
            ASSERT_EQ((*it)->count, element.vItem.size()) << where;
        }
    }
}

// ---- Files that the library reads

const Points CORNERS{{0, 0, 0}, {1.5, 0, 0}, {0, 2.5, 0}, {0, 0, 3}};
const Points TETRAHEDRON{CORNERS[0], CORNERS[2], CORNERS[1], CORNERS[0], CORNERS[1], CORNERS[3],
                         CORNERS[1], CORNERS[2], CORNERS[3], CORNERS[2], CORNERS[0], CORNERS[3]};

const std::vector<Values> FACES{{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}};

Element vertexElement(const std::string& xType, const std::string& yzType, const std::vector<std::string>& vName) {
    Element element{"vertex", {}, {}};
    for (const std::string& name : vName)
        element.vProperty.push_back({name, name == "x" ? xType : name[0] == 'n' ? "uchar" : yzType, ""});
    for (const Point3& p : CORNERS) {
        std::vector<Values>& item = element.vItem.emplace_back();
        for (const std::string& name : vName)
            item.push_back({name == "x" ? p.x() : name == "y" ? p.y() : name == "z" ? p.z() : 65});
    }
    return element;
}

std::vector<Element> meshElements(const std::vector<Values>& vFace, const std::string& countType = "uchar",
                                  const std::string& type = "int", const std::string& name = "vertex_indices") {
    Element faces{"face", {{name, type, countType}}, {}};
    for (const Values& face : vFace)
        faces.vItem.push_back({face});
    return {vertexElement("float64", "float64", {"x", "y", "z"}), faces};
}

/// The soup of a file; a single marked point when reading fails, which must leave the vector as it was.
Points readBytes(const TempFolder& folder, const std::string& bytes, bool bPointsOnly = false) {
    const Point3 mark(9, 9, 9);
    Points vPoints{mark};
    const CoutSilence silence;
    const bool bOK = readPly(folder.write("a.ply", bytes).c_str(), bPointsOnly, vPoints);
    EXPECT_EQ(vPoints.front(), mark);
    if (!bOK) {
        EXPECT_EQ(vPoints.size(), 1U);
        return {mark};
    }
    vPoints.erase(vPoints.begin());
    return vPoints;
}
const Points FAILED{{9, 9, 9}};

bool canRequest(PLY::PlyFile& file, const std::string& element, const std::vector<std::string>& keys) {
    try {
        file.request_properties_from_element(element, keys);
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

struct ReadPly : FolderTest {};
struct WritePly : FolderTest {};

}  // namespace

TEST(PlyFile, ReadsEveryTypeInEveryEncoding) {
    forSeeds(6, [](unsigned seed) {
        std::mt19937 random(seed);
        const std::vector<Element> vElement = randomElements(random);
        for (const Encoding encoding : ENCODINGS) {
            std::istringstream in(makePly(vElement, encoding) + "behind");
            expectValues(vElement, in, "encoding " + std::to_string(encoding));
            std::string rest;
            EXPECT_TRUE(in >> rest && rest == "behind") << "the stream stands behind the body";
        }
    });
}

TEST(PlyFile, WritesWhatThePlainWriterWrites) {
    std::vector<float> vXyz{1, 2.5F, -3, 4, 5000, 6};
    std::vector<std::uint16_t> vList{1, 2, 3, 4};
    auto* const xyz = reinterpret_cast<std::uint8_t*>(vXyz.data());
    auto* const list = reinterpret_cast<std::uint8_t*>(vList.data());
    const std::vector<Element> vElement{
        {"v",
         {{"x", "float", ""}, {"y", "float", ""}, {"z", "float", ""}, {"l", "ushort", "int"}},
         {{{1}, {2.5}, {-3}, {1, 2}}, {{4}, {5000}, {6}, {3, 4}}}}};
    for (const Encoding encoding : ENCODINGS) {
        PLY::PlyFile file;
        std::istringstream format(encoding == BIG ? "format binary_big_endian 1.0\nend_header\n" : "");
        file.parse_header(format);
        file.get_comments().push_back("made by a test");
        file.add_properties_to_element("v", {"x", "y", "z"}, PLY::Type::FLOAT32, 2, xyz, PLY::Type::INVALID, 0);
        file.add_properties_to_element("v", {"l"}, PLY::Type::UINT16, 2, list, PLY::Type::INT32, 2);
        std::ostringstream out;
        file.write(out, encoding != ASCII);
        EXPECT_EQ(out.str(), makePly(vElement, encoding));
    }
    EXPECT_ANY_THROW(PLY::PlyFile().add_properties_to_element("v", {"l"}, PLY::Type::INT8, 1, list, PLY::Type::INT8, 128));
}

TEST(PlyFile, HeadersMayComeInOddShapes) {
    const auto parse = [](const std::string& text, PLY::PlyFile& file) {
        std::istringstream in(text);
        return file.parse_header(in);
    };
    PLY::PlyFile odd, unknown, cut;
    EXPECT_TRUE(
        parse("PLY\r\n\r\nformat ascii 7\r\ncomment\r\ncomment  two\r\nobj_info a b\r\nelement  v\t3\r\n"
              "property list uint8 zzz l\r\n\r\nend_header\r\n1",
              odd));
    EXPECT_EQ(odd.get_comments(), (std::vector<std::string>{"", " two"}));
    EXPECT_EQ(odd.get_info(), (std::vector<std::string>{"a b"}));
    ASSERT_EQ(odd.get_elements().size(), 1U);
    EXPECT_EQ(odd.get_elements()[0].size, 3U);
    EXPECT_EQ(odd.get_elements()[0].properties[0].propertyType, PLY::Type::INVALID);
    EXPECT_FALSE(parse("ply\nelements v 3\nend_header\n", unknown));
    EXPECT_TRUE(parse("ply\nelement v 3", cut));
    for (const std::string text :
         {"property int x\n", "element v\n", "element v -1\n", "element v 18446744073709551616\n", "element v 1e3\n",
          "element v 1\nproperty int\n", "element v 1\nproperty list int int\n"}) {
        PLY::PlyFile file;
        EXPECT_THROW(parse(text, file), std::runtime_error) << text;
    }
    EXPECT_THROW(parse(std::string(5 << 20, 'x'), unknown), std::runtime_error);
}

TEST(PlyFile, RequestsFailWithoutATrace) {
    PLY::PlyFile file;
    std::istringstream in(makePly(meshElements(FACES), ASCII));
    file.parse_header(in);
    EXPECT_FALSE(canRequest(file, "v", {"x"}));
    EXPECT_FALSE(canRequest(file, "vertex", {}));
    EXPECT_FALSE(canRequest(file, "vertex", {"x", "u"}));
    EXPECT_TRUE(canRequest(file, "vertex", {"y"}));
    EXPECT_FALSE(canRequest(file, "vertex", {"x", "y"})) << "y was requested before";
    EXPECT_TRUE(canRequest(file, "vertex", {"x"})) << "the failed requests left nothing behind";
}

TEST(PlyFile, HoldsListsToTheirHint) {
    for (const Encoding encoding : ENCODINGS)
        for (const std::uint32_t hint : {3U, 4U}) {
            std::istringstream in(makePly(meshElements(FACES), encoding));
            PLY::PlyFile file;
            file.parse_header(in);
            file.request_properties_from_element("face", {"vertex_indices"}, hint);
            if (hint == 3)
                file.read(in);
            else
                EXPECT_THROW(file.read(in), std::runtime_error);
        }
}

TEST_F(ReadPly, TakesCoordinatesInAnyOrderAndType) {
    const std::vector<std::vector<std::string>> vvName{
        {"x", "y", "z"}, {"x", "n", "y", "n2", "z"}, {"y", "n", "x", "z"}, {"x", "z", "y"}};
    for (const Encoding encoding : ENCODINGS)
        for (const auto& [xType, yzType] : {std::pair{"float", "float"}, {"float64", "float64"}, {"float64", "float"}})
            for (const auto& vName : vvName) {
                const std::string bytes = makePly({vertexElement(xType, yzType, vName)}, encoding);
                EXPECT_EQ(readBytes(folder, bytes, true), CORNERS) << bytes;
            }
}

TEST_F(ReadPly, TakesFacesOfAnyTypeAndLengthButNoWrongIndex) {
    const Points& c = CORNERS;
    const Points vFans{c[0], c[1], c[2], c[0], c[2], c[3], c[3], c[2], c[1],
                       c[0], c[1], c[2], c[0], c[2], c[3], c[0], c[3], c[0]};
    for (const Encoding encoding : ENCODINGS) {
        const auto read = [&](const std::vector<Element>& vElement) {
            return readBytes(folder, makePly(vElement, encoding));
        };
        for (const auto& codec : CODECS)
            for (const char* name : {"vertex_indices", "vertex_index"}) {
                const std::string type = codec.name;
                const bool bWhole = type[0] != 'f';
                EXPECT_EQ(read(meshElements(FACES, bWhole ? type : "uchar", type, name)), bWhole ? TETRAHEDRON : FAILED)
                    << type;
            }
        EXPECT_EQ(readBytes(folder, std::regex_replace(makePly(meshElements(FACES), ASCII), std::regex("\n"), "\r\n")),
                  TETRAHEDRON);
        EXPECT_EQ(read(meshElements({{0, 1, 2, 3}, {3, 2, 1}, {0, 1, 2, 3, 0}})), vFans);
        for (const Values& face : {Values{0, 1}, {0, -1, 1}, {0, 4, 1}, {0, 2147483647, 1}})
            EXPECT_EQ(read(meshElements({{0, 1, 2}, face})), FAILED) << ::testing::PrintToString(face);
    }
}

TEST_F(ReadPly, RefusesEveryPrefix) {
    for (const Encoding encoding : ENCODINGS) {
        const std::string bytes = makePly(meshElements(FACES), encoding);
        const std::size_t numNeeded = bytes.size() - (encoding == ASCII ? 1 : 0);  // the last new line can be spared
        for (std::size_t length = 0; length < numNeeded; ++length)
            for (const bool bPointsOnly : {false, true})
                ASSERT_EQ(readBytes(folder, bytes.substr(0, length), bPointsOnly), FAILED) << encoding << ' ' << length;
        EXPECT_EQ(readBytes(folder, bytes.substr(0, numNeeded)), TETRAHEDRON);
    }
}

TEST_F(ReadPly, BelievesNoClaimOfTheHeader) {
    const std::string xyz = "property float x\nproperty float y\nproperty float z\n", body(1000, '1');
    const std::string noVertex = "element vertex 0\n" + xyz, oneFace = noVertex + "element face 1\nproperty ";
    const std::tuple<std::string, std::string, bool> table[] = {
        // header, content, are only the points asked for
        {"element vertex 1152921504606846976\n" + xyz, body, true},
        {"element vertex 18446744073709551615\n" + xyz, body, true},
        {"element vertex 84\n" + xyz, body, true},             // one more than there are bytes
        {noVertex + "element e 1000000000000\n", body, true},  // no properties
        {noVertex + "element e 1\nproperty list float uchar l\n", body, true},
        {noVertex + "element e 1\nproperty list zzz uchar l\n", body, true},
        {noVertex + "foo\n", "", true},
        {"element vertex 1\nproperty list uchar float x\nproperty list uchar float y\nproperty list uchar float z\n", body,
         true},
        {"element vertex 1\nproperty uchar x\nproperty uchar y\nproperty uchar z\n", "1 2 3\n", true},
        {oneFace + "list int int vertex_indices\n", "-1 \xff\xff\xff\xff" + body, false},
        {oneFace + "list int int vertex_indices\n", body, false},
    };
    for (const std::string format : {"ascii", "binary_little_endian", "binary_big_endian"})
        for (const auto& [header, content, bPointsOnly] : table) {
            const std::string bytes = "ply\nformat " + format + " 1.0\n" + header + "end_header\n" + content;
            EXPECT_EQ(readBytes(folder, bytes, bPointsOnly), FAILED) << format << '\n' << header;
        }
    for (const char* row : {"1 2", "1 2 x", "1 2 3x", "1 2-3 4", "1 nan 3", "1 inf 3", "1 1e39 3", "1 2e 3"})
        EXPECT_EQ(readBytes(folder, "ply\nelement vertex 1\n" + xyz + "end_header\n" + row + "\n", true), FAILED) << row;
}

TEST_F(ReadPly, SaysWhatItCannotRead) {
    const std::string noElement = folder.write("b.ply", "ply\nproperty float x\n");
    for (const auto& [name, text] : {std::pair<std::string, std::string>{"/no/such", "WARNING: Failed to open /no/such"},
                                     {noElement, "WARNING: " + noElement + " not read"},
                                     {noElement, "tinyply exception: no elements defined; file is malformed\n"},
                                     {"/dev/zero", ""},
                                     {"/tmp", ""}}) {
        Points vPoints;
        expectText(text, [&, n = name] { EXPECT_FALSE(readPly(n.c_str(), true, vPoints)) << n; });
    }
}

// What readPly() refuses but readPointFile() takes, which has points in mind and not one function's rules.
TEST_F(ReadPly, PointFilesMayHoldWhatOthersWrite) {
    const auto header = [](const std::string& type, const std::string& count) {
        return "ply\nformat ascii 1.0\nelement vertex " + count + "\nproperty " + type + " x\nproperty " + type +
               " y\nproperty " + type + " z\nend_header\n";
    };
    Points vPoints;
    const auto read = [&](const std::string& bytes) {
        vPoints.clear();
        bool bRead = false;
        const std::string path = folder.write("a.ply", bytes);
        const std::string said = outputOf([&] { bRead = readPointFile(path, vPoints); });
        EXPECT_EQ(bRead, !vPoints.empty());
        return said;
    };
    EXPECT_EQ(read(header("float", "2") + "nan 1 -INF\n1 2 3\n"), "");
    EXPECT_TRUE(vPoints.size() == 2U && std::isnan(vPoints[0].x()) && std::isinf(vPoints[0].z()));
    for (const std::string type : {"char", "uchar", "short", "ushort", "int", "uint"}) {
        EXPECT_EQ(read(header(type, "1") + "1 2 3\n \n"), "");
        EXPECT_EQ(vPoints, Points({{1, 2, 3}})) << type;
    }
    EXPECT_EQ(countIn(read(header("float", "1") + "1 2 3\n4 5 6\n"), "has more than its header counts: 7 bytes"), 1);
    EXPECT_EQ(vPoints.size(), 1U);
    for (const auto& [bytes, words] : std::map<std::string, std::string>{
             {header("int64", "1") + "1 2 3\n", "unsupported type of the coordinate x"},
             {header("float", "3") + "1.5 2.5 3.5\n4.5 5.5 6.5\n", "end of file: element vertex, item 3 of 3\n"},
             {header("float", "900") + "1 2 3\n", "end of file: element vertex, item 2 of 900 at the latest\n"},
             {header("float", "2") + "1 2 3\n4 5 x\n", "x: element vertex, item 2 of 2\n"}}) {
        const std::string said = read(bytes);
        EXPECT_NE(said.find(words), std::string::npos) << words << " in " << said;
    }
}

TEST_F(WritePly, NumbersVerticesInTheOrderOfTheirUse) {
    Soup soup{CORNERS, {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}, {0, 1, 2}}};
    soup.vVtx.emplace_back(7, 7, 7);  // without a triangle
    FineMesh mesh(soup);
    mesh.kill(4);
    EXPECT_TRUE(PLY::writePly(&*mesh, folder.path("a.ply"), true));
    EXPECT_EQ(folder.read("a.ply"),
              "ply\nformat ascii 1.0\n"
              "element vertex 4\nproperty float x\nproperty float y\nproperty float z\nelement face 4\n"
              "property list uchar uint vertex_indices\nend_header\n"
              "0 0 0\n0 2.5 0\n1.5 0 0\n0 0 3\n3 0 1 2\n3 0 2 3\n3 2 1 3\n3 1 0 3\n");
    EXPECT_TRUE(writeMeshPly(*mesh, folder.path("b.ply"), false));
    EXPECT_EQ(readBytes(folder, folder.read("b.ply")), TETRAHEDRON);

    CoarsePlaces coarse(sheet(2, 2));
    RMesh fine(&coarse.mesh);
    EXPECT_TRUE(PLY::writePly(&fine, folder.path("fine.ply"), true));
    EXPECT_TRUE(PLY::writePly(&coarse.mesh, coarse.mBundle, folder.path("coarse.ply"), true));
    EXPECT_EQ(folder.read("coarse.ply"), folder.read("fine.ply"));
}

TEST_F(WritePly, PointsComeBackInSinglePrecision) {
    Points vPoints = scaled(Scan(6).dust(100000), 1000.0), vSingle = vPoints, vNone;
    for (Point3& p : vSingle)
        p = Point3(inSinglePrecision(p.x()), inSinglePrecision(p.y()), inSinglePrecision(p.z()));
    EXPECT_TRUE(writePointsPly(folder.path("a.ply"), vPoints, false));
    EXPECT_EQ(readBytes(folder, folder.read("a.ply"), true), vSingle);
    for (const std::string name : {"text.ply", "bytes.ply", "p.xyz"}) {
        std::string file = folder.path(name);
        Points vRead;
        EXPECT_TRUE(writePoints_auto(file, vPoints, name[0] == 't', TARN_KEL::Precision::DOUBLE));
        EXPECT_TRUE(readPoints_auto(file, vRead) && vRead == vPoints) << name;
    }
    EXPECT_FALSE(writePointsPly("/dev/full", vPoints, true));
    EXPECT_TRUE(writePointsPly(folder.path("a.ply"), vNone, true));
    EXPECT_EQ(readBytes(folder, folder.read("a.ply"), true), vNone);
}
