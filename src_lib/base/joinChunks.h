#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "sortMT.h"

namespace TARN_KEL {

/// join(ofChunk(begin, end)) for stretches of 0 .. n-1: all workers work on them, and they are joined in their order.
template <typename OfChunk, typename Join>
void joinChunks_MT(std::size_t n, const OfChunk& ofChunk, const Join& join) {
    constexpr std::size_t STRETCH = 8192;
    std::vector<decltype(ofChunk(n, n))> vPart((n + STRETCH - 1) / STRETCH);
    forChunks_MT(vPart.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i)
            vPart[i] = ofChunk(i * STRETCH, std::min((i + 1) * STRETCH, n));
    });
    for (const auto& part : vPart)
        join(part);
}

}  // namespace TARN_KEL
