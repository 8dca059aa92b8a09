// Priority queues whose entries go stale: what an entry is worth is judged again when it comes up.
#pragma once

#include <optional>
#include <type_traits>
#include <utility>

namespace TARN_KEL {

/// Takes the first entry out of a queue: its key and its element.
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

/// Enters an element, behind those of the same key.
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

/// Takes out the first entry that is worth no less than when it was entered: its present key and its element; none when
/// there is no such one. Queue: a multimap from key to element, or a WeightQueue. judge(element), or judge(element, queued
/// key), gives the key that it has now, as an optional; none: the entry is dropped. One whose key would now stand later goes
/// back under it, behind equal ones. O(log n) for each entry that comes up.
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

/// Works through a queue, front first: act(element, key) for all that takeLazily() gives. It may enter further ones.
template <typename Queue, typename Judge, typename Act>
void runLazily(Queue& queue, Judge&& judge, Act&& act) {
    while (const auto next = takeLazily(queue, judge))
        act(next->second, next->first);
}

}  // namespace TARN_KEL
