#pragma once

namespace TARN_KEL {

/// The value that a float holds of a double. By way of memory, as GCC 12 takes two such conversions side by side for none at
/// all where it makes one operation of both.
inline double inSinglePrecision(double value) {
    const volatile float single = static_cast<float>(value);
    return static_cast<double>(single);
}

}  // namespace TARN_KEL
