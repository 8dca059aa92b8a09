#pragma once

#include <sys/resource.h>

#include <cstddef>
#include <vector>

#if __has_include(<malloc.h>)
#include <malloc.h>
#endif

namespace TARN_KEL {

/// The most memory that the process has had since its start, in bytes; 0 where the system doesn't tell.
inline std::size_t peakMemory() {
    rusage usage{};
    constexpr std::size_t UNIT = 1024;  // bytes, on Linux
    return getrusage(RUSAGE_SELF, &usage) == 0 ? static_cast<std::size_t>(usage.ru_maxrss) * UNIT : 0;
}

/// Empties a vector and frees its memory, which an assignment of {} would keep.
template <typename T>
void freeMemory(std::vector<T>& v) {
    std::vector<T>().swap(v);
}

/// Gives freed memory back to the system, where it can. Between steps that allocate much: the large blocks of the one are
/// otherwise kept for the next, which asks for others.
inline void returnFreedMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

/// For programs, at their start: blocks of 4 MB and more go back to the system as soon as they are freed. By itself the
/// allocator raises that size each time that a larger block is freed, keeps what is smaller, and can't give back what worker
/// threads have freed last. Affects the whole process, so the library doesn't call it.
inline void returnLargeBlocksAtOnce() {
#ifdef __GLIBC__
    constexpr int LARGE = 4 << 20;  // bytes
    mallopt(M_MMAP_THRESHOLD, LARGE);
#endif
}

/// The same as returnFreedMemory() after work on so many cells or triangles; with few it isn't worth its time,
/// which grows with what the process has freed.
inline void returnFreedMemory(std::size_t numElements) {
    constexpr std::size_t LARGE = 50000;
    if (numElements >= LARGE) returnFreedMemory();
}

}  // namespace TARN_KEL
