// Priority queues whose entries go stale: what an entry is worth is judged again when it comes up.
#pragma once

#include <type_traits>

namespace TARN_KEL {

/// Works through a queue, a multimap from key to element, front first. judge(element), or judge(element, queued key), gives
/// the key that it has now, as an optional; none: the entry is dropped. One whose key would now stand later goes back under
/// it, behind equal ones; any other one is acted on: act(element, key), which may enter further ones. O(log n) an entry.
template <typename Queue, typename Judge, typename Act>
void runLazily(Queue& queue, Judge&& judge, Act&& act) {
    while (!queue.empty()) {
        const auto [queued, element] = *queue.begin();
        queue.erase(queue.begin());
        const auto fresh = [&, queued = queued, element = element] {
            if constexpr (std::is_invocable_v<Judge, decltype(element), decltype(queued)>)
                return judge(element, queued);
            else
                return judge(element);
        }();
        if (!fresh) continue;
        if (queue.key_comp()(queued, *fresh))
            queue.emplace(*fresh, element);
        else
            act(element, *fresh);
    }
}

}  // namespace TARN_KEL
