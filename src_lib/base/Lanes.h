// Arithmetic on four floats at a time, for loops in which single precision is enough.
#pragma once

#include <cstddef>

namespace TARN_KEL {

/// Four floats side by side, with the operators of a float. Each lane is rounded by itself, so results are the same whatever
/// the target makes of it; most have registers for it.
using Lanes = float __attribute__((vector_size(16)));
constexpr std::size_t NUM_LANES = 4;

inline Lanes allLanes(float value) {
    return Lanes{value, value, value, value};
}
inline Lanes smallerOf(Lanes a, Lanes b) {
    return a < b ? a : b;
}
inline Lanes largerOf(Lanes a, Lanes b) {
    return a > b ? a : b;
}
inline float sumOf(Lanes v) {
    return (v[0] + v[1]) + (v[2] + v[3]);
}
inline float smallestOf(Lanes v) {
    const float a = v[0] < v[1] ? v[0] : v[1], b = v[2] < v[3] ? v[2] : v[3];
    return a < b ? a : b;
}

}  // namespace TARN_KEL
