#pragma once

#include <atomic>
#include <mutex>
#include <utility>

namespace TARN_KEL {

/// Lets a const operation cache its result for the next call and still be safe on several threads.
///
/// The owner keeps the result in mutable data beside this object, reads it only after bringUpToDate(), and calls
/// invalidate() whenever it changes something on which the result depends.
class OnDemand {
public:
    /// Calls update() unless that has happened since the last invalidate(). Other threads that call meanwhile wait. When
    /// update() throws, the next call tries again. Costs one read when the result is up to date.
    template <typename Update>
    void bringUpToDate(Update&& update) const {
        if (bCurrent.load(std::memory_order_acquire)) return;
        const std::lock_guard<std::mutex> lock(mutex);
        if (bCurrent.load(std::memory_order_relaxed)) return;
        update();
        bCurrent.store(true, std::memory_order_release);
    }
    /// Only to be called while no other thread uses the owner.
    void invalidate() { bCurrent.store(false, std::memory_order_relaxed); }
    bool isUpToDate() const { return bCurrent.load(std::memory_order_acquire); }

private:
    mutable std::mutex mutex;
    mutable std::atomic<bool> bCurrent{true};
};

}  // namespace TARN_KEL
