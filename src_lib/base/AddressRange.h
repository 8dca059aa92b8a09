#pragma once

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

#ifdef __SANITIZE_THREAD__
#define KEL_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KEL_THREAD_SANITIZER
#endif
#endif

namespace TARN_TOOLS {

/// One run of memory that grows at its end and never moves.
///
/// A big range of address space is reserved at once, which costs no memory, and opened from its start as far as it is used.
/// So pieces that are taken from it one after the other have ascending addresses, whatever the allocator does elsewhere.
/// Opened memory is zero until written. All memory is freed when the object is destroyed. One thread at a time.
class AddressRange {
public:
    AddressRange() = default;
    ~AddressRange() { release(); }
    AddressRange(const AddressRange&) = delete;
    AddressRange& operator=(const AddressRange&) = delete;

    /// Makes the first numBytes usable; the first call reserves. The start never changes afterwards. Costs a system call for
    /// each 64 KB of growth. Returns false when there is no memory, or no address space left behind the range.
    bool open(std::size_t numBytes);
    /// The start of the range, on a page border; null before the first open().
    std::byte* begin() const { return pBegin; }

private:
    static constexpr std::size_t OPEN_STEP = std::size_t{64} << 10;
#ifdef KEL_THREAD_SANITIZER
    static constexpr std::size_t LARGEST_RESERVATION = std::size_t{1} << 30;  // little address space is left beside it
#else
    static constexpr std::size_t LARGEST_RESERVATION = std::size_t{64} << 30;
#endif

    static std::size_t preferredReservation();
    static std::size_t limitOfProcess();
    static void* nextPlace();
    static std::size_t roundUp(std::size_t numBytes, std::size_t step) {
        return (numBytes + step - 1) / step * step;
    }
    static void* map(void* pPlace, std::size_t numBytes, int flags) {
        return mmap(pPlace, numBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | flags, -1, 0);
    }

    bool reserve(std::size_t numBytes);
    bool extendInPlace(std::size_t numBytes);
    bool openUpTo(std::size_t end);
    void release();

    // The reservations of the process, all together: user space ends at 128 TB.
    inline static std::atomic<std::size_t> totalReserved{0};

    std::byte* pBegin = nullptr;  ///< owned
    std::size_t reserved = 0;     ///< bytes, from pBegin
    std::size_t opened = 0;       ///< bytes, from pBegin
};

inline std::size_t AddressRange::limitOfProcess() {
    rlimit limit{};
    return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY ? limit.rlim_cur : SIZE_MAX;
}

// A process may have thousands of ranges: each 8 TB in use, 128 of the largest, halve the size of the next one. In a process
// with a limit, a range takes a small part of it.
inline std::size_t AddressRange::preferredReservation() {
    const std::size_t numHalvings =
        std::min<std::size_t>(totalReserved.load(std::memory_order_relaxed) / (128 * LARGEST_RESERVATION), 20);
    return std::min(LARGEST_RESERVATION >> numHalvings, limitOfProcess() / 64);
}

// Under a limit the ranges start small and have to be extended, so they are spread over the address space: a cursor cycles
// from 17 to 105 TB. Nothing depends on the place; when it is occupied, the system chooses another one.
inline void* AddressRange::nextPlace() {
    static std::atomic<std::uintptr_t> numPlaces{0};
    if (limitOfProcess() == SIZE_MAX) return nullptr;
    const std::uintptr_t place = numPlaces.fetch_add(1, std::memory_order_relaxed) % 1280;
    return reinterpret_cast<void*>((std::uintptr_t{1} << 44) + place * LARGEST_RESERVATION);
}

inline bool AddressRange::reserve(std::size_t numBytes) {
    const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t least = roundUp(std::max<std::size_t>(numBytes, 1), pageSize);
    std::size_t size = std::max(least, roundUp(preferredReservation(), pageSize));
    void* p = map(nextPlace(), size, 0);
    while (p == MAP_FAILED && size > least) {
        size = std::max(least, roundUp(size / 2, pageSize));
        p = map(nullptr, size, 0);
    }
    if (p == MAP_FAILED) return false;
    pBegin = static_cast<std::byte*>(p);
    reserved = size;
    totalReserved.fetch_add(size, std::memory_order_relaxed);
    return true;
}

inline bool AddressRange::extendInPlace(std::size_t numBytes) {
#ifdef MAP_FIXED_NOREPLACE
    void* pEnd = pBegin + reserved;
    void* p = map(pEnd, numBytes, MAP_FIXED_NOREPLACE);
    if (p == pEnd) {
        reserved += numBytes;
        totalReserved.fetch_add(numBytes, std::memory_order_relaxed);
        return true;
    }
    if (p != MAP_FAILED) munmap(p, numBytes);  // an old kernel takes the address as a hint
#else
    static_cast<void>(numBytes);
#endif
    return false;
}

inline bool AddressRange::openUpTo(std::size_t end) {
    if (mprotect(pBegin + opened, end - opened, PROT_READ | PROT_WRITE) != 0) return false;
    opened = end;
    return true;
}

inline bool AddressRange::open(std::size_t numBytes) {
    if (numBytes > PTRDIFF_MAX / 2) return false;
    if (pBegin == nullptr && !reserve(numBytes)) return false;
    if (numBytes <= opened) return true;
    const std::size_t needed = roundUp(numBytes, static_cast<std::size_t>(sysconf(_SC_PAGESIZE)));
    if (needed > reserved && !extendInPlace(std::max(needed - reserved, reserved)) && !extendInPlace(needed - reserved))
        return false;
    return openUpTo(std::min(reserved, roundUp(needed, OPEN_STEP))) || openUpTo(needed);
}

inline void AddressRange::release() {
    if (pBegin == nullptr) return;
    munmap(pBegin, reserved);
    totalReserved.fetch_sub(reserved, std::memory_order_relaxed);
}

}  // namespace TARN_TOOLS
