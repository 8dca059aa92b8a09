// What points carry, in files: columns of every type, of several files, rows of points that are left out.
#include "attributeColumns.h"
#include "chosenPoints.h"
#include "support/attributes.h"
#include "support/fine.h"
#include "support/las.h"
#include "support/pcd.h"
#include "support/pointReads.h"

using namespace TARN_TEST;

namespace {

const std::vector<std::string> PLY_ENCODINGS{"ascii", "binary_little_endian", "binary_big_endian"};

Points somePoints(std::size_t n) {
    return randomPoints(n, 60, 0.125);
}

/// The columns of a file; the points must be those that are read without.
PointAttributes read(const std::string& path) {
    Points vPlain, vPoints;
    PointAttributes attributes;
    const CoutSilence silence;
    EXPECT_TRUE(readPointFile(path, vPlain) && readPointFile(path, vPoints, attributes)) << path;
    EXPECT_TRUE(areSame(vPoints, vPlain)) << path;
    for (const AttributeColumn& column : attributes.vColumns) {
        EXPECT_EQ(column.size(), vPoints.size()) << column.name;
        EXPECT_TRUE(column.vMissing.empty() || column.vMissing.size() == vPoints.size()) << column.name;
    }
    return attributes;
}

std::vector<double> numbers(const PointAttributes& attributes, const std::string& name) {
    const AttributeColumn* const pColumn = attributes.find(name);
    EXPECT_NE(pColumn, nullptr) << name;
    std::vector<double> v;
    for (std::size_t i = 0; pColumn != nullptr && i < pColumn->size(); ++i)
        v.push_back(pColumn->isKnown(i) ? pColumn->number(i) : -999.0);
    return v;
}
using Numbers = std::vector<double>;

/// The type and the numbers of a column.
std::string shown(const PointAttributes& attributes, const std::string& name) {
    std::ostringstream text;
    text << (attributes.find(name) != nullptr ? attributes.find(name)->typeName() : "none");
    for (const double number : numbers(attributes, name))
        text << ' ' << number;
    return text.str();
}

struct AttributeFiles : FolderTest {};

}  // namespace

TEST_F(AttributeFiles, PlyKeepsEveryTypeInEveryEncoding) {
    const PointAttributes given = without(oneOfEachType(2000), {"of_int64", "of_uint64"});
    const Points vPoints = somePoints(2000);
    for (const std::string& encoding : PLY_ENCODINGS) {
        folder.write("a.ply", plyFile(vPoints, given, encoding));
        EXPECT_EQ(difference(read(folder.path("a.ply")), given), "") << encoding;
    }
    for (const bool bAscii : {true, false})
        for (const Precision precision : {Precision::FLOAT, Precision::DOUBLE}) {
            std::string path = folder.path("b.ply");
            EXPECT_TRUE(writePoints_auto(path, vPoints, bAscii, precision, given));
            EXPECT_EQ(difference(read(path), given), "") << bAscii;
        }
}

TEST_F(AttributeFiles, PlySaysWholeNumbersOf64BitsInATypeThatItHas) {
    constexpr std::int64_t FAR = 4294967296;
    const auto typeWritten = [&](AttributeColumn column) {
        std::string path = folder.path("a.ply");
        PointAttributes attributes;
        attributes.set(std::move(column));
        EXPECT_TRUE(writePoints_auto(path, somePoints(2), false, Precision::FLOAT, attributes));
        const PointAttributes back = read(path);
        EXPECT_EQ(numbers(back, "i"), numbers(attributes, "i"));
        return back.find("i")->typeName();
    };
    EXPECT_EQ(typeWritten(columnOf<std::int64_t>("i", {-5, 2147483647})), "int32");
    EXPECT_EQ(typeWritten(columnOf<std::int64_t>("i", {0, FAR - 1})), "uint32");
    EXPECT_EQ(typeWritten(columnOf<std::int64_t>("i", {-1, FAR})), "double");
    EXPECT_EQ(typeWritten(columnOf<std::uint64_t>("i", {0, FAR - 1})), "uint32");
    EXPECT_EQ(typeWritten(columnOf<std::uint64_t>("i", {0, FAR})), "double");
}

TEST_F(AttributeFiles, PlyTakesNamesAndWordsThatAreNone) {
    const std::string head = "ply\nformat ascii 1.0\nelement vertex 2\nproperty float nx\nproperty float x\n";
    const PointAttributes odd = read(folder.write(
        "a.ply", head +
                     "property list uchar int l\nproperty float y\nproperty uchar R\nproperty float z\nproperty short R\n"
                     "property what w\nproperty uchar red\nend_header\nnan 1 2 7 7 2 300 3 5 oh 4\n.5 1 0 2 9 3 5 oh 4\n"));
    EXPECT_EQ(numbers(odd, "nx"), Numbers({-999, 0.5}));
    EXPECT_EQ(numbers(odd, "R"), Numbers({-999, 9})) << "300 is no uchar; a letter alone is no colour";
    EXPECT_EQ(numbers(odd, "red"), Numbers({4, 4}));
    EXPECT_EQ(odd.vColumns.size(), 3U) << "lists, unknown types and second properties of a name aren't columns";

    PointAttributes named;
    for (const char* name : {"x", "two words", "tab\tbed", "two_words"})
        named.set(columnOf<std::uint8_t>(name, {1}));
    std::string path = folder.path("b.ply");
    ASSERT_TRUE(writePoints_auto(path, somePoints(1), true, Precision::FLOAT, named));
    EXPECT_EQ(read(path).vColumns.size(), 2U);
    EXPECT_NE(read(path).find("two_words"), nullptr);

    std::string many = head + "property float y\nproperty float z\n", row;
    for (int i = 0; i < 400; ++i, row += " 1")
        many += "property char c" + std::to_string(i) + "\n";
    EXPECT_EQ(read(folder.write("c.ply", many + "end_header\n1 2 3 4" + row + "\n5 6 7 8" + row)).vColumns.size(), 256U);
}

// Where fields are in a record is said here once more, by the tables of the standard; 0 where a format lacks one.
TEST_F(AttributeFiles, LasHasTheFieldsOfEveryFormat) {
    constexpr std::array<std::size_t, 11> COLOURS{0, 0, 20, 28, 0, 28, 0, 30, 30, 0, 30};
    constexpr std::array<std::size_t, 11> TIMES{0, 20, 0, 20, 20, 20, 22, 22, 22, 22, 22};
    const Points vPoints = somePoints(300);
    for (unsigned format = 0; format <= 10; ++format) {
        const bool bOld = format < 6;
        std::string bytes = lasFile(vPoints, {4, format, 3});
        const std::size_t length = (bytes.size() - 375) / vPoints.size();
        std::map<std::string, Numbers> mExpected;
        for (std::size_t i = 0; i < vPoints.size(); ++i) {
            const std::size_t record = 375 + i * length;
            const auto put = [&](const std::string& name, std::size_t byte, std::uint64_t bits, int numBytes, double value) {
                putNumber(bytes, record + byte, bits, numBytes);
                if (!name.empty()) mExpected[name].push_back(value);
            };
            const auto number = static_cast<double>(i);
            const std::int64_t angle = static_cast<std::int64_t>(i % 181) - 90;
            put("intensity", 12, 65535 - i, 2, 65535.0 - number);
            put("return_number", 14, (i % 4 + 1) | (4U << (bOld ? 3 : 4)) | (bOld ? 0x80 : 0), 1,
                static_cast<double>(i % 4 + 1));
            mExpected["number_of_returns"].push_back(4);
            put("classification", bOld ? 15 : 16, i % 32 + (bOld ? 32 * (i % 8) : 0), 1, static_cast<double>(i % 32));
            if (bOld)
                put("scan_angle", 16, static_cast<std::uint64_t>(angle), 1, static_cast<double>(angle));
            else
                put("scan_angle", 18, static_cast<std::uint64_t>(angle * 100), 2, static_cast<float>(angle * 100) * 0.006F);
            put("user_data", 17, i % 256, 1, static_cast<double>(i % 256));
            put("point_source_id", bOld ? 18 : 20, 7 * i, 2, 7.0 * number);
            const double time = 1e8 + number / 3.0;
            if (TIMES.at(format) > 0) put("gps_time", TIMES.at(format), std::bit_cast<std::uint64_t>(time), 8, time);
            if (format == 8 || format == 10) put("nir", 36, 3 * i, 2, 3.0 * number);
            for (std::size_t k = 0; COLOURS.at(format) > 0 && k < 3; ++k)
                put(std::array{"red", "green", "blue"}.at(k), COLOURS.at(format) + 2 * k, i * (k + 1), 2,
                    number * static_cast<double>(k + 1));
        }
        const std::string path = folder.write("a.las", bytes);
        const PointAttributes all = read(path);
        EXPECT_EQ(all.vColumns.size(), mExpected.size()) << format;
        for (const auto& [name, vNumber] : mExpected)
            EXPECT_EQ(numbers(all, name), vNumber) << name << " of format " << format;
        EXPECT_EQ(all.hasColour(), COLOURS.at(format) > 0) << format;

        Points vSome;
        PointAttributes ofSome;
        std::size_t numOthers = 0;
        const std::string said = outputOf([&] {
            EXPECT_TRUE(readPoints_LAS(path.c_str(), {1, 30, 31}, vSome, numOthers, ofSome));
        });
        EXPECT_EQ(countIn(said, "left out 3 bytes of each point"), 1) << said;
        std::vector<std::size_t> vRow;
        for (std::size_t i = 0; i < vPoints.size(); ++i)
            if (i % 32 == 1 || i % 32 >= 30) vRow.push_back(i);
        EXPECT_EQ(difference(ofSome, all.rows(vRow)), "") << format;
        EXPECT_EQ(vSome.size(), vRow.size());
    }
}

TEST_F(AttributeFiles, LasLeavesOutWhatNobodyKnows) {
    std::string bytes = lasFile(somePoints(2), {2, 2});
    for (const std::size_t record : {227U, 253U})
        for (std::size_t byte = 12; byte < 26; ++byte)
            putNumber(bytes, record + byte, 0, 1);
    EXPECT_TRUE(read(folder.write("a.las", bytes)).empty());
    putNumber(bytes, 253 + 22, 255, 2);
    const PointAttributes eightBits = read(folder.write("a.las", bytes));
    EXPECT_EQ(shown(eightBits, "green"), "uint8 0 255") << "colours up to 255 have 8 bits";
    EXPECT_EQ(eightBits.vColumns.size(), 3U);
}

TEST_F(AttributeFiles, LasIsWrittenWithWhatItCanHold) {
    const Points vPoints = somePoints(3);
    const std::string path = folder.path("a.las");
    const auto rewritten = [&](const std::vector<AttributeColumn>& vColumns) {
        PointAttributes attributes;
        attributes.vColumns = vColumns;
        EXPECT_TRUE(writePoints_LAS(path.c_str(), vPoints, attributes));
        return read(path);
    };
    const auto colours = [](auto type, double most) {
        using T = decltype(type);
        const auto at = [most](double share) { return static_cast<T>(share * most); };
        return std::vector<AttributeColumn>{columnOf<T>("red", {at(0), at(1), at(0.6)}),
                                            columnOf<T>("green", {at(1), at(0.2), at(0)}),
                                            columnOf<T>("blue", {at(0), at(0), at(0.4)})};
    };
    const Numbers vRed{0, 65535, 39321};
    EXPECT_EQ(numbers(rewritten(colours(std::uint8_t{}, 255)), "red"), vRed);
    EXPECT_EQ(numbers(rewritten(colours(std::uint16_t{}, 65535)), "red"), vRed);
    EXPECT_EQ(numbers(rewritten(colours(double{}, 1)), "red"), vRed);
    EXPECT_EQ(numbers(rewritten(colours(double{}, 1.5)), "red"), Numbers({0, 1.5, 0.6 * 1.5})) << "no colour";
    const PointAttributes both =
        rewritten({columnOf<double>("intensity", {1, NOT_A_NUMBER, 65535}), columnOf<std::int32_t>("Label", {31, 0, 2})});
    EXPECT_EQ(numbers(both, "intensity"), Numbers({1, 0, 65535}));
    EXPECT_EQ(numbers(both, "classification"), Numbers({31, 0, 2}));
    const std::vector<AttributeColumn> vBeyond{columnOf<double>("intensity", {0.5, 1, 1}),
                                               columnOf<int>("classification", {256, 1, 1}),
                                               columnOf<int>("user_data", {7, 8, 9})};
    PointAttributes beyond;
    expectText("classification has other values than whole numbers from 0 to 255", [&] { beyond = rewritten(vBeyond); });
    EXPECT_EQ(shown(beyond, "user_data"), "uint8 7 8 9") << "in its field";
    EXPECT_EQ(difference(without(beyond, {"user_data"}), PointAttributes{{vBeyond[0], vBeyond[1]}}), "") << "behind it";
    for (const bool bColour : {false, true}) {  // version 1.4
        std::vector<AttributeColumn> vColumns = bColour ? colours(std::uint8_t{}, 255) : std::vector<AttributeColumn>();
        vColumns.push_back(columnOf<int>("classification", {32, 255, 2}));
        vColumns.push_back(columnOf<double>("gps_time", {1e8 + 0.1, 0, -3}));
        const PointAttributes classes = rewritten(vColumns);
        EXPECT_EQ(classes.vColumns.size(), vColumns.size());
        EXPECT_EQ(numbers(classes, "classification"), Numbers({32, 255, 2}));
        EXPECT_EQ(numbers(classes, "gps_time"), Numbers({1e8 + 0.1, 0, -3}));
        EXPECT_EQ(folder.read("a.las").substr(24, 2), std::string("\1\4"));
        EXPECT_EQ(folder.read("a.las")[104], bColour ? 7 : 6);
    }
    auto vTimed = colours(std::uint8_t{}, 255);
    vTimed.push_back(columnOf<double>("gps_time", {1e8 + 0.1, 0, -3}));
    EXPECT_EQ(numbers(rewritten(vTimed), "gps_time"), Numbers({1e8 + 0.1, 0, -3}));
    EXPECT_EQ(numbers(rewritten(vTimed), "red"), vRed);
    PointAttributes all = oneOfEachType(3);
    for (AttributeColumn& column : all.vColumns)
        column.name.resize(column.name.size() > 8 ? 32 : column.name.size(), '_');
    EXPECT_EQ(difference(rewritten(all.vColumns), all), "") << "every type";
    const PointAttributes known = rewritten({columnOf<float>("normal_x", {1, 2, 3}), columnOf<float>("NX", {4, 5, 6})});
    EXPECT_EQ(shown(known, "nx") + shown(known, "NX_2"), "float 1 2 3float 4 5 6");
    all.vColumns.resize(343, columnOf<std::int8_t>("c", {1, 2, 3}));
    expectText("left out 2 columns", [&] {
        EXPECT_EQ(rewritten(all.vColumns).vColumns.size(), 249U) << "256 with the seven fields that nobody filled in";
    });
    expectText("left out 92 columns", [&] {
        Points vRead;
        PointAttributes ofRead;
        readPointFile(path, vRead, ofRead);
    });
}

TEST_F(AttributeFiles, ExtraBytesOfALasAreColumnsAsItsHeaderDescribesThem) {
    const Points vPoints = somePoints(2);
    struct Extra {
        unsigned type, options;
        std::string name;
    };
    // A file with a record of another kind, then one with the descriptions, and bytes behind each point; the first number of
    // the second description has a scale, an offset, and a value for none.
    const auto lasWith = [&](const std::vector<Extra>& vExtra, const std::string& first, const std::string& second) {
        std::string records(54 + 5, '\x11'), content;
        putNumber(records, 20, 5, 2);
        for (const Extra& extra : vExtra) {
            std::string description(192, '\xee');
            putNumber(description, 2, extra.type, 1);
            putNumber(description, 3, extra.options, 1);
            description.replace(4, 32, extra.name + std::string(32 - extra.name.size(), '\0'));
            for (std::size_t i = 0; i < 3; ++i) {
                putNumber(description, 40 + 8 * i, static_cast<std::uint64_t>(-2), 8);
                putNumber(description, 112 + 8 * i, std::bit_cast<std::uint64_t>(0.25), 8);
                putNumber(description, 136 + 8 * i, std::bit_cast<std::uint64_t>(100.0), 8);
            }
            content += description;
        }
        std::string head(54, '\0');
        head.replace(2, 9, "LASF_Spec");
        putNumber(head, 18, 4, 2);
        putNumber(head, 20, content.size(), 2);
        records += head + content;
        std::string bytes = lasFile(vPoints, {2, 0, first.size(), records.size()});
        putNumber(bytes, 100, 2, 4);
        bytes.replace(227, records.size(), records);
        const std::size_t record = 227 + records.size(), length = 20 + first.size();
        bytes.replace(record + 20, first.size(), first);
        bytes.replace(record + length + 20, second.size(), second);
        return folder.write("a.las", bytes);
    };
    const std::vector<Extra> vExtra{{0, 2, "any"}, {4, 25, "h"},  {1, 1, "intensity"},
                                    {12, 0, "v"},  {4, 1, "gap"}, {3, 0, ""}};
    const std::string one("..\4\0\7\1\xff\xfe\xff\1\0", 11), two("..\xfe\xff\xfe\2\3\5\0\2\0", 11);
    const std::string path = lasWith(vExtra, one, two);
    const PointAttributes made = read(path);
    EXPECT_EQ(shown(made, "h"), "double 101 -999");
    EXPECT_EQ(shown(made, "intensity_2"), "uint8 7 254") << "beside that of the format; no byte is -2";
    EXPECT_EQ(shown(made, "v"), "int8 1 2");
    EXPECT_EQ(shown(made, "v_1"), "int8 -1 3");
    EXPECT_EQ(shown(made, "gap"), "int16 -999 5");
    const auto said = [&](const std::string& file) {
        Points vRead;
        PointAttributes attributes;
        return outputOf([&] { EXPECT_TRUE(readPointFile(file, vRead, attributes)); });
    };
    EXPECT_EQ(countIn(said(path), "left out 4 bytes of each point"), 1) << said(path);

    std::vector<Extra> vLying = vExtra;
    vLying.push_back({10, 0, "more"});
    const std::string lie = lasWith(vLying, one, two);
    EXPECT_EQ(read(lie).find("h"), nullptr);
    EXPECT_EQ(countIn(said(lie), "a.las: its header describes 19 bytes behind each point, where 11 are"), 1) << said(lie);
    const std::string unknown = lasWith({{4, 0, "h"}, {31, 0, "?"}, {4, 0, "i"}}, one, two);
    EXPECT_EQ(shown(read(unknown), "h"), "int16 11822 11822");
    EXPECT_EQ(read(unknown).find("i"), nullptr) << "nobody knows where it begins";
    std::string cut = folder.read("a.las");
    for (const std::uint64_t length : {0U, 1U, 191U, 193U, 65535U}) {  // of the second record
        putNumber(cut, 227 + 59 + 20, length, 2);
        EXPECT_EQ(read(folder.write("a.las", cut)).find("h") != nullptr, length == 193) << length;
    }
    putNumber(cut, 227 + 20, 65535, 2);
    EXPECT_EQ(read(folder.write("a.las", cut)).find("h"), nullptr) << "records that lead beyond the points";
}

// Rows that are left out must count for the types: those that stay have colours of no more than 1 here.
TEST_F(AttributeFiles, PointsChosenWhileTheyAreReadAreThoseChosenAfterwards) {
    const std::size_t num = 60000;
    const auto isKept = [](std::size_t i) { return i % 7 == 3 && (i < 1000 || i > 50000); };
    const auto colourOf = [&](std::size_t i) { return isKept(i) ? i % 2 : i % 256; };
    Points vPoints = randomPoints(num, 60, 0.125);
    std::ostringstream rows, words;
    std::string las = lasFile(vPoints, {4, 2, 3});
    for (std::size_t i = 0; i < num; ++i) {
        const Point3& p = vPoints[i];
        const std::size_t c = colourOf(i);
        words << p.x() << ' ' << p.y() << ' ' << p.z() << ' ' << c << " 0 1\n";
        rows << p.x() << ',' << p.y() << ',' << p.z() << ',' << c << ",0,1," << i % 5 << (i % 3 == 0 ? "" : ",7") << '\n';
        for (std::size_t k = 0; k < 3; ++k)
            putNumber(las, 375 + i * 29 + 20 + 2 * k, isKept(i) ? c : c * 257, 2);
        putNumber(las, 375 + i * 29 + 15, i % 5, 1);
    }
    PointAttributes columns = oneOfEachType(num);
    columns = without(columns, {"of_int64", "of_uint64"});
    std::vector<std::uint8_t> vLabel(num);
    for (std::size_t i = 0; i < num; ++i)
        vLabel[i] = static_cast<std::uint8_t>(i % 5);
    columns.set({"label", vLabel, {}});
    const PcdFields fields{{"x"}, {"y"}, {"z"}, {"rgb", 'U'}, {"label", 'U', 1}, {"n", 'I', 2, 3}};
    folder.write("a.xyz", words.str());
    folder.write("a.pts", std::to_string(num) + "\n" + words.str());
    folder.write("a.csv", "x,y,z,r,g,b,Label,more\n" + rows.str());
    folder.write("a.las", las);
    folder.write("a.ply", plyFile(vPoints, columns, "binary_little_endian"));
    folder.write("a.pcd", pcdFile(vPoints, "binary", fields));
    std::string text = pcdFile(vPoints, "ascii", fields);
    text.replace(text.find("7 \n"), 1, "nan");
    folder.write("b.pcd", text);
    std::string bin = folder.path("a.bin");
    ASSERT_TRUE(writePoints_BIN(bin.c_str(), vPoints));
    const auto classOfRow = [](const std::string& name, std::size_t row) -> std::optional<double> {
        if (name.ends_with("pcd")) return 7.0;
        const bool bClasses = name.ends_with("csv") || name.ends_with("las") || name.ends_with("ply");
        return bClasses ? std::optional(static_cast<double>(row % 5)) : std::nullopt;
    };
    for (const std::string name : {"a.xyz", "a.pts", "a.csv", "a.las", "a.ply", "a.pcd", "b.pcd", "a.bin"}) {
        Points vAll{{1, 2, 3}};
        PointAttributes all, some;
        all.set(columnOf<float>("older", {5}));
        some = all;
        std::size_t numSeen = 0, numClasses = 0, most = 0;
        const ChoosePoints choose = [&](std::span<Point3> points, const ClassOf& classOf,
                                        std::vector<unsigned char>& vKept) {
            most = std::max(most, points.size());
            for (std::size_t i = 0; i < points.size(); ++i, ++numSeen) {
                if (classOf && classOf(i) == classOfRow(name, numSeen)) ++numClasses;
                vKept[i] = isKept(numSeen) ? 1 : 0;
                points[i] = points[i] + Vector3(1, 0, 0);
            }
        };
        ASSERT_TRUE(readPointFile(folder.path(name), vAll, all)) << name;
        std::vector<std::size_t> vRow{0};
        Points vExpected{vAll[0]};
        for (std::size_t i = 0; i < num; ++i)
            if (isKept(i)) {
                vRow.push_back(i + 1);
                vExpected.push_back(vAll[i + 1] + Vector3(1, 0, 0));
            }
        for (PointAttributes* const pSome : {&some, static_cast<PointAttributes*>(nullptr)}) {
            Points vSome{{1, 2, 3}};
            numSeen = numClasses = 0;
            const std::string said =
                outputOf([&] { EXPECT_TRUE(readChosenPoints(folder.path(name), choose, vSome, pSome)); });
            EXPECT_EQ(numSeen, num) << name;
            EXPECT_EQ(numClasses, classOfRow(name, 0) ? num : 0U) << name;
            EXPECT_EQ(vSome, vExpected) << name;
            EXPECT_EQ(countIn(said, "left out"), pSome != nullptr && name == "a.las" ? 1 : 0) << said;
        }
        EXPECT_EQ(difference(some, all.rows(vRow)), "") << name;
        EXPECT_TRUE(name == "a.ply" || most <= num * 2 / 3) << name << ": " << most << " points at a time";
    }
}

TEST_F(AttributeFiles, PcdHasAColumnForEachNumberOfItsFields) {
    const Points vPoints = somePoints(3);
    const PcdFields vField{{"i", 'U', 8},    {"x"},         {"_", 'U', 4, 2}, {"normal_x"},   {"y"},
                           {"f", 'I', 2, 3}, {"z", 'F', 8}, {"c", 'F', 8},    {"bad", 'X', 4}};
    for (const std::string encoding : {"ascii", "binary", "binary_compressed"}) {
        const PointAttributes attributes = read(folder.write("a.pcd", pcdFile(vPoints, encoding, vField)));
        const std::vector<std::pair<std::string, std::string>> vExpected{
            {"i", "uint64"}, {"nx", "float"}, {"f", "int16"}, {"f_1", "int16"}, {"f_2", "int16"}, {"c", "double"}};
        ASSERT_EQ(attributes.vColumns.size(), vExpected.size()) << encoding;
        for (const auto& [name, type] : vExpected)
            EXPECT_EQ(shown(attributes, name), type + " 7 7 7") << encoding << name;
    }
}

TEST_F(AttributeFiles, PcdLacksTheNumbersThatAreNone) {
    const std::string head = "FIELDS x y z n\nSIZE 4 4 4 2\nTYPE F F F I\nPOINTS 3\nDATA ascii\n";
    EXPECT_EQ(shown(read(folder.write("a.pcd", head + "1 2 3 nan\n1 2 3 5\n1 2 3 6\n")), "n"), "int16 -999 5 6");
}

TEST_F(AttributeFiles, PcdUnpacksColours) {
    for (const std::string name : {"rgb", "rgba"}) {
        std::string file = "FIELDS x " + name + " y z\nSIZE 4 4 4 4\nTYPE F F F F\nPOINTS 2\nDATA binary\n";
        for (const std::uint32_t colour : {0x80FF2001U, 0x00010203U})
            for (const std::uint32_t bits : {0U, colour, 0U, 0U}) {
                file.append(4, '\0');
                putNumber(file, file.size() - 4, bits, 4);
            }
        const PointAttributes attributes = read(folder.write("a.pcd", file));
        EXPECT_EQ(shown(attributes, "red"), "uint8 255 1");
        EXPECT_EQ(shown(attributes, "green"), "uint8 32 2");
        EXPECT_EQ(shown(attributes, "blue"), "uint8 1 3");
        EXPECT_EQ(attributes.vColumns.size(), name.size()) << "with alpha or without";
        EXPECT_EQ(name == "rgb" ? "" : shown(attributes, "alpha"), name == "rgb" ? "" : "uint8 128 0");
    }
}

TEST_F(AttributeFiles, PcdUnpacksColoursAsTheirTypeSays) {
    const auto channelsOf = [&](const std::string& type, const std::string& word) {
        const PointAttributes attributes = read(folder.write("a.pcd", "FIELDS x y z rgba\nSIZE 4 4 4 4\nTYPE F F F " + type +
                                                                          "\nPOINTS 1\nDATA ascii\n1 2 3 " + word + "\n"));
        Numbers v;
        for (const char* name : {"red", "green", "blue", "alpha"})
            v.push_back(numbers(attributes, name).at(0));
        return v;
    };
    EXPECT_EQ(channelsOf("F", "4.210752e+06"), Numbers({128, 128, 128, 74})) << "bits 4a808080";
    EXPECT_EQ(channelsOf("F", "4210752"), Numbers({64, 64, 64, 0})) << "digits alone";
    EXPECT_EQ(channelsOf("F", "2.34295324e-38"), Numbers({255, 32, 1, 0})) << "bits 00ff2001";
    EXPECT_EQ(channelsOf("U", "4.210752e+06"), Numbers({64, 64, 64, 0}));
    EXPECT_EQ(channelsOf("I", "-8380415"), Numbers({128, 32, 1, 255}));
    EXPECT_EQ(channelsOf("U", "0.5"), Numbers({-999, -999, -999, -999}));
    expectText("left out 745 columns", [&] {
        Points vPoints;
        PointAttributes attributes;
        readPointFile(folder.write("b.pcd", pcdFile(somePoints(2), "binary", {{"x"}, {"y"}, {"z"}, {"i", 'U', 1, 1001}})),
                      vPoints, attributes);
    });
}

TEST_F(AttributeFiles, TextsHaveColumnsByTheirFirstPointOrTheirHeader) {
    const PointAttributes pts = read(folder.write("a.pts", "2\n1 2 3 -7 255 0 9\n4 5 6 x 1\n1\n7 8 9 0.5 300 1 1 8\n"));
    EXPECT_EQ(numbers(pts, "intensity"), Numbers({-7, -999, 0.5}));
    EXPECT_EQ(shown(pts, "red"), "uint16 255 1 300");
    EXPECT_EQ(shown(pts, "blue"), "uint16 9 -999 1");
    EXPECT_EQ(read(folder.write("a.pts", "1\n1 2 3 4\n")).vColumns.size(), 1U);
    EXPECT_EQ(read(folder.write("a.pts", "1\n1 2 3 4 5 6\n")).vColumns.size(), 3U);
    EXPECT_TRUE(read(folder.write("a.pts", "1\n1 2 3\n2\n1 2 3 4\n1 2 3 4")).empty());

    const std::string pose = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n";
    const PointAttributes ptx =
        read(folder.write("a.ptx", "1\n3\n" + pose + "1 2 3 0.5 1 2 3\n0 0 0 0.5 9 9 9\n4 5 6 1 4 5 6\n"));
    EXPECT_EQ(numbers(ptx, "intensity"), Numbers({0.5, 1}));
    EXPECT_EQ(shown(ptx, "green"), "uint8 2 5") << "a missing point has no row";

    for (const std::string words : {" 1 2", " 1 2 3 4 5", " 1 2 3 4 5 6", " 1 2 3 4 5 6 7 8"})
        EXPECT_TRUE(read(folder.write("a.pts", "1\n1 2 3" + words + "\n")).empty()) << "nobody knows what they mean";
    EXPECT_EQ(read(folder.write("a.pts", "1\n1 2 3 1 2 3 4 5 6 7\n")).vColumns.size(), 7U);
    EXPECT_TRUE(read(folder.write("a.ptx", "1\n1\n" + pose + "1 2 3 1 2 3 4 5 6 7\n")).empty());

    const PointAttributes csv = read(folder.write(
        "a.csv", "R,name,y,\"Label\",G,x,B,z,size,z\n1,a,0,3,2,0,3,0,1.5,8\n4,b,0,,5,0,6,0\n7,c,0,-1,8,0,9,0,\"2\",8\n"));
    EXPECT_EQ(csv.vColumns.size(), 5U) << "no name, no second z";
    EXPECT_EQ(shown(csv, "red"), "uint8 1 4 7");
    EXPECT_EQ(shown(csv, "Label"), "int32 3 -999 -1");
    EXPECT_EQ(numbers(csv, "size"), Numbers({1.5, -999, 2}));
    EXPECT_TRUE(csv.hasColour());
}

// Columns without names are taken only where no point speaks against it. Points are the same in any case.
TEST_F(AttributeFiles, UnnamedColumnsOfATextAreColoursOrNormalsOrNothing) {
    const std::vector<std::pair<std::string, std::string>> vCase{{"255 0 10 \r\n,0 0 0\n,1 2 3\n", "red"},
                                                                 {"0 1 1\n,0 0 1\n,1 1 0\n", ""},
                                                                 {"255 0 10\n,0 0 0.5\n,1 2 3\n", ""},
                                                                 {"255 0 10\n,0 0 256\n,1 2 3\n", ""},
                                                                 {"0 0 1\n,1 0 0\n,0 -1 0\n", "nx"},
                                                                 {"0.6 0.8 0\n,0 0 0\n,0.577 -0.577 0.577\n", "nx"},
                                                                 {"0.6 0.8 0\n,0 0 0\n,0.577 -0.577 0.4\n", ""},
                                                                 {"0 0 0\n,0 0 0\n,0 0 0\n", ""},
                                                                 {"255 0 10\n,0 0 0\n,1 2\n", ""},
                                                                 {"255 0 10\n,0 0 0 1\n,1 2 3\n", ""},
                                                                 {"255 0 10\n,0 0 a\n,1 2 3\n", ""},
                                                                 {"7\n,8\n,9\n", ""},
                                                                 {"\n,\n,\n", ""},
                                                                 {"255 0 10\n,\n,1 2 3\n", ""}};
    for (const auto& [columns, first] : vCase) {
        std::istringstream in(columns);
        std::string text = "x y z what follows\n";
        for (std::string rest; std::getline(in, rest, ',');)
            text += "1 2 3 " + rest;
        const std::string path = folder.write("a.xyz", text);
        const CoutCapture capture;
        Points vPoints, vPlain;
        PointAttributes attributes;
        ASSERT_TRUE(readPointFile(path, vPoints, attributes) && readPointFile(path, vPlain)) << columns;
        EXPECT_EQ(vPoints, Points(3, Point3(1, 2, 3)));
        EXPECT_EQ(vPlain, vPoints);
        EXPECT_EQ(attributes.empty() ? "" : attributes.vColumns.front().name, first) << columns;
        const bool bNothing = columns == "\n,\n,\n";
        EXPECT_EQ(countIn(capture.text(), "left out"), first.empty() && !bNothing ? 1 : 0) << capture.text();
    }
    EXPECT_EQ(shown(read(folder.write("a.xyz", "1 2 3 255 0 7\n4 5 6 1 2 3\n")), "blue"), "uint8 7 3");
}

TEST_F(AttributeFiles, ColoursOfTextsAreJudgedByTheirThreeChannels) {
    const auto table = [&](const std::string& header, const std::string& rows) {
        return read(folder.write("a.csv", "x,y,z," + header + "\n" + rows));
    };
    for (const auto& [rows, red] :
         std::map<std::string, std::string>{{"0,0,0,0,1,1,1\n0,0,0,1,0,0,1\n", "uint8 0 255"},
                                            {"0,0,0,0,0.5,1,255\n0,0,0,1,0,0,255\n", "double 0 1"},
                                            {"0,0,0,9,200,0,0.5\n0,0,0,1,0,0,1\n", "uint8 9 1"},
                                            {"0,0,0,256,200,0,1\n0,0,0,1,0,0,1\n", "uint8 255 1"},
                                            {"0,0,0,257,200,0,1\n0,0,0,1,0,0,1\n", "uint16 257 1"}}) {
        const PointAttributes attributes = table("r,G,b,a", rows);
        EXPECT_EQ(shown(attributes, "red"), red) << rows;
        EXPECT_TRUE(attributes.hasColour()) << rows;
    }
    EXPECT_EQ(numbers(table("r,g,h", "0,0,0,7,8,9\n"), "r"), Numbers({7})) << "no colour without b";
    EXPECT_EQ(numbers(table("r,g,b,red", "0,0,0,7,8,9,1\n"), "r"), Numbers({7})) << "another one has the name";
}

TEST_F(AttributeFiles, RowsThatDontFitIntoMemoryLeaveEverythingAsItWas) {
    PointAttributes attributes;
    attributes.set(columnOf<std::int32_t>("i", {1, 2}));
    attributes.set(columnOf<std::uint8_t>("same", {3, 4}));
    const PointAttributes before = attributes;
    const std::vector<AttributeColumn> vMore{columnOf<float>("i", {0.5F}), columnOf<std::uint8_t>("same", {5}),
                                             columnOf<double>("new", {6})};
    EXPECT_THROW(appendRows(vMore, 2, std::size_t{1} << 63, attributes), std::length_error);
    EXPECT_EQ(difference(attributes, before), "");
    EXPECT_TRUE(attributes.find("same")->vMissing.empty());
}

TEST_F(AttributeFiles, AHeaderAloneTakesNoMemory) {
    std::string header = "x,y,z", rows;
    for (int i = 0; i < 250; ++i)
        header += ",c" + std::to_string(i);
    for (int i = 0; i < 5000; ++i)
        rows += "1,2,3\n";
    std::string last = "1,2,3";
    for (int i = 0; i < 250; ++i)
        last += ",4";
    EXPECT_EQ(read(folder.write("a.csv", header + "\n" + last + "\n" + last)).vColumns.size(), 250U);
    EXPECT_TRUE(read(folder.write("a.csv", header + "\n" + rows + last)).empty()) << "a hundred times the bytes of the file";
}

TEST_F(AttributeFiles, SeveralFilesBecomeOneCloud) {
    const auto file = [&](const std::string& name, const std::string& header, const std::string& rows) {
        return folder.write(name, "x,y,z," + header + "\n" + rows);
    };
    Points vPoints;
    PointAttributes attributes;
    const auto add = [&](const std::string& path) { EXPECT_TRUE(readPointFile(path, vPoints, attributes)); };
    add(folder.write("a.xyz", "1 2 3\n"));
    EXPECT_TRUE(attributes.empty());
    add(file("b.csv", "red,green,blue,label,q", "0,0,0,255,51,0,7,1.5\n"));
    add(file("c.csv", "q,red,green,blue,label", "0,0,0,2,1000,0,65535,8\n0,0,0,3,0,0,0,9\n"));
    add(folder.write("d.xyz", "1 2 3\n"));
    EXPECT_EQ(vPoints.size(), 5U);
    EXPECT_EQ(shown(attributes, "red"), "uint16 -999 65535 1000 0 -999");
    EXPECT_EQ(shown(attributes, "green"), "uint16 -999 13107 0 0 -999");
    EXPECT_EQ(numbers(attributes, "label"), Numbers({-999, 7, 8, 9, -999}));
    EXPECT_EQ(numbers(attributes, "q"), Numbers({-999, 1.5, 2, 3, -999}));
    add(file("e.csv", "red,green,blue,label", "0,0,0,0.5,0.25,1,0.5\n"));
    EXPECT_TRUE(attributes.hasColour());
    EXPECT_EQ(numbers(attributes, "red"), Numbers({-999, 1, 1000.0 / 65535.0, 0, -999, 0.5}));
    EXPECT_EQ(numbers(attributes, "label"), Numbers({-999, 7, 8, 9, -999, 0.5}));
    expectFails("column.size()==numRows", [&] { readPointFile("b.csv", vPoints = {}, attributes); });
}

TEST_F(AttributeFiles, ClassificationsOfDifferentNamesAreOneColumn) {
    Points vPoints;
    PointAttributes attributes;
    for (const std::string name : {"Classification", "scalar_Classification", "CLASS"})
        EXPECT_TRUE(readPointFile(folder.write("a.csv", "x,y,z,label," + name + "\n0,0,0,7,2\n"), vPoints, attributes));
    EXPECT_EQ(attributes.vColumns.size(), 2U);
    EXPECT_EQ(numbers(attributes, "Classification"), Numbers({2, 2, 2}));
}

TEST_F(AttributeFiles, WholeNumbersOfDifferentTypesStayWhole) {
    const auto joined = [](const AttributeColumn& first, const AttributeColumn& second) {
        PointAttributes attributes;
        attributes.set(first);
        appendRows({second}, 1, 1, attributes);
        return attributes;
    };
    const PointAttributes whole = joined(columnOf<std::uint32_t>("i", {4294967295U}), columnOf<std::int8_t>("i", {-1}));
    EXPECT_EQ(whole.find("i")->typeName(), "int64");
    EXPECT_EQ(numbers(whole, "i"), Numbers({4294967295.0, -1}));
    EXPECT_EQ(shown(joined(columnOf<std::int16_t>("i", {-5}), columnOf<float>("i", {0.5F})), "i"), "double -5 0.5");
}

TEST_F(AttributeFiles, ACutOrLyingFileGivesNeitherPointsNorRows) {
    const auto expectNothing = [&](const std::string& name, const std::string& bytes) {
        Points vOlder{{7, 8, 9}};
        PointAttributes older;
        older.set(columnOf<float>("i", {1}));
        EXPECT_FALSE(readPointFile(folder.write(name, bytes), vOlder, older)) << name << bytes.size();
        EXPECT_TRUE(vOlder.size() == 1 && older.vColumns.size() == 1 && older.numRows() == 1) << name << bytes.size();
    };
    const Points vPoints = somePoints(3);
    const PointAttributes given = without(oneOfEachType(3), {"of_int64", "of_uint64"});
    std::vector<std::pair<std::string, std::string>> vFile{{"a.las", lasFile(vPoints, {2, 3, 2, 5})}};
    for (const std::string& encoding : PLY_ENCODINGS)
        vFile.emplace_back("a.ply", plyFile(vPoints, given, encoding));
    for (const std::string encoding : {"ascii", "binary", "binary_compressed"})
        vFile.emplace_back("a.pcd", pcdFile(vPoints, encoding, {{"rgb"}, {"x"}, {"y"}, {"z"}, {"i", 'U', 2, 2}}));
    for (const auto& [name, whole] : vFile) {
        const bool bText = whole.find("ascii") != std::string::npos;  // whose last words may be cut, or lack a line's end
        for (std::size_t length = 0; length + (bText ? 20 : 0) < whole.size() && !HasFailure(); ++length)
            expectNothing(name, whole.substr(0, length));
        for (const std::string& count : lyingCounts(3)) {
            std::string file = whole;
            const std::string right = name == "a.ply" ? "vertex 3" : name == "a.pcd" ? "POINTS 3" : "";
            if (!right.empty()) expectNothing(name, file.replace(file.find(right) + 7, 1, count));
        }
    }
    for (const std::string& count : lyingCounts(2)) {
        std::string file = pcdFile(vPoints, "binary", {{"x"}, {"y"}, {"z"}, {"i", 'U', 2, 2}});
        expectNothing("a.pcd", file.replace(file.find("COUNT 1 1 1 2") + 12, 1, count));
    }
}

TEST_F(AttributeFiles, MeshesKeepTheRowsOfTheirVertices) {
    const MeshPtr pMesh = meshOf(sheet(5, 4));
    const std::vector<Point3> vVertices = verticesOf(pMesh);
    const PointAttributes given = without(oneOfEachType(vVertices.size()), {"of_int64", "of_uint64"});
    for (const bool bAscii : {true, false}) {
        const std::string path = folder.path("a.ply");
        ASSERT_TRUE(writeMesh_auto(path, pMesh, bAscii, Precision::DOUBLE, given));
        Points vRead;
        PointAttributes back;
        ASSERT_TRUE(readPointFile(path, vRead, back));
        ASSERT_EQ(vRead.size(), vVertices.size());
        std::vector<std::size_t> vRow;  // of each vertex in the file, whose order is another
        for (const Point3& vertex : vVertices)
            vRow.push_back(static_cast<std::size_t>(std::find(vRead.begin(), vRead.end(), vertex) - vRead.begin()));
        EXPECT_EQ(difference(back.rows(vRow), given), "") << bAscii;
        EXPECT_NE(vRow, sorted(vRow)) << "the test needs another order";
        writeMesh_auto(folder.path("b.ply"), pMesh, bAscii, Precision::DOUBLE);
        writeMesh_auto(folder.path("c.ply"), pMesh, bAscii, Precision::DOUBLE, {});
        EXPECT_EQ(folder.read("b.ply"), folder.read("c.ply"));
    }
    for (const std::string name : {"d.ply", "d.stl", "d.unknown"})
        expectFails("column.size()==numRows",
                    [&] { writeMesh_auto(folder.path(name), pMesh, false, Precision::FLOAT, oneOfEachType(3)); });
    PointAttributes shortOfMissing = given;
    shortOfMissing.vColumns.front().vMissing = {1};
    expectFails("column.vMissing.empty() || column.vMissing.size()==numRows",
                [&] { writeMesh_auto(folder.path("d.ply"), pMesh, false, Precision::FLOAT, shortOfMissing); });
    expectFails("column.vMissing.empty() || column.vMissing.size()==column.size()", [&] { shortOfMissing.rows({1}); });
}

TEST_F(AttributeFiles, ObjHasColoursBehindCoordinates) {
    const MeshPtr pMesh = meshOf(sheet(1, 1));
    PointAttributes attributes;
    for (const char* name : {"red", "green", "blue"})
        attributes.set(columnOf<std::uint8_t>(name, {0, 255, 51, 102}));
    ASSERT_TRUE(toObj(pMesh, folder.path("a.obj"), Precision::FLOAT, true, attributes));
    ASSERT_TRUE(toObj(pMesh, folder.path("b.obj"), Precision::FLOAT, true));
    std::istringstream coloured(folder.read("a.obj")), plain(folder.read("b.obj"));
    const std::vector<std::string> vColour{" 0 0 0", " 1 1 1", " 0.2 0.2 0.2", " 0.4 0.4 0.4"};
    std::size_t vertex = 0;
    for (std::string line, plainLine; std::getline(coloured, line) && std::getline(plain, plainLine);)
        EXPECT_EQ(line, plainLine.rfind("v ", 0) == 0 ? plainLine + vColour.at(vertex++) : plainLine);
    EXPECT_EQ(vertex, 4U);
    EXPECT_EQ(numbers(read(folder.path("a.obj")), "green"), Numbers({0, 255, 51, 102}));
    EXPECT_EQ(numbers(read(folder.path("b.obj")), "nz"), Numbers(4, 1));
    std::string other = folder.read("b.obj");
    other.replace(other.rfind("//"), 3, "//1");
    EXPECT_TRUE(read(folder.write("c.obj", other)).empty()) << "a corner with the normal of another vertex";
    EXPECT_TRUE(read(folder.write("c.obj", folder.read("b.obj") + "vn 0 0 1\n")).empty()) << "one normal too many";
    EXPECT_EQ(read(folder.write("c.obj", "v 0 0 0\nvn 1 0 0\nv 1 0 0\nvn 0 1 0\nv 0 1 0\nvn 0 0 1\nf -3//-3 2/9/2 3\n"))
                  .vColumns.size(),
              3U);

    const auto ofVertices = [&](const std::string& vertices) {
        return read(folder.write("c.obj", vertices + "v 0 0 1\nf 1 2 3\n"));
    };
    const PointAttributes fractions = ofVertices("v 0 0 0 1 # 2 3\nv 1 0 0 0.5 .25 1\n");
    EXPECT_EQ(numbers(fractions, "red"), Numbers({-999, 0.5, -999})) << "a weight, and nothing";
    EXPECT_TRUE(fractions.hasColour());
    EXPECT_EQ(numbers(ofVertices("v 0 0 0 1 0 0\nv 1 0 0 0 0 oh\n"), "blue"), Numbers({0, -999, -999}));
    for (int byte = 0; byte < 256; ++byte) {
        std::ostringstream text;
        text << byte / 255.0;
        const PointAttributes back = ofVertices("v 0 0 0 " + text.str() + " 0 0\nv 1 0 0 0 0 0\n");
        ASSERT_EQ(shown(back, "red"), "uint8 " + std::to_string(byte) + " 0 -999");
    }
}
