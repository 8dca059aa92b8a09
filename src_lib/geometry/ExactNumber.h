#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace TARN_KEL {

/// A whole number of up to NUM_LIMBS * 32 bits, for the signs of determinants that rounding would decide wrongly.
///
/// Doubles become whole numbers when all are multiplied by the same power of two: by 2^-lowestBit(...) of them. The capacity
/// holds a sum of six products of three differences of any finite doubles. Only the limbs in use are touched, so that usual
/// coordinates cost a few dozen multiplications.
class ExactNumber {
public:
    static constexpr int NUM_LIMBS = 204;

    /// Zero.
    ExactNumber() = default;
    /// The value times 2^-exponent. The value must be finite, and no bit of it may be below 2^exponent.
    ExactNumber(double value, int exponent);
    ExactNumber(const ExactNumber& other) { *this = other; }
    ExactNumber& operator=(const ExactNumber& other);
    ~ExactNumber() = default;

    /// The exponent of the lowest bit that is set in any of the values, which must be finite; 0 when all are zero.
    static int lowestBit(std::initializer_list<double> values);

    ExactNumber operator+(const ExactNumber& other) const { return sum(other, other.bNegative); }
    ExactNumber operator-(const ExactNumber& other) const { return sum(other, !other.bNegative); }
    ExactNumber operator*(const ExactNumber& other) const;
    /// -1, 0 or 1.
    int sign() const { return size == 0 ? 0 : (bNegative ? -1 : 1); }

private:
    ExactNumber sum(const ExactNumber& other, bool bOtherNegative) const;
    bool isBelow(const ExactNumber& other) const;
    void addMagnitude(const ExactNumber& other);
    void subtractMagnitude(const ExactNumber& other);
    void trim();
    std::uint32_t limb(int i) const { return i < size ? aLimb[static_cast<std::size_t>(i)] : 0; }
    void append(std::uint32_t value) { aLimb[static_cast<std::size_t>(size++)] = value; }

    std::array<std::uint32_t, NUM_LIMBS> aLimb;  // the lowest first; set up to size
    int size = 0;                                // the highest limb isn't 0
    bool bNegative = false;
};

}  // namespace TARN_KEL
