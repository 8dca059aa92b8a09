// Points of LAS files.
#include <sys/mman.h>
#include <sys/stat.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <thread>

#include "las_io.h"
#include "littleEndian.h"
#include "support/las.h"
#include "support/pointReads.h"

using namespace TARN_TEST;

namespace {

const Points SOME_POINTS{{1, 2.5, 0.125}, {-3.75, -1e6, 4}, {1000, -2000, 0}};

/// Points on the grid of LasShape, as far out as 32 bits reach, and more than a block of the reader holds.
Points gridPoints(std::size_t n) {
    std::mt19937 random(1);
    Points vPoints;
    constexpr double LEAST = std::numeric_limits<std::int32_t>::min(), MOST = std::numeric_limits<std::int32_t>::max();
    const auto at = [](double x, double y, double z) { return Point3(1000 + x / 4, -2000 + y / 2, z / 8); };
    vPoints.push_back(at(LEAST, MOST, -1));
    const auto any = [&] { return static_cast<double>(static_cast<std::int32_t>(random())); };
    while (vPoints.size() < n) {
        const double x = any(), y = any();
        vPoints.push_back(at(x, y, any()));
    }
    return vPoints;
}

/// A bumpy sheet of n * n points, noise and all.
Points noisySheet(int n, double spacing, const Vector3& place) {
    std::mt19937 random(2);
    std::uniform_real_distribution<double> noise(-0.3, 0.3);
    Points vPoints;
    for (int i = 0; i < n * n; ++i) {
        const double x = i % n + noise(random), y = i / n + noise(random);
        vPoints.push_back(Point3() + (Vector3(x, y, std::sin(x) + noise(random)) * spacing + place));
    }
    return vPoints;
}

struct LasAxis {
    double scale, offset, greatest, least;
};

LasAxis axisOf(const std::string& bytes, std::size_t axis) {
    const char* const p = bytes.data() + 8 * axis;
    return {loadDouble(p + 131), loadDouble(p + 155), loadDouble(p + 8 * axis + 179), loadDouble(p + 8 * axis + 187)};
}

std::array<double, 3> valuesOf(const Point3& p) {
    return {p.x(), p.y(), p.z()};
}

struct Las : FolderTest {};

}  // namespace

TEST_F(Las, EveryVersionAndFormatReturnsItsPoints) {
    const Points vPoints = gridPoints(100), vMany = gridPoints(40000);
    for (unsigned minor = 0; minor <= 4; ++minor)
        for (unsigned format = 0; format <= (minor == 4 ? 10U : 5U); ++format)
            for (const std::size_t numMore : {0U, 1U, 54U}) {
                const std::string bytes = lasFile(vPoints, {minor, format, numMore, 3 * numMore});
                EXPECT_EQ(readBehindOlder(folder.write("a.las", bytes), true), vPoints)
                    << "1." << minor << ", format " << format;
            }
    EXPECT_EQ(readBehindOlder(folder.write("a.las", lasFile(vMany, {2, 1, 5, 300000})), true), vMany);
    EXPECT_EQ(readBehindOlder(folder.write("a.las", lasFile({})), true), Points());
    const std::string mirrored = lasFile(SOME_POINTS, {2, 0, 0, 0, {-0.125, 0.5, 0.125}});
    EXPECT_EQ(readBehindOlder(folder.write("a.las", mirrored), true), SOME_POINTS) << "a scale below 0";
}

TEST_F(Las, IsToldByItsFirstBytesOrItsName) {
    const std::string bytes = lasFile(SOME_POINTS);
    for (const char* name : {"a.LAS", "a.Las", "a.laz", "a.xyz", "a.bin", "a.ply", "a.stl", "a", "a.what"}) {
        EXPECT_TRUE(isLasFile(folder.write(name, bytes + "behind"))) << name;
        EXPECT_EQ(readBehindOlder(folder.path(name), true), SOME_POINTS) << name;
    }
    EXPECT_TRUE(isLasFile("missing.las") && isLasFile("missing.laz"));
    for (const std::string& name : {std::string("missing.xyz"), std::string(), folder.path("."), folder.path("missing"),
                                    folder.write("a.txt", "LAS"), folder.write("b.txt", "LASf 1 2 3\n")})
        EXPECT_FALSE(isLasFile(name)) << name;
    EXPECT_EQ(getFileType("a.las"), FT_UNKNOWN);
}

TEST_F(Las, TheCountOf64BitsComesFirst) {
    const auto numRead = [&](unsigned minor, std::uint64_t numOld, std::uint64_t numNew) {
        std::string bytes = lasFile(gridPoints(9), {minor, 0, 0, 200});
        putNumber(bytes, 107, numOld, 4);
        putNumber(bytes, 247, numNew, 8);
        return readBehindOlder(folder.write("a.las", bytes), true).size();
    };
    EXPECT_EQ(numRead(4, 0, 9), 9U);
    EXPECT_EQ(numRead(4, 9, 0), 9U) << "only the old field";
    EXPECT_EQ(numRead(4, 3, 7), 7U);
    EXPECT_EQ(numRead(3, 3, 7), 3U) << "no such field yet";
    EXPECT_EQ(numRead(4, 0, 0), 0U);
}

TEST_F(Las, ClassesChoosePointsBesideTheirFlags) {
    const Points vPoints = gridPoints(20000);
    for (unsigned format = 0; format <= 10; ++format) {
        std::string bytes = lasFile(vPoints, {4, format, 3});
        const std::size_t length = (bytes.size() - 375) / vPoints.size();
        Points vExpected;
        for (std::size_t i = 0; i < vPoints.size(); ++i) {
            const std::uint64_t number = i * i % 32, flags = format < 6 ? 32 * (i % 8) : 0;
            putNumber(bytes, 375 + i * length + (format < 6 ? 15 : 16), number + flags, 1);
            if (number == 4 || number == 17) vExpected.push_back(vPoints[i]);
        }
        Points vRead{{7, 8, 9}};
        std::size_t numOthers = 5;
        const std::string name = folder.write("a.las", bytes);
        EXPECT_TRUE(readPoints_LAS(name.c_str(), {17, 200, 4}, vRead, numOthers));
        EXPECT_EQ(numOthers, vPoints.size() - vExpected.size());
        EXPECT_EQ(Points(vRead.begin() + 1, vRead.end()), vExpected) << format;
        folder.write("a.las", bytes.substr(0, bytes.size() - 1));
        outputOf([&] { EXPECT_FALSE(readPoints_LAS(name.c_str(), {4}, vRead, numOthers)); });
        EXPECT_EQ(vRead.size(), 1 + vExpected.size());
        EXPECT_EQ(numOthers, vPoints.size() - vExpected.size());
        for (const int number : {-1, 256})
            expectFails("number>=0 && number<=255", [&] { readPoints_LAS(name.c_str(), {number}, vRead, numOthers); });
    }
}

TEST_F(Las, ACutFileGivesNothingAndOneLine) {
    for (const LasShape& shape : {LasShape{0, 0, 0, 0}, LasShape{3, 3, 2, 5}, LasShape{4, 6, 0, 54}}) {
        const std::string whole = lasFile(SOME_POINTS, shape);
        for (std::size_t length = 0; length < whole.size() && !HasFailure(); ++length) {
            expectRefused(folder, "a.las", whole.substr(0, length));
        }
    }
}

TEST_F(Las, DontTrustTheHeader) {
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::size_t pos;
        std::uint64_t value;
        int numBytes;
        std::string words;  ///< in the message
    } table[] = {{0, 'l', 1, "begin with LASF"},
                 {24, 2, 1, "version 2.4"},
                 {25, 5, 1, "version 1.5"},
                 {94, 374, 2, "header of 374 bytes"},
                 {94, 0xffff, 2, "within its header of 65535 bytes"},
                 {96, 374, 4, "points at byte 374"},
                 {96, 376, 4, "it has 2 of them"},
                 {104, 0x83, 1, "is compressed"},
                 {104, 0x43, 1, "is compressed"},
                 {104, 11, 1, "point format 11"},
                 {105, 33, 2, "format 3 takes 34"},
                 {105, 61, 2, "it has 2 of them"},
                 {247, 4, 8, "its 4 points"},
                 {131, bits(0.0), 8, "scale 0 and the offset 1000 for x"},
                 {139, bits(-0.0), 8, "for y"},
                 {147, bits(nan), 8, "for z"},
                 {131, bits(-inf), 8, "-inf"},
                 {131, bits(1e300), 8, "1e+300"},
                 {171, bits(nan), 8, "for z"},
                 {163, bits(inf), 8, "offset inf for y"}};
    for (const auto& [pos, value, numBytes, words] : table) {
        std::string bytes = lasFile(SOME_POINTS, {4, 3, 26, 0});
        putNumber(bytes, pos, value, numBytes);
        expectRefused(folder, "a.las", bytes, words);
    }
    expectRefused(folder, "a.las", lasFile({}, {2, 0, 0, 9}).substr(0, 235), "ends before byte 236");  // also without points
    std::string old = lasFile(SOME_POINTS);
    putNumber(old, 107, 0xffffffff, 4);
    expectRefused(folder, "a.las", old, "its 4294967295 points of 20 bytes from byte 227: it has 3 of them");
}

// Either there are as many points as the file holds and its header says, or none.
TEST_F(Las, LyingCountsGiveWhatIsThereOrNothing) {
    std::vector<std::uint64_t> vLies{
        0,   1,   2,   3,     4,     5,     59,         60,         61,         227,
        374, 375, 376, 32767, 32768, 65535, 0x7fffffff, 0x80000000, 0xffffffff, ~std::uint64_t{0}};
    vLies.push_back(307445734561825861);  // times 60 bytes is 44, modulo 2^64
    for (const auto& [pos, numBytes] :
         std::vector<std::pair<std::size_t, int>>{{94, 2}, {96, 4}, {100, 4}, {105, 2}, {107, 4}, {247, 8}, {395, 2}})
        for (const std::uint64_t lie : vLies) {
            if (numBytes < 8 && lie >> (8 * numBytes) != 0) continue;
            std::string bytes = lasFile(SOME_POINTS, {4, 3, 26, 246});
            bytes.replace(377, 16, "LASF_Spec\0\0\0\0\0\0\0", 16);  // a record that describes extra bytes, of no known type
            putNumber(bytes, 393, 4, 2);
            const bool bCount = pos == 107 || pos == 247;
            if (pos == 107) putNumber(bytes, 247, 0, 8);  // which comes first
            putNumber(bytes, pos, lie, numBytes);
            const std::uint64_t numExpected = !bCount ? 3 : lie == 0 && pos == 247 ? 3 : lie;
            const CoutCapture capture;
            Points vRead;
            const bool bRead = readPointFile(folder.write("a.las", bytes), vRead);
            EXPECT_EQ(vRead.size(), bRead ? numExpected : 0) << pos << " " << lie;
            EXPECT_TRUE(!bCount || bRead == (numExpected <= 3)) << pos << " " << lie;
            EXPECT_EQ(countIn(capture.text(), "\n"), bRead ? 0 : 1) << capture.text();
            PointAttributes attributes;
            vRead.clear();
            EXPECT_EQ(readPointFile(folder.path("a.las"), vRead, attributes), bRead) << pos << " " << lie;
            EXPECT_EQ(vRead.size(), bRead ? numExpected : 0) << pos << " " << lie;
            EXPECT_EQ(attributes.numRows(), vRead.size()) << pos << " " << lie;
        }
}

TEST_F(Las, ComesThroughAFifo) {
    const std::string fifo = folder.path("fifo.las"), bytes = lasFile(gridPoints(30000), {2, 0, 0, 300000});
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const std::size_t numMissing : {0U, 1U, 599999U, 600001U}) {
        std::thread writer([&] { std::ofstream(fifo) << bytes.substr(0, bytes.size() - numMissing); });
        EXPECT_EQ(readBehindOlder(fifo, numMissing == 0).size(), numMissing == 0 ? 30000U : 0U);
        writer.join();
    }
    std::string text;
    readBehindOlder(folder.path("missing.las"), false, &text);
    EXPECT_EQ(text, folder.path("missing.las") + " is unreadable\n");
}

TEST_F(Las, WrittenPointsMoveByHalfAStepThatSuitsThem) {
    Points vOutlier = noisySheet(100, 1, {0, 0, 0});
    vOutlier.emplace_back(1e9, 5, -1e14);
    const struct {
        const char* name;
        Points vPoints;
        double length;  ///< a thousandth of it is kept where 32 bits allow that
    } table[] = {{"near", noisySheet(100, 1, {0, 0, 0}), 1},
                 {"far", noisySheet(200, 0.01, {5e6, -5e6, 300}), 0.01},
                 {"small", noisySheet(50, 1e-9, {0, 0, 0}), 1e-9},
                 {"huge", noisySheet(50, 1e290, {0, 1e299, 0}), 1e290},
                 {"wide", vOutlier, 1},
                 {"sparse", {{500268.728, 1.001, 3}, {500288.5, 20.123, 3}, {500268, 20.001, 3.456}}, 1e-6},
                 {"two", {{-0.25, 1e300, 1e-300}, {7.3, -1e300, 2e-300}}, 1e300},
                 {"one", {{0.123456789, 1000.5, -3e-7}}, 0},
                 {"many at one place", Points(9, {1, -2, 3}), 0},
                 {"none", {}, 0}};
    for (const auto& [name, vPoints, length] : table) {
        const std::string path = folder.path("a.las");
        ASSERT_TRUE(writePoints_LAS(path.c_str(), vPoints)) << name;
        const Points vRead = readBehindOlder(path, true);
        ASSERT_EQ(vRead.size(), vPoints.size()) << name;
        const std::string bytes = folder.read("a.las");
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto [scale, offset, greatest, least] = axisOf(bytes, axis);
            std::ostringstream power;
            power << std::scientific << std::setprecision(0) << scale;
            EXPECT_EQ(std::strtod(("1" + power.str().substr(1)).c_str(), nullptr), scale) << name << ": a power of ten";
            EXPECT_EQ(offset, std::floor(offset)) << name;
            double farthest = 0, worst = 0, low = vRead.empty() ? 0 : HUGE_VAL, high = -low;
            for (std::size_t i = 0; i < vRead.size(); ++i) {
                const double value = valuesOf(vPoints[i])[axis], read = valuesOf(vRead[i])[axis];
                worst = std::max(worst, std::abs(read - value) - 1e-15 * std::abs(value));
                farthest = std::max(farthest, std::abs(value - offset));
                low = std::min(low, read);
                high = std::max(high, read);
            }
            EXPECT_LE(worst, 0.5 * scale) << name;
            EXPECT_LE(worst, std::max(length / 1000, 5 * std::ldexp(farthest, -31))) << name << ": as fine as it fits";
            EXPECT_TRUE(low == least && high == greatest) << name;
        }
    }
}

TEST_F(Las, WhatIsWrittenHasTheBytesOfItsVersion) {
    const Points vPoints = noisySheet(30, 0.1, {1000, 0, -7});
    ASSERT_TRUE(writePoints_LAS(folder.path("a.las").c_str(), vPoints));
    const std::string bytes = folder.read("a.las");
    LasShape shape;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        shape.aScale[axis] = axisOf(bytes, axis).scale;
        shape.aOffset[axis] = axisOf(bytes, axis).offset;
    }
    std::string expected = lasFile(vPoints, shape);
    expected.replace(4, 20, std::string(20, '\0'));
    expected.replace(26, 68, "OTHER" + std::string(27, '\0') + "KEL" + std::string(33, '\0'));
    putNumber(expected, 100, 0, 4);  // records between header and points
    putNumber(expected, 111, vPoints.size(), 4);
    expected.replace(115, 16, std::string(16, '\0'));
    expected.replace(179, 48, bytes.substr(179, 48));  // the bounds
    for (std::size_t i = 0; i < vPoints.size(); ++i)
        expected.replace(227 + 20 * i + 12, 8, std::string("\0\0\x09\0\0\0\0\0", 8));  // return 1 of 1
    EXPECT_TRUE(bytes == expected);
}

// By the tables of the standard: which byte of the header, how wide, and what.
TEST_F(Las, HeadersOfNewFormatsHaveTheirFieldsInPlace) {
    const std::size_t num = 300;
    const Points vPoints = gridPoints(num);
    for (const bool bColour : {false, true})
        for (const bool bExtra : {false, true}) {
            PointAttributes attributes;
            attributes.set({"classification", std::vector<std::uint8_t>(num, 77), {}});
            if (bExtra) attributes.set({"height", std::vector<float>(num, 1.5F), {}});
            for (const char* name : {"red", "green", "blue"})
                if (bColour) attributes.set({name, std::vector<std::uint16_t>(num, 1000), {}});
            ASSERT_TRUE(writePoints_LAS(folder.path("a.las").c_str(), vPoints, attributes));
            const std::string bytes = folder.read("a.las");
            const std::uint64_t first = 375 + (bExtra ? 54 + 192 : 0), length = (bColour ? 36 : 30) + (bExtra ? 4 : 0);
            const std::vector<std::array<std::uint64_t, 3>> vField{{6, 2, 16},  // coordinate system as text
                                                                   {24, 1, 1},
                                                                   {25, 1, 4},  // version
                                                                   {94, 2, 375},
                                                                   {96, 4, first},
                                                                   {100, 4, bExtra},  // header, points, records between
                                                                   {104, 1, bColour ? 7U : 6U},
                                                                   {105, 2, length},  // the points
                                                                   {107, 4, 0},
                                                                   {111, 4, 0},
                                                                   {115, 8, 0},
                                                                   {123, 8, 0},  // old counts
                                                                   {227, 8, 0},
                                                                   {235, 8, 0},
                                                                   {243, 4, 0},  // waveforms, records behind the points
                                                                   {247, 8, num},
                                                                   {255, 8, num},
                                                                   {263, 8, 0},
                                                                   {367, 8, 0}};  // new counts, by return
            for (const auto& [pos, width, value] : vField)
                for (std::size_t i = 0; i < width; ++i)
                    ASSERT_EQ(static_cast<unsigned char>(bytes.at(pos + i)), value >> (8 * i) & 0xff) << pos;
            ASSERT_EQ(bytes.size(), first + num * length);
            EXPECT_EQ(bytes.substr(first + 14, 3), std::string("\x11\0\x4d", 3)) << "return 1 of 1, flags, class";
            if (!bExtra) continue;
            EXPECT_EQ(bytes.substr(377, 20), "LASF_Spec" + std::string(7, '\0') + std::string("\4\0\xc0\0", 4));
            EXPECT_EQ(bytes.substr(429, 36), std::string("\0\0\x09\0height", 10) + std::string(26, '\0'));
            EXPECT_EQ(bytes.substr(first + length - 4, 4), std::string("\0\0\xc0\x3f", 4));
        }
}

TEST_F(Las, PointsThatNoFileHoldsAreRefused) {
    const std::string path = folder.write("a.las", "older");
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    for (const auto& [point, words] : {std::pair<Point3, std::string>{{0, nan, 0}, "nan for y"},
                                       {{-inf, 0, 0}, "-inf for x"},
                                       {{0, 0, 2e300}, "2e+300 for z"}})
        EXPECT_EQ(outputOf([&, p = point] {
                      EXPECT_FALSE(writePoints_LAS(path.c_str(), {{1, 2, 3}, p, {0, 0, 0}}));
                  }),
                  path + " can't be written as LAS: point 2 of 3 has " + words + "\n");
    const std::size_t numMany = std::size_t{1} << 32, numBytes = numMany * sizeof(Point3);
    void* const pMany = mmap(nullptr, numBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(pMany, MAP_FAILED);
    EXPECT_EQ(countIn(writeLas(path, {static_cast<const Point3*>(pMany), numMany}), "4294967296 points"), 1);
    munmap(pMany, numBytes);
    EXPECT_EQ(folder.read("a.las"), "older");
    const std::string missing = folder.path("none/a.las");
    EXPECT_EQ(outputOf([&] { EXPECT_FALSE(writePoints_LAS(missing.c_str(), SOME_POINTS)); }),
              missing + " can't be written\n");
    EXPECT_FALSE(writePoints_LAS("/dev/full", SOME_POINTS));
}
