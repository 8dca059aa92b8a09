// Memory in large pages, for lists that are filled once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#endif

namespace TARN_KEL {

/// Asks the system for large pages in this range, which needn't be filled yet. The first access to each page takes a
/// microsecond or more, and in pages of 4 KB that is longer than a fast reader takes to fill them.
inline void preferLargePages([[maybe_unused]] void* p, [[maybe_unused]] std::size_t numBytes) {
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t LARGE = std::uintptr_t{2} << 20;  // bytes; only pages that lie wholly in the range are large
    const auto begin = (reinterpret_cast<std::uintptr_t>(p) + LARGE - 1) / LARGE * LARGE;
    const auto end = (reinterpret_cast<std::uintptr_t>(p) + numBytes) / LARGE * LARGE;
    if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);  // it is all the same if it fails
#endif
}

/// Makes room for so many elements, in large pages where it can.
template <typename T>
void reserveLarge(std::vector<T>& v, std::size_t num) {
    v.reserve(num);
    preferLargePages(v.data(), v.capacity() * sizeof(T));
}

}  // namespace TARN_KEL
