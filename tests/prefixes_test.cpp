// Every proper prefix of a small file of each format: what a copy that was cut off gives.
#include "support/TempFolder.h"
#include "support/binary_stl.h"
#include "support/fine.h"
#include "support/prelude.h"

using namespace TARN_TEST;
namespace {

/// Reads each prefix behind an old point. read: bool(file, points). check: (bytes, what was returned, what was appended).
template <typename Read, typename Check>
void forEachPrefix(const TempFolder& folder, const std::string& name, Read&& read, Check&& check) {
    const CoutSilence silence;
    const std::string whole = folder.read(name);
    ASSERT_GT(whole.size(), 50U);
    for (std::size_t length = 0; length < whole.size() && !testing::Test::HasFailure(); ++length) {
        SCOPED_TRACE(name + ", its first bytes: " + std::to_string(length));
        std::string file = folder.write("cut_" + name, whole.substr(0, length));
        Points vPoints{{7, 8, 9}};
        const bool bOk = read(file, vPoints);
        ASSERT_TRUE(!vPoints.empty() && vPoints[0] == Point3(7, 8, 9));
        check(whole.substr(0, length), bOk, Points(vPoints.begin() + 1, vPoints.end()));
    }
}

const auto bySoup = [](const std::string& file, Points& v) { return readSTL_ASCII(file.c_str(), v); };
const auto byMesh = [](const std::string& file, Points&) { return readMesh_auto(file) != nullptr; };

TEST(Prefixes, aCutTextGivesThePointsOfItsWholeLinesAndAtMostOneMore) {
    const TempFolder folder;
    const Points vAll{{0, 0, 0}, {1.25, -2, 0.001}, {1e7, 0.5, 5}, {-3, 12345.5, 0.125}};
    const MeshPtr pMesh = meshOf(sheet(2, 1));
    const Points vCorners = cornersOf(pMesh);
    ASSERT_TRUE(writePoints_ASCII(folder.path("p.xyz").c_str(), vAll, 17) &&
                writeMesh_auto(folder.path("m.stl"), pMesh, true));
    const auto checker = [](const Points& vFull, const std::string& word) {
        return [&vFull, word](const std::string& bytes, bool, const Points& vRead) {
            std::size_t n = 0;  // of whole lines with the word
            for (std::size_t end = 0, i = 0; (end = bytes.find('\n', i)) != std::string::npos; i = end + 1)
                n += bytes.substr(i, end - i).find(word) != std::string::npos ? 1 : 0;
            ASSERT_TRUE(vRead.size() == n || vRead.size() == n + 1) << vRead.size() << " of " << n;
            EXPECT_EQ(Points(vRead.begin(), vRead.end() - (vRead.size() > n ? 1 : 0)), Points(&vFull[0], &vFull[0] + n));
        };
    };
    forEachPrefix(
        folder, "p.xyz", [](auto& file, auto& v) { return readPoints_auto(file, v); }, checker(vAll, ""));
    forEachPrefix(folder, "m.stl", bySoup, checker(vCorners, "vertex"));
    forEachPrefix(folder, "m.stl", readSTLTriCorners, checker(vCorners, "vertex"));
    forEachPrefix(folder, "m.stl", byMesh, [](const std::string& bytes, bool bOk, const Points&) {
        const int n = countIn(bytes, "outer loop"), numCorners = countIn(bytes, "vertex");  // a cut corner may lack numbers
        EXPECT_TRUE(bOk ? n > 0 && numCorners == 3 * n : n == 0 || n > countIn(bytes, "endloop"));
    });
}

TEST(Prefixes, aBinaryStlIsReadWholeOrNotAtAll) {
    const TempFolder folder;
    const Points vCorners{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    for (const std::string& header : {std::string(80, '\0'), std::string("solid")}) {
        folder.write("b.stl", binaryStl(vCorners, header));
        const auto isNothing = [](const std::string& bytes, bool bOk, const Points& vRead) {
            EXPECT_TRUE(vRead.empty() && (!bOk || bytes.size() < 84)) << "less than a header is a text without triangles";
        };
        forEachPrefix(folder, "b.stl", bySoup, isNothing);
        forEachPrefix(folder, "b.stl", readSTLTriCorners, isNothing);
        forEachPrefix(folder, "b.stl", byMesh, [](const std::string&, bool bOk, const Points&) { EXPECT_FALSE(bOk); });
        EXPECT_NE(readMesh_auto(folder.path("b.stl")), nullptr);
    }
}

}  // namespace
