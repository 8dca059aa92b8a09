#pragma once

#include <pthread.h>

#include <map>
#include <mutex>

namespace TARN_KEL {

/// One object of type T for each thread, made at the thread's first call.
///
/// The objects live to the end of the process, so that a pointer to one never dangles. The system gives the id of an ended
/// thread to a later one, which then meets the earlier thread's object: at the end of its thread an object is therefore told
/// to forget all of that thread, by `T::onThreadEnd()`, and is as good as new.
template <typename T>
class ThreadSingleton {
public:
    /// The calling thread's object, owned here. One short lock and a lookup: hold the pointer rather than ask in a loop.
    static T* getInstance() {
        T* pObject = nullptr;
        {
            const std::lock_guard<std::mutex> lock(mtx);
            T*& slot = m[pthread_self()];
            if (slot == nullptr) slot = new T();
            pObject = slot;
        }
        farewell.pObject = pObject;
        return pObject;
    }

    static inline std::mutex mtx;  ///< guards m
    /// Thread id to object. Never destroyed, for threads that outlive the static objects.
    static inline std::map<pthread_t, T*>& m = *new std::map<pthread_t, T*>();

private:
    struct Farewell {
        T* pObject = nullptr;  // in m, not owned
        ~Farewell() {
            if (pObject != nullptr) pObject->onThreadEnd();
        }
    };
    static inline thread_local Farewell farewell;
};

}  // namespace TARN_KEL
