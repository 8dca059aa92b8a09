// What a file of points gives, behind older points, and what is said about a bad one.
#pragma once

#include "support/FolderTest.h"

namespace TARN_TEST {

/// Random points with coordinates below the limit on both sides of 0, which are multiples of the step.
inline Points randomPoints(std::size_t n, double limit, double step, unsigned seed = 1) {
    Random random(seed);
    const auto any = [&] {
        return step * static_cast<double>(pick(random, static_cast<std::size_t>(2 * limit / step))) - limit;
    };
    Points vPoints;
    while (vPoints.size() < n) {
        const double x = any(), y = any();
        vPoints.emplace_back(x, y, any());
    }
    return vPoints;
}

/// What readPointFile() appends; it must be nothing when that returns false. text: what it prints.
inline Points readBehindOlder(const std::string& name, bool bExpected, std::string* text = nullptr) {
    const Point3 older(7, 8, 9);
    Points vPoints{older};
    const std::string printed = outputOf([&] { EXPECT_EQ(readPointFile(name, vPoints), bExpected); });
    if (text != nullptr) *text = printed;
    EXPECT_EQ(vPoints.front(), older);
    vPoints.erase(vPoints.begin());
    if (!bExpected) {
        EXPECT_EQ(vPoints.size(), 0U);
    }
    return vPoints;
}

/// Expects that a file of that content is refused in one line that begins with its name and holds the words.
inline void expectRefused(const TempFolder& folder, const std::string& name, const std::string& bytes,
                          const std::string& words = "") {
    std::string text;
    const std::string path = folder.write(name, bytes);
    readBehindOlder(path, false, &text);
    EXPECT_EQ(text.rfind(path + " ", 0), 0U) << text;
    EXPECT_EQ(countIn(text, "\n"), 1) << text;
    EXPECT_NE(text.find(words), std::string::npos) << words << " in " << text;
}

/// Values that a count of so many things must not be, from just beside it to far out.
inline std::vector<std::string> lyingCounts(std::uint64_t num) {
    std::vector<std::string> v{"18446744073709551615", "18446744073709551616", "99999999999999999999999999", "-1", "many"};
    for (const int bits : {16, 31, 32, 63})
        for (const std::uint64_t lie : {(std::uint64_t{1} << bits) - 1, std::uint64_t{1} << bits})
            v.push_back(std::to_string(lie));
    const std::string n = std::to_string(num);
    v.insert(v.end(),
             {std::to_string(num + 1), std::to_string(num + 2), n + "0", n + "000000", "-" + n, n + ".5", "0x" + n});
    return v;
}

/// Whether two lists are equal, with coordinates that are no numbers taken for equal.
inline bool areSame(const Points& a, const Points& b) {
    const auto isSame = [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](const Point3& p, const Point3& q) {
        return isSame(p.x(), q.x()) && isSame(p.y(), q.y()) && isSame(p.z(), q.z());
    });
}

}  // namespace TARN_TEST
