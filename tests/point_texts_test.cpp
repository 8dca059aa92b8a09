// Points of texts with a header or counts: PTS, PTX and CSV files.
#include "support/pointReads.h"

using namespace TARN_TEST;

namespace {

const std::string POSE = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n";
const std::string IDENTITY = "1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n";

std::string textOf(const Points& vPoints, const std::string& separator, const std::string& more) {
    std::ostringstream text;
    text.precision(17);
    for (const Point3& p : vPoints)
        text << p.x() << separator << p.y() << separator << p.z() << more << '\n';
    return text.str();
}

/// Expects that every beginning of a text but nothing is refused that lacks more than its last bytes.
void expectCutsRefused(const TempFolder& folder, const std::string& name, const std::string& whole,
                       const std::string& last) {
    ASSERT_TRUE(whole.ends_with(last));
    for (std::size_t length = 1; length + last.size() < whole.size() + 1 && !testing::Test::HasFailure(); ++length)
        expectRefused(folder, name, whole.substr(0, length));
}

struct PointTexts : FolderTest {};

}  // namespace

TEST_F(PointTexts, NoPointOfAPlainTextIsLostInSilence) {
    const Points vThree{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    for (const char* const lineEnd : {"\n", "\r", "\r\n"}) {
        std::string text = "\xef\xbb\xbf";
        for (const char* const line : {"1 2 3", "", "4 5 6", "# 0 0 0", "7 8 9"})
            text.append(line).append(lineEnd);
        std::string said;
        EXPECT_EQ(readBehindOlder(folder.write("a.xyz", text), true, &said), vThree);
        EXPECT_EQ(said, "");
        readBehindOlder(folder.write("a.xyz", "x y z" + std::string(lineEnd) + text + "7 8" + lineEnd + "x"), true, &said);
        EXPECT_EQ(countIn(said, "left out 2 lines behind the first point"), 1) << said;
        EXPECT_EQ(readBehindOlder(folder.write("a.obj", "v 1 2 3" + std::string(lineEnd) + "v 4 5 6"), true).size(), 2U);
    }
    EXPECT_TRUE(areSame(readBehindOlder(folder.write("a.xyz", "nan 1 2\n3 -inf 4\n"), true),
                        {{NOT_A_NUMBER, 1, 2}, {3, -std::numeric_limits<double>::infinity(), 4}}));
    std::string text, said;
    for (const std::string last : {"3,5", "3m", "3.4.5", "3;4"}) {
        const std::string line = "1 2 " + last + "\n";
        EXPECT_TRUE(readBehindOlder(folder.write("a.xyz", "header\n" + line), true, &said).empty());
        EXPECT_EQ(countIn(said, "no line begins with three numbers; the first that isn't a comment: 'header'"), 1) << said;
        EXPECT_EQ(readBehindOlder(folder.write("a.xyz", "1 2 3#\n" + line), true, &said).size(), 1U);
        EXPECT_EQ(countIn(said, "left out 1 lines"), 1) << said;
        for (const std::string name : {"a.pts", "a.obj", "a.off"})
            expectRefused(folder, name,
                          name == "a.obj"   ? "v " + line
                          : name == "a.off" ? "OFF\n1 0 0\n" + line
                                            : line + line,
                          "line " + std::to_string(name == "a.off" ? 3 : 1));
    }
    for (const std::string name : {"a.xyz", "a.csv", "a.pts", "a.obj"})
        expectRefused(folder, name,
                      std::string("\xff\xfe"
                                  "1\0 \0"
                                  "2\0 \0"
                                  "3\0\n\0",
                                  14),
                      "UTF-16");
    for (std::size_t length = 0; length < 2000; ++length)
        text += "1 2 3" + std::string(length, ' ') + (length % 2 == 0 ? "\r" : "\n");
    EXPECT_EQ(readBehindOlder(folder.write("a.xyz", text), true).size(), 2000U);
}

TEST_F(PointTexts, PtsReturnsThePointsOfAllBlocks) {
    const Points vPoints = randomPoints(20000, 142857, 1.0 / 7), vNone;
    Points vBoth = vPoints;
    vBoth.insert(vBoth.end(), vPoints.begin(), vPoints.end());
    const std::string block = "20000\n" + textOf(vPoints, " ", " -1024 255 0 7");
    EXPECT_EQ(readBehindOlder(folder.write("a.pts", block), true), vPoints);
    EXPECT_EQ(
        readBehindOlder(folder.write("a.PTS", "\r\n 20000 \r\n" + textOf(vPoints, "\t", "\r") + "\n0\n" + block), true),
        vBoth);
    EXPECT_EQ(readBehindOlder(folder.write("a.pts", "0\n"), true), vNone);
    EXPECT_EQ(readBehindOlder(folder.write("a.pts", block.substr(6)), true), vPoints) << "without its count";
}

TEST_F(PointTexts, PtsRefusesWhatDoesNotFitItsCounts) {
    const std::string block = "2\n1 2 3 4\n5 6 7 8\n";
    expectCutsRefused(folder, "a.pts", block, "7 8\n");
    for (std::string count : lyingCounts(2)) {
        expectRefused(folder, "a.pts", count + block.substr(1));
        expectRefused(folder, "a.pts", block + count + block.substr(1));
    }
    expectRefused(folder, "a.pts", "1 2 3 4\n5 6\n", "line 2: expected a point");
    expectRefused(folder, "a.pts", "1" + block.substr(1), "line 3: expected a number of points");
    expectRefused(folder, "a.pts", "3" + block.substr(1), "ends before point 3 of 3");
    expectRefused(folder, "a.pts", "2\n1 2 3\n\n5 none 7\n", "line 4: expected point 2 of 2");
    expectRefused(folder, "a.pts", std::string(100, ' ') + "1\n1 2 3\n", "line 1");
    EXPECT_TRUE(readBehindOlder(folder.path("missing.pts"), false).empty());
}

TEST_F(PointTexts, AFileOfNothingHasNoPoints) {
    for (const char* name : {"a.pts", "a.ptx", "a.csv"})
        for (const char* text : {"", "\r\n \n"})
            EXPECT_TRUE(readBehindOlder(folder.write(name, text), true).empty()) << name;
}

TEST_F(PointTexts, PtxMovesEachScanByItsMatrixAndLeavesOutWhatIsMissing) {
    const std::string quarterTurn = "0 1 0 0\n-1 0 0 0\n0 0 1 0\n10 20 30 1\n";  // x becomes y
    const std::string points = "1 2 3 0.5\n0 0 0 0.5\n0 0 1 0.1 255 0 0\n0.0 -0 0e9 0.5\n4 0 0 0\n5 5 5 0\n";
    const Points vPlain{{1, 2, 3}, {0, 0, 1}, {4, 0, 0}, {5, 5, 5}};
    Points vBoth{{8, 21, 33}, {10, 20, 31}, {10, 24, 30}, {5, 25, 35}};
    EXPECT_EQ(readBehindOlder(folder.write("a.ptx", "2\n3\n" + POSE + quarterTurn + points), true), vBoth);
    vBoth.insert(vBoth.end(), vPlain.begin(), vPlain.end());
    EXPECT_EQ(readBehindOlder(folder.write("a.PTX", "2\n3\n" + POSE + quarterTurn + points + "0\n9\n" + POSE + IDENTITY +
                                                        "6\n1\n" + POSE + IDENTITY + points),
                              true),
              vBoth);
}

TEST_F(PointTexts, PtxRefusesWhatIsNoScan) {
    const std::string head = "2\n1\n" + POSE + IDENTITY, points = "1 2 3 0\n4 5 6 0\n";
    expectCutsRefused(folder, "a.ptx", head + points, "6 0\n");
    for (const std::string& count : lyingCounts(2))
        expectRefused(folder, "a.ptx", count + (head + points).substr(1));
    for (const std::string& count : lyingCounts(1))
        expectRefused(folder, "a.ptx", "2\n" + count + (head + points).substr(3));
    expectRefused(folder, "a.ptx", head + points + "7 8 9 0\n", "line 13: expected the number of columns");
    expectRefused(folder, "a.ptx", "4294967295\n4294967295\n" + POSE + IDENTITY, "point 1 of 18446744065119617025");
    expectRefused(folder, "a.ptx", "4294967296\n4294967296\n" + POSE + IDENTITY, "line 1");  // 0, modulo 2^64
    expectRefused(folder, "a.ptx", "2\n1\n" + POSE + "1 0 0 5\n", "line 7: expected row 1 of the matrix");
    expectRefused(folder, "a.ptx", "2\n1\n" + POSE + IDENTITY.substr(0, 24) + "1 2 3 0\n", "line 10: expected row 4");
    expectRefused(folder, "a.ptx", "2\n1\n" + IDENTITY.substr(0, 16) + "a\n", "line 5: expected the scanner's place");
}

TEST_F(PointTexts, CsvFindsItsColumnsByTheHeader) {
    const Points vPoints = randomPoints(20000, 142857, 1.0 / 7), vOne{{1, 2, 3}};
    EXPECT_EQ(readBehindOlder(folder.write("a.csv", "x,y,z\n" + textOf(vPoints, ",", "")), true), vPoints);
    EXPECT_EQ(readBehindOlder(folder.write("a.CSV", "X;Y;Z;name\r\n" + textOf(vPoints, ";", ";a, \"b\"\r")), true), vPoints);
    for (const std::string& text :
         {std::string("\xef\xbb\xbf\"X\",\"Y\",\"Z\"\n1,2,3"), std::string("// X, Y , Z\n\n1, 2 ,3\n"),
          std::string("#z\ty\tx\tz\n3\t2\t1\t9\n"), std::string("id,y,\"name, long\",x,Z,\n,2,\"say \"\"x, y\"\"\",1,3,\n"),
          std::string("a;z;y;x\n1,5;\"3\";+2.0;1e0\n"), std::string("x,y,z,more\n1,2,3\n"),
          std::string("xy\t,x,y,z\n1\t,1,2,3\n"), std::string("# by a scanner\n#, of, mine\nx,y,z\n1,2,3\n"),
          std::string("sep=|\nX [m]|y(m)|\"Z [m]\"\n1|2|3\n || \n||\n"), std::string("\"sep=;\"\nx;y;z\n1;2;3\n;;\n")})
        EXPECT_EQ(readBehindOlder(folder.write("a.csv", text), true), vOne) << text;
    EXPECT_TRUE(areSame(readBehindOlder(folder.write("a.csv", "x,y,z\nnan,NaN,\"nan\"\n"), true),
                        {{NOT_A_NUMBER, NOT_A_NUMBER, NOT_A_NUMBER}}));
    EXPECT_TRUE(readBehindOlder(folder.write("a.csv", "x,y,z"), true).empty());
}

TEST_F(PointTexts, CsvRefusesWhatIsNoTable) {
    const std::string whole = "name,x,y,z\nfirst,1,2,3\n\"sec,ond\",4,5,6\n";
    for (std::size_t length = 0; length < whole.size() && !HasFailure(); ++length) {
        const std::size_t numPoints = length < 22 ? 0 : length < 38 ? 1 : 2;  // with at least a digit of each coordinate
        const bool bWholeLine = length == 0 || length == 10 || length == 11 || length == 22 || length == 23 || length >= 38;
        if (bWholeLine)
            EXPECT_EQ(readBehindOlder(folder.write("a.csv", whole.substr(0, length)), true).size(), numPoints) << length;
        else
            expectRefused(folder, "a.csv", whole.substr(0, length));
    }
    for (const auto& [text, words] : std::vector<std::pair<std::string, std::string>>{
             {"1,2,3\n4,5,6\n", "line 1: expected a header with x, y and z"},
             {"x,y;z\n1,2;3\n", "line 1"},
             {"# x y z\n#\n", "ends before a header"},
             {"x y z\n1 2 3\n", "line 1"},
             {"x,y,w\n1,2,3\n", "line 1"},
             {"x;y;z\n1;2;3\n1,5;2;3\n", "line 3: expected a number, with a decimal point if any, for x"},
             {"x,y,z\n1,5,2,5,3,5\n", "line 2: more cells than the 3 columns"},
             {"x,y,z\n\n1,,3\n", "line 3: expected a number, with a decimal point if any, for y"},
             {"x\ty\tz\n\t1\t2\t3\n", "for x"},
             {"x,y,z\n1,2,3m\n", "for z"},
             {"x,y,z\n1,\"2,3\n4,5,6\n", "line 2: it ends within quotes"},
             {"x,y,z,n\n1,2,3,\"a\nb\"\n", "line 2: it ends within quotes"}})
        expectRefused(folder, "a.csv", text, words);
}
