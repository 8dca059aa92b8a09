#pragma once

#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace TARN_KEL {

/// Allocates like std::allocator, but leaves elements that get no value as the memory is.
template <typename T>
struct FreshAllocator : std::allocator<T> {
    static_assert(std::is_trivially_copyable_v<T>, "an element begins to exist when it is assigned to");

    FreshAllocator() = default;
    template <typename Other>
    FreshAllocator(const FreshAllocator<Other>& /*other*/) noexcept {}

    template <typename Made>
    void construct(Made* /*p*/) noexcept {}
    template <typename Made, typename... Args>
    void construct(Made* p, Args&&... args) {
        std::construct_at(p, std::forward<Args>(args)...);
    }
};

/// A vector that resize() doesn't fill: new elements are undefined until they are assigned to.
///
/// For elements that workers set afterwards. A plain vector would have the calling thread write all of them first, and wait
/// for the system at each new page; here the workers are the first to touch the memory.
template <typename T>
using FreshVector = std::vector<T, FreshAllocator<T>>;

}  // namespace TARN_KEL
