#pragma once

#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

namespace TARN_KEL {

/// What f makes of the elements of a range, in their order.
template <typename Range, typename F>
auto transformed(const Range& range, const F& f) {
    std::vector<std::decay_t<decltype(f(*std::begin(range)))>> vResult;
    vResult.reserve(static_cast<std::size_t>(std::distance(std::begin(range), std::end(range))));
    for (const auto& element : range)
        vResult.push_back(f(element));
    return vResult;
}

}  // namespace TARN_KEL
