#pragma once

#include <cstdint>

namespace TARN_KEL::BlockWord {

/// The 64 cells of a 4x4x4 block as bits. The place of a cell is the lowest six bits of its interleaved code: bits 1, 2, 4
/// are the low bits of z, y, x, and bits 8, 16, 32 the high ones.
using Word = std::uint64_t;

/// The places i with (i & bits) == value.
constexpr Word placesWhere(unsigned bits, unsigned value) {
    Word places = 0;
    for (unsigned i = 0; i < 64; ++i)
        if ((i & bits) == value) places |= Word{1} << i;
    return places;
}

/// The places at the high side of the block on an axis (4, 2, 1 for x, y, z).
template <unsigned AXIS>
constexpr Word HIGH_SIDE = placesWhere(9 * AXIS, 9 * AXIS);
/// The places at the low side.
template <unsigned AXIS>
constexpr Word LOW_SIDE = placesWhere(9 * AXIS, 0);

/// The word moved one cell up along an axis; the high side of `below`, the block before it, moves in.
template <unsigned AXIS>
constexpr Word moveUp(Word word, Word below) {
    constexpr Word EVEN = placesWhere(AXIS, 0), ONE = placesWhere(9 * AXIS, AXIS);
    return (word & EVEN) << AXIS | (word & ONE) << 7 * AXIS | (below & HIGH_SIDE<AXIS>) >> 9 * AXIS;
}

/// The word moved one cell down; the low side of `above`, the block after it, moves in.
template <unsigned AXIS>
constexpr Word moveDown(Word word, Word above) {
    constexpr Word ODD = placesWhere(AXIS, AXIS), TWO = placesWhere(9 * AXIS, 8 * AXIS);
    return (word & ODD) >> AXIS | (word & TWO) >> 7 * AXIS | (above & LOW_SIDE<AXIS>) << 9 * AXIS;
}

}  // namespace TARN_KEL::BlockWord
