// Sums and products of whole numbers, limb by limb as on paper.
#include "ExactNumber.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "tools.h"

namespace TARN_KEL {

namespace {

constexpr int LIMB_BITS = 32;
constexpr int DIGITS = 53;

/// value = mantissa * 2^exponent, with an odd mantissa.
struct Parts {
    explicit Parts(double value) {
        mantissa = static_cast<std::int64_t>(std::ldexp(std::frexp(value, &exponent), DIGITS));
        exponent -= DIGITS;
        if (mantissa == 0) return;
        const int numZeros = std::countr_zero(static_cast<std::uint64_t>(mantissa));
        mantissa >>= numZeros;
        exponent += numZeros;
    }
    std::int64_t mantissa;
    int exponent = 0;
};

}  // namespace

ExactNumber::ExactNumber(double value, int exponent) {
    const Parts parts(value);
    if (parts.mantissa == 0) return;
    bNegative = parts.mantissa < 0;
    const auto magnitude = static_cast<std::uint64_t>(bNegative ? -parts.mantissa : parts.mantissa);
    const int shift = parts.exponent - exponent;
    ASSEX(shift>=0);
    for (int i = 0; i < shift / LIMB_BITS; ++i)
        append(0);
    const int inLimb = shift % LIMB_BITS;
    append(static_cast<std::uint32_t>(magnitude << inLimb));
    append(static_cast<std::uint32_t>(magnitude >> (LIMB_BITS - inLimb)));
    append(static_cast<std::uint32_t>(magnitude >> LIMB_BITS >> (LIMB_BITS - inLimb)));
    trim();
}

ExactNumber& ExactNumber::operator=(const ExactNumber& other) {
    size = other.size;
    bNegative = other.bNegative;
    std::copy_n(other.aLimb.begin(), size, aLimb.begin());
    return *this;
}

int ExactNumber::lowestBit(std::initializer_list<double> values) {
    int lowest = std::numeric_limits<int>::max();
    for (const double value : values)
        if (value != 0.0) lowest = std::min(lowest, Parts(value).exponent);
    return lowest == std::numeric_limits<int>::max() ? 0 : lowest;
}

ExactNumber ExactNumber::operator*(const ExactNumber& other) const {
    ExactNumber product;
    if (size == 0 || other.size == 0) return product;
    product.bNegative = bNegative != other.bNegative;
    product.size = size + other.size;
    ASSEX(product.size<=NUM_LIMBS);
    std::fill_n(product.aLimb.begin(), product.size, 0U);
    for (int i = 0; i < size; ++i) {
        std::uint64_t carry = 0;
        for (int j = 0; j < other.size; ++j) {
            std::uint32_t& target = product.aLimb[static_cast<std::size_t>(i) + static_cast<std::size_t>(j)];
            carry += std::uint64_t{limb(i)} * other.limb(j) + target;
            target = static_cast<std::uint32_t>(carry);
            carry >>= LIMB_BITS;
        }
        product.aLimb[static_cast<std::size_t>(i) + static_cast<std::size_t>(other.size)] =
            static_cast<std::uint32_t>(carry);
    }
    product.trim();
    return product;
}

ExactNumber ExactNumber::sum(const ExactNumber& other, bool bOtherNegative) const {
    const bool bSwap = isBelow(other);
    ExactNumber result = bSwap ? other : *this;
    if (bSwap) result.bNegative = bOtherNegative;
    if (bNegative == bOtherNegative)
        result.addMagnitude(bSwap ? *this : other);
    else
        result.subtractMagnitude(bSwap ? *this : other);
    return result;
}

bool ExactNumber::isBelow(const ExactNumber& other) const {
    if (size != other.size) return size < other.size;
    for (int i = size - 1; i >= 0; --i)
        if (limb(i) != other.limb(i)) return limb(i) < other.limb(i);
    return false;
}

/// The other one has no larger magnitude.
void ExactNumber::addMagnitude(const ExactNumber& other) {
    std::uint64_t carry = 0;
    for (int i = 0; i < size; ++i) {
        carry += std::uint64_t{limb(i)} + other.limb(i);
        aLimb[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(carry);
        carry >>= LIMB_BITS;
    }
    if (carry == 0) return;
    ASSEX(size<NUM_LIMBS);
    append(1);
}

/// The other one has no larger magnitude.
void ExactNumber::subtractMagnitude(const ExactNumber& other) {
    std::uint64_t borrow = 0;
    for (int i = 0; i < size; ++i) {
        const std::uint64_t difference = std::uint64_t{limb(i)} - other.limb(i) - borrow;
        aLimb[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(difference);
        borrow = difference >> 63;
    }
    trim();
}

void ExactNumber::trim() {
    while (size > 0 && limb(size - 1) == 0)
        --size;
}

}  // namespace TARN_KEL
