// Floods: visit what can be reached from some elements, each element once. And stacks of what is left to do.
//
// An element is whatever the caller walks over: triangles, cells, positions. claim(element) returns true when the element
// belongs to the flood and wasn't reached before; the caller's function notes that it is reached. It returns false
// otherwise. The caller itself claims the elements to start from.
#pragma once

#include <cstddef>
#include <vector>

namespace TARN_KEL {

/// Works through a stack from its end until it is empty: calls act(element) for each. act may push further elements; the
/// last one of them is next. Not a flood: it is up to act to end.
template <typename Element, typename Act>
void workThrough(std::vector<Element>& vStack, Act&& act) {
    while (!vStack.empty()) {
        const Element element = vStack.back();  // a copy, since act may reallocate the vector
        vStack.pop_back();
        act(element);
    }
}

/// Depth first: of the claimed elements the last one is visited next.
/// vStack: the elements to start from; empty afterwards.
/// forEachNext: forEachNext(element, offer) calls offer(next) for each neighbour; offer returns whether it was claimed.
/// Cost: linear in the number of elements and offers.
template <typename Element, typename ForEachNext, typename Claim>
void flood(std::vector<Element>& vStack, ForEachNext&& forEachNext, Claim&& claim) {
    const auto offer = [&](Element next) {
        const bool bClaimed = claim(next);
        if (bClaimed) vStack.push_back(next);
        return bClaimed;
    };
    workThrough(vStack, [&](const Element& element) { forEachNext(element, offer); });
}

/// Breadth first: elements are visited in the order in which they were claimed.
/// vReached: the elements to start from; the elements reached are appended in this order.
/// numVisited: of the elements to start from the first ones that were visited before.
template <typename Element, typename ForEachNext, typename Claim>
void floodInOrder(std::vector<Element>& vReached, ForEachNext&& forEachNext, Claim&& claim, std::size_t numVisited = 0) {
    const auto offer = [&](Element next) {
        const bool bClaimed = claim(next);
        if (bClaimed) vReached.push_back(next);
        return bClaimed;
    };
    for (std::size_t i = numVisited; i < vReached.size(); ++i) {
        const Element element = vReached[i];  // a copy, since offers may reallocate the vector
        forEachNext(element, offer);
    }
}

}  // namespace TARN_KEL
