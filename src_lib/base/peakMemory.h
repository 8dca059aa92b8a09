#pragma once

#include <sys/resource.h>

#include <cstddef>

namespace TARN_KEL {

/// The most memory that the process has had since its start, in bytes; 0 where the system doesn't tell.
inline std::size_t peakMemory() {
    rusage usage{};
    constexpr std::size_t UNIT = 1024;  // bytes, on Linux
    return getrusage(RUSAGE_SELF, &usage) == 0 ? static_cast<std::size_t>(usage.ru_maxrss) * UNIT : 0;
}

}  // namespace TARN_KEL
