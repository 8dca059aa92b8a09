// The two layouts of cell codes as types of their own.
//
// Lists of cells hold bare numbers, and most functions take and return them: CCD and VCD are interleaved, RCD and RCC
// packed. The compiler can't tell one from the other. Where both kinds are used together, or an axis with a code, use
// Morton, Packed and Axis instead, which it can: they cost nothing and convert only explicitly; code() gives the bare
// number.
#pragma once

#include <array>
#include <compare>
#include <cstddef>

#include "Calc.h"

namespace TARN_KEL {

/// An axis, by its tribit.
enum class Axis : unsigned char { X = 4, Y = 2, Z = 1 };

/// x, y, z.
constexpr std::array<Axis, 3> AXES{Axis::X, Axis::Y, Axis::Z};

/// 4, 2, 1 for x, y, z.
constexpr CCD triBit(Axis axis) {
    return static_cast<CCD>(axis);
}
/// 0, 1, 2 for x, y, z.
constexpr std::size_t numberOf(Axis axis) {
    return axis == Axis::X ? 0 : axis == Axis::Y ? 1 : 2;
}
/// The two other axes, x before y before z.
constexpr std::array<Axis, 2> otherAxes(Axis axis) {
    return {axis == Axis::X ? Axis::Y : Axis::X, axis == Axis::Z ? Axis::Y : Axis::Z};
}
/// The bits of that axis in an interleaved code.
constexpr CCD interleavedBits(Axis axis) {
    return CCD_Z_BITS * triBit(axis);
}
/// One step along that axis on packed codes.
constexpr RCD packedStep(Axis axis) {
    return RCD{1} << 21 * (2 - numberOf(axis));
}

class Packed;

/// An interleaved code: a cell, or a block of cells as a cell of a coarser grid.
class Morton {
public:
    explicit constexpr Morton(CCD ccd) : bits(ccd) {}
    /// Coordinates must be below 2^21.
    constexpr Morton(unsigned long long x, unsigned long long y, unsigned long long z)
        : bits(spreadBits(x) << 2 | spreadBits(y) << 1 | spreadBits(z)) {}
    constexpr explicit Morton(Packed packed);

    constexpr CCD code() const { return bits; }
    /// The coordinate on that axis.
    constexpr unsigned long long on(Axis axis) const { return compressBits(bits >> (2 - numberOf(axis))); }
    /// The block of 2^level cells along each axis that contains the cell; from level 21 on all cells are in one block.
    constexpr Morton block(int level) const { return Morton(3 * level < 64 ? bits >> 3 * level : 0); }
    friend constexpr auto operator<=>(Morton, Morton) = default;

private:
    CCD bits;
};

/// A packed code: a cell, or the lattice point at its low corner.
class Packed {
public:
    explicit constexpr Packed(RCD rcd) : bits(rcd) {}
    /// Coordinates must be below 2^21.
    constexpr Packed(unsigned long long x, unsigned long long y, unsigned long long z) : bits(packRCD(x, y, z)) {}
    constexpr explicit Packed(Morton morton) : Packed(morton.on(Axis::X), morton.on(Axis::Y), morton.on(Axis::Z)) {}

    constexpr RCD code() const { return bits; }
    /// The coordinate on that axis.
    constexpr unsigned long long on(Axis axis) const { return bits >> 21 * (2 - numberOf(axis)) & RCD_Z_FIELD; }
    /// The code numSteps cells farther along that axis. Not checked: at the ends of the grid it would carry into another
    /// field, so it depends on the margin around occupied cells.
    constexpr Packed moved(Axis axis, long long numSteps) const {
        return Packed(bits + static_cast<RCD>(numSteps) * packedStep(axis));
    }
    friend constexpr auto operator<=>(Packed, Packed) = default;

private:
    RCD bits;
};

constexpr Morton::Morton(Packed packed) : Morton(packed.on(Axis::X), packed.on(Axis::Y), packed.on(Axis::Z)) {}

}  // namespace TARN_KEL
