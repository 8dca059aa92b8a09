// One number for many, to hold results against what they were.
#pragma once

#include <cstdint>

namespace TARN_TEST {

/// Of integers, in their order (FNV-1a over whole numbers).
inline std::uint64_t hashOf(const auto& numbers) {
    std::uint64_t hash = 14695981039346656037U;
    for (const auto number : numbers)
        hash = (hash ^ static_cast<std::uint64_t>(number)) * 1099511628211U;
    return hash;
}

}  // namespace TARN_TEST
