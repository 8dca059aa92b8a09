// Sets and reads single cells of a block of bits.
#include "Iso.h"

#include <cstddef>

#include "tools.h"

namespace TARN_KEL {

unsigned Iso::addressOf(unsigned x, unsigned y, unsigned z) {
    ASSEX(x<32 && y<32 && z<32);
    const unsigned address = (y << 5) + z;
    ASSEX(address<1024);
    return address;
}

bool Iso::get(int x, int y, int z) const {
    const unsigned address = addressOf(static_cast<unsigned>(x), static_cast<unsigned>(y), static_cast<unsigned>(z));
    return address < vRows.size() && (vRows[address] >> x & 1) != 0;
}

void Iso::set(int x, int y, int z, bool bSet) {
    const unsigned address = addressOf(static_cast<unsigned>(x), static_cast<unsigned>(y), static_cast<unsigned>(z));
    if (address >= vRows.size()) vRows.resize(address + 1, 0);
    const std::uint32_t bit = std::uint32_t{1} << x;
    vRows[address] = bSet ? vRows[address] | bit : vRows[address] & ~bit;
}

CCD Iso::convert5To15(int value, int shift) const {
    return spreadBits(static_cast<unsigned>(value) & 31) << shift;
}

void Iso::getCCD(std::vector<CCD>& vOut) const {
    for (std::size_t address = 0; address < vRows.size(); ++address) {
        const auto y = static_cast<int>(address >> 5), z = static_cast<int>(address & 31);
        for (int x = 0; x < 32; ++x)
            if ((vRows[address] >> x & 1) != 0)
                vOut.push_back(upperPart | convert5To15(x, 2) | convert5To15(y, 1) | convert5To15(z, 0));
    }
}

}  // namespace TARN_KEL
