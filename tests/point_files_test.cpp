// Point files, triangle soups, the text of numbers, and the two classes that open files.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <charconv>
#include <cstring>

#include "AtomicFile.h"
#include "BlockReader.h"
#include "support/FolderTest.h"
#include "support/binary_stl.h"
#include "support/points.h"
#include "support/prelude.h"
#include "textNumbers.h"

using namespace TARN_TEST;
namespace fs = std::filesystem;
namespace {

template <typename T>
std::string bytesOf(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}
std::string bytesOf(const Points& vPoints) {
    return {reinterpret_cast<const char*>(vPoints.data()), vPoints.size() * sizeof(Point3)};
}

/// A line of odd numbers and near-numbers.
std::string randomText(std::mt19937& random, std::size_t maxPieces) {
    static const std::array<const char*, 29> PIECES{
        "1",   "0",  "9",   "-",    "+",     ".",    "e",   "E",    "nan",   "inf", "0x1", "123456",    "e5",
        "e-3", " ",  "\t",  "e400", "e-400", "e308", "e38", "e-45", "e-320", "4.9", "000", "3.4028236", "1.7976931348623158",
        "abc", "\r", "2.5 "};
    std::string text;
    for (std::size_t i = random() % maxPieces + 1; i > 0; --i)
        text += PIECES[random() % PIECES.size()];
    return text;
}

template <typename Float>
void expectExtractedLikeAStream(unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = randomText(random, 6);
        SCOPED_TRACE(text);
        std::istringstream in(text);
        Float expected{}, value{};
        const bool bExpected = static_cast<bool>(in >> expected);
        const char* const behind = extractFloat(text.data(), text.data() + text.size(), value);
        ASSERT_EQ(behind != nullptr, bExpected);
        if (!bExpected) continue;
        in.clear();
        const std::string rest(std::istreambuf_iterator<char>(in), {});
        ASSERT_EQ(bytesOf(value), bytesOf(expected));
        ASSERT_EQ(std::string(behind, text.data() + text.size()), rest);
    }
}

const Points SOME_POINTS{{1.0 / 3, -2e-300, 3}, {0.1, 5e200, -0.0}, {123456789, 0, 4.9e-324}};

using Reader = bool (*)(const char*, Points&);
bool readCorners(const char* filename, Points& vPoints) {
    return readSTLTriCorners(filename, vPoints);
}
constexpr std::array<Reader, 4> READERS{readPoints_ASCII, readPoints_BIN, readSTL_ASCII, readCorners};

std::string binFile(std::int32_t type, std::uint64_t count, const std::string& body) {
    return bytesOf(type) + bytesOf(count) + body;
}

const std::string STL =
    "solid x\r\nfacet normal 0 0 1\n outer loop\n  vertex 1 2 3\n  vertex 4e0 5 6 7\n note\n\tvertex -7 8 9.5\n"
    " endloop\nendfacet\n vertex lies outside\n facet\nOUTER LOOP\nvertex 1 1 1\nendloop\nendsolid x";

struct AsciiPoints : FolderTest {};
struct BinPoints : FolderTest {};
struct Stl : FolderTest {};
struct Readers : FolderTest {};

}  // namespace

TEST(extractFloat, roundsLongDecimalsToTheNearest) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 20000; ++i) {
        const std::string whole = std::to_string((std::uint64_t{1} << 52) + (random() >> 12));  // numbers there are 1 apart
        std::string any = std::to_string(random()).substr(0, 1 + random() % 19);
        any.insert(random() % (any.size() + 1), ".");
        for (const std::string& text : {whole + ".5", whole + ".499", whole + ".501", any + "7"}) {
            double value = 0.0, expected = 0.0;
            extractFloat(text.data(), text.data() + text.size(), value);
            std::from_chars(text.data(), text.data() + text.size(), expected);
            ASSERT_EQ(bytesOf(value), bytesOf(expected)) << text;
        }
    }
}

TEST(TextNumbers, AreReadAndWrittenAsByAStream) {
    expectExtractedLikeAStream<double>(1);
    expectExtractedLikeAStream<float>(2);
    std::mt19937_64 random(3);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = random();
        double value = static_cast<double>(bits % 2000000) / 1000;
        if (i % 2 == 0) std::memcpy(&value, &bits, sizeof value);
        const int digits = i % 500 == 0 ? 900 : static_cast<int>(random() % 22) - 2;
        std::ostringstream out;
        out.precision(digits);
        out << value;
        std::string text;
        appendNumber(text, value, digits);
        ASSERT_EQ(text, out.str()) << digits << " digits";
    }
    std::int8_t small = 0;
    const std::string text = " +12-130";
    EXPECT_EQ(extractInt(text.data(), text.data() + text.size(), small), text.data() + 4);
    EXPECT_EQ(small, 12);
    EXPECT_EQ(extractInt(text.data() + 4, text.data() + text.size(), small), nullptr);  // beyond 8 bits
}

TEST(FileType, FollowsFromTheEndOfTheName) {
    const std::vector<std::pair<const char*, int>> CASES{
        {"a.stl", 0},      {"a.Ply", 1}, {".PLY", 1},  {"a.pLy", 5}, {"a.Asc", 2}, {"a.txt", 2}, {"a.xyz ", 5},
        {"x/.b/c.BIN", 3}, {".List", 4}, {"alist", 5}, {"list", 5},  {"ply", 5},   {"", 5},      {"a.bin.gz", 5}};
    for (const auto& [name, type] : CASES)
        EXPECT_EQ(getFileType(name), type) << name;
}

TEST_F(AsciiPoints, AgreeWithAStreamLineByLine) {
    std::mt19937 random(4);
    std::string text = "# header\n\n1 2\n1 2 3 4 5 6\r\n+1 .5 5. rest\n1,2,3\n" + std::string(700000, ' ') + "7 8 9 " +
                       std::string(700000, 'x') + "\n1 2 3" + std::string(BlockReader::MAX_TEXT, ' ') + "4 5 6\n" +
                       std::string("\0 1 2 3\n", 8);
    for (int i = 0; i < 20000; ++i)
        text += randomText(random, 12) + (i % 3 == 0 ? "\r\n" : "\n");
    text += "1 2 3";  // no new line at the end
    Points vPoints = SOME_POINTS;
    EXPECT_TRUE(readPoints_ASCII(folder.write("a.xyz", text).c_str(), vPoints));
    Points vExpected = pointsByStreams(text);
    EXPECT_GT(vExpected.size(), 200U);
    vExpected.insert(vExpected.begin(), SOME_POINTS.begin(), SOME_POINTS.end());
    EXPECT_EQ(bytesOf(vPoints), bytesOf(vExpected));
}

// A block ends where a line of 16 bytes does, within the end of one of 17, and behind the first byte of one of 15.
TEST_F(AsciiPoints, AreFoundInTheirOrderWhereverABlockEnds) {
    for (const auto& [numThreads, length] : {std::pair{1, 14U}, {1, 15U}, {1, 23U}, {3, 15U}})
        for (const std::string lineEnd : {"\n", "\r", "\r\n"}) {
            setNumThreads(numThreads);
            std::string text;
            std::size_t numLines = 0;
            while (text.size() < (std::size_t{2200} << 10) * static_cast<std::size_t>(numThreads)) {
                std::string line = std::to_string(numLines++) + " 2 3";
                line.resize(length, ' ');
                text += line + lineEnd;
            }
            const std::string name = folder.write("a.xyz", text);
            Points vPoints;
            EXPECT_EQ(outputOf([&] { EXPECT_TRUE(readPointFile(name, vPoints)); }), "");
            ASSERT_EQ(vPoints.size(), numLines) << length;
            std::size_t numWrong = 0;
            for (std::size_t i = 0; i < numLines; ++i)
                numWrong += vPoints[i].x() == static_cast<double>(i) ? 0 : 1;
            EXPECT_EQ(numWrong, 0U) << length;
            vPoints.clear();
            EXPECT_TRUE(readPoints_ASCII(name.c_str(), vPoints));
            EXPECT_EQ(vPoints.size(), lineEnd == "\r" ? 1 : numLines);
        }
    setNumThreads(0);
}

TEST(BlockReader, CutsLinesWhereverABlockEnds) {
    for (const auto& [lineEnd, end] : {std::pair(LineEnd::LINE_FEED, "\n"), {LineEnd::ANY, "\r\n"}, {LineEnd::ANY, "\r"}}) {
        std::vector<std::string> vLine;
        std::string text;
        for (std::size_t length = 0; text.size() < 1500000; length = (length * 7 + 3) % 9001) {
            vLine.push_back(std::string(length, static_cast<char>('a' + length % 26)));
            text += vLine.back() + end;
        }
        std::istringstream in(text);
        BlockReader reader(in);
        std::size_t i = 0;
        for (std::string_view line; reader.nextLine(line, lineEnd); ++i)
            ASSERT_TRUE(i < vLine.size() && line == vLine[i]) << i;
        EXPECT_EQ(i, vLine.size());
    }
}

TEST_F(BinPoints, ReturnTheSameBitsAndReadTwoCoordinates) {
    std::mt19937_64 random(5);
    Points vPoints, vRead;
    for (int i = 0; i < 50000; ++i) {
        std::array<std::uint64_t, 3> aBits{random(), random(), random()};
        std::memcpy(static_cast<void*>(&vPoints.emplace_back()), aBits.data(), sizeof aBits);
    }
    std::string name = folder.path("a.Bin");
    ASSERT_TRUE(writePoints_auto(name, vPoints, false));
    EXPECT_EQ(folder.read("a.Bin"), binFile(30, vPoints.size(), bytesOf(vPoints)));
    ASSERT_TRUE(readPoints_auto(name, vRead));
    EXPECT_EQ(bytesOf(vRead), bytesOf(vPoints));

    folder.write("a.Bin", binFile(20, 2, bytesOf(std::array<double, 4>{1, 2, 3, 4})));
    vRead = {{9, 9, 9}};
    ASSERT_TRUE(readPoints_auto(name, vRead));
    EXPECT_EQ(vRead, (Points{{9, 9, 9}, {1, 2, 0}, {3, 4, 0}}));
    EXPECT_TRUE(readPoints_BIN(folder.write("none.bin", binFile(30, 0, "")).c_str(), vRead));
}

TEST_F(BinPoints, DontTrustTypeOrCount) {
    const std::string body = bytesOf(Points{{1, 2, 3}, {4, 5, 0.1}});
    const auto read = [&](const std::string& bytes, std::size_t numExpected, bool bExpected = true) {
        Points vPoints;
        EXPECT_EQ(readPoints_BIN(folder.write("a.bin", bytes).c_str(), vPoints), bExpected);
        EXPECT_EQ(vPoints.size(), numExpected);
        return vPoints;
    };
    read(binFile(31, 1, body), 0, false);
    for (const std::uint64_t count : {std::uint64_t{8 * 60 + 1}, std::uint64_t{1} << 60, ~std::uint64_t{0}})
        read(binFile(30, count, body), 0, false);
    read(binFile(30, 8 * 60, body), 480);
    EXPECT_EQ(read(binFile(30, 1, body), 1), (Points{{1, 2, 3}}));
    // One byte of a coordinate is no coordinate.
    EXPECT_EQ(read(binFile(30, 3, body.substr(0, 45)), 3), (Points{{1, 2, 3}, {4, 5, 0}, {0, 0, 0}}));
}

TEST_F(Stl, CornersComeFromLoopsOrFromEveryVertexLine) {
    const std::tuple<Reader, std::string, bool, Points> table[] = {
        {readSTL_ASCII, STL, true, {{1, 2, 3}, {4, 5, 6}, {-7, 8, 9.5}, {1, 1, 1}}},
        {readSTL_ASCII, "OUTER LOOP\nVERTEX 1 2 3\nENDLOOP\n", true, {}},
        {readSTL_ASCII, "outer loop\nvertex 1 2 nan\nendloop\n", false, {}},
        {readCorners, "vertex1 2 3\nx vertex 4 5 6", true, {{1, 2, 3}, {4, 5, 6}}},
        {readCorners, STL, false, {{1, 2, 3}, {4, 5, 6}, {-7, 8, 9.5}}}};  // the line outside has no numbers
    for (const auto& [reader, text, bExpected, vExpected] : table) {
        Points vPoints;
        EXPECT_EQ(reader(folder.write("a.stl", text).c_str(), vPoints), bExpected) << text;
        EXPECT_EQ(vPoints, vExpected) << text;
    }
}

TEST_F(Stl, BinaryIsToldByLengthOrByItsBytes) {
    const auto read = [&](Reader reader, const std::string& bytes) {
        Points vPoints;
        const bool bOK = reader(folder.write("a.txt", bytes).c_str(), vPoints);
        EXPECT_EQ(bOK, !vPoints.empty()) << "nothing of a refused file";
        return vPoints;
    };
    for (const std::size_t numTriangles : {1U, 20000U}) {
        Points vCorners;
        for (std::size_t i = 0; i < 3 * numTriangles; ++i)
            vCorners.emplace_back(1.0F / static_cast<float>(i + 1), -1e-30F, static_cast<float>(i));
        for (const char* header : {"", "solid", "solid x\nouter loop\nvertex 1 2 3\nendloop\n"})
            for (const Reader reader : {readSTL_ASCII, readCorners}) {
                const std::string bytes = binaryStl(vCorners, header);
                EXPECT_EQ(read(reader, bytes), vCorners);
                EXPECT_EQ(read(reader, bytes + "behind"), vCorners);
            }
    }
    std::string liar = binaryStl(SOME_POINTS);
    liar.replace(80, 4, "\xff\xff\xff\xff");
    EXPECT_EQ(read(readSTL_ASCII, liar.replace(0, 1, 1, '\0')), Points());
    const std::string longName = "solid " + std::string(100, 'n') + "\xc3\xa9\n";
    EXPECT_EQ(read(readSTL_ASCII, longName + STL).size(), 4U) << "a text stays one";
}

TEST_F(Readers, RefuseWhatIsNoFile) {
    const std::string missing = folder.path("missing"), here = folder.path(".");
    Points vPoints;
    for (const Reader reader : READERS)
        for (const std::string& name : {missing, here, std::string()})
            EXPECT_FALSE(outputOf([&] { EXPECT_FALSE(reader(name.c_str(), vPoints)) << name; }).empty()) << name;
    EXPECT_FALSE(readPoints_BIN(folder.write("empty", "").c_str(), vPoints)) << "not even a header";
    EXPECT_FALSE(readPoints_ASCII("/dev/zero", vPoints)) << "no end";
    EXPECT_TRUE(vPoints.empty());
    std::string name = "a.stl";
    expectText("[a.stl] is not valid", [&] { EXPECT_FALSE(readPoints_auto(name, vPoints)); });
    expectText("[a.stl] is none of a file with points", [&] { EXPECT_FALSE(readPointFile(name, vPoints)); });
    name = folder.write("a.csv", "x,y,z\n1,2,3\n");  // only readPointFile takes it
    expectText(".csv] is not valid", [&] { EXPECT_FALSE(readPoints_auto(name, vPoints)); });
    EXPECT_TRUE(readPointFile(name, vPoints));
}

TEST_F(Readers, TakeAFileOfNothingForWhatItIs) {
    const std::pair<Reader, std::string> table[] = {{readPoints_ASCII, ""},
                                                    {readPoints_ASCII, "# no point\n1 2\n"},
                                                    {readPoints_BIN, binFile(30, 0, "")},
                                                    {readSTL_ASCII, ""},
                                                    {readSTL_ASCII, "solid x\nendsolid x\n"},
                                                    {readSTL_ASCII, binaryStl({})},
                                                    {readCorners, "no corner\n"},
                                                    {readCorners, binaryStl({})}};
    for (const auto& [reader, bytes] : table) {
        Points vPoints = SOME_POINTS;
        const std::string name = folder.write("a", bytes);
        bool bRead = false;
        EXPECT_EQ(outputOf([&, read = reader] { bRead = read(name.c_str(), vPoints); }), "") << bytes;
        EXPECT_TRUE(bRead) << bytes;
        EXPECT_EQ(vPoints, SOME_POINTS) << bytes;
    }
}

TEST_F(Readers, HearTheWriterOfAFifoAndDontWaitForOneForever) {
    const std::string fifo = folder.path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    Points vSent(30000, Point3(1, 2, 3));
    const auto sendAndRead = [&](Reader reader, const auto& send) {
        std::thread writer(send);
        Points vPoints;
        const bool bRead = reader(fifo.c_str(), vPoints);
        writer.join();
        return bRead && vPoints == vSent;
    };
    EXPECT_TRUE(sendAndRead(readPoints_ASCII, [&] { writePoints_ASCII(fifo.c_str(), vSent); }));
    EXPECT_TRUE(sendAndRead(readPoints_BIN, [&] { writePoints_BIN(fifo.c_str(), vSent); }));
    const std::string bytes = binaryStl(vSent);
    EXPECT_TRUE(sendAndRead(readSTL_ASCII, [&] { std::ofstream(fifo) << bytes; }));
    EXPECT_FALSE(sendAndRead(readSTL_ASCII, [&] { std::ofstream(fifo) << bytes.substr(0, bytes.size() - 1); }));
    Points vPoints;
    EXPECT_TRUE(readPoints_ASCII(fifo.c_str(), vPoints) && vPoints.empty()) << "of nobody";
    EXPECT_FALSE(writePoints_ASCII(fifo.c_str(), vPoints));
}

TEST(Writers, SayWhatTheyUseInsteadAndWhatTheyCantWrite) {
    const WorkingFolder folder;
    std::string stl = "x.stl", text = "a.txt";
    Points vPoints = SOME_POINTS;
    expectText("kel_output_bin.ply", [&] { EXPECT_TRUE(writePoints_auto(stl, vPoints, true)); });
    EXPECT_EQ(folder.read("kel_output_bin.ply").substr(0, 16), "ply\nformat ascii");
    EXPECT_EQ(folder.numFiles(), 1U);
    ASSERT_TRUE(writePoints_auto(text, vPoints, false));
    EXPECT_EQ(folder.read("a.txt"), "0.333333 -2e-300 3\n0.1 5e+200 -0\n1.23457e+08 0 4.94066e-324\n");
    vPoints.resize(100000);
    for (const char* name : {"/dev/full", "/no/such/folder/a", "/tmp/", ""}) {
        const std::string line = std::string(name) + " can't be written\n";
        EXPECT_EQ(outputOf([&] { EXPECT_FALSE(writePoints_ASCII(name, vPoints)); }), line);
        EXPECT_EQ(outputOf([&] { EXPECT_FALSE(writePoints_BIN(name, vPoints)); }), line);
    }
}

TEST(AtomicFile, LeavesTheOlderFileUnlessAllWentWell) {
    const TempFolder folder;
    const std::string name = folder.write("a", "old");
    { AtomicFile(name).write("never committed"); }
    EXPECT_EQ(folder.read("a"), "old");

    // The limit on the size of a file stands in for a full disk.
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    ::getrlimit(RLIMIT_FSIZE, &former);
    const rlimit small{1 << 20, former.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    AtomicFile big(name);
    for (int i = 0; i < 3000; ++i)
        big.write(std::string(1000, 'x'));
    const bool bBig = big.commit();
    ::setrlimit(RLIMIT_FSIZE, &former);
    EXPECT_FALSE(bBig);
    EXPECT_EQ(folder.read("a"), "old");
    EXPECT_EQ(folder.numFiles(), 1U) << "the neighbour is removed";

    AtomicFile good(name);
    good.stream() << "by both ";
    good.write("ways, ");
    good.stream() << "in turn";
    EXPECT_EQ(folder.read("a"), "old");
    EXPECT_TRUE(good.commit());
    EXPECT_EQ(folder.read("a"), "by both ways, in turn");
    EXPECT_EQ(folder.numFiles(), 1U);
}

TEST(AtomicFile, KeepsModesAndLinks) {
    const TempFolder folder;
    const auto writeTo = [&](const char* name) {
        const bool bMayOpen = AtomicFile::mayOpen(folder.path(name));
        AtomicFile file(folder.path(name));
        EXPECT_EQ(file.isOpen(), bMayOpen) << name;
        file.write("new");
        return file.commit();
    };
    const auto modeOf = [&](const char* name) { return static_cast<unsigned>(fs::status(folder.path(name)).permissions()); };
    const mode_t former = ::umask(027);
    EXPECT_TRUE(writeTo("fresh"));
    ::umask(former);
    EXPECT_EQ(modeOf("fresh"), 0640U);
    fs::permissions(folder.path("fresh"), fs::perms{0604});
    EXPECT_TRUE(writeTo("fresh"));
    EXPECT_EQ(modeOf("fresh"), 0604U);

    fs::create_directory(folder.path("sub"));
    fs::create_symlink("sub/target", folder.path("link"));
    for (const char* when : {"dangling", "existing"}) {
        EXPECT_TRUE(writeTo("link")) << when;
        EXPECT_TRUE(fs::is_symlink(folder.path("link"))) << when;
        EXPECT_EQ(folder.read("sub/target"), "new") << when;
    }
    fs::create_symlink("loop", folder.path("loop"));
    fs::create_symlink("none/file", folder.path("astray"));
    for (const char* name : {"loop", "astray", "none/file", "sub"})
        EXPECT_FALSE(writeTo(name)) << name;
    EXPECT_TRUE(writeTo(std::string(255, 'n').c_str())) << "the longest name";
}
