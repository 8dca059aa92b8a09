// Floods: what can be reached from some elements, each element once.
//
// An element is whatever the caller walks over: triangles, cells, positions. Claiming tells elements that were reached from
// others: claim(element) is true once for each that belongs to the flood, which is where the caller marks it, and false from
// then on and for those that don't belong. The elements to start from are claimed by the caller.
#pragma once

#include <cstddef>
#include <vector>

namespace TARN_KEL {

/// Depth first: the element claimed last is left first. forEachNext(element, offer) calls offer(next) for each element
/// beside it, which tells whether it was claimed. vStack: the elements to start from; empty afterwards. O(elements and
/// offers).
template <typename Element, typename ForEachNext, typename Claim>
void flood(std::vector<Element>& vStack, ForEachNext&& forEachNext, Claim&& claim) {
    const auto offer = [&](Element next) {
        const bool bClaimed = claim(next);
        if (bClaimed) vStack.push_back(next);
        return bClaimed;
    };
    while (!vStack.empty()) {
        const Element element = vStack.back();
        vStack.pop_back();
        forEachNext(element, offer);
    }
}

/// Breadth first: elements are left in the order in which they were claimed. vReached: the elements to start from; all that
/// was reached is appended to it in this order.
template <typename Element, typename ForEachNext, typename Claim>
void floodInOrder(std::vector<Element>& vReached, ForEachNext&& forEachNext, Claim&& claim) {
    const auto offer = [&](Element next) {
        const bool bClaimed = claim(next);
        if (bClaimed) vReached.push_back(next);
        return bClaimed;
    };
    for (std::size_t i = 0; i < vReached.size(); ++i) {
        const Element element = vReached[i];  // a copy: offers move the vector
        forEachNext(element, offer);
    }
}

}  // namespace TARN_KEL
