#pragma once

#include <algorithm>
#include <cstddef>

#include "Progress.h"
#include "sortMT.h"

namespace TARN_KEL {

/// forChunks_MT() in stretches that are counted one by one, so that a listener hears long loops and can end them.
/// progress: gets n units. It must belong to the calling thread.
template <typename Func>
void forHeardChunks_MT(std::size_t n, const ProgressStep& progress, Func&& func) {
    constexpr std::size_t STRETCH = 100000;  // tens of milliseconds of what nodes ask for
    for (std::size_t first = 0; first < n; first += STRETCH) {
        const std::size_t size = std::min(STRETCH, n - first);
        forChunks_MT(size, [&](std::size_t begin, std::size_t end) { func(first + begin, first + end); });
        progress.advance(size);
    }
}

}  // namespace TARN_KEL
