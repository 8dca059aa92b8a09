#pragma once

#include <cstdint>
#include <vector>

#include "Calc.h"

namespace TARN_KEL {

/// A block of 32 cells along each axis, one bit for each cell. Rows after the last one that was set take no memory. Part of
/// IsoStore, which no public function of the library reaches.
class Iso {
public:
    /// The bits of a code that name the cell inside its block: five levels. The others are the upper part.
    static constexpr CCD LOWER_PART = 0x7fff;

    explicit Iso(CCD upper) : upperPart(upper) {}

    // Coordinates are those inside the block, from 0 to 31 (assertion).
    bool get(int x, int y, int z) const;
    void set(int x, int y, int z, bool bSet);
    /// The code of the block's first cell.
    CCD getUpperPart() const { return upperPart; }
    /// Spreads the low five bits of value: bit k goes to bit shift + 3k.
    CCD convert5To15(int value, int shift) const;
    /// Appends the codes of the cells that are set: y outermost, then z, then x.
    void getCCD(std::vector<CCD>& vOut) const;

private:
    static unsigned addressOf(unsigned x, unsigned y, unsigned z);

    std::vector<std::uint32_t> vRows;  // row (y << 5) + z, bit x
    CCD upperPart;
};

}  // namespace TARN_KEL
