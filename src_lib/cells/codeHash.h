#pragma once

#include "Calc.h"
#include "HashIndex.h"

namespace TARN_KEL {

/// The local hash of a packed code: the eight cells of a 2x2x2 block lie together.
inline std::uint64_t localHash_RCD(RCD rcd) {
    constexpr RCD MEMBER = packRCD(1, 1, 1);
    return localHash(rcd & ~MEMBER, (rcd >> 40 & 4) | (rcd >> 20 & 2) | (rcd & 1));
}

}  // namespace TARN_KEL
