// The random numbers of synthetic scans.
#pragma once

#include <kel.h>

#include <cmath>
#include <cstdint>

/// Uniform numbers in [0, 1), normal deviates and directions. The sequence is the same with every standard library.
class Chance {
public:
    explicit Chance(std::uint64_t seed) : state(seed * 0x9e3779b97f4a7c15ULL + 0x1234567ULL) {
        if (state == 0) state = 1;  // zero is a fixed point of uniform()
    }
    double uniform() {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return static_cast<double>((state * 0x2545f4914f6cdd1dULL) >> 11) * 0x1p-53;
    }
    double normal() {
        const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform()));
        return radius * std::cos(2.0 * PI * uniform());
    }
    /// A unit vector, uniformly distributed over all directions.
    TARN_KEL::Vector3 direction() {
        const double z = 2.0 * uniform() - 1.0;
        const double longitude = 2.0 * PI * uniform();
        const double r = std::sqrt(1.0 - z * z);
        return {r * std::cos(longitude), r * std::sin(longitude), z};
    }

private:
    static constexpr double PI = 3.14159265358979323846;

    std::uint64_t state;
};
