#pragma once

#include <cstddef>
#include <mutex>

#include "sortMT.h"

namespace TARN_KEL {

/// join(ofChunk(begin, end)) for each chunk of 0 .. n-1, one at a time, in any order: what they join to must not depend on
/// it.
template <typename OfChunk, typename Join>
void joinChunks_MT(std::size_t n, const OfChunk& ofChunk, const Join& join, std::size_t minParallel = 0) {
    std::mutex mutex;
    const auto work = [&](std::size_t begin, std::size_t end) {
        const auto part = ofChunk(begin, end);
        const std::lock_guard<std::mutex> lock(mutex);
        join(part);
    };
    forChunks_MT(n, work, minParallel);
}

}  // namespace TARN_KEL
