#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "OnDemand.h"

namespace TARN_KEL {

/// A set as a sorted vector without repeats, for elements that are entered in bulk and read afterwards.
///
/// Insertion appends; the first read after insertions sorts the vector. So n insertions followed by reads cost O(n log n) in
/// all, with no node per element; but with insertions and reads in alternation each pair costs O(n log n). Reading is safe
/// on several threads.
template <typename T>
class FlatSet {
public:
    using const_iterator = typename std::vector<T>::const_iterator;

    void insert(const T& element) {
        if (order.isUpToDate() && !vElements.empty()) {
            if (element == vElements.back()) return;
            if (!(vElements.back() < element)) order.invalidate();
        }
        vElements.push_back(element);
    }
    void clear() { vElements.clear(); }

    /// In ascending order.
    const_iterator begin() const { return settled().begin(); }
    const_iterator end() const { return settled().end(); }
    std::size_t size() const { return settled().size(); }
    bool empty() const { return vElements.empty(); }
    /// 1 or 0. O(log n).
    std::size_t count(const T& element) const {
        return std::binary_search(settled().begin(), settled().end(), element) ? 1 : 0;
    }

private:
    const std::vector<T>& settled() const {
        order.bringUpToDate([this] {
            std::sort(vElements.begin(), vElements.end());
            vElements.erase(std::unique(vElements.begin(), vElements.end()), vElements.end());
        });
        return vElements;
    }

    mutable std::vector<T> vElements;
    OnDemand order;  // ascending, without repeats
};

}  // namespace TARN_KEL
