// Priority queues whose keys become stale: an entry is judged again when it comes up.
#pragma once

#include <optional>
#include <type_traits>
#include <utility>

namespace TARN_KEL {

/// Removes the first entry of a queue and returns its key and its element.
template <typename Queue>
auto takeFirst(Queue& queue) {
    if constexpr (requires { queue.takeFirst(); }) {
        return queue.takeFirst();
    } else {
        const auto entry = *queue.begin();
        queue.erase(queue.begin());
        return entry;
    }
}

/// Enters an element after those with the same key.
template <typename Queue, typename Key, typename Element>
void putBack(Queue& queue, const Key& key, const Element& element) {
    if constexpr (requires { queue.push(key, element); })
        queue.push(key, element);
    else
        queue.emplace(key, element);
}

template <typename Judge, typename Element, typename Key>
auto judgeEntry(Judge& judge, const Element& element, const Key& queued) {
    if constexpr (std::is_invocable_v<Judge&, const Element&, const Key&>)
        return judge(element, queued);
    else
        return judge(element);
}

/// Removes the first entry whose current key doesn't come after its key in the queue. An entry whose current key comes later
/// is put back under it, after equal ones.
/// queue: a multimap from key to element, or a WeightQueue.
/// judge: judge(element), or judge(element, key in the queue), gives the current key as an optional; when that is empty, the
/// entry is dropped.
/// Returns the current key and the element; nothing when the queue has no such entry.
/// Cost: O(log n) for each entry that comes up.
template <typename Queue, typename Judge>
auto takeLazily(Queue& queue, Judge&& judge) {
    using Entry = decltype(takeFirst(queue));
    using Next = std::pair<std::remove_const_t<typename Entry::first_type>, typename Entry::second_type>;
    while (!queue.empty()) {
        const auto [queued, element] = takeFirst(queue);
        const auto fresh = judgeEntry(judge, element, queued);
        if (!fresh) continue;
        if (!queue.key_comp()(queued, *fresh)) return std::optional<Next>(Next(*fresh, element));
        putBack(queue, *fresh, element);
    }
    return std::optional<Next>();
}

/// Works through a queue from the front: calls act(element, key) for all that takeLazily() returns. act may enter further
/// elements.
template <typename Queue, typename Judge, typename Act>
void runLazily(Queue& queue, Judge&& judge, Act&& act) {
    while (const auto next = takeLazily(queue, judge))
        act(next->second, next->first);
}

}  // namespace TARN_KEL
