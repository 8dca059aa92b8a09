#pragma once

#ifndef __has_feature
#define __has_feature(x) 0
#endif

namespace TARN_TEST {

/// True when this program runs under a sanitizer that takes address space or time of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) || \
    __has_feature(thread_sanitizer)
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif

}  // namespace TARN_TEST
