// Synthetic scans: points on known surfaces, in no order, from a seed alone.
#pragma once

#include <locale>
#include <string_view>

#include "Random.h"
#include "kel.h"
#include "support/names.h"

namespace TARN_TEST {

/// Makes the points of one scan after the other. Lengths in any unit; noise is added along each axis, uniformly. Braces give
/// the draws of one point the same order with every compiler.
class Scan {
public:
    explicit Scan(std::uint64_t seed, double theNoise = 0.0) : random(seed), noise(theNoise) {}

    /// Evenly spread over the unit sphere.
    std::vector<Point3> sphere(std::size_t n) {
        return make(n, [this] {
            const double z = uniform(-1.0, 1.0), phi = uniform(0.0, 2.0 * PI), r = std::sqrt(1.0 - z * z);
            return Point3(r * std::cos(phi), r * std::sin(phi), z);
        });
    }
    /// Evenly spread over the unit square, z = 0.
    std::vector<Point3> plane(std::size_t n) {
        return make(n, [this] { return Point3{uniform(0.0, 1.0), uniform(0.0, 1.0), 0.0}; });
    }
    /// A ring of radius 1 and tube radius 0.3; denser on the inner side.
    std::vector<Point3> torus(std::size_t n) {
        return make(n, [this] {
            const double phi = uniform(0.0, 2.0 * PI), psi = uniform(0.0, 2.0 * PI), r = 1.0 + 0.3 * std::cos(psi);
            return Point3(r * std::cos(phi), r * std::sin(phi), 0.3 * std::sin(psi));
        });
    }
    /// Two unit squares that meet at right angles along the x axis: z = 0 with y >= 0, and y = 0 with z >= 0.
    std::vector<Point3> fold(std::size_t n) {
        return make(n, [this] {
            const double x = uniform(0.0, 1.0), t = uniform(-1.0, 1.0);
            return t > 0.0 ? Point3(x, t, 0.0) : Point3(x, 0.0, -t);
        });
    }
    /// Anywhere in the unit cube.
    std::vector<Point3> dust(std::size_t n) {
        return make(n, [this] { return Point3{uniform(0.0, 1.0), uniform(0.0, 1.0), uniform(0.0, 1.0)}; });
    }
    double uniform(double low, double high) {
        return low + (high - low) * (random.next() / (static_cast<double>(Random::MAX) + 1.0));
    }
    /// The same points in another order.
    void shuffle(std::vector<Point3>& vPoints) {
        for (std::size_t i = vPoints.size(); i > 1; --i)
            std::swap(vPoints[i - 1], vPoints[static_cast<std::size_t>(random.next()) % i]);
    }

private:
    static constexpr double PI = 3.14159265358979323846;

    template <typename OnSurface>
    std::vector<Point3> make(std::size_t n, OnSurface&& onSurface) {
        std::vector<Point3> vPoints;
        vPoints.reserve(n);
        while (vPoints.size() < n) {
            const Point3 p = onSurface();
            const double dx = uniform(-noise, noise), dy = uniform(-noise, noise), dz = uniform(-noise, noise);
            vPoints.emplace_back(p.x() + dx, p.y() + dy, p.z() + dz);
        }
        return vPoints;
    }

    Random random;
    double noise;
};

/// The points of a text, by streams alone: the slow and obvious reader.
inline std::vector<Point3> pointsByStreams(std::string_view text) {
    std::vector<Point3> vPoints;
    std::istringstream in{std::string(text)};
    for (std::string line; std::getline(in, line);) {
        std::istringstream numbers(line);
        numbers.imbue(std::locale::classic());
        double x = 0, y = 0, z = 0;
        if (numbers >> x >> y >> z) vPoints.emplace_back(x, y, z);
    }
    return vPoints;
}

template <typename T>
std::vector<T> joined(std::vector<T> v, const std::vector<T>& vMore) {
    v.insert(v.end(), vMore.begin(), vMore.end());
    return v;
}

/// (x, y, z) becomes (f x + offset, f y + offset, f z + offset).
inline std::vector<Point3> scaled(std::vector<Point3> vPoints, double f, double offset = 0.0) {
    for (Point3& p : vPoints)
        p = Point3(f * p.x() + offset, f * p.y() + offset, f * p.z() + offset);
    return vPoints;
}

/// The largest distance between points of the same number; infinite when there aren't as many.
inline double largestMove(const std::vector<Point3>& vBefore, const std::vector<Point3>& vAfter) {
    if (vBefore.size() != vAfter.size()) return HUGE_VAL;
    double largest = 0.0;
    for (std::size_t i = 0; i < vBefore.size(); ++i)
        largest = std::max(largest, (vAfter[i] - vBefore[i]).length());
    return largest;
}

}  // namespace TARN_TEST
