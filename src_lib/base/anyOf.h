#pragma once

#include <atomic>
#include <cstddef>

#include "sortMT.h"

namespace TARN_KEL {

/// Whether isOne(element) is true for one of the vector, asked on all workers; once it is, no further ones are asked.
template <typename Vector, typename IsOne>
bool anyOf_MT(const Vector& v, const IsOne& isOne) {
    std::atomic<bool> bFound = false;
    const auto ask = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end && !bFound; ++i)
            if (isOne(v[i])) bFound = true;
    };
    forChunks_MT(v.size(), ask, WORTH_A_TASK);
    return bFound;
}

}  // namespace TARN_KEL
