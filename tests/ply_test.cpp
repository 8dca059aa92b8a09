// PLY files: the generic layer against a plain second writer, and the library's reading and writing of points and meshes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <sstream>
#include <thread>

#include "Bundle.h"
#include "CMesh.h"
#include "Calc.h"
#include "RMesh.h"
#include "support/TempFolder.h"
#include "support/capture.h"
#include "tinyply.h"

using namespace TARN_KEL;
using namespace TARN_TEST;
using Points = std::vector<Point3>;

namespace {

// ---- A plain second writer of PLY files

enum Encoding { ASCII, LITTLE, BIG };
constexpr std::array<Encoding, 3> ENCODINGS{ASCII, LITTLE, BIG};
const std::vector<std::string> TYPES{"char", "uchar", "int16", "ushort", "int", "uint32", "float", "float64"};

struct Property {
    std::string name, type, countType;  // countType empty: a plain property
};
using Values = std::vector<double>;
struct Element {
    std::string name;
    std::vector<Property> vProperty;
    std::vector<std::vector<Values>> vItem;  // item, property, values
};

template <typename T>
std::string encodeAs(double value, Encoding encoding) {
    const T t = static_cast<T>(value);
    std::string bytes(reinterpret_cast<const char*>(&t), sizeof t);
    if (encoding == BIG) std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

std::string encode(const std::string& type, double value, Encoding encoding) {
    if (encoding == ASCII) {
        std::ostringstream out;
        out.precision(17);
        out << value << ' ';
        return out.str();
    }
    switch (std::find(TYPES.begin(), TYPES.end(), type) - TYPES.begin()) {
    case 0:
        return encodeAs<std::int8_t>(value, encoding);
    case 1:
        return encodeAs<std::uint8_t>(value, encoding);
    case 2:
        return encodeAs<std::int16_t>(value, encoding);
    case 3:
        return encodeAs<std::uint16_t>(value, encoding);
    case 4:
        return encodeAs<std::int32_t>(value, encoding);
    case 5:
        return encodeAs<std::uint32_t>(value, encoding);
    case 6:
        return encodeAs<float>(value, encoding);
    default:
        return encodeAs<double>(value, encoding);
    }
}

std::string headerOf(const std::vector<Element>& vElement, Encoding encoding) {
    std::string text = "ply\nformat ";
    text += encoding == ASCII ? "ascii" : encoding == LITTLE ? "binary_little_endian" : "binary_big_endian";
    text += " 1.0\ncomment made by a test\nobj_info more\n";
    for (const Element& element : vElement) {
        text += "element " + element.name + ' ' + std::to_string(element.vItem.size()) + '\n';
        for (const Property& p : element.vProperty)
            text += "property " + (p.countType.empty() ? "" : "list " + p.countType + ' ') + p.type + ' ' + p.name + '\n';
    }
    return text + "end_header\n";
}

std::string makePly(const std::vector<Element>& vElement, Encoding encoding) {
    std::string text = headerOf(vElement, encoding);
    for (const Element& element : vElement) {
        for (const std::vector<Values>& item : element.vItem) {
            for (std::size_t i = 0; i < item.size(); ++i) {
                const Property& p = element.vProperty[i];
                if (!p.countType.empty()) text += encode(p.countType, static_cast<double>(item[i].size()), encoding);
                for (const double value : item[i])
                    text += encode(p.type, value, encoding);
            }
            if (encoding == ASCII) text.back() = '\n';
        }
    }
    return text;
}

double decode(const PLY::PlyData& data, std::size_t i) {
    const std::uint8_t* const p = data.buffer.data();
    const auto at = [&](auto value) {
        std::memcpy(&value, p + i * sizeof value, sizeof value);
        return static_cast<double>(value);
    };
    switch (data.t) {
    case PLY::Type::INT8:
        return at(std::int8_t{});
    case PLY::Type::UINT8:
        return at(std::uint8_t{});
    case PLY::Type::INT16:
        return at(std::int16_t{});
    case PLY::Type::UINT16:
        return at(std::uint16_t{});
    case PLY::Type::INT32:
        return at(std::int32_t{});
    case PLY::Type::UINT32:
        return at(std::uint32_t{});
    case PLY::Type::FLOAT32:
        return at(float{});
    default:
        return at(double{});
    }
}

std::vector<Element> randomElements(std::mt19937& random) {
    std::vector<Element> vElement(random() % 3 + 1);
    for (std::size_t e = 0; e < vElement.size(); ++e) {
        Element& element = vElement[e];
        element.name = "e" + std::to_string(e);
        for (std::size_t i = random() % 5 + 1; i > 0; --i)
            element.vProperty.push_back(
                {"p" + std::to_string(i), TYPES[random() % 8], random() % 3 ? "" : TYPES[random() % 6]});
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
                vFound.push_back(decode(**it, k));
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

Element vertexElement(const std::string& xType, const std::string& yzType, const std::vector<std::string>& vName) {
    Element element{"vertex", {}, {}};
    for (const std::string& name : vName)
        element.vProperty.push_back({name, name == "x" ? xType : name == "n" ? "uchar" : yzType, ""});
    for (const Point3& p : CORNERS) {
        std::vector<Values>& item = element.vItem.emplace_back();
        for (const std::string& name : vName)
            item.push_back({name == "x" ? p.x() : name == "y" ? p.y() : name == "z" ? p.z() : 65});
    }
    return element;
}

Element faceElement(const std::string& countType, const std::string& type, const std::vector<Values>& vFace) {
    Element element{"face", {{"vertex_indices", type, countType}}, {}};
    for (const Values& face : vFace)
        element.vItem.push_back({face});
    return element;
}

const std::vector<Values> FACES{{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}};
std::vector<Element> tetrahedron() {
    return {vertexElement("float64", "float64", {"x", "y", "z"}), faceElement("uchar", "int", FACES)};
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

std::string requestError(PLY::PlyFile& file, const std::string& element, const std::vector<std::string>& keys) {
    try {
        file.request_properties_from_element(element, keys);
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no error";
}

}  // namespace

TEST(PlyFile, ReadsEveryTypeInEveryEncoding) {
    for (unsigned seed = 0; seed < 12; ++seed) {
        std::mt19937 random(seed);
        const std::vector<Element> vElement = randomElements(random);
        for (const Encoding encoding : ENCODINGS) {
            std::istringstream in(makePly(vElement, encoding) + "behind");
            expectValues(vElement, in, "seed " + std::to_string(seed) + ", encoding " + std::to_string(encoding));
            std::string rest;
            EXPECT_TRUE(in >> rest && rest == "behind") << "the stream stands behind the body";
        }
    }
}

TEST(PlyFile, WritesWhatThePlainWriterWrites) {
    const std::vector<float> vXyz{1, 2.5F, -3, 4, 5e10F, 6};
    const std::vector<std::uint16_t> vList{1, 2, 3, 4};
    const auto bytes = [](const auto& v) {
        return reinterpret_cast<std::uint8_t*>(const_cast<char*>(reinterpret_cast<const char*>(v.data())));
    };
    const std::vector<Element> vElement{
        {"v",
         {{"x", "float", ""}, {"y", "float", ""}, {"z", "float", ""}, {"l", "ushort", "int"}},
         {{{1}, {2.5}, {-3}, {1, 2}}, {{4}, {5e10}, {6}, {3, 4}}}}};
    for (const Encoding encoding : ENCODINGS) {
        PLY::PlyFile file;
        std::istringstream format(encoding == BIG ? "format binary_big_endian 1.0\nend_header\n" : "");
        file.parse_header(format);
        file.get_comments().push_back("made by a test");
        file.add_properties_to_element("v", {"x", "y", "z"}, PLY::Type::FLOAT32, 2, bytes(vXyz), PLY::Type::INVALID, 0);
        file.add_properties_to_element("v", {"l"}, PLY::Type::UINT16, 2, bytes(vList), PLY::Type::INT32, 2);
        std::ostringstream out;
        file.write(out, encoding != ASCII);
        std::string expected = makePly(vElement, encoding);
        expected.erase(expected.find("obj_info"), 14);
        if (encoding == ASCII) expected.replace(expected.find("50000000000"), 11, "5e+10");
        EXPECT_EQ(out.str(), expected);
    }
    PLY::PlyFile file;
    EXPECT_THROW(file.add_properties_to_element("v", {"l"}, PLY::Type::INT8, 1, bytes(vList), PLY::Type::INT8, 128),
                 std::exception);
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
    EXPECT_EQ(odd.get_elements()[0].properties[0].listType, PLY::Type::UINT8);
    EXPECT_FALSE(parse("ply\nelements v 3\nend_header\n", unknown));
    EXPECT_TRUE(parse("ply\nelement v 3", cut));
    for (const char* text : {"property int x\n", "element v\n", "element v -1\n", "element v 18446744073709551616\n",
                             "element v 1x\n", "element v 1\nproperty int\n", "element v 1\nproperty list int int\n"}) {
        PLY::PlyFile file;
        EXPECT_THROW(parse(text, file), std::runtime_error) << text;
    }
    EXPECT_THROW(parse(std::string(5 << 20, 'x'), unknown), std::runtime_error);
}

TEST(PlyFile, RequestsSayWhatIsWrong) {
    PLY::PlyFile file, empty;
    std::istringstream in(makePly(tetrahedron(), ASCII));
    file.parse_header(in);
    EXPECT_EQ(requestError(empty, "v", {"x"}), "header had no elements defined. malformed file?");
    EXPECT_EQ(requestError(file, "", {"x"}), "`elementKey` argument is empty");
    EXPECT_EQ(requestError(file, "v", {}), "`propertyKeys` argument is empty");
    EXPECT_EQ(requestError(file, "v", {"x"}), "the element key was not found in the header: v");
    EXPECT_EQ(requestError(file, "vertex", {"x", "u", "v"}),
              "the following property keys were not found in the header: u, v");
    EXPECT_EQ(requestError(file, "vertex", {"y"}), "no error");
    EXPECT_EQ(requestError(file, "vertex", {"x", "y"}), "element-property key has already been requested: vertex-y");
    EXPECT_EQ(requestError(file, "vertex", {"x"}), "no error") << "the failed request left nothing behind";
}

TEST(PlyFile, HoldsListsToTheirHint) {
    for (const Encoding encoding : ENCODINGS) {
        std::istringstream good(makePly(tetrahedron(), encoding));
        PLY::PlyFile file;
        file.parse_header(good);
        const auto pFaces = file.request_properties_from_element("face", {"vertex_indices"}, 3);
        file.read(good);
        EXPECT_EQ(pFaces->buffer.size(), 4U * 3U * 4U);
        std::vector<Element> vElement = tetrahedron();
        vElement[1].vItem[2][0] = {0, 1, 2, 3};
        std::istringstream quad(makePly(vElement, encoding));
        PLY::PlyFile other;
        other.parse_header(quad);
        const auto pQuad = other.request_properties_from_element("face", {"vertex_indices"}, 3);
        EXPECT_THROW(other.read(quad), std::runtime_error);
        EXPECT_LE(pQuad->buffer.size(), 4U * 3U * 4U);
    }
}

TEST(ReadPly, TakesCoordinatesAndIndicesOfAnyType) {
    const TempFolder folder;
    for (const Encoding encoding : ENCODINGS) {
        for (const auto& [xType, yzType] : {std::pair{"float", "float"}, {"float64", "float64"}, {"float64", "float"}})
            for (const std::vector<std::string>& vName : {std::vector<std::string>{"x", "y", "z"},
                                                          {"x", "n", "y", "n2", "z"},
                                                          {"y", "n", "x", "z"},
                                                          {"x", "z", "y"}}) {
                const std::string bytes = makePly({vertexElement(xType, yzType, vName)}, encoding);
                EXPECT_EQ(readBytes(folder, bytes, true), CORNERS) << bytes;
            }
        EXPECT_EQ(readBytes(folder, makePly({vertexElement("int", "int", {"x", "y", "z"})}, LITTLE), true)[1],
                  Point3(1, 0, 0));
        for (const std::string& type : TYPES) {
            std::vector<Element> vElement = tetrahedron();
            vElement[1] = faceElement(type[0] == 'f' ? "uchar" : type, type, FACES);
            EXPECT_EQ(readBytes(folder, makePly(vElement, encoding)), type[0] == 'f' ? FAILED : TETRAHEDRON) << type;
            vElement[1].vProperty[0].name = "vertex_index";
            EXPECT_EQ(readBytes(folder, makePly(vElement, encoding)), type[0] == 'f' ? FAILED : TETRAHEDRON) << type;
        }
        std::vector<Element> vElement{vertexElement("float64", "float64", {"x", "y", "z"}),
                                      faceElement("uchar", "int", {{0, 1, 2, 3}, {3, 2, 1}, {0, 1, 2, 3, 0}})};
        const Points& c = CORNERS;
        EXPECT_EQ(readBytes(folder, makePly(vElement, encoding)),
                  (Points{c[0], c[1], c[2], c[0], c[2], c[3], c[3], c[2], c[1], c[0], c[1], c[2], c[0], c[2], c[3], c[0],
                          c[3], c[0]}));
        vElement[1].vItem[1][0].pop_back();
        EXPECT_EQ(readBytes(folder, makePly(vElement, encoding)), FAILED) << "a face of two corners";
        for (const double index : {-1.0, 4.0, 2147483647.0}) {
            vElement[1].vItem[1][0] = {0, index, 1};
            EXPECT_EQ(readBytes(folder, makePly(vElement, encoding)), FAILED) << index;
        }
    }
    std::string crlf = makePly(tetrahedron(), ASCII);
    for (std::size_t pos = 0; (pos = crlf.find('\n', pos)) != std::string::npos; pos += 2)
        crlf.insert(pos, 1, '\r');
    EXPECT_EQ(readBytes(folder, crlf), TETRAHEDRON);
}

TEST(ReadPly, RefusesEveryPrefix) {
    const TempFolder folder;
    for (const Encoding encoding : ENCODINGS) {
        const std::string bytes = makePly(tetrahedron(), encoding);
        const std::size_t numNeeded = bytes.size() - (encoding == ASCII ? 1 : 0);  // the last new line can be spared
        for (std::size_t length = 0; length < numNeeded; ++length)
            for (const bool bPointsOnly : {false, true})
                ASSERT_EQ(readBytes(folder, bytes.substr(0, length), bPointsOnly), FAILED) << encoding << ' ' << length;
        EXPECT_EQ(readBytes(folder, bytes.substr(0, numNeeded)), TETRAHEDRON);
    }
}

TEST(ReadPly, BelievesNoClaimOfTheHeader) {
    const TempFolder folder;
    const std::string xyz = "property float x\nproperty float y\nproperty float z\n", body(1000, '1');
    for (const std::string format : {"ascii", "binary_little_endian", "binary_big_endian"}) {
        const auto read = [&](const std::string& header, const std::string& content, bool bPointsOnly) {
            return readBytes(folder, "ply\nformat " + format + " 1.0\n" + header + "end_header\n" + content, bPointsOnly);
        };
        for (const char* count :
             {"1152921504606846976", "18446744073709551615", "18446744073709551616", "-1", "1e3", "84", ""})
            EXPECT_EQ(read(std::string("element vertex ") + count + '\n' + xyz, body.substr(0, 500), true), FAILED) << count;
        EXPECT_EQ(read("element vertex 0\n" + xyz + "element e 1000000000000\n", body, true), FAILED) << "no properties";
        for (const char* type : {"float", "double", "zzz"})
            EXPECT_EQ(read("element vertex 0\n" + xyz + "element e 1\nproperty list " + type + " uchar l\n", body, true),
                      FAILED);
        EXPECT_EQ(read("element vertex 0\n" + xyz + "element face 1\nproperty list int int vertex_indices\n",
                       "-1 \xff\xff\xff\xff" + body, false),
                  FAILED);
        EXPECT_EQ(read("element vertex 0\n" + xyz + "element face 1\nproperty list int int vertex_indices\n", body, false),
                  FAILED);
        EXPECT_EQ(read("element vertex 0\n" + xyz + "element face 0\nproperty int vertex_indices\n", "", false), Points());
        EXPECT_EQ(read("element vertex 0\n" + xyz + "foo\n", "", true), FAILED) << "an unknown word";
        EXPECT_EQ(
            read("element vertex 1\nproperty list uchar float x\nproperty list uchar float y\nproperty list uchar float z\n",
                 body, true),
            FAILED);
        EXPECT_EQ(read("element vertex 1\nproperty uchar x\nproperty uchar y\nproperty uchar z\n", "1 2 3\n", true), FAILED);
    }
    for (const char* row : {"1 2", "1 2 x", "1 2 3x", "1 2-3 4", "1 nan 3", "1 inf 3", "1 1e39 3", "1 2e 3"})
        EXPECT_EQ(readBytes(folder, "ply\nelement vertex 1\n" + xyz + "end_header\n" + row + "\n", true), FAILED) << row;
    Points vPoints;
    EXPECT_NE(outputOf([&] {
                  EXPECT_FALSE(readPly("/no/such", true, vPoints));
              }).find("readPly, WARNING: Failed to open /no/such"),
              std::string::npos);
    const std::string name = folder.write("b.ply", "ply\nproperty float x\n");
    const std::string text = outputOf([&] { EXPECT_FALSE(readPly(name.c_str(), true, vPoints)); });
    for (const std::string& line :
         {std::string("tinyply exception: no elements defined; file is malformed\n"),
          std::string("Error: no elements defined; file is malformed\n"), "WARNING: " + name + " not read"})
        EXPECT_NE(text.find(line), std::string::npos) << text;
    const CoutSilence silence;
    for (const char* device : {"/dev/zero", "/tmp"})
        EXPECT_FALSE(readPly(device, true, vPoints)) << device;
}

TEST(WritePly, NumbersVerticesInTheOrderOfTheirUse) {
    const TempFolder folder;
    const std::string body =
        "element vertex 4\nproperty float x\nproperty float y\nproperty float z\nelement face 4\n"
        "property list uchar uint vertex_indices\nend_header\n"
        "0 0 0\n0 2.5 0\n1.5 0 0\n0 0 3\n3 0 1 2\n3 0 2 3\n3 2 1 3\n3 1 0 3\n";
    RMesh rMesh(1.0);
    std::vector<Point3*> vVtx;
    Calc calc(0, 0, 0, 32, 32, 32, 5);
    std::map<CCD, Bundle*> mCCDBundle;
    Points vMoved = CORNERS;
    std::array<Bundle, 4> aBundle;
    for (std::size_t i = 0; i < 4; ++i) {
        vVtx.push_back(rMesh.createVertex(CORNERS[i], true));
        aBundle[i].pVtx = &vMoved[i];
        mCCDBundle[i + 1] = &aBundle[i];
    }
    CMesh cMesh(nullptr, &calc, mCCDBundle);
    rMesh.createVertex(7, 7, 7, true);  // without a triangle
    for (const Values& face : FACES) {
        std::array<std::size_t, 3> c{};
        std::transform(face.begin(), face.end(), c.begin(), [](double index) { return static_cast<std::size_t>(index); });
        rMesh.createT(vVtx[c[0]], vVtx[c[1]], vVtx[c[2]]);
        cMesh.createT(c[0] + 1, c[1] + 1, c[2] + 1, 0, 0);
    }
    rMesh.createT(vVtx[0], vVtx[1], vVtx[2])->kill(&rMesh);
    EXPECT_TRUE(PLY::writePly(&rMesh, folder.path("r.ply"), true));
    EXPECT_EQ(folder.read("r.ply"), "ply\nformat ascii 1.0\n" + body);
    EXPECT_TRUE(PLY::writePly(&cMesh, mCCDBundle, folder.path("c.ply"), true));
    EXPECT_EQ(folder.read("c.ply"), folder.read("r.ply"));
    EXPECT_TRUE(writeMeshPly(rMesh, folder.path("b.ply"), false));
    EXPECT_EQ(readBytes(folder, folder.read("b.ply")), TETRAHEDRON);
    EXPECT_EQ(outputOf([&] { EXPECT_FALSE(writeMeshPly(rMesh, "/no/a.ply", true)); }),
              "Failed, filename=/no/a.ply\nfailed to write /no/a.ply\n");
    mCCDBundle.erase(2);
    EXPECT_NE(reportOf([&] {
                  PLY::writePly(&cMesh, mCCDBundle, folder.path("c.ply"), true);
              }).find(conditionFailed("q_it!=mCCDBundle.end()")),
              std::string::npos);
}

TEST(WritePly, PointsComeBackInSinglePrecisionEvenThroughAFifo) {
    const TempFolder folder;
    const std::string fifo = folder.path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::mt19937 random(6);
    std::uniform_real_distribution<double> spread(-500, 500);
    Points vPoints, vExpected;
    for (int i = 0; i < 100000; ++i) {
        const Point3 p(spread(random), spread(random), spread(random));
        vPoints.push_back(p);
        vExpected.emplace_back(static_cast<float>(p.x()), static_cast<float>(p.y()), static_cast<float>(p.z()));
    }
    const CoutSilence silence;
    for (const std::string& name : {folder.path("a.ply"), fifo}) {
        Points vRead;
        std::thread writer([&] { EXPECT_TRUE(writePointsPly(name, vPoints, false)); });
        if (name != fifo) writer.join();
        EXPECT_TRUE(readPly(name.c_str(), true, vRead));
        if (name == fifo) writer.join();
        EXPECT_EQ(vRead, vExpected);
    }
    EXPECT_EQ(outputOf([&] { EXPECT_FALSE(writePointsPly("/dev/full", vPoints, true)); }),
              "writePointsPly, received 100000 points\nCan't write /dev/full\n");
}

TEST(writePointsPly, writesAnEmptyList) {
    const TempFolder folder;
    const CoutSilence silence;
    Points vNone, vRead;
    for (const bool bAscii : {true, false}) {
        EXPECT_TRUE(writePointsPly(folder.path("none.ply"), vNone, bAscii));
        EXPECT_TRUE(readPly(folder.path("none.ply").c_str(), true, vRead));
    }
    EXPECT_TRUE(vRead.empty());
}
