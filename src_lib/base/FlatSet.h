#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace TARN_KEL {

/// A set as a sorted vector without repeats, for elements that come in bulk and are read afterwards.
///
/// Insertion appends; the first reading operation after insertions puts the vector in order. So n insertions followed by
/// readings cost O(n log n) in all, with no node per element, but turns of one insertion and one reading cost O(n) each.
/// Readers on several threads are safe once one reading operation has run since the last change.
template <typename T>
class FlatSet {
public:
    using const_iterator = typename std::vector<T>::const_iterator;

    void insert(const T& element) {
        if (bSorted && !vElements.empty()) {
            if (element == vElements.back()) return;
            bSorted = vElements.back() < element;
        }
        vElements.push_back(element);
    }
    void clear() {
        vElements.clear();
        bSorted = true;
    }

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
        if (!bSorted) {
            std::sort(vElements.begin(), vElements.end());
            vElements.erase(std::unique(vElements.begin(), vElements.end()), vElements.end());
            bSorted = true;
        }
        return vElements;
    }

    mutable std::vector<T> vElements;
    mutable bool bSorted = true;  // ascending, without repeats
};

}  // namespace TARN_KEL
