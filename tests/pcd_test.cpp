// Points of PCD files.
#include "support/pcd.h"
#include "support/pointReads.h"

using namespace TARN_TEST;

namespace {

const std::vector<std::string> ENCODINGS{"ascii", "binary", "binary_compressed"};
const Points SOME_POINTS{{1, 2.5, 0.125}, {-3.75, -65536, 4}, {1000, -2000, 0}};
const std::string HEAD = "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\n";

/// Whole numbers, which every kind of number holds that is signed where a coordinate is below 0.
Points wholePoints(std::size_t n, bool bBelowZero) {
    Points vPoints = randomPoints(n, 50, 1);
    for (Point3& p : vPoints)
        p = p + Vector3(50, 50, 50) * (bBelowZero ? 0 : 1);
    return vPoints;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

/// A file of x, y and z as single bytes in a block.
std::string blockFile(std::size_t numPoints, std::string block, std::size_t numOut) {
    std::string lengths;
    appendPcdNumber(lengths, {"", 'U', 4}, static_cast<double>(block.size()));
    appendPcdNumber(lengths, {"", 'U', 4}, static_cast<double>(numOut));
    return "FIELDS x y z\nSIZE 1 1 1\nTYPE U U U\nPOINTS " + std::to_string(numPoints) + "\nDATA binary_compressed\n" +
           lengths + block;
}

struct Pcd : FolderTest {};

}  // namespace

TEST_F(Pcd, EveryEncodingAndKindOfNumberReturnsItsPoints) {
    for (const std::string& encoding : ENCODINGS) {
        const auto read = [&](const Points& vPoints, const PcdFields& vField) {
            return readBehindOlder(folder.write("a.pcd", pcdFile(vPoints, encoding, vField)), true);
        };
        EXPECT_EQ(read(SOME_POINTS, PLAIN_PCD), SOME_POINTS) << encoding;
        EXPECT_EQ(read({}, PLAIN_PCD), Points()) << encoding;
        EXPECT_EQ(read(SOME_POINTS, {{"rgb", 'U'}, {"z"}, {"_", 'U', 1, 3}, {"x", 'F', 8}, {"normal", 'F', 4, 3}, {"y"}}),
                  SOME_POINTS)
            << encoding;
        for (const char type : {'I', 'U'})
            for (const int size : {1, 2, 4, 8}) {
                const Points vPoints = wholePoints(300, type == 'I');
                EXPECT_EQ(read(vPoints, {{"x", type, size}, {"y", type, size}, {"z", 'I', 2}}), vPoints)
                    << encoding << " " << type << size;
            }
    }
    const Points vMany = wholePoints(50000, true);
    for (const char* encoding : {"ascii", "binary"})
        EXPECT_EQ(readBehindOlder(folder.write("a.pcd", pcdFile(vMany, encoding, {{"i"}, {"x"}, {"y"}, {"z"}})), true),
                  vMany);
}

TEST_F(Pcd, KeepsPointsThatAreNoNumbers) {
    const Points vPoints{{NOT_A_NUMBER, NOT_A_NUMBER, NOT_A_NUMBER}, {1, 2, INF}, {1, 2, 3}};
    for (const std::string& encoding : ENCODINGS)
        EXPECT_TRUE(areSame(readBehindOlder(folder.write("a.pcd", pcdFile(vPoints, encoding)), true), vPoints)) << encoding;
    EXPECT_TRUE(areSame(readBehindOlder(folder.write("a.pcd", HEAD + "POINTS 1\nDATA ascii\nNaN -nan nan"), true),
                        {vPoints.front()}));
}

TEST_F(Pcd, IsToldByItsFirstBytesOrItsName) {
    const std::string bytes = pcdFile(SOME_POINTS, "binary");
    for (const char* name : {"a.pcd", "a.PCD", "a.Pcd", "a.xyz", "a.bin", "a.las", "a"}) {
        EXPECT_EQ(pointFormat(folder.write(name, bytes + "behind")), PointFormat::PCD) << name;
        EXPECT_EQ(readBehindOlder(folder.path(name), true), SOME_POINTS) << name;
    }
    EXPECT_EQ(pointFormat("missing.pcd"), PointFormat::PCD);
    EXPECT_EQ(pointFormat(folder.write("b.txt", "# .PC\n1 2 3\n")), PointFormat::ASCII);
    EXPECT_EQ(pointFormat("missing"), PointFormat::NONE);
}

TEST_F(Pcd, TakesWhatWritersLeaveOutAndAdd) {
    const Points vOne{{1, 2, 3}};
    for (const std::string& text :
         {std::string("COLUMNS x y z\r\nSIZE 4 4 4\r\nTYPE F F F\r\nWIDTH 1\r\nDATA ascii\r\n1 2 3\r\n"),
          "#\n\n" + HEAD + "# comment\nHEIGHT 1\nWIDTH 1\nVIEWPOINT\nDATA ascii\n\n 1\t2  3 4 5\n6 7 8\n",
          replaced(HEAD, "VERSION 0.7\n", "POINTS 1\n") + "DATA ascii\n1 2 3"})
        EXPECT_EQ(readBehindOlder(folder.write("a.pcd", text), true), vOne) << text;
}

TEST_F(Pcd, ACutFileGivesNothingAndOneLine) {
    for (const std::string& encoding : ENCODINGS) {
        const std::string whole = pcdFile(SOME_POINTS, encoding, {{"x"}, {"y"}, {"z"}, {"i", 'U', 1}});
        const std::size_t numOptional = encoding == "ascii" ? 2 : 0;  // the blank and the line's end behind the last number
        for (std::size_t length = 0; length + numOptional < whole.size() && !HasFailure(); ++length)
            expectRefused(folder, "a.pcd", whole.substr(0, length));
    }
}

TEST_F(Pcd, DontTrustTheHeader) {
    for (const std::string& encoding : ENCODINGS) {
        const std::string file = pcdFile(SOME_POINTS, encoding), noPoints = replaced(file, "POINTS 3\n", "");
        for (const std::string& count : lyingCounts(3)) {
            expectRefused(folder, "a.pcd", replaced(file, "POINTS 3", "POINTS " + count));
            expectRefused(folder, "a.pcd", replaced(noPoints, "WIDTH 3", "WIDTH " + count));
            expectRefused(folder, "a.pcd", replaced(noPoints, "HEIGHT 1", "HEIGHT " + count));
            expectRefused(folder, "a.pcd", replaced(file, "COUNT 1 1", "COUNT 1 " + count));
            const std::string more =
                replaced(pcdFile(SOME_POINTS, encoding, {{"x"}, {"y"}, {"z"}, {"i"}}), "DATA", "#\nDATA");
            expectRefused(folder, "a.pcd", replaced(more, "COUNT 1 1 1 1", "COUNT 1 1 1 " + count));
        }
    }
    const std::string file = pcdFile(SOME_POINTS, "binary");
    for (const std::string& size : lyingCounts(4))
        expectRefused(folder, "a.pcd", replaced(file, "SIZE 4 4", "SIZE 4 " + size));
    for (const auto& [from, to, words] : std::vector<std::array<std::string, 3>>{
             {"# .PCD", "plywood\n", "line 1: expected an entry of a PCD header"},
             {"FIELDS x", "FIELDS u", "no field x"},
             {"FIELDS x y z", "FIELDS x y", "2 FIELDS in its header, but 3 of SIZE"},
             {"TYPE F", "TYPE D", "TYPE and COUNT for x that make no coordinate"},
             {"COUNT 1", "COUNT 0", "line 6: expected whole numbers above 0"},
             {"WIDTH 3", "WIDTH 2", "3 POINTS by its header, but 2 by 1"},
             {"WIDTH 3\nHEIGHT 1", "WIDTH 7378697629483820647\nHEIGHT 5", "7378697629483820647 by 5"},
             {"POINTS 3", "POINTS 3 3", "line 10: expected one whole number behind POINTS"},
             {"DATA binary", "DATA packed", "line 11: expected DATA ascii"},
             {"DATA binary", "DATA", "line 11"}})
        expectRefused(folder, "a.pcd", replaced(file, from, to), words);
    expectRefused(folder, "a.pcd", HEAD + "POINTS 2\nDATA ascii\n1 2 3\n1 2\n", "line 9: expected 3 columns");
    expectRefused(folder, "a.pcd", HEAD + "POINTS 2\nDATA ascii\n1 2 3\n1 2 3a\n", "line 9");
    expectRefused(folder, "a.pcd", HEAD + "POINTS 2\nDATA ascii\n1 2 3\n", "it has 1 of them");
    expectRefused(folder, "a.pcd", "FIELDS " + std::string(1 << 20, 'x'), "line 1: too long");
    EXPECT_TRUE(readBehindOlder(folder.path("missing.pcd"), false).empty());
}

TEST_F(Pcd, SayWhenThereAreMorePointsThanTheHeaderCounts) {
    for (const std::string& encoding : {ENCODINGS[0], ENCODINGS[1]}) {
        const std::string whole = pcdFile(SOME_POINTS, encoding, PLAIN_PCD);
        const std::string fewer = replaced(replaced(whole, "POINTS 3", "POINTS 2"), "WIDTH 3", "WIDTH 2");
        for (const auto& [bytes, numLines] : {std::pair(whole, 0), std::pair(fewer, 1)}) {
            std::string said;
            EXPECT_EQ(readBehindOlder(folder.write("a.pcd", bytes), true, &said).size(), numLines == 0 ? 3U : 2U);
            EXPECT_EQ(countIn(said, "has more points than its header counts"), numLines) << said;
        }
    }
}

TEST_F(Pcd, DontTrustACompressedBlock) {
    const auto bytes = [](std::initializer_list<int> list) { return std::string(list.begin(), list.end()); };
    const std::string run = bytes({2, 5, 6, 7});
    EXPECT_EQ(readBehindOlder(folder.write("a.pcd", blockFile(1, run, 3)), true), Points({{5, 6, 7}}));
    EXPECT_EQ(readBehindOlder(folder.write("a.pcd", blockFile(2, run + bytes({1 << 5, 2}), 6)), true),
              Points({{5, 7, 6}, {6, 5, 7}}))
        << "a reference to the beginning";
    EXPECT_EQ(readBehindOlder(folder.write("a.pcd", blockFile(3, bytes({0, 9, 6 << 5, 0}), 9)), true), Points(3, {9, 9, 9}))
        << "a reference that overlaps itself";
    EXPECT_EQ(
        readBehindOlder(folder.write("a.pcd", blockFile(91, bytes({8, 9, 9, 9, 9, 9, 9, 9, 9, 9, -32, -1, 8}), 273)), true),
        Points(91, {9, 9, 9}))
        << "the longest reference";
    for (const std::string& block : {bytes({2, 5, 6}), bytes({31, 5, 6, 7}), bytes({3, 5, 6, 7, 8}), bytes({1, 5, 6}),
                                     bytes({0, 5, 1 << 5, 1}), bytes({1 << 5, 0}), bytes({0, 5, 2 << 5, 0}),
                                     bytes({0, 5, 1 << 5}), bytes({0, 5, -32}), bytes({0, 5, -32, 0}), std::string()})
        expectRefused(folder, "a.pcd", blockFile(1, block, 3), "damaged compressed block from byte 67");
    expectRefused(folder, "a.pcd", blockFile(1, run, 4), "block of 4 bytes from byte 67, but 1 points of 3 bytes");
    expectRefused(folder, "a.pcd", blockFile(1431655765, run, 4294967295), "damaged");
    for (const bool bBefore : {true, false})  // what the block has, and what comes of it
        for (const std::string& lie : lyingCounts(bBefore ? 4 : 3)) {
            const std::uint64_t value = std::strtoull(lie.c_str(), nullptr, 10);
            if (std::to_string(value) != lie || value > 0xffffffff) continue;
            std::string lengths, file = blockFile(1, run, 3);
            appendPcdNumber(lengths, {"", 'U', 4}, static_cast<double>(value));
            expectRefused(folder, "a.pcd", file.replace(file.size() - (bBefore ? 12 : 8), 4, lengths));
        }
    for (const int byte : {0, 1, 2, 3}) {
        std::string file = blockFile(1, run, 3);
        file.at(file.size() - 12 + static_cast<std::size_t>(byte)) = '\x7f';
        expectRefused(folder, "a.pcd", file, "too short for the compressed block of");
    }
}
